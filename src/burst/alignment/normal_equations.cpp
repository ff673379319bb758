#include "burst/alignment/normal_equations.h"

#include <cmath>

namespace velmora::burst {
namespace {

// The parameters gain and bias move in units that make the matrix well conditioned.
constexpr double kGainUnit = 1.0 / 128;

// The derivative of a pixel's residual by one of the first eight parameters: a sum of
// factor * gradient * X^power, the gradient's first entry along x, the second along y.
struct Derivative {
  struct Term {
    double factor;
    int32_t power;
  };
  Term term[2];
};

std::array<Derivative, 8> derivatives(double y) {
  return {{{{{1, 1}, {0, 0}}},
           {{{y, 0}, {0, 0}}},
           {{{1, 0}, {0, 0}}},
           {{{0, 0}, {1, 1}}},
           {{{0, 0}, {y, 0}}},
           {{{0, 0}, {1, 0}}},
           {{{-1, 2}, {-y, 1}}},
           {{{-y, 1}, {-y * y, 0}}}}};
}

// The sum over a row of a derivative times what `x` and `y` hold the products of with gradients.
double along(const Derivative& d, const float* x, const float* y) {
  return d.term[0].factor * static_cast<double>(x[d.term[0].power]) +
         d.term[1].factor * static_cast<double>(y[d.term[1].power]);
}

// The sum over a row of the product of two derivatives.
double product(const Derivative& a, const Derivative& b, const RowSums& row) {
  const auto term = [&](int i, int j, const float* sums) {
    return a.term[i].factor * b.term[j].factor *
           static_cast<double>(sums[a.term[i].power + b.term[j].power]);
  };
  return (term(0, 0, row.gxgx) + term(1, 1, row.gygy)) +
         (term(0, 1, row.gxgy) + term(1, 0, row.gxgy));
}

}  // namespace

void NormalEquations::add(const RowSums& row, double y) {
  const std::array<Derivative, 8> all = derivatives(y);
  for (std::size_t i = 0; i < 8; ++i) {
    for (std::size_t j = 0; j <= i; ++j)
      matrix_[i][j] += product(all[i], all[j], row);
    right_[i] += along(all[i], row.rgx, row.rgy);
    matrix_[8][i] -= kGainUnit * along(all[i], row.bgx, row.bgy);
    matrix_[9][i] -= along(all[i], row.gx, row.gy);
  }
  matrix_[8][8] += kGainUnit * kGainUnit * static_cast<double>(row.bb);
  matrix_[9][8] += kGainUnit * static_cast<double>(row.b);
  matrix_[9][9] += static_cast<double>(row.one);
  right_[8] -= kGainUnit * static_cast<double>(row.rb);
  right_[9] -= static_cast<double>(row.r);
  score_ += static_cast<double>(row.score);
  slope_ += static_cast<double>(row.gxgx[0]) + static_cast<double>(row.gygy[0]);
  count_ += static_cast<double>(row.count);
}

bool NormalEquations::solve(Model model, bool photometric,
                            std::array<double, kParameters>& parameters) const {
  constexpr std::array<std::size_t, 10> kShift = {2, 5, 8, 9};
  constexpr std::array<std::size_t, 10> kAffine = {0, 1, 2, 3, 4, 5, 8, 9};
  constexpr std::array<std::size_t, 10> kHomography = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9};
  const auto& used = model == Model::shift    ? kShift
                     : model == Model::affine ? kAffine
                                              : kHomography;
  const std::size_t geometric = model == Model::shift ? 2 : model == Model::affine ? 6 : 8;
  const std::size_t n = geometric + (photometric ? 2 : 0);

  // Cholesky's factor L of the matrix, its diagonal a little raised.
  double lower[kParameters][kParameters];
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = 0; j <= i; ++j) {
      double value = matrix_[used[i]][used[j]];
      if (i == j) value *= 1 + 1e-6;
      for (std::size_t k = 0; k < j; ++k)
        value -= lower[i][k] * lower[j][k];
      if (i == j) {
        if (!(value > 0)) return false;
        lower[i][i] = std::sqrt(value);
      } else {
        lower[i][j] = value / lower[j][j];
      }
    }
  }
  double solution[kParameters];
  for (std::size_t i = 0; i < n; ++i) {
    double value = right_[used[i]];
    for (std::size_t k = 0; k < i; ++k)
      value -= lower[i][k] * solution[k];
    solution[i] = value / lower[i][i];
  }
  parameters = {};
  for (std::size_t i = n; i-- > 0;) {
    double value = solution[i];
    for (std::size_t k = i + 1; k < n; ++k)
      value -= lower[k][i] * solution[k];
    solution[i] = value / lower[i][i];
    parameters[used[i]] = solution[i];
  }
  return true;
}

}  // namespace velmora::burst
