#include "interrupt.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <utility>

#include "errors.h"

namespace velmora::tool::interrupt {
namespace {

std::atomic<int> arrived = 0;
static_assert(std::atomic<int>::is_always_lock_free, "for the handler");
pthread_t mainThread;
// A list that the handler walks: changed by the main thread only, while signals are blocked there.
UnfinishedFile* unfinished = nullptr;
int holds = 0;
thread_local const std::atomic<bool>* background = nullptr;
// Ignored by processes that do not handle it, so that nobody ends the tool by one too late.
constexpr int kWakeSignal = SIGURG;

sigset_t stopSignals() {
  sigset_t set;
  sigemptyset(&set);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP})
    sigaddset(&set, signal);
  return set;
}

extern "C" void onSignal(int signal) {
  const int error = errno;
  if (pthread_equal(pthread_self(), mainThread) == 0) {
    // A worker of the library was interrupted: what is to be stopped runs in the main thread.
    pthread_kill(mainThread, signal);
  } else if (arrived != 0) {
    removeUnfinishedFiles();
    die(signal);
  } else {
    arrived = signal;
  }
  errno = error;
}

extern "C" void onWake(int) {}

}  // namespace

void install() {
  mainThread = pthread_self();
  struct sigaction action = {};
  action.sa_handler = onSignal;  // without SA_RESTART: blocking calls return EINTR
  action.sa_mask = stopSignals();
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction old = {};
    // A signal that the parent ignores (nohup, background jobs) stays ignored.
    if (sigaction(signal, nullptr, &old) == 0 && old.sa_handler == SIG_IGN) continue;
    sigaction(signal, &action, nullptr);
  }
  struct sigaction waking = {};
  waking.sa_handler = onWake;
  sigaction(kWakeSignal, &waking, nullptr);
  ::signal(SIGPIPE, SIG_IGN);
  ::signal(SIGXFSZ, SIG_IGN);
}

int pending() {
  return arrived;
}

void check() {
  if (background != nullptr) {
    if (*background) throw Interrupted{0};
  } else if (arrived != 0 && holds == 0) {
    throw Interrupted{arrived};
  }
}

Background::Background(const std::atomic<bool>& calledOff) {
  background = &calledOff;
}

Background::~Background() {
  background = nullptr;
}

void wake(pthread_t thread) {
  pthread_kill(thread, kWakeSignal);
}

Hold::Hold() {
  ++holds;
}

Hold::~Hold() {
  --holds;
}

Block::Block() noexcept {
  const sigset_t set = stopSignals();
  pthread_sigmask(SIG_BLOCK, &set, &old_);
}

Block::~Block() {
  pthread_sigmask(SIG_SETMASK, &old_, nullptr);
}

UnfinishedFile::UnfinishedFile(std::string path) : path_(std::move(path)) {
  const Block signals;
  next_ = std::exchange(unfinished, this);
}

UnfinishedFile::~UnfinishedFile() {
  const Block signals;
  UnfinishedFile** link = &unfinished;
  while (*link != this)
    link = &(*link)->next_;
  *link = next_;
}

void removeUnfinishedFiles() noexcept {
  for (const UnfinishedFile* file = unfinished; file != nullptr; file = file->next_)
    unlink(file->path_.c_str());
}

void die(int signal) {
  ::signal(signal, SIG_DFL);
  sigset_t only;
  sigemptyset(&only);
  sigaddset(&only, signal);
  pthread_sigmask(SIG_UNBLOCK, &only, nullptr);
  raise(signal);
  _exit(128 + signal);
}

}  // namespace velmora::tool::interrupt
