// What a node holds.
#ifndef VELMORA_SRC_CONFIGURATION_XML_RECORD_H
#define VELMORA_SRC_CONFIGURATION_XML_RECORD_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "velmora_sr/xml_document.h"

namespace velmora {

/// Elements nest this deep at most, so that walks over a tree may recurse.
inline constexpr int kMaxXmlDepth = 512;

/// A kind of clear section.
struct ClearDelimiters {
  std::string_view open;
  std::string_view close;
};
inline constexpr std::array<ClearDelimiters, 4> kClearDelimiters = {{
    {"<![CDATA[", "]]>"},
    {"<!DOCTYPE", ">"},
    {"<!--", "-->"},
    {"<PRE>", "</PRE>"},
}};

struct ClearSection {
  std::string value;
  const ClearDelimiters* delimiters;
};

struct Attribute {
  std::string name;
  std::optional<std::string> value;  ///< none for a bare word in a declaration
};

}  // namespace velmora

struct XMLNodeDataTag {
  std::string name;  ///< empty for the top node of a document only
  bool declaration = false;
  XMLNodeDataTag* parent = nullptr;  ///< no reference; cleared when the parent goes
  std::vector<XMLNode> children;
  std::vector<std::string> texts;
  std::vector<velmora::ClearSection> clears;
  std::vector<velmora::Attribute> attributes;
  /// One entry per element in document order: index in its array, times 4, and its type.
  std::vector<int32_t> order;
  int32_t references = 0;

  XMLNodeDataTag() = default;
  XMLNodeDataTag(const XMLNodeDataTag&) = delete;
  XMLNodeDataTag& operator=(const XMLNodeDataTag&) = delete;
  /// Children that somebody else holds live on, without a parent.
  ~XMLNodeDataTag();

  /// Appends an element that was just put at the end of its array.
  void addToOrder(XMLElementType type, std::size_t index);
  /// Takes the i-th element of a type out of the order; later ones of the type move up.
  void removeFromOrder(XMLElementType type, std::size_t index);
  /// Trims the arrays, which grow in steps, when a node is complete.
  void exactMemory();

  static constexpr XMLElementType typeOf(int32_t entry) {
    return static_cast<XMLElementType>(entry & 3);
  }
  static constexpr std::size_t indexOf(int32_t entry) {
    return static_cast<std::size_t>(entry >> 2);
  }
};

#endif  // VELMORA_SRC_CONFIGURATION_XML_RECORD_H
