#include "registration/registration_report.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace velmora::tool {
namespace {

RegistrationReport shifted() {
  RegistrationReport report;
  report.size = {640, 480};
  report.reduction = 4;
  report.threshold = 280;
  report.ratio = 0.45;
  report.keypoints[0] = {{1, 2}, {3, 4}};
  report.keypoints[1] = {{2, 2}};
  report.matches = {{1, 0, true}, {0, 0, false}};
  report.homography = Homography{1, 0, 2.5f, 0, 1, -4, 0, 0, 1};
  report.rectangle = Region{0, 4, 636, 479};
  report.residual = Residual{9.5, 1.25, 100, 100};
  report.milliseconds[2] = 1.5;
  return report;
}

TEST(RegistrationReport, WritesEveryKeyOfASuccess) {
  EXPECT_EQ(
      reportJson(shifted(), "a.png", "b.png"),
      "{\"first\":\"a.png\",\"second\":\"b.png\",\"width\":640,\"height\":480,\"registered\":true,"
      "\"failure\":null,\"reduction\":4,\"threshold\":280,\"ratio\":0.45,"
      "\"keypoints\":{\"first\":2,\"second\":1},\"matches\":2,\"inliers\":1,"
      "\"homography\":[1,0,2.5,0,1,-4,0,0,1],"
      "\"rectangle\":{\"left\":0,\"top\":4,\"right\":636,\"bottom\":479},"
      "\"corner_motion\":{\"top_left\":[2.5,-4],\"top_right\":[2.5,-4],\"bottom_left\":[2.5,-4],"
      "\"bottom_right\":[2.5,-4]},"
      "\"milliseconds\":{\"reduction\":0.000,\"integral\":0.000,\"detector\":1.500,"
      "\"descriptor\":0.000,\"trees\":0.000,\"search\":0.000,\"ransac\":0.000,"
      "\"refinement\":0.000,\"area\":0.000,\"residual\":0.000,\"total\":1.500},"
      "\"residual\":{\"before\":9.500,\"after\":1.250}}\n");
}

TEST(RegistrationReport, StaysJsonWithAnyNameAndNumber) {
  RegistrationReport report = shifted();
  report.failure = RegistrationFailure{Stage::area, "a \"quoted\" reason"};
  report.rectangle.reset();
  (*report.homography)[2] = std::numeric_limits<float>::infinity();
  const std::string json = reportJson(report, "a\\b\n\"c\"", "\xC3\xA4\xFF.png");
  for (const char* part :
       {"\"first\":\"a\\\\b\\u000a\\\"c\\\"\"", "\"second\":\"\xC3\xA4\\ufffd.png\"",
        "\"registered\":false",
        "\"failure\":{\"stage\":\"area\",\"reason\":\"a \\\"quoted\\\" reason\"}",
        "\"homography\":[1,0,null,", "\"rectangle\":null", "\"top_left\":[null,-4]"}) {
    EXPECT_NE(json.find(part), std::string::npos) << part << " in " << json;
  }
}

}  // namespace
}  // namespace velmora::tool
