// The Levenberg-Marquardt minimiser: outer iterations of Jacobian and QR factorisation, inner ones
// of trust-region steps. See More, Garbow and Hillstrom, User Guide for MINPACK-1 (1980); here in
// single precision and on the caller's scratch.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>

#include "memory/carver.h"
#include "registration/homography/damping_parameter.h"
#include "registration/homography/qr_factorisation.h"
#include "registration/homography/vector_math.h"
#include "velmora_sr/homography.h"

namespace {

using velmora::ColumnMatrix;
using velmora::dot;
using velmora::euclideanNorm;

constexpr float kEpsilon = std::numeric_limits<float>::epsilon();

enum Status : int32_t {
  kRunning = 0,
  kInvalidInput = 0,
  kSumConverged = 1,
  kParametersConverged = 2,
  kBothConverged = 3,
  kDegenerate = 4,
  kCallLimit = 5,
  kSumPrecision = 6,
  kParameterPrecision = 7,
  kGradientPrecision = 8,
  kUserBreak = 10
};

enum Watch : int32_t { kAtEnd = -1, kAtStart = 0, kIterationBegins = 1, kStepTried = 2 };

class Minimiser {
 public:
  Minimiser(int32_t m, int32_t n, float* par, lm_evaluate_ftype residuals, lm_print_ftype printout,
            void* data, lm_control_type& control, velmora::Carver scratch)
      : m_(static_cast<std::size_t>(m)),
        n_(static_cast<std::size_t>(n)),
        parameters_(par, n_),
        evaluate_(residuals),
        printout_(printout),
        data_(data),
        control_(control),
        residuals_(scratch.take<float>(m_)),
        scale_(scratch.take<float>(n_)),
        qtb_(scratch.take<float>(n_)),
        step_(scratch.take<float>(n_)),
        trial_(scratch.take<float>(n_)),
        scaledStep_(scratch.take<float>(n_)),
        jacobian_(scratch.take<float>(n_ * m_).data(), m_, n_),
        trialResiduals_(scratch.take<float>(m_)),
        pivots_(scratch.take<int32_t>(n_)) {}

  void run() {
    int32_t status = evaluate(parameters_, residuals_) ? kRunning : kUserBreak;
    norm_ = euclideanNorm(residuals_);
    watch(kAtStart, parameters_, residuals_);
    while (status == kRunning)
      status = iterate();
    control_.fnorm = norm_;
    control_.info = status;
    watch(kAtEnd, parameters_, residuals_);
  }

 private:
  /// What a trial step promised and what it brought, relative to the sum of squares before it.
  struct Reduction {
    float actual;
    float predicted;
    float directional;  ///< directional derivative of the sum of squares along the step
    float ratio;        ///< actual / predicted
    float trialNorm;
  };

  /// False when the evaluation asks for the end.
  bool evaluate(std::span<float> parameters, std::span<float> residuals) {
    int32_t request = 0;
    evaluate_(parameters.data(), static_cast<int32_t>(m_), residuals.data(), data_, &request);
    ++control_.nfev;
    return request >= 0;
  }

  void watch(Watch when, std::span<float> parameters, std::span<float> residuals) const {
    if (printout_ == nullptr) return;
    printout_(static_cast<int32_t>(n_), parameters.data(), static_cast<int32_t>(m_),
              residuals.data(), data_, when, iteration_, control_.nfev);
  }

  int32_t iterate() {
    watch(kIterationBegins, parameters_, residuals_);
    if (!differentiate()) return kUserBreak;
    linearise();
    if (gradient_ <= control_.gtol) return kDegenerate;
    bool accepted = false;
    while (!accepted) {
      takeStep();
      if (!evaluate(trial_, trialResiduals_)) return kUserBreak;
      watch(kStepTried, trial_, trialResiduals_);
      const Reduction reduction = measure();
      adaptStepBound(reduction);
      accepted = reduction.ratio >= 1e-4f;
      if (accepted) accept(reduction);
      const int32_t status = test(reduction);
      if (status != kRunning) return status;
      // A step that cannot be measured ends the inner loop: the next Jacobian may do better.
      if (std::isnan(reduction.ratio)) break;
    }
    return kRunning;
  }

  /// Forward differences; trialResiduals_ serves as work space.
  bool differentiate() {
    constexpr float kLeastRelativeError = 1.2e-16f;
    const float relativeStep = std::sqrt(std::max(control_.epsilon, kLeastRelativeError));
    for (std::size_t j = 0; j < n_; ++j) {
      const float value = parameters_[j];
      float difference = relativeStep * std::abs(value);
      if (difference == 0.0f) difference = relativeStep;
      parameters_[j] = value + difference;
      const bool goOn = evaluate(parameters_, trialResiduals_);
      parameters_[j] = value;
      if (!goOn) return false;
      const std::span<float> column = jacobian_.column(j);
      for (std::size_t i = 0; i < m_; ++i)
        column[i] = (trialResiduals_[i] - residuals_[i]) / difference;
    }
    return true;
  }

  /// Factorises the Jacobian, sets or widens the scales and measures the gradient.
  void linearise() {
    const std::span<float> rDiagonal = step_;
    const std::span<float> columnNorms = trial_;
    velmora::factoriseQr(jacobian_, pivots_, rDiagonal, columnNorms, scaledStep_);
    if (iteration_ == 1) startScales(columnNorms);

    std::copy(residuals_.begin(), residuals_.end(), trialResiduals_.begin());
    velmora::applyQTransposed(jacobian_, trialResiduals_);
    std::copy_n(trialResiduals_.begin(), n_, qtb_.begin());
    for (std::size_t j = 0; j < n_; ++j)
      jacobian_.at(j, j) = rDiagonal[j];

    measureGradient(columnNorms);
    for (std::size_t j = 0; j < n_; ++j)
      scale_[j] = std::max(scale_[j], columnNorms[j]);
  }

  void startScales(std::span<const float> columnNorms) {
    for (std::size_t j = 0; j < n_; ++j)
      scale_[j] = columnNorms[j] == 0.0f ? 1.0f : columnNorms[j];
    velmora::multiplyElements(scale_, parameters_, scaledStep_);
    parameterNorm_ = euclideanNorm(scaledStep_);
    stepBound_ = control_.stepbound * parameterNorm_;
    if (stepBound_ == 0.0f) stepBound_ = control_.stepbound;
  }

  /// The largest cosine between the residuals and a column of the Jacobian.
  void measureGradient(std::span<const float> columnNorms) {
    gradient_ = 0.0f;
    if (norm_ == 0.0f) return;
    const std::span<float> direction = scaledStep_;
    for (std::size_t j = 0; j < n_; ++j)
      direction[j] = qtb_[j] / norm_;
    for (std::size_t j = 0; j < n_; ++j) {
      const float columnNorm = columnNorms[static_cast<std::size_t>(pivots_[j])];
      if (columnNorm == 0.0f) continue;
      const float sum = dot(jacobian_.column(j).first(j + 1), direction);
      gradient_ = std::max(gradient_, std::abs(sum / columnNorm));
    }
  }

  /// Computes the step (minus the minimiser of the linear problem) and the trial parameters.
  void takeStep() {
    damping_ = velmora::findDamping({jacobian_, pivots_, scale_, qtb_}, stepBound_, damping_, step_,
                                    trial_, scaledStep_, trialResiduals_);
    for (std::size_t j = 0; j < n_; ++j) {
      step_[j] = -step_[j];
      trial_[j] = parameters_[j] + step_[j];
      scaledStep_[j] = scale_[j] * step_[j];
    }
    stepNorm_ = euclideanNorm(scaledStep_);
    if (iteration_ == 1) stepBound_ = std::min(stepBound_, stepNorm_);
  }

  Reduction measure() {
    Reduction reduction = {};
    reduction.trialNorm = euclideanNorm(trialResiduals_);
    reduction.actual = -1.0f;
    if (0.1f * reduction.trialNorm < norm_) {
      const float quotient = reduction.trialNorm / norm_;
      reduction.actual = 1.0f - quotient * quotient;
    }
    const std::span<float> change = scaledStep_;  // R P^T step: the linear model's change
    std::fill(change.begin(), change.end(), 0.0f);
    for (std::size_t j = 0; j < n_; ++j) {
      const float along = step_[static_cast<std::size_t>(pivots_[j])];
      velmora::addScaled(along, jacobian_.column(j).first(j + 1), change);
    }
    const float linear = euclideanNorm(change) / norm_;
    const float damped = (std::sqrt(damping_) * stepNorm_) / norm_;
    reduction.predicted = linear * linear + (damped * damped) / 0.5f;
    reduction.directional = -(linear * linear + damped * damped);
    reduction.ratio = reduction.predicted != 0.0f ? reduction.actual / reduction.predicted : 0.0f;
    return reduction;
  }

  void adaptStepBound(const Reduction& reduction) {
    if (reduction.ratio <= 0.25f) {
      float shrink = 0.5f;
      if (reduction.actual < 0.0f) {
        shrink = 0.5f * reduction.directional / (reduction.directional + 0.5f * reduction.actual);
      }
      if (0.1f * reduction.trialNorm >= norm_ || shrink < 0.1f) shrink = 0.1f;
      stepBound_ = shrink * std::min(stepBound_, stepNorm_ / 0.1f);
      damping_ /= shrink;
    } else if (damping_ == 0.0f || reduction.ratio >= 0.75f) {
      stepBound_ = stepNorm_ / 0.5f;
      damping_ *= 0.5f;
    }
  }

  void accept(const Reduction& reduction) {
    std::copy(trial_.begin(), trial_.end(), parameters_.begin());
    std::copy(trialResiduals_.begin(), trialResiduals_.end(), residuals_.begin());
    velmora::multiplyElements(scale_, parameters_, trial_);
    parameterNorm_ = euclideanNorm(trial_);
    norm_ = reduction.trialNorm;
    ++iteration_;
  }

  [[nodiscard]] int32_t test(const Reduction& reduction) const {
    const auto flat = [&](float tolerance) {
      return std::abs(reduction.actual) <= tolerance && reduction.predicted <= tolerance &&
             0.5f * reduction.ratio <= 1.0f;
    };
    const bool sumConverged = flat(control_.ftol);
    const bool parametersConverged = stepBound_ <= control_.xtol * parameterNorm_;
    if (sumConverged && parametersConverged) return kBothConverged;
    if (parametersConverged) return kParametersConverged;
    if (sumConverged) return kSumConverged;

    if (gradient_ <= kEpsilon) return kGradientPrecision;
    if (stepBound_ <= kEpsilon * parameterNorm_) return kParameterPrecision;
    if (flat(kEpsilon)) return kSumPrecision;
    const int64_t allowed = static_cast<int64_t>(control_.maxcall) * (static_cast<int64_t>(n_) + 1);
    return control_.nfev >= allowed ? kCallLimit : kRunning;
  }

  std::size_t m_;
  std::size_t n_;
  std::span<float> parameters_;
  lm_evaluate_ftype evaluate_;
  lm_print_ftype printout_;
  void* data_;
  lm_control_type& control_;

  std::span<float> residuals_;
  std::span<float> scale_;
  std::span<float> qtb_;
  std::span<float> step_;
  std::span<float> trial_;
  std::span<float> scaledStep_;
  ColumnMatrix jacobian_;
  std::span<float> trialResiduals_;
  std::span<int32_t> pivots_;

  int32_t iteration_ = 1;
  float norm_ = 0.0f;           ///< of the residuals
  float parameterNorm_ = 0.0f;  ///< of the scaled parameters
  float stepNorm_ = 0.0f;       ///< of the scaled step
  float stepBound_ = 0.0f;
  float damping_ = 0.0f;
  float gradient_ = 0.0f;
};

bool acceptable(int32_t m, int32_t n, const lm_control_type& control) {
  return n > 0 && m >= n && !(control.ftol < 0.0f) && !(control.xtol < 0.0f) &&
         !(control.gtol < 0.0f) && control.maxcall > 0 && !(control.stepbound <= 0.0f);
}

}  // namespace

void LM_Minimize(int32_t m, int32_t n, float* par, lm_evaluate_ftype evaluate,
                 lm_print_ftype printout, void* data, lm_control_type* control,
                 unsigned char* scratch) {
  control->nfev = 0;
  control->info = kInvalidInput;
  if (!acceptable(m, n, *control)) return;
  void* block = scratch;
  Minimiser(m, n, par, evaluate, printout, data, *control, velmora::Carver(block)).run();
}
