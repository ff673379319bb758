#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "registration/call_support.h"
#include "registration/feature_support.h"
#include "support/page_buffer.h"
#include "velmora_sr/velmora_sr.h"

namespace velmora::test {
namespace {

/// The caller's arrays of one feature set.
struct FeatureStore {
  std::vector<ST_KEYPOINT> keypoints = std::vector<ST_KEYPOINT>(
      VELMORA_SR_MAX_KEYPOINTS, ST_KEYPOINT{0, 0, kUnwritten, kUnwritten, kUnwritten});
  std::vector<int32_t> descriptors = std::vector<int32_t>(
      std::size_t{VELMORA_SR_MAX_KEYPOINTS} * VELMORA_SR_DESCRIPTOR_LENGTH, kUnwritten);
  ST_IMAGEFEATURES record = {keypoints.data(), descriptors.data(), kUnwritten};

  /// Points and descriptors one after the other.
  [[nodiscard]] std::vector<int32_t> values() const {
    auto all = pointsOf(keypoints, record.count);
    all.insert(all.end(), descriptors.begin(), behindLast());
    return all;
  }
  [[nodiscard]] bool untouchedBehindLast() const {
    return std::all_of(behindLast(), descriptors.end(), [](int32_t v) { return v == kUnwritten; });
  }
  [[nodiscard]] bool untouched() const {
    return record.count == kUnwritten && untouchedBehindLast() &&
           std::all_of(keypoints.begin(), keypoints.end(),
                       [](const ST_KEYPOINT& p) { return p.size == kUnwritten; });
  }

 private:
  [[nodiscard]] std::vector<int32_t>::const_iterator behindLast() const {
    return descriptors.begin() +
           static_cast<std::ptrdiff_t>(std::max(record.count, 0)) * VELMORA_SR_DESCRIPTOR_LENGTH;
  }
};

/// Squares that give one key point each.
Frame squares(int32_t count, uint8_t background = 100, uint8_t value = 200) {
  Frame frame(60 + 60 * count, 100, background);
  for (int32_t i = 0; i < count; ++i)
    frame.paint(57 + 60 * i, 47, 7, value);
  return frame;
}

/// One call of GetFeatureSurf and all that it left.
struct Extraction {
  tagST_GETFEATURE_PARAMS_IN request = {};
  FeatureStore first, second;
  tagSURFParams params = {-1, -1, -1, -1, {-1, -1, -123, -1}};
  int32_t result = -99;
  std::string printed;
  std::vector<std::string> logged;

  Extraction(Frame& a, Frame& b, int32_t factor) {
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

TEST(GetSurfFeature, GivesWhatTheParallelFormGives) {
  Frame frame = texture(150, 130, 71);
  std::vector<int32_t> values[2];
  InitLogParams(nullptr, 2);
  for (const auto form : {GetSurfFeature, GetSurfFeature_neon}) {
    tagSURFParams params = surfParams();
    FeatureStore store;
    tagST_PIC pic = frame.record();
    EXPECT_EQ(form(&pic, &store.record, &params), -1000);  // no process call
    const CallInProgress call;
    pic.data = nullptr;
    EXPECT_EQ(form(&pic, &store.record, &params), SR_RET_PARAMS_OUT_OF_RANGE);
    EXPECT_TRUE(store.untouched());
    // An unusable patch size ends the last stage; the points stay, the descriptors are cleared.
    params.descriptor.patchSize = 7;
    pic = frame.record();
    printedBy([&] { EXPECT_EQ(form(&pic, &store.record, &params), SR_RET_PARAMS_OUT_OF_RANGE); });
    const auto cleared = store.values();
    EXPECT_EQ(std::count(cleared.begin(), cleared.end(), 0), 64 * store.record.count);
    params.descriptor.patchSize = 20;
    LogCapture log;
    const std::string printed =
        printedBy([&] { EXPECT_EQ(form(&pic, &store.record, &params), 0); });
    EXPECT_EQ(store.record.count, 76);
    values[form == GetSurfFeature] = store.values();
    if (form != GetSurfFeature) continue;
    EXPECT_EQ(printed, "getSurfFeature_detect keypoints:76\n");
    EXPECT_THAT(
        log.takeTexts(),
        testing::Contains(">>BRISOLE2[info] : GETFEATURE_SURF: Detect keypoints number:76\n\n"));
  }
  EXPECT_EQ(values[0], values[1]);
}

TEST(GetFeatureSurf, GivesTheSameBitsOnEveryMachine) {
  const CallInProgress call;
  // Dark and bright pictures change the threshold for the one after them. The digests are those of
  // the stages by their definitions.
  Frame dark = squares(5, 5), normal = squares(5), bright = squares(5, 230, 100);
  Frame a = texture(400, 400, 74), b = texture(400, 400, 75), odd = texture(403, 421, 74);
  Frame narrow = texture(399, 400, 74), flat = texture(400, 399, 74);
  const struct {
    Frame &first, &second;
    int32_t factor;
    float threshold, ratio;
    uint32_t digest;
  } cases[] = {
      {a, b, 4, 280, 0.45f, 1765317973},           {odd, odd, 4, 280, 0.45f, 2755689532},
      {narrow, narrow, 4, 280, 0.45f, 1892017484}, {flat, flat, 4, 280, 0.45f, 4263507763},
      {b, a, 1, 280, 0.45f, 1177235379},           {normal, a, 4, 280, 0.45f, 2266671797},
      {dark, normal, 1, 50, 0.4f, 1373242219},     {normal, dark, 4, 50, 0.4f, 2950414447},
      {dark, bright, 1, 150, 0.4f, 502788479},     {bright, dark, 1, 50, 0.4f, 2230804392},
      {bright, normal, 1, 150, 0.4f, 2262186821},
  };
  for (const bool running : {false, true}) {
    const Pool pool(running);
    for (const auto& c : cases) {
      SCOPED_TRACE(testing::Message() << "case " << &c - cases << ", pool " << running);
      Extraction pair(c.first, c.second, c.factor);
      ASSERT_EQ(pair.run().result, 0);
      EXPECT_EQ(digestOf(pair.first.values(), pair.second.values()), c.digest);
      EXPECT_THAT(pair.logged, testing::IsEmpty());
      EXPECT_TRUE(pair.first.untouchedBehindLast());
      std::string printed;
      for (const auto* store : {&pair.first, &pair.second})
        printed +=
            "getSurfFeature_detect_neon keypoints:" + std::to_string(store->record.count) + "\n";
      EXPECT_EQ(pair.printed, printed);
      const auto& [threshold, ratio, octaves, layers, words] = pair.params;
      EXPECT_EQ(threshold, c.threshold);
      EXPECT_EQ(ratio, c.ratio);
      EXPECT_EQ(
          (std::vector{octaves, layers, words.length, words.upright, words.unset, words.patchSize}),
          (std::vector{1, 2, 64, 1, -123, 20}));
    }
  }
}

TEST(GetFeatureSurf, TakesAFirstSetThatIsFilled) {
  const CallInProgress call;
  Frame large = texture(400, 400, 74);  // the first record still decides on the reduction
  Extraction both(large, large, 4);
  ASSERT_EQ(both.run().result, 0);
  for (const int32_t count : {5, 12000, 4, 0, -1}) {
    Extraction pair(large, large, 4);
    pair.request.extractFirst = 0;
    pair.request.first.data = nullptr;  // not looked at
    pair.first.record.count = count;
    EXPECT_EQ(pair.run().result, count >= 5 ? 0 : 2);
    EXPECT_EQ(pair.first.record.count, count);
    EXPECT_EQ(pair.first.keypoints[0].x, kUnwritten);
    if (count >= 5) {
      EXPECT_EQ(pair.second.values(), both.second.values());
    } else {
      EXPECT_TRUE(pair.second.untouched());
      pair.expectLogged("warning", "GETFEATURE_SURF: not enough keypoints!");
    }
  }
}

TEST(GetFeatureSurf, SaysWhichPairsItCannotTake) {
  const CallInProgress call;
  Frame large = texture(400, 400, 74), taller = texture(400, 404, 75);
  Frame five = squares(5), four = squares(4);
  using Request = tagST_GETFEATURE_PARAMS_IN;
  const char* range = "GETFEATURE_SURF: params out of range.";
  const struct {
    Frame &first, &second;
    void (*change)(Request&);
    int found;  // feature sets
    const char* text;
  } cases[] = {
      {four, five, [](Request&) {}, 1, "GETFEATURE_SURF: wrong input image for first frame!"},
      {five, four, [](Request&) {}, 2, "GETFEATURE_SURF: not enough keypoints!"},
      {large, taller, [](Request&) {}, 1, range},
      {large, five, [](Request&) {}, 1, range},
      {large, large, [](Request& r) { r.second.data = nullptr; }, 1, range},
      {large, large, [](Request& r) { r.first.data = nullptr; }, 0, range},
      {five, five, [](Request& r) { r.first.width = 0; }, 0, range},
      {five, five, [](Request& r) { r.first.height = -5; }, 0, range},
      {five, five, [](Request& r) { r.scaleFactor = 0; }, 0, range},
      {large, large, [](Request& r) { r.scaleFactor = -4; }, 0, range},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    Extraction pair(c.first, c.second, 4);
    c.change(pair.request);
    EXPECT_EQ(pair.run().result, c.text == range ? int32_t{SR_RET_PARAMS_OUT_OF_RANGE} : 2);
    EXPECT_EQ(pair.first.untouched(), c.found < 1);
    EXPECT_EQ(pair.second.untouched(), c.found < 2);
    pair.expectLogged(c.text == range ? "error" : "warning", c.text);
  }
}

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
