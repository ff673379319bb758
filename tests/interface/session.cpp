#include "interface/session.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <ostream>
#include <utility>

#include "support/test_allocator.h"

namespace velmora::test {

LogLine info(std::string text) {
  return {kInfo, "NB7UO_ZELK", std::move(text)};
}

LogLine error(std::string text) {
  return {kError, "NB7UO_ZELK", std::move(text)};
}

std::size_t frameBytes(int32_t width, int32_t height) {
  return static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 3 / 2;
}

Velmora_SR_CreateParams parameters(int32_t width, int32_t height, int32_t scene) {
  return {width, height, scene, TestAllocator::alloc, TestAllocator::free, nullptr, nullptr};
}

Session::Session(const Velmora_SR_CreateParams& params) {
  TestAllocator::reset();
  VELMORA_SR_Create(&params, &handle_);
}

Session::~Session() {
  VELMORA_SR_Destroy(&handle_);
}

Velmora_SR_Report reportOf(const SR_ParamsPublic* handle) {
  Velmora_SR_Report report = {};
  report.size = sizeof report;
  EXPECT_EQ(VELMORA_SR_GetReport(handle, &report), 0);
  EXPECT_EQ(report.size, sizeof report);
  return report;
}

void PrintTo(const Region& region, std::ostream* out) {
  *out << "[" << region.startW << ", " << region.startH << ", " << region.endW << ", "
       << region.endH << "]";
}

Region whole(int32_t width, int32_t height) {
  return {0, 0, width - 1, height - 1};
}

Call::Call(int32_t width, int32_t height, int32_t format, Region region, int32_t outWidth,
           int32_t outHeight, std::vector<uint8_t> firstFrame, std::vector<uint8_t> secondFrame)
    : data(frameBytes(outWidth, outHeight), kUntouched),
      first(std::move(firstFrame)),
      second(std::move(secondFrame)) {
  input.leftData = first.data();
  input.rightData = input.leftData2 = second.data();
  input.width = width;
  input.height = height;
  input.format = format;
  input.vrDepthStartW = region.startW;
  input.vrDepthStartH = region.startH;
  input.vrDepthEndW = region.endW;
  input.vrDepthEndH = region.endH;
  output.width = outWidth;
  output.height = outHeight;
  output.format = format;
  output.data = data.data();
}

int32_t Call::run(const Session& session, int32_t frameCount) {
  const int32_t code = VELMORA_SR_Process(session.handle(), &input, frameCount, &output);
  EXPECT_EQ(TestAllocator::live(), 0u);
  EXPECT_EQ(TestAllocator::faults(), "");
  return code;
}

bool Call::outputUntouched() const {
  return std::all_of(data.begin(), data.end(), [](uint8_t byte) { return byte == kUntouched; });
}

std::vector<LogLine> bannerLines() {
  return {info("NB7UO_ZELK: Version : ZELK_V1.2.6<83234>\n"),
          info("NB7UO_ZELK: Release time : Mar  2 2015, 11:57:04\n"),
          info("NB7UO_ZELK: Compiler: gcc\n")};
}

std::vector<LogLine> operator+(std::vector<LogLine> a, const std::vector<LogLine>& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

std::vector<LogLine> openingLines(const Session& session, const Call& call) {
  const auto field = [](const char* name, int32_t value) { return joined(name, " = ", value); };
  const Velmora_SR_InputFrames& input = call.input;
  const std::string next = "\n\t\t\t\t\t   ";
  return std::vector<LogLine>{info("NB7UO_ZELK: VELMORA_SR_Process Start.\n")} + bannerLines() +
         std::vector<LogLine>{info(
             "NB7UO_ZELK: Dual Camera Super Resolution Params:\n" +
             field("inImageWidth", session.handle()->inImageWidth) +
             field(", inImageHeight", session.handle()->inImageHeight) + next +
             field("srImageWidth", call.output.width) +
             field(", srImageHeight", call.output.height) + next +
             field("vrDepthStartW", input.vrDepthStartW) +
             field(", vrDepthStartH", input.vrDepthStartH) +
             field(", vrDepthEndW", input.vrDepthEndW) + field(", vrDepthEndH", input.vrDepthEndH) +
             next + field("srScene", session.handle()->srScene) + next +
             "zelkConfigFileName = " + next + "zelkKernelFileName = " + next)};
}

LogLine dumpLine(const std::string& value) {
  const char first = value.empty() ? '\0' : value[0];
  return info(joined("save org image: length = ", value.size(),
                     ", persist.camera.nb7uo.zelk.yuv = ", first, ".\n"));
}

std::vector<LogLine> closingLines() {
  return {info("NB7UO_ZELK: VELMORA_SR_Process Finish.\n"),
          info("NB7UO_ZELK: Dual Camera Super Resolution time: # ms.\n")};
}

std::vector<LogLine> maskedLines(LogCapture& log) {
  std::vector<LogLine> lines = log.take();
  if (lines.empty()) return lines;
  std::string& text = lines.back().text;
  int end = 0;
  std::sscanf(text.c_str(), "NB7UO_ZELK: Dual Camera Super Resolution time: %*[0-9].%*6[0-9] ms.%n",
              &end);
  // Six decimals, as "%f" has them.
  if (end > 0 && text.substr(end - 11, 1) == "." && text.substr(end) == "\n")
    text = closingLines().back().text;
  return lines;
}

}  // namespace velmora::test
