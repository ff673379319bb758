#include "file_names.h"

#include <gtest/gtest.h>

namespace velmora::tool {
namespace {

TEST(DumpName, ReadsWhatTheLibraryWrites) {
  const auto dump = parseDumpName("/data/2024_1_2_3_4_5_sr_left_w640_h480_f4.yuv");
  ASSERT_TRUE(dump);
  EXPECT_EQ(dump->size, (Size{640, 480}));
  EXPECT_EQ(dump->format, FileFormat::nv12);
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
  for (const char* name : {"a.png/b", "png", "x.yuv", "x."})
    EXPECT_FALSE(formatByExtension(name)) << name;
}

}  // namespace
}  // namespace velmora::tool
