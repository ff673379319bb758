// A tree as a text that shows everything, for comparing trees.
#ifndef VELMORA_TESTS_CONFIGURATION_XML_TREE_H
#define VELMORA_TESTS_CONFIGURATION_XML_TREE_H

#include <cstdint>
#include <ostream>
#include <sstream>
#include <string>

#include "configuration/xml_record.h"
#include "velmora_sr/xml_document.h"

namespace velmora::test {

/// Name, then the elements in document order: (@name='value' "text" [open content close] child).
inline void describeTree(std::ostream& out, const XMLNode& node) {
  out << (node.isDeclaration() ? "?" : "") << (node.getName() == nullptr ? "top" : node.getName())
      << "(";
  for (const int32_t entry : node.record()->order) {
    const int i = static_cast<int>(XMLNodeDataTag::indexOf(entry));
    switch (XMLNodeDataTag::typeOf(entry)) {
      case XMLElementChild:
        describeTree(out, node.getChildNode(i));
        break;
      case XMLElementAttribute: {
        const XMLAttribute attribute = node.getAttribute(i);
        out << "@" << attribute.name << "=";
        if (attribute.value == nullptr) {
          out << "null ";
        } else {
          out << "'" << attribute.value << "' ";
        }
        break;
      }
      case XMLElementText:
        out << '"' << node.getText(i) << '"';
        break;
      case XMLElementClear: {
        const XMLClear clear = node.getClear(i);
        out << "[" << clear.openTag << clear.value << clear.closeTag << "]";
        break;
      }
    }
  }
  out << ")";
}

inline std::string treeOf(const XMLNode& node) {
  if (node.isEmpty()) return "empty";
  std::ostringstream out;
  describeTree(out, node);
  return out.str();
}

/// Global options for one test.
class XmlOptionsScope {
 public:
  explicit XmlOptionsScope(XMLCharEncoding encoding, char guessWideChars = 1,
                           char dropWhiteSpace = 1, char trimTexts = 0) {
    XMLNode::setGlobalOptions(encoding, guessWideChars, dropWhiteSpace, trimTexts);
  }
  ~XmlOptionsScope() { XMLNode::setGlobalOptions(XMLCharEncodingUTF8); }
  XmlOptionsScope(const XmlOptionsScope&) = delete;
  XmlOptionsScope& operator=(const XmlOptionsScope&) = delete;
};

}  // namespace velmora::test

#endif  // VELMORA_TESTS_CONFIGURATION_XML_TREE_H
