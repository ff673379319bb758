#include "velmora_sr/thread_pool.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <semaphore.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <csignal>
#include <limits>
#include <stdexcept>
#include <thread>

#include "support/repetitions.h"
#include "thread_faults.h"

namespace {

using velmora::test::repetitions;
using velmora::test::startPool;
using velmora::test::stopPool;
using velmora::test::threadFaults;

/// What one job saw.
struct Seen {
  std::atomic<int> runs = 0;
  std::atomic<int32_t> index = -1;
  std::thread::id thread;

  static void job(void* arg, int32_t index) {
    auto& seen = *static_cast<Seen*>(arg);
    seen.index = index;
    seen.thread = std::this_thread::get_id();
    ++seen.runs;
  }
};

/// A job that runs until it is let go.
class Gate {
 public:
  Gate() {
    sem_init(&entered_, 0, 0);
    sem_init(&open_, 0, 0);
  }
  ~Gate() {
    sem_destroy(&entered_);
    sem_destroy(&open_);
  }
  Gate(const Gate&) = delete;
  Gate& operator=(const Gate&) = delete;

  static void job(void* arg, int32_t) {
    auto& gate = *static_cast<Gate*>(arg);
    sem_post(&gate.entered_);
    sem_wait(&gate.open_);
    gate.passed_ = true;
  }
  void awaitEntry() { sem_wait(&entered_); }
  void open() { sem_post(&open_); }
  [[nodiscard]] bool passed() const { return passed_; }

 private:
  sem_t entered_;
  sem_t open_;
  std::atomic<bool> passed_ = false;
};

/// Every slot is free and has a worker.
void expectAllSlotsFree() {
  for (int32_t slot = 0; slot < VELMORA_SR_THREAD_SLOTS; ++slot) {
    Seen seen;
    EXPECT_EQ(MultiThread_trySet(slot, Seen::job, &seen), 0) << slot;
    MultiThread_post(slot);
    MultiThread_clean(slot);
    EXPECT_EQ(seen.runs, 1) << slot;
    EXPECT_NE(seen.thread, std::this_thread::get_id());
  }
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
  MultiThread_set(
      2, [](void*, int32_t) { throw std::runtime_error("job"); }, nullptr);
  EXPECT_NO_THROW(MultiThread_post(2));
  MultiThread_clean(2);
}

class ThreadPoolLife : public testing::Test {
 protected:
  void SetUp() override { threadFaults() = {}; }
  void TearDown() override {
    EXPECT_EQ(threadFaults().created, threadFaults().joined);
    EXPECT_EQ(threadFaults().liveAttributes, 0);
    threadFaults() = {};
  }
};

TEST_F(ThreadPoolLife, TheFirstUserStartsItAndTheLastOneEndsIt) {
  EXPECT_EQ(startPool(), "MultiThread_Init s_thread_index:0");
  EXPECT_EQ(threadFaults().created, 16);
  EXPECT_EQ(startPool(), "MultiThread_Init s_thread_index:1MultiThread_Init already init threads");
  EXPECT_EQ(threadFaults().created, 16);
  EXPECT_EQ(stopPool(),
            "MultiThread_destory s_thread_index:2MultiThread_destory wait other module to destory");
  EXPECT_EQ(threadFaults().joined, 0);

  expectAllSlotsFree();
  EXPECT_EQ(stopPool(), "MultiThread_destory s_thread_index:1");
  EXPECT_EQ(threadFaults().joined, 16);
}

TEST_F(ThreadPoolLife, StoppingAStoppedPoolChangesNothing) {
  expectJobsRunOnTheCaller();
  EXPECT_EQ(stopPool(), "MultiThread_destory s_thread_index:0");
  EXPECT_EQ(stopPool(), "MultiThread_destory s_thread_index:0");
  EXPECT_EQ(startPool(), "MultiThread_Init s_thread_index:0");
  EXPECT_EQ(threadFaults().created, 16);
  stopPool();
}

TEST_F(ThreadPoolLife, SurvivesManyRounds) {
  testing::internal::CaptureStdout();
  int runs = 0;
  const int rounds = repetitions(1000);
  for (int round = 0; round < rounds; ++round) {
    ASSERT_EQ(MultiThread_Init(4), 0);
    const int32_t slot = round % VELMORA_SR_THREAD_SLOTS;
    MultiThread_wait(slot);
    MultiThread_set(
        slot, [](void* arg, int32_t) { ++*static_cast<int*>(arg); }, &runs);
    MultiThread_post(slot);
    // Every other round the stop itself has to wait for the job.
    if (round % 2 == 0) MultiThread_clean(slot);
    ASSERT_EQ(MultiThread_destory(), 0);
    ASSERT_EQ(runs, round + 1);
  }
  testing::internal::GetCapturedStdout();
  EXPECT_EQ(threadFaults().created, VELMORA_SR_THREAD_SLOTS * rounds);
}

TEST_F(ThreadPoolLife, AFailedThreadLeavesNoneBehindAndJobsRunOnTheCaller) {
  for (const int failing : {0, 1, 7, 15}) {
    SCOPED_TRACE(failing);
    threadFaults() = {};
    threadFaults().failCreateAt = failing;
    EXPECT_EQ(startPool(-1),
              "MultiThread_Init s_thread_index:0[MultiThread_Init] Create Thread Failed!");
    EXPECT_EQ(threadFaults().created, failing);
    EXPECT_EQ(threadFaults().joined, failing);
    EXPECT_EQ(threadFaults().liveAttributes, 0);

    expectJobsRunOnTheCaller();

    // The failed user counts.
    EXPECT_EQ(startPool(),
              "MultiThread_Init s_thread_index:1MultiThread_Init already init threads");
    EXPECT_EQ(stopPool(),
              "MultiThread_destory s_thread_index:2MultiThread_destory wait other module to "
              "destory");
    EXPECT_EQ(stopPool(), "MultiThread_destory s_thread_index:1");

    threadFaults() = {};
    EXPECT_EQ(startPool(), "MultiThread_Init s_thread_index:0");
    EXPECT_EQ(threadFaults().created, 16);
    expectAllSlotsFree();
    stopPool();
  }
}

TEST_F(ThreadPoolLife, AFailedAttributeStartsNothing) {
  threadFaults().failAttributeInit = true;
  EXPECT_EQ(startPool(-1), "MultiThread_Init s_thread_index:0Failed to init thread attribute.");
  EXPECT_EQ(threadFaults().created, 0);
  EXPECT_EQ(stopPool(), "MultiThread_destory s_thread_index:1");
}

TEST_F(ThreadPoolLife, AnAttributeThatCannotBeReleasedFailsTheStartOfAWholePool) {
  threadFaults().failAttributeDestroy = true;
  EXPECT_EQ(startPool(-1),
            "MultiThread_Init s_thread_index:0[MultiThread_Init] destroy threadAttr Failed!");
  EXPECT_EQ(threadFaults().created, 16);
  expectAllSlotsFree();
  EXPECT_EQ(stopPool(), "MultiThread_destory s_thread_index:1");
  EXPECT_EQ(threadFaults().joined, 16);
}

class ThreadPool : public testing::Test {
 protected:
  void SetUp() override { startPool(); }
  void TearDown() override { stopPool(); }
};

TEST_F(ThreadPool, EachSlotRunsItsJobWithItsNumberOnAThreadOfItsOwn) {
  std::array<Seen, VELMORA_SR_THREAD_SLOTS> seen;
  for (int32_t slot = 0; slot < VELMORA_SR_THREAD_SLOTS; ++slot)
    EXPECT_EQ(MultiThread_wait(slot), 0);
  for (int32_t slot = 0; slot < VELMORA_SR_THREAD_SLOTS; ++slot) {
    MultiThread_set(slot, Seen::job, &seen[static_cast<std::size_t>(slot)]);
    EXPECT_EQ(MultiThread_post(slot), 0);
  }
  for (int32_t slot = 0; slot < VELMORA_SR_THREAD_SLOTS; ++slot)
    EXPECT_EQ(MultiThread_clean(slot), 0);
  for (std::size_t i = 0; i < seen.size(); ++i) {
    EXPECT_EQ(seen[i].runs, 1);
    EXPECT_EQ(seen[i].index, static_cast<int32_t>(i));
    for (std::size_t k = 0; k < i; ++k)
      EXPECT_NE(seen[i].thread, seen[k].thread);
    EXPECT_NE(seen[i].thread, std::this_thread::get_id());
  }
}

TEST_F(ThreadPool, ASlotIsBusyWhileItsJobRuns) {
  Gate gate;
  Seen seen;
  EXPECT_EQ(MultiThread_trySet(6, Gate::job, &gate), 0);
  EXPECT_EQ(MultiThread_trySet(6, Seen::job, &seen), -1);  // armed
  MultiThread_post(6);
  gate.awaitEntry();
  EXPECT_EQ(MultiThread_trySet(6, Seen::job, &seen), -1);  // running
  std::atomic<bool> passedBeforeToken = false;
  std::thread waiter([&] {
    MultiThread_wait(6);
    passedBeforeToken = gate.passed();
    MultiThread_set(6, Seen::job, &seen);
    MultiThread_post(6);
  });
  gate.open();
  waiter.join();
  EXPECT_TRUE(passedBeforeToken);
  MultiThread_clean(6);
  EXPECT_EQ(seen.runs, 1);  // and a refused trySet left the gate's job alone
  expectAllSlotsFree();
}

TEST_F(ThreadPool, PostLockWaitsForTheJobAndKeepsIt) {
  int runs = 0;
  const SR_ThreadJob slowJob = [](void* arg, int32_t) {
    usleep(2'000);
    ++*static_cast<int*>(arg);
  };
  MultiThread_wait(0);
  MultiThread_set(0, slowJob, &runs);
  EXPECT_EQ(MultiThread_post_lock(0), 0);
  EXPECT_EQ(runs, 1);
  MultiThread_wait(0);  // the token has come back
  EXPECT_EQ(MultiThread_post_lock(0), 0);
  EXPECT_EQ(runs, 2);
  EXPECT_EQ(MultiThread_clean(0), 0);
}

TEST_F(ThreadPool, AThrowingJobIsDone) {
  for (const int32_t slot : {0, 15}) {
    MultiThread_wait(slot);
    MultiThread_set(
        slot, [](void*, int32_t) { throw std::runtime_error("job"); }, nullptr);
    MultiThread_post(slot);
    MultiThread_clean(slot);
  }
  expectAllSlotsFree();
}

TEST_F(ThreadPool, RefusesOtherSlots) {
  Seen seen;
  for (const int32_t slot :
       {-1, 16, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max()}) {
    EXPECT_EQ(MultiThread_wait(slot), -1);
    MultiThread_set(slot, Seen::job, &seen);
    EXPECT_EQ(MultiThread_trySet(slot, Seen::job, &seen), -1);
    EXPECT_EQ(MultiThread_post(slot), -1);
    EXPECT_EQ(MultiThread_post_lock(slot), -1);
    EXPECT_EQ(MultiThread_clean(slot), -1);
  }
  EXPECT_EQ(seen.runs, 0);
  expectAllSlotsFree();
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

/// Takes SIGUSR1 without restarting what it interrupts.
class InterruptingSignal {
 public:
  InterruptingSignal() {
    signalsTaken = 0;
    struct sigaction action = {};
    action.sa_handler = [](int) { ++signalsTaken; };
    sigaction(SIGUSR1, &action, &previous_);
  }
  ~InterruptingSignal() { sigaction(SIGUSR1, &previous_, nullptr); }
  InterruptingSignal(const InterruptingSignal&) = delete;
  InterruptingSignal& operator=(const InterruptingSignal&) = delete;

  static void sendTo(pthread_t thread, int times) {
    for (int i = 0; i < times; ++i) {
      const int before = signalsTaken;
      pthread_kill(thread, SIGUSR1);
      for (int k = 0; k < 1000 && signalsTaken == before; ++k)
        usleep(100);
    }
  }

 private:
  struct sigaction previous_ = {};
};

TEST_F(ThreadPool, SignalsDoNotEndAWait) {
  const InterruptingSignal signal;
  Gate gate;
  MultiThread_wait(1);
  MultiThread_set(1, Gate::job, &gate);
  MultiThread_post(1);
  gate.awaitEntry();
  const pthread_t caller = pthread_self();
  std::thread sender([&gate, caller] {
    usleep(5'000);  // the caller is in its wait by now
    InterruptingSignal::sendTo(caller, 5);
    gate.open();
  });
  MultiThread_clean(1);
  EXPECT_TRUE(gate.passed());
  sender.join();
  EXPECT_EQ(signalsTaken, 5);
}

TEST_F(ThreadPool, SignalsDoNotStartAJob) {
  const InterruptingSignal signal;
  pthread_t worker;
  MultiThread_wait(4);
  MultiThread_set(
      4, [](void* arg, int32_t) { *static_cast<pthread_t*>(arg) = pthread_self(); }, &worker);
  MultiThread_post(4);
  MultiThread_clean(4);
  usleep(5'000);  // the worker is back in its wait by now

  Seen seen;
  MultiThread_wait(4);
  MultiThread_set(4, Seen::job, &seen);
  InterruptingSignal::sendTo(worker, 5);
  usleep(5'000);
  EXPECT_EQ(seen.runs, 0);
  MultiThread_post(4);
  MultiThread_clean(4);
  EXPECT_EQ(seen.runs, 1);
  EXPECT_EQ(signalsTaken, 5);
}

}  // namespace
