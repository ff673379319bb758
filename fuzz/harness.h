// What the harnesses share. Each of them is one file with the entry point that fuzzing engines
// call: it does with the bytes what a program does with those of strangers, and ends the process
// when a promise of the interface is broken. Engines bring the main() and the inputs, or
// standalone.cpp does.
#ifndef VELMORA_FUZZ_HARNESS_H
#define VELMORA_FUZZ_HARNESS_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

/// Runs one input. Returns 0.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size);

namespace velmora::fuzz {

/// Ends the process, for the engine to keep the input, unless the promise holds.
inline void require(bool holds, const char* promise) {
  if (holds) return;
  std::fprintf(stderr, "broken promise: %s\n", promise);
  std::abort();
}

}  // namespace velmora::fuzz

#endif  // VELMORA_FUZZ_HARNESS_H
