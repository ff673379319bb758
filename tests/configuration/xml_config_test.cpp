#include <gtest/gtest.h>

#include <array>
#include <limits>
#include <string>

#include "support/new_faults.h"
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

TEST_F(XmlConfigTest, IsEmptyUntilLoaded) {
  EXPECT_TRUE(config_.SearchNode("/Config").isEmpty());
  EXPECT_EQ(config_.GetInteger("/Config", 3), 3);
}

TEST_F(XmlConfigTest, HoldsAnEmptyConfigWithoutAFile) {
  for (const char* path : {static_cast<const char*>(nullptr), "", "/nowhere/at/all.xml"}) {
    EXPECT_EQ(config_.LoadConfig(path), 1);
    EXPECT_STREQ(config_.SearchNode("/Config").getName(), "Config");
    EXPECT_EQ(config_.SearchNode("/Config").nElement(), 0);
  }
  const NewFaults faults(0);
  EXPECT_EQ(config_.LoadConfig(nullptr), 0);
  EXPECT_TRUE(config_.SearchNode("/Config").isEmpty());
}

TEST_F(XmlConfigTest, FollowsPaths) {
  load("<Config><A><B>1</B></A><A><B>2</B><C>3</C></A></Config>");
  const struct {
    const char* path;
    const char* text;  // null: no such node
  } cases[] = {
      {"/Config/A/B", "1"},    {"/config/a/b", "1"},  {"/Config/A/C", nullptr},  // the first A only
      {"Config/A/B", nullptr}, {"", nullptr},         {"/", nullptr},
      {"//Config", nullptr},   {"/Config/", nullptr}, {"/Config/A/B/", nullptr},
      {"/Config//A", nullptr}, {nullptr, nullptr},
  };
  for (const auto& c : cases) {
    const XMLNode node = config_.SearchNode(c.path);
    EXPECT_EQ(node.isEmpty(), c.text == nullptr) << (c.path == nullptr ? "null" : c.path);
    EXPECT_STREQ(node.getText(), c.text);
  }
}

TEST_F(XmlConfigTest, CutsLongPathsAndRefusesTooLongOnes) {
  const std::string name(254, 'n');
  load("<" + name + ">1</" + name + ">");
  EXPECT_FALSE(config_.SearchNode(("/" + name).c_str()).isEmpty());
  EXPECT_FALSE(config_.SearchNode(("/" + name + "x").c_str()).isEmpty()) << "256: the last is cut";
  EXPECT_TRUE(config_.SearchNode(("/" + name + "xx").c_str()).isEmpty());
  EXPECT_TRUE(config_.SearchNode(("/" + std::string(299, 'n')).c_str()).isEmpty());
}

TEST_F(XmlConfigTest, ReadsSingleValues) {
  load("<Config><I> 12 </I><S>-9999999999</S><F>2.5</F><G>1e99</G><T>some text</T><E/></Config>");
  EXPECT_EQ(config_.GetInteger("/Config/I", 5), 12);
  EXPECT_EQ(config_.GetInteger("/Config/S", 5), std::numeric_limits<int>::min());
  EXPECT_EQ(config_.GetInteger("/Config/F", 5), 2);
  EXPECT_EQ(config_.GetInteger("/Config/T", 5), 5);
  EXPECT_EQ(config_.GetInteger("/Config/E", 5), 5);
  EXPECT_EQ(config_.GetInteger("/Config/Absent", 5), 5);
  EXPECT_EQ(config_.GetFloat("/Config/F", 1.0f), 2.5f);
  EXPECT_EQ(config_.GetFloat("/Config/G", 1.0f), std::numeric_limits<float>::max());
  EXPECT_EQ(config_.GetFloat("/Config/T", 1.0f), 1.0f);
  EXPECT_EQ(config_.GetFloat("/Config/E", 1.0f), 1.0f);
  EXPECT_STREQ(config_.GetString("/Config/T", "d"), "some text");
  EXPECT_STREQ(config_.GetString("/Config/E", "d"), "d");
  EXPECT_EQ(config_.GetString("/Config/Absent", nullptr), nullptr);
}

TEST_F(XmlConfigTest, ReadsListsWithinTheCallersArray) {
  load("<Config><L>1, 2;3\n-4 ,; 99999 5x 6</L><R>.5;-1e1 2</R><N>none</N></Config>");
  std::array<int, 8> ints{};
  EXPECT_EQ(config_.GetVectorInt("/Config/L", ints.data(), 8), 6);
  EXPECT_EQ(ints, (std::array<int, 8>{1, 2, 3, -4, 99999, 5, 0, 0}));
  ints.fill(77);
  EXPECT_EQ(config_.GetVectorInt("/Config/L", ints.data(), 2), 2);
  EXPECT_EQ(ints[2], 77);
  for (const int n : {0, -1, std::numeric_limits<int>::min()})
    EXPECT_EQ(config_.GetVectorInt("/Config/L", nullptr, n), 0);
  EXPECT_EQ(config_.GetVectorInt("/Config/N", ints.data(), 8), 0);
  EXPECT_EQ(config_.GetVectorInt("/Config/Absent", ints.data(), 8), 0);

  std::array<short, 6> shorts{};
  EXPECT_EQ(config_.GetVectorShort("/Config/L", shorts.data(), 6), 6);
  EXPECT_EQ(shorts, (std::array<short, 6>{1, 2, 3, -4, 32767, 5}));
  std::array<unsigned, 6> unsigneds{};
  EXPECT_EQ(config_.GetVectorUnsignedInt("/Config/L", unsigneds.data(), 6), 6);
  EXPECT_EQ(unsigneds, (std::array<unsigned, 6>{1, 2, 3, 0, 99999, 5}));
  std::array<float, 4> floats{};
  EXPECT_EQ(config_.GetVectorFloat("/Config/R", floats.data(), 4), 3);
  EXPECT_EQ(floats, (std::array<float, 4>{0.5f, -10.0f, 2.0f, 0.0f}));
}

}  // namespace
