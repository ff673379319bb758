#include "interface/interposers.h"

#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <string_view>
#include <utility>

namespace {

std::atomic<bool> threadsFail{false};
std::string dumpDirectory;

}  // namespace

extern "C" {
int __real_pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                          void* (*start)(void*), void* arg);
std::FILE* __real_fopen(const char* path, const char* mode);

int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                          void* (*start)(void*), void* arg) {
  return threadsFail ? EAGAIN : __real_pthread_create(thread, attributes, start, arg);
}

std::FILE* __wrap_fopen(const char* path, const char* mode) {
  constexpr std::string_view kDumps = "/data/zelk/";
  const std::string_view wanted = path;
  if (dumpDirectory.empty() || !wanted.starts_with(kDumps)) return __real_fopen(path, mode);
  return __real_fopen((dumpDirectory + "/" + std::string(wanted.substr(kDumps.size()))).c_str(),
                      mode);
}
}

namespace velmora::test {

ThreadFailure::ThreadFailure() {
  threadsFail = true;
}

ThreadFailure::~ThreadFailure() {
  threadsFail = false;
}

DumpRedirection::DumpRedirection(std::string directory) {
  dumpDirectory = std::move(directory);
}

DumpRedirection::~DumpRedirection() {
  dumpDirectory.clear();
}

}  // namespace velmora::test
