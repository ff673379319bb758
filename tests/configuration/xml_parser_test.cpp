#include "configuration/xml_parser.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>

#include "support/new_faults.h"
#include "velmora_sr/xml_document.h"
#include "xml_tree.h"

namespace {

using velmora::test::liveNewBlocks;
using velmora::test::NewFaults;
using velmora::test::treeOf;
using velmora::test::XmlOptionsScope;

TEST(XmlParser, BuildsTheTree) {
  const struct {
    const char* text;
    const char* tree;
  } cases[] = {
      {"<a/>", "a()"},
      {"<a></A>", "a()"},
      {"<Config><A>7</A></Config>", "Config(A(\"7\"))"},
      {"<?xml version=\"1.0\" encoding=\"GB2312\"?><Config></Config>",
       "top(?xml(@version='1.0' @encoding='GB2312' )Config())"},
      {"<?xml version='1.0'?>", "?xml(@version='1.0' )"},
      {"<a/><b/>", "top(a()b())"},
      {"<!-- c --><a/>", "top([<!-- c -->]a())"},
      {"before<a/>behind", "top(\"before\"a()\"behind\")"},
      {" \n\t\r<a/> \n", "a()"},
      {"<a>x<b/>y<!--z-->w</a>", "a(\"x\"b()\"y\"[<!--z-->]\"w\")"},
      {"<a b='1' B=\"2\"c = '3'/>", "a(@b='1' @B='2' @c='3' )"},
      {"<a b='\"' c=\"'<>\"/>", "a(@b='\"' @c=''<>' )"},
      {"<a\tb\n=\r'1'\n>x</a >", "a(@b='1' \"x\")"},
      {"<a> x </a>", "a(\" x \")"},
      {"<a>&#32;&#9;</a>", "a()"},
      {"<a>p &amp; q &lt;&GT;&Quot;&apos;</a>", "a(\"p & q <>\"'\")"},
      {"<a b='&lt;&#65;&#x42;&#X43;&#x1F600;'/>", "a(@b='<ABC\xF0\x9F\x98\x80' )"},
      {"<a>&#x7F;&#x80;&#x7FF;&#x800;&#xD7FF;&#xE000;&#xFFFF;&#x10000;&#x10FFFF;</a>",
       "a(\"\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF"
       "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF\")"},
      {"<a><![CDATA[ <b> & ]] ]]></a>", "a([<![CDATA[ <b> & ]] ]]>])"},
      {"<!DOCTYPE a SYSTEM 'x'><a/>", "top([<!DOCTYPE a SYSTEM 'x'>]a())"},
      {"<a><PRE>\n <b>&</PRE></a>", "a([<PRE>\n <b>&</PRE>])"},
      {"<a><pre>x</pre></a>", "a(pre(\"x\"))"},
      {"<a><PRE x='1'>y</PRE></a>", "a(PRE(@x='1' \"y\"))"},
      {"<!----><a/>", "top([<!---->]a())"},
      {"<a><?php x > y?></a>", "a(?php(@x=null @>=null @y=null ))"},
      {"<?p a=\"?>\" b?c?><a/>", "top(?p(@a='?>' @b?c=null )a())"},
      {"<a=b\"c/>", "a=b\"c()"},
      {"\xEF\xBB\xBF<a/>", "a()"},
      {"<\xC3\xA4>\xE2\x82\xAC</\xC3\xA4>", "\xC3\xA4(\"\xE2\x82\xAC\")"},
      {"<a><a><a/></a></a>", "a(a(a()))"},
  };
  for (const auto& c : cases) {
    XMLResults results = {-1, -1, -1};
    EXPECT_EQ(treeOf(XMLNode::parseString(c.text, nullptr, &results)), c.tree) << c.text;
    EXPECT_EQ(results.error, XMLErrorNone) << c.text;
  }
}

TEST(XmlParser, NamesTheFaultAndItsPlace) {
  const struct {
    const char* text;
    int error, line, column;
  } cases[] = {
      {"", XMLErrorNoElement, 1, 1},
      {"text only", XMLErrorNoElement, 1, 10},
      {"<!-- comment -->\n", XMLErrorNoElement, 2, 1},
      {"<a>", XMLErrorUnclosedTag, 1, 4},
      {"<a>\n<b></b>\n", XMLErrorUnclosedTag, 3, 1},
      {"<", XMLErrorTagName, 1, 1},
      {"<a>< b/></a>", XMLErrorTagName, 1, 4},
      {"<a></></a>", XMLErrorTagName, 1, 4},
      {"<a><>", XMLErrorTagName, 1, 4},
      {"<?\?><a/>", XMLErrorTagName, 1, 1},
      {"<a ='1'/>", XMLErrorTagName, 1, 4},
      {"<!ELEMENT a><a/>", XMLErrorTagName, 1, 1},
      {"</a>", XMLErrorUnmatchedEndTag, 1, 1},
      {"<a/></a>", XMLErrorUnmatchedEndTag, 1, 5},
      {"<a>\n <b></a></b>", XMLErrorUnmatchedEndTag, 2, 5},
      {"<a></a b>", XMLErrorMalformedTag, 1, 8},
      {"<a></a", XMLErrorMalformedTag, 1, 7},
      {"<a / >", XMLErrorMalformedTag, 1, 4},
      {"<a/b>", XMLErrorMalformedTag, 1, 3},
      {"<a <b/>", XMLErrorMalformedTag, 1, 4},
      {"<a ", XMLErrorMalformedTag, 1, 4},
      {"<?xml version='1.0'", XMLErrorMalformedTag, 1, 20},
      {"<a b/>", XMLErrorAttributeValue, 1, 5},
      {"<a b=1/>", XMLErrorAttributeValue, 1, 6},
      {"<a b='1/>", XMLErrorAttributeValue, 1, 6},
      {"<?xml v=1?><a/>", XMLErrorAttributeValue, 1, 9},
      {"<a b=", XMLErrorAttributeValue, 1, 6},
      {"<a><!-- ", XMLErrorUnclosedClear, 1, 4},
      {"<a><![CDATA[ ]]</a>", XMLErrorUnclosedClear, 1, 4},
      {"<!DOCTYPE a", XMLErrorUnclosedClear, 1, 1},
      {"<a><PRE></pre></a>", XMLErrorUnclosedClear, 1, 4},
      {"<a>p & q</a>", XMLErrorUnknownEntity, 1, 6},
      {"<a>\n\xE2\x82\xAC &nbsp;</a>", XMLErrorUnknownEntity, 2, 3},
      {"<a b='&lt'/>", XMLErrorUnknownEntity, 1, 7},
      {"<a>&#65</a>", XMLErrorUnknownEntity, 1, 4},
      {"<a>&#;</a>", XMLErrorUnknownEntity, 1, 4},
      {"<a>&#x;</a>", XMLErrorUnknownEntity, 1, 4},
      {"<a>&#6A;</a>", XMLErrorUnknownEntity, 1, 4},
      {"<a>&#0;</a>", XMLErrorUnknownEntity, 1, 4},
      {"<a>&#xD800;</a>", XMLErrorUnknownEntity, 1, 4},
      {"<a>&#x110000;</a>", XMLErrorUnknownEntity, 1, 4},
      {"<a>&#99999999999999999999;</a>", XMLErrorUnknownEntity, 1, 4},
      {"<a>&", XMLErrorUnknownEntity, 1, 4},
  };
  for (const auto& c : cases) {
    XMLResults results = {-1, -1, -1};
    EXPECT_TRUE(XMLNode::parseString(c.text, nullptr, &results).isEmpty()) << c.text;
    EXPECT_EQ(results.error, c.error) << c.text;
    EXPECT_EQ(results.line, c.line) << c.text;
    EXPECT_EQ(results.column, c.column) << c.text;
    EXPECT_TRUE(XMLNode::parseString(c.text).isEmpty()) << c.text;
  }
}

TEST(XmlParser, CountsLinesAndCharactersUpToTheEnd) {
  XMLResults results = {};
  XMLNode::parseString("\xEF\xBB\xBF<a>\n\xE2\x82\xAC</a>", nullptr, &results);
  EXPECT_EQ(results.line, 2);
  EXPECT_EQ(results.column, 6);
  const XmlOptionsScope legacy(XMLCharEncodingLegacy);
  XMLNode::parseString("<a>\n\xE2\x82\xAC</a>", nullptr, &results);
  EXPECT_EQ(results.column, 8);
}

TEST(XmlParser, FindsTheRequestedTag) {
  const char* document = "<?xml version='1.0'?><Config><A>1</A></Config>";
  const struct {
    const char* text;
    const char* tag;
    const char* tree;
    int error;
  } cases[] = {
      {document, "config", "Config(A(\"1\"))", XMLErrorNone},
      {document, "", "top(?xml(@version='1.0' )Config(A(\"1\")))", XMLErrorNone},
      {document, "A", "empty", XMLErrorTopTagNotFound},
      {"<Config><A>1</A></Config>", "CONFIG", "Config(A(\"1\"))", XMLErrorNone},
      {"<Config><A>1</A></Config>", "A", "A(\"1\")", XMLErrorNone},
      {"<Config><A>1</A></Config>", "B", "empty", XMLErrorTopTagNotFound},
      {"<Config>", "Config", "empty", XMLErrorUnclosedTag},
  };
  for (const auto& c : cases) {
    XMLResults results = {};
    EXPECT_EQ(treeOf(XMLNode::parseString(c.text, c.tag, &results)), c.tree) << c.tag;
    EXPECT_EQ(results.error, c.error) << c.tag;
  }
}

TEST(XmlParser, RefusesANullText) {
  XMLResults results = {};
  EXPECT_TRUE(XMLNode::parseString(nullptr, nullptr, &results).isEmpty());
  EXPECT_EQ(results.error, XMLErrorNullText);
  EXPECT_TRUE(XMLNode::parseString(nullptr).isEmpty());
}

std::string nested(int depth) {
  std::string text;
  for (int i = 0; i < depth; ++i)
    text += "<a>";
  for (int i = 0; i < depth; ++i)
    text += "</a>";
  return text;
}

TEST(XmlParser, NestsTo512LevelsAndNoFurther) {
  XMLResults results = {};
  XMLNode node = XMLNode::parseString(nested(velmora::kMaxXmlDepth).c_str(), nullptr, &results);
  EXPECT_EQ(results.error, XMLErrorNone);
  int depth = 0;
  for (; !node.isEmpty(); node = node.getChildNode(0))
    ++depth;
  EXPECT_EQ(depth, 512);
  for (const int tooDeep : {513, 1000000}) {
    EXPECT_TRUE(XMLNode::parseString(nested(tooDeep).c_str(), nullptr, &results).isEmpty());
    EXPECT_EQ(results.error, XMLErrorTooDeep);
    EXPECT_EQ(results.column, 512 * 3 + 1);
  }
  // Siblings do not count.
  std::string wide = "<t>";
  for (int i = 0; i < 2000; ++i)
    wide += "<a/>";
  EXPECT_EQ(XMLNode::parseString((wide + "</t>").c_str()).nChildNode("A"), 2000);
}

TEST(XmlParser, RefusesMoreThan16MiB) {
  std::string text = "<a><!--";
  text.resize((16u << 20) - 7, ' ');
  text += "--></a>";
  ASSERT_EQ(text.size(), 16u << 20);
  EXPECT_FALSE(XMLNode::parseString(text.c_str()).isEmpty());
  text += " ";
  XMLResults results = {};
  EXPECT_TRUE(XMLNode::parseString(text.c_str(), nullptr, &results).isEmpty());
  EXPECT_EQ(results.error, XMLErrorTooLarge);
}

TEST(XmlParser, KeepsOrTrimsWhiteSpaceByItsOptions) {
  const char* text = "<a> <b> x\t</b>\n</a>";
  {
    const XmlOptionsScope keep(XMLCharEncodingUTF8, 1, 0);
    EXPECT_EQ(treeOf(XMLNode::parseString(text)), "a(\" \"b(\" x\t\")\"\n\")");
  }
  {
    const XmlOptionsScope trim(XMLCharEncodingUTF8, 1, 1, 1);
    EXPECT_EQ(treeOf(XMLNode::parseString(text)), "a(b(\"x\"))");
  }
  EXPECT_EQ(treeOf(XMLNode::parseString(text)), "a(b(\" x\t\"))");
}

// The second byte of a character may look like markup: "]" is 5D, "|" 7C, "\" 5C.
TEST(XmlParser, SeesCharactersNotBytes) {
  const struct {
    XMLCharEncoding encoding;
    const char* text;
    const char* tree;
  } cases[] = {
      {XMLCharEncodingShiftJIS, "<![CDATA[\x83\x5D]>]]><a/>", "top([<![CDATA[\x83\x5D]>]]>]a())"},
      {XMLCharEncodingLegacy, "<![CDATA[\x83\x5D]><a/>", "top([<![CDATA[\x83]]>]a())"},
      {XMLCharEncodingBig5, "<![CDATA[\xA4\x5D]>]]><a/>", "top([<![CDATA[\xA4\x5D]>]]>]a())"},
      {XMLCharEncodingGBK, "<![CDATA[\x81\x5D]>]]><a/>", "top([<![CDATA[\x81\x5D]>]]>]a())"},
      {XMLCharEncodingGB2312, "<![CDATA[\xB0\x5D]><a/>", "top([<![CDATA[\xB0]]>]a())"},
      // A lead byte does not swallow markup that cannot be its trail byte.
      {XMLCharEncodingShiftJIS, "<a>\x83</a>", "a(\"\x83\")"},
      {XMLCharEncodingUTF8, "<a>\xE2\x82</a>", "a(\"\xE2\x82\")"},
      {XMLCharEncodingUTF8, "<a b='\xF0'/>", "a(@b='\xF0' )"},
      {XMLCharEncodingGBK, "<a\x81>x</a\x81>", "a\x81(\"x\")"},
      // References that the encoding has no room for.
      {XMLCharEncodingLegacy, "<a>&#xFF;&#x100;</a>", "a(\"\xFF?\")"},
      {XMLCharEncodingShiftJIS, "<a>&#65;&#xE9;</a>", "a(\"A?\")"},
  };
  for (const auto& c : cases) {
    const XmlOptionsScope scope(c.encoding);
    // CDATA of the legacy reading ends early, and what is behind it is read as it stands.
    EXPECT_EQ(treeOf(XMLNode::parseString(c.text)), c.tree) << c.encoding << " " << c.text;
  }
}

TEST(XmlParser, StopsAtTheTerminatorWhateverTheLastByte) {
  for (int encoding = XMLCharEncodingUTF8; encoding <= XMLCharEncodingGBK; ++encoding) {
    const XmlOptionsScope scope(static_cast<XMLCharEncoding>(encoding));
    for (int byte = 0x80; byte <= 0xFF; ++byte) {
      for (const char* start : {"<a>", "<a", "<a b='", "<!--", "<?", "</", ""}) {
        const std::string text = start + std::string(1, static_cast<char>(byte));
        // A block of exactly this size: the address sanitizer sees a byte too far.
        const std::unique_ptr<char[]> exact(new char[text.size() + 1]);
        std::copy_n(text.c_str(), text.size() + 1, exact.get());
        ASSERT_TRUE(XMLNode::parseString(exact.get()).isEmpty()) << encoding << " " << text;
      }
    }
  }
}

TEST(XmlParser, SurvivesRunningOutOfMemory) {
  const char* text =
      "<?xml version='1.0'?><Config one='a value that needs a block of its own'><A>text &amp; more "
      "text than fits a small string</A><!-- a comment of some length, too --><B/></Config>";
  const std::ptrdiff_t before = liveNewBlocks();
  bool succeeded = false;
  for (int n = 0; n < 200 && !succeeded; ++n) {
    XMLResults results = {};
    {
      const NewFaults faults(n);
      succeeded = !XMLNode::parseString(text, nullptr, &results).isEmpty();
    }
    ASSERT_EQ(results.error, succeeded ? XMLErrorNone : XMLErrorOutOfMemory) << n;
    ASSERT_EQ(liveNewBlocks(), before) << n;
    EXPECT_TRUE(!succeeded || n > 10);
  }
  EXPECT_TRUE(succeeded);
}

}  // namespace
