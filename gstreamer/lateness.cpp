#include "lateness.h"

#include <algorithm>

namespace velmora::gst {

void Lateness::note(GstEvent* event) {
  GstQOSType type = GST_QOS_TYPE_UNDERFLOW;
  double proportion = 1;
  GstClockTimeDiff jitter = 0;
  GstClockTime timestamp = GST_CLOCK_TIME_NONE;
  gst_event_parse_qos(event, &type, &proportion, &jitter, &timestamp);
  if (!GST_CLOCK_TIME_IS_VALID(timestamp)) return;
  const std::lock_guard lock(mutex_);
  const auto reached = static_cast<GstClockTimeDiff>(timestamp) + jitter;
  earliest_ = static_cast<GstClockTime>(std::max<GstClockTimeDiff>(reached, 0));
  late_ = jitter > 0 && type != GST_QOS_TYPE_THROTTLE;
  jitter_ = jitter;
  proportion_ = proportion;
}

void Lateness::reset() {
  const std::lock_guard lock(mutex_);
  earliest_ = GST_CLOCK_TIME_NONE;
  late_ = false;
}

Lateness::Observation Lateness::of(GstClockTime runningTime) const {
  const std::lock_guard lock(mutex_);
  if (!GST_CLOCK_TIME_IS_VALID(earliest_) || !GST_CLOCK_TIME_IS_VALID(runningTime)) return {};
  Pace pace = late_ ? Pace::oneFrame : Pace::window;
  if (runningTime <= earliest_) pace = Pace::skip;
  return {pace, jitter_, proportion_};
}

}  // namespace velmora::gst
