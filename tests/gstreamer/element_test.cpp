// The element velmorasr as its neighbours in a pipeline meet it. Pictures are compared with what
// the library makes of the frames that belong into each window.
#include <gmock/gmock.h>
#include <gst/check/gstharness.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <vector>

#include "pictures.h"

namespace velmora::test {
namespace {

constexpr GstClockTime kFrame = 40 * GST_MSECOND;

struct Unref {
  void operator()(GstBuffer* buffer) const { gst_buffer_unref(buffer); }
};
using Buffer = std::unique_ptr<GstBuffer, Unref>;

// The element between two pads of the test.
class Pipeline {
 public:
  explicit Pipeline(const std::string& properties) {
    harness_ = gst_harness_new_parse(("velmorasr name=sr " + properties).c_str());
    element_ = gst_harness_find_element(harness_, "velmorasr");
    bus_ = gst_bus_new();
    gst_element_set_bus(element_, bus_);
  }
  ~Pipeline() {
    for (GstBuffer* buffer; (buffer = gst_harness_try_pull(harness_)) != nullptr;)
      gst_buffer_unref(buffer);
    gst_element_set_bus(element_, nullptr);
    gst_harness_teardown(harness_);
    gst_object_unref(element_);
    gst_object_unref(bus_);
  }
  Pipeline(const Pipeline&) = delete;
  Pipeline& operator=(const Pipeline&) = delete;

  GstHarness* harness() { return harness_; }
  GstElement* element() { return element_; }

  void caps(const std::string& text) {
    GstCaps* caps = gst_caps_from_string(("video/x-raw," + text).c_str());
    EXPECT_TRUE(gst_video_info_from_caps(&info_, caps)) << text;
    gst_harness_set_src_caps(harness_, caps);
  }
  void caps(const char* format, int width, int height, const char* more = "framerate=25/1") {
    caps("format=" + std::string(format) + ",width=" + std::to_string(width) +
         ",height=" + std::to_string(height) + "," + more);
  }

  Buffer frame(const Picture& picture, int number, bool spaced = false) {
    Buffer buffer(bufferOf(picture, info_, spaced));
    GST_BUFFER_PTS(buffer.get()) = kFrame * guint(number);
    GST_BUFFER_DURATION(buffer.get()) = kFrame;
    GST_BUFFER_OFFSET(buffer.get()) = 100 + guint(number);
    return buffer;
  }
  GstFlowReturn push(Buffer buffer) { return gst_harness_push(harness_, buffer.release()); }
  GstFlowReturn push(const Picture& picture, int number) { return push(frame(picture, number)); }
  void end() { EXPECT_TRUE(gst_harness_push_event(harness_, gst_event_new_eos())); }

  Buffer pull() { return Buffer(gst_harness_try_pull(harness_)); }
  guint waiting() { return gst_harness_buffers_in_queue(harness_); }

  GstVideoInfo outputInfo() {
    GstCaps* caps = gst_pad_get_current_caps(harness_->sinkpad);
    GstVideoInfo info;
    EXPECT_TRUE(gst_video_info_from_caps(&info, caps));
    gst_caps_unref(caps);
    return info;
  }
  Picture pullPicture() {
    const Buffer buffer = pull();
    EXPECT_NE(buffer, nullptr);
    return buffer ? pictureOf(buffer.get(), outputInfo()) : Picture(0, 0);
  }

  // What went wrong, or a QoS message: fields of the message; "" without one.
  std::string message(GstMessageType type) {
    GstMessage* message = gst_bus_pop_filtered(bus_, type);
    if (message == nullptr) return "";
    std::string text = "quality ";
    if (type == GST_MESSAGE_ERROR) {
      GError* error = nullptr;
      gst_message_parse_error(message, &error, nullptr);
      text = error->message;
      g_error_free(error);
    } else {
      gint quality = 0;
      gst_message_parse_qos_values(message, nullptr, nullptr, &quality);
      text += std::to_string(quality);
    }
    gst_message_unref(message);
    return text;
  }

 private:
  GstHarness* harness_;
  GstElement* element_;
  GstBus* bus_;
  GstVideoInfo info_ = {};
};

std::vector<Picture> drawnFrames(int count, int width, int height, int from = 0) {
  std::vector<Picture> frames;
  for (int i = 0; i < count; ++i)
    frames.push_back(drawnFrame(from + i, width, height));
  return frames;
}

TEST(Element, MakesPicturesFromTheWindowOfEachFrame) {
  const struct {
    const char* format;
    int width, height, window, frames;
    bool spaced;
    const char* properties;
    BurstOptions options;
  } cases[] = {
      {"NV12", 65, 49, 1, 2, false, "", {}},
      {"NV12", 64, 48, 2, 3, true, "noise=4", {4, -1, false}},
      {"NV21", 65, 49, 3, 4, true, "threads=1", {}},
      {"I420", 65, 49, 3, 5, false, "sharpened=0.3 threads=2", {-1, 0.3f, false}},
      {"I420", 64, 48, 4, 6, true, "effort=normal", {-1, -1, true}},
      {"NV21", 64, 48, 7, 1, false, "", {}},
      {"I420", 65, 49, 7, 2, false, "", {}},
      {"NV12", 64, 48, 7, 8, false, "", {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.format) + " window " + std::to_string(c.window));
    auto frames = drawnFrames(c.frames, c.width, c.height);
    Pipeline pipeline("window=" + std::to_string(c.window) + " " + c.properties);
    pipeline.caps(c.format, c.width, c.height);
    for (int i = 0; i < c.frames; ++i) {
      Buffer buffer = pipeline.frame(frames[std::size_t(i)], i, c.spaced);
      if (i == 1) GST_BUFFER_FLAG_SET(buffer.get(), GST_BUFFER_FLAG_MARKER);
      if (i == 1) {
        gst_buffer_add_video_region_of_interest_meta(buffer.get(), "ball", 4, 6, 10, 20);
      }
      ASSERT_EQ(pipeline.push(std::move(buffer)), GST_FLOW_OK);
      EXPECT_EQ(pipeline.waiting(), guint(std::max(0, i + 1 - c.window / 2)));
    }
    pipeline.end();
    ASSERT_EQ(pipeline.waiting(), guint(c.frames));
    const GstVideoInfo info = pipeline.outputInfo();
    EXPECT_EQ(info.width, 2 * c.width);
    EXPECT_EQ(info.height, 2 * c.height);
    for (int i = 0; i < c.frames; ++i) {
      const Buffer made = pipeline.pull();
      const int first = std::max(0, i - (c.window - 1) / 2);
      const int last = std::min(c.frames - 1, i + c.window / 2);
      EXPECT_TRUE(pictureOf(made.get(), info) ==
                  burstOf(frames, first, last, i, info.width, info.height, c.options))
          << "frame " << i;
      EXPECT_EQ(GST_BUFFER_PTS(made.get()), kFrame * guint(i));
      EXPECT_EQ(GST_BUFFER_DURATION(made.get()), kFrame);
      EXPECT_EQ(GST_BUFFER_OFFSET(made.get()), 100 + guint(i));
      EXPECT_EQ(bool(GST_BUFFER_FLAG_IS_SET(made.get(), GST_BUFFER_FLAG_MARKER)), i == 1);
      const auto* region = gst_buffer_get_video_region_of_interest_meta(made.get());
      ASSERT_EQ(region != nullptr, i == 1);
      if (region != nullptr) {
        EXPECT_EQ((std::array{region->x, region->y, region->w, region->h}),
                  (std::array{8u, 12u, 20u, 40u}));
      }
    }
  }
}

TEST(Element, EnlargesByTheCameraPathFromAnyLayout) {
  const struct {
    const char* format;
    int width, height, outputWidth, outputHeight;
    bool spaced;
  } cases[] = {
      {"NV12", 104, 100, 208, 200, false}, {"NV12", 102, 100, 204, 200, false},
      {"NV21", 104, 100, 206, 204, false}, {"NV21", 104, 100, 208, 200, true},
      {"I420", 104, 100, 208, 200, false}, {"I420", 102, 110, 302, 112, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.format) + " " + std::to_string(c.width));
    Picture frame = drawnFrame(0, c.width, c.height);
    Picture made(0, 0);
    {
      Pipeline pipeline("method=camera-single window=7");
      gst_harness_set_sink_caps_str(pipeline.harness(),
                                    ("video/x-raw,width=" + std::to_string(c.outputWidth) +
                                     ",height=" + std::to_string(c.outputHeight))
                                        .c_str());
      pipeline.caps(c.format, c.width, c.height);
      ASSERT_EQ(pipeline.push(pipeline.frame(frame, 0, c.spaced)), GST_FLOW_OK);
      made = pipeline.pullPicture();
    }
    EXPECT_TRUE(made == enlargedByCamera(frame, c.outputWidth, c.outputHeight));
  }
}

TEST(Element, AgreesOnSizesWithBothSides) {
  const struct {
    const char* properties;
    const char* input;
    const char* downstream;
    int width, height;
    const char* colorimetry;
  } cases[] = {
      {"", "width=100,height=60", "", 200, 120, "bt601"},
      // More than 576 rows would imply other colours.
      {"scale=4", "width=200,height=160", "", 800, 640, "bt601"},
      {"", "width=100,height=60,colorimetry=bt709", "", 200, 120, "bt709"},
      {"scale=1.5", "width=33,height=35", "", 50, 53, "bt601"},
      {"scale=1.5 method=camera-single", "width=102,height=110", "", 152, 164, "bt601"},
      {"scale=3", "width=100,height=60", "width=150", 150, 90, "bt601"},
      {"", "width=100,height=60", "width=[1,150],height=[1,500]", 150, 90, "bt601"},
      {"", "width=100,height=60", "width={120,400},height=100", 120, 100, "bt601"},
      {"", "width=100,height=60", "width=401", 0, 0, ""},
      {"", "width=100,height=60", "height=59", 0, 0, ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.input) + " -> " + c.downstream);
    Pipeline pipeline(c.properties);
    const std::string separator = *c.downstream == 0 ? "" : ",";
    gst_harness_set_sink_caps_str(pipeline.harness(),
                                  ("video/x-raw" + separator + c.downstream).c_str());
    pipeline.caps(std::string("format=I420,framerate=30000/1001,pixel-aspect-ratio=16/11,") +
                  c.input);
    GstCaps* caps = gst_pad_get_current_caps(pipeline.harness()->sinkpad);
    ASSERT_EQ(caps == nullptr, c.width == 0);
    if (caps == nullptr) continue;
    gst_caps_unref(caps);
    const GstVideoInfo info = pipeline.outputInfo();
    EXPECT_EQ(info.width, c.width);
    EXPECT_EQ(info.height, c.height);
    EXPECT_EQ(info.par_n * 11, info.par_d * 16);
    EXPECT_EQ(info.fps_n * 1001, info.fps_d * 30000);
    gchar* colorimetry = gst_video_colorimetry_to_string(&info.colorimetry);
    EXPECT_STREQ(colorimetry, c.colorimetry);
    g_free(colorimetry);
  }
}

TEST(Element, SaysWhatItCannotDo) {
  const struct {
    const char* properties;
    int width, height;
    const char* more;
    const char* message;
  } cases[] = {
      {"method=camera-single", 101, 100, "framerate=25/1",
       "the method camera-single takes even sizes from 100x100 on, not 101x100"},
      {"method=camera-single", 98, 100, "framerate=25/1", "from 100x100 on, not 98x100"},
      {"", 64, 64, "interlace-mode=interleaved", "interlaced frames cannot be enlarged"},
      {"sharpened=-0.8", 64, 64, "framerate=25/1", "sharpened goes from -0.6 to 1"},
  };
  for (const auto& c : cases) {
    Pipeline pipeline(c.properties);
    pipeline.caps("NV12", c.width, c.height, c.more);
    EXPECT_NE(pipeline.push(drawnFrame(0, c.width, c.height), 0), GST_FLOW_OK);
    EXPECT_THAT(pipeline.message(GST_MESSAGE_ERROR), testing::HasSubstr(c.message));
  }
}

TEST(Element, RefusesBuffersThatAreNoFrames) {
  auto frames = drawnFrames(1, 64, 48);
  Pipeline pipeline("");
  pipeline.caps("NV12", 64, 48);
  EXPECT_EQ(pipeline.push(Buffer(gst_buffer_new_allocate(nullptr, 64 * 48, nullptr))),
            GST_FLOW_ERROR);
  EXPECT_EQ(pipeline.message(GST_MESSAGE_ERROR), "a buffer is not the frame that its caps tell of");
  EXPECT_EQ(pipeline.push(frames[0], 0), GST_FLOW_OK);
  pipeline.end();
  EXPECT_TRUE(pipeline.pullPicture() == burstOf(frames, 0, 0, 0, 128, 96));
}

// A source whose pool has no more buffers than are held would wait for ever.
TEST(Element, AsksForOneBufferMoreThanItHolds) {
  Pipeline pipeline("window=6");
  pipeline.caps("NV12", 64, 48);
  GstCaps* caps = gst_pad_get_current_caps(pipeline.harness()->srcpad);
  GstQuery* query = gst_query_new_allocation(caps, TRUE);
  ASSERT_TRUE(gst_pad_peer_query(pipeline.harness()->srcpad, query));
  ASSERT_GT(gst_query_get_n_allocation_pools(query), 0u);
  guint least = 0;
  gst_query_parse_nth_allocation_pool(query, 0, nullptr, nullptr, &least, nullptr);
  EXPECT_EQ(least, 7u);
  EXPECT_TRUE(gst_query_find_allocation_meta(query, GST_VIDEO_META_API_TYPE, nullptr));
  gst_query_unref(query);
  gst_caps_unref(caps);
}

// What follows offers buffers whose rows are further apart.
GstPadProbeReturn offerPool(GstPad*, GstPadProbeInfo* info, gpointer pool) {
  GstQuery* query = GST_PAD_PROBE_INFO_QUERY(info);
  if (GST_QUERY_TYPE(query) != GST_QUERY_ALLOCATION) return GST_PAD_PROBE_OK;
  GstCaps* caps = nullptr;
  gst_query_parse_allocation(query, &caps, nullptr);
  GstVideoInfo sizes;
  gst_video_info_from_caps(&sizes, caps);
  GstVideoAlignment spaced;
  gst_video_alignment_reset(&spaced);
  spaced.padding_left = spaced.padding_right = spaced.padding_bottom = 32;
  GstStructure* config = gst_buffer_pool_get_config(GST_BUFFER_POOL(pool));
  gst_buffer_pool_config_add_option(config, GST_BUFFER_POOL_OPTION_VIDEO_META);
  gst_buffer_pool_config_add_option(config, GST_BUFFER_POOL_OPTION_VIDEO_ALIGNMENT);
  gst_buffer_pool_config_set_video_alignment(config, &spaced);
  gst_video_info_align(&sizes, &spaced);
  const auto size = static_cast<guint>(sizes.size);
  gst_buffer_pool_config_set_params(config, caps, size, 0, 0);
  EXPECT_TRUE(gst_buffer_pool_set_config(GST_BUFFER_POOL(pool), config));
  gst_query_add_allocation_pool(query, GST_BUFFER_POOL(pool), size, 0, 0);
  gst_query_add_allocation_meta(query, GST_VIDEO_META_API_TYPE, nullptr);
  return GST_PAD_PROBE_HANDLED;
}

TEST(Element, WritesIntoTheBuffersOfWhatFollows) {
  GstBufferPool* pool = gst_video_buffer_pool_new();
  for (const char* properties : {"", "method=camera-single"}) {
    auto frames = drawnFrames(1, 104, 100);
    Picture made(0, 0);
    {
      Pipeline pipeline(properties);
      gst_pad_add_probe(pipeline.harness()->sinkpad, GST_PAD_PROBE_TYPE_QUERY_DOWNSTREAM, offerPool,
                        pool, nullptr);
      pipeline.caps("I420", 104, 100);
      pipeline.push(frames[0], 0);
      pipeline.end();
      const Buffer buffer = pipeline.pull();
      ASSERT_NE(buffer, nullptr);
      EXPECT_EQ(buffer->pool, pool);
      EXPECT_GT(gst_buffer_get_video_meta(buffer.get())->stride[0], 2 * 104);
      made = pictureOf(buffer.get(), pipeline.outputInfo());
    }
    EXPECT_TRUE(made == (*properties == 0 ? burstOf(frames, 0, 0, 0, 208, 200)
                                          : enlargedByCamera(frames[0], 208, 200)))
        << properties;
  }
  gst_object_unref(pool);
}

TEST(Element, FinishesTheWindowWhereCapsChange) {
  auto few = drawnFrames(3, 64, 48);
  auto more = drawnFrames(2, 80, 40, 3);
  Pipeline pipeline("window=5");
  pipeline.caps("NV12", 64, 48);
  for (int i = 0; i < 3; ++i)
    pipeline.push(few[std::size_t(i)], i);
  pipeline.caps("NV12", 64, 48);  // no change
  EXPECT_EQ(pipeline.waiting(), 1u);
  pipeline.caps("NV12", 80, 40);
  EXPECT_EQ(pipeline.waiting(), 3u);
  GstVideoInfo info;
  gst_video_info_set_format(&info, GST_VIDEO_FORMAT_NV12, 128, 96);
  for (int i = 0; i < 3; ++i) {
    EXPECT_TRUE(pictureOf(pipeline.pull().get(), info) == burstOf(few, 0, 2, i, 128, 96));
  }
  for (int i = 0; i < 2; ++i)
    pipeline.push(more[std::size_t(i)], 3 + i);
  pipeline.end();
  for (int i = 0; i < 2; ++i)
    EXPECT_TRUE(pipeline.pullPicture() == burstOf(more, 0, 1, i, 160, 80));
}

// What a seek does: of the frames before it nothing is left.
TEST(Element, DropsTheWindowInAFlush) {
  auto frames = drawnFrames(4, 64, 48);
  Pipeline pipeline("");
  pipeline.caps("I420", 64, 48);
  pipeline.push(frames[0], 0);
  pipeline.push(frames[1], 1);
  EXPECT_TRUE(pipeline.pullPicture() == burstOf(frames, 0, 1, 0, 128, 96));
  gst_harness_push_event(pipeline.harness(), gst_event_new_flush_start());
  gst_harness_push_event(pipeline.harness(), gst_event_new_flush_stop(TRUE));
  GstSegment segment;
  gst_segment_init(&segment, GST_FORMAT_TIME);
  segment.start = segment.time = segment.position = 2 * kFrame;
  gst_harness_push_event(pipeline.harness(), gst_event_new_segment(&segment));
  pipeline.push(frames[2], 2);
  pipeline.push(frames[3], 3);
  pipeline.end();
  ASSERT_EQ(pipeline.waiting(), 2u);
  for (int i = 2; i < 4; ++i) {
    const Buffer made = pipeline.pull();
    EXPECT_TRUE(pictureOf(made.get(), pipeline.outputInfo()) == burstOf(frames, 2, 3, i, 128, 96));
    EXPECT_EQ(bool(GST_BUFFER_FLAG_IS_SET(made.get(), GST_BUFFER_FLAG_DISCONT)), i == 2);
  }
}

TEST(Element, ReportsTheLatencyOfItsWindow) {
  const struct {
    const char* properties;
    const char* rate;
    GstClockTime latency;
  } cases[] = {
      {"window=1", "framerate=25/1", 0},
      {"window=2", "framerate=25/1", 40 * GST_MSECOND},
      {"", "framerate=30000/1001", 33'366'667},
      {"window=7", "framerate=50/1", 60 * GST_MSECOND},
      {"window=7", "framerate=0/1", 120 * GST_MSECOND},  // counted as 25 frames a second
      {"window=7 method=camera-single", "framerate=25/1", 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.properties);
    Pipeline pipeline(c.properties);
    gst_harness_set_upstream_latency(pipeline.harness(), 5 * GST_MSECOND);
    pipeline.caps("NV12", 100, 100, c.rate);
    EXPECT_EQ(gst_harness_query_latency(pipeline.harness()), 5 * GST_MSECOND + c.latency);
  }
}

TEST(Element, DoesLessForPicturesThatComeLate) {
  auto frames = drawnFrames(6, 64, 48);
  const auto late = [](Pipeline& pipeline, int number, GstClockTimeDiff by) {
    gst_harness_push_upstream_event(
        pipeline.harness(),
        gst_event_new_qos(GST_QOS_TYPE_UNDERFLOW, 1.5, by, kFrame * guint(number)));
  };
  for (const bool qos : {true, false}) {
    Pipeline pipeline(qos ? "" : "qos=false");
    pipeline.caps("NV12", 64, 48);
    pipeline.push(frames[0], 0);
    pipeline.push(frames[1], 1);
    late(pipeline, 0, 1);  // by a nanosecond
    pipeline.push(frames[2], 2);
    late(pipeline, 1, GstClockTimeDiff(kFrame));  // frame 2 cannot be shown any more
    pipeline.push(frames[3], 3);
    late(pipeline, 2, -1);
    pipeline.push(frames[4], 4);
    pipeline.push(frames[5], 5);
    pipeline.end();
    for (int i = 0; i < 6; ++i) {
      if (qos && i == 2) continue;
      const bool alone = qos && i == 1;
      const Buffer made = pipeline.pull();
      ASSERT_NE(made, nullptr);
      EXPECT_EQ(GST_BUFFER_PTS(made.get()), kFrame * guint(i));
      EXPECT_TRUE(pictureOf(made.get(), pipeline.outputInfo()) ==
                  burstOf(frames, alone ? i : std::max(0, i - 1), alone ? i : std::min(5, i + 1), i,
                          128, 96))
          << qos << " frame " << i;
      EXPECT_EQ(bool(GST_BUFFER_FLAG_IS_SET(made.get(), GST_BUFFER_FLAG_DISCONT)),
                i == 0 || (qos && i == 3));
    }
    EXPECT_EQ(pipeline.message(GST_MESSAGE_QOS), qos ? "quality 333333" : "");
    EXPECT_EQ(pipeline.message(GST_MESSAGE_QOS), qos ? "quality 0" : "");
    EXPECT_EQ(pipeline.message(GST_MESSAGE_QOS), "");
  }
}

// Changed properties are in force from the next frame on, for all pictures that wait.
TEST(Element, TakesChangedPropertiesInMidStream) {
  auto frames = drawnFrames(6, 64, 48);
  Pipeline pipeline("window=5");
  pipeline.caps("NV21", 64, 48);
  for (int i = 0; i < 4; ++i)
    pipeline.push(frames[std::size_t(i)], i);
  EXPECT_TRUE(pipeline.pullPicture() == burstOf(frames, 0, 2, 0, 128, 96));
  EXPECT_TRUE(pipeline.pullPicture() == burstOf(frames, 0, 3, 1, 128, 96));
  g_object_set(pipeline.element(), "window", 2, "scale", 3.0, "noise", 5.0, nullptr);
  pipeline.push(frames[4], 4);
  ASSERT_EQ(pipeline.waiting(), 2u);
  const BurstOptions options = {5, -1, false};
  for (int i = 2; i < 4; ++i)
    EXPECT_TRUE(pipeline.pullPicture() == burstOf(frames, i, i + 1, i, 192, 144, options)) << i;
  g_object_set(pipeline.element(), "window", 3, nullptr);
  pipeline.push(frames[5], 5);
  EXPECT_TRUE(pipeline.pullPicture() == burstOf(frames, 4, 5, 4, 192, 144, options));
  pipeline.end();
  EXPECT_TRUE(pipeline.pullPicture() == burstOf(frames, 4, 5, 5, 192, 144, options));
}

}  // namespace
}  // namespace velmora::test

int main(int argc, char** argv) {
  gst_init(&argc, &argv);
  testing::InitGoogleTest(&argc, argv);
  const int result = RUN_ALL_TESTS();
  gst_deinit();
  return result;
}
