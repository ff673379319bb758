#include "output_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "errors.h"
#include "temporary_folder.h"

namespace velmora::tool {
namespace {

using test::TemporaryFolder;

TEST(OutputFile, ReplacesAtCommitOnly) {
  const TemporaryFolder folder;
  const std::string path = folder.file("a");
  test::writeFile(path, std::string("old"));
  OutputFile file(path);
  file.write(std::string("new"));
  EXPECT_EQ(test::fileText(path), "old");
  file.commit();
  EXPECT_EQ(test::fileText(path), "new");
  EXPECT_EQ(folder.fileCount(), 1u);
}

TEST(OutputFile, KeepsTheOldFileWhenTheWorkFails) {
  const TemporaryFolder folder;
  const std::string path = folder.file("a");
  test::writeFile(path, std::string("old"));
  {
    OutputFile file(path);
    file.write(std::string("half"));
  }
  EXPECT_EQ(test::fileText(path), "old");
  EXPECT_EQ(folder.fileCount(), 1u);
}

TEST(OutputFile, WritesThroughLinks) {
  const TemporaryFolder folder;
  test::writeFile(folder.file("target"), std::string("old"));
  std::filesystem::create_symlink("target", folder.file("link"));
  OutputFile file(folder.file("link"));
  file.write(std::string("new"));
  file.commit();
  EXPECT_TRUE(std::filesystem::is_symlink(folder.file("link")));
  EXPECT_EQ(test::fileText(folder.file("target")), "new");
}

TEST(OutputFile, HasTheModeOfOrdinaryFiles) {
  const TemporaryFolder folder;
  const mode_t old = umask(027);
  {
    OutputFile file(folder.file("a"));
    file.commit();
  }
  umask(old);
  struct stat info = {};
  ASSERT_EQ(stat(folder.file("a").c_str(), &info), 0);
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
  const TemporaryFolder folder;
  EXPECT_THROW(OutputFile(folder.file("")), Failure);
  EXPECT_THROW(OutputFile(folder.file("missing/a")), Failure);
}

}  // namespace
}  // namespace velmora::tool
