#include "engine/ghost_weights.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>

namespace velmora::tool {
namespace {

constexpr int kBlock = 4;
constexpr int kBands = 4;
constexpr int kKeep = 4096;

// The largest difference of Y, U and V between two samples of NV12 frames.
class Differences {
 public:
  explicit Differences(const GhostInput& input)
      : first_(input.first.data()), second_(input.second.data()), width_(input.size.width) {
    luma_ = std::size_t(width_) * std::size_t(input.size.height);
  }

  [[nodiscard]] int at(int x, int y, int otherX, int otherY) const {
    const std::size_t pair = chroma(x, y);
    const std::size_t otherPair = chroma(otherX, otherY);
    return std::max({difference(luma(x, y), luma(otherX, otherY)), difference(pair, otherPair),
                     difference(pair + 1, otherPair + 1)});
  }

 private:
  [[nodiscard]] std::size_t luma(int x, int y) const {
    return std::size_t(y) * std::size_t(width_) + std::size_t(x);
  }
  [[nodiscard]] std::size_t chroma(int x, int y) const {
    return luma_ + std::size_t(y / 2) * std::size_t(width_) + std::size_t(x / 2 * 2);
  }
  [[nodiscard]] int difference(std::size_t i, std::size_t other) const {
    return std::abs(int{first_[i]} - int{second_[other]});
  }

  const uint8_t* first_;
  const uint8_t* second_;
  int width_;
  std::size_t luma_;
};

}  // namespace

Plane ghostWeights(const GhostInput& input) {
  const Size size = input.size;
  Plane weights(size, 255);
  const Differences differences(input);
  // Blocks of 4 x 4 samples, cut off at the ends of four bands of rows, share one map entry.
  for (int band = 0; band < kBands; ++band) {
    const auto start = [&](int i) { return static_cast<int>(int64_t{i} * size.height / kBands); };
    const int end = start(band + 1);
    for (int y = start(band); y < end; ++y) {
      const int blockTop = y - (y - start(band)) % kBlock;
      for (int x = 0; x < size.width; ++x) {
        const int blockLeft = x - x % kBlock;
        const auto entry = std::size_t(blockTop) * std::size_t(size.width) + std::size_t(blockLeft);
        const int otherX = (input.mapX[entry] >> 16) + x - blockLeft;
        const int otherY = (input.mapY[entry] >> 16) + y - blockTop;
        if (otherX < 0 || otherY < 0 || otherX >= size.width - 1 || otherY >= size.height - 1) {
          continue;
        }
        const auto index = static_cast<std::size_t>(differences.at(x, y, otherX, otherY));
        weights.row(y)[x] = static_cast<uint8_t>((input.table[index] * 255 + kKeep / 2) / kKeep);
      }
    }
  }
  return weights;
}

double replacedShare(const Plane& weights, Region region) {
  int64_t replaced = 0;
  for (int y = region.top; y <= region.bottom; ++y) {
    for (int x = region.left; x <= region.right; ++x)
      replaced += 255 - weights.row(y)[x];
  }
  const Size size = region.size();
  return static_cast<double>(replaced) / (255.0 * size.width * size.height);
}

}  // namespace velmora::tool
