// De-ghosting of the first frame against the warped second one, on four bands of rows.
#include "interpolation/deghost.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>

#include "interpolation/allocation.h"
#include "interpolation/bands.h"
#include "interpolation/failure_log.h"
#include "interpolation/frame_planes.h"
#include "interpolation/sampling.h"
#include "kernels/kernel_table.h"
#include "thread_pool/slot_group.h"
#include "velmora_sr/deghosting.h"

namespace {

constexpr int32_t kBlock = 4;

bool validArguments(const uint8_t* guide, const uint8_t* output, const SR_ParamsPrivate* priv,
                    int32_t width, int32_t height, const int32_t* mapX, const int32_t* mapY) {
  return guide != nullptr && output != nullptr && priv != nullptr && mapX != nullptr &&
         mapY != nullptr && width >= 1 && width <= velmora::kMaxSide && height >= 1 &&
         height <= velmora::kMaxSide;
}

}  // namespace

void DeGhostThreadFunc(void* band, int32_t /*threadIndex*/) {
  const auto& part = *static_cast<const SR_DeGhostBand*>(band);
  const auto deghostBlocks = velmora::kernels().interpolation.deghostBlocks;
  const velmora::FrameShape shape = {part.width, part.height, VELMORA_SR_FORMAT_NV12};
  velmora::DeghostRow row = {.guideLuma = part.guideImage,
                             .guideChroma = part.guideImage + shape.lumaSize(),
                             .luma = part.outputImage,
                             .chroma = part.outputImage + shape.lumaSize(),
                             .newChroma = part.scratchChroma,
                             .width = part.width,
                             .height = part.height,
                             .firstRow = 0,
                             .rows = 0,
                             .mapX = nullptr,
                             .mapY = nullptr,
                             .weights = part.weightTable};
  // Blocks are clipped to the band: the next one belongs to another thread.
  const int32_t end = std::min(part.endRow, part.height);
  for (int32_t y = part.firstRow; y < end; y += kBlock) {
    row.firstRow = y;
    row.rows = std::min(kBlock, end - y);
    row.mapX = part.mapX + std::ptrdiff_t{y} * part.width;
    row.mapY = part.mapY + std::ptrdiff_t{y} * part.width;
    deghostBlocks(row, 0, part.width);
  }
}

namespace velmora {

Velmora_SR_ESR_RET deghostFrame(const uint8_t* guideImage, uint8_t* outputImage,
                                SR_ParamsPrivate* priv, int32_t width, int32_t height,
                                const int32_t* mapX, const int32_t* mapY) {
  if (!validArguments(guideImage, outputImage, priv, width, height, mapX, mapY)) {
    return logged(SR_RET_PARAMS_OUT_OF_RANGE, "DeGhost");
  }
  const FrameShape shape = {width, height, VELMORA_SR_FORMAT_NV12};
  const auto allocator = Allocator::of(priv->pub);
  const auto newChroma = allocator.plane<uint8_t>(2 * shape.chromaWidth(), shape.chromaHeight());
  if (!newChroma) {
    return logged(SR_RET_ALLOC_FAILED, "DeGhost");
  }

  std::array<int16_t, 256> weights;
  const bool readyMade = priv->ghostLowThr == 1 && priv->ghostHighThr == 15;
  if (!readyMade) {
    CreateDeGhostLUTOnline(weights.data(), priv->ghostLowThr, priv->ghostHighThr);
  }
  std::array<SR_DeGhostBand, 4> bands;
  for (int32_t i = 0; i < 4; ++i) {
    const RowBand rows = quarterBand(height, i);
    bands[static_cast<std::size_t>(i)] = {
        guideImage, outputImage, width, height,           rows.first,
        rows.end,   mapX,        mapY,  newChroma.data(), readyMade ? Degost_LUT : weights.data()};
  }
  runOnSlots(kDeghostSlots, DeGhostThreadFunc, {bands.data(), &bands[1], &bands[2], &bands[3]},
             kDeghostCaller);
  std::memcpy(outputImage + shape.lumaSize(), newChroma.data(), 2 * shape.chromaSize());
  return SR_RET_SUCCEED;
}

}  // namespace velmora

void DeGhost(const uint8_t* guideImage, uint8_t* outputImage, SR_ParamsPrivate* priv, int32_t width,
             int32_t height, const int32_t* mapX, const int32_t* mapY) {
  velmora::deghostFrame(guideImage, outputImage, priv, width, height, mapX, mapY);
}
