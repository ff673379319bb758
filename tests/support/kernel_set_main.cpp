// main() of the test programs that run once per kernel set.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

#include "kernels/cpu.h"

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  const char* wanted = std::getenv("VELMORA_SR_CPU");
  if (wanted != nullptr && velmora::name(velmora::chosenKernelSet()) != wanted) {
    std::printf("skipped: this processor has no %s kernels\n", wanted);
    return 77;
  }
  return RUN_ALL_TESTS();
}
