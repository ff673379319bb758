// What both drivers do alike: their blocks, what they refuse.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "interpolation/driver_call.h"
#include "velmora_sr/interpolation.h"

namespace velmora::test {
namespace {

/// The ways through the drivers.
struct Way {
  const char* name;
  DriverCall::Driver driver;
  bool fuses;
  bool registrationFailed;

  /// All of a 120 x 110 frame enlarged to 200 x 150.
  [[nodiscard]] DriverCall call(int format = 4) const {
    DriverCall call = {120, 110, format, 200, 150, 0, 0, 119, 109};
    call.registrationFailed = registrationFailed;
    if (fuses) call.addSecondFrame(0, 0);
    return call;
  }
  [[nodiscard]] std::vector<LogLine> error(const std::string& text) const {
    return {{6, "NB7UO_ZELK", std::string("NB7UO_ZELK: ") + name + ": " + text + "\n"}};
  }
};
constexpr Way kWays[] = {{"SRInterpolation_Single", SRInterpolation_Single, false, false},
                         {"SRInterpolation", SRInterpolation, true, false},
                         {"SRInterpolation", SRInterpolation, false, true}};

TEST(Drivers, TakeTheirBlocksInOrderAndReturnThemWhenOneIsMissing) {
  const Kernels kernels = Kernels::lanczos(5);
  const std::vector<uint32_t> oneFrame = {124 * 114, 64 * 59,       64 * 59,      100 * 75,
                                          100 * 75,  200 * 114 * 2, 100 * 59 * 2, 100 * 59 * 2};
  const std::vector<uint32_t> twoFrames = {124 * 114,    64 * 59,     64 * 59,  124 * 114,
                                           64 * 59,      64 * 59,     100 * 75, 100 * 75,
                                           100 * 59 * 2, 100 * 59 * 2};
  for (const Way& way : kWays) {
    Handle handle;
    way.call().runOn(handle, way.driver);
    const auto requests = TestAllocator::requests();
    EXPECT_EQ(requests, way.fuses ? twoFrames : oneFrame);
    EXPECT_EQ(Handle::leftovers(), "");
    const auto expectRefused = [&](int n) {
      DriverCall call = way.call();
      call.runOn(handle, way.driver);
      EXPECT_EQ(call.result, SR_RET_ALLOC_FAILED) << n;
      EXPECT_TRUE(call.untouched()) << n;
      EXPECT_EQ(call.log, way.error("alloc memory failed.")) << n;
      EXPECT_EQ(Handle::leftovers(), "") << n;
    };
    for (int n = 0; n < static_cast<int>(requests.size()); ++n) {
      TestAllocator::reset();
      TestAllocator::failRequest(n);
      expectRefused(n);
    }
    handle.pub.alloc = nullptr;
    expectRefused(-1);
  }
}

TEST(Drivers, RefuseFormatsThatTheyDoNotKnow) {
  const Kernels kernels = Kernels::lanczos(5);
  for (const Way& way : kWays) {
    const bool knowsPlanes = way.driver == SRInterpolation_Single;
    for (const int format : {0, 1, 3, 6, -4}) {
      if (knowsPlanes && format == 0) continue;
      DriverCall call = way.call(format);
      call.run(way.driver);
      EXPECT_EQ(call.result, knowsPlanes ? 7 : 1);
      EXPECT_TRUE(call.untouched());
      const std::string line = knowsPlanes
                                   ? "NB7UO_ZELK: SRInterpolation_Single: unknown image format: " +
                                         std::to_string(format) + "\n"
                                   : "UnSupport image format!\n";
      EXPECT_EQ(call.log, (std::vector<LogLine>{{6, "NB7UO_ZELK", line}}));
    }
  }
}

TEST(Drivers, RefuseWhatTheyCannotRead) {
  using Input = Velmora_SR_CInputImage;
  using Output = Velmora_SR_COutPutImage;
  const struct {
    DriverCall::Spoil spoil;
    bool onlyWhenFusing = false;
  } cases[] = {
      {[](Input& in, Output&, Handle&) { in.leftData = nullptr; }},
      {[](Input& in, Output&, Handle&) { in.leftData[0] = nullptr; }},
      {[](Input& in, Output&, Handle&) { in.width = 0; }},
      {[](Input& in, Output&, Handle&) { in.height = -1; }},
      {[](Input&, Output& out, Handle&) { out.data = nullptr; }},
      {[](Input&, Output&, Handle& handle) { handle.pub.srImageWidth = 0; }},
      {[](Input&, Output&, Handle& handle) { handle.pub.srImageHeight = 0; }},
      {[](Input&, Output&, Handle& handle) { handle.priv.kernelTaps = 0; }},
      {[](Input&, Output&, Handle& handle) { handle.priv.pub = nullptr; }},
      {[](Input& in, Output&, Handle&) { in.rightData = nullptr; }, true},
      {[](Input& in, Output&, Handle&) { in.rightData[0] = nullptr; }, true},
      {[](Input&, Output&, Handle& handle) { handle.priv.posMap1 = nullptr; }, true},
      {[](Input&, Output&, Handle& handle) { handle.priv.posMap2 = nullptr; }, true},
  };
  for (const Way& way : kWays) {
    DriverCall withoutTables = way.call();
    withoutTables.run(way.driver);
    EXPECT_EQ(withoutTables.result, SR_RET_LOAD_CONFIG_FAILED);
    EXPECT_TRUE(withoutTables.untouched());
    EXPECT_EQ(withoutTables.log, way.error("load config file failed."));

    const Kernels kernels = Kernels::lanczos(5);
    for (const auto& c : cases) {
      if (c.onlyWhenFusing && !way.fuses) continue;
      SCOPED_TRACE(testing::Message() << way.name << ", case " << &c - cases);
      DriverCall call = way.call();
      call.spoil = c.spoil;
      call.run(way.driver);
      EXPECT_EQ(call.result, SR_RET_PARAMS_OUT_OF_RANGE);
      EXPECT_TRUE(call.untouched());
      EXPECT_EQ(call.log, way.error("params out of range."));
      EXPECT_TRUE(TestAllocator::requests().empty());
    }
    Handle handle;
    Input input = {};
    Output output = {};
    const LogCapture capture;
    EXPECT_EQ(way.driver(nullptr, &output, &handle.priv), SR_RET_PARAMS_OUT_OF_RANGE);
    EXPECT_EQ(way.driver(&input, nullptr, &handle.priv), SR_RET_PARAMS_OUT_OF_RANGE);
    EXPECT_EQ(way.driver(&input, &output, nullptr), SR_RET_PARAMS_OUT_OF_RANGE);
  }
}

}  // namespace
}  // namespace velmora::test
