// Characters of the encodings, and the options of all parsing.
#ifndef VELMORA_SRC_CONFIGURATION_XML_ENCODING_H
#define VELMORA_SRC_CONFIGURATION_XML_ENCODING_H

#include <cstddef>
#include <string_view>

#include "velmora_sr/xml_document.h"

namespace velmora {

struct XmlOptions {
  XMLCharEncoding encoding = XMLCharEncodingUTF8;
  bool guessWideChars = true;
  bool dropWhiteSpace = true;
  bool trimTexts = false;
};

/// What setGlobalOptions last set.
const XmlOptions& xmlOptions();

inline constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

/// Blank, tab, carriage return, line feed.
constexpr bool isXmlBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

/// Length in bytes of the character at `position` < text.size(), 1..4. Never reaches past the end
/// of the text, and never takes in a byte that cannot be a trail byte: markup behind a broken
/// character is still seen.
std::size_t characterLength(std::string_view text, std::size_t position, XMLCharEncoding encoding);

/// Length of the text without a UTF-8 character that its end cuts off.
std::size_t lengthOfWholeCharacters(std::string_view text);

}  // namespace velmora

#endif  // VELMORA_SRC_CONFIGURATION_XML_ENCODING_H
