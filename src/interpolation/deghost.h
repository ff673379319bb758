// De-ghosting for callers that must know whether it was done.
#ifndef VELMORA_SRC_INTERPOLATION_DEGHOST_H
#define VELMORA_SRC_INTERPOLATION_DEGHOST_H

#include <array>
#include <cstdint>

#include "interpolation/functions.h"
#include "velmora_sr/deghosting.h"
#include "velmora_sr/records.h"

namespace velmora {

/// What DeGhost does, and whether it did: SR_RET_SUCCEED, or the code of the error that it logged
/// (SR_RET_PARAMS_OUT_OF_RANGE, SR_RET_ALLOC_FAILED) with both frames untouched.
Velmora_SR_ESR_RET deghostFrame(const uint8_t* guideImage, uint8_t* outputImage,
                                SR_ParamsPrivate* priv, int32_t width, int32_t height,
                                const int32_t* mapX, const int32_t* mapY);

inline constexpr int32_t kDeghostBlock = 4;

/// The row of blocks that begins at a row of a band; bands begin with a block.
DeghostRow deghostRow(const SR_DeGhostBand& part, int32_t firstRow);

/// The weights of two thresholds: made, or the table that is there.
class DeghostTable {
 public:
  DeghostTable(int32_t low, int32_t high);
  [[nodiscard]] const int16_t* weights() const { return readyMade_ ? Degost_LUT : made_.data(); }

 private:
  bool readyMade_;
  std::array<int16_t, 256> made_;
};

}  // namespace velmora

#endif  // VELMORA_SRC_INTERPOLATION_DEGHOST_H
