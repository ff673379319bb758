#include "frames.h"

#include <algorithm>
#include <array>

namespace velmora::fuzz {
namespace {

// The scene repeats at this distance.
constexpr unsigned kSide = 1024;

uint32_t hash(uint32_t value) {
  value = (value ^ (value >> 16)) * 0x7FEB352DU;
  value = (value ^ (value >> 15)) * 0x846CA68BU;
  return value ^ (value >> 16);
}

// Blobs of three sizes, so that the detector finds key points.
const uint8_t* scene() {
  static const std::vector<uint8_t> samples = [] {
    std::vector<uint8_t> made(std::size_t{kSide} * kSide);
    for (unsigned y = 0; y < kSide; ++y) {
      for (unsigned x = 0; x < kSide; ++x) {
        unsigned sum = 24;
        for (const unsigned cell : {32U, 16U, 8U}) {
          const unsigned period = kSide / cell;
          const auto corner = [&](unsigned dx, unsigned dy) {
            const unsigned column = (x / cell + dx) % period;
            const unsigned row = (y / cell + dy) % period;
            return hash(cell << 24 | row << 12 | column) % (cell * 3);
          };
          const unsigned fx = x % cell;
          const unsigned fy = y % cell;
          const unsigned top = corner(0, 0) * (cell - fx) + corner(1, 0) * fx;
          const unsigned bottom = corner(0, 1) * (cell - fx) + corner(1, 1) * fx;
          sum += (top * (cell - fy) + bottom * fy) / (cell * cell);
        }
        made[std::size_t{y} * kSide + x] = static_cast<uint8_t>(std::min(sum + 20, 255U));
      }
    }
    return made;
  }();
  return samples.data();
}

// Where a sample of the frame lies in the scene: a homography.
struct View {
  std::array<double, 8> h = {1, 0, 0, 0, 1, 0, 0, 0};

  [[nodiscard]] uint8_t sample(const uint8_t* from, double x, double y) const {
    const double depth = std::max(h[6] * x + h[7] * y + 1, 0.1);
    // Far enough from 0 that cutting off rounds down.
    const double u = (h[0] * x + h[1] * y + h[2]) / depth + 64 * kSide;
    const double v = (h[3] * x + h[4] * y + h[5]) / depth + 64 * kSide;
    const auto column = static_cast<unsigned>(u);
    const auto row = static_cast<unsigned>(v);
    const auto at = [&](unsigned dx, unsigned dy) {
      return static_cast<double>(
          from[std::size_t{(row + dy) % kSide} * kSide + (column + dx) % kSide]);
    };
    const double fx = u - column;
    const double fy = v - row;
    const double top = at(0, 0) * (1 - fx) + at(1, 0) * fx;
    const double bottom = at(0, 1) * (1 - fx) + at(1, 1) * fx;
    return static_cast<uint8_t>(top * (1 - fy) + bottom * fy + 0.5);
  }
};

// A shift in quarters of a sample; with a flag, also turned, scaled and tilted.
View viewOf(Bytes& bytes) {
  View view;
  view.h[2] = bytes.range(-128, 127) / 4.0;
  view.h[5] = bytes.range(-128, 127) / 4.0;
  if (!bytes.flag()) return view;
  view.h[0] += bytes.range(-128, 127) / 1000.0;
  view.h[1] += bytes.range(-128, 127) / 1000.0;
  view.h[3] += bytes.range(-128, 127) / 1000.0;
  view.h[4] += bytes.range(-128, 127) / 1000.0;
  view.h[6] += bytes.range(-128, 127) / 1e6;
  view.h[7] += bytes.range(-128, 127) / 1e6;
  return view;
}

Plane draw(int width, int height, const View& view, double step, double offset) {
  Plane plane = {width, height, {}};
  plane.samples.resize(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
  uint8_t* to = plane.samples.data();
  const uint8_t* const from = scene();
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x)
      *to++ = view.sample(from, step * x + offset, step * y + offset);
  }
  return plane;
}

// Adds noise of up to this many grey levels.
void addNoise(Plane& plane, unsigned most, uint32_t seed) {
  for (std::size_t i = 0; i < plane.samples.size() && most > 0; ++i) {
    const auto noise = static_cast<int>(hash(seed + static_cast<uint32_t>(i)) % (2 * most + 1));
    const int value = plane.samples[i] + noise - static_cast<int>(most);
    plane.samples[i] = static_cast<uint8_t>(std::clamp(value, 0, 255));
  }
}

// Covers a rectangle with bytes of the input, over and over.
void cover(Plane& plane, int left, int top, int width, int height,
           std::span<const uint8_t> pattern) {
  std::size_t next = 0;
  for (int y = top; y < std::min(top + height, plane.height) && !pattern.empty(); ++y) {
    for (int x = left; x < std::min(left + width, plane.width); ++x) {
      plane.samples[static_cast<std::size_t>(y) * static_cast<std::size_t>(plane.width) +
                    static_cast<std::size_t>(x)] = pattern[next++ % pattern.size()];
    }
  }
}

}  // namespace

Frame drawFrame(Bytes& bytes, int width, int height, int chromaWidth, int chromaHeight) {
  const View view = viewOf(bytes);
  Frame frame = {draw(width, height, view, 1, 0), draw(chromaWidth, chromaHeight, view, 2, 300),
                 draw(chromaWidth, chromaHeight, view, 2, 700)};
  const uint8_t noise = bytes.byte();
  addNoise(frame.y, noise, noise);
  const int covers = bytes.range(0, 3);
  for (int i = 0; i < covers; ++i) {
    Plane& plane = *bytes.oneOf({&frame.y, &frame.y, &frame.u, &frame.v});
    const int left = bytes.range(0, 511);
    const int top = bytes.range(0, 511);
    const int columns = bytes.range(0, 511);
    const int rows = bytes.range(0, 511);
    cover(plane, left, top, columns, rows,
          bytes.take(static_cast<std::size_t>(bytes.range(1, 16))));
  }
  return frame;
}

uint64_t checkSum(std::span<const uint8_t> samples) {
  uint64_t sum = samples.size();
  for (const uint8_t sample : samples)
    sum = sum * 0x100000001B3U + sample;
  return sum;
}

bool allAre(std::span<const uint8_t> samples, uint8_t value) {
  return std::all_of(samples.begin(), samples.end(),
                     [value](uint8_t sample) { return sample == value; });
}

std::vector<uint8_t> inPairs(const Plane& first, const Plane& second) {
  std::vector<uint8_t> pairs(2 * first.samples.size());
  uint8_t* to = pairs.data();
  for (std::size_t i = 0; i < first.samples.size(); ++i) {
    *to++ = first.samples[i];
    *to++ = second.samples[i];
  }
  return pairs;
}

}  // namespace velmora::fuzz
