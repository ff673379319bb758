// The Levenberg-Marquardt method once more, after the routines of MINPACK-1 that it goes back to
// (enorm, qrfac, qrsolv, lmpar, lmdif), one function each, in float, on vectors of columns. What
// LM_Minimize gives must equal it to the bit.
#ifndef VELMORA_TESTS_REGISTRATION_PLAIN_MINIMISER_H
#define VELMORA_TESTS_REGISTRATION_PLAIN_MINIMISER_H

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>
#include <utility>
#include <vector>

#include "velmora_sr/homography.h"

namespace velmora::test {

class PlainMinimiser {
 public:
  using Vector = std::vector<float>;
  using Columns = std::vector<Vector>;
  using Residuals = std::function<void(const Vector& x, Vector& f)>;

  struct Result {
    Vector x;
    float norm;
    int evaluations;
    int status;
  };

  /// lmdif with its scaling of mode 1.
  static Result minimise(const Residuals& residuals, int m, Vector x, const lm_control_type& c) {
    const int n = static_cast<int>(x.size());
    Vector f(m), trial(m);
    int evaluations = 0;
    const auto evaluate = [&](const Vector& at, Vector& out) {
      residuals(at, out);
      ++evaluations;
    };
    evaluate(x, f);
    float norm = enorm(f, 0);
    float par = 0, delta = 0, xnorm = 0;
    Vector diag(n), qtf(n), step(n), next(n), scaled(n);
    const float relative = std::sqrt(std::max(c.epsilon, 1.2e-16f));
    for (int iteration = 1;;) {
      Columns a(n, Vector(m));
      for (int j = 0; j < n; ++j) {
        const float value = x[j];
        float h = relative * std::fabs(value);
        if (h == 0) h = relative;
        x[j] = value + h;
        evaluate(x, trial);
        x[j] = value;
        for (int i = 0; i < m; ++i)
          a[j][i] = (trial[i] - f[i]) / h;
      }
      std::vector<int> pivot(n);
      Vector rdiag(n), acnorm(n);
      qrfac(a, pivot, rdiag, acnorm);
      if (iteration == 1) {
        for (int j = 0; j < n; ++j) {
          diag[j] = acnorm[j] == 0 ? 1 : acnorm[j];
          scaled[j] = diag[j] * x[j];
        }
        xnorm = enorm(scaled, 0);
        delta = c.stepbound * xnorm;
        if (delta == 0) delta = c.stepbound;
      }
      Vector rotated = f;
      for (int j = 0; j < n; ++j) {
        if (a[j][j] != 0) {
          float sum = 0;
          for (int i = j; i < m; ++i)
            sum += a[j][i] * rotated[i];
          const float factor = -sum / a[j][j];
          for (int i = j; i < m; ++i)
            rotated[i] += a[j][i] * factor;
        }
        a[j][j] = rdiag[j];
        qtf[j] = rotated[j];
      }
      float gnorm = 0;
      for (int j = 0; j < n; ++j) {
        if (norm == 0 || acnorm[pivot[j]] == 0) continue;
        float sum = 0;
        for (int i = 0; i <= j; ++i)
          sum += a[j][i] * (qtf[i] / norm);
        gnorm = std::max(gnorm, std::fabs(sum / acnorm[pivot[j]]));
      }
      if (gnorm <= c.gtol) return {x, norm, evaluations, 4};
      for (int j = 0; j < n; ++j)
        diag[j] = std::max(diag[j], acnorm[j]);

      float ratio = 0;
      do {
        lmpar(a, pivot, diag, qtf, delta, par, step);
        for (int j = 0; j < n; ++j) {
          step[j] = -step[j];
          next[j] = x[j] + step[j];
          scaled[j] = diag[j] * step[j];
        }
        const float pnorm = enorm(scaled, 0);
        if (iteration == 1) delta = std::min(delta, pnorm);
        evaluate(next, trial);
        const float nextNorm = enorm(trial, 0);
        const float quotient = nextNorm / norm;
        const float actual = 0.1f * nextNorm < norm ? 1 - quotient * quotient : -1;
        Vector change(n);
        for (int j = 0; j < n; ++j) {
          for (int i = 0; i <= j; ++i)
            change[i] += a[j][i] * step[pivot[j]];
        }
        const float t1 = enorm(change, 0) / norm;
        const float t2 = std::sqrt(par) * pnorm / norm;
        const float predicted = t1 * t1 + t2 * t2 / 0.5f;
        const float slope = -(t1 * t1 + t2 * t2);
        ratio = predicted != 0 ? actual / predicted : 0;
        if (ratio <= 0.25f) {
          float t = actual >= 0 ? 0.5f : 0.5f * slope / (slope + 0.5f * actual);
          if (0.1f * nextNorm >= norm || t < 0.1f) t = 0.1f;
          delta = t * std::min(delta, pnorm / 0.1f);
          par /= t;
        } else if (par == 0 || ratio >= 0.75f) {
          delta = pnorm / 0.5f;
          par *= 0.5f;
        }
        if (ratio >= 1e-4f) {
          x = next;
          f = trial;
          for (int j = 0; j < n; ++j)
            scaled[j] = diag[j] * x[j];
          xnorm = enorm(scaled, 0);
          norm = nextNorm;
          ++iteration;
        }
        const auto flat = [&](float tolerance) {
          return std::fabs(actual) <= tolerance && predicted <= tolerance && 0.5f * ratio <= 1;
        };
        int status = (flat(c.ftol) ? 1 : 0) + (delta <= c.xtol * xnorm ? 2 : 0);
        if (status == 0) {
          if (evaluations >= c.maxcall * (n + 1)) status = 5;
          if (flat(kEpsilon)) status = 6;
          if (delta <= kEpsilon * xnorm) status = 7;
          if (gnorm <= kEpsilon) status = 8;
        }
        if (status != 0) return {x, norm, evaluations, status};
      } while (ratio < 1e-4f);
    }
  }

 private:
  static constexpr float kEpsilon = 1.1920929e-7f;
  static constexpr float kDwarf = 1.17549435e-38f;

  /// Of the elements from `from` on.
  static float enorm(const Vector& x, std::size_t from) {
    float s1 = 0, s2 = 0, s3 = 0, large = 0, small = 0;
    const float limit = 1.304e19f / (static_cast<float>(x.size() - from) + kEpsilon);
    for (std::size_t i = from; i < x.size(); ++i) {
      const float a = std::fabs(x[i]);
      if (a > 3.834e-20f && a < limit) {
        s2 += a * a;
      } else if (a > 3.834e-20f) {
        if (a > large) {
          s1 = 1 + s1 * ((large / a) * (large / a));
          large = a;
        } else {
          s1 += (a / large) * (a / large);
        }
      } else if (a > small) {
        s3 = 1 + s3 * ((small / a) * (small / a));
        small = a;
      } else if (a != 0) {
        s3 += (a / small) * (a / small);
      }
    }
    if (s1 != 0) return large * std::sqrt(s1 + (s2 / large) / large);
    if (s2 == 0) return small * std::sqrt(s3);
    if (s2 >= small) return std::sqrt(s2 * (1 + (small / s2) * (small * s3)));
    return std::sqrt(small * ((s2 / small) + (small * s3)));
  }

  static void qrfac(Columns& a, std::vector<int>& pivot, Vector& rdiag, Vector& acnorm) {
    const int n = static_cast<int>(a.size());
    const int m = static_cast<int>(a[0].size());
    Vector exact(n);
    for (int j = 0; j < n; ++j) {
      acnorm[j] = rdiag[j] = exact[j] = enorm(a[j], 0);
      pivot[j] = j;
    }
    for (int j = 0; j < std::min(m, n); ++j) {
      int largest = j;
      for (int k = j; k < n; ++k) {
        if (rdiag[k] > rdiag[largest]) largest = k;
      }
      if (largest != j) {
        std::swap(a[j], a[largest]);
        rdiag[largest] = rdiag[j];
        exact[largest] = exact[j];
        std::swap(pivot[j], pivot[largest]);
      }
      float norm = enorm(a[j], j);
      if (norm != 0) {
        if (a[j][j] < 0) norm = -norm;
        for (int i = j; i < m; ++i)
          a[j][i] /= norm;
        a[j][j] += 1;
        for (int k = j + 1; k < n; ++k) {
          float sum = 0;
          for (int i = j; i < m; ++i)
            sum += a[j][i] * a[k][i];
          const float factor = sum / a[j][j];
          for (int i = j; i < m; ++i)
            a[k][i] -= factor * a[j][i];
          if (rdiag[k] == 0) continue;
          const float share = a[k][j] / rdiag[k];
          rdiag[k] *= std::sqrt(std::max(0.0f, 1 - share * share));
          const float left = rdiag[k] / exact[k];
          if (0.05f * (left * left) <= kEpsilon) rdiag[k] = exact[k] = enorm(a[k], j + 1);
        }
      }
      rdiag[j] = -norm;
    }
  }

  static void qrsolv(Columns& r, const std::vector<int>& pivot, const Vector& diag,
                     const Vector& qtb, Vector& x, Vector& sdiag) {
    const int n = static_cast<int>(r.size());
    Vector work = qtb;
    for (int j = 0; j < n; ++j) {
      for (int i = j; i < n; ++i)
        r[j][i] = r[i][j];
      x[j] = r[j][j];
    }
    for (int j = 0; j < n; ++j) {
      if (diag[pivot[j]] != 0) {
        std::fill(sdiag.begin() + j, sdiag.end(), 0.0f);
        sdiag[j] = diag[pivot[j]];
        float qtbpj = 0;
        for (int k = j; k < n; ++k) {
          if (sdiag[k] == 0) continue;
          float sine = 0, cosine = 0;
          if (std::fabs(r[k][k]) < std::fabs(sdiag[k])) {
            const float cotangent = r[k][k] / sdiag[k];
            sine = 0.5f / std::sqrt(0.25f + 0.25f * (cotangent * cotangent));
            cosine = sine * cotangent;
          } else {
            const float tangent = sdiag[k] / r[k][k];
            cosine = 0.5f / std::sqrt(0.25f + 0.25f * (tangent * tangent));
            sine = cosine * tangent;
          }
          r[k][k] = cosine * r[k][k] + sine * sdiag[k];
          const float turned = cosine * work[k] + sine * qtbpj;
          qtbpj = -sine * work[k] + cosine * qtbpj;
          work[k] = turned;
          for (int i = k + 1; i < n; ++i) {
            const float upper = cosine * r[k][i] + sine * sdiag[i];
            sdiag[i] = -sine * r[k][i] + cosine * sdiag[i];
            r[k][i] = upper;
          }
        }
      }
      sdiag[j] = r[j][j];
      r[j][j] = x[j];
    }
    int rank = n;
    for (int j = n - 1; j >= 0; --j) {
      if (sdiag[j] == 0) rank = j;
    }
    std::fill(work.begin() + rank, work.end(), 0.0f);
    for (int j = rank - 1; j >= 0; --j) {
      float sum = 0;
      for (int i = j + 1; i < rank; ++i)
        sum += r[j][i] * work[i];
      work[j] = (work[j] - sum) / sdiag[j];
    }
    for (int j = 0; j < n; ++j)
      x[pivot[j]] = work[j];
  }

  static void lmpar(Columns& r, const std::vector<int>& pivot, const Vector& diag,
                    const Vector& qtb, float delta, float& par, Vector& x) {
    const int n = static_cast<int>(r.size());
    Vector work = qtb, scaled(n), sdiag(n);
    int rank = n;
    for (int j = n - 1; j >= 0; --j) {
      if (r[j][j] == 0) rank = j;
    }
    std::fill(work.begin() + rank, work.end(), 0.0f);
    for (int j = rank - 1; j >= 0; --j) {
      work[j] /= r[j][j];
      for (int i = 0; i < j; ++i)
        work[i] -= r[j][i] * work[j];
    }
    for (int j = 0; j < n; ++j)
      x[pivot[j]] = work[j];
    for (int j = 0; j < n; ++j)
      scaled[j] = diag[j] * x[j];
    float length = enorm(scaled, 0);
    float phi = length - delta;
    if (phi <= 0.1f * delta) {
      par = 0;
      return;
    }
    float lower = 0;
    if (rank == n) {
      for (int j = 0; j < n; ++j)
        work[j] = diag[pivot[j]] * (scaled[pivot[j]] / length);
      for (int j = 0; j < n; ++j) {
        float sum = 0;
        for (int i = 0; i < j; ++i)
          sum += r[j][i] * work[i];
        work[j] = (work[j] - sum) / r[j][j];
      }
      const float norm = enorm(work, 0);
      lower = phi / delta / norm / norm;
    }
    for (int j = 0; j < n; ++j) {
      float sum = 0;
      for (int i = 0; i <= j; ++i)
        sum += r[j][i] * qtb[i];
      work[j] = sum / diag[pivot[j]];
    }
    const float gradient = enorm(work, 0);
    float upper = gradient / delta;
    if (upper == 0) upper = kDwarf / std::min(delta, 0.1f);
    par = std::min(std::max(par, lower), upper);
    if (par == 0) par = gradient / length;
    for (int step = 1;; ++step) {
      if (par == 0) par = std::max(kDwarf, 0.001f * upper);
      for (int j = 0; j < n; ++j)
        work[j] = std::sqrt(par) * diag[j];
      qrsolv(r, pivot, work, qtb, x, sdiag);
      for (int j = 0; j < n; ++j)
        scaled[j] = diag[j] * x[j];
      length = enorm(scaled, 0);
      const float before = phi;
      phi = length - delta;
      if (std::fabs(phi) <= 0.1f * delta) return;
      if (lower == 0 && phi <= before && before < 0) return;
      if (step == 10) return;
      for (int j = 0; j < n; ++j)
        work[j] = diag[pivot[j]] * (scaled[pivot[j]] / length);
      for (int j = 0; j < n; ++j) {
        work[j] /= sdiag[j];
        for (int i = j + 1; i < n; ++i)
          work[i] -= r[j][i] * work[j];
      }
      const float norm = enorm(work, 0);
      const float correction = phi / delta / norm / norm;
      if (phi > 0) lower = std::max(lower, par);
      if (phi < 0) upper = std::min(upper, par);
      par = std::max(lower, par + correction);
    }
  }
};

}  // namespace velmora::test

#endif  // VELMORA_TESTS_REGISTRATION_PLAIN_MINIMISER_H
