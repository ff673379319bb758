#include "status.h"

#include <unistd.h>

#include <cmath>
#include <cstdarg>
#include <cstdio>

#include "terminal.h"

namespace velmora::tool {
namespace {

bool onTerminal() {
  static const bool terminal = isatty(STDERR_FILENO) != 0;
  return terminal;
}

}  // namespace

Status& status() {
  static Status instance;
  return instance;
}

void Status::line(std::string_view kind, std::string_view text) noexcept {
  endProgress();
  terminal::writeLine({"velmora-sr: ", kind, text});
}

void Status::note(std::string_view text) noexcept {
  if (!quiet()) line("", text);
}

void Status::warn(std::string_view text) noexcept {
  if (!quiet()) line("warning: ", text);
}

void Status::error(std::string_view text) noexcept {
  line("error: ", text);
}

// Says yes once in a while.
bool Status::progressDue(Clock::time_point now) {
  if (quiet()) return false;
  const auto pause =
      onTerminal() ? std::chrono::milliseconds(200) : std::chrono::milliseconds(5000);
  if (now - lastProgress_.value_or(start_) < pause) return false;
  lastProgress_ = now;
  return true;
}

void Status::showProgress(const std::string& text) {
  if (!onTerminal()) {
    line("", text);
    return;
  }
  terminal::writeControl("\rvelmora-sr: " + text + "\033[K");
  progressShown_ = true;
}

void Status::progress(const char* step, double share) {
  if (progressDue(Clock::now())) showProgress(format("%s, %.0f %%", step, 100 * share));
}

void Status::progress(long done, std::optional<long> total, const char* unit) {
  const auto now = Clock::now();
  if (!progressDue(now)) return;
  const double seconds = std::chrono::duration<double>(now - start_).count();
  const double rate = static_cast<double>(done) / seconds;
  std::string text = std::string(unit) + " " + std::to_string(done);
  if (total) text += " of " + std::to_string(*total);
  text += format(", %.1f %ss/s", rate, unit);
  if (total && done > 0) {
    const long left = std::lround(static_cast<double>(*total - done) / rate);
    text += format(", %ld:%02ld left", left / 60, left % 60);
  }
  showProgress(text);
}

void Status::passOn(std::string_view lines) noexcept {
  endProgress();
  terminal::writeControl(lines);
}

void Status::endProgress() noexcept {
  if (progressShown_) terminal::writeControl("\r\033[K");
  progressShown_ = false;
}

std::string format(const char* pattern, ...) {
  va_list arguments;
  va_start(arguments, pattern);
  va_list again;
  va_copy(again, arguments);
  const int length = std::vsnprintf(nullptr, 0, pattern, arguments);
  va_end(arguments);
  std::string text(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
  std::vsnprintf(text.data(), text.size() + 1, pattern, again);
  va_end(again);
  return text;
}

}  // namespace velmora::tool
