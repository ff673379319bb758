#include "formats/jpeg_metadata.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <string_view>

#include "formats/icc.h"
#include "formats/jpeg_segments.h"

namespace velmora::tool {
namespace {

using namespace std::string_view_literals;

constexpr uint8_t kApp0 = 0xE0;
constexpr uint8_t kApp1 = 0xE1;
constexpr uint8_t kApp14 = 0xEE;
constexpr uint8_t kApp15 = 0xEF;
constexpr uint8_t kComment = 0xFE;
constexpr std::string_view kJfif = "JFIF\0"sv;
constexpr std::string_view kExif = "Exif\0\0"sv;
constexpr std::string_view kXmp = "http://ns.adobe.com/xap/1.0/\0"sv;
constexpr std::string_view kMoreXmp = "http://ns.adobe.com/xmp/extension/\0"sv;
constexpr std::string_view kProfile = "ICC_PROFILE\0"sv;
constexpr std::size_t kSegmentBytes = 65533;
constexpr double kInch = 0.0254;

bool isNamed(const JpegSegment& segment, std::string_view name) {
  return std::string_view(reinterpret_cast<const char*>(segment.body.data()), segment.body.size())
      .starts_with(name);
}

void take(const JpegSegment& segment, std::size_t skip, std::vector<uint8_t>& target) {
  if (target.empty()) {
    target.assign(segment.body.begin() + static_cast<std::ptrdiff_t>(skip), segment.body.end());
  }
}

// Behind the name of a JFIF segment: two bytes of version, the unit (1 inch, 2 centimetre, else
// none), and the density along both axes in two bytes each.
std::optional<Resolution> jfifResolution(const JpegSegment& segment) {
  const auto body = segment.body;
  if (body.size() < 12 || (body[7] != 1 && body[7] != 2)) return std::nullopt;
  const double unit = body[7] == 1 ? kInch : 0.01;
  const Resolution resolution = {(body[8] * 256 + body[9]) / unit,
                                 (body[10] * 256 + body[11]) / unit};
  if (!(resolution.x > 0) || !(resolution.y > 0)) return std::nullopt;
  return resolution;
}

// What a segment that is not passed on holds; empty for what belongs to the coding of the picture.
std::string nameOf(const JpegSegment& segment) {
  if (isNamed(segment, kMoreXmp)) return "extended XMP";
  if (isNamed(segment, "Photoshop 3.0")) return "IPTC";
  if (isNamed(segment, "MPF\0"sv)) return "further pictures";
  if (segment.marker == kComment) return "comment";
  if (segment.marker == kApp14 || segment.marker <= kApp0 || segment.marker > kApp15) return "";
  return "APP" + std::to_string(segment.marker - kApp0);
}

void append(std::string_view name, const std::vector<uint8_t>& content,
            std::vector<uint8_t>& segments) {
  if (content.empty()) return;
  const std::size_t length = 2 + name.size() + content.size();
  segments.insert(segments.end(), {0xFF, kApp1, static_cast<uint8_t>(length >> 8),
                                   static_cast<uint8_t>(length & 0xFF)});
  segments.insert(segments.end(), name.begin(), name.end());
  segments.insert(segments.end(), content.begin(), content.end());
}

}  // namespace

Metadata jpegMetadata(std::span<const uint8_t> jpeg) {
  Metadata metadata;
  JpegSegments segments(jpeg);
  while (const auto segment = segments.next()) {
    if (segment->marker == kApp0 && isNamed(*segment, kJfif)) {
      metadata.resolution = jfifResolution(*segment);
    } else if (segment->marker == kApp1 && isNamed(*segment, kExif)) {
      take(*segment, kExif.size(), metadata.exif);
    } else if (segment->marker == kApp1 && isNamed(*segment, kXmp)) {
      take(*segment, kXmp.size(), metadata.xmp);
    } else if (isNamed(*segment, kProfile)) {
      continue;
    } else if (const std::string name = nameOf(*segment); !name.empty()) {
      metadata.leaveOut(name);
    }
  }
  metadata.iccProfile = jpegProfile(jpeg);
  return metadata;
}

void fitIntoJpeg(Metadata& metadata) {
  const auto fit = [&](std::vector<uint8_t>& part, std::size_t name, const char* what) {
    if (part.size() + name <= kSegmentBytes) return;
    part.clear();
    metadata.leaveOut(what);
  };
  fit(metadata.exif, kExif.size(), "Exif");
  fit(metadata.xmp, kXmp.size(), "XMP");
  if (!metadata.iccProfile.empty() && jpegProfileSegments(metadata.iccProfile).empty()) {
    metadata.iccProfile.clear();
    metadata.leaveOut("colour profile");
  }
}

std::vector<uint8_t> jpegSegments(const Metadata& metadata) {
  std::vector<uint8_t> segments;
  append(kExif, metadata.exif, segments);
  append(kXmp, metadata.xmp, segments);
  const std::vector<uint8_t> profile = jpegProfileSegments(metadata.iccProfile);
  segments.insert(segments.end(), profile.begin(), profile.end());
  return segments;
}

void setJpegResolution(std::span<uint8_t> jpeg, const Resolution& resolution) {
  constexpr std::size_t kBody = 6;  // behind the start mark, and the mark and length of the segment
  JpegSegments segments(jpeg);
  const auto first = segments.next();
  if (!first || first->marker != kApp0 || !isNamed(*first, kJfif) || first->body.size() < 12) {
    return;
  }
  const auto density = [](double perMetre) {
    return static_cast<unsigned>(std::clamp(std::round(perMetre * kInch), 1.0, 65535.0));
  };
  const unsigned x = density(resolution.x);
  const unsigned y = density(resolution.y);
  jpeg[kBody + 7] = 1;
  jpeg[kBody + 8] = static_cast<uint8_t>(x >> 8);
  jpeg[kBody + 9] = static_cast<uint8_t>(x & 0xFF);
  jpeg[kBody + 10] = static_cast<uint8_t>(y >> 8);
  jpeg[kBody + 11] = static_cast<uint8_t>(y & 0xFF);
}

}  // namespace velmora::tool
