// Debug dumps of frames.
#include <cstdio>
#include <memory>

#include "common/failure_line.h"
#include "velmora_sr/logging.h"
#include "velmora_sr/platform.h"

namespace {

void writePlane(std::FILE* file, const char* path, const uint8_t* plane, int size) {
  using namespace velmora;
  if (plane == nullptr || size <= 0) return;
  const auto count = static_cast<std::size_t>(size);
  // Flushed before it is called done: a full disk shows only then.
  if (std::fwrite(plane, 1, count, file) == count && std::fflush(file) == 0) {
    __android_log_print(kLogInfo, kLogTag, "%s: done writing %d bytes to file [%s]\n", kLogTag,
                        size, path);
  } else {
    __android_log_print(kLogError, kLogTag, "%s: failed to write %d bytes to file [%s]\n", kLogTag,
                        size, path);
  }
}

}  // namespace

void dump_to_file(const char* path, const uint8_t* plane1, int size1, const uint8_t* plane2,
                  int size2) {
  using namespace velmora;
  struct Close {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };
  const std::unique_ptr<std::FILE, Close> file(path == nullptr ? nullptr : std::fopen(path, "wb"));
  if (file == nullptr) {
    __android_log_print(kLogError, kLogTag, "%s: failed to create file [%s]", kLogTag,
                        path == nullptr ? "" : path);
    return;
  }
  writePlane(file.get(), path, plane1, size1);
  writePlane(file.get(), path, plane2, size2);
}
