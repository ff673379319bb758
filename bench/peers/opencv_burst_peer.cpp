#include <array>
#include <memory>

#include "opencv_burst.h"
#include "peers.h"

namespace velmora::bench {
namespace {

// Y, U and V; chroma is taken apart outside the timed part.
using Planes = std::array<std::vector<cv::Mat>, 3>;

std::shared_ptr<Planes> planesOf(const std::vector<Nv12Frame>& frames) {
  auto planes = std::make_shared<Planes>();
  for (const Nv12Frame& frame : frames) {
    (*planes)[0].push_back(
        cv::Mat(frame.height, frame.width, CV_8UC1, const_cast<uint8_t*>(frame.bytes.data())));
    cv::Mat chroma(frame.height / 2, frame.width / 2, CV_8UC2,
                   const_cast<uint8_t*>(frame.chroma()));
    std::array<cv::Mat, 2> split;
    cv::split(chroma, split.data());
    (*planes)[1].push_back(split[0]);
    (*planes)[2].push_back(split[1]);
  }
  return planes;
}

}  // namespace

std::function<void()> opencvBurst(const std::vector<Nv12Frame>& frames, Denoising denoising,
                                  double noise, int threads) {
  const auto planes = planesOf(frames);
  return [=] {
    cv::setNumThreads(threads);
    Planes sources = *planes;
    if (denoising == Denoising::before) {
      for (std::size_t i = 0; i < 3; ++i) {
        for (cv::Mat& plane : sources[i])
          plane = denoised(plane, i == 0 ? noise : noise / 2);
      }
    }
    const cv::Size frame = sources[0][0].size();
    const cv::Size output = frame * 2;
    std::array<std::vector<cv::Mat>, 3> used;
    std::vector<cv::Matx33d> lumaMaps, chromaMaps;
    const BurstMotions motions = siftMotions(sources[0]);
    for (std::size_t k = 0; k < motions.size(); ++k) {
      if (!motions[k]) continue;
      lumaMaps.push_back(lumaMap(*motions[k], frame, output));
      chromaMaps.push_back(chromaMap(*motions[k], frame, output));
      for (std::size_t i = 0; i < 3; ++i)
        used[i].push_back(sources[i][k]);
    }
    for (std::size_t i = 0; i < 3; ++i) {
      const cv::Mat mean = meanOf(used[i], i == 0 ? lumaMaps : chromaMaps, i == 0 ? output : frame,
                                  cv::INTER_LANCZOS4);
      const double left = noise / std::sqrt(static_cast<double>(motions.size()));
      if (denoising == Denoising::after) denoised(mean, i == 0 ? left : left / 2);
    }
  };
}

std::function<void()> opencvBtvL1(const std::vector<Nv12Frame>& frames, int threads) {
  const auto planes = planesOf(frames);
  return [=] {
    cv::setNumThreads(threads);
    btvL1((*planes)[0]);
  };
}

}  // namespace velmora::bench
