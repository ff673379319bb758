#include <memory>
#include <opencv2/calib3d.hpp>
#include <opencv2/features2d.hpp>
#include <opencv2/imgproc.hpp>

#include "peers.h"

namespace velmora::bench {
namespace {

cv::Mat luma(const Nv12Frame& frame) {
  return cv::Mat(frame.height, frame.width, CV_8UC1, const_cast<uint8_t*>(frame.bytes.data()));
}

cv::Mat chroma(const Nv12Frame& frame) {
  return cv::Mat(frame.height / 2, frame.width / 2, CV_8UC2, const_cast<uint8_t*>(frame.chroma()));
}

}  // namespace

std::function<void()> opencvTwoFrames(const Nv12Frame& first, const Nv12Frame& second, int outWidth,
                                      int outHeight, Detector detector, int threads) {
  struct Job {
    cv::Ptr<cv::Feature2D> feature;
    cv::Mat small1, small2, big, warped, uv;
  };
  auto job = std::make_shared<Job>();
  if (detector == Detector::akaze) {
    job->feature = cv::AKAZE::create();
  } else {
    job->feature = cv::ORB::create(2000);
  }
  return [=, &first, &second] {
    cv::setNumThreads(threads);
    const cv::Size quarter(first.width / 4, first.height / 4);
    cv::resize(luma(first), job->small1, quarter, 0, 0, cv::INTER_AREA);
    cv::resize(luma(second), job->small2, quarter, 0, 0, cv::INTER_AREA);
    std::vector<cv::KeyPoint> points1, points2;
    cv::Mat descriptors1, descriptors2;
    job->feature->detectAndCompute(job->small1, cv::noArray(), points1, descriptors1);
    job->feature->detectAndCompute(job->small2, cv::noArray(), points2, descriptors2);
    cv::BFMatcher matcher(cv::NORM_HAMMING);
    std::vector<std::vector<cv::DMatch>> pairs;
    matcher.knnMatch(descriptors1, descriptors2, pairs, 2);
    std::vector<cv::Point2f> from, to;
    for (const auto& pair : pairs) {
      if (pair.size() < 2 || pair[0].distance >= 0.75F * pair[1].distance) continue;
      from.push_back(points1[pair[0].queryIdx].pt * 4.0F);
      to.push_back(points2[pair[0].trainIdx].pt * 4.0F);
    }
    const cv::Mat h = cv::findHomography(from, to, cv::RANSAC, 3.0);
    cv::resize(luma(first), job->big, {outWidth, outHeight}, 0, 0, cv::INTER_CUBIC);
    const double sx = static_cast<double>(first.width - 1) / (outWidth - 1);
    const double sy = static_cast<double>(first.height - 1) / (outHeight - 1);
    const cv::Mat grid = (cv::Mat_<double>(3, 3) << sx, 0, 0, 0, sy, 0, 0, 0, 1);
    cv::warpPerspective(luma(second), job->warped, h * grid, {outWidth, outHeight},
                        cv::INTER_CUBIC | cv::WARP_INVERSE_MAP, cv::BORDER_REPLICATE);
    cv::addWeighted(job->big, 0.5, job->warped, 0.5, 0, job->big);
    cv::resize(chroma(first), job->uv, {outWidth / 2, outHeight / 2}, 0, 0, cv::INTER_CUBIC);
  };
}

std::function<void()> opencvSift(const Nv12Frame& first, const Nv12Frame& second, int threads) {
  const auto sift = cv::SIFT::create();
  return [=, &first, &second] {
    cv::setNumThreads(threads);
    for (const Nv12Frame* frame : {&first, &second}) {
      std::vector<cv::KeyPoint> points;
      cv::Mat descriptors;
      sift->detectAndCompute(luma(*frame), cv::noArray(), points, descriptors);
    }
  };
}

}  // namespace velmora::bench
