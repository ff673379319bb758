// The windows that samples are weighted with: tables of 4 x 4 taps for 64 x 64 phases.
#ifndef VELMORA_SRC_BURST_RESAMPLING_TAPS_H
#define VELMORA_SRC_BURST_RESAMPLING_TAPS_H

#include <cstdint>

#include "burst/memory.h"
#include "burst/resampling/positions.h"

namespace velmora::burst {

/// One window for each pair of phases, [16 * (64 * yPhase + xPhase)], taps row by row. Tap (1, 1)
/// belongs to the sample at the whole part of the position.
struct WindowTable {
  Buffer<int16_t> taps;
  int32_t shift = 0;  ///< fraction bits of the taps
};

/// Lanczos with two lobes, Q12; each window adds up to exactly 4096.
WindowTable lanczosWindows(Memory& memory);
/// Catmull-Rom (a = -0.5), Q12; each window adds up to exactly 4096.
WindowTable catmullRomWindows(Memory& memory);
/// The sum of the squares of Catmull-Rom's four taps of a phase: what interpolation at that phase
/// leaves of the variance of white noise along one axis.
float catmullRomNoise(int32_t phase);
/// Gaussian of standard deviation 0.4 samples, Q12, not normalised: a window's sum tells how near
/// the position is to a sample. `sums` takes the 64 * 64 sums.
WindowTable gaussianWindows(Memory& memory, Buffer<int32_t>& sums);

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_RESAMPLING_TAPS_H
