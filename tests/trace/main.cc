// SPDX-License-Identifier: MIT
#include <CLI/CLI.hpp>
#include <cstdint>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "tests/model/runner.h"
#include "tests/trace/tester.h"

// vorn_trace_tester: runs the graph beside an independent model through random
// traces of calls, or through those of files, and closures beside both. Exit
// status 0 if they agree, 1 if they differ, 2 if the command line or a file is
// wrong.

namespace vorn::trace {
namespace {

constexpr std::uint64_t kDefaultCount = 1000;

int status_of(Verdict verdict) {
  return static_cast<int>(verdict);
}

int run(int argc, char** argv) {
  TesterOptions options;
  options.program = argv[0];
  std::vector<std::string> replay;
  std::string shrink;

  CLI::App app(
      "Compares the constraint graph with an independent model, call by call, "
      "and\nwhat closures of the same constraints say to follow with the "
      "shortest paths\nbetween their nodes: one with a matrix, one with paths, "
      "one that changes over.",
      "vorn_trace_tester");
  app.add_option("--seed", options.seed, "Seed of the first random trace")
      ->type_name("N")
      ->capture_default_str();
  app.add_option("--count", options.count,
                 "Random traces; 1000 if no limit is given")
      ->type_name("N")
      ->check(CLI::PositiveNumber);
  app.add_option("--seconds", options.seconds, "Stop after this time")
      ->type_name("S")
      ->check(CLI::PositiveNumber);
  app.add_option(
         "--calls", options.calls,
         "Calls of each random trace; if not given, some tens, and some "
         "hundreds in one of twenty")
      ->type_name("N")
      ->check(CLI::PositiveNumber);
  app.add_option("--jobs", options.jobs, "Processes that run random traces")
      ->type_name("N")
      ->check(CLI::Range(1, 256))
      ->capture_default_str();
  app.add_option("--out", options.folder, "Where to write traces that differ")
      ->type_name("DIR")
      ->capture_default_str();
  CLI::Option* replay_option =
      app.add_option("--replay", replay, "Run the traces of these files")
          ->type_name("FILE");
  app.add_option("--shrink", shrink, "Make the trace of this file small")
      ->type_name("FILE")
      ->excludes(replay_option);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : status_of(Verdict::kUsage);
  }
  if (options.count == 0 && options.seconds <= 0) options.count = kDefaultCount;

  Tester tester(
      options,
      [](const model::Trace& trace) { return model::run_trace(trace); },
      std::cout);
  if (!replay.empty()) return status_of(tester.replay(replay));
  if (!shrink.empty()) return status_of(tester.shrink_file(shrink));
  return status_of(tester.search());
}

}  // namespace
}  // namespace vorn::trace

int main(int argc, char** argv) {
  try {
    return vorn::trace::run(argc, argv);
  } catch (const std::exception& error) {
    std::cerr << "vorn_trace_tester: " << error.what() << '\n';
    return 2;
  }
}
