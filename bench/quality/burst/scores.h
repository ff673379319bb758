// How close results come to the truth, and the tables of it.
#ifndef VELMORA_BENCH_QUALITY_BURST_SCORES_H
#define VELMORA_BENCH_QUALITY_BURST_SCORES_H

#include <opencv2/core.hpp>
#include <string>
#include <utility>
#include <vector>

#include "known_motion.h"
#include "picture.h"

namespace velmora::quality {

struct Score {
  double psnr = 0;  ///< in dB, at most 99
  double ssim = 0;  ///< structural similarity (Wang et al. 2004), Gaussian windows of 11 x 11
};

/// Over all samples, or those where the mask is not 0.
Score scoreOf(const tool::Plane& plane, const tool::Plane& truth, const cv::Mat& mask = {});
/// The mean of U and V.
Score chromaScoreOf(const tool::Picture& picture, const tool::Picture& truth,
                    const cv::Mat& mask = {});

/// 255 but for so many samples at each edge.
cv::Mat withoutBorder(tool::Size size, int border);

/// Distance of where two homographies map the pixels of a frame, in pixels.
struct MotionError {
  double mean = 0;
  double largest = 0;
};
MotionError motionError(const tool::Matrix& truth, const tool::Matrix& found, tool::Size size);

/// A plane as OpenCV sees it; the samples stay where they are.
inline cv::Mat matrixOf(const tool::Plane& plane) {
  return {plane.size.height, plane.size.width, CV_8UC1, const_cast<uint8_t*>(plane.samples.data())};
}

/// A table in Markdown of means: rows and columns appear in the order of their first use.
class Table {
 public:
  explicit Table(std::string corner) : corner_(std::move(corner)) {}
  void add(const std::string& row, const std::string& column, Score score);
  void add(const std::string& row, const std::string& column, double value, int decimals);
  /// Prints it below a heading.
  void print(const std::string& heading) const;
  /// The mean; 0 for a cell without any.
  [[nodiscard]] double mean(const std::string& row, const std::string& column) const;

 private:
  struct Cell {
    double first = 0, second = 0;
    int count = 0;
    int decimals = -1;  // -1: a score
  };
  Cell& cell(const std::string& row, const std::string& column);

  std::string corner_;
  std::vector<std::string> columns_;
  std::vector<std::pair<std::string, std::vector<Cell>>> rows_;
};

}  // namespace velmora::quality

#endif  // VELMORA_BENCH_QUALITY_BURST_SCORES_H
