#include "opencv_burst.h"

#include <cstddef>
#include <opencv2/calib3d.hpp>
#include <opencv2/features2d.hpp>
#include <opencv2/photo.hpp>
#include <opencv2/superres.hpp>

namespace velmora::bench {
namespace {

// How strong non-local means gets noise of one grey level out best: tried from 0.7 to 1.5.
constexpr double kStrength = 1;

// Frames for the super-resolution, one after the other; its first result is about the first.
class Frames : public cv::superres::FrameSource {
 public:
  explicit Frames(std::span<const cv::Mat> frames) : frames_(frames) {}
  void nextFrame(cv::OutputArray frame) override {
    // Windows have an odd number of frames: the first one fills up.
    const cv::Mat& next = frames_[next_ < frames_.size() ? next_ : 0];
    ++next_;
    cv::Mat colour;
    cv::cvtColor(next, colour, cv::COLOR_GRAY2BGR);
    colour.copyTo(frame);
  }
  void reset() override { next_ = 0; }

 private:
  std::span<const cv::Mat> frames_;
  std::size_t next_ = 0;
};

struct Features {
  std::vector<cv::KeyPoint> points;
  cv::Mat descriptors;
};

Features featuresOf(const cv::Mat& luma) {
  Features features;
  cv::SIFT::create()->detectAndCompute(luma, cv::noArray(), features.points, features.descriptors);
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

}  // namespace

BurstMotions siftMotions(std::span<const cv::Mat> luma) {
  BurstMotions motions = {cv::Matx33d::eye()};
  const Features first = featuresOf(luma[0]);
  for (std::size_t k = 1; k < luma.size(); ++k)
    motions.push_back(motionBetween(first, featuresOf(luma[k])));
  return motions;
}

cv::Matx33d lumaMap(const cv::Matx33d& motion, cv::Size frame, cv::Size output) {
  const double stepX = static_cast<double>(frame.width - 1) / (output.width - 1);
  const double stepY = static_cast<double>(frame.height - 1) / (output.height - 1);
  return motion * cv::Matx33d(stepX, 0, 0, 0, stepY, 0, 0, 0, 1);
}

cv::Matx33d chromaMap(const cv::Matx33d& motion, cv::Size frame, cv::Size output) {
  const cv::Matx33d lumaOfChroma(2, 0, 0.5, 0, 2, 0.5, 0, 0, 1);
  return lumaOfChroma.inv() * lumaMap(motion, frame, output) * lumaOfChroma;
}

cv::Mat meanOf(std::span<const cv::Mat> planes, std::span<const cv::Matx33d> maps, cv::Size output,
               int interpolation) {
  cv::Mat sum = cv::Mat::zeros(output, CV_32F);
  cv::Mat count = cv::Mat::zeros(output, CV_32F);
  for (std::size_t k = 0; k < planes.size(); ++k) {
    cv::Mat samples;
    planes[k].convertTo(samples, CV_32F);
    cv::Mat warped;
    cv::warpPerspective(samples, warped, maps[k], output, interpolation | cv::WARP_INVERSE_MAP,
                        cv::BORDER_REPLICATE);
    cv::Mat shown = cv::Mat::ones(output, CV_32F);
    if (k > 0) {
      const cv::Mat inside = cv::Mat::ones(samples.size(), CV_32F);
      cv::warpPerspective(inside, shown, maps[k], output, cv::INTER_LINEAR | cv::WARP_INVERSE_MAP,
                          cv::BORDER_CONSTANT, 0);
      cv::threshold(shown, shown, 0.99, 1, cv::THRESH_BINARY);
    }
    sum += warped.mul(shown);
    count += shown;
  }
  cv::Mat mean = sum / count;
  mean.convertTo(mean, CV_8U);
  return mean;
}

cv::Mat denoised(const cv::Mat& plane, double noise) {
  cv::Mat result;
  cv::fastNlMeansDenoising(plane, result, static_cast<float>(kStrength * noise));
  return result;
}

cv::Mat btvL1(std::span<const cv::Mat> luma) {
  const cv::Ptr<cv::superres::SuperResolution> job = cv::superres::createSuperResolution_BTVL1();
  job->setScale(2);
  job->setTemporalAreaRadius(static_cast<int>(luma.size()) / 2);
  job->setOpticalFlow(cv::superres::createOptFlow_Farneback());
  job->setInput(cv::makePtr<Frames>(luma));
  cv::Mat colour;
  job->nextFrame(colour);
  cv::Mat grey;
  cv::cvtColor(colour, grey, cv::COLOR_BGR2GRAY);
  // The super-resolution leaves out the reach of its regularisation at the edges.
  const int cut = job->getKernelSize();
  cv::copyMakeBorder(grey, grey, cut, cut, cut, cut, cv::BORDER_REPLICATE);
  return grey;
}

}  // namespace velmora::bench
