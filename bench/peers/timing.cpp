#include "timing.h"

#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>

namespace velmora::bench {
namespace {

FILE* table = stdout;

/// Milliseconds of processor time that all threads of the process have used.
double processorTime() {
  timespec time = {};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) * 1e-6;
}

}  // namespace

void keepTableApart() {
  std::fflush(stdout);
  table = fdopen(dup(STDOUT_FILENO), "w");
  const int nowhere = open("/dev/null", O_WRONLY);
  dup2(nowhere, STDOUT_FILENO);
  close(nowhere);
}

void useProcessors(int count) {
  cpu_set_t set;
  CPU_ZERO(&set);
  for (int i = 0; i < count; ++i)
    CPU_SET(i, &set);
  sched_setaffinity(0, sizeof set, &set);
}

void compare(const std::string& job, int processors, int rounds,
             const std::vector<Contestant>& contestants) {
  struct Times {
    std::vector<double> wall, cpu;
  };
  std::vector<Times> times(contestants.size());
  for (int round = -1; round < rounds; ++round) {
    for (std::size_t i = 0; i < contestants.size(); ++i) {
      const double cpuStart = processorTime();
      const auto start = std::chrono::steady_clock::now();
      contestants[i].run();
      const std::chrono::duration<double, std::milli> time =
          std::chrono::steady_clock::now() - start;
      if (round < 0) continue;
      times[i].wall.push_back(time.count());
      times[i].cpu.push_back(processorTime() - cpuStart);
    }
  }
  std::fprintf(table, "\n%s, %d thread%s\n", job.c_str(), processors, processors == 1 ? "" : "s");
  std::fprintf(table, "| %-34s | %9s | %9s | %13s | %11s | %17s |\n", "who", "best ms", "median ms",
               "ours / theirs", "best CPU ms", "ours / theirs CPU");
  for (Times& t : times) {
    std::sort(t.wall.begin(), t.wall.end());
    std::sort(t.cpu.begin(), t.cpu.end());
  }
  for (std::size_t i = 0; i < contestants.size(); ++i) {
    const auto& [wall, cpu] = times[i];
    std::fprintf(table, "| %-34s | %9.2f | %9.2f | %13.3g | %11.2f | %17.3g |\n",
                 contestants[i].name.c_str(), wall.front(), wall[wall.size() / 2],
                 times[0].wall.front() / wall.front(), cpu.front(),
                 times[0].cpu.front() / cpu.front());
  }
  std::fflush(table);
}

}  // namespace velmora::bench
