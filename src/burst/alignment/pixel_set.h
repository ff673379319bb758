// The pixels of a pyramid level that a frame is registered by.
#ifndef VELMORA_SRC_BURST_ALIGNMENT_PIXEL_SET_H
#define VELMORA_SRC_BURST_ALIGNMENT_PIXEL_SET_H

#include "burst/alignment/functions.h"
#include "burst/alignment/pyramid.h"

namespace velmora::burst {

/// Pixels row by row, with their gradients.
class PixelSet {
 public:
  PixelSet() = default;
  /// All pixels but masked ones and those of the rim; on levels above 60,000 pixels the 35 % with
  /// the steepest gradients, unless `all`. Throws std::bad_alloc and Cancelled.
  PixelSet(Memory& memory, Workers& workers, const PyramidLevel& level, bool all);

  [[nodiscard]] PixelRow row(int32_t y) const;
  [[nodiscard]] Size size() const { return size_; }  ///< of the level
  [[nodiscard]] int64_t count() const { return count_; }
  [[nodiscard]] int32_t longestRow() const { return longestRow_; }  ///< entries, filled up

 private:
  Size size_ = {};
  int64_t count_ = 0;
  int32_t longestRow_ = 0;
  Buffer<std::size_t> begins_;  ///< [height + 1] first entries of rows, multiples of kPixelGroup
  Buffer<uint16_t> columns_;
  Buffer<int16_t> values_;
  Buffer<int16_t> gradientsX_;
  Buffer<int16_t> gradientsY_;
};

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_ALIGNMENT_PIXEL_SET_H
