#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "kernels/kernel_table.h"
#include "registration/registration_call.h"
#include "registration/synthetic_scene.h"
#include "support/heap_faults.h"
#include "support/log_capture.h"
#include "support/random.h"
#include "support/test_allocator.h"
#include "velmora_sr/logging.h"
#include "velmora_sr/registration.h"

namespace {

using velmora::test::blockNoise;
using velmora::test::CallInProgress;
using velmora::test::draw;
using velmora::test::Frame;
using velmora::test::HeapFaults;
using velmora::test::inverse;
using velmora::test::LogCapture;
using velmora::test::Motion;
using velmora::test::Random;
using velmora::test::Registered;
using velmora::test::registerFrames;
using velmora::test::RunningPool;
using velmora::test::Scene;
using velmora::test::shift;
using velmora::test::TestAllocator;
using velmora::test::tilted;

// --- Position maps ---

struct Maps {
  std::vector<int32_t> x, y;
};

Maps mapsOf(std::array<float, 9> homography, int32_t width, int32_t height) {
  const auto pixels = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
  Maps maps = {std::vector<int32_t>(pixels, -1), std::vector<int32_t>(pixels, -1)};
  GetSubPixelPositionGlobalRegist(homography.data(), maps.y.data(), maps.x.data(), width, height);
  return maps;
}

TEST(GetSubPixelPositionGlobalRegist, MapsThePixelsOfKnownMotions) {
  const struct {
    const char* name;
    std::array<float, 9> h;
    double (*x)(int, int);
    double (*y)(int, int);
  } cases[] = {
      {"identity",
       {1, 0, 0, 0, 1, 0, 0, 0, 1},
       [](int x, int) { return double(x); },
       [](int, int y) { return double(y); }},
      {"shift",
       {1, 0, -2.5f, 0, 1, 0.75f, 0, 0, 1},
       [](int x, int) { return x - 2.5; },
       [](int, int y) { return y + 0.75; }},
      {"transposed and scaled",
       {0, 2, 0, 0.5f, 0, 0, 0, 0, 1},
       [](int, int y) { return 2.0 * y; },
       [](int x, int) { return 0.5 * x; }},
      {"last entry taken as 1",
       {1, 0, 0, 0, 1, 0, 0, 0, 99},
       [](int x, int) { return double(x); },
       [](int, int y) { return double(y); }},
      {"halved by the denominator",
       {1, 0, 4, 0, 1, 8, 0, 1, 1},
       [](int x, int y) { return y == 0 || y == 1 || y == 3 ? (x + 4.0) / (y + 1) : NAN; },
       [](int, int y) { return y == 0 || y == 1 || y == 3 ? (y + 8.0) / (y + 1) : NAN; }},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    constexpr int32_t kWidth = 21;
    for (const int32_t height : {1, 2, 3, 4, 5, 7, 10, 16}) {
      const Maps maps = mapsOf(c.h, kWidth, height);
      for (int32_t y = 0; y < height; ++y) {
        for (int32_t x = 0; x < kWidth; ++x) {
          if (std::isnan(c.x(x, y))) continue;  // not exact in float
          const auto at = static_cast<std::size_t>(y * kWidth + x);
          ASSERT_EQ(maps.x[at], static_cast<int32_t>(c.x(x, y) * 65536)) << x << "," << y;
          ASSERT_EQ(maps.y[at], static_cast<int32_t>(c.y(x, y) * 65536)) << x << "," << y;
        }
      }
    }
  }
}

TEST(GetSubPixelPositionGlobalRegist, RoundsInTheStatedOrder) {
  // Plain floats once more, one operation per line.
  Random random(50);
  for (int round = 0; round < 20; ++round) {
    std::array<float, 9> h;
    for (float& entry : h)
      entry = static_cast<float>(random.unit() - 0.5) * 0.01f;
    h[0] += 1;
    h[4] += 1;
    h[2] = static_cast<float>(random.range(-200, 200));
    const Maps maps = mapsOf(h, 50, 9);
    for (int y = 0; y < 9; ++y) {
      for (int x = 0; x < 50; ++x) {
        volatile float w = h[7] * static_cast<float>(y);  // volatile: every step rounds
        w = w + 1.0f;
        volatile float term = h[6] * static_cast<float>(x);
        w = w + term;
        w = 1.0f / w;
        volatile float u = static_cast<float>(y) * h[1];
        u = h[2] + u;
        term = static_cast<float>(x) * h[0];
        u = u + term;
        u = u * 65536.0f;
        u = u * w;
        ASSERT_EQ(maps.x[static_cast<std::size_t>(50 * y + x)], static_cast<int32_t>(u));
      }
    }
  }
}

TEST(GetSubPixelPositionGlobalRegist, PutsWhatCannotBeExpressedOutsideTheFrame) {
  const struct {
    std::array<float, 9> h;
    int32_t x, y;
  } cases[] = {
      {{1, 0, 40000, 0, 1, -40000, 0, 0, 1}, INT32_MAX, INT32_MIN},
      {{1, 0, 32767, 0, 1, -32768, 0, 0, 1}, 32767 * 65536, INT32_MIN},
      {{1, 0, INFINITY, 0, 1, -INFINITY, 0, 0, 1}, INT32_MAX, INT32_MIN},
      {{1, 0, NAN, 0, 1, NAN, 0, 0, 1}, INT32_MIN, INT32_MIN},
      {{1, 0, 5, 0, 1, 0, 0, 0, 1}, 5 * 65536, 0},
      {{1, 0, 1e38f, 0, 1, 0, 0, 0, 1}, INT32_MAX, 0},
  };
  for (const auto& c : cases) {
    const Maps maps = mapsOf(c.h, 1, 1);
    EXPECT_EQ(maps.x[0], c.x);
    EXPECT_EQ(maps.y[0], c.y);
  }
  // A pole in column 1: 0 / 0 there, the sign turns behind it.
  const Maps pole = mapsOf({1, 0, -1, 0, 1, 5, -1, 0, 1}, 3, 1);
  EXPECT_EQ(pole.x, (std::vector<int32_t>{-65536, INT32_MIN, -65536}));
  EXPECT_EQ(pole.y, (std::vector<int32_t>{5 * 65536, INT32_MAX, -5 * 65536}));
}

TEST(GetSubPixelPositionGlobalRegist, GivesTheSameMapsWithAndWithoutThreads) {
  const std::array<float, 9> h = {1.01f, 0.02f, -3.5f, -0.01f, 0.99f, 7.25f, 1e-5f, -2e-5f, 1};
  for (const int32_t height : {1, 3, 4, 6, 103}) {
    const Maps serial = mapsOf(h, 200, height);
    const RunningPool pool;
    const Maps parallel = mapsOf(h, 200, height);
    EXPECT_EQ(parallel.x, serial.x);
    EXPECT_EQ(parallel.y, serial.y);
  }
}

TEST(GetSubPixelPositionGlobalRegist, WritesNothingForEmptyFrames) {
  std::array<float, 9> h = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  for (const auto& [width, height] : {std::pair{0, 5}, {5, 0}, {-1, -1}})
    GetSubPixelPositionGlobalRegist(h.data(), nullptr, nullptr, width, height);
}

TEST(GetPosThreadFunc, FillsItsBandOnly) {
  std::array<float, 9> h = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  std::vector<int32_t> x(60, -1), y(60, -1);
  PositionBandJob job = {h.data(), y.data(), x.data(), 10, 2, 5};
  GetPosThreadFunc(&job, 15);
  for (int i = 0; i < 60; ++i) {
    const bool inside = i >= 20 && i < 50;
    EXPECT_EQ(x[static_cast<std::size_t>(i)], inside ? i % 10 * 65536 : -1);
    EXPECT_EQ(y[static_cast<std::size_t>(i)], inside ? i / 10 * 65536 : -1);
  }
}

// --- Registration of frames ---

/// Mean and largest distance of the position maps from a motion, over the registered area.
struct MapError {
  double mean;
  double worst;
};
MapError mapError(const Registered& r, const Motion& motion, int32_t width) {
  double sum = 0;
  double worst = 0;
  int count = 0;
  for (int32_t y = r.area[1]; y <= r.area[3]; y += 3) {
    for (int32_t x = r.area[0]; x <= r.area[2]; x += 3) {
      const auto at = static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                      static_cast<std::size_t>(x);
      const auto truth = motion.apply({static_cast<double>(x), static_cast<double>(y)});
      const double error =
          std::hypot(r.posX[at] / 65536.0 - truth.x, r.posY[at] / 65536.0 - truth.y);
      sum += error;
      worst = std::max(worst, error);
      ++count;
    }
  }
  return {sum / count, worst};
}

TEST(RegisterImgOnePlane, FindsKnownMotions) {
  constexpr int32_t kWidth = 800;
  constexpr int32_t kHeight = 602;  // bands of 150, 150, 150 and 152 rows
  const struct {
    const char* name;
    Motion motion;
    double noise;
  } cases[] = {
      {"none", shift(0, 0), 0},
      {"whole pixels", shift(12, -8), 0},
      {"parts of a pixel", shift(-20.4, 15.3), 0},
      {"noise", shift(33.6, 4.2), 6},
      {"rotation", tilted(kWidth, kHeight, 1.5, 1, 5, 5, 0, 0), 3},
      {"scale", tilted(kWidth, kHeight, 0, 1.03, -4, 6, 0, 0), 3},
      {"perspective", tilted(kWidth, kHeight, -0.7, 0.99, 10, -6, 1.5e-5, -1e-5), 3},
  };
  const RunningPool pool;
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
    const MapError error = mapError(r, c.motion, kWidth);
    RecordProperty(std::string("mean error, ") + c.name, std::to_string(error.mean));
    EXPECT_LT(error.mean, 0.7);
    EXPECT_LT(error.worst, 2);
    EXPECT_GE(r.area[0], 0);
    EXPECT_GE(r.area[1], 0);
    EXPECT_LT(r.area[2], kWidth);
    EXPECT_LT(r.area[3], kHeight);
    EXPECT_EQ(TestAllocator::live(), 0u);
    EXPECT_EQ(TestAllocator::faults(), "");
    EXPECT_EQ(first.data, reference.data);
  }
}

/// The registration of a pair fails, says so, writes no map and leaves nothing behind.
void expectFailure(const Registered& r) {
  EXPECT_EQ(r.result, 0);
  EXPECT_TRUE(r.failed);
  EXPECT_THAT(r.area, testing::Each(Registered::kUnset));
  for (const auto* map : {&r.posX, &r.posY}) {
    EXPECT_EQ(std::count(map->begin(), map->end(), Registered::kUnset),
              static_cast<std::ptrdiff_t>(map->size()));
  }
  EXPECT_EQ(TestAllocator::live(), 0u);
  EXPECT_EQ(TestAllocator::faults(), "");
}

TEST(RegisterImgOnePlane, FailsSafelyAndSaysWhy) {
  constexpr int32_t kWidth = 800;
  constexpr int32_t kHeight = 600;
  InitLogParams(nullptr, 2);
  const char* gaveUp = "homography register failed!retVal 2147483647\n";
  const struct {
    const char* name;
    Frame first, second;
    std::vector<std::string> logged, printed;
  } cases[] = {
      {"flat",
       Frame(kWidth, kHeight),
       Frame(kWidth, kHeight),
       {"GETFEATURE_SURF: wrong input image for first frame!", "RegImg_surf bim to mim failed!"},
       {"get surf feature points failed!ret 2\n"}},
      {"flat second",
       draw(Scene(1), kWidth, kHeight, shift(0, 0)),
       Frame(kWidth, kHeight),
       {"GETFEATURE_SURF: not enough keypoints!", "RegImg_surf bim to mim failed!"},
       {"get surf feature points failed!ret 2\n"}},
      {"noise against noise",
       blockNoise(kWidth, kHeight, 1),
       blockNoise(kWidth, kHeight, 2),
       {"GetFeature Error!", "RegImg_surf bim to mim failed!"},
       {"KnnMatcher find matched num ", "FeatureMatcher error!!"}},
      {"unrelated textures",
       draw(Scene(1), kWidth, kHeight, shift(0, 0)),
       draw(Scene(2), kWidth, kHeight, shift(0, 0)),
       {"GetFeature Error!", "RegImg_surf bim to mim failed!"},
       {"KnnMatcher find matched num ", "FeatureMatcher error!!"}},
      {"too far apart",
       draw(Scene(1), kWidth, kHeight, shift(0, 0)),
       draw(Scene(1), kWidth, kHeight, shift(-304, 0)),
       {"IMG_REGISTRATION: the global motion between two frames is too large!",
        "IMG_REGISTRATION: matrix is not OK!", "ImgRegistration Error!",
        "RegImg_surf bim to mim failed!"},
       {"find candidate number ", "IMG_REGISTRATION: matrix is not OK!!ImgRegistration error!!"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const CallInProgress call;
    LogCapture log;
    Frame first = c.first;
    Frame second = c.second;
    const Registered r = registerFrames(first, second);
    expectFailure(r);
    std::vector<std::string> errors;
    for (const std::string& line : log.takeTexts()) {
      if (line.find("[info]") == std::string::npos) {
        errors.push_back(line.substr(line.find(" : ") + 3));
        errors.back().pop_back();
      }
    }
    EXPECT_EQ(errors, c.logged);
    for (const std::string& text : c.printed)
      EXPECT_THAT(r.printed, testing::HasSubstr(text));
    EXPECT_THAT(r.printed, testing::EndsWith(gaveUp));
  }
}

TEST(RegisterImgOnePlane, TakesFramesOfAnySize) {
  for (const auto& [width, height] :
       {std::pair{1, 1}, {3, 2}, {16, 400}, {401, 20}, {399, 399}, {400, 400}}) {
    SCOPED_TRACE(testing::Message() << width << " x " << height);
    const CallInProgress call;
    Frame first = blockNoise(width, height, 1);
    Frame second = blockNoise(width, height, 2);
    registerFrames(first, second);  // what it gives is a matter of chance
    EXPECT_EQ(TestAllocator::live(), 0u);
    EXPECT_EQ(TestAllocator::faults(), "");
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
    TestAllocator::failRequest(n);
    const Registered r = registerFrames(first, second);
    if (TestAllocator::requests().size() <= static_cast<std::size_t>(n)) {
      EXPECT_FALSE(r.failed) << r.printed;
      EXPECT_GE(n, 7);  // holder, homography, work block, roots, pool, features
      break;
    }
    expectFailure(r);
  }
}

TEST(RegisterImgOnePlane, SurvivesEachFailedHeapRequest) {
  auto& [first, second] = smallPair();
  int n = 0;
  for (;; ++n) {
    SCOPED_TRACE(n);
    const CallInProgress call;
    const HeapFaults heap(n);
    const Registered r = registerFrames(first, second);
    if (!r.failed) break;
    expectFailure(r);
    ASSERT_LT(n, 100);
  }
  EXPECT_GE(n, 6);  // trees 2, matcher 4, refinement 1, descriptors
}

/// FNV-1a over the maps and the area.
uint64_t digest(const Registered& r) {
  uint64_t hash = 14695981039346656037u;
  const auto add = [&](const auto& values) {
    for (const int32_t value : values)
      hash = (hash ^ static_cast<uint32_t>(value)) * 1099511628211u;
  };
  add(r.posX);
  add(r.posY);
  add(r.area);
  return hash;
}

TEST(RegisterImgOnePlane, GivesTheSameBitsEveryTime) {
  auto& [first, second] = smallPair();
  const CallInProgress call;
  const Registered serial = registerFrames(first, second);
  ASSERT_FALSE(serial.failed);
  // The values of x86-64; the scene is drawn with plain arithmetic, so that every machine sees the
  // same frames and must find the same maps.
  EXPECT_EQ(digest(serial), 17194739410160026455u);
  const RunningPool pool;
  for (int round = 0; round < 3; ++round) {
    const Registered again = registerFrames(first, second);
    EXPECT_EQ(again.posX, serial.posX);
    EXPECT_EQ(again.posY, serial.posY);
    EXPECT_EQ(again.area, serial.area);
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
  const char* input0 = "input para pointer is null!!\n";
  const struct {
    Velmora_SR_CInputImage* input;
    SR_ParamsPrivate* priv;
    int32_t* posX;
    int32_t* posY;
    const char* text;
  } cases[] = {
      {nullptr, &record, &map, &map, input0},
      {&input, nullptr, &map, &map, input0},
      {&input, &record, nullptr, &map, input0},
      {&input, &record, &map, nullptr, input0},
      {&noFirst, &record, &map, &map, input0},
      {&noSecond, &record, &map, &map, input0},
      {&emptyFirst, &record, &map, &map, input0},
      {&emptySecond, &record, &map, &map, input0},
      {&input, &noHandle, &map, &map, "depth data pointer is null!!\n"},
  };
  for (const auto& c : cases) {
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
    EXPECT_THAT(
        lines[0].text,
        testing::AllOf(testing::StartsWith(std::string("NB7UO_ZELK msg: ") + c.text + " in Line: "),
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
