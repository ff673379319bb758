// One pass of restoration: all blocks of one size over a part of a plane.
#ifndef VELMORA_SRC_BURST_RESTORATION_PASS_H
#define VELMORA_SRC_BURST_RESTORATION_PASS_H

#include <cstdint>

#include "burst/memory.h"
#include "burst/restoration/pass_tables.h"

namespace velmora::burst {

struct PassGeometry {
  int32_t size;    ///< of blocks, 8 or 16
  int32_t stride;  ///< 1 .. 4
};

/// Samples whose first one lies at (left, top) of the plane.
template <typename T>
struct PlanePart {
  Plane<T> samples;
  int32_t left = 0;
  int32_t top = 0;
  [[nodiscard]] T* at(int32_t x, int32_t y) const { return samples.row(y - top) + (x - left); }
};

/// What one pass is run on.
struct PassJob {
  PassGeometry geometry;
  const PassTables* tables;
  int32_t tableCount;
  PlanePart<const int16_t> noisy;
  PlanePart<const int16_t> pilot;   ///< without data: the first pass, by thresholds
  PlanePart<const uint8_t> frames;  ///< without data: one frame everywhere
  Size plane;
  Rect target;             ///< what to restore, in coordinates of the plane
  PlanePart<int16_t> out;  ///< takes it; may be the pilot, not the noisy samples
  bool average;            ///< or the mean of it and of what is there
};

/// The scratch of passes, kept between them.
class PassRunner {
 public:
  PassRunner() = default;
  /// For targets of up to `largest` columns with any of the geometries.
  PassRunner(Memory& memory, const PassGeometry* geometries, int32_t count, int32_t largest);
  void run(const PassJob& job);

 private:
  struct Layout;

  void begin(const PassJob& job, const Layout& layout);
  void loadRow(const PassJob& job, const Layout& layout, int32_t y);
  void shrinkRow(const PassJob& job, const Layout& layout, int32_t top);
  void finishRow(const PassJob& job, const Layout& layout, int32_t y);

  Buffer<int16_t> noisyRows_;     ///< ring of `size` rows in phases
  Buffer<int16_t> pilotRows_;     //
  Buffer<int16_t> noisyColumns_;  ///< [vertical frequency]
  Buffer<int16_t> pilotColumns_;  //
  Buffer<int16_t> values_;        ///< [vertical frequency, column], kUnit lanes in front of each
  Buffer<int16_t> weights_;       ///< likewise
  Buffer<uint8_t> numbers_;       ///< [lane]
  Buffer<float> numerators_;      ///< ring of `size` rows in phases
  Buffer<float> denominators_;    //
  Buffer<int16_t> quotients_;     ///< a row in phases, a row of samples
};

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_RESTORATION_PASS_H
