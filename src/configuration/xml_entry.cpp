// The ways into a document: from a text, from a file.
#include <cstring>
#include <new>
#include <string>
#include <string_view>

#include "configuration/file_contents.h"
#include "configuration/xml_encoding.h"
#include "configuration/xml_parser.h"
#include "configuration/xml_text.h"
#include "velmora_sr/xml_document.h"

namespace velmora {
namespace {

constexpr std::size_t kMaxDocument = 16u << 20;
/// What the encoding is guessed from.
constexpr std::size_t kGuessWindow = 200;

/// The one thing in a document instead of the document.
XMLNode unwrap(const XMLNode& top) {
  const bool alone = top.nChildNode() == 1 && top.nElement() == 1;
  return alone ? top.getChildNode(0) : top;
}

XMLNode parse(std::string_view text, const char* tag, XMLResults& results) {
  if (text.size() > kMaxDocument) {
    results.error = XMLErrorTooLarge;
    return {};
  }
  XmlParser parser(text, xmlOptions());
  const XMLNode top = parser.ParseXMLElement();
  results = parser.results();
  if (results.error != XMLErrorNone) return {};
  if (top.nChildNode() == 0) {
    results.error = XMLErrorNoElement;
    return {};
  }
  XMLNode result = unwrap(top);
  if (tag == nullptr || *tag == '\0') return result;
  const char* name = result.getName();
  if (name != nullptr && equalIgnoringCase(name, tag)) return result;
  result = result.getChildNode(tag);
  if (result.isEmpty()) results.error = XMLErrorTopTagNotFound;
  return result;
}

/// Runs a parse, passes its outcome on, and turns running out of memory into a code.
template <typename Parse>
XMLNode report(XMLResults* results, Parse&& parseInto) noexcept {
  XMLResults outcome = {XMLErrorNone, 1, 1};
  XMLNode node;
  try {
    node = parseInto(outcome);
  } catch (const std::bad_alloc&) {
    outcome = {XMLErrorOutOfMemory, 1, 1};
  }
  if (results != nullptr) *results = outcome;
  return node;
}

bool read(const char* path, std::string& contents, XMLResults& results) {
  switch (readWholeFile(path, kMaxDocument, contents)) {
    case ReadResult::kWhole:
      return true;
    case ReadResult::kFailed:
      results.error = XMLErrorFile;
      return false;
    case ReadResult::kTooLarge:
      break;
  }
  results.error = XMLErrorTooLarge;
  return false;
}

std::string_view upToNull(std::string_view text) {
  return text.substr(0, text.find('\0'));
}

/// Sets the encoding that the document suggests; the other options stay.
void adoptEncoding(std::string_view document) {
  std::string_view window = document.substr(0, kGuessWindow);
  // The window may cut a character in two, which is no fault of the document's.
  if (window.size() < document.size()) window = window.substr(0, lengthOfWholeCharacters(window));
  const XmlOptions options = xmlOptions();
  XMLNode::setGlobalOptions(
      XMLNode::guessCharEncoding(window.data(), static_cast<int>(window.size()), 1),
      options.guessWideChars ? 1 : 0, options.dropWhiteSpace ? 1 : 0, options.trimTexts ? 1 : 0);
}

/// Parses the bytes of a file in the encoding that they suggest.
XMLNode parseAdopting(std::string_view contents, const char* tag, XMLResults& outcome) {
  adoptEncoding(contents);
  return parse(upToNull(contents), tag, outcome);
}

}  // namespace
}  // namespace velmora

XMLNode XMLNode::parseString(const char* text, const char* tag, XMLResults* results) noexcept {
  return velmora::report(results, [&](XMLResults& outcome) -> XMLNode {
    if (text == nullptr) {
      outcome.error = XMLErrorNullText;
      return {};
    }
    return velmora::parse({text, std::strlen(text)}, tag, outcome);
  });
}

XMLNode XMLNode::parseFile(const char* path, const char* tag, XMLResults* results) noexcept {
  return velmora::report(results, [&](XMLResults& outcome) -> XMLNode {
    std::string contents;
    if (!velmora::read(path, contents, outcome)) return {};
    return velmora::parse(velmora::upToNull(contents), tag, outcome);
  });
}

XMLNode XMLNode::openFileHelper(const char* path, const char* tag) noexcept {
  return velmora::report(nullptr, [&](XMLResults& outcome) -> XMLNode {
    std::string contents;
    if (!velmora::read(path, contents, outcome)) return {};
    return velmora::parseAdopting(contents, tag, outcome);
  });
}

XMLNode XMLNode::parseDocument(const char* data, std::size_t size, XMLResults* results) noexcept {
  return velmora::report(results, [&](XMLResults& outcome) -> XMLNode {
    if (data == nullptr || size > velmora::kMaxDocument) {
      outcome.error = data == nullptr ? XMLErrorNullText : XMLErrorTooLarge;
      return {};
    }
    return velmora::parseAdopting({data, size}, nullptr, outcome);
  });
}
