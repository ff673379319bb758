// A host program that brings its own log: the shared library's lines must reach it.
#include <cstdio>
#include <cstring>

#include "velmora_sr/logging.h"
#include "velmora_sr/platform.h"

namespace {
int linesReceived = 0;
}

extern "C" int __android_log_print(int prio, const char* tag, const char* /*fmt*/, ...) {
  if (prio == 4 && std::strcmp(tag, "libimgproc") == 0) ++linesReceived;
  return 1;
}

int main() {
  LogVersion();
  if (linesReceived == 1) return 0;
  std::fprintf(stderr, "received %d lines in place of 1\n", linesReceived);
  return 1;
}
