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
#include "velmora_sr/registration.h"

namespace velmora::test {
namespace {

using Homography = std::array<float, 9>;
using Maps = std::pair<std::vector<int32_t>, std::vector<int32_t>>;  // columns, rows

Maps mapsOf(Homography homography, int32_t width, int32_t height) {
  const auto pixels = static_cast<std::size_t>(width) * height;
  Maps maps = {std::vector<int32_t>(pixels, -1), std::vector<int32_t>(pixels, -1)};
  auto& [x, y] = maps;
  GetSubPixelPositionGlobalRegist(homography.data(), y.data(), x.data(), width, height);
  return maps;
}

TEST(GetSubPixelPositionGlobalRegist, GivesTheSameBitsOnEveryMachine) {
  // The digest is that of the formula, each operation rounded.
  Random random(50);
  Digest digest;
  for (const int32_t height : {1, 2, 3, 4, 5, 7, 10, 16, 103}) {
    Homography h;
    for (float& entry : h)
      entry = static_cast<float>(random.unit() - 0.5) * 0.001f;
    h[0] += 1;
    h[4] += 1;
    h[2] = static_cast<float>(random.range(-200, 200));
    const Maps maps = mapsOf(h, 50, height);
    digest.addAll(maps.first);
    digest.addAll(maps.second);
    const Pool pool;
    EXPECT_EQ(mapsOf(h, 50, height), maps);
  }
  EXPECT_EQ(digest.value(), 3814562130u);
}

TEST(GetSubPixelPositionGlobalRegist, PutsWhatCannotBeExpressedOutsideTheFrame) {
  const struct {
    Homography h;
    Maps maps;
  } cases[] = {
      {{1, 0, 32767, 0, 1, -32768, 0, 0, 1}, {{32767 * 65536}, {INT32_MIN}}},
      {{1, 0, 40000, 0, 1, -40000, 0, 0, 1}, {{INT32_MAX}, {INT32_MIN}}},
      {{1, 0, INFINITY, 0, 1, -INFINITY, 0, 0, 1}, {{INT32_MAX}, {INT32_MIN}}},
      {{1, 0, NAN, 0, 1, NAN, 0, 0, 1}, {{INT32_MIN}, {INT32_MIN}}},
      // A pole in column 1: 0 / 0 there, the sign turns behind it.
      {{1, 0, -1, 0, 1, 5, -1, 0, 1},
       {{-65536, INT32_MIN, -65536}, {5 * 65536, INT32_MAX, -5 * 65536}}},
  };
  for (const auto& c : cases)
    EXPECT_EQ(mapsOf(c.h, static_cast<int32_t>(c.maps.first.size()), 1), c.maps);
  Homography h = cases[0].h;
  for (const auto& [width, height] : {std::pair{0, 5}, {5, 0}, {-1, -1}})
    GetSubPixelPositionGlobalRegist(h.data(), nullptr, nullptr, width, height);
}

/// A registration and what it gave.
struct Registered {
  static constexpr int32_t kUnset = -77;
  int32_t result = kUnset;
  std::array<int32_t, 4> area = {kUnset, kUnset, kUnset, kUnset};
  std::vector<int32_t> posX, posY;
  std::string printed;
  bool failed = false;

  Registered(const Frame& first, const Frame& second)
      : posX(first.data.size(), kUnset), posY(first.data.size(), kUnset) {
    Frame copies[] = {first, second};
    uint8_t* data[] = {copies[0].data.data(), copies[1].data.data()};
    Velmora_SR_CInputImage input = {&data[0], &data[1], 1, 1, first.width, first.height, 4};
    const CallInProgress call;
    printed = printedBy([&] {
      result = RegisterImgOnePlane(&input, &zelkParamPrivate, posX.data(), posY.data(), area[0],
                                   area[1], area[2], area[3]);
    });
    failed = zelkParamPrivate.registFailed != 0;
    EXPECT_EQ(result, 0);
    EXPECT_EQ(copies[0].data, first.data);
    EXPECT_EQ(copies[1].data, second.data);
    if (!failed) return;
    EXPECT_THAT(area, testing::Each(kUnset));
    const std::vector<int32_t> untouched(posX.size(), kUnset);
    EXPECT_TRUE(posX == untouched && posY == untouched);
    EXPECT_THAT(printed, testing::EndsWith("homography register failed!retVal 2147483647\n"));
  }
};

constexpr int32_t kWidth = 800;
constexpr int32_t kHeight = 602;  // bands of 150, 150, 150 and 152 rows

TEST(RegisterImgOnePlane, FindsKnownMotions) {
  const Pool pool;
  const Frame reference = draw(Scene(1), kWidth, kHeight);
  for (const auto& [motion, noise] :
       {std::pair{shift(0, 0), 0},
        {shift(-20.4, 15.3), 0},
        {shift(33.6, 4.2), 6},
        {tilted(kWidth, kHeight, 1.5, 1, 5, 5, 0, 0), 3},                    // a rotation,
        {tilted(kWidth, kHeight, 0, 1.03, -4, 6, 0, 0), 3},                  // a change of scale,
        {tilted(kWidth, kHeight, -0.7, 0.99, 10, -6, 1.5e-5, -1e-5), 3}}) {  // and perspective
    const Registered r(draw(Scene(1), kWidth, kHeight, motion, noise, 99), reference);
    ASSERT_FALSE(r.failed) << r.printed;
    const auto [left, top, right, bottom] = r.area;
    ASSERT_TRUE(left >= 0 && top >= 0 && right < kWidth && bottom < kHeight);
    double sum = 0, worst = 0;
    int count = 0;
    for (int32_t y = top; y <= bottom; y += 3) {
      for (int32_t x = left; x <= right; x += 3, ++count) {
        const int32_t at = y * kWidth + x;
        const Position truth = motion.apply({static_cast<double>(x), static_cast<double>(y)});
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

TEST(RegisterImgOnePlane, FailsSafelyAndSaysWhy) {
  const Frame flat(kWidth, kHeight), textured = draw(Scene(1), kWidth, kHeight);
  const char* tooLarge =
      "IMG_REGISTRATION: the global motion between two frames is too large!\n"
      "IMG_REGISTRATION: matrix is not OK!\nImgRegistration Error!\n";
  const Frame other = draw(Scene(2), kWidth, kHeight);
  const Frame far = draw(Scene(1), kWidth, kHeight, shift(-304, 0));
  const std::string noPoints = "get surf feature points failed!ret 2\n";
  InitLogParams(nullptr, 1);
  for (const auto& [first, second, logged, printed] :
       {std::tuple{&flat, &flat, "GETFEATURE_SURF: wrong input image for first frame!\n", noPoints},
        {&textured, &flat, "GETFEATURE_SURF: not enough keypoints!\n", noPoints},
        {&textured, &other, "GetFeature Error!\n", "FeatureMatcher error!!"},
        {&textured, &far, tooLarge,
         "IMG_REGISTRATION: matrix is not OK!!ImgRegistration error!!"}}) {
    LogCapture log;
    const Registered r(*first, *second);
    EXPECT_TRUE(r.failed);
    EXPECT_THAT(r.printed, testing::HasSubstr(printed + "homography register failed"));
    std::string reasons;  // from the innermost one outwards
    for (const std::string& line : log.takeTexts())
      reasons += line.substr(line.find("] : ") + 4);
    EXPECT_EQ(reasons, std::string(logged) + "RegImg_surf bim to mim failed!\n");
  }
  // Whatever the size; what it gives is a matter of chance.
  for (const auto& [width, height] : {std::pair{1, 1}, {3, 2}, {16, 400}, {401, 20}, {399, 399}})
    Registered(noise(width, height, 1), noise(width, height, 2));
}

TEST(RegisterImgOnePlane, GivesTheSameBitsEveryTime) {
  const Frame first = draw(Scene(7), 420, 404), second = draw(Scene(7), 420, 404, shift(-8, 4));
  for (const bool running : {false, true, true}) {
    const Pool pool(running);
    const Registered r(first, second);
    ASSERT_FALSE(r.failed);
    // The value of x86-64; the scene is drawn with plain arithmetic, so that every machine sees the
    // same frames and must find the same maps.
    EXPECT_EQ(digestOf(r.posX, r.posY, r.area), 3507992227u);
  }
}

TEST(RegisterImgOnePlane, RefusesNullArguments) {
  const CallInProgress call;
  uint8_t luma[6] = {};
  uint8_t *frame = luma, *none = nullptr;
  int32_t map = 5;
  SR_ParamsPrivate record = zelkParamPrivate, noHandle = {};
  // Argument n is missing; then a record has no first, no second, an empty first or second frame.
  for (int n = 0; n < 9; ++n) {
    SCOPED_TRACE(n);
    Velmora_SR_CInputImage input = {&frame, &frame, 1, 1, 2, 2, 4};
    if (n == 4 || n == 6) input.leftData = n == 4 ? nullptr : &none;
    if (n == 5 || n == 7) input.rightData = n == 5 ? nullptr : &none;
    SR_ParamsPrivate* priv = n == 1 ? nullptr : n == 8 ? &noHandle : &record;
    LogCapture log;
    int32_t area[4] = {1, 2, 3, 4};
    record.registFailed = noHandle.registFailed = 0;
    EXPECT_EQ(RegisterImgOnePlane(n == 0 ? nullptr : &input, priv, n == 2 ? nullptr : &map,
                                  n == 3 ? nullptr : &map, area[0], area[1], area[2], area[3]),
              6);
    EXPECT_THAT(area, testing::ElementsAre(1, 2, 3, 4));
    EXPECT_TRUE(priv == nullptr || priv->registFailed == 1);
    EXPECT_THAT(log.takeTexts(),
                testing::ElementsAre(testing::MatchesRegex(
                    "NB7UO_ZELK msg: " + std::string(n == 8 ? "depth data" : "input para") +
                    " pointer is null!!\n in Line: [0-9]+, in Function: RegisterImgOnePlane, in "
                    "File: src/registration/source/imgRegisterSR\n")));
  }
  EXPECT_EQ(map, 5);
}

TEST(QueryGlobalRegistration, AsksForNothing) {
  uint32_t size = 9;
  EXPECT_EQ(Query_GlobalRegistration(nullptr, nullptr, size), 0);
  EXPECT_EQ(size, 0u);
}

constexpr int32_t kHdrWidth = 640;
constexpr int32_t kHdrHeight = 480;

struct FramePair {
  Frame first, second;
};

/// A pair of frames that registers, drawn once.
FramePair& drawnPair() {
  static FramePair pair = {draw(Scene(4), kHdrWidth, kHdrHeight),
                           draw(Scene(4), kHdrWidth, kHdrHeight, shift(-16, 12))};
  return pair;
}

struct Outcome {
  int32_t result;
  std::array<std::array<float, 9>, 3> homographies;
  std::array<int32_t, 4> area;
  std::string printed;

  Outcome(uint8_t* partMap, int32_t parts, FramePair& frames = drawnPair()) {
    for (auto& homography : homographies)
      homography.fill(-5.0f);
    area.fill(-7);
    float* pointers[3] = {homographies[0].data(), homographies[1].data(), homographies[2].data()};
    _YUVIM first = {0, frames.first.data.data(), nullptr};
    _YUVIM second = {0, frames.second.data.data(), nullptr};
    const _WIDTHHEIGHT size = {frames.first.width, frames.first.height};
    const CallInProgress call;
    printed = printedBy([&] {
      result = HomographyRegistration(&second, &first, size, pointers, area[0], area[1], area[2],
                                      area[3], partMap, parts);
    });
  }
  [[nodiscard]] double error(std::size_t part) const {
    return shift(16, -12).cornerError(homographies[part].data(), kHdrWidth, kHdrHeight);
  }
  /// The number printed behind a text; -1 if there is none.
  [[nodiscard]] int number(const std::string& text) const {
    const auto at = printed.find(text);
    return at == std::string::npos ? -1 : std::stoi(printed.substr(at + text.size()));
  }
};

/// A map of the drawn pair: part `left` in the left half, part `right` in the right one.
std::vector<uint8_t> halves(uint8_t left, uint8_t right) {
  std::vector<uint8_t> map(static_cast<std::size_t>(kHdrWidth) * kHdrHeight, right);
  for (std::size_t i = 0; i < map.size(); i += kHdrWidth)
    std::fill_n(&map[i], kHdrWidth / 2, left);
  return map;
}

TEST(HomographyRegistration, RegistersTheWholeFrameAsOnePart) {
  // No map, no parts or one part: the map is not looked at.
  auto map = halves(77, 77);
  for (const auto& [partMap, parts] : {std::pair<uint8_t*, int32_t>{nullptr, 0},
                                       {nullptr, 3},
                                       {map.data(), 0},
                                       {map.data(), 1},
                                       {map.data(), -4}}) {
    const Outcome o(partMap, parts);
    EXPECT_EQ(o.result, 0);
    EXPECT_LT(o.error(0), 1.0);
    EXPECT_EQ(o.homographies[0][8], 1.0f);
    EXPECT_THAT(o.homographies[1], testing::Each(-5.0f));
    EXPECT_THAT(o.printed,
                testing::MatchesRegex(
                    "at surf detection downscaleTime is 4\n"
                    "(getSurfFeature_detect_neon keypoints:[0-9]+\n){2}"
                    "start to get matrix for 0 parts\n-{17}\\*{15} at splitedParts\\(0/1\\) find "
                    "keyPoints [0-9]+\ninput refImg points [0-9]+ matchImg points number [0-9]+\n"
                    "searchCount [0-9]+ matchNum [0-9]+\nKnnMatcher find matched num [0-9]+\n"
                    "ransac iteration count:[0-9]+\nfind inliner count:[0-9]+/[0-9]+\n"
                    "find candidate number [0-9]+\n"));
  }
}

TEST(HomographyRegistration, GivesEachPartItsHomography) {
  const Outcome o(halves(0, 1).data(), 2);
  EXPECT_EQ(o.result, 0);
  EXPECT_LT(o.error(0), 4.0);
  EXPECT_LT(o.error(1), 4.0);
  EXPECT_NE(o.homographies[0], o.homographies[1]);
  // Every point lies in one of them.
  EXPECT_EQ(o.number("keypoints:"), 78);
  EXPECT_EQ(o.number("at splitedParts(0/2) find keyPoints "), 39);
  EXPECT_EQ(o.number("at splitedParts(1/2) find keyPoints "), 39);
}

TEST(HomographyRegistration, LetsTheLastPartDecide) {
  InitLogParams(nullptr, 2);
  const Outcome forgotten(halves(1, 1).data(), 2);
  EXPECT_EQ(forgotten.result, 0);
  EXPECT_THAT(forgotten.printed, testing::HasSubstr("feature points pairs num is too small!!"));
  EXPECT_THAT(forgotten.homographies[0], testing::Each(0.0f));
  EXPECT_LT(forgotten.error(1), 1.0);
  EXPECT_THAT(forgotten.area, testing::Not(testing::Contains(-7)));

  LogCapture log;
  const Outcome failed(halves(0, 0).data(), 3);
  EXPECT_EQ(failed.result, 0x7FFFFFFF);
  EXPECT_LT(failed.error(0), 1.0);
  EXPECT_THAT(failed.homographies[1], testing::Each(0.0f));
  EXPECT_THAT(failed.homographies[2], testing::Each(0.0f));
  EXPECT_THAT(failed.area, testing::Each(-7));
  EXPECT_THAT(log.takeTexts(), testing::Contains(logLine("error", "imregistration_hdr",
                                                         "RegImg_surf bim to mim failed!")));
}

TEST(HomographyRegistration, MatchesWithTheRatioOfTheLumaStatistics) {
  // Bright frames: the statistics ask for a ratio of 0.4, which 51 matches pass; 55 pass 0.45.
  FramePair bright = {draw(Scene(4), kHdrWidth, kHdrHeight, shift(0, 0), 12, 1),
                      draw(Scene(4), kHdrWidth, kHdrHeight, shift(-14, 11), 12, 2)};
  for (Frame* frame : {&bright.first, &bright.second}) {
    for (uint8_t& sample : frame->data)
      sample = static_cast<uint8_t>(255 - (255 - sample) / 3);
  }
  EXPECT_EQ(Outcome(nullptr, 0, bright).number(" matchNum "), 51);
}

TEST(HomographyRegistration, ReadsThePartMapInsideTheFrameOnly) {
  // Below 400 pixels nothing is reduced, but positions are scaled by four all the same: most lie
  // outside the frame, and belong to no part. (The sanitizers watch the map's ends.)
  constexpr int32_t kSmall = 300;
  FramePair frames = {noise(kSmall, kSmall, 1), noise(kSmall, kSmall, 1)};
  std::vector<uint8_t> map(static_cast<std::size_t>(kSmall) * kSmall, 1);
  const Outcome o(map.data(), 2, frames);
  EXPECT_EQ(o.number("getSurfFeature_detect_neon keypoints:"), 1421);
  EXPECT_EQ(o.number("at splitedParts(1/2) find keyPoints "), 86);
}

}  // namespace
}  // namespace velmora::test
