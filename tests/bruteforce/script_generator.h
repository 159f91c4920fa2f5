// SPDX-License-Identifier: MIT
#ifndef VORN_TESTS_BRUTEFORCE_SCRIPT_GENERATOR_H
#define VORN_TESTS_BRUTEFORCE_SCRIPT_GENERATOR_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "tests/bruteforce/formula.h"

namespace vorn::bruteforce {

enum class Logic { kIntegers, kReals, kAll };

/// An SMT-LIB term and what it means.
struct Written {
  std::string text;
  Formula meaning;
};

Written make_written(std::string text, Formula meaning);

/// The name in bars where it is no simple symbol.
std::string spell_symbol(const std::string& name);

/// A declared constant.
struct Variable {
  std::string text;
  Formula meaning;
};

/// A Boolean term with a name.
struct Label {
  std::string name;
  Formula meaning;
};

/// One command of a script.
struct Step {
  enum class Kind {
    kSilent,     // changes nothing that the formulas depend on
    kDeclare,    // variable
    kAssert,     // formula; `label` is set if it is a named assertion
    kPush,       // count
    kPop,        // count
    kObjective,  // objective, is_maximised
    kCheck,      // assumptions, and terms to ask the values of
  };

  Kind kind = Kind::kSilent;
  std::string text;
  Variable variable;
  Formula formula;
  std::string label;
  /// Names given inside the command, its own included.
  std::vector<Label> labels;
  std::size_t count = 0;
  bool assuming = false;
  std::vector<Written> assumptions;
  std::vector<Written> queries;
  /// Whether the bounds of those that are numbers are asked for, too.
  bool asks_bounds = false;
  Written objective;
  bool is_maximised = false;
  /// If the objective is a formula: what it costs if it does not hold, and the
  /// name of those that it is one of.
  mpq_class weight;
  std::string group;
};

struct Script {
  std::vector<Step> steps;
  bool produces_cores = false;
  bool minimises_cores = false;
};

/// Writes random scripts with few variables and small constants, so that
/// many are unsatisfiable and enumeration can decide them all. All of a
/// script's atoms are difference constraints, however they are dressed up.
class ScriptGenerator {
 public:
  /// Makes one of `bound` choices: 0 to bound - 1.
  using Choose = std::function<unsigned(unsigned bound)>;

  /// `plain`: keeps to the functions of the logics' own definitions.
  ScriptGenerator(Logic logic, std::uint64_t seed, bool plain = false);
  /// Scripts have objectives, too, from now on.
  void want_objectives() { wants_objectives_ = true; }
  /// Takes all its choices from `choose`.
  ScriptGenerator(Logic logic, Choose choose, bool plain = false);

  Script make();

 private:
  // What a name means at the point that is being written.
  struct Binding {
    std::string name;
    Sort sort;
    Formula meaning;
  };
  struct Macro {
    std::string name;
    Sort sort;
    std::vector<Sort> parameters;
    Formula body;
  };
  struct Level {
    std::size_t num_globals;
    std::size_t num_macros;
    std::size_t num_sort_names;
    int num_local_names;
  };

  int pick(int bound);
  bool chance(int percent) { return pick(100) < percent; }
  template <class T>
  const T& any(const std::vector<T>& from) {
    return from[static_cast<std::size_t>(pick(static_cast<int>(from.size())))];
  }
  Sort pick_number_sort();
  std::string sort_text(Sort sort);

  // Commands.
  void add_options();
  void add_logic();
  void define_sort(Sort sort);
  void add_step(Step step) { script_.steps.push_back(std::move(step)); }
  void declare(const std::string& name, Sort sort);
  void define();
  void add_assert();
  void add_clauses();
  void add_domains();
  void finish_assert(const Written& body);
  void add_push();
  void add_pop();
  void add_check();
  void add_objective();
  void add_soft();

  // Terms. An "end" is a variable or 0, plus a number, whatever its conditions
  // choose; so any two ends of one sort differ by a difference of variables.
  Written make_bool(int depth);
  Written make_bool_leaf(int depth);
  Written make_comparison(int depth);
  Written make_count(Sort sort, int depth);
  Written make_real(const Written& integer);
  Written make_end(Sort sort, int depth);
  Written make_end_leaf(Sort sort);
  Written make_constant(Sort sort, int depth);
  Written make_literal(Sort sort);
  Written make_factor(Sort sort);
  Written make_term(Sort sort, int depth);
  Written make_let(Sort sort, int depth);
  Written make_use(const Macro& macro, int depth);
  const Macro* find_macro(Sort sort);
  bool find_name(Sort sort, Written& out);
  static Written apply(const std::string& name, Op op, Sort sort,
                       const std::vector<Written>& args);
  std::string number_text(const mpq_class& value, Sort sort);

  const Logic logic_;
  const bool is_plain_;
  bool wants_objectives_ = false;
  const Choose choose_;
  Script script_;

  std::vector<Binding> globals_;
  std::vector<Binding> locals_;  // of let and of macro parameters
  std::vector<Macro> macros_;
  std::vector<Level> levels_;
  // Names of sorts that the script has given, in order.
  std::vector<std::pair<std::string, Sort>> sort_names_;
  int num_variables_[3] = {0, 0, 0};
  int num_names_ = 0;
  int num_local_names_ = 0;
  // Terms that may still be made in this command; leaves are free.
  int budget_ = 0;
  // Whether a term may be named here.
  bool may_name_ = false;
  std::vector<Label> labels_;
};

}  // namespace vorn::bruteforce

#endif  // VORN_TESTS_BRUTEFORCE_SCRIPT_GENERATOR_H
