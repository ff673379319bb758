// How the tool ends when it cannot do its job.
#ifndef VELMORA_TOOL_ERRORS_H
#define VELMORA_TOOL_ERRORS_H

#include <stdexcept>
#include <string>

namespace velmora::tool {

/// The job could not be done: exit status 1. The text names the file and what was expected of it.
struct Failure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// The input ends early, is damaged or cannot be read from here on. What came before it is good.
struct InputBroken : Failure {
  using Failure::Failure;
};

/// The call itself is wrong: exit status 2. The text names the option, its value and what it should
/// be.
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// The user or the system asked the tool to stop: it ends by the signal, and the text says what is
/// left of its work.
struct Interrupted {
  int signal;
  std::string text = "stopped; no output was written";
};

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_ERRORS_H
