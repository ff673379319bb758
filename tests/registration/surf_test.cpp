#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "registration/call_support.h"
#include "registration/feature_support.h"
#include "support/page_buffer.h"
#include "velmora_sr/velmora_sr.h"

namespace velmora::test {
namespace {

using Points = std::vector<ST_KEYPOINT>;
constexpr auto kForms = {GenerateDiscriptor_Simple, GenerateDiscriptor_Simple_neon,
                         GenerateDiscriptor_Simple_neon_multi};

ST_KEYPOINT point(int64_t x, int64_t y, int32_t size) {
  return {-1, -1, static_cast<int32_t>(x), static_cast<int32_t>(y), size};
}

/// Descriptors of all points, the same by all forms; what was not written is kUnwritten.
std::vector<int32_t> described(Frame frame, Points points, int32_t result = 0,
                               int32_t patchSize = 20) {
  const tagST_PIC pic = frame.record();
  const tagDISCRIPTOR_PARAMS params = {-1, -1, -1, patchSize};
  const auto count = static_cast<int32_t>(points.size());
  std::vector<int32_t> first;
  for (const auto form : kForms) {
    PageBuffer<int32_t> out(points.size() * 64);
    std::fill_n(out.data(), points.size() * 64, kUnwritten);
    EXPECT_EQ(form(&pic, points.data(), out.data(), &params, nullptr, count), result);
    EXPECT_TRUE(out.intact());
    const std::vector<int32_t> values(out.data(), out.data() + points.size() * 64);
    if (first.empty()) first = values;
    EXPECT_EQ(values, first);
  }
  return first;
}

TEST(GenerateDiscriptor, GivesTheSameBitsOnEveryMachine) {
  // The digests are those of descriptors summed pixel by pixel.
  const struct {
    Frame frame;
    uint32_t digest;
  } cases[] = {{noise(90, 70, 52), 4007718334}, {texture(120, 100, 53), 1812737060},
               {noise(1, 1, 54), 2974900726},   {noise(3, 200, 55), 1083816546},
               {noise(200, 1, 56), 3076415128}, {Frame(50, 50, 77), 2974900726}};
  for (const bool running : {false, true}) {
    const Pool pool(running);
    Random random(51);
    for (const auto& [frame, digest] : cases) {
      Points points;
      // Every spacing up to 9, inside, across each edge and far outside.
      for (int32_t i = 0; i < 90; ++i) {
        const int32_t beyond = i % 3 == 0 ? 0 : 40 * 64;
        const int64_t x = random.range(-beyond, frame.width * 64 + beyond);
        points.push_back(point(x, random.range(-beyond, frame.height * 64 + beyond), 4 + i % 64));
      }
      EXPECT_EQ(digestOf(described(frame, points)), digest) << frame.width;
    }
  }
}

TEST(GenerateDiscriptor, SeesTheSlopeAndNotTheBrightness) {
  Frame frame(100, 100), brighter(100, 100);
  for (int32_t i = 0; i < 10000; ++i) {
    frame.data[i] = static_cast<uint8_t>(2 * (i / 100));  // brighter downwards
    brighter.data[i] = static_cast<uint8_t>(frame.data[i] + 55);
  }
  const auto values = described(frame, {point(50 * 64, 50 * 64, 9)});
  double squares = 0;
  for (std::size_t i = 0; i < 64; i += 4) {  // dx, dy, |dx| and |dy| of a region
    EXPECT_GT(values[i + 1], std::abs(values[i]));
    EXPECT_EQ(values[i + 1], values[i + 3]);
    for (std::size_t k = i; k < i + 4; ++k)
      squares += 1.0 * values[k] * values[k];
  }
  EXPECT_NEAR(std::sqrt(squares), 1 << 23, 100);
  EXPECT_EQ(described(brighter, {point(50 * 64, 50 * 64, 9)}), values);
}

TEST(GenerateDiscriptor, TakesAnyPositionAndSize) {
  const Frame frame = noise(300, 200, 60);
  Points points;
  for (const int32_t x : {INT32_MIN, -640, 0, 300 * 64, INT32_MAX}) {
    for (const int32_t y : {INT32_MIN, 640, INT32_MAX})
      points.push_back(point(x, y, 20));
  }
  // Samples of size 1923 are 256 pixels apart, and floor(65536 / 256^2) is 1: the last size whose
  // descriptor is not all 0. Beyond, no memory is asked for the window. Below 4 nothing is written.
  for (const int32_t size : {1923, 1924, 5000, 1000000, 700000000, 3, 0, -4, INT32_MIN})
    points.push_back(point(150 * 64, 100 * 64, size));
  EXPECT_EQ(digestOf(described(frame, points)), 3150932854u);
}

TEST(GenerateDiscriptor, RefusesWhatItCannotDescribe) {
  const std::vector<int32_t> untouched(64, kUnwritten);
  Frame good = noise(20, 20, 63), flat = good, narrow = good;
  narrow.width = 0;
  flat.height = -1;
  for (const auto& [frame, patchSize] : {std::pair{good, 19}, {good, 21}, {narrow, 20}, {flat, 20}})
    EXPECT_EQ(described(frame, {point(640, 640, 20)}, SR_RET_PARAMS_OUT_OF_RANGE, patchSize),
              untouched);
  const tagDISCRIPTOR_PARAMS params = {-1, -1, -1, 20};
  tagST_PIC pic = good.record(), empty = pic;
  empty.data = nullptr;
  for (const auto form : kForms) {
    EXPECT_EQ(form(&pic, nullptr, nullptr, &params, nullptr, 0), 0);
    EXPECT_EQ(form(&pic, nullptr, nullptr, &params, nullptr, INT32_MIN), 0);
    EXPECT_EQ(form(&empty, nullptr, nullptr, &params, nullptr, 1), SR_RET_PARAMS_OUT_OF_RANGE);
  }
}

}  // namespace
}  // namespace velmora::test
