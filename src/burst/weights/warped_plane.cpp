#include "burst/weights/warped_plane.h"

#include "burst/resampling/functions.h"

namespace velmora::burst {
namespace {

PositionGrid positionsOf(Memory& memory, Workers& workers, const MatchedPair& pair, int32_t plane) {
  const Motion& motion = *pair.motion;
  const Size size = pair.reference->planes[plane].size;
  const Size target = pair.frame->planes[plane].size;
  if (plane == 0) {
    return {memory, workers, size, target, [&](Point p) { return motion.toFrame(p); }};
  }
  return {memory, workers, size, target,
          [&](Point p) { return chromaOfLuma(motion.toFrame(lumaOfChroma(p))); }};
}

}  // namespace

WarpedPlane::WarpedPlane(Memory& memory, Workers& workers, const MatchedPair& pair, int32_t plane,
                         const WindowTable& windows)
    : reference_(pair.reference->planes[plane]),
      frame_(pair.frame->planes[plane]),
      levels_(matchedLevels(pair.gain, pair.bias, plane != 0)),
      windows_(&windows),
      positions_(positionsOf(memory, workers, pair, plane)),
      lastX_((frame_.size.width - 1) << kPhaseBits),
      lastY_((frame_.size.height - 1) << kPhaseBits) {}

Rect WarpedPlane::windowOf(const Rect& part) const {
  Rect window = positions_.bounds(part);
  window.left -= 1;  // four taps: one before, two behind the whole part
  window.top -= 1;
  window.right += 2;
  window.bottom += 2;
  return window;
}

std::size_t WarpedPlane::windowSize(const Rect& part) const {
  const Rect window = windowOf(part);
  return static_cast<std::size_t>(window.width()) * static_cast<std::size_t>(window.height());
}

void WarpedPlane::all(const Rect& part, const WarpScratch& scratch, int16_t* warped) const {
  const Rect window = windowOf(part);
  readWindow(window, scratch);
  int32_t count = 0;
  for (int32_t y = part.top; y < part.bottom; ++y, count += part.width())
    positions_.row(y, part.left, part.right, scratch.x.data() + count, scratch.y.data() + count);
  interpolate(window, count, scratch, warped);
}

void WarpedPlane::readWindow(const Rect& window, const WarpScratch& scratch) const {
  readSamples({.bytes = frame_, .levels = &levels_}, window, scratch.window.data(), window.width());
}

void WarpedPlane::interpolate(const Rect& window, int32_t count, const WarpScratch& scratch,
                              int16_t* warped) const {
  const std::ptrdiff_t pitch = window.width();
  const int16_t* const origin = scratch.window.data() - window.top * pitch - window.left;
  resamplingFunctions().windowSums(
      {origin, pitch, scratch.x.data(), scratch.y.data(), windows_->taps.data(), windows_->shift},
      count, warped);
}

}  // namespace velmora::burst
