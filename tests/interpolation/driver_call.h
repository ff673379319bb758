// One call of an interpolation driver: random frames of exactly their bytes, an output buffer with
// canaries, the log of the call.
#ifndef VELMORA_TESTS_INTERPOLATION_DRIVER_CALL_H
#define VELMORA_TESTS_INTERPOLATION_DRIVER_CALL_H

#include <gtest/gtest.h>

#include <vector>

#include "interpolation/handle.h"
#include "interpolation/reference.h"
#include "support/log_capture.h"
#include "support/random.h"

namespace velmora::test {

struct DriverCall {
  using Driver = int32_t (*)(Velmora_SR_CInputImage*, Velmora_SR_COutPutImage*, SR_ParamsPrivate*);
  using Spoil = void (*)(Velmora_SR_CInputImage&, Velmora_SR_COutPutImage&, Handle&);
  static constexpr uint8_t kUnwritten = 0xE1;
  static constexpr std::size_t kCanary = 32;

  static std::size_t frameSize(int w, int h) {
    return static_cast<std::size_t>(w * h + 2 * (w / 2) * (h / 2));
  }

  int w, h, format, outW, outH;
  int x0, y0, x1, y1;

  Bytes frame = Random(99).bytes(frameSize(w, h));
  Bytes buffer = Bytes(frameSize(outW, outH) + 2 * kCanary, kUnwritten);
  Bytes secondFrame = {};  ///< empty: none
  Maps maps = {};          ///< empty: none
  bool registrationFailed = false;
  Spoil spoil = nullptr;  ///< changes the records before the call
  int result = -1;
  std::vector<LogLine> log = {};

  /// Adds a second frame that lies (dx, dy) from the first, 16.16.
  void addSecondFrame(int32_t dx, int32_t dy) {
    secondFrame = Random(98).bytes(frameSize(w, h));
    maps = shiftedMaps(w, h, dx, dy);
  }

  /// Calls the driver on a handle of its own and checks that all blocks came back.
  void run(Driver driver) {
    Handle handle;
    runOn(handle, driver);
    EXPECT_EQ(Handle::leftovers(), "");
  }

  void runOn(Handle& handle, Driver driver) {
    handle.pub.srImageWidth = outW;
    handle.pub.srImageHeight = outH;
    handle.pub.vrStartW = x0;
    handle.pub.vrStartH = y0;
    handle.pub.vrEndW = x1;
    handle.pub.vrEndH = y1;
    handle.priv.posMap1 = maps.x.empty() ? nullptr : maps.x.data();
    handle.priv.posMap2 = maps.y.empty() ? nullptr : maps.y.data();
    handle.priv.registFailed = registrationFailed ? 1 : 0;
    const Bytes frameBefore = frame;
    const Bytes secondBefore = secondFrame;
    uint8_t* frames[] = {frame.data()};
    uint8_t* secondFrames[] = {secondFrame.data()};
    Velmora_SR_CInputImage input = {
        frames, secondFrame.empty() ? nullptr : secondFrames, 1, 1, w, h, format};
    Velmora_SR_COutPutImage output = {buffer.data() + kCanary};
    if (spoil != nullptr) spoil(input, output, handle);
    LogCapture capture;
    result = driver(&input, &output, &handle.priv);
    log = capture.take();
    EXPECT_EQ(frame, frameBefore);
    EXPECT_EQ(secondFrame, secondBefore);
    // The handle keeps the caller's region, also where it was replaced for the call.
    EXPECT_EQ(handle.pub.vrStartW, x0);
    EXPECT_EQ(handle.pub.vrStartH, y0);
    EXPECT_EQ(handle.pub.vrEndW, x1);
    EXPECT_EQ(handle.pub.vrEndH, y1);
    for (std::size_t i = 0; i < kCanary; ++i) {
      EXPECT_EQ(buffer[i], kUnwritten);
      EXPECT_EQ(buffer[buffer.size() - 1 - i], kUnwritten);
    }
  }

  [[nodiscard]] Bytes output() const { return {buffer.begin() + kCanary, buffer.end() - kCanary}; }
  [[nodiscard]] bool untouched() const {
    return output() == Bytes(frameSize(outW, outH), kUnwritten);
  }
  [[nodiscard]] Bytes expected(const Kernels& kernels) const {
    const bool fuse = !secondFrame.empty() && !registrationFailed;
    return enlargedFrame(frame, w, h, format, kernels, {x0, x1, outW}, {y0, y1, outH},
                         fuse ? &secondFrame : nullptr, &maps);
  }
};

}  // namespace velmora::test

#endif  // VELMORA_TESTS_INTERPOLATION_DRIVER_CALL_H
