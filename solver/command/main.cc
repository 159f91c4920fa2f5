// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <gmp.h>
#include <malloc.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fstream>
#include <iostream>
#include <map>
#include <new>
#include <optional>
#include <string>
#include <utility>

#include "solver/command/cubes.h"
#include "solver/command/descriptor_source.h"
#include "solver/command/process_host.h"
#include "solver/command/watchdog.h"
#include "vorn/solver/script.h"
#include "vorn/solver/session.h"
#include "vorn/solver/settings.h"

// The vorn command: runs one SMT-LIB script. docs/command.md has its statuses.

namespace vorn::command {
namespace {

constexpr int kFailure = 1;

// In bytes, or as many as any address space has.
constexpr std::uint64_t bytes_of(std::uint64_t mebibytes) {
  return std::min(mebibytes, std::uint64_t{RLIM_INFINITY} >> 20U) << 20U;
}

struct Arguments {
  std::string file = "-";
  double timeout = 0;
  std::uint64_t memory_limit = 0;
  bool stats = false;
  std::string dot_file;
  std::string chart_file;
  std::string proof_file;
  std::string recording;
  std::pair<std::string, std::string> split;
  std::string join;
  api::ScriptSettings script;
};

// The words for the values of some options.
const std::map<std::string, bool> kOnOff = {{"on", true}, {"off", false}};
const std::map<std::string, bool> kMachines = {{"auto", true}, {"off", false}};
const std::map<std::string, api::Propagation> kPropagation = {
    {"auto", api::Propagation::kAuto},
    {"full", api::Propagation::kFull},
    {"off", api::Propagation::kOff}};
const std::map<std::string, api::Lemmas> kLemmas = {
    {"none", api::Lemmas::kNone},
    {"short", api::Lemmas::kShort},
    {"long", api::Lemmas::kLong},
    {"both", api::Lemmas::kBoth},
    {"auto", api::Lemmas::kAuto}};

// The word for a value.
template <class Value>
std::string word_for(const std::map<std::string, Value>& words, Value value) {
  for (const auto& [word, meaning] : words) {
    if (meaning == value) return word;
  }
  return "";
}

// What GMP calls. Its own functions end the process when memory is out; an
// exception leaves it the way all others are left.
void* gmp_allocate(std::size_t size) {
  void* block = std::malloc(size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void* gmp_reallocate(void* block, std::size_t /*old_size*/, std::size_t size) {
  void* moved = std::realloc(block, size);
  if (moved == nullptr) throw std::bad_alloc();
  return moved;
}

void gmp_free(void* block, std::size_t /*size*/) {
  std::free(block);
}

// More would wait for each other's memory on any machine.
constexpr unsigned kMostThreads = 1024;

void complain(const std::string& message) {
  std::cerr << "vorn: " << message << '\n';
}

// The status to end with, if the command line already settles it.
std::optional<int> parse_arguments(int argc, char** argv,
                                   Arguments& arguments) {
  CLI::App app(
      "Decides SMT-LIB 2.6 scripts of difference logic "
      "(QF_IDL, QF_RDL, or both).",
      "vorn");
  app.set_version_flag("--version", std::string("vorn ") + api::version());
  api::ScriptSettings& script = arguments.script;
  std::string lemmas = word_for(kLemmas, script.lemmas);
  std::string dedup = word_for(kOnOff, script.drop_repeated_lemmas);
  std::string check_models = word_for(kOnOff, script.check_models);
  std::string propagation = word_for(kPropagation, script.propagation);
  std::string machines = word_for(kMachines, script.find_machines);

  // An option with a value of a few words, the keys of `words`.
  const auto choose = [&app](const char* option, std::string& value,
                             const auto& words, const char* names,
                             const char* description) {
    app.add_option(option, value, description)
        ->type_name(names)
        ->check(CLI::IsMember(words).description(""))
        ->capture_default_str();
  };
  app.add_option("file", arguments.file,
                 "The script; - stands for standard input")
      ->type_name("FILE")
      ->capture_default_str();
  app.add_option("--timeout", arguments.timeout,
                 "Answer unknown after this time, spent on commands and not "
                 "on waits for input; 0: never")
      ->type_name("SECONDS")
      ->check(CLI::NonNegativeNumber);
  app.add_flag(
      "--strict", script.exit_on_error,
      "End with the first error, as :error-behavior immediate-exit does");
  app.add_option("--memory-limit", arguments.memory_limit,
                 "Answer unknown rather than use more address space; 0: no "
                 "limit")
      ->type_name("MIB");
  app.add_flag("--stats", arguments.stats,
               "Print counters at the end, as comment lines \"; key: value\"");
  app.add_flag("--explain", script.explain,
               "Say after each unsat why, as comment lines: the inequalities "
               "that add up to a contradiction, or the assertions it takes");
  app.add_flag("--slack", script.show_bounds,
               "Say after each sat, as comment lines, the least and the "
               "greatest value that each variable can have");
  app.add_option("--proof", arguments.proof_file,
                 "At the end write a proof of the last unsat or best values, "
                 "for vorn-check")
      ->type_name("FILE");
  app.add_option("--dot", arguments.dot_file,
                 "Write the constraint graph of the last check in Graphviz "
                 "DOT at the end: solid edges are required (after sat: hold "
                 "in the model), dashed ones are not, red ones are the last "
                 "negative cycle")
      ->type_name("FILE");
  app.add_option("--gantt", arguments.chart_file,
                 "Draw the last model at the end as SVG: a row for each set of "
                 "tasks that cannot overlap, along an axis of time")
      ->type_name("FILE");
  app.add_option("--record-graph", arguments.recording,
                 "Write the calls on the constraint graph to this file, one a "
                 "line")
      ->type_name("FILE");
  app.add_option("--split", arguments.split,
                 "Instead of running the script, write so many smaller ones to "
                 "this folder, which together ask the same")
      ->type_name("N DIR");
  app.add_option("--join", arguments.join,
                 "Say what the answers to the scripts in this folder come to; "
                 "with --proof, with a proof of the whole")
      ->type_name("DIR");
  app.add_flag("-v,--verbose", script.verbosity,
               "Log on standard error; -vv logs the graph's lemmas");
  choose("--lemmas", lemmas, kLemmas, "none|short|long|both|auto",
         "Lemmas to learn from successive conflicts; auto: short "
         "ones where they pay");
  app.add_option("--lemma-overlap", script.lemma_overlap,
                 "Least overlap of two conflicts to learn lemmas from")
      ->type_name("SHARE")
      ->check(CLI::Range(0.0, 1.0).description(""))
      ->capture_default_str();
  choose("--lemma-dedup", dedup, kOnOff, "on|off", "Drop lemmas learnt before");
  choose("--check-models", check_models, kOnOff, "on|off",
         "Check each model before answering sat");
  choose("--propagation", propagation, kPropagation, "auto|full|off",
         "Find literals that the active constraints imply: as far as "
         "it pays, all, or none");
  choose("--machines", machines, kMachines, "auto|off",
         "Find sets of tasks that cannot overlap, and reason about "
         "them: as far as it pays, or not");
  app.add_option("--threads", script.threads,
                 "Searches at a time, which share what they learn; the first "
                 "answer ends all. With 1 each run is like the other")
      ->type_name("N")
      ->check(CLI::Range(1U, kMostThreads).description(""))
      ->capture_default_str();
  app.add_option("--seed", script.seed, "Seed of random choices")
      ->type_name("N")
      ->capture_default_str();
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    const int status = app.exit(error);
    if (!std::cout.flush()) {
      complain("cannot write standard output");
      return kFailure;
    }
    return status == 0 ? 0 : kFailure;
  }
  script.lemmas = kLemmas.at(lemmas);
  script.drop_repeated_lemmas = kOnOff.at(dedup);
  script.check_models = kOnOff.at(check_models);
  script.propagation = kPropagation.at(propagation);
  script.find_machines = kMachines.at(machines);
  // The table is to leave room for all else.
  constexpr std::uint64_t kShare = 8;
  script.table_bytes = bytes_of(arguments.memory_limit) / kShare;
  script.keep_proofs = !arguments.proof_file.empty();
  script.keep_picture = !arguments.dot_file.empty();
  script.keep_schedule = !arguments.chart_file.empty();
  return std::nullopt;
}

// A standard stream that is closed would be taken by the next file that is
// opened, and replies would land in a recording, say. In its place comes a
// descriptor on which every read or write fails.
bool keep_standard_streams() {
  for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(fd, F_GETFD) != -1) continue;
    const int mode = fd == STDIN_FILENO ? O_WRONLY : O_RDONLY;
    // The lowest number that is free: this one.
    if (open("/dev/null", mode) != fd) return false;
  }
  return true;
}

bool limit_memory(std::uint64_t mebibytes) {
  rlimit limit = {};
  getrlimit(RLIMIT_AS, &limit);
  limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, bytes_of(mebibytes));
  return setrlimit(RLIMIT_AS, &limit) == 0;
}

// The script's file descriptor, or nothing after a complaint.
std::optional<int> open_script(const std::string& file) {
  if (file == "-") return STDIN_FILENO;
  const int fd = open(file.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    complain("cannot open " + file + ": " + std::strerror(errno));
    return std::nullopt;
  }
  struct stat status = {};
  if (fstat(fd, &status) == 0 && S_ISDIR(status.st_mode)) {
    complain("cannot read " + file + ": it is a directory");
    close(fd);
    return std::nullopt;
  }
  return fd;
}

std::string statistics_text(const api::Script& script) {
  std::string text;
  for (const auto& [key, value] : script.statistics()) {
    text.append("; ").append(key).append(": ").append(value).append("\n");
  }
  return text;
}

/// The file of --record-graph.
class Recording {
 public:
  /// False after a complaint if the file cannot be opened.
  bool open(const std::string& path) {
    path_ = path;
    // The script hands over many lines at a time.
    file_.rdbuf()->pubsetbuf(nullptr, 0);
    file_.open(path, std::ios::binary);
    if (file_.is_open()) return true;
    complain("cannot open " + path + ": " + std::strerror(errno));
    return false;
  }
  /// Null if there is no such file.
  std::ostream* stream() { return file_.is_open() ? &file_ : nullptr; }
  /// False after a complaint if not all could be written.
  bool finish(api::Script& script) {
    if (script.finish_recording()) return true;
    complain("cannot write " + path_ + ": " + std::strerror(errno));
    return false;
  }

 private:
  std::string path_;
  std::ofstream file_;
};

// Opens the file for the picture, if one is wanted. False after a complaint.
bool open_picture(const Arguments& arguments, std::ofstream& file) {
  if (arguments.dot_file.empty()) return true;
  file.open(arguments.dot_file);
  if (file.is_open()) return true;
  complain("cannot write " + arguments.dot_file + ": " + std::strerror(errno));
  return false;
}

// Writes the picture. False after a complaint.
bool write_picture(const Arguments& arguments, api::Script& script,
                   std::ofstream& file) {
  if (arguments.dot_file.empty()) return true;
  const bool is_drawn = script.write_picture(file);
  file.close();
  if (!is_drawn) {
    complain("out of memory: nothing is written to " + arguments.dot_file);
  } else if (!file) {
    complain("cannot write " + arguments.dot_file);
  }
  return is_drawn && file.good();
}

// Writes the text first under another name: the file is there as a whole or not
// at all. What is no file, a pipe or a link say, is written to at once. False
// after a complaint.
bool write_whole_file(const std::string& path, const std::string& text) {
  struct stat status = {};
  const bool is_direct =
      lstat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode);
  const std::string partial = is_direct ? path : path + ".partial";
  errno = 0;
  std::ofstream file(partial, std::ios::binary);
  file << text;
  file.close();
  if (file && (is_direct || std::rename(partial.c_str(), path.c_str()) == 0)) {
    return true;
  }
  complain("cannot write " + path + ": " + std::strerror(errno));
  if (!is_direct) std::remove(partial.c_str());
  return false;
}

// Writes the last proof. False after a complaint.
bool write_proof_file(const Arguments& arguments, const api::Script& script) {
  const std::string& path = arguments.proof_file;
  return path.empty() || script.proof().empty() ||
         write_whole_file(path, script.proof());
}

// Writes the chart of the last model. False after a complaint; where there is
// nothing to draw, that is said.
bool write_chart(const Arguments& arguments, const api::Script& script) {
  const std::string& path = arguments.chart_file;
  if (path.empty()) return true;
  const std::optional<std::string> chart = script.chart();
  if (!chart.has_value()) {
    complain("out of memory: nothing is written to " + path);
    return false;
  }
  if (chart->empty()) {
    complain("nothing is written to " + path +
             ": there is no model with tasks that cannot overlap");
    return true;
  }
  return write_whole_file(path, *chart);
}

bool takes_much_memory() {
  constexpr long kMuch = 128L << 10;  // KiB
  rusage usage = {};
  return getrusage(RUSAGE_SELF, &usage) == 0 && usage.ru_maxrss > kMuch;
}

int run_script(Arguments& arguments, int fd, Watchdog& watchdog,
               Recording& recording, Watchdog::Clock::time_point start) {
  std::ofstream picture_file;
  if (!open_picture(arguments, picture_file)) return kFailure;
  DescriptorSource source(fd, watchdog);
  if (fd == STDIN_FILENO && source.can_wait()) watchdog.keep_session(fd);
  ProcessHost host(source, watchdog, start);
  arguments.script.recording = recording.stream();
  api::Script script(host, arguments.script);
  // What comes at the end is lost if the watchdog ends the process.
  if (arguments.stats || !arguments.dot_file.empty() ||
      !arguments.chart_file.empty() || !arguments.proof_file.empty() ||
      !arguments.recording.empty()) {
    watchdog.note_failure();
  }
  bool output_lost = false;
  try {
    while (!watchdog.interrupted() && script.run_command()) {
    }
  } catch (const Interrupted&) {
    // Said by the watchdog, too.
  } catch (const std::bad_alloc&) {
    // Not even the reserve was enough for a reply.
    output_lost = !host.write_output("unknown\n");
  }
  if (source.error() != 0) {
    complain("cannot read " + arguments.file + ": " +
             std::strerror(source.error()));
  }
  const bool owes_answer = watchdog.owes_answer();
  watchdog.finish_script();
  if (owes_answer && !host.write_output("unknown\n")) output_lost = true;
  output_lost = output_lost || script.output_lost();
  if (arguments.stats && !output_lost) {
    host.set_output("stdout");  // where the user is, wherever replies go
    output_lost = !host.write_output(statistics_text(script));
  }
  const bool recorded = recording.finish(script);
  const bool logged = host.finish_diagnostics();
  int status = 0;
  for (const bool written :
       {write_picture(arguments, script, picture_file),
        write_proof_file(arguments, script), write_chart(arguments, script)}) {
    if (!written) status = kFailure;
  }
  if (!recorded || !logged || script.had_error() || output_lost ||
      source.error() != 0) {
    status = kFailure;
  }
  if (watchdog.interrupted()) status = watchdog.interrupt_status();
  // After a limit or Ctrl-C the end is not put off to free what there is; nor
  // where that is much, in millions of pieces.
  if (watchdog.stop() != Watchdog::Stop::kNone || takes_much_memory()) {
    _exit(status);
  }
  return status;
}

// --split or --join. Nothing here answers unknown when memory is out.
int run_cubes(const Arguments& arguments) {
  if (!arguments.split.first.empty() && !arguments.join.empty()) {
    complain("--split and --join exclude each other");
    return kFailure;
  }
  if (arguments.memory_limit > 0 && !limit_memory(arguments.memory_limit)) {
    complain("cannot set the memory limit");
    return kFailure;
  }
  try {
    return arguments.join.empty()
               ? split_script(arguments.file, arguments.split.first,
                              arguments.split.second, arguments.script)
               : join_folder(arguments.join, arguments.proof_file,
                             arguments.script);
  } catch (const std::bad_alloc&) {
    complain("out of memory");
    return kFailure;
  }
}

int run(int argc, char** argv) {
  const Watchdog::Clock::time_point start = Watchdog::Clock::now();
  if (!keep_standard_streams()) return kFailure;
  std::signal(SIGPIPE, SIG_IGN);
  Arguments arguments;
  if (const auto status = parse_arguments(argc, argv, arguments)) {
    return *status;
  }
  mp_set_memory_functions(gmp_allocate, gmp_reallocate, gmp_free);
  // One arena: each further one would take a large share of a memory limit.
  mallopt(M_ARENA_MAX, 1);
  if (!arguments.split.first.empty() || !arguments.join.empty()) {
    return run_cubes(arguments);
  }
  const std::optional<int> fd = open_script(arguments.file);
  if (!fd.has_value()) return kFailure;
  Recording recording;
  if (!arguments.recording.empty() && !recording.open(arguments.recording)) {
    return kFailure;
  }

  std::optional<Watchdog::Clock::time_point> deadline;
  if (arguments.timeout > 0) {
    // A longer limit than a century is none, and would overflow the clock.
    constexpr double kLongest = 100.0 * 365 * 24 * 3600;
    deadline = start + std::chrono::duration_cast<Watchdog::Clock::duration>(
                           std::chrono::duration<double>(
                               std::min(arguments.timeout, kLongest)));
  }
  Watchdog watchdog(deadline);
  // Behind the watchdog: a limit too small for its thread is one more that the
  // script runs into.
  if (arguments.memory_limit > 0 && !limit_memory(arguments.memory_limit)) {
    complain("cannot set the memory limit");
    return kFailure;
  }
  return run_script(arguments, *fd, watchdog, recording, start);
}

}  // namespace
}  // namespace vorn::command

int main(int argc, char** argv) {
  try {
    return vorn::command::run(argc, argv);
  } catch (const std::bad_alloc&) {
    std::fputs("unknown\n", stdout);
    std::fputs("vorn: out of memory\n", stderr);
    return std::fflush(stdout) == 0 ? 0 : 1;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "vorn: %s\n", error.what());
    return 1;
  }
}
