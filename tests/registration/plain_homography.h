// The linear fit and RANSAC once more, written for clarity alone: full matrices, one pass after the
// other, nothing shared with the library. What it finds must equal this to the bit.
#ifndef VELMORA_TESTS_REGISTRATION_PLAIN_HOMOGRAPHY_H
#define VELMORA_TESTS_REGISTRATION_PLAIN_HOMOGRAPHY_H

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <utility>
#include <vector>

#include "velmora_sr/matching.h"

namespace velmora::test {

using Nine = std::array<float, 9>;

/// Jacobi's method on the upper triangle of a symmetric matrix; returns the eigenvector of the
/// smallest eigenvalue. `rows[i]` and `columns[i]` hold where the largest magnitude of row and
/// column i stood when the row or column was last looked at.
inline Nine smallestEigenvector(std::array<Nine, 9> a, int rotations) {
  std::array<Nine, 9> vectors{};
  Nine values{};
  std::array<int, 9> rows{}, columns{};
  const auto lookAt = [&](int k) {
    if (k < 8) rows[k] = k + 1;
    for (int j = k + 2; j < 9; ++j) {
      if (std::fabs(a[k][j]) > std::fabs(a[k][rows[k]])) rows[k] = j;
    }
    columns[k] = 0;
    for (int i = 1; i < k; ++i) {
      if (std::fabs(a[i][k]) > std::fabs(a[columns[k]][k])) columns[k] = i;
    }
  };
  for (int k = 0; k < 9; ++k) {
    vectors[k][k] = 1;
    values[k] = a[k][k];
    lookAt(k);
  }
  for (int n = 0; n < rotations; ++n) {
    int k = 0;
    int l = rows[0];
    for (int i = 1; i < 8; ++i) {
      if (std::fabs(a[i][rows[i]]) > std::fabs(a[k][l])) k = i, l = rows[i];
    }
    for (int j = 1; j < 9; ++j) {
      if (std::fabs(a[columns[j]][j]) > std::fabs(a[k][l])) k = columns[j], l = j;
    }
    const float p = a[k][l];
    if (std::fabs(p) < 2.220446e-16f) break;
    const float y = (values[l] - values[k]) * 0.5f;
    const float magnitude = p / (std::fabs(y) + std::sqrt(p * p + y * y));
    const float t = y < 0 ? -magnitude : magnitude;
    const float c = 1 / std::sqrt(1 + t * t);
    const float s = t * c;
    const auto turn = [&](float& first, float& second) {
      const float before = first;
      first = c * before - s * second;
      second = s * before + c * second;
    };
    a[k][l] = 0;
    values[k] -= t * p;
    values[l] += t * p;
    for (int i = 0; i < k; ++i)
      turn(a[i][k], a[i][l]);
    for (int i = k + 1; i < l; ++i)
      turn(a[k][i], a[i][l]);
    for (int i = l + 1; i < 9; ++i)
      turn(a[k][i], a[l][i]);
    for (int i = 0; i < 9; ++i)
      turn(vectors[k][i], vectors[l][i]);
    lookAt(k);
    lookAt(l);
  }
  for (int i = 0; i < 8; ++i) {  // to descending eigenvalues
    int largest = i;
    for (int j = i + 1; j < 9; ++j) {
      if (values[j] > values[largest]) largest = j;
    }
    std::swap(values[i], values[largest]);
    std::swap(vectors[i], vectors[largest]);
  }
  return vectors[8];
}

inline Nine product(const Nine& a, const Nine& b) {
  Nine c{};
  for (int i = 0; i < 9; ++i) {
    float sum = a[i / 3 * 3] * b[i % 3];
    sum += a[i / 3 * 3 + 1] * b[3 + i % 3];
    sum += a[i / 3 * 3 + 2] * b[6 + i % 3];
    c[i] = sum;
  }
  return c;
}

/// The normalised direct linear transform; points are x, y.
inline std::optional<Nine> plainFit(const std::vector<float>& ref, const std::vector<float>& match,
                                    int rotations) {
  const std::size_t values = ref.size();
  if (values == 0) return std::nullopt;
  const auto n = static_cast<float>(values / 2);
  const std::vector<float>* sets[2] = {&ref, &match};
  float centre[2][2] = {}, deviation[2][2] = {}, scale[2][2] = {};
  for (int set = 0; set < 2; ++set) {
    for (std::size_t i = 0; i < values; ++i)
      centre[set][i % 2] += (*sets[set])[i];
    for (float& c : centre[set])
      c /= n;
    for (std::size_t i = 0; i < values; ++i)
      deviation[set][i % 2] += std::fabs((*sets[set])[i] - centre[set][i % 2]);
    for (int axis = 0; axis < 2; ++axis) {
      if (deviation[set][axis] < 1.1920929e-7f) return std::nullopt;
      scale[set][axis] = n / deviation[set][axis];
    }
  }
  const auto normalised = [&](int set, std::size_t i) {
    return ((*sets[set])[i] - centre[set][i % 2]) * scale[set][i % 2];
  };
  std::array<Nine, 9> normal{};
  for (std::size_t i = 0; i < values; i += 2) {
    const float X = normalised(0, i), Y = normalised(0, i + 1);
    const float x = normalised(1, i), y = normalised(1, i + 1);
    const Nine lx = {X, Y, 1, 0, 0, 0, -x * X, -x * Y, -x};
    const Nine ly = {0, 0, 0, X, Y, 1, -y * X, -y * Y, -y};
    for (int j = 0; j < 9; ++j) {
      for (int k = 0; k < 9; ++k)
        normal[j][k] += lx[j] * lx[k] + ly[j] * ly[k];
    }
  }
  const Nine back = {1 / scale[1][0], 0, centre[1][0], 0, 1 / scale[1][1], centre[1][1], 0, 0, 1};
  const Nine forth = {scale[0][0], 0,           -centre[0][0] * scale[0][0],
                      0,           scale[0][1], -centre[0][1] * scale[0][1],
                      0,           0,           1};
  Nine h = product(product(back, smallestEigenvector(normal, rotations)), forth);
  const float last = h[8];
  for (float& entry : h)
    entry /= last;
  return h;
}

/// The squared error of pair i.
inline float squaredError(const std::vector<float>& ref, const std::vector<float>& match,
                          std::size_t i, const Nine& h) {
  const float x = ref[2 * i], y = ref[2 * i + 1];
  const float w = h[6] * x + h[7] * y + 1;
  const float du = (h[0] * x + h[1] * y + h[2]) / w - match[2 * i];
  const float dv = (h[3] * x + h[4] * y + h[5]) / w - match[2 * i + 1];
  return du * du + dv * dv;
}

struct PlainRansac {
  Nine homography{};       ///< of the best model
  std::vector<bool> kept;  ///< which pairs agree with it
  int inliers = 4;         ///< of the best model; it has to have more than a sample
  int iterations = 0;      ///< run
  bool gaveUp = false;     ///< a hundred attempts gave no valid sample

  PlainRansac(const std::vector<float>& ref, const std::vector<float>& match,
              const tagRANSAC_PARAMS& params)
      : kept(ref.size() / 2, false), ref_(ref), match_(match) {
    const auto count = static_cast<int>(kept.size());
    float errorSum = 0;
    int enough = params.maxIters;
    for (; iterations < enough; ++iterations) {
      std::array<int, 4> sample{};
      int attempts = 1;
      while (!draw(sample)) {
        if (attempts++ == 100) {
          gaveUp = true;
          return;
        }
      }
      std::vector<float> from, to;
      for (const int i : sample) {
        from.insert(from.end(), {ref[2 * i], ref[2 * i + 1]});
        to.insert(to.end(), {match[2 * i], match[2 * i + 1]});
      }
      model_ = plainFit(from, to, 162).value_or(model_);

      std::vector<bool> agrees(kept.size());
      int inlierCount = 0;
      float sum = 0;
      for (std::size_t i = 0; i < kept.size(); ++i) {
        const float error = squaredError(ref, match, i, model_);
        agrees[i] = error <= params.threshold;
        if (!agrees[i]) continue;
        ++inlierCount;
        sum += error;
      }
      if (inlierCount < inliers || (inlierCount == inliers && !(sum < errorSum))) continue;
      homography = model_;
      kept = agrees;
      inliers = inlierCount;
      errorSum = sum;
      const double share = 1.0 - double{static_cast<float>(count - inliers) / float(count)};
      const double miss = 1.0 - share * share * share * share;
      const auto wanted = static_cast<float>(std::log(double{1 - params.confidence}));
      const auto each = static_cast<float>(std::log(miss));
      if (miss < 2.2250738585072014e-308) {
        enough = 0;
      } else if (each < 0 && -wanted < -each * static_cast<float>(enough)) {
        enough = static_cast<int>(wanted / each + 0.5f);
      }
    }
  }

 private:
  using Points = std::vector<float>;

  static int64_t whole(float difference) { return static_cast<int64_t>(difference); }

  /// One attempt: four different pairs, none too close to an earlier one, no three in a line.
  bool draw(std::array<int, 4>& sample) {
    for (int i = 0; i < 4; ++i) {
      state_ = (state_ & 0xFFFFFFFF) * 4164903690u + (state_ >> 32);
      sample[i] = static_cast<int>((state_ & 0xFFFFFFFF) % kept.size());
      for (int j = 0; j < i; ++j) {
        if (sample[i] == sample[j]) return false;
        const int64_t dx = whole(match_[2 * sample[i]] - ref_[2 * sample[j]]);
        const int64_t dy = whole(match_[2 * sample[i] + 1] - ref_[2 * sample[j] + 1]);
        if (dx * dx + dy * dy < 20000) return false;
      }
    }
    for (const Points* points : {&ref_, &match_}) {
      for (int i = 2; i < 4; ++i) {
        for (int j = 1; j < i; ++j) {
          for (int k = 0; k < j; ++k) {
            if (collinear(*points, sample[i], sample[j], sample[k])) return false;
          }
        }
      }
    }
    return true;
  }

  static bool collinear(const Points& p, int i, int j, int k) {
    const int64_t x1 = whole(p[2 * j] - p[2 * i]), y1 = whole(p[2 * j + 1] - p[2 * i + 1]);
    const int64_t x2 = whole(p[2 * k] - p[2 * i]), y2 = whole(p[2 * k + 1] - p[2 * i + 1]);
    const int64_t span = std::abs(x1) + std::abs(y1) + std::abs(x2) + std::abs(y2);
    return static_cast<double>(std::abs(x2 * y1 - y2 * x1)) <= 0.1 * static_cast<double>(span);
  }

  const Points& ref_;
  const Points& match_;
  Nine model_{};
  uint64_t state_ = UINT64_MAX;
};

}  // namespace velmora::test

#endif  // VELMORA_TESTS_REGISTRATION_PLAIN_HOMOGRAPHY_H
