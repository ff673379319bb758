// Two-frame interpolation: luma from both frames, chroma from the first alone.
#include "interpolation/two_frame.h"

#include <cstddef>

#include "interpolation/bands.h"
#include "interpolation/failure_log.h"
#include "interpolation/single_frame.h"
#include "kernels/kernel_table.h"
#include "thread_pool/slot_group.h"
#include "velmora_sr/interpolation.h"

using velmora::FusionColumns;
using velmora::PhaseTable;
using velmora::PlaneGeometry;

namespace {

PlaneGeometry geometryOf(const SR_FusionBands& bands) {
  return {bands.taps, bands.inW, bands.inH, bands.outW, bands.outH,
          bands.x0,   bands.y0,  bands.x1,  bands.y1};
}

void fuseBand(const SR_FusionBands& bands, const FusionColumns& columns, const PhaseTable& table,
              int32_t threadIndex) {
  const auto fuseRow = velmora::kernels().interpolation.fuseRow;
  const PlaneGeometry geometry = geometryOf(bands);
  const velmora::AxisGrid grid = geometry.rows();
  velmora::FusionRow row = {};
  row.second = bands.secondFrame;
  row.sourceWidth = geometry.paddedWidth();
  row.width = geometry.inW;
  row.height = geometry.inH;
  row.table = table.rows;
  row.phases = table.phases;
  const auto [first, end] = velmora::interpolationBand(geometry.outH, threadIndex);
  for (int32_t k = first; k < end; ++k) {
    const int64_t sample = grid.sample(k);
    row.fraction = grid.fraction(k);
    row.taps = table.rows + std::ptrdiff_t{table.phase(row.fraction)} * table.phases;
    for (int32_t t = 0; t < velmora::kTaps; ++t) {
      const std::ptrdiff_t padded =
          velmora::clampSample(sample + velmora::kFirstTap + t, geometry.paddedHeight());
      row.rows[t] = bands.firstFrame + padded * geometry.paddedWidth();
    }
    const std::ptrdiff_t mapRow = velmora::clampSample(sample, geometry.inH);
    row.mapX = bands.mapX + mapRow * geometry.inW;
    row.mapY = bands.mapY + mapRow * geometry.inW;
    fuseRow(row, columns, 0, geometry.outW, bands.destination + std::ptrdiff_t{k} * geometry.outW);
  }
}

}  // namespace

namespace velmora {

Velmora_SR_ESR_RET LumaFusion::prepare(const PlaneGeometry& geometry) {
  const PhaseTable table = sharpTable2D();
  if (!table.installed()) return SR_RET_LOAD_CONFIG_FAILED;
  if (!geometry.valid() || geometry.inW < 1 || geometry.inH < 1) return SR_RET_PARAMS_OUT_OF_RANGE;
  geometry_ = geometry;
  return columns_.build(geometry, table) ? SR_RET_SUCCEED : SR_RET_ALLOC_FAILED;
}

void LumaFusion::run(const uint8_t* firstFrame, const uint8_t* secondFrame, uint8_t* destination,
                     const int32_t* mapX, const int32_t* mapY) const {
  SR_FusionBands bands = {};
  bands.firstFrame = firstFrame;
  bands.secondFrame = secondFrame;
  bands.destination = destination;
  bands.inW = geometry_.inW;
  bands.inH = geometry_.inH;
  bands.outW = geometry_.outW;
  bands.outH = geometry_.outH;
  bands.mapX = mapX;
  bands.mapY = mapY;
  bands.taps = geometry_.pad;
  bands.x0 = geometry_.x0;
  bands.y0 = geometry_.y0;
  bands.x1 = geometry_.x1;
  bands.y1 = geometry_.y1;
  bands.columns = &columns_.plan();
  runOnSlots(kInterpolationSlots, InterPolationY_ThreadFunc, &bands, kInterpolationCaller);
}

}  // namespace velmora

void InterPolationY_ThreadFunc(void* bands, int32_t threadIndex) {
  const auto& fusion = *static_cast<const SR_FusionBands*>(bands);
  const PhaseTable table = velmora::sharpTable2D();
  if (!table.installed()) return;
  if (fusion.columns != nullptr) {
    fuseBand(fusion, *fusion.columns, table, threadIndex);
    return;
  }
  velmora::FusionColumnsOwner own;
  if (own.build(geometryOf(fusion), table)) {
    fuseBand(fusion, own.plan(), table, threadIndex);
  } else {
    velmora::logged(SR_RET_ALLOC_FAILED, __func__);
  }
}

int32_t ShiftInvariantIntepolationHighPerformanceFastY2FrameLUTFix(
    const uint8_t* ySource1, const uint8_t* ySource2, uint8_t* destination, int32_t taps,
    int32_t /*unused*/, int32_t inW, int32_t inH, int32_t outW, int32_t outH,
    float /*unusedFactor*/, const int32_t* mapX, const int32_t* mapY, int32_t x0, int32_t y0,
    int32_t x1, int32_t y1) {
  velmora::LumaFusion luma;
  auto result = SR_RET_PARAMS_OUT_OF_RANGE;
  if (ySource1 != nullptr && ySource2 != nullptr && destination != nullptr && mapX != nullptr &&
      mapY != nullptr) {
    result = luma.prepare({taps, inW, inH, outW, outH, x0, y0, x1, y1});
  }
  if (result == SR_RET_SUCCEED) luma.run(ySource1, ySource2, destination, mapX, mapY);
  return velmora::logged(result, __func__);
}

int32_t ShiftInvariantIntepolation2Frame(const uint8_t* ySource1, const uint8_t* uSource1,
                                         const uint8_t* vSource1, const uint8_t* ySource2,
                                         const uint8_t* /*uSource2*/, const uint8_t* /*vSource2*/,
                                         uint8_t* yDestination, uint8_t* uDestination,
                                         uint8_t* vDestination, int32_t taps, int32_t /*unused*/,
                                         int32_t inW, int32_t inH, int32_t outW, int32_t outH,
                                         float /*unusedFactor*/, const int32_t* mapX,
                                         const int32_t* mapY, int32_t x0, int32_t y0, int32_t x1,
                                         int32_t y1) {
  const PlaneGeometry geometry = {taps, inW, inH, outW, outH, x0, y0, x1, y1};
  velmora::LumaFusion luma;
  velmora::ChromaInterpolation chroma;
  auto result = SR_RET_PARAMS_OUT_OF_RANGE;
  if (ySource1 != nullptr && uSource1 != nullptr && vSource1 != nullptr && ySource2 != nullptr &&
      yDestination != nullptr && uDestination != nullptr && vDestination != nullptr &&
      mapX != nullptr && mapY != nullptr) {
    result = luma.prepare(geometry);
  }
  if (result == SR_RET_SUCCEED) {
    result = chroma.prepare(geometry.halved(), velmora::Allocator::of(zelkParamPrivate.pub));
  }
  if (result == SR_RET_SUCCEED) {
    luma.run(ySource1, ySource2, yDestination, mapX, mapY);
    chroma.run(uSource1, vSource1, uDestination, vDestination, velmora::roundedUpTo8(outW >> 1));
  }
  return velmora::logged(result, __func__);
}
