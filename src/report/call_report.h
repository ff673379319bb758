// The record of the last call, from which VELMORA_SR_GetReport answers.
#ifndef VELMORA_SRC_REPORT_CALL_REPORT_H
#define VELMORA_SRC_REPORT_CALL_REPORT_H

#include <array>
#include <cstdint>

#include "geometry/valid_region.h"
#include "velmora_sr/feature_records.h"
#include "velmora_sr/report.h"

namespace velmora {

/// The frames that a registration is about.
struct FramePair {
  const uint8_t* first = nullptr;
  const uint8_t* second = nullptr;
  int32_t width = 0;
  int32_t height = 0;
  bool operator==(const FramePair&) const = default;
};

/// Filled while a call runs, by the thread that made it. All of it is static: noting what happens
/// takes no memory, so it cannot fail and cannot change what happens.
struct CallReport {
  const SR_ParamsPublic* handle = nullptr;
  Velmora_SR_Report facts = {};  ///< `size`, lists and texts are made up when asked for
  std::array<std::array<Velmora_SR_KeyPoint, VELMORA_SR_MAX_KEYPOINTS>, 2> keyPoints = {};
  std::array<Velmora_SR_Match, VELMORA_SR_MAX_KEYPOINTS> matches = {};
  uint8_t* weights = nullptr;  ///< where the host wants the weights of de-ghosting
  FramePair kept;  ///< frames whose registration the next process call may take over; else nulls

  /// The creation of a handle, or its end (null): everything is forgotten.
  void begin(const SR_ParamsPublic* created);
  /// A call on a handle: what is not tuning is forgotten, but for the registration of kept frames
  /// that are the call's.
  void beginCall(const SR_ParamsPublic& called, const FramePair& frames);
  /// True once for the frames of beginCall, if their registration was kept.
  bool takeKept(const FramePair& frames);

  /// What failed; texts are constants.
  void fail(int32_t stage, int32_t cause, const char* reason);
  /// The same by a stage's Velmora_SR_ESR_RET code; other codes are formats that it does not know.
  void failByCode(int32_t stage, int32_t code);
  /// The call has written its output. A failed registration stays on record.
  void written(bool fused, const ValidRegion& shown);
  /// Ends a call that was refused; passes the code on.
  int32_t refused(int32_t result, const char* reason);
  /// Ends a process call that has passed its checks: what has neither written nor told why was
  /// stopped by an exception.
  void endCall();
  /// The same for a call that registers only.
  void endRegistration();

  [[nodiscard]] bool wantsWeights(int32_t width, int32_t height) const;
  /// The weights of frames that are not fused.
  void clearWeights(int32_t width, int32_t height) const;

 private:
  void failByException();
};

extern CallReport callReport;

}  // namespace velmora

#endif  // VELMORA_SRC_REPORT_CALL_REPORT_H
