// The exported band functions: they read their public records and run the bands of the plane
// functions, with columns worked out for the one band.
#include "interpolation/column_plan.h"
#include "interpolation/separable_passes.h"
#include "interpolation/two_frame.h"
#include "logging/log.h"
#include "velmora_sr/interpolation.h"

namespace velmora {
namespace {

template <typename Bands>
PlaneGeometry geometryOf(const Bands& bands) {
  return {bands.pad, bands.inW, bands.inH, bands.outW, bands.outH,
          bands.x0,  bands.y0,  bands.x1,  bands.y1};
}

PlaneGeometry geometryOf(const SR_FusionBands& bands) {
  return {bands.taps, bands.inW, bands.inH, bands.outW, bands.outH,
          bands.x0,   bands.y0,  bands.x1,  bands.y1};
}

template <typename Bands>
int32_t pitchOf(const Bands& bands) {
  return bands.destinationPitch == 0 ? roundedUpTo8(bands.outW) : bands.destinationPitch;
}

SeparablePlanes planesOf(const SR_LumaInterpolationBands& bands) {
  return {.count = 1,
          .source = {bands.source},
          .intermediate = {bands.intermediate},
          .destination = {bands.destination},
          .destinationPitch = pitchOf(bands),
          .strips = nullptr};
}

SeparablePlanes planesOf(const SR_ChromaInterpolationBands& bands) {
  return {.count = 2,
          .source = {bands.uSource, bands.vSource},
          .intermediate = {bands.uIntermediate, bands.vIntermediate},
          .destination = {bands.uDestination, bands.vDestination},
          .destinationPitch = pitchOf(bands),
          .strips = nullptr};
}

template <typename Bands>
void horizontal(const void* record, const PhaseTable& table, int32_t threadIndex) {
  if (!table.installed()) return;
  const auto& bands = *static_cast<const Bands*>(record);
  const PlaneGeometry geometry = geometryOf(bands);
  ColumnPlanOwner columns;
  if (columns.build(geometry, table)) {
    horizontalBand(geometry, table, columns.plan(), planesOf(bands), threadIndex);
  } else {
    logged(SR_RET_ALLOC_FAILED, "InterPolation1Frame_H_ThreadFunc");
  }
}

template <typename Bands>
void vertical(const void* record, const PhaseTable& table, int32_t threadIndex) {
  if (!table.installed()) return;
  const auto& bands = *static_cast<const Bands*>(record);
  verticalBand(geometryOf(bands), table, planesOf(bands), threadIndex);
}

}  // namespace
}  // namespace velmora

void InterPolationY1Frame_H_ThreadFunc(void* bands, int32_t threadIndex) {
  velmora::horizontal<SR_LumaInterpolationBands>(bands, velmora::sharpTable(), threadIndex);
}

void InterPolationY1Frame_V_ThreadFunc(void* bands, int32_t threadIndex) {
  velmora::vertical<SR_LumaInterpolationBands>(bands, velmora::sharpTable(), threadIndex);
}

void InterPolationUV1Frame_H_ThreadFunc(void* bands, int32_t threadIndex) {
  velmora::horizontal<SR_ChromaInterpolationBands>(bands, velmora::plainTable(), threadIndex);
}

void InterPolationUV1Frame_V_ThreadFunc(void* bands, int32_t threadIndex) {
  velmora::vertical<SR_ChromaInterpolationBands>(bands, velmora::plainTable(), threadIndex);
}

void InterPolationY_ThreadFunc(void* bands, int32_t threadIndex) {
  const auto& fusion = *static_cast<const SR_FusionBands*>(bands);
  const velmora::PhaseTable table = velmora::sharpTable2D();
  if (!table.installed()) return;
  const velmora::PlaneGeometry geometry = velmora::geometryOf(fusion);
  velmora::FusionColumnsOwner columns;
  if (columns.build(geometry, table)) {
    velmora::fuseBand(
        geometry, table, columns.plan(),
        {fusion.firstFrame, fusion.secondFrame, fusion.destination, fusion.mapX, fusion.mapY},
        threadIndex);
  } else {
    velmora::logged(SR_RET_ALLOC_FAILED, __func__);
  }
}
