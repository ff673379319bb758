// Writes a tree as XML.
#include <algorithm>
#include <cstddef>
#include <limits>
#include <string_view>

#include "configuration/xml_encoding.h"
#include "configuration/xml_record.h"
#include "configuration/xml_text.h"

namespace velmora {
namespace {

constexpr int kMaxIndent = 64;

/// Writes to a buffer that is large enough, or only counts.
class XmlWriter {
 public:
  XmlWriter(char* out, int indent) : out_(out), indent_(std::min(indent, kMaxIndent)) {}

  /// A node at a depth; `inside`: its parent's content stays on one line.
  void writeNode(const XMLNodeDataTag& node, int depth, bool inside) {
    if (node.name.empty()) {
      writeContent(node, depth, inside || !node.texts.empty());
      return;
    }
    put(node.declaration ? "<?" : "<");
    put(node.name);
    for (const Attribute& attribute : node.attributes)
      writeAttribute(attribute);
    if (node.declaration) {
      put("?>");
    } else if (node.order.size() == node.attributes.size()) {
      put("/>");
    } else {
      // An element of this name without attributes would read as the opening of a clear section.
      if (node.name == "PRE" && node.attributes.empty()) put(" ");
      put(">");
      const bool plain = inside || !node.texts.empty();
      writeContent(node, depth + 1, plain);
      if (!plain) breakLine(depth);
      put("</");
      put(node.name);
      put(">");
    }
  }

  [[nodiscard]] std::size_t length() const { return length_; }

 private:
  void writeContent(const XMLNodeDataTag& node, int depth, bool plain) {
    bool first = node.name.empty();  // a document begins without a line break
    for (const int32_t entry : node.order) {
      const XMLElementType type = XMLNodeDataTag::typeOf(entry);
      if (type == XMLElementAttribute) continue;
      if (!plain && !first) breakLine(depth);
      first = false;
      writeElement(node, type, XMLNodeDataTag::indexOf(entry), depth, plain);
    }
  }

  void writeElement(const XMLNodeDataTag& node, XMLElementType type, std::size_t index, int depth,
                    bool plain) {
    if (type == XMLElementChild) {
      writeNode(*node.children[index].record(), depth, plain);
    } else if (type == XMLElementText) {
      // At the front of a document a mark would be skipped: put one there that may be.
      if (length_ == 0 && node.texts[index].starts_with(kByteOrderMark)) put(kByteOrderMark);
      putEscaped(node.texts[index]);
    } else {
      put(node.clears[index].delimiters->open);
      put(node.clears[index].value);
      put(node.clears[index].delimiters->close);
    }
  }

  void writeAttribute(const Attribute& attribute) {
    put(" ");
    put(attribute.name);
    if (!attribute.value) return;
    put("=\"");
    putEscaped(*attribute.value);
    put("\"");
  }

  void breakLine(int depth) {
    if (indent_ < 0) return;
    put("\n");
    const std::size_t blanks = static_cast<std::size_t>(indent_) * static_cast<std::size_t>(depth);
    if (out_ != nullptr) out_ = std::fill_n(out_, blanks, ' ');
    length_ += blanks;
  }

  void put(std::string_view text) {
    if (out_ != nullptr) out_ = std::copy(text.begin(), text.end(), out_);
    length_ += text.size();
  }

  void putEscaped(const std::string& text) {
    if (out_ != nullptr) {
      char* const end = ToXMLStringTool::toXMLUnSafe(out_, text.c_str());
      length_ += static_cast<std::size_t>(end - out_);
      out_ = end;
    } else {
      length_ += static_cast<std::size_t>(ToXMLStringTool::lengthXMLString(text.c_str()));
    }
  }

  char* out_;
  int indent_;
  std::size_t length_ = 0;
};

}  // namespace
}  // namespace velmora

int XMLNode::CreateXMLStringR(XMLNodeDataTag* record, char* out, int indent) noexcept {
  std::size_t length = 0;
  if (record != nullptr) {
    velmora::XmlWriter counter(nullptr, indent);
    counter.writeNode(*record, 0, false);
    length = counter.length();
    if (length > static_cast<std::size_t>(std::numeric_limits<int>::max())) return -1;
  }
  if (out != nullptr) {
    if (record != nullptr) velmora::XmlWriter(out, indent).writeNode(*record, 0, false);
    out[length] = '\0';
  }
  return static_cast<int>(length);
}
