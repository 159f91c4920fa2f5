// SPDX-License-Identifier: MIT
#include "tests/trace/tester.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <random>
#include <sstream>
#include <system_error>
#include <utility>

#include "tests/trace/random_search.h"

namespace vorn::trace {
namespace {

using Clock = std::chrono::steady_clock;

double seconds_since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

/// Every line of `text` as a comment line.
std::string comment(const std::string& text) {
  std::istringstream in(text);
  std::string lines;
  for (std::string line; std::getline(in, line);) lines += "# " + line + "\n";
  return lines;
}

std::string count_text(const model::Trace& trace) {
  return std::to_string(trace.size()) +
         (trace.size() == 1 ? " call" : " calls");
}

}  // namespace

void Totals::add(const model::RunResult& result) {
  ++traces;
  calls += result.calls;
  checks += result.checks;
  conflicts += result.conflicts;
  lemmas += result.lemmas;
  consequences += result.consequences;
}

void Totals::add(const Totals& other) {
  traces += other.traces;
  calls += other.calls;
  checks += other.checks;
  conflicts += other.conflicts;
  lemmas += other.lemmas;
  consequences += other.consequences;
}

std::size_t drawn_length(std::uint64_t seed) {
  // Another stream of numbers than the trace's own.
  std::mt19937_64 random(seed ^ 0x9e3779b97f4a7c15U);
  const std::uint64_t kind = random() % 100;
  if (kind < 70) return 10 + random() % 50;
  if (kind < 95) return 60 + random() % 90;
  return 150 + random() % 350;
}

model::Trace Tester::trace_of(std::uint64_t seed) const {
  return model::random_trace(
      seed, options_.calls > 0 ? options_.calls : drawn_length(seed));
}

Verdict Tester::search() {
  const Clock::time_point start = Clock::now();
  const std::vector<Find> finds = search_seeds(
      options_, run_, [this](std::uint64_t seed) { return trace_of(seed); },
      &totals_);
  const double seconds = seconds_since(start);
  for (const Find& find : finds) {
    const model::Trace trace = trace_of(find.seed);
    const model::RunResult result =
        run_guarded(run_, trace, options_.patience, Words::kHeard);
    const std::string name = "seed-" + std::to_string(find.seed);
    std::string difference = result.difference;
    if (result.agrees) {
      // A fault that needs what came before it in the same process.
      difference = "differs only behind the traces before it; the run " +
                   (find.end.empty() ? "did not agree" : find.end) + "\n";
    }
    report(name, "seed " + std::to_string(find.seed), trace, difference);
  }
  print_totals(seconds);
  return finds.empty() ? Verdict::kAgree : Verdict::kDifference;
}

Verdict Tester::replay(const std::vector<std::string>& files) {
  const Clock::time_point start = Clock::now();
  Verdict verdict = Verdict::kAgree;
  for (const std::string& file : files) {
    model::Trace trace;
    if (!load(file, &trace)) return Verdict::kUsage;
    const model::RunResult result =
        run_guarded(run_, trace, options_.patience, Words::kHeard);
    totals_.add(result);
    out_ << file << ": " << count_text(trace) << ", ";
    if (!result.agrees) {
      verdict = Verdict::kDifference;
      out_ << "a difference: " << result.difference;
    } else if (result.met_endless_walk) {
      out_ << "agree up to call " << result.calls
           << ", whose lemma search would not end\n";
    } else {
      out_ << "agree\n";
    }
  }
  print_totals(seconds_since(start));
  return verdict;
}

Verdict Tester::shrink_file(const std::string& file) {
  const Clock::time_point start = Clock::now();
  model::Trace trace;
  if (!load(file, &trace)) return Verdict::kUsage;
  const model::RunResult result =
      run_guarded(run_, trace, options_.patience, Words::kHeard);
  totals_.add(result);
  if (result.agrees) {
    out_ << file << ": " << count_text(trace)
         << ", agree; there is nothing to shrink\n";
  } else {
    report(std::filesystem::path(file).stem().string(), file, trace,
           result.difference);
  }
  print_totals(seconds_since(start));
  return result.agrees ? Verdict::kAgree : Verdict::kDifference;
}

bool Tester::load(const std::string& file, model::Trace* trace) {
  std::ifstream in(file);
  if (!in.is_open()) {
    out_ << file << ": cannot be opened\n";
    return false;
  }
  std::size_t bad_line = 0;
  if (!model::read_trace(in, trace, &bad_line)) {
    out_ << file << ":" << bad_line << ": no call of a graph\n";
    return false;
  }
  if (in.bad()) {
    out_ << file << ": cannot be read\n";
    return false;
  }
  model::Contract contract;
  for (std::size_t at = 0; at < trace->size(); ++at) {
    if (!contract.allows((*trace)[at])) {
      out_ << file << ": call " << at << ", " << model::call_text((*trace)[at])
           << ", breaks the contract of the graph\n";
      return false;
    }
    contract.apply((*trace)[at]);
  }
  return true;
}

void Tester::report(const std::string& name, const std::string& origin,
                    const model::Trace& trace, const std::string& difference) {
  out_ << origin << ", " << count_text(trace) << ": " << difference;
  const std::string folder = options_.folder + "/";
  const bool kept = write(name, origin, difference, trace);
  if (kept) out_ << "written to " << folder << name << ".trace" << std::endl;

  std::string least_difference;
  const auto fails = [this, &least_difference](const model::Trace& part) {
    const model::RunResult result =
        run_guarded(run_, part, options_.patience, Words::kHidden);
    if (!result.agrees) least_difference = result.difference;
    return !result.agrees;
  };
  if (!fails(trace)) {
    out_ << "not shrunk: it agrees when it is run alone\n";
    return;
  }
  const model::Trace least = model::shrink(trace, fails);
  const std::string shrunk = name + ".shrunk";
  out_ << "shrunk to " << count_text(least) << ":\n";
  model::write_trace(out_, least);
  out_ << "and there: " << least_difference;
  if (write(shrunk, "shrunk from " + origin, least_difference, least)) {
    out_ << "to replay it:\n  " << options_.program << " --replay " << folder
         << shrunk << ".trace" << std::endl;
  }
}

bool Tester::write(const std::string& name, const std::string& origin,
                   const std::string& difference, const model::Trace& trace) {
  std::error_code error;
  std::filesystem::create_directories(options_.folder, error);
  const std::string path = options_.folder + "/" + name + ".trace";
  std::ofstream file(path);
  file << comment(origin) << comment(difference);
  model::write_trace(file, trace);
  file.close();
  if (!file) out_ << "cannot write " << path << "\n";
  return static_cast<bool>(file);
}

void Tester::print_totals(double seconds) {
  const double speed =
      static_cast<double>(totals_.traces) / std::max(seconds, 1e-6);
  std::ostringstream line;
  line << std::fixed << totals_.traces << " traces, " << totals_.calls
       << " calls, " << totals_.checks << " checks, " << totals_.conflicts
       << " conflicts, " << totals_.lemmas << " lemmas, "
       << totals_.consequences << " consequences, " << std::setprecision(2)
       << seconds << " seconds, " << std::setprecision(0) << speed
       << " traces/s";
  out_ << line.str() << std::endl;
}

}  // namespace vorn::trace
