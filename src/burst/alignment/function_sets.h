// The vector variants of the alignment functions, by set, and the scalar functions.
#ifndef VELMORA_SRC_BURST_ALIGNMENT_FUNCTION_SETS_H
#define VELMORA_SRC_BURST_ALIGNMENT_FUNCTION_SETS_H

#include "burst/alignment/functions.h"

namespace velmora::burst {

// Each overwrites the entries that its set speeds up; built where the target can have the set.
void installNeon(AlignmentFunctions& table);
void installAvx2(AlignmentFunctions& table);
void installAvx512(AlignmentFunctions& table);

/// What the table's entries mean. Vector variants hand them the columns that fill no vector.
namespace scalar {

void halveBytes(const uint8_t* upper, const uint8_t* lower, int16_t* out, uint8_t* masked,
                int32_t count);
void halve(const int16_t* const* rows, const uint8_t* const* maskedRows, int16_t* out,
           uint8_t* masked, int32_t count);
void smooth(const int16_t* const* rows, int16_t* out, int32_t count);
void smoothBytes(const uint8_t* const* rows, int16_t* out, int32_t count);
void widenMask(const uint8_t* const* rows, uint8_t* out, int32_t count);
int32_t countSteep(const int16_t* const* rows, const uint8_t* masked, int32_t width,
                   int32_t threshold);
void takeSteep(const int16_t* const* rows, const uint8_t* masked, int32_t width, int32_t threshold,
               const PixelArrays& to);
void residuals(const PixelRow& row, const WarpedRow& warp, float* residuals, float* warped);
void addUp(const PixelRow& row, const float* residuals, const float* warped, float limit, bool all,
           RowSums& sums);
void addCells(const PixelRow& row, const float* residuals, int32_t width, CellSums* sums);

}  // namespace scalar

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_ALIGNMENT_FUNCTION_SETS_H
