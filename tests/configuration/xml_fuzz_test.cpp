// Mutated documents through the parser and the writer; meant for the sanitizers.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "support/new_faults.h"
#include "support/random.h"
#include "velmora_sr/xml_document.h"
#include "xml_tree.h"

namespace {

using velmora::test::liveNewBlocks;
using velmora::test::Random;
using velmora::test::treeOf;
using velmora::test::XmlOptionsScope;

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

std::string mutate(Random& random, std::string text) {
  for (int64_t edits = random.range(1, 6); edits > 0; --edits) {
    const auto at = static_cast<std::size_t>(random.range(0, static_cast<int64_t>(text.size())));
    switch (random.range(0, 4)) {
      case 0:
        text.insert(at, kPieces[random.index(kPieces.size())]);
        break;
      case 1:
        text.erase(at, random.index(8));
        break;
      case 2:
        if (at < text.size()) text[at] = static_cast<char>(random.range(1, 255));
        break;
      case 3: {
        const std::size_t from = random.index(text.size() + 1);
        text.insert(at, text.substr(from, random.index(40)));
        break;
      }
      default:
        text.resize(at);
        break;
    }
  }
  return text;
}

TEST(XmlFuzz, EveryOutcomeIsATreeThatRoundTripsOrACode) {
  const std::ptrdiff_t before = liveNewBlocks();
  Random random(20150302);
  int trees = 0;
  int faults = 0;
  for (int round = 0; round < 20000; ++round) {
    // In this order on every compiler, so that all of them see the same texts.
    const auto encoding = static_cast<XMLCharEncoding>(random.range(1, 6));
    const XmlOptionsScope scope(encoding, 1, 1, static_cast<char>(random.next() & 1));
    const std::string text = mutate(random, kSeeds[random.index(kSeeds.size())]);
    XMLResults results = {-1, -1, -1};
    const XMLNode node = XMLNode::parseString(text.c_str(), nullptr, &results);
    ASSERT_EQ(node.isEmpty(), results.error != XMLErrorNone) << text;
    ASSERT_GE(results.line, 1);
    ASSERT_GE(results.column, 1);
    ++(node.isEmpty() ? faults : trees);
    if (node.isEmpty()) continue;
    const std::string written = node.createXMLString(static_cast<int>(random.range(-1, 3)));
    ASSERT_EQ(treeOf(XMLNode::parseString(written.c_str())), treeOf(node))
        << "from: " << text << "\nwritten: " << written;
    const auto guessed = XMLNode::guessCharEncoding(text.data(), static_cast<int>(text.size()), 1);
    ASSERT_TRUE(guessed >= XMLCharEncodingUnknown && guessed <= XMLCharEncodingGBK);
  }
  EXPECT_GT(trees, 1500);
  EXPECT_GT(faults, 1500);
  EXPECT_LE(liveNewBlocks(), before + 16);
}

}  // namespace
