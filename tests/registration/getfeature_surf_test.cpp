#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "registration/call_support.h"
#include "registration/feature_support.h"

namespace velmora::test {
namespace {

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
  /// Whether all descriptors from that of point `first` on have the value.
  [[nodiscard]] bool allFrom(int32_t first, int32_t value) const {
    return std::all_of(descriptors.begin() + static_cast<std::ptrdiff_t>(first) * kDescriptorLength,
                       descriptors.end(), [=](int32_t v) { return v == value; });
  }
  [[nodiscard]] bool untouched() const {
    return record.count == kUnwritten && allFrom(0, kUnwritten) &&
           std::all_of(keypoints.begin(), keypoints.end(),
                       [](const ST_KEYPOINT& p) { return p.size == kUnwritten; });
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
  tagSURFParams params = {-1, -1, -1, -1, {-1, -1, -123, -1}};
  int32_t result = kUnwritten;
  std::string printed;
  std::vector<std::string> logged;

  Extraction(Picture& a, Picture& b, int32_t factor) {
    std::fill(std::begin(request.driverWords), std::end(request.driverWords), 0x55555555);
    request.first = a.record();
    request.second = b.record();
    request.extractFirst = 1;
    request.scaleFactor = factor;
  }
  Extraction& run() {
    InitLogParams(nullptr, 1);  // without the information of the statistics
    LogCapture log;
    printed = printedBy(
        [&] { result = GetFeatureSurf(&request, &first.record, &second.record, params); });
    logged = log.takeTexts();
    return *this;
  }
  void expectLogged(const std::string& level, const std::string& text) const {
    EXPECT_THAT(logged, testing::ElementsAre(logLine(level, "getfeature_surf", text)));
  }
};

TEST(GetFeatureSurfQuery, ReportsFixedSizes) {
  int32_t scratch = -1, extra = -1;
  EXPECT_EQ(GetFeatureSurf_Query(&scratch, &extra, -5, 1 << 30), 0);
  EXPECT_EQ(scratch, 12432064);
  EXPECT_EQ(extra, 0);
}

TEST(GetSurfFeature, RunsTheStagesInOrder) {
  const CallInProgress call;
  Picture picture = texture(150, 130, 71);
  tagSURFParams expectedParams = surfParams(), params = surfParams();
  const Features expected = byStages(picture, expectedParams);
  ASSERT_GT(expected.points.size(), 30u);
  const std::string count = std::to_string(expected.points.size()) + "\n";
  tagST_PIC pic = picture.record();
  FeatureStore store;
  InitLogParams(nullptr, 2);
  LogCapture log;
  EXPECT_EQ(printedBy([&] { EXPECT_EQ(GetSurfFeature(&pic, &store.record, &params), 0); }),
            "getSurfFeature_detect keypoints:" + count);
  EXPECT_EQ(featuresOf(store), expected);
  EXPECT_EQ(params.hessianThreshold, expectedParams.hessianThreshold);
  EXPECT_THAT(log.takeTexts(),
              testing::Contains(
                  ">>BRISOLE2[info] : GETFEATURE_SURF: Detect keypoints number:" + count + "\n"));
}

TEST(GetSurfFeature, PassesOnTheCodeOfTheStage) {
  Picture picture = texture(60, 50, 71);
  for (const auto form : {GetSurfFeature, GetSurfFeature_neon}) {
    tagSURFParams params = surfParams();
    FeatureStore store;
    tagST_PIC pic = picture.record();
    EXPECT_EQ(form(&pic, &store.record, &params), -1000);  // no process call
    const CallInProgress call;
    pic.data = nullptr;
    EXPECT_EQ(form(&pic, &store.record, &params), SR_RET_PARAMS_OUT_OF_RANGE);
    EXPECT_TRUE(store.untouched());
    // An unusable patch size ends the last stage; the points stay, the descriptors are cleared.
    params.descriptor.patchSize = 7;
    pic = picture.record();
    EXPECT_EQ(form(&pic, &store.record, &params), SR_RET_PARAMS_OUT_OF_RANGE);
    EXPECT_GT(store.record.count, 0);
    EXPECT_THAT(featuresOf(store).descriptors, testing::Each(0));
  }
}

TEST(GetFeatureSurf, EqualsItsStages) {
  const CallInProgress call;
  // Dark and bright pictures change the threshold for the one after them.
  Picture dark = squares(5, 5), normal = squares(5), bright = squares(5, 230, 100);
  Picture a = texture(400, 400, 74), b = texture(400, 400, 75), odd = texture(403, 421, 74);
  Picture narrow = texture(399, 400, 74), flat = texture(400, 399, 74);
  const struct {
    Picture &first, &second;
    int32_t factor;
    bool reduced;
    float threshold, ratio;
  } cases[] = {
      {a, b, 4, true, 280, 0.45f},
      {odd, odd, 4, true, 280, 0.45f},
      {narrow, narrow, 4, false, 280, 0.45f},
      {flat, flat, 4, false, 280, 0.45f},
      {b, a, 1, false, 280, 0.45f},
      {normal, a, 4, false, 280, 0.45f},
      {dark, normal, 1, false, 50, 0.4f},
      {normal, dark, 4, false, 50, 0.4f},
      {dark, bright, 1, false, 150, 0.4f},
      {bright, dark, 1, false, 50, 0.4f},
      {bright, normal, 1, false, 150, 0.4f},
  };
  for (const bool running : {false, true}) {
    const Pool pool(running);
    for (const auto& c : cases) {
      SCOPED_TRACE(testing::Message() << "case " << &c - cases << ", pool " << running);
      Extraction pair(c.first, c.second, c.factor);
      ASSERT_EQ(pair.run().result, 0);
      tagSURFParams params = surfParams();
      EXPECT_EQ(featuresOf(pair.first), byStages(c.reduced ? reduced(c.first) : c.first, params));
      EXPECT_EQ(featuresOf(pair.second),
                byStages(c.reduced ? reduced(c.second) : c.second, params));
      EXPECT_THAT(pair.logged, testing::IsEmpty());
      EXPECT_TRUE(pair.first.allFrom(pair.first.record.count, kUnwritten));
      const auto keypoints = [](const FeatureStore& store) {
        return "getSurfFeature_detect_neon keypoints:" + std::to_string(store.record.count) + "\n";
      };
      EXPECT_EQ(pair.printed, keypoints(pair.first) + keypoints(pair.second));
      EXPECT_EQ(pair.params.hessianThreshold, c.threshold);
      EXPECT_EQ(pair.params.matchRatio, c.ratio);
      EXPECT_EQ(pair.params.nOctaves, 1);
      EXPECT_EQ(pair.params.nOctaveLayers, 2);
      const tagDISCRIPTOR_PARAMS& words = pair.params.descriptor;
      EXPECT_EQ((std::vector{words.length, words.upright, words.unset, words.patchSize}),
                (std::vector{64, 1, -123, 20}));
    }
  }
}

TEST(GetFeatureSurf, TakesAFirstSetThatIsFilled) {
  const CallInProgress call;
  // The first record still decides on the reduction.
  Picture five = squares(5), large = texture(400, 400, 74);
  for (Picture* picture : {&five, &large}) {
    for (const int32_t count : {5, 12000, 4, 0, -1}) {
      Extraction pair(*picture, *picture, 4);
      pair.request.extractFirst = 0;
      pair.request.first.data = nullptr;  // not looked at
      pair.first.record.count = count;
      pair.run();
      EXPECT_EQ(pair.first.record.count, count);
      EXPECT_EQ(pair.first.keypoints[0].x, kUnwritten);
      if (count >= 5) {
        tagSURFParams params = surfParams();
        EXPECT_EQ(pair.result, 0);
        EXPECT_EQ(featuresOf(pair.second),
                  byStages(picture == &large ? reduced(large) : five, params));
      } else {
        EXPECT_EQ(pair.result, 2);
        EXPECT_TRUE(pair.second.untouched());
        pair.expectLogged("warning", "GETFEATURE_SURF: not enough keypoints!");
      }
    }
  }
}

TEST(GetFeatureSurf, SaysWhichPairsItCannotTake) {
  const CallInProgress call;
  Picture large = texture(400, 400, 74), taller = texture(400, 404, 75);
  Picture five = squares(5), four = squares(4);
  using Request = tagST_GETFEATURE_PARAMS_IN;
  enum Found { kNothing, kFirst, kBoth };
  const char* range = "GETFEATURE_SURF: params out of range.";
  const struct {
    Picture &first, &second;
    void (*change)(Request&);
    Found found;
    const char* text;
  } cases[] = {
      {four, five, [](Request&) {}, kFirst, "GETFEATURE_SURF: wrong input image for first frame!"},
      {five, four, [](Request&) {}, kBoth, "GETFEATURE_SURF: not enough keypoints!"},
      {large, taller, [](Request&) {}, kFirst, range},
      {large, five, [](Request&) {}, kFirst, range},
      {large, large, [](Request& r) { r.second.data = nullptr; }, kFirst, range},
      {five, five, [](Request& r) { r.second.data = nullptr; }, kFirst, range},
      {large, large, [](Request& r) { r.first.data = nullptr; }, kNothing, range},
      {five, five, [](Request& r) { r.first.data = nullptr; }, kNothing, range},
      {five, five, [](Request& r) { r.first.width = 0; }, kNothing, range},
      {five, five, [](Request& r) { r.first.height = -5; }, kNothing, range},
      {five, five, [](Request& r) { r.scaleFactor = 0; }, kNothing, range},
      {five, five, [](Request& r) { r.scaleFactor = 2; }, kNothing, range},
      {large, large, [](Request& r) { r.scaleFactor = 8; }, kNothing, range},
      {large, large, [](Request& r) { r.scaleFactor = -4; }, kNothing, range},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    Extraction pair(c.first, c.second, 4);
    c.change(pair.request);
    EXPECT_EQ(pair.run().result, c.text == range ? int32_t{SR_RET_PARAMS_OUT_OF_RANGE} : 2);
    EXPECT_EQ(pair.first.untouched(), c.found == kNothing);
    EXPECT_EQ(pair.second.untouched(), c.found != kBoth);
    pair.expectLogged(c.text == range ? "error" : "warning", c.text);
  }
}

TEST(GetFeatureSurf, ReportsEachFailedAllocation) {
  Picture large = texture(400, 400, 74);
  // Per picture, the requests to the allocator, which takes from the heap, included: the reduced
  // samples, the integral image, the planes, the lists of the searches, the windows of the four
  // shares. The integral image fails silently.
  const Report detector = {"surf", "GETFEATURE_SURF: malloc failed!"};
  const Report shared = {"surf", "GenerateDiscriptor_Simple_neon_multi_inside: malloc failed!"};
  const std::vector<Report> own = {{}, detector, detector, shared, shared, shared, shared};
  for (const int32_t factor : {1, 4}) {
    std::vector<Report> reports;
    for (int picture = 0; picture < 2; ++picture) {
      if (factor == 4) reports.push_back({"getfeature_surf", "GETFEATURE_SURF: malloc failed!"});
      reports.insert(reports.end(), own.begin(), own.end());
    }
    expectEachHeapFailureReported(reports, [&] {
      const CallInProgress call;
      Extraction pair(large, large, factor);
      return GetFeatureSurf(&pair.request, &pair.first.record, &pair.second.record, pair.params);
    });
  }
}

}  // namespace
}  // namespace velmora::test
