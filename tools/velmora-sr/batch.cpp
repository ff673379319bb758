#include "batch.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>

#include "errors.h"
#include "interrupt.h"
#include "status.h"

namespace velmora::tool {
namespace {

class Batch {
 public:
  Batch(const std::vector<std::string>& names, int atOnce, const char* unit)
      : names_(names), atOnce_(static_cast<std::size_t>(atOnce)), unit_(unit) {}

  std::optional<std::size_t> run() {
    while (next_ < names_.size() || !children_.empty()) {
      while (mayStart()) {
        if (start()) return next_;
        ++next_;
      }
      if (children_.empty()) break;
      wait();
    }
    finish();
    return std::nullopt;
  }

 private:
  struct Child {
    pid_t process;
    int messages;  // the end of the pipe that its standard error goes into
    std::size_t job;
    std::string line;  // what has come of its last line
  };

  [[nodiscard]] bool mayStart() const {
    return next_ < names_.size() && children_.size() < atOnce_ && fault_.empty() &&
           interrupt::pending() == 0;
  }

  // Starts the next job; true in the child.
  bool start() {
    std::array<int, 2> ends = {-1, -1};
    const pid_t parent = getpid();
    const pid_t process = pipe2(ends.data(), O_CLOEXEC) == 0 ? fork() : -1;
    if (process < 0) {
      fault_ = std::string("cannot start a process: ") + std::strerror(errno);
      for (const int end : ends)
        if (end >= 0) close(end);
      return false;
    }
    if (process == 0) {
      // Signals from the terminal go to the parent alone, which passes them on.
      setpgid(0, 0);
      prctl(PR_SET_PDEATHSIG, SIGTERM);
      if (getppid() != parent) interrupt::die(SIGTERM);
      dup2(ends[1], STDERR_FILENO);
      close(ends[0]);
      close(ends[1]);
      for (const Child& child : children_)
        close(child.messages);
      return true;
    }
    close(ends[1]);
    children_.push_back({process, ends[0], next_, {}});
    return false;
  }

  // Waits until some child says something or ends.
  void wait() {
    std::vector<pollfd> polled;
    for (const Child& child : children_)
      polled.push_back({child.messages, POLLIN, 0});
    const int ready = poll(polled.data(), polled.size(), -1);
    if (interrupt::pending() != 0 && !stopped_) {
      stopped_ = true;
      for (const Child& child : children_)
        kill(child.process, interrupt::pending());
    }
    if (ready <= 0) return;
    for (std::size_t i = polled.size(); i-- > 0;) {
      if (polled[i].revents == 0 || listen(children_[i])) continue;
      end(children_[i]);
      children_.erase(children_.begin() + static_cast<std::ptrdiff_t>(i));
    }
  }

  // Passes on what a child says; false when it has closed its end.
  static bool listen(Child& child) {
    std::array<char, 4096> bytes;
    const ssize_t count = read(child.messages, bytes.data(), bytes.size());
    if (count < 0) return errno == EINTR;
    child.line.append(bytes.data(), static_cast<std::size_t>(count));
    std::size_t end = child.line.rfind('\n');
    if (count == 0 && !child.line.empty()) {
      child.line += '\n';
      end = child.line.size() - 1;
    }
    if (end != std::string::npos) {
      status().passOn(std::string_view(child.line).substr(0, end + 1));
      child.line.erase(0, end + 1);
    }
    return count > 0;
  }

  void end(const Child& child) {
    close(child.messages);
    int result = 0;
    while (waitpid(child.process, &result, 0) < 0 && errno == EINTR) {
    }
    ++ended_;
    if (!WIFEXITED(result) || WEXITSTATUS(result) != 0) ++failed_;
    if (WIFSIGNALED(result) && !stopped_) {
      status().error(names_[child.job] + ": the process was ended by signal " +
                     std::to_string(WTERMSIG(result)));
    }
    status().progress(ended_, static_cast<long>(names_.size()), unit_);
  }

  void finish() const {
    const std::string all = std::to_string(names_.size()) + " " + unit_ + "s";
    if (interrupt::pending() != 0) {
      throw Interrupted{interrupt::pending(), "stopped; " + std::to_string(ended_ - failed_) +
                                                  " of " + all + " are done"};
    }
    if (!fault_.empty()) throw Failure(fault_);
    if (failed_ > 0) throw Failure(std::to_string(failed_) + " of " + all + " failed");
    status().note("all " + all + " are done");
  }

  const std::vector<std::string>& names_;
  std::size_t atOnce_;
  const char* unit_;
  std::size_t next_ = 0;
  std::vector<Child> children_;
  long ended_ = 0;
  long failed_ = 0;
  bool stopped_ = false;
  std::string fault_;  // why no more jobs can be started
};

}  // namespace

std::optional<std::size_t> splitIntoJobs(const std::vector<std::string>& names, int atOnce,
                                         const char* unit) {
  return Batch(names, atOnce, unit).run();
}

}  // namespace velmora::tool
