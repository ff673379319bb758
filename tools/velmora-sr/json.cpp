#include "json.h"

#include <algorithm>

#include "status.h"

namespace velmora::tool {
namespace {

/// Length of the UTF-8 sequence that begins the text; 0 when it is none.
std::size_t sequenceLength(std::string_view text) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  std::size_t length = 0;
  if (byte(0) < 0x80) length = 1;
  if (byte(0) >= 0xC2 && byte(0) < 0xE0) length = 2;
  if (byte(0) >= 0xE0 && byte(0) < 0xF0) length = 3;
  if (byte(0) >= 0xF0 && byte(0) < 0xF5) length = 4;
  if (length > text.size()) return 0;
  for (std::size_t i = 1; i < length; ++i)
    if ((byte(i) & 0xC0) != 0x80) return 0;
  return length;
}

}  // namespace

std::string jsonString(std::string_view text) {
  std::string result = "\"";
  while (!text.empty()) {
    const std::size_t length = sequenceLength(text);
    const char c = text.front();
    if (length == 0) {
      result += "\\ufffd";
    } else if (c == '"' || c == '\\') {
      result += {'\\', c};
    } else if (static_cast<unsigned char>(c) < 0x20) {
      result += format("\\u%04x", static_cast<unsigned>(c));
    } else {
      result += text.substr(0, length);
    }
    text.remove_prefix(std::max<std::size_t>(length, 1));
  }
  return result + '"';
}

}  // namespace velmora::tool
