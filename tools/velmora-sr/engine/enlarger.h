// Pictures of any size through the one-frame path of the library, exactly.
#ifndef VELMORA_TOOL_ENGINE_ENLARGER_H
#define VELMORA_TOOL_ENGINE_ENLARGER_H

#include <cstdint>
#include <optional>
#include <vector>

#include "engine/session.h"
#include "picture.h"

namespace velmora::tool {

/// How `count` output samples along one axis are had from a library that wants regions of 100
/// samples and more: the region is lengthened and the output with it, in the same proportion, and
/// the samples too many are cut off. The library then takes the same steps as for the region
/// itself.
struct AxisPlan {
  int start = 0;     ///< first sample of the region
  int end = 0;       ///< last sample that the library is told
  int produced = 0;  ///< samples that the library delivers
  int wanted = 0;    ///< samples that are kept; above `produced` (then 1) that one is repeated
};

/// Plans [first, last] onto `wanted` samples with a span of at least `minimalSpan`.
AxisPlan planAxis(int first, int last, int wanted, int minimalSpan);

/// Stretches a region of pictures onto outputs: the region's first and last columns and rows land
/// on the output's. Chroma follows the same rule on its own grid of half the size, rounded up.
/// Whatever the sizes, each sample is what the library's arithmetic gives for the region on a plane
/// with mirrored borders.
///
/// Even sizes and regions of 100 x 100 and more take one library call on the frame as it is. An odd
/// picture is given mirrored columns and rows up to an even size. An odd output or a smaller region
/// takes a second call for the chroma.
class Enlarger {
 public:
  /// Throws Failure when the sizes are beyond the library.
  Enlarger(Size input, Region region, Size output, const Tuning& tuning);

  /// Enlarges one picture of the input size, its alpha by the rule of its luma.
  void enlarge(const Picture& input, Picture& output);

 private:
  struct Call {
    AxisPlan x, y;  // in the samples that the call is for
    Region region;  // in luma pixels
    Size output;    // luma size of the library's output
  };
  void keepChroma(Picture& output);
  void enlargeAlpha(const Picture& input, Picture& output);
  [[nodiscard]] static Call lumaCall(Region region, Size output);
  [[nodiscard]] static Call chromaCall(Region region, Size output);
  [[nodiscard]] bool oneCallIsEnough() const;
  [[nodiscard]] Size frameFor(Size input) const;

  Region region_;
  Size output_;
  Call luma_;
  std::optional<Call> chroma_;
  std::optional<Session> session_;
  std::vector<uint8_t> frame_;
  std::vector<uint8_t> result_;
};

/// The alpha of a picture by itself, empty for an opaque one: for what else makes a picture of the
/// same region and size.
Plane enlargedAlpha(const Picture& picture, Region region, Size size, const Tuning& tuning);

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_ENGINE_ENLARGER_H
