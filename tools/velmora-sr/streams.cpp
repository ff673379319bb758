#include "streams.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "errors.h"
#include "interrupt.h"
#include "terminal.h"

namespace velmora::tool {
namespace {

int privateOutput = -1;

std::string systemError() {
  return std::strerror(errno);
}

Failure cannotWrite(const std::string& name, int error) {
  return Failure(name + ": cannot write: " + std::strerror(error));
}

// 0, or the number of the error.
int tryWriteAll(int descriptor, std::span<const uint8_t> bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(descriptor, bytes.data(), bytes.size());
    if (written < 0) {
      if (errno != EINTR) return errno;
      interrupt::check();
      continue;
    }
    bytes = bytes.subspan(static_cast<std::size_t>(written));
  }
  return 0;
}

}  // namespace

void claimStandardOutput() {
  // A standard stream that is closed would lend its number to the next file opened: plug the holes.
  bool hasOutput = true;
  int null = open("/dev/null", O_RDWR);
  while (null >= 0 && null <= STDERR_FILENO) {
    if (null == STDOUT_FILENO) hasOutput = false;
    null = open("/dev/null", O_RDWR);
  }
  if (hasOutput) privateOutput = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  if (null >= 0) {
    dup2(null, STDOUT_FILENO);
    close(null);
  }
}

void showLibraryOutput() {
  dup2(STDERR_FILENO, STDOUT_FILENO);
  // The library ends many of its lines without a line feed: unbuffered keeps them in order.
  std::setvbuf(stdout, nullptr, _IONBF, 0);
}

int dataOutput() {
  return privateOutput;
}

void printData(std::string_view text) {
  if (privateOutput < 0) throw Failure("standard output is closed");
  const std::string shown = terminal::printable(text, true);
  const int error =
      tryWriteAll(privateOutput, {reinterpret_cast<const uint8_t*>(shown.data()), shown.size()});
  if (error != 0 && error != EPIPE) throw cannotWrite("standard output", error);
}

int openStream(const std::string& path, int flags) {
  for (;;) {
    interrupt::check();
    const int descriptor = open(path.c_str(), flags | O_CLOEXEC);
    if (descriptor >= 0 || errno != EINTR) return descriptor;
  }
}

void writeAll(int descriptor, std::span<const uint8_t> bytes, const std::string& name) {
  const int error = tryWriteAll(descriptor, bytes);
  if (error != 0) throw cannotWrite(name, error);
}

ByteSource::ByteSource(const std::string& path) : name_(path) {
  if (path == "-") {
    name_ = "standard input";
    descriptor_ = STDIN_FILENO;
    if (isatty(descriptor_) != 0) {
      throw UsageError("standard input is a terminal: give a file name, or pipe data into '-'");
    }
  } else {
    descriptor_ = openStream(path, O_RDONLY);
    if (descriptor_ < 0) throw Failure(path + ": cannot open: " + systemError());
    owned_ = true;
  }
  struct stat info = {};
  if (fstat(descriptor_, &info) == 0) {
    if (S_ISDIR(info.st_mode)) {
      if (owned_) close(descriptor_);
      throw Failure(name_ + ": is a directory, not a picture or a clip");
    }
    if (S_ISREG(info.st_mode) && owned_) length_ = static_cast<uint64_t>(info.st_size);
  }
}

ByteSource::~ByteSource() {
  if (owned_) close(descriptor_);
}

std::size_t ByteSource::readSome(std::span<uint8_t> bytes) {
  for (;;) {
    const ssize_t count = ::read(descriptor_, bytes.data(), bytes.size());
    if (count >= 0) return static_cast<std::size_t>(count);
    if (errno != EINTR) throw InputBroken(name_ + ": cannot read: " + systemError());
    interrupt::check();
  }
}

std::span<const uint8_t> ByteSource::peek(std::size_t count) {
  if (aheadBegin_ > 0) {
    ahead_.erase(ahead_.begin(), ahead_.begin() + static_cast<std::ptrdiff_t>(aheadBegin_));
    aheadBegin_ = 0;
  }
  std::size_t have = ahead_.size();
  if (have < count) {
    ahead_.resize(count);
    while (have < count) {
      const std::size_t got = readSome(std::span(ahead_).subspan(have));
      if (got == 0) break;
      have += got;
    }
    ahead_.resize(have);
  }
  return std::span(ahead_).first(std::min(count, have));
}

std::size_t ByteSource::read(std::span<uint8_t> bytes) {
  std::size_t done = std::min(bytes.size(), ahead_.size() - aheadBegin_);
  if (done > 0) {
    std::memcpy(bytes.data(), ahead_.data() + aheadBegin_, done);
    aheadBegin_ += done;
  }
  while (done < bytes.size()) {
    const std::size_t got = readSome(bytes.subspan(done));
    if (got == 0) break;
    done += got;
  }
  return done;
}

uint64_t ByteSource::skip(uint64_t count) {
  uint64_t done = std::min<uint64_t>(count, ahead_.size() - aheadBegin_);
  aheadBegin_ += static_cast<std::size_t>(done);
  const off_t at = length_ ? lseek(descriptor_, 0, SEEK_CUR) : -1;
  if (at >= 0) {
    const uint64_t left = *length_ - std::min(*length_, static_cast<uint64_t>(at));
    const uint64_t step = std::min(count - done, left);
    if (lseek(descriptor_, static_cast<off_t>(step), SEEK_CUR) >= 0) return done + step;
  }
  std::vector<uint8_t> ignored(std::size_t{1} << 16);
  while (done < count) {
    const uint64_t step = std::min<uint64_t>(count - done, ignored.size());
    const std::size_t got = read(std::span(ignored).first(static_cast<std::size_t>(step)));
    if (got == 0) break;
    done += got;
  }
  return done;
}

std::vector<uint8_t> ByteSource::readAll(std::size_t limit) {
  const auto tooLarge = [&] {
    return Failure(name_ + ": is larger than " + std::to_string(limit) + " bytes");
  };
  if (length_ && *length_ > limit) throw tooLarge();
  std::vector<uint8_t> bytes;
  std::size_t have = 0;
  std::size_t room = length_ ? static_cast<std::size_t>(*length_) + 1 : std::size_t{1} << 16;
  for (;;) {
    bytes.resize(room);
    have += read(std::span(bytes).subspan(have));
    if (have > limit) throw tooLarge();
    if (have < room) break;
    room *= 2;
  }
  bytes.resize(have);
  return bytes;
}

std::optional<std::string> ByteSource::readLine(std::size_t limit) {
  std::size_t searched = 0;
  for (;;) {
    const std::size_t available = ahead_.size() - aheadBegin_;
    const auto begin = ahead_.begin() + static_cast<std::ptrdiff_t>(aheadBegin_);
    const auto end = std::find(begin + static_cast<std::ptrdiff_t>(searched), ahead_.end(), '\n');
    if (end != ahead_.end() && static_cast<std::size_t>(end - begin) <= limit) {
      std::string line(begin, end);
      aheadBegin_ += line.size() + 1;
      return line;
    }
    searched = available;
    if (available > limit || end != ahead_.end()) {
      throw InputBroken(name_ + ": a header line is longer than " + std::to_string(limit) +
                        " bytes");
    }
    const std::size_t wanted = available + 256;
    if (peek(wanted).size() == available) {
      if (available == 0) return std::nullopt;
      throw InputBroken(name_ + ": ends in the middle of a header line");
    }
  }
}

std::vector<uint8_t> readFile(const std::string& path, std::size_t limit) {
  return ByteSource(path).readAll(limit);
}

}  // namespace velmora::tool
