#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "support/scratch_directory.h"
#include "velmora_sr/configuration.h"

namespace {

using namespace velmora::test;

class XmlConfigTest : public testing::Test {
 protected:
  void load(const std::string& body) {
    const std::string path = directory_.path("config.xml");
    writeFile(path, "<?xml version='1.0' encoding='utf-8'?>" + body);
    ASSERT_EQ(config_.LoadConfig(path.c_str()), 1);
  }
  ScratchDirectory directory_;
  XmlConfig config_;
};

TEST_F(XmlConfigTest, HoldsNothingUntilLoadedAndAnEmptyConfigWithoutAFile) {
  EXPECT_TRUE(config_.SearchNode("/Config").isEmpty());
  for (const char* path : {static_cast<const char*>(nullptr), "", "/nowhere/at/all.xml"}) {
    EXPECT_EQ(config_.LoadConfig(path), 1);
    EXPECT_STREQ(config_.SearchNode("/Config").getName(), "Config");
    EXPECT_EQ(config_.SearchNode("/Config").nElement(), 0);
  }
}

TEST_F(XmlConfigTest, FollowsPaths) {
  const std::string name(254, 'n');
  load("<Config><A><B>1</B></A><A><B>2</B><C>3</C></A></Config><" + name + "/>");
  EXPECT_STREQ(config_.SearchNode("/config/A/b").getText(), "1");
  for (const char* path :
       {"/Config/A/C", "Config/A/B", "", "/", "//Config", "/Config/", "/Config/A/B/", "/Config//A",
        static_cast<const char*>(nullptr)})  // C is in the second A only
    EXPECT_TRUE(config_.SearchNode(path).isEmpty()) << (path == nullptr ? "null" : path);
  EXPECT_FALSE(config_.SearchNode(("/" + name).c_str()).isEmpty());
  EXPECT_FALSE(config_.SearchNode(("/" + name + "x").c_str()).isEmpty()) << "256: the last is cut";
  EXPECT_TRUE(config_.SearchNode(("/" + name + "xx").c_str()).isEmpty());
}

TEST_F(XmlConfigTest, ReadsSingleValues) {
  load("<Config><I> 12 </I><F>2.5</F><G>1e99</G><T>some text</T><E/></Config>");
  EXPECT_EQ(config_.GetInteger("/Config/I", 5), 12);
  EXPECT_EQ(config_.GetFloat("/Config/F", 1.0f), 2.5f);
  EXPECT_EQ(config_.GetFloat("/Config/G", 1.0f), std::numeric_limits<float>::max());
  for (const char* path : {"/Config/T", "/Config/E", "/Config/Absent"}) {
    EXPECT_EQ(config_.GetInteger(path, 5), 5) << path;
    EXPECT_EQ(config_.GetFloat(path, 1.0f), 1.0f) << path;
    EXPECT_STREQ(config_.GetString(path, "d"),
                 path == std::string("/Config/T") ? "some text" : "d");
  }
  EXPECT_EQ(config_.GetString("/Config/Absent", nullptr), nullptr);
}

TEST_F(XmlConfigTest, ReadsListsWithinTheCallersArray) {
  load("<Config><L>1, 2;3\n-4 ,; 99999 5x 6</L><R>.5;-1e1 2</R><N>none</N></Config>");
  const auto list = [this](auto read, const char* path, auto fill, int n) {
    std::vector<decltype(fill)> values(8, fill);
    values.push_back(static_cast<decltype(fill)>((config_.*read)(path, values.data(), n)));
    return values;  // eight, and the count
  };
  using Ints = std::vector<int>;
  EXPECT_EQ(list(&XmlConfig::GetVectorInt, "/Config/L", 77, 8),
            (Ints{1, 2, 3, -4, 99999, 5, 77, 77, 6}));
  EXPECT_EQ(list(&XmlConfig::GetVectorInt, "/Config/L", 77, 2),
            (Ints{1, 2, 77, 77, 77, 77, 77, 77, 2}));
  EXPECT_EQ(list(&XmlConfig::GetVectorShort, "/Config/L", short{7}, 8),
            (std::vector<short>{1, 2, 3, -4, 32767, 5, 7, 7, 6}));
  EXPECT_EQ(list(&XmlConfig::GetVectorUnsignedInt, "/Config/L", 7u, 8),
            (std::vector<unsigned>{1, 2, 3, 0, 99999, 5, 7, 7, 6}));
  EXPECT_EQ(list(&XmlConfig::GetVectorFloat, "/Config/R", 7.0f, 8),
            (std::vector<float>{0.5f, -10, 2, 7, 7, 7, 7, 7, 3}));
  for (const char* path : {"/Config/N", "/Config/Absent"})
    EXPECT_EQ(list(&XmlConfig::GetVectorInt, path, 77, 8).back(), 0) << path;
  EXPECT_EQ(config_.GetVectorInt("/Config/L", nullptr, 0), 0);
  EXPECT_EQ(config_.GetVectorInt("/Config/L", nullptr, -1), 0);
}

}  // namespace
