// main() of the test programs that run once per instruction set.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

#include "cpu/cpu_set.h"

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  const char* wanted = std::getenv("VELMORA_SR_CPU");
  if (wanted != nullptr && velmora::name(velmora::chosenCpuSet()) != wanted) {
    std::printf("skipped: this processor has no %s kernels\n", wanted);
    return 77;
  }
  return RUN_ALL_TESTS();
}
