#include "engine/library_log.h"

#include <array>
#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <utility>

#include "velmora_sr/platform.h"

namespace velmora::tool::library_log {
namespace {

std::mutex mutex;
std::vector<Line> lines;
bool shown = false;

void add(int priority, const char* tag, std::string text) {
  while (!text.empty() && text.back() == '\n')
    text.pop_back();
  const std::lock_guard lock(mutex);
  if (shown) {
    constexpr std::array<char, 9> kLetters = {'?', '?', 'V', 'D', 'I', 'W', 'E', 'F', 'S'};
    const bool known = priority >= 0 && priority < static_cast<int>(kLetters.size());
    const char letter = known ? kLetters[static_cast<std::size_t>(priority)] : '?';
    std::fprintf(stderr, "%c/%s: %s\n", letter, tag, text.c_str());
  }
  lines.push_back({priority, std::move(text)});
}

}  // namespace

void show() {
  const std::lock_guard lock(mutex);
  shown = true;
}

std::vector<Line> take() {
  const std::lock_guard lock(mutex);
  return std::exchange(lines, {});
}

}  // namespace velmora::tool::library_log

// Takes the place of the library's own (weak) definition.
extern "C" VELMORA_API int __android_log_print(int prio, const char* tag, const char* fmt, ...) {
  va_list arguments;
  va_start(arguments, fmt);
  va_list again;
  va_copy(again, arguments);
  const int length = std::vsnprintf(nullptr, 0, fmt, arguments);
  va_end(arguments);
  std::string text(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
  std::vsnprintf(text.data(), text.size() + 1, fmt, again);
  va_end(again);
  velmora::tool::library_log::add(prio, tag == nullptr ? "" : tag, std::move(text));
  return 1;
}
