// The valid area of a registered pair.
#include <algorithm>
#include <array>
#include <optional>

#include "common/float_to_int.h"
#include "logging/log.h"
#include "registration/homography/matrix3.h"
#include "registration/homography/projection.h"
#include "registration/observed_stages.h"
#include "velmora_sr/logging.h"
#include "velmora_sr/motion_area.h"

namespace velmora {
namespace {

constexpr const char* kSource = "src/registration/source/imtransform";
constexpr const char* kAreaError = "IMG_REGISTRATION: calculate motion area error!";
constexpr int32_t kRejected = 2;
constexpr int64_t kMaxLoss = 300;
constexpr int kMaxRounds = 50;

int32_t reject(int line, const char* text) {
  LogMsg(kSource, line, 0, "%s", text);
  return kRejected;
}

int32_t rounded(float value) {
  return truncateToInt(static_cast<double>(value) + 0.5);
}

int32_t truncated(float value) {
  return truncateToInt(static_cast<double>(value));
}

// Projection through an inverse, whose last entry is not 1.
Point unproject(const Matrix3& m, float x, float y) {
  const float w = (m[6] * x + m[7] * y) + m[8];
  return {((m[0] * x + m[1] * y) + m[2]) / w, ((m[3] * x + m[4] * y) + m[5]) / w};
}

struct Range {
  int64_t low;
  int64_t high;
};

// Second smallest and second largest of the four corner coordinates.
Range innerRange(std::array<int32_t, 4> corners) {
  std::sort(corners.begin(), corners.end());
  return {corners[1], corners[2]};
}

// The common part of the frame [0, size - 1] and a range, or nothing when they do not overlap.
std::optional<Range> intersect(int32_t size, Range range) {
  std::array<int64_t, 4> ends = {0, int64_t{size} - 1, range.low, range.high};
  std::sort(ends.begin(), ends.end());
  const int64_t lengths = (int64_t{size} - 1) + (range.high - range.low);
  if (ends[3] - ends[0] >= lengths + 1) return std::nullopt;
  return Range{ends[1], ends[2]};
}

// The rectangle under test: shrunk a pixel at a time until the homography keeps its corners inside
// the second frame.
struct Area {
  int32_t left;
  int32_t top;
  int32_t width;
  int32_t height;

  [[nodiscard]] Point corner(const float* h, bool right, bool low) const {
    return project(h, static_cast<float>(right ? left + width - 1 : left),
                   static_cast<float>(low ? top + height - 1 : top));
  }
  void dropLeft() {
    ++left;
    --width;
  }
  void dropTop() {
    ++top;
    --height;
  }
};

bool settleTopLeft(const float* h, Area& area) {
  for (int round = 0; round < kMaxRounds; ++round) {
    const Point p = area.corner(h, false, false);
    if (p.x < 0) area.dropLeft();
    if (p.y < 0) area.dropTop();
    if (!(p.x < 0) && !(p.y < 0)) return true;
  }
  return false;
}

// The two corners next to the top-left one. The far sides give way here too, but only what leaves
// the second frame on the near sides asks for another round.
bool settleNearCorners(const float* h, Area& area, int32_t frameWidth, int32_t frameHeight) {
  const auto lastColumn = static_cast<float>(frameWidth - 1);
  const auto lastRow = static_cast<float>(frameHeight - 1);
  for (int round = 0; round < kMaxRounds; ++round) {
    const Point corners[] = {area.corner(h, false, true), area.corner(h, true, false)};
    bool negative = false;
    for (const Point& p : corners) {
      if (p.x < 0) area.dropLeft();
      if (p.y < 0) area.dropTop();
      if (p.x > lastColumn) --area.width;
      if (p.y > lastRow) --area.height;
      negative = negative || p.x < 0 || p.y < 0;
    }
    if (!negative) return true;
  }
  return false;
}

bool settleFarCorner(const float* h, Area& area, int32_t frameWidth, int32_t frameHeight) {
  for (int round = 0; round < kMaxRounds; ++round) {
    const Point p = area.corner(h, true, true);
    const bool beyondX = p.x >= static_cast<float>(frameWidth);
    const bool beyondY = p.y >= static_cast<float>(frameHeight);
    if (beyondX) --area.width;
    if (beyondY) --area.height;
    if (!beyondX && !beyondY) return true;
  }
  return false;
}

}  // namespace
}  // namespace velmora

int32_t velmora::findArea(const float* homography, int32_t width, int32_t height, int32_t& left,
                          int32_t& top, int32_t& right, int32_t& bottom, const char*& reason) {
  reason = "the two frames do not share enough of the picture";
  if (width < 1 || height < 1) return reject(__LINE__, kAreaError);
  const Matrix3 inverse = invert(homography).matrix;
  const auto lastColumn = static_cast<float>(width - 1);
  const auto lastRow = static_cast<float>(height - 1);
  const Point p00 = unproject(inverse, 0, 0);
  const Point p10 = unproject(inverse, lastColumn, 0);
  const Point p01 = unproject(inverse, 0, lastRow);
  const Point p11 = unproject(inverse, lastColumn, lastRow);
  // Near edges are rounded, far edges cut, so that the area errs to the inside on the far sides
  // only; hosts have tuned their regions to this.
  const Range x = innerRange({rounded(p00.x), truncated(p10.x), rounded(p01.x), truncated(p11.x)});
  const Range y = innerRange({rounded(p00.y), rounded(p10.y), truncated(p01.y), truncated(p11.y)});
  if (x.low == x.high) return reject(__LINE__, kAreaError);
  if (y.low == y.high) return reject(__LINE__, kAreaError);

  const auto columns = intersect(width, x);
  const auto rows = intersect(height, y);
  if (!columns || !rows) {
    return reject(__LINE__, "IMG_REGISTRATION: calculate motion area error");
  }
  const int64_t areaWidth = columns->high - columns->low + 1;
  const int64_t areaHeight = rows->high - rows->low + 1;
  if (width - areaWidth > kMaxLoss || height - areaHeight > kMaxLoss) {
    reason = "the global motion between two frames is too large";
    return reject(__LINE__, "IMG_REGISTRATION: the global motion between two frames is too large!");
  }

  // Inside the frame now, so the coordinates fit 32 bits again.
  Area area = {static_cast<int32_t>(columns->low), static_cast<int32_t>(rows->low),
               static_cast<int32_t>(areaWidth), static_cast<int32_t>(areaHeight)};
  if (!settleTopLeft(homography, area)) return reject(__LINE__, kAreaError);
  if (!settleNearCorners(homography, area, width, height)) return reject(__LINE__, kAreaError);
  if (!settleFarCorner(homography, area, width, height)) return reject(__LINE__, kAreaError);

  left = area.left;
  top = area.top;
  right = area.left + area.width - 1;
  bottom = area.top + area.height - 1;
  const bool inside = left >= 0 && top >= 0 && right < width && bottom < height;
  return inside ? 0 : kRejected;
}

int32_t MatrixEstimation(float* homography, int32_t width, int32_t height, int32_t& left,
                         int32_t& top, int32_t& right, int32_t& bottom) {
  const char* reason = nullptr;
  return velmora::findArea(homography, width, height, left, top, right, bottom, reason);
}

int32_t MotionEstimation(float* homography, int32_t width, int32_t height,
                         tagST_REGISTRATION_AREA* area) {
  velmora::printProgress("MotionEstimation");
  int32_t left = 0;
  int32_t top = 0;
  int32_t right = 0;
  int32_t bottom = 0;
  const int32_t result = MatrixEstimation(homography, width, height, left, top, right, bottom);
  if (result == 0) *area = {left, top, right - left + 1, bottom - top + 1};
  return result;
}
