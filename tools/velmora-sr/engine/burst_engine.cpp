#include "engine/burst_engine.h"

#include <algorithm>
#include <iterator>
#include <new>

#include "errors.h"
#include "interrupt.h"
#include "size_limits.h"
#include "status.h"
#include "timings.h"

namespace velmora::tool {
namespace {

constexpr int kLargestScale = 4;

bool withinScales(int from, int to) {
  return to >= from && int64_t{to} <= int64_t{kLargestScale} * from;
}

}  // namespace

// Called by the library: nothing may be thrown through it. Without memory there is no line.
int32_t BurstEngine::onProgress(void* engine, double share) {
  const auto* self = static_cast<const BurstEngine*>(engine);
  try {
    if (self->settings_.showProgress) status().progress(self->step_, share);
  } catch (const std::bad_alloc&) {
  }
  return interrupt::pending();
}

std::string BurstEngine::fault(const BurstSettings& settings) {
  const Size shown = settings.region.size();
  if (std::min({shown.width, shown.height}) < VELMORA_SR_BURST_SMALLEST_SIDE) {
    return "it takes 16x16 pixels and more, not " + text(shown);
  }
  if (!withinScales(shown.width, settings.output.width) ||
      !withinScales(shown.height, settings.output.height)) {
    return "it enlarges 1 to 4 times, not " + text(shown) + " to " + text(settings.output);
  }
  return "";
}

BurstEngine::BurstEngine(const BurstSettings& settings) : settings_(settings) {
  if (const std::string reason = fault(settings); !reason.empty()) {
    throw Failure("the burst stage cannot do this: " + reason);
  }
  const Size shown = settings.region.size();
  Velmora_SR_BurstParams params = {};
  params.size = sizeof params;
  params.width = settings.frame.width;
  params.height = settings.frame.height;
  params.left = settings.region.left;
  params.top = settings.region.top;
  params.regionWidth = shown.width;
  params.regionHeight = shown.height;
  params.outputWidth = settings.output.width;
  params.outputHeight = settings.output.height;
  params.effort = settings.fast ? VELMORA_SR_BURST_FAST : VELMORA_SR_BURST_NORMAL;
  params.threads = settings.threads;
  params.noise = static_cast<float>(settings.noise.value_or(-1));
  params.sharpened = static_cast<float>(settings.sharpened.value_or(-1));
  params.progress = onProgress;
  params.progressUser = this;
  require(VELMORA_SR_BurstCreate(&params, &handle_), "start");
}

BurstEngine::~BurstEngine() {
  VELMORA_SR_BurstDestroy(&handle_);
}

void BurstEngine::require(int32_t result, const char* job) const {
  if (result == VELMORA_SR_BURST_OK) return;
  if (result == VELMORA_SR_BURST_CANCELLED) throw Interrupted{interrupt::pending()};
  if (result == VELMORA_SR_BURST_NO_MEMORY) {
    throw Failure("out of memory while enlarging to " + text(settings_.output));
  }
  throw Failure(std::string("the burst stage cannot ") + job + ": " +
                VELMORA_SR_BurstMessage(handle_));
}

int32_t BurstEngine::add(const Picture& frame) {
  const timings::Step step("prepare frames");
  step_ = "preparing frames";
  Velmora_SR_BurstFrame planes = {};
  planes.y = frame.y.row(0);
  planes.u = frame.u.row(0);
  planes.v = frame.v.row(0);
  planes.yStride = frame.y.size.width;
  planes.uStride = frame.u.size.width;
  planes.vStride = frame.v.size.width;
  int32_t number = 0;
  require(VELMORA_SR_BurstAdd(handle_, &planes, &number), "take a frame");
  frames_[number] = &frame;
  return number;
}

void BurstEngine::drop(int32_t number) {
  require(VELMORA_SR_BurstDrop(handle_, number), "let a frame go");
  frames_.erase(number);
}

void BurstEngine::render(int32_t reference, Picture& picture) {
  const timings::Step step("fuse frames");
  step_ = "making the picture";
  const Picture& shown = *frames_.at(reference);
  picture.reset(settings_.output);
  picture.range = shown.range;
  picture.grey = shown.grey;
  Velmora_SR_BurstPicture planes = {};
  planes.y = picture.y.row(0);
  planes.u = picture.u.row(0);
  planes.v = picture.v.row(0);
  planes.yStride = picture.y.size.width;
  planes.uStride = picture.u.size.width;
  planes.vStride = picture.v.size.width;
  require(VELMORA_SR_BurstRender(handle_, reference, &planes), "make the picture");
  timings::noteLibraryMemory(report().peakMemory);
  if (!picture.grey) return;
  // Frames with colour may have gone into it.
  std::fill(picture.u.samples.begin(), picture.u.samples.end(), uint8_t{128});
  std::fill(picture.v.samples.begin(), picture.v.samples.end(), uint8_t{128});
}

FrameVerdict BurstEngine::verdict(int32_t number) const {
  Velmora_SR_BurstFrameReport report = {};
  report.size = sizeof report;
  require(VELMORA_SR_BurstFrameReport(handle_, number, &report), "report");
  FrameVerdict verdict;
  if (report.use == VELMORA_SR_BURST_REFERENCE) verdict.use = FrameVerdict::Use::reference;
  if (report.use == VELMORA_SR_BURST_USED) verdict.use = FrameVerdict::Use::used;
  if (verdict.use == FrameVerdict::Use::leftOut) verdict.reason = report.reason;
  verdict.share = report.share;
  verdict.weight = report.meanWeight;
  // Where no motion was found there is nothing to tell.
  if (report.use == VELMORA_SR_BURST_NO_MOTION) return verdict;
  verdict.homography.emplace();
  std::copy(std::begin(report.homography), std::end(report.homography),
            verdict.homography->begin());
  verdict.motion = largestMotion(*verdict.homography, settings_.frame);
  verdict.residualBefore = report.residualBefore;
  verdict.residualAfter = report.residualAfter;
  verdict.gain = report.gain;
  verdict.bias = report.bias;
  return verdict;
}

Velmora_SR_BurstReport BurstEngine::report() const {
  Velmora_SR_BurstReport report = {};
  report.size = sizeof report;
  require(VELMORA_SR_BurstReport(handle_, &report), "report");
  return report;
}

Plane BurstEngine::weights(int32_t number) const {
  Plane weights(settings_.frame);
  require(VELMORA_SR_BurstWeights(handle_, number, weights.row(0), weights.size.width),
          "draw weights");
  return weights;
}

}  // namespace velmora::tool
