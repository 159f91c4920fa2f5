// SPDX-License-Identifier: MIT
#ifndef VORN_SMTLIB_SESSION_HOST_H
#define VORN_SMTLIB_SESSION_HOST_H

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vorn::solver {

class Engine;

/// Whether this is one of the channels that are no files.
inline bool is_standard_channel(std::string_view channel) {
  return channel == "stdout" || channel == "stderr";
}

/// What an Interpreter needs from the program around it: a place for replies,
/// a clock, and word of what it is doing.
class SessionHost {
 public:
  /// Names and values.
  using Statistics = std::vector<std::pair<std::string, std::string>>;
  /// Who wanted a check to stop.
  enum class Stop { kNone, kTimeout, kInterrupt };

  SessionHost() = default;
  SessionHost(const SessionHost&) = delete;
  SessionHost& operator=(const SessionHost&) = delete;
  virtual ~SessionHost() = default;

  /// Writes the whole reply to one command, to where set_output has said, and
  /// flushes. False if nobody can read it any more.
  virtual bool write_output(std::string_view reply) = 0;
  /// The same for the diagnostic stream.
  virtual bool write_diagnostics(std::string_view reply) = 0;

  /// Where replies go: "stdout", as at the start, "stderr" or a file to append
  /// to. False if the file cannot be opened; then all stays as it was.
  virtual bool set_output(const std::string& channel) = 0;
  /// Where the engine's log goes: "stdout", "stderr" or a file to append to,
  /// and up to which level. False if the file cannot be opened; then all stays
  /// as it was.
  virtual bool set_diagnostics(const std::string& channel,
                               std::uint64_t verbosity) = 0;

  /// A new engine is about to be used; the one before is gone.
  virtual void engine_made(Engine& engine) = 0;
  /// The engine is about to be destroyed.
  virtual void engine_gone() = 0;

  /// The interpreter is going to read a command.
  virtual void reading() {}
  /// There is one, and it is going to read and run it.
  virtual void command_started() {}
  /// It has read one that only reports, and is going to reply.
  virtual void reporting() {}
  /// A check begins, which may take this long; 0: no limit of its own.
  /// `answer`: the reply, whole, that is right if there is no better one in
  /// time. Whoever looks for a better answer to something else does so in the
  /// same way.
  virtual void check_started(std::uint64_t /*milliseconds*/,
                             std::string_view /*answer*/) {}
  /// The check that was finished last goes on, for a reply behind its first
  /// one, within what is left of its time.
  virtual void check_resumed(std::string_view /*answer*/) {}
  /// It has an answer, not yet written. False if the host has written the other
  /// one meanwhile.
  virtual bool check_finished() { return true; }

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

  /// Whether checks have to answer unknown at once, or had to since
  /// check_started.
  virtual Stop stop() const { return Stop::kNone; }

  /// Adds to the counters of the engine what the program knows beside them.
  virtual void add_statistics(Statistics& /*rows*/) const {}

  /// The command that was read is in error.
  virtual void command_failed() {}

  /// Memory has run out; whatever was kept in reserve is needed now.
  virtual void release_reserve() {}
};

}  // namespace vorn::solver

#endif  // VORN_SMTLIB_SESSION_HOST_H
