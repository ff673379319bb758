// Where the blocks of a pass lie along one axis of a plane.
#ifndef VELMORA_SRC_BURST_RESTORATION_BLOCK_POSITIONS_H
#define VELMORA_SRC_BURST_RESTORATION_BLOCK_POSITIONS_H

#include <algorithm>
#include <cstdint>

namespace velmora::burst {

/// The blocks that cover any of the samples [begin, end) of an axis: `count` of them from `first`
/// on, `stride` apart, and possibly one at the end of the plane, where no multiple of the stride
/// lies.
struct BlockPositions {
  BlockPositions(int32_t size, int32_t stride, int32_t length, int32_t begin, int32_t end)
      : last(length - size) {
    const int32_t lowest = std::max(0, begin - size + stride) / stride;
    const int32_t highest = std::min(end - 1, last) / stride;
    count = std::max(0, highest - lowest + 1);
    first = count > 0 ? lowest * stride : last;
    atEnd = last % stride != 0 && end > last;
  }

  int32_t first;  ///< where the last block lies if there is no other
  int32_t count;
  int32_t last;
  bool atEnd;  ///< a block lies at `last` besides those counted
};

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_RESTORATION_BLOCK_POSITIONS_H
