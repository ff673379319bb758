// One-frame interpolation: a horizontal pass into a 16-bit plane, then a vertical pass out of it.
#include "interpolation/single_frame.h"

#include "interpolation/bands.h"
#include "interpolation/failure_log.h"
#include "interpolation/separable_passes.h"
#include "thread_pool/slot_group.h"
#include "velmora_sr/interpolation.h"

using velmora::ColumnPlan;
using velmora::logged;
using velmora::PhaseTable;
using velmora::PlaneGeometry;
using velmora::SeparablePlanes;

namespace {

template <typename Bands>
PlaneGeometry geometryOf(const Bands& bands) {
  return {bands.pad, bands.inW, bands.inH, bands.outW, bands.outH,
          bands.x0,  bands.y0,  bands.x1,  bands.y1};
}

/// A record with everything but its planes.
template <typename Bands>
Bands bandsOf(const PlaneGeometry& geometry, const ColumnPlan& columns, int32_t destinationPitch) {
  Bands bands = {};
  bands.pad = geometry.pad;
  bands.inW = geometry.inW;
  bands.inH = geometry.inH;
  bands.outW = geometry.outW;
  bands.outH = geometry.outH;
  bands.x0 = geometry.x0;
  bands.y0 = geometry.y0;
  bands.x1 = geometry.x1;
  bands.y1 = geometry.y1;
  bands.destinationPitch = destinationPitch;
  bands.columns = &columns;
  return bands;
}

template <typename Bands>
int32_t pitchOf(const Bands& bands) {
  return bands.destinationPitch == 0 ? velmora::roundedUpTo8(bands.outW) : bands.destinationPitch;
}

SeparablePlanes planesOf(const SR_LumaInterpolationBands& bands) {
  return {.count = 1,
          .source = {bands.source},
          .intermediate = {bands.intermediate},
          .destination = {bands.destination},
          .destinationPitch = pitchOf(bands),
          .strips = bands.strips};
}

SeparablePlanes planesOf(const SR_ChromaInterpolationBands& bands) {
  return {.count = 2,
          .source = {bands.uSource, bands.vSource},
          .intermediate = {bands.uIntermediate, bands.vIntermediate},
          .destination = {bands.uDestination, bands.vDestination},
          .destinationPitch = pitchOf(bands),
          .strips = bands.strips};
}

/// Runs a band with the column plan of the record, or one made for this band alone.
template <typename Bands>
void horizontal(const Bands& bands, const PhaseTable& table, int32_t threadIndex) {
  if (!table.installed()) return;
  const PlaneGeometry geometry = geometryOf(bands);
  if (bands.columns != nullptr) {
    velmora::horizontalBand(geometry, table, *bands.columns, planesOf(bands), threadIndex);
    return;
  }
  velmora::ColumnPlanOwner own;
  if (own.build(geometry, table)) {
    velmora::horizontalBand(geometry, table, own.plan(), planesOf(bands), threadIndex);
  } else {
    logged(SR_RET_ALLOC_FAILED, "InterPolation1Frame_H_ThreadFunc");
  }
}

template <typename Bands>
void vertical(const Bands& bands, const PhaseTable& table, int32_t threadIndex) {
  if (!table.installed()) return;
  velmora::verticalBand(geometryOf(bands), table, planesOf(bands), threadIndex);
}

/// Runs one pass over its four bands and waits for them.
void runPass(SR_ThreadJob pass, void* bands) {
  velmora::runOnSlots(velmora::kInterpolationSlots, pass, bands, velmora::kInterpolationCaller);
}

Velmora_SR_ESR_RET checked(const PlaneGeometry& geometry, const PhaseTable& table) {
  if (!table.installed()) return SR_RET_LOAD_CONFIG_FAILED;
  return geometry.valid() ? SR_RET_SUCCEED : SR_RET_PARAMS_OUT_OF_RANGE;
}

velmora::Allocator currentAllocator() {
  return velmora::Allocator::of(zelkParamPrivate.pub);
}

}  // namespace

namespace velmora {

Velmora_SR_ESR_RET LumaInterpolation::prepare(const PlaneGeometry& geometry,
                                              const Allocator& allocator) {
  const auto result = checked(geometry, sharpTable());
  if (result != SR_RET_SUCCEED) return result;
  geometry_ = geometry;
  intermediate_ = allocator.plane<int16_t>(geometry.outW, geometry.paddedHeight());
  const bool complete = intermediate_ && columns_.build(geometry, sharpTable());
  return complete ? SR_RET_SUCCEED : SR_RET_ALLOC_FAILED;
}

void LumaInterpolation::run(const uint8_t* source, uint8_t* destination, int32_t destinationPitch,
                            const StripWork& strips) {
  auto bands = bandsOf<SR_LumaInterpolationBands>(geometry_, columns_.plan(), destinationPitch);
  bands.source = source;
  bands.destination = destination;
  bands.intermediate = intermediate_.data();
  bands.strips = &strips;
  runPass(InterPolationY1Frame_H_ThreadFunc, &bands);
  runPass(InterPolationY1Frame_V_ThreadFunc, &bands);
  intermediate_.reset();
}

Velmora_SR_ESR_RET ChromaInterpolation::prepare(const PlaneGeometry& geometry,
                                                const Allocator& allocator) {
  const auto result = checked(geometry, plainTable());
  if (result != SR_RET_SUCCEED) return result;
  geometry_ = geometry;
  uIntermediate_ = allocator.plane<int16_t>(geometry.outW, geometry.paddedHeight());
  if (uIntermediate_) {
    vIntermediate_ = allocator.plane<int16_t>(geometry.outW, geometry.paddedHeight());
  }
  const bool complete = vIntermediate_ && columns_.build(geometry, plainTable());
  return complete ? SR_RET_SUCCEED : SR_RET_ALLOC_FAILED;
}

void ChromaInterpolation::run(const uint8_t* uSource, const uint8_t* vSource, uint8_t* uDestination,
                              uint8_t* vDestination, int32_t destinationPitch,
                              const StripWork& strips) {
  auto bands = bandsOf<SR_ChromaInterpolationBands>(geometry_, columns_.plan(), destinationPitch);
  bands.uSource = uSource;
  bands.vSource = vSource;
  bands.uDestination = uDestination;
  bands.vDestination = vDestination;
  bands.uIntermediate = uIntermediate_.data();
  bands.vIntermediate = vIntermediate_.data();
  bands.strips = &strips;
  runPass(InterPolationUV1Frame_H_ThreadFunc, &bands);
  runPass(InterPolationUV1Frame_V_ThreadFunc, &bands);
  uIntermediate_.reset();
  vIntermediate_.reset();
}

}  // namespace velmora

void InterPolationY1Frame_H_ThreadFunc(void* bands, int32_t threadIndex) {
  horizontal(*static_cast<const SR_LumaInterpolationBands*>(bands), velmora::sharpTable(),
             threadIndex);
}

void InterPolationY1Frame_V_ThreadFunc(void* bands, int32_t threadIndex) {
  vertical(*static_cast<const SR_LumaInterpolationBands*>(bands), velmora::sharpTable(),
           threadIndex);
}

void InterPolationUV1Frame_H_ThreadFunc(void* bands, int32_t threadIndex) {
  horizontal(*static_cast<const SR_ChromaInterpolationBands*>(bands), velmora::plainTable(),
             threadIndex);
}

void InterPolationUV1Frame_V_ThreadFunc(void* bands, int32_t threadIndex) {
  vertical(*static_cast<const SR_ChromaInterpolationBands*>(bands), velmora::plainTable(),
           threadIndex);
}

int32_t ShiftInvariantIntepolationSeparateY1FrameLUTFix(const uint8_t* source, uint8_t* destination,
                                                        int32_t pad, int32_t /*unused*/,
                                                        int32_t inW, int32_t inH, int32_t outW,
                                                        int32_t outH, int32_t x0, int32_t y0,
                                                        int32_t x1, int32_t y1) {
  const PlaneGeometry geometry = {pad, inW, inH, outW, outH, x0, y0, x1, y1};
  velmora::LumaInterpolation luma;
  auto result = SR_RET_PARAMS_OUT_OF_RANGE;
  if (source != nullptr && destination != nullptr) {
    result = luma.prepare(geometry, currentAllocator());
  }
  if (result == SR_RET_SUCCEED) luma.run(source, destination, velmora::roundedUpTo8(outW));
  return logged(result, __func__);
}

int32_t ShiftInvariantIntepolationSeparateUV1FrameLUTFix(
    const uint8_t* uSource, const uint8_t* vSource, uint8_t* uDestination, uint8_t* vDestination,
    int32_t pad, int32_t /*unused*/, int32_t inW, int32_t inH, int32_t outW, int32_t outH,
    int32_t x0, int32_t y0, int32_t x1, int32_t y1) {
  const PlaneGeometry geometry = {pad, inW, inH, outW, outH, x0, y0, x1, y1};
  velmora::ChromaInterpolation chroma;
  auto result = SR_RET_PARAMS_OUT_OF_RANGE;
  if (uSource != nullptr && vSource != nullptr && uDestination != nullptr &&
      vDestination != nullptr) {
    result = chroma.prepare(geometry, currentAllocator());
  }
  if (result == SR_RET_SUCCEED) {
    chroma.run(uSource, vSource, uDestination, vDestination, velmora::roundedUpTo8(outW));
  }
  return logged(result, __func__);
}

int32_t ShiftInvariantIntepolation1Frame(const uint8_t* ySource, const uint8_t* uSource,
                                         const uint8_t* vSource, uint8_t* yDestination,
                                         uint8_t* uDestination, uint8_t* vDestination, int32_t pad,
                                         int32_t /*unused*/, int32_t inW, int32_t inH, int32_t outW,
                                         int32_t outH, int32_t x0, int32_t y0, int32_t x1,
                                         int32_t y1) {
  const PlaneGeometry geometry = {pad, inW, inH, outW, outH, x0, y0, x1, y1};
  velmora::LumaInterpolation luma;
  velmora::ChromaInterpolation chroma;
  auto result = SR_RET_PARAMS_OUT_OF_RANGE;
  if (ySource != nullptr && uSource != nullptr && vSource != nullptr && yDestination != nullptr &&
      uDestination != nullptr && vDestination != nullptr) {
    result = luma.prepare(geometry, currentAllocator());
  }
  if (result == SR_RET_SUCCEED) result = chroma.prepare(geometry.halved(), currentAllocator());
  if (result == SR_RET_SUCCEED) {
    luma.run(ySource, yDestination, velmora::roundedUpTo8(outW));
    chroma.run(uSource, vSource, uDestination, vDestination, velmora::roundedUpTo8(outW >> 1));
  }
  return logged(result, __func__);
}
