// Turns a text into a tree.
#ifndef VELMORA_SRC_CONFIGURATION_XML_PARSER_H
#define VELMORA_SRC_CONFIGURATION_XML_PARSER_H

#include <cstddef>
#include <string>
#include <string_view>

#include "configuration/xml_encoding.h"
#include "configuration/xml_record.h"
#include "velmora_sr/xml_document.h"

namespace velmora {

/// Parses one text, which must outlive the parser, in one pass and without recursion.
class XmlParser {
 public:
  XmlParser(std::string_view text, const XmlOptions& options) : text_(text), options_(options) {}

  /// Parses everything into a new top node, which is incomplete after an error. May throw
  /// std::bad_alloc.
  XMLNode ParseXMLElement();

  [[nodiscard]] XMLError error() const { return error_; }
  /// Where parsing stopped: error code, line and column.
  [[nodiscard]] XMLResults results() const;

 private:
  bool parseText();
  bool parseClear(const ClearDelimiters& delimiters);
  bool parseDeclaration();
  bool parseStartTag();
  bool parseEndTag();
  bool parseAttribute(XMLNodeDataTag& owner);
  bool decode(std::size_t begin, std::size_t end, std::string& decoded);

  XMLNodeDataTag& addChild(std::string_view name, bool declaration);
  void close();

  /// Stops parsing at a position.
  bool fail(XMLError error, std::size_t position);

  [[nodiscard]] bool atEnd() const { return position_ == text_.size(); }
  [[nodiscard]] bool at(std::string_view token) const {
    return text_.substr(position_).starts_with(token);
  }
  [[nodiscard]] const ClearDelimiters* clearHere() const;
  void skipBlanks();
  void nextCharacter() { position_ += characterLength(text_, position_, options_.encoding); }
  /// Moves to the next occurrence that begins a character; false, and to the end, if there is none.
  bool skipTo(std::string_view token);
  /// The name from here to a blank, the end of the tag, or for attributes a "=".
  std::string_view takeName(bool declaration, bool attribute);

  std::string_view text_;
  XmlOptions options_;
  std::size_t position_ = 0;
  XMLNodeDataTag* current_ = nullptr;  ///< the innermost open node
  int depth_ = 0;                      ///< open elements
  XMLError error_ = XMLErrorNone;
};

}  // namespace velmora

#endif  // VELMORA_SRC_CONFIGURATION_XML_PARSER_H
