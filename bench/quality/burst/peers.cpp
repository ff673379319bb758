#include "burst/peers.h"

#include <array>
#include <vector>

#include "burst/scores.h"

namespace velmora::quality {
namespace {

tool::Plane planeOf(const cv::Mat& samples) {
  tool::Plane plane({samples.cols, samples.rows});
  samples.copyTo(matrixOf(plane));
  return plane;
}

std::vector<cv::Mat> lumaOf(std::span<const tool::Picture> frames) {
  std::vector<cv::Mat> luma;
  for (const tool::Picture& frame : frames)
    luma.push_back(matrixOf(frame.y));
  return luma;
}

}  // namespace

PeerMotions siftMotions(std::span<const tool::Picture> frames) {
  return bench::siftMotions(lumaOf(frames));
}

tool::Picture averaged(std::span<const tool::Picture> frames, const PeerMotions& motions,
                       tool::Size output, int interpolation) {
  const cv::Size frame = matrixOf(frames[0].y).size();
  const cv::Size size(output.width, output.height);
  std::vector<cv::Matx33d> luma;
  std::vector<cv::Matx33d> chroma;
  std::array<std::vector<cv::Mat>, 3> planes;
  for (std::size_t k = 0; k < frames.size(); ++k) {
    if (!motions[k]) continue;
    luma.push_back(bench::lumaMap(*motions[k], frame, size));
    chroma.push_back(bench::chromaMap(*motions[k], frame, size));
    planes[0].push_back(matrixOf(frames[k].y));
    planes[1].push_back(matrixOf(frames[k].u));
    planes[2].push_back(matrixOf(frames[k].v));
  }
  const cv::Size chromaSize((output.width + 1) / 2, (output.height + 1) / 2);
  tool::Picture picture;
  picture.y = planeOf(bench::meanOf(planes[0], luma, size, interpolation));
  picture.u = planeOf(bench::meanOf(planes[1], chroma, chromaSize, interpolation));
  picture.v = planeOf(bench::meanOf(planes[2], chroma, chromaSize, interpolation));
  return picture;
}

tool::Picture denoised(const tool::Picture& picture, double noise) {
  tool::Picture result;
  result.y = planeOf(bench::denoised(matrixOf(picture.y), noise));
  result.u = planeOf(bench::denoised(matrixOf(picture.u), noise / 2));
  result.v = planeOf(bench::denoised(matrixOf(picture.v), noise / 2));
  return result;
}

tool::Plane btvL1(std::span<const tool::Picture> frames, tool::Size output) {
  const cv::Mat whole = bench::btvL1(lumaOf(frames));
  return planeOf(whole(cv::Rect(0, 0, output.width, output.height)));
}

}  // namespace velmora::quality
