#include "output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "errors.h"
#include "output_target.h"
#include "streams.h"

namespace velmora::tool {
namespace {

constexpr int kAttempts = 1000;  // to find a name that is free

Failure failure(const std::string& name, const char* what) {
  return Failure(name + ": cannot " + what + ": " + std::strerror(errno));
}

// A file without a name gets one through its entry there.
std::string entryOf(int descriptor) {
  return "/proc/self/fd/" + std::to_string(descriptor);
}

Failure existsAlready(const std::string& name) {
  return Failure(name + ": exists already; give another name, or --force to replace it");
}

// The file passes on who may do what with it, to nobody more than before.
void keepAccess(int descriptor, const struct stat& old) {
  mode_t mode = old.st_mode & 0777;
  if (fchown(descriptor, old.st_uid, old.st_gid) != 0 &&
      fchown(descriptor, static_cast<uid_t>(-1), old.st_gid) != 0) {
    // Another group gets what all others have.
    mode = (mode & ~070u) | (mode & 07u) << 3;
  }
  fchmod(descriptor, mode);
}

}  // namespace

void requireReplaceable(const std::string& path) {
  struct stat info = {};
  if (!keepsExisting || path.empty() || path == "-") return;
  if (stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode)) throw existsAlready(path);
}

OutputFile::OutputFile(const std::string& path) : name_(path) {
  // Descriptor 1 itself is not for data, see claimStandardOutput().
  if (path == "-" || path == "/dev/stdout" || path == "/dev/fd/1") {
    name_ = "standard output";
    descriptor_ = dataOutput();
    if (descriptor_ < 0) throw Failure("standard output is closed");
    if (isatty(descriptor_) != 0) {
      throw UsageError("standard output is a terminal: give a file name, or send '-' into a pipe");
    }
    return;
  }
  struct stat info = {};
  const bool exists = stat(path.c_str(), &info) == 0;
  if (exists && S_ISDIR(info.st_mode)) {
    throw Failure(path + ": is a directory, give the name of a file");
  }
  if (exists && !S_ISREG(info.st_mode)) {
    descriptor_ = openStream(path, O_WRONLY);
    if (descriptor_ < 0) throw failure(path, "open");
    owned_ = true;
    return;
  }
  if (exists && keepsExisting) throw existsAlready(path);
  target_ = targetOf(path);
  folder_ = target_.substr(0, target_.find_last_of('/') + 1);
  if (folder_.empty()) folder_ = "./";
  create(exists ? 0600 : 0666);
  owned_ = true;
  if (exists) keepAccess(descriptor_, info);
}

OutputFile::~OutputFile() {
  if (named_) unlink(named_->path().c_str());
  if (owned_ && descriptor_ >= 0) ::close(descriptor_);
}

void OutputFile::create(mode_t mode) {
  constexpr int kFlags = O_RDWR | O_CLOEXEC;
#ifdef O_TMPFILE
  descriptor_ = open(folder_.c_str(), O_TMPFILE | kFlags, mode);
  if (descriptor_ >= 0) {
    if (access(entryOf(descriptor_).c_str(), F_OK) == 0) return;
    ::close(descriptor_);
  }
#endif
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    const std::string name = temporaryName(attempt);
    const interrupt::Block signals;
    named_.emplace(name);
    descriptor_ = open(name.c_str(), O_CREAT | O_EXCL | kFlags, mode);
    if (descriptor_ >= 0) return;
    const int error = errno;
    named_.reset();
    errno = error;
    if (error != EEXIST) break;
  }
  throw failure(name_, "create");
}

void OutputFile::write(std::span<const uint8_t> bytes) {
  writeAll(descriptor_, bytes, name_);
}

void OutputFile::write(const std::string& text) {
  write({reinterpret_cast<const uint8_t*>(text.data()), text.size()});
}

void OutputFile::commit() {
  if (!target_.empty()) {
    flushToDisk();
    interrupt::check();
    place();
  }
  if (owned_) close();
}

void OutputFile::close() {
  const int result = ::close(descriptor_);
  descriptor_ = -1;
  if (result != 0) throw failure(name_, "write");
}

// A name must not lead to a file whose contents a crash of the system could still lose.
void OutputFile::flushToDisk() {
  while (fsync(descriptor_) != 0) {
    if (errno == EINVAL) return;  // a file system that cannot tell
    if (errno != EINTR) throw failure(name_, "write");
    interrupt::check();
  }
}

void OutputFile::place() {
  if (named_) {
    const interrupt::Block signals;
    if (keepsExisting && access(target_.c_str(), F_OK) == 0) throw existsAlready(name_);
    if (std::rename(named_->path().c_str(), target_.c_str()) != 0) throw failure(name_, "create");
    named_.reset();
    return;
  }
  int error = linkTo(target_);
  if (error == EEXIST && keepsExisting) throw existsAlready(name_);
  // Only a rename replaces a file, and it needs a name: for as long as no signal arrives.
  for (int attempt = 0; error == EEXIST && attempt < kAttempts; ++attempt) {
    const std::string name = temporaryName(attempt);
    const interrupt::Block signals;
    error = linkTo(name);
    if (error != 0) continue;
    if (std::rename(name.c_str(), target_.c_str()) == 0) return;
    error = errno;
    unlink(name.c_str());
    break;
  }
  errno = error;
  if (error != 0) throw failure(name_, "create");
}

// 0, or the number of the error.
int OutputFile::linkTo(const std::string& path) const {
  const std::string entry = entryOf(descriptor_);
  const int result = linkat(AT_FDCWD, entry.c_str(), AT_FDCWD, path.c_str(), AT_SYMLINK_FOLLOW);
  return result == 0 ? 0 : errno;
}

std::string OutputFile::temporaryName(int attempt) const {
  return folder_ + ".velmora-sr." + std::to_string(getpid()) + "." + std::to_string(attempt);
}

}  // namespace velmora::tool
