#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "registration/call_support.h"
#include "registration/synthetic_scene.h"
#include "support/digest.h"
#include "velmora_sr/registration.h"

namespace velmora::test {
namespace {

using Homography = std::array<float, 9>;

struct Maps {
  std::vector<int32_t> x, y;
  bool operator==(const Maps&) const = default;
};

Maps mapsOf(Homography homography, int32_t width, int32_t height) {
  const auto pixels = static_cast<std::size_t>(width) * height;
  Maps maps = {std::vector<int32_t>(pixels, -1), std::vector<int32_t>(pixels, -1)};
  GetSubPixelPositionGlobalRegist(homography.data(), maps.y.data(), maps.x.data(), width, height);
  return maps;
}

TEST(GetSubPixelPositionGlobalRegist, RoundsInTheStatedOrder) {
  Random random(50);
  for (const int32_t height : {1, 2, 3, 4, 5, 7, 10, 16, 103}) {
    Homography h;
    for (float& entry : h)
      entry = static_cast<float>(random.unit() - 0.5) * 0.001f;
    h[0] += 1;
    h[4] += 1;
    h[2] = static_cast<float>(random.range(-200, 200));
    const Maps maps = mapsOf(h, 50, height);
    for (int i = 0; i < 50 * height; ++i) {
      const auto x = static_cast<float>(i % 50);
      const auto y = static_cast<float>(i / 50);
      const float w = 1.0f / (h[7] * y + 1.0f + h[6] * x);  // whatever the last entry
      const auto position = [&](int row) {
        return static_cast<int32_t>((y * h[row + 1] + h[row + 2] + x * h[row]) * 65536.0f * w);
      };
      ASSERT_EQ(maps.x[i], position(0));
      ASSERT_EQ(maps.y[i], position(3));
    }
    const Pool pool;
    EXPECT_EQ(mapsOf(h, 50, height), maps);
  }
}

TEST(GetSubPixelPositionGlobalRegist, PutsWhatCannotBeExpressedOutsideTheFrame) {
  const struct {
    Homography h;
    int32_t x, y;
  } cases[] = {
      {{1, 0, 32767, 0, 1, -32768, 0, 0, 1}, 32767 * 65536, INT32_MIN},
      {{1, 0, 40000, 0, 1, -40000, 0, 0, 1}, INT32_MAX, INT32_MIN},
      {{1, 0, INFINITY, 0, 1, -INFINITY, 0, 0, 1}, INT32_MAX, INT32_MIN},
      {{1, 0, NAN, 0, 1, NAN, 0, 0, 1}, INT32_MIN, INT32_MIN},
  };
  for (const auto& c : cases)
    EXPECT_EQ(mapsOf(c.h, 1, 1), (Maps{{c.x}, {c.y}}));
  // A pole in column 1: 0 / 0 there, the sign turns behind it.
  EXPECT_EQ(mapsOf({1, 0, -1, 0, 1, 5, -1, 0, 1}, 3, 1),
            (Maps{{-65536, INT32_MIN, -65536}, {5 * 65536, INT32_MAX, -5 * 65536}}));
}

TEST(GetSubPixelPositionGlobalRegist, WritesNothingForEmptyFrames) {
  Homography h = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  for (const auto& [width, height] : {std::pair{0, 5}, {5, 0}, {-1, -1}})
    GetSubPixelPositionGlobalRegist(h.data(), nullptr, nullptr, width, height);
}

/// What a registration gave.
struct Registered {
  static constexpr int32_t kUnset = -77;
  int32_t result = kUnset;
  bool failed = false;
  std::array<int32_t, 4> area = {kUnset, kUnset, kUnset, kUnset};
  std::vector<int32_t> posX, posY;
  std::string printed;
};

Registered registerFrames(Frame& first, Frame& second) {
  const auto pixels = static_cast<std::size_t>(first.width) * first.height;
  Registered r;
  r.posX.assign(pixels, Registered::kUnset);
  r.posY.assign(pixels, Registered::kUnset);
  uint8_t* firstFrame = first.data.data();
  uint8_t* secondFrame = second.data.data();
  Velmora_SR_CInputImage input = {&firstFrame, &secondFrame, 1, 1, first.width, first.height, 4};
  r.printed = printedBy([&] {
    r.result = RegisterImgOnePlane(&input, &zelkParamPrivate, r.posX.data(), r.posY.data(),
                                   r.area[0], r.area[1], r.area[2], r.area[3]);
  });
  r.failed = zelkParamPrivate.registFailed != 0;
  return r;
}

constexpr int32_t kWidth = 800;
constexpr int32_t kHeight = 602;  // bands of 150, 150, 150 and 152 rows

TEST(RegisterImgOnePlane, FindsKnownMotions) {
  const struct {
    const char* name;
    Motion motion;
    double noise;
  } cases[] = {
      {"none", shift(0, 0), 0},
      {"parts of a pixel", shift(-20.4, 15.3), 0},
      {"noise", shift(33.6, 4.2), 6},
      {"rotation", tilted(kWidth, kHeight, 1.5, 1, 5, 5, 0, 0), 3},
      {"scale", tilted(kWidth, kHeight, 0, 1.03, -4, 6, 0, 0), 3},
      {"perspective", tilted(kWidth, kHeight, -0.7, 0.99, 10, -6, 1.5e-5, -1e-5), 3},
  };
  const Pool pool;
  const Scene scene(1);
  const Frame reference = draw(scene, kWidth, kHeight, shift(0, 0));
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const CallInProgress call;
    Frame first = reference;
    Frame second = draw(scene, kWidth, kHeight, inverse(c.motion), c.noise, 99);
    const Registered r = registerFrames(first, second);
    EXPECT_EQ(r.result, 0);
    ASSERT_FALSE(r.failed) << r.printed;
    EXPECT_EQ(first.data, reference.data);
    ASSERT_THAT(r.area, testing::Each(testing::Ge(0)));
    ASSERT_LT(r.area[2], kWidth);
    ASSERT_LT(r.area[3], kHeight);
    double sum = 0, worst = 0;
    int count = 0;
    for (int32_t y = r.area[1]; y <= r.area[3]; y += 3) {
      for (int32_t x = r.area[0]; x <= r.area[2]; x += 3, ++count) {
        const int32_t at = y * kWidth + x;
        const Position truth = c.motion.apply({static_cast<double>(x), static_cast<double>(y)});
        const double error =
            std::hypot(r.posX[at] / 65536.0 - truth.x, r.posY[at] / 65536.0 - truth.y);
        sum += error;
        worst = std::max(worst, error);
      }
    }
    EXPECT_LT(sum / count, 0.7);
    EXPECT_LT(worst, 2);
  }
}

/// The registration of a pair fails, says so and writes nothing.
void expectFailure(const Registered& r) {
  EXPECT_EQ(r.result, 0);
  EXPECT_TRUE(r.failed);
  for (const int32_t edge : r.area)
    EXPECT_EQ(edge, Registered::kUnset);
  const std::vector<int32_t> untouched(r.posX.size(), Registered::kUnset);
  EXPECT_TRUE(r.posX == untouched && r.posY == untouched);
  EXPECT_THAT(
      r.printed,
      testing::AnyOf("", testing::EndsWith("homography register failed!retVal 2147483647\n")));
}

/// Also that the reasons are logged, from the innermost one outwards, and printed.
void expectFailure(Frame first, Frame second, const std::vector<std::string>& logged,
                   const std::string& printed) {
  SCOPED_TRACE(printed);
  InitLogParams(nullptr, 1);
  const CallInProgress call;
  LogCapture log;
  const Registered r = registerFrames(first, second);
  expectFailure(r);
  EXPECT_THAT(r.printed, testing::HasSubstr(printed + "homography register failed"));
  std::vector<testing::Matcher<std::string>> lines;
  for (const std::string& text : logged)
    lines.push_back(testing::EndsWith("] : " + text + "\n"));
  lines.push_back(logLine("error", "imregistration_hdr", "RegImg_surf bim to mim failed!"));
  EXPECT_THAT(log.takeTexts(), testing::ElementsAreArray(lines));
}

TEST(RegisterImgOnePlane, FailsSafelyAndSaysWhy) {
  const Frame flat(kWidth, kHeight);
  const Frame textured = draw(Scene(1), kWidth, kHeight, shift(0, 0));
  expectFailure(flat, flat, {"GETFEATURE_SURF: wrong input image for first frame!"},
                "get surf feature points failed!ret 2\n");
  expectFailure(textured, flat, {"GETFEATURE_SURF: not enough keypoints!"},
                "get surf feature points failed!ret 2\n");
  expectFailure(textured, draw(Scene(2), kWidth, kHeight, shift(0, 0)), {"GetFeature Error!"},
                "FeatureMatcher error!!");
  expectFailure(textured, draw(Scene(1), kWidth, kHeight, shift(-304, 0)),
                {"IMG_REGISTRATION: the global motion between two frames is too large!",
                 "IMG_REGISTRATION: matrix is not OK!", "ImgRegistration Error!"},
                "IMG_REGISTRATION: matrix is not OK!!ImgRegistration error!!");
}

TEST(RegisterImgOnePlane, TakesFramesOfAnySize) {
  for (const auto& [width, height] :
       {std::pair{1, 1}, {3, 2}, {16, 400}, {401, 20}, {399, 399}, {400, 400}}) {
    SCOPED_TRACE(testing::Message() << width << " x " << height);
    const CallInProgress call;
    Frame first = blockNoise(width, height, 1);
    Frame second = blockNoise(width, height, 2);
    registerFrames(first, second);  // what it gives is a matter of chance
  }
}

/// A pair that registers and is small, drawn once.
std::pair<Frame, Frame>& smallPair() {
  static std::pair<Frame, Frame> pair = {draw(Scene(7), 420, 404, shift(0, 0)),
                                         draw(Scene(7), 420, 404, shift(-8, 4))};
  return pair;
}

TEST(RegisterImgOnePlane, SurvivesEachFailedAllocation) {
  auto& [first, second] = smallPair();
  for (int n = 0;; ++n) {
    SCOPED_TRACE(n);
    const CallInProgress call;
    const HeapFaults heap(n);  // the test's allocator takes from the heap as well
    const Registered r = registerFrames(first, second);
    if (heap.requests() <= n) {
      EXPECT_FALSE(r.failed) << r.printed;
      EXPECT_EQ(heap.live(), 0u);
      break;
    }
    expectFailure(r);
  }
}

TEST(RegisterImgOnePlane, GivesTheSameBitsEveryTime) {
  auto& [first, second] = smallPair();
  for (const bool running : {false, true, true}) {
    const Pool pool(running);
    const CallInProgress call;
    const Registered r = registerFrames(first, second);
    ASSERT_FALSE(r.failed);
    Digest digest;
    digest.addAll(r.posX);
    digest.addAll(r.posY);
    digest.addAll(r.area);
    // The value of x86-64; the scene is drawn with plain arithmetic, so that every machine sees the
    // same frames and must find the same maps.
    EXPECT_EQ(digest.value(), 3507992227u);
  }
}

TEST(RegisterImgOnePlane, RefusesNullArguments) {
  const CallInProgress call;
  uint8_t luma[6] = {};
  uint8_t* frame = luma;
  uint8_t* none = nullptr;
  int32_t map = 5;
  Velmora_SR_CInputImage input = {&frame, &frame, 1, 1, 2, 2, 4};
  Velmora_SR_CInputImage noFirst = input, noSecond = input, emptyFirst = input, emptySecond = input;
  noFirst.leftData = nullptr;
  noSecond.rightData = nullptr;
  emptyFirst.leftData = &none;
  emptySecond.rightData = &none;
  SR_ParamsPrivate record = zelkParamPrivate;
  SR_ParamsPrivate noHandle = {};
  const struct {
    Velmora_SR_CInputImage* input;
    SR_ParamsPrivate* priv;
    int32_t* posX;
    int32_t* posY;
  } cases[] = {
      {nullptr, &record, &map, &map},     {&input, nullptr, &map, &map},
      {&input, &record, nullptr, &map},   {&input, &record, &map, nullptr},
      {&noFirst, &record, &map, &map},    {&noSecond, &record, &map, &map},
      {&emptyFirst, &record, &map, &map}, {&emptySecond, &record, &map, &map},
      {&input, &noHandle, &map, &map},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    LogCapture log;
    int32_t area[4] = {1, 2, 3, 4};
    record.registFailed = noHandle.registFailed = 0;
    EXPECT_EQ(
        RegisterImgOnePlane(c.input, c.priv, c.posX, c.posY, area[0], area[1], area[2], area[3]),
        6);
    EXPECT_THAT(area, testing::ElementsAre(1, 2, 3, 4));
    if (c.priv != nullptr) {
      EXPECT_EQ(c.priv->registFailed, 1);
    }
    const auto lines = log.take();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].priority, 6);
    EXPECT_EQ(lines[0].tag, "NB7UO_ZELK");
    const std::string subject = c.priv == &noHandle ? "depth data" : "input para";
    EXPECT_THAT(lines[0].text,
                testing::AllOf(testing::StartsWith("NB7UO_ZELK msg: " + subject +
                                                   " pointer is null!!\n in Line: "),
                               testing::EndsWith(", in Function: RegisterImgOnePlane, in File: "
                                                 "src/registration/source/imgRegisterSR\n")));
  }
  EXPECT_EQ(map, 5);
}

TEST(QueryGlobalRegistration, AsksForNothing) {
  uint32_t size = 9;
  EXPECT_EQ(Query_GlobalRegistration(nullptr, nullptr, size), 0);
  EXPECT_EQ(size, 0u);
}

}  // namespace
}  // namespace velmora::test
