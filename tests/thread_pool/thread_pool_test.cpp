#include "velmora_sr/thread_pool.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cfenv>
#include <csignal>
#include <semaphore>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>

#include "thread_faults.h"

namespace {

using velmora::test::startPool;
using velmora::test::stopPool;
using velmora::test::ThreadFaults;
using velmora::test::threadFaults;

/// `count`, or a tenth of it in a build that runs under user-mode emulation, where starting a
/// thread costs a hundred times as much. For repetitions that hunt for races and leaks; inputs that
/// differ from each other are all tried everywhere.
constexpr int repetitions(int count) {
#ifdef VELMORA_TESTS_EMULATED
  return count / 10;
#else
  return count;
#endif
}

/// What the last of some jobs saw.
struct Seen {
  std::atomic<int> runs = 0;
  std::atomic<int32_t> index = -1;
  std::thread::id thread;
  int rounding = -1;

  static void job(void* arg, int32_t index) {
    auto& seen = *static_cast<Seen*>(arg);
    seen.index = index;
    seen.thread = std::this_thread::get_id();
    seen.rounding = std::fegetround();
    ++seen.runs;
  }
};

/// A job that runs until it is let go.
struct Gate {
  std::binary_semaphore entered{0};
  std::binary_semaphore open{0};
  std::atomic<bool> passed = false;
  pthread_t worker = {};

  static void job(void* arg, int32_t) {
    auto& gate = *static_cast<Gate*>(arg);
    gate.worker = pthread_self();
    gate.entered.release();
    gate.open.acquire();
    gate.passed = true;
  }
};

void throwing(void*, int32_t) {
  std::fesetround(FE_DOWNWARD);
  throw std::runtime_error("job");
}

/// Takes a slot's token and starts a job on it.
void start(int32_t slot, SR_ThreadJob job, void* arg = nullptr) {
  EXPECT_EQ(MultiThread_wait(slot), 0);
  MultiThread_set(slot, job, arg);
  EXPECT_EQ(MultiThread_post(slot), 0);
}

/// Every slot is free and has a worker of its own, which rounds to nearest whatever it did before,
/// and which outlives what a job throws.
void expectWorkers() {
  std::array<Seen, VELMORA_SR_THREAD_SLOTS> seen;
  for (int32_t slot = 0; slot < VELMORA_SR_THREAD_SLOTS; ++slot) {
    start(slot, throwing);
    EXPECT_EQ(MultiThread_clean(slot), 0);
    EXPECT_EQ(MultiThread_trySet(slot, Seen::job, &seen[static_cast<std::size_t>(slot)]), 0);
    EXPECT_EQ(MultiThread_post(slot), 0);
  }
  std::set<std::thread::id> threads = {std::this_thread::get_id()};
  for (int32_t slot = 0; slot < VELMORA_SR_THREAD_SLOTS; ++slot) {
    EXPECT_EQ(MultiThread_clean(slot), 0);
    const Seen& of = seen[static_cast<std::size_t>(slot)];
    EXPECT_EQ(of.runs, 1);
    EXPECT_EQ(of.index, slot);
    EXPECT_EQ(of.rounding, FE_TONEAREST);
    threads.insert(of.thread);
  }
  EXPECT_EQ(threads.size(), 17u);
}

/// What slots without a worker do: nothing blocks, and a post runs the job at once.
void expectJobsRunOnTheCaller() {
  Seen seen;
  for (int32_t slot = 0; slot < VELMORA_SR_THREAD_SLOTS; ++slot) {
    EXPECT_EQ(MultiThread_wait(slot), 0);
    EXPECT_EQ(MultiThread_wait(slot), 0);  // no token
    EXPECT_EQ(MultiThread_trySet(slot, Seen::job, &seen), 0);
    EXPECT_EQ(MultiThread_post(slot), 0);
    EXPECT_EQ(seen.index, slot);
    EXPECT_EQ(MultiThread_post_lock(slot), 0);
    EXPECT_EQ(MultiThread_clean(slot), 0);
    EXPECT_EQ(MultiThread_post(slot), 0);  // emptied: nothing to run
  }
  EXPECT_EQ(seen.runs, 32);
  EXPECT_EQ(seen.thread, std::this_thread::get_id());
  EXPECT_NO_THROW(start(2, throwing));
  std::fesetround(FE_TONEAREST);
  MultiThread_clean(2);
}

class ThreadPoolLife : public testing::Test {
 protected:
  void SetUp() override { threadFaults = {}; }
  void TearDown() override {
    EXPECT_EQ(threadFaults.created, threadFaults.joined);
    EXPECT_EQ(threadFaults.liveAttributes, 0);
    threadFaults = {};
  }
};

TEST_F(ThreadPoolLife, TheFirstUserStartsItAndTheLastOneEndsIt) {
  expectJobsRunOnTheCaller();
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(stopPool(), "MultiThread_destory s_thread_index:0");
    threadFaults = {};
    std::fesetround(FE_UPWARD);
    EXPECT_EQ(startPool(), "MultiThread_Init s_thread_index:0");
    std::fesetround(FE_TONEAREST);
    EXPECT_EQ(startPool(),
              "MultiThread_Init s_thread_index:1MultiThread_Init already init threads");
    EXPECT_EQ(threadFaults.created, 16);
    EXPECT_EQ(threadFaults.stackSize, 256u * 1024);
    EXPECT_EQ(
        stopPool(),
        "MultiThread_destory s_thread_index:2MultiThread_destory wait other module to destory");
    EXPECT_EQ(threadFaults.joined, 0);
    expectWorkers();
    EXPECT_EQ(stopPool(), "MultiThread_destory s_thread_index:1");
    EXPECT_EQ(threadFaults.joined, 16);
  }
}

TEST_F(ThreadPoolLife, SurvivesManyRoundsAndEndsBehindTheJob) {
  for (int round = 0; round < repetitions(1000); ++round) {
    startPool();
    Seen seen;
    start(round % 16, Seen::job, &seen);
    stopPool();
    ASSERT_EQ(seen.runs, 1);
  }
}

TEST_F(ThreadPoolLife, AFailedStartLeavesNoThreadBehindAndItsUserCounts) {
  const struct {
    ThreadFaults faults;
    int32_t result;
    const char* printed;
    int started;  ///< of which none or all stay
  } cases[] = {
      {{.failCreateAt = 0}, -1, "[MultiThread_Init] Create Thread Failed!", 0},
      {{.failCreateAt = 15}, -1, "[MultiThread_Init] Create Thread Failed!", 15},
      {{.failAttributeInit = true}, -1, "Failed to init thread attribute.", 0},
      {{.failAttributeDestroy = true}, -1, "[MultiThread_Init] destroy threadAttr Failed!", 16},
      {{.refuseStackSizes = true}, 0, "", 16},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.printed);
    threadFaults = c.faults;
    EXPECT_EQ(startPool(c.result), std::string("MultiThread_Init s_thread_index:0") + c.printed);
    EXPECT_EQ(threadFaults.created, c.started);
    EXPECT_EQ(threadFaults.joined, c.started == 16 ? 0 : c.started);
    EXPECT_EQ(threadFaults.liveAttributes, 0);
    startPool();
    c.started == 16 ? expectWorkers() : expectJobsRunOnTheCaller();
    stopPool();
    EXPECT_EQ(stopPool(), "MultiThread_destory s_thread_index:1");
    EXPECT_EQ(threadFaults.joined, c.started);
  }
}

TEST_F(ThreadPoolLife, AChildOfAForkRunsJobsOnTheCallerUntilItStartsAPoolOfItsOwn) {
  startPool();
  expectWorkers();  // all are up: the child inherits no lock of a starting thread
  Gate gate;
  start(5, Gate::job, &gate);  // running and owned slots are free in the child
  gate.entered.acquire();
  const pid_t child = fork();
  if (child == 0) {
    alarm(60);
    expectJobsRunOnTheCaller();
    EXPECT_EQ(stopPool(), "MultiThread_destory s_thread_index:1");
    EXPECT_EQ(threadFaults.joined, 0);
// Neither sanitizers nor the emulator let a thread start here for sure.
#if !defined(__SANITIZE_THREAD__) && !defined(__SANITIZE_ADDRESS__) && \
    !defined(VELMORA_TESTS_EMULATED)
    startPool();
    expectWorkers();
    stopPool();
#endif
    _exit(HasFailure() ? 1 : 0);
  }
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  gate.open.release();
  stopPool();
}

class ThreadPool : public testing::Test {
 protected:
  void SetUp() override { startPool(); }
  void TearDown() override {
    expectWorkers();
    stopPool();
  }
};

TEST_F(ThreadPool, ASlotIsBusyWhileItsJobRuns) {
  Gate gate;
  Seen seen;
  EXPECT_EQ(MultiThread_trySet(6, Gate::job, &gate), 0);
  EXPECT_EQ(MultiThread_trySet(6, Seen::job, &seen), -1);  // armed
  MultiThread_post(6);
  gate.entered.acquire();
  EXPECT_EQ(MultiThread_trySet(6, Seen::job, &seen), -1);  // running
  std::thread opener([&gate] { gate.open.release(); });
  start(6, Seen::job, &seen);
  EXPECT_TRUE(gate.passed) << "the token comes back behind the job";
  opener.join();
  MultiThread_clean(6);
  EXPECT_EQ(seen.runs, 1);  // and a refused trySet left the gate's job alone
}

TEST_F(ThreadPool, PostLockWaitsForTheJobAndKeepsIt) {
  std::atomic<int> runs = 0;
  const auto slow = [](void* arg, int32_t) {
    usleep(2'000);
    ++*static_cast<std::atomic<int>*>(arg);
  };
  EXPECT_EQ(MultiThread_trySet(0, slow, &runs), 0);
  for (int run = 1; run <= 2; ++run) {
    if (run == 2) MultiThread_wait(0);  // for the token that has come back
    EXPECT_EQ(MultiThread_post_lock(0), 0);
    EXPECT_EQ(runs, run);
  }
}

TEST_F(ThreadPool, RefusesOtherSlots) {
  Seen seen;
  for (const int32_t slot : {-1, 16, INT32_MIN, INT32_MAX}) {
    EXPECT_EQ(MultiThread_wait(slot), -1);
    MultiThread_set(slot, Seen::job, &seen);
    EXPECT_EQ(MultiThread_trySet(slot, Seen::job, &seen), -1);
    EXPECT_EQ(MultiThread_post(slot), -1);
    EXPECT_EQ(MultiThread_post_lock(slot), -1);
    EXPECT_EQ(MultiThread_clean(slot), -1);
  }
  EXPECT_EQ(seen.runs, 0);
}

// A post without a job. Seen from outside, only time tells that the worker
// has taken such a post before the next job is set, which a race detector rightly dislikes.
TEST_F(ThreadPool, APostWithoutAJobIsConsumedAndKeepsTheToken) {
#if defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "sets a job without synchronisation";
#endif
  Seen seen;
  MultiThread_wait(3);
  EXPECT_EQ(MultiThread_post(3), 0);
  EXPECT_EQ(MultiThread_post_lock(3), 0);  // no job: no end to wait for
  usleep(20'000);
  EXPECT_EQ(MultiThread_trySet(3, Seen::job, &seen), -1);
  MultiThread_set(3, Seen::job, &seen);
  MultiThread_post(3);
  MultiThread_clean(3);  // the worker is still there
  EXPECT_GE(seen.runs, 1);
}

std::atomic<int> signalsTaken = 0;

/// Sends a signal to a thread that is in its wait by now; it restarts nothing that it interrupts.
void interrupt(pthread_t thread) {
  struct sigaction action = {};
  action.sa_handler = [](int) { ++signalsTaken; };
  sigaction(SIGUSR1, &action, nullptr);
  usleep(5'000);
  const int before = signalsTaken;
  pthread_kill(thread, SIGUSR1);
  while (signalsTaken == before)
    usleep(100);
  usleep(5'000);
}

TEST_F(ThreadPool, SignalsNeitherEndAWaitNorStartAJob) {
  Gate gate;
  start(1, Gate::job, &gate);
  gate.entered.acquire();
  std::thread sender([&gate, caller = pthread_self()] {
    interrupt(caller);
    gate.open.release();
  });
  MultiThread_clean(1);
  EXPECT_TRUE(gate.passed);
  sender.join();

  Seen seen;
  EXPECT_EQ(MultiThread_trySet(1, Seen::job, &seen), 0);
  interrupt(gate.worker);
  EXPECT_EQ(seen.runs, 0);
  MultiThread_post(1);
  MultiThread_clean(1);
  EXPECT_EQ(seen.runs, 1);
}

}  // namespace
