// SPDX-License-Identifier: MIT
#include "bench/contest.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>

namespace vorn::bench {

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const std::size_t n = values.size();
  if (n == 0) return 0;
  return n % 2 == 1 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

double median_ratio(const std::vector<double>& a,
                    const std::vector<double>& b) {
  std::vector<double> ratios;
  for (std::size_t k = 0; k < a.size(); ++k) ratios.push_back(a[k] / b[k]);
  return median(ratios);
}

std::vector<std::vector<double>> hold_contest(
    benchmark::State& state, const std::string& name,
    const std::vector<Contestant>& contestants, double work,
    const std::string& unit) {
  const std::size_t n = contestants.size();
  std::vector<std::vector<double>> times(n);
  std::size_t first = 0;
  for (auto _ : state) {
    for (std::size_t k = 0; k < n; ++k) {
      const std::size_t who = (first + k) % n;
      times[who].push_back(contestants[who].run());
    }
    first = (first + 1) % n;
    state.SetIterationTime(times[0].back());
  }
  const double to_nanoseconds = 1e9 / work;
  const double ours = median(times[0]) * to_nanoseconds;
  state.counters["ns"] = ours;
  for (std::size_t who = 1; who < n; ++who) {
    const double ratio = median_ratio(times[0], times[who]);
    const Contestant& other = contestants[who];
    const double theirs = median(times[who]) * to_nanoseconds;
    state.counters[other.name + "_ns"] = theirs;
    state.counters["over_" + other.name] = ratio;
    table().add(
        {name, unit, other.name, ours, theirs, "ns", ratio, other.target});
  }
  return times;
}

void add_benchmark(
    const std::string& name,
    const std::function<void(benchmark::State&, const std::string&)>& body) {
  benchmark::RegisterBenchmark(name.c_str(),
                               [name, body](benchmark::State& state) {
                                 std::fprintf(stderr, "%s\n", name.c_str());
                                 body(state, name);
                               })
      ->UseManualTime()
      ->Iterations(kRuns);
}

}  // namespace vorn::bench
