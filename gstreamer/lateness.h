// What the sinks tell about pictures that come late.
#ifndef VELMORA_GSTREAMER_LATENESS_H
#define VELMORA_GSTREAMER_LATENESS_H

#include <gst/gst.h>

#include <mutex>

namespace velmora::gst {

/// How much work the next picture is worth.
enum class Pace {
  window,    ///< all that was asked for
  oneFrame,  ///< the last picture came late: less work
  skip       ///< it would come too late to be shown
};

/// Any thread.
class Lateness {
 public:
  /// A QoS event.
  void note(GstEvent* event);
  void reset();

  struct Observation {
    Pace pace = Pace::window;
    GstClockTimeDiff jitter = 0;  ///< by how much the last picture was late, in ns
    double proportion = 1;        ///< the sink's long-term measure, above 1 when it waits for us
  };
  /// @param runningTime  of the picture; GST_CLOCK_TIME_NONE is never late
  [[nodiscard]] Observation of(GstClockTime runningTime) const;

 private:
  mutable std::mutex mutex_;
  GstClockTime earliest_ = GST_CLOCK_TIME_NONE;  // running time that the sink has reached
  bool late_ = false;                            // the last picture was
  GstClockTimeDiff jitter_ = 0;
  double proportion_ = 1;
};

}  // namespace velmora::gst

#endif  // VELMORA_GSTREAMER_LATENESS_H
