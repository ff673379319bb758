#include "formats/exif.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>

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
};
enum Type : uint32_t { kShort = 3, kLong = 4 };

struct Entry {
  uint32_t tag;
  uint32_t type;
  uint32_t count;
  std::size_t value;  // where the value stands, or its position when it has more than four bytes
};

struct Bytes {
  uint64_t begin;
  uint64_t end;
};

// Big- or little-endian numbers of a TIFF block; nothing past its end.
class Tiff {
 public:
  explicit Tiff(std::span<const uint8_t> bytes) : bytes_(bytes) {
    valid_ = bytes.size() >= 8 && bytes[0] == bytes[1] && (bytes[0] == 'I' || bytes[0] == 'M');
    big_ = valid_ && bytes[0] == 'M';
  }
  [[nodiscard]] std::optional<uint32_t> number(std::size_t at, std::size_t count) const {
    if (!valid_ || at > bytes_.size() || bytes_.size() - at < count) return std::nullopt;
    uint32_t value = 0;
    for (std::size_t i = 0; i < count; ++i)
      value |= uint32_t{bytes_[at + i]} << shift(i, count);
    return value;
  }
  /// The single number of an entry.
  [[nodiscard]] std::optional<uint32_t> number(const Entry& entry) const {
    if (entry.count != 1 || (entry.type != kShort && entry.type != kLong)) return std::nullopt;
    return number(entry.value, entry.type == kShort ? 2 : 4);
  }
  [[nodiscard]] std::optional<uint32_t> firstDirectory() const { return number(4, 4); }
  /// The entries of a directory as far as the block holds them.
  [[nodiscard]] std::vector<Entry> entries(std::size_t directory) const {
    std::vector<Entry> found;
    const uint32_t count = number(directory, 2).value_or(0);
    for (uint32_t i = 0; i < count; ++i) {
      const std::size_t at = directory + 2 + std::size_t{12} * i;
      if (!number(at + 8, 4)) break;
      found.push_back({*number(at, 2), *number(at + 2, 2), *number(at + 4, 4), at + 8});
    }
    return found;
  }
  /// Writes the single number of an entry into `block`, which is what the object reads.
  void set(std::vector<uint8_t>& block, const Entry& entry, uint32_t value) const {
    if (!number(entry)) return;
    put(block, entry.value, entry.type == kShort ? 2 : 4, value);
  }
  void put(std::vector<uint8_t>& block, std::size_t at, std::size_t count, uint32_t value) const {
    for (std::size_t i = 0; i < count; ++i)
      block[at + i] = static_cast<uint8_t>(value >> shift(i, count));
  }

 private:
  [[nodiscard]] unsigned shift(std::size_t i, std::size_t count) const {
    return static_cast<unsigned>(8 * (big_ ? count - 1 - i : i));
  }

  std::span<const uint8_t> bytes_;
  bool valid_ = false;
  bool big_ = false;
};

// The bytes that a directory, and the values of its entries, take.
void addRanges(const Tiff& tiff, std::size_t directory, std::vector<Bytes>& ranges) {
  constexpr std::array<uint64_t, 14> kTypeBytes = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8, 4};
  const std::vector<Entry> entries = tiff.entries(directory);
  ranges.push_back({directory, directory + 2 + 12 * entries.size() + 4});
  for (const Entry& entry : entries) {
    const uint64_t each = entry.type < kTypeBytes.size() ? kTypeBytes[entry.type] : 1;
    const auto at = tiff.number(entry.value, 4);
    if (at && entry.count * each > 4) ranges.push_back({*at, *at + entry.count * each});
  }
}

// The bytes of the thumbnail that a directory describes.
std::optional<Bytes> thumbnailOf(const Tiff& tiff, std::size_t directory) {
  std::optional<uint32_t> at;
  std::optional<uint32_t> count;
  for (const Entry& entry : tiff.entries(directory)) {
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
  const Tiff tiff(block);
  for (const Entry& entry : tiff.entries(tiff.firstDirectory().value_or(0))) {
    if (entry.tag != kOrientation) continue;
    const auto value = tiff.number(entry);
    return value && *value >= 1 && *value <= 8 ? static_cast<int>(*value) : 1;
  }
  return 1;
}

bool updateExif(std::vector<uint8_t>& block, Size size) {
  const std::vector<uint8_t> original = block;
  const Tiff tiff(original);
  const auto first = tiff.firstDirectory();
  if (!first || !tiff.number(*first, 2)) return false;
  const auto width = static_cast<uint32_t>(size.width);
  const auto height = static_cast<uint32_t>(size.height);

  std::vector<Bytes> used = {{0, 8}};
  std::vector<std::size_t> directories = {*first};
  for (std::size_t i = 0; i < directories.size(); ++i) {
    addRanges(tiff, directories[i], used);
    for (const Entry& entry : tiff.entries(directories[i])) {
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
