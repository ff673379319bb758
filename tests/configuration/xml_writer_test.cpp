#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "velmora_sr/xml_document.h"
#include "xml_tree.h"

namespace {

using velmora::test::treeOf;
using velmora::test::XmlOptionsScope;

TEST(XmlWriter, WritesOnOneLineOrIndented) {
  const struct {
    const char* text;
    int indent;
    const char* written;
  } cases[] = {
      {"<a  b = '1' ><c></c><d>x</d></a>", -1, "<a b=\"1\"><c/><d>x</d></a>"},
      {"<a b='1'><c></c><d>x</d></a>", 2, "<a b=\"1\">\n  <c/>\n  <d>x</d>\n</a>"},
      {"<a><b><c/></b></a>", 0, "<a>\n<b>\n<c/>\n</b>\n</a>"},
      {"<a><b><c/></b></a>", 4, "<a>\n    <b>\n        <c/>\n    </b>\n</a>"},
      {"<?xml version='1.0'?><!--c--><a/>", 2, "<?xml version=\"1.0\"?>\n<!--c-->\n<a/>"},
      {"<?xml version='1.0'?><a/>", -1, "<?xml version=\"1.0\"?><a/>"},
      // What stands in a text is not moved.
      {"<a>x<b><c/></b></a>", 2, "<a>x<b><c/></b></a>"},
      {"<r><a>x<b><c/></b></a></r>", 2, "<r>\n  <a>x<b><c/></b></a>\n</r>"},
      {"<a><![CDATA[<&>]]></a>", 1, "<a>\n <![CDATA[<&>]]>\n</a>"},
      {"<a t='&quot;&apos;&amp;'>&lt;&gt;&amp;</a>", 2,
       "<a t=\"&quot;&apos;&amp;\">&lt;&gt;&amp;</a>"},
      {"<?target word?>", 2, "<?target word?>"},
      {"<PRE >x</PRE>", -1, "<PRE >x</PRE>"},
      {"<PRE/>", -1, "<PRE/>"},
      {"text<a>&#xFEFF;</a>", -1, "text<a>\xEF\xBB\xBF</a>"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(XMLNode::parseString(c.text).createXMLString(c.indent), c.written) << c.text;
  }
}

TEST(XmlWriter, AsksForTheLengthAndTerminates) {
  const XMLNode node = XMLNode::parseString("<a>&amp;</a>");
  const int length = XMLNode::CreateXMLStringR(node.record(), nullptr, -1);
  EXPECT_EQ(length, 12);
  std::vector<char> out(static_cast<std::size_t>(length) + 2, '~');
  EXPECT_EQ(XMLNode::CreateXMLStringR(node.record(), out.data(), -1), length);
  EXPECT_STREQ(out.data(), "<a>&amp;</a>");
  EXPECT_EQ(out.back(), '~');
  EXPECT_EQ(XMLNode::CreateXMLStringR(nullptr, out.data(), -1), 0);
  EXPECT_STREQ(out.data(), "");
}

TEST(XmlWriter, RefusesWhatFitsNoInt) {
  // 65 000 lines, each 511 * 64 blanks deep.
  std::string text;
  for (int i = 0; i < 511; ++i)
    text += "<a>";
  for (int i = 0; i < 70000; ++i)
    text += "<b/>";
  for (int i = 0; i < 511; ++i)
    text += "</a>";
  const XMLNode node = XMLNode::parseString(text.c_str());
  ASSERT_FALSE(node.isEmpty());
  EXPECT_EQ(XMLNode::CreateXMLStringR(node.record(), nullptr, 1000000), -1);
  EXPECT_EQ(node.createXMLString(1000000), "");
  EXPECT_EQ(XMLNode::CreateXMLStringR(node.record(), nullptr, -1), static_cast<int>(text.size()));
}

TEST(XmlWriter, ParsingWhatItWroteGivesTheSameTree) {
  const char* documents[] = {
      "<a/>",
      "<?xml version='1.0' encoding='utf-8'?>\n<!DOCTYPE a>\n<Config>\n  <A x='1' y=\"'\">7</A>\n"
      "  <B><![CDATA[ ]] > ]]></B> <C> mixed <d/> text </C>\n</Config>\n<!-- end -->",
      "text <a/> text <b>  </b>",
      "<a><PRE >&lt;b&gt;</PRE><PRE> <b> </PRE><pre>x</pre></a>",
      "<?a b \"x y\" c='?>'?><r/>",
      "<a b='\n\t'>\n\tx\n</a>",
      "<a=\"b\" c='d'>\xC3\xA9\xFF</a=\"b\">",
      "<a>&#x3C;&#38;amp;</a>",
      "\xEF\xBB\xBF\xEF\xBB\xBF<a/>",
      "&#xFEFF;<a/>",
      "<a><b>one<c><d/></c></b><!--x--><e><f/></e></a>",
  };
  for (const char* document : documents) {
    const XMLNode first = XMLNode::parseString(document);
    ASSERT_FALSE(first.isEmpty()) << document;
    for (const int indent : {-1, 0, 1, 2, 8}) {
      const std::string written = first.createXMLString(indent);
      EXPECT_EQ(treeOf(XMLNode::parseString(written.c_str())), treeOf(first)) << written;
    }
  }
}

TEST(ToXMLStringTool, ReplacesTheFiveSpecialCharacters) {
  const char* text = "a<b>&\"'\xE9";
  const std::string expected = "a&lt;b&gt;&amp;&quot;&apos;\xE9";
  EXPECT_EQ(ToXMLStringTool::lengthXMLString(text), static_cast<int>(expected.size()));
  std::vector<char> out(expected.size() + 1);
  EXPECT_EQ(ToXMLStringTool::toXMLUnSafe(out.data(), text), &out.back());
  EXPECT_EQ(out.data(), expected);
  EXPECT_EQ(ToXMLStringTool::lengthXMLString(nullptr), 0);
  EXPECT_EQ(ToXMLStringTool::toXMLUnSafe(out.data(), nullptr), out.data());
  EXPECT_EQ(out[0], '\0');
}

}  // namespace
