// What OpenCV makes of the same frames.
#ifndef VELMORA_BENCH_QUALITY_BURST_PEERS_H
#define VELMORA_BENCH_QUALITY_BURST_PEERS_H

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <optional>
#include <span>
#include <vector>

#include "picture.h"

namespace velmora::quality {

/// From the first frame to each, in pixels; the identity for the first, nothing for a frame that
/// was not registered.
using PeerMotions = std::vector<std::optional<cv::Matx33d>>;

/// SIFT key points, ratio test, RANSAC with refinement.
PeerMotions siftMotions(std::span<const tool::Picture> frames);

/// The mean of the frames, each warped onto the output with cv::INTER_LANCZOS4 or _CUBIC; where a
/// frame shows nothing it does not count. A single frame is enlarged.
tool::Picture averaged(std::span<const tool::Picture> frames, const PeerMotions& motions,
                       tool::Size output, int interpolation);

/// Non-local means with noise of this standard deviation in luma, half of it in chroma.
tool::Picture denoised(const tool::Picture& picture, double noise);

/// Luma of twice the size around the first frame by BTV-L1 super-resolution with Farneback's
/// optical flow; its sample (2x, 2y) lies at pixel (x, y).
tool::Plane btvL1(std::span<const tool::Picture> frames);

}  // namespace velmora::quality

#endif  // VELMORA_BENCH_QUALITY_BURST_PEERS_H
