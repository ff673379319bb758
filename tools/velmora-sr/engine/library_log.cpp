#include "engine/library_log.h"

#include <array>
#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <new>
#include <string_view>
#include <utility>

#include "terminal.h"
#include "velmora_sr/platform.h"

namespace velmora::tool::library_log {
namespace {

std::mutex mutex;
std::vector<Line> lines;
bool shown = false;
bool lost = false;  // a line, for want of memory

void add(int priority, const char* tag, std::string text) {
  while (!text.empty() && text.back() == '\n')
    text.pop_back();
  const std::lock_guard lock(mutex);
  if (shown) {
    constexpr std::array<char, 9> kLetters = {'?', '?', 'V', 'D', 'I', 'W', 'E', 'F', 'S'};
    const bool known = priority >= 0 && priority < static_cast<int>(kLetters.size());
    const char letter = known ? kLetters[static_cast<std::size_t>(priority)] : '?';
    terminal::writeLine({std::string_view(&letter, 1), "/", tag, ": ", text});
  }
  lines.push_back({priority, std::move(text)});
}

// No exception crosses the library.
void print(int priority, const char* tag, const char* pattern, va_list arguments) noexcept {
  try {
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, pattern, again);
    va_end(again);
    std::string text(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
    std::vsnprintf(text.data(), text.size() + 1, pattern, arguments);
    add(priority, tag, std::move(text));
  } catch (const std::bad_alloc&) {
    const std::lock_guard lock(mutex);
    lost = true;
  }
}

}  // namespace

void show() {
  const std::lock_guard lock(mutex);
  shown = true;
}

std::vector<Line> take() {
  const std::lock_guard lock(mutex);
  if (std::exchange(lost, false)) throw std::bad_alloc();
  return std::exchange(lines, {});
}

void forget() noexcept {
  const std::lock_guard lock(mutex);
  lines.clear();
  lost = false;
}

}  // namespace velmora::tool::library_log

// Takes the place of the library's own (weak) definition.
extern "C" VELMORA_API int __android_log_print(int prio, const char* tag, const char* fmt, ...) {
  va_list arguments;
  va_start(arguments, fmt);
  velmora::tool::library_log::print(prio, tag == nullptr ? "" : tag, fmt, arguments);
  va_end(arguments);
  return 1;
}
