// De-ghosting of the first frame against the warped second one, on four bands of rows.
#include "interpolation/deghost.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>

#include "interpolation/bands.h"
#include "interpolation/frame_planes.h"
#include "interpolation/functions.h"
#include "interpolation/sampling.h"
#include "logging/log.h"
#include "memory/call_buffer.h"
#include "thread_pool/slot_group.h"
#include "velmora_sr/deghosting.h"

namespace {

bool validArguments(const uint8_t* guide, const uint8_t* output, const SR_ParamsPrivate* priv,
                    int32_t width, int32_t height, const int32_t* mapX, const int32_t* mapY) {
  return guide != nullptr && output != nullptr && priv != nullptr && mapX != nullptr &&
         mapY != nullptr && width >= 1 && width <= velmora::kMaxSide && height >= 1 &&
         height <= velmora::kMaxSide;
}

}  // namespace

velmora::DeghostRow velmora::deghostRow(const SR_DeGhostBand& part, int32_t firstRow) {
  const FrameShape shape = {part.width, part.height, VELMORA_SR_FORMAT_NV12};
  // Blocks are clipped to the band: the next one belongs to another thread.
  const int32_t end = std::min(part.endRow, part.height);
  return {.guideLuma = part.guideImage,
          .guideChroma = part.guideImage + shape.lumaSize(),
          .luma = part.outputImage,
          .chroma = part.outputImage + shape.lumaSize(),
          .newChroma = part.scratchChroma,
          .width = part.width,
          .height = part.height,
          .firstRow = firstRow,
          .rows = std::min(kDeghostBlock, end - firstRow),
          .mapX = part.mapX + std::ptrdiff_t{firstRow} * part.width,
          .mapY = part.mapY + std::ptrdiff_t{firstRow} * part.width,
          .weights = part.weightTable};
}

void DeGhostThreadFunc(void* band, int32_t /*threadIndex*/) {
  const auto& part = *static_cast<const SR_DeGhostBand*>(band);
  const auto deghostBlocks = velmora::interpolationFunctions().deghostBlocks;
  const int32_t end = std::min(part.endRow, part.height);
  for (int32_t y = part.firstRow; y < end; y += velmora::kDeghostBlock)
    deghostBlocks(velmora::deghostRow(part, y), 0, part.width);
}

namespace velmora {

DeghostTable::DeghostTable(int32_t low, int32_t high) : readyMade_(low == 1 && high == 15) {
  if (!readyMade_) CreateDeGhostLUTOnline(made_.data(), low, high);
}

Velmora_SR_ESR_RET deghostFrame(const uint8_t* guideImage, uint8_t* outputImage,
                                SR_ParamsPrivate* priv, int32_t width, int32_t height,
                                const int32_t* mapX, const int32_t* mapY) {
  if (!validArguments(guideImage, outputImage, priv, width, height, mapX, mapY)) {
    return logged(SR_RET_PARAMS_OUT_OF_RANGE, "DeGhost");
  }
  const FrameShape shape = {width, height, VELMORA_SR_FORMAT_NV12};
  const auto allocator = Allocator::of(priv->pub);
  const auto newChroma =
      CallBuffer<uint8_t>::plane(allocator, 2 * shape.chromaWidth(), shape.chromaHeight());
  if (!newChroma) {
    return logged(SR_RET_ALLOC_FAILED, "DeGhost");
  }

  const DeghostTable table(priv->ghostLowThr, priv->ghostHighThr);
  std::array<SR_DeGhostBand, 4> bands;
  for (int32_t i = 0; i < 4; ++i) {
    const RowBand rows = quarterBand(height, i);
    bands[static_cast<std::size_t>(i)] = {.guideImage = guideImage,
                                          .outputImage = outputImage,
                                          .width = width,
                                          .height = height,
                                          .firstRow = rows.first,
                                          .endRow = rows.end,
                                          .mapX = mapX,
                                          .mapY = mapY,
                                          .scratchChroma = newChroma.data(),
                                          .weightTable = table.weights()};
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
