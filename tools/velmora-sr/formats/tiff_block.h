// The blocks of directories that TIFF files and Exif are made of.
#ifndef VELMORA_TOOL_FORMATS_TIFF_BLOCK_H
#define VELMORA_TOOL_FORMATS_TIFF_BLOCK_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace velmora::tool {

inline constexpr uint32_t kTiffShort = 3;
inline constexpr uint32_t kTiffLong = 4;
inline constexpr uint32_t kTiffPosition = 13;  // of a directory; else like kTiffLong
/// Bytes of a value of each type.
inline constexpr std::array<uint64_t, 14> kTiffTypeBytes = {0, 1, 1, 2, 4, 8, 1,
                                                            1, 2, 4, 8, 4, 8, 4};

/// One entry of a directory.
struct TiffEntry {
  uint32_t tag;
  uint32_t type;
  uint32_t count;
  std::size_t value;  ///< where the value stands, or its position when it has more than four bytes
};

/// Bytes of all values of an entry; unknown types count as bytes.
inline uint64_t valueBytes(const TiffEntry& entry) {
  const uint64_t each = entry.type < kTiffTypeBytes.size() ? kTiffTypeBytes[entry.type] : 1;
  return entry.count * each;
}

/// Big- or little-endian numbers of a TIFF block; nothing past its end.
class TiffBlock {
 public:
  explicit TiffBlock(std::span<const uint8_t> bytes) : bytes_(bytes) {
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
  [[nodiscard]] std::optional<uint32_t> number(const TiffEntry& entry) const {
    const bool isLong = entry.type == kTiffLong || entry.type == kTiffPosition;
    if (entry.count != 1 || (entry.type != kTiffShort && !isLong)) return std::nullopt;
    return number(entry.value, entry.type == kTiffShort ? 2 : 4);
  }
  [[nodiscard]] bool isBig() const { return big_; }
  [[nodiscard]] std::span<const uint8_t> bytes() const { return bytes_; }
  [[nodiscard]] std::optional<uint32_t> firstDirectory() const { return number(4, 4); }
  /// The entries of a directory as far as the block holds them.
  [[nodiscard]] std::vector<TiffEntry> entries(std::size_t directory) const {
    std::vector<TiffEntry> found;
    const uint32_t count = number(directory, 2).value_or(0);
    for (uint32_t i = 0; i < count; ++i) {
      const std::size_t at = directory + 2 + std::size_t{12} * i;
      if (!number(at + 8, 4)) break;
      found.push_back({*number(at, 2), *number(at + 2, 2), *number(at + 4, 4), at + 8});
    }
    return found;
  }
  /// The directory that an entry of another one leads to. The first entry with the tag counts: a
  /// file that repeats it means nothing by that, and following all would take as long as it says.
  [[nodiscard]] std::optional<uint32_t> directoryOf(std::size_t directory, uint32_t tag) const {
    for (const TiffEntry& entry : entries(directory)) {
      if (entry.tag == tag) return number(entry);
    }
    return std::nullopt;
  }
  /// Writes the single number of an entry into `block`, which is what the object reads.
  void set(std::vector<uint8_t>& block, const TiffEntry& entry, uint32_t value) const {
    if (!number(entry)) return;
    put(block, entry.value, entry.type == kTiffShort ? 2 : 4, value);
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

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_FORMATS_TIFF_BLOCK_H
