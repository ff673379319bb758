// The library's burst stage on frames in memory.
#ifndef VELMORA_BENCH_QUALITY_BURST_OURS_H
#define VELMORA_BENCH_QUALITY_BURST_OURS_H

#include <optional>
#include <span>
#include <vector>

#include "known_motion.h"
#include "picture.h"
#include "velmora_sr/burst.h"

namespace velmora::quality {

struct BurstSettings {
  float noise = -1;      ///< measured
  float sharpened = -2;  ///< the library's choice
  int effort = VELMORA_SR_BURST_NORMAL;
  int threads = 1;
  std::optional<tool::Region> region;  ///< the whole frame without one
};

struct BurstResult {
  tool::Picture picture;
  Velmora_SR_BurstReport report = {};
  std::vector<Velmora_SR_BurstFrameReport> frames;  ///< in the order of the frames
  std::vector<tool::Plane> weights;
};

/// The picture around the first frame. Throws Failure with the library's text.
BurstResult burstOf(std::span<const tool::Picture> frames, tool::Size output,
                    const BurstSettings& settings = {});

/// The homography of a report.
tool::Matrix motionOf(const Velmora_SR_BurstFrameReport& report);

}  // namespace velmora::quality

#endif  // VELMORA_BENCH_QUALITY_BURST_OURS_H
