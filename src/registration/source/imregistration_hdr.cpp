// The registration of two frames: features of both, then a homography for each part of the first.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "logging/log.h"
#include "memory/call_buffer.h"
#include "memory/carver.h"
#include "registration/observed_stages.h"
#include "velmora_sr/features.h"
#include "velmora_sr/logging.h"
#include "velmora_sr/matching.h"
#include "velmora_sr/registration.h"

namespace velmora {
namespace {

constexpr const char* kLogSource = "src/registration/source/imregistration_hdr";
constexpr int32_t kReduction = 4;
constexpr int32_t kMinKeypoints = 5;
/// Nodes of the pool. A tree over the most points that a frame can have takes 23,997 of its share.
constexpr std::size_t kNodesPerTree = 36000;
constexpr std::size_t kPoolNodes = VELMORA_SR_KD_TREES * kNodesPerTree;

/// Room for the features of a frame with the most key points.
ST_IMAGEFEATURES takeFeatures(Carver& carver) {
  auto* keypoints = carver.take<ST_KEYPOINT>(VELMORA_SR_MAX_KEYPOINTS).data();
  const std::size_t values = std::size_t{VELMORA_SR_MAX_KEYPOINTS} * VELMORA_SR_DESCRIPTOR_LENGTH;
  return {keypoints, carver.take<int32_t>(values).data(), 0};
}

/// The work memory of one registration: correspondences and three feature sets, for the most key
/// points that a frame can have. The rest of the block, of which the two queries give the size, is
/// reserved.
struct WorkBlock {
  CallBuffer<unsigned char> memory;
  ST_IMAGEFEATURES first = {};
  ST_IMAGEFEATURES second = {};
  ST_IMAGEFEATURES subset = {};
  tagST_MATCH_PAIRS pairs = {};

  WorkBlock(_WIDTHHEIGHT size, const Allocator& allocator) : memory(allocator, bytes(size)) {
    if (!memory) return;
    Carver carver(memory.data());
    pairs.refPoints = carver.take<float>(2 * VELMORA_SR_MAX_KEYPOINTS).data();
    pairs.matchPoints = carver.take<float>(2 * VELMORA_SR_MAX_KEYPOINTS).data();
    first = takeFeatures(carver);
    second = takeFeatures(carver);
    subset = takeFeatures(carver);
  }

 private:
  static uint64_t bytes(_WIDTHHEIGHT size) {
    int32_t features = 0;
    int32_t registration = 0;
    int32_t unused = 0;
    GetFeatureSurf_Query(&features, &unused, size.width, size.height);
    ImgRegistration_Query(&registration, &unused, size.width, size.height);
    return static_cast<uint64_t>(features) + static_cast<uint64_t>(registration);
  }
};

/// Which part of the first frame a key point belongs to.
struct PartMap {
  const uint8_t* map;
  int32_t parts;
  _WIDTHHEIGHT size;

  [[nodiscard]] bool holds(const ST_KEYPOINT& keypoint, int32_t part) const {
    if (parts == 1) return true;  // one part needs no map
    const int64_t column = fullSizePixel(keypoint.x);
    const int64_t row = fullSizePixel(keypoint.y);
    if (column < 0 || row < 0 || column >= size.width || row >= size.height) return false;
    return map[row * size.width + column] == part;
  }

 private:
  /// Q6 of the reduced picture to whole pixels of the frame.
  static int64_t fullSizePixel(int32_t coordinate) {
    return (int64_t{coordinate} * kReduction + 32) >> 6;
  }
};

struct Rectangle {
  int32_t left;
  int32_t top;
  int32_t right;
  int32_t bottom;
};

class Registration {
 public:
  Registration(WorkBlock& work, const PartMap& partMap, const Allocator& allocator,
               const Observer& observer)
      : size_(partMap.size),
        work_(work),
        partMap_(partMap),
        allocator_(allocator),
        observer_(observer) {}

  int32_t extract(const _YUVIM& first, const _YUVIM& second) {
    request_.first.width = request_.second.width = size_.width;
    request_.first.height = request_.second.height = size_.height;
    request_.first.data = first.luma;
    request_.second.data = second.luma;
    request_.extractFirst = 1;
    request_.scaleFactor = kReduction;
    printProgress("at surf detection downscaleTime is %d\n", kReduction);
    return extractFeatures(&request_, &work_.first, &work_.second, surf_, allocator_, observer_);
  }

  /// Takes the memory of the trees; false when there is none.
  bool takeTrees() {
    roots_ = {allocator_, VELMORA_SR_KD_TREES};
    pool_ = {allocator_, kPoolNodes};
    return roots_ && pool_;
  }

  /// True when the part has a homography; the area is written then.
  bool registerPart(int32_t part, float* homography, Rectangle& area) {
    printProgress("start to get matrix for %d parts\n", part);
    std::fill_n(homography, 9, 0.0f);
    ST_IMAGEFEATURES features = featuresOf(part);
    printProgress("-----------------*************** at splitedParts(%d/%d) find keyPoints %d\n",
                  part, partMap_.parts, features.count);
    if (features.count < kMinKeypoints) {
      printProgress("feature points pairs num is too small!!");
      return false;
    }
    return match(features) && estimate(homography, area);
  }

 private:
  /// The key points of the first frame that lie in a part, in their order.
  ST_IMAGEFEATURES featuresOf(int32_t part) {
    if (partMap_.parts == 1) return work_.first;
    ST_IMAGEFEATURES& subset = work_.subset;
    subset.count = 0;
    for (ptrdiff_t i = 0; i < work_.first.count; ++i) {
      if (!partMap_.holds(work_.first.keypoints[i], part)) continue;
      subset.keypoints[subset.count] = work_.first.keypoints[i];
      std::copy_n(
          work_.first.descriptors + i * VELMORA_SR_DESCRIPTOR_LENGTH, VELMORA_SR_DESCRIPTOR_LENGTH,
          subset.descriptors + static_cast<ptrdiff_t>(subset.count) * VELMORA_SR_DESCRIPTOR_LENGTH);
      ++subset.count;
    }
    return subset;
  }

  int32_t buildTrees(ST_IMAGEFEATURES& features, unsigned char* pool) {
    const StageTime time = observer_.time(VELMORA_SR_STAGE_TREES);
    return observer_.checked(VELMORA_SR_STAGE_TREES,
                             BuildKDTreeIndices(&features, roots_.data(), pool));
  }

  bool match(ST_IMAGEFEATURES& features) {
    void* pool = pool_.data();
    if (buildTrees(features, static_cast<unsigned char*>(pool)) != 0) {
      printProgress("BuildKDTreeIndices error!!");
      return false;
    }
    work_.pairs.count = 0;
    if (matchFeatures(&features, &work_.second, roots_.data(), &work_.pairs, kReduction,
                      surf_.matchRatio, observer_) != 0) {
      LogMsg(kLogSource, __LINE__, 0, "GetFeature Error!");
      printProgress("FeatureMatcher error!!");
      return false;
    }
    return true;
  }

  bool estimate(float* homography, Rectangle& area) {
    tagST_IMGREGISTRATION_PARAMS_IN in = {size_.width, size_.height, request_, work_.pairs};
    if (estimateHomography(&in, homography, area.left, area.top, area.right, area.bottom,
                           observer_) != 0) {
      LogMsg(kLogSource, __LINE__, 0, "ImgRegistration Error!");
      printProgress("ImgRegistration error!!");
      return false;
    }
    return true;
  }

  _WIDTHHEIGHT size_;
  WorkBlock& work_;
  PartMap partMap_;
  Allocator allocator_;
  Observer observer_;
  CallBuffer<ST_NODE*> roots_;
  CallBuffer<ST_NODE> pool_;
  tagST_GETFEATURE_PARAMS_IN request_ = {};
  tagSURFParams surf_ = {};
};

int32_t fail(int32_t line, const char* message) {
  LogMsg(kLogSource, line, 0, "%s", message);
  return VELMORA_SR_RESULT_REGISTRATION_FAILED;
}

int32_t registerFrames(const _YUVIM& second, const _YUVIM& first, const PartMap& partMap,
                       float** homographies, Rectangle& area, const Allocator& allocator,
                       const Observer& observer) {
  WorkBlock work(partMap.size, allocator);
  if (!work.memory) {
    observer.checked(VELMORA_SR_STAGE_CALL, VELMORA_SR_RESULT_ALLOC_FAILED);
    return fail(__LINE__, "RegImg_surf Malloc Error!");
  }
  Registration registration(work, partMap, allocator, observer);
  if (const int32_t error = registration.extract(first, second); error != 0) {
    printProgress("get surf feature points failed!ret %d\n", error);
    return fail(__LINE__, "RegImg_surf bim to mim failed!");
  }
  if (!registration.takeTrees()) {
    observer.checked(VELMORA_SR_STAGE_TREES, VELMORA_SR_RESULT_ALLOC_FAILED);
    return fail(__LINE__, "RegImg_surf Malloc Error!");
  }

  // The last part decides: what failed before it is forgotten, what succeeded before it too.
  bool registered = false;
  for (int32_t part = 0; part < partMap.parts; ++part)
    registered = registration.registerPart(part, homographies[part], area);
  return registered ? 0 : fail(__LINE__, "RegImg_surf bim to mim failed!");
}

int32_t registerParts(const _YUVIM& second, const _YUVIM& first, const PartMap& partMap,
                      float** homographies, int32_t& left, int32_t& top, int32_t& right,
                      int32_t& bottom, const Allocator& allocator, const Observer& observer) {
  Rectangle area = {};
  const int32_t result =
      registerFrames(second, first, partMap, homographies, area, allocator, observer);
  if (result != 0) return result;
  left = area.left;
  top = area.top;
  right = area.right;
  bottom = area.bottom;
  return 0;
}

}  // namespace

int32_t registerWhole(_YUVIM& second, _YUVIM& first, _WIDTHHEIGHT size, float** homographies,
                      int32_t& left, int32_t& top, int32_t& right, int32_t& bottom,
                      const Allocator& allocator, const Observer& observer) {
  return registerParts(second, first, {nullptr, 1, size}, homographies, left, top, right, bottom,
                       allocator, observer);
}

}  // namespace velmora

int32_t HomographyRegistration(_YUVIM* second, _YUVIM* first, _WIDTHHEIGHT size,
                               float** homographies, int32_t& left, int32_t& top, int32_t& right,
                               int32_t& bottom, uint8_t* partMap, int32_t parts) {
  const bool split = partMap != nullptr && parts > 1;
  return velmora::registerParts(*second, *first, {partMap, split ? parts : 1, size}, homographies,
                                left, top, right, bottom, velmora::currentAllocator(), {});
}
