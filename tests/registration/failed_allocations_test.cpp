// Registration and the serial forms of its stages, with each request for memory failing in turn.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
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
  std::vector<ST_KEYPOINT> keypoints = std::vector<ST_KEYPOINT>(VELMORA_SR_MAX_KEYPOINTS);
  std::vector<int32_t> out = std::vector<int32_t>(2 * frame.data.size(), kUnwritten);

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
    std::vector<ST_KEYPOINT> points(12, {0, 0, 6400, 6400, 9});
    return GenerateDiscriptor_Simple(&pic, points.data(), out.data(), &params.descriptor, nullptr,
                                     12);
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

/// How many requests in a row fail with the same first and last line of log.
struct Failures {
  std::size_t requests;
  testing::Matcher<std::string> first, last;
};

TEST(FailedAllocations, AreReportedAndLeaveTheOutputAlone) {
  const auto driver = [](const char* text) { return logLine("error", "imregistration_hdr", text); };
  const auto failed = driver("RegImg_surf bim to mim failed!");
  const auto block = driver("RegImg_surf Malloc Error!");
  const auto stage = [&](std::size_t requests, const char* source, const char* text) {
    return Failures{requests, logLine("error", source, text), failed};
  };
  const char* text = "GETFEATURE_SURF: malloc failed!";
  const auto surf = logLine("error", "surf", text);
  const Failures reduction = stage(1, "getfeature_surf", text), integral = {1, failed, failed};
  const Failures detection = stage(2, "surf", text);  // planes, lists of the searches
  const Failures shares =
      stage(4, "surf", "GenerateDiscriptor_Simple_neon_multi_inside: malloc failed!");
  const struct {
    int32_t (Bench::*call)();
    std::vector<Failures> failures;
  } entries[] = {
      {&Bench::integrate, {{1, "", ""}}},
      {&Bench::detect, {{1, surf, surf}}},
      {&Bench::describe, {{1, surf, surf}}},
      // The driver's own, the work memory, the features, the trees, matching and fit.
      {&Bench::registerFrames,
       {{2, testing::_, testing::HasSubstr("alloc memory failed.")},
        {1, block, block},
        reduction,
        integral,
        detection,
        shares,
        reduction,
        integral,
        detection,
        shares,
        {2, block, block},
        stage(2, "kdtrree_index", text),
        stage(2, "matcher", text),
        stage(1, "kdtrree_index", text),
        stage(1, "matcher", text),
        stage(1, "imgregistration", "IMG_REGISTRATION: malloc failed!")}},
  };
  Bench bench;
  const std::vector<int32_t> untouched = bench.out;
  InitLogParams(nullptr, 1);
  for (const auto& entry : entries) {
    std::vector<Failures> failures;
    for (const Failures& same : entry.failures)
      failures.insert(failures.end(), same.requests, same);
    for (std::size_t n = 0; n <= failures.size(); ++n) {
      SCOPED_TRACE(testing::Message() << "entry " << &entry - entries << ", request " << n);
      const CallInProgress call;
      LogCapture log;
      int32_t result = 0;
      const HeapFaults heap(static_cast<int>(n));  // TestAllocator takes from the heap as well
      printedBy([&] { result = (bench.*entry.call)(); });
      EXPECT_EQ(heap.live(), 0u);
      auto logged = log.takeTexts();
      if (n == failures.size()) {
        EXPECT_EQ(result, 0);
        EXPECT_EQ(heap.requests(), static_cast<int>(n));
      } else {
        EXPECT_EQ(result, -1000);
        logged.resize(std::max<std::size_t>(logged.size(), 1));
        EXPECT_THAT(logged.front(), failures[n].first);
        EXPECT_THAT(logged.back(), failures[n].last);
        EXPECT_TRUE(bench.out == untouched);
      }
      bench.out = untouched;
    }
  }
}

}  // namespace
}  // namespace velmora::test
