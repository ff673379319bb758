#include "element.h"

#include <exception>
#include <memory>
#include <new>
#include <string>

#include "enlarger.h"
#include "failure.h"
#include "mapped_frame.h"

namespace velmora::gst {
namespace {

// Of streams without a frame rate, for the latency.
constexpr int kAssumedRate = 25;

struct Unref {
  void operator()(GstBuffer* buffer) const { gst_buffer_unref(buffer); }
};
using Buffer = std::unique_ptr<GstBuffer, Unref>;

GstClockTime latencyOf(int frames, const GstVideoInfo& info) {
  const bool known = info.fps_n > 0 && info.fps_d > 0;
  const auto rate = static_cast<guint64>(known ? info.fps_n : kAssumedRate);
  const auto base = static_cast<guint64>(known ? info.fps_d : 1);
  return gst_util_uint64_scale_ceil(static_cast<guint64>(frames) * GST_SECOND, base, rate);
}

}  // namespace

Settings Element::settings() const {
  const std::lock_guard lock(settingsMutex_);
  return settings_;
}

void Element::start() {
  cancelled_ = false;
  lateness_.reset();
  gap_ = true;
  pushed_ = skipped_ = 0;
}

void Element::stop() {
  window_.clear();
  gst_video_info_init(&frameInfo_);
  gst_video_info_init(&pictureInfo_);
}

bool Element::isOther(const GstCaps* caps) const {
  GstVideoInfo info;
  return !gst_video_info_from_caps(&info, caps) || !gst_video_info_is_equal(&info, &frameInfo_);
}

bool Element::setSizes(const GstVideoInfo& frame, const GstVideoInfo& picture) {
  return guarded([&] {
           const Settings wanted = settings();
           if (GST_VIDEO_INFO_IS_INTERLACED(&frame)) {
             throw Failure("interlaced frames cannot be enlarged; deinterlace them before");
           }
           const bool same = gst_video_info_is_equal(&frame, &frameInfo_) &&
                             gst_video_info_is_equal(&picture, &pictureInfo_);
           frameInfo_ = frame;
           pictureInfo_ = picture;
           if (!same || !isInForce(wanted)) apply(wanted);
           return GST_FLOW_OK;
         }) == GST_FLOW_OK;
}

void Element::apply(const Settings& settings) {
  window_.use(nullptr, settings.before(), settings.behind());  // frees memory for the next one
  if (const std::string reason = fault(settings, frameInfo_, pictureInfo_); !reason.empty()) {
    throw Failure(reason);
  }
  window_.use(makeEnlarger(settings, frameInfo_, pictureInfo_, cancelled_), settings.before(),
              settings.behind());
  inForce_ = settings;
  const GstClockTime latency = latencyOf(settings.behind(), frameInfo_);
  if (latency_.exchange(latency) != latency) {
    gst_element_post_message(GST_ELEMENT_CAST(&base_), gst_message_new_latency(GST_OBJECT(&base_)));
  }
}

bool Element::isInForce(const Settings& settings) const {
  return window_.canEnlarge() && settings == inForce_;
}

// Runs work that may throw; what it throws ends the stream with a message.
template <typename Work>
GstFlowReturn Element::guarded(const Work& work) {
  try {
    return work();
  } catch (const Cancelled&) {
    return GST_FLOW_FLUSHING;
  } catch (const std::bad_alloc&) {
    GST_ELEMENT_ERROR(&base_, RESOURCE, NO_SPACE_LEFT, ("out of memory"), (nullptr));
  } catch (const std::exception& failure) {
    GST_ELEMENT_ERROR(&base_, STREAM, FAILED, ("%s", failure.what()), (nullptr));
  }
  window_.clear();
  return GST_FLOW_ERROR;
}

GstFlowReturn Element::take(GstBuffer* frame) {
  return guarded([&, owned = Buffer(frame)] {
    if (const Settings wanted = settings(); !isInForce(wanted)) apply(wanted);
    window_.add(frameInfo_, owned.get());
    return pushReady(false);
  });
}

GstFlowReturn Element::drain() {
  return guarded([&] {
    const GstFlowReturn result = pushReady(true);
    window_.clearFrames();
    return result;
  });
}

void Element::flush() {
  window_.clearFrames();
  lateness_.reset();
  cancelled_ = false;
  gap_ = true;
}

GstFlowReturn Element::pushReady(bool all) {
  while (window_.hasNext() && (all || !window_.wantsFrame())) {
    const GstFlowReturn result = pushNext();
    if (result != GST_FLOW_OK) return result;
  }
  return GST_FLOW_OK;
}

GstFlowReturn Element::pushNext() {
  const Buffer frame(gst_buffer_ref(window_.next()));
  Lateness::Observation seen;
  if (gst_base_transform_is_qos_enabled(&base_) && base_.segment.format == GST_FORMAT_TIME) {
    seen = lateness_.of(
        gst_segment_to_running_time(&base_.segment, GST_FORMAT_TIME, GST_BUFFER_PTS(frame.get())));
  }
  if (seen.pace == Pace::skip) {
    window_.advance();
    gap_ = true;
    ++skipped_;
    tell(frame.get(), seen);
    return GST_FLOW_OK;
  }
  GstBuffer* made = nullptr;
  const GstFlowReturn result =
      GST_BASE_TRANSFORM_GET_CLASS(&base_)->prepare_output_buffer(&base_, frame.get(), &made);
  if (result != GST_FLOW_OK) return result;
  Buffer picture(made);
  {
    const MappedFrame mapped(pictureInfo_, picture.get(), GST_MAP_WRITE);
    window_.enlarge(mapped.frame(), seen.pace == Pace::oneFrame);
  }
  window_.advance();
  if (seen.pace == Pace::oneFrame && inForce_.method == Method::burst) tell(frame.get(), seen);
  return push(picture.release());
}

GstFlowReturn Element::push(GstBuffer* picture) {
  if (gap_) GST_BUFFER_FLAG_SET(picture, GST_BUFFER_FLAG_DISCONT);
  gap_ = false;
  ++pushed_;
  if (base_.segment.format == GST_FORMAT_TIME && GST_BUFFER_PTS_IS_VALID(picture)) {
    base_.segment.position = GST_BUFFER_PTS(picture);
    if (GST_BUFFER_DURATION_IS_VALID(picture)) {
      base_.segment.position += GST_BUFFER_DURATION(picture);
    }
  }
  return gst_pad_push(GST_BASE_TRANSFORM_SRC_PAD(&base_), picture);
}

void Element::tell(GstBuffer* frame, const Lateness::Observation& seen) {
  const GstClockTime time = GST_BUFFER_PTS(frame);
  GstMessage* message = gst_message_new_qos(
      GST_OBJECT(&base_), FALSE, gst_segment_to_running_time(&base_.segment, GST_FORMAT_TIME, time),
      gst_segment_to_stream_time(&base_.segment, GST_FORMAT_TIME, time), time,
      GST_BUFFER_DURATION(frame));
  constexpr int kWholeQuality = 1'000'000;
  gst_message_set_qos_values(message, seen.jitter, seen.proportion,
                             seen.pace == Pace::skip ? 0 : kWholeQuality / inForce_.window);
  gst_message_set_qos_stats(message, GST_FORMAT_BUFFERS, pushed_, skipped_);
  gst_element_post_message(GST_ELEMENT_CAST(&base_), message);
}

void Element::addLatency(GstQuery* query) const {
  gboolean live = FALSE;
  GstClockTime shortest = 0;
  GstClockTime longest = GST_CLOCK_TIME_NONE;
  gst_query_parse_latency(query, &live, &shortest, &longest);
  const GstClockTime own = latency_;
  if (GST_CLOCK_TIME_IS_VALID(longest)) longest += own;
  gst_query_set_latency(query, live, shortest + own, longest);
}

}  // namespace velmora::gst
