// What de-ghosting is about to do to a frame, for the report and for hosts that want to see it.
#ifndef VELMORA_SRC_INTERPOLATION_GHOST_WEIGHTS_H
#define VELMORA_SRC_INTERPOLATION_GHOST_WEIGHTS_H

#include <cstdint>

#include "geometry/valid_region.h"
#include "interpolation/deghost.h"

namespace velmora {

/// The weights that deghostFrame takes, read from the frames before it changes the first one.
class GhostWeights {
 public:
  /// Parameters as those of deghostFrame, which accepts them; they must outlive the object.
  GhostWeights(const uint8_t* guide, const uint8_t* frame, const SR_ParamsPrivate& priv,
               int32_t width, int32_t height, const int32_t* mapX, const int32_t* mapY);

  /// Share, 0 .. 1, of the samples of a region that are replaced, a half replaced one counting
  /// half. Of regions above 65,536 samples every second, third, ... column and row counts.
  [[nodiscard]] double replacedShare(const ValidRegion& region) const;

  /// Writes the whole plane: 255 keeps a sample, 0 replaces it.
  void write(uint8_t* plane) const;

 private:
  /// Calls use(weight, x), weights in Q12, for columns first, first + step, ... up to last of a
  /// row.
  template <typename Use>
  void forRow(int32_t y, int32_t first, int32_t last, int32_t step, const Use& use) const;

  DeghostTable table_;
  SR_DeGhostBand frame_;
};

}  // namespace velmora

#endif  // VELMORA_SRC_INTERPOLATION_GHOST_WEIGHTS_H
