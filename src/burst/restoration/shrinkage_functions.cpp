// The shrinking of blocks.
#include <algorithm>
#include <array>
#include <cstdlib>

#include "burst/restoration/basis.h"
#include "burst/restoration/function_sets.h"

namespace velmora::burst::scalar {
namespace {

template <int32_t N>
using Block = std::array<int16_t, std::size_t{N} * N>;

int16_t saturate(int32_t value) {
  return static_cast<int16_t>(std::clamp<int32_t>(value, INT16_MIN, INT16_MAX));
}

// The coefficients of block b. Sums are below 2^31 in magnitude: columns are at most 11584 or
// 16380, an orthonormal row's values add up to at most the root of 8 or 4.
template <int32_t N>
Block<N> transform(const BlockRow& row, const int16_t* columns, int32_t b) {
  constexpr int32_t kShift = kRowShift<N>;
  Block<N> block;
  for (int32_t v = 0; v < N; ++v) {
    int32_t even[N / 2];
    int32_t odd[N / 2];
    for (int32_t i = 0; i < N / 2; ++i) {
      const int16_t* line = columns + v * row.pitch + b;
      const auto at = [&](int32_t c) {
        return line[(c % row.stride) * row.phase + c / row.stride];
      };
      even[i] = at(i) + at(N - 1 - i);
      odd[i] = at(i) - at(N - 1 - i);
    }
    for (int32_t u = 0; u < N; ++u) {
      const int32_t* half = u % 2 == 0 ? even : odd;
      int32_t sum = 1 << (kShift - 1);
      for (int32_t i = 0; i < N / 2; ++i)
        sum += half[i] * kBasis<N>.q15[u][i];
      block[static_cast<std::size_t>(N * v + u)] = saturate(sum >> kShift);
    }
  }
  return block;
}

// Sums are below 2^31: a row of coefficients has at most the root mean square that its columns had,
// so that no sum with an orthonormal basis is larger than 32760 of its steps.
template <int32_t N>
void transformBack(const Block<N>& block, const BlockRow& row, int32_t b) {
  constexpr int32_t kShift = kInverseRowShift<N>;
  for (int32_t v = 0; v < N; ++v) {
    int16_t* line = row.values + v * N * row.valuePitch + b;
    for (int32_t i = 0; i < N / 2; ++i) {
      int32_t even = 1 << (kShift - 1);
      int32_t odd = 0;
      for (int32_t u = 0; u < N; u += 2) {
        even += block[static_cast<std::size_t>(N * v + u)] * kBasis<N>.q15[u][i];
        odd += block[static_cast<std::size_t>(N * v + u + 1)] * kBasis<N>.q15[u + 1][i];
      }
      line[i * row.valuePitch] = saturate((even + odd) >> kShift);
      line[(N - 1 - i) * row.valuePitch] = saturate((even - odd) >> kShift);
    }
  }
}

template <typename T>
T entry(const NoiseTable<T>& table, std::size_t i, int32_t b) {
  return table.perBlock ? table.values[i * kLanes + static_cast<std::size_t>(b)] : table.values[i];
}

template <int32_t N>
void shrinkByThresholdOf(const BlockRow& row, const NoiseTable<int16_t>& thresholds) {
  for (int32_t b = 0; b < row.lanes; ++b) {
    Block<N> block = transform<N>(row, row.columns, b);
    int32_t kept = 0;
    for (std::size_t i = 0; i < block.size(); ++i) {
      const bool keep = std::abs(int32_t{block[i]}) > entry(thresholds, i, b);
      if (!keep) block[i] = 0;
      kept += keep ? 1 : 0;
    }
    row.weights[b] = static_cast<int32_t>(row.weightScale / static_cast<float>(1 + kept));
    transformBack<N>(block, row, b);
  }
}

// Gains have 15 fraction bits. Their squares are added up with 12 (size 8) or 11 bits along a row
// of coefficients, and with 9 or 7 over all rows: in 16 bits.
template <int32_t N>
void shrinkByPilotOf(const BlockRow& row, const NoiseTable<float>& noise) {
  constexpr int32_t kSquareShift = N == 8 ? 3 : 4;
  constexpr auto kOne = static_cast<float>(N == 8 ? 1 << 9 : 1 << 7);
  for (int32_t b = 0; b < row.lanes; ++b) {
    Block<N> block = transform<N>(row, row.columns, b);
    const Block<N> pilot = transform<N>(row, row.pilot, b);
    int32_t squares = 0;
    for (std::size_t v = 0; v < N; ++v) {
      int32_t line = 0;
      for (std::size_t i = v * N; i < (v + 1) * N; ++i) {
        const float n2 = entry(noise, i, b);
        const auto power = static_cast<float>(pilot[i] * pilot[i] + 1);
        const auto part = static_cast<int32_t>(n2 * 32768.0F / (power + n2));
        const int32_t loss = std::min(part, 32767);
        const int32_t gain = 32767 - loss;
        block[i] = static_cast<int16_t>(block[i] - ((block[i] * loss + (1 << 14)) >> 15));
        line += ((gain * gain + (1 << 14)) >> 15) >> kSquareShift;
      }
      squares += line >> kSquareShift;
    }
    row.weights[b] =
        static_cast<int32_t>(row.weightScale * kOne / (kOne + static_cast<float>(squares)));
    transformBack<N>(block, row, b);
  }
}

}  // namespace

void shrinkByThreshold(const BlockRow& row, const NoiseTable<int16_t>& thresholds) {
  row.size == 8 ? shrinkByThresholdOf<8>(row, thresholds)
                : shrinkByThresholdOf<16>(row, thresholds);
}

void shrinkByPilot(const BlockRow& row, const NoiseTable<float>& noise) {
  row.size == 8 ? shrinkByPilotOf<8>(row, noise) : shrinkByPilotOf<16>(row, noise);
}

}  // namespace velmora::burst::scalar
