// What the tests of the entry points share: frames, one handle at a time, and its log lines.
#ifndef VELMORA_TESTS_INTERFACE_SESSION_H
#define VELMORA_TESTS_INTERFACE_SESSION_H

#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

#include "support/log_capture.h"
#include "velmora_sr/report.h"
#include "velmora_sr/velmora_sr.h"

namespace velmora::test {

constexpr int kInfo = 4;
constexpr int kError = 6;

/// All parts in one text.
template <typename... Parts>
std::string joined(const Parts&... parts) {
  std::ostringstream text;
  (text << ... << parts);
  return text.str();
}

/// Line of the library's own tag.
LogLine info(std::string text);
LogLine error(std::string text);

/// Bytes of a 4:2:0 frame.
std::size_t frameBytes(int32_t width, int32_t height);

/// Creation parameters with the counting allocator and null paths.
Velmora_SR_CreateParams parameters(int32_t width, int32_t height, int32_t scene);

/// A created handle, destroyed at the end of the scope; the counting allocator is reset before.
class Session {
 public:
  explicit Session(const Velmora_SR_CreateParams& params);
  Session(int32_t width, int32_t height, int32_t scene)
      : Session(parameters(width, height, scene)) {}
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  SR_ParamsPublic* handle() const { return handle_; }

 private:
  SR_ParamsPublic* handle_ = nullptr;
};

/// The report of the last call on a handle.
Velmora_SR_Report reportOf(const SR_ParamsPublic* handle);

struct Region {
  int32_t startW, startH, endW, endH;
  bool operator==(const Region&) const = default;
};
void PrintTo(const Region& region, std::ostream* out);

/// The whole frame.
Region whole(int32_t width, int32_t height);

/// One process call: records filled in, an output buffer of exactly the right size. The second
/// frame is that of both scenes.
struct Call {
  Call(int32_t width, int32_t height, int32_t format, Region region, int32_t outWidth,
       int32_t outHeight, std::vector<uint8_t> firstFrame = {},
       std::vector<uint8_t> secondFrame = {});

  /// Whatever the call gives, no block is left and the allocator was used as it is meant to be.
  int32_t run(const Session& session, int32_t frameCount = 2);
  Region reportedRegion() const {
    return {output.vrStartW, output.vrStartH, output.vrEndW, output.vrEndH};
  }
  bool outputUntouched() const;

  static constexpr uint8_t kUntouched = 0x5A;
  Velmora_SR_InputFrames input = {};
  Velmora_SR_OutputFrame output = {};
  std::vector<uint8_t> data, first, second;
};

/// The three version lines.
std::vector<LogLine> bannerLines();

std::vector<LogLine> operator+(std::vector<LogLine> a, const std::vector<LogLine>& b);

/// The lines of a process call up to the checks of its scene, for a handle with null paths.
std::vector<LogLine> openingLines(const Session& session, const Call& call);

/// The line that tells whether dumps are wanted; without a value the property is unset.
LogLine dumpLine(const std::string& value = "");

/// The two lines that end a process call, the time masked as by maskedLines.
std::vector<LogLine> closingLines();

/// The lines of a process call, with the time in the last one replaced by "#".
std::vector<LogLine> maskedLines(LogCapture& log);

}  // namespace velmora::test

#endif  // VELMORA_TESTS_INTERFACE_SESSION_H
