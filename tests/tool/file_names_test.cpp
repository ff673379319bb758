#include "file_names.h"

#include <gtest/gtest.h>

namespace velmora::tool {
namespace {

TEST(DumpName, ReadsWhatTheLibraryWrites) {
  const auto dump = parseDumpName("/data/2024_1_2_3_4_5_sr_left_w640_h480_f4.yuv");
  ASSERT_TRUE(dump);
  EXPECT_EQ(dump->size, (Size{640, 480}));
  EXPECT_EQ(dump->format, FileFormat::nv12);
  EXPECT_EQ(parseDumpName("x_w1_h2_f5.yuv")->format, FileFormat::nv21);
  EXPECT_EQ(parseDumpName("x_w1_h2_f0.yuv")->format, FileFormat::i420);
}

TEST(DumpName, IsNothingForOtherNames) {
  for (const char* name :
       {"", "a.yuv", "w640_h480_f4.yuv", "a_w640_h480.yuv", "a_w640_h480_f4.png",
        "a_w640_h480_f1.yuv", "a_w0_h480_f4.yuv", "a_w640_h_f4.yuv", "a_w-1_h480_f4.yuv",
        "a_w640_h480_f4.yuv.png", "a_h640_w480_f4.yuv", "a_w99999999999_h480_f4.yuv",
        "a_w640_h480_f4x.yuv", "a_w40000_h480_f4.yuv", "_f4.yuv", ".yuv"}) {
    EXPECT_FALSE(parseDumpName(name)) << name;
  }
}

TEST(FormatByExtension, IgnoresCaseAndFolders) {
  EXPECT_EQ(formatByExtension("a.PNG"), FileFormat::png);
  EXPECT_EQ(formatByExtension("a.b/c.Jpeg"), FileFormat::jpeg);
  EXPECT_EQ(formatByExtension("x.jpg"), FileFormat::jpeg);
  EXPECT_EQ(formatByExtension("x.y4m"), FileFormat::y4m);
  EXPECT_EQ(formatByExtension("x.nv21"), FileFormat::nv21);
  EXPECT_FALSE(formatByExtension("a.png/b"));
  EXPECT_FALSE(formatByExtension("png"));
  EXPECT_FALSE(formatByExtension("x.yuv"));
  EXPECT_FALSE(formatByExtension("x."));
}

}  // namespace
}  // namespace velmora::tool
