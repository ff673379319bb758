// One registration of two frames, stage by stage: what the library's driver does in a single call,
// with the numbers and times in between.
#ifndef VELMORA_TOOL_REGISTRATION_REGISTRATION_RUN_H
#define VELMORA_TOOL_REGISTRATION_REGISTRATION_RUN_H

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "picture.h"
#include "velmora_sr/features.h"

namespace velmora::tool {

/// In the order in which they run; the first four run for both frames.
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
  maps
};
inline constexpr std::size_t kStages = 10;

/// "reduction", "integral image", "detector", ...
const char* name(Stage stage);

/// Column and row of a frame.
struct Position {
  double x = 0;
  double y = 0;
};

/// Row-major, leads from the first frame to the second.
using Homography = std::array<float, 9>;

Position project(const Homography& homography, Position position);

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
  std::array<double, kStages> milliseconds{};
  std::optional<RegistrationFailure> failure;  ///< none: the frames are registered

  [[nodiscard]] bool registered() const { return !failure; }
  [[nodiscard]] std::size_t inliers() const;
  /// How far the top left, top right, bottom left and bottom right pixel moves; needs a homography.
  [[nodiscard]] std::array<Position, 4> cornerMotion() const;
};

/// Smallest side of frames that are analysed at a quarter of their size. Smaller frames register by
/// chance only.
inline constexpr int kSmallestSide = 400;

/// Registers the luma of the second frame to that of the first; both have one size. The result is
/// that of RegisterImgOnePlane, to the bit. Throws std::bad_alloc without memory. One run at a time
/// in a process, and none beside a session.
RegistrationReport registerFrames(Plane& first, Plane& second);

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_REGISTRATION_REGISTRATION_RUN_H
