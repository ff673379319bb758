// The header segments of a JPEG file, one after the other.
#ifndef VELMORA_TOOL_FORMATS_JPEG_SEGMENTS_H
#define VELMORA_TOOL_FORMATS_JPEG_SEGMENTS_H

#include <cstdint>
#include <optional>
#include <span>

namespace velmora::tool {

struct JpegSegment {
  uint8_t marker = 0;             ///< 0xE1 for APP1, ...
  std::span<const uint8_t> body;  ///< without marker and length
  std::size_t end = 0;            ///< where the next segment begins in the file
};

/// Walks over the segments up to the picture data; stops at anything that is no segment.
class JpegSegments {
 public:
  explicit JpegSegments(std::span<const uint8_t> jpeg) : jpeg_(jpeg) {}

  std::optional<JpegSegment> next() {
    constexpr uint8_t kStartOfScan = 0xDA;
    while (at_ + 4 <= jpeg_.size() && jpeg_[at_] == 0xFF) {
      const uint8_t marker = jpeg_[at_ + 1];
      if (marker == 0xFF) {  // fill byte
        ++at_;
        continue;
      }
      // The length counts itself.
      const std::size_t length = std::size_t{jpeg_[at_ + 2]} * 256 + jpeg_[at_ + 3];
      if (marker == kStartOfScan || length < 2 || length > jpeg_.size() - at_ - 2) break;
      const std::size_t begin = at_ + 4;
      at_ += 2 + length;
      return JpegSegment{marker, jpeg_.subspan(begin, length - 2), at_};
    }
    return std::nullopt;
  }

 private:
  std::span<const uint8_t> jpeg_;
  std::size_t at_ = 2;  // behind the start mark
};

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_FORMATS_JPEG_SEGMENTS_H
