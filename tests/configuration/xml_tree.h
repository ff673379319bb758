// Outcomes of parsing as texts that show everything, and the options of one test.
#ifndef VELMORA_TESTS_CONFIGURATION_XML_TREE_H
#define VELMORA_TESTS_CONFIGURATION_XML_TREE_H

#include <string>

#include "configuration/xml_record.h"
#include "velmora_sr/xml_document.h"

namespace velmora::test {

/// Name, then the elements in document order: (@name='value' "text" [open content close] child).
inline std::string treeOf(const XMLNode& node) {
  if (node.isEmpty()) return "empty";
  const char* name = node.getName();
  std::string tree = std::string(node.isDeclaration() ? "?" : "") + (name ? name : "top") + "(";
  for (const int32_t entry : node.record()->order) {
    const int i = static_cast<int>(XMLNodeDataTag::indexOf(entry));
    const XMLElementType type = XMLNodeDataTag::typeOf(entry);
    const XMLAttribute attribute = node.getAttribute(i);
    const XMLClear clear = node.getClear(i);
    if (type == XMLElementChild) {
      tree += treeOf(node.getChildNode(i));
    } else if (type == XMLElementText) {
      tree += std::string("\"") + node.getText(i) + "\"";
    } else if (type == XMLElementClear) {
      tree += std::string("[") + clear.openTag + clear.value + clear.closeTag + "]";
    } else if (attribute.value == nullptr) {
      tree += std::string("@") + attribute.name + "=null ";
    } else {
      tree += std::string("@") + attribute.name + "='" + attribute.value + "' ";
    }
  }
  return tree + ")";
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
