// Signals that ask the tool to stop: noticed between pieces of work, so that nothing half-written
// stays behind. For the main thread, but where a line says something else.
#ifndef VELMORA_TOOL_INTERRUPT_H
#define VELMORA_TOOL_INTERRUPT_H

#include <pthread.h>
#include <signal.h>

#include <atomic>
#include <string>

namespace velmora::tool::interrupt {

/// Lets SIGINT, SIGTERM and SIGHUP set a flag instead of ending the process; blocking reads and
/// writes return early. A second signal removes all unfinished files and ends the process at once.
/// A pipe without reader and a file beyond the limit of its size show as failed writes.
void install();

/// The signal that arrived, or 0.
int pending();

/// Throws Interrupted when a signal has arrived and nothing holds it back; in a thread that is
/// Background, when it is called off.
void check();

/// Marks the thread it lives in as one that reads or writes for the main thread. Signals leave it
/// alone: it goes on until `calledOff` is set, which the main thread does.
class Background {
 public:
  explicit Background(const std::atomic<bool>& calledOff);
  ~Background();
  Background(const Background&) = delete;
  Background& operator=(const Background&) = delete;
};

/// Lets a blocking read or write of a Background thread return early. A thread that is just about
/// to block misses it: repeat it until the thread has ended.
void wake(pthread_t thread);

/// Holds signals back while it lives, around a step that must not be cut in half. A second signal
/// still ends the process.
class Hold {
 public:
  Hold();
  ~Hold();
  Hold(const Hold&) = delete;
  Hold& operator=(const Hold&) = delete;
};

/// Keeps every signal from arriving while it lives, a second one too: for a few system calls.
class Block {
 public:
  Block() noexcept;
  ~Block();
  Block(const Block&) = delete;
  Block& operator=(const Block&) = delete;

 private:
  sigset_t old_;
};

/// The name of a file that goes when the process ends before its time. Every file that the tool has
/// begun under a name of its own is one of these; they and nothing else are removed by a signal.
class UnfinishedFile {
 public:
  /// Known from here on; making the file is up to the caller, while a Block lives.
  explicit UnfinishedFile(std::string path);
  /// Forgets the name.
  ~UnfinishedFile();
  UnfinishedFile(const UnfinishedFile&) = delete;
  UnfinishedFile& operator=(const UnfinishedFile&) = delete;

  [[nodiscard]] const std::string& path() const { return path_; }

 private:
  friend void removeUnfinishedFiles() noexcept;
  std::string path_;
  UnfinishedFile* next_ = nullptr;
};

/// Removes every unfinished file that is known; async-signal-safe.
void removeUnfinishedFiles() noexcept;

/// Ends the process by the signal, as if it had not been caught.
[[noreturn]] void die(int signal);

}  // namespace velmora::tool::interrupt

#endif  // VELMORA_TOOL_INTERRUPT_H
