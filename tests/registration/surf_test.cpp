#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <vector>

#include "registration/call_support.h"
#include "registration/feature_support.h"
#include "registration/source/descriptor_weights.h"
#include "support/guarded_buffer.h"
#include "velmora_sr/velmora_sr.h"

namespace velmora::test {
namespace {

constexpr tagDISCRIPTOR_PARAMS kParams = {-1, -1, -1, 20};

TEST(DescriptorWeights, AreTheGaussian) {
  std::vector<double> gauss;
  double sum = 0;
  for (int i = 0; i < 400; ++i) {
    const double y = i / 20 - 9.5;
    const double x = i % 20 - 9.5;
    gauss.push_back(std::exp(-(y * y + x * x) / (2 * 3.3 * 3.3)));
    sum += gauss.back();
  }
  for (std::size_t i = 0; i < 400; ++i)
    EXPECT_EQ(kDescriptorWeights[i], std::lround(gauss[i] / sum * 16777216)) << i;
  EXPECT_EQ(kDescriptorWeights[0], 62);
  EXPECT_EQ(kDescriptorWeights[189], 240761);
}

int32_t spacingOf(int32_t size) {
  return static_cast<int32_t>(double{static_cast<float>(size) * 0.13333334f} + 0.5);
}

/// The descriptor from the picture's pixels, one by one; unwritten for a point without a scale.
std::vector<int32_t> plainDescriptor(const Picture& picture, const ST_KEYPOINT& point) {
  const int64_t s = spacingOf(point.size);
  if (s < 1) return std::vector<int32_t>(64, GuardedBuffer<int32_t>::unwritten());
  if (s > 256) return std::vector<int32_t>(64, 0);
  const auto origin = [s](int32_t centre) {
    const double exact = (centre - (21.0 * static_cast<double>(s) - 1) * 32 + 32) / 64;
    return static_cast<int64_t>(std::floor(exact));
  };
  std::array<int32_t, 441> patch;
  for (int64_t at = 0; at < 441; ++at) {
    int64_t sum = 0;
    for (int64_t i = 0; i < s * s; ++i) {
      const int64_t y = origin(point.y) + at / 21 * s + i / s;
      const int64_t x = origin(point.x) + at % 21 * s + i % s;
      sum += picture.at(static_cast<int32_t>(std::clamp<int64_t>(y, 0, picture.height - 1)),
                        static_cast<int32_t>(std::clamp<int64_t>(x, 0, picture.width - 1)));
    }
    patch[static_cast<std::size_t>(at)] =
        static_cast<int32_t>((sum * (65536 / (s * s)) + 32768) / 65536 % 256);
  }
  std::array<int32_t, 64> sums = {};
  for (int32_t k = 0; k < 400; ++k) {
    const int32_t* cell = &patch[k];
    const int32_t dx = (cell[1] + cell[21] - cell[0] - cell[20]) * kDescriptorWeights[k];
    const int32_t dy = (cell[20] + cell[21] - cell[0] - cell[1]) * kDescriptorWeights[k];
    int32_t* region = &sums[k / 100 * 16 + k % 20 / 5 * 4];
    region[0] += dx;
    region[1] += dy;
    region[2] += std::abs(dx);
    region[3] += std::abs(dy);
  }
  float total = 0;
  for (std::size_t r = 0; r < 64; r += 4) {
    float squares = static_cast<float>(sums[r + 1]) * static_cast<float>(sums[r + 1]);
    for (const std::size_t k : {r, r + 2, r + 3})
      squares = std::fmaf(static_cast<float>(sums[k]), static_cast<float>(sums[k]), squares);
    total = std::fmaf(squares, 1.0f / 65536, total);
  }
  const double reciprocal = 1 / (std::sqrt(double{total}) + 1.1920928955078125e-7);
  const float factor = static_cast<float>(reciprocal) * 32768;
  std::vector<int32_t> values;
  for (const int32_t value : sums)
    values.push_back(static_cast<int32_t>(static_cast<float>(value) * factor));
  return values;
}

using Points = std::vector<ST_KEYPOINT>;
using Form = decltype(&GenerateDiscriptor_Simple);
constexpr Form kForms[] = {GenerateDiscriptor_Simple, GenerateDiscriptor_Simple_neon,
                           GenerateDiscriptor_Simple_neon_multi};

ST_KEYPOINT at(int32_t x, int32_t y, int32_t size) {
  return {-1, -1, x, y, size};
}

/// Descriptors of all points, out of a buffer that shows what was not written.
std::vector<int32_t> described(Form form, Picture picture, Points points, int32_t result = 0) {
  const tagST_PIC pic = picture.record();
  GuardedBuffer<int32_t> out(points.size() * 64);
  EXPECT_EQ(
      form(&pic, points.data(), out.data(), &kParams, nullptr, static_cast<int32_t>(points.size())),
      result);
  EXPECT_TRUE(out.intact());
  return out.values();
}

std::vector<int32_t> plainDescriptors(const Picture& picture, const Points& points) {
  std::vector<int32_t> all;
  for (const ST_KEYPOINT& point : points) {
    const auto values = plainDescriptor(picture, point);
    all.insert(all.end(), values.begin(), values.end());
  }
  return all;
}

void expectPlainDescriptors(const Picture& picture, const Points& points) {
  const auto expected = plainDescriptors(picture, points);
  for (const Form form : kForms)
    EXPECT_EQ(described(form, picture, points), expected) << picture.width;
}

TEST(GenerateDiscriptor, EqualsItsDefinition) {
  for (const bool running : {false, true}) {
    const Pool pool(running);
    Random random(51);
    for (const Picture& picture : {noise(90, 70, 52), texture(120, 100, 53), noise(1, 1, 54),
                                   noise(3, 200, 55), noise(200, 1, 56), Picture(50, 50, 77)}) {
      Points points;
      // Every spacing up to 9, inside, across each edge and far outside.
      for (int32_t i = 0; i < 90; ++i) {
        const int32_t beyond = i % 3 == 0 ? 0 : 40 * 64;
        points.push_back(at(
            static_cast<int32_t>(random.range(-beyond, picture.width * 64 + beyond)),
            static_cast<int32_t>(random.range(-beyond, picture.height * 64 + beyond)), 4 + i % 64));
      }
      expectPlainDescriptors(picture, points);
    }
  }
}

TEST(GenerateDiscriptor, TakesAnyPositionAndSize) {
  const Picture picture = noise(300, 200, 60);
  Points points;
  for (const int32_t x : {INT32_MIN, -640, 0, 300 * 64, INT32_MAX}) {
    for (const int32_t y : {INT32_MIN, 640, INT32_MAX})
      points.push_back(at(x, y, 20));
  }
  // 1923 is the last size whose samples are not all 0: their spacing is 256, floor(65536 / 256^2)
  // is 1. Beyond, no memory is asked for the window.
  ASSERT_EQ(spacingOf(1923), 256);
  for (const int32_t size : {1923, 1924, 5000, 1000000, 700000000, 3, 0, -4, INT32_MIN})
    points.push_back(at(150 * 64, 100 * 64, size));
  expectPlainDescriptors(picture, points);
  for (const ST_KEYPOINT& point : points)
    EXPECT_EQ(described(kForms[0], picture, {point}), plainDescriptor(picture, point));
}

TEST(GenerateDiscriptor, RefusesWhatItCannotDescribe) {
  Picture picture = noise(20, 20, 63);
  const struct {
    int32_t patchSize, width, height;
    uint8_t* data;
    int32_t points, result;
  } cases[] = {{19, 20, 20, picture.samples.data(), 1, SR_RET_PARAMS_OUT_OF_RANGE},
               {21, 20, 20, picture.samples.data(), 1, SR_RET_PARAMS_OUT_OF_RANGE},
               {20, 0, 20, picture.samples.data(), 1, SR_RET_PARAMS_OUT_OF_RANGE},
               {20, 20, -1, picture.samples.data(), 1, SR_RET_PARAMS_OUT_OF_RANGE},
               {20, 20, 20, nullptr, 1, SR_RET_PARAMS_OUT_OF_RANGE},
               {20, 20, 20, picture.samples.data(), 0, 0},
               {20, 20, 20, picture.samples.data(), INT32_MIN, 0}};
  for (const auto& c : cases) {
    for (const Form form : kForms) {
      tagST_PIC pic = picture.record();
      pic.width = c.width;
      pic.height = c.height;
      pic.data = c.data;
      const tagDISCRIPTOR_PARAMS params = {-1, -1, -1, c.patchSize};
      ST_KEYPOINT point = at(640, 640, 20);
      std::vector<int32_t> out(64, -9);
      EXPECT_EQ(form(&pic, &point, out.data(), &params, nullptr, c.points), c.result) << &c - cases;
      EXPECT_THAT(out, testing::Each(-9));
    }
  }
}

/// Describes eight points, of which point 5 has a size of its own. Where one share of two fails,
/// its descriptors alone are missing.
int32_t describeEight(Form form, int32_t failingShare, int32_t size = 20) {
  Picture picture = noise(50, 50, 64);
  const tagST_PIC pic = picture.record();
  Points points(8, at(1600, 1600, 20));
  points[5].size = size;
  const auto expected = plainDescriptor(picture, points[0]);
  GuardedBuffer<int32_t> out(512);
  const int32_t result = form(&pic, points.data(), out.data(), &kParams, nullptr, 8);
  for (int32_t i = 0; i < 512; ++i) {
    const bool failed = result != 0 && (form != kForms[2] || i / 128 == failingShare);
    EXPECT_EQ(out.data()[i], failed ? GuardedBuffer<int32_t>::unwritten() : expected[i % 64]) << i;
  }
  return result;
}

TEST(GenerateDiscriptor, ReportsFailedScratch) {
  for (const Form form : kForms) {
    const bool shared = form == kForms[2];
    const Report report = {"surf",
                           shared ? "GenerateDiscriptor_Simple_neon_multi_inside: malloc failed!"
                                  : "GETFEATURE_SURF: malloc failed!"};
    int32_t share = 0;
    expectEachHeapFailureReported(std::vector<Report>(shared ? 4 : 1, report),
                                  [&] { return describeEight(form, share++); });
    // A window whose side leaves 32 bits.
    LogCapture log;
    EXPECT_EQ(describeEight(form, 2, INT32_MAX), -1000);
    EXPECT_THAT(log.takeTexts(), testing::ElementsAre(logLine("error", "surf", report.text)));
  }
}

}  // namespace
}  // namespace velmora::test
