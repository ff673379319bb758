#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "registration/call_support.h"
#include "registration/synthetic_scene.h"
#include "velmora_sr/registration.h"

namespace velmora::test {
namespace {

using testing::Each;

constexpr int32_t kWidth = 640;
constexpr int32_t kHeight = 480;

struct FramePair {
  Frame first, second;
};

/// A pair of frames that registers, drawn once.
FramePair& drawnPair() {
  static FramePair pair = {draw(Scene(4), kWidth, kHeight),
                           draw(Scene(4), kWidth, kHeight, shift(-16, 12))};
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
    return shift(16, -12).cornerError(homographies[part].data(), kWidth, kHeight);
  }
  /// The number printed behind a text; -1 if there is none.
  [[nodiscard]] int number(const std::string& text) const {
    const auto at = printed.find(text);
    return at == std::string::npos ? -1 : std::stoi(printed.substr(at + text.size()));
  }
};

/// A map of the drawn pair: part `left` in the left half, part `right` in the right one.
std::vector<uint8_t> halves(uint8_t left, uint8_t right) {
  std::vector<uint8_t> map(static_cast<std::size_t>(kWidth) * kHeight, right);
  for (std::size_t i = 0; i < map.size(); i += kWidth)
    std::fill_n(&map[i], kWidth / 2, left);
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
    EXPECT_THAT(o.homographies[1], Each(-5.0f));
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
  EXPECT_THAT(forgotten.homographies[0], Each(0.0f));
  EXPECT_LT(forgotten.error(1), 1.0);
  EXPECT_THAT(forgotten.area, testing::Not(testing::Contains(-7)));

  LogCapture log;
  const Outcome failed(halves(0, 0).data(), 3);
  EXPECT_EQ(failed.result, 0x7FFFFFFF);
  EXPECT_LT(failed.error(0), 1.0);
  EXPECT_THAT(failed.homographies[1], Each(0.0f));
  EXPECT_THAT(failed.homographies[2], Each(0.0f));
  EXPECT_THAT(failed.area, Each(-7));
  EXPECT_THAT(log.takeTexts(), testing::Contains(logLine("error", "imregistration_hdr",
                                                         "RegImg_surf bim to mim failed!")));
}

TEST(HomographyRegistration, MatchesWithTheRatioOfTheLumaStatistics) {
  // Bright frames: the statistics ask for a ratio of 0.4, which 51 matches pass; 55 pass 0.45.
  FramePair bright = {draw(Scene(4), kWidth, kHeight, shift(0, 0), 12, 1),
                      draw(Scene(4), kWidth, kHeight, shift(-14, 11), 12, 2)};
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
