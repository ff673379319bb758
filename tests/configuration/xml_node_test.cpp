#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "support/new_faults.h"
#include "velmora_sr/xml_document.h"
#include "xml_tree.h"

namespace {

using velmora::test::liveNewBlocks;
using velmora::test::treeOf;

constexpr const char* kDocument =
    "<Root id='7' ID='8' empty=''>one<Item n='0'/>two<other/><ITEM n='1'/>three<!--c--><item "
    "n='2'/>"
    "<![CDATA[d]]></Root>";

TEST(XMLNode, CountsAndIndexesItsElements) {
  const XMLNode root = XMLNode::parseString(kDocument);
  EXPECT_EQ(root.nChildNode(), 4);
  EXPECT_EQ(root.nChildNode("item"), 3);
  EXPECT_EQ(root.nChildNode("absent"), 0);
  EXPECT_EQ(root.nText(), 3);
  EXPECT_EQ(root.nClear(), 2);
  EXPECT_EQ(root.nAttribute(), 3);
  EXPECT_EQ(root.nElement(), 12);
  EXPECT_FALSE(root.isDeclaration());
  EXPECT_STREQ(root.getText(), "one");
  EXPECT_STREQ(root.getText(2), "three");
  EXPECT_STREQ(root.getClear(0).value, "c");
  EXPECT_STREQ(root.getClear(1).openTag, "<![CDATA[");
  EXPECT_STREQ(root.getClear(1).closeTag, "]]>");
  EXPECT_STREQ(root.getChildNode(1).getName(), "other");
  for (const int outside : {-1, 4, 1000, INT32_MIN}) {
    EXPECT_TRUE(root.getChildNode(outside).isEmpty());
    EXPECT_EQ(root.getText(outside), nullptr);
    EXPECT_EQ(root.getClear(outside).value, nullptr);
    EXPECT_EQ(root.getAttribute(outside).name, nullptr);
  }
}

TEST(XMLNode, FindsChildrenByNameWithoutRegardToCase) {
  const XMLNode root = XMLNode::parseString(kDocument);
  EXPECT_STREQ(root.getChildNode("ITEM").getAttribute("n"), "0");
  EXPECT_STREQ(root.getChildNode("Item", 2).getAttribute("N"), "2");
  EXPECT_TRUE(root.getChildNode("Item", 3).isEmpty());
  EXPECT_TRUE(root.getChildNode("Item", -1).isEmpty());
  EXPECT_TRUE(root.getChildNode("").isEmpty());
  EXPECT_TRUE(root.getChildNode(static_cast<const char*>(nullptr)).isEmpty());

  int index = 0;
  std::string seen;
  for (XMLNode item = root.getChildNode("item", &index); !item.isEmpty();
       item = root.getChildNode("item", &index)) {
    seen += item.getAttribute("n") + std::to_string(index) + " ";
  }
  EXPECT_EQ(seen, "01 13 24 ");
  EXPECT_EQ(index, 4) << "a search in vain leaves the index";
  index = -5;
  EXPECT_STREQ(root.getChildNode("item", &index).getAttribute("n"), "0");
}

TEST(XMLNode, FindsAttributes) {
  const XMLNode root = XMLNode::parseString(kDocument);
  EXPECT_STREQ(root.getAttribute("Id"), "7");
  int index = 1;
  EXPECT_STREQ(root.getAttribute("id", &index), "8");
  EXPECT_EQ(index, 2);
  EXPECT_STREQ(root.getAttribute("empty"), "");
  EXPECT_STREQ(root.getAttribute(1).name, "ID");
  EXPECT_TRUE(root.isAttributeSet("EMPTY"));
  EXPECT_FALSE(root.isAttributeSet("absent"));
  EXPECT_EQ(root.getAttribute("absent"), nullptr);
  EXPECT_FALSE(root.isAttributeSet(nullptr));
  const XMLNode word = XMLNode::parseString("<?target word?>");
  EXPECT_TRUE(word.isDeclaration());
  EXPECT_TRUE(word.isAttributeSet("word"));
  EXPECT_EQ(word.getAttribute("word"), nullptr);
}

TEST(XMLNode, AnswersNothingWhenEmpty) {
  for (const XMLNode& node : {XMLNode(), XMLNode::emptyXMLNode, XMLNode::emptyNode()}) {
    EXPECT_TRUE(node.isEmpty());
    EXPECT_FALSE(node.isDeclaration());
    EXPECT_EQ(node.getName(), nullptr);
    EXPECT_TRUE(node.getParentNode().isEmpty());
    EXPECT_EQ(
        node.nChildNode() + node.nText() + node.nClear() + node.nAttribute() + node.nElement(), 0);
    EXPECT_EQ(node.nChildNode("a"), 0);
    EXPECT_TRUE(node.getChildNode("a").isEmpty());
    EXPECT_TRUE(node.getChildNode(0).isEmpty());
    EXPECT_EQ(node.getText(), nullptr);
    EXPECT_EQ(node.getAttribute("a"), nullptr);
    EXPECT_EQ(node.createXMLString(), "");
  }
}

TEST(XMLNode, HandlesShareTheTreeAndTheLastOneFreesIt) {
  const std::ptrdiff_t before = liveNewBlocks();
  {
    XMLNode a = XMLNode::parseString(kDocument);
    XMLNode b = a;
    XMLNode c;
    c = b;
    XMLNode d(std::move(b));
    EXPECT_TRUE(b.isEmpty());  // NOLINT(bugprone-use-after-move): empty is what it promises
    a = XMLNode();
    EXPECT_STREQ(c.getName(), "Root");
    XMLNode& same = c;
    c = same;
    EXPECT_STREQ(c.getName(), "Root");
    d = std::move(c);
    EXPECT_STREQ(d.getName(), "Root");
    d = d.getChildNode(0);
    EXPECT_STREQ(d.getName(), "Item");
  }
  EXPECT_EQ(liveNewBlocks(), before);
}

TEST(XMLNode, KnowsItsParentAsLongAsThereIsOne) {
  XMLNode top = XMLNode::parseString("<?xml?><a><b><c/></b></a>");
  XMLNode b = top.getChildNode("a").getChildNode("b");
  XMLNode c = b.getChildNode("c");
  EXPECT_STREQ(b.getParentNode().getName(), "a");
  EXPECT_EQ(b.getParentNode().getParentNode().record(), top.record());
  EXPECT_TRUE(top.getParentNode().isEmpty());
  top = XMLNode();
  EXPECT_TRUE(b.getParentNode().isEmpty()) << "freed with the document";
  EXPECT_STREQ(c.getParentNode().getName(), "b") << "held";
  b = XMLNode();
  EXPECT_TRUE(c.getParentNode().isEmpty());
  EXPECT_STREQ(c.getName(), "c");

  EXPECT_TRUE(XMLNode::parseString("<a/>").getParentNode().isEmpty());
  EXPECT_TRUE(XMLNode::parseString("<?xml?><a/>", "a").getParentNode().isEmpty());
}

TEST(XMLNode, DeletesTextsAndClearSectionsAndKeepsTheOrder) {
  XMLNode node = XMLNode::parseString("<a>1<!--x-->2<b/><!--y-->3</a>");
  node.deleteText(1);
  EXPECT_EQ(treeOf(node), "a(\"1\"[<!--x-->]b()[<!--y-->]\"3\")");
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
  EXPECT_EQ(node.nElement(), 1);
  XMLNode empty;
  empty.deleteText();
  empty.deleteClear();
}

}  // namespace
