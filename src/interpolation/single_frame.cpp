// One-frame interpolation: a horizontal pass into a 16-bit plane, then a vertical pass out of it.
#include "interpolation/single_frame.h"

#include <algorithm>
#include <cstddef>

#include "interpolation/bands.h"
#include "interpolation/failure_log.h"
#include "kernels/kernel_table.h"
#include "thread_pool/slot_group.h"
#include "velmora_sr/interpolation.h"

using velmora::ColumnPlan;
using velmora::logged;
using velmora::PhaseTable;
using velmora::PlaneGeometry;

namespace {

/// Rows that the horizontal filter takes at a time: what it works out per group of columns serves
/// all of them.
constexpr int32_t kStripRows = 8;

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

/// Padded rows of one band of the horizontal pass. The bands share out all rows but the first and
/// the last, which go with the outermost bands: the kernels of the default tables never weight them
/// on even sizes, other tables and odd sizes do.
velmora::RowBand paddedRows(const PlaneGeometry& geometry, int32_t threadIndex) {
  const auto inner = velmora::interpolationBand(geometry.paddedHeight() - 2, threadIndex);
  return {
      threadIndex == velmora::kInterpolationCaller ? 0 : inner.first + 1,
      threadIndex == velmora::kInterpolationSlots.back() ? geometry.paddedHeight() : inner.end + 1};
}

/// Filters the band's rows of one or two planes of the same geometry side by side.
template <std::size_t planes>
void horizontalBand(const PlaneGeometry& geometry, const ColumnPlan& columns,
                    const uint8_t* const (&sources)[planes],
                    int16_t* const (&intermediates)[planes], int32_t threadIndex) {
  const auto filterColumns = velmora::kernels().interpolation.filterColumns;
  const auto [first, end] = paddedRows(geometry, threadIndex);
  for (std::ptrdiff_t row = first; row < end; row += kStripRows) {
    for (std::size_t plane = 0; plane < planes; ++plane) {
      filterColumns({.source = sources[plane] + row * geometry.paddedWidth(),
                     .sourcePitch = geometry.paddedWidth(),
                     .out = intermediates[plane] + row * geometry.outW,
                     .outPitch = geometry.outW,
                     .rows = std::min(kStripRows, end - static_cast<int32_t>(row))},
                    columns, 0, geometry.outW);
    }
  }
}

template <std::size_t planes>
void verticalBand(const PlaneGeometry& geometry, const PhaseTable& table,
                  const int16_t* const (&intermediates)[planes],
                  uint8_t* const (&destinations)[planes], int32_t pitch, int32_t threadIndex) {
  const auto filterRows = velmora::kernels().interpolation.filterRows;
  const auto [first, end] = velmora::interpolationBand(geometry.outH, threadIndex);
  const velmora::AxisGrid grid = geometry.rows();
  for (int32_t k = first; k < end; ++k) {
    const int16_t* taps = table.rows[table.phase(grid.fraction(k))];
    const int64_t firstRow = grid.sample(k) + velmora::kFirstTap;
    for (std::size_t plane = 0; plane < planes; ++plane) {
      const int16_t* rows[velmora::kTaps];
      for (int32_t t = 0; t < velmora::kTaps; ++t) {
        const std::ptrdiff_t row = velmora::clampSample(firstRow + t, geometry.paddedHeight());
        rows[t] = intermediates[plane] + row * geometry.outW;
      }
      filterRows(rows, taps, destinations[plane] + std::ptrdiff_t{k} * pitch, geometry.outW);
    }
  }
}

/// Calls horizontal(columns) with the plan of the record, or one made for this band alone.
template <typename Bands, typename Horizontal>
void withColumns(const Bands& bands, const PhaseTable& table, const Horizontal& horizontal) {
  if (bands.columns != nullptr) {
    horizontal(*bands.columns);
    return;
  }
  velmora::ColumnPlanOwner own;
  if (!table.installed()) return;
  if (own.build(geometryOf(bands), table)) {
    horizontal(own.plan());
  } else {
    logged(SR_RET_ALLOC_FAILED, "InterPolation1Frame_H_ThreadFunc");
  }
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

void LumaInterpolation::run(const uint8_t* source, uint8_t* destination, int32_t destinationPitch) {
  auto bands = bandsOf<SR_LumaInterpolationBands>(geometry_, columns_.plan(), destinationPitch);
  bands.source = source;
  bands.destination = destination;
  bands.intermediate = intermediate_.data();
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
                              uint8_t* vDestination, int32_t destinationPitch) {
  auto bands = bandsOf<SR_ChromaInterpolationBands>(geometry_, columns_.plan(), destinationPitch);
  bands.uSource = uSource;
  bands.vSource = vSource;
  bands.uDestination = uDestination;
  bands.vDestination = vDestination;
  bands.uIntermediate = uIntermediate_.data();
  bands.vIntermediate = vIntermediate_.data();
  runPass(InterPolationUV1Frame_H_ThreadFunc, &bands);
  runPass(InterPolationUV1Frame_V_ThreadFunc, &bands);
  uIntermediate_.reset();
  vIntermediate_.reset();
}

}  // namespace velmora

void InterPolationY1Frame_H_ThreadFunc(void* bands, int32_t threadIndex) {
  const auto& luma = *static_cast<const SR_LumaInterpolationBands*>(bands);
  withColumns(luma, velmora::sharpTable(), [&](const ColumnPlan& columns) {
    horizontalBand<1>(geometryOf(luma), columns, {luma.source}, {luma.intermediate}, threadIndex);
  });
}

void InterPolationY1Frame_V_ThreadFunc(void* bands, int32_t threadIndex) {
  const auto& luma = *static_cast<const SR_LumaInterpolationBands*>(bands);
  if (!velmora::sharpTable().installed()) return;
  verticalBand<1>(geometryOf(luma), velmora::sharpTable(), {luma.intermediate}, {luma.destination},
                  pitchOf(luma), threadIndex);
}

void InterPolationUV1Frame_H_ThreadFunc(void* bands, int32_t threadIndex) {
  const auto& chroma = *static_cast<const SR_ChromaInterpolationBands*>(bands);
  withColumns(chroma, velmora::plainTable(), [&](const ColumnPlan& columns) {
    horizontalBand<2>(geometryOf(chroma), columns, {chroma.uSource, chroma.vSource},
                      {chroma.uIntermediate, chroma.vIntermediate}, threadIndex);
  });
}

void InterPolationUV1Frame_V_ThreadFunc(void* bands, int32_t threadIndex) {
  const auto& chroma = *static_cast<const SR_ChromaInterpolationBands*>(bands);
  if (!velmora::plainTable().installed()) return;
  verticalBand<2>(geometryOf(chroma), velmora::plainTable(),
                  {chroma.uIntermediate, chroma.vIntermediate},
                  {chroma.uDestination, chroma.vDestination}, pitchOf(chroma), threadIndex);
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
