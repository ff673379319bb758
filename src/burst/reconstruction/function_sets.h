// The vector variants of the reconstruction functions, by set, and the scalar functions.
#ifndef VELMORA_SRC_BURST_RECONSTRUCTION_FUNCTION_SETS_H
#define VELMORA_SRC_BURST_RECONSTRUCTION_FUNCTION_SETS_H

#include "burst/reconstruction/functions.h"

namespace velmora::burst {

// Each overwrites the entries that its set speeds up; built where the target can have the set.
void installNeon(ReconstructionFunctions& table);
void installAvx2(ReconstructionFunctions& table);
void installAvx512(ReconstructionFunctions& table);

/// What the table's entries mean. Vector variants hand them what fills no vector.
namespace scalar {

void blendWeights(const uint8_t* upper, const uint8_t* lower, int32_t fraction, int32_t count,
                  int16_t* out);
void sampleWeights(const int16_t* blended, const int32_t* columns, const int16_t* taps,
                   int32_t count, uint8_t* out);
void lookUpSums(const int32_t* sums, const int32_t* x, const int32_t* y, int32_t count,
                int16_t* out);
void shareRow(const ShareRow& row, int32_t count);
void addProducts(const ProductRow& row, int32_t count, const int16_t* base, int16_t* out);
void limitPositions(const PositionLimits& limits, int32_t count, int32_t* x, int32_t* y,
                    int16_t* inside);
void residualRow(const ResidualRow& row, int32_t count, int16_t* out);
void roundRow(const int16_t* samples, int32_t count, uint8_t* out);

// The same from column `begin` on.
void shareRowFrom(const ShareRow& row, int32_t begin, int32_t count);
void addProductsFrom(const ProductRow& row, int32_t begin, int32_t count, const int16_t* base,
                     int16_t* out);
void residualRowFrom(const ResidualRow& row, int32_t begin, int32_t count, int16_t* out);

}  // namespace scalar

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_RECONSTRUCTION_FUNCTION_SETS_H
