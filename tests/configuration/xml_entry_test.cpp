#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "configuration/xml_encoding.h"
#include "support/heap_faults.h"
#include "support/scratch_directory.h"
#include "velmora_sr/configuration.h"
#include "velmora_sr/xml_document.h"
#include "xml_tree.h"

namespace {

using namespace velmora::test;

class XmlFiles : public testing::Test {
 protected:
  const char* write(const std::string& bytes) {
    writeFile(path_, bytes);
    return path_.c_str();
  }
  static void expectOptions(XMLCharEncoding encoding) {
    const velmora::XmlOptions& options = velmora::xmlOptions();
    EXPECT_EQ(options.encoding, encoding);
    EXPECT_TRUE(!options.guessWideChars && !options.dropWhiteSpace && options.trimTexts);
  }
  ScratchDirectory directory_;
  std::string path_ = directory_.path("document.xml");
  XmlOptionsScope options_{XMLCharEncodingUTF8};
};

TEST_F(XmlFiles, AreParsedLikeTextsUpToTheFirstNullByte) {
  XMLResults results = {};
  const char* path = write(std::string("<?xml?>\n<Config><A>7</A></Config>\0<b>", 37));
  EXPECT_EQ(treeOf(XMLNode::parseFile(path, nullptr, &results)), "top(?xml()Config(A(\"7\")))");
  EXPECT_EQ(results.error, XMLErrorNone);
  EXPECT_EQ(results.line, 2);
  EXPECT_EQ(treeOf(XMLNode::openFileHelper(path, "config")), "Config(A(\"7\"))");
  EXPECT_TRUE(XMLNode::openFileHelper(path, "A").isEmpty());
}

TEST_F(XmlFiles, ThatCannotBeReadOrAreTooLargeAreAnError) {
  const std::string missing = directory_.path("missing");
  const std::string folder = directory_.path("");
  const std::string bytes = "<a/>" + std::string((16u << 20) - 4, ' ');
  EXPECT_EQ(treeOf(XMLNode::parseFile(write(bytes))), "a()");
  write(bytes + " ");
  for (const char* path :
       {static_cast<const char*>(nullptr), missing.c_str(), folder.c_str(), path_.c_str()}) {
    XMLResults results = {};
    EXPECT_TRUE(XMLNode::parseFile(path, nullptr, &results).isEmpty());
    EXPECT_EQ(results.error, path == path_.c_str() ? XMLErrorTooLarge : XMLErrorFile);
    EXPECT_TRUE(XMLNode::openFileHelper(path).isEmpty());
  }
}

TEST_F(XmlFiles, BringTheirEncodingAndKeepTheOtherOptions) {
  XMLNode::setGlobalOptions(XMLCharEncodingGBK, 0, 0, 1);
  expectOptions(XMLCharEncodingGBK);
  const std::string text = "<![CDATA[\x83\x5D]>]]>";
  EXPECT_EQ(treeOf(XMLNode::openFileHelper(
                write("<?xml version='1.0' encoding='SJIS'?><a>" + text + "</a>"), "a")),
            "a([" + text + "])");
  expectOptions(XMLCharEncodingShiftJIS);
  // UTF-8, whatever the file before it was: too short to tell, or cut by the guess in a character.
  std::string faces;
  for (int i = 0; i < 100; ++i)
    faces += "\xF0\x9F\x98\x80";
  for (const std::string& body : {std::string(), faces, " " + faces, "  " + faces, "   " + faces}) {
    XMLNode::setGlobalOptions(XMLCharEncodingGBK, 0, 0, 1);
    XMLNode::openFileHelper(write("<a>" + body + "</a>"));
    expectOptions(XMLCharEncodingUTF8);
  }
}

TEST_F(XmlFiles, AreWholeOrRefusedWhenARequestForMemoryFails) {
  const std::string text =
      "<?xml version='1.0'?><Config one='a value that needs a block of its own'><A>7 &amp; more "
      "text than fits a small string</A><!-- a comment of some length, too --><B/></Config>";
  const char* path = write(text);
  XMLResults results;
  const std::function<bool()> calls[] = {
      [&] { return !XMLNode::parseString(text.c_str(), nullptr, &results).isEmpty(); },
      [&] { return !XMLNode::parseFile(path, nullptr, &results).isEmpty(); },
      [&] { return !XMLNode::openFileHelper(path).isEmpty(); },
      [&] {
        XmlConfig config;
        const bool loaded = config.LoadConfig(path) == 1;
        EXPECT_EQ(loaded, !config.SearchNode("/Config").isEmpty());
        return config.GetInteger("/Config/A", 0) == 7;
      },
      [&] { return XmlConfig().LoadConfig(nullptr) == 1; },
  };
  for (const auto& call : calls) {
    for (int n = 0, failed = 1; failed > 0; ++n) {
      results.error = XMLErrorOutOfMemory;
      const std::ptrdiff_t before = liveNewBlocks();
      bool whole = false;
      {
        const HeapFaults faults(n / 2, Requests::kNew, n % 2 != 0);
        whole = call();
        failed = faults.requests() - n / 2;
      }
      ASSERT_TRUE(whole || (failed > 0 && results.error == XMLErrorOutOfMemory)) << n;
      ASSERT_TRUE(!whole || n > 10) << n;
      ASSERT_EQ(liveNewBlocks(), before) << n;
    }
  }
}

}  // namespace
