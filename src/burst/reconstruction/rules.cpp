#include "burst/reconstruction/rules.h"

#include <algorithm>
#include <cmath>

namespace velmora::burst {
namespace {

// Scales from which two samples of the picture for each of a frame carry what frames can tell.
constexpr double kTwice = 1.95;

// What restoration takes the noise for, by what was measured. A single frame's measure has some of
// its texture in it. Of 0.8 to 1.1 these do best on textured photos and cost drawings 0.01 dB.
constexpr double kOfOneFrame = 0.93;
constexpr double kOfSeveral = 1.03;

// Of one frame, enlarged by `scale`. More than this brings out what interpolation has made up.
IterationRule ofOneFrame(double scale) {
  if (scale <= 1) return {0, 1};  // its samples are the picture's
  return {scale < kTwice ? 1 : 2, 1};
}

// Of luma of two frames and more. `noise` is what adding up the frames leaves of the noise, which
// back projection brings back; where little is left it may go on for longer. Below a scale of 2 the
// grid is twice as fine as the picture.
IterationRule ofLuma(double scale, double noise, double sharpened, bool fast) {
  IterationRule rule = {3, 1.8};
  if (scale >= 2.5) {
    rule = noise >= 3 ? IterationRule{6, 1.5} : IterationRule{8, 1.8};
    if (fast) rule.count = 3;
  } else if (noise >= 7) {
    rule = {2, 1.2};
  } else if (scale < kTwice) {
    rule = {noise >= 3 ? 3 : 4, 1.5};
    if (fast) rule.count = 2;
  } else if (fast) {
    rule.count = 2;
  }
  // Undoing strong sharpening and blur at once overshoots with long steps.
  if (sharpened > 0.3) rule.step = std::min(rule.step, 1.2);
  return rule;
}

}  // namespace

Rules rulesOf(int32_t frames, const ReconstructionSettings& settings) {
  const auto scaleOf = [](int32_t output, int32_t region) {
    return static_cast<double>(output) / region;
  };
  const double scaleX = scaleOf(settings.output.width, settings.region.width());
  const double scaleY = scaleOf(settings.output.height, settings.region.height());
  // The axis that is enlarged more needs the iterations, and the other one bears them.
  const double scale = std::max(scaleX, scaleY);
  Rules rules = {frames, 1, 1, {}};
  // At its own size a frame with little noise is better than what several can be made into. Three
  // photos: two frames lose 0.5 dB at a noise of 1 and win 0.5 at 2.
  if (scale <= 1 && settings.noise.sigma[0] < 1.5) rules.frames = 1;
  const bool one = rules.frames == 1;
  if (!one && scaleX < kTwice) rules.factorX = 2;
  if (!one && scaleY < kTwice) rules.factorY = 2;
  for (int32_t p = 0; p < kPlanes; ++p) {
    PlaneRule& plane = rules.planes[p];
    const double measured = std::max(0.0, settings.noise.sigma[p]);
    plane.sigma = (one && p == 0 ? kOfOneFrame : kOfSeveral) * std::max(0.6, measured);
    const double left = plane.sigma / std::sqrt(rules.frames);
    plane.wiener16 = left >= 7;
    if (p == 0) {
      plane.sharpened = settings.sharpened;
      plane.restored = one ? measured >= 0.8 : true;
      plane.iterations =
          one ? ofOneFrame(scale) : ofLuma(scale, left, settings.sharpened, settings.fast);
    } else {
      plane.sharpened = 0;  // cameras sharpen luma
      plane.restored = measured >= 0.6;
      plane.iterations =
          one ? IterationRule{std::min(1, ofOneFrame(scale).count), 1} : IterationRule{1, 1.2};
    }
  }
  return rules;
}

}  // namespace velmora::burst
