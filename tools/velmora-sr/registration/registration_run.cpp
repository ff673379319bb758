#include "registration/registration_run.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <new>
#include <string_view>
#include <utility>

#include "engine/block_pool.h"
#include "engine/library_log.h"
#include "errors.h"
#include "interrupt.h"
#include "status.h"
#include "velmora_sr/homography.h"
#include "velmora_sr/logging.h"
#include "velmora_sr/matching.h"
#include "velmora_sr/motion_area.h"
#include "velmora_sr/records.h"
#include "velmora_sr/registration.h"
#include "velmora_sr/thread_pool.h"

namespace velmora::tool {
namespace {

// The arguments of the library's driver.
constexpr int kReduction = 4;
constexpr int kFewestPoints = 5;
constexpr tagRANSAC_PARAMS kRansac = {100, 12.0f, 0.9995f};
constexpr std::size_t kPoolNodes = kKdTreeCount * 36000;
constexpr std::array<const char*, 2> kOrdinals = {"first", "second"};

/// What the stages expect around them: the allocator of a call, the threads, the log.
class LibraryCall {
 public:
  LibraryCall() {
    handle_.alloc = block_pool::allocate;
    handle_.free = block_pool::release;
    if (MultiThread_Init(0) != 0) throw Failure("the library cannot start its threads");
    zelkParamPrivate.pub = &handle_;
    InitLogParams(nullptr, 0);
    library_log::take();
    block_pool::takeFailure();
  }
  ~LibraryCall() {
    zelkParamPrivate.pub = nullptr;
    MultiThread_destory();
    library_log::take();
  }
  LibraryCall(const LibraryCall&) = delete;
  LibraryCall& operator=(const LibraryCall&) = delete;

 private:
  SR_ParamsPublic handle_ = {};
};

struct ReleaseBlock {
  void operator()(int32_t* block) const { block_pool::release(block, "SR_Process", 0); }
};

/// The stages fail on memory alone; other codes would be a fault of the tool.
void require(int32_t result) {
  if (result == kStageAllocFailed) throw std::bad_alloc();
  if (result != 0)
    throw Failure("the library refuses a stage (code " + std::to_string(result) + ")");
}

/// Why the library rejected a homography, in the words of its log.
std::string loggedReason() {
  std::string reason = "the two frames do not share enough of the picture";
  for (const auto& line : library_log::take()) {
    constexpr std::string_view kMark = "IMG_REGISTRATION: ";
    const auto at = line.text.find(kMark);
    if (at != std::string::npos) reason = line.text.substr(at + kMark.size());
  }
  while (!reason.empty() && reason.back() == '!')
    reason.pop_back();
  return reason;
}

class Features {
 public:
  Features()
      : keypoints_(kMaxKeypoints), descriptors_(std::size_t{kMaxKeypoints} * kDescriptorLength) {
    set.keypoints = keypoints_.data();
    set.descriptors = descriptors_.data();
  }
  Features(const Features&) = delete;
  Features& operator=(const Features&) = delete;

  ST_IMAGEFEATURES set = {};

 private:
  std::vector<ST_KEYPOINT> keypoints_;
  std::vector<int32_t> descriptors_;
};

/// Correspondences as the stages take them.
class Pairs {
 public:
  explicit Pairs(std::size_t count) : first(2 * count), second(2 * count) {
    set = {first.data(), second.data(), static_cast<int32_t>(count)};
  }
  Pairs(const Pairs&) = delete;
  Pairs& operator=(const Pairs&) = delete;

  std::vector<float> first, second;  // x, y
  tagST_MATCH_PAIRS set;
};

class Run {
 public:
  Run(Plane& first, Plane& second) : planes_{&first, &second} {
    report_.size = first.size;
    const bool reduced = first.size.width >= kSmallestSide && first.size.height >= kSmallestSide;
    report_.reduction = reduced ? kReduction : 1;
    surf_ = {280.0f, 0.45f, 1, 2, {kDescriptorLength, 1, 0, 20}};
  }

  RegistrationReport run() {
    if (extract(0) && extract(1) && match() && agree() && refine()) map();
    report_.threshold = static_cast<double>(surf_.hessianThreshold);
    report_.ratio = static_cast<double>(surf_.matchRatio);
    return std::move(report_);
  }

 private:
  bool fail(Stage stage, std::string reason) {
    report_.failure = RegistrationFailure{stage, std::move(reason)};
    return false;
  }

  /// Runs one stage, adding to its time.
  template <typename Work>
  void timed(Stage stage, const Work& work) {
    interrupt::check();
    const auto start = std::chrono::steady_clock::now();
    work();
    const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - start;
    report_.milliseconds[static_cast<std::size_t>(stage)] += time.count();
  }

  /// GetFeatureSurf for one of the frames.
  bool extract(std::size_t index) {
    Plane& plane = *planes_[index];
    ST_IMAGEFEATURES& features = features_[index].set;
    tagST_PIC pic = {};
    pic.width = plane.size.width;
    pic.height = plane.size.height;
    pic.data = plane.samples.data();
    std::vector<uint8_t> reduced;
    if (report_.reduction != 1) {
      pic.width /= kReduction;
      pic.height /= kReduction;
      reduced.resize(std::size_t(pic.width) * std::size_t(pic.height));
      timed(Stage::reduction, [&] {
        DownScaleNewX16_neon_surf_asm(plane.samples.data(), plane.size.height, plane.size.width,
                                      reduced.data());
      });
      pic.data = reduced.data();
    }

    tagIntegralMat integral = {};
    timed(Stage::integral, [&] { require(IntegralMat_multi(&pic, &integral)); });
    const std::unique_ptr<int32_t, ReleaseBlock> owner(integral.data);
    timed(Stage::detector, [&] {
      GetImageLumaInfo(&integral, &surf_.hessianThreshold, &surf_.matchRatio);
      require(SURF_detect_neon(&integral, &surf_, features.keypoints, &features.count));
    });
    timed(Stage::descriptor, [&] {
      require(GenerateDiscriptor_Simple_neon_multi(&pic, features.keypoints, features.descriptors,
                                                   &surf_.descriptor, &integral, features.count));
    });

    const double scale = report_.reduction / 64.0;  // Q6
    for (int32_t i = 0; i < features.count; ++i) {
      const ST_KEYPOINT& keypoint = features.keypoints[i];
      report_.keypoints[index].push_back({keypoint.x * scale, keypoint.y * scale});
    }
    if (features.count >= kFewestPoints) return true;
    return fail(
        Stage::detector,
        format("the %s frame has too few key points (%d, at least %d are needed): it is too flat "
               "or too blurred",
               kOrdinals[index], features.count, kFewestPoints));
  }

  /// BuildKDTreeIndices and KnnMatcher; the trees are those of the first frame.
  bool match() {
    std::vector<ST_NODE*> roots(kKdTreeCount);
    std::vector<ST_NODE> pool(kPoolNodes);
    timed(Stage::trees, [&] {
      require(BuildKDTreeIndices(&features_[0].set, roots.data(),
                                 reinterpret_cast<unsigned char*>(pool.data())));
    });
    const auto queries = static_cast<std::size_t>(features_[1].set.count);
    std::vector<int32_t> block(5 * queries);
    tagMATCHESINFO found = {block.data(), block.data() + queries, block.data() + 3 * queries, 0};
    timed(Stage::search, [&] {
      require(
          KnnMatcher(&features_[1].set, &features_[0].set, roots.data(), &found, surf_.matchRatio));
    });
    for (int32_t i = 0; i < found.matchCount; ++i) {
      report_.matches.push_back({static_cast<std::size_t>(found.neighbours[i]),
                                 static_cast<std::size_t>(found.queries[i]), false});
    }
    if (found.matchCount >= kFewestPoints) return true;
    return fail(
        Stage::search,
        format("too few key points of the second frame have a clearly nearest partner in the "
               "first (%d, at least %d are needed)",
               found.matchCount, kFewestPoints));
  }

  /// The key point in whole pixels of the frame. The library multiplies by the reduction even where
  /// the frame was too small to be reduced.
  static void storePixel(const ST_KEYPOINT& keypoint, float* point) {
    point[0] = static_cast<float>((int64_t{keypoint.x} * kReduction + 32) >> 6);
    point[1] = static_cast<float>((int64_t{keypoint.y} * kReduction + 32) >> 6);
  }

  /// RansacEstimation, as FeatureMatcher calls it.
  bool agree() {
    const std::size_t count = report_.matches.size();
    pairs_ = std::make_unique<Pairs>(count);
    for (std::size_t i = 0; i < count; ++i) {
      const Match& match = report_.matches[i];
      storePixel(features_[0].set.keypoints[match.first], pairs_->first.data() + 2 * i);
      storePixel(features_[1].set.keypoints[match.second], pairs_->second.data() + 2 * i);
    }
    const std::vector<float> allFirst = pairs_->first;
    const std::vector<float> allSecond = pairs_->second;
    std::vector<unsigned char> scratch(80 * count);
    tagRANSAC_PARAMS params = kRansac;
    Homography unused{};
    timed(Stage::ransac,
          [&] { RansacEstimation(&pairs_->set, unused.data(), &params, scratch.data()); });

    // The inliers stand in front, in their order.
    const auto kept = static_cast<std::size_t>(pairs_->set.count);
    std::size_t next = 0;
    for (std::size_t i = 0; i < count && next < kept; ++i) {
      const auto isNext = [&](const std::vector<float>& all, const std::vector<float>& front) {
        return all[2 * i] == front[2 * next] && all[2 * i + 1] == front[2 * next + 1];
      };
      if (!isNext(allFirst, pairs_->first) || !isNext(allSecond, pairs_->second)) continue;
      report_.matches[i].inlier = true;
      ++next;
    }
    if (pairs_->set.count >= kFewestPoints) return true;
    return fail(Stage::ransac,
                format("no homography explains more than four of the %zu matches", count));
  }

  /// RefineHomography and MatrixEstimation, as ImgRegistration calls them.
  bool refine() {
    std::vector<float> scratch(44 * static_cast<std::size_t>(pairs_->set.count) + 56);
    Homography homography{};
    timed(Stage::refinement, [&] {
      RefineHomography(&pairs_->set, homography.data(),
                       reinterpret_cast<unsigned char*>(scratch.data()));
    });
    if (homography[8] != 0) report_.homography = homography;
    Region area;
    int32_t result = 0;
    library_log::take();
    timed(Stage::area, [&] {
      result = MatrixEstimation(homography.data(), report_.size.width, report_.size.height,
                                area.left, area.top, area.right, area.bottom);
    });
    if (result != 0) return fail(Stage::area, loggedReason());
    report_.rectangle = area;
    return true;
  }

  void map() {
    const auto pixels = std::size_t(report_.size.width) * std::size_t(report_.size.height);
    const auto posX = std::make_unique_for_overwrite<int32_t[]>(pixels);
    const auto posY = std::make_unique_for_overwrite<int32_t[]>(pixels);
    timed(Stage::maps, [&] {
      GetSubPixelPositionGlobalRegist(report_.homography->data(), posY.get(), posX.get(),
                                      report_.size.width, report_.size.height);
    });
  }

  LibraryCall call_;
  std::array<Plane*, 2> planes_;
  std::array<Features, 2> features_;
  tagSURFParams surf_ = {};
  std::unique_ptr<Pairs> pairs_;
  RegistrationReport report_;
};

}  // namespace

const char* name(Stage stage) {
  constexpr std::array<const char*, kStages> kNames = {
      "reduction", "integral image", "detector",   "descriptor", "trees",
      "search",    "RANSAC",         "refinement", "valid area", "position maps"};
  return kNames[static_cast<std::size_t>(stage)];
}

Position project(const Homography& homography, Position position) {
  const auto row = [&](std::size_t i) {
    return static_cast<double>(homography[i]) * position.x +
           static_cast<double>(homography[i + 1]) * position.y +
           static_cast<double>(homography[i + 2]);
  };
  return {row(0) / row(6), row(3) / row(6)};
}

std::size_t RegistrationReport::inliers() const {
  return static_cast<std::size_t>(
      std::count_if(matches.begin(), matches.end(), [](const Match& m) { return m.inlier; }));
}

std::array<Position, 4> RegistrationReport::cornerMotion() const {
  const double right = size.width - 1;
  const double bottom = size.height - 1;
  std::array<Position, 4> motion = {{{0, 0}, {right, 0}, {0, bottom}, {right, bottom}}};
  for (Position& corner : motion) {
    const Position moved = project(*homography, corner);
    corner = {moved.x - corner.x, moved.y - corner.y};
  }
  return motion;
}

RegistrationReport registerFrames(Plane& first, Plane& second) {
  return Run(first, second).run();
}

}  // namespace velmora::tool
