// Owners of the per-plane column plans.
#ifndef VELMORA_SRC_INTERPOLATION_COLUMN_PLAN_H
#define VELMORA_SRC_INTERPOLATION_COLUMN_PLAN_H

#include "interpolation/functions.h"
#include "interpolation/sampling.h"
#include "memory/heap_buffer.h"

namespace velmora {

/// The plan of the horizontal pass. It lives on the C heap, not in the caller's blocks.
class ColumnPlanOwner {
 public:
  /// Computes the plan of a valid geometry; false when there is no memory for it.
  bool build(const PlaneGeometry& geometry, const PhaseTable& table);
  [[nodiscard]] const ColumnPlan& plan() const { return plan_; }

 private:
  ColumnPlan plan_ = {};
  HeapBuffer<int32_t> first_;
  HeapBuffer<int16_t> taps_;
};

/// The plan of the fusion, whose image is at least one sample wide.
class FusionColumnsOwner {
 public:
  bool build(const PlaneGeometry& geometry, const PhaseTable& table);
  [[nodiscard]] const FusionColumns& plan() const { return plan_; }

 private:
  FusionColumns plan_ = {};
  HeapBuffer<int32_t> values_;  // first, map column, fraction and phase, one after the other
};

}  // namespace velmora

#endif  // VELMORA_SRC_INTERPOLATION_COLUMN_PLAN_H
