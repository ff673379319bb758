#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <vector>

#include "registration/call_support.h"
#include "registration/feature_support.h"
#include "support/digest.h"
#include "support/page_buffer.h"
#include "support/random.h"
#include "velmora_sr/features.h"

namespace velmora::test {
namespace {

using testing::ElementsAre;

constexpr ST_KEYPOINT kUntouched = {-1, -2, -3, -4, -5};

/// A list of points with room for the most.
struct PointList {
  std::vector<ST_KEYPOINT> records = std::vector<ST_KEYPOINT>(VELMORA_SR_MAX_KEYPOINTS, kUntouched);
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
    for (int32_t i = start; i < VELMORA_SR_MAX_KEYPOINTS;
         ++i)  // the candidate that found no room is the last
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

/// The plane of a picture of noise, the same by all forms, added to a digest; kUnwritten where the
/// filter or its response has no room.
void addPlane(Digest& digest, int32_t size, int32_t step, int32_t width, int32_t height,
              int32_t cols, int32_t rows) {
  Integral integral(noise(width, height, 11));
  for (int32_t& sum : integral.sums)  // as if it had wrapped: a constant drops out of every box
    sum = static_cast<int32_t>(static_cast<uint32_t>(sum) + 0x7FFFFF00u);
  PageBuffer<int32_t> det(static_cast<std::size_t>(cols) * rows);
  tagOctaveLayer layer = {det.data(), size, step, cols, rows};
  LayerDetJob job = {&integral.record, &layer};
  std::vector<int32_t> first;
  for (const auto form :
       {decltype(&CalcLayerDet_0123_neon_multi){nullptr}, CalcLayerDet_0123_neon_multi,
        CalcLayerDet_0123_neon_multi_dxdydxy, CalcLayerDet_0123_neon_multi_dxdy_dxy}) {
    std::fill_n(det.data(), det.size(), kUnwritten);
    if (form == nullptr) {
      CalcLayerDet_0123_neon(&integral.record, &layer);
      first = det.values();
    } else {
      form(&job, 14);
    }
    EXPECT_EQ(det.values(), first) << size << ", " << step << ": " << cols << " x " << rows;
    EXPECT_TRUE(det.intact());
  }
  digest.addAll(first);
}

// The digests are those of responses from sums of pixels, with the filters worked out by hand.

TEST(CalcLayerDet, EqualsSumsOfPixels) {
  Digest digest;
  // The scale of the determinant is 0 for 405 and leaves 64 bits for 1023.
  for (const int32_t size : {9, 15, 21, 27, 33, 18, 30, 42, 54, 36, 405, 1023}) {
    // Steps of octaves 0, 1 and 2; sizes with one grid point and with some.
    for (const int32_t step : {1, 2, 4}) {
      for (const int32_t more : {0, 1, 6}) {
        if (size > 100 && step + more != 2) continue;
        const int32_t width = size + 2 * more, height = size + more;
        addPlane(digest, size, step, width, height, width / step, height / step);
      }
    }
  }
  for (int32_t width = 9; width <= 45; ++width)  // across vector lengths
    addPlane(digest, 9, 1, width, 10, width, 10);
  EXPECT_EQ(digest.value(), 554465017u);
}

TEST(CalcLayerDet, WritesOnlyWhatHasRoom) {
  Digest digest;
  for (const int32_t size : {13, 15, 21, 27, 0x7FFFFFFF, 8, 3, 1, 0, -9})
    addPlane(digest, size, 1, 20, 12, 20, 12);
  for (const int32_t step : {0, -1})
    addPlane(digest, 9, step, 20, 12, 20, 12);
  for (const int32_t cols : {0, 1, 4, 5, 8, 29}) {
    for (const int32_t rows : {0, 1, 5, 9})
      addPlane(digest, 9, 1, 30, 30, cols, rows);
  }
  EXPECT_EQ(digest.value(), 1974406308u);
}

using Matrix = std::array<int32_t, 9>;
using Vector = std::array<int32_t, 3>;
using Blocks = std::array<Matrix, 3>;

Vector solve(Matrix a, Vector b) {
  Vector x = {};
  EXPECT_EQ(SolveFixed(a.data(), b.data(), x.data()), 1);
  return x;
}

std::optional<Vector> refine(const Blocks& blocks, const Vector& step, const Vector& start) {
  int32_t n[3][9];
  for (int i = 0; i < 3; ++i)
    std::copy(blocks[i].begin(), blocks[i].end(), n[i]);
  ST_KEYPOINT kp = {-5, -6, start[0], start[1], start[2]};
  const int32_t kept = InterpolateKeypoint(n, step[0], step[1], step[2], &kp);
  EXPECT_EQ(kp.reserved1, -5);
  EXPECT_EQ(kp.reserved2, -6);
  const Vector result = {kp.x, kp.y, kp.size};
  if (kept != 0) return result;
  EXPECT_EQ(result, start);
  return std::nullopt;
}

TEST(SolveFixed, FollowsCramersRuleModulo64Bits) {
  // det 19000, 19000 >> 6 = 296; the determinants above it 50000, -21000, 16000.
  EXPECT_EQ(solve({20, 10, 10, 10, 30, 20, 10, 0, 40}, {50, 10, 60}), (Vector{168, -70, 54}));
  // det -1; with b in its first column the determinant is 2^63, which wraps to -2^63.
  constexpr int32_t kBig = 1 << 21;
  EXPECT_EQ(solve({0, 0, 1, -1, kBig, 0, 0, 1, kBig}, {kBig, 0, 0}), (Vector{0, 0, kBig}));
}

TEST(InterpolateKeypoint, GivesTheSameBitsOnEveryMachine) {
  // From small values to the whole range, where every product wraps. The digest is that of Cramer's
  // rule by sums over permutations, modulo 2^64.
  Random random(22);
  Digest digest;
  for (int round = 0; round < 4000; ++round) {
    const int64_t range = int64_t{1} << (4 + round % 28);
    Blocks blocks;
    for (Matrix& block : blocks) {
      for (int32_t& value : block)
        value = static_cast<int32_t>(random.range(-range, range - 1));
    }
    // Most of the time a true maximum, as the detector hands it over.
    if (round % 4 != 0) blocks[1][4] = static_cast<int32_t>(range - 1);
    const int32_t step = 1 << round % 3;
    const auto result = refine(blocks, {step, 2 * step, 6 * step}, {100, 200, 15});
    digest.add(int32_t{result.has_value()});
    digest.addAll(result.value_or(Vector{}));
  }
  EXPECT_EQ(digest.value(), 630622672u);
}

/// Second differences of -64 and the gradient `pull`: the determinant -64^3 shifts without a
/// remainder, and the offset in 1/64 of a sample is the pull itself.
Blocks pulled(const Vector& pull) {
  Blocks blocks = {};
  const auto set = [&](int32_t& before, int32_t& after, int32_t by) {
    before = 5000 - 32 - by;
    after = 5000 - 32 + by;
  };
  blocks[1][4] = 5000;
  set(blocks[1][3], blocks[1][5], pull[0]);
  set(blocks[1][1], blocks[1][7], pull[1]);
  set(blocks[0][4], blocks[2][4], pull[2]);
  return blocks;
}

TEST(InterpolateKeypoint, KeepsOffsetsUpToOneSample) {
  for (const int32_t pull : {-66, -65, -64, -63, 0, 63, 64, 65, 66}) {
    for (std::size_t axis = 0; axis < 3; ++axis) {
      Vector pulls = {0, 0, 0};
      pulls[axis] = pull;
      const bool kept = pull >= -64 && pull <= 64;
      const Vector moved = {pulls[0], 4 * pulls[1], 100 + pulls[2]};
      EXPECT_EQ(refine(pulled(pulls), {1, 4, 64}, {0, 0, 100}),
                kept ? std::optional(moved) : std::nullopt)
          << pull;
    }
  }
  EXPECT_EQ(refine({}, {1, 1, 6}, {1, 2, 3}), std::nullopt);  // flat
  EXPECT_EQ(refine(pulled({64, 64, 64}), {INT32_MAX, INT32_MIN, 1}, {INT32_MAX, 5, INT32_MAX}),
            (Vector{INT32_MAX - 64, 5, INT32_MIN}));  // wraps at the edges of its range
}

}  // namespace
}  // namespace velmora::test
