#include "formats/icc.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "formats/jpeg_segments.h"

namespace velmora::tool {
namespace {

constexpr uint8_t kApp0 = 0xE0;
constexpr uint8_t kApp2 = 0xE2;
constexpr std::string_view kName("ICC_PROFILE\0", 12);
// A segment holds the name, the number of its part, the number of parts, and this much profile.
constexpr std::size_t kPartBytes = 65533 - kName.size() - 2;

bool isPart(const JpegSegment& segment) {
  return segment.marker == kApp2 && segment.body.size() > kName.size() + 2 &&
         std::equal(kName.begin(), kName.end(), segment.body.begin(),
                    [](char a, uint8_t b) { return static_cast<uint8_t>(a) == b; });
}

}  // namespace

std::vector<uint8_t> jpegProfile(std::span<const uint8_t> jpeg) {
  std::array<std::span<const uint8_t>, 256> parts;
  std::size_t count = 0;
  JpegSegments segments(jpeg);
  while (const auto segment = segments.next()) {
    if (!isPart(*segment)) continue;
    const std::size_t number = segment->body[kName.size()];
    count = segment->body[kName.size() + 1];
    parts[number] = segment->body.subspan(kName.size() + 2);
  }
  std::vector<uint8_t> profile;
  for (std::size_t i = 1; i <= count; ++i) {
    if (parts[i].empty()) return {};
    profile.insert(profile.end(), parts[i].begin(), parts[i].end());
  }
  return profile;
}

std::vector<uint8_t> jpegProfileSegments(std::span<const uint8_t> profile) {
  const std::size_t count = (profile.size() + kPartBytes - 1) / kPartBytes;
  if (count > 255) return {};
  std::vector<uint8_t> result;
  for (std::size_t i = 0; i < count; ++i) {
    const auto part =
        profile.subspan(i * kPartBytes, std::min(kPartBytes, profile.size() - i * kPartBytes));
    const std::size_t length = 2 + kName.size() + 2 + part.size();
    result.insert(result.end(), {0xFF, kApp2, static_cast<uint8_t>(length >> 8),
                                 static_cast<uint8_t>(length & 0xFF)});
    result.insert(result.end(), kName.begin(), kName.end());
    result.insert(result.end(), {static_cast<uint8_t>(i + 1), static_cast<uint8_t>(count)});
    result.insert(result.end(), part.begin(), part.end());
  }
  return result;
}

std::size_t jpegProfilePosition(std::span<const uint8_t> jpeg) {
  JpegSegments segments(jpeg);
  const auto first = segments.next();
  return first && first->marker == kApp0 ? first->end : 2;
}

}  // namespace velmora::tool
