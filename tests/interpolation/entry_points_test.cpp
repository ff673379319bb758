// All entry points of the interpolation: what they give, and that they refuse without a trace.
#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <utility>

#include "interpolation/call.h"
#include "support/heap_faults.h"
#include "velmora_sr/kernel_tables.h"

namespace velmora::test {
namespace {

class EntryPoints : public testing::TestWithParam<EntryPoint> {
 protected:
  /// A call that can be refused: all of a 120 x 110 frame enlarged to 200 x 150.
  [[nodiscard]] Call call() const {
    return Call(GetParam(), {120, 110, {0, 119, 200}, {0, 109, 150}}, mapsOf(0, 120, 110));
  }
  void expectRefused(Call& call, int result, const char* text) const {
    EXPECT_EQ(call.run(), result);
    EXPECT_TRUE(call.untouched());
    EXPECT_EQ(call.log, GetParam().error(text));
  }
};

// Whole frames, inner regions, widths around blocks of 8, 16 and 32, enlarging and shrinking,
// frames without chroma, axes of one sample, and regions that leave the frame or run backwards.
// Bands hold many of the strips of rows in which they are worked through, or less than one, or no
// row.
constexpr Case kCases[] = {
    {40, 30, {0, 39, 80}, {0, 29, 60}},
    {40, 30, {0, 39, 40}, {0, 29, 30}},
    {40, 30, {4, 35, 63}, {2, 27, 51}},
    {33, 17, {0, 32, 71}, {0, 16, 37}},
    {64, 9, {0, 63, 17}, {0, 8, 3}},
    {17, 64, {0, 16, 9}, {0, 63, 129}},
    {3, 2, {0, 2, 15}, {0, 1, 5}},
    {2, 2, {0, 1, 8}, {0, 1, 8}},
    {1, 1, {0, 0, 4}, {0, 0, 3}},
    {1, 40, {0, 0, 8}, {0, 39, 6}},
    {40, 1, {0, 39, 8}, {0, 0, 6}},
    {20, 20, {5, 15, 1}, {5, 15, 1}},
    {20, 20, {-9, 28, 50}, {-7, 40, 50}},
    {20, 20, {18, 3, 31}, {19, 0, 33}},
    {9, 300, {0, 8, 17}, {0, 299, 451}},
    {9, 203, {0, 8, 17}, {202, 0, 500}},
    {40, 300, {0, 39, 41}, {0, 299, 9}},
    {20, 400, {0, 19, 17}, {100, 101, 799}},
    {20, 20, {150, -72, 40}, {150, -80, 41}},
    {20, 20, {-INT_MAX, INT_MAX, 23}, {INT_MAX, -INT_MAX, 9}},
    {120, 110, {3, 111, 91}, {7, 108, 73}},
    {100, 133, {0, 99, 7}, {2, 132, 35}},
};

TEST_P(EntryPoints, EqualThePlainComputation) {
  const RunningPool pool;
  int field = 0;
  for (const auto& [phases, random] : {std::pair{50, false}, {3, true}, {64, true}, {1, false}}) {
    const Kernels kernels = random ? Kernels::random(phases, 7) : Kernels::lanczos(phases);
    for (const Case& c : kCases) {
      Call call(GetParam(), c, mapsOf(field++ % kFields, c.w, c.h));
      ASSERT_EQ(call.run(), 0);
      ASSERT_EQ(call.output(), call.expected(kernels))
          << c.w << "x" << c.h << " to " << c.columns.out << "x" << c.rows.out << ", " << phases
          << " phases, field " << field - 1;
    }
  }
}

TEST(EntryPoint, UsesAllPhasesOfALargeTable) {
  const Kernels kernels = Kernels::random(1024, 8);
  Call call(entryPoints()[1], {9, 9, {0, 8, 4097}, {0, 8, 3}}, {});
  EXPECT_EQ(call.run(), 0);
  EXPECT_EQ(call.output(), call.expected(kernels));
}

TEST_P(EntryPoints, RefuseToWorkWithoutKernelTables) {
  Call none = call();
  expectRefused(none, SR_RET_LOAD_CONFIG_FAILED, "load config file failed.");
  const Kernels kernels = Kernels::lanczos(5);
  for (const int phases : {0, 1025}) {
    G_QUANTIZATION = phases;
    Call wrong = call();
    expectRefused(wrong, SR_RET_LOAD_CONFIG_FAILED, "load config file failed.");
  }
}

TEST_P(EntryPoints, RefuseArgumentsOutOfRange) {
  const Kernels kernels = Kernels::lanczos(5);
  const auto expectOutOfRange = [this](int Call::*argument, int value) {
    SCOPED_TRACE(testing::Message() << "value " << value);
    Call refused = call();
    refused.*argument = value;
    expectRefused(refused, SR_RET_PARAMS_OUT_OF_RANGE, "params out of range.");
    EXPECT_TRUE(TestAllocator::requests().empty());
  };
  expectOutOfRange(&Call::pad, 3);
  expectOutOfRange(&Call::pad, -4);
  for (int Call::*size : {&Call::w, &Call::h, &Call::outW, &Call::outH}) {
    expectOutOfRange(size, -24);
    expectOutOfRange(size, INT_MAX);
    // Planes without samples are enlarged to nothing; positions in a second frame need one.
    const bool input = size == &Call::w || size == &Call::h;
    if (GetParam().isDriver() || (input && GetParam().fuses)) expectOutOfRange(size, 0);
  }
  Call complete = call();
  EXPECT_EQ(complete.run(), 0);
  for (int pointer = 0; pointer < complete.passed; ++pointer)
    expectOutOfRange(&Call::missing, pointer);
}

/// An allocator that leaves the C heap alone.
struct Arena {
  static inline std::array<uint8_t, 1 << 18> bytes;
  static inline std::size_t used;
  static void* alloc(uint32_t size, const char*, int32_t) {
    return &bytes.at(std::exchange(used, used + size));
  }
  static void free(void*, const char*, int32_t) {}
};

// Blocks of the caller's allocator, in order; then the positions and taps of columns on the C heap.
TEST_P(EntryPoints, GiveEverythingBackWhenAnyRequestFails) {
  const Kernels kernels = Kernels::lanczos(5);
  const EntryPoint& entry = GetParam();
  std::vector<uint32_t> expected;
  const auto expectBlocks = [&expected](std::initializer_list<uint32_t> sizes) {
    expected.insert(expected.end(), sizes);
  };
  if (entry.isDriver()) {
    for (int frame = 0; frame < (entry.fuses ? 2 : 1); ++frame)
      expectBlocks({124 * 114, 64 * 59, 64 * 59});
    expectBlocks({100 * 75, 100 * 75});
  }
  if (entry.luma && !entry.fuses) expectBlocks({200 * 114 * 2});
  if (entry.chroma) expectBlocks({100 * 59 * 2, 100 * 59 * 2});
  Call complete = call();
  EXPECT_EQ(complete.run(), 0);
  const auto requests = TestAllocator::requests();
  EXPECT_EQ(requests, expected);
  for (int n = 0; n <= static_cast<int>(requests.size()); ++n) {
    Call refused = call();
    TestAllocator::failRequest(n);
    if (n == static_cast<int>(requests.size())) refused.handle.pub.alloc = nullptr;
    if (!requests.empty()) expectRefused(refused, SR_RET_ALLOC_FAILED, "alloc memory failed.");
  }
  const int columns = entry.passes();
  for (int n = 0; n <= columns; ++n) {
    Call call = this->call();
    call.handle.pub.alloc = Arena::alloc;
    call.handle.pub.free = Arena::free;
    Arena::used = 0;
    const HeapFaults faults(n);
    EXPECT_EQ(entry.function(call), n < columns ? SR_RET_ALLOC_FAILED : 0) << n;
    EXPECT_EQ(call.untouched(), n < columns) << n;
    EXPECT_EQ(faults.live(), 0u) << n;
  }
}

TEST_P(EntryPoints, RefuseFormatsThatTheyDoNotKnow) {
  if (!GetParam().isDriver()) return;
  const Kernels kernels = Kernels::lanczos(5);
  const bool knowsPlanes = GetParam().name == std::string("SRInterpolation_Single");
  for (const int format : {0, 1, 3, 6, -4}) {
    if (knowsPlanes && format == 0) continue;
    Call refused = call();
    refused.format = format;
    EXPECT_EQ(refused.run(), knowsPlanes ? 7 : 1);
    EXPECT_TRUE(refused.untouched());
    auto expected = GetParam().error(("unknown image format: " + std::to_string(format)).c_str());
    if (!knowsPlanes) expected[0].text = "UnSupport image format!\n";
    EXPECT_EQ(refused.log, expected);
  }
}

INSTANTIATE_TEST_SUITE_P(All, EntryPoints,
                         testing::ValuesIn(entryPoints().begin(), entryPoints().end()),
                         [](const auto& entry) {
                           return std::string(entry.param.name) +
                                  (entry.param.fuses ? "_fuses_" : "_") +
                                  std::to_string(entry.param.format + 1);
                         });

TEST(SingleFrameDriver, LogsTheRegionThatTakesThePlaceOfAnUnusableOne) {
  const Kernels kernels = Kernels::lanczos(5);
  const auto linesOf = [](const Case& c) {
    Call call(entryPoints()[5], c, {});
    EXPECT_EQ(call.run(), 0);
    return call.log;
  };
  EXPECT_TRUE(linesOf({100, 101, {0, 99, 4}, {0, 99, 4}}).empty());
  EXPECT_EQ(linesOf({501, 423, {-1, 400, 4}, {7, 401, 4}}),
            (std::vector<LogLine>{{6, "NB7UO_ZELK",
                                   "NB7UO_ZELK: invalid valid region params: [vrStartW = -1, "
                                   "vrStartH = 7, vrEndW = 400, vrEndH = 401].\n"},
                                  {6, "NB7UO_ZELK",
                                   "NB7UO_ZELK: use default valid region params: [vrStartW = 150, "
                                   "vrStartH = 150, vrEndW = 350, vrEndH = 272].\n"}}));
}

}  // namespace
}  // namespace velmora::test
