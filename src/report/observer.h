// How the stages of a registration note what they find.
#ifndef VELMORA_SRC_REPORT_OBSERVER_H
#define VELMORA_SRC_REPORT_OBSERVER_H

#include <chrono>
#include <cstddef>
#include <cstdint>

#include "report/call_report.h"
#include "velmora_sr/feature_records.h"
#include "velmora_sr/matching.h"

namespace velmora {

/// Adds the time from here to the end of the scope to a stage. Without a report: nothing.
class StageTime {
 public:
  StageTime(CallReport* report, int32_t stage)
      : slot_(report == nullptr ? nullptr : &report->facts.milliseconds[stage]) {
    if (slot_ != nullptr) start_ = Clock::now();
  }
  ~StageTime() {
    if (slot_ == nullptr) return;
    *slot_ += std::chrono::duration<double, std::milli>(Clock::now() - start_).count();
  }
  StageTime(const StageTime&) = delete;
  StageTime& operator=(const StageTime&) = delete;

 private:
  using Clock = std::chrono::steady_clock;
  double* slot_;
  Clock::time_point start_ = {};
};

/// Handed down through a registration. Without a report, as for hosts that call the stages
/// themselves, it notes nothing.
class Observer {
 public:
  Observer() = default;
  explicit Observer(CallReport& report) : report_(&report) {}

  [[nodiscard]] StageTime time(int32_t stage) const { return {report_, stage}; }

  /// Parameters as the luma statistics left them.
  void parameters(const tagSURFParams& surf) const;
  void reduction(int32_t factor) const;
  /// The key points of a frame (0 or 1), Q6 of the analysed picture.
  void keyPoints(std::size_t frame, const ST_IMAGEFEATURES& features) const;
  void matches(const tagMATCHESINFO& matches) const;
  /// @param marks  one per match, not 0 for an inlier; null: the first `count` matches are the ones
  void inliers(const unsigned char* marks, int32_t count) const;
  void homography(const float* entries) const;
  void area(int32_t left, int32_t top, int32_t right, int32_t bottom) const;

  void fail(int32_t stage, int32_t cause, const char* reason) const;
  /// Notes a stage without memory; passes its result on.
  int32_t checked(int32_t stage, int32_t result) const;

 private:
  CallReport* report_ = nullptr;
};

}  // namespace velmora

#endif  // VELMORA_SRC_REPORT_OBSERVER_H
