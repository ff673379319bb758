#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "registration/registration_call.h"
#include "registration/synthetic_scene.h"
#include "support/log_capture.h"
#include "support/test_allocator.h"
#include "velmora_sr/features.h"
#include "velmora_sr/logging.h"
#include "velmora_sr/matching.h"
#include "velmora_sr/registration.h"

namespace {

using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;
using velmora::test::blockNoise;
using velmora::test::CallInProgress;
using velmora::test::draw;
using velmora::test::Frame;
using velmora::test::LogCapture;
using velmora::test::Motion;
using velmora::test::Scene;
using velmora::test::shift;
using velmora::test::TestAllocator;

constexpr int32_t kWidth = 640;
constexpr int32_t kHeight = 480;
const Motion kMotion = shift(16, -12);

/// A pair of frames that registers, drawn once.
struct DrawnPair {
  Frame first = draw(Scene(4), kWidth, kHeight, shift(0, 0));
  Frame second = draw(Scene(4), kWidth, kHeight, shift(-16, 12));
};
DrawnPair& drawnPair() {
  static DrawnPair pair;
  return pair;
}

struct Outcome {
  int32_t result;
  std::array<std::array<float, 9>, 3> homographies;
  std::array<int32_t, 4> area;
  std::string printed;
};

Outcome run(Frame& first, Frame& second, uint8_t* partMap, int32_t parts) {
  Outcome o = {};
  for (auto& homography : o.homographies)
    homography.fill(-5.0f);
  o.area.fill(-7);
  float* pointers[3] = {o.homographies[0].data(), o.homographies[1].data(),
                        o.homographies[2].data()};
  _YUVIM firstRecord = {0, first.data.data(), nullptr};
  _YUVIM secondRecord = {0, second.data.data(), nullptr};
  CaptureStdout();
  o.result =
      HomographyRegistration(&secondRecord, &firstRecord, {first.width, first.height}, pointers,
                             o.area[0], o.area[1], o.area[2], o.area[3], partMap, parts);
  o.printed = GetCapturedStdout();
  EXPECT_EQ(TestAllocator::live(), 0u);
  EXPECT_EQ(TestAllocator::faults(), "");
  return o;
}
Outcome run(uint8_t* partMap, int32_t parts) {
  return run(drawnPair().first, drawnPair().second, partMap, parts);
}

std::vector<uint8_t> mapOf(uint8_t (*partAt)(int32_t x)) {
  std::vector<uint8_t> map(static_cast<std::size_t>(kWidth) * kHeight);
  for (std::size_t i = 0; i < map.size(); ++i)
    map[i] = partAt(static_cast<int32_t>(i % kWidth));
  return map;
}

constexpr int32_t kFailed = 0x7FFFFFFF;
const char* kTooFew = "feature points pairs num is too small!!";

TEST(HomographyRegistration, RegistersTheWholeFrameAsOnePart) {
  const CallInProgress call;
  const auto map = mapOf([](int32_t) -> uint8_t { return 77; });
  std::vector<uint8_t> copy = map;
  // No map, no parts or one part: the map is not looked at.
  const std::pair<uint8_t*, int32_t> forms[] = {
      {nullptr, 0}, {nullptr, 3}, {copy.data(), 0}, {copy.data(), 1}, {copy.data(), -4}};
  for (const auto& [partMap, parts] : forms) {
    const Outcome o = run(partMap, parts);
    EXPECT_EQ(o.result, 0);
    EXPECT_LT(kMotion.cornerError(o.homographies[0].data(), kWidth, kHeight), 1.0);
    EXPECT_EQ(o.homographies[0][8], 1.0f);
    EXPECT_THAT(o.homographies[1], testing::Each(-5.0f));
    EXPECT_THAT(o.printed, testing::MatchesRegex(
                               "at surf detection downscaleTime is 4\n"
                               "getSurfFeature_detect_neon keypoints:[0-9]+\n"
                               "getSurfFeature_detect_neon keypoints:[0-9]+\n"
                               "start to get matrix for 0 parts\n"
                               "-----------------\\*\\*\\*\\*\\*\\*\\*\\*\\*\\*\\*\\*\\*\\*\\* at "
                               "splitedParts\\(0/1\\) find keyPoints [0-9]+\n"
                               "input refImg points [0-9]+ matchImg points number [0-9]+\n"
                               "searchCount [0-9]+ matchNum [0-9]+\n"
                               "KnnMatcher find matched num [0-9]+\n"
                               "ransac iteration count:[0-9]+\n"
                               "find inliner count:[0-9]+/[0-9]+\n"
                               "find candidate number [0-9]+\n"));
  }
}

TEST(HomographyRegistration, GivesEachPartItsHomography) {
  const CallInProgress call;
  auto halves = mapOf([](int32_t x) -> uint8_t { return x < kWidth / 2 ? 0 : 1; });
  const Outcome o = run(halves.data(), 2);
  EXPECT_EQ(o.result, 0);
  for (int part = 0; part < 2; ++part) {
    EXPECT_LT(
        kMotion.cornerError(o.homographies[static_cast<std::size_t>(part)].data(), kWidth, kHeight),
        4.0);
  }
  EXPECT_NE(o.homographies[0], o.homographies[1]);
  const auto count = [&](const std::string& line) {
    const auto at = o.printed.find(line);
    return at == std::string::npos ? -1 : std::stoi(o.printed.substr(at + line.size()));
  };
  const int whole = count("keypoints:");
  const int left = count("at splitedParts(0/2) find keyPoints ");
  const int right = count("at splitedParts(1/2) find keyPoints ");
  EXPECT_GT(left, 0);
  EXPECT_GT(right, 0);
  EXPECT_EQ(left + right, whole);  // every point lies in one of them
}

TEST(HomographyRegistration, LetsTheLastPartDecide) {
  const CallInProgress call;
  InitLogParams(nullptr, 2);
  auto allInLast = mapOf([](int32_t) -> uint8_t { return 1; });
  LogCapture log;
  const Outcome forgotten = run(allInLast.data(), 2);
  EXPECT_EQ(forgotten.result, 0);
  EXPECT_THAT(forgotten.printed, testing::HasSubstr(kTooFew));
  EXPECT_THAT(forgotten.homographies[0], testing::Each(0.0f));
  EXPECT_LT(kMotion.cornerError(forgotten.homographies[1].data(), kWidth, kHeight), 1.0);
  EXPECT_NE(forgotten.area[2], -7);

  auto allInFirst = mapOf([](int32_t) -> uint8_t { return 0; });
  log.take();
  const Outcome failed = run(allInFirst.data(), 3);
  EXPECT_EQ(failed.result, kFailed);
  EXPECT_LT(kMotion.cornerError(failed.homographies[0].data(), kWidth, kHeight), 1.0);
  EXPECT_THAT(failed.homographies[1], testing::Each(0.0f));
  EXPECT_THAT(failed.homographies[2], testing::Each(0.0f));
  EXPECT_THAT(failed.area, testing::Each(-7));
  EXPECT_THAT(log.takeTexts(),
              testing::Contains(testing::EndsWith("RegImg_surf bim to mim failed!\n")));
}

TEST(HomographyRegistration, MatchesWithTheRatioOfTheLumaStatistics) {
  // Bright frames: the statistics ask for a ratio of 0.4, which fewer matches pass than 0.45.
  const CallInProgress call;
  Frame first = draw(Scene(4), kWidth, kHeight, shift(0, 0), 12, 1);
  Frame second = draw(Scene(4), kWidth, kHeight, shift(-14, 11), 12, 2);
  for (Frame* frame : {&first, &second}) {
    for (uint8_t& sample : frame->data)
      sample = static_cast<uint8_t>(255 - (255 - sample) / 3);
  }
  const std::string printed = run(first, second, nullptr, 0).printed;

  std::vector<ST_KEYPOINT> keypoints(2 * std::size_t{kMaxKeypoints});
  std::vector<int32_t> descriptors(keypoints.size() * kDescriptorLength);
  ST_IMAGEFEATURES ref = {keypoints.data(), descriptors.data(), 0};
  ST_IMAGEFEATURES query = {keypoints.data() + kMaxKeypoints,
                            descriptors.data() + std::ptrdiff_t{kMaxKeypoints} * kDescriptorLength,
                            0};
  tagST_GETFEATURE_PARAMS_IN request = {};
  request.first.width = request.second.width = kWidth;
  request.first.height = request.second.height = kHeight;
  request.first.data = first.data.data();
  request.second.data = second.data.data();
  request.extractFirst = 1;
  request.scaleFactor = 4;
  tagSURFParams params = {};
  CaptureStdout();
  EXPECT_EQ(GetFeatureSurf(&request, &ref, &query, params), 0);
  EXPECT_EQ(params.matchRatio, 0.4f);
  std::vector<ST_NODE> pool(4 * 2 * static_cast<std::size_t>(ref.count));
  std::array<ST_NODE*, kKdTreeCount> roots{};
  void* nodes = pool.data();
  EXPECT_EQ(BuildKDTreeIndices(&ref, roots.data(), static_cast<unsigned char*>(nodes)), 0);
  const auto matchesAt = [&](float ratio) {
    const auto queries = static_cast<std::size_t>(query.count);
    std::vector<int32_t> block(5 * queries);
    tagMATCHESINFO found = {block.data(), block.data() + queries, block.data() + 3 * queries, 0};
    EXPECT_EQ(KnnMatcher(&query, &ref, roots.data(), &found, ratio), 0);
    return found.matchCount;
  };
  const int32_t strict = matchesAt(0.4f);
  const int32_t usual = matchesAt(0.45f);
  GetCapturedStdout();
  EXPECT_GT(strict, 5);
  EXPECT_LT(strict, usual);
  EXPECT_THAT(printed, testing::HasSubstr(" matchNum " + std::to_string(strict) + "\n"));
}

TEST(HomographyRegistration, ReadsThePartMapInsideTheFrameOnly) {
  // Below 400 pixels nothing is reduced, but positions are scaled by four all the same: most lie
  // outside the frame, and belong to no part. (The sanitizers watch the map's ends.)
  const CallInProgress call;
  constexpr int32_t kSmall = 300;
  Frame first = blockNoise(kSmall, kSmall, 1);
  Frame second = blockNoise(kSmall, kSmall, 1);
  std::vector<uint8_t> map(static_cast<std::size_t>(kSmall) * kSmall, 1);
  const Outcome o = run(first, second, map.data(), 2);
  const std::string key = "getSurfFeature_detect_neon keypoints:";
  const std::string part = "at splitedParts(1/2) find keyPoints ";
  ASSERT_NE(o.printed.find(part), std::string::npos);
  EXPECT_LT(std::stoi(o.printed.substr(o.printed.find(part) + part.size())),
            std::stoi(o.printed.substr(o.printed.find(key) + key.size())));
}

}  // namespace
