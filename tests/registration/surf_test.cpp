#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <limits>
#include <vector>

#include "registration/feature_support.h"
#include "registration/source/descriptor_weights.h"
#include "support/guarded_buffer.h"
#include "support/heap_faults.h"
#include "support/log_capture.h"
#include "velmora_sr/logging.h"
#include "velmora_sr/velmora_sr.h"

namespace {

using testing::AllOf;
using testing::Each;
using testing::EndsWith;
using testing::HasSubstr;
using velmora::test::GuardedBuffer;
using velmora::test::HeapFaults;
using velmora::test::LogCapture;
using velmora::test::noise;
using velmora::test::Picture;
using velmora::test::Pool;
using velmora::test::Random;
using velmora::test::texture;

constexpr tagDISCRIPTOR_PARAMS kParams = {-1, -1, -1, 20};

using Values = std::array<int32_t, kDescriptorLength>;

const std::vector<int32_t>& weights() {
  static const std::vector<int32_t> table = [] {
    std::vector<double> gauss;
    double sum = 0;
    for (int i = 0; i < 20; ++i) {
      for (int j = 0; j < 20; ++j) {
        const double distance = (i - 9.5) * (i - 9.5) + (j - 9.5) * (j - 9.5);
        gauss.push_back(std::exp(-distance / (2 * 3.3 * 3.3)));
        sum += gauss.back();
      }
    }
    std::vector<int32_t> rounded;
    for (const double g : gauss)
      rounded.push_back(static_cast<int32_t>(std::lround(g / sum * 16777216)));
    return rounded;
  }();
  return table;
}

TEST(DescriptorWeights, AreTheGaussian) {
  const auto& table = velmora::kDescriptorWeights;
  EXPECT_EQ(std::vector<int32_t>(table.begin(), table.end()), weights());
  int64_t sum = 0;
  for (const int32_t weight : table)
    sum += weight;
  EXPECT_EQ(sum, 16777204);
  for (const std::size_t corner : {0u, 19u, 380u, 399u})
    EXPECT_EQ(table[corner], 62);
  for (const std::size_t centre : {189u, 190u, 209u, 210u})
    EXPECT_EQ(table[centre], 240761);
}

/// Adds one cell's weighted responses to the sums of its sub-region.
void addCell(Values& sums, int32_t i, int32_t j, int32_t dx, int32_t dy) {
  const int32_t weight = weights()[static_cast<std::size_t>(20 * i + j)];
  int32_t* region = &sums[static_cast<std::size_t>((i / 5 * 4 + j / 5) * 4)];
  region[0] += dx * weight;
  region[1] += dy * weight;
  region[2] += std::abs(dx) * weight;
  region[3] += std::abs(dy) * weight;
}

Values normalised(const Values& sums) {
  float total = 0;
  for (std::size_t r = 0; r < 64; r += 4) {
    float squares = static_cast<float>(sums[r + 1]) * static_cast<float>(sums[r + 1]);
    for (const std::size_t k : {r, r + 2, r + 3})
      squares = std::fmaf(static_cast<float>(sums[k]), static_cast<float>(sums[k]), squares);
    total = std::fmaf(squares, 1.0f / 65536, total);
  }
  const double reciprocal = 1 / (std::sqrt(double{total}) + 1.1920928955078125e-7);
  const float factor = static_cast<float>(reciprocal) * 32768;
  Values values;
  for (std::size_t k = 0; k < 64; ++k)
    values[k] = static_cast<int32_t>(static_cast<float>(sums[k]) * factor);
  return values;
}

int32_t spacingOf(int32_t size) {
  return static_cast<int32_t>(double{static_cast<float>(size) * 0.13333334f} + 0.5);
}

/// The descriptor from the picture's pixels, one by one.
Values plainDescriptor(const Picture& picture, const ST_KEYPOINT& point) {
  const int64_t s = spacingOf(point.size);
  const auto origin = [s](int32_t centre) {
    const double exact = (centre - (21.0 * static_cast<double>(s) - 1) * 32 + 32) / 64;
    return static_cast<int64_t>(std::floor(exact));
  };
  std::array<int32_t, 441> patch;
  for (int64_t by = 0; by < 21; ++by) {
    for (int64_t bx = 0; bx < 21; ++bx) {
      int64_t sum = 0;
      for (int64_t i = 0; i < s * s; ++i) {
        const int64_t y = origin(point.y) + by * s + i / s;
        const int64_t x = origin(point.x) + bx * s + i % s;
        sum += picture.at(static_cast<int32_t>(std::clamp<int64_t>(y, 0, picture.height - 1)),
                          static_cast<int32_t>(std::clamp<int64_t>(x, 0, picture.width - 1)));
      }
      patch[static_cast<std::size_t>(by * 21 + bx)] =
          static_cast<int32_t>((sum * (65536 / (s * s)) + 32768) / 65536 % 256);
    }
  }
  Values sums = {};
  for (int32_t i = 0; i < 20; ++i) {
    for (int32_t j = 0; j < 20; ++j) {
      const int32_t* cell = &patch[static_cast<std::size_t>(20 * i + j)];
      addCell(sums, i, j, cell[1] + cell[21] - cell[0] - cell[20],
              cell[20] + cell[21] - cell[0] - cell[1]);
    }
  }
  return normalised(sums);
}

using Form = decltype(&GenerateDiscriptor_Simple);
constexpr Form kForms[] = {GenerateDiscriptor_Simple, GenerateDiscriptor_Simple_neon,
                           GenerateDiscriptor_Simple_neon_multi};

ST_KEYPOINT at(int32_t x, int32_t y, int32_t size) {
  return {-1, -1, x, y, size};
}

/// Descriptors of all points, out of a buffer that shows what was not written.
std::vector<int32_t> described(Form form, Picture picture, std::vector<ST_KEYPOINT> points,
                               int32_t result = 0) {
  const tagST_PIC pic = picture.record();
  GuardedBuffer<int32_t> out(points.size() * 64);
  EXPECT_EQ(
      form(&pic, points.data(), out.data(), &kParams, nullptr, static_cast<int32_t>(points.size())),
      result);
  EXPECT_TRUE(out.intact());
  return out.values();
}

std::vector<int32_t> plainDescriptors(const Picture& picture,
                                      const std::vector<ST_KEYPOINT>& points) {
  std::vector<int32_t> all;
  for (const ST_KEYPOINT& point : points) {
    const Values values = plainDescriptor(picture, point);
    all.insert(all.end(), values.begin(), values.end());
  }
  return all;
}

TEST(GenerateDiscriptor, EqualsItsDefinition) {
  for (const bool running : {false, true}) {
    const Pool pool(running);
    Random random(51);
    for (const Picture& picture : {noise(90, 70, 52), texture(120, 100, 53), noise(1, 1, 54),
                                   noise(3, 200, 55), noise(200, 1, 56)}) {
      std::vector<ST_KEYPOINT> points;
      // Every spacing up to 9, inside, across each edge and far outside.
      for (int32_t i = 0; i < 90; ++i) {
        const int32_t beyond = i % 3 == 0 ? 0 : 40 * 64;
        points.push_back(at(
            static_cast<int32_t>(random.range(-beyond, picture.width * 64 + beyond)),
            static_cast<int32_t>(random.range(-beyond, picture.height * 64 + beyond)), 4 + i % 64));
      }
      const auto expected = plainDescriptors(picture, points);
      for (const Form form : kForms)
        EXPECT_EQ(described(form, picture, points), expected) << picture.width;
    }
  }
}

TEST(GenerateDiscriptor, WorkedByHandForARamp) {
  // Size 8: spacing 1, so that the patch is the picture. Columns rise by 2. Read with rows of 20, a
  // cell takes columns c, c + 1 and below them c - 1, c, where c = (20 i + j) mod 21: dx is 4, dy
  // -4. Where c is 0 or 20 the cell runs over the patch's edge, which is on the diagonal and next
  // to it, and meets the other end of the ramp: 4 - 42 = -38 and 38.
  Picture ramp(41, 41);
  for (int32_t y = 0; y < 41; ++y) {
    for (int32_t x = 0; x < 41; ++x)
      ramp.at(y, x) = static_cast<uint8_t>(2 * x);
  }
  Values sums = {};
  for (int32_t i = 0; i < 20; ++i) {
    for (int32_t j = 0; j < 20; ++j) {
      const int32_t dx = j == i || j == i - 1 ? -38 : 4;
      addCell(sums, i, j, dx, -dx);
    }
  }
  const Values expected = normalised(sums);
  for (const Form form : kForms) {
    EXPECT_EQ(described(form, ramp, {at(20 * 64, 20 * 64, 8)}),
              std::vector<int32_t>(expected.begin(), expected.end()));
  }
}

TEST(GenerateDiscriptor, CentresTheWindowOnThePoint) {
  // Spacing 1: the window of 21 begins 10 pixels before the centre, rounded half up.
  Picture picture = noise(60, 60, 57);
  const auto expected = described(kForms[0], picture, {at(30 * 64, 30 * 64, 8)});
  EXPECT_EQ(described(kForms[0], picture, {at(30 * 64 - 32, 30 * 64 + 31, 8)}), expected);
  EXPECT_NE(described(kForms[0], picture, {at(30 * 64 - 33, 30 * 64, 8)}), expected);
  EXPECT_NE(described(kForms[0], picture, {at(30 * 64, 30 * 64 + 32, 8)}), expected);
}

TEST(GenerateDiscriptor, HasAFixedLength) {
  Picture picture = texture(120, 100, 53);
  Random random(58);
  for (int32_t i = 0; i < 50; ++i) {
    const auto values =
        described(kForms[0], picture,
                  {at(static_cast<int32_t>(random.range(0, 120 * 64)),
                      static_cast<int32_t>(random.range(0, 100 * 64)), 8 + i % 30)});
    double squares = 0;
    for (const int32_t value : values)
      squares += double{static_cast<float>(value)} * value;
    EXPECT_NEAR(std::sqrt(squares), 8388608.0, 16.0);
  }
}

TEST(GenerateDiscriptor, IsZeroWhereAllIsFlat) {
  for (const uint8_t value : {uint8_t{0}, uint8_t{77}, uint8_t{255}}) {
    for (const Form form : kForms)
      EXPECT_THAT(described(form, Picture(50, 50, value), {at(1600, 1600, 20)}), Each(0));
  }
}

TEST(GenerateDiscriptor, LeavesOutPointsWithoutAScale) {
  const int32_t unwritten = GuardedBuffer<int32_t>::unwritten();
  const Picture picture = noise(50, 50, 59);
  // 3 * 0.1333 + 0.5 is cut to 0, 4 * 0.1333 + 0.5 to 1.
  for (const int32_t size : {3, 1, 0, -1, -4, -1000, std::numeric_limits<int32_t>::min()}) {
    for (const Form form : kForms) {
      const auto values =
          described(form, picture, {at(1600, 1600, size), at(1600, 1600, 4), at(0, 0, size)});
      const auto expected = plainDescriptor(picture, at(1600, 1600, 4));
      for (std::size_t k = 0; k < 64; ++k) {
        ASSERT_EQ(values[k], unwritten) << size;
        ASSERT_EQ(values[64 + k], expected[k]) << size;
        ASSERT_EQ(values[128 + k], unwritten) << size;
      }
    }
  }
}

TEST(GenerateDiscriptor, TakesAnyPosition) {
  const int32_t least = std::numeric_limits<int32_t>::min();
  const int32_t most = std::numeric_limits<int32_t>::max();
  const Picture picture = noise(40, 30, 60);
  std::vector<ST_KEYPOINT> points;
  for (const int32_t x : {least, -640, 0, 40 * 64, most}) {
    for (const int32_t y : {least, 640, most})
      points.push_back(at(x, y, 20));
  }
  const auto expected = plainDescriptors(picture, points);
  for (const Form form : kForms)
    EXPECT_EQ(described(form, picture, points), expected);
}

TEST(GenerateDiscriptor, TakesAnySize) {
  const Picture picture = noise(300, 200, 61);
  const int32_t x = 150 * 64;
  const int32_t y = 100 * 64;
  // 1923 is the last size whose samples are not all 0: their spacing is 256, floor(65536 / 256^2)
  // is 1.
  ASSERT_EQ(spacingOf(1923), 256);
  ASSERT_EQ(spacingOf(1924), 257);
  const ST_KEYPOINT largest = at(x, y, 1923);
  const Values expected = plainDescriptor(picture, largest);
  EXPECT_NE(std::count(expected.begin(), expected.end(), 0), 64);
  EXPECT_EQ(described(kForms[0], picture, {largest}),
            std::vector<int32_t>(expected.begin(), expected.end()));
  // Beyond, the points beside it are described as ever, and no memory is asked for its window.
  const auto small = plainDescriptor(picture, at(x, y, 20));
  for (const int32_t size : {1924, 5000, 1000000, 700000000}) {
    for (const Form form : kForms) {
      const auto values = described(form, picture, {at(x, y, size), at(x, y, 20)});
      EXPECT_THAT(std::vector<int32_t>(values.begin(), values.begin() + 64), Each(0)) << size;
      EXPECT_TRUE(std::equal(small.begin(), small.end(), values.begin() + 64)) << size;
    }
  }
}

TEST(GenerateDiscriptor, SharesPointsAmongFourSlots) {
  Picture picture = noise(60, 50, 62);
  const tagST_PIC pic = picture.record();
  for (const int32_t n : {0, 1, 3, 4, 5, 7, 8, 11}) {
    std::vector<ST_KEYPOINT> points;
    for (int32_t i = 0; i < n; ++i)
      points.push_back(at(i * 300, 1000 + i * 100, 20));
    const auto expected = plainDescriptors(picture, points);
    for (int32_t slot = 11; slot <= 16; ++slot) {
      GuardedBuffer<int32_t> out(points.size() * 64);
      DescriptorsJob job = {&pic, points.data(), out.data(), &kParams, nullptr, n, -7};
      GenerateDiscriptor_Simple_neon_multi_inside(&job, slot);
      EXPECT_EQ(job.result, 0);
      const bool inGroup = slot >= 12 && slot <= 15;
      const int32_t first = inGroup ? (slot - 12) * (n / 4) : 0;
      const int32_t end = !inGroup ? 0 : slot == 15 ? n : first + n / 4;
      for (int32_t i = 0; i < 64 * n; ++i) {
        const bool written = i >= 64 * first && i < 64 * end;
        ASSERT_EQ(out.data()[i], written ? expected[static_cast<std::size_t>(i)]
                                         : GuardedBuffer<int32_t>::unwritten())
            << n << " points, slot " << slot << ", value " << i;
      }
      EXPECT_TRUE(out.intact());
    }
  }
}

TEST(GenerateDiscriptor, DoesNothingForNoPoints) {
  for (const Form form : kForms) {
    EXPECT_TRUE(described(form, noise(20, 20, 63), {}).empty());
    Picture picture = noise(20, 20, 63);
    const tagST_PIC pic = picture.record();
    EXPECT_EQ(form(&pic, nullptr, nullptr, &kParams, nullptr, -5), 0);
    EXPECT_EQ(form(&pic, nullptr, nullptr, &kParams, nullptr, INT32_MIN), 0);
  }
}

TEST(GenerateDiscriptor, RefusesWhatItCannotDescribe) {
  Picture picture = noise(20, 20, 63);
  ST_KEYPOINT point = at(640, 640, 20);
  const auto expectRefusal = [&](tagST_PIC pic, int32_t patchSize) {
    for (const Form form : kForms) {
      tagDISCRIPTOR_PARAMS params = kParams;
      params.patchSize = patchSize;
      std::vector<int32_t> out(64, -9);
      EXPECT_EQ(form(&pic, &point, out.data(), &params, nullptr, 1), SR_RET_PARAMS_OUT_OF_RANGE);
      EXPECT_THAT(out, Each(-9));
    }
  };
  for (const int32_t patchSize : {19, 21, 0, -20})
    expectRefusal(picture.record(), patchSize);
  tagST_PIC pic = picture.record();
  pic.data = nullptr;
  expectRefusal(pic, 20);
  pic = picture.record();
  pic.width = 0;
  expectRefusal(pic, 20);
  pic = picture.record();
  pic.height = -1;
  expectRefusal(pic, 20);
}

// A size whose window has a side beyond 32 bits: 21 * round(size * 0.1333).
constexpr int32_t kHopelessSize = std::numeric_limits<int32_t>::max();
constexpr const char* kPlainMessage = "GETFEATURE_SURF: malloc failed!\n";
constexpr const char* kSharedMessage =
    "GenerateDiscriptor_Simple_neon_multi_inside: malloc failed!\n";

auto errorLine(const char* message) {
  return AllOf(HasSubstr(">>BRISOLE2[error][src/registration/source/surf]"), EndsWith(message));
}

TEST(GenerateDiscriptor, ReportsAWindowThatCannotBeHad) {
  InitLogParams(nullptr, 2);
  const Picture picture = noise(50, 50, 64);
  const std::vector<ST_KEYPOINT> points = {at(1600, 1600, 20), at(1600, 1600, kHopelessSize)};
  for (const Form form : {kForms[0], kForms[1]}) {
    LogCapture log;
    EXPECT_THAT(described(form, picture, points, -1000), Each(GuardedBuffer<int32_t>::unwritten()));
    EXPECT_THAT(log.takeTexts(), testing::ElementsAre(errorLine(kPlainMessage)));
  }
  // On slots the failure of one share leaves the others alone: two points each.
  std::vector<ST_KEYPOINT> many(8, at(1600, 1600, 20));
  many[5].size = kHopelessSize;
  LogCapture log;
  const auto values = described(kForms[2], picture, many, -1000);
  EXPECT_THAT(log.takeTexts(), testing::ElementsAre(errorLine(kSharedMessage)));
  const Values expected = plainDescriptor(picture, many[0]);
  for (std::size_t i = 0; i < values.size(); ++i) {
    const bool failed = i / 64 == 4 || i / 64 == 5;
    ASSERT_EQ(values[i], failed ? GuardedBuffer<int32_t>::unwritten() : expected[i % 64]) << i;
  }
}

TEST(GenerateDiscriptor, ReportsFailedScratch) {
  InitLogParams(nullptr, 2);
  const Picture picture = noise(50, 50, 64);
  const std::vector<ST_KEYPOINT> points(8, at(1600, 1600, 20));
  for (const Form form : kForms) {
    const bool shared = form == kForms[2];
    for (int n = 0; n < (shared ? 4 : 1); ++n) {
      LogCapture log;
      const HeapFaults heap(n);
      described(form, picture, points, -1000);
      EXPECT_EQ(heap.live(), 0u);
      EXPECT_THAT(log.takeTexts(),
                  testing::ElementsAre(errorLine(shared ? kSharedMessage : kPlainMessage)));
    }
    const HeapFaults heap;
    described(form, picture, points, 0);
    EXPECT_EQ(heap.requests(), shared ? 4 : 1);
    EXPECT_EQ(heap.live(), 0u);
  }
}

}  // namespace
