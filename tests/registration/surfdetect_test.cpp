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

/// A list of points with room for the most; shows what was written.
struct PointList {
  std::vector<ST_KEYPOINT> records;
  int32_t count;

  explicit PointList(int32_t start = 0) : records(kMaxKeypoints, kUntouched), count(start) {}
  ~PointList() {
    for (const ST_KEYPOINT& record : records) {
      EXPECT_EQ(record.reserved1, kUntouched.reserved1);
      EXPECT_EQ(record.reserved2, kUntouched.reserved2);
    }
  }
  PointList(const PointList&) = delete;
  PointList& operator=(const PointList&) = delete;

  [[nodiscard]] std::vector<Point> points(int32_t first = 0) const {
    return pointsOf({records.begin() + first, records.end()}, count - first);
  }
};

/// Three layers of one octave with planes of their own, all zero.
struct Octave {
  int32_t cols, rows;
  std::array<std::vector<int32_t>, 3> planes;
  std::array<tagOctaveLayer, 3> layers;

  Octave(int32_t columns, int32_t rowCount, int32_t step = 1) : cols(columns), rows(rowCount) {
    for (std::size_t l = 0; l < 3; ++l) {
      planes[l].assign(static_cast<std::size_t>(cols) * rows, 0);
      layers[l] = {planes[l].data(), (9 + 6 * static_cast<int32_t>(l)) * step, step, cols, rows};
    }
  }
  int32_t& at(std::size_t layer, int32_t r, int32_t c) {
    return planes[layer][static_cast<std::size_t>(r) * cols + c];
  }
  std::vector<Point> maxima(float threshold, decltype(&FindMaximaInLayer) search) {
    PointList list;
    const tagSURFParams params = surfParams(threshold);
    search(nullptr, &params, layers.data(), 1, list.records.data(), &list.count);
    return list.points();
  }
  std::vector<Point> maxima(float threshold) { return maxima(threshold, FindMaximaInLayer); }
};

/// Every candidate by the definition of a maximum, refined, without a limit. The refinement itself
/// is the library's.
std::vector<Point> plainMaxima(const tagOctaveLayer* three, double threshold) {
  const tagOctaveLayer& middle = three[1];
  const int32_t margin = three[2].size / 2 / middle.step + 1;
  std::vector<Point> points;
  for (int32_t r = margin; r < middle.rows - margin; ++r) {
    for (int32_t c = margin; c < middle.cols - margin; ++c) {
      int32_t n[3][9];
      int32_t notBelow = 0;  // the value itself is one of them
      const int32_t value = middle.det[r * middle.cols + c];
      for (int32_t l = 0; l < 3; ++l) {
        for (int32_t i = 0; i < 9; ++i) {
          n[l][i] = three[l].det[(r + i / 3 - 1) * middle.cols + c + i % 3 - 1];
          notBelow += n[l][i] >= value;
        }
      }
      if (value <= static_cast<int64_t>(threshold * 16 + 0.5) || notBelow != 1) continue;
      const int32_t t = middle.step;
      ST_KEYPOINT p = {};
      p.size = middle.size;
      p.x = (p.size - 1) * 32 + t * (c - p.size / 2 / t) * 64;
      p.y = (p.size - 1) * 32 + t * (r - p.size / 2 / t) * 64;
      if (InterpolateKeypoint(n, t, t, middle.size - three[0].size, &p) != 0) {
        points.emplace_back(p.x, p.y, p.size);
      }
    }
  }
  return points;
}

TEST(FindMaximaInLayer, EqualsItsDefinition) {
  Random random(31);
  std::size_t total = 0;
  for (int32_t round = 0; round < 60; ++round) {
    // Rows longer than one chunk of the scan as well, and planes without a sample in the margins.
    Octave octave(static_cast<int32_t>(random.range(0, round % 5 == 0 ? 620 : 90)),
                  static_cast<int32_t>(random.range(0, 60)), 1 << round % 3);
    const int64_t range = round % 2 != 0 ? 40 : 2000000;  // many ties, or none
    for (auto& plane : octave.planes) {
      for (auto& value : plane)
        value = static_cast<int32_t>(random.range(-range, range));
    }
    const float threshold = static_cast<float>(range) / 64;
    const auto expected = plainMaxima(octave.layers.data(), threshold);
    EXPECT_EQ(octave.maxima(threshold), expected) << round;
    EXPECT_EQ(octave.maxima(threshold, FindMaximaInLayer_neon), expected) << round;
    total += expected.size();
  }
  EXPECT_GT(total, 300u);
}

TEST(FindMaximaInLayer, PlacesAPeakAtTheCentreOfItsFilter) {
  // A filter of 15 pixels on an odd grid point is centred on a pixel, one of 30 between pixels.
  Octave first(40, 36, 1), second(40, 36, 2);
  first.at(1, 15, 20) = second.at(1, 15, 20) = 5000;
  EXPECT_THAT(first.maxima(280), ElementsAre(Point(20 * 64, 15 * 64, 15)));
  EXPECT_THAT(second.maxima(280), ElementsAre(Point(40 * 64 + 32, 30 * 64 + 32, 30)));
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
    Octave octave(30, 30);
    for (auto& plane : octave.planes)
      std::fill(plane.begin(), plane.end(), -10000);
    octave.at(1, 14, 15) = c.highestRejected;
    EXPECT_EQ(octave.maxima(c.threshold).size(), 0u) << c.threshold;
    if (c.highestRejected == INT32_MAX) continue;
    ++octave.at(1, 14, 15);
    EXPECT_EQ(octave.maxima(c.threshold).size(), 1u) << c.threshold;
  }
}

TEST(FindMaximaInLayer, KeepsTheLastRecordAsScratch) {
  Octave octave(60, 36);
  std::vector<Point> peaks;
  for (int32_t c = 12; c <= 28; c += 4) {
    octave.at(1, 15, c) = 5000;
    peaks.emplace_back(c * 64, 15 * 64, 15);
  }
  const tagSURFParams params = surfParams();
  for (const int32_t start : {11996, 11998, 11999}) {
    PointList list(start);
    FindMaximaInLayer(nullptr, &params, octave.layers.data(), 1, list.records.data(), &list.count);
    EXPECT_EQ(list.count, 11999);
    ++list.count;  // the candidate that found no room
    peaks.resize(static_cast<std::size_t>(kMaxKeypoints - start));
    EXPECT_EQ(list.points(start), peaks);
  }
}

TEST(FindMaximaInLayer, RefusesLayersThatShareNoGrid) {
  using Layers = std::array<tagOctaveLayer, 3>;
  const struct {
    void (*change)(Layers&);
    std::size_t found;
  } cases[] = {{[](Layers&) {}, 1},
               {[](Layers& layers) { layers[0].cols = 29; }, 0},
               {[](Layers& layers) { layers[2].rows = 12; }, 0},
               {[](Layers& layers) { layers[2].step = 2; }, 0},
               {[](Layers& layers) { layers[0].step = layers[1].step = layers[2].step = 0; }, 0}};
  for (const auto& c : cases) {
    Octave octave(30, 30);
    octave.at(1, 14, 15) = 5000;
    c.change(octave.layers);
    EXPECT_EQ(octave.maxima(280).size(), c.found) << &c - cases;
  }
}

using Detector = decltype(&SURF_detect);
constexpr Detector kDetectors[] = {SURF_detect, SURF_detect_neon};

std::vector<Point> detected(Detector detect, const Integral& integral,
                            const tagSURFParams& params) {
  PointList list;
  EXPECT_EQ(detect(&integral.record, &params, list.records.data(), &list.count), 0);
  return list.points();
}

/// The points of the first `middleLayers` searched layers, from planes that hold nothing but
/// computed responses: anything else that a search reads would change the result.
std::vector<Point> plainDetection(const Integral& integral, const tagSURFParams& params,
                                  int32_t middleLayers = INT32_MAX) {
  std::vector<Point> points;
  for (int32_t o = 0; o < params.nOctaves; ++o) {
    std::vector<tagOctaveLayer> layers;
    std::vector<std::vector<int32_t>> planes;
    for (int32_t l = 0; l < params.nOctaveLayers + 2; ++l) {
      const int32_t step = 1 << o;
      const int32_t cols = (integral.record.width - 1) / step;
      const int32_t rows = (integral.record.height - 1) / step;
      planes.emplace_back(static_cast<std::size_t>(cols) * rows, l % 2 ? INT32_MAX : INT32_MIN);
      layers.push_back({planes.back().data(), (9 + 6 * l) << o, step, cols, rows});
      CalcLayerDet_0123_neon(&integral.record, &layers.back());
    }
    for (int32_t l = 0; l < params.nOctaveLayers && middleLayers > 0; ++l, --middleLayers) {
      const auto found = plainMaxima(&layers[static_cast<std::size_t>(l)],
                                     static_cast<double>(params.hessianThreshold));
      points.insert(points.end(), found.begin(), found.end());
    }
  }
  points.resize(std::min<std::size_t>(points.size(), 11999));
  return points;
}

void expectPlainDetection(const Picture& picture, const tagSURFParams& params) {
  const Integral integral(picture);
  EXPECT_EQ(detected(SURF_detect, integral, params), plainDetection(integral, params));
  // The parallel form searches the first two middle layers only.
  EXPECT_EQ(detected(SURF_detect_neon, integral, params), plainDetection(integral, params, 2));
}

TEST(SurfDetect, EqualsItsDefinition) {
  for (const bool running : {false, true}) {
    const Pool pool(running);
    const CallInProgress call;
    for (const Picture& picture :
         {noise(150, 130, 41), texture(201, 160, 42), noise(31, 200, 43)}) {
      for (const auto& [octaves, layers] :
           {std::pair{1, 2}, {1, 1}, {2, 1}, {2, 2}, {1, 3}, {3, 4}, {4, 1}}) {
        SCOPED_TRACE(testing::Message() << octaves << " octaves, " << layers << " layers");
        expectPlainDetection(picture, surfParams(50, octaves, layers));
      }
    }
  }
}

TEST(SurfDetect, TakesPicturesOfAnySize) {
  const CallInProgress call;
  for (const int32_t width : {1, 2, 8, 9, 26, 27, 28, 29, 30, 45}) {
    for (const int32_t height : {1, 3, 9, 28, 29, 33}) {
      SCOPED_TRACE(testing::Message() << width << " x " << height);
      expectPlainDetection(noise(width, height, static_cast<uint64_t>(width * 64 + height)),
                           surfParams(1));
    }
  }
}

TEST(SurfDetect, StopsAt11999Points) {
  // The first searched layer leaves some room, the second one finds more than that.
  const Pool pool;
  const CallInProgress call;
  const Integral integral(noise(1150, 1150, 44));
  const auto expected = plainDetection(integral, surfParams(1));
  ASSERT_EQ(expected.size(), 11999u);
  for (const Detector detect : kDetectors)
    EXPECT_EQ(detected(detect, integral, surfParams(1)), expected);
}

TEST(SurfDetect, FindsASquareAtItsCentre) {
  const CallInProgress call;
  // 7 pixels around (60, 50), as wide as the lobes of size 21; the response of size 15 is larger,
  // and the maximum lies between the two.
  Picture picture(120, 100, 20);
  for (int32_t y = 47; y <= 53; ++y)
    std::fill_n(&picture.at(y, 57), 7, uint8_t{220});
  EXPECT_THAT(detected(SURF_detect_neon, Integral(picture), surfParams()),
              ElementsAre(Point(60 * 64, 50 * 64, 18)));
}

TEST(SurfDetect, ContinuesAListThatHasPoints) {
  const CallInProgress call;
  const Integral integral(noise(150, 130, 41));
  const tagSURFParams params = surfParams();
  const auto fresh = detected(SURF_detect, integral, params);
  ASSERT_GT(fresh.size(), 20u);
  for (const Detector detect : kDetectors) {
    for (const int32_t start : {5, 11990, 11999, -1, 12000}) {
      SCOPED_TRACE(start);
      PointList list(start);
      EXPECT_EQ(detect(&integral.record, &params, list.records.data(), &list.count), 0);
      auto expected = fresh;
      const bool valid = start >= 0 && start <= 11999;  // other lists stay as they are
      expected.resize(valid ? std::min<std::size_t>(fresh.size(), 11999 - start) : 0);
      EXPECT_EQ(list.count, start + static_cast<int32_t>(expected.size()));
      if (valid) {
        EXPECT_EQ(list.points(start), expected);
      } else {
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
  const auto expected = detected(SURF_detect, integral, surfParams(280, 4, 1));
  for (const int32_t octaves : {5, 8, 31, 32, 1000, INT32_MAX})
    EXPECT_EQ(detected(SURF_detect, integral, surfParams(280, octaves, 1)), expected) << octaves;
  for (const Detector detect : kDetectors) {
    for (const int32_t none : {0, -1, -2, INT32_MIN}) {
      EXPECT_TRUE(detected(detect, integral, surfParams(280, none, 2)).empty());
      EXPECT_TRUE(detected(detect, integral, surfParams(280, 1, none)).empty());
    }
    // Planes that no allocator can give.
    const std::size_t requests = TestAllocator::requests().size();
    for (const int32_t octaves : {1, 40, INT32_MAX}) {
      const tagSURFParams params = surfParams(280, octaves, INT32_MAX);
      PointList list;
      EXPECT_EQ(detect(&integral.record, &params, list.records.data(), &list.count), -1000);
    }
    EXPECT_EQ(TestAllocator::requests().size(), requests);
  }
}

TEST(SurfDetect, TakesItsMemoryAndReportsWhenThereIsNone) {
  const Integral integral(noise(60, 50, 45));
  const tagSURFParams params = surfParams();
  const Report report = {"surf", "GETFEATURE_SURF: malloc failed!"};
  for (const Detector detect : kDetectors) {
    const auto call = [&] {
      PointList list(3);
      return detect(&integral.record, &params, list.records.data(), &list.count);
    };
    EXPECT_EQ(call(), -1000);  // no call in progress
    const CallInProgress running;
    // One block for all planes, and the lists of the parallel searches.
    expectEachHeapFailureReported(std::vector<Report>(detect == SURF_detect ? 1 : 2, report), call);
    EXPECT_EQ(TestAllocator::requests().back(),
              2 * 4 + 4 * sizeof(tagOctaveLayer) + 4 * 61 * 51 * 16);
  }
}

}  // namespace
}  // namespace velmora::test
