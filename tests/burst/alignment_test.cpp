#include <gtest/gtest.h>

#include <bit>
#include <cmath>

#include "burst/alignment/local_translations.h"
#include "burst/workers_for_tests.h"
#include "support/digest.h"

namespace velmora::test {
namespace {

using namespace burst;  // NOLINT(google-build-using-namespace)

// A surface of smoothed random values, three octaves.
class Scene {
 public:
  explicit Scene(uint64_t seed) : values_(Random(seed).bytes(kSide * kSide)) {}
  double operator()(Point p) const {
    return 128 + 0.45 * octave(p, 4) + 0.25 * octave(p, 13) + 0.3 * octave(p, 47);
  }

 private:
  static constexpr std::size_t kSide = 256;
  double octave(Point p, double cell) const {
    const double x = p.x / cell + 1000;
    const double y = p.y / cell + 1000;
    const auto smooth = [](double f) { return f * f * (3 - 2 * f); };
    const double fx = smooth(x - std::floor(x));
    const double fy = smooth(y - std::floor(y));
    const auto at = [&](std::size_t i, std::size_t j) {
      const std::size_t column = static_cast<std::size_t>(x) + i;
      const std::size_t row = static_cast<std::size_t>(y) + j;
      return values_[row % kSide * kSide + column % kSide] - 127.5;
    };
    const double upper = at(0, 0) + fx * (at(1, 0) - at(0, 0));
    const double lower = at(0, 1) + fx * (at(1, 1) - at(0, 1));
    return upper + fy * (lower - upper);
  }
  std::vector<uint8_t> values_;
};

struct Camera {
  double gain = 1;  // gain * sample + bias is what the scene has
  double bias = 0;
  double noise = 0;
  uint64_t seed = 1;
};

// A frame whose samples show the scene at `where`.
template <typename Light, typename Where>
std::vector<uint8_t> shoot(const Light& scene, Size size, const Where& where,
                           const Camera& camera) {
  Random random(camera.seed);
  std::vector<uint8_t> samples;
  for (int32_t y = 0; y < size.height; ++y) {
    for (int32_t x = 0; x < size.width; ++x) {
      double noise = 0;
      for (int i = 0; i < 12; ++i)
        noise += random.unit() - 0.5;
      const double light =
          scene(where({static_cast<double>(x), static_cast<double>(y)})) - camera.bias;
      const double sample = light / camera.gain + camera.noise * noise;
      samples.push_back(static_cast<uint8_t>(std::clamp(std::lround(sample), 0L, 255L)));
    }
  }
  return samples;
}

// A rotation about the middle by the angle of this half tangent, perspective, and a shift.
Homography motion(Size size, double t, double perspective, double dx, double dy) {
  const double c = (1 - t * t) / (1 + t * t);
  const double s = 2 * t / (1 + t * t);
  const double x = (size.width - 1) / 2.0;
  const double y = (size.height - 1) / 2.0;
  const Homography turn = {
      {c, -s, 0, s, c, 0, perspective / size.width, -perspective / size.width, 1}};
  const Homography there = {{1, 0, x + dx, 0, 1, y + dy, 0, 0, 1}};
  return there * (turn * Homography{{1, 0, -x, 0, 1, -y, 0, 0, 1}});
}

Point same(Point p) {
  return p;
}

// Two frames and what is found about them.
struct Pair {
  Pair(Memory& memory, Workers& workers, Size size, const std::vector<uint8_t>& a,
       const std::vector<uint8_t>& b)
      : reference(buildPyramid(memory, workers, {a.data(), size.width, 1, size})),
        frame(buildPyramid(memory, workers, {b.data(), size.width, 1, size})),
        found(registerFrame(memory, workers, reference, frame)) {}
  Pyramid reference;
  Pyramid frame;
  PairRegistration found;
};

double meanError(Size size, const Homography& actual, const Homography& expected) {
  double sum = 0;
  for (int i = 0; i < 121; ++i) {
    const Point at = {i % 11 / 10.0 * (size.width - 1), i / 11 / 10.0 * (size.height - 1)};
    const Point a = actual(at);
    const Point b = expected(at);
    sum += std::hypot(a.x - b.x, a.y - b.y);
  }
  return sum / 121;
}

struct Case {
  const char* name;
  Size size;
  double halfTangent, perspective, dx, dy;
  Camera camera;
  double error;
};
class Registration : public testing::TestWithParam<Case> {};

TEST_P(Registration, RecoversHomographyAndExposure) {
  const Case& of = GetParam();
  const Homography truth = motion(of.size, of.halfTangent, of.perspective, of.dx, of.dy);
  const Homography back = truth.inverse();
  TestMemory memory;
  OneWorker worker;
  const Scene scene(7);
  const Pair pair(memory.memory, worker, of.size,
                  shoot(scene, of.size, same, {1, 0, of.camera.noise, 2}),
                  shoot(scene, of.size, back, of.camera));
  EXPECT_EQ(pair.found.use, VELMORA_SR_BURST_USED);
  EXPECT_LE(meanError(of.size, pair.found.homography, truth), of.error);
  EXPECT_NEAR(pair.found.gain, of.camera.gain, 0.01);
  EXPECT_NEAR(pair.found.gain * 120 + pair.found.bias, of.camera.gain * 120 + of.camera.bias, 0.5);
  EXPECT_LT(pair.found.residualAfter, 0.25 * pair.found.residualBefore);
}

INSTANTIATE_TEST_SUITE_P(
    Burst, Registration,
    testing::Values(
        Case{"small", {320, 240}, 0.002, 0.004, 1.3, -0.7, {}, 0.01},
        Case{"fourSamples", {320, 240}, 0.004, 0.004, 4, -4, {1, 0, 3, 3}, 0.03},
        Case{"exposure", {401, 303}, -0.004, -0.003, -3, 2, {0.87, 6, 2, 3}, 0.03},
        Case{"brighter", {320, 240}, 0.003, 0.002, 2, 5, {1.2, -8, 1, 3}, 0.03},
        Case{"largeShift", {320, 240}, 0.01, 0.01, 66, -47, {1, 0, 1, 3}, 0.03},
        Case{"turned", {400, 300}, 0.12, 0.01, -20, 11, {1, 0, 1, 3}, 0.03},
        Case{"aboveOneMegapixel", {1200, 900}, -0.006, 0.01, 17, -9, {0.9, 0, 3, 3}, 0.03},
        Case{"smallest", {24, 16}, 0, 0, 0.6, -0.4, {}, 0.05}),
    [](const auto& of) { return std::string(of.param.name); });

TEST(Registration, RefusesWhatDoesNotFit) {
  const Size size = {320, 240};
  TestMemory memory;
  OneWorker worker;
  const Scene scene(7);
  const auto a = shoot(scene, size, same, {});
  const auto use = [&](const std::vector<uint8_t>& b) {
    return Pair(memory.memory, worker, size, a, b).found.use;
  };
  EXPECT_EQ(use(shoot(Scene(8), size, same, {})), VELMORA_SR_BURST_NO_MOTION);
  EXPECT_EQ(use(std::vector<uint8_t>(a.size(), 0)), VELMORA_SR_BURST_NO_MOTION);
  EXPECT_EQ(use(std::vector<uint8_t>(a.size(), 90)), VELMORA_SR_BURST_NO_MOTION);
  EXPECT_EQ(use(a), VELMORA_SR_BURST_USED);
  // A strip, turned: the two cross.
  const Size strip = {600, 90};
  const Homography across = motion(strip, 0.165, 0, 0, 0);
  EXPECT_EQ(Pair(memory.memory, worker, strip, shoot(scene, strip, same, {}),
                 shoot(scene, strip, across.inverse(), {}))
                .found.use,
            VELMORA_SR_BURST_LOW_OVERLAP);
}

// Waves of some 20 samples: on coarse levels nothing of them is left that would tell a direction.
TEST(Registration, OfFineWavesStartsCloseBy) {
  const Size size = {800, 500};
  const auto wavy = [](Point p) {
    return 120 + 34 * std::sin(0.31 * p.x + 0.12 * p.y) +
           27 * std::sin(0.17 * p.y - 0.07 * p.x + 1) +
           18 * std::sin(0.023 * p.x * std::sin(0.011 * p.y) + 0.5 * p.y);
  };
  TestMemory memory;
  OneWorker worker;
  for (const double steps : {1.0, 2.0, 3.0, 5.0}) {
    const Homography truth = {{1, 0, 1.3 * steps, 0, 1, -0.7 * steps, 0, 0, 1}};
    const Pair pair(memory.memory, worker, size, shoot(wavy, size, same, {1, 0, 3, 1}),
                    shoot(wavy, size, truth.inverse(), {1, 0, 3, 2}));
    EXPECT_EQ(pair.found.use, VELMORA_SR_BURST_USED);
    EXPECT_LE(meanError(size, pair.found.homography, truth), 0.1) << steps;
  }
}

TEST(Registration, LeavesTheSameFrameWhereItIs) {
  const Size size = {123, 95};
  TestMemory memory;
  OneWorker worker;
  const auto a = shoot(Scene(7), size, same, {1, 0, 5, 2});
  const PairRegistration found = Pair(memory.memory, worker, size, a, a).found;
  EXPECT_EQ(found.homography, Homography{});
  EXPECT_EQ(found.gain, 1);
  EXPECT_EQ(found.residualAfter, 0);
}

// The right half lies `parallax` samples farther right in the second frame.
struct TwoPlanes {
  TwoPlanes(Memory& memory, Workers& workers, double parallax, Size frameSize = {480, 320})
      : size(frameSize), truth(motion(size, 0.003, 0.004, 2.3, -1.6)) {
    const Homography back = truth.inverse();
    const Scene scene(9);
    const auto where = [&](Point p) {
      const Point right = back({p.x - parallax, p.y});
      return right.x > size.width / 2 ? right : back(p);
    };
    const Pair pair(memory, workers, size, shoot(scene, size, same, {1, 0, 2, 2}),
                    shoot(scene, size, where, {0.95, 0, 2, 3}));
    found = pair.found;
    field = findTranslations(memory, workers, pair.reference, pair.frame, found, 2);
  }
  Size size;
  Homography truth;
  PairRegistration found;
  LocalField field;
};

TEST(LocalTranslations, FollowParallaxAndNothingElse) {
  TestMemory memory;
  OneWorker worker;
  EXPECT_TRUE(TwoPlanes(memory.memory, worker, 0).field.empty());
  const TwoPlanes scene(memory.memory, worker, 2.5);
  ASSERT_EQ(scene.field.tiles, (Size{29, 19}));
  Motion motion;
  motion.homography = scene.found.homography;
  motion.field = &scene.field;
  for (const Point at : {Point{60, 80}, Point{150, 250}, Point{330, 80}, Point{420, 250}}) {
    const Point actual = motion.toFrame(at);
    const Point expected = scene.truth(at);
    EXPECT_NEAR(actual.x, expected.x + (at.x > 240 ? 2.5 : 0), 0.2);
    EXPECT_NEAR(actual.y, expected.y, 0.2);
  }
}

TEST(LocalTranslations, AndRegistrationAreTheSameEverywhere) {
  TestMemory memory;
  OneWorker one;
  ShufflingWorkers four(4);
  const TwoPlanes expected(memory.memory, one, 2.5);
  const TwoPlanes actual(memory.memory, four, 2.5);
  EXPECT_EQ(actual.found.homography, expected.found.homography);
  EXPECT_EQ(actual.found.gain, expected.found.gain);
  EXPECT_EQ(actual.found.residualAfter, expected.found.residualAfter);
  EXPECT_TRUE(std::ranges::equal(actual.field.shifts.span(), expected.field.shifts.span()));

  // And not on the processor.
  Digest digest;
  for (const double value : actual.found.homography.h)
    digest.add(std::bit_cast<uint64_t>(value));
  digest.add(std::bit_cast<uint64_t>(actual.found.gain));
  digest.add(std::bit_cast<uint64_t>(actual.found.residualAfter));
  digest.addAll(actual.field.shifts.span());
  EXPECT_EQ(digest.value(), 0xB35BFB09u);

  const double work = 2 * pyramidWork(expected.size) + registrationWork(expected.size) +
                      translationsWork(expected.size);
  EXPECT_NEAR(four.work, work, 1e-6 * work);
}

TEST(Alignment, GivesEverythingBackWhenMemoryIsShortOrTheCallCancelled) {
  bool finished[2] = {};
  for (int n = 0; !finished[0] || !finished[1]; ++n) {
    for (const bool cancel : {false, true}) {
      TestMemory memory(cancel ? -1 : n);
      ShufflingWorkers workers(2, cancel ? n : -1);
      try {
        const TwoPlanes done(memory.memory, workers, 2.5, {96, 64});
        finished[cancel] = true;
      } catch (const std::bad_alloc&) {
        EXPECT_FALSE(cancel);
      } catch (const Cancelled&) {
        EXPECT_TRUE(cancel);
      }
      EXPECT_EQ(memory.memory.held(), 0u);
    }
  }
}

// Levels against a plain computation; samples apart and stored bottom up.
TEST(Pyramid, HoldsSmoothedMeansAndMasks) {
  const Size size = {131, 62};
  const auto bytes = Random(3).bytes(2 * 131 * 62);
  const SourcePlane luma = {bytes.data() + std::ptrdiff_t{2} * 131 * 61, -2 * 131, 2, size};
  TestMemory memory;
  ShufflingWorkers workers(3);
  const Pyramid pyramid = buildPyramid(memory.memory, workers, luma);
  ASSERT_EQ(pyramid.top, 1);
  const PyramidLevel& level = pyramid.levels[1];
  ASSERT_EQ(level.smooth.size(), (Size{65, 31}));
  const auto cell = [&](int32_t x, int32_t y, const auto& of) {
    int32_t sum = 0;
    for (int32_t i = 0; i < 4; ++i)
      sum += of(luma.at(2 * std::clamp(x, 0, 64) + i % 2, 2 * std::clamp(y, 0, 30) + i / 2));
    return sum;
  };
  const auto extreme = [](int32_t s) { return s > 250 || s < 2 ? 1 : 0; };
  const auto marked = [&](int32_t x, int32_t y) {
    bool any = false;
    for (int32_t i = 0; i < 9; ++i)
      any |= cell(std::clamp(x, 0, 64) + i % 3 - 1, std::clamp(y, 0, 30) + i / 3 - 1, extreme) > 1;
    return any;
  };
  for (int32_t y = 0; y < 31; ++y) {
    for (int32_t x = 0; x < 65; ++x) {
      int32_t sum = 0;
      for (int32_t i = 0; i < 9; ++i) {
        sum += (2 - std::abs(i % 3 - 1)) * (2 - std::abs(i / 3 - 1)) *
               cell(x + i % 3 - 1, y + i / 3 - 1, [](int32_t s) { return s; });
      }
      ASSERT_EQ(level.smooth.plane().row(y)[x], (8 * sum + 8) >> 4) << x << ", " << y;
      const bool near = marked(x, y);
      const bool any = near || marked(x + 1, y) || marked(x, y + 1) || marked(x + 1, y + 1);
      ASSERT_EQ(level.masked.plane().row(y)[x], (near ? 1 : 0) | (any ? 2 : 0)) << x << ", " << y;
    }
  }
}

TEST(Pyramid, OfAStripIsTheStrip) {
  const std::vector<uint8_t> bytes(16 * 62600, 100);
  TestMemory memory;
  OneWorker worker;
  const Size size = {62600, 16};
  const Pyramid pyramid = buildPyramid(memory.memory, worker, {bytes.data(), size.width, 1, size});
  EXPECT_EQ(pyramid.top, 0);
  EXPECT_EQ(pyramid.levels[0].smooth.size(), size);
  EXPECT_EQ(registerFrame(memory.memory, worker, pyramid, pyramid).use, VELMORA_SR_BURST_USED);
}

}  // namespace
}  // namespace velmora::test
