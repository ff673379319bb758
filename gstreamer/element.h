// The work of the element: frames in, pictures out. What GObject wants around it is in
// velmorasr.cpp.
#ifndef VELMORA_GSTREAMER_ELEMENT_H
#define VELMORA_GSTREAMER_ELEMENT_H

#include <gst/base/gstbasetransform.h>
#include <gst/video/video.h>

#include <atomic>
#include <mutex>

#include "frame_window.h"
#include "lateness.h"
#include "settings.h"

namespace velmora::gst {

/// Calls come on the streaming thread, with the lock of its stream, unless a line says otherwise.
class Element {
 public:
  explicit Element(GstBaseTransform& base) : base_(base) { stop(); }

  /// What the properties say; any thread.
  [[nodiscard]] Settings settings() const;
  /// Calls edit(settings); any thread. A change is in force from the next frame on.
  template <typename Edit>
  void change(const Edit& edit) {
    bool sizeMayChange = false;  // which is agreed on before the next frame
    {
      const std::lock_guard lock(settingsMutex_);
      const Settings old = settings_;
      edit(settings_);
      sizeMayChange = settings_.scale != old.scale || settings_.method != old.method;
    }
    if (sizeMayChange) gst_base_transform_reconfigure_src(&base_);
  }

  /// Between streams.
  void start();
  void stop();
  /// Ends the work on a picture early; any thread.
  void cancel() { cancelled_ = true; }

  /// The caps have been agreed on. False when pictures cannot be made so, which was posted.
  bool setSizes(const GstVideoInfo& frame, const GstVideoInfo& picture);
  /// Whether caps tell of other frames than those that come now.
  [[nodiscard]] bool isOther(const GstCaps* caps) const;

  /// Takes a frame (and the reference to it) and pushes the pictures that can be made now.
  GstFlowReturn take(GstBuffer* frame);
  /// Makes the pictures of all frames that wait for others, which will not come.
  GstFlowReturn drain();
  /// Drops all frames and goes on behind a flush.
  void flush();

  /// A QoS event; any thread.
  void noteLateness(GstEvent* event) { lateness_.note(event); }
  /// Adds what the window holds back to the answer to a latency query; any thread.
  void addLatency(GstQuery* query) const;

 private:
  template <typename Work>
  GstFlowReturn guarded(const Work& work);
  [[nodiscard]] bool isInForce(const Settings& settings) const;
  void apply(const Settings& settings);
  GstFlowReturn pushReady(bool all);
  GstFlowReturn pushNext();
  GstFlowReturn push(GstBuffer* picture);
  /// Tells the application of a picture that was made from one frame, or not at all.
  void tell(GstBuffer* frame, const Lateness::Observation& seen);

  GstBaseTransform& base_;
  mutable std::mutex settingsMutex_;
  Settings settings_;
  Settings inForce_;
  GstVideoInfo frameInfo_ = {};  // of no format before the caps have been agreed on
  GstVideoInfo pictureInfo_ = {};
  FrameWindow window_;
  Lateness lateness_;
  std::atomic<bool> cancelled_ = false;
  std::atomic<GstClockTime> latency_ = 0;
  bool gap_ = false;  // the next picture does not follow the one before it
  guint64 pushed_ = 0;
  guint64 skipped_ = 0;
};

}  // namespace velmora::gst

#endif  // VELMORA_GSTREAMER_ELEMENT_H
