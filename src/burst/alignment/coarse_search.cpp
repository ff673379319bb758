#include "burst/alignment/coarse_search.h"

#include <algorithm>
#include <cmath>

namespace velmora::burst {
namespace {

constexpr int32_t kLargestSmallSide = 64;  // of the pictures that are compared
constexpr int32_t kRotationsEachWay = 5;   // four degrees apart
constexpr int32_t kRotations = 2 * kRotationsEachWay + 1;
constexpr int32_t kLargestArea = 16384;  // strips of more are not searched

// A picture without its coarse brightness: each sample less the mean of the 9 x 9 around it, in
// grey levels with two fraction bits, -1020 .. 1020.
struct SmallPicture {
  PlaneBuffer<int16_t> samples;
  int32_t level = 0;  // one sample is 2^level of the frame's
};

SmallPicture smallPicture(Memory& memory, const Pyramid& pyramid) {
  int32_t level = pyramid.top;
  const Plane<int16_t> top = pyramid.levels[static_cast<std::size_t>(level)].smooth.plane();
  PlaneBuffer<int16_t> picture(memory, top.size);
  for (int32_t y = 0; y < top.size.height; ++y)
    std::copy(top.row(y), top.row(y) + top.size.width, picture.plane().row(y));
  for (; std::min(picture.size().width, picture.size().height) >= kLargestSmallSide; ++level) {
    const Size size = {picture.size().width / 2, picture.size().height / 2};
    PlaneBuffer<int16_t> half(memory, size);
    for (int32_t y = 0; y < size.height; ++y) {
      const int16_t* const upper = picture.plane().row(2 * y);
      const int16_t* const lower = picture.plane().row(2 * y + 1);
      for (int32_t x = 0; x < size.width; ++x) {
        const int32_t sum = upper[2 * x] + upper[2 * x + 1] + lower[2 * x] + lower[2 * x + 1];
        half.plane().row(y)[x] = static_cast<int16_t>((sum + 2) >> 2);
      }
    }
    picture = std::move(half);
  }

  constexpr int32_t kReach = 4;
  const Size size = picture.size();
  SmallPicture result = {{memory, size}, level};
  for (int32_t y = 0; y < size.height; ++y) {
    for (int32_t x = 0; x < size.width; ++x) {
      int32_t sum = 0;
      int32_t count = 0;
      for (int32_t j = std::max(0, y - kReach); j <= std::min(size.height - 1, y + kReach); ++j) {
        for (int32_t i = std::max(0, x - kReach); i <= std::min(size.width - 1, x + kReach); ++i) {
          sum += picture.plane().row(j)[i];
          ++count;
        }
      }
      result.samples.plane().row(y)[x] =
          static_cast<int16_t>((picture.plane().row(y)[x] - sum / count) / 8);
    }
  }
  return result;
}

// The rotation about the middle of a picture of `size`, from the tangent of half the angle: two
// degrees' a step, so that no sine is needed.
Homography rotation(int32_t index, Size size) {
  const double t = 0.03492 * (index - kRotationsEachWay);
  const double c = (1 - t * t) / (1 + t * t);
  const double s = 2 * t / (1 + t * t);
  const double x = (size.width - 1) / 2.0;
  const double y = (size.height - 1) / 2.0;
  return {{c, -s, x - c * x + s * y, s, c, y - s * x - c * y, 0, 0, 1}};
}

void rotate(const Plane<int16_t>& from, const Homography& by, const Plane<int16_t>& to) {
  for (int32_t y = 0; y < to.size.height; ++y) {
    for (int32_t x = 0; x < to.size.width; ++x) {
      const Point p = by({static_cast<double>(x), static_cast<double>(y)});
      const double left = std::floor(p.x);
      const double top = std::floor(p.y);
      int16_t& out = to.row(y)[x];
      out = 0;
      if (!(left >= 0 && top >= 0 && left < from.size.width - 1 && top < from.size.height - 1)) {
        continue;
      }
      const int16_t* const upper = from.row(static_cast<int32_t>(top)) + static_cast<int32_t>(left);
      const int16_t* const lower = upper + from.pitch;
      const double above = upper[0] + (p.x - left) * (upper[1] - upper[0]);
      const double below = lower[0] + (p.x - left) * (lower[1] - lower[0]);
      out = static_cast<int16_t>(std::floor(above + (p.y - top) * (below - above) + 0.5));
    }
  }
}

// The correlation of a with b, b's samples at (x + dx, y + dy) under a's at (x, y). Sums of a row
// stay below 2^31: a row has at most kLargestArea / 16 samples.
double correlation(const Plane<int16_t>& a, const Plane<int16_t>& b, int32_t dx, int32_t dy) {
  const int32_t left = std::max(0, -dx);
  const int32_t count = std::min(a.size.width, b.size.width - dx) - left;
  double ab = 0;
  double aa = 0;
  double bb = 0;
  for (int32_t y = std::max(0, -dy); y < std::min(a.size.height, b.size.height - dy); ++y) {
    const int16_t* const rowA = a.row(y) + left;
    const int16_t* const rowB = b.row(y + dy) + left + dx;
    int32_t rowAb = 0;
    int32_t rowAa = 0;
    int32_t rowBb = 0;
    for (int32_t x = 0; x < count; ++x) {
      rowAb += rowA[x] * rowB[x];
      rowAa += rowA[x] * rowA[x];
      rowBb += rowB[x] * rowB[x];
    }
    ab += rowAb;
    aa += rowAa;
    bb += rowBb;
  }
  return aa > 0 && bb > 0 ? ab / std::sqrt(aa * bb) : 0;
}

struct Best {
  double correlation = -1;
  int32_t rotation = 0;
  int32_t dx = 0;
  int32_t dy = 0;
};

}  // namespace

std::array<Homography, kCoarseMotions> searchCoarsely(Memory& memory, Workers& workers,
                                                      const Pyramid& reference,
                                                      const Pyramid& frame) {
  const SmallPicture a = smallPicture(memory, reference);
  const SmallPicture b = smallPicture(memory, frame);
  const Size size = a.samples.size();
  if (size.width * int64_t{size.height} > kLargestArea) return {};
  std::array<PlaneBuffer<int16_t>, kRotations> rotated;
  for (auto& plane : rotated)
    plane = PlaneBuffer<int16_t>(memory, size);
  std::array<Best, kRotations> best;
  workers.run(kRotations, 0, [&](int32_t index, int32_t) {
    const auto i = static_cast<std::size_t>(index);
    rotate(b.samples.plane(), rotation(index, size), rotated[i].plane());
    best[i].rotation = index;
    for (int32_t dy = -size.height / 4; dy <= size.height / 4; ++dy) {
      for (int32_t dx = -size.width / 4; dx <= size.width / 4; ++dx) {
        const double fit = correlation(a.samples.plane(), rotated[i].plane(), dx, dy);
        if (fit > best[i].correlation) best[i] = {fit, index, dx, dy};
      }
    }
  });
  std::sort(best.begin(), best.end(), [](const Best& one, const Best& other) {
    if (one.correlation != other.correlation) return one.correlation > other.correlation;
    return one.rotation < other.rotation;
  });

  const double scale = 1 << a.level;
  const double offset = 0.5 * scale - 0.5;
  const Homography up = {{scale, 0, offset, 0, scale, offset, 0, 0, 1}};
  std::array<Homography, kCoarseMotions> motions;
  for (std::size_t i = 0; i < motions.size(); ++i) {
    const Homography shift = {
        {1, 0, static_cast<double>(best[i].dx), 0, 1, static_cast<double>(best[i].dy), 0, 0, 1}};
    motions[i] = up * (rotation(best[i].rotation, size) * (shift * up.inverse()));
  }
  return motions;
}

}  // namespace velmora::burst
