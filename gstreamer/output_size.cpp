#include "output_size.h"

#include <gst/video/video.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <optional>

#include "velmora_sr/burst.h"

namespace velmora::gst {
namespace {

constexpr std::array<const char*, 2> kSides = {"width", "height"};
constexpr int kSmallest = VELMORA_SR_BURST_SMALLEST_SIDE;
constexpr int kLargest = VELMORA_SR_BURST_LARGEST_SIDE;

struct Range {
  int low;
  int high;
};

struct Size {
  int width;
  int height;
};

// The sizes between the smallest and the largest of a field.
Range rangeOf(const GValue* value) {
  if (value == nullptr) return {kSmallest, kLargest};
  if (G_VALUE_HOLDS_INT(value)) return {g_value_get_int(value), g_value_get_int(value)};
  if (GST_VALUE_HOLDS_INT_RANGE(value)) {
    return {gst_value_get_int_range_min(value), gst_value_get_int_range_max(value)};
  }
  Range all = {kLargest, kSmallest};
  if (GST_VALUE_HOLDS_LIST(value)) {
    for (guint i = 0; i < gst_value_list_get_size(value); ++i) {
      const Range one = rangeOf(gst_value_list_get_value(value, i));
      all = {std::min(all.low, one.low), std::max(all.high, one.high)};
    }
  }
  return all;
}

Range across(GstPadDirection direction, Range range) {
  const Range other =
      direction == GST_PAD_SINK
          ? Range{range.low, static_cast<int>(
                                 std::min(int64_t{range.high} * kLargestScale, int64_t{kLargest}))}
          : Range{range.low / kLargestScale + (range.low % kLargestScale > 0), range.high};
  return {std::max(other.low, kSmallest), std::min(other.high, kLargest)};
}

std::optional<int> fixedSide(const GstStructure* structure, const char* side) {
  int value = 0;
  if (!gst_structure_get_int(structure, side, &value)) return {};
  return value;
}

// camera-single has even sizes only.
int rounded(double side, Method method) {
  const auto whole = static_cast<int>(std::lround(std::clamp(side, 1.0, double(kLargest))));
  return method == Method::cameraSingle ? whole - whole % 2 : whole;
}

void keepColours(const GstCaps* input, GstStructure* output) {
  GstVideoInfo info;
  if (gst_structure_has_field(output, "colorimetry") || !gst_video_info_from_caps(&info, input)) {
    return;
  }
  gchar* colorimetry = gst_video_colorimetry_to_string(&info.colorimetry);
  if (colorimetry == nullptr) return;
  gst_structure_set(output, "colorimetry", G_TYPE_STRING, colorimetry, nullptr);
  g_free(colorimetry);
}

}  // namespace

GstCaps* sizesAcross(GstPadDirection direction, const GstCaps* caps) {
  GstCaps* result = gst_caps_new_empty();
  for (guint i = 0; i < gst_caps_get_size(caps); ++i) {
    GstStructure* structure = gst_structure_copy(gst_caps_get_structure(caps, i));
    bool possible = true;
    for (const char* side : kSides) {
      const Range other = across(direction, rangeOf(gst_structure_get_value(structure, side)));
      if (other.low < other.high) {
        gst_structure_set(structure, side, GST_TYPE_INT_RANGE, other.low, other.high, nullptr);
      } else if (other.low == other.high) {
        gst_structure_set(structure, side, G_TYPE_INT, other.low, nullptr);
      } else {
        possible = false;
      }
    }
    if (possible) {
      result = gst_caps_merge_structure_full(
          result, structure, gst_caps_features_copy(gst_caps_get_features(caps, i)));
    } else {
      gst_structure_free(structure);
    }
  }
  return result;
}

GstCaps* chooseSize(GstPadDirection direction, GstCaps* caps, GstCaps* candidates,
                    const Settings& settings) {
  if (gst_caps_is_empty(candidates)) return candidates;
  candidates = gst_caps_truncate(candidates);
  const GstStructure* known = gst_caps_get_structure(caps, 0);
  GstStructure* chosen = gst_caps_get_structure(candidates, 0);
  const auto width = fixedSide(known, "width");
  const auto height = fixedSide(known, "height");
  if (width && height) {
    const auto fixate = [&](GstStructure* structure, double scaleX, double scaleY) {
      gst_structure_fixate_field_nearest_int(structure, "width",
                                             rounded(*width * scaleX, settings.method));
      gst_structure_fixate_field_nearest_int(structure, "height",
                                             rounded(*height * scaleY, settings.method));
    };
    double scale = direction == GST_PAD_SINK ? settings.scale : 1 / settings.scale;
    const auto fixedWidth = fixedSide(chosen, "width");
    const auto fixedHeight = fixedSide(chosen, "height");
    if (!fixedWidth && !fixedHeight) {
      // Where a side cannot be as large, neither is the other.
      GstStructure* attempt = gst_structure_copy(chosen);
      fixate(attempt, scale, scale);
      const Size wanted = {rounded(*width * scale, settings.method),
                           rounded(*height * scale, settings.method)};
      const Size got = {fixedSide(attempt, "width").value_or(wanted.width),
                        fixedSide(attempt, "height").value_or(wanted.height)};
      gst_structure_free(attempt);
      if (got.width < wanted.width) scale = double(got.width) / *width;
      if (got.height < wanted.height) scale = std::min(scale, double(got.height) / *height);
    }
    fixate(chosen, fixedHeight ? double(*fixedHeight) / *height : scale,
           fixedWidth ? double(*fixedWidth) / *width : scale);
  }
  if (direction == GST_PAD_SINK) keepColours(caps, chosen);
  return gst_caps_fixate(candidates);
}

}  // namespace velmora::gst
