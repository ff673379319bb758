// One picture from several frames with the parts of OpenCV, plane by plane.
#ifndef VELMORA_BENCH_PEERS_OPENCV_BURST_H
#define VELMORA_BENCH_PEERS_OPENCV_BURST_H

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <optional>
#include <span>
#include <vector>

namespace velmora::bench {

/// From the first frame to each, in pixels; the identity for the first, nothing for a frame that
/// was not registered.
using BurstMotions = std::vector<std::optional<cv::Matx33d>>;

/// From luma planes: SIFT key points, ratio test, RANSAC with refinement.
BurstMotions siftMotions(std::span<const cv::Mat> luma);

/// From output samples of luma or chroma to those of a frame that moved so; the outermost luma
/// samples of both lie on each other.
cv::Matx33d lumaMap(const cv::Matx33d& motion, cv::Size frame, cv::Size output);
cv::Matx33d chromaMap(const cv::Matx33d& motion, cv::Size frame, cv::Size output);

/// The mean of the planes, each warped by its map with cv::INTER_LANCZOS4 or _CUBIC; where one
/// shows nothing it does not count, but for the first, which repeats its edge.
cv::Mat meanOf(std::span<const cv::Mat> planes, std::span<const cv::Matx33d> maps, cv::Size output,
               int interpolation);

/// Non-local means against noise of this standard deviation.
cv::Mat denoised(const cv::Mat& plane, double noise);

/// Luma of twice the size around the first frame by BTV-L1 super-resolution with Farneback's
/// optical flow; its sample (2x, 2y) lies at pixel (x, y). The outermost samples repeat the next.
cv::Mat btvL1(std::span<const cv::Mat> luma);

}  // namespace velmora::bench

#endif  // VELMORA_BENCH_PEERS_OPENCV_BURST_H
