#include "interface/interposers.h"

#include <fcntl.h>

#include <filesystem>
#include <string_view>

namespace {

std::string dumpDirectory;

}  // namespace

extern "C" {
int __real_open(const char* path, int flags, mode_t mode);

int __wrap_open(const char* path, int flags, mode_t mode) {
  constexpr std::string_view kDumps = "/data/zelk/";
  const std::string_view wanted = path;
  if (dumpDirectory.empty() || !wanted.starts_with(kDumps)) return __real_open(path, flags, mode);
  const std::string there = dumpDirectory + "/" + std::string(wanted.substr(kDumps.size()));
  return __real_open(there.c_str(), flags, mode);
}
}

namespace velmora::test {

DumpRedirection::DumpRedirection() {
  dumpDirectory = scratch_.path("");
}
DumpRedirection::~DumpRedirection() {
  dumpDirectory.clear();
}
std::map<std::string, std::string> DumpRedirection::files() const {
  std::map<std::string, std::string> contents;
  for (const auto& entry : std::filesystem::directory_iterator(scratch_.path("")))
    if (entry.exists())
      contents[entry.path().filename().string()] = readFile(entry.path().string());
  return contents;
}

}  // namespace velmora::test
