#include "support/log_capture.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <map>
#include <mutex>
#include <ostream>
#include <utility>

#include "velmora_sr/platform.h"

namespace velmora::test {
namespace {

std::mutex mutex;
bool capturing = false;
std::vector<LogLine> lines;
std::map<std::string, std::string>& properties() {
  static std::map<std::string, std::string> map;
  return map;
}

}  // namespace

void PrintTo(const LogLine& line, std::ostream* out) {
  *out << line.priority << "/" << line.tag << ": \"" << line.text << "\"";
}

LogCapture::LogCapture() {
  const std::lock_guard lock(mutex);
  capturing = true;
  lines.clear();
}

LogCapture::~LogCapture() {
  const std::lock_guard lock(mutex);
  capturing = false;
  lines.clear();
}

std::vector<LogLine> LogCapture::take() {
  const std::lock_guard lock(mutex);
  return std::exchange(lines, {});
}

std::vector<std::string> LogCapture::takeTexts() {
  std::vector<std::string> texts;
  for (auto& line : take())
    texts.push_back(std::move(line.text));
  return texts;
}

void setSystemProperty(const std::string& name, const std::string& value) {
  properties()[name] = value;
}

}  // namespace velmora::test

// Strong definitions: they take the place of the library's weak ones.
extern "C" int __android_log_print(int prio, const char* tag, const char* fmt, ...) {
  using namespace velmora::test;
  va_list args;
  va_start(args, fmt);
  va_list again;
  va_copy(again, args);
  const int length = std::vsnprintf(nullptr, 0, fmt, args);
  va_end(args);
  std::string text(static_cast<std::size_t>(std::max(length, 0)), '\0');
  std::vsnprintf(text.data(), text.size() + 1, fmt, again);
  va_end(again);
  const std::lock_guard lock(mutex);
  if (capturing) lines.push_back({prio, tag, std::move(text)});
  return 1;
}

extern "C" int __system_property_get(const char* name, char* value) {
  const auto found = velmora::test::properties().find(name);
  const std::string text = found == velmora::test::properties().end() ? "" : found->second;
  std::snprintf(value, 92, "%s", text.c_str());
  return static_cast<int>(std::strlen(value));
}
