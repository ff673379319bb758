#include "burst/peers.h"

#include <algorithm>
#include <array>
#include <opencv2/calib3d.hpp>
#include <opencv2/features2d.hpp>
#include <opencv2/photo.hpp>
#include <opencv2/superres.hpp>

#include "burst/scores.h"

namespace velmora::quality {
namespace {

// How strong non-local means gets noise of one grey level out best.
constexpr double kStrength = 1;

// From chroma samples to luma samples of one picture.
const cv::Matx33d kLumaOfChroma = {2, 0, 0.5, 0, 2, 0.5, 0, 0, 1};

// Frames for the super-resolution, one after the other; its first result is about the first.
class Frames : public cv::superres::FrameSource {
 public:
  explicit Frames(std::span<const tool::Picture> frames) : frames_(frames) {}
  void nextFrame(cv::OutputArray frame) override {
    // Windows have an odd number of frames: the first one fills up.
    const std::size_t index = next_ < frames_.size() ? next_ : 0;
    ++next_;
    cv::Mat colour;
    cv::cvtColor(matrixOf(frames_[index].y), colour, cv::COLOR_GRAY2BGR);
    colour.copyTo(frame);
  }
  void reset() override { next_ = 0; }

 private:
  std::span<const tool::Picture> frames_;
  std::size_t next_ = 0;
};

struct Features {
  std::vector<cv::KeyPoint> points;
  cv::Mat descriptors;
};

Features featuresOf(const tool::Picture& frame) {
  Features features;
  cv::SIFT::create()->detectAndCompute(matrixOf(frame.y), cv::noArray(), features.points,
                                       features.descriptors);
  return features;
}

std::optional<cv::Matx33d> motionBetween(const Features& first, const Features& second) {
  if (first.points.size() < 4 || second.points.size() < 4) return std::nullopt;
  std::vector<std::vector<cv::DMatch>> pairs;
  cv::BFMatcher(cv::NORM_L2).knnMatch(first.descriptors, second.descriptors, pairs, 2);
  std::vector<cv::Point2f> from;
  std::vector<cv::Point2f> to;
  for (const auto& pair : pairs) {
    if (pair.size() < 2 || pair[0].distance >= 0.75f * pair[1].distance) continue;
    from.push_back(first.points[static_cast<std::size_t>(pair[0].queryIdx)].pt);
    to.push_back(second.points[static_cast<std::size_t>(pair[0].trainIdx)].pt);
  }
  if (from.size() < 8) return std::nullopt;
  const cv::Mat found = cv::findHomography(from, to, cv::RANSAC, 1.5);
  if (found.empty()) return std::nullopt;
  return cv::Matx33d(found);
}

// The mean of one plane of the frames; `maps` lead from output samples to those of the frame.
tool::Plane averagedPlane(std::span<const tool::Plane* const> planes,
                          std::span<const cv::Matx33d> maps, tool::Size output, int interpolation) {
  const cv::Size size(output.width, output.height);
  cv::Mat sum = cv::Mat::zeros(size, CV_32F);
  cv::Mat count = cv::Mat::zeros(size, CV_32F);
  for (std::size_t k = 0; k < planes.size(); ++k) {
    cv::Mat samples;
    matrixOf(*planes[k]).convertTo(samples, CV_32F);
    cv::Mat warped;
    cv::warpPerspective(samples, warped, maps[k], size, interpolation | cv::WARP_INVERSE_MAP,
                        cv::BORDER_REPLICATE);
    cv::Mat shown = cv::Mat::ones(size, CV_32F);
    if (k > 0) {
      const cv::Mat inside = cv::Mat::ones(samples.size(), CV_32F);
      cv::warpPerspective(inside, shown, maps[k], size, cv::INTER_LINEAR | cv::WARP_INVERSE_MAP,
                          cv::BORDER_CONSTANT, 0);
      cv::threshold(shown, shown, 0.99, 1, cv::THRESH_BINARY);
    }
    sum += warped.mul(shown);
    count += shown;
  }
  cv::Mat mean = sum / count;
  tool::Plane plane(output);
  mean.convertTo(matrixOf(plane), CV_8U);
  return plane;
}

}  // namespace

PeerMotions siftMotions(std::span<const tool::Picture> frames) {
  PeerMotions motions = {cv::Matx33d::eye()};
  const Features first = featuresOf(frames[0]);
  for (std::size_t k = 1; k < frames.size(); ++k)
    motions.push_back(motionBetween(first, featuresOf(frames[k])));
  return motions;
}

tool::Picture averaged(std::span<const tool::Picture> frames, const PeerMotions& motions,
                       tool::Size output, int interpolation) {
  const tool::Size size = frames[0].size();
  const cv::Matx33d enlarged = {static_cast<double>(size.width - 1) / (output.width - 1),
                                0,
                                0,
                                0,
                                static_cast<double>(size.height - 1) / (output.height - 1),
                                0,
                                0,
                                0,
                                1};
  std::vector<cv::Matx33d> luma;
  std::vector<cv::Matx33d> chroma;
  std::array<std::vector<const tool::Plane*>, 3> planes;
  for (std::size_t k = 0; k < frames.size(); ++k) {
    if (!motions[k]) continue;
    luma.push_back(*motions[k] * enlarged);
    chroma.push_back(kLumaOfChroma.inv() * luma.back() * kLumaOfChroma);
    planes[0].push_back(&frames[k].y);
    planes[1].push_back(&frames[k].u);
    planes[2].push_back(&frames[k].v);
  }
  tool::Picture picture;
  picture.y = averagedPlane(planes[0], luma, output, interpolation);
  picture.u = averagedPlane(planes[1], chroma, tool::chromaSize(output), interpolation);
  picture.v = averagedPlane(planes[2], chroma, tool::chromaSize(output), interpolation);
  return picture;
}

tool::Picture denoised(const tool::Picture& picture, double noise) {
  tool::Picture result(picture.size());
  const auto strength = static_cast<float>(kStrength * noise);
  cv::fastNlMeansDenoising(matrixOf(picture.y), matrixOf(result.y), strength);
  cv::fastNlMeansDenoising(matrixOf(picture.u), matrixOf(result.u), strength / 2);
  cv::fastNlMeansDenoising(matrixOf(picture.v), matrixOf(result.v), strength / 2);
  return result;
}

tool::Plane btvL1(std::span<const tool::Picture> frames) {
  const cv::Ptr<cv::superres::SuperResolution> job = cv::superres::createSuperResolution_BTVL1();
  job->setScale(2);
  job->setTemporalAreaRadius(static_cast<int>(frames.size()) / 2);
  job->setOpticalFlow(cv::superres::createOptFlow_Farneback());
  job->setInput(cv::makePtr<Frames>(frames));
  cv::Mat colour;
  job->nextFrame(colour);
  cv::Mat grey;
  cv::cvtColor(colour, grey, cv::COLOR_BGR2GRAY);
  tool::Plane plane({grey.cols, grey.rows});
  grey.copyTo(matrixOf(plane));
  return plane;
}

}  // namespace velmora::quality
