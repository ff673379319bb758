#include "registration/registration_report.h"

#include <cmath>
#include <numeric>

#include "json.h"
#include "size_limits.h"
#include "status.h"

namespace velmora::tool {
namespace {

constexpr std::array<const char*, 4> kCorners = {"top left", "top right", "bottom left",
                                                 "bottom right"};
constexpr std::array<const char*, 4> kCornerKeys = {"top_left", "top_right", "bottom_left",
                                                    "bottom_right"};
constexpr std::array<const char*, kStages> kStageKeys = {
    "reduction", "integral", "detector",   "descriptor", "trees",
    "search",    "ransac",   "refinement", "area",       "residual"};

double total(const RegistrationReport& report) {
  return std::accumulate(report.milliseconds.begin(), report.milliseconds.end(), 0.0);
}

/// JSON has no infinities.
std::string number(double value, int digits = 9) {
  return std::isfinite(value) ? format("%.*g", digits, value) : "null";
}

std::string homographyJson(const RegistrationReport& report) {
  if (!report.homography) return "null";
  std::string result;
  for (const float entry : *report.homography)
    result +=
        format("%s%s", result.empty() ? "[" : ",", number(static_cast<double>(entry)).c_str());
  return result + "]";
}

std::string cornersJson(const RegistrationReport& report) {
  if (!report.homography) return "null";
  std::string result;
  const auto motion = report.cornerMotion();
  for (std::size_t i = 0; i < motion.size(); ++i) {
    result += format("%s\"%s\":[%s,%s]", i == 0 ? "{" : ",", kCornerKeys[i],
                     number(motion[i].x, 6).c_str(), number(motion[i].y, 6).c_str());
  }
  return result + "}";
}

std::string rectangleJson(const RegistrationReport& report) {
  if (!report.rectangle) return "null";
  const Region& r = *report.rectangle;
  return format("{\"left\":%d,\"top\":%d,\"right\":%d,\"bottom\":%d}", r.left, r.top, r.right,
                r.bottom);
}

std::string failureJson(const RegistrationReport& report) {
  if (!report.failure) return "null";
  return format("{\"stage\":\"%s\",\"reason\":%s}",
                kStageKeys[static_cast<std::size_t>(report.failure->stage)],
                jsonString(report.failure->reason).c_str());
}

std::string timesJson(const RegistrationReport& report) {
  std::string result = "{";
  for (std::size_t i = 0; i < kStages; ++i)
    result += format("\"%s\":%.3f,", kStageKeys[i], report.milliseconds[i]);
  return result + format("\"total\":%.3f}", total(report));
}

std::string homographyText(const RegistrationReport& report) {
  if (!report.homography) return "";
  std::string result;
  for (std::size_t row = 0; row < 3; ++row) {
    result += row == 0 ? "homography    " : "              ";
    for (std::size_t column = 0; column < 3; ++column)
      result += format(" %15.8g", static_cast<double>((*report.homography)[3 * row + column]));
    result += '\n';
  }
  const auto motion = report.cornerMotion();
  for (std::size_t i = 0; i < motion.size(); ++i) {
    result += format("%-13s  %-12s %+9.3f, %+9.3f  (%.3f pixels)\n", i == 0 ? "motion" : "",
                     kCorners[i], motion[i].x, motion[i].y, std::hypot(motion[i].x, motion[i].y));
  }
  return result;
}

std::string residualJson(const RegistrationReport& report) {
  if (!report.residual) return "null";
  return format("{\"before\":%.3f,\"after\":%.3f}", report.residual->before,
                report.residual->after);
}

std::string timesText(const RegistrationReport& report) {
  std::string result;
  for (std::size_t i = 0; i < kStages; ++i) {
    result += format("%-13s  %-14s %9.3f ms\n", i == 0 ? "time" : "", name(static_cast<Stage>(i)),
                     report.milliseconds[i]);
  }
  return result + format("%-13s  %-14s %9.3f ms\n", "", "all", total(report));
}

}  // namespace

std::string reportText(const RegistrationReport& report, const std::string& first,
                       const std::string& second) {
  std::string result = first + ", " + second + ": " + text(report.size) + ", ";
  if (report.failure) {
    result += std::string("NOT registered\nfailed at      ") + name(report.failure->stage) + ": " +
              report.failure->reason + "\n";
  } else {
    result += "registered\n";
  }
  result += format("key points     %zu and %zu, threshold %.0f, on the frames %s\n",
                   report.keypoints[0].size(), report.keypoints[1].size(), report.threshold,
                   report.reduction == 1 ? "as they are" : "reduced by 4");
  result += format("matches        %zu, ratio %.2f\n", report.matches.size(), report.ratio);
  result += format("inliers        %zu\n", report.inliers());
  result += homographyText(report);
  if (report.rectangle) {
    const Region& r = *report.rectangle;
    result += format("rectangle      columns %d to %d, rows %d to %d of the first frame\n", r.left,
                     r.right, r.top, r.bottom);
  }
  if (report.residual) {
    const Residual& r = *report.residual;
    result +=
        format("residual       %.2f without the motion, %.2f with it; mean luma %.0f and %.0f\n",
               r.before, r.after, r.firstMean, r.secondMean);
  }
  return result + timesText(report);
}

std::string reportJson(const RegistrationReport& report, const std::string& first,
                       const std::string& second) {
  std::string result = "{\"first\":" + jsonString(first) + ",\"second\":" + jsonString(second);
  result += format(",\"width\":%d,\"height\":%d", report.size.width, report.size.height);
  result += std::string(",\"registered\":") + (report.registered() ? "true" : "false");
  result += ",\"failure\":" + failureJson(report);
  result += format(",\"reduction\":%d,\"threshold\":%s,\"ratio\":%s", report.reduction,
                   number(report.threshold, 6).c_str(), number(report.ratio, 6).c_str());
  result += format(",\"keypoints\":{\"first\":%zu,\"second\":%zu}", report.keypoints[0].size(),
                   report.keypoints[1].size());
  result += format(",\"matches\":%zu,\"inliers\":%zu", report.matches.size(), report.inliers());
  result += ",\"homography\":" + homographyJson(report);
  result += ",\"rectangle\":" + rectangleJson(report);
  result += ",\"corner_motion\":" + cornersJson(report);
  result += ",\"milliseconds\":" + timesJson(report);
  return result + ",\"residual\":" + residualJson(report) + "}\n";
}

}  // namespace velmora::tool
