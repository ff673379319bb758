// The shrinking of blocks.
#include <algorithm>
#include <cstdlib>

#include "burst/restoration/function_sets.h"
#include "burst/restoration/transform.h"

namespace velmora::burst::scalar {
namespace {

// The coefficients of vertical frequency v of block b.
template <int32_t N>
void transformRow(const BlockRow& row, const int16_t* columns, int32_t v, int32_t b,
                  int16_t (&out)[N]) {
  const int16_t* const line = columns + v * row.pitch + b;
  int16_t in[N];
  for (int32_t c = 0; c < N; ++c)
    in[c] = line[(c % row.stride) * row.phase + c / row.stride];
  transform<N, kRowShift>(in, kBasis<N>.rows, out);
}

template <int32_t N>
void transformRowBack(const int16_t (&in)[N], const BlockRow& row, int32_t v, int32_t b) {
  int16_t out[N];
  transformBack<N, kRowShift>(in, kBasis<N>.rows, out);
  for (int32_t c = 0; c < N; ++c)
    row.values[(N * v + c) * row.valuePitch + b] = out[c];
}

template <typename T>
T entry(const NoiseChoice<T>& tables, int32_t i, int32_t b) {
  return tables.values[i * kTables + tables.numbers[b]];
}

template <int32_t N>
void shrinkByThresholdOf(const BlockRow& row, const NoiseChoice<int16_t>& thresholds) {
  for (int32_t b = 0; b < row.lanes; ++b) {
    int32_t kept = 0;
    for (int32_t v = 0; v < N; ++v) {
      int16_t line[N];
      transformRow<N>(row, row.columns, v, b, line);
      for (int32_t u = 0; u < N; ++u) {
        const bool keep = std::abs(int32_t{line[u]}) > entry(thresholds, N * v + u, b);
        if (!keep) line[u] = 0;
        kept += keep ? 1 : 0;
      }
      transformRowBack<N>(line, row, v, b);
    }
    row.weights[b] = static_cast<int16_t>(row.weightScale / static_cast<float>(1 + kept));
  }
}

// Gains have 15 fraction bits. Their squares are added up with 12 (size 8) or 11 bits along a row
// of coefficients, and with 9 or 7 over all rows: in 16 bits.
template <int32_t N>
void shrinkByPilotOf(const BlockRow& row, const NoiseChoice<float>& noise) {
  constexpr int32_t kSquareShift = N == 8 ? 3 : 4;
  constexpr auto kOne = static_cast<float>(N == 8 ? 1 << 9 : 1 << 7);
  for (int32_t b = 0; b < row.lanes; ++b) {
    int32_t squares = 0;
    for (int32_t v = 0; v < N; ++v) {
      int16_t line[N];
      int16_t pilot[N];
      transformRow<N>(row, row.columns, v, b, line);
      transformRow<N>(row, row.pilot, v, b, pilot);
      int32_t lineSquares = 0;
      for (int32_t u = 0; u < N; ++u) {
        const float n2 = entry(noise, N * v + u, b);
        const auto power = static_cast<float>(pilot[u] * pilot[u] + 1);
        const auto part = static_cast<int32_t>(n2 * 32768.0F / (power + n2));
        const int32_t loss = std::min(part, 32767);
        const int32_t gain = 32767 - loss;
        line[u] = static_cast<int16_t>(line[u] - ((line[u] * loss + (1 << 14)) >> 15));
        lineSquares += ((gain * gain + (1 << 14)) >> 15) >> kSquareShift;
      }
      squares += lineSquares >> kSquareShift;
      transformRowBack<N>(line, row, v, b);
    }
    row.weights[b] =
        static_cast<int16_t>(row.weightScale * kOne / (kOne + static_cast<float>(squares)));
  }
}

}  // namespace

void shrinkByThreshold(const BlockRow& row, const NoiseChoice<int16_t>& thresholds) {
  row.size == 8 ? shrinkByThresholdOf<8>(row, thresholds)
                : shrinkByThresholdOf<16>(row, thresholds);
}

void shrinkByPilot(const BlockRow& row, const NoiseChoice<float>& noise) {
  row.size == 8 ? shrinkByPilotOf<8>(row, noise) : shrinkByPilotOf<16>(row, noise);
}

}  // namespace velmora::burst::scalar
