// Driver of feature extraction: reduction, integral image, statistics, detector, descriptor.
#include <algorithm>
#include <cstddef>
#include <cstdio>

#include "common/process_buffer.h"
#include "registration/source/call_memory.h"
#include "velmora_sr/features.h"
#include "velmora_sr/logging.h"
#include "velmora_sr/records.h"

namespace velmora {
namespace {

constexpr const char* kSource = "src/registration/source/getfeature_surf";
constexpr const char* kDetectorSource = "src/registration/source/surfdetect";

/// Pictures with a smaller side are analysed at their own size.
constexpr int32_t kSmallestReducedSide = 400;
constexpr int32_t kReduction = 4;
constexpr int32_t kFewestPoints = 5;

/// The functions that make up an extraction; each is the plain or the parallel form.
struct Stages {
  decltype(&IntegralMat) integral;
  decltype(&SURF_detect) detect;
  decltype(&GenerateDiscriptor_Simple) describe;
};

/// Returns the integral image's table to the call's allocator.
class IntegralOwner {
 public:
  explicit IntegralOwner(tagIntegralMat& im) : im_(im) {}
  ~IntegralOwner() {
    if (im_.data != nullptr) zelkParamPrivate.pub->free(im_.data, kProcessTag, 0);
  }
  IntegralOwner(const IntegralOwner&) = delete;
  IntegralOwner& operator=(const IntegralOwner&) = delete;

 private:
  tagIntegralMat& im_;
};

template <typename Report>
int32_t extract(tagST_PIC* pic, ST_IMAGEFEATURES* f, tagSURFParams* p, const Stages& stages,
                Report report) {
  tagIntegralMat im = {};
  if (const int32_t error = stages.integral(pic, &im); error != 0) return error;
  const IntegralOwner owner(im);
  GetImageLumaInfo(&im, &p->hessianThreshold, &p->matchRatio);
  int32_t count = 0;
  if (const int32_t error = stages.detect(&im, p, f->keypoints, &count); error != 0) return error;
  report(count);
  f->count = count;
  std::fill_n(f->descriptors, static_cast<std::size_t>(count) * kDescriptorLength, 0);
  return stages.describe(pic, f->keypoints, f->descriptors, &p->descriptor, &im, count);
}

/// Reduces a picture by four and extracts its features.
int32_t extractReduced(const tagST_PIC& pic, ST_IMAGEFEATURES* f, tagSURFParams* p) {
  const uint64_t pixels = static_cast<uint64_t>(pic.width) * static_cast<uint64_t>(pic.height);
  const auto samples = takeFromCall<uint8_t>(pixels / (kReduction * kReduction));
  if (!samples) {
    LogMsg(kSource, __LINE__, 0, "GETFEATURE_SURF: malloc failed!");
    return kStageAllocFailed;
  }
  DownScaleNewX16_neon_surf_asm(pic.data, pic.height, pic.width, samples.data());
  tagST_PIC reduced = {};
  reduced.width = pic.width / kReduction;
  reduced.height = pic.height / kReduction;
  reduced.data = samples.data();
  return GetSurfFeature_neon(&reduced, f, p);
}

int32_t refuse() {
  LogMsg(kSource, __LINE__, 0, "GETFEATURE_SURF: %s", GetRetInfo(SR_RET_PARAMS_OUT_OF_RANGE));
  return SR_RET_PARAMS_OUT_OF_RANGE;
}

bool hasPixels(const tagST_PIC& pic) {
  return pic.data != nullptr && pic.width > 0 && pic.height > 0;
}

int32_t extractOne(tagST_PIC& pic, bool reduce, ST_IMAGEFEATURES* f, tagSURFParams* p) {
  if (!hasPixels(pic)) return refuse();
  return reduce ? extractReduced(pic, f, p) : GetSurfFeature_neon(&pic, f, p);
}

void setDefaults(tagSURFParams& p) {
  p.hessianThreshold = 280.0f;
  p.matchRatio = 0.45f;
  p.nOctaves = 1;
  p.nOctaveLayers = 2;
  p.descriptor.length = kDescriptorLength;
  p.descriptor.upright = 1;
  p.descriptor.patchSize = 20;
}

int32_t tooFewPoints(int32_t line, const char* message) {
  LogMsg(kSource, line, 1, "%s", message);
  return kStageTooFewPoints;
}

}  // namespace
}  // namespace velmora

int32_t GetFeatureSurf_Query(int32_t* scratchSize, int32_t* extraSize, int32_t /*width*/,
                             int32_t /*height*/) {
  *scratchSize = 12432064;
  *extraSize = 0;
  return 0;
}

int32_t GetFeatureSurf(tagST_GETFEATURE_PARAMS_IN* in, ST_IMAGEFEATURES* first,
                       ST_IMAGEFEATURES* second, tagSURFParams& p) {
  using namespace velmora;
  if (in->scaleFactor != 1 && in->scaleFactor != kReduction) return refuse();
  const bool reduce = in->scaleFactor != 1 && in->first.width >= kSmallestReducedSide &&
                      in->first.height >= kSmallestReducedSide;
  // Once per pair: what the statistics of the first picture change stays in force for the second.
  setDefaults(p);

  if (in->extractFirst != 0) {
    if (const int32_t error = extractOne(in->first, reduce, first, &p); error != 0) return error;
    if (first->count < kFewestPoints) {
      return tooFewPoints(__LINE__, "GETFEATURE_SURF: wrong input image for first frame!");
    }
  } else if (first->count < kFewestPoints) {
    return tooFewPoints(__LINE__, "GETFEATURE_SURF: not enough keypoints!");
  }

  // Positions of both pictures are compared in the reduced grid of the first.
  const bool sameSize =
      in->second.width == in->first.width && in->second.height == in->first.height;
  if (reduce && !sameSize) return refuse();
  if (const int32_t error = extractOne(in->second, reduce, second, &p); error != 0) return error;
  if (second->count < kFewestPoints) {
    return tooFewPoints(__LINE__, "GETFEATURE_SURF: not enough keypoints!");
  }
  return 0;
}

int32_t GetSurfFeature_neon(tagST_PIC* pic, ST_IMAGEFEATURES* f, tagSURFParams* p) {
  return velmora::extract(
      pic, f, p, {IntegralMat_multi, SURF_detect_neon, GenerateDiscriptor_Simple_neon_multi},
      [](int32_t count) { std::printf("getSurfFeature_detect_neon keypoints:%d\n", count); });
}

int32_t GetSurfFeature(tagST_PIC* pic, ST_IMAGEFEATURES* f, tagSURFParams* p) {
  return velmora::extract(pic, f, p, {IntegralMat, SURF_detect, GenerateDiscriptor_Simple},
                          [](int32_t count) {
                            std::printf("getSurfFeature_detect keypoints:%d\n", count);
                            LogMsg(velmora::kDetectorSource, __LINE__, 2,
                                   "GETFEATURE_SURF: Detect keypoints number:%d\n", count);
                          });
}
