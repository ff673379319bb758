#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <vector>

#include "registration/feature_support.h"
#include "support/heap_faults.h"
#include "support/log_capture.h"
#include "velmora_sr/logging.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using velmora::test::CallInProgress;
using velmora::test::HeapFaults;
using velmora::test::Integral;
using velmora::test::LogCapture;
using velmora::test::noise;
using velmora::test::Picture;
using velmora::test::Point;
using velmora::test::pointsOf;
using velmora::test::Pool;
using velmora::test::Random;
using velmora::test::surfParams;
using velmora::test::TestAllocator;
using velmora::test::texture;

constexpr ST_KEYPOINT kUntouched = {-1, -2, -3, -4, -5};

std::vector<ST_KEYPOINT> roomForPoints() {
  return std::vector<ST_KEYPOINT>(kMaxKeypoints, kUntouched);
}

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
};

/// Every candidate by the definition of a maximum, refined, without a limit. The refinement itself
/// is the library's.
std::vector<Point> plainMaxima(const tagOctaveLayer* three, int64_t threshold) {
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
      if (value <= threshold || notBelow != 1) continue;
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

using Search = void (*)(const tagIntegralMat*, const tagSURFParams*, tagOctaveLayer*, int32_t,
                        ST_KEYPOINT*, int32_t*);

std::vector<Point> maxima(Octave& octave, float threshold, Search search = FindMaximaInLayer) {
  const tagSURFParams params = surfParams(threshold);
  std::vector<ST_KEYPOINT> out = roomForPoints();
  int32_t count = 0;
  search(nullptr, &params, octave.layers.data(), 1, out.data(), &count);
  return pointsOf(out, count);
}

TEST(FindMaximaInLayer, PlacesAPeakAtTheCentreOfItsFilter) {
  Octave octave(40, 36);
  octave.at(1, 15, 20) = 5000;
  // A filter of 15 pixels on an odd grid point is centred on a pixel.
  EXPECT_THAT(maxima(octave, 280), ElementsAre(Point(20 * 64, 15 * 64, 15)));
  // Filters of even size have their centre between pixels: 30 pixels, step 2.
  Octave second(40, 36, 2);
  second.at(1, 15, 20) = 5000;
  EXPECT_THAT(maxima(second, 280), ElementsAre(Point(40 * 64 + 32, 30 * 64 + 32, 30)));
}

TEST(FindMaximaInLayer, WantsMoreThanSixteenTimesTheThreshold) {
  const float infinity = std::numeric_limits<float>::infinity();
  const struct {
    float threshold;
    int32_t highestRejected;
  } cases[] = {{280.0f, 4480},     {50.0f, 800},      {150.0f, 2400},
               {0.03f, 0},         {0.04f, 1},        {0.09375f, 2},
               {std::nanf(""), 0}, {1e9f, INT32_MAX}, {infinity, INT32_MAX}};
  for (const auto& c : cases) {
    Octave octave(30, 30);
    octave.at(1, 14, 15) = c.highestRejected;
    EXPECT_EQ(maxima(octave, c.threshold).size(), 0u) << c.threshold;
    if (c.highestRejected == INT32_MAX) continue;
    octave.at(1, 14, 15) = c.highestRejected + 1;
    EXPECT_EQ(maxima(octave, c.threshold).size(), 1u) << c.threshold;
  }
  // All responses are above the lowest threshold.
  Octave octave(30, 30);
  for (auto& plane : octave.planes)
    std::fill(plane.begin(), plane.end(), -1000);
  octave.at(1, 14, 15) = -500;
  EXPECT_EQ(maxima(octave, -infinity).size(), 1u);
  EXPECT_EQ(maxima(octave, -31.35f).size(), 1u);  // -501.1, cut to -501
  EXPECT_EQ(maxima(octave, -31.3f).size(), 0u);   // -500.3, cut to -500
}

TEST(FindMaximaInLayer, RejectsTiesWithEachOfTheNeighbours) {
  for (std::size_t l = 0; l < 3; ++l) {
    for (int32_t i = 0; i < 9; ++i) {
      if (l == 1 && i == 4) continue;
      Octave octave(30, 30);
      octave.at(1, 14, 15) = 6000;
      int32_t& neighbour = octave.at(l, 14 + i / 3 - 1, 15 + i % 3 - 1);
      neighbour = 5999;
      EXPECT_EQ(maxima(octave, 280).size(), 1u) << l << ", " << i;
      neighbour = 6000;
      EXPECT_EQ(maxima(octave, 280).size(), 0u) << l << ", " << i;
    }
  }
}

TEST(FindMaximaInLayer, ScansInsideTheMarginOfTheLayerAbove) {
  // The filter of the layer above has 21 pixels: margin 11.
  const struct {
    int32_t r, c;
    bool found;
  } cases[] = {{11, 11, true},  {10, 11, false}, {11, 10, false}, {11, 28, true},
               {11, 29, false}, {24, 28, true},  {25, 28, false}};
  for (const auto& c : cases) {
    Octave octave(40, 36);
    octave.at(1, c.r, c.c) = 5000;
    EXPECT_EQ(maxima(octave, 280).size(), c.found ? 1u : 0u) << c.r << ", " << c.c;
  }
  // No sample inside the margin: nothing is read, not even an empty plane.
  for (const int32_t side : {0, 1, 10, 22}) {
    Octave octave(side, side);
    EXPECT_EQ(maxima(octave, 280).size(), 0u);
  }
}

TEST(FindMaximaInLayer, EqualsItsDefinition) {
  Random random(31);
  std::size_t total = 0;
  for (int32_t round = 0; round < 40; ++round) {
    const int32_t step = 1 << round % 3;
    // Rows longer than one chunk of the scan as well.
    Octave octave(static_cast<int32_t>(random.range(20, round % 5 == 0 ? 620 : 90)),
                  static_cast<int32_t>(random.range(20, 60)), step);
    const int64_t range = round % 2 != 0 ? 40 : 2000000;  // many ties, or none
    for (auto& plane : octave.planes) {
      for (auto& value : plane)
        value = static_cast<int32_t>(random.range(-range, range));
    }
    const float threshold = static_cast<float>(range) / 64;
    const auto expected =
        plainMaxima(octave.layers.data(), static_cast<int64_t>(threshold * 16.0 + 0.5));
    EXPECT_EQ(maxima(octave, threshold), expected) << round;
    EXPECT_EQ(maxima(octave, threshold, FindMaximaInLayer_neon), expected) << round;
    total += expected.size();
  }
  EXPECT_GT(total, 300u);
}

TEST(FindMaximaInLayer, StopsAt11999Points) {
  // Peaks on every other sample: 139 x 139 of them.
  Octave octave(300, 300);
  std::vector<Point> all;
  for (int32_t r = 11; r < 289; r += 2) {
    for (int32_t c = 11; c < 289; c += 2) {
      octave.at(1, r, c) = 10000;
      all.emplace_back(c * 64, r * 64, 15);
    }
  }
  ASSERT_EQ(all.size(), 19321u);
  const tagSURFParams params = surfParams();
  for (const int32_t start : {0, 1, 11997, 11998, 11999}) {
    std::vector<ST_KEYPOINT> out = roomForPoints();
    int32_t count = start;
    FindMaximaInLayer(nullptr, &params, octave.layers.data(), 1, out.data(), &count);
    EXPECT_EQ(count, 11999);
    // The last record holds the candidate that found no room.
    const auto added = static_cast<std::size_t>(kMaxKeypoints - start);
    const std::vector<Point> expected(all.begin(), all.begin() + static_cast<int64_t>(added));
    const std::vector<ST_KEYPOINT> tail(out.begin() + start, out.end());
    EXPECT_EQ(pointsOf(tail, static_cast<int32_t>(tail.size())), expected) << start;
    for (int32_t i = 0; i < start; ++i)
      ASSERT_EQ(out[static_cast<std::size_t>(i)].x, kUntouched.x);
    EXPECT_EQ(out.back().reserved1, kUntouched.reserved1);
    EXPECT_EQ(out.back().reserved2, kUntouched.reserved2);
  }
  // A count that no list has: nothing is written.
  for (const int32_t start : {-1, 12000, INT32_MAX, INT32_MIN}) {
    std::vector<ST_KEYPOINT> out = roomForPoints();
    int32_t count = start;
    FindMaximaInLayer(nullptr, &params, octave.layers.data(), 1, out.data(), &count);
    EXPECT_EQ(count, start);
    EXPECT_EQ(pointsOf(out, kMaxKeypoints), pointsOf(roomForPoints(), kMaxKeypoints));
  }
}

TEST(FindMaximaInLayer, RefusesLayersThatShareNoGrid) {
  const tagSURFParams params = surfParams();
  const auto search = [&](auto change) {
    Octave octave(30, 30);
    octave.at(1, 14, 15) = 5000;
    change(octave.layers);
    std::vector<ST_KEYPOINT> out = roomForPoints();
    int32_t count = 0;
    FindMaximaInLayer(nullptr, &params, octave.layers.data(), 1, out.data(), &count);
    return count;
  };
  EXPECT_EQ(search([](auto&) {}), 1);
  EXPECT_EQ(search([](auto& layers) { layers[0].cols = 29; }), 0);
  EXPECT_EQ(search([](auto& layers) { layers[2].rows = 12; }), 0);
  EXPECT_EQ(search([](auto& layers) { layers[2].step = 2; }), 0);
  EXPECT_EQ(search([](auto& layers) {
              for (auto& layer : layers)
                layer.step = 0;
            }),
            0);
}

TEST(FindMaximaInLayer, HasAThreadJob) {
  Octave octave(40, 36);
  octave.at(1, 15, 20) = 5000;
  const tagSURFParams params = surfParams();
  std::vector<ST_KEYPOINT> out = roomForPoints();
  LayerMaximaJob job = {nullptr, &params, octave.layers.data(), 1, out.data(), 7};
  FindMaximaInLayer_neon_multi(&job, 13);
  EXPECT_EQ(job.count, 8);
  EXPECT_EQ(out[7].x, 20 * 64);
}

using Detector = int32_t (*)(const tagIntegralMat*, const tagSURFParams*, ST_KEYPOINT*, int32_t*);

std::vector<Point> detected(Detector detect, const Integral& integral,
                            const tagSURFParams& params) {
  std::vector<ST_KEYPOINT> out = roomForPoints();
  int32_t count = 0;
  EXPECT_EQ(detect(&integral.record, &params, out.data(), &count), 0);
  for (const ST_KEYPOINT& point : out) {
    EXPECT_EQ(point.reserved1, kUntouched.reserved1);
    EXPECT_EQ(point.reserved2, kUntouched.reserved2);
  }
  return pointsOf(out, count);
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
      const auto found = plainMaxima(
          &layers[static_cast<std::size_t>(l)],
          static_cast<int64_t>(static_cast<double>(params.hessianThreshold) * 16 + 0.5));
      points.insert(points.end(), found.begin(), found.end());
    }
  }
  points.resize(std::min<std::size_t>(points.size(), 11999));
  return points;
}

TEST(SurfDetect, FindsASquareAtItsCentre) {
  const CallInProgress call;
  // 7 pixels around (60, 50), as wide as the lobes of size 21; the response of size 15 is larger,
  // and the maximum lies between the two.
  Picture picture(120, 100, 20);
  for (int32_t y = 47; y <= 53; ++y)
    std::fill_n(&picture.at(y, 57), 7, uint8_t{220});
  const Integral integral(picture);
  for (const Detector detect : {SURF_detect, SURF_detect_neon}) {
    EXPECT_THAT(detected(detect, integral, surfParams()), ElementsAre(Point(60 * 64, 50 * 64, 18)));
  }
}

TEST(SurfDetect, FindsNothingInAFlatPicture) {
  const CallInProgress call;
  for (const int value : {0, 128, 255}) {
    const Integral integral(Picture(100, 80, static_cast<uint8_t>(value)));
    EXPECT_TRUE(detected(SURF_detect, integral, surfParams(0.001f)).empty());
    EXPECT_TRUE(detected(SURF_detect_neon, integral, surfParams(0.001f)).empty());
  }
}

TEST(SurfDetect, EqualsItsDefinition) {
  const CallInProgress call;
  std::size_t total = 0;
  for (const Picture& picture : {noise(150, 130, 41), texture(201, 160, 42), noise(31, 200, 43)}) {
    const Integral integral(picture);
    for (const auto& [octaves, layers] :
         {std::pair{1, 2}, {1, 1}, {2, 1}, {2, 2}, {3, 4}, {4, 1}}) {
      for (const float threshold : {50.0f, 280.0f}) {
        const tagSURFParams params = surfParams(threshold, octaves, layers);
        const auto expected = plainDetection(integral, params);
        EXPECT_EQ(detected(SURF_detect, integral, params), expected)
            << octaves << " octaves, " << layers << " layers";
        total += expected.size();
      }
    }
  }
  EXPECT_GT(total, 2000u);
}

TEST(SurfDetect, BothFormsFindTheSamePoints) {
  for (const bool running : {false, true}) {
    const Pool pool(running);
    const CallInProgress call;
    for (const Picture& picture : {noise(150, 130, 41), texture(201, 160, 42)}) {
      const Integral integral(picture);
      for (const auto& [octaves, layers] : {std::pair{1, 2}, {1, 1}, {2, 1}}) {
        const tagSURFParams params = surfParams(100.0f, octaves, layers);
        const auto expected = detected(SURF_detect, integral, params);
        for (int repeat = 0; repeat < 3; ++repeat)
          EXPECT_EQ(detected(SURF_detect_neon, integral, params), expected);
      }
      // The parallel form searches the first two middle layers only.
      for (const auto& [octaves, layers] : {std::pair{1, 3}, {2, 2}, {3, 1}, {3, 4}}) {
        const tagSURFParams params = surfParams(100.0f, octaves, layers);
        EXPECT_EQ(detected(SURF_detect_neon, integral, params),
                  plainDetection(integral, params, 2));
      }
    }
  }
}

TEST(SurfDetect, BothFormsStopAt11999Points) {
  const Pool pool(true);
  const CallInProgress call;
  // The first searched layer leaves some room, the second one finds more than that.
  const Integral integral(noise(1150, 1150, 44));
  const tagSURFParams params = surfParams(1.0f);
  const auto expected = plainDetection(integral, params);
  ASSERT_EQ(expected.size(), 11999u);
  EXPECT_EQ(detected(SURF_detect, integral, params), expected);
  EXPECT_EQ(detected(SURF_detect_neon, integral, params), expected);
}

TEST(SurfDetect, ContinuesAListThatHasPoints) {
  const CallInProgress call;
  const Integral integral(noise(150, 130, 41));
  const tagSURFParams params = surfParams();
  const auto fresh = detected(SURF_detect, integral, params);
  ASSERT_GT(fresh.size(), 20u);
  for (const Detector detect : {SURF_detect, SURF_detect_neon}) {
    for (const int32_t start : {5, 11990, 11999}) {
      std::vector<ST_KEYPOINT> out = roomForPoints();
      int32_t count = start;
      EXPECT_EQ(detect(&integral.record, &params, out.data(), &count), 0);
      const auto added =
          std::min<std::size_t>(fresh.size(), static_cast<std::size_t>(11999 - start));
      ASSERT_EQ(static_cast<std::size_t>(count), static_cast<std::size_t>(start) + added);
      const std::vector<ST_KEYPOINT> tail(out.begin() + start, out.end());
      EXPECT_EQ(pointsOf(tail, static_cast<int32_t>(added)),
                std::vector<Point>(fresh.begin(), fresh.begin() + static_cast<int64_t>(added)));
    }
    for (const int32_t start : {-1, 12000}) {
      std::vector<ST_KEYPOINT> out = roomForPoints();
      int32_t count = start;
      EXPECT_EQ(detect(&integral.record, &params, out.data(), &count), 0);
      EXPECT_EQ(count, start);
      EXPECT_EQ(pointsOf(out, kMaxKeypoints), pointsOf(roomForPoints(), kMaxKeypoints));
    }
  }
}

TEST(SurfDetect, TakesPicturesOfAnySize) {
  const CallInProgress call;
  for (const int32_t width : {1, 2, 8, 9, 26, 27, 28, 29, 30, 45}) {
    for (const int32_t height : {1, 3, 9, 28, 29, 33}) {
      const Integral integral(noise(width, height, static_cast<uint64_t>(width * 64 + height)));
      const auto points = detected(SURF_detect, integral, surfParams(1.0f));
      EXPECT_EQ(detected(SURF_detect_neon, integral, surfParams(1.0f)), points);
      EXPECT_EQ(points, plainDetection(integral, surfParams(1.0f)));
      // The margins of the first searched layer take 22 rows and columns.
      if (width < 23 || height < 23) {
        EXPECT_TRUE(points.empty());
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
  for (const int32_t none : {0, -1, -2, INT32_MIN}) {
    for (const Detector detect : {SURF_detect, SURF_detect_neon}) {
      EXPECT_TRUE(detected(detect, integral, surfParams(280, none, 2)).empty());
      EXPECT_TRUE(detected(detect, integral, surfParams(280, 1, none)).empty());
    }
  }
  // Planes that no allocator can give.
  const std::size_t requests = TestAllocator::requests().size();
  for (const Detector detect : {SURF_detect, SURF_detect_neon}) {
    for (const int32_t octaves : {1, 40, INT32_MAX}) {
      const tagSURFParams params = surfParams(280, octaves, INT32_MAX);
      std::vector<ST_KEYPOINT> out = roomForPoints();
      int32_t count = 0;
      EXPECT_EQ(detect(&integral.record, &params, out.data(), &count), -1000);
    }
  }
  EXPECT_EQ(TestAllocator::requests().size(), requests);
}

TEST(SurfDetect, TakesOneBlockForAllPlanes) {
  const CallInProgress call;
  const Integral integral(noise(60, 50, 45));
  detected(SURF_detect, integral, surfParams(280, 1, 2));
  detected(SURF_detect_neon, integral, surfParams(280, 1, 2));
  const uint32_t expected = 2 * 4 + 4 * sizeof(tagOctaveLayer) + 4 * 61 * 51 * 16;
  EXPECT_THAT(TestAllocator::requests(), ElementsAre(expected, expected));
}

TEST(SurfDetect, ReportsFailedAllocations) {
  InitLogParams(nullptr, 2);
  const Integral integral(noise(150, 130, 41));
  const tagSURFParams params = surfParams();
  const auto expectFailure = [&](Detector detect) {
    std::vector<ST_KEYPOINT> out = roomForPoints();
    int32_t count = 3;
    LogCapture log;
    EXPECT_EQ(detect(&integral.record, &params, out.data(), &count), -1000);
    EXPECT_EQ(count, 3);
    EXPECT_THAT(log.takeTexts(), ElementsAre(testing::AllOf(
                                     HasSubstr(">>BRISOLE2[error][src/registration/source/surf]"),
                                     testing::EndsWith("GETFEATURE_SURF: malloc failed!\n"))));
  };
  for (const Detector detect : {SURF_detect, SURF_detect_neon}) {
    expectFailure(detect);  // no call in progress
    const CallInProgress call;
    TestAllocator::failRequest(0);
    expectFailure(detect);
  }
  const CallInProgress call;
  const HeapFaults heap(0);
  expectFailure(SURF_detect_neon);
  EXPECT_EQ(heap.requests(), 1);
  EXPECT_EQ(heap.live(), 0u);
}

}  // namespace
