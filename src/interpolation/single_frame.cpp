// One-frame interpolation: a horizontal pass into a 16-bit plane, then a vertical pass out of it.
#include "interpolation/single_frame.h"

#include <cstddef>

#include "interpolation/bands.h"
#include "logging/log.h"
#include "thread_pool/slot_group.h"
#include "velmora_sr/interpolation.h"

namespace velmora {
namespace {

/// What the bands of both passes share.
struct SeparableJob {
  const PlaneGeometry& geometry;
  const PhaseTable table;
  const ColumnPlan& columns;
  const SeparablePlanes& planes;
};

/// Runs one pass over its four bands and waits for them.
void runPass(SR_ThreadJob pass, SeparableJob& job) {
  runOnSlots(kInterpolationSlots, pass, &job, kInterpolationCaller);
}

}  // namespace

Velmora_SR_ESR_RET SeparableInterpolation::prepare(const PlaneGeometry& geometry,
                                                   const Allocator& allocator) {
  if (!table().installed()) return SR_RET_LOAD_CONFIG_FAILED;
  if (!geometry.valid()) return SR_RET_PARAMS_OUT_OF_RANGE;
  geometry_ = geometry;
  for (std::size_t i = 0; i < static_cast<std::size_t>(planes_); ++i) {
    intermediate_[i] =
        CallBuffer<int16_t>::plane(allocator, geometry.outW, geometry.paddedHeight());
    if (!intermediate_[i]) return SR_RET_ALLOC_FAILED;
  }
  return columns_.build(geometry, table()) ? SR_RET_SUCCEED : SR_RET_ALLOC_FAILED;
}

void SeparableInterpolation::run(const std::array<const uint8_t*, 2>& source,
                                 const std::array<uint8_t*, 2>& destination,
                                 int32_t destinationPitch, const StripWork& strips) {
  const SeparablePlanes planes = {
      .count = static_cast<int32_t>(planes_),
      .source = source,
      .intermediate = {intermediate_[0].data(), intermediate_[1].data()},
      .destination = destination,
      .destinationPitch = destinationPitch,
      .strips = &strips};
  SeparableJob job = {geometry_, table(), columns_.plan(), planes};
  runPass(
      [](void* arg, int32_t threadIndex) {
        const auto& pass = *static_cast<const SeparableJob*>(arg);
        horizontalBand(pass.geometry, pass.table, pass.columns, pass.planes, threadIndex);
      },
      job);
  runPass(
      [](void* arg, int32_t threadIndex) {
        const auto& pass = *static_cast<const SeparableJob*>(arg);
        verticalBand(pass.geometry, pass.table, pass.planes, threadIndex);
      },
      job);
  for (auto& plane : intermediate_)
    plane.reset();
}

}  // namespace velmora

using velmora::SeparableInterpolation;

int32_t ShiftInvariantIntepolationSeparateY1FrameLUTFix(const uint8_t* source, uint8_t* destination,
                                                        int32_t pad, int32_t /*unused*/,
                                                        int32_t inW, int32_t inH, int32_t outW,
                                                        int32_t outH, int32_t x0, int32_t y0,
                                                        int32_t x1, int32_t y1) {
  SeparableInterpolation luma(SeparableInterpolation::Planes::luma);
  auto result = SR_RET_PARAMS_OUT_OF_RANGE;
  if (source != nullptr && destination != nullptr) {
    result = luma.prepare({pad, inW, inH, outW, outH, x0, y0, x1, y1}, velmora::currentAllocator());
  }
  if (result == SR_RET_SUCCEED) luma.run({source}, {destination}, velmora::roundedUpTo8(outW));
  return velmora::logged(result, __func__);
}

int32_t ShiftInvariantIntepolationSeparateUV1FrameLUTFix(
    const uint8_t* uSource, const uint8_t* vSource, uint8_t* uDestination, uint8_t* vDestination,
    int32_t pad, int32_t /*unused*/, int32_t inW, int32_t inH, int32_t outW, int32_t outH,
    int32_t x0, int32_t y0, int32_t x1, int32_t y1) {
  SeparableInterpolation chroma(SeparableInterpolation::Planes::chroma);
  auto result = SR_RET_PARAMS_OUT_OF_RANGE;
  if (uSource != nullptr && vSource != nullptr && uDestination != nullptr &&
      vDestination != nullptr) {
    result =
        chroma.prepare({pad, inW, inH, outW, outH, x0, y0, x1, y1}, velmora::currentAllocator());
  }
  if (result == SR_RET_SUCCEED) {
    chroma.run({uSource, vSource}, {uDestination, vDestination}, velmora::roundedUpTo8(outW));
  }
  return velmora::logged(result, __func__);
}

int32_t ShiftInvariantIntepolation1Frame(const uint8_t* ySource, const uint8_t* uSource,
                                         const uint8_t* vSource, uint8_t* yDestination,
                                         uint8_t* uDestination, uint8_t* vDestination, int32_t pad,
                                         int32_t /*unused*/, int32_t inW, int32_t inH, int32_t outW,
                                         int32_t outH, int32_t x0, int32_t y0, int32_t x1,
                                         int32_t y1) {
  const velmora::PlaneGeometry geometry = {pad, inW, inH, outW, outH, x0, y0, x1, y1};
  const auto allocator = velmora::currentAllocator();
  SeparableInterpolation luma(SeparableInterpolation::Planes::luma);
  SeparableInterpolation chroma(SeparableInterpolation::Planes::chroma);
  auto result = SR_RET_PARAMS_OUT_OF_RANGE;
  if (ySource != nullptr && uSource != nullptr && vSource != nullptr && yDestination != nullptr &&
      uDestination != nullptr && vDestination != nullptr) {
    result = luma.prepare(geometry, allocator);
  }
  if (result == SR_RET_SUCCEED) result = chroma.prepare(geometry.halved(), allocator);
  if (result == SR_RET_SUCCEED) {
    luma.run({ySource}, {yDestination}, velmora::roundedUpTo8(outW));
    chroma.run({uSource, vSource}, {uDestination, vDestination}, velmora::roundedUpTo8(outW >> 1));
  }
  return velmora::logged(result, __func__);
}
