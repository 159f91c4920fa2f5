// SPDX-License-Identifier: MIT
#ifndef VORN_SMTLIB_INTERPRETER_H
#define VORN_SMTLIB_INTERPRETER_H

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "solver/engine/engine.h"
#include "solver/explain/constraint_picture.h"
#include "solver/explain/schedule_chart.h"
#include "solver/explain/script_formula.h"
#include "solver/smtlib/assertion_stack.h"
#include "solver/smtlib/bound_reader.h"
#include "solver/smtlib/lexer.h"
#include "solver/smtlib/logics.h"
#include "solver/smtlib/options.h"
#include "solver/smtlib/session_host.h"
#include "solver/smtlib/source.h"
#include "solver/smtlib/symbol_table.h"
#include "solver/smtlib/term_parser.h"
#include "solver/smtlib/term_record.h"
#include "solver/terms/scope_stack.h"
#include "solver/terms/term.h"
#include "solver/terms/term_store.h"

namespace vorn::solver {

/// Runs an SMT-LIB 2.6 script of difference logic, command by command.
///
/// Each command is answered before the next one is read. A command that is in
/// error is answered with `(error "line L column C: ...")`, has changed
/// nothing, and the script goes on behind it, or ends there if its
/// :error-behavior says so.
///
/// When memory runs out, the check at hand answers `unknown`; assertions and
/// declarations are gone then, and until reset or reset-assertions checks
/// answer `unknown` and what needs the assertions is an error.
///
/// Ownership: source and host are borrowed.
/// Errors: no exception leaves a call, but std::bad_alloc if there is not even
/// memory for a one-line reply.
class Interpreter {
 public:
  /// Runs what `source` holds. `options`: what the script starts with, and
  /// reset goes back to, :print-success excepted.
  Interpreter(Source& source, SessionHost& host,
              const ScriptOptions& options = {});
  Interpreter(const Interpreter&) = delete;
  Interpreter& operator=(const Interpreter&) = delete;
  ~Interpreter();

  /// Reads, runs and answers one command. False if there is none left: the
  /// script has ended or exited, or its output can no longer be written.
  bool run_command();

  /// All that is known as a command, sorted.
  static std::vector<std::string_view> command_names();

  /// Whether any command was answered with an error.
  bool had_error() const { return had_error_; }
  /// Whether a reply could not be written.
  bool output_lost() const { return output_lost_; }

  /// The constraints as of the last check, or, if there was none, as they are
  /// now. Null if there was no memory to draw it. Requires: keep_picture was
  /// set in the options that the interpreter was made with.
  const ConstraintPicture* picture();

  /// The machines of the last model, the best one that is known where there are
  /// objectives; no row if no check has found one, or it has no machine. Null
  /// if there was no memory to draw it. Requires: keep_chart was set, likewise.
  const ScheduleChart* chart() const {
    return chart_.has_value() ? &*chart_ : nullptr;
  }

  /// The proof of the last answer that had one: unsat, or a best model; empty
  /// if there was none.
  const std::string& proof() const { return proof_; }

  /// The engine's counters, those of the last engine if there is none now, and
  /// what the host adds. Cost: no search, no look at a graph's edges.
  SessionHost::Statistics statistics() const;

 private:
  enum class Mode { kStart, kAssert, kSat, kUnsat, kUnknown };

  // What a command needs before it may run.
  enum class Need {
    kNothing,
    kStart,
    kLogic,
    kModel,
    kSat,
    kNotUnsat,
    kUnsat,
    kProof
  };

  // One row of the command table, which is sorted by name.
  struct Command {
    std::string_view name;
    bool (Interpreter::*handler)();
    Need need = Need::kNothing;
    // Whether it changes assertions or declarations and has no other effect.
    bool edits = false;
    // Whether its reply is all it does.
    bool reports = false;
  };
  static const Command* find_command(const std::string& name);
  static const Command kCommands[];

  // All that reset takes back, apart from the options. There is none before
  // set-logic and after memory has run out.
  struct Session {
    TermStore store;
    SymbolTable symbols;
    // Null unless proofs are kept.
    std::unique_ptr<TermRecord> record;
    std::unique_ptr<TermParser> parser;
    // Null where texts of atoms, or terms as they are written, are kept.
    std::unique_ptr<BoundReader> bounds;
    std::unique_ptr<AssertionStack> stack;
    std::vector<const Term*> declared;
    std::vector<TermParser::Name> named;
    // With keep_picture; its names are those in the last picture.
    PictureTexts texts;
    // What pop takes back; stays without scopes if declarations are global.
    ScopeStack<std::vector<const Term*>, std::vector<TermParser::Name>,
               SymbolTable>
        scopes{declared, named, symbols};
  };

  // The answer to a check that has no better one.
  static constexpr char kUnknown[] = "unknown\n";

  // Running.
  void run(const Token& first);
  bool dispatch();
  bool allowed(const Command& command);
  bool fail(Position position, std::string message);
  bool fail_at_token(const char* expected);
  std::string error_text() const;
  void report_error();
  void handle_memory_out();
  bool write_reply();
  // Begins what comes after set-logic, or without it at the first command that
  // needs a logic.
  void start_logic(const Arithmetic& arithmetic);
  void start_session();
  // Takes back what start_logic did for a command that was in error.
  void drop_start();
  void make_stack();
  void drop_session();
  void sweep_terms();

  // Reading the parts of commands.
  bool read_close();
  // The same for a command that needs an option to be true.
  bool read_close_with(const char* option);
  bool read_symbol(std::string& name);
  bool read_new_symbol(std::string& name);
  bool read_keyword(std::string& keyword);
  // Reads the rest of push or pop.
  bool read_count(std::size_t& count, Position& position);
  bool read_sort(Sort& sort);
  // Both with the term's first token as current token.
  bool read_term(ParsedTerm& term);
  bool read_formula(ParsedTerm& term);
  bool check_fragment(const ParsedTerm& term);
  std::string text_of(const ParsedTerm& term);

  // Commands, each to be entered with the command's name as current token and
  // left with its closing bracket. Nothing is changed before that is read.
  bool run_set_logic();
  bool run_set_option();
  bool run_get_option();
  bool run_set_info();
  bool run_get_info();
  bool run_declare_fun();
  bool run_declare_const();
  bool run_declare_sort();
  bool run_define_sort();
  bool run_define_fun();
  bool run_define_const();
  bool run_assert();
  // Asserts what is one bound, if it is.
  bool assert_bound();
  bool run_assert_soft();
  bool run_minimize();
  bool run_maximize();
  bool run_push();
  bool run_pop();
  bool run_check_sat();
  bool run_check_sat_assuming();
  bool run_get_model();
  bool run_get_value();
  bool run_get_assignment();
  bool run_get_objectives();
  bool run_get_bounds();
  bool run_get_assertions();
  bool run_get_proof();
  bool run_get_unsat_core();
  bool run_get_unsat_assumptions();
  bool run_echo();
  bool run_reset();
  bool run_reset_assertions();
  bool run_exit();
  bool run_unsupported();

  // Their parts. The first three read the rest of the command.
  bool declare(const std::string& name);
  bool read_parameters(std::vector<const Term*>& parameters);
  bool define(const std::string& name, std::vector<const Term*> parameters);
  bool add_objective(bool is_maximised);
  // A term that an objective can be about.
  bool read_objective(ParsedTerm& term);
  // The attributes behind an objective; `weight`: null if it has none.
  bool read_attributes(std::string& name, QNumber* weight);
  bool read_weight(QNumber& weight);
  void keep_names();
  void keep_texts();
  // The assertions together with assumptions_.
  void check();
  // Makes the core as small and sure as there is time for, and answers with it.
  bool settle_core();
  std::string core_text() const;
  // Answers unsat at once and makes the explanation the rest of the reply.
  // Requires: the last check was unsat.
  void explain();
  void compare_with_status(const std::string& answer);
  void record_picture(Answer answer);
  // Whether there is a model of all assertions. `answer`: of the last check.
  bool has_schedule(Answer answer) const;
  // Requires: has_schedule.
  void record_chart();
  // Shows that the objectives of the last check, which was sat, can be no
  // better, and sets improvement_. False if that was cut short. Requires:
  // proofs are kept.
  bool refute_improvement();
  // The proof of the last answer; empty if there is none.
  // Requires: proofs are kept, and the answer was unsat or improvement_ is set.
  std::string proof_text();
  std::string engine_reason();
  std::string value_text(const Term* term);
  // Of all that is declared. Requires: there are values to ask for.
  std::string model_text();
  static std::string extent_text(const Extent& extent, Sort sort);
  // The value, or both ends if it is not known.
  static std::string interval_text(const Interval& interval, Sort sort);
  // Answers sat at once and makes the bounds of all variables the rest of the
  // reply. Requires: the last check was sat.
  void show_slack();
  void show_bounds(const ObjectiveResult& result);
  void add_bounds(SessionHost::Statistics& rows) const;
  bool apply_options(ScriptOptions changed, Position position);

  Lexer lexer_;
  SessionHost& host_;
  const ScriptOptions initial_options_;
  ScriptOptions options_;
  Mode mode_ = Mode::kStart;
  Arithmetic arithmetic_;
  // Whether set-logic has set it.
  bool logic_set_ = false;
  std::unique_ptr<Session> session_;
  bool checking_ = false;
  // A command since the last sweep may have left terms behind.
  bool has_litter_ = false;
  std::string reason_unknown_;
  // Whether there are values to ask for.
  bool assignment_ = false;
  // What set-info has said of the next check, or the last one; empty: nothing.
  std::string status_;
  // Whether there was no answer since.
  bool status_pending_ = false;
  // The assumptions of the last check, and whether it was one that takes
  // assumptions.
  std::vector<ScriptFormula> assumptions_;
  bool assumed_ = false;
  bool core_settled_ = false;
  // What was found to have no model after the last check, until the next one.
  std::optional<PlacedTerm> improvement_;
  SessionHost::Statistics last_statistics_;

  // With keep_picture: as of the last check, if there was any.
  bool checked_ = false;
  std::optional<ConstraintPicture> picture_;
  // With keep_chart: as chart().
  std::optional<ScheduleChart> chart_{std::in_place};
  // With keep_proof, as proof() says.
  std::string proof_;

  // Where the command at hand starts.
  Position command_;
  // Whether something was read that is no command, and no command since.
  bool astray_ = false;
  std::string reply_;
  // Whether the command has been answered besides.
  bool replied_ = false;
  ScriptError error_;
  bool exited_ = false;
  bool had_error_ = false;
  bool output_lost_ = false;
};

}  // namespace vorn::solver

#endif  // VORN_SMTLIB_INTERPRETER_H
