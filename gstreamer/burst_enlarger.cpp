#include "burst_enlarger.h"

#include <new>
#include <string>
#include <utility>

#include "failure.h"
#include "mapped_frame.h"

namespace velmora::gst {
namespace {

// Frames and pictures are described alike.
template <typename Planes>
Planes planesOf(const GstVideoFrame& frame) {
  const Component y = componentOf(frame, GST_VIDEO_COMP_Y);
  const Component u = componentOf(frame, GST_VIDEO_COMP_U);
  const Component v = componentOf(frame, GST_VIDEO_COMP_V);
  return {y.data, u.data, v.data, y.stride, u.stride, v.stride, y.step, u.step, v.step};
}

void require(int32_t result, const Velmora_SR_Burst* burst) {
  if (result == VELMORA_SR_BURST_OK) return;
  if (result == VELMORA_SR_BURST_CANCELLED) throw Cancelled();
  if (result == VELMORA_SR_BURST_NO_MEMORY) throw std::bad_alloc();
  throw Failure(std::string("the burst stage: ") + VELMORA_SR_BurstMessage(burst));
}

int32_t add(Velmora_SR_Burst* burst, const GstVideoFrame& frame) {
  const auto planes = planesOf<Velmora_SR_BurstFrame>(frame);
  int32_t number = 0;
  require(VELMORA_SR_BurstAdd(burst, &planes, &number), burst);
  return number;
}

void render(Velmora_SR_Burst* burst, int32_t number, const GstVideoFrame& picture) {
  const auto planes = planesOf<Velmora_SR_BurstPicture>(picture);
  require(VELMORA_SR_BurstRender(burst, number, &planes), burst);
}

}  // namespace

BurstEnlarger::BurstEnlarger(const Settings& settings, const GstVideoInfo& frame,
                             const GstVideoInfo& picture, const std::atomic<bool>& stop)
    : stop_(stop) {
  params_.size = sizeof params_;
  params_.width = frame.width;
  params_.height = frame.height;
  params_.outputWidth = picture.width;
  params_.outputHeight = picture.height;
  params_.effort =
      settings.effort == Effort::fast ? VELMORA_SR_BURST_FAST : VELMORA_SR_BURST_NORMAL;
  params_.threads = settings.threads;
  params_.noise = static_cast<float>(settings.noise);
  params_.sharpened = static_cast<float>(settings.sharpened);
  params_.progress = onProgress;
  params_.progressUser = const_cast<std::atomic<bool>*>(&stop_);
  window_ = create();
}

// Called by the library between its steps.
int32_t BurstEnlarger::onProgress(void* stop, double) {
  return static_cast<const std::atomic<bool>*>(stop)->load() ? 1 : 0;
}

BurstEnlarger::Handle BurstEnlarger::create() const {
  Velmora_SR_Burst* burst = nullptr;
  require(VELMORA_SR_BurstCreate(&params_, &burst), burst);
  return Handle(burst);
}

void BurstEnlarger::hold(const GstVideoFrame& frame) {
  const auto [place, isNew] = numbers_.try_emplace(&frame, 0);
  try {
    if (isNew) place->second = add(window_.get(), frame);
  } catch (...) {
    numbers_.erase(place);
    throw;
  }
}

void BurstEnlarger::release(const GstVideoFrame& frame) noexcept {
  const auto place = numbers_.find(&frame);
  if (place == numbers_.end()) return;
  VELMORA_SR_BurstDrop(window_.get(), place->second);
  numbers_.erase(place);
}

void BurstEnlarger::enlarge(const GstVideoFrame& frame, const GstVideoFrame& picture) {
  render(window_.get(), numbers_.at(&frame), picture);
}

void BurstEnlarger::enlargeAlone(const GstVideoFrame& frame, const GstVideoFrame& picture) {
  if (!alone_) alone_ = create();
  const int32_t number = add(alone_.get(), frame);
  try {
    render(alone_.get(), number, picture);
  } catch (...) {
    VELMORA_SR_BurstDrop(alone_.get(), number);
    throw;
  }
  VELMORA_SR_BurstDrop(alone_.get(), number);
}

}  // namespace velmora::gst
