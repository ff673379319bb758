// What became of each frame that was to go into a picture.
#ifndef VELMORA_TOOL_VERDICT_H
#define VELMORA_TOOL_VERDICT_H

#include <array>
#include <optional>
#include <span>
#include <string>

#include "picture.h"

namespace velmora::tool {

struct FrameVerdict {
  enum class Use { reference, used, leftOut };

  std::string file;
  long number = 1;  ///< of those given, or in the clip
  Use use = Use::leftOut;
  std::string reason;  ///< of a frame that was left out

  // As far as they are known:
  std::optional<double> motion;          ///< of the corner that moves farthest, in pixels
  std::optional<double> residualBefore;  ///< difference from the reference as the frames lie
  std::optional<double> residualAfter;   ///< and along the motion
  std::optional<double> gain;            ///< gain * sample + bias is as bright as the reference
  std::optional<double> bias;
  std::optional<double> weight;                     ///< mean over the picture, 0..1
  std::optional<double> share;                      ///< of the picture, 0..1
  std::optional<std::array<double, 9>> homography;  ///< from the reference to this frame
};

/// How far the farthest corner of a frame moves, in pixels.
double largestMotion(const std::array<double, 9>& homography, Size frame);

/// One line: "used, 24 % of the picture; ..." or "left out: ...".
std::string verdictText(const FrameVerdict& frame);

/// A picture that was made of frames.
struct Fusion {
  std::string method;  ///< "burst" or "camera"
  std::string output;
  Region region;  ///< of the reference
  Size size;
  std::optional<double> noise;  ///< of luma in grey levels
  std::span<const FrameVerdict> frames;
};

/// One JSON object on one line.
std::string fusionJson(const Fusion& fusion);

/// Throws Failure naming the first frame that was left out, if any.
void requireAllUsed(std::span<const FrameVerdict> frames);

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_VERDICT_H
