// What went wrong in a call on a handle, as a sentence. Takes no memory.
#ifndef VELMORA_SRC_BURST_HANDLE_MESSAGE_H
#define VELMORA_SRC_BURST_HANDLE_MESSAGE_H

#include <array>
#include <cstdarg>
#include <cstdio>

namespace velmora::burst {

class Message {
 public:
  void clear() { text_[0] = '\0'; }
  /// What does not fit is cut off.
  [[gnu::format(printf, 2, 3)]] void set(const char* format, ...) {
    va_list values;
    va_start(values, format);
    static_cast<void>(std::vsnprintf(text_.data(), text_.size(), format, values));
    va_end(values);
  }
  [[nodiscard]] const char* text() const { return text_.data(); }

 private:
  std::array<char, 160> text_ = {};
};

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_HANDLE_MESSAGE_H
