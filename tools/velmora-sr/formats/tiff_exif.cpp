#include "formats/tiff_exif.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "formats/tiff_block.h"

namespace velmora::tool {
namespace {

constexpr uint32_t kExifDirectory = 0x8769;
constexpr uint32_t kGpsDirectory = 0x8825;
constexpr uint32_t kInteroperability = 0xA005;
constexpr uint32_t kMakersNote = 0x927C;
constexpr int kDeepest = 2;
// More than any camera writes; entries may share their values.
constexpr uint64_t kMostBytes = 1 << 20;

// Description, maker, model, software, time, artist, copyright.
constexpr std::array<uint32_t, 9> kTaken = {0x010E, 0x010F, 0x0110,         0x0131,       0x0132,
                                            0x013B, 0x8298, kExifDirectory, kGpsDirectory};

// An entry with its values, in big-endian order, or with the directory it leads to.
struct Node {
  uint32_t tag = 0;
  uint32_t type = 0;
  uint32_t count = 0;
  std::vector<uint8_t> values;
  std::vector<Node> directory;
};

bool leadsOn(uint32_t tag) {
  return tag == kExifDirectory || tag == kGpsDirectory || tag == kInteroperability;
}

// Bytes of the numbers that the values of a type consist of.
std::size_t unitOf(uint32_t type) {
  constexpr std::array<std::size_t, 14> kUnits = {1, 1, 1, 2, 4, 4, 1, 1, 2, 4, 4, 4, 8, 4};
  return type < kUnits.size() ? kUnits[type] : 1;
}

void reverseUnits(std::vector<uint8_t>& values, std::size_t unit) {
  for (std::size_t at = 0; at + unit <= values.size(); at += unit) {
    std::reverse(values.begin() + static_cast<std::ptrdiff_t>(at),
                 values.begin() + static_cast<std::ptrdiff_t>(at + unit));
  }
}

class Parser {
 public:
  explicit Parser(const TiffBlock& tiff) : tiff_(tiff) {}

  std::vector<Node> parse(std::size_t at, int depth) {
    std::vector<Node> nodes;
    std::vector<uint32_t> followed;  // each tag once: directories may lead to each other
    for (const TiffEntry& entry : tiff_.entries(at)) {
      const bool taken = std::find(kTaken.begin(), kTaken.end(), entry.tag) != kTaken.end();
      if ((depth == 0 && !taken) || entry.tag == kMakersNote) continue;
      Node node = {entry.tag, entry.type, entry.count, {}, {}};
      if (leadsOn(entry.tag)) {
        const auto next = tiff_.number(entry);
        if (!next || depth == kDeepest) continue;
        if (std::find(followed.begin(), followed.end(), entry.tag) != followed.end()) continue;
        followed.push_back(entry.tag);
        node.type = kTiffLong;
        node.directory = parse(*next, depth + 1);
        if (node.directory.empty()) continue;
      } else if (!take(entry, node.values)) {
        continue;
      }
      nodes.push_back(std::move(node));
    }
    return nodes;
  }

 private:
  bool take(const TiffEntry& entry, std::vector<uint8_t>& values) {
    const uint64_t bytes = valueBytes(entry);
    const uint64_t at = bytes > 4 ? *tiff_.number(entry.value, 4) : entry.value;
    const std::span<const uint8_t> block = tiff_.bytes();
    if (bytes == 0 || at > block.size() || bytes > block.size() - at) return false;
    taken_ += bytes;
    if (taken_ > kMostBytes) return false;
    const auto part = block.subspan(static_cast<std::size_t>(at), static_cast<std::size_t>(bytes));
    values.assign(part.begin(), part.end());
    if (!tiff_.isBig()) reverseUnits(values, unitOf(entry.type));
    return true;
  }

  const TiffBlock& tiff_;
  uint64_t taken_ = 0;
};

std::vector<Node> parsed(const TiffBlock& tiff) {
  const auto first = tiff.firstDirectory();
  return first ? Parser(tiff).parse(*first, 0) : std::vector<Node>();
}

// Appends directories and values to a file.
class Appender {
 public:
  Appender(std::vector<uint8_t>& file, bool big) : file_(file), big_(big) {}

  // An entry: its values follow where they do not fit.
  std::array<uint8_t, 12> entry(const Node& node) {
    std::array<uint8_t, 12> bytes = {};
    put(bytes.data(), node.tag, 2);
    put(bytes.data() + 2, node.type, 2);
    put(bytes.data() + 4, node.count, 4);
    std::vector<uint8_t> values = node.values;
    if (!big_) reverseUnits(values, unitOf(node.type));
    if (!node.directory.empty()) {
      std::vector<std::array<uint8_t, 12>> entries;
      entries.reserve(node.directory.size());
      for (const Node& inner : node.directory)
        entries.push_back(entry(inner));
      put(bytes.data() + 8, directory(entries), 4);
    } else if (values.size() <= 4) {
      std::copy(values.begin(), values.end(), bytes.begin() + 8);
    } else {
      align();
      put(bytes.data() + 8, static_cast<uint32_t>(file_.size()), 4);
      file_.insert(file_.end(), values.begin(), values.end());
    }
    return bytes;
  }

  // A directory of entries in the order of their tags; returns its position.
  uint32_t directory(std::vector<std::array<uint8_t, 12>> entries) {
    const auto tag = [this](const std::array<uint8_t, 12>& bytes) {
      return big_ ? bytes[0] * 256 + bytes[1] : bytes[1] * 256 + bytes[0];
    };
    std::sort(entries.begin(), entries.end(),
              [&](const auto& one, const auto& other) { return tag(one) < tag(other); });
    align();
    const auto at = static_cast<uint32_t>(file_.size());
    std::array<uint8_t, 2> count = {};
    put(count.data(), static_cast<uint32_t>(entries.size()), 2);
    file_.insert(file_.end(), count.begin(), count.end());
    for (const auto& bytes : entries)
      file_.insert(file_.end(), bytes.begin(), bytes.end());
    file_.insert(file_.end(), 4, 0);
    return at;
  }

  void put(uint8_t* target, uint32_t value, int count) const {
    for (int i = 0; i < count; ++i)
      target[i] = static_cast<uint8_t>(value >> 8 * (big_ ? count - 1 - i : i));
  }

 private:
  void align() {
    if (file_.size() % 2 != 0) file_.push_back(0);
  }

  std::vector<uint8_t>& file_;
  bool big_;
};

}  // namespace

std::vector<uint8_t> exifFromTiff(std::span<const uint8_t> file) {
  const TiffBlock tiff(file);
  constexpr uint32_t kMark = 42;  // large TIFFs have another, and another layout
  if (tiff.number(2, 2) != kMark) return {};
  const std::vector<Node> nodes = parsed(tiff);
  if (nodes.empty()) return {};
  std::vector<uint8_t> block = {'M', 'M', 0, 42, 0, 0, 0, 0};
  Appender appender(block, true);
  std::vector<std::array<uint8_t, 12>> entries;
  entries.reserve(nodes.size());
  for (const Node& node : nodes)
    entries.push_back(appender.entry(node));
  const uint32_t at = appender.directory(std::move(entries));
  appender.put(block.data() + 4, at, 4);
  return block;
}

void addExifToTiff(std::vector<uint8_t>& file, std::span<const uint8_t> exif) {
  const std::vector<uint8_t> original = file;
  const TiffBlock tiff(original);
  const auto first = tiff.firstDirectory();
  if (!first) return;
  std::vector<std::array<uint8_t, 12>> entries;
  std::vector<uint32_t> present;
  for (const TiffEntry& entry : tiff.entries(*first)) {
    std::array<uint8_t, 12> bytes = {};
    std::copy_n(original.begin() + static_cast<std::ptrdiff_t>(entry.value) - 8, 12, bytes.begin());
    entries.push_back(bytes);
    present.push_back(entry.tag);
  }
  Appender appender(file, tiff.isBig());
  for (const Node& node : parsed(TiffBlock(exif))) {
    if (std::find(present.begin(), present.end(), node.tag) == present.end()) {
      entries.push_back(appender.entry(node));
    }
  }
  const uint32_t at = appender.directory(std::move(entries));
  appender.put(file.data() + 4, at, 4);
}

bool hasMakersNote(std::span<const uint8_t> block) {
  const TiffBlock tiff(block);
  const auto directory = tiff.directoryOf(tiff.firstDirectory().value_or(0), kExifDirectory);
  if (!directory) return false;
  const std::vector<TiffEntry> entries = tiff.entries(*directory);
  return std::any_of(entries.begin(), entries.end(),
                     [](const TiffEntry& entry) { return entry.tag == kMakersNote; });
}

}  // namespace velmora::tool
