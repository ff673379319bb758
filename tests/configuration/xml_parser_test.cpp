#include "configuration/xml_parser.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "velmora_sr/xml_document.h"
#include "xml_tree.h"

namespace {

using velmora::test::treeOf;
using velmora::test::XmlOptionsScope;

constexpr const char* kDocument = "<?xml version='1.0'?><Config><A>1</A></Config>";

/// The tree, or the fault and its line and column.
std::string outcomeOf(const char* text, const char* tag = nullptr) {
  static constexpr const char* kFaults[] = {
      "None",         "UnclosedTag",    "NoElement",     "TagName", "UnmatchedEndTag",
      "MalformedTag", "AttributeValue", "UnclosedClear", "File",    "NullText",
      "TooLarge",     "TopTagNotFound", "UnknownEntity", "TooDeep"};
  XMLResults results = {-1, -1, -1};
  const std::string tree = treeOf(XMLNode::parseString(text, tag, &results));
  EXPECT_EQ(treeOf(XMLNode::parseString(text, tag)), tree);
  EXPECT_EQ(tree == "empty", results.error != XMLErrorNone);
  if (results.error == XMLErrorNone) return tree;
  return std::string(kFaults[results.error]) + " " + std::to_string(results.line) + ":" +
         std::to_string(results.column);
}

TEST(XmlParser, BuildsTheTreeAndAgainFromWhatTheWriterMakesOfIt) {
  const struct {
    const char* text;
    const char* tree;
    XMLCharEncoding encoding = XMLCharEncodingUTF8;
  } cases[] = {
      {"<?xml version=\"1.0\"?><Config></Config>", "top(?xml(@version='1.0' )Config())"},
      {"before<a/><b/>behind", "top(\"before\"a()b()\"behind\")"},
      {" \n\t\r<a/> \n", "a()"},
      {"<a>x<b/>y<!--z-->w</a>", "a(\"x\"b()\"y\"[<!--z-->]\"w\")"},
      {"<a\tb\n=\r'\"' B=\"'<>\"c = '3'\n> x </a >", "a(@b='\"' @B=''<>' @c='3' \" x \")"},
      {"<a>&#32;&#9;</a>", "a()"},
      {"<a>p &amp; q &lt;&GT;&Quot;&apos;</a>", "a(\"p & q <>\"'\")"},
      {"<a b='&lt;&#65;&#x42;&#X43;&#x1F600;'/>", "a(@b='<ABC\xF0\x9F\x98\x80' )"},
      {"<a>&#x7F;&#x80;&#x7FF;&#x800;&#xD7FF;&#xE000;&#xFFFF;&#x10000;&#x10FFFF;</a>",
       "a(\"\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF"
       "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF\")"},
      {"<a><![CDATA[ <b> & ]] ]]></a>", "a([<![CDATA[ <b> & ]] ]]>])"},
      {"<!DOCTYPE a SYSTEM 'x'><a><PRE>\n <b>&</PRE></a>",
       "top([<!DOCTYPE a SYSTEM 'x'>]a([<PRE>\n <b>&</PRE>]))"},
      {"<a><pre>x</pre><PRE x='1'>y</PRE></a>", "a(pre(\"x\")PRE(@x='1' \"y\"))"},
      {"<!----><a/>", "top([<!---->]a())"},
      {"<?p a=\"?>\" b?c > y?><a/>", "top(?p(@a='?>' @b?c=null @>=null @y=null )a())"},
      {"<a=b\"c/>", "a=b\"c()"},
      {"\xEF\xBB\xBF<\xC3\xA4>\xE2\x82\xAC</\xC3\xA4>", "\xC3\xA4(\"\xE2\x82\xAC\")"},
      // The second byte of a character may look like markup: "]" is 5D. Where it does not belong to
      // one, the section ends early, and what is behind it is read as it stands.
      {"<![CDATA[\x83\x5D]>]]><a/>", "top([<![CDATA[\x83\x5D]>]]>]a())", XMLCharEncodingShiftJIS},
      {"<![CDATA[\x83\x5D]><a/>", "top([<![CDATA[\x83]]>]a())", XMLCharEncodingLegacy},
      // A lead byte does not swallow markup that cannot be its trail byte.
      {"<a>\x83</a>", "a(\"\x83\")", XMLCharEncodingShiftJIS},
      {"<a b='\xF0'>\xE2\x82</a>", "a(@b='\xF0' \"\xE2\x82\")"},
      {"<a\x81>x</a\x81>", "a\x81(\"x\")", XMLCharEncodingGBK},
      // References that the encoding has no room for.
      {"<a>&#xFF;&#x100;</a>", "a(\"\xFF?\")", XMLCharEncodingLegacy},
      {"<a>&#65;&#xE9;</a>", "a(\"A?\")", XMLCharEncodingShiftJIS},
  };
  for (const auto& c : cases) {
    const XmlOptionsScope scope(c.encoding);
    ASSERT_EQ(outcomeOf(c.text), c.tree) << c.text;
    for (const int indent : {-1, 0, 1, 2, 8}) {
      const std::string written = XMLNode::parseString(c.text).createXMLString(indent);
      EXPECT_EQ(outcomeOf(written.c_str()), c.tree) << written;
    }
  }
  EXPECT_EQ(outcomeOf(kDocument, "config"), "Config(A(\"1\"))");
  EXPECT_EQ(outcomeOf(kDocument, ""), "top(?xml(@version='1.0' )Config(A(\"1\")))");
  EXPECT_EQ(outcomeOf("<Config><A>1</A></Config>", "A"), "A(\"1\")");
}

TEST(XmlParser, NamesTheFaultAndItsPlace) {
  const struct {
    const char* fault;
    std::vector<const char*> texts;
  } cases[] = {
      {"NoElement 1:1", {""}},
      {"NoElement 2:1", {"<!-- comment -->\n"}},
      {"UnclosedTag 1:4", {"<a>", "\xEF\xBB\xBF<a>"}},
      {"UnclosedTag 3:1", {"<a>\n<b></b>\n"}},
      {"TagName 1:1", {"<", "<?\?><a/>", "<!ELEMENT a><a/>"}},
      {"TagName 1:4", {"<a>< b/></a>", "<a></></a>", "<a><>", "<a ='1'/>"}},
      {"UnmatchedEndTag 2:5", {"<a>\n <b></a></b>", "\n<a/></a>"}},
      {"MalformedTag 1:7", {"<a></a", "<abcde/b>"}},
      {"MalformedTag 1:4", {"<a / >", "<a <b/>", "<a "}},
      {"AttributeValue 1:5", {"<a b/>"}},
      {"AttributeValue 1:6", {"<a b=1/>", "<a b='1/>", "<a b="}},
      {"AttributeValue 1:7", {"<?p a=1?>"}},
      {"UnclosedClear 1:4",
       {"<a><!-- ", "<a><![CDATA[ ]]</a>", "<a><!DOCTYPE a", "<a><PRE></pre></a>"}},
      {"UnknownEntity 2:3", {"<a>\n\xE2\x82\xAC &nbsp;</a>"}},
      {"UnknownEntity 1:7", {"<a b='&lt'/>"}},
      {"UnknownEntity 1:4",
       {"<a>&#65</a>", "<a>&#;</a>", "<a>&#x;</a>", "<a>&#6A;</a>", "<a>&#0;</a>",
        "<a>&#xD800;</a>", "<a>&#x110000;</a>", "<a>&#99999999999999999999;</a>", "<a>&"}},
  };
  for (const auto& c : cases) {
    for (const char* text : c.texts)
      EXPECT_EQ(outcomeOf(text), c.fault) << text;
  }
  EXPECT_EQ(outcomeOf(nullptr), "NullText 1:1");
  EXPECT_EQ(outcomeOf("<Config><A/></Config>", "B"), "TopTagNotFound 1:22");
  EXPECT_EQ(outcomeOf(kDocument, "A"), "TopTagNotFound 1:47");
  const XmlOptionsScope legacy(XMLCharEncodingLegacy);
  EXPECT_EQ(outcomeOf("<a>\n\xE2\x82\xAC"), "UnclosedTag 2:4");
}

TEST(XmlParser, NestsTo512LevelsAndNoFurther) {
  const auto nested = [](std::size_t depth) {
    std::string text;
    for (std::size_t i = 0; i < 2 * depth; ++i)
      text += i < depth ? "<a>" : "</a>";
    return text;
  };
  int depth = 0;
  for (XMLNode node = XMLNode::parseString(nested(512).c_str()); !node.isEmpty(); ++depth)
    node = node.getChildNode(0);
  EXPECT_EQ(depth, 512);
  for (const std::size_t tooDeep : {513, 1000000})
    EXPECT_EQ(outcomeOf(nested(tooDeep).c_str()), "TooDeep 1:1537");
  // Siblings do not count.
  std::string wide = "<t>";
  for (int i = 0; i < 2000; ++i)
    wide += "<a/>";
  EXPECT_EQ(XMLNode::parseString((wide + "</t>").c_str()).nChildNode("A"), 2000);
}

TEST(XmlParser, RefusesMoreThan16MiB) {
  const std::string text = "<a/>" + std::string((16u << 20) - 4, ' ');
  EXPECT_EQ(outcomeOf(text.c_str()), "a()");
  EXPECT_EQ(outcomeOf((text + " ").c_str()), "TooLarge 1:1");
}

TEST(XmlParser, KeepsOrTrimsWhiteSpaceByItsOptions) {
  const XmlOptionsScope keep(XMLCharEncodingUTF8, 1, 0, 0);
  EXPECT_EQ(outcomeOf("<a> <b> x\t</b>\n</a>"), "a(\" \"b(\" x\t\")\"\n\")");
  const XmlOptionsScope trim(XMLCharEncodingUTF8, 1, 1, 1);
  EXPECT_EQ(outcomeOf("<a> <b> x\t</b>\n</a>"), "a(b(\"x\"))");
}

}  // namespace
