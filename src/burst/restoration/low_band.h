// The lowest frequencies of a plane, restored on a coarse grid.
//
// Blocks of 8 and 16 samples keep their mean, noise and all: in a sky that leaves blotches of a
// block's size. So the means of 4 x 4 samples, the cells, are restored as a plane of their own, in
// blocks of 8 x 8 cells, and the picture gets what they differ by from the cells of what the small
// blocks have made.
#ifndef VELMORA_SRC_BURST_RESTORATION_LOW_BAND_H
#define VELMORA_SRC_BURST_RESTORATION_LOW_BAND_H

#include <cstdint>

#include "burst/memory.h"
#include "burst/restoration/pass.h"
#include "burst/restoration/plan.h"

namespace velmora::burst {

/// How many cells a plane has. Up to three samples at its end are in none.
Size cellsOf(Size plane);

/// Writes the means of these cells. `samples` has all of theirs.
void meansOfCells(const PlanePart<const int16_t>& samples, const Rect& cells,
                  const PlanePart<int16_t>& means);

/// The scratch of one worker.
class LowBand {
 public:
  /// For windows of up to `largest` samples. Throws std::bad_alloc.
  LowBand(Memory& memory, const RestorationPlan& plan, Size largest);

  /// Whether a block of cells fits into a plane.
  static bool fits(Size plane);
  /// How far around what is wanted run() reads, but for the borders of the plane.
  struct Halo {
    int32_t window;
    int32_t fine;
  };
  static Halo halo(const RestorationPlan& plan);
  /// The part of the fine samples that run() reads.
  [[nodiscard]] Rect covers(const Rect& wanted, Size plane) const;

  /// Writes the wanted part of `fine`, which covers what it has to, with other lowest frequencies.
  void run(const RestorationWindow& window, const PlanePart<const int16_t>& fine,
           Plane<int16_t> out);

 private:
  [[nodiscard]] Rect cellsFor(const Rect& wanted, Size cells) const;
  void correct(const RestorationWindow& window, const PlanePart<const int16_t>& fine,
               const Rect& cells);
  void smooth(Size size);
  void add(const RestorationWindow& window, const PlanePart<const int16_t>& fine, const Rect& cells,
           Plane<int16_t> out);

  bool smooth_;     ///< whether the corrections are
  int32_t tables_;  ///< in use
  PassTables noise_;
  PlaneBuffer<int16_t> noisy_;        ///< cells of the window
  PlaneBuffer<uint8_t> frames_;       ///< how many frames were added up there
  PlaneBuffer<int16_t> fine_;         ///< cells of what the small blocks have made
  PlaneBuffer<int16_t> corrections_;  ///< restored cells, then less those
  Buffer<int32_t> columns_;           ///< a row between those of the cells
  Buffer<int16_t> row_;               ///< the same at all samples
  PassRunner pass_;
};

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_RESTORATION_LOW_BAND_H
