// What the last call did, and how a host asks for it.
#include "report/call_report.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <utility>

#include "velmora_sr/records.h"

namespace velmora {

constinit CallReport callReport;

void CallReport::begin(const SR_ParamsPublic* created) {
  handle = created;
  facts = {};
  weights = nullptr;
  kept = {};
  if (created != nullptr) facts.scene = created->srScene;
}

void CallReport::beginCall(const SR_ParamsPublic& called, const FramePair& frames) {
  if (&called != handle) begin(&called);
  if (kept.first == nullptr || kept != frames) {
    kept = {};
    Velmora_SR_Report fresh = {};
    fresh.configurationRead = facts.configurationRead;
    fresh.kernelsRead = facts.kernelsRead;
    fresh.kernelPhases = facts.kernelPhases;
    facts = fresh;
  }
  facts.scene = called.srScene;
  facts.result = 0;
  facts.written = facts.fused = 0;
}

bool CallReport::takeKept(const FramePair& frames) {
  return std::exchange(kept, {}) == frames && frames.first != nullptr;
}

void CallReport::fail(int32_t stage, int32_t cause, const char* reason) {
  facts.stage = stage;
  facts.cause = cause;
  facts.reason = reason;
}

void CallReport::failByCode(int32_t stage, int32_t code) {
  switch (code) {
    case SR_RET_ALLOC_FAILED:
      return fail(stage, VELMORA_SR_CAUSE_MEMORY, "out of memory");
    case SR_RET_LOAD_CONFIG_FAILED:
      return fail(stage, VELMORA_SR_CAUSE_SETUP, "no kernel tables are installed");
    case SR_RET_PARAMS_OUT_OF_RANGE:
      return fail(stage, VELMORA_SR_CAUSE_ARGUMENTS, "a null pointer, or a size out of range");
    default:
      return fail(stage, VELMORA_SR_CAUSE_ARGUMENTS, "the format is not handled by the scene");
  }
}

void CallReport::written(bool fused, const ValidRegion& shown) {
  facts.written = 1;
  facts.fused = fused ? 1 : 0;
  facts.shownLeft = shown.startW;
  facts.shownTop = shown.startH;
  facts.shownRight = shown.endW;
  facts.shownBottom = shown.endH;
}

int32_t CallReport::refused(int32_t result, const char* reason) {
  facts.result = result;
  fail(VELMORA_SR_STAGE_CALL, VELMORA_SR_CAUSE_ARGUMENTS, reason);
  return result;
}

void CallReport::endCall() {
  const bool explained =
      facts.cause != VELMORA_SR_CAUSE_NONE && facts.cause != VELMORA_SR_CAUSE_FRAMES;
  if (facts.written == 0 && !explained) failByException();
}

void CallReport::endRegistration() {
  if (facts.registered == 0 && facts.cause == VELMORA_SR_CAUSE_NONE) failByException();
}

void CallReport::failByException() {
  fail(VELMORA_SR_STAGE_CALL, VELMORA_SR_CAUSE_EXCEPTION, "an exception stopped the call");
}

bool CallReport::wantsWeights(int32_t width, int32_t height) const {
  return weights != nullptr && handle->inImageWidth == width && handle->inImageHeight == height;
}

void CallReport::clearWeights(int32_t width, int32_t height) const {
  if (!wantsWeights(width, height)) return;
  std::fill_n(weights, static_cast<std::size_t>(width) * static_cast<std::size_t>(height),
              uint8_t{255});
}

}  // namespace velmora

using velmora::callReport;

int32_t VELMORA_SR_GetReport(const SR_ParamsPublic* handle, Velmora_SR_Report* report) {
  constexpr std::size_t kLeastSize = offsetof(Velmora_SR_Report, result);
  if (handle == nullptr || report == nullptr || report->size < kLeastSize) return -1;
  if (handle != callReport.handle) return -2;
  Velmora_SR_Report facts = callReport.facts;
  facts.size = static_cast<uint32_t>(std::min<std::size_t>(report->size, sizeof facts));
  if (facts.reason == nullptr) facts.reason = "";
  for (std::size_t frame = 0; frame < 2; ++frame) {
    if (facts.keyPointCount[frame] > 0) {
      facts.keyPoints[frame] = callReport.keyPoints[frame].data();
    }
  }
  if (facts.matchCount > 0) facts.matches = callReport.matches.data();
  facts.ghostLow = zelkParamPrivate.ghostLowThr;
  facts.ghostHigh = zelkParamPrivate.ghostHighThr;
  std::memcpy(report, &facts, facts.size);
  return 0;
}

int32_t VELMORA_SR_RequestWeights(const SR_ParamsPublic* handle, uint8_t* weights) {
  if (handle == nullptr) return -1;
  if (handle != callReport.handle) return -2;
  callReport.weights = weights;
  return 0;
}
