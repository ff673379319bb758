// Driver of feature extraction: reduction, integral image, statistics, detector, descriptor.
#include <algorithm>
#include <cstddef>
#include <cstdio>

#include "logging/log.h"
#include "memory/call_buffer.h"
#include "registration/features/stages.h"
#include "registration/observed_stages.h"
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
/// Before the statistics of the first picture change them: the response that a key point needs, and
/// how much nearer than the second match the first one has to lie.
constexpr float kHessianThreshold = 280.0f;
constexpr float kMatchRatio = 0.45f;
/// What hosts have always been told to set aside for the features of two frames, in bytes.
constexpr int32_t kScratchBytes = 12432064;
constexpr const char* kFirstTooPoor =
    "the first frame has too few key points, below 5: it is too flat or too blurred";
constexpr const char* kSecondTooPoor =
    "the second frame has too few key points, below 5: it is too flat or too blurred";

/// The functions that make up an extraction; each is the plain or the parallel form.
struct Stages {
  decltype(&integrate) integral;
  decltype(&detect) detectPoints;
  decltype(&GenerateDiscriptor_Simple) describe;
};

/// Returns the integral image's table to the call's allocator.
class IntegralOwner {
 public:
  IntegralOwner(tagIntegralMat& im, const Allocator& allocator) : im_(im), allocator_(allocator) {}
  ~IntegralOwner() {
    if (im_.data != nullptr) allocator_.free(im_.data, kProcessTag, 0);
  }
  IntegralOwner(const IntegralOwner&) = delete;
  IntegralOwner& operator=(const IntegralOwner&) = delete;

 private:
  tagIntegralMat& im_;
  Allocator allocator_;
};

template <typename Report>
int32_t extract(tagST_PIC* pic, ST_IMAGEFEATURES* f, tagSURFParams* p, const Stages& stages,
                const Allocator& allocator, const Observer& observer, Report report) {
  tagIntegralMat im = {};
  {
    const StageTime time = observer.time(VELMORA_SR_STAGE_INTEGRAL);
    const int32_t error = stages.integral(pic, &im, allocator);
    if (error != 0) return observer.checked(VELMORA_SR_STAGE_INTEGRAL, error);
  }
  const IntegralOwner owner(im, allocator);
  int32_t count = 0;
  {
    const StageTime time = observer.time(VELMORA_SR_STAGE_DETECTOR);
    GetImageLumaInfo(&im, &p->hessianThreshold, &p->matchRatio);
    const int32_t error = stages.detectPoints(&im, p, f->keypoints, &count, allocator);
    if (error != 0) return observer.checked(VELMORA_SR_STAGE_DETECTOR, error);
  }
  report(count);
  f->count = count;
  const StageTime time = observer.time(VELMORA_SR_STAGE_DESCRIPTOR);
  std::fill_n(f->descriptors, static_cast<std::size_t>(count) * VELMORA_SR_DESCRIPTOR_LENGTH, 0);
  return observer.checked(
      VELMORA_SR_STAGE_DESCRIPTOR,
      stages.describe(pic, f->keypoints, f->descriptors, &p->descriptor, &im, count));
}

/// The features of a picture as it is, on four slots of the pool.
int32_t extractParallel(tagST_PIC* pic, ST_IMAGEFEATURES* f, tagSURFParams* p,
                        const Allocator& allocator, const Observer& observer) {
  return extract(pic, f, p, {integrateOnSlots, detectOnSlots, GenerateDiscriptor_Simple_neon_multi},
                 allocator, observer, [](int32_t count) {
                   printProgress("getSurfFeature_detect_neon keypoints:%d\n", count);
                 });
}

/// Reduces a picture by four and extracts its features.
int32_t extractReduced(const tagST_PIC& pic, ST_IMAGEFEATURES* f, tagSURFParams* p,
                       const Allocator& allocator, const Observer& observer) {
  const uint64_t pixels = static_cast<uint64_t>(pic.width) * static_cast<uint64_t>(pic.height);
  const CallBuffer<uint8_t> samples(allocator, pixels / (kReduction * kReduction));
  if (!samples) {
    LogMsg(kSource, __LINE__, 0, "GETFEATURE_SURF: malloc failed!");
    return observer.checked(VELMORA_SR_STAGE_REDUCTION, VELMORA_SR_RESULT_ALLOC_FAILED);
  }
  {
    const StageTime time = observer.time(VELMORA_SR_STAGE_REDUCTION);
    DownScaleNewX16_neon_surf_asm(pic.data, pic.height, pic.width, samples.data());
  }
  tagST_PIC reduced = {};
  reduced.width = pic.width / kReduction;
  reduced.height = pic.height / kReduction;
  reduced.data = samples.data();
  return extractParallel(&reduced, f, p, allocator, observer);
}

int32_t refuse() {
  LogMsg(kSource, __LINE__, 0, "GETFEATURE_SURF: %s", GetRetInfo(SR_RET_PARAMS_OUT_OF_RANGE));
  return SR_RET_PARAMS_OUT_OF_RANGE;
}

bool hasPixels(const tagST_PIC& pic) {
  return pic.data != nullptr && pic.width > 0 && pic.height > 0;
}

/// Extracts the features of one frame (0 or 1) and notes them.
int32_t extractOne(std::size_t frame, tagST_PIC& pic, bool reduce, ST_IMAGEFEATURES* f,
                   tagSURFParams* p, const Allocator& allocator, const Observer& observer) {
  if (!hasPixels(pic)) return refuse();
  const int32_t error = reduce ? extractReduced(pic, f, p, allocator, observer)
                               : extractParallel(&pic, f, p, allocator, observer);
  observer.parameters(*p);
  if (error == 0) observer.keyPoints(frame, *f);
  return error;
}

void setDefaults(tagSURFParams& p) {
  p.hessianThreshold = kHessianThreshold;
  p.matchRatio = kMatchRatio;
  p.nOctaves = 1;
  p.nOctaveLayers = 2;
  p.descriptor.length = VELMORA_SR_DESCRIPTOR_LENGTH;
  p.descriptor.upright = 1;
  p.descriptor.patchSize = 20;
}

int32_t tooFewPoints(int32_t line, const char* message, const char* reason,
                     const Observer& observer) {
  LogMsg(kSource, line, 1, "%s", message);
  observer.fail(VELMORA_SR_STAGE_DETECTOR, VELMORA_SR_CAUSE_FRAMES, reason);
  return VELMORA_SR_RESULT_TOO_FEW_POINTS;
}

}  // namespace

int32_t extractFeatures(tagST_GETFEATURE_PARAMS_IN* in, ST_IMAGEFEATURES* first,
                        ST_IMAGEFEATURES* second, tagSURFParams& p, const Allocator& allocator,
                        const Observer& observer) {
  if (in->scaleFactor != 1 && in->scaleFactor != kReduction) return refuse();
  const bool reduce = in->scaleFactor != 1 && in->first.width >= kSmallestReducedSide &&
                      in->first.height >= kSmallestReducedSide;
  // Once per pair: what the statistics of the first picture change stays in force for the second.
  setDefaults(p);
  observer.parameters(p);
  observer.reduction(reduce ? kReduction : 1);

  if (in->extractFirst != 0) {
    const int32_t error = extractOne(0, in->first, reduce, first, &p, allocator, observer);
    if (error != 0) return error;
    if (first->count < kFewestPoints) {
      return tooFewPoints(__LINE__, "GETFEATURE_SURF: wrong input image for first frame!",
                          kFirstTooPoor, observer);
    }
  } else if (first->count < kFewestPoints) {
    return tooFewPoints(__LINE__, "GETFEATURE_SURF: not enough keypoints!", kFirstTooPoor,
                        observer);
  }

  // Positions of both pictures are compared in the reduced grid of the first.
  const bool sameSize =
      in->second.width == in->first.width && in->second.height == in->first.height;
  if (reduce && !sameSize) return refuse();
  const int32_t error = extractOne(1, in->second, reduce, second, &p, allocator, observer);
  if (error != 0) return error;
  if (second->count < kFewestPoints) {
    return tooFewPoints(__LINE__, "GETFEATURE_SURF: not enough keypoints!", kSecondTooPoor,
                        observer);
  }
  return 0;
}

}  // namespace velmora

int32_t GetFeatureSurf_Query(int32_t* scratchSize, int32_t* extraSize, int32_t /*width*/,
                             int32_t /*height*/) {
  *scratchSize = velmora::kScratchBytes;
  *extraSize = 0;
  return 0;
}

int32_t GetFeatureSurf(tagST_GETFEATURE_PARAMS_IN* in, ST_IMAGEFEATURES* first,
                       ST_IMAGEFEATURES* second, tagSURFParams& p) {
  return velmora::extractFeatures(in, first, second, p, velmora::currentAllocator(), {});
}

int32_t GetSurfFeature_neon(tagST_PIC* pic, ST_IMAGEFEATURES* f, tagSURFParams* p) {
  return velmora::extractParallel(pic, f, p, velmora::currentAllocator(), {});
}

int32_t GetSurfFeature(tagST_PIC* pic, ST_IMAGEFEATURES* f, tagSURFParams* p) {
  return velmora::extract(pic, f, p,
                          {velmora::integrate, velmora::detect, GenerateDiscriptor_Simple},
                          velmora::currentAllocator(), {}, [](int32_t count) {
                            velmora::printProgress("getSurfFeature_detect keypoints:%d\n", count);
                            LogMsg(velmora::kDetectorSource, __LINE__, 2,
                                   "GETFEATURE_SURF: Detect keypoints number:%d\n", count);
                          });
}
