#include "burst_job.h"

#include <array>
#include <cstddef>

namespace velmora::bench {

std::vector<Nv12Frame> burstFrames(int width, int height, int count) {
  constexpr std::array<Motion, 8> kMotions = {{{0, 0, 0, 1},
                                               {7.3, -4.6, 0.004, 1.003},
                                               {-3.4, 5.8, -0.004, 0.999},
                                               {6.5, 2.2, 0.002, 1.001},
                                               {-1.2, -7.6, -0.005, 1.002},
                                               {-5.9, -2.8, 0.003, 0.998},
                                               {3.1, 3.6, -0.002, 1.003},
                                               {-7.2, 6.4, 0.005, 0.997}}};
  std::vector<Nv12Frame> frames;
  for (int k = 0; k < count; ++k) {
    frames.push_back(renderScene(width, height, kMotions[static_cast<std::size_t>(k)], 3,
                                 static_cast<uint64_t>(k) + 1));
  }
  return frames;
}

BurstJob::BurstJob(const std::vector<Nv12Frame>& frames, int effort, int threads)
    : frames_(frames),
      effort_(effort),
      threads_(threads),
      ids_(frames.size()),
      out_(static_cast<std::size_t>(outWidth()) * outHeight() * 3 / 2) {}

bool BurstJob::done(int32_t code) {
  if (code != VELMORA_SR_BURST_OK) problem_ = VELMORA_SR_BurstMessage(handle_);
  return code == VELMORA_SR_BURST_OK;
}

void BurstJob::create() {
  VELMORA_SR_BurstDestroy(&handle_);
  Velmora_SR_BurstParams params = {};
  params.size = sizeof params;
  params.width = frames_[0].width;
  params.height = frames_[0].height;
  params.effort = effort_;
  params.threads = threads_;
  params.noise = -1;
  params.sharpened = -2;
  done(VELMORA_SR_BurstCreate(&params, &handle_));
}

void BurstJob::add() {
  for (std::size_t k = 0; k < frames_.size(); ++k) {
    const Nv12Frame& frame = frames_[k];
    const Velmora_SR_BurstFrame record = {frame.bytes.data(),
                                          frame.chroma(),
                                          frame.chroma() + 1,
                                          frame.width,
                                          frame.width,
                                          frame.width,
                                          1,
                                          2,
                                          2};
    if (!done(VELMORA_SR_BurstAdd(handle_, &record, &ids_[k]))) return;
  }
}

void BurstJob::render() {
  const std::ptrdiff_t width = outWidth();
  uint8_t* chroma = out_.data() + static_cast<std::size_t>(width) * outHeight();
  const Velmora_SR_BurstPicture picture = {out_.data(), chroma, chroma + 1, width, width,
                                           width,       1,      2,          2};
  if (!done(VELMORA_SR_BurstRender(handle_, ids_[0], &picture))) return;
  for (const int32_t id : ids_) {
    Velmora_SR_BurstFrameReport frame = {};
    frame.size = sizeof frame;
    if (done(VELMORA_SR_BurstFrameReport(handle_, id, &frame)) && frame.use < 0)
      problem_ = frame.reason;
  }
}

Velmora_SR_BurstReport BurstJob::report() const {
  Velmora_SR_BurstReport report = {};
  report.size = sizeof report;
  VELMORA_SR_BurstReport(handle_, &report);
  return report;
}

}  // namespace velmora::bench
