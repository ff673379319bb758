#include "formats/exif.h"

#include <algorithm>
#include <cstddef>
#include <optional>

#include "formats/tiff_block.h"

namespace velmora::tool {
namespace {

enum Tag : uint32_t {
  kImageWidth = 0x0100,
  kImageLength = 0x0101,
  kStripOffset = 0x0111,
  kOrientation = 0x0112,
  kStripBytes = 0x0117,
  kThumbnailOffset = 0x0201,
  kThumbnailBytes = 0x0202,
  kExifDirectory = 0x8769,
  kGpsDirectory = 0x8825,
  kPixelXDimension = 0xA002,
  kPixelYDimension = 0xA003,
  kInteroperability = 0xA005,
  kSharpness = 0xA40A,
};

struct Bytes {
  uint64_t begin;
  uint64_t end;
};

// The bytes that a directory, and the values of its entries, take.
void addRanges(const TiffBlock& tiff, std::size_t directory, std::vector<Bytes>& ranges) {
  const std::vector<TiffEntry> entries = tiff.entries(directory);
  ranges.push_back({directory, directory + 2 + 12 * entries.size() + 4});
  for (const TiffEntry& entry : entries) {
    const uint64_t bytes = valueBytes(entry);
    const auto at = tiff.number(entry.value, 4);
    if (at && bytes > 4) ranges.push_back({*at, *at + bytes});
  }
}

// The bytes of the thumbnail that a directory describes.
std::optional<Bytes> thumbnailOf(const TiffBlock& tiff, std::size_t directory) {
  std::optional<uint32_t> at;
  std::optional<uint32_t> count;
  for (const TiffEntry& entry : tiff.entries(directory)) {
    if (entry.tag == kThumbnailOffset || entry.tag == kStripOffset) at = tiff.number(entry);
    if (entry.tag == kThumbnailBytes || entry.tag == kStripBytes) count = tiff.number(entry);
  }
  if (!at || !count) return std::nullopt;
  return Bytes{*at, uint64_t{*at} + *count};
}

// Clears the thumbnail unless its place is also that of something else, and cuts the block behind
// the last byte that anything uses.
void clear(std::vector<uint8_t>& block, const Bytes& thumbnail, const std::vector<Bytes>& used) {
  const auto overlaps = [&](const Bytes& range) {
    return range.begin < thumbnail.end && thumbnail.begin < range.end;
  };
  if (thumbnail.end > block.size() || std::any_of(used.begin(), used.end(), overlaps)) return;
  std::fill(block.begin() + static_cast<std::ptrdiff_t>(thumbnail.begin),
            block.begin() + static_cast<std::ptrdiff_t>(thumbnail.end), uint8_t{0});
  uint64_t end = 0;
  for (const Bytes& range : used)
    end = std::max(end, range.end);
  while (block.size() > end && block.back() == 0)
    block.pop_back();
}

}  // namespace

int exifOrientation(std::span<const uint8_t> block) {
  const TiffBlock tiff(block);
  for (const TiffEntry& entry : tiff.entries(tiff.firstDirectory().value_or(0))) {
    if (entry.tag != kOrientation) continue;
    const auto value = tiff.number(entry);
    return value && *value >= 1 && *value <= 8 ? static_cast<int>(*value) : 1;
  }
  return 1;
}

std::optional<int> exifSharpness(std::span<const uint8_t> block) {
  const TiffBlock tiff(block);
  const auto directory = tiff.directoryOf(tiff.firstDirectory().value_or(0), kExifDirectory);
  for (const TiffEntry& entry : tiff.entries(directory.value_or(0))) {
    const auto value = entry.tag == kSharpness ? tiff.number(entry) : std::nullopt;
    if (value && *value <= 2) return static_cast<int>(*value);
  }
  return std::nullopt;
}

bool updateExif(std::vector<uint8_t>& block, Size size) {
  const std::vector<uint8_t> original = block;
  const TiffBlock tiff(original);
  const auto first = tiff.firstDirectory();
  if (!first || !tiff.number(*first, 2)) return false;
  const auto width = static_cast<uint32_t>(size.width);
  const auto height = static_cast<uint32_t>(size.height);

  std::vector<Bytes> used = {{0, 8}};
  std::vector<std::size_t> directories = {*first};
  for (std::size_t i = 0; i < directories.size(); ++i) {
    addRanges(tiff, directories[i], used);
    for (const TiffEntry& entry : tiff.entries(directories[i])) {
      switch (entry.tag) {
        case kOrientation:
          tiff.set(block, entry, 1);
          break;
        case kImageWidth:
        case kPixelXDimension:
          tiff.set(block, entry, width);
          break;
        case kImageLength:
        case kPixelYDimension:
          tiff.set(block, entry, height);
          break;
        case kExifDirectory:
        case kGpsDirectory:
        case kInteroperability: {
          const auto next = tiff.number(entry);
          const bool known =
              next && std::find(directories.begin(), directories.end(), *next) != directories.end();
          if (next && !known && directories.size() < 4) directories.push_back(*next);
          break;
        }
        default:
          break;
      }
    }
  }

  const std::size_t link = *first + 2 + 12 * tiff.entries(*first).size();
  const auto second = tiff.number(link, 4);
  if (second && *second != 0) {
    tiff.put(block, link, 4, 0);
    if (const auto thumbnail = thumbnailOf(tiff, *second)) clear(block, *thumbnail, used);
  }
  return true;
}

}  // namespace velmora::tool
