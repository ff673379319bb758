#include "burst/scores.h"

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>

#include "status.h"
#include "streams.h"

namespace velmora::quality {
namespace {

cv::Mat smoothed(const cv::Mat& plane) {
  cv::Mat result;
  cv::GaussianBlur(plane, result, {11, 11}, 1.5, 1.5, cv::BORDER_REFLECT_101);
  return result;
}

cv::Mat similarity(const cv::Mat& a, const cv::Mat& b) {
  constexpr double kC1 = 0.01 * 255 * 0.01 * 255;
  constexpr double kC2 = 0.03 * 255 * 0.03 * 255;
  const cv::Mat ma = smoothed(a);
  const cv::Mat mb = smoothed(b);
  const cv::Mat mab = ma.mul(mb);
  const cv::Mat maa = ma.mul(ma);
  const cv::Mat mbb = mb.mul(mb);
  const cv::Mat variances = smoothed(a.mul(a)) - maa + smoothed(b.mul(b)) - mbb + kC2;
  const cv::Mat covariance = smoothed(a.mul(b)) - mab;
  const cv::Mat above = (2 * mab + kC1).mul(2 * covariance + kC2);
  const cv::Mat below = (maa + mbb + kC1).mul(variances);
  return above / below;
}

}  // namespace

Score scoreOf(const tool::Plane& plane, const tool::Plane& truth, const cv::Mat& mask) {
  cv::Mat a;
  cv::Mat b;
  matrixOf(plane).convertTo(a, CV_64F);
  matrixOf(truth).convertTo(b, CV_64F);
  const cv::Mat difference = a - b;
  const double square = cv::mean(difference.mul(difference), mask)[0];
  const double psnr = square > 0 ? 10 * std::log10(255.0 * 255.0 / square) : 99;
  return {std::min(psnr, 99.0), cv::mean(similarity(a, b), mask)[0]};
}

Score chromaScoreOf(const tool::Picture& picture, const tool::Picture& truth, const cv::Mat& mask) {
  const Score u = scoreOf(picture.u, truth.u, mask);
  const Score v = scoreOf(picture.v, truth.v, mask);
  return {(u.psnr + v.psnr) / 2, (u.ssim + v.ssim) / 2};
}

cv::Mat withoutBorder(tool::Size size, int border) {
  cv::Mat mask = cv::Mat::zeros(size.height, size.width, CV_8U);
  mask(cv::Rect(border, border, size.width - 2 * border, size.height - 2 * border)) = 255;
  return mask;
}

MotionError motionError(const tool::Matrix& truth, const tool::Matrix& found, tool::Size size) {
  constexpr int kPoints = 33;
  MotionError error;
  for (int j = 0; j < kPoints; ++j) {
    for (int i = 0; i < kPoints; ++i) {
      const tool::Position p = {(size.width - 1.0) * i / (kPoints - 1),
                                (size.height - 1.0) * j / (kPoints - 1)};
      const double distance = tool::distance(tool::moved(truth, p), tool::moved(found, p));
      error.mean += distance / (kPoints * kPoints);
      error.largest = std::max(error.largest, distance);
    }
  }
  return error;
}

Table::Cell& Table::cell(const std::string& row, const std::string& column) {
  auto c = std::find(columns_.begin(), columns_.end(), column);
  if (c == columns_.end()) c = columns_.insert(c, column);
  auto r = std::find_if(rows_.begin(), rows_.end(), [&](const auto& r) { return r.first == row; });
  if (r == rows_.end()) r = rows_.insert(r, {row, {}});
  r->second.resize(columns_.size());
  return r->second[static_cast<std::size_t>(c - columns_.begin())];
}

void Table::add(const std::string& row, const std::string& column, Score score) {
  Cell& sum = cell(row, column);
  sum.first += score.psnr;
  sum.second += score.ssim;
  ++sum.count;
}

void Table::add(const std::string& row, const std::string& column, double value, int decimals) {
  Cell& sum = cell(row, column);
  sum.first += value;
  sum.decimals = decimals;
  ++sum.count;
}

double Table::mean(const std::string& row, const std::string& column) const {
  const auto c = std::find(columns_.begin(), columns_.end(), column);
  const auto r =
      std::find_if(rows_.begin(), rows_.end(), [&](const auto& r) { return r.first == row; });
  if (c == columns_.end() || r == rows_.end()) return 0;
  const auto index = static_cast<std::size_t>(c - columns_.begin());
  if (index >= r->second.size() || r->second[index].count == 0) return 0;
  return r->second[index].first / r->second[index].count;
}

void Table::print(const std::string& heading) const {
  std::string text = "\n### " + heading + "\n\n| " + corner_ + " |";
  for (const std::string& column : columns_)
    text += " " + column + " |";
  text += "\n|---|";
  for (std::size_t i = 0; i < columns_.size(); ++i)
    text += "---|";
  for (const auto& [name, cells] : rows_) {
    text += "\n| " + name + " |";
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      if (i >= cells.size() || cells[i].count == 0) {
        text += " - |";
        continue;
      }
      const Cell& c = cells[i];
      if (c.decimals < 0)
        text += tool::format(" %.2f / %.3f |", c.first / c.count, c.second / c.count);
      else
        text += tool::format(" %.*f |", c.decimals, c.first / c.count);
    }
  }
  tool::printData(text + "\n");
}

}  // namespace velmora::quality
