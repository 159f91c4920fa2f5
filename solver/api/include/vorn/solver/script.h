// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_SCRIPT_H
#define VORN_SOLVER_SCRIPT_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>

#include "vorn/export.h"
#include "vorn/services/logger.h"
#include "vorn/solver/answers.h"
#include "vorn/solver/settings.h"

// Questions of difference logic, asked by text in SMT-LIB 2.6, as the command
// `vorn` is asked: it consists of a ScriptHost and a Script.

namespace vorn::api {

/// What a script starts with. Many of these a script may set by itself.
struct ScriptSettings : Settings {
  /// End with the first command in error, as :error-behavior immediate-exit
  /// does.
  bool exit_on_error = false;
  /// Say after each unsat why, in comment lines.
  bool explain = false;
  /// Say after each sat which values each variable can have, likewise.
  bool show_bounds = false;
  /// Keep what Script::write_picture needs.
  bool keep_picture = false;
  /// Highest level of messages in the log; 0: no log.
  std::uint64_t verbosity = 0;
};

/// What a Script needs from the program around it: its text, a place for
/// replies, and whatever else the program wants to know or to decide.
///
/// All calls come on the thread that runs the script, in the order of what they
/// are about. None may use the Script. What read throws leaves
/// Script::run_command; no other call may throw anything but std::bad_alloc.
class VORN_EXPORT ScriptHost {
 public:
  /// Who wanted a check to stop.
  enum class Stop { kNone, kTimeout, kInterrupt };

  ScriptHost() = default;
  ScriptHost(const ScriptHost&) = delete;
  ScriptHost& operator=(const ScriptHost&) = delete;
  virtual ~ScriptHost();

  // Text in and out.

  /// Writes between 1 and `capacity` bytes of the script to `data` and returns
  /// how many; 0 means that there will never be more. Should return as soon as
  /// some bytes are there: a command that is typed is answered when its last
  /// line has arrived.
  virtual std::size_t read(char* data, std::size_t capacity) = 0;
  /// Takes the whole reply to one command. False if nobody can read it any
  /// more, which ends the script.
  virtual bool write_output(std::string_view reply) = 0;
  /// The same for remarks. By default they are dropped.
  virtual bool write_diagnostics(std::string_view reply);

  /// Whether this is "stdout" or "stderr", and not a file.
  static bool is_standard_channel(std::string_view channel);
  /// The script wants replies to go to "stdout", as at the start, to "stderr"
  /// or to a file, to be appended to. False if they cannot; then they go where
  /// they went. By default files are refused, and the others one.
  virtual bool set_output(const std::string& channel);
  /// The same for remarks and the log, with the log's highest level.
  virtual bool set_diagnostics(const std::string& channel,
                               std::uint64_t verbosity);
  /// What the solver logs with, asked for behind each set_diagnostics; null, as
  /// by default: it does not log. Borrowed until the next time.
  virtual Logger* logger() { return nullptr; }

  // What the script is doing.

  /// It is going to read a command.
  virtual void reading() {}
  /// There is one, and it is going to read and run it.
  virtual void command_started() {}
  /// It has read one that only reports, and is going to reply.
  virtual void reporting() {}
  /// A check begins, which may take this long; 0: no limit of its own.
  /// `answer`: the reply, whole, that is right if there is no better one in
  /// time; to be copied. Whoever looks for a better answer to something else
  /// does so in the same way.
  virtual void check_started(std::uint64_t /*milliseconds*/,
                             std::string_view /*answer*/) {}
  /// The check that was finished last goes on, for a reply behind its first
  /// one, within what is left of its time.
  virtual void check_resumed(std::string_view /*answer*/) {}
  /// It has an answer, not yet written. False if the host has given the other
  /// one meanwhile.
  virtual bool check_finished() { return true; }
  /// The command that was read is in error.
  virtual void command_failed() {}
  /// Memory has run out; whatever was kept in reserve is needed now.
  virtual void release_reserve() {}

  // When checks end.

  /// Set while checks have to stop; looked at between steps of a check. Asked
  /// for once, when a Script is made, and borrowed. Where there is one, limits
  /// are the host's. Null, as by default: the script keeps to the limits of its
  /// checks by itself, and Script::stop ends them.
  virtual const std::atomic<bool>* stop_flag() const { return nullptr; }
  /// With a flag: who has set it, since check_started or before.
  virtual Stop stop() const { return Stop::kNone; }

  // What there is to watch.

  /// Called every few hundred conflicts of a check. No objective is told.
  virtual void progress(const Progress& /*progress*/) {}
  /// What is known of the best value of an objective, as text.
  struct Bounds {
    /// What the script calls it.
    std::string objective;
    /// The best value so far.
    std::string best;
    /// No model has a better one.
    std::string limit;
    /// The difference of the two.
    std::string gap;
  };
  /// The check has found a better model, or that none is as good as was hoped.
  virtual void bounds_changed(const Bounds& /*bounds*/) {}
  /// Adds to the counters of the solver what the program knows beside them.
  virtual void add_statistics(Statistics& /*rows*/) const {}
};

/// Runs an SMT-LIB 2.6 script of difference logic, command by command;
/// docs/command.md has the commands and the options.
///
/// Each command is answered before the next one is read. A command that is in
/// error is answered with `(error "line L column C: ...")`, has changed
/// nothing, and the script goes on behind it, or ends there if its
/// :error-behavior says so. When memory runs out, the check at hand answers
/// `unknown`; assertions and declarations are gone then, and until reset or
/// reset-assertions checks answer `unknown` and what needs the assertions is an
/// error.
///
/// Ownership: the host is borrowed; the script owns all else, and frees terms
/// that no command can refer to any more. Neither copied nor moved.
/// Threads: one at a time uses a script; several scripts may run at once.
/// stop() may come from anywhere. Errors: no exception leaves a call, but what
/// the host's read throws, behind which only destroying the script is of use,
/// and std::bad_alloc if there is no memory for a one-line reply. As for GMP,
/// see Session.
class VORN_EXPORT Script {
 public:
  /// Nothing is read yet.
  explicit Script(ScriptHost& host, const ScriptSettings& settings = {});
  Script(const Script&) = delete;
  Script& operator=(const Script&) = delete;
  ~Script();

  /// Reads, runs and answers one command. False if there is none left: the
  /// script has ended or exited, or its output can no longer be written.
  bool run_command();
  /// Ends the check under way, or the next one if there is none, where the host
  /// has no flag of its own. May be called from any thread, and from a signal
  /// handler.
  void stop() noexcept;

  /// Whether any command was answered with an error.
  bool had_error() const;
  /// Whether a reply could not be written.
  bool output_lost() const;
  /// The solver's counters, and what the host adds. Cost: no search.
  Statistics statistics() const;

  /// The proof, in Alethe, of the last answer that had one, for `vorn-check`:
  /// unsat, or a best model; empty if there was none. Requires: keep_proofs.
  const std::string& proof() const;
  /// Writes the constraint graph as of the last check, or, if there was none,
  /// as it is now, in Graphviz DOT. False if there was no memory to draw it:
  /// then nothing is in the graph. Requires: keep_picture.
  bool write_picture(std::ostream& out);
  /// The tasks of the last model on their machines, as SVG, those of the best
  /// one that is known where there are objectives; empty if no check has found
  /// one, or it has no machine; nothing if there was no memory to draw it.
  /// Requires: keep_schedule.
  std::optional<std::string> chart() const;
  /// Hands all that was noted to Settings::recording. False, with errno set, if
  /// the stream did not take something, now or before.
  bool finish_recording();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace vorn::api

#endif  // VORN_SOLVER_SCRIPT_H
