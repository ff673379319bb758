#include "output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "errors.h"
#include "interrupt.h"
#include "streams.h"

namespace velmora::tool {
namespace {

std::string resolved(const std::string& path) {
  char* real = realpath(path.c_str(), nullptr);
  if (real == nullptr) return path;
  std::string result = real;
  std::free(real);
  return result;
}

mode_t creationMode() {
  const mode_t mask = umask(0);
  umask(mask);
  return 0666 & ~mask;
}

}  // namespace

OutputFile::OutputFile(const std::string& path) : name_(path) {
  if (path == "-") {
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
    descriptor_ = open(path.c_str(), O_WRONLY | O_CLOEXEC);
    if (descriptor_ < 0) throw Failure(path + ": cannot open: " + std::strerror(errno));
    owned_ = true;
    return;
  }
  target_ = exists ? resolved(path) : path;
  const auto slash = target_.find_last_of('/');
  const std::string folder = slash == std::string::npos ? "" : target_.substr(0, slash + 1);
  temporary_ = folder + ".velmora-sr.XXXXXX";
  descriptor_ = mkostemp(temporary_.data(), O_CLOEXEC);
  if (descriptor_ < 0) {
    const std::string reason = std::strerror(errno);
    temporary_.clear();
    throw Failure(path + ": cannot create: " + reason);
  }
  owned_ = true;
  interrupt::setUnfinishedFile(temporary_);
  fchmod(descriptor_, exists ? info.st_mode & 0777 : creationMode());
}

OutputFile::~OutputFile() {
  if (owned_ && descriptor_ >= 0) close(descriptor_);
  if (!temporary_.empty()) {
    unlink(temporary_.c_str());
    interrupt::setUnfinishedFile("");
  }
}

void OutputFile::write(std::span<const uint8_t> bytes) {
  writeAll(descriptor_, bytes, name_);
}

void OutputFile::write(const std::string& text) {
  write({reinterpret_cast<const uint8_t*>(text.data()), text.size()});
}

void OutputFile::commit() {
  if (owned_) {
    const int result = close(descriptor_);
    descriptor_ = -1;
    if (result != 0) throw Failure(name_ + ": cannot write: " + std::strerror(errno));
  }
  if (temporary_.empty()) return;
  interrupt::check();
  if (rename(temporary_.c_str(), target_.c_str()) != 0) {
    throw Failure(name_ + ": cannot create: " + std::strerror(errno));
  }
  temporary_.clear();
  interrupt::setUnfinishedFile("");
}

}  // namespace velmora::tool
