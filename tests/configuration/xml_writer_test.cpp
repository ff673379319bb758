#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "velmora_sr/xml_document.h"
#include "xml_tree.h"

namespace {

using velmora::test::treeOf;

TEST(XmlWriter, WritesOnOneLineOrIndented) {
  const struct {
    const char* text;
    int indent;
    const char* written;
  } cases[] = {
      {"<a  b = '1' ><c></c><d>x</d></a>", -1, "<a b=\"1\"><c/><d>x</d></a>"},
      {"<PRE/><a><b>x</b></a>", 0, "<PRE/>\n<a>\n<b>x</b>\n</a>"},
      {"<a><b><c/></b></a>", 4, "<a>\n    <b>\n        <c/>\n    </b>\n</a>"},
      {"<?xml version='1.0'?><!--c--><a/>", 2, "<?xml version=\"1.0\"?>\n<!--c-->\n<a/>"},
      // What stands in a text is not moved.
      {"<r><a>x<b><c/></b></a></r>", 2, "<r>\n  <a>x<b><c/></b></a>\n</r>"},
      {"<a><![CDATA[<&>]]></a>", 1, "<a>\n <![CDATA[<&>]]>\n</a>"},
      {"<a t='&quot;&apos;&amp;'>&lt;&gt;&amp;</a>", 2,
       "<a t=\"&quot;&apos;&amp;\">&lt;&gt;&amp;</a>"},
      {"<?target word?>", 2, "<?target word?>"},
      {"<PRE >x</PRE>", -1, "<PRE >x</PRE>"},
      {"text<a>&#xFEFF;</a>", -1, "text<a>\xEF\xBB\xBF</a>"},
      {"&#xFEFF;<a/>", 2, "\xEF\xBB\xBF\xEF\xBB\xBF<a/>"},  // the first mark is skipped
  };
  for (const auto& c : cases) {
    const XMLNode node = XMLNode::parseString(c.text);
    const std::string written = node.createXMLString(c.indent);
    EXPECT_EQ(written, c.written) << c.text;
    EXPECT_EQ(treeOf(XMLNode::parseString(c.written)), treeOf(node)) << c.text;
    // Asked for its length first; writes a terminator and nothing behind it.
    std::vector<char> out(written.size() + 2, '~');
    const int length = static_cast<int>(written.size());
    EXPECT_EQ(XMLNode::CreateXMLStringR(node.record(), nullptr, c.indent), length);
    EXPECT_EQ(XMLNode::CreateXMLStringR(node.record(), out.data(), c.indent), length);
    EXPECT_EQ(std::string(out.data(), out.size()), written + '\0' + '~');
  }
  char nothing[] = "~";
  EXPECT_EQ(XMLNode::CreateXMLStringR(nullptr, nothing, -1), 0);
  EXPECT_STREQ(nothing, "");
}

TEST(XmlWriter, RefusesWhatFitsNoInt) {
  // 70 000 lines, each 511 * 64 blanks deep.
  std::string text;
  for (int i = 0; i < 511 + 70000 + 511; ++i)
    text += i < 511 ? "<a>" : i < 511 + 70000 ? "<b/>" : "</a>";
  const XMLNode node = XMLNode::parseString(text.c_str());
  EXPECT_EQ(XMLNode::CreateXMLStringR(node.record(), nullptr, 1000000), -1);
  EXPECT_EQ(node.createXMLString(1000000), "");
  EXPECT_EQ(XMLNode::CreateXMLStringR(node.record(), nullptr, -1), static_cast<int>(text.size()));
}

TEST(ToXMLStringTool, ReplacesTheFiveSpecialCharacters) {
  const std::string expected = "a&lt;b&gt;&amp;&quot;&apos;\xE9";
  EXPECT_EQ(ToXMLStringTool::lengthXMLString("a<b>&\"'\xE9"), static_cast<int>(expected.size()));
  std::vector<char> out(expected.size() + 1);
  EXPECT_EQ(ToXMLStringTool::toXMLUnSafe(out.data(), "a<b>&\"'\xE9"), &out.back());
  EXPECT_EQ(out.data(), expected);
  EXPECT_EQ(ToXMLStringTool::lengthXMLString(nullptr), 0);
  EXPECT_EQ(ToXMLStringTool::toXMLUnSafe(out.data(), nullptr), out.data());
  EXPECT_EQ(out[0], '\0');
}

}  // namespace
