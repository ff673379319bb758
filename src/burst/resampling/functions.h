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
                          ///< lies around it may be outside the memory that is read
  std::ptrdiff_t pitch;   ///< 4 .. 2^17 samples
  const int32_t* x;       ///< [count] positions with six fraction bits; the samples from one
  const int32_t* y;       ///< before to two behind the whole part lie in memory
  const int16_t* taps;    ///< WindowTable::taps
  int32_t shift;          ///< WindowTable::shift, 12 or 14
};

/// How many nodes behind the right neighbour of a row's last sample may be read; they mean nothing.
inline constexpr int32_t kSpareNodes = 4;

/// The nodes of a position grid around one of its rows, x and y of each in turn.
struct NodeRow {
  const int32_t* upper;  ///< 14 fraction bits, at most 2^23 from one to the next
  const int32_t* lower;
  int32_t down;  ///< by how much the row lies below the upper nodes, 0 .. 7
};

struct ResamplingFunctions {
  /// x[i - left], y[i - left] = the position of sample i of the row, for i in [left, right), 0 <=
  /// left: bilinear between the nodes on every eighth sample, rounded half up to six fraction bits.
  void (*positions)(const NodeRow& row, int32_t left, int32_t right, int32_t* x, int32_t* y);
  /// out[i] = the 4 x 4 samples around position i times the taps of its phases, summed, rounded
  /// half up by `shift` bits and saturated to 16 bits, for i in [0, count). Samples up to 16 bits,
  /// windows whose taps' magnitudes add up to less than 2^15: sums stay in 32 bits. Taps begin at a
  /// multiple of 32 bytes. Of 256 neighbours no two lie 2^31 samples apart: in a row PositionGrid
  /// sees to it.
  void (*windowSums)(const WindowRow& row, int32_t count, int16_t* out);
};

/// The functions in use, and those of one set.
const ResamplingFunctions& resamplingFunctions();
const ResamplingFunctions& resamplingFunctions(CpuSet set);

}  // namespace burst
}  // namespace velmora

#endif  // VELMORA_SRC_BURST_RESAMPLING_FUNCTIONS_H
