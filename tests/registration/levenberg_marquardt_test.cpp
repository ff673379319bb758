#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <vector>

#include "registration/call_support.h"
#include "registration/homography/jacobi_eigen.h"
#include "registration/homography/matrix3.h"
#include "registration/homography/vector_math.h"
#include "support/digest.h"
#include "support/page_buffer.h"
#include "velmora_sr/homography.h"

namespace velmora::test {
namespace {

lm_control_type usualControl() {
  return {1e-6f, 1e-6f, 0.0f, 1e-7f, 100.0f, -1.0f, 200, -1, -1};
}

/// Residuals of the problem under test; `calls` counts, from `stopAt` on a stop is asked for.
using Residuals = void (*)(const float* x, float* f);
struct Problem {
  Residuals residuals;
  int calls = 0;
  int stopAt = -1;
};

void evaluate(float* par, int32_t, float* fvec, void* data, int32_t* info) {
  auto& problem = *static_cast<Problem*>(data);
  problem.residuals(par, fvec);
  if (problem.calls++ == problem.stopAt) *info = -1;
}

/// Runs the minimiser with scratch of exactly the documented size.
void minimise(Problem& problem, int32_t m, std::vector<float>& x, lm_control_type& control,
              lm_print_ftype printout = nullptr) {
  const auto n = static_cast<int32_t>(x.size());
  PageBuffer<float> scratch(static_cast<std::size_t>(std::max(n * m + 2 * m + 6 * n, 0)));
  void* block = scratch.data();
  LM_Minimize(m, n, x.data(), evaluate, printout, &problem, &control,
              static_cast<unsigned char*>(block));
  EXPECT_TRUE(scratch.intact());
}

// Problems of More, Garbow and Hillstrom, "Testing unconstrained optimization software".

void rosenbrock(const float* x, float* f) {
  f[0] = 10.0f * (x[1] - x[0] * x[0]);
  f[1] = 1.0f - x[0];
}
void powellSingular(const float* x, float* f) {
  f[0] = x[0] + 10.0f * x[1];
  f[1] = std::sqrt(5.0f) * (x[2] - x[3]);
  f[2] = (x[1] - 2.0f * x[2]) * (x[1] - 2.0f * x[2]);
  f[3] = std::sqrt(10.0f) * (x[0] - x[3]) * (x[0] - x[3]);
}
void freudensteinRoth(const float* x, float* f) {
  f[0] = -13.0f + x[0] + ((5.0f - x[1]) * x[1] - 2.0f) * x[1];
  f[1] = -29.0f + x[0] + ((1.0f + x[1]) * x[1] - 14.0f) * x[1];
}
void degenerate(const float* x, float* f) {  // the second parameter has no effect
  f[0] = x[0] - 2;
  f[1] = f[0] - 3;
}

TEST(LmMinimize, GivesTheSameBitsOnEveryMachine) {
  // The digests are those of plain loops, routine by routine after MINPACK-1's enorm,
  // qrfac, qrsolv, lmpar and lmdif. All but the far run of Freudenstein's end at the solution.
  const struct {
    const char* name;
    Residuals residuals;
    int32_t m;
    std::vector<float> start;
    uint32_t digest;
  } cases[] = {
      {"Rosenbrock", rosenbrock, 2, {-1.2f, 1}, 0x8C6A0A70u},
      {"Rosenbrock, far", rosenbrock, 2, {-12, 10}, 0x20187095u},
      {"Powell", powellSingular, 4, {3, -1, 0, 1}, 0x7FB8F08Au},
      {"Freudenstein", freudensteinRoth, 2, {0.5f, -2}, 0x37B23B28u},
      {"Freudenstein, far", freudensteinRoth, 2, {50, -20}, 0xADD80EEDu},
      {"a parameter without effect", degenerate, 2, {7, 1}, 0x2488E19Eu},
  };
  for (const auto& c : cases) {
    Digest digest;
    for (lm_control_type control :
         {usualControl(),
          {1e-10f, 1e-10f, 1e-10f, 1e-10f, 10.0f, 0, 20, 0, 0},  // of the refinement
          {1e-3f, 1e-2f, 1e-4f, 1e-4f, 0.1f, 0, 50, 0, 0},
          {0, 0, 0, 1e-6f, 1e-3f, 0, 3, 0, 0}}) {
      Problem problem = {c.residuals};
      std::vector<float> x = c.start;
      minimise(problem, c.m, x, control);
      digest.addAll(x);
      digest.add(control.fnorm);
      digest.add(control.nfev);
      digest.add(control.info);
    }
    EXPECT_EQ(digest.value(), c.digest) << c.name;
  }
}

TEST(LmMinimize, RefusesImproperInput) {
  for (int fault = 0; fault < 8; ++fault) {
    SCOPED_TRACE(fault);
    lm_control_type control = usualControl();
    if (fault == 0) control.ftol = -1e-9f;
    if (fault == 1) control.xtol = -1e-9f;
    if (fault == 2) control.gtol = -1e-9f;
    if (fault == 3) control.stepbound = 0.0f;
    if (fault == 4) control.maxcall = 0;
    if (fault == 5) control.maxcall = INT32_MIN;
    std::vector<float> x(fault == 6 ? 0 : 2, 5.0f);
    Problem problem = {rosenbrock};
    minimise(problem, fault == 7 ? 1 : 2, x, control);
    EXPECT_EQ(control.info, 0);
    EXPECT_EQ(control.nfev, 0);
    EXPECT_EQ(control.fnorm, -1.0f);
    EXPECT_EQ(problem.calls, 0);
    EXPECT_THAT(x, testing::Each(5.0f));
  }
}

/// The status of a run of Rosenbrock's problem from its usual start.
lm_control_type statusOf(lm_control_type control, std::vector<float> x = {-1.2f, 1},
                         Residuals residuals = rosenbrock) {
  Problem problem = {residuals};
  minimise(problem, 2, x, control);
  return control;
}

TEST(LmMinimize, NamesTheReasonOfItsEnd) {
  const auto control = [](float ftol, float xtol, float gtol, int32_t maxcall) {
    return lm_control_type{ftol, xtol, gtol, 1e-7f, 100.0f, 0.0f, maxcall, 0, 0};
  };
  const Residuals constant = [](const float*, float* f) { f[0] = f[1] = 2.0f; };
  EXPECT_EQ(statusOf(control(1e-2f, 0, 0, 100), {0.5f, -2}, freudensteinRoth).info, 1);
  EXPECT_EQ(statusOf(control(0, 1e-2f, 0, 100), {0.5f, -2}, freudensteinRoth).info, 2);
  EXPECT_EQ(statusOf(control(10, 1e9f, 0, 100), {0.5f, -2}, freudensteinRoth).info, 3);
  EXPECT_EQ(statusOf(control(0, 0, 0, 100), {4, 4}, constant).info, 4);
  EXPECT_EQ(statusOf(control(0, 0, 0, 100), {1, 1}).info, 4);  // starts at the solution
  EXPECT_EQ(statusOf(control(1e-6f, 1e-6f, 0, 1)).info, 5);
  // maxcall * (n + 1) = 3: start, two differences and one step are four, tested after the step.
  EXPECT_EQ(statusOf(control(1e-6f, 1e-6f, 0, 1)).nfev, 4);
  // Tolerances of nothing at all: the end comes from the precision.
  EXPECT_THAT(statusOf(control(0, 0, 0, 1000), {0.5f, -2}, freudensteinRoth).info,
              testing::AnyOf(6, 7, 8));
}

TEST(LmMinimize, EndsWhereTheEvaluationAsks) {
  // Evaluation 0 is the start, 1 and 2 are differences, 3 is a step.
  for (int stop = 0; stop < 4; ++stop) {
    SCOPED_TRACE(stop);
    Problem problem = {rosenbrock};
    problem.stopAt = stop;
    lm_control_type control = usualControl();
    std::vector<float> x = {-1.2f, 1};
    minimise(problem, 2, x, control);
    EXPECT_EQ(control.info, 10);
    EXPECT_EQ(control.nfev, stop + 1);
    EXPECT_THAT(x, testing::ElementsAre(-1.2f, 1));
    EXPECT_NEAR(control.fnorm, 4.919350, 1e-4);
  }
}

TEST(LmMinimize, EndsForResidualsThatAreNotNumbers) {
  lm_control_type control = usualControl();
  control.maxcall = 20;
  for (const Residuals residuals : {+[](const float*x, float*f) { f[0] = f[1] = INFINITY * x[0]; },
                                    +[](const float*x, float*f) {
                                      rosenbrock(x, f);
                                      if (x[0] > 0) f[1] = NAN;
                                    }})
    EXPECT_LE(statusOf(control, {-1.2f, 1}, residuals).nfev, 63);
  control.ftol = control.xtol = control.gtol = control.epsilon = control.stepbound = NAN;
  EXPECT_LE(statusOf(control).nfev, 63);
}

TEST(LmMinimize, ShowsItsProgress) {
  static std::vector<std::array<int32_t, 3>> watched;  // flag, iteration, evaluations
  Problem problem = {rosenbrock};
  lm_control_type control = usualControl();
  std::vector<float> x = {-1.2f, 1};
  minimise(problem, 2, x, control,
           [](int32_t n, float*, int32_t m, float*, void* data, int32_t flag, int32_t iteration,
              int32_t evaluations) {
             EXPECT_TRUE(n == 2 && m == 2);
             EXPECT_EQ(static_cast<Problem*>(data)->calls, evaluations);
             watched.push_back({flag, iteration, evaluations});
           });
  ASSERT_GE(watched.size(), 4u);
  watched.erase(watched.begin() + 3, watched.end() - 1);
  EXPECT_THAT(watched,
              testing::ElementsAre(std::array{0, 1, 1}, std::array{1, 1, 1}, std::array{2, 1, 4},
                                   testing::ElementsAre(-1, testing::_, control.nfev)));
}

TEST(LmMessages, StandWhereHostsLookThemUp) {
  EXPECT_STREQ(lm_shortmsg[10], "user break");
  EXPECT_STREQ(lm_infmsg[9], "exception (break requested within function evaluation)");
  EXPECT_STREQ(lm_infmsg[4],
               "trapped by degeneracy (fvec is orthogonal to the columns of the jacobian)timeout "
               "(number of calls to fcn has reached maxcall*(n+1))");
}

constexpr float kMax = std::numeric_limits<float>::max();
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

TEST(EuclideanNorm, HoldsInAllThreeRanges) {
  const struct {
    std::vector<float> x;
    double norm;
  } cases[] = {
      {{}, 0},
      {{-3, 4}, 5},
      {{3e-30f, 4e-30f}, 5e-30},       // squares underflow
      {{3e30f, -4e30f, 1}, 5e30},      // squares overflow
      {{1e19f, 3e19f}, 3.1622777e19},  // across the upper limit
      {{3e-20f, 4e-20f}, 5e-20},       // across the lower limit
      {{kMax / 2, kMax / 2, kMax / 2}, 2.946931e38},
      {std::vector<float>(1000, 1e18f), 3.1622777e19},
      {{1e-45f}, 1.4013e-45},
  };
  for (const auto& c : cases)
    EXPECT_NEAR(euclideanNorm(c.x), c.norm, 1e-5 * c.norm) << testing::PrintToString(c.x);
  EXPECT_TRUE(std::isnan(euclideanNorm(std::vector{1.0f, kNan})));
  EXPECT_TRUE(std::isinf(euclideanNorm(std::vector{1.0f, INFINITY, 2.0f})));
}

TEST(Matrix3, IsInverted) {
  const struct {
    Matrix3 matrix, inverse;
    const char* printed;
  } cases[] = {
      {{0, 0, 2, 4, 0, 0, 0, 8, 0}, {0, .25, 0, 0, 0, .125, .5, 0, 0}, "det: 64.000000\n"},
      {{1, 2, 3, 0, 1, 4, 5, 6, 0}, {-24, 18, 5, 20, -15, -4, -5, 4, 1}, "det: 1.000000\n"},
  };
  for (const auto& c : cases) {
    Matrix3 matrix = c.matrix;
    EXPECT_EQ(printedBy([&] { MatInverse_3x3(matrix.data(), matrix.data()); }), c.printed);
    EXPECT_EQ(matrix, c.inverse);  // in place
  }
  for (const Matrix3& singular : {Matrix3{}, Matrix3{1, 2, 3, 2, 4, 6, 0, 0, 1}})
    EXPECT_FALSE(std::isfinite(invert(singular.data()).matrix[0]));
  // The first product of a cofactor is rounded, the second one fused: with e * e = 1 + 2^-11 +
  // 2^-24, which rounds to 1 + 2^-11, the determinants differ.
  const float e = 1.0f + 0x1p-12f;
  EXPECT_EQ(invert(Matrix3{1, 0, 0, 0, e, 1, 0, 1, e}.data()).determinant, 0x1p-11f);
  EXPECT_EQ(invert(Matrix3{1, 0, 0, 0, 1, e, 0, e, 1}.data()).determinant, -(0x1p-11f + 0x1p-24f));
}

TEST(JacobiEigen, EndsWhereItIsToldOrMust) {
  EigenMatrix matrix{};
  matrix[0][0] = matrix[1][1] = 1;
  matrix[0][1] = 2;
  EXPECT_EQ(jacobiEigen(matrix, 0).values[0], 1.0f);
  EXPECT_FLOAT_EQ(jacobiEigen(matrix, 1).values[0], 3.0f);
  EXPECT_FLOAT_EQ(jacobiEigen(matrix, 1).values[8], -1.0f);
  for (const float value : {kNan, INFINITY}) {
    matrix[0][1] = value;
    EXPECT_TRUE(std::isnan(jacobiEigen(matrix, 2430).vectors[0][0]));
  }
}

}  // namespace
}  // namespace velmora::test
