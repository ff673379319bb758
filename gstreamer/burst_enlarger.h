// Pictures by the burst stage.
#ifndef VELMORA_GSTREAMER_BURST_ENLARGER_H
#define VELMORA_GSTREAMER_BURST_ENLARGER_H

#include <cstdint>
#include <map>

#include "enlarger.h"
#include "velmora_sr/burst.h"

namespace velmora::gst {

/// Frames and pictures stay where they are: the library reads and writes the buffers themselves.
class BurstEnlarger final : public Enlarger {
 public:
  BurstEnlarger(const Settings& settings, const GstVideoInfo& frame, const GstVideoInfo& picture,
                const std::atomic<bool>& stop);

  void hold(const GstVideoFrame& frame) override;
  void release(const GstVideoFrame& frame) noexcept override;
  void enlarge(const GstVideoFrame& frame, const GstVideoFrame& picture) override;
  void enlargeAlone(const GstVideoFrame& frame, const GstVideoFrame& picture) override;

 private:
  struct Destroy {
    void operator()(Velmora_SR_Burst* burst) const { VELMORA_SR_BurstDestroy(&burst); }
  };
  using Handle = std::unique_ptr<Velmora_SR_Burst, Destroy>;

  static int32_t onProgress(void* stop, double share);
  [[nodiscard]] Handle create() const;

  Velmora_SR_BurstParams params_ = {};
  const std::atomic<bool>& stop_;
  Handle window_;
  std::map<const GstVideoFrame*, int32_t> numbers_;  // of the frames held
  Handle alone_;                                     // for single frames; made when first needed
};

}  // namespace velmora::gst

#endif  // VELMORA_GSTREAMER_BURST_ENLARGER_H
