// SPDX-License-Identifier: MIT
#include "tests/trace/random_search.h"

#include <sys/mman.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <new>
#include <system_error>

// One process for each job, not one for each trace: a fork costs as much as a
// short trace. What a process counts, and the seed it is at, stands in memory
// that it shares with this one, which reads it when the process has ended,
// however it did.

namespace vorn::trace {
namespace {

constexpr int kFound = 1;

/// All jobs' next seed, as a distance from the first.
struct Desk {
  std::atomic<std::uint64_t> next{0};
  std::atomic<bool> stop{false};
};

/// Written by one job alone.
struct Job {
  std::uint64_t seed = 0;
  Totals totals;
};

/// A T in memory that forked processes share.
template <class T>
class Shared {
 public:
  Shared() {
    void* memory = mmap(nullptr, sizeof(T), PROT_READ | PROT_WRITE,
                        MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
      throw std::system_error(errno, std::generic_category(), "mmap");
    }
    value_ = new (memory) T();
  }
  Shared(const Shared&) = delete;
  Shared& operator=(const Shared&) = delete;
  ~Shared() { munmap(value_, sizeof(T)); }
  T& operator*() const { return *value_; }
  T* operator->() const { return value_; }

 private:
  T* value_;
};

using Clock = std::chrono::steady_clock;

/// What a job's process does. True if it came upon a difference.
bool run_seeds(const TesterOptions& options, const Run& run,
               const std::function<model::Trace(std::uint64_t)>& trace_of,
               Clock::time_point start, Desk& desk, Job& job) {
  while (!desk.stop) {
    const std::chrono::duration<double> elapsed = Clock::now() - start;
    if (options.seconds > 0 && elapsed.count() >= options.seconds) break;
    const std::uint64_t number = desk.next++;
    if (options.count > 0 && number >= options.count) break;
    job.seed = options.seed + number;
    const model::Trace trace = trace_of(job.seed);
    limit_processor_time(options.patience.of(trace));
    const model::RunResult result = run(trace);
    job.totals.add(result);
    if (!result.agrees) return true;
  }
  return false;
}

}  // namespace

std::vector<Find> search_seeds(
    const TesterOptions& options, const Run& run,
    const std::function<model::Trace(std::uint64_t)>& trace_of,
    Totals* totals) {
  std::fflush(nullptr);
  const Clock::time_point start = Clock::now();
  const Shared<Desk> desk;
  std::vector<Shared<Job>> jobs(static_cast<std::size_t>(options.jobs));
  std::vector<pid_t> children;
  for (const Shared<Job>& job : jobs) {
    const pid_t child = fork();
    if (child == 0) {
      forbid_core_files();
      _exit(run_seeds(options, run, trace_of, start, *desk, *job) ? kFound : 0);
    }
    if (child < 0) {
      desk->stop = true;
      for (const pid_t other : children) waitpid(other, nullptr, 0);
      throw std::system_error(errno, std::generic_category(), "fork");
    }
    children.push_back(child);
  }
  std::vector<Find> finds;
  for (std::size_t waiting = children.size(); waiting > 0;) {
    int status = 0;
    const pid_t ended = waitpid(-1, &status, 0);
    if (ended < 0 && errno == EINTR) continue;
    if (ended < 0) break;
    for (std::size_t k = 0; k < children.size(); ++k) {
      if (children[k] != ended) continue;
      --waiting;
      totals->add(jobs[k]->totals);
      if (WIFEXITED(status) && WEXITSTATUS(status) == 0) continue;
      desk->stop = true;
      const bool compared = WIFEXITED(status) && WEXITSTATUS(status) == kFound;
      finds.push_back({jobs[k]->seed, compared ? "" : end_text(status)});
    }
  }
  return finds;
}

}  // namespace vorn::trace
