#include "burst/alignment/coarse_search.h"

#include <algorithm>
#include <cmath>

namespace velmora::burst {
namespace {

constexpr int32_t kLargestSmallSide = 64;  // of the smallest pictures that are compared
constexpr int32_t kLongestSide = 8;        // of the shorter one: strips are not searched
constexpr int32_t kRotationsEachWay = 5;
constexpr int32_t kRotations = 2 * kRotationsEachWay + 1;
constexpr double kRotationStep = 0.03492;  // four degrees, as the tangent of half the angle
constexpr std::size_t kMostHalvings = 8;   // from 65535 / 16 samples

Size halfOf(Size size) {
  return {size.width / 2, size.height / 2};
}

PlaneBuffer<int16_t> halved(Memory& memory, const Plane<int16_t>& picture) {
  const Size size = halfOf(picture.size);
  PlaneBuffer<int16_t> half(memory, size);
  for (int32_t y = 0; y < size.height; ++y) {
    const int16_t* const upper = picture.row(2 * y);
    const int16_t* const lower = picture.row(2 * y + 1);
    for (int32_t x = 0; x < size.width; ++x) {
      const int32_t sum = upper[2 * x] + upper[2 * x + 1] + lower[2 * x] + lower[2 * x + 1];
      half.plane().row(y)[x] = static_cast<int16_t>((sum + 2) >> 2);
    }
  }
  return half;
}

// A picture without its coarse brightness: each sample less the mean of the 9 x 9 around it, in
// grey levels with one fraction bit, -510 .. 510.
PlaneBuffer<int16_t> details(Memory& memory, const Plane<int16_t>& picture) {
  constexpr int32_t kReach = 4;
  const Size size = picture.size;
  PlaneBuffer<int16_t> result(memory, size);
  for (int32_t y = 0; y < size.height; ++y) {
    for (int32_t x = 0; x < size.width; ++x) {
      int32_t sum = 0;
      int32_t count = 0;
      for (int32_t j = std::max(0, y - kReach); j <= std::min(size.height - 1, y + kReach); ++j) {
        for (int32_t i = std::max(0, x - kReach); i <= std::min(size.width - 1, x + kReach); ++i) {
          sum += picture.row(j)[i];
          ++count;
        }
      }
      result.plane().row(y)[x] = static_cast<int16_t>((picture.row(y)[x] - sum / count) / 16);
    }
  }
  return result;
}

// Details of a frame's highest level, of the level above that it would have, and so on.
struct SmallPictures {
  SmallPictures(Memory& memory, const Pyramid& pyramid) {
    const Plane<int16_t> top = pyramid.levels[static_cast<std::size_t>(pyramid.top)].smooth.plane();
    of[0] = details(memory, top);
    PlaneBuffer<int16_t> plain;
    while (std::min(smallest().size().width, smallest().size().height) >= kLargestSmallSide) {
      plain = halved(memory, halvings == 0 ? top : plain.plane());
      of[++halvings] = details(memory, plain.plane());
    }
  }
  [[nodiscard]] const PlaneBuffer<int16_t>& smallest() const { return of[halvings]; }
  std::array<PlaneBuffer<int16_t>, kMostHalvings + 1> of;
  std::size_t halvings = 0;
};

// The rotation about the middle of a picture of `size`, from the tangent of half the angle: no sine
// is needed.
Homography rotation(double t, Size size) {
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
// stay below 2^31: rows have at most 4096 samples.
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

// A shift, and then a rotation, of a picture.
struct Found {
  double correlation = -1;
  double t = 0;  // the tangent of half the angle
  int32_t dx = 0;
  int32_t dy = 0;
};

// Tries shifts around one with a rotation, and keeps the best that is better than `best`.
void tryShifts(const Plane<int16_t>& a, const Plane<int16_t>& rotated, const Found& around,
               Size reach, Found& best) {
  for (int32_t dy = around.dy - reach.height; dy <= around.dy + reach.height; ++dy) {
    for (int32_t dx = around.dx - reach.width; dx <= around.dx + reach.width; ++dx) {
      const double fit = correlation(a, rotated, dx, dy);
      if (fit > best.correlation) best = {fit, around.t, dx, dy};
    }
  }
}

// The best shift of each rotation on the smallest pictures, best first.
std::array<Found, kRotations> searchSmallest(Memory& memory, Workers& workers,
                                             const Plane<int16_t>& a, const Plane<int16_t>& b) {
  const Size size = a.size;
  std::array<PlaneBuffer<int16_t>, kRotations> rotated;
  for (auto& plane : rotated)
    plane = PlaneBuffer<int16_t>(memory, size);
  std::array<Found, kRotations> found;
  workers.run(kRotations, 0, [&](int32_t index, int32_t) {
    const auto i = static_cast<std::size_t>(index);
    const Found start = {-1, kRotationStep * (index - kRotationsEachWay), 0, 0};
    rotate(b, rotation(start.t, size), rotated[i].plane());
    tryShifts(a, rotated[i].plane(), start, {size.width / 4, size.height / 4}, found[i]);
  });
  std::sort(found.begin(), found.end(), [](const Found& one, const Found& other) {
    if (one.correlation != other.correlation) return one.correlation > other.correlation;
    return one.t < other.t;
  });
  return found;
}

}  // namespace

std::array<Homography, kCoarseMotions> searchCoarsely(Memory& memory, Workers& workers,
                                                      const Pyramid& reference,
                                                      const Pyramid& frame) {
  const Size top = reference.levels[static_cast<std::size_t>(reference.top)].smooth.size();
  if (std::max(top.width, top.height) > kLongestSide * int64_t{std::min(top.width, top.height)})
    return {};
  const SmallPictures a(memory, reference);
  const SmallPictures b(memory, frame);
  const auto found = searchSmallest(memory, workers, a.smallest().plane(), b.smallest().plane());

  // Each larger picture tells shifts to half and rotations to half of what was known.
  std::array<Found, kCoarseMotions> best;
  std::copy_n(found.begin(), kCoarseMotions, best.begin());
  double step = kRotationStep / 2;
  for (std::size_t level = a.halvings + 1; level-- > 0; step /= 2) {
    const Plane<int16_t> planeA = a.of[level].plane();
    const Plane<int16_t> planeB = b.of[level].plane();
    std::array<PlaneBuffer<int16_t>, kCoarseMotions> rotated;
    for (auto& plane : rotated)
      plane = PlaneBuffer<int16_t>(memory, planeA.size);
    workers.run(static_cast<int32_t>(kCoarseMotions), 0, [&](int32_t index, int32_t) {
      const auto i = static_cast<std::size_t>(index);
      Found start = best[i];
      if (level != a.halvings) {
        start.dx *= 2;
        start.dy *= 2;
      }
      best[i] = {};
      for (int32_t turn = -1; turn <= 1; ++turn) {
        Found turned = start;
        turned.t += turn * step;
        rotate(planeB, rotation(turned.t, planeA.size), rotated[i].plane());
        tryShifts(planeA, rotated[i].plane(), turned, {2, 2}, best[i]);
      }
    });
  }

  const double scale = 1 << reference.top;
  const double offset = 0.5 * scale - 0.5;
  const Homography up = {{scale, 0, offset, 0, scale, offset, 0, 0, 1}};
  std::array<Homography, kCoarseMotions> motions;
  for (std::size_t i = 0; i < motions.size(); ++i) {
    const Homography shift = {
        {1, 0, static_cast<double>(best[i].dx), 0, 1, static_cast<double>(best[i].dy), 0, 0, 1}};
    motions[i] = up * (rotation(best[i].t, top) * (shift * up.inverse()));
  }
  return motions;
}

}  // namespace velmora::burst
