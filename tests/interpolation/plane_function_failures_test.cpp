// The plane functions where they cannot finish: an error is logged, nothing is written, all blocks
// come back.
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <utility>
#include <vector>

#include "interpolation/destination.h"
#include "interpolation/handle.h"
#include "interpolation/reference.h"
#include "support/heap_faults.h"
#include "support/log_capture.h"
#include "velmora_sr/interpolation.h"
#include "velmora_sr/kernel_tables.h"

namespace velmora::test {
namespace {

struct Arguments {
  int pad = 4;
  int inW = 16;
  int outW = 24;
  bool withPlanes = true;
};

/// Frames of 16 x 16 on their way to 24 x 24.
struct Planes {
  Bytes y = padded(randomImage(16, 16, 15));
  Bytes uv = padded(randomImage(8, 8, 16));
  std::vector<int32_t> map = std::vector<int32_t>(16 * 16, 0);
  Destination yOut{24, 24};
  Destination uOut{12, 12};
  Destination vOut{12, 12};

  [[nodiscard]] bool untouched() const {
    return yOut.untouched() && uOut.untouched() && vOut.untouched();
  }
};

struct Function {
  const char* name;
  int (*call)(Planes& planes, const Arguments& arguments);
  std::vector<uint32_t> requests;  ///< intermediate planes: outW columns of 16 bits by padded rows
  int heapRequests;                ///< positions and taps
};

const Function kFunctions[] = {
    {"ShiftInvariantIntepolation1Frame",
     [](Planes& p, const Arguments& a) {
       return ShiftInvariantIntepolation1Frame(
           p.y.data(), p.uv.data(), a.withPlanes ? p.uv.data() : nullptr, p.yOut.data(),
           p.uOut.data(), p.vOut.data(), a.pad, 0, a.inW, 16, a.outW, 24, 0, 0, 15, 15);
     },
     {24 * 20 * 2, 12 * 12 * 2, 12 * 12 * 2},
     4},
    {"ShiftInvariantIntepolationSeparateY1FrameLUTFix",
     [](Planes& p, const Arguments& a) {
       return ShiftInvariantIntepolationSeparateY1FrameLUTFix(
           p.y.data(), a.withPlanes ? p.yOut.data() : nullptr, a.pad, 0, a.inW, 16, a.outW, 24, 0,
           0, 15, 15);
     },
     {24 * 20 * 2},
     2},
    {"ShiftInvariantIntepolationSeparateUV1FrameLUTFix",
     [](Planes& p, const Arguments& a) {
       return ShiftInvariantIntepolationSeparateUV1FrameLUTFix(
           p.uv.data(), a.withPlanes ? p.uv.data() : nullptr, p.uOut.data(), p.vOut.data(), a.pad,
           0, a.inW >> 1, 8, a.outW >> 1, 12, 0, 0, 7, 7);
     },
     {12 * 12 * 2, 12 * 12 * 2},
     2},
    {"ShiftInvariantIntepolation2Frame",
     [](Planes& p, const Arguments& a) {
       return ShiftInvariantIntepolation2Frame(
           p.y.data(), p.uv.data(), p.uv.data(), p.y.data(), nullptr, nullptr, p.yOut.data(),
           p.uOut.data(), p.vOut.data(), a.pad, 0, a.inW, 16, a.outW, 24, 0.f, p.map.data(),
           a.withPlanes ? p.map.data() : nullptr, 0, 0, 15, 15);
     },
     {12 * 12 * 2, 12 * 12 * 2},
     3},
    {"ShiftInvariantIntepolationHighPerformanceFastY2FrameLUTFix",
     [](Planes& p, const Arguments& a) {
       return ShiftInvariantIntepolationHighPerformanceFastY2FrameLUTFix(
           p.y.data(), a.withPlanes ? p.y.data() : nullptr, p.yOut.data(), a.pad, 0, a.inW, 16,
           a.outW, 24, 0.f, p.map.data(), p.map.data(), 0, 0, 15, 15);
     },
     {},
     1},
};

class PlaneFunctionFailures : public testing::TestWithParam<Function> {
 protected:
  void expectSuccess() {
    Planes planes;
    EXPECT_EQ(GetParam().call(planes, {}), 0);
    EXPECT_FALSE(planes.untouched());
  }
  void expectRefused(const Arguments& arguments, int result, const char* text) {
    Planes planes;
    LogCapture log;
    EXPECT_EQ(GetParam().call(planes, arguments), result);
    EXPECT_TRUE(planes.untouched());
    EXPECT_EQ(log.take(), (std::vector<LogLine>{{6, "NB7UO_ZELK",
                                                 std::string("NB7UO_ZELK: ") + GetParam().name +
                                                     ": " + text + "\n"}}));
    EXPECT_EQ(Handle::leftovers(), "");
  }
  Handle handle_;
};

TEST_P(PlaneFunctionFailures, WithoutKernelTables) {
  const auto expectNoTables = [this] {
    expectRefused({}, SR_RET_LOAD_CONFIG_FAILED, "load config file failed.");
  };
  expectNoTables();
  const Kernels kernels = Kernels::lanczos(5);
  expectSuccess();
  for (const int phases : {0, 1025}) {
    G_QUANTIZATION = phases;
    expectNoTables();
  }
}

TEST_P(PlaneFunctionFailures, WithArgumentsOutOfRange) {
  const Kernels kernels = Kernels::lanczos(5);
  for (const Arguments& arguments :
       {Arguments{3, 16, 24}, Arguments{-4, 16, 24}, Arguments{4, -1, 24}, Arguments{4, 16, -24},
        Arguments{4, 16, 24, false}, Arguments{4, 2147483647, 24}}) {
    SCOPED_TRACE(testing::Message() << arguments.pad << " " << arguments.inW);
    expectRefused(arguments, SR_RET_PARAMS_OUT_OF_RANGE, "params out of range.");
  }
  // Frames without samples have no positions in the second one.
  if (std::string(GetParam().name).find("2Frame") != std::string::npos)
    expectRefused({4, 0, 24}, SR_RET_PARAMS_OUT_OF_RANGE, "params out of range.");
}

TEST_P(PlaneFunctionFailures, WithoutABlockOfTheAllocator) {
  const Kernels kernels = Kernels::lanczos(5);
  expectSuccess();
  EXPECT_EQ(TestAllocator::requests(), GetParam().requests);
  for (int n = 0; n < static_cast<int>(GetParam().requests.size()); ++n) {
    TestAllocator::failRequest(n);
    expectRefused({}, SR_RET_ALLOC_FAILED, "alloc memory failed.");
  }
  zelkParamPrivate.pub = nullptr;
  if (!GetParam().requests.empty()) expectRefused({}, SR_RET_ALLOC_FAILED, "alloc memory failed.");
}

/// An allocator that leaves the C heap alone.
struct Arena {
  static inline std::array<uint8_t, 1 << 13> bytes;
  static inline std::size_t used;
  static void* alloc(uint32_t size, const char*, int32_t) {
    return &bytes.at(std::exchange(used, used + size));
  }
  static void free(void*, const char*, int32_t) {}
};

TEST_P(PlaneFunctionFailures, WithoutMemoryForTheColumns) {
  handle_.pub.alloc = Arena::alloc;
  handle_.pub.free = Arena::free;
  const Kernels kernels = Kernels::lanczos(5);
  for (int n = 0; n <= GetParam().heapRequests; ++n) {
    const bool enough = n == GetParam().heapRequests;
    Planes planes;
    Arena::used = 0;
    const HeapFaults faults(n);
    EXPECT_EQ(GetParam().call(planes, {}), enough ? SR_RET_SUCCEED : SR_RET_ALLOC_FAILED) << n;
    EXPECT_EQ(planes.untouched(), !enough) << n;
  }
}

INSTANTIATE_TEST_SUITE_P(All, PlaneFunctionFailures, testing::ValuesIn(kFunctions),
                         [](const auto& function) { return std::string(function.param.name); });

}  // namespace
}  // namespace velmora::test
