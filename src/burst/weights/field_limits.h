// Where a field of translations changes abruptly.
#ifndef VELMORA_SRC_BURST_WEIGHTS_FIELD_LIMITS_H
#define VELMORA_SRC_BURST_WEIGHTS_FIELD_LIMITS_H

#include "burst/motion.h"

namespace velmora::burst {

/// The most that a place may weigh. Between tiles that moved apart, at an edge in depth, the
/// translation is a blend of two and fits neither side, by less than the tests of the weights see.
class FieldLimits {
 public:
  /// `field` may be null or empty: then nothing is limited. Throws std::bad_alloc.
  FieldLimits(Memory& memory, const LocalField* field);

  [[nodiscard]] bool any() const { return cells_.size() > 0; }
  /// Lowers the weights of chroma samples [left, right) of a row of the half-size plane.
  void apply(int32_t y, int32_t left, int32_t right, uint8_t* row) const;

 private:
  Size tiles_ = {};
  Buffer<uint8_t> cells_;  ///< one for each four tiles around a place
};

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_WEIGHTS_FIELD_LIMITS_H
