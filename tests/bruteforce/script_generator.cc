// SPDX-License-Identifier: MIT
#include "tests/bruteforce/script_generator.h"

#include <random>
#include <string>
#include <utility>
#include <vector>

namespace vorn::bruteforce {

ScriptGenerator::ScriptGenerator(Logic logic, std::uint64_t seed, bool plain)
    : ScriptGenerator(
          logic,
          [rng = std::mt19937_64(seed)](unsigned bound) mutable {
            return static_cast<unsigned>(rng() % bound);
          },
          plain) {}

ScriptGenerator::ScriptGenerator(Logic logic, Choose choose, bool plain)
    : logic_(logic), is_plain_(plain), choose_(std::move(choose)) {}

int ScriptGenerator::pick(int bound) {
  return static_cast<int>(choose_(static_cast<unsigned>(bound)));
}

Sort ScriptGenerator::pick_number_sort() {
  if (logic_ == Logic::kIntegers) return Sort::kInt;
  if (logic_ == Logic::kReals) return Sort::kReal;
  return chance(50) ? Sort::kInt : Sort::kReal;
}

std::string ScriptGenerator::sort_text(Sort sort) {
  if (!sort_names_.empty() && chance(40)) {
    const auto& named = any(sort_names_);
    if (named.second == sort) return named.first;
  }
  switch (sort) {
    case Sort::kBool:
      return "Bool";
    case Sort::kInt:
      return "Int";
    case Sort::kReal:
      break;
  }
  return "Real";
}

// --- Commands ---

Script ScriptGenerator::make() {
  add_options();
  add_logic();
  if (chance(30)) define_sort(pick_number_sort());
  if (chance(10)) define_sort(Sort::kBool);
  const std::vector<std::string> names = {"x", "y", "z", "the w"};
  const std::vector<std::string> others = {"u", "v", "w", "t"};
  const bool dense = chance(35);
  const int most = logic_ == Logic::kAll ? 3 : 4;
  const int variables = dense ? most : 2 + pick(3);
  for (int i = 0; i < variables; ++i) {
    const auto position = static_cast<std::size_t>(i);
    const Sort sort = logic_ == Logic::kReals ? Sort::kReal : Sort::kInt;
    declare(names[position], sort);
    if (logic_ == Logic::kAll) declare(others[position], Sort::kReal);
  }
  const int bools = 1 + pick(3);
  for (int i = 0; i < bools; ++i)
    declare(std::string(1, "pqr"[i]), Sort::kBool);

  if (chance(35)) add_domains();
  if (dense) {
    add_clauses();
    if (chance(50)) add_check();
  }
  const int commands = dense ? pick(6) : 4 + pick(9);
  for (int i = 0; i < commands; ++i) {
    if (wants_objectives_ && chance(30)) add_objective();
    if (wants_objectives_ && chance(15)) add_soft();
    const int choice = pick(100);
    if (choice < 60) {
      add_assert();
    } else if (choice < 70) {
      define();
    } else if (choice < 80) {
      add_push();
    } else if (choice < 88) {
      add_pop();
    } else {
      add_check();
    }
  }
  if (wants_objectives_ && chance(70)) add_objective();
  add_check();
  while (!levels_.empty() && chance(60)) {
    add_pop();
    add_check();
  }
  return std::move(script_);
}

void ScriptGenerator::add_options() {
  const auto option = [this](const std::string& text) {
    Step step;
    step.text = "(set-option :" + text + ")";
    add_step(std::move(step));
  };
  option("produce-models true");
  option("produce-assignments true");
  option("produce-unsat-assumptions true");
  script_.produces_cores = chance(50);
  if (script_.produces_cores) option("produce-unsat-cores true");
  script_.minimises_cores = script_.produces_cores && chance(40);
  if (script_.minimises_cores) option("minimize-unsat-cores true");
  if (chance(30)) option("random-seed " + std::to_string(pick(1000)));
  // Much that the graph could find has been implied before where propagation
  // is on.
  const char* const propagations[] = {"auto", "full", "off", "off"};
  const int propagation = pick(4);
  option(std::string("propagation ") + propagations[propagation]);
  if (chance(propagation < 2 ? 40 : 90)) {
    option("dl-tlemma-kinds " + std::to_string(pick(4)));
  }
  if (chance(40)) {
    option(std::string("dl-tlemma-min-overlap ") +
           (chance(50) ? "0.75" : "0.2"));
  }
  if (chance(20)) option("dl-dedup-tlemmas true");
}

void ScriptGenerator::add_logic() {
  static const std::vector<std::string> kLogics[] = {
      {"QF_IDL", "QF_IDL", "QF_LIA", "QF_UFIDL", "QF_AUFLIA"},
      {"QF_RDL", "QF_RDL", "QF_LRA", "QF_UFLRA"},
      {"ALL", "ALL", "QF_LIRA", "QF_AUFLIRA", ""}};
  const auto& logics = kLogics[static_cast<std::size_t>(logic_)];
  const std::string& logic = is_plain_ ? logics.front() : any(logics);
  if (logic.empty()) return;
  Step step;
  step.text = "(set-logic " + logic + ")";
  add_step(std::move(step));
}

void ScriptGenerator::define_sort(Sort sort) {
  if (is_plain_) return;
  const std::string name = "T" + std::to_string(sort_names_.size());
  Step step;
  step.text = "(define-sort " + name + " () " + sort_text(sort) + ')';
  sort_names_.emplace_back(name, sort);
  add_step(std::move(step));
}

void ScriptGenerator::declare(const std::string& name, Sort sort) {
  int& count = num_variables_[static_cast<std::size_t>(sort)];
  const Formula meaning = make_variable(sort, count++);
  globals_.push_back({name, sort, meaning});
  Step step;
  step.kind = Step::Kind::kDeclare;
  step.text = chance(50) ? "(declare-const " + spell_symbol(name) + ' '
                         : "(declare-fun " + spell_symbol(name) + " () ";
  step.text += sort_text(sort) + ')';
  step.variable = {name, meaning};
  add_step(std::move(step));
}

void ScriptGenerator::define() {
  const Sort sort = chance(50) ? Sort::kBool : pick_number_sort();
  const std::string name = "f" + std::to_string(num_names_++);
  Step step;
  budget_ = 12;
  if (chance(30)) {
    const Written body = make_term(sort, 2);
    globals_.push_back({name, sort, body.meaning});
    step.text = chance(50) ? "(define-const " + name + ' '
                           : "(define-fun " + name + " () ";
    step.text += sort_text(sort) + ' ' + body.text + ')';
    add_step(std::move(step));
    return;
  }
  Macro macro{name, sort, {}, nullptr};
  const int arity = 1 + pick(3);
  step.text = "(define-fun " + name + " (";
  // Some of these hide variables.
  const std::vector<std::string> names = {"x", "a", "q"};
  for (int i = 0; i < arity; ++i) {
    const Sort parameter = chance(40) ? Sort::kBool : pick_number_sort();
    const std::string& own = names[static_cast<std::size_t>(i)];
    macro.parameters.push_back(parameter);
    locals_.push_back({own, parameter, make_parameter(parameter, i)});
    step.text += (i > 0 ? " (" : "(") + own + ' ' + sort_text(parameter) + ')';
  }
  const Written body = make_term(sort, 2);
  step.text += ") " + sort_text(sort) + ' ' + body.text + ')';
  macro.body = body.meaning;
  locals_.clear();
  macros_.push_back(std::move(macro));
  add_step(std::move(step));
}

void ScriptGenerator::add_assert() {
  labels_.clear();
  may_name_ = chance(20);
  budget_ = 25;
  const Written body = make_bool(pick(4));
  may_name_ = false;
  finish_assert(body);
}

// Short clauses of plain atoms, about as many as can just be satisfied: these
// make the search run into many conflicts, which mixed formulas seldom do.
void ScriptGenerator::add_clauses() {
  const int count = 8 + pick(14);
  for (int i = 0; i < count; ++i) {
    if (chance(8)) add_push();
    std::vector<Written> atoms;
    const int size = 2 + pick(2);
    for (int k = 0; k < size; ++k) atoms.push_back(make_bool_leaf(0));
    finish_assert(apply("or", Op::kOr, Sort::kBool, atoms));
  }
}

// Confines the variables to a few values above zero or above each other.
void ScriptGenerator::add_domains() {
  std::vector<Binding> variables;
  for (const Binding& binding : globals_) {
    if (binding.sort != Sort::kBool) variables.push_back(binding);
  }
  for (std::size_t i = 0; i < variables.size(); ++i) {
    const Sort sort = variables[i].sort;
    Written confined =
        make_written(spell_symbol(variables[i].name), variables[i].meaning);
    if (i > 0 && variables[i - 1].sort == sort && chance(25)) {
      const Binding& base = variables[i - 1];
      confined = apply(
          "-", Op::kMinus, sort,
          {confined, make_written(spell_symbol(base.name), base.meaning)});
    }
    const int low = pick(3) - 1;
    const auto limit = [&](int value) {
      return make_written(number_text(value, sort), make_number(value, sort));
    };
    finish_assert(apply("<=", Op::kLeq, Sort::kBool,
                        {limit(low), confined, limit(low + 1 + pick(3))}));
  }
}

void ScriptGenerator::finish_assert(const Written& body) {
  Step step;
  step.kind = Step::Kind::kAssert;
  step.formula = body.meaning;
  if (chance(55)) {
    step.label = "n" + std::to_string(num_names_++);
    step.text = "(assert (! " + body.text + " :named " + step.label + "))";
    labels_.push_back({step.label, body.meaning});
  } else {
    step.text = "(assert " + body.text + ')';
    // Named as a whole inside make_bool; the outermost name came last.
    if (body.text.rfind("(!", 0) == 0) step.label = labels_.back().name;
  }
  for (const Label& label : labels_) {
    globals_.push_back({label.name, Sort::kBool, label.meaning});
  }
  step.labels = std::move(labels_);
  labels_.clear();
  add_step(std::move(step));
}

void ScriptGenerator::add_push() {
  Step step;
  step.kind = Step::Kind::kPush;
  step.count = chance(80) ? 1 : 2;
  step.text = step.count == 1 && chance(50)
                  ? "(push)"
                  : "(push " + std::to_string(step.count) + ')';
  for (std::size_t i = 0; i < step.count; ++i) {
    levels_.push_back({globals_.size(), macros_.size(), sort_names_.size(),
                       num_local_names_});
  }
  add_step(std::move(step));
  if (chance(10)) define_sort(pick_number_sort());
  if (chance(40)) {
    // Gone with the level; the next one may declare it with another sort.
    const std::string name = "local" + std::to_string(num_local_names_++);
    declare(name, chance(30) ? Sort::kBool : pick_number_sort());
  }
}

void ScriptGenerator::add_pop() {
  if (levels_.empty()) return;
  Step step;
  step.kind = Step::Kind::kPop;
  step.count = levels_.size() > 1 && chance(30) ? 2 : 1;
  step.text = "(pop " + std::to_string(step.count) + ')';
  for (std::size_t i = 0; i < step.count; ++i) {
    globals_.resize(levels_.back().num_globals);
    macros_.resize(levels_.back().num_macros);
    sort_names_.resize(levels_.back().num_sort_names);
    num_local_names_ = levels_.back().num_local_names;
    levels_.pop_back();
  }
  add_step(std::move(step));
}

void ScriptGenerator::add_check() {
  Step step;
  step.kind = Step::Kind::kCheck;
  step.assuming = chance(40);
  step.text = "(check-sat)";
  if (step.assuming) {
    step.text = "(check-sat-assuming (";
    const int count = pick(5);
    for (int i = 0; i < count; ++i) {
      Written assumption;
      if (!step.assumptions.empty() && chance(10)) {
        assumption = any(step.assumptions);
      } else {
        budget_ = 8;
        assumption = make_bool(pick(3));
      }
      if (i > 0) step.text += ' ';
      step.text += assumption.text;
      step.assumptions.push_back(std::move(assumption));
    }
    step.text += "))";
  }
  const int queries = 1 + pick(3);
  for (int i = 0; i < queries; ++i) {
    budget_ = 8;
    const Sort sort = chance(40) ? Sort::kBool : pick_number_sort();
    step.queries.push_back(make_term(sort, 2));
  }
  if (wants_objectives_) step.asks_bounds = chance(50);
  add_step(std::move(step));
}

// Formulas that are to hold, in one of two groups or in one without a name.
void ScriptGenerator::add_soft() {
  const int count = 1 + pick(4);
  for (int k = 0; k < count; ++k) {
    Step step;
    step.kind = Step::Kind::kObjective;
    budget_ = 8;
    step.objective = make_bool(pick(3));
    step.text = "(assert-soft " + step.objective.text;
    step.weight = 1;
    if (chance(70)) {
      const std::pair<const char*, mpq_class> weights[] = {
          {"2", 2}, {"0.25", {1, 4}}, {"0", 0}, {"(/ 4 3)", {4, 3}}, {"7", 7}};
      const auto& weight = weights[pick(5)];
      step.text += std::string(" :weight ") + weight.first;
      step.weight = weight.second;
    }
    const char* const groups[] = {"soft", "g0", "g1"};
    const int group = pick(3);
    step.group = groups[group];
    if (group > 0) step.text += " :id " + step.group;
    step.text += ')';
    add_step(std::move(step));
  }
}

// One end, or the difference of two, as often as not multiplied.
void ScriptGenerator::add_objective() {
  Step step;
  step.kind = Step::Kind::kObjective;
  budget_ = 8;
  const Sort sort = pick_number_sort();
  step.objective = make_end(sort, 2);
  if (chance(50)) {
    step.objective =
        apply("-", Op::kMinus, sort, {step.objective, make_end(sort, 2)});
  }
  if (chance(15)) {
    step.objective =
        apply("*", Op::kTimes, sort, {make_factor(sort), step.objective});
  }
  step.is_maximised = chance(50);
  step.text = (step.is_maximised ? "(maximize " : "(minimize ") +
              step.objective.text +
              (chance(30) ? " :id o" + std::to_string(num_names_++) : "") + ')';
  add_step(std::move(step));
}

}  // namespace vorn::bruteforce
