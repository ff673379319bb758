#include "burst/reconstruction/tile_plan.h"

#include <algorithm>

namespace velmora::burst {
namespace {

bool isEmpty(const Rect& r) {
  return r.right <= r.left || r.bottom <= r.top;
}

Rect common(const Rect& r, Size plane) {
  return {std::max(r.left, 0), std::max(r.top, 0), std::min(r.right, plane.width),
          std::min(r.bottom, plane.height)};
}

Rect around(const Rect& a, const Rect& b) {
  return {std::min(a.left, b.left), std::min(a.top, b.top), std::max(a.right, b.right),
          std::max(a.bottom, b.bottom)};
}

// The samples that 4 x 4 windows at positions with these whole parts read.
Rect windowsAt(const Rect& whole) {
  return {whole.left - 1, whole.top - 1, whole.right + 2, whole.bottom + 2};
}

// The samples of the grid that the squares of a part of a frame cover.
Rect squaresOf(const PlaneJob& job, const JobFrame& frame, const Rect& part) {
  const PositionLimits limits = boxLimits(job);
  const auto whole = [](int32_t position, int32_t low, int32_t high) {
    return std::clamp(position, low >> kPhaseBits, high >> kPhaseBits);
  };
  const Rect first = frame.grids->toGrid.bounds(part);
  const Rect squares = {whole(first.left, limits.left, limits.right) - 1,
                        whole(first.top, limits.top, limits.bottom) - 1,
                        whole(first.right - 1, limits.left, limits.right) - 1 + job.box->countX(),
                        whole(first.bottom - 1, limits.top, limits.bottom) - 1 + job.box->countY()};
  return common(squares, job.geometry.size());
}

}  // namespace

PositionLimits boxLimits(const PlaneJob& job) {
  // Whole parts that are one behind the first sample of a square.
  const auto last = [](int32_t size, int32_t taps) {
    return ((size - taps + 2) << kPhaseBits) - 1;
  };
  return {1 << kPhaseBits, 1 << kPhaseBits, last(job.geometry.x.size, job.box->countX()),
          last(job.geometry.y.size, job.box->countY())};
}

TilePlan planTile(const PlaneJob& job, const Rect& wanted) {
  TilePlan plan;
  Rect sums = wanted;
  for (int32_t i = job.iterations.count; i > 0; --i) {
    plan.sums[i] = sums;
    Rect before = sums;
    for (int32_t k = 0; k < job.frames; ++k) {
      const JobFrame& frame = job.frame[static_cast<std::size_t>(k)];
      Rect& residuals = plan.residuals[i - 1][k];
      residuals = common(windowsAt(frame.grids->toFrame.bounds(sums)), job.source);
      if (isEmpty(residuals)) continue;
      const Rect means = job.sharpened == 0 ? residuals : grown(residuals, 1, job.source);
      before = around(before, squaresOf(job, frame, means));
    }
    sums = before;
  }
  plan.sums[0] = sums;
  for (int32_t k = 0; k < job.frames; ++k) {
    plan.windows[k] = windowsAt(job.frame[static_cast<std::size_t>(k)].grids->toFrame.bounds(sums));
  }
  return plan;
}

void TileSizes::include(const TileSizes& other) {
  grid = std::max(grid, other.grid);
  window = std::max(window, other.window);
  row = std::max(row, other.row);
  frames = std::max(frames, other.frames);
}

std::ptrdiff_t tilePitch(int32_t width) {
  constexpr std::ptrdiff_t kVector = 32;
  return (width + BoxTaps::kMost + kVector - 1) / kVector * kVector;
}

TileSizes tileSizes(const PlaneJob& job, const TilePlan& plan) {
  const auto samples = [](const Rect& r) {
    return static_cast<std::size_t>(tilePitch(r.width())) *
           static_cast<std::size_t>(r.height() + kRowsBelow);
  };
  TileSizes sizes = {samples(plan.sums[0]), 0,
                     static_cast<std::size_t>(tilePitch(plan.sums[0].width())),
                     static_cast<std::size_t>(job.frames)};
  for (int32_t k = 0; k < job.frames; ++k) {
    sizes.include({0, samples(plan.windows[k]),
                   static_cast<std::size_t>(tilePitch(plan.windows[k].width())), 0});
  }
  return sizes;
}

}  // namespace velmora::burst
