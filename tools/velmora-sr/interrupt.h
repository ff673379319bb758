// Signals that ask the tool to stop: noticed between pieces of work, so that nothing half-written
// stays behind.
#ifndef VELMORA_TOOL_INTERRUPT_H
#define VELMORA_TOOL_INTERRUPT_H

#include <string>

namespace velmora::tool::interrupt {

/// Lets SIGINT, SIGTERM and SIGHUP set a flag instead of ending the process; blocking reads and
/// writes return early. A second signal removes the unfinished file and ends the process at once.
void install();

/// The signal that arrived, or 0.
int pending();

/// Throws Interrupted when a signal has arrived and nothing holds it back.
void check();

/// Holds signals back while it lives, around a step that must not be cut in half. A second signal
/// still ends the process.
class Hold {
 public:
  Hold();
  ~Hold();
  Hold(const Hold&) = delete;
  Hold& operator=(const Hold&) = delete;
};

/// The unfinished file that a second signal removes; an empty path when there is none.
void setUnfinishedFile(const std::string& path);

/// Ends the process by the signal, as if it had not been caught.
[[noreturn]] void die(int signal);

}  // namespace velmora::tool::interrupt

#endif  // VELMORA_TOOL_INTERRUPT_H
