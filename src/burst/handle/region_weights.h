// What a frame's weights come to.
#ifndef VELMORA_SRC_BURST_HANDLE_REGION_WEIGHTS_H
#define VELMORA_SRC_BURST_HANDLE_REGION_WEIGHTS_H

#include <cstddef>
#include <cstdint>

#include "burst/weights/weights.h"

namespace velmora::burst {

/// The sum of the weights of a region's luma samples, 0 .. 255 each.
uint64_t sumOfWeights(const Weights& weights, const Rect& region);

/// Draws the weight of each luma sample, bilinear between those of the chroma samples around it.
void drawWeights(const Weights& weights, Size luma, uint8_t* out, std::ptrdiff_t stride);

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_HANDLE_REGION_WEIGHTS_H
