// The scalar transforms along one axis, which columns and rows of blocks share.
#ifndef VELMORA_SRC_BURST_RESTORATION_TRANSFORM_H
#define VELMORA_SRC_BURST_RESTORATION_TRANSFORM_H

#include "burst/restoration/basis.h"

namespace velmora::burst::scalar {

/// How products are added up: see basis.h. Of 16 values, sums stay below 2^30 (rows: at most 23160
/// times 2^15) or 2^30 (columns: 23160 times 2^15).
template <int32_t N, int32_t Shift>
struct Products {
  static int32_t first(int32_t a, int32_t b) { return a * b + (1 << (Shift - 1)); }
  static int32_t next(int32_t a, int32_t b) { return a * b; }
  static int16_t finish(int32_t sum) { return static_cast<int16_t>(sum >> Shift); }
};
template <int32_t Shift>
struct Products<8, Shift> {
  static int32_t first(int32_t a, int32_t b) { return (a * b + (1 << (Shift - 1))) >> Shift; }
  static int32_t next(int32_t a, int32_t b) { return first(a, b); }
  static int16_t finish(int32_t sum) { return static_cast<int16_t>(sum); }
};

/// out[k] = the sum of in[i] * basis[k][i]. Values that all frequencies of a kind share are added
/// up, or subtracted, first.
template <int32_t N, int32_t Shift>
void transform(const int16_t (&in)[N], const int16_t (&basis)[N][N], int16_t (&out)[N]) {
  using Sum = Products<N, Shift>;
  int32_t odd[N / 2];
  int32_t even[N / 2];
  int32_t kinds[2][N / 4];  // frequencies 0, 4, 8 and so on; 2, 6, 10 and so on
  for (int32_t i = 0; i < N / 2; ++i) {
    even[i] = in[i] + in[N - 1 - i];
    odd[i] = in[i] - in[N - 1 - i];
  }
  for (int32_t i = 0; i < N / 4; ++i) {
    kinds[0][i] = even[i] + even[N / 2 - 1 - i];
    kinds[1][i] = even[i] - even[N / 2 - 1 - i];
  }
  for (int32_t k = 0; k < N; ++k) {
    const int32_t* const values = k % 2 == 1 ? odd : kinds[k / 2 % 2];
    int32_t sum = Sum::first(values[0], basis[k][0]);
    for (int32_t i = 1; i < (k % 2 == 1 ? N / 2 : N / 4); ++i)
      sum += Sum::next(values[i], basis[k][i]);
    out[k] = Sum::finish(sum);
  }
}

/// out[i] = the sum of in[k] * basis[k][i].
template <int32_t N, int32_t Shift>
void transformBack(const int16_t (&in)[N], const int16_t (&basis)[N][N], int16_t (&out)[N]) {
  using Sum = Products<N, Shift>;
  int32_t even[N / 2];
  for (int32_t i = 0; i < N / 4; ++i) {
    int32_t fourths = Sum::first(in[0], basis[0][i]);
    int32_t between = Sum::next(in[2], basis[2][i]);
    for (int32_t k = 4; k < N; k += 4) {
      fourths += Sum::next(in[k], basis[k][i]);
      between += Sum::next(in[k + 2], basis[k + 2][i]);
    }
    even[i] = fourths + between;
    even[N / 2 - 1 - i] = fourths - between;
  }
  for (int32_t i = 0; i < N / 2; ++i) {
    int32_t odd = 0;
    for (int32_t k = 1; k < N; k += 2)
      odd += Sum::next(in[k], basis[k][i]);
    out[i] = Sum::finish(even[i] + odd);
    out[N - 1 - i] = Sum::finish(even[i] - odd);
  }
}

}  // namespace velmora::burst::scalar

#endif  // VELMORA_SRC_BURST_RESTORATION_TRANSFORM_H
