// NEON functions that have a file of their own.
#ifndef VELMORA_SRC_BURST_ALIGNMENT_ARM_NEON_H
#define VELMORA_SRC_BURST_ALIGNMENT_ARM_NEON_H

#include "burst/alignment/functions.h"

namespace velmora::burst::neon {

// 64-bit ARM only: 32-bit NEON flushes subnormal numbers and cannot divide.
void residuals(const PixelRow& row, const WarpedRow& warp, float* residuals, float* warped);
void addUp(const PixelRow& row, const float* residuals, const float* warped, float limit, bool all,
           RowSums& sums);
void addCells(const PixelRow& row, const float* residuals, int32_t width, CellSums* sums);

}  // namespace velmora::burst::neon

#endif  // VELMORA_SRC_BURST_ALIGNMENT_ARM_NEON_H
