#include "output_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "errors.h"
#include "support/scratch_directory.h"

namespace velmora::tool {
namespace {

using test::ScratchDirectory;

TEST(OutputFile, ReplacesAtCommitOnly) {
  const ScratchDirectory folder;
  const std::string path = folder.path("a");
  test::writeFile(path, std::string("old"));
  OutputFile file(path);
  file.write(std::string("new"));
  EXPECT_EQ(test::readFile(path), "old");
  file.commit();
  EXPECT_EQ(test::readFile(path), "new");
  EXPECT_EQ(folder.fileCount(), 1u);
}

TEST(OutputFile, KeepsTheOldFileWhenTheWorkFails) {
  const ScratchDirectory folder;
  const std::string path = folder.path("a");
  test::writeFile(path, std::string("old"));
  {
    OutputFile file(path);
    file.write(std::string("half"));
  }
  EXPECT_EQ(test::readFile(path), "old");
  EXPECT_EQ(folder.fileCount(), 1u);
}

TEST(OutputFile, WritesThroughLinks) {
  const ScratchDirectory folder;
  test::writeFile(folder.path("target"), std::string("old"));
  std::filesystem::create_symlink("target", folder.path("link"));
  OutputFile file(folder.path("link"));
  file.write(std::string("new"));
  file.commit();
  EXPECT_TRUE(std::filesystem::is_symlink(folder.path("link")));
  EXPECT_EQ(test::readFile(folder.path("target")), "new");
}

TEST(OutputFile, HasTheModeOfOrdinaryFiles) {
  const ScratchDirectory folder;
  const mode_t old = umask(027);
  {
    OutputFile file(folder.path("a"));
    file.commit();
  }
  umask(old);
  struct stat info = {};
  ASSERT_EQ(stat(folder.path("a").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0640u);
}

TEST(OutputFile, WritesDevicesDirectly) {
  OutputFile file("/dev/null");
  file.write(std::string("gone"));
  file.commit();
  struct stat info = {};
  ASSERT_EQ(stat("/dev/null", &info), 0);
  EXPECT_TRUE(S_ISCHR(info.st_mode));
}

TEST(OutputFile, NamesWhatCannotBeMade) {
  const ScratchDirectory folder;
  EXPECT_THROW(OutputFile(folder.path("")), Failure);
  EXPECT_THROW(OutputFile(folder.path("missing/a")), Failure);
}

}  // namespace
}  // namespace velmora::tool
