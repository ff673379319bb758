#include <gtest/gtest.h>

#include <string>

#include "configuration/xml_encoding.h"
#include "support/scratch_directory.h"
#include "velmora_sr/xml_document.h"
#include "xml_tree.h"

namespace {

using namespace velmora::test;

class XmlFiles : public testing::Test {
 protected:
  std::string write(const std::string& bytes) {
    const std::string path = directory_.path("document.xml");
    writeFile(path, bytes);
    return path;
  }
  ScratchDirectory directory_;
  XmlOptionsScope options_{XMLCharEncodingUTF8};
};

TEST_F(XmlFiles, AreParsedLikeTexts) {
  XMLResults results = {};
  const std::string path = write("<?xml?>\n<Config><A>7</A></Config>");
  EXPECT_EQ(treeOf(XMLNode::parseFile(path.c_str(), nullptr, &results)),
            "top(?xml()Config(A(\"7\")))");
  EXPECT_EQ(results.error, XMLErrorNone);
  EXPECT_EQ(results.line, 2);
  EXPECT_EQ(treeOf(XMLNode::parseFile(path.c_str(), "config")), "Config(A(\"7\"))");
  EXPECT_EQ(treeOf(XMLNode::openFileHelper(path.c_str(), "config")), "Config(A(\"7\"))");
  EXPECT_TRUE(XMLNode::openFileHelper(path.c_str(), "A").isEmpty());
}

TEST_F(XmlFiles, EndAtTheirFirstNullByte) {
  const std::string path = write(std::string("<a/>\0<b>", 8));
  EXPECT_EQ(treeOf(XMLNode::parseFile(path.c_str())), "a()");
}

TEST_F(XmlFiles, ThatCannotBeReadAreAnError) {
  const std::string big = write(std::string((16u << 20) + 1, ' '));
  const std::string missing = directory_.path("missing");
  const std::string folder = directory_.path("");
  const struct {
    const char* path;
    int error;
  } cases[] = {
      {nullptr, XMLErrorFile},
      {missing.c_str(), XMLErrorFile},
      {folder.c_str(), XMLErrorFile},
      {big.c_str(), XMLErrorTooLarge},
  };
  for (const auto& c : cases) {
    XMLResults results = {};
    EXPECT_TRUE(XMLNode::parseFile(c.path, nullptr, &results).isEmpty());
    EXPECT_EQ(results.error, c.error);
    EXPECT_TRUE(XMLNode::openFileHelper(c.path).isEmpty());
  }
}

TEST_F(XmlFiles, MayHold16MiB) {
  std::string bytes = "<a>";
  bytes.resize((16u << 20) - 4, 'x');
  const std::string path = write(bytes + "</a>");
  EXPECT_EQ(std::string(XMLNode::parseFile(path.c_str()).getText()).size(), (16u << 20) - 7);
}

TEST_F(XmlFiles, BringTheirEncodingAndKeepTheOtherOptions) {
  XMLNode::setGlobalOptions(XMLCharEncodingUTF8, 0, 0, 1);
  const std::string text = "<![CDATA[\x83\x5D]>]]>";
  EXPECT_EQ(treeOf(XMLNode::openFileHelper(
                write("<?xml version='1.0' encoding='SJIS'?><a>" + text + "</a>").c_str(), "a")),
            "a([" + text + "])");
  EXPECT_EQ(velmora::xmlOptions().encoding, XMLCharEncodingShiftJIS);
  EXPECT_FALSE(velmora::xmlOptions().guessWideChars);
  EXPECT_FALSE(velmora::xmlOptions().dropWhiteSpace);
  EXPECT_TRUE(velmora::xmlOptions().trimTexts);
  // Too short to tell: UTF-8, whatever the file before it was.
  EXPECT_EQ(treeOf(XMLNode::openFileHelper(write("<a/>").c_str())), "a()");
  EXPECT_EQ(velmora::xmlOptions().encoding, XMLCharEncodingUTF8);
}

TEST_F(XmlFiles, AreUTF8AlsoWhenTheGuessCutsACharacter) {
  for (int shift = 0; shift < 4; ++shift) {
    std::string text = "<a>" + std::string(static_cast<std::size_t>(shift), ' ');
    for (int i = 0; i < 100; ++i)
      text += "\xF0\x9F\x98\x80";
    XMLNode::setGlobalOptions(XMLCharEncodingGBK);
    XMLNode::openFileHelper(write(text + "</a>").c_str());
    EXPECT_EQ(velmora::xmlOptions().encoding, XMLCharEncodingUTF8) << shift;
  }
}

}  // namespace
