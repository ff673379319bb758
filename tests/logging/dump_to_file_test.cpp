#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/log_capture.h"
#include "support/scratch_directory.h"
#include "velmora_sr/logging.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using velmora::test::LogCapture;
using velmora::test::LogLine;
using velmora::test::readFile;

constexpr uint8_t kLuma[] = {1, 2, 0, 255};
constexpr uint8_t kChroma[] = {10, 13};

class DumpToFile : public testing::Test {
 protected:
  [[nodiscard]] LogLine line(int priority, const std::string& text) const {
    return {priority, "NB7UO_ZELK", "NB7UO_ZELK: " + text + " [" + path_ + "]"};
  }
  [[nodiscard]] LogLine doneLine(int size) const {
    LogLine done = line(4, "done writing " + std::to_string(size) + " bytes to file");
    done.text += '\n';
    return done;
  }

  velmora::test::ScratchDirectory directory_;
  std::string path_ = directory_.path("frame%d.yuv");
  LogCapture log_;
};

TEST_F(DumpToFile, WritesBothPlanesOneAfterTheOther) {
  dump_to_file(path_.c_str(), kLuma, 4, kChroma, 2);
  EXPECT_EQ(readFile(path_), std::string("\1\2\0\377\n\r", 6));
  EXPECT_THAT(log_.take(), ElementsAre(doneLine(4), doneLine(2)));
}

TEST_F(DumpToFile, ReplacesAnOlderFile) {
  velmora::test::writeFile(path_, "something longer than a plane");
  dump_to_file(path_.c_str(), kLuma, 4, nullptr, 2);
  EXPECT_EQ(readFile(path_), std::string("\1\2\0\377", 4));
  EXPECT_THAT(log_.take(), ElementsAre(doneLine(4)));
}

TEST_F(DumpToFile, LeavesOutMissingAndEmptyPlanes) {
  dump_to_file(path_.c_str(), nullptr, 4, kChroma, 2);
  EXPECT_EQ(readFile(path_), "\n\r");
  EXPECT_THAT(log_.take(), ElementsAre(doneLine(2)));

  dump_to_file(path_.c_str(), kLuma, 0, kChroma, -1);
  EXPECT_TRUE(std::filesystem::exists(path_));
  EXPECT_EQ(readFile(path_), "");
  EXPECT_THAT(log_.take(), IsEmpty());
}

TEST_F(DumpToFile, SaysWhenTheFileCannotBeCreated) {
  path_ = directory_.path("missing/frame.yuv");
  dump_to_file(path_.c_str(), kLuma, 4, kChroma, 2);
  EXPECT_THAT(log_.take(), ElementsAre(line(6, "failed to create file")));
  path_.clear();
  dump_to_file(nullptr, kLuma, 4, kChroma, 2);
  EXPECT_THAT(log_.take(), ElementsAre(line(6, "failed to create file")));
}

TEST_F(DumpToFile, SaysWhenTheDiskIsFull) {
  path_ = "/dev/full";
  if (!std::filesystem::exists(path_)) GTEST_SKIP() << "no " << path_;
  dump_to_file(path_.c_str(), kLuma, 4, nullptr, 0);
  LogLine expected = line(6, "failed to write 4 bytes to file");
  expected.text += '\n';
  EXPECT_THAT(log_.take(), ElementsAre(expected));
}

}  // namespace
