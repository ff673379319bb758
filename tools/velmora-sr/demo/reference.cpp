#include "demo/reference.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numeric>
#include <vector>

namespace velmora::tool {
namespace {

// One output sample as weights of input samples, beginning with sample `first`.
struct Weights {
  int first = 0;
  std::vector<double> weights;
};

double spacing(int from, int to) {
  return to > 1 ? static_cast<double>(from - 1) / (to - 1) : 0;
}

std::vector<Weights> bicubicWeights(int from, int to) {
  std::vector<Weights> result(static_cast<std::size_t>(to));
  const double step = spacing(from, to);
  for (int i = 0; i < to; ++i) {
    const double position = i * step;
    const int base = static_cast<int>(position);
    const double t = position - base;
    const std::array<double, 4> taps = {((-0.5 * t + 1) * t - 0.5) * t, (1.5 * t - 2.5) * t * t + 1,
                                        ((-1.5 * t + 2) * t + 0.5) * t, (0.5 * t - 0.5) * t * t};
    Weights& target = result[static_cast<std::size_t>(i)];
    target.first = std::max(base - 1, 0);
    const int last = std::min(base + 2, from - 1);
    target.weights.assign(static_cast<std::size_t>(last - target.first) + 1, 0);
    for (int k = 0; k < 4; ++k) {
      const int j = std::clamp(base - 1 + k, 0, from - 1);
      target.weights[static_cast<std::size_t>(j - target.first)] +=
          taps[static_cast<std::size_t>(k)];
    }
  }
  return result;
}

// Makes the weights of every sample add up to 1.
std::vector<Weights> normalised(std::vector<Weights> rule) {
  for (Weights& w : rule) {
    const double sum = std::accumulate(w.weights.begin(), w.weights.end(), 0.0);
    for (double& weight : w.weights)
      weight /= sum;
  }
  return rule;
}

using WeightRule = std::vector<Weights> (*)(int from, int to);

Plane resampled(const Plane& plane, Size size, WeightRule rule) {
  const auto columns = normalised(rule(plane.size.width, size.width));
  const auto rows = normalised(rule(plane.size.height, size.height));
  std::vector<double> between(std::size_t(size.width) * std::size_t(plane.size.height));
  for (int y = 0; y < plane.size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      const Weights& w = columns[static_cast<std::size_t>(x)];
      double sum = 0;
      for (std::size_t k = 0; k < w.weights.size(); ++k)
        sum += w.weights[k] * plane.row(y)[static_cast<std::size_t>(w.first) + k];
      between[std::size_t(y) * size.width + std::size_t(x)] = sum;
    }
  }
  Plane result(size);
  for (int y = 0; y < size.height; ++y) {
    const Weights& w = rows[static_cast<std::size_t>(y)];
    for (int x = 0; x < size.width; ++x) {
      double sum = 0;
      for (std::size_t k = 0; k < w.weights.size(); ++k) {
        sum += w.weights[k] *
               between[(static_cast<std::size_t>(w.first) + k) * size.width + std::size_t(x)];
      }
      result.row(y)[x] = static_cast<uint8_t>(std::clamp(std::lround(sum), 0L, 255L));
    }
  }
  return result;
}

Picture resampledPicture(const Picture& picture, Size size, WeightRule rule) {
  Picture result;
  result.y = resampled(picture.y, size, rule);
  result.u = resampled(picture.u, chromaSize(size), rule);
  result.v = resampled(picture.v, chromaSize(size), rule);
  result.range = picture.range;
  result.grey = picture.grey;
  return result;
}

}  // namespace

Picture bicubicEnlarged(const Picture& picture, Size size) {
  return resampledPicture(picture, size, bicubicWeights);
}

double psnr(const Plane& a, const Plane& b, int margin) {
  double sum = 0;
  double count = 0;
  for (int y = margin; y < a.size.height - margin; ++y) {
    for (int x = margin; x < a.size.width - margin; ++x) {
      const double difference = int{a.row(y)[x]} - int{b.row(y)[x]};
      sum += difference * difference;
      ++count;
    }
  }
  if (sum == 0) return std::numeric_limits<double>::infinity();
  return 10 * std::log10(255.0 * 255.0 * count / sum);
}

}  // namespace velmora::tool
