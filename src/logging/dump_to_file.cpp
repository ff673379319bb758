// Debug dumps of frames.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <memory>

#include "logging/log.h"
#include "logging/new_file.h"
#include "velmora_sr/logging.h"

namespace {

struct Close {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, Close>;

struct Planes {
  const uint8_t* first;
  int firstSize;
  const uint8_t* second;
  int secondSize;
};

void writePlane(std::FILE* file, const char* path, const uint8_t* plane, int size) {
  using namespace velmora;
  if (plane == nullptr || size <= 0) return;
  const auto count = static_cast<std::size_t>(size);
  // Flushed before it is called done: a full disk shows only then.
  if (std::fwrite(plane, 1, count, file) == count && std::fflush(file) == 0) {
    logTagged(Priority::info, "done writing %d bytes to file [%s]\n", size, path);
  } else {
    logTagged(Priority::error, "failed to write %d bytes to file [%s]\n", size, path);
  }
}

void writePlanes(const File& file, const char* path, const Planes& planes) {
  using namespace velmora;
  if (file == nullptr) {
    logTagged(Priority::error, "failed to create file [%s]", path == nullptr ? "" : path);
    return;
  }
  writePlane(file.get(), path, planes.first, planes.firstSize);
  writePlane(file.get(), path, planes.second, planes.secondSize);
}

}  // namespace

bool velmora::dumpToNewFile(const char* path, const uint8_t* plane1, int size1,
                            const uint8_t* plane2, int size2) {
  constexpr int kOwnerOnly = 0600;
  const int descriptor =
      open(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kOwnerOnly);
  if (descriptor < 0 && errno == EEXIST) return false;
  const File file(descriptor < 0 ? nullptr : fdopen(descriptor, "wb"));
  if (descriptor >= 0 && file == nullptr) close(descriptor);
  writePlanes(file, path, {plane1, size1, plane2, size2});
  return true;
}

void dump_to_file(const char* path, const uint8_t* plane1, int size1, const uint8_t* plane2,
                  int size2) {
  const File file(path == nullptr ? nullptr : std::fopen(path, "wb"));
  writePlanes(file, path, {plane1, size1, plane2, size2});
}
