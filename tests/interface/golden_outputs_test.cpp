// What whole calls give, to the byte: the same on every processor, compiler and set of kernels. A
// change of these values is a change of every picture that users have made; say why in the log.
#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "cpu/cpu_functions.h"
#include "interface/session.h"
#include "interface/textured_frame.h"
#include "support/digest.h"
#include "support/random.h"

namespace velmora::test {
namespace {

using Frame = std::vector<uint8_t>;

uint32_t checksum(const Frame& bytes) {
  Digest digest;
  digest.addAll(bytes);
  return digest.value();
}

/// Where a camera looks at the scene: pixel (x, y) shows (xx x + xy y + x0, yx x + yy y + y0), in
/// 65536ths of a pixel of the scene.
struct View {
  int32_t xx, xy, x0;
  int32_t yx, yy, y0;
};
constexpr int32_t kOne = 65536;
constexpr int32_t kMargin = 48;
// clang-format off
constexpr View kStraight = {kOne, 0, kMargin * kOne,
                            0, kOne, kMargin * kOne};
/// A hand has turned the camera by a third of a degree and moved it by some pixels.
constexpr View kHandheld = {65790, 380, (kMargin - 7) * kOne + 21000,
                            -380, 65790, (kMargin + 4) * kOne + 9000};
/// A step closer, turned by almost a degree, and a little sheared.
constexpr View kCloser = {64300, -1100, (kMargin + 9) * kOne + 40000,
                          900, 64500, (kMargin - 3) * kOne};
// clang-format on

/// The noisy frame of a view, all in integers, with a bright ball at `ball` for the de-ghosting.
Frame photographed(int32_t width, int32_t height, const View& view, int32_t ball, uint64_t seed,
                   uint64_t scene = 1) {
  const int32_t sceneWidth = width + 2 * kMargin;
  const int32_t sceneHeight = height + 2 * kMargin;
  const Frame samples = texturedFrame(sceneWidth, sceneHeight, 0, 0, scene);
  Random random(seed);
  const auto noisy = [&](uint8_t sample) {
    return static_cast<uint8_t>(std::clamp<int64_t>(sample + random.range(-2, 2), 0, 255));
  };
  const auto place = [&](int32_t x, int32_t y) {
    const int64_t column = (int64_t{view.xx} * x + int64_t{view.xy} * y + view.x0) >> 16;
    const int64_t row = (int64_t{view.yx} * x + int64_t{view.yy} * y + view.y0) >> 16;
    return std::pair{static_cast<std::size_t>(std::clamp<int64_t>(column, 0, sceneWidth - 1)),
                     static_cast<std::size_t>(std::clamp<int64_t>(row, 0, sceneHeight - 1))};
  };
  const auto pitch = static_cast<std::size_t>(sceneWidth);
  const std::size_t chroma = pitch * static_cast<std::size_t>(sceneHeight);
  Frame frame;
  frame.reserve(frameBytes(width, height));
  for (int32_t y = 0; y < height; ++y) {
    for (int32_t x = 0; x < width; ++x) {
      const auto [column, row] = place(x, y);
      const int32_t dx = x - ball;
      const int32_t dy = y - height / 2;
      frame.push_back(
          noisy(dx * dx + dy * dy < 400 ? uint8_t{230} : samples[row * pitch + column]));
    }
  }
  for (int32_t y = 0; y < height / 2; ++y) {
    for (int32_t x = 0; x < width / 2; ++x) {
      const auto [column, row] = place(2 * x, 2 * y);
      for (std::size_t byte = 0; byte < 2; ++byte)
        frame.push_back(noisy(samples[chroma + row / 2 * pitch + column / 2 * 2 + byte]));
    }
  }
  return frame;
}

enum class Second { none, handheld, closer, noise, otherScene };

struct Golden {
  const char* name;
  int32_t scene;
  int32_t format;
  int32_t width, height;
  int32_t outWidth, outHeight;
  Region region;
  Second second;
  // What it gives: region used, checksums of the output and of the first frame after the call,
  // which de-ghosting changes.
  Region used;
  uint32_t output;
  uint32_t first;
};

void PrintTo(const Golden& golden, std::ostream* out) {
  *out << golden.name;
}

constexpr int32_t kNv12 = VELMORA_SR_FORMAT_NV12;
constexpr int32_t kNv21 = VELMORA_SR_FORMAT_NV21;
constexpr int32_t kPlanar = VELMORA_SR_FORMAT_PLANAR;

// clang-format off
const Golden kGolden[] = {
    {"OneFrameDoubled", 0, kNv12, 320, 240, 640, 480, {0, 0, 319, 239}, Second::none,
     {0, 0, 319, 239}, 0xC28874DA, 0x9DE5EBC3},
    {"OneFrameOddSizes", 0, kNv21, 333, 251, 501, 377, {0, 0, 332, 250}, Second::none,
     {0, 0, 332, 250}, 0x63B57505, 0x223774B0},
    {"OneFramePartReduced", 0, kPlanar, 256, 256, 90, 70, {11, 24, 240, 201}, Second::none,
     {11, 24, 240, 201}, 0xDE760B7D, 0x3F0AE503},
    {"TwoCameras", 1, kNv12, 480, 400, 720, 600, {0, 0, 479, 399}, Second::handheld,
     {0, 6, 472, 398}, 0x0FCCAEFD, 0x84F9D1F7},
    {"TwoShots", 2, kNv21, 640, 480, 960, 720, {0, 0, 639, 479}, Second::closer,
     {10, 6, 626, 466}, 0x2F1D63CF, 0x2CEFC53D},
    {"TwoShotsPart", 2, kNv12, 480, 400, 500, 500, {100, 60, 399, 359}, Second::handheld,
     {100, 60, 398, 358}, 0x1D2FE5FB, 0x84F9D1F7},
    {"TwoCamerasOnOtherScenes", 1, kNv21, 480, 400, 720, 600, {0, 0, 479, 399}, Second::otherScene,
     {0, 0, 478, 398}, 0xF934EB85, 0xA3D8A7CA},
    {"TwoShotsOneOfNoise", 2, kNv12, 480, 400, 600, 500, {0, 0, 479, 399}, Second::noise,
     {0, 0, 478, 398}, 0x5B26FF5A, 0xA3D8A7CA},
};
// clang-format on

class GoldenOutputs : public testing::TestWithParam<Golden> {
 protected:
  ~GoldenOutputs() override { forceCpuSet(chosenCpuSet()); }
};

TEST_P(GoldenOutputs, SameBytesEverywhere) {
  const Golden& golden = GetParam();
  const int32_t width = golden.width;
  const int32_t height = golden.height;
  const Frame first = photographed(width, height, kStraight, width / 3, 1);
  Frame second;
  switch (golden.second) {
    case Second::none:
      break;
    case Second::handheld:
      second = photographed(width, height, kHandheld, width / 2, 2);
      break;
    case Second::closer:
      second = photographed(width, height, kCloser, width / 2, 2);
      break;
    case Second::noise:
      second = Random(3).bytes(frameBytes(width, height));
      break;
    case Second::otherScene:
      second = photographed(width, height, kStraight, width / 3, 2, 2);
      break;
  }
  for (const CpuSet set : availableCpuSets()) {
    SCOPED_TRACE(std::string(name(set)));
    forceCpuSet(set);
    const Session session(width, height, golden.scene);
    Call call(width, height, golden.format, golden.region, golden.outWidth, golden.outHeight, first,
              second);
    ASSERT_EQ(call.run(session), 0);
    const bool failed = reportOf(session.handle()).cause == VELMORA_SR_CAUSE_FRAMES;
    EXPECT_EQ(failed, golden.second == Second::noise || golden.second == Second::otherScene);
    EXPECT_EQ(call.reportedRegion(), golden.used);
    EXPECT_EQ(checksum(call.data), golden.output) << std::hex << "0x" << checksum(call.data);
    EXPECT_EQ(checksum(call.first), golden.first) << std::hex << "0x" << checksum(call.first);
  }
}

INSTANTIATE_TEST_SUITE_P(All, GoldenOutputs, testing::ValuesIn(kGolden),
                         [](const auto& instance) { return instance.param.name; });

// If the values above differ, this one tells whether the frames were drawn differently.
TEST(GoldenInputs, SameBytesEverywhere) {
  EXPECT_EQ(checksum(photographed(160, 120, kStraight, 50, 1)), 0xEBE76955);
  EXPECT_EQ(checksum(photographed(160, 120, kCloser, 80, 2)), 0x89FF6CA4);
}

}  // namespace
}  // namespace velmora::test
