// Frames to padded planes and planes to frames.
#include "interpolation/frame_planes.h"

#include <array>
#include <cstring>

#include "interpolation/bands.h"
#include "thread_pool/slot_group.h"
#include "velmora_sr/plane_conversion.h"

namespace velmora {
namespace {

/// Runs a conversion of all rows: of NV12 frames on four quarters, the last one on the calling
/// thread, of NV21 frames on the calling thread alone. NV21 has never taken the conversion's slots;
/// hosts that deliver it may hold them. makeBand(rows) gives the record of a band of rows.
template <typename MakeBand>
void convert(const FrameShape& shape, SR_ThreadJob conversion, int32_t rows,
             const MakeBand& makeBand) {
  if (shape.format == VELMORA_SR_FORMAT_NV21) {
    auto whole = makeBand({0, rows});
    conversion(&whole, kConversionCaller);
    return;
  }
  std::array bands = {makeBand(quarterBand(rows, 0)), makeBand(quarterBand(rows, 1)),
                      makeBand(quarterBand(rows, 2)), makeBand(quarterBand(rows, 3))};
  runOnSlots(kConversionSlots, conversion, {bands.data(), &bands[1], &bands[2], &bands[3]},
             kConversionCaller);
}

/// The interior origin of a padded plane.
uint8_t* interior(const CallBuffer<uint8_t>& plane, int32_t width, int32_t border) {
  return plane.data() + (std::ptrdiff_t{width} + 2 * border + 1) * border;
}

void loadLuma(const FrameShape& shape, const FramesToLoad& frames, int32_t border) {
  convert(shape, YNV12TO420EdgeMirror_ThreadFunc, shape.height, [&](const RowBand& rows) {
    const std::ptrdiff_t offset = std::ptrdiff_t{rows.first} * shape.width;
    SR_LumaCopyBand band = {};
    band.destination1 = interior(frames.planes1.y, shape.width, border);
    band.source1 = frames.frame1 + offset;
    band.destination2 = interior(frames.planes2.y, shape.width, border);
    band.source2 = frames.frame2 + offset;
    band.width = shape.width;
    band.destinationPitch = shape.width + 2 * border;
    band.firstRow = rows.first;
    band.endRow = rows.end;
    return band;
  });
}

void loadChromaPairs(const FrameShape& shape, const FramesToLoad& frames, int32_t border) {
  const bool vFirst = shape.format == VELMORA_SR_FORMAT_NV21;
  const auto even = [&](const PaddedFrame& planes) {
    return interior(vFirst ? planes.v : planes.u, shape.chromaWidth(), border);
  };
  const auto odd = [&](const PaddedFrame& planes) {
    return interior(vFirst ? planes.u : planes.v, shape.chromaWidth(), border);
  };
  convert(shape, UVNV12TO420EdgeMirror_ThreadFunc, shape.chromaHeight(), [&](const RowBand& rows) {
    const std::size_t offset = shape.lumaSize() + static_cast<std::size_t>(rows.first) * 2 *
                                                      static_cast<std::size_t>(shape.chromaWidth());
    SR_ChromaSplitBand band = {};
    band.u1 = even(frames.planes1);
    band.v1 = odd(frames.planes1);
    band.source1 = frames.frame1 + offset;
    band.u2 = even(frames.planes2);
    band.v2 = odd(frames.planes2);
    band.source2 = frames.frame2 + offset;
    band.width = shape.chromaWidth();
    band.destinationPitch = shape.chromaWidth() + 2 * border;
    band.firstRow = rows.first;
    band.endRow = rows.end;
    return band;
  });
}

void mirrorBorders(const FrameShape& shape, const PaddedFrame& planes, int32_t border) {
  EdgeMirror(planes.y.data(), border, shape.width, shape.height);
  EdgeMirror(planes.u.data(), border, shape.chromaWidth(), shape.chromaHeight());
  EdgeMirror(planes.v.data(), border, shape.chromaWidth(), shape.chromaHeight());
}

void fillNeutral(const PaddedFrame& planes) {
  std::memset(planes.u.data(), 128, planes.u.size());
  std::memset(planes.v.data(), 128, planes.v.size());
}

}  // namespace

bool PaddedFrame::take(const Allocator& allocator, const FrameShape& shape, int32_t border) {
  const int32_t chromaWidth = shape.chromaWidth() + 2 * border;
  const int32_t chromaHeight = shape.chromaHeight() + 2 * border;
  y = CallBuffer<uint8_t>::plane(allocator, shape.width + 2 * border, shape.height + 2 * border);
  if (y) u = CallBuffer<uint8_t>::plane(allocator, chromaWidth, chromaHeight);
  if (u) v = CallBuffer<uint8_t>::plane(allocator, chromaWidth, chromaHeight);
  return static_cast<bool>(v);
}

bool OutputChroma::take(const Allocator& allocator, const FrameShape& shape) {
  u = CallBuffer<uint8_t>::plane(allocator, shape.chromaWidth(), shape.chromaHeight());
  if (u) v = CallBuffer<uint8_t>::plane(allocator, shape.chromaWidth(), shape.chromaHeight());
  return static_cast<bool>(v);
}

void loadFrames(const FrameShape& shape, const FramesToLoad& frames, int32_t border) {
  loadLuma(shape, frames, border);
  if (shape.chromaSize() == 0) {
    fillNeutral(frames.planes1);
    fillNeutral(frames.planes2);
  } else {
    loadChromaPairs(shape, frames, border);
  }
  mirrorBorders(shape, frames.planes1, border);
  mirrorBorders(shape, frames.planes2, border);
}

void loadPlanarChroma(const FrameShape& shape, const uint8_t* frame, const PaddedFrame& planes,
                      int32_t border) {
  if (shape.chromaSize() == 0) {
    fillNeutral(planes);
    return;
  }
  // Planar chroma goes to the very start of the padded planes, as one block and not row by row into
  // the interior, and the border is then mirrored over it: its rows come out shifted against each
  // other. Format 0 has always been stored like this and callers hold pictures made this way; who
  // wants planar chroma enlarged passes it as pairs.
  const uint8_t* chroma = frame + shape.lumaSize();
  for (const auto* plane : {&planes.u, &planes.v}) {
    std::memset(plane->data(), 0, plane->size());
    std::memcpy(plane->data(), chroma, shape.chromaSize());
    chroma += shape.chromaSize();
    EdgeMirror(plane->data(), border, shape.chromaWidth(), shape.chromaHeight());
  }
}

void storeChromaPairs(const FrameShape& shape, const OutputChroma& chroma, uint8_t* frame) {
  uint8_t* destination = frame + shape.lumaSize();
  const bool vFirst = shape.format == VELMORA_SR_FORMAT_NV21;
  const uint8_t* even = vFirst ? chroma.v.data() : chroma.u.data();
  const uint8_t* odd = vFirst ? chroma.u.data() : chroma.v.data();
  convert(shape, UVNV12TO420_ThreadFunc, shape.chromaHeight(), [&](const RowBand& rows) {
    const std::ptrdiff_t offset = std::ptrdiff_t{rows.first} * shape.chromaWidth();
    return SR_ChromaMergeBand{even + offset,       odd + offset, destination + 2 * offset,
                              shape.chromaWidth(), rows.first,   rows.end};
  });
}

void storePlanarChroma(const FrameShape& shape, const OutputChroma& chroma, uint8_t* frame) {
  uint8_t* destination = frame + shape.lumaSize();
  std::memcpy(destination, chroma.u.data(), shape.chromaSize());
  std::memcpy(destination + shape.chromaSize(), chroma.v.data(), shape.chromaSize());
}

}  // namespace velmora
