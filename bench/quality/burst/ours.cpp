#include "burst/ours.h"

#include <algorithm>
#include <memory>

#include "errors.h"

namespace velmora::quality {
namespace {

struct Destroy {
  void operator()(Velmora_SR_Burst* burst) const { VELMORA_SR_BurstDestroy(&burst); }
};
using Handle = std::unique_ptr<Velmora_SR_Burst, Destroy>;

void check(const Handle& handle, int32_t code, const char* call) {
  if (code == VELMORA_SR_BURST_OK) return;
  throw tool::Failure(std::string(call) + ": " + VELMORA_SR_BurstMessage(handle.get()));
}

Velmora_SR_BurstFrame frameOf(const tool::Picture& picture) {
  return {picture.y.samples.data(),
          picture.u.samples.data(),
          picture.v.samples.data(),
          picture.y.size.width,
          picture.u.size.width,
          picture.v.size.width,
          1,
          1,
          1};
}

}  // namespace

BurstResult burstOf(std::span<const tool::Picture> frames, tool::Size output,
                    const BurstSettings& settings) {
  const tool::Size size = frames[0].size();
  Velmora_SR_BurstParams params = {};
  params.size = sizeof params;
  params.width = size.width;
  params.height = size.height;
  if (settings.region) {
    params.left = settings.region->left;
    params.top = settings.region->top;
    params.regionWidth = settings.region->size().width;
    params.regionHeight = settings.region->size().height;
  }
  params.outputWidth = output.width;
  params.outputHeight = output.height;
  params.effort = settings.effort;
  params.threads = settings.threads;
  params.noise = settings.noise;
  params.sharpened = settings.sharpened;
  Velmora_SR_Burst* made = nullptr;
  const int32_t code = VELMORA_SR_BurstCreate(&params, &made);
  const Handle handle(made);
  check(handle, code, "VELMORA_SR_BurstCreate");

  std::vector<int32_t> ids;
  for (const tool::Picture& frame : frames) {
    const Velmora_SR_BurstFrame record = frameOf(frame);
    int32_t id = 0;
    check(handle, VELMORA_SR_BurstAdd(handle.get(), &record, &id), "VELMORA_SR_BurstAdd");
    ids.push_back(id);
  }
  BurstResult result;
  result.picture.reset(output);
  tool::Picture& picture = result.picture;
  const Velmora_SR_BurstPicture target = {picture.y.samples.data(),
                                          picture.u.samples.data(),
                                          picture.v.samples.data(),
                                          picture.y.size.width,
                                          picture.u.size.width,
                                          picture.v.size.width,
                                          1,
                                          1,
                                          1};
  check(handle, VELMORA_SR_BurstRender(handle.get(), ids[0], &target), "VELMORA_SR_BurstRender");
  result.report.size = sizeof result.report;
  check(handle, VELMORA_SR_BurstReport(handle.get(), &result.report), "VELMORA_SR_BurstReport");
  for (const int32_t id : ids) {
    Velmora_SR_BurstFrameReport report = {};
    report.size = sizeof report;
    check(handle, VELMORA_SR_BurstFrameReport(handle.get(), id, &report),
          "VELMORA_SR_BurstFrameReport");
    result.frames.push_back(report);
    result.weights.emplace_back(size);
    check(
        handle,
        VELMORA_SR_BurstWeights(handle.get(), id, result.weights.back().samples.data(), size.width),
        "VELMORA_SR_BurstWeights");
  }
  return result;
}

tool::Matrix motionOf(const Velmora_SR_BurstFrameReport& report) {
  tool::Matrix matrix{};
  std::copy_n(report.homography, matrix.size(), matrix.begin());
  return matrix;
}

}  // namespace velmora::quality
