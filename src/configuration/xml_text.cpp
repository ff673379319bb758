// Entities in both directions.
#include "configuration/xml_text.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>

namespace velmora {
namespace {

struct Entity {
  std::string_view text;
  char character;
};

constexpr std::array<Entity, 5> kEntities = {{
    {"&amp;", '&'},
    {"&lt;", '<'},
    {"&gt;", '>'},
    {"&quot;", '"'},
    {"&apos;", '\''},
}};

constexpr char lowerCase(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

int digitValue(char c, uint32_t base) {
  const char lower = lowerCase(c);
  if (lower >= '0' && lower <= '9') return lower - '0';
  if (base == 16 && lower >= 'a' && lower <= 'f') return lower - 'a' + 10;
  return -1;
}

void appendUtf8(uint32_t code, std::string& out) {
  const auto append = [&out](uint32_t byte) { out.push_back(static_cast<char>(byte)); };
  if (code < 0x80) {
    append(code);
  } else if (code < 0x800) {
    append(0xC0 | code >> 6);
    append(0x80 | (code & 0x3F));
  } else if (code < 0x10000) {
    append(0xE0 | code >> 12);
    append(0x80 | (code >> 6 & 0x3F));
    append(0x80 | (code & 0x3F));
  } else {
    append(0xF0 | code >> 18);
    append(0x80 | (code >> 12 & 0x3F));
    append(0x80 | (code >> 6 & 0x3F));
    append(0x80 | (code & 0x3F));
  }
}

/// A character by its number. The double-byte sets have no room for it above ASCII; the legacy set
/// counts as Latin-1.
void appendCharacter(uint32_t code, XMLCharEncoding encoding, std::string& out) {
  if (encoding == XMLCharEncodingUTF8) {
    appendUtf8(code, out);
  } else if (code < 0x80 || (encoding == XMLCharEncodingLegacy && code <= 0xFF)) {
    out.push_back(static_cast<char>(code));
  } else {
    out.push_back('?');
  }
}

/// Decodes "&#...;" at the front of `raw`. Returns its length; 0 if it is none, or no character (a
/// null would end the text, surrogates and numbers above 10FFFF are not characters).
std::size_t decodeReference(std::string_view raw, XMLCharEncoding encoding, std::string& out) {
  std::size_t i = 2;
  uint32_t base = 10;
  if (i < raw.size() && lowerCase(raw[i]) == 'x') {
    base = 16;
    ++i;
  }
  constexpr uint32_t kLastCharacter = 0x10FFFF;
  const std::size_t first = i;
  uint32_t code = 0;
  for (; i < raw.size() && digitValue(raw[i], base) >= 0; ++i)
    code =
        std::min(code * base + static_cast<uint32_t>(digitValue(raw[i], base)), kLastCharacter + 1);
  if (i == first || i == raw.size() || raw[i] != ';') return 0;
  if (code == 0 || code > kLastCharacter || (code >= 0xD800 && code <= 0xDFFF)) return 0;
  appendCharacter(code, encoding, out);
  return i + 1;
}

/// Decodes what stands at the front of `raw`, an "&". Returns its length; 0 if it is nothing known.
std::size_t decodeEntity(std::string_view raw, XMLCharEncoding encoding, std::string& out) {
  if (raw.starts_with("&#")) return decodeReference(raw, encoding, out);
  for (const Entity& entity : kEntities) {
    if (equalIgnoringCase(raw.substr(0, entity.text.size()), entity.text)) {
      out.push_back(entity.character);
      return entity.text.size();
    }
  }
  return 0;
}

}  // namespace

bool equalIgnoringCase(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return lowerCase(x) == lowerCase(y); });
}

// Bytes below 40 hexadecimal are never part of a longer character, "&" and ";" among them, so bytes
// can be looked at one by one.
std::optional<std::size_t> fromXMLString(std::string_view raw, XMLCharEncoding encoding,
                                         std::string& decoded) {
  decoded.clear();
  for (std::size_t i = 0; i < raw.size();) {
    const std::size_t special = std::min(raw.find('&', i), raw.size());
    decoded.append(raw.substr(i, special - i));
    if (special == raw.size()) break;
    const std::size_t length = decodeEntity(raw.substr(special), encoding, decoded);
    if (length == 0) return special;
    i = special + length;
  }
  return std::nullopt;
}

std::string_view entityOf(char character) {
  const auto* found =
      std::find_if(kEntities.begin(), kEntities.end(),
                   [character](const Entity& e) { return e.character == character; });
  return found == kEntities.end() ? std::string_view() : found->text;
}

}  // namespace velmora

int ToXMLStringTool::lengthXMLString(const char* text) noexcept {
  if (text == nullptr) return 0;
  std::size_t length = 0;
  for (; *text != '\0'; ++text)
    length += std::max<std::size_t>(velmora::entityOf(*text).size(), 1);
  return length <= static_cast<std::size_t>(std::numeric_limits<int>::max())
             ? static_cast<int>(length)
             : -1;
}

char* ToXMLStringTool::toXMLUnSafe(char* out, const char* text) noexcept {
  for (; text != nullptr && *text != '\0'; ++text) {
    const std::string_view entity = velmora::entityOf(*text);
    if (entity.empty()) {
      *out++ = *text;
    } else {
      out = std::copy(entity.begin(), entity.end(), out);
    }
  }
  *out = '\0';
  return out;
}
