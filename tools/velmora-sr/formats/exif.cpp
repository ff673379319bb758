#include "formats/exif.h"

#include <libyuv.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <utility>

#include "formats/jpeg_segments.h"

namespace velmora::tool {
namespace {

constexpr uint8_t kApp1 = 0xE1;
enum Tag : uint32_t { kOrientation = 0x0112, kExifDirectory = 0x8769, kSharpness = 0xA40A };
enum Type : uint32_t { kShort = 3, kLong = 4 };

// Big- or little-endian numbers of a TIFF block; nothing past its end.
class Tiff {
 public:
  explicit Tiff(std::span<const uint8_t> bytes) : bytes_(bytes) {
    valid_ = bytes.size() >= 8 && bytes[0] == bytes[1] && (bytes[0] == 'I' || bytes[0] == 'M');
    big_ = valid_ && bytes[0] == 'M';
  }
  [[nodiscard]] std::optional<uint32_t> number(std::size_t at, int count) const {
    if (!valid_ || at > bytes_.size() || bytes_.size() - at < static_cast<std::size_t>(count)) {
      return std::nullopt;
    }
    uint32_t value = 0;
    for (int i = 0; i < count; ++i) {
      const int shift = 8 * (big_ ? count - 1 - i : i);
      value |= uint32_t{bytes_[at + static_cast<std::size_t>(i)]} << shift;
    }
    return value;
  }

 private:
  std::span<const uint8_t> bytes_;
  bool valid_ = false;
  bool big_ = false;
};

// The single number that a directory has under a tag.
std::optional<uint32_t> find(const Tiff& tiff, std::optional<uint32_t> directory, Tag wanted) {
  if (!directory) return std::nullopt;
  const auto count = tiff.number(*directory, 2);
  for (uint32_t i = 0; i < count.value_or(0); ++i) {
    const std::size_t entry = std::size_t{*directory} + 2 + std::size_t{12} * i;
    const auto tag = tiff.number(entry, 2);
    if (!tag) break;
    if (*tag != wanted) continue;
    const auto type = tiff.number(entry + 2, 2);
    if (type == kShort) return tiff.number(entry + 8, 2);
    if (type == kLong) return tiff.number(entry + 8, 4);
    break;
  }
  return std::nullopt;
}

std::span<const uint8_t> exifBlock(std::span<const uint8_t> jpeg) {
  constexpr std::array<uint8_t, 6> kExif = {'E', 'x', 'i', 'f', 0, 0};
  JpegSegments segments(jpeg);
  while (const auto segment = segments.next()) {
    const auto body = segment->body;
    if (segment->marker == kApp1 && body.size() > kExif.size() &&
        std::equal(kExif.begin(), kExif.end(), body.begin())) {
      return body.subspan(kExif.size());
    }
  }
  return {};
}

void turn(Plane& plane, bool mirror, libyuv::RotationMode rotation) {
  const Size size = plane.size;
  const bool swaps = rotation == libyuv::kRotate90 || rotation == libyuv::kRotate270;
  if (mirror) {
    Plane mirrored(size);
    libyuv::MirrorPlane(plane.row(0), size.width, mirrored.row(0), size.width, size.width,
                        size.height);
    plane = std::move(mirrored);
  }
  if (rotation == libyuv::kRotate0) return;
  Plane turned(swaps ? Size{size.height, size.width} : size);
  if (rotation == libyuv::kRotate180) {
    // Mirrored and upside down: RotatePlane() would take a row of its own without checking it.
    libyuv::MirrorPlane(plane.row(0), size.width, turned.row(0), size.width, size.width,
                        -size.height);
    plane = std::move(turned);
    return;
  }
  libyuv::RotatePlane(plane.row(0), size.width, turned.row(0), turned.size.width, size.width,
                      size.height, rotation);
  plane = std::move(turned);
}

}  // namespace

int exifOrientation(std::span<const uint8_t> jpeg) {
  const Tiff tiff(exifBlock(jpeg));
  const auto value = find(tiff, tiff.number(4, 4), kOrientation);
  return value && *value >= 1 && *value <= 8 ? static_cast<int>(*value) : 1;
}

std::optional<int> exifSharpness(std::span<const uint8_t> jpeg) {
  const Tiff tiff(exifBlock(jpeg));
  const auto value = find(tiff, find(tiff, tiff.number(4, 4), kExifDirectory), kSharpness);
  if (!value || *value > 2) return std::nullopt;
  return static_cast<int>(*value);
}

Size uprightSize(Size stored, int orientation) {
  return orientation >= 5 ? Size{stored.height, stored.width} : stored;
}

void turnUpright(Picture& picture, int orientation) {
  // Each orientation is a mirror image or not, then a clockwise turn.
  struct Turn {
    bool mirror;
    libyuv::RotationMode rotation;
  };
  constexpr std::array<Turn, 8> kTurns = {{{false, libyuv::kRotate0},
                                           {true, libyuv::kRotate0},
                                           {false, libyuv::kRotate180},
                                           {true, libyuv::kRotate180},
                                           {true, libyuv::kRotate270},
                                           {false, libyuv::kRotate90},
                                           {true, libyuv::kRotate90},
                                           {false, libyuv::kRotate270}}};
  if (orientation < 2 || orientation > 8) return;
  const Turn& how = kTurns[static_cast<std::size_t>(orientation - 1)];
  turn(picture.y, how.mirror, how.rotation);
  turn(picture.u, how.mirror, how.rotation);
  turn(picture.v, how.mirror, how.rotation);
}

}  // namespace velmora::tool
