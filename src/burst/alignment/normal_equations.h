// The linear equations of one step of registration.
#ifndef VELMORA_SRC_BURST_ALIGNMENT_NORMAL_EQUATIONS_H
#define VELMORA_SRC_BURST_ALIGNMENT_NORMAL_EQUATIONS_H

#include <array>
#include <cstdint>
#include <span>

#include "burst/alignment/functions.h"

namespace velmora::burst {

/// Eight parameters of a small homography in X and Y, then those of gain and bias.
inline constexpr std::size_t kParameters = 10;

/// How much of a homography a step may change.
enum class Model { shift, affine, homography };

/// Sums over the pixels of a level.
class NormalEquations {
 public:
  /// Adds a row's sums; its pixels have the vertical coordinate `y`, -1 .. 1 or so.
  void add(const RowSums& row, double y);

  /// The parameters that reduce the residuals most; those that the model lacks are 0. False where
  /// the pixels do not determine them.
  [[nodiscard]] bool solve(Model model, bool photometric,
                           std::array<double, kParameters>& parameters) const;

  /// Means over the pixels that have a residual: of r^2 q, and of the squares of the gradients
  /// where they count.
  [[nodiscard]] double score() const { return count_ > 0 ? score_ / count_ : 0; }
  [[nodiscard]] double slope() const { return count_ > 0 ? slope_ / count_ : 0; }
  [[nodiscard]] double count() const { return count_; }

 private:
  std::array<std::array<double, kParameters>, kParameters> matrix_ = {};  ///< lower triangle
  std::array<double, kParameters> right_ = {};
  double score_ = 0;
  double slope_ = 0;
  double count_ = 0;
};

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_ALIGNMENT_NORMAL_EQUATIONS_H
