// Functions of resampling with variants for instruction sets.
#ifndef VELMORA_SRC_BURST_RESAMPLING_FUNCTIONS_H
#define VELMORA_SRC_BURST_RESAMPLING_FUNCTIONS_H

#include <cstddef>
#include <cstdint>

namespace velmora {

enum class CpuSet;  // cpu/cpu_set.h; files compiled for a set take no more than they need

namespace burst {

/// A row of samples to be read at arbitrary positions of a window of another plane.
struct WindowRow {
  const int16_t* source;  ///< sample (0, 0) of the grid that positions count on: it and what
  std::ptrdiff_t pitch;   ///< lies around it may be outside the memory that is read
  const int32_t* x;       ///< [count] positions with six fraction bits; the samples from one
  const int32_t* y;       ///< before to two behind the whole part lie in memory
  const int16_t* taps;    ///< WindowTable::taps
  int32_t shift;          ///< WindowTable::shift, 12 or 14
};

struct ResamplingFunctions {
  /// out[i] = the 4 x 4 samples around position i times the taps of its phases, summed, rounded
  /// half up by `shift` bits and saturated to 16 bits, for i in [0, count). Samples up to 16 bits,
  /// windows whose taps' magnitudes add up to less than 2^15: sums stay in 32 bits.
  void (*windowSums)(const WindowRow& row, int32_t count, int16_t* out);
};

/// The functions in use, and those of one set.
const ResamplingFunctions& resamplingFunctions();
const ResamplingFunctions& resamplingFunctions(CpuSet set);

}  // namespace burst
}  // namespace velmora

#endif  // VELMORA_SRC_BURST_RESAMPLING_FUNCTIONS_H
