// The restoration functions for vectors of any width. `V` wraps the intrinsics of a set; what it
// has to offer is listed in x86/vectors256.h. Internal linkage, so that each file has its own copy
// compiled with its own flags.
#ifndef VELMORA_SRC_BURST_RESTORATION_VECTOR_FUNCTIONS_H
#define VELMORA_SRC_BURST_RESTORATION_VECTOR_FUNCTIONS_H

#include "burst/restoration/basis.h"
#include "burst/restoration/functions.h"

namespace velmora::burst {
namespace {  // NOLINT(cert-dcl59-cpp)

// Two factors that are used together, the first in the lower half.
consteval int32_t factors(int16_t first, int16_t second) {
  return static_cast<int32_t>(static_cast<uint16_t>(first) |
                              static_cast<uint32_t>(static_cast<uint16_t>(second)) << 16);
}

// Sums and differences of opposite values, two neighbours a pair: [frequency][pair].
template <int32_t N>
struct ForwardFactors {
  int32_t of[N][N / 4];
};
template <int32_t N>
consteval ForwardFactors<N> forwardFactors() {
  ForwardFactors<N> result = {};
  for (int32_t k = 0; k < N; ++k) {
    for (int32_t m = 0; m < N / 4; ++m)
      result.of[k][m] = factors(kBasis<N>.q15[k][2 * m], kBasis<N>.q15[k][2 * m + 1]);
  }
  return result;
}

// Frequencies of the same parity, two neighbours a pair: [position][parity][pair].
template <int32_t N>
struct BackwardFactors {
  int32_t of[N / 2][2][N / 4];
};
template <int32_t N>
consteval BackwardFactors<N> backwardFactors() {
  BackwardFactors<N> result = {};
  for (int32_t i = 0; i < N / 2; ++i) {
    for (int32_t odd = 0; odd < 2; ++odd) {
      for (int32_t m = 0; m < N / 4; ++m) {
        result.of[i][odd][m] =
            factors(kBasis<N>.q15[4 * m + odd][i], kBasis<N>.q15[4 * m + 2 + odd][i]);
      }
    }
  }
  return result;
}

template <int32_t N>
constexpr ForwardFactors<N> kForward = forwardFactors<N>();
template <int32_t N>
constexpr BackwardFactors<N> kBackward = backwardFactors<N>();

template <typename V, int32_t N, int32_t Shift>
void transform(const typename V::Words (&in)[N], typename V::Words* out) {
  for (int32_t odd = 0; odd < 2; ++odd) {
    typename V::Pairs pairs[N / 4];
    for (int32_t m = 0; m < N / 4; ++m) {
      const auto& a = in[2 * m];
      const auto& b = in[2 * m + 1];
      const auto& c = in[N - 2 - 2 * m];
      const auto& d = in[N - 1 - 2 * m];
      pairs[m] = odd == 0 ? V::pairs(V::add(a, d), V::add(b, c))
                          : V::pairs(V::subtract(a, d), V::subtract(b, c));
    }
    for (int32_t k = odd; k < N; k += 2) {
      auto sum = V::template roundedProduct<Shift>(pairs[0], kForward<N>.of[k][0]);
      for (int32_t m = 1; m < N / 4; ++m)
        sum = V::addProduct(sum, pairs[m], kForward<N>.of[k][m]);
      out[k] = V::template narrow<Shift>(sum);
    }
  }
}

// The coefficients of the blocks of V's lanes.
template <typename V, int32_t N>
void transformRows(const BlockRow& row, const int16_t* columns, typename V::Words* block) {
  std::ptrdiff_t offsets[N];
  for (int32_t c = 0; c < N; ++c)
    offsets[c] = (c % row.stride) * row.phase + c / row.stride;
  for (int32_t v = 0; v < N; ++v) {
    typename V::Words in[N];
    for (int32_t c = 0; c < N; ++c)
      in[c] = V::load(columns + v * row.pitch + offsets[c]);
    transform<V, N, kRowShift<N>>(in, block + v * N);
  }
}

template <typename V, int32_t N>
void transformRowsBack(const typename V::Words* block, int16_t* values, std::ptrdiff_t pitch) {
  constexpr int32_t kShift = kInverseRowShift<N>;
  for (int32_t v = 0; v < N; ++v, block += N, values += N * pitch) {
    typename V::Pairs even[N / 4];
    typename V::Pairs odd[N / 4];
    for (int32_t m = 0; m < N / 4; ++m) {
      even[m] = V::pairs(block[4 * m], block[4 * m + 2]);
      odd[m] = V::pairs(block[4 * m + 1], block[4 * m + 3]);
    }
    for (int32_t i = 0; i < N / 2; ++i) {
      auto e = V::template roundedProduct<kShift>(even[0], kBackward<N>.of[i][0][0]);
      auto o = V::product(odd[0], kBackward<N>.of[i][1][0]);
      for (int32_t m = 1; m < N / 4; ++m) {
        e = V::addProduct(e, even[m], kBackward<N>.of[i][0][m]);
        o = V::addProduct(o, odd[m], kBackward<N>.of[i][1][m]);
      }
      V::store(values + i * pitch, V::template narrow<kShift>(V::add(e, o)));
      V::store(values + (N - 1 - i) * pitch, V::template narrow<kShift>(V::subtract(e, o)));
    }
  }
}

template <typename V, int32_t N, bool PerBlock>
void thresholdBlocks(const BlockRow& row, const int16_t* thresholds) {
  for (int32_t lane = 0; lane < row.lanes; lane += V::kLanes) {
    typename V::Words block[N * N];
    transformRows<V, N>(row, row.columns + lane, block);
    auto kept = V::fill(0);
    for (int32_t i = 0; i < N * N; ++i) {
      const auto threshold =
          PerBlock ? V::load(thresholds + i * kLanes + lane) : V::fill(thresholds[i]);
      const auto keep = V::larger(V::magnitude(block[i]), threshold);
      block[i] = V::both(block[i], keep);
      kept = V::subtract(kept, keep);
    }
    V::storeQuotients(row.weights + lane, row.weightScale, 1.0F, kept);
    transformRowsBack<V, N>(block, row.values + lane, row.valuePitch);
  }
}

template <typename V, int32_t N, bool PerBlock>
void pilotBlocks(const BlockRow& row, const float* noise) {
  constexpr int32_t kSquareShift = N == 8 ? 3 : 4;
  constexpr float kOne = N == 8 ? 1 << 9 : 1 << 7;
  const auto one = V::fill(32767);
  for (int32_t lane = 0; lane < row.lanes; lane += V::kLanes) {
    typename V::Words block[N * N];
    typename V::Words pilot[N * N];
    transformRows<V, N>(row, row.columns + lane, block);
    transformRows<V, N>(row, row.pilot + lane, pilot);
    auto squares = V::fill(0);
    for (int32_t v = 0; v < N; ++v) {
      auto line = V::fill(0);
      for (int32_t i = v * N; i < (v + 1) * N; ++i) {
        const auto n2 =
            PerBlock ? V::loadFloats(noise + i * kLanes + lane) : V::fillFloats(noise[i]);
        const auto loss = V::loss(pilot[i], n2);
        const auto gain = V::subtract(one, loss);
        block[i] = V::subtract(block[i], V::fraction(block[i], loss));
        line = V::add(line, V::template shiftRight<kSquareShift>(V::fraction(gain, gain)));
      }
      squares = V::add(squares, V::template shiftRight<kSquareShift>(line));
    }
    V::storeQuotients(row.weights + lane, row.weightScale * kOne, kOne, squares);
    transformRowsBack<V, N>(block, row.values + lane, row.valuePitch);
  }
}

template <typename V, int32_t N>
void transformColumnsOf(const int16_t* const* rows, int32_t count, int16_t* out,
                        std::ptrdiff_t pitch) {
  for (int32_t i = 0; i < count; i += V::kLanes) {
    typename V::Words in[N];
    typename V::Words block[N];
    for (int32_t y = 0; y < N; ++y)
      in[y] = V::load(rows[y] + i);
    transform<V, N, kColumnShift>(in, block);
    for (int32_t k = 0; k < N; ++k)
      V::store(out + k * pitch + i, block[k]);
  }
}

template <typename V, int32_t N>
void addColumnsOf(const ColumnSums& sums) {
  for (int32_t phase = 0; phase < sums.stride; ++phase) {
    for (int32_t j = 0; j < sums.count; j += V::kWideLanes) {
      typename V::Floats coefficients[N];
      for (int32_t k = 0; k < N; ++k) {
        const int16_t* values = sums.values + N * k * sums.valuePitch;
        auto sum = V::weighted(values + phase * sums.valuePitch + j, sums.weights + j);
        for (int32_t c = phase + sums.stride, b = j - 1; c < N; c += sums.stride, --b)
          sum = V::addWide(sum, V::weighted(values + c * sums.valuePitch + b, sums.weights + b));
        coefficients[k] = V::toFloats(sum);
      }
      auto weight = V::loadWide(sums.weights + j);
      for (int32_t c = phase + sums.stride, b = j - 1; c < N; c += sums.stride, --b)
        weight = V::addWide(weight, V::loadWide(sums.weights + b));
      const auto weights = V::toFloats(weight);
      const std::ptrdiff_t at = phase * sums.phase + j;
      for (int32_t y = 0; y < N / 2; ++y) {
        auto even = V::multiply(coefficients[0], kBasis<N>.doubled[0][y]);
        auto odd = V::multiply(coefficients[1], kBasis<N>.doubled[1][y]);
        for (int32_t k = 2; k < N; k += 2) {
          even = V::addFloats(even, V::multiply(coefficients[k], kBasis<N>.doubled[k][y]));
          odd = V::addFloats(odd, V::multiply(coefficients[k + 1], kBasis<N>.doubled[k + 1][y]));
        }
        V::addTo(sums.numerators[y] + at, V::addFloats(even, odd));
        V::addTo(sums.numerators[N - 1 - y] + at, V::subtractFloats(even, odd));
      }
      for (int32_t y = 0; y < N; ++y)
        V::addTo(sums.denominators[y] + at, weights);
    }
  }
}

// The entries of the table.
template <typename V>
struct VectorFunctions {
  static void transformColumns(int32_t size, const int16_t* const* rows, int32_t count,
                               int16_t* out, std::ptrdiff_t pitch) {
    size == 8 ? transformColumnsOf<V, 8>(rows, count, out, pitch)
              : transformColumnsOf<V, 16>(rows, count, out, pitch);
  }
  static void shrinkByThreshold(const BlockRow& row, const NoiseTable<int16_t>& thresholds) {
    const auto shrink = row.size == 8         ? thresholds.perBlock ? thresholdBlocks<V, 8, true>
                                                                    : thresholdBlocks<V, 8, false>
                                : thresholds.perBlock ? thresholdBlocks<V, 16, true>
                                              : thresholdBlocks<V, 16, false>;
    shrink(row, thresholds.values);
  }
  static void shrinkByPilot(const BlockRow& row, const NoiseTable<float>& noise) {
    const auto shrink = row.size == 8
                            ? noise.perBlock ? pilotBlocks<V, 8, true> : pilotBlocks<V, 8, false>
                        : noise.perBlock ? pilotBlocks<V, 16, true>
                                         : pilotBlocks<V, 16, false>;
    shrink(row, noise.values);
  }
  static void addColumns(const ColumnSums& sums) {
    sums.size == 8 ? addColumnsOf<V, 8>(sums) : addColumnsOf<V, 16>(sums);
  }
  static void divide(const float* numerators, const float* denominators, int32_t count,
                     int16_t* out) {
    for (int32_t i = 0; i < count; i += V::kLanes)
      V::divide(numerators + i, denominators + i, out + i);
  }
};

}  // namespace
}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_RESTORATION_VECTOR_FUNCTIONS_H
