#include "verdict.h"

#include <algorithm>
#include <cmath>

#include "errors.h"
#include "json.h"
#include "status.h"

namespace velmora::tool {
namespace {

// JSON has no infinities.
std::string number(std::optional<double> value, int digits = 6) {
  return value && std::isfinite(*value) ? format("%.*g", digits, *value) : "null";
}

const char* name(FrameVerdict::Use use) {
  switch (use) {
    case FrameVerdict::Use::reference:
      return "reference";
    case FrameVerdict::Use::used:
      return "used";
    case FrameVerdict::Use::leftOut:
      break;
  }
  return "left out";
}

std::string homographyJson(const FrameVerdict& frame) {
  if (!frame.homography) return "null";
  std::string result;
  for (const double entry : *frame.homography) {
    result += result.empty() ? "[" : ",";
    result += number(entry, 12);
  }
  return result + "]";
}

std::string frameJson(const FrameVerdict& frame) {
  std::string result = "{\"number\":" + std::to_string(frame.number);
  result += ",\"file\":" + jsonString(frame.file);
  result += std::string(",\"use\":\"") + name(frame.use) + '"';
  result += ",\"reason\":" + (frame.reason.empty() ? "null" : jsonString(frame.reason));
  result += ",\"motion\":" + number(frame.motion);
  result += ",\"residual\":{\"before\":" + number(frame.residualBefore) +
            ",\"after\":" + number(frame.residualAfter) + "}";
  result += ",\"gain\":" + number(frame.gain) + ",\"bias\":" + number(frame.bias);
  result += ",\"weight\":" + number(frame.weight) + ",\"share\":" + number(frame.share);
  return result + ",\"homography\":" + homographyJson(frame) + "}";
}

}  // namespace

double largestMotion(const std::array<double, 9>& h, Size frame) {
  double largest = 0;
  for (const double x : {0.0, double(frame.width - 1)}) {
    for (const double y : {0.0, double(frame.height - 1)}) {
      const double w = h[6] * x + h[7] * y + h[8];
      const double toX = (h[0] * x + h[1] * y + h[2]) / w;
      const double toY = (h[3] * x + h[4] * y + h[5]) / w;
      largest = std::max(largest, std::hypot(toX - x, toY - y));
    }
  }
  return largest;
}

std::string verdictText(const FrameVerdict& frame) {
  std::string text = name(frame.use);
  if (frame.use == FrameVerdict::Use::leftOut) text += ": " + frame.reason;
  const char* separator = ", ";
  if (frame.share && frame.use != FrameVerdict::Use::leftOut) {
    text += format(", %.0f %% of the picture", 100 * *frame.share);
    separator = "; ";
  }
  if (frame.use != FrameVerdict::Use::used) return text;
  const auto add = [&](const std::string& part) {
    text += separator + part;
    separator = ", ";
  };
  if (frame.motion) add(format("motion of %.1f pixels", *frame.motion));
  if (frame.residualBefore && frame.residualAfter) {
    add(format("residual %.2f before and %.2f after", *frame.residualBefore, *frame.residualAfter));
  }
  if (frame.gain) add(format("gain %.3f", *frame.gain));
  return text;
}

std::string fusionJson(const Fusion& fusion) {
  const auto reference = std::find_if(
      fusion.frames.begin(), fusion.frames.end(),
      [](const FrameVerdict& frame) { return frame.use == FrameVerdict::Use::reference; });
  const Region& r = fusion.region;
  std::string result = "{\"method\":" + jsonString(fusion.method);
  result += ",\"output\":" + jsonString(fusion.output);
  result += ",\"reference\":" + std::to_string(reference->number);
  result += format(
      ",\"region\":{\"left\":%d,\"top\":%d,\"right\":%d,\"bottom\":%d},\"width\":%d,\"height\":%d",
      r.left, r.top, r.right, r.bottom, fusion.size.width, fusion.size.height);
  result += ",\"noise\":" + number(fusion.noise) + ",\"frames\":[";
  for (std::size_t i = 0; i < fusion.frames.size(); ++i) {
    if (i != 0) result += ",";
    result += frameJson(fusion.frames[i]);
  }
  return result + "]}\n";
}

void requireAllUsed(std::span<const FrameVerdict> frames) {
  for (const FrameVerdict& frame : frames) {
    if (frame.use != FrameVerdict::Use::leftOut) continue;
    throw Failure("--strict: frame " + std::to_string(frame.number) + ", " + frame.file +
                  ", was not used: " + frame.reason);
  }
}

}  // namespace velmora::tool
