// The stages as the tool runs them against the library's own driver: the same result to the bit.
#include "registration/registration_run.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdlib>
#include <vector>

#include "registration/synthetic_scene.h"
#include "velmora_sr/records.h"
#include "velmora_sr/registration.h"
#include "velmora_sr/thread_pool.h"

namespace velmora::tool {
namespace {

void* takeBlock(uint32_t size, const char*, int32_t) {
  return std::malloc(size);
}

void releaseBlock(void* block, const char*, int32_t) {
  std::free(block);
}

/// What RegisterImgOnePlane and HomographyRegistration give.
struct Reference {
  bool registered = false;
  Homography homography{};
  Region rectangle;
  std::vector<int32_t> posX, posY;
};

Reference registerByDriver(Plane& first, Plane& second) {
  SR_ParamsPublic handle = {};
  handle.alloc = takeBlock;
  handle.free = releaseBlock;
  zelkParamPrivate.pub = &handle;
  MultiThread_Init(0);
  Reference result;
  const Size size = first.size;
  result.posX.resize(first.samples.size());
  result.posY.resize(first.samples.size());
  uint8_t* firstLuma = first.samples.data();
  uint8_t* secondLuma = second.samples.data();
  Velmora_SR_CInputImage input = {&firstLuma, &secondLuma, 1, 1, size.width, size.height, 4};
  Region& r = result.rectangle;
  EXPECT_EQ(RegisterImgOnePlane(&input, &zelkParamPrivate, result.posX.data(), result.posY.data(),
                                r.left, r.top, r.right, r.bottom),
            0);
  result.registered = zelkParamPrivate.registFailed == 0;

  _YUVIM firstFrame = {0, firstLuma, nullptr};
  _YUVIM secondFrame = {0, secondLuma, nullptr};
  float* homography = result.homography.data();
  Region again;
  const int32_t code =
      HomographyRegistration(&secondFrame, &firstFrame, {size.width, size.height}, &homography,
                             again.left, again.top, again.right, again.bottom, nullptr, 0);
  EXPECT_EQ(code == 0, result.registered);
  MultiThread_destory();
  zelkParamPrivate.pub = nullptr;
  return result;
}

Plane drawn(uint64_t seed, Size size, const test::Motion& newToScene) {
  const test::Frame frame =
      test::draw(test::Scene(seed), size.width, size.height, newToScene, 2, seed + 100);
  Plane plane(size);
  std::copy_n(frame.data.begin(), plane.samples.size(), plane.samples.begin());
  return plane;
}

constexpr test::Motion kStill = {{1, 0, 0, 0, 1, 0, 0, 0, 1}};
constexpr test::Motion kShift = {{1, 0, -7.25, 0, 1, 4.5, 0, 0, 1}};
constexpr test::Motion kTurn = {{0.9998, -0.012, 8, 0.012, 0.9998, -3, 2e-6, -1e-6, 1}};

struct Case {
  const char* what;
  Size size;
  uint64_t secondSeed;  // the first is drawn with 1
  test::Motion motion;
  bool registers;
};

TEST(RegistrationRun, GivesTheResultOfTheDriver) {
  const std::array cases = {
      Case{"shift", {640, 480}, 1, kShift, true},
      Case{"turn and perspective", {643, 487}, 1, kTurn, true},
      Case{"another scene", {480, 420}, 2, kStill, false},
      Case{"analysed at full size", {399, 420}, 1, kStill, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    Plane first = drawn(1, c.size, kStill);
    Plane second = drawn(c.secondSeed, c.size, c.motion);
    const RegistrationReport report = registerFrames(first, second);
    const Reference reference = registerByDriver(first, second);
    EXPECT_EQ(report.reduction, c.size.width < 400 ? 1 : 4);
    ASSERT_EQ(report.registered(), reference.registered);
    if (c.size.width >= 400) {
      ASSERT_EQ(report.registered(), c.registers);
    }
    if (!report.registered()) continue;

    EXPECT_EQ(*report.homography, reference.homography);
    EXPECT_EQ(*report.rectangle, reference.rectangle);
    EXPECT_GE(report.inliers(), 5u);
    EXPECT_LE(report.inliers(), report.matches.size());
    // The driver's map is that of the homography: a pixel in the middle.
    const Position middle = {c.size.width / 2.0, c.size.height / 2.0};
    const auto at = std::size_t(c.size.height / 2) * c.size.width + std::size_t(c.size.width / 2);
    const Position found =
        project(*report.homography, {std::floor(middle.x), std::floor(middle.y)});
    EXPECT_NEAR(found.x, reference.posX[at] / 65536.0, 0.01);
    EXPECT_NEAR(found.y, reference.posY[at] / 65536.0, 0.01);
  }
}

TEST(RegistrationRun, MarksTheMatchesThatAgreeWithTheMotion) {
  Plane first = drawn(1, {640, 480}, kStill);
  Plane second = drawn(1, {640, 480}, kShift);
  const RegistrationReport report = registerFrames(first, second);
  ASSERT_TRUE(report.registered());
  for (const Match& match : report.matches) {
    if (!match.inlier) continue;
    // The second frame shows at p what the scene holds at p + (-7.25, 4.5).
    const Position a = report.keypoints[0][match.first];
    const Position b = report.keypoints[1][match.second];
    EXPECT_LT(std::hypot(b.x - 7.25 - a.x, b.y + 4.5 - a.y), 6);
  }
  for (const Position& corner : report.cornerMotion()) {
    EXPECT_NEAR(corner.x, 7.25, 1.5);
    EXPECT_NEAR(corner.y, -4.5, 1.5);
  }
}

TEST(RegistrationRun, NamesTheStageThatFails) {
  Plane flat({480, 420}, 90);
  Plane scene = drawn(1, {480, 420}, kStill);
  RegistrationReport report = registerFrames(flat, scene);
  ASSERT_TRUE(report.failure);
  EXPECT_EQ(report.failure->stage, Stage::detector);
  EXPECT_EQ(report.failure->reason.find("the first frame has too few key points (0"), 0u);
  report = registerFrames(scene, flat);
  ASSERT_TRUE(report.failure);
  EXPECT_EQ(report.failure->reason.find("the second frame has too few key points (0"), 0u);
  EXPECT_GE(report.keypoints[0].size(), 5u);
  EXPECT_FALSE(report.homography);
}

TEST(RegistrationRun, SurvivesFramesOfAnySize) {
  for (const Size size : {Size{1, 1}, Size{2, 500}, Size{500, 3}, Size{31, 33}, Size{400, 400}}) {
    Plane first(size, 10);
    Plane second(size, 200);
    EXPECT_FALSE(registerFrames(first, second).registered());
  }
}

}  // namespace
}  // namespace velmora::tool
