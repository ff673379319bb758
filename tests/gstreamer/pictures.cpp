#include "pictures.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>

#include "support/random.h"
#include "velmora_sr/burst.h"
#include "velmora_sr/velmora_sr.h"

namespace velmora::test {
namespace {

// Calls use(sample of the frame, index of it in Picture::samples) for all samples.
template <typename Use>
void forAll(GstVideoFrame& frame, const Use& use) {
  std::size_t index = 0;
  for (guint c = 0; c < 3; ++c) {
    auto* const data = static_cast<uint8_t*>(GST_VIDEO_FRAME_COMP_DATA(&frame, c));
    for (int y = 0; y < GST_VIDEO_FRAME_COMP_HEIGHT(&frame, c); ++y) {
      for (int x = 0; x < GST_VIDEO_FRAME_COMP_WIDTH(&frame, c); ++x) {
        use(data[y * GST_VIDEO_FRAME_COMP_STRIDE(&frame, c) +
                 x * GST_VIDEO_FRAME_COMP_PSTRIDE(&frame, c)],
            index++);
      }
    }
  }
}

void* allocate(uint32_t size, const char*, int32_t) {
  return std::malloc(size);
}

void release(void* block, const char*, int32_t) {
  std::free(block);
}

}  // namespace

Picture::Picture(int w, int h) : width(w), height(h) {
  samples.resize(std::size_t(w * h + 2 * halfWidth() * halfHeight()));
}

Picture drawnFrame(int number, int width, int height) {
  Random random(static_cast<uint64_t>(number + 1));
  Picture picture(width, height);
  const auto draw = [&](uint8_t* plane, int w, int h, double step) {
    for (int y = 0; y < h; ++y) {
      for (int x = 0; x < w; ++x) {
        const double at = x + 1.5 * number / step;
        const double texture = std::sin(at * 0.7 * step) * std::cos(y * 0.45 * step) +
                               std::sin((at + 2 * y) * 0.2 * step);
        plane[y * w + x] = static_cast<uint8_t>(128 + 40 * texture + 6 * random.unit());
      }
    }
  };
  draw(picture.y(), width, height, 1);
  draw(picture.u(), picture.halfWidth(), picture.halfHeight(), 2);
  draw(picture.v(), picture.halfWidth(), picture.halfHeight(), 3);
  return picture;
}

GstBuffer* bufferOf(const Picture& picture, const GstVideoInfo& info, bool spaced) {
  constexpr int kSpace = 37;
  gsize offsets[GST_VIDEO_MAX_PLANES] = {};
  gint strides[GST_VIDEO_MAX_PLANES] = {};
  gsize size = kSpace;
  for (guint plane = 0; plane < GST_VIDEO_INFO_N_PLANES(&info); ++plane) {
    strides[plane] = info.stride[plane] + (spaced ? kSpace : 0);
    offsets[plane] = spaced ? size : info.offset[plane];
    size += gsize(strides[plane]) * gsize(info.height) + kSpace;
  }
  GstBuffer* buffer = gst_buffer_new_allocate(nullptr, spaced ? size : info.size, nullptr);
  if (spaced) {
    gst_buffer_memset(buffer, 0, 0xEE, size);
    gst_buffer_add_video_meta_full(buffer, GST_VIDEO_FRAME_FLAG_NONE, GST_VIDEO_INFO_FORMAT(&info),
                                   guint(info.width), guint(info.height),
                                   GST_VIDEO_INFO_N_PLANES(&info), offsets, strides);
  }
  GstVideoFrame frame;
  EXPECT_TRUE(gst_video_frame_map(&frame, &info, buffer, GST_MAP_WRITE));
  forAll(frame, [&](uint8_t& sample, std::size_t i) { sample = picture.samples[i]; });
  gst_video_frame_unmap(&frame);
  return buffer;
}

Picture pictureOf(GstBuffer* buffer, const GstVideoInfo& info) {
  Picture picture(info.width, info.height);
  GstVideoFrame frame;
  EXPECT_TRUE(gst_video_frame_map(&frame, &info, buffer, GST_MAP_READ));
  forAll(frame, [&](uint8_t sample, std::size_t i) { picture.samples[i] = sample; });
  gst_video_frame_unmap(&frame);
  return picture;
}

Picture burstOf(std::vector<Picture>& frames, int first, int last, int shown, int width, int height,
                const BurstOptions& options) {
  Velmora_SR_BurstParams params = {};
  params.size = sizeof params;
  params.width = frames[0].width;
  params.height = frames[0].height;
  params.outputWidth = width;
  params.outputHeight = height;
  params.effort = options.normal ? VELMORA_SR_BURST_NORMAL : VELMORA_SR_BURST_FAST;
  params.noise = options.noise;
  params.sharpened = options.sharpened;
  Velmora_SR_Burst* burst = nullptr;
  EXPECT_EQ(VELMORA_SR_BurstCreate(&params, &burst), VELMORA_SR_BURST_OK);
  int32_t reference = 0;
  for (int i = first; i <= last; ++i) {
    Picture& frame = frames[std::size_t(i)];
    const std::ptrdiff_t half = frame.halfWidth();
    const Velmora_SR_BurstFrame planes = {frame.y(), frame.u(), frame.v(), frame.width, half, half,
                                          1,         1,         1};
    int32_t id = 0;
    EXPECT_EQ(VELMORA_SR_BurstAdd(burst, &planes, &id), VELMORA_SR_BURST_OK);
    if (i == shown) reference = id;
  }
  Picture result(width, height);
  const std::ptrdiff_t half = result.halfWidth();
  const Velmora_SR_BurstPicture planes = {result.y(), result.u(), result.v(), width, half,
                                          half,       1,          1,          1};
  EXPECT_EQ(VELMORA_SR_BurstRender(burst, reference, &planes), VELMORA_SR_BURST_OK);
  VELMORA_SR_BurstDestroy(&burst);
  return result;
}

Picture enlargedByCamera(Picture& frame, int width, int height) {
  const auto pairs = [](Picture& picture, std::vector<uint8_t>& packed, bool unpack) {
    uint8_t* at = packed.data() + picture.width * picture.height;
    for (int i = 0; i < picture.halfWidth() * picture.halfHeight(); ++i, at += 2) {
      if (unpack) picture.u()[i] = at[0], picture.v()[i] = at[1];
      if (!unpack) at[0] = picture.u()[i], at[1] = picture.v()[i];
    }
  };
  std::vector<uint8_t> in = frame.samples;
  pairs(frame, in, false);
  Picture result(width, height);
  std::vector<uint8_t> out(result.samples.size());
  Velmora_SR_CreateParams params = {};
  params.alloc = allocate;
  params.free = release;
  SR_ParamsPublic* handle = nullptr;
  EXPECT_EQ(VELMORA_SR_Create(&params, &handle), 0);
  Velmora_SR_InputFrames input = {};
  input.width = frame.width;
  input.height = frame.height;
  input.format = VELMORA_SR_FORMAT_NV12;
  input.leftData = in.data();
  input.vrDepthEndW = frame.width - 1;
  input.vrDepthEndH = frame.height - 1;
  Velmora_SR_OutputFrame output = {};
  output.width = width;
  output.height = height;
  output.data = out.data();
  EXPECT_EQ(VELMORA_SR_Process(handle, &input, 1, &output), 0);
  VELMORA_SR_Destroy(&handle);
  result.samples = out;
  pairs(result, out, true);
  return result;
}

}  // namespace velmora::test
