// What lies around the shrinking of blocks: rows in phases, the columns' transforms, the quotients.
#include <algorithm>

#include "burst/restoration/function_sets.h"
#include "burst/restoration/transform.h"

namespace velmora::burst::scalar {
namespace {

template <int32_t N>
void transformColumnsOf(const int16_t* const* rows, int32_t count, int16_t* out,
                        std::ptrdiff_t pitch) {
  for (int32_t i = 0; i < count; ++i) {
    int16_t column[N];
    int16_t coefficients[N];
    for (int32_t y = 0; y < N; ++y)
      column[y] = rows[y][i];
    transform<N, kColumnShift<N>>(column, kBasis<N>.columns, coefficients);
    for (int32_t k = 0; k < N; ++k)
      out[k * pitch + i] = coefficients[k];
  }
}

// The M values of half a period of frequencies 0, N / M, 2 N / M and so on, from frequencies of the
// same parity among these: out[i] and out[M - 1 - i] share all products.
template <int32_t N, int32_t M>
void columnBack(const float* coefficients, float* out) {
  constexpr int32_t kStep = N / M;
  float even[M / 2];
  if constexpr (M > 2) {
    columnBack<N, M / 2>(coefficients, even);
  } else {
    even[0] = coefficients[0] * kBasis<N>.columnsBack[0][0];
  }
  for (int32_t i = 0; i < M / 2; ++i) {
    float odd = coefficients[kStep] * kBasis<N>.columnsBack[kStep][i];
    for (int32_t k = 3 * kStep; k < N; k += 2 * kStep)
      odd += coefficients[k] * kBasis<N>.columnsBack[k][i];
    out[i] = even[i] + odd;
    out[M - 1 - i] = even[i] - odd;
  }
}

// Block b covers column stride * b + c with its column c: the sum of position j of a phase takes
// column c from block j - c / stride. Weights of as many blocks as share a column are scaled so
// that the sums stay within 32 bits.
template <int32_t N>
void addColumnsOf(const ColumnSums& sums) {
  for (int32_t phase = 0; phase < sums.stride; ++phase) {
    for (int32_t j = 0; j < sums.count; ++j) {
      int32_t weight = 0;
      float coefficients[N];
      for (int32_t k = 0; k < N; ++k) {
        int32_t sum = 0;
        for (int32_t c = phase, b = j; c < N; c += sums.stride, --b)
          sum += sums.values[(N * k + c) * sums.valuePitch + b] * sums.weights[b];
        coefficients[k] = static_cast<float>(sum);
      }
      for (int32_t c = phase, b = j; c < N; c += sums.stride, --b)
        weight += sums.weights[b];
      float column[N];
      columnBack<N, N>(coefficients, column);
      const std::ptrdiff_t at = phase * sums.phase + j;
      for (int32_t y = 0; y < N; ++y) {
        sums.numerators[y][at] += column[y];
        sums.denominators[y][at] += static_cast<float>(weight);
      }
    }
  }
}

}  // namespace

void split(const int16_t* in, int32_t count, int32_t stride, std::ptrdiff_t phase, int16_t* out) {
  for (int32_t first = 0; first < stride; ++first, out += phase) {
    for (int32_t i = first, j = 0; i < count; i += stride, ++j)
      out[j] = static_cast<int16_t>(std::clamp(in[i] - kMidGrey, -kSampleLimit, kSampleLimit));
  }
}

void merge(const int16_t* in, int32_t count, int32_t stride, std::ptrdiff_t phase, int16_t* out) {
  for (int32_t first = 0; first < stride; ++first, in += phase) {
    for (int32_t i = first, j = 0; i < count; i += stride, ++j)
      out[i] = in[j];
  }
}

void transformColumns(int32_t size, const int16_t* const* rows, int32_t count, int16_t* out,
                      std::ptrdiff_t pitch) {
  size == 8 ? transformColumnsOf<8>(rows, count, out, pitch)
            : transformColumnsOf<16>(rows, count, out, pitch);
}

void addColumns(const ColumnSums& sums) {
  sums.size == 8 ? addColumnsOf<8>(sums) : addColumnsOf<16>(sums);
}

// Weights are whole numbers of at least 1, and their sums exact. Quotients are limited before they
// become integers: any float fits.
void divide(const float* numerators, const float* denominators, int32_t count, int16_t* out) {
  constexpr auto kLimit = static_cast<float>(kSampleLimit);
  for (int32_t i = 0; i < count; ++i) {
    const float quotient = numerators[i] / std::max(denominators[i], 1.0F);
    const float limited = std::min(std::max(quotient, -kLimit), kLimit);
    const auto rounded = static_cast<int32_t>(limited + (kLimit + 0.5F));
    out[i] = static_cast<int16_t>(rounded + (kMidGrey - kSampleLimit));
  }
}

}  // namespace velmora::burst::scalar
