// What the tool says to its user: on standard error only, nothing but errors with --quiet.
#ifndef VELMORA_TOOL_STATUS_H
#define VELMORA_TOOL_STATUS_H

#include <chrono>
#include <new>
#include <optional>
#include <string>
#include <string_view>

namespace velmora::tool {

class Status {
 public:
  enum class Level { quiet, normal, verbose };

  void setLevel(Level level) { level_ = level; }
  [[nodiscard]] bool quiet() const { return level_ == Level::quiet; }

  // Lines are written as terminal::writeLine() does, without allocating.

  /// One line of information.
  void note(std::string_view text) noexcept;
  /// One line on work that is done, composed by a function; without memory for it, none: what is
  /// done has not failed.
  template <typename Compose>
  void done(const Compose& compose) {
    try {
      note(compose());
    } catch (const std::bad_alloc&) {
      endProgress();
    }
  }
  /// One line that deserves attention; begins with "warning: ".
  void warn(std::string_view text) noexcept;
  /// One line about what went wrong, shown with --quiet too; begins with "error: ".
  void error(std::string_view text) noexcept;

  /// Progress of a long job: `done` frames or other units, of `total` where that is known. On a
  /// terminal one line is rewritten, elsewhere a line appears every few seconds; short jobs show
  /// nothing.
  void progress(long done, std::optional<long> total, const char* unit = "frame");
  /// Progress of one long step, `share` of it done, 0 to 1; shown as above.
  void progress(const char* step, double share);
  /// Lines of another process of the tool, as they are.
  void passOn(std::string_view lines) noexcept;
  /// Clears the progress line.
  void endProgress() noexcept;

 private:
  using Clock = std::chrono::steady_clock;
  void line(std::string_view kind, std::string_view text) noexcept;
  bool progressDue(Clock::time_point now);
  void showProgress(const std::string& text);

  Level level_ = Level::normal;
  bool progressShown_ = false;
  Clock::time_point start_ = Clock::now();
  std::optional<Clock::time_point> lastProgress_;
};

/// The one of the tool.
Status& status();

/// printf into a string.
std::string format(const char* pattern, ...) __attribute__((format(printf, 1, 2)));

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_STATUS_H
