// Lengths of characters, the guess of an encoding, the global options.
#include "configuration/xml_encoding.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>

#include "configuration/xml_text.h"

namespace velmora {
namespace {

using LengthTable = std::array<uint8_t, 256>;

constexpr LengthTable singleBytes() {
  LengthTable table{};
  table.fill(1);
  return table;
}

constexpr void fillRange(LengthTable& table, unsigned first, unsigned last, uint8_t length) {
  for (unsigned byte = first; byte <= last; ++byte)
    table[byte] = length;
}

/// One table per encoding, by value: the length of a character from its first byte.
constexpr std::array<LengthTable, 7> kLengths = [] {
  std::array<LengthTable, 7> tables{};
  tables.fill(singleBytes());
  fillRange(tables[XMLCharEncodingUTF8], 0xC0, 0xDF, 2);
  fillRange(tables[XMLCharEncodingUTF8], 0xE0, 0xEF, 3);
  fillRange(tables[XMLCharEncodingUTF8], 0xF0, 0xF7, 4);
  fillRange(tables[XMLCharEncodingShiftJIS], 0x81, 0x9F, 2);
  fillRange(tables[XMLCharEncodingShiftJIS], 0xE0, 0xFC, 2);
  fillRange(tables[XMLCharEncodingGB2312], 0xA1, 0xF7, 2);
  fillRange(tables[XMLCharEncodingBig5], 0x81, 0xFE, 2);
  fillRange(tables[XMLCharEncodingGBK], 0x81, 0xFE, 2);
  return tables;
}();

uint8_t byteAt(std::string_view text, std::size_t position) {
  return static_cast<uint8_t>(text[position]);
}

constexpr bool isContinuation(uint8_t byte) {
  return (byte & 0xC0) == 0x80;
}

bool isTrailByte(uint8_t byte, XMLCharEncoding encoding) {
  switch (encoding) {
    case XMLCharEncodingUTF8:
      return isContinuation(byte);
    case XMLCharEncodingGB2312:
      return byte >= 0xA1 && byte <= 0xFE;
    default:  // the other double-byte sets begin above all markup but brackets and letters
      return byte >= 0x40 && byte <= 0xFE && byte != 0x7F;
  }
}

XmlOptions& mutableOptions() {
  static XmlOptions options;
  return options;
}

/// A 16-bit byte-order mark, or null bytes in half of the even or of the odd places: what ASCII
/// markup looks like in UTF-16.
bool looksLike16Bit(std::string_view text) {
  if (text.starts_with("\xFF\xFE") || text.starts_with("\xFE\xFF")) return true;
  std::array<std::size_t, 2> zeros{};
  for (std::size_t i = 0; i < text.size(); ++i)
    zeros[i % 2] += text[i] == '\0' ? 1 : 0;
  return std::max(zeros[0], zeros[1]) * 4 >= text.size();
}

bool isUtf8(std::string_view text) {
  for (std::size_t i = 0; i < text.size();) {
    const uint8_t lead = byteAt(text, i);
    const std::size_t length = kLengths[XMLCharEncodingUTF8][lead];
    if (length == 1 && lead >= 0x80) return false;
    if (characterLength(text, i, XMLCharEncodingUTF8) != length) return false;
    i += length;
  }
  return true;
}

/// Value of the first encoding="..." in the text.
std::optional<std::string_view> encodingAttribute(std::string_view text) {
  constexpr std::string_view kName = "encoding";
  const std::size_t found = text.find(kName);
  if (found == std::string_view::npos) return std::nullopt;
  text.remove_prefix(found + kName.size());
  const auto skipBlanks = [&text] {
    while (!text.empty() && isXmlBlank(text.front()))
      text.remove_prefix(1);
  };
  skipBlanks();
  if (!text.starts_with('=')) return std::nullopt;
  text.remove_prefix(1);
  skipBlanks();
  if (!text.starts_with('"') && !text.starts_with('\'')) return std::nullopt;
  const char quote = text.front();
  text.remove_prefix(1);
  skipBlanks();
  text = text.substr(0, text.find(quote));
  while (!text.empty() && isXmlBlank(text.back()))
    text.remove_suffix(1);
  return text;
}

XMLCharEncoding encodingOfName(std::string_view name, XMLCharEncoding scanned) {
  struct Name {
    std::string_view name;
    XMLCharEncoding encoding;
  };
  static constexpr std::array<Name, 8> kNames = {{
      {"utf-8", XMLCharEncodingUTF8},
      {"utf8", XMLCharEncodingUTF8},
      {"shiftjis", XMLCharEncodingShiftJIS},
      {"shift-jis", XMLCharEncodingShiftJIS},
      {"sjis", XMLCharEncodingShiftJIS},
      {"GB2312", XMLCharEncodingGB2312},
      {"Big5", XMLCharEncodingBig5},
      {"GBK", XMLCharEncodingGBK},
  }};
  const auto* found = std::find_if(kNames.begin(), kNames.end(), [name](const Name& known) {
    return equalIgnoringCase(known.name, name);
  });
  if (found == kNames.end()) return XMLCharEncodingLegacy;
  if (found->encoding == XMLCharEncodingUTF8 && scanned != XMLCharEncodingUTF8) {
    return XMLCharEncodingUnknown;
  }
  return found->encoding;
}

}  // namespace

const XmlOptions& xmlOptions() {
  return mutableOptions();
}

std::size_t characterLength(std::string_view text, std::size_t position, XMLCharEncoding encoding) {
  const std::size_t length = kLengths[static_cast<std::size_t>(encoding)][byteAt(text, position)];
  if (length > text.size() - position) return 1;
  for (std::size_t i = 1; i < length; ++i) {
    if (!isTrailByte(byteAt(text, position + i), encoding)) return 1;
  }
  return length;
}

std::size_t lengthOfWholeCharacters(std::string_view text) {
  std::size_t start = text.size();
  for (int i = 0; i < 3 && start > 0 && isContinuation(byteAt(text, start - 1)); ++i)
    --start;
  if (start == 0) return text.size();
  --start;
  const std::size_t length = kLengths[XMLCharEncodingUTF8][byteAt(text, start)];
  return start + length > text.size() ? start : text.size();
}

}  // namespace velmora

XMLCharEncoding XMLNode::guessCharEncoding(const void* data, int length,
                                           char useXMLEncodingAttribute) noexcept {
  constexpr int kShortest = 25;
  constexpr std::size_t kAttributeWindow = 200;
  if (data == nullptr || length < kShortest) return XMLCharEncodingUnknown;
  const std::string_view text(static_cast<const char*>(data), static_cast<std::size_t>(length));
  if (velmora::xmlOptions().guessWideChars && velmora::looksLike16Bit(text)) {
    return XMLCharEncodingUnknown;
  }
  if (text.starts_with(velmora::kByteOrderMark)) return XMLCharEncodingUTF8;
  const XMLCharEncoding scanned =
      velmora::isUtf8(text) ? XMLCharEncodingUTF8 : XMLCharEncodingLegacy;
  if (useXMLEncodingAttribute == 0) return scanned;
  const auto name = velmora::encodingAttribute(text.substr(0, kAttributeWindow));
  return name ? velmora::encodingOfName(*name, scanned) : scanned;
}

void XMLNode::setGlobalOptions(XMLCharEncoding encoding, char guessWideChars, char dropWhiteSpace,
                               char trimTexts) noexcept {
  const bool known = encoding >= XMLCharEncodingUTF8 && encoding <= XMLCharEncodingGBK;
  velmora::mutableOptions() = {known ? encoding : XMLCharEncodingUTF8, guessWideChars != 0,
                               dropWhiteSpace != 0, trimTexts != 0};
}
