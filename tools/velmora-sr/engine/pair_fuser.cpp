#include "engine/pair_fuser.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "colour.h"
#include "engine/enlarger.h"
#include "engine/frame_buffer.h"
#include "engine/noise.h"
#include "engine/session.h"
#include "interrupt.h"
#include "size_limits.h"
#include "timings.h"

namespace velmora::tool {
namespace {

constexpr int evenBelow(int value) {
  return value - value % 2;
}
constexpr int evenAbove(int value) {
  return value + value % 2;
}
constexpr Size evenAbove(Size size) {
  return {evenAbove(size.width), evenAbove(size.height)};
}

// What the library makes of a region: the part that both frames show, even bounds.
Region narrowed(Region region, Region registered) {
  return {evenAbove(std::max(region.left, registered.left)),
          evenAbove(std::max(region.top, registered.top)),
          evenBelow(std::min(region.right, registered.right)),
          evenBelow(std::min(region.bottom, registered.bottom))};
}

Region inside(Region region, Size size) {
  return {std::max(region.left, 0), std::max(region.top, 0), std::min(region.right, size.width - 1),
          std::min(region.bottom, size.height - 1)};
}

bool largeEnough(Region region) {
  return region.right - region.left >= kMinRegionSpan &&
         region.bottom - region.top >= kMinRegionSpan;
}

struct Pair {
  Size size;
  std::vector<uint8_t> first, second;

  Pair(const Picture& one, const Picture& two, Size frame)
      : size(frame), first(frameBytes(frame)), second(frameBytes(frame)) {
    fillFrame(one, frame, first);
    fillFrame(two, frame, second);
  }
};

// Why a fused picture may be poor: the frames differ by more than motion and noise.
std::string doubtOf(const FusionResult& result, const Picture& first) {
  // Cameras change exposure in steps; below this a difference does no harm.
  constexpr double kHarmless = 4;
  constexpr double kMuch = 1.0 / 3;
  const double darker = result.residual.firstMean - result.residual.secondMean;
  if (std::abs(darker) > kHarmless && std::abs(darker) > kHarmless + noiseOf(first.y)) {
    return std::string("the second frame is ") + (darker > 0 ? "darker" : "lighter") +
           " where both show the same: probably its exposure differs";
  }
  if (result.replacedShare <= kMuch) return "";
  return "de-ghosting replaced more than a third: probably the exposure differs, or the thresholds "
         "are too low";
}

// One try with frames of a size, which may be larger than the pictures.
class Fusing {
 public:
  Fusing(const Picture& first, const Picture& second, const FusionRequest& request, Size frame)
      : first_(first), second_(second), request_(request), pair_(first, second, frame) {}

  /// The size that is to be tried next, if this one would make the library copy the first frame.
  [[nodiscard]] std::optional<Size> next() const { return next_; }

  FusionResult run() {
    {
      Session session(pair_.size, request_.scene, request_.tuning, request_.ghost);
      if (plan(session)) fuse(session);
    }
    // A fused picture of an odd size lacks its chroma: a session of its own makes it.
    if (next_ || !result_.failure.empty()) return std::move(result_);
    finish();
    return std::move(result_);
  }

 private:
  bool fail(std::string reason) {
    result_.failure = std::move(reason);
    return false;
  }

  /// Registers, and decides what the picture shows.
  bool plan(Session& session) {
    RegistrationReport report = session.registerFrames(pair_.first, pair_.second);
    interrupt::check();
    if (report.registered()) judge(report, first_.y, second_.y);
    if (report.failure) return fail(report.failure->reason);
    const Size size = first_.size();
    result_.registered = inside(*report.rectangle, size);
    result_.region = narrowed(request_.region, result_.registered);
    result_.matches = report.matches.size();
    result_.inliers = report.inliers();
    result_.largestMotion = report.largestMotion();
    result_.residual = *report.residual;
    if (!largeEnough(result_.region)) {
      return fail("the second frame shows too little of the region, less than 100x100");
    }
    if (request_.keepRegion && !(result_.region == request_.region)) {
      return fail("the second frame does not show the whole region");
    }
    output_ = request_.outputSize(result_.region);
    if (output_ == pair_.size || evenAbove(output_) == pair_.size) {
      // The library only copies when both sizes are the same: mirrored columns make them differ.
      const bool isFirst = pair_.size.width == evenAbove(size.width);
      next_ = {pair_.size.width + (isFirst ? 2 : 4), pair_.size.height};
      return false;
    }
    return true;
  }

  void fuse(Session& session) {
    const Size size = pair_.size;
    Plane weights;
    if (request_.wantWeights) weights.reset(size);
    const Size even = evenAbove(output_);
    fused_.resize(std::max(std::size_t(output_.width) * output_.height * 3 / 2, frameBytes(even)));
    result_.ghost = session.ghost();
    result_.replacedShare = session.fuse(pair_.first, pair_.second, result_.region, output_, fused_,
                                         request_.wantWeights ? weights.samples.data() : nullptr);
    interrupt::check();
    if (!request_.wantWeights) return;
    const Size shown = first_.size();
    result_.weights.reset(shown);
    copyRows(weights.row(0), size.width, result_.weights.row(0), shown.width, shown.width,
             shown.height);
  }

  void finish() {
    Picture& picture = result_.picture;
    picture.reset(output_);
    std::copy_n(fused_.data(), picture.y.samples.size(), picture.y.samples.data());
    const Size even = evenAbove(output_);
    // Chroma of an odd size has a column or row more than the library makes. All chroma comes from
    // the de-ghosted first frame: that of the next even size lies on the same grid.
    if (!(even == output_)) {
      Session session(pair_.size, VELMORA_SR_SCENE_SINGLE, request_.tuning);
      session.enlarge(pair_.first, result_.region, even, fused_);
    }
    const Size half = chromaSize(output_);
    splitChroma(fused_.data() + std::size_t(even.width) * even.height, even.width, picture.u.row(0),
                picture.v.row(0), half.width, half.width, half.height, ChromaOrder::uv);
    picture.range = first_.range;
    picture.grey = first_.grey;
    result_.doubt = doubtOf(result_, first_);
  }

  const Picture& first_;
  const Picture& second_;
  const FusionRequest& request_;
  Pair pair_;
  Size output_;
  std::optional<Size> next_;
  std::vector<uint8_t> fused_;
  FusionResult result_;
};

}  // namespace

FusionResult fusePair(const Picture& first, const Picture& second, const FusionRequest& request) {
  const Size size = first.size();
  FusionResult result;
  if (size.width < kSmallestSide || size.height < kSmallestSide) {
    result.failure = "frames under " + text(Size{kSmallestSide, kSmallestSide}) +
                     " are too small to fuse, these are " + text(size);
  } else {
    std::optional<Size> frame = evenAbove(size);
    while (frame) {
      Fusing fusing(first, second, request, *frame);
      result = fusing.run();
      frame = fusing.next();
    }
  }
  if (result.failure.empty()) return result;
  FusionResult alone;
  alone.failure = std::move(result.failure);
  alone.region = request.region;
  Enlarger(size, request.region, request.outputSize(request.region), request.tuning)
      .enlarge(first, alone.picture);
  return alone;
}

std::array<FrameVerdict, 2> verdictsOf(const FusionResult& result) {
  std::array<FrameVerdict, 2> frames;
  frames[0].use = FrameVerdict::Use::reference;
  frames[1].reason = result.failure;
  if (!result.failure.empty()) return frames;
  frames[1].use = FrameVerdict::Use::used;
  frames[1].motion = result.largestMotion;
  frames[1].residualBefore = result.residual.before;
  frames[1].residualAfter = result.residual.after;
  return frames;
}

}  // namespace velmora::tool
