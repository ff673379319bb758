// What the library found when it registered two frames.
#ifndef VELMORA_TOOL_ENGINE_REGISTRATION_H
#define VELMORA_TOOL_ENGINE_REGISTRATION_H

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "engine/residual.h"
#include "picture.h"
#include "velmora_sr/report.h"

namespace velmora::tool {

/// In the order in which they run; the first four run for both frames. The last is the tool's: the
/// comparison of the frames with and without the motion that was found.
enum class Stage {
  reduction,
  integral,
  detector,
  descriptor,
  trees,
  search,
  ransac,
  refinement,
  area,
  residual
};
inline constexpr std::size_t kStages = 10;

/// "reduction", "integral image", "detector", ...
const char* name(Stage stage);

/// One query of the second frame that passed the ratio test.
struct Match {
  std::size_t first = 0;   ///< key point of the first frame
  std::size_t second = 0;  ///< key point of the second frame
  bool inlier = false;     ///< used by the refinement
};

struct RegistrationFailure {
  Stage stage;
  std::string reason;
};

struct RegistrationReport {
  Size size;
  int reduction = 1;     ///< by which the analysed pictures are smaller than the frames
  double threshold = 0;  ///< of the detector, after the luma statistics
  double ratio = 0;      ///< of the ratio test, after the luma statistics
  std::array<std::vector<Position>, 2> keypoints;  ///< of the first and second frame
  std::vector<Match> matches;
  std::optional<Homography> homography;  ///< what the refinement gave, even if it was rejected
  std::optional<Region> rectangle;       ///< of the first frame, covered by the second
  std::optional<Residual> residual;      ///< with a rectangle
  std::array<double, kStages> milliseconds{};
  std::optional<RegistrationFailure> failure;  ///< none: the frames are registered

  [[nodiscard]] bool registered() const { return !failure; }
  [[nodiscard]] std::size_t inliers() const;
  /// How far the top left, top right, bottom left and bottom right pixel moves; needs a homography.
  [[nodiscard]] std::array<Position, 4> cornerMotion() const;
  /// The farthest of them, in pixels.
  [[nodiscard]] double largestMotion() const;
};

/// Smallest side of frames that are analysed at a quarter of their size. Smaller frames register by
/// chance only.
inline constexpr int kSmallestSide = 400;

/// What the library reports of frames of this size. Throws std::bad_alloc when it had no memory,
/// Failure when it failed for another cause than the frames.
RegistrationReport registrationOf(const Velmora_SR_Report& report, Size size);

/// Compares the frames with and without the motion; a registration that leaves more difference than
/// none fails by that. For frames that the library has registered.
void judge(RegistrationReport& report, const Plane& first, const Plane& second);

/// Registers the luma of the second frame to that of the first, and judges. Both have one size. No
/// session may be open.
RegistrationReport registerFrames(const Plane& first, const Plane& second);

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_ENGINE_REGISTRATION_H
