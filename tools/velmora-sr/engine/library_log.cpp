#include "engine/library_log.h"

#include <array>
#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <new>
#include <string_view>

#include "terminal.h"
#include "velmora_sr/platform.h"

namespace velmora::tool::library_log {
namespace {

constexpr std::size_t kLongestLine = 4096;  // the library's end at 2047 bytes

std::mutex mutex;
std::vector<std::string> kept;
bool shown = false;
bool recorded = false;

/// Called from within the library, also while it ends: nothing leaves it.
void add(int priority, const char* tag, std::string_view text) noexcept {
  while (!text.empty() && text.back() == '\n')
    text.remove_suffix(1);
  const std::lock_guard lock(mutex);
  if (shown) {
    constexpr std::array<char, 9> kLetters = {'?', '?', 'V', 'D', 'I', 'W', 'E', 'F', 'S'};
    const bool known = priority >= 0 && priority < static_cast<int>(kLetters.size());
    const char letter = known ? kLetters[static_cast<std::size_t>(priority)] : '?';
    terminal::writeLine({std::string_view(&letter, 1), "/", tag, ": ", text});
  }
  try {
    if (recorded) kept.emplace_back(text);
  } catch (const std::bad_alloc&) {
    // A line less: whoever reads the recording looks for what it needs.
  }
}

}  // namespace

void show() {
  const std::lock_guard lock(mutex);
  shown = true;
}

Recording::Recording() {
  const std::lock_guard lock(mutex);
  recorded = true;
}

Recording::~Recording() {
  const std::lock_guard lock(mutex);
  recorded = false;
  kept.clear();
}

std::vector<std::string> Recording::lines() const {
  const std::lock_guard lock(mutex);
  return kept;
}

}  // namespace velmora::tool::library_log

// Takes the place of the library's own (weak) definition.
extern "C" VELMORA_API int __android_log_print(int prio, const char* tag, const char* fmt, ...) {
  std::array<char, velmora::tool::library_log::kLongestLine> text{};
  va_list arguments;
  va_start(arguments, fmt);
  std::vsnprintf(text.data(), text.size(), fmt, arguments);
  va_end(arguments);
  velmora::tool::library_log::add(prio, tag == nullptr ? "" : tag, text.data());
  return 1;
}
