#include "burst/reconstruction/block_spectrum.h"

#include <cmath>

#include "burst/resampling/series.h"

namespace velmora::burst {
namespace {

// [u][i]: what sample i counts in coefficient u, but for the scale of the transform.
template <std::size_t kSide>
constexpr std::array<std::array<double, kSide>, kSide> cosines() {
  std::array<std::array<double, kSide>, kSide> table = {};
  for (std::size_t u = 0; u < kSide; ++u) {
    for (std::size_t i = 0; i < kSide; ++i) {
      // Of u (2 i + 1) / (4 kSide) turns; a quarter more makes a sine of it.
      const std::size_t turns = (u * (2 * i + 1) + kSide) % (4 * kSide);
      table[u][i] = sine(2 * kPi * static_cast<double>(turns) / (4.0 * kSide));
    }
  }
  return table;
}
template <std::size_t kSide>
constexpr auto kCosines = cosines<kSide>();

template <std::size_t kSide>
using Block = std::array<std::array<double, kSide>, kSide>;

// Transforms columns and exchanges them with rows: twice makes both axes.
template <std::size_t kSide>
Block<kSide> transformed(const Block<kSide>& block) {
  Block<kSide> out = {};
  for (std::size_t x = 0; x < kSide; ++x) {
    for (std::size_t v = 0; v < kSide; ++v) {
      double sum = 0;
      for (std::size_t y = 0; y < kSide; ++y)
        sum += kCosines<kSide>[v][y] * block[y][x];
      out[x][v] = sum;
    }
  }
  return out;
}

}  // namespace

template <std::size_t kSide>
void BlockSpectrum<kSide>::add(Plane<const int16_t> samples) {
  constexpr auto kStep = static_cast<int32_t>(kSide);
  for (int32_t top = 0; top + kStep <= samples.size.height; top += kStep) {
    for (int32_t left = 0; left + kStep <= samples.size.width; left += kStep) {
      Block<kSide> block;
      for (std::size_t y = 0; y < kSide; ++y) {
        const int16_t* row = samples.row(top + static_cast<int32_t>(y)) + left;
        for (std::size_t x = 0; x < kSide; ++x)
          block[y][x] = row[x];
      }
      block = transformed<kSide>(transformed<kSide>(block));
      for (std::size_t v = 0; v < kSide; ++v) {
        for (std::size_t u = 0; u < kSide; ++u)
          power_[v * kSide + u] += block[v][u] * block[v][u];
      }
      ++blocks_;
    }
  }
}

template <std::size_t kSide>
void BlockSpectrum<kSide>::add(const BlockSpectrum& other) {
  for (std::size_t i = 0; i < power_.size(); ++i)
    power_[i] += other.power_[i];
  blocks_ += other.blocks_;
}

template <std::size_t kSide>
double BlockSpectrum<kSide>::rootMeanSquare(std::size_t u, std::size_t v) const {
  // The orthonormal transform has sqrt(1 / kSide) per axis for coefficient 0, sqrt(2 / kSide) for
  // the others.
  const double scale = (u == 0 ? 1.0 : 2.0) * (v == 0 ? 1.0 : 2.0) / (kSide * kSide);
  return std::sqrt(scale * power_[v * kSide + u] / static_cast<double>(blocks_));
}

template class BlockSpectrum<8>;
template class BlockSpectrum<16>;

}  // namespace velmora::burst
