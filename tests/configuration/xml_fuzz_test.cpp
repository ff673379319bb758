// Mutated documents through the parser and the writer; meant for the sanitizers.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "support/heap_faults.h"
#include "support/random.h"
#include "velmora_sr/xml_document.h"
#include "xml_tree.h"

namespace {

using namespace velmora::test;

const std::vector<std::string> kSeeds = {
    "<?xml version=\"1.0\" encoding=\"GB2312\"?><Config><GhostCorrection><LowThr>1</LowThr>"
    "<HighThr>5</HighThr></GhostCorrection></Config>",
    "<!DOCTYPE a><a b='1' c=\"&lt;&#65;&#x42;\">text &amp; more<!-- c --><![CDATA[ ]] ]]></a>",
    "<PRE>x</PRE><PRE >y</PRE><pre/>",
    "\xEF\xBB\xBF<\xC3\xA4 \xE2\x82\xAC='\xF0\x9F\x98\x80'>\x83\x5D\xB0\xA1</\xC3\xA4>",
    "<?target word other='?>'?><r>a<s/>b</r>",
};

/// Pieces that matter to the grammar.
const std::vector<std::string> kPieces = {
    "<",          ">",   "/>",   "</",   "<?",   "?>",    "&",         "&#",     ";",  "\"",
    "'",          "=",   "<!--", "-->",  "]]>",  "<PRE>", "<![CDATA[", "</PRE>", "\n", " ",
    "&#x10FFFF;", "<a>", "</a>", "\xE2", "\x81", "\xFE",  "<!DOCTYPE", "&amp;",  "?",
};

/// Some bytes replaced by a piece, any byte, bytes from elsewhere or nothing, or the end cut off.
void mutate(Random& random, std::string& text) {
  const std::size_t at = random.index(text.size() + 1);
  const std::string replacements[] = {kPieces[random.index(kPieces.size())],
                                      std::string(1, static_cast<char>(random.range(1, 255))),
                                      text.substr(random.index(text.size() + 1), random.index(40)),
                                      ""};
  if (random.index(10) == 0) text.resize(at);
  text.replace(at, random.index(8), replacements[random.index(4)]);
}

TEST(XmlFuzz, EveryOutcomeIsATreeThatRoundTripsOrACode) {
  const std::ptrdiff_t before = liveNewBlocks();
  Random random(20150302);
  int trees = 0;
  constexpr int kRounds = 20000;
  for (int round = 0; round < kRounds; ++round) {
    const XmlOptionsScope scope(static_cast<XMLCharEncoding>(round % 6 + 1), 1, 1,
                                static_cast<char>(round / 6 % 2));
    std::string text = kSeeds[random.index(kSeeds.size())];
    for (int64_t edits = random.range(1, 6); edits > 0; --edits)
      mutate(random, text);
    // A block of exactly this size: the address sanitizer sees a byte too far.
    const std::unique_ptr<char[]> exact(new char[text.size() + 1]());
    text.copy(exact.get(), text.size());
    XMLResults results = {-1, -1, -1};
    const XMLNode node = XMLNode::parseString(exact.get(), nullptr, &results);
    ASSERT_EQ(node.isEmpty(), results.error != XMLErrorNone) << text;
    ASSERT_TRUE(results.line >= 1 && results.column >= 1) << text;
    if (node.isEmpty()) continue;
    ++trees;
    const std::string written = node.createXMLString(static_cast<int>(random.range(-1, 3)));
    ASSERT_EQ(treeOf(XMLNode::parseString(written.c_str())), treeOf(node))
        << "from: " << text << "\nwritten: " << written;
    const auto guessed = XMLNode::guessCharEncoding(exact.get(), static_cast<int>(text.size()));
    ASSERT_TRUE(guessed >= XMLCharEncodingUnknown && guessed <= XMLCharEncodingGBK);
  }
  EXPECT_GT(trees, 1500);
  EXPECT_LT(trees, kRounds - 1500);
  EXPECT_LE(liveNewBlocks(), before + 16);
}

}  // namespace
