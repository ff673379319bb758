#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "registration/plain_minimiser.h"
#include "velmora_sr/homography.h"

namespace {

constexpr float kPrecision = 1e-6f;
lm_control_type usualControl() {
  return {kPrecision, kPrecision, 0.0f, 1e-7f, 100.0f, -1.0f, 200, -1, -1};
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

/// Runs the minimiser with guarded scratch of exactly the documented size.
void minimise(Problem& problem, int32_t m, std::vector<float>& x, lm_control_type& control,
              lm_print_ftype printout = nullptr) {
  const auto n = static_cast<int32_t>(x.size());
  constexpr std::size_t kGuard = 64;
  const auto bytes = static_cast<std::size_t>(std::max(4 * (n * m + 2 * m + 6 * n), 0));
  std::vector<unsigned char> scratch(bytes + 2 * kGuard, 0xA7);
  LM_Minimize(m, n, x.data(), evaluate, printout, &problem, &control, scratch.data() + kGuard);
  for (std::size_t i = 0; i < kGuard; ++i) {
    ASSERT_EQ(scratch[i], 0xA7);
    ASSERT_EQ(scratch[kGuard + bytes + i], 0xA7);
  }
}

// --- Problems of More, Garbow and Hillstrom, "Testing unconstrained optimization software" ---

void linear(const float* x, float* f) {  // full rank, 3 parameters, 7 residuals
  const float sum = x[0] + x[1] + x[2];
  for (int i = 0; i < 7; ++i)
    f[i] = (i < 3 ? x[i] : 0.0f) - 2.0f / 7.0f * sum - 1.0f;
}
void rosenbrock(const float* x, float* f) {
  f[0] = 10.0f * (x[1] - x[0] * x[0]);
  f[1] = 1.0f - x[0];
}
void helicalValley(const float* x, float* f) {
  const float turn = 6.2831853f;
  const float theta = std::atan2(x[1], x[0]) / turn;
  f[0] = 10.0f * (x[2] - 10.0f * theta);
  f[1] = 10.0f * (std::hypot(x[0], x[1]) - 1.0f);
  f[2] = x[2];
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
void bard(const float* x, float* f) {
  constexpr float y[15] = {0.14f, 0.18f, 0.22f, 0.25f, 0.29f, 0.32f, 0.35f, 0.39f,
                           0.37f, 0.58f, 0.73f, 0.96f, 1.34f, 2.10f, 4.39f};
  for (int i = 0; i < 15; ++i) {
    const auto u = static_cast<float>(i + 1);
    const float v = 16.0f - u;
    const float w = std::min(u, v);
    f[i] = y[i] - (x[0] + u / (v * x[1] + w * x[2]));
  }
}
void kowalikOsborne(const float* x, float* f) {
  constexpr float y[11] = {0.1957f, 0.1947f, 0.1735f, 0.1600f, 0.0844f, 0.0627f,
                           0.0456f, 0.0342f, 0.0323f, 0.0235f, 0.0246f};
  constexpr float u[11] = {4.0f,   2.0f, 1.0f,    0.5f,    0.25f,  0.167f,
                           0.125f, 0.1f, 0.0833f, 0.0714f, 0.0625f};
  for (int i = 0; i < 11; ++i)
    f[i] = y[i] - x[0] * (u[i] * u[i] + u[i] * x[1]) / (u[i] * u[i] + u[i] * x[2] + x[3]);
}

TEST(LmMinimize, SolvesThePublishedProblems) {
  const struct {
    const char* name;
    Residuals residuals;
    int32_t m;
    std::vector<float> start, solution;
    double norm;
    float tolerance;
  } cases[] = {
      {"linear", linear, 7, {1, 1, 1}, {-1, -1, -1}, 2.0, 2e-3f},
      {"Rosenbrock", rosenbrock, 2, {-1.2f, 1}, {1, 1}, 0, 1e-3f},
      {"Rosenbrock, far", rosenbrock, 2, {-12, 10}, {1, 1}, 0, 1e-3f},
      {"helical valley", helicalValley, 3, {-1, 0, 0}, {1, 0, 0}, 0, 1e-3f},
      {"Powell singular", powellSingular, 4, {3, -1, 0, 1}, {0, 0, 0, 0}, 0, 0.03f},
      {"Freudenstein and Roth",
       freudensteinRoth,
       2,
       {0.5f, -2},
       {11.4128f, -0.8968f},
       6.99887,
       0.01f},
      {"Bard", bard, 15, {1, 1, 1}, {0.0824106f, 1.13304f, 2.34370f}, 0.0906360, 0.01f},
      {"Kowalik and Osborne",
       kowalikOsborne,
       11,
       {0.25f, 0.39f, 0.415f, 0.39f},
       {0.192807f, 0.191282f, 0.123057f, 0.136062f},
       0.0175358,
       0.01f},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Problem problem = {c.residuals};
    lm_control_type control = usualControl();
    std::vector<float> x = c.start;
    minimise(problem, c.m, x, control);
    for (std::size_t i = 0; i < x.size(); ++i)
      EXPECT_NEAR(x[i], c.solution[i], c.tolerance);
    EXPECT_NEAR(control.fnorm, c.norm, 1e-3);
    EXPECT_THAT(control.info, testing::AllOf(testing::Ge(1), testing::Le(8), testing::Ne(5)));
    EXPECT_EQ(control.nfev, problem.calls);
    std::vector<float> residuals(static_cast<std::size_t>(c.m));
    c.residuals(x.data(), residuals.data());
    double squares = 0;
    for (const float r : residuals)
      squares += double{r} * r;
    EXPECT_NEAR(control.fnorm, std::sqrt(squares), 1e-5);  // of what par holds
  }
}

TEST(LmMinimize, EqualsThePlainMethodToTheBit) {
  const struct {
    const char* name;
    Residuals residuals;
    int32_t m;
    std::vector<float> start;
  } cases[] = {
      {"linear", linear, 7, {1, 1, 1}},
      {"Rosenbrock", rosenbrock, 2, {-1.2f, 1}},
      {"Rosenbrock, far", rosenbrock, 2, {-12, 10}},
      {"helical valley", helicalValley, 3, {-1, 0, 0}},
      {"Powell singular", powellSingular, 4, {3, -1, 0, 1}},
      {"Freudenstein and Roth", freudensteinRoth, 2, {0.5f, -2}},
      {"Freudenstein and Roth, far", freudensteinRoth, 2, {50, -20}},
      {"Bard", bard, 15, {1, 1, 1}},
      {"Bard, far", bard, 15, {10, 10, 10}},
      {"Kowalik and Osborne", kowalikOsborne, 11, {0.25f, 0.39f, 0.415f, 0.39f}},
      {"a parameter without effect",
       [](const float* x, float* f) { f[0] = x[0] - 2, f[1] = f[0] - 3; },
       2,
       {7, 1}},
  };
  const lm_control_type controls[] = {
      usualControl(),
      {1e-10f, 1e-10f, 1e-10f, 1e-10f, 10.0f, 0, 20, 0, 0},  // of the refinement
      {1e-3f, 1e-2f, 1e-4f, 1e-4f, 0.1f, 0, 50, 0, 0},
      {0, 0, 0, 1e-6f, 1e-3f, 0, 3, 0, 0},
  };
  for (const auto& c : cases) {
    for (const lm_control_type& usual : controls) {
      SCOPED_TRACE(testing::Message() << c.name << ", control " << &usual - controls);
      const auto plain = velmora::test::PlainMinimiser::minimise(
          [&](const auto& x, auto& f) { c.residuals(x.data(), f.data()); }, c.m, c.start, usual);
      Problem problem = {c.residuals};
      lm_control_type control = usual;
      std::vector<float> x = c.start;
      minimise(problem, c.m, x, control);
      EXPECT_EQ(x, plain.x);
      EXPECT_EQ(control.fnorm, plain.norm);
      EXPECT_EQ(control.nfev, plain.evaluations);
      EXPECT_EQ(control.info, plain.status);
    }
  }
}

TEST(LmMinimize, RefusesImproperInput) {
  const auto with = [](auto change) {
    lm_control_type control = usualControl();
    change(control);
    return control;
  };
  const struct {
    const char* name;
    int32_t m;
    std::size_t n;
    lm_control_type control;
  } cases[] = {
      {"no parameter", 2, 0, usualControl()},
      {"fewer residuals than parameters", 1, 2, usualControl()},
      {"ftol", 2, 2, with([](auto& c) { c.ftol = -1e-9f; })},
      {"xtol", 2, 2, with([](auto& c) { c.xtol = -1e-9f; })},
      {"gtol", 2, 2, with([](auto& c) { c.gtol = -1e-9f; })},
      {"no calls", 2, 2, with([](auto& c) { c.maxcall = 0; })},
      {"negative calls", 2, 2, with([](auto& c) { c.maxcall = INT32_MIN; })},
      {"no step", 2, 2, with([](auto& c) { c.stepbound = 0.0f; })},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Problem problem = {rosenbrock};
    lm_control_type control = c.control;
    std::vector<float> x(c.n, 5.0f);
    minimise(problem, c.m, x, control);
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
  // Tolerances of nothing at all: the end comes from the precision.
  EXPECT_THAT(statusOf(control(0, 0, 0, 1000), {0.5f, -2}, freudensteinRoth).info,
              testing::AnyOf(6, 7, 8));
}

TEST(LmMinimize, CountsItsCalls) {
  // maxcall * (n + 1) = 3: start, two differences and one step are four, tested after the step.
  lm_control_type control = usualControl();
  control.maxcall = 1;
  EXPECT_EQ(statusOf(control).nfev, 4);
  control.maxcall = 3;  // 9: three rounds of two differences and one step at least
  EXPECT_THAT(statusOf(control).nfev, testing::AllOf(testing::Ge(9), testing::Le(11)));
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
    EXPECT_STREQ(lm_shortmsg[control.info], "user break");
    EXPECT_EQ(control.nfev, stop + 1);
    EXPECT_THAT(x, testing::ElementsAre(-1.2f, 1));
    EXPECT_NEAR(control.fnorm, 4.919350, 1e-4);
  }
}

TEST(LmMinimize, EndsForResidualsThatAreNotNumbers) {
  const Residuals broken = [](const float* x, float* f) { f[0] = f[1] = NAN * x[0]; };
  const Residuals infinite = [](const float* x, float* f) { f[0] = f[1] = INFINITY * x[0]; };
  const Residuals breaksLater = [](const float* x, float* f) {
    rosenbrock(x, f);
    if (x[0] > 0) f[1] = NAN;
  };
  for (const Residuals residuals : {broken, infinite, breaksLater}) {
    lm_control_type control = usualControl();
    control.maxcall = 20;
    EXPECT_LE(statusOf(control, {-1.2f, 1}, residuals).nfev, 63);
  }
  lm_control_type control = usualControl();
  control.ftol = control.xtol = control.gtol = control.epsilon = control.stepbound = NAN;
  EXPECT_LE(statusOf(control).nfev, 603);
}

struct Watched {
  int32_t flag, iteration, evaluations;
  bool operator==(const Watched&) const = default;
};
std::vector<Watched> watched;

TEST(LmMinimize, ShowsItsProgress) {
  watched.clear();
  Problem problem = {linear};
  lm_control_type control = usualControl();
  std::vector<float> x = {1, 1, 1};
  minimise(problem, 7, x, control,
           [](int32_t n, float*, int32_t m, float*, void* data, int32_t flag, int32_t iteration,
              int32_t evaluations) {
             EXPECT_EQ(n, 3);
             EXPECT_EQ(m, 7);
             EXPECT_EQ(static_cast<Problem*>(data)->calls, evaluations);
             watched.push_back({flag, iteration, evaluations});
           });
  ASSERT_GE(watched.size(), 4u);
  EXPECT_EQ(watched[0], (Watched{0, 1, 1}));
  EXPECT_EQ(watched[1], (Watched{1, 1, 1}));
  EXPECT_EQ(watched[2], (Watched{2, 1, 5}));
  EXPECT_EQ(watched.back().flag, -1);
  EXPECT_EQ(watched.back().evaluations, control.nfev);
}

TEST(LmMessages, StandWhereHostsLookThemUp) {
  EXPECT_STREQ(lm_shortmsg[0], "invalid input");
  EXPECT_STREQ(lm_shortmsg[3], "success (f,p)");
  EXPECT_STREQ(lm_shortmsg[10], "user break");
  EXPECT_STREQ(lm_infmsg[3], "success (both errors are at most tol)");
  EXPECT_STREQ(lm_infmsg[4],
               "trapped by degeneracy (fvec is orthogonal to the columns of the jacobian)timeout "
               "(number of calls to fcn has reached maxcall*(n+1))");
  EXPECT_STREQ(lm_infmsg[5], "failure (ftol<tol: cannot reduce sum of squares any further)");
  EXPECT_STREQ(lm_infmsg[9], "exception (break requested within function evaluation)");
}

}  // namespace
