#include "burst/reconstruction/reconstruction.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <span>

#include "burst/drawn_frame.h"
#include "burst/reconstruction/noise_tables.h"
#include "burst/workers_for_tests.h"
#include "support/digest.h"
#include "support/random.h"

namespace velmora::test {
namespace {

using namespace burst;  // NOLINT(google-build-using-namespace)

/// Frames of a scene with their motions, and the picture that they make.
struct Burst {
  explicit Burst(Size frameSize, Size outputSize) : size(frameSize) {
    settings.region = {0, 0, size.width, size.height};
    settings.output = outputSize;
  }
  void add(const Scene& scene, const Motion& motion) {
    motions.push_back(std::make_unique<Motion>(motion));
    frames.push_back(std::make_unique<DrawnFrame>(size, scene, motion.homography));
    contributions.push_back({&frames.back()->frame, motions.back().get(), 1, 0, nullptr});
  }
  std::vector<uint8_t> render(Workers& workers, Memory& from = memory()) {
    const Size out = settings.output;
    const Size half = {(out.width + 1) / 2, (out.height + 1) / 2};
    const auto luma = static_cast<std::size_t>(out.width * out.height);
    const auto chroma = static_cast<std::size_t>(half.width * half.height);
    picture.assign(luma + 2 * chroma, 77);
    uint8_t* u = picture.data() + luma;
    reconstruct(from, workers, contributions, settings,
                {{{picture.data(), out.width, 1, out},
                  {u, half.width, 1, half},
                  {u + chroma, half.width, 1, half}}});
    return picture;
  }
  std::vector<uint8_t> render() {
    OneWorker worker;
    return render(worker);
  }

  Size size;
  ReconstructionSettings settings = {};
  std::vector<std::unique_ptr<Motion>> motions;
  std::vector<std::unique_ptr<DrawnFrame>> frames;
  std::vector<Contribution> contributions;
  std::vector<uint8_t> picture;
};

double texture(int32_t plane, Point p) {
  const double shift = static_cast<double>(plane);
  return 120 + 50 * std::sin(0.31 * p.x + 0.1 * p.y + shift) * std::cos(0.27 * p.y - shift) +
         30 * std::sin(0.9 * p.x - 1.1 * p.y);
}

/// Where two pictures differ first; -1: nowhere.
std::ptrdiff_t firstDifference(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b) {
  const auto differing = std::mismatch(a.begin(), a.end(), b.begin(), b.end()).first;
  return differing == a.end() ? -1 : differing - a.begin();
}

/// A textured burst with noise.
Burst texturedBurst(int32_t frames, Size size, Size output) {
  Burst burst(size, output);
  Random random(5);
  for (int32_t k = 0; k < frames; ++k) {
    const Scene noisy = [&](int32_t plane, Point p) {
      return texture(plane, p) + static_cast<double>(random.range(-6, 6));
    };
    burst.add(noisy, k == 0 ? moved(0, 0) : moved(0.4 * k - 1.1, 0.7 - 0.3 * k, 0.004 * k));
  }
  burst.settings.noise = {{3.7, 3.7, 3.7}};
  burst.settings.sharpened = 0.15;
  return burst;
}

/// Runs parts in another order on scratch of three workers.
struct ThreeWorkers final : Workers {
  [[nodiscard]] int32_t count() const override { return 3; }
  void run(int32_t parts, double weight,
           const std::function<void(int32_t, int32_t)>& part) override {
    work += weight;
    for (int32_t i = parts - 1; i >= 0; --i)
      part(i, i % 3);
  }
  void expect(double) override {}
  double work = 0;
};

// Levels rise or fall evenly in both directions, so the level of a sample tells where it lies; half
// the difference between the two pictures does so without the rounding of levels.
TEST(Reconstruction, ShowsLumaAndChromaWhereTheyAre) {
  struct Case {
    int32_t frames, width, height;
  };
  const auto ramp = [](double sign, Point p) {
    return 128 + sign * (1.3 * (p.x - 47) + 0.57 * (p.y - 40));
  };
  for (const Case& c : {Case{1, 96, 80}, Case{1, 192, 160}, Case{2, 192, 160}, Case{2, 125, 104},
                        Case{1, 288, 240}, Case{2, 384, 320}, Case{3, 384, 96}, Case{2, 97, 243}}) {
    std::vector<uint8_t> pictures[2];
    for (const double sign : {-1.0, 1.0}) {
      Burst burst({96, 80}, {c.width, c.height});
      for (int32_t k = 0; k < c.frames; ++k)
        burst.add([&](int32_t, Point p) { return ramp(sign, p); }, moved(0.37 * k, -0.61 * k));
      pictures[sign > 0 ? 1 : 0] = burst.render();
    }
    const double stepX = 95.0 / (c.width - 1);
    const double stepY = 79.0 / (c.height - 1);
    std::size_t plane = 0;
    for (std::size_t p = 0; p < kPlanes; ++p) {
      const int32_t width = p == 0 ? c.width : (c.width + 1) / 2;
      const int32_t height = p == 0 ? c.height : (c.height + 1) / 2;
      double error = 0;
      int32_t count = 0;
      for (int32_t y = height / 8; y < height - height / 8; ++y) {
        for (int32_t x = width / 8; x < width - width / 8; ++x, ++count) {
          const std::size_t i = plane + static_cast<std::size_t>(y * width + x);
          const Point at = {static_cast<double>(x), static_cast<double>(y)};
          const Point luma = p == 0 ? at : lumaOfChroma(at);
          error += (pictures[1][i] - pictures[0][i]) / 2.0 -
                   (ramp(1, {stepX * luma.x, stepY * luma.y}) - 128);
        }
      }
      EXPECT_LT(std::abs(error / count), 0.01 * 1.3) << c.width << 'x' << c.height << ' ' << p;
      plane += static_cast<std::size_t>(width * height);
    }
  }
}

// Frames whose samples are means over squares of something finer than they can carry.
TEST(Reconstruction, RestoresDetailBeyondASingleFrame) {
  const double fx = 3.5;
  const double fy = 2.2;
  const auto detail = [=](int32_t plane, Point p) {
    return plane == 0 ? 128 + 60 * std::sin(fx * p.x) * std::cos(fy * p.y) : 128;
  };
  const double pixel = std::sin(fx / 2) / (fx / 2) * std::sin(fy / 2) / (fy / 2);
  const Scene seen = [=](int32_t plane, Point p) { return 128 + pixel * (detail(plane, p) - 128); };
  Burst burst({60, 50}, {119, 99});
  double errors[2] = {};
  for (int32_t k = 0; k < 4; ++k) {
    burst.add(seen, moved(0.5 * (k % 2), 0.5 * (k / 2)));
    if (k != 0 && k != 3) continue;
    const std::vector<uint8_t> picture = burst.render();
    for (int32_t y = 16; y < 83; ++y) {
      for (int32_t x = 16; x < 103; ++x) {
        const double error =
            picture[static_cast<std::size_t>(y * 119 + x)] - detail(0, {x / 2.0, y / 2.0});
        errors[k / 3] += error * error;
      }
    }
  }
  EXPECT_LT(errors[1], 0.25 * errors[0]);
}

TEST(Reconstruction, DoesNotDependOnTilesWorkersOrOrder) {
  for (const int32_t frames : {1, 3}) {
    for (const Size output : {Size{98, 82}, Size{64, 53}, Size{196, 60}}) {
      Burst burst = texturedBurst(frames, {49, 41}, output);
      const std::vector<uint8_t> expected = burst.render();
      for (const Size tile : {Size{64, 64}, Size{32, 40}, Size{1024, 1024}}) {
        burst.settings.tile = tile;
        ThreeWorkers workers;
        EXPECT_EQ(firstDifference(burst.render(workers), expected), -1)
            << frames << " frames, width " << output.width << ", tile " << tile.width;
        EXPECT_DOUBLE_EQ(workers.work, reconstructionWork(frames, burst.settings));
      }
      if (frames < 3) continue;
      std::swap(burst.contributions[1], burst.contributions[2]);
      EXPECT_EQ(firstDifference(burst.render(), expected), -1);
    }
  }
}

TEST(Reconstruction, ReadsAndWritesAnyLayout) {
  Burst burst = texturedBurst(2, {41, 35}, {82, 70});
  const std::vector<uint8_t> expected = burst.render();
  // Samples three bytes apart, rows from the bottom up, bytes between them left alone.
  std::vector<std::vector<uint8_t>> copies;
  for (const auto& frame : burst.frames) {
    for (SourcePlane& plane : frame->frame.planes) {
      const std::ptrdiff_t pitch = 3 * plane.size.width + 5;
      auto& copy = copies.emplace_back(static_cast<std::size_t>(pitch * plane.size.height), 9);
      const SourcePlane spread = {copy.data() + pitch * (plane.size.height - 1), -pitch, 3,
                                  plane.size};
      for (int32_t y = 0; y < plane.size.height; ++y) {
        for (int32_t x = 0; x < plane.size.width; ++x)
          copy[static_cast<std::size_t>(spread.row(y) + 3 * x - copy.data())] = plane.at(x, y);
      }
      plane = spread;
    }
  }
  std::vector<uint8_t> luma(82 * 70), chroma(2 * 41 * 35);
  OneWorker worker;
  reconstruct(memory(), worker, burst.contributions, burst.settings,
              {{{luma.data() + 82 * 69, -82, 1, {82, 70}},
                {chroma.data(), 82, 2, {41, 35}},
                {chroma.data() + 1, 82, 2, {41, 35}}}});
  for (std::size_t i = 0; i < luma.size(); ++i)
    ASSERT_EQ(luma[i], expected[82 * (69 - i / 82) + i % 82]);
  for (std::size_t i = 0; i < chroma.size(); ++i)
    ASSERT_EQ(chroma[i], expected[luma.size() + (i % 2) * 41 * 35 + i / 2]);
}

TEST(Reconstruction, CountsFramesByTheirWeights) {
  Burst burst = texturedBurst(2, {64, 48}, {128, 96});
  Weights weights = {PlaneBuffer<uint8_t>(memory(), {32, 24}), 0};
  const auto renderWith = [&](const std::function<int32_t(int32_t x)>& weightAt) {
    for (int32_t y = 0; y < 24; ++y) {
      for (int32_t x = 0; x < 32; ++x)
        weights.half.plane().row(y)[x] = static_cast<uint8_t>(weightAt(x));
    }
    burst.contributions[1].weights = &weights;
    return burst.render();
  };
  const auto all = renderWith([](int32_t) { return 255; });
  EXPECT_EQ(firstDifference(all, burst.render()), -1);
  const auto none = renderWith([](int32_t) { return 0; });
  const auto left = renderWith([](int32_t x) { return x < 12 ? 255 : 0; });
  EXPECT_NE(firstDifference(all, none), -1);
  for (std::size_t y = 0; y < 96; ++y)
    EXPECT_EQ(left[y * 128 + 125], none[y * 128 + 125]);
  // What has no weight is not seen.
  std::ranges::fill(burst.frames[1]->values[0], uint8_t{255});
  EXPECT_EQ(firstDifference(renderWith([](int32_t) { return 0; }), none), -1);
}

TEST(Reconstruction, LooksTheSameWhenAFrameComesTwiceOrDarker) {
  const Scene smooth = [](int32_t plane, Point p) {
    return 120 + 60 * std::sin(0.2 * p.x + static_cast<double>(plane)) * std::cos(0.17 * p.y);
  };
  Burst burst({64, 48}, {128, 96});
  burst.add(smooth, moved(0, 0));
  const auto once = burst.render();
  burst.add(smooth, moved(0, 0));
  const auto twice = burst.render();
  burst.frames[1] = std::make_unique<DrawnFrame>(burst.size, [&](int32_t plane, Point p) {
    const double level = smooth(plane, p);
    return plane == 0 ? (level - 8) / 1.25 : 128 + (level - 128) / 1.25;
  });
  burst.contributions[1] = {&burst.frames[1]->frame, burst.motions[1].get(), 1.25, 8, nullptr};
  const auto darker = burst.render();
  for (std::size_t i = 0; i < once.size(); ++i) {
    ASSERT_NEAR(twice[i], once[i], 1);
    ASSERT_NEAR(darker[i], once[i], 2);
  }
}

TEST(Reconstruction, FailsBeforeAnythingIsWritten) {
  struct Budget {
    int32_t left;
  } budget = {};
  Memory limited({[](void* user, size_t size) {
                    return static_cast<Budget*>(user)->left-- > 0 ? std::malloc(size) : nullptr;
                  },
                  [](void*, void* block) { std::free(block); }, &budget});
  for (const int32_t frames : {1, 2}) {
    Burst burst = texturedBurst(frames, {32, 24}, {64, 48});
    OneWorker worker;
    const auto expected = burst.render();
    for (int32_t blocks = 0;; blocks += 5) {
      budget.left = blocks;
      try {
        EXPECT_EQ(firstDifference(burst.render(worker, limited), expected), -1);
        EXPECT_GT(blocks, 20);
        break;
      } catch (const std::bad_alloc&) {
        EXPECT_EQ(std::ranges::count(burst.picture, 77), std::ssize(burst.picture));
        EXPECT_EQ(limited.held(), 0U);
      }
    }
  }
}

// Where samples of the picture coincide with those of the frames, white noise stays white and goes
// down with the root of their number.
class NoiseTablesTest : public testing::Test {
 protected:
  // Frames at the size of the picture, the second one lying by `second`.
  NoiseTables tables(int32_t frames, const Motion& second, int32_t sharpened,
                     Size size = {300, 280}) {
    const SumTables sums = sumTables(memory());
    const Buffer<uint16_t> steps = stepTable(memory(), sums, 1);
    const BoxSums box(memory(), 1, 1);
    PlaneJob job;
    job.geometry = {gridAxis(0, size.width, size.width, 1, false),
                    gridAxis(0, size.height, size.height, 1, false), false};
    job.source = size;
    job.tables = &sums;
    job.box = &box;
    job.steps = &steps;
    job.iterations = {0, 1};
    job.frames = frames;
    job.sharpened = sharpened;
    const FrameGrids still = frameGrids(memory(), worker_, job.geometry, moved(0, 0), job.source);
    const FrameGrids other = frameGrids(memory(), worker_, job.geometry, second, job.source);
    for (JobFrame& frame : job.frame)
      frame.grids = &still;
    job.frame[1].grids = &other;
    NoiseTables found;
    const NoiseTask task = {&job, &found};
    measureNoise(memory(), worker_, {&task, 1}, 0);
    return found;
  }
  OneWorker worker_;
};

TEST_F(NoiseTablesTest, TellWhatIsLeftOfWhiteNoise) {
  const NoiseTables found = tables(4, moved(0, 0), 0);
  for (std::size_t n = 1; n <= 4; ++n) {
    const CoefficientNoise noise = scaled(found[n - 1], 3 * std::sqrt(n));
    for (const float value : noise.of8)
      EXPECT_NEAR(value, 3, 0.3);
    for (const float value : noise.of16)
      EXPECT_NEAR(value, 3, 0.6);
    EXPECT_NEAR(std::accumulate(noise.of16.begin(), noise.of16.end(), 0.0) / 256, 3, 0.03);
    // Of means of 4 x 4.
    EXPECT_NEAR(std::accumulate(noise.low.begin(), noise.low.end(), 0.0) / 64, 0.75, 0.03);
  }
}

// Noise is measured on frames as they are: sharpening gives it another colour, not more of it.
TEST_F(NoiseTablesTest, AreOfTheSameNoiseHoweverFramesWereSharpened) {
  for (const double a : {-0.5, 0.3, 1.0}) {
    const auto of8 = tables(1, moved(0, 0), static_cast<int32_t>(1024 * a))[0].of8;
    double power = 0;
    for (const float value : of8)
      power += double{value} * double{value} / 64;
    EXPECT_NEAR(power, 1, 0.02) << a;
  }
}

// Two frames that lie half a sample apart in one part and on the same samples in another: stripes
// of two samples are damped in the first alone, and the table has to do for the second.
TEST_F(NoiseTablesTest, DoForThePartsThatAreNoisiest) {
  constexpr std::size_t kStripes = 7;  // of8: the highest frequency along rows
  const double same = tables(2, moved(0, 0), 0)[1].of8[kStripes];
  const double apart = tables(2, moved(0.5, 0), 0)[1].of8[kStripes];
  Motion wider;
  wider.homography.h = {1 + 1.0 / 280, 0, -0.5, 0, 1, 0, 0, 0, 1};
  wider.prepare();
  const double mixed = tables(2, wider, 0)[1].of8[kStripes];
  EXPECT_LT(apart, 0.85 * same);
  EXPECT_GT(mixed, 0.9 * same);
  // Half a sample apart in the middle, on the same samples half way to the sides.
  wider.homography.h = {1 + 1.0 / 600, 0, -0.5, 0, 1, 0, 0, 0, 1};
  wider.prepare();
  EXPECT_GT(tables(2, wider, 0, {1200, 520})[1].of8[kStripes], 0.88 * same);
}

// Without restoration, which has tests of its own: one frame, and the chroma of several.
TEST(Reconstruction, KeepsItsBytes) {
  constexpr uint32_t kExpected[] = {0xC88E4583, 0xA289E7E8, 0x95828B29};
  for (const int32_t frames : {1, 2, 4}) {
    Burst burst = texturedBurst(frames, {61, 53}, {122, 106});
    burst.settings.noise = {{0.5, 0.5, 0.5}};
    const std::vector<uint8_t> picture = burst.render();
    Digest digest;
    digest.addAll(std::span(picture).subspan(frames == 1 ? 0 : 122 * 106));
    EXPECT_EQ(digest.value(), kExpected[frames / 2]) << frames;
  }
}

}  // namespace
}  // namespace velmora::test
