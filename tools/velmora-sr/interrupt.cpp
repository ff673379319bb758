#include "interrupt.h"

#include <signal.h>
#include <unistd.h>

#include <array>
#include <climits>
#include <cstdlib>

#include "errors.h"

namespace velmora::tool::interrupt {
namespace {

volatile sig_atomic_t arrived = 0;
// Read by the handler: the path is complete before the flag is set.
std::array<char, PATH_MAX> unfinishedPath;
volatile sig_atomic_t hasUnfinished = 0;
int holds = 0;

extern "C" void onSignal(int signal) {
  if (arrived != 0) {
    if (hasUnfinished != 0) unlink(unfinishedPath.data());
    _exit(128 + signal);
  }
  arrived = signal;
}

}  // namespace

void install() {
  struct sigaction action = {};
  action.sa_handler = onSignal;  // without SA_RESTART: blocking calls return EINTR
  sigemptyset(&action.sa_mask);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction old = {};
    // A signal that the parent ignores (nohup, background jobs) stays ignored.
    if (sigaction(signal, nullptr, &old) == 0 && old.sa_handler == SIG_IGN) continue;
    sigaction(signal, &action, nullptr);
  }
  // A reader that went away shows as a failed write with its own message.
  ::signal(SIGPIPE, SIG_IGN);
}

int pending() {
  return arrived;
}

void check() {
  if (arrived != 0 && holds == 0) throw Interrupted{arrived};
}

Hold::Hold() {
  ++holds;
}

Hold::~Hold() {
  --holds;
}

void setUnfinishedFile(const std::string& path) {
  hasUnfinished = 0;
  if (path.empty() || path.size() >= unfinishedPath.size()) return;
  unfinishedPath[path.copy(unfinishedPath.data(), path.size())] = '\0';
  hasUnfinished = 1;
}

void die(int signal) {
  ::signal(signal, SIG_DFL);
  raise(signal);
  std::_Exit(128 + signal);
}

}  // namespace velmora::tool::interrupt
