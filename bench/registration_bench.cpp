// Time of each stage of registration on a 12-megapixel pair, in all and per pixel or per point.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

#include "quiet_library.h"
#include "support/random.h"
#include "velmora_sr/features.h"
#include "velmora_sr/homography.h"
#include "velmora_sr/matching.h"
#include "velmora_sr/motion_area.h"
#include "velmora_sr/records.h"
#include "velmora_sr/registration.h"
#include "velmora_sr/thread_pool.h"

namespace {

using velmora::test::Random;

constexpr int32_t kWidth = 4000;
constexpr int32_t kHeight = 3000;
constexpr int32_t kReduction = 4;
constexpr int32_t kBlobs = 12000;
constexpr int32_t kShiftX = 37;
constexpr int32_t kShiftY = 21;

const velmora::bench::QuietLibrary quiet;

void* takeBlock(uint32_t size, const char*, int32_t) {
  return std::malloc(size);
}

void releaseBlock(void* block, const char*, int32_t) {
  std::free(block);
}

/// A picture of soft discs of many sizes.
std::vector<uint8_t> drawScene(int32_t width, int32_t height) {
  std::vector<uint8_t> scene(static_cast<std::size_t>(width) * height, 110);
  Random random(7);
  for (int i = 0; i < kBlobs; ++i) {
    const auto cx = static_cast<int32_t>(random.range(0, width - 1));
    const auto cy = static_cast<int32_t>(random.range(0, height - 1));
    const auto radius = static_cast<int32_t>(random.range(8, 40));
    const auto value = static_cast<int32_t>(random.range(0, 255));
    for (int32_t y = std::max(cy - radius, 0); y < std::min(cy + radius, height); ++y) {
      for (int32_t x = std::max(cx - radius, 0); x < std::min(cx + radius, width); ++x) {
        const int32_t distance = (x - cx) * (x - cx) + (y - cy) * (y - cy);
        if (distance >= radius * radius) continue;
        uint8_t& pixel = scene[static_cast<std::size_t>(y) * width + x];
        pixel = static_cast<uint8_t>(pixel + (value - pixel) * (radius * radius - distance) /
                                                 (radius * radius));
      }
    }
  }
  return scene;
}

/// A window of the scene with sensor noise.
std::vector<uint8_t> window(const std::vector<uint8_t>& scene, int32_t pitch, int32_t left,
                            int32_t top, uint64_t seed) {
  std::vector<uint8_t> frame(static_cast<std::size_t>(kWidth) * kHeight * 3 / 2, 128);
  Random random(seed);
  for (int32_t y = 0; y < kHeight; ++y) {
    for (int32_t x = 0; x < kWidth; ++x) {
      const auto clean = scene[static_cast<std::size_t>(y + top) * pitch + x + left];
      const auto noisy = clean + static_cast<int32_t>(random.next() >> 61) - 4;
      frame[static_cast<std::size_t>(y) * kWidth + x] =
          static_cast<uint8_t>(std::clamp(noisy, 0, 255));
    }
  }
  return frame;
}

struct FeatureSet {
  std::vector<ST_KEYPOINT> keypoints = std::vector<ST_KEYPOINT>(VELMORA_SR_MAX_KEYPOINTS);
  std::vector<int32_t> descriptors = std::vector<int32_t>(
      static_cast<std::size_t>(VELMORA_SR_MAX_KEYPOINTS) * VELMORA_SR_DESCRIPTOR_LENGTH);
  ST_IMAGEFEATURES set = {keypoints.data(), descriptors.data(), 0};
};

/// Two frames, and what each stage has made of them for the next.
struct Pair {
  SR_ParamsPublic handle = {};
  std::vector<uint8_t> first, second;
  std::vector<uint8_t> reduced;
  tagST_PIC pic = {};
  tagIntegralMat integral = {};
  tagSURFParams surf = {280.0f, 0.45f, 1, 2, {VELMORA_SR_DESCRIPTOR_LENGTH, 1, 0, 20}};
  FeatureSet firstFeatures, secondFeatures;
  std::vector<ST_NODE*> roots = std::vector<ST_NODE*>(VELMORA_SR_KD_TREES);
  std::vector<ST_NODE> pool = std::vector<ST_NODE>(VELMORA_SR_KD_TREES * 36000);
  std::vector<int32_t> matchBlock = std::vector<int32_t>(5 * VELMORA_SR_MAX_KEYPOINTS);
  tagMATCHESINFO matches = {};
  std::vector<float> refPoints, matchPoints;  // before RANSAC
  std::vector<float> refInliers, matchInliers;
  int32_t inliers = 0;
  std::vector<unsigned char> scratch;
  std::array<float, 9> homography = {};

  Pair() {
    handle.alloc = takeBlock;
    handle.free = releaseBlock;
    zelkParamPrivate.pub = &handle;
    MultiThread_Init(0);
    const int32_t pitch = kWidth + kShiftX;
    const auto scene = drawScene(pitch, kHeight + kShiftY);
    first = window(scene, pitch, 0, 0, 1);
    second = window(scene, pitch, kShiftX, kShiftY, 2);

    tagST_GETFEATURE_PARAMS_IN in = {};
    in.first.width = in.second.width = kWidth;
    in.first.height = in.second.height = kHeight;
    in.first.data = first.data();
    in.second.data = second.data();
    in.extractFirst = 1;
    in.scaleFactor = kReduction;
    require(GetFeatureSurf(&in, &firstFeatures.set, &secondFeatures.set, surf) == 0);

    pic.width = kWidth / kReduction;
    pic.height = kHeight / kReduction;
    reduced.resize(static_cast<std::size_t>(pic.width) * pic.height);
    pic.data = reduced.data();
    reduce();
    require(IntegralMat_multi(&pic, &integral) == 0);
    buildTrees();
    search();
    require(matches.matchCount >= 100);
    collectPairs();
    scratch.resize(44 * 4 * refPoints.size() + 4096);
    runRansac();
    require(inliers >= 100);
    refine();
    require(std::abs(homography[2] + kShiftX) < 2 && std::abs(homography[5] + kShiftY) < 2);
  }
  ~Pair() {
    std::free(integral.data);
    MultiThread_destory();
    zelkParamPrivate.pub = nullptr;
  }
  Pair(const Pair&) = delete;
  Pair& operator=(const Pair&) = delete;

  void reduce() { DownScaleNewX16_neon_surf_asm(first.data(), kHeight, kWidth, reduced.data()); }
  void buildTrees() {
    void* memory = pool.data();
    BuildKDTreeIndices(&firstFeatures.set, roots.data(), static_cast<unsigned char*>(memory));
  }
  void search() {
    const std::size_t queries = VELMORA_SR_MAX_KEYPOINTS;
    matches = {matchBlock.data(), matchBlock.data() + queries, matchBlock.data() + 3 * queries, 0};
    KnnMatcher(&secondFeatures.set, &firstFeatures.set, roots.data(), &matches, surf.matchRatio);
  }
  void runRansac() {
    refInliers = refPoints;
    matchInliers = matchPoints;
    tagST_MATCH_PAIRS pairs = {refInliers.data(), matchInliers.data(),
                               static_cast<int32_t>(refPoints.size() / 2)};
    tagRANSAC_PARAMS params = {.maxIters = 100, .threshold = 12.0f, .confidence = 0.9995f};
    RansacEstimation(&pairs, homography.data(), &params, scratch.data());
    inliers = pairs.count;
  }
  void refine() {
    tagST_MATCH_PAIRS pairs = {refInliers.data(), matchInliers.data(), inliers};
    RefineHomography(&pairs, homography.data(), scratch.data());
  }

 private:
  static void require(bool condition) {
    if (condition) return;
    std::fputs("the pair of the benchmark does not register\n", stderr);
    std::exit(1);
  }
  static void append(std::vector<float>& points, const ST_KEYPOINT& keypoint) {
    points.push_back(static_cast<float>((keypoint.x * kReduction + 32) >> 6));
    points.push_back(static_cast<float>((keypoint.y * kReduction + 32) >> 6));
  }
  void collectPairs() {
    for (int32_t i = 0; i < matches.matchCount; ++i) {
      append(refPoints, firstFeatures.keypoints[static_cast<std::size_t>(matches.neighbours[i])]);
      append(matchPoints, secondFeatures.keypoints[static_cast<std::size_t>(matches.queries[i])]);
    }
  }
};

Pair& pair() {
  static Pair instance;
  return instance;
}

constexpr double kFramePixels = double{kWidth} * kHeight;
constexpr double kReducedPixels = kFramePixels / (kReduction * kReduction);

/// Times a stage; `name` says what one unit of its work is.
template <typename Work>
void run(benchmark::State& state, const char* name, double units, const Work& work) {
  for (auto _ : state) {
    work();
    benchmark::ClobberMemory();
  }
  state.counters[name] =
      benchmark::Counter(units * static_cast<double>(state.iterations()),
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void Reduction(benchmark::State& state) {
  Pair& p = pair();
  run(state, "time/pixel", kFramePixels, [&] { p.reduce(); });
}

void IntegralImage(benchmark::State& state) {
  Pair& p = pair();
  run(state, "time/reduced pixel", kReducedPixels, [&] {
    tagIntegralMat integral = {};
    IntegralMat_multi(&p.pic, &integral);
    std::free(integral.data);
  });
}

void Detector(benchmark::State& state) {
  Pair& p = pair();
  std::vector<ST_KEYPOINT> keypoints(VELMORA_SR_MAX_KEYPOINTS);
  run(state, "time/reduced pixel", kReducedPixels, [&] {
    int32_t count = 0;
    SURF_detect_neon(&p.integral, &p.surf, keypoints.data(), &count);
  });
  state.counters["points"] = p.firstFeatures.set.count;
}

void Descriptor(benchmark::State& state) {
  Pair& p = pair();
  const int32_t count = p.firstFeatures.set.count;
  std::vector<int32_t> descriptors(static_cast<std::size_t>(count) * VELMORA_SR_DESCRIPTOR_LENGTH);
  run(state, "time/point", count, [&] {
    GenerateDiscriptor_Simple_neon_multi(&p.pic, p.firstFeatures.keypoints.data(),
                                         descriptors.data(), &p.surf.descriptor, &p.integral,
                                         count);
  });
}

void Trees(benchmark::State& state) {
  Pair& p = pair();
  run(state, "time/point", p.firstFeatures.set.count, [&] { p.buildTrees(); });
}

void Search(benchmark::State& state) {
  Pair& p = pair();
  run(state, "time/point", p.secondFeatures.set.count, [&] { p.search(); });
}

void Ransac(benchmark::State& state) {
  Pair& p = pair();
  run(state, "time/match", p.matches.matchCount, [&] { p.runRansac(); });
}

void Refinement(benchmark::State& state) {
  Pair& p = pair();
  run(state, "time/inlier", p.inliers, [&] { p.refine(); });
}

void ValidArea(benchmark::State& state) {
  Pair& p = pair();
  run(state, "time/call", 1, [&] {
    int32_t left = 0, top = 0, right = 0, bottom = 0;
    MatrixEstimation(p.homography.data(), kWidth, kHeight, left, top, right, bottom);
  });
}

void PositionMaps(benchmark::State& state) {
  Pair& p = pair();
  std::vector<int32_t> posX(static_cast<std::size_t>(kFramePixels));
  std::vector<int32_t> posY(static_cast<std::size_t>(kFramePixels));
  run(state, "time/pixel", kFramePixels, [&] {
    GetSubPixelPositionGlobalRegist(p.homography.data(), posY.data(), posX.data(), kWidth, kHeight);
  });
}

void WholeRegistration(benchmark::State& state) {
  Pair& p = pair();
  run(state, "time/pixel", kFramePixels, [&] {
    _YUVIM first = {0, p.first.data(), nullptr};
    _YUVIM second = {0, p.second.data(), nullptr};
    float* homography = p.homography.data();
    int32_t left = 0, top = 0, right = 0, bottom = 0;
    HomographyRegistration(&second, &first, {kWidth, kHeight}, &homography, left, top, right,
                           bottom, nullptr, 0);
  });
}

// Wall time, beside the processor time of all threads that share the work.
BENCHMARK(Reduction)->MeasureProcessCPUTime()->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(IntegralImage)->MeasureProcessCPUTime()->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(Detector)->MeasureProcessCPUTime()->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(Descriptor)->MeasureProcessCPUTime()->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(Trees)->MeasureProcessCPUTime()->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(Search)->MeasureProcessCPUTime()->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(Ransac)->MeasureProcessCPUTime()->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(Refinement)->MeasureProcessCPUTime()->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(ValidArea)->MeasureProcessCPUTime()->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(PositionMaps)->MeasureProcessCPUTime()->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(WholeRegistration)->MeasureProcessCPUTime()->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace
