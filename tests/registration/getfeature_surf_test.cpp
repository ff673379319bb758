#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "registration/feature_support.h"
#include "support/heap_faults.h"
#include "support/log_capture.h"
#include "velmora_sr/logging.h"

namespace {

using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::EndsWith;
using testing::HasSubstr;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;
using velmora::test::CallInProgress;
using velmora::test::HeapFaults;
using velmora::test::Integral;
using velmora::test::LogCapture;
using velmora::test::Picture;
using velmora::test::Point;
using velmora::test::pointsOf;
using velmora::test::Pool;
using velmora::test::surfParams;
using velmora::test::TestAllocator;
using velmora::test::texture;

constexpr int32_t kUnwritten = -99;

/// The caller's arrays of one feature set.
struct FeatureStore {
  std::vector<ST_KEYPOINT> keypoints;
  std::vector<int32_t> descriptors;
  ST_IMAGEFEATURES record;

  FeatureStore()
      : keypoints(kMaxKeypoints, ST_KEYPOINT{0, 0, kUnwritten, kUnwritten, kUnwritten}),
        descriptors(static_cast<std::size_t>(kMaxKeypoints) * kDescriptorLength, kUnwritten) {
    record = {keypoints.data(), descriptors.data(), kUnwritten};
  }
  [[nodiscard]] bool untouched() const {
    return record.count == kUnwritten &&
           std::all_of(keypoints.begin(), keypoints.end(),
                       [](const ST_KEYPOINT& p) { return p.size == kUnwritten; }) &&
           std::all_of(descriptors.begin(), descriptors.end(),
                       [](int32_t value) { return value == kUnwritten; });
  }
};

/// Points and descriptors, to be compared.
struct Features {
  std::vector<Point> points;
  std::vector<int32_t> descriptors;
  bool operator==(const Features&) const = default;
};

void PrintTo(const Features& features, std::ostream* out) {
  *out << features.points.size() << " points";
}

Features featuresOf(const FeatureStore& store) {
  const auto values = static_cast<std::ptrdiff_t>(store.record.count) * kDescriptorLength;
  return {pointsOf(store.keypoints, store.record.count),
          {store.descriptors.begin(), store.descriptors.begin() + values}};
}

/// The stages one after the other on one thread, on an integral image by its definition.
Features byStages(Picture picture, tagSURFParams& params) {
  Integral integral(picture);
  const tagST_PIC pic = picture.record();
  GetImageLumaInfo(&integral.record, &params.hessianThreshold, &params.matchRatio);
  FeatureStore store;
  store.record.count = 0;
  EXPECT_EQ(SURF_detect(&integral.record, &params, store.keypoints.data(), &store.record.count), 0);
  std::fill(store.descriptors.begin(), store.descriptors.end(), 0);
  EXPECT_EQ(GenerateDiscriptor_Simple(&pic, store.keypoints.data(), store.descriptors.data(),
                                      &params.descriptor, &integral.record, store.record.count),
            0);
  return featuresOf(store);
}

Picture reduced(const Picture& picture) {
  Picture small(picture.width / 4, picture.height / 4);
  for (int32_t y = 0; y < small.height; ++y) {
    for (int32_t x = 0; x < small.width; ++x) {
      small.at(y, x) =
          static_cast<uint8_t>((picture.box(4 * y, 4 * y + 4, 4 * x, 4 * x + 4) + 8) / 16);
    }
  }
  return small;
}

/// Squares that give one key point each.
Picture squares(int32_t count, uint8_t background = 100, uint8_t value = 200) {
  Picture picture(60 + 60 * count, 100, background);
  for (int32_t i = 0; i < count; ++i) {
    for (int32_t y = 47; y <= 53; ++y)
      std::fill_n(&picture.at(y, 57 + 60 * i), 7, value);
  }
  return picture;
}

/// One call of GetFeatureSurf and all that it left.
struct Extraction {
  tagST_GETFEATURE_PARAMS_IN request = {};
  FeatureStore first, second;
  tagSURFParams params;
  int32_t result = kUnwritten;
  std::string printed;
  std::vector<std::string> logged;

  Extraction(Picture& a, Picture& b, int32_t factor) {
    std::fill(std::begin(request.driverWords), std::end(request.driverWords), 0x55555555);
    request.first = a.record();
    request.second = b.record();
    request.extractFirst = 1;
    request.scaleFactor = factor;
    params = {-1, -1, -1, -1, {-1, -1, -123, -1}};
  }
  Extraction& run() {
    InitLogParams(nullptr, 1);  // without the information of the statistics
    LogCapture log;
    CaptureStdout();
    result = GetFeatureSurf(&request, &first.record, &second.record, params);
    printed = GetCapturedStdout();
    logged = log.takeTexts();
    return *this;
  }
};

auto line(const char* level, const char* message) {
  return AllOf(HasSubstr(std::string("[") + level + "][src/registration/source/getfeature_surf]"),
               EndsWith(std::string(message) + "\n"));
}

TEST(GetFeatureSurfQuery, ReportsFixedSizes) {
  int32_t scratch = -1, extra = -1;
  EXPECT_EQ(GetFeatureSurf_Query(&scratch, &extra, -5, 1 << 30), 0);
  EXPECT_EQ(scratch, 12432064);
  EXPECT_EQ(extra, 0);
}

TEST(GetSurfFeature, RunsTheStagesInOrder) {
  for (const bool running : {false, true}) {
    const Pool pool(running);
    const CallInProgress call;
    Picture picture = texture(150, 130, 71);
    tagSURFParams expectedParams = surfParams();
    const Features expected = byStages(picture, expectedParams);
    ASSERT_GT(expected.points.size(), 30u);
    const std::string count = std::to_string(expected.points.size());
    const struct {
      decltype(&GetSurfFeature) form;
      std::string printed;
    } forms[] = {{GetSurfFeature, "getSurfFeature_detect keypoints:" + count + "\n"},
                 {GetSurfFeature_neon, "getSurfFeature_detect_neon keypoints:" + count + "\n"}};
    for (const auto& [form, printed] : forms) {
      for (int repeat = 0; repeat < 3; ++repeat) {
        tagST_PIC pic = picture.record();
        tagSURFParams params = surfParams();
        FeatureStore store;
        InitLogParams(nullptr, 2);
        LogCapture log;
        CaptureStdout();
        EXPECT_EQ(form(&pic, &store.record, &params), 0);
        EXPECT_EQ(GetCapturedStdout(), printed);
        EXPECT_EQ(featuresOf(store), expected);
        EXPECT_EQ(params.hessianThreshold, expectedParams.hessianThreshold);
        const std::string detected =
            ">>BRISOLE2[info] : GETFEATURE_SURF: Detect keypoints number:" + count + "\n\n";
        EXPECT_EQ(testing::Matches(Contains(detected))(log.takeTexts()), form == GetSurfFeature);
        // Nothing behind the last point's descriptor.
        const auto end = store.descriptors.begin() +
                         static_cast<std::ptrdiff_t>(expected.points.size()) * kDescriptorLength;
        EXPECT_TRUE(std::all_of(end, store.descriptors.end(),
                                [](int32_t value) { return value == kUnwritten; }));
      }
    }
  }
}

TEST(GetSurfFeature, PassesOnTheCodeOfTheStage) {
  Picture picture = texture(60, 50, 71);
  for (const auto form : {GetSurfFeature, GetSurfFeature_neon}) {
    tagSURFParams params = surfParams();
    FeatureStore store;
    tagST_PIC nothing = picture.record();
    nothing.data = nullptr;
    CaptureStdout();
    {
      const CallInProgress call;
      EXPECT_EQ(form(&nothing, &store.record, &params), SR_RET_PARAMS_OUT_OF_RANGE);
      // An unusable patch size ends the last stage; the points stay, the descriptors are cleared.
      params.descriptor.patchSize = 7;
      tagST_PIC pic = picture.record();
      EXPECT_TRUE(store.untouched());
      EXPECT_EQ(form(&pic, &store.record, &params), SR_RET_PARAMS_OUT_OF_RANGE);
      EXPECT_GT(store.record.count, 0);
      EXPECT_THAT(featuresOf(store).descriptors, Each(0));
    }
    tagST_PIC pic = picture.record();
    EXPECT_EQ(form(&pic, &store.record, &params), -1000);
    GetCapturedStdout();
  }
}

TEST(GetFeatureSurf, AnalysesSmallPicturesAtTheirSize) {
  const CallInProgress call;
  Picture a = texture(150, 130, 72);
  Picture b = texture(110, 170, 73);  // another size is fine here
  for (const int32_t factor : {1, 4}) {
    Extraction pair(a, b, factor);
    pair.run();
    tagSURFParams params = surfParams();
    EXPECT_EQ(pair.result, 0);
    EXPECT_EQ(featuresOf(pair.first), byStages(a, params));
    EXPECT_EQ(featuresOf(pair.second), byStages(b, params));
    EXPECT_THAT(pair.logged, testing::IsEmpty());
    const auto keypoints = [](int32_t count) {
      return "getSurfFeature_detect_neon keypoints:" + std::to_string(count) + "\n";
    };
    EXPECT_EQ(pair.printed,
              keypoints(pair.first.record.count) + keypoints(pair.second.record.count));
  }
}

TEST(GetFeatureSurf, SetsTheDefaults) {
  const CallInProgress call;
  Picture a = texture(100, 60, 72);
  Extraction pair(a, a, 1);
  pair.run();
  EXPECT_EQ(pair.params.hessianThreshold, 280.0f);
  EXPECT_EQ(pair.params.matchRatio, 0.45f);
  EXPECT_EQ(pair.params.nOctaves, 1);
  EXPECT_EQ(pair.params.nOctaveLayers, 2);
  EXPECT_EQ(pair.params.descriptor.length, 64);
  EXPECT_EQ(pair.params.descriptor.upright, 1);
  EXPECT_EQ(pair.params.descriptor.unset, -123);
  EXPECT_EQ(pair.params.descriptor.patchSize, 20);
}

TEST(GetFeatureSurf, ReducesPicturesOfFourHundredPixelsAndMore) {
  const CallInProgress call;
  const struct {
    int32_t width, height, factor;
    bool reduced;
  } cases[] = {{400, 400, 4, true},
               {403, 421, 4, true},
               {399, 400, 4, false},
               {400, 399, 4, false},
               {400, 400, 1, false}};
  for (const auto& c : cases) {
    Picture a = texture(c.width, c.height, 74);
    Picture b = texture(c.width, c.height, 75);
    Extraction pair(a, b, c.factor);
    pair.run();
    tagSURFParams params = surfParams();
    EXPECT_EQ(pair.result, 0);
    EXPECT_EQ(featuresOf(pair.first), byStages(c.reduced ? reduced(a) : a, params)) << c.width;
    EXPECT_EQ(featuresOf(pair.second), byStages(c.reduced ? reduced(b) : b, params)) << c.width;
  }
}

TEST(GetFeatureSurf, ThePoolChangesNothing) {
  const CallInProgress call;
  Picture a = texture(420, 400, 76);
  Picture b = texture(420, 400, 77);
  for (const int32_t factor : {1, 4}) {
    Extraction alone(a, b, factor);
    alone.run();
    const Pool pool(true);
    for (int repeat = 0; repeat < 3; ++repeat) {
      Extraction pair(a, b, factor);
      pair.run();
      EXPECT_EQ(featuresOf(pair.first), featuresOf(alone.first));
      EXPECT_EQ(featuresOf(pair.second), featuresOf(alone.second));
    }
  }
}

TEST(GetFeatureSurf, WantsFivePointsInEachPicture) {
  const CallInProgress call;
  Picture four = squares(4), five = squares(5);
  const struct {
    Picture &a, &b;
    int32_t result, firstCount, secondCount;
    const char* message;
  } cases[] = {
      {five, five, 0, 5, 5, nullptr},
      {five, four, 2, 5, 4, "GETFEATURE_SURF: not enough keypoints!"},
      {four, five, 2, 4, kUnwritten, "GETFEATURE_SURF: wrong input image for first frame!"},
  };
  for (const auto& c : cases) {
    Extraction pair(c.a, c.b, 1);
    pair.run();
    EXPECT_EQ(pair.result, c.result);
    EXPECT_EQ(pair.first.record.count, c.firstCount);
    EXPECT_EQ(pair.second.record.count, c.secondCount);
    if (c.message == nullptr) {
      EXPECT_THAT(pair.logged, testing::IsEmpty());
    } else {
      EXPECT_THAT(pair.logged, testing::ElementsAre(line("warning", c.message)));
    }
    EXPECT_EQ(pair.second.untouched(), c.secondCount == kUnwritten);
  }
}

TEST(GetFeatureSurf, TakesAFirstSetThatIsFilled) {
  const CallInProgress call;
  Picture five = squares(5);
  for (const int32_t count : {5, 12000, 4, 0, -1}) {
    Extraction pair(five, five, 1);
    pair.request.extractFirst = 0;
    pair.request.first.data = nullptr;  // not looked at
    pair.first.record.count = count;
    pair.run();
    EXPECT_EQ(pair.first.record.count, count);
    EXPECT_EQ(pair.first.keypoints[0].x, kUnwritten);
    if (count >= 5) {
      EXPECT_EQ(pair.result, 0);
      EXPECT_EQ(pair.second.record.count, 5);
    } else {
      EXPECT_EQ(pair.result, 2);
      EXPECT_TRUE(pair.second.untouched());
      EXPECT_THAT(pair.logged,
                  testing::ElementsAre(line("warning", "GETFEATURE_SURF: not enough keypoints!")));
    }
  }
  // The first record still decides on the reduction.
  Picture large = texture(400, 400, 74);
  Extraction pair(large, large, 4);
  pair.request.extractFirst = 0;
  pair.first.record.count = 5;
  pair.run();
  tagSURFParams params = surfParams();
  EXPECT_EQ(featuresOf(pair.second), byStages(reduced(large), params));
}

TEST(GetFeatureSurf, TheFirstPictureAdaptsTheSecond) {
  const CallInProgress call;
  Picture dark = squares(5, 5), normal = squares(5), bright = squares(5, 230, 100);
  const struct {
    Picture &a, &b;
    float threshold, ratio;
  } cases[] = {{normal, normal, 280, 0.45f}, {dark, normal, 50, 0.4f}, {normal, dark, 50, 0.4f},
               {dark, bright, 150, 0.4f},    {bright, dark, 50, 0.4f}, {bright, normal, 150, 0.4f}};
  for (const auto& c : cases) {
    Extraction pair(c.a, c.b, 1);
    ASSERT_EQ(pair.run().result, 0);
    EXPECT_EQ(pair.params.hessianThreshold, c.threshold);
    EXPECT_EQ(pair.params.matchRatio, c.ratio);
    tagSURFParams params = surfParams();
    EXPECT_EQ(featuresOf(pair.first), byStages(c.a, params));
    EXPECT_EQ(featuresOf(pair.second), byStages(c.b, params));
  }
}

TEST(GetFeatureSurf, RefusesOtherFactors) {
  const CallInProgress call;
  Picture small = squares(5), large = texture(400, 400, 74);
  for (Picture* picture : {&small, &large}) {
    for (const int32_t factor : {0, 2, 3, 5, 8, 16, -1, -4}) {
      Extraction pair(*picture, *picture, factor);
      pair.run();
      EXPECT_EQ(pair.result, SR_RET_PARAMS_OUT_OF_RANGE);
      EXPECT_TRUE(pair.first.untouched());
      EXPECT_TRUE(pair.second.untouched());
      EXPECT_EQ(pair.params.nOctaves, -1);
      EXPECT_THAT(pair.logged,
                  testing::ElementsAre(line("error", "GETFEATURE_SURF: params out of range.")));
    }
  }
}

TEST(GetFeatureSurf, RefusesPicturesThatCannotBeAPair) {
  const CallInProgress call;
  Picture a = texture(400, 400, 74), b = texture(400, 404, 75), small = squares(5);
  const auto expectRefusal = [](Extraction& pair, bool firstDone) {
    pair.run();
    EXPECT_EQ(pair.result, SR_RET_PARAMS_OUT_OF_RANGE);
    EXPECT_EQ(pair.first.untouched(), !firstDone);
    EXPECT_TRUE(pair.second.untouched());
    EXPECT_THAT(pair.logged,
                testing::ElementsAre(line("error", "GETFEATURE_SURF: params out of range.")));
  };
  Extraction taller(a, b, 4);
  expectRefusal(taller, true);
  Extraction narrower(a, small, 4);
  expectRefusal(narrower, true);
  for (Picture* picture : {&a, &small}) {
    Extraction noFirst(*picture, *picture, 4);
    noFirst.request.first.data = nullptr;
    expectRefusal(noFirst, false);
    Extraction noSecond(*picture, *picture, 4);
    noSecond.request.second.data = nullptr;
    expectRefusal(noSecond, true);
  }
  Extraction empty(small, small, 1);
  empty.request.first.width = 0;
  expectRefusal(empty, false);
  Extraction negative(small, small, 1);
  negative.request.first.height = -5;
  expectRefusal(negative, false);
}

TEST(GetFeatureSurf, SurvivesEachFailedAllocation) {
  Picture a = texture(400, 400, 74);
  for (const int32_t factor : {1, 4}) {
    // Per picture: the reduced samples, the integral image, the detector's planes.
    const int total = factor == 4 ? 6 : 4;
    for (int n = 0; n <= total; ++n) {
      const CallInProgress call;
      TestAllocator::failRequest(n);
      Extraction pair(a, a, factor);
      pair.run();
      if (n == total) {
        EXPECT_EQ(pair.result, 0);
        EXPECT_EQ(TestAllocator::requests().size(), static_cast<std::size_t>(total));
        continue;
      }
      EXPECT_EQ(pair.result, -1000) << n;
      EXPECT_EQ(pair.second.record.count, kUnwritten) << n;
      const int stage = n % (total / 2) + (factor == 4 ? 0 : 1);
      if (stage == 0) {
        EXPECT_THAT(pair.logged,
                    testing::ElementsAre(line("error", "GETFEATURE_SURF: malloc failed!")));
      } else {
        EXPECT_EQ(pair.logged.size(), stage == 1 ? 0u : 1u);
      }
    }
  }
}

TEST(GetFeatureSurf, SurvivesEachFailedHeapRequest) {
  Picture five = squares(5);
  // Per picture, the test's allocator included: the integral image, the planes, the lists of the
  // searches, the windows of the four shares.
  constexpr int kPerPicture = 1 + 1 + 1 + 4;
  for (int n = 0; n <= 2 * kPerPicture; ++n) {
    const CallInProgress call;
    Extraction pair(five, five, 1);
    const HeapFaults heap(n);
    pair.run();
    EXPECT_EQ(heap.live(), 0u);
    if (n == 2 * kPerPicture) {
      EXPECT_EQ(heap.requests(), n);
      EXPECT_EQ(pair.result, 0);
      break;
    }
    EXPECT_EQ(pair.result, -1000) << n;
    EXPECT_EQ(pair.logged.size(), n % kPerPicture == 0 ? 0u : 1u) << n;
    EXPECT_EQ(pair.second.untouched(), n <= kPerPicture + 2) << n;
  }
}

TEST(GetFeatureSurf, FailsWithoutAProcessCall) {
  for (const int32_t factor : {1, 4}) {
    Picture a = texture(400, 400, 74);
    Extraction pair(a, a, factor);
    pair.run();
    EXPECT_EQ(pair.result, -1000);
    EXPECT_TRUE(pair.first.untouched());
  }
}

}  // namespace
