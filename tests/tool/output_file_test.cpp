#undef _FORTIFY_SOURCE  // open() is defined below
#include "output_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdarg>

#include "errors.h"
#include "output_target.h"
#include "support/scratch_directory.h"

namespace {
bool namedOnly = false;  // the file system has no files without a name
int syncError = 0;
}  // namespace

// Take the places of those of the C library.
extern "C" int open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = va_arg(arguments, mode_t);
  va_end(arguments);
  if (namedOnly && (flags & O_TMPFILE) == O_TMPFILE) {
    errno = EOPNOTSUPP;
    return -1;
  }
  return openat(AT_FDCWD, path, flags, mode);
}

extern "C" int fsync(int descriptor) {
  if (syncError == 0) return fdatasync(descriptor);
  errno = syncError;
  return -1;
}

namespace velmora::tool {
namespace {

namespace fs = std::filesystem;
using test::readFile;

struct stat infoOf(const std::string& path) {
  struct stat info = {};
  EXPECT_EQ(stat(path.c_str(), &info), 0) << path;
  return info;
}

class OutputFileTest : public ::testing::TestWithParam<bool> {
 protected:
  void SetUp() override {
    const int probe = ::open(folder_.path("").c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
    if (probe < 0) GTEST_SKIP() << "the file system has no files without a name";
    close(probe);
    namedOnly = GetParam();
  }
  ~OutputFileTest() override { namedOnly = false; }

  void put(const std::string& path, bool commit = true) {
    const std::size_t before = folder_.fileCount();
    OutputFile file(path);
    file.write(std::string("new"));
    EXPECT_EQ(folder_.fileCount(), before + (namedOnly ? 1 : 0));
    if (commit) file.commit();
  }

  test::ScratchDirectory folder_;
};

TEST_P(OutputFileTest, ReplacesAtCommitOnlyAndPassesAccessOn) {
  const std::string path = folder_.path("a");
  test::writeFile(path, std::string("old"));
  const bool root = geteuid() == 0;
  EXPECT_EQ(root ? chown(path.c_str(), 1234, 1235) : 0, 0);
  ASSERT_EQ(chmod(path.c_str(), 0604), 0);
  fs::create_hard_link(path, folder_.path("other"));
  put(path, false);
  syncError = EIO;
  EXPECT_THROW(put(path), Failure);
  syncError = 0;
  EXPECT_EQ(readFile(path), "old");
  put(path);
  EXPECT_EQ(readFile(path), "new");
  EXPECT_EQ(readFile(folder_.path("other")), "old");
  EXPECT_EQ(folder_.fileCount(), 2u);
  EXPECT_EQ(infoOf(path).st_mode & 07777, 0604u);
  EXPECT_EQ(infoOf(path).st_uid, root ? 1234u : geteuid());
  EXPECT_EQ(infoOf(path).st_gid, infoOf(folder_.path("other")).st_gid);
}

TEST_P(OutputFileTest, MakesOrdinaryFilesAndFollowsLinks) {
  fs::create_directory(folder_.path("sub"));
  fs::create_symlink("missing", folder_.path("sub/second"));
  fs::create_symlink("sub/second", folder_.path("first"));
  const mode_t old = umask(027);
  OutputFile(folder_.path("first")).commit();
  umask(old);
  EXPECT_EQ(infoOf(folder_.path("sub/missing")).st_mode & 0777, 0640u);
  fs::create_symlink("a", folder_.path("link"));
  put(folder_.path("link"));
  EXPECT_TRUE(fs::is_symlink(folder_.path("link")));
  EXPECT_EQ(readFile(folder_.path("a")), "new");
}

TEST_P(OutputFileTest, ASecondSignalLeavesNothing) {
  const auto stopTwice = [&](int first, int second) {
    interrupt::install();
    OutputFile one(folder_.path("one"));
    OutputFile two(folder_.path("two"));
    { OutputFile done(folder_.path("three")); }
    raise(first);
    if (interrupt::pending() == first) raise(second);
  };
  EXPECT_EXIT(stopTwice(SIGINT, SIGTERM), ::testing::KilledBySignal(SIGTERM), "");
  const int hard = namedOnly ? SIGINT : SIGKILL;
  EXPECT_EXIT(stopTwice(hard, hard), ::testing::KilledBySignal(hard), "");
  EXPECT_EQ(folder_.fileCount(), 0u);
}

INSTANTIATE_TEST_SUITE_P(NamedOnly, OutputFileTest, ::testing::Bool());

TEST(OutputFile, NamesWhatCannotBeMadeAndWritesDevicesDirectly) {
  const test::ScratchDirectory folder;
  fs::create_symlink("round", folder.path("round"));
  for (const char* name : {"", "missing/a", "missing/", "round"})
    EXPECT_THROW(OutputFile(folder.path(name)), Failure) << name;
  EXPECT_THROW(OutputFile(""), Failure);
  OutputFile file("/dev/null");
  file.write(std::string("gone"));
  file.commit();
  EXPECT_TRUE(S_ISCHR(infoOf("/dev/null").st_mode));
}

TEST(SeparateFiles, AreToldApartByWhatTheyAre) {
  const test::ScratchDirectory folder;
  test::writeFile(folder.path("a"), std::string("a"));
  test::writeFile(folder.path("b"), std::string("a"));
  fs::create_hard_link(folder.path("a"), folder.path("hard"));
  fs::create_symlink("a", folder.path("soft"));
  fs::create_symlink("new", folder.path("dangling"));
  fs::create_symlink(".", folder.path("here"));
  const struct {
    const char *one, *other;
    bool same;
  } cases[] = {{"a", "./a", true},        {"soft", "hard", true},   {"new", "here/new", true},
               {"new", "dangling", true}, {"a", "b", false},        {"new", "newer", false},
               {"no/x", "no/x", false},   {"here/a", "here", false}};
  for (const auto& c : cases) {
    const NamedFile one{"--one", folder.path(c.one)};
    const NamedFile other{"--other", folder.path(c.other)};
    SCOPED_TRACE(std::string(c.one) + " " + c.other);
    if (c.same) {
      EXPECT_THROW(requireSeparateFiles({one, other}, {}), UsageError);
      EXPECT_THROW(requireSeparateFiles({one}, {{"", ""}, other}), UsageError);
    } else {
      EXPECT_NO_THROW(requireSeparateFiles({one, other}, {}));
      EXPECT_NO_THROW(requireSeparateFiles({one}, {{"", ""}, other}));
    }
  }
  requireSeparateFiles({{"--one", "/dev/null"}, {"--other", "/dev/null"}, {"", ""}, {"", ""}}, {});
}

}  // namespace
}  // namespace velmora::tool
