#include "engine/enlarger.h"

#include <algorithm>
#include <limits>

#include "colour.h"
#include "engine/frame_buffer.h"
#include "errors.h"
#include "size_limits.h"

namespace velmora::tool {
namespace {

constexpr int kTapsAhead = 2;  // samples beyond a position that a kernel reads
constexpr int kMinChromaSpan = (kMinRegionSpan + 1) / 2;

// Copies the kept part of a produced plane; a single produced column or row is repeated.
void keep(const uint8_t* source, int sourcePitch, const AxisPlan& x, const AxisPlan& y,
          Plane& target) {
  for (int row = 0; row < target.size.height; ++row) {
    const uint8_t* from = source + std::size_t(std::min(row, y.produced - 1)) * sourcePitch;
    if (x.produced >= x.wanted) {
      std::copy_n(from, x.wanted, target.row(row));
    } else {
      std::fill_n(target.row(row), x.wanted, from[0]);
    }
  }
}

}  // namespace

AxisPlan planAxis(int first, int last, int wanted, int minimalSpan) {
  const int span = last - first;
  // A single sample: the library stays on it for an output of one sample, which is then repeated.
  if (span == 0) return {first, first + minimalSpan, 1, wanted};
  const int64_t times = std::max((minimalSpan + span - 1) / span, 1);
  const int64_t produced = times * (wanted - 1) + 1;
  const int64_t end = first + times * span;
  constexpr int64_t kTooMany = std::numeric_limits<int>::max();
  return {first, static_cast<int>(end), static_cast<int>(std::min(produced, kTooMany)), wanted};
}

Enlarger::Call Enlarger::lumaCall(Region region, Size output) {
  const AxisPlan x = planAxis(region.left, region.right, output.width, kMinRegionSpan);
  const AxisPlan y = planAxis(region.top, region.bottom, output.height, kMinRegionSpan);
  return {x, y, {x.start, y.start, x.end, y.end}, {x.produced, y.produced}};
}

Enlarger::Call Enlarger::chromaCall(Region region, Size output) {
  const Size half = chromaSize(output);
  const AxisPlan x = planAxis(region.left / 2, region.right / 2, half.width, kMinChromaSpan);
  const AxisPlan y = planAxis(region.top / 2, region.bottom / 2, half.height, kMinChromaSpan);
  constexpr int kMost = std::numeric_limits<int>::max() / 2;
  return {x,
          y,
          {2 * x.start, 2 * y.start, 2 * x.end, 2 * y.end},
          {2 * std::min(x.produced, kMost), 2 * std::min(y.produced, kMost)}};
}

bool Enlarger::oneCallIsEnough() const {
  return luma_.region == region_ && luma_.output == output_ && output_.width % 2 == 0 &&
         output_.height % 2 == 0;
}

Size Enlarger::frameFor(Size input) const {
  const auto along = [](int size, int lumaEnd, int chromaEnd) {
    if (size % 2 == 0 && std::max(lumaEnd, chromaEnd) < size) return size;
    // Mirrored samples as far as any kernel reads (twice as far for chroma), so that the library's
    // own border is not met.
    const int wanted = std::max({size - 1, lumaEnd, chromaEnd}) + 2 * kTapsAhead + 2;
    return wanted + wanted % 2;
  };
  return {along(input.width, luma_.region.right, chroma_ ? chroma_->region.right : 0),
          along(input.height, luma_.region.bottom, chroma_ ? chroma_->region.bottom : 0)};
}

Enlarger::Enlarger(Size input, Region region, Size output, const Tuning& tuning)
    : region_(region), output_(output), luma_(lumaCall(region, output)) {
  if (!oneCallIsEnough()) chroma_ = chromaCall(region, output);
  const Size frame = frameFor(input);
  const Size largest = {std::max(luma_.output.width, chroma_ ? chroma_->output.width : 0),
                        std::max(luma_.output.height, chroma_ ? chroma_->output.height : 0)};
  // The library's intermediate plane holds 16 bits per output column and frame row.
  const int64_t between = int64_t{largest.width} * (frame.height + 8) * 2;
  const bool small =
      region.size().width <= kMinRegionSpan || region.size().height <= kMinRegionSpan;
  if (int64_t{largest.width} * largest.height > kMaxPixels ||
      between > std::numeric_limits<uint32_t>::max()) {
    throw Failure("enlarging " + text(region.size()) + " to " + text(output) +
                  (small ? " needs too much memory for so small a region; enlarge it in steps"
                         : " is beyond what can be handled"));
  }
  session_.emplace(frame, VELMORA_SR_SCENE_SINGLE, tuning);
  frame_.resize(frameBytes(frame));
  result_.resize(std::max(frameBytes(luma_.output), chroma_ ? frameBytes(chroma_->output) : 0));
}

void Enlarger::enlarge(const Picture& input, Picture& output) {
  fillFrame(input, session_->frameSize(), frame_);
  output.reset(output_);
  output.range = input.range;
  output.grey = input.grey;

  session_->enlarge(frame_, luma_.region, luma_.output, result_);
  keep(result_.data(), luma_.output.width, luma_.x, luma_.y, output.y);
  if (!input.grey) keepChroma(output);
  if (!input.alpha.samples.empty()) enlargeAlpha(input, output);
}

void Enlarger::enlargeAlpha(const Picture& input, Picture& output) {
  Picture alpha;
  alpha.reset(input.size());
  alpha.y = input.alpha;
  fillFrame(alpha, session_->frameSize(), frame_);
  session_->enlarge(frame_, luma_.region, luma_.output, result_);
  output.alpha.reset(output_);
  keep(result_.data(), luma_.output.width, luma_.x, luma_.y, output.alpha);
}

void Enlarger::keepChroma(Picture& output) {
  const Call& call = chroma_ ? *chroma_ : luma_;
  if (chroma_) session_->enlarge(frame_, call.region, call.output, result_);
  const Size half = {call.output.width / 2, call.output.height / 2};
  const uint8_t* pairs = result_.data() + std::size_t(call.output.width) * call.output.height;
  if (half == output.u.size) {
    splitChroma(pairs, call.output.width, output.u.row(0), output.v.row(0), half.width, half.width,
                half.height, ChromaOrder::uv);
    return;
  }
  Plane u(half);
  Plane v(half);
  splitChroma(pairs, call.output.width, u.row(0), v.row(0), half.width, half.width, half.height,
              ChromaOrder::uv);
  keep(u.row(0), half.width, call.x, call.y, output.u);
  keep(v.row(0), half.width, call.x, call.y, output.v);
}

Plane enlargedAlpha(const Picture& picture, Region region, Size size, const Tuning& tuning) {
  if (picture.alpha.samples.empty()) return {};
  Picture alpha(picture.size());
  alpha.y = picture.alpha;
  alpha.grey = true;
  Picture enlarged;
  Enlarger(picture.size(), region, size, tuning).enlarge(alpha, enlarged);
  return std::move(enlarged.y);
}

}  // namespace velmora::tool
