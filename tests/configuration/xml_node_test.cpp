#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "support/heap_faults.h"
#include "velmora_sr/xml_document.h"
#include "xml_tree.h"

namespace {

using velmora::test::liveNewBlocks;
using velmora::test::treeOf;

XMLNode rootNode() {
  return XMLNode::parseString(
      "<Root id='7' ID='8' empty=''>one<Item n='0'/>two<other/><ITEM n='1'/>three<!--c-->"
      "<item n='2'/><![CDATA[d]]></Root>");
}

/// Numbers of all children, of those named "item", of texts, clear sections, attributes, elements.
std::vector<int> countsOf(const XMLNode& node) {
  return {node.nChildNode(), node.nChildNode("item"), node.nText(),
          node.nClear(),     node.nAttribute(),       node.nElement()};
}

TEST(XMLNode, CountsItsElementsAndHasNoneOutside) {
  const XMLNode root = rootNode();
  EXPECT_EQ(countsOf(root), (std::vector<int>{4, 3, 3, 2, 3, 12}));
  for (const int outside : {-1, 4, 1000, INT32_MIN}) {
    EXPECT_TRUE(root.getChildNode(outside).isEmpty());
    EXPECT_EQ(root.getText(outside), nullptr);
    EXPECT_EQ(root.getClear(outside).value, nullptr);
    EXPECT_EQ(root.getAttribute(outside).name, nullptr);
  }
}

TEST(XMLNode, FindsChildrenAndAttributesByNameWithoutRegardToCase) {
  const XMLNode root = rootNode();
  EXPECT_STREQ(root.getChildNode("ITEM").getAttribute("n"), "0");
  EXPECT_STREQ(root.getChildNode("Item", 2).getAttribute("N"), "2");
  EXPECT_TRUE(root.getChildNode("Item", 3).isEmpty() && root.getChildNode("Item", -1).isEmpty());
  for (const char* absent : {"absent", "", static_cast<const char*>(nullptr)}) {
    EXPECT_TRUE(root.getChildNode(absent).isEmpty());
    EXPECT_EQ(root.getAttribute(absent), nullptr);
    EXPECT_FALSE(root.isAttributeSet(absent));
  }
  int index = -5;
  std::string seen;
  for (XMLNode item; !(item = root.getChildNode("item", &index)).isEmpty();)
    seen += item.getAttribute("n") + std::to_string(index) + " ";
  EXPECT_EQ(seen, "01 13 24 ");
  EXPECT_EQ(index, 4) << "a search in vain leaves the index";

  EXPECT_STREQ(root.getAttribute("Id"), "7");
  EXPECT_STREQ(root.getAttribute("id", &(index = 1)), "8");
  EXPECT_EQ(index, 2);
  EXPECT_STREQ(root.getAttribute("empty"), "");
  EXPECT_TRUE(root.isAttributeSet("EMPTY"));
  EXPECT_TRUE(XMLNode::parseString("<?target word?>").isAttributeSet("word"));
}

TEST(XMLNode, AnswersNothingWhenEmpty) {
  for (XMLNode node : {XMLNode(), XMLNode::emptyXMLNode, XMLNode::emptyNode()}) {
    EXPECT_TRUE(node.isEmpty() && node.getParentNode().isEmpty() && !node.isDeclaration() &&
                node.getChildNode("a").isEmpty() && node.getChildNode(0).isEmpty() &&
                node.getName() == nullptr && node.getText() == nullptr &&
                node.getAttribute("a") == nullptr && node.createXMLString().empty());
    EXPECT_EQ(countsOf(node), std::vector<int>(6));
    node.deleteText();
    node.deleteClear();
  }
}

TEST(XMLNode, HandlesShareTheTreeAndTheLastOneFreesIt) {
  const std::ptrdiff_t before = liveNewBlocks();
  {
    XMLNode a = rootNode();
    XMLNode b = a;
    XMLNode c;
    c = b;
    XMLNode d(std::move(b));
    EXPECT_TRUE(b.isEmpty());  // NOLINT(bugprone-use-after-move): empty is what it promises
    a = XMLNode();
    XMLNode& same = c;
    c = same;
    d = std::move(c);
    EXPECT_STREQ(d.getName(), "Root");
    d = d.getChildNode(0);
  }
  EXPECT_EQ(liveNewBlocks(), before);
}

TEST(XMLNode, KnowsItsParentAsLongAsThereIsOne) {
  XMLNode top = XMLNode::parseString("<?xml?><a><b><c/></b></a>");
  XMLNode b = top.getChildNode("a").getChildNode("b");
  const XMLNode c = b.getChildNode("c");
  EXPECT_STREQ(b.getParentNode().getName(), "a");
  EXPECT_EQ(b.getParentNode().getParentNode().record(), top.record());
  EXPECT_TRUE(top.getParentNode().isEmpty());
  top = XMLNode();
  EXPECT_TRUE(b.getParentNode().isEmpty()) << "freed with the document";
  EXPECT_STREQ(c.getParentNode().getName(), "b") << "held";
  b = XMLNode();
  EXPECT_TRUE(c.getParentNode().isEmpty());
  for (const char* text : {"<a/>", "<?xml?><a/>"})
    EXPECT_TRUE(XMLNode::parseString(text, "a").getParentNode().isEmpty()) << text;
}

TEST(XMLNode, DeletesTextsAndClearSectionsAndKeepsTheOrder) {
  XMLNode node = XMLNode::parseString("<a>1<!--x-->2<b/><!--y-->3</a>");
  node.deleteText(1);
  node.deleteClear(0);
  EXPECT_EQ(treeOf(node), "a(\"1\"b()[<!--y-->]\"3\")");
  node.deleteText();
  node.deleteText(1);
  node.deleteText(-1);
  node.deleteClear(7);
  EXPECT_EQ(treeOf(node), "a(b()[<!--y-->]\"3\")");
  node.deleteText();
  node.deleteClear();
  EXPECT_EQ(treeOf(node), "a(b())");
}

}  // namespace
