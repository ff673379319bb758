#include "terminal.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>

namespace velmora::tool::terminal {
namespace {

// Length of the UTF-8 sequence of a printable character at the front; 0 for anything else.
std::size_t printableLength(std::string_view text) {
  const auto byte = [&](std::size_t i) { return static_cast<uint8_t>(text[i]); };
  const uint8_t first = byte(0);
  if (first < 0x80) return first >= 0x20 && first != 0x7F ? 1 : 0;
  const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  if (first < 0xC2 || first > 0xF4 || text.size() < length) return 0;
  uint32_t code = first & (0x7Fu >> length);
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return 0;
    code = code << 6 | (byte(i) & 0x3Fu);
  }
  constexpr std::array<uint32_t, 5> kSmallest = {0, 0, 0xA0, 0x800, 0x10000};
  const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
  return code >= kSmallest[length] && code <= 0x10FFFF && !surrogate ? length : 0;
}

// What is shown for one character.
struct Shown {
  std::array<char, 4> bytes{};
  std::size_t length = 0;

  [[nodiscard]] std::string_view view() const { return {bytes.data(), length}; }
};

Shown takeCharacter(std::string_view& text) {
  Shown shown;
  shown.length = printableLength(text);
  if (shown.length > 0) {
    text.copy(shown.bytes.data(), shown.length);
    text.remove_prefix(shown.length);
    return shown;
  }
  constexpr std::string_view kDigits = "0123456789abcdef";
  const auto byte = static_cast<uint8_t>(text.front());
  text.remove_prefix(1);
  if (byte == '\n' || byte == '\t' || byte == '\r') {
    return {{'\\', byte == '\n' ? 'n' : byte == '\t' ? 't' : 'r'}, 2};
  }
  return {{'\\', 'x', kDigits[byte >> 4], kDigits[byte & 15]}, 4};
}

}  // namespace

std::string printable(std::string_view text, bool keepLineFeeds) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    if (keepLineFeeds && text.front() == '\n') {
      result += '\n';
      text.remove_prefix(1);
    } else {
      result += takeCharacter(text).view();
    }
  }
  return result;
}

void writeLine(std::initializer_list<std::string_view> parts) noexcept {
  // Lines of other threads do not come between the parts of one that fits.
  std::array<char, 2048> line;
  std::size_t used = 0;
  for (std::string_view part : parts) {
    while (!part.empty()) {
      const Shown shown = takeCharacter(part);
      if (used + shown.length + 1 > line.size()) {
        writeControl({line.data(), used});
        used = 0;
      }
      used += shown.view().copy(line.data() + used, shown.length);
    }
  }
  line[used++] = '\n';
  writeControl({line.data(), used});
}

void writeControl(std::string_view bytes) noexcept {
  while (!bytes.empty()) {
    const ssize_t written = write(STDERR_FILENO, bytes.data(), bytes.size());
    if (written < 0 && errno != EINTR) return;
    bytes.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(written, 0)));
  }
}

}  // namespace velmora::tool::terminal
