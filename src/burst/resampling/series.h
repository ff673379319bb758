// Sine and exponential by their series: the C library's differ in the last bit from one system to
// the next.
#ifndef VELMORA_SRC_BURST_RESAMPLING_SERIES_H
#define VELMORA_SRC_BURST_RESAMPLING_SERIES_H

namespace velmora::burst {

inline constexpr double kPi = 3.14159265358979323846;

/// |x| up to 2 pi, where the last term is below 1e-15.
constexpr double sine(double x) {
  double term = x;
  double sum = x;
  for (int n = 1; n < 20; ++n) {
    term = -term * x * x / ((2.0 * n) * (2.0 * n + 1.0));
    sum += term;
  }
  return sum;
}

/// x from 0 up to 13, where the halvings leave less than 1/9 to the series.
constexpr double exponentialOfMinus(double x) {
  constexpr int kHalvings = 7;
  const double small = -x / (1 << kHalvings);
  double term = 1;
  double sum = 1;
  for (int n = 1; n < 12; ++n) {
    term = term * small / n;
    sum += term;
  }
  for (int i = 0; i < kHalvings; ++i)
    sum *= sum;
  return sum;
}

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_RESAMPLING_SERIES_H
