// Two-frame interpolation: luma from both frames, chroma from the first alone.
#include "interpolation/two_frame.h"

#include <cstddef>

#include "interpolation/bands.h"
#include "interpolation/functions.h"
#include "interpolation/single_frame.h"
#include "logging/log.h"
#include "thread_pool/slot_group.h"
#include "velmora_sr/interpolation.h"

namespace velmora {
namespace {

/// What the bands share.
struct FusionJob {
  const PlaneGeometry& geometry;
  const PhaseTable table;
  const FusionColumns& columns;
  const FusionPlanes& planes;
};

}  // namespace

void fuseBand(const PlaneGeometry& geometry, const PhaseTable& table, const FusionColumns& columns,
              const FusionPlanes& planes, int32_t threadIndex) {
  const auto fuseRow = interpolationFunctions().fuseRow;
  const AxisGrid grid = geometry.rows();
  FusionRow row = {};
  row.second = planes.second;
  row.sourceWidth = geometry.paddedWidth();
  row.width = geometry.inW;
  row.height = geometry.inH;
  row.table = table.rows;
  row.phases = table.phases;
  const auto [first, end] = interpolationBand(geometry.outH, threadIndex);
  for (int32_t k = first; k < end; ++k) {
    const int64_t sample = grid.sample(k);
    row.fraction = grid.fraction(k);
    row.taps = table.rows + std::ptrdiff_t{table.phase(row.fraction)} * table.phases;
    for (int32_t t = 0; t < kTaps; ++t) {
      const std::ptrdiff_t padded = clampSample(sample + kFirstTap + t, geometry.paddedHeight());
      row.rows[t] = planes.first + padded * geometry.paddedWidth();
    }
    const std::ptrdiff_t mapRow = clampSample(sample, geometry.inH);
    row.mapX = planes.mapX + mapRow * geometry.inW;
    row.mapY = planes.mapY + mapRow * geometry.inW;
    fuseRow(row, columns, 0, geometry.outW, planes.destination + std::ptrdiff_t{k} * geometry.outW);
  }
}

Velmora_SR_ESR_RET LumaFusion::prepare(const PlaneGeometry& geometry) {
  const PhaseTable table = sharpTable2D();
  if (!table.installed()) return SR_RET_LOAD_CONFIG_FAILED;
  if (!geometry.valid() || geometry.inW < 1 || geometry.inH < 1) return SR_RET_PARAMS_OUT_OF_RANGE;
  geometry_ = geometry;
  return columns_.build(geometry, table) ? SR_RET_SUCCEED : SR_RET_ALLOC_FAILED;
}

void LumaFusion::run(const FusionPlanes& planes) const {
  FusionJob job = {geometry_, sharpTable2D(), columns_.plan(), planes};
  runOnSlots(
      kInterpolationSlots,
      [](void* arg, int32_t threadIndex) {
        const auto& fusion = *static_cast<const FusionJob*>(arg);
        fuseBand(fusion.geometry, fusion.table, fusion.columns, fusion.planes, threadIndex);
      },
      &job, kInterpolationCaller);
}

}  // namespace velmora

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
  if (result == SR_RET_SUCCEED) luma.run({ySource1, ySource2, destination, mapX, mapY});
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
  const velmora::PlaneGeometry geometry = {taps, inW, inH, outW, outH, x0, y0, x1, y1};
  velmora::LumaFusion luma;
  velmora::SeparableInterpolation chroma(velmora::SeparableInterpolation::Planes::chroma);
  auto result = SR_RET_PARAMS_OUT_OF_RANGE;
  if (ySource1 != nullptr && uSource1 != nullptr && vSource1 != nullptr && ySource2 != nullptr &&
      yDestination != nullptr && uDestination != nullptr && vDestination != nullptr &&
      mapX != nullptr && mapY != nullptr) {
    result = luma.prepare(geometry);
  }
  if (result == SR_RET_SUCCEED) {
    result = chroma.prepare(geometry.halved(), velmora::currentAllocator());
  }
  if (result == SR_RET_SUCCEED) {
    luma.run({ySource1, ySource2, yDestination, mapX, mapY});
    chroma.run({uSource1, vSource1}, {uDestination, vDestination},
               velmora::roundedUpTo8(outW >> 1));
  }
  return velmora::logged(result, __func__);
}
