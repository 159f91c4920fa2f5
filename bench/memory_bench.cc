// SPDX-License-Identifier: MIT
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "bench/benchmarks.h"
#include "bench/contest.h"
#include "bench/graphs.h"
#include "bench/workloads.h"

// Peak resident memory of a graph with a million edges between a million nodes,
// all active. Each measurement is a process of its own, since freed memory of
// another would hide what a graph takes.

namespace vorn::bench {
namespace {

/// A number of bytes from /proc/self/status.
double status_bytes(const std::string& key) {
  std::ifstream in("/proc/self/status");
  std::string line;
  while (std::getline(in, line)) {
    if (line.compare(0, key.size() + 1, key + ":") == 0) {
      return 1024.0 * std::strtod(line.c_str() + key.size() + 1, nullptr);
    }
  }
  fail("no such line in /proc/self/status");
}

/// Registers and activates all constraints of a trace, whose own memory is
/// there before and after.
template <class G, class... Options>
double peak_of(const Trace& trace, Options... options) {
  const double before = status_bytes("VmRSS");
  G graph(trace, options...);
  if (make_calls(graph, trace.measured) != 0) fail("an unexpected conflict");
  return status_bytes("VmHWM") - before;
}

/// Runs this program anew as `measure_memory` and reads what it prints.
double run_child(const std::string& which) {
  std::array<char, PATH_MAX> path{};
  if (readlink("/proc/self/exe", path.data(), path.size() - 1) < 0) {
    fail("cannot find the program");
  }
  std::string option = "--measure-memory=" + which;
  std::array<int, 2> ends{};
  if (pipe(ends.data()) != 0) fail("cannot make a pipe");
  const pid_t child = fork();
  if (child < 0) fail("cannot fork");
  if (child == 0) {
    dup2(ends[1], STDOUT_FILENO);
    close(ends[0]);
    close(ends[1]);
    std::array<char*, 3> arguments = {path.data(), option.data(), nullptr};
    execv(path.data(), arguments.data());
    _exit(EXIT_FAILURE);
  }
  close(ends[1]);
  std::string text;
  std::array<char, 64> buffer{};
  for (;;) {
    const ssize_t got = read(ends[0], buffer.data(), buffer.size());
    if (got <= 0) break;
    text.append(buffer.data(), static_cast<std::size_t>(got));
  }
  close(ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  if (!WIFEXITED(status) || WEXITSTATUS(status) != EXIT_SUCCESS) {
    fail("a memory measurement failed");
  }
  return std::strtod(text.c_str(), nullptr);
}

void run(benchmark::State& state, const std::string& name) {
  std::vector<double> ours;
  std::vector<double> last_first;
  std::vector<double> floors;
  for (auto _ : state) {
    const double start = cpu_seconds();
    ours.push_back(run_child("vorn"));
    last_first.push_back(run_child("vorn-last-first"));
    floors.push_back(run_child("floor"));
    state.SetIterationTime(cpu_seconds() - start);
  }
  const double bytes = median(ours);
  table().add({name, "edge and node", "", bytes, 0, "bytes", bytes,
               Target::at_most(250)});
  const double at_once = median(last_first);
  table().add({name + " (last first)", "edge and node", "", at_once, 0, "bytes",
               at_once, Target::at_most(250)});
  table().add({name, "edge and node", "floor", bytes, median(floors), "bytes",
               bytes / median(floors), Target::none()});
}

}  // namespace

int measure_memory(const std::string& which, int pairs) {
  const Trace trace = one_edge_per_node(pairs);
  double bytes = 0;
  if (which == "vorn") {
    bytes = peak_of<VornGraph>(trace);
  } else if (which == "vorn-last-first") {
    bytes = peak_of<VornGraph>(trace, true);
  } else if (which == "floor") {
    bytes = peak_of<FloorGraph>(trace);
  } else {
    return EXIT_FAILURE;
  }
  std::printf("%.1f\n", bytes / pairs);
  return EXIT_SUCCESS;
}

void add_memory_benchmarks() {
  add_benchmark("bm_graph_memory/1000000", run);
}

}  // namespace vorn::bench
