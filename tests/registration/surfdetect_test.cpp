#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "registration/call_support.h"
#include "registration/feature_support.h"

namespace velmora::test {
namespace {

using testing::ElementsAre;

constexpr ST_KEYPOINT kUntouched = {-1, -2, -3, -4, -5};

/// A list of points with room for the most.
struct PointList {
  std::vector<ST_KEYPOINT> records = std::vector<ST_KEYPOINT>(kMaxKeypoints, kUntouched);
  int32_t start, count;

  explicit PointList(int32_t first) : start(first), count(first) {}
  /// What was appended.
  [[nodiscard]] std::vector<int32_t> points() const {
    for (const ST_KEYPOINT& record : records) {
      EXPECT_EQ(record.reserved1, kUntouched.reserved1);
      EXPECT_EQ(record.reserved2, kUntouched.reserved2);
    }
    return pointsOf(records, count, start);
  }
};

/// Three layers of one octave with planes of their own, all of one value.
struct Octave {
  std::array<std::vector<int32_t>, 3> planes;
  std::array<tagOctaveLayer, 3> layers;

  explicit Octave(int32_t cols, int32_t rows, int32_t step = 1, int32_t value = 0) {
    for (std::size_t l = 0; l < 3; ++l) {
      planes[l].assign(static_cast<std::size_t>(cols) * rows, value);
      layers[l] = {planes[l].data(), (9 + 6 * static_cast<int32_t>(l)) * step, step, cols, rows};
    }
  }
  /// A response of the middle layer.
  int32_t& at(int32_t r, int32_t c) {
    return planes[1][static_cast<std::size_t>(r) * layers[1].cols + c];
  }
  PointList search(decltype(&FindMaximaInLayer) find, float threshold, int32_t start = 0) {
    PointList list(start);
    const tagSURFParams params = surfParams(threshold);
    find(nullptr, &params, layers.data(), 1, list.records.data(), &list.count);
    return list;
  }
  std::vector<int32_t> maxima(float threshold) {
    const auto points = search(FindMaximaInLayer, threshold).points();
    EXPECT_EQ(search(FindMaximaInLayer_neon, threshold).points(), points);
    return points;
  }
};

TEST(FindMaximaInLayer, GivesTheSameBitsOnEveryMachine) {
  // The digest is that of a search by the definition of a maximum.
  Random random(31);
  Digest digest;
  for (int32_t round = 0; round < 60; ++round) {
    // Rows longer than one chunk of the scan as well, and planes without a sample in the margins.
    const auto cols = static_cast<int32_t>(random.range(0, round % 5 == 0 ? 620 : 90));
    Octave octave(cols, static_cast<int32_t>(random.range(0, 60)), 1 << round % 3);
    const int64_t range = round % 2 != 0 ? 40 : 2000000;  // many ties, or none
    for (auto& plane : octave.planes) {
      for (auto& value : plane)
        value = static_cast<int32_t>(random.range(-range, range));
    }
    digest.addAll(octave.maxima(static_cast<float>(range) / 64));
  }
  EXPECT_EQ(digest.value(), 3972645539u);
}

TEST(FindMaximaInLayer, PlacesAPeakAtTheCentreOfItsFilter) {
  // A filter of 15 pixels on an odd grid point is centred on a pixel, one of 30 between pixels.
  Octave first(40, 36, 1), second(40, 36, 2);
  first.at(15, 20) = second.at(15, 20) = 5000;
  EXPECT_THAT(first.maxima(280), ElementsAre(20 * 64, 15 * 64, 15));
  EXPECT_THAT(second.maxima(280), ElementsAre(40 * 64 + 32, 30 * 64 + 32, 30));
  // Layers that share no grid are refused.
  for (int32_t tagOctaveLayer::*property :
       {&tagOctaveLayer::cols, &tagOctaveLayer::rows, &tagOctaveLayer::step}) {
    for (const std::size_t layer : {0, 2}) {
      Octave octave = first;
      octave.layers[layer].*property = 12;
      EXPECT_THAT(octave.maxima(280), testing::IsEmpty());
    }
  }
  for (tagOctaveLayer& layer : first.layers)
    layer.step = 0;
  EXPECT_THAT(first.maxima(280), testing::IsEmpty());
}

TEST(FindMaximaInLayer, WantsMoreThanSixteenTimesTheThreshold) {
  const struct {
    float threshold;
    int32_t highestRejected;
  } cases[] = {{280.0f, 4480},        {0.03f, 0},     {0.04f, 1},
               {0.09375f, 2},         {NAN, 0},       {1e9f, INT32_MAX},
               {INFINITY, INT32_MAX}, {-31.3f, -500}, {-31.35f, -501},  // -500.3 and -501.1, cut
               {-INFINITY, -10000}};  // the lowest threshold: all are above
  for (const auto& c : cases) {
    Octave octave(30, 30, 1, -10000);
    octave.at(14, 15) = c.highestRejected;
    EXPECT_EQ(octave.maxima(c.threshold).size(), 0u) << c.threshold;
    if (c.highestRejected == INT32_MAX) continue;
    ++octave.at(14, 15);
    EXPECT_EQ(octave.maxima(c.threshold).size(), 3u) << c.threshold;
  }
}

TEST(FindMaximaInLayer, KeepsTheLastRecordAsScratch) {
  Octave octave(60, 36);
  for (int32_t c = 12; c <= 28; c += 4)
    octave.at(15, c) = 5000;
  for (const int32_t start : {11996, 11998, 11999}) {
    const PointList list = octave.search(FindMaximaInLayer, 280, start);
    EXPECT_EQ(list.count, 11999);
    for (int32_t i = start; i < kMaxKeypoints; ++i)  // the candidate that found no room is the last
      EXPECT_EQ(list.records[i].x, (12 + 4 * (i - start)) * 64);
  }
}

constexpr auto kDetectors = {SURF_detect, SURF_detect_neon};
using Detector = decltype(&SURF_detect);

PointList detected(Detector detect, const Integral& integral, const tagSURFParams& params,
                   int32_t start = 0, int32_t result = 0) {
  PointList list(start);
  EXPECT_EQ(detect(&integral.record, &params, list.records.data(), &list.count), result);
  return list;
}

TEST(SurfDetect, GivesTheSameBitsOnEveryMachine) {
  // The digests are those of searches by definition, in planes that hold responses and nothing
  // else. The parallel form searches the first two middle layers only.
  for (const bool running : {false, true}) {
    const Pool pool(running);
    const CallInProgress call;
    for (const auto& [frame, expected] : {std::pair{noise(150, 130, 41), 3130116738u},
                                          {texture(201, 160, 42), 15898351u},
                                          {noise(31, 200, 43), 3690013129u}}) {
      const Integral integral(frame);
      Digest digest;
      for (const auto& [octaves, layers] :
           {std::pair{1, 2}, {1, 1}, {2, 1}, {2, 2}, {1, 3}, {3, 4}, {4, 1}}) {
        for (const Detector detect : kDetectors)
          digest.addAll(detected(detect, integral, surfParams(50, octaves, layers)).points());
      }
      EXPECT_EQ(digest.value(), expected) << frame.width;
    }
    Digest digest;
    for (const int32_t width : {1, 2, 8, 9, 26, 27, 28, 29, 30, 45}) {
      for (const int32_t height : {1, 3, 9, 28, 29, 33}) {
        const Integral integral(noise(width, height, static_cast<uint64_t>(width * 64 + height)));
        for (const Detector detect : kDetectors)
          digest.addAll(detected(detect, integral, surfParams(1)).points());
      }
    }
    EXPECT_EQ(digest.value(), 569100978u);
    // The first searched layer leaves some room, the second one finds more than that.
    const Integral full(noise(1150, 1150, 44));
    for (const Detector detect : kDetectors) {
      const PointList list = detected(detect, full, surfParams(1));
      EXPECT_EQ(list.count, 11999);
      EXPECT_EQ(digestOf(list.points()), 1810919710u);
    }
  }
}

TEST(SurfDetect, ContinuesAListThatHasPoints) {
  const CallInProgress call;
  const Integral integral(noise(150, 130, 41));
  const auto fresh = detected(SURF_detect, integral, surfParams()).points();
  ASSERT_GT(fresh.size(), 60u);
  for (const Detector detect : kDetectors) {
    for (const int32_t start : {5, 11990, 11999, -1, 12000}) {
      const PointList list = detected(detect, integral, surfParams(), start);
      if (start >= 0 && start <= 11999) {
        auto expected = fresh;
        expected.resize(std::min<std::size_t>(fresh.size(), 3 * (11999 - start)));
        EXPECT_EQ(list.points(), expected) << start;
      } else {  // other lists stay as they are
        EXPECT_EQ(list.count, start);
        EXPECT_EQ(list.records[0].x, kUntouched.x);
        EXPECT_EQ(list.records.back().x, kUntouched.x);
      }
    }
  }
}

TEST(SurfDetect, TakesAnyNumberOfOctavesAndLayers) {
  const CallInProgress call;
  const Integral integral(noise(150, 130, 41));
  // Octaves whose filters do not fit add nothing, however many there are.
  const auto expected = detected(SURF_detect, integral, surfParams(280, 4, 1)).points();
  for (const int32_t octaves : {5, 8, 31, 32, INT32_MAX})
    EXPECT_EQ(detected(SURF_detect, integral, surfParams(280, octaves, 1)).points(), expected);
  for (const Detector detect : kDetectors) {
    for (const int32_t none : {0, -2, INT32_MIN}) {
      EXPECT_EQ(detected(detect, integral, surfParams(280, none, 2)).count, 0);
      EXPECT_EQ(detected(detect, integral, surfParams(280, 1, none)).count, 0);
    }
    detected(detect, integral, surfParams());  // takes one block for all planes
    // Planes that no allocator can give are not asked for.
    for (const int32_t octaves : {1, 40, INT32_MAX})
      detected(detect, integral, surfParams(280, octaves, INT32_MAX), 0, -1000);
    EXPECT_EQ(TestAllocator::requests().back(),
              2 * 4 + 4 * sizeof(tagOctaveLayer) + 4 * 151 * 131 * 16);
  }
}

}  // namespace
}  // namespace velmora::test
