// Every entry point of registration that takes memory, with each of its requests failing in turn.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "registration/call_support.h"
#include "registration/feature_support.h"
#include "support/heap_faults.h"
#include "velmora_sr/registration.h"

namespace velmora::test {
namespace {

/// What the entry points work on and write.
struct Bench {
  Frame frame = texture(400, 400, 74);
  tagST_PIC pic = frame.record();
  Integral integral = Integral(frame);
  tagSURFParams params = surfParams();
  FeatureSet features;
  ST_IMAGEFEATURES set;
  Forest forest;
  std::vector<float> points = std::vector<float>(24), others = points;
  tagST_MATCH_PAIRS pairs = {points.data(), others.data(), 12};
  std::vector<ST_KEYPOINT> keypoints = std::vector<ST_KEYPOINT>(2 * kMaxKeypoints);
  std::vector<int32_t> descriptors = std::vector<int32_t>(2 * 64 * kMaxKeypoints);
  std::vector<int32_t> out = std::vector<int32_t>(2 * frame.data.size(), kUnwritten);

  explicit Bench(Random random = Random(2))
      : features(surfLike(random, 12)), set(features.record()), forest(features) {
    for (int32_t i = 0; i < 12; ++i) {
      features.keypoints[i] = {0, 0, 6400 * (i % 4), 6400 * (i / 4), 9};
      points[2 * i] = others[2 * i] = static_cast<float>(100 * (i % 4));
      points[2 * i + 1] = others[2 * i + 1] = static_cast<float>(100 * (i / 4));
    }
  }

  int32_t integrate() {
    tagIntegralMat im = {};
    const int32_t result = IntegralMat(&pic, &im);
    if (im.data != nullptr) TestAllocator::free(im.data, "SR_Process", 0);
    return result;
  }
  int32_t detect() {
    int32_t count = 0;
    const int32_t result = SURF_detect(&integral.record, &params, keypoints.data(), &count);
    EXPECT_EQ(result == 0, count != 0);
    return result;
  }
  int32_t describe() {
    return GenerateDiscriptor_Simple(&pic, features.keypoints.data(), out.data(),
                                     &params.descriptor, nullptr, 12);
  }
  int32_t extract() {
    tagST_GETFEATURE_PARAMS_IN request = {};
    request.first = request.second = pic;
    request.extractFirst = 1;
    request.scaleFactor = 4;
    ST_IMAGEFEATURES first = {keypoints.data(), descriptors.data(), 0};
    ST_IMAGEFEATURES second = {&keypoints[kMaxKeypoints], &descriptors[64 * kMaxKeypoints], 0};
    return GetFeatureSurf(&request, &first, &second, params);
  }
  int32_t build() { return Forest(features).result; }
  int32_t match() { return FeatureMatcher(&set, &set, forest.roots, &pairs, 4, 0.4f); }
  int32_t estimate() {
    tagST_IMGREGISTRATION_PARAMS_IN in = {};
    in.width = in.height = 400;
    in.pairs = pairs;
    float h[9] = {-5};
    const int32_t result = ImgRegistration(&in, nullptr, h, out[0], out[1], out[2], out[3]);
    EXPECT_EQ(result == 0, h[0] != -5);
    return result;
  }
  int32_t registerFrames() {
    uint8_t* data = frame.data.data();
    Velmora_SR_CInputImage input = {&data, &data, 1, 1, 400, 400, 4};
    int32_t area[4] = {-7, -7, -7, -7};
    EXPECT_EQ(RegisterImgOnePlane(&input, &zelkParamPrivate, out.data(), &out[frame.data.size()],
                                  area[0], area[1], area[2], area[3]),
              0);
    EXPECT_EQ(zelkParamPrivate.registFailed != 0, area[3] == -7);
    return zelkParamPrivate.registFailed != 0 ? -1000 : 0;
  }
};

/// How many requests in a row fail with the same last line of log, empty where there is none.
using Failures = std::pair<std::size_t, testing::Matcher<std::string>>;

TEST(FailedAllocations, AreReportedAndLeaveTheOutputAlone) {
  const auto stage = [](std::size_t requests, const char* source) {
    return Failures(requests, logLine("error", source, "GETFEATURE_SURF: malloc failed!"));
  };
  const auto frames = [](std::size_t requests, const char* text) {
    return Failures(requests, logLine("error", "imregistration_hdr", text));
  };
  const char *failed = "RegImg_surf bim to mim failed!", *block = "RegImg_surf Malloc Error!";
  const Failures integral(1, ""), detection = stage(2, "surf"),
                                  reduction = stage(1, "getfeature_surf");
  const Failures shares(
      4, logLine("error", "surf", "GenerateDiscriptor_Simple_neon_multi_inside: malloc failed!"));
  const struct {
    int32_t (Bench::*call)();
    std::vector<Failures> failures;
  } entries[] = {
      {&Bench::integrate, {integral}},
      {&Bench::detect, {stage(1, "surf")}},
      {&Bench::describe, {stage(1, "surf")}},
      {&Bench::extract,
       {reduction, integral, detection, shares, reduction, integral, detection, shares}},
      {&Bench::build, {stage(2, "kdtrree_index")}},
      {&Bench::match, {stage(2, "matcher"), stage(1, "kdtrree_index"), stage(1, "matcher")}},
      {&Bench::estimate,
       {{1, logLine("error", "imgregistration", "IMG_REGISTRATION: malloc failed!")}}},
      // The driver's own, the work memory, the features, the trees, matching and fit.
      {&Bench::registerFrames,
       {{2, testing::HasSubstr("alloc memory failed.")},
        frames(1, block),
        frames(16, failed),
        frames(2, block),
        frames(7, failed)}},
  };
  Bench bench;
  const std::vector<int32_t> untouched = bench.out;
  InitLogParams(nullptr, 1);
  for (const auto& entry : entries) {
    std::vector<Failures> failures;
    for (const Failures& same : entry.failures)
      failures.insert(failures.end(), same.first, same);
    for (std::size_t n = 0; n <= failures.size(); ++n) {
      SCOPED_TRACE(testing::Message() << "entry " << &entry - entries << ", request " << n);
      const CallInProgress call;
      LogCapture log;
      int32_t result = 0;
      const HeapFaults heap(static_cast<int>(n));  // TestAllocator takes from the heap as well
      printedBy([&] { result = (bench.*entry.call)(); });
      EXPECT_EQ(heap.live(), 0u);
      const auto logged = log.takeTexts();
      if (n == failures.size()) {
        EXPECT_EQ(result, 0);
        EXPECT_EQ(heap.requests(), static_cast<int>(n));
      } else {
        EXPECT_EQ(result, -1000);
        EXPECT_THAT(logged.empty() ? "" : logged.back(), failures[n].second);
        EXPECT_TRUE(bench.out == untouched);
      }
      bench.out = untouched;
    }
  }
}

}  // namespace
}  // namespace velmora::test
