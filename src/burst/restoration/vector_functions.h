// The restoration functions for vectors of any width. `V` wraps the intrinsics of a set; what it
// has to offer is listed in x86/vectors256.h. Internal linkage, so that each file has its own copy
// compiled with its own flags.
#ifndef VELMORA_SRC_BURST_RESTORATION_VECTOR_FUNCTIONS_H
#define VELMORA_SRC_BURST_RESTORATION_VECTOR_FUNCTIONS_H

#include "burst/restoration/basis.h"
#include "burst/restoration/functions.h"

namespace velmora::burst {
namespace {  // NOLINT(cert-dcl59-cpp)

// Left to itself, GCC hands the arrays of values over in memory: a quarter of the time.
#define VELMORA_INLINE [[gnu::always_inline]] inline

// Two factors that are used together, the first in the lower half.
constexpr int32_t factors(int16_t first, int16_t second) {
  return static_cast<int32_t>(static_cast<uint16_t>(first) |
                              static_cast<uint32_t>(static_cast<uint16_t>(second)) << 16);
}

// Operands of sums of products: of 16 values, pairs that are multiplied and added up in 32 bits; of
// 8 values, single ones whose products are rounded to 16 bits. Factors come in four at most,
// packed in the same way.
template <typename V, int32_t N, int32_t Count>
class Operands {
 public:
  using Sum = typename V::Halves;
  template <typename Value>
  explicit Operands(Value value) {
    for (int32_t m = 0; m < Count / 2; ++m)
      pairs_[m] = V::pairs(value(2 * m), value(2 * m + 1));
  }
  Sum sum(const int32_t (&by)[4]) const { return addTo(V::product(pairs_[0], by[0]), by); }
  template <int32_t Shift>
  Sum roundedSum(const int32_t (&by)[4]) const {
    return addTo(V::template roundedProduct<Shift>(pairs_[0], by[0]), by);
  }
  template <int32_t Shift>
  static typename V::Words finish(const Sum& sum) {
    return V::template narrow<Shift>(sum);
  }

 private:
  Sum addTo(Sum sum, const int32_t (&by)[4]) const {
    for (int32_t m = 1; m < Count / 2; ++m)
      sum = V::add(sum, V::product(pairs_[m], by[m]));
    return sum;
  }
  typename V::Pairs pairs_[Count / 2];
};

template <typename V, int32_t Count>
class Operands<V, 8, Count> {
 public:
  using Sum = typename V::Words;
  template <typename Value>
  explicit Operands(Value value) {
    for (int32_t m = 0; m < Count; ++m)
      values_[m] = value(m);
  }
  Sum sum(const int32_t (&by)[4]) const {
    Sum sum = V::fraction(values_[0], V::fillPairs(by[0]));
    for (int32_t m = 1; m < Count; ++m)
      sum = V::add(sum, V::fraction(values_[m], V::fillPairs(by[m])));
    return sum;
  }
  template <int32_t Shift>
  Sum roundedSum(const int32_t (&by)[4]) const {
    return sum(by);
  }
  template <int32_t Shift>
  static Sum finish(const Sum& sum) {
    return sum;
  }

 private:
  Sum values_[Count];
};

template <int32_t N>
constexpr void pack(int32_t (&to)[4], const int16_t* values, int32_t count) {
  for (int32_t i = 0; i < count; ++i) {
    if (N == 8) to[i] = factors(values[i], values[i]);
    if (N == 16 && i % 2 == 0) to[i / 2] = factors(values[i], values[i + 1]);
  }
}

// [frequency]: of the values that its kind of frequencies shares.
template <int32_t N>
struct Forward {
  int32_t of[N][4];
};
template <int32_t N>
constexpr Forward<N> makeForward(const int16_t (&basis)[N][N]) {
  Forward<N> result = {};
  for (int32_t k = 0; k < N; ++k)
    pack<N>(result.of[k], basis[k], k % 2 == 1 ? N / 2 : N / 4);
  return result;
}

// [position]: of the frequencies of a kind.
template <int32_t N>
struct Backward {
  int32_t odd[N / 2][4];
  int32_t kinds[2][N / 4][4];
};
template <int32_t N>
constexpr Backward<N> makeBackward() {
  Backward<N> result = {};
  int16_t values[N / 2] = {};
  for (int32_t i = 0; i < N / 2; ++i) {
    for (int32_t k = 0; k < N / 2; ++k)
      values[k] = kBasis<N>.rows[2 * k + 1][i];
    pack<N>(result.odd[i], values, N / 2);
  }
  for (int32_t kind = 0; kind < 2; ++kind) {
    for (int32_t i = 0; i < N / 4; ++i) {
      for (int32_t k = 0; k < N / 4; ++k)
        values[k] = kBasis<N>.rows[4 * k + 2 * kind][i];
      pack<N>(result.kinds[kind][i], values, N / 4);
    }
  }
  return result;
}

template <int32_t N>
constexpr Forward<N> kForwardRows = makeForward<N>(kBasis<N>.rows);
template <int32_t N>
constexpr Forward<N> kForwardColumns = makeForward<N>(kBasis<N>.columns);
template <int32_t N>
constexpr Backward<N> kBackward = makeBackward<N>();

template <typename V, int32_t N, int32_t Shift>
VELMORA_INLINE void transform(const typename V::Words (&in)[N], const Forward<N>& by,
                              typename V::Words (&out)[N]) {
  using Halved = Operands<V, N, N / 2>;
  using Quartered = Operands<V, N, N / 4>;
  typename V::Words even[N / 2];
  for (int32_t i = 0; i < N / 2; ++i)
    even[i] = V::add(in[i], in[N - 1 - i]);
  const Quartered fourths([&](int32_t i) { return V::add(even[i], even[N / 2 - 1 - i]); });
  for (int32_t k = 0; k < N; k += 4)
    out[k] = Quartered::template finish<Shift>(fourths.template roundedSum<Shift>(by.of[k]));
  const Quartered between([&](int32_t i) { return V::subtract(even[i], even[N / 2 - 1 - i]); });
  for (int32_t k = 2; k < N; k += 4)
    out[k] = Quartered::template finish<Shift>(between.template roundedSum<Shift>(by.of[k]));
  const Halved odd([&](int32_t i) { return V::subtract(in[i], in[N - 1 - i]); });
  for (int32_t k = 1; k < N; k += 2)
    out[k] = Halved::template finish<Shift>(odd.template roundedSum<Shift>(by.of[k]));
}

// Where the columns of a block lie behind the block's own place.
template <int32_t N>
struct Offsets {
  explicit Offsets(const BlockRow& row) {
    for (int32_t c = 0; c < N; ++c)
      of[c] = (c % row.stride) * row.phase + c / row.stride;
  }
  std::ptrdiff_t of[N];
};

// The coefficients of one vertical frequency of the blocks of V's lanes.
template <typename V, int32_t N>
VELMORA_INLINE void transformRow(const int16_t* columns, const Offsets<N>& offsets,
                                 typename V::Words (&out)[N]) {
  typename V::Words in[N];
  for (int32_t c = 0; c < N; ++c)
    in[c] = V::load(columns + offsets.of[c]);
  transform<V, N, kRowShift>(in, kForwardRows<N>, out);
}

template <typename V, int32_t N>
VELMORA_INLINE void transformRowBack(const typename V::Words (&row)[N], int16_t* values,
                                     std::ptrdiff_t pitch) {
  using Halved = Operands<V, N, N / 2>;
  using Quartered = Operands<V, N, N / 4>;
  typename Halved::Sum even[N / 2];
  const Quartered fourths([&](int32_t k) { return row[4 * k]; });
  const Quartered between([&](int32_t k) { return row[4 * k + 2]; });
  for (int32_t i = 0; i < N / 4; ++i) {
    const auto a = fourths.template roundedSum<kRowShift>(kBackward<N>.kinds[0][i]);
    const auto b = between.sum(kBackward<N>.kinds[1][i]);
    even[i] = V::add(a, b);
    even[N / 2 - 1 - i] = V::subtract(a, b);
  }
  const Halved odd([&](int32_t k) { return row[2 * k + 1]; });
  for (int32_t i = 0; i < N / 2; ++i) {
    const auto o = odd.sum(kBackward<N>.odd[i]);
    V::store(values + i * pitch, Halved::template finish<kRowShift>(V::add(even[i], o)));
    V::store(values + (N - 1 - i) * pitch,
             Halved::template finish<kRowShift>(V::subtract(even[i], o)));
  }
}

template <typename V, int32_t N, bool PerBlock>
void thresholdBlocks(const BlockRow& row, const int16_t* thresholds) {
  const Offsets<N> offsets(row);
  for (int32_t lane = 0; lane < row.lanes; lane += V::kLanes) {
    auto kept = V::fill(0);
    for (int32_t v = 0; v < N; ++v) {
      typename V::Words line[N];
      transformRow<V, N>(row.columns + v * row.pitch + lane, offsets, line);
      for (int32_t u = 0; u < N; ++u) {
        const int32_t i = v * N + u;
        const auto threshold =
            PerBlock ? V::load(thresholds + i * kLanes + lane) : V::fill(thresholds[i]);
        V::keepLarger(line[u], threshold, kept);
      }
      transformRowBack<V, N>(line, row.values + v * N * row.valuePitch + lane, row.valuePitch);
    }
    V::storeQuotients(row.weights + lane, row.weightScale, 1.0F, kept);
  }
}

template <typename V, int32_t N, bool PerBlock>
void pilotBlocks(const BlockRow& row, const float* noise) {
  constexpr int32_t kSquareShift = N == 8 ? 3 : 4;
  constexpr float kOne = N == 8 ? 1 << 9 : 1 << 7;
  const Offsets<N> offsets(row);
  const auto one = V::fill(32767);
  for (int32_t lane = 0; lane < row.lanes; lane += V::kLanes) {
    auto squares = V::fill(0);
    for (int32_t v = 0; v < N; ++v) {
      typename V::Words line[N];
      typename V::Words pilot[N];
      transformRow<V, N>(row.columns + v * row.pitch + lane, offsets, line);
      transformRow<V, N>(row.pilot + v * row.pitch + lane, offsets, pilot);
      auto lineSquares = V::fill(0);
      for (int32_t u = 0; u < N; ++u) {
        const int32_t i = v * N + u;
        const auto n2 =
            PerBlock ? V::loadFloats(noise + i * kLanes + lane) : V::fillFloats(noise[i]);
        const auto loss = V::loss(pilot[u], n2);
        const auto gain = V::subtract(one, loss);
        line[u] = V::subtract(line[u], V::fraction(line[u], loss));
        lineSquares =
            V::add(lineSquares, V::template shiftRight<kSquareShift>(V::fraction(gain, gain)));
      }
      squares = V::add(squares, V::template shiftRight<kSquareShift>(lineSquares));
      transformRowBack<V, N>(line, row.values + v * N * row.valuePitch + lane, row.valuePitch);
    }
    V::storeQuotients(row.weights + lane, row.weightScale * kOne, kOne, squares);
  }
}

template <typename V, int32_t N>
void transformColumnsOf(const int16_t* const* rows, int32_t begin, int32_t end, int16_t* out,
                        std::ptrdiff_t pitch) {
  for (int32_t i = begin; i < end; i += V::kLanes) {
    typename V::Words in[N];
    typename V::Words block[N];
    for (int32_t y = 0; y < N; ++y)
      in[y] = V::load(rows[y] + i);
    transform<V, N, kColumnShift<N>>(in, kForwardColumns<N>, block);
    for (int32_t k = 0; k < N; ++k)
      V::store(out + k * pitch + i, block[k]);
  }
}

template <typename V, int32_t N, int32_t M>
void transformColumnBack(const typename V::Floats* coefficients, typename V::Floats* out) {
  constexpr int32_t kStep = N / M;
  typename V::Floats even[M / 2];
  if constexpr (M > 2) {
    transformColumnBack<V, N, M / 2>(coefficients, even);
  } else {
    even[0] = V::multiply(coefficients[0], kBasis<N>.columnsBack[0][0]);
  }
  for (int32_t i = 0; i < M / 2; ++i) {
    auto odd = V::multiply(coefficients[kStep], kBasis<N>.columnsBack[kStep][i]);
    for (int32_t k = 3 * kStep; k < N; k += 2 * kStep)
      odd = V::addFloats(odd, V::multiply(coefficients[k], kBasis<N>.columnsBack[k][i]));
    out[i] = V::addFloats(even[i], odd);
    out[M - 1 - i] = V::subtractFloats(even[i], odd);
  }
}

// Sums of one phase, whose positions take as many columns as PairCount pairs hold, or one less.
template <typename V, int32_t N, int32_t PairCount>
void addPhase(const ColumnSums& sums, int32_t phase, bool less, int32_t begin, int32_t end) {
  // From a column of blocks j to the next one of blocks j - 1. Where the last pair has one column
  // only, it is taken twice, the second time without weight.
  const std::ptrdiff_t toNext = sums.stride * sums.valuePitch - 1;
  const std::ptrdiff_t toLast = less ? 0 : toNext;
  for (int32_t j = begin; j < end; j += V::kLanes) {
    typename V::Pairs weights[PairCount];
    auto weight = V::noSum();
    for (int32_t c = 0; c < PairCount; ++c) {
      const int16_t* const from = sums.weights + j - 2 * c;
      const bool one = less && c == PairCount - 1;
      weights[c] = V::pairs(V::load(from), one ? V::fill(0) : V::load(from - 1));
      weight = V::add(weight, V::product(weights[c], factors(1, 1)));
    }
    typename V::Floats coefficients[2][N];
    for (int32_t k = 0; k < N; ++k) {
      const int16_t* const values = sums.values + (N * k + phase) * sums.valuePitch + j;
      auto sum = V::noSum();
      for (int32_t c = 0; c < PairCount; ++c) {
        const int16_t* const first = values + 2 * c * toNext;
        const int16_t* const second = first + (c == PairCount - 1 ? toLast : toNext);
        sum = V::addProduct(sum, V::pairs(V::load(first), V::load(second)), weights[c]);
      }
      V::toFloats(sum, coefficients[0][k], coefficients[1][k]);
    }
    typename V::Floats weightHalves[2];
    V::toFloats(weight, weightHalves[0], weightHalves[1]);
    for (int32_t half = 0; half < 2; ++half) {
      typename V::Floats column[N];
      transformColumnBack<V, N, N>(coefficients[half], column);
      const std::ptrdiff_t at = phase * sums.phase + j + half * (V::kLanes / 2);
      for (int32_t y = 0; y < N; ++y) {
        V::addTo(sums.numerators[y] + at, column[y]);
        V::addTo(sums.denominators[y] + at, weightHalves[half]);
      }
    }
  }
}

template <typename V, int32_t N>
void addColumnsOf(const ColumnSums& sums, int32_t begin, int32_t end) {
  for (int32_t phase = 0; phase < sums.stride; ++phase) {
    const int32_t columns = (N - phase + sums.stride - 1) / sums.stride;
    const auto add = columns == 8  ? addPhase<V, N, 4>
                     : columns > 2 ? addPhase<V, N, 2>
                                   : addPhase<V, N, 1>;
    add(sums, phase, columns % 2 == 1, begin, end);
  }
}

// The entries of the table. `Rest` takes the kUnit values that may be left behind whole vectors.
template <typename V, typename Rest = V>
struct VectorFunctions {
  static int32_t whole(int32_t count) { return count / V::kLanes * V::kLanes; }

  static void transformColumns(int32_t size, const int16_t* const* rows, int32_t count,
                               int16_t* out, std::ptrdiff_t pitch) {
    const int32_t end = whole(count);
    if (size == 8) {
      transformColumnsOf<V, 8>(rows, 0, end, out, pitch);
      transformColumnsOf<Rest, 8>(rows, end, count, out, pitch);
    } else {
      transformColumnsOf<V, 16>(rows, 0, end, out, pitch);
      transformColumnsOf<Rest, 16>(rows, end, count, out, pitch);
    }
  }
  static void shrinkByThreshold(const BlockRow& row, const NoiseTable<int16_t>& thresholds) {
    row.lanes % V::kLanes == 0 ? threshold<V>(row, thresholds) : threshold<Rest>(row, thresholds);
  }
  static void shrinkByPilot(const BlockRow& row, const NoiseTable<float>& noise) {
    row.lanes % V::kLanes == 0 ? pilot<V>(row, noise) : pilot<Rest>(row, noise);
  }
  static void addColumns(const ColumnSums& sums) {
    const int32_t end = whole(sums.count);
    if (sums.size == 8) {
      addColumnsOf<V, 8>(sums, 0, end);
      addColumnsOf<Rest, 8>(sums, end, sums.count);
    } else {
      addColumnsOf<V, 16>(sums, 0, end);
      addColumnsOf<Rest, 16>(sums, end, sums.count);
    }
  }
  static void divide(const float* numerators, const float* denominators, int32_t count,
                     int16_t* out) {
    const int32_t end = whole(count);
    for (int32_t i = 0; i < end; i += V::kLanes)
      V::divide(numerators + i, denominators + i, out + i);
    for (int32_t i = end; i < count; i += Rest::kLanes)
      Rest::divide(numerators + i, denominators + i, out + i);
  }

 private:
  template <typename Vectors>
  static void threshold(const BlockRow& row, const NoiseTable<int16_t>& table) {
    if (row.size == 8) {
      table.perBlock ? thresholdBlocks<Vectors, 8, true>(row, table.values)
                     : thresholdBlocks<Vectors, 8, false>(row, table.values);
    } else {
      table.perBlock ? thresholdBlocks<Vectors, 16, true>(row, table.values)
                     : thresholdBlocks<Vectors, 16, false>(row, table.values);
    }
  }
  template <typename Vectors>
  static void pilot(const BlockRow& row, const NoiseTable<float>& table) {
    if (row.size == 8) {
      table.perBlock ? pilotBlocks<Vectors, 8, true>(row, table.values)
                     : pilotBlocks<Vectors, 8, false>(row, table.values);
    } else {
      table.perBlock ? pilotBlocks<Vectors, 16, true>(row, table.values)
                     : pilotBlocks<Vectors, 16, false>(row, table.values);
    }
  }
};

#undef VELMORA_INLINE

}  // namespace
}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_RESTORATION_VECTOR_FUNCTIONS_H
