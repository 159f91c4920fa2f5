// SPDX-License-Identifier: MIT
#include "tests/bruteforce/session.h"

#include <gmpxx.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <stdexcept>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "solver/engine/engine.h"
#include "solver/smtlib/interpreter.h"
#include "solver/smtlib/session_host.h"
#include "solver/smtlib/source.h"
#include "tests/bruteforce/decision.h"
#include "tests/bruteforce/formula.h"
#include "tests/bruteforce/replies.h"

namespace vorn::bruteforce {
namespace {

// Hands out what was fed so far, and nothing more.
class FedSource : public solver::Source {
 public:
  void feed(const std::string& text) { text_ += text; }

  std::size_t read(char* data, std::size_t capacity) override {
    const std::size_t size = std::min(capacity, text_.size() - position_);
    std::copy_n(text_.data() + position_, size, data);
    position_ += size;
    return size;
  }

  const std::string& text() const { return text_; }

 private:
  std::string text_;
  std::size_t position_ = 0;
};

class Host : public solver::SessionHost {
 public:
  bool write_output(std::string_view reply) override {
    reply_ += reply;
    return true;
  }
  bool write_diagnostics(std::string_view reply) override {
    reply_ += reply;
    return true;
  }
  bool set_output(const std::string& /*channel*/) override { return true; }
  bool set_diagnostics(const std::string& /*channel*/,
                       std::uint64_t /*verbosity*/) override {
    return true;
  }
  void engine_made(solver::Engine& engine) override {
    if (engine.options().portfolio.threads <= 1) return;
    // So that others, which take a while to start, have an answer first now and
    // then.
    engine.set_poll([this] {
      constexpr std::chrono::microseconds kPause(300);
      if (++num_polls_ % 2 == 0) std::this_thread::sleep_for(kPause);
    });
  }
  void engine_gone() override {}

  std::string take_reply() { return std::exchange(reply_, std::string()); }

 private:
  std::string reply_;
  std::size_t num_polls_ = 0;
};

// A wrong answer; leaves the session by run_script.
struct Wrong : std::runtime_error {
  using std::runtime_error::runtime_error;
};

void require(bool holds, const std::string& what, const std::string& reply) {
  if (!holds) throw Wrong(what + ": " + reply);
}

// Keeps its own account of what is declared and asserted.
class Session {
 public:
  Session(Tally& tally, std::uint64_t most_states, Judge* judge,
          const solver::ScriptOptions& own)
      : interpreter_(source_, host_, with_proofs(own, judge != nullptr)),
        tally_(tally),
        most_states_(most_states),
        judge_(judge) {}

  const std::string& text() const { return source_.text(); }

  void run(const Script& script) {
    for (const Step& step : script.steps) run(step, script);
    for (const auto& [name, value] : interpreter_.statistics()) {
      const auto counter = tally_.counters.find(name);
      if (counter != tally_.counters.end())
        counter->second += std::stoull(value);
    }
  }

 private:
  static solver::ScriptOptions with_proofs(solver::ScriptOptions options,
                                           bool keep_proofs) {
    options.engine.keep_proofs = keep_proofs;
    return options;
  }

  struct Assertion {
    Formula formula;
    std::string label;
  };
  // An objective, or with a group a formula that is to hold.
  struct Wanted {
    std::string text;
    Formula meaning;
    bool is_maximised;
    mpq_class weight;
    std::string group;
  };
  struct Level {
    std::size_t variables;
    std::size_t assertions;
    std::size_t labels;
    std::size_t objectives;
  };

  std::string send(const std::string& command) {
    source_.feed(command + '\n');
    require(interpreter_.run_command(), "the script has ended", command);
    return host_.take_reply();
  }

  // Nothing if the bound is reached first.
  std::optional<bool> decide(const std::vector<Formula>& formulas) {
    if (most_states_ == 0) return is_satisfiable(formulas);
    const auto result = is_satisfiable_within(formulas, most_states_);
    if (!result) ++tally_.undecided;
    return result;
  }

  void run(const Step& step, const Script& script) {
    if (step.kind == Step::Kind::kCheck) return check(step, script);
    const std::string reply = send(step.text);
    require(reply.empty(), "a reply to " + step.text, reply);
    switch (step.kind) {
      case Step::Kind::kDeclare:
        variables_.push_back(step.variable);
        break;
      case Step::Kind::kAssert:
        assertions_.push_back({step.formula, step.label});
        labels_.insert(labels_.end(), step.labels.begin(), step.labels.end());
        break;
      case Step::Kind::kObjective:
        wanted_.push_back({step.objective.text, step.objective.meaning,
                           step.is_maximised, step.weight, step.group});
        break;
      case Step::Kind::kPush:
        for (std::size_t i = 0; i < step.count; ++i) {
          levels_.push_back({variables_.size(), assertions_.size(),
                             labels_.size(), wanted_.size()});
        }
        break;
      case Step::Kind::kPop:
        for (std::size_t i = 0; i < step.count; ++i) {
          variables_.resize(levels_.back().variables);
          assertions_.resize(levels_.back().assertions);
          labels_.resize(levels_.back().labels);
          wanted_.resize(levels_.back().objectives);
          levels_.pop_back();
        }
        break;
      default:
        break;
    }
  }

  void check(const Step& step, const Script& script) {
    std::vector<Formula> formulas;
    for (const Assertion& a : assertions_) formulas.push_back(a.formula);
    for (const Written& a : step.assumptions) formulas.push_back(a.meaning);
    const std::optional<bool> expected = decide(formulas);
    read_objectives();
    const std::string reply = send(step.text);
    const bool sat = reply == "sat\n";
    ++num_checks_;
    require(sat || reply == "unsat\n", "no verdict", reply);
    require(!expected || *expected == sat, "a wrong verdict", reply);
    if (sat) {
      ++tally_.sat;
      if (judge_ != nullptr) judge_model();
      check_model(formulas, step.queries);
      if (step.asks_bounds) check_bounds(formulas, step.queries);
    } else {
      ++tally_.unsat;
      if (judge_ != nullptr) judge_proof("");
      if (step.assuming) check_failed_assumptions(step.assumptions);
      if (script.produces_cores) {
        check_core(step.assumptions, script.minimises_cores);
      }
    }
  }

  void judge_model() {
    const std::string model = send("(get-model)");
    const std::string wrong = judge_->model(text(), num_checks_, model);
    require(wrong.empty(), "the model is wrong: " + wrong, model);
  }

  void judge_proof(const std::string& core, const std::string& assumed = "") {
    const std::string proof = send("(get-proof)");
    const std::string wrong =
        judge_->proof(text(), num_checks_, proof, core, assumed);
    require(wrong.empty(), "the proof is wrong: " + wrong, core + proof);
  }

  void check_model(const std::vector<Formula>& formulas,
                   const std::vector<Written>& queries) {
    const std::string reply = send("(get-model)");
    const std::optional<Expression> model = read_expression(reply);
    require(model && model->is_list && model->items.size() == variables_.size(),
            "no model of the variables", reply);
    Values values;
    for (const Expression& item : model->items) {
      require(item.items.size() == 5 && item.items[0].atom == "define-fun" &&
                  item.items[2].is_list && item.items[2].items.empty(),
              "a malformed definition in the model", reply);
      const auto variable = std::find_if(
          variables_.begin(), variables_.end(), [&](const Variable& v) {
            const std::string& name = item.items[1].atom;
            return name == v.text || name == '|' + v.text + '|';
          });
      require(variable != variables_.end(), "no variable of that name", reply);
      set_value(*variable->meaning, item.items[3].atom, item.items[4], values);
    }
    for (std::size_t i = 0; i < formulas.size(); ++i) {
      require(truth(*formulas[i], values),
              "the model does not satisfy formula " + std::to_string(i), reply);
    }
    check_values(queries, values);
    check_assignment(values);
    if (!objectives_.empty()) check_optima(formulas, values);
  }

  // A group is a sum of what its formulas cost.
  void read_objectives() {
    objectives_.clear();
    std::map<std::string, std::size_t> groups;
    for (const Wanted& wanted : wanted_) {
      if (wanted.group.empty()) {
        objectives_.push_back({wanted.meaning, wanted.is_maximised});
        continue;
      }
      const Formula cost = make(Op::kIte, Sort::kReal,
                                {wanted.meaning, make_number(0, Sort::kReal),
                                 make_number(wanted.weight, Sort::kReal)});
      const auto [group, is_new] =
          groups.emplace(wanted.group, objectives_.size());
      if (is_new) {
        objectives_.push_back({cost, false});
      } else {
        Formula& sum = objectives_[group->second].term;
        sum = make(Op::kPlus, Sort::kReal, {sum, cost});
      }
    }
  }

  // The best values against all states, and the model's own against them.
  void check_optima(const std::vector<Formula>& formulas,
                    const Values& values) {
    const std::string reply = send("(get-objectives)");
    const std::optional<Expression> list = read_expression(reply);
    require(list && list->items.size() == objectives_.size() + 1 &&
                list->items[0].atom == "objectives",
            "not all objectives", reply);
    if (judge_ != nullptr) judge_optima(*list, reply);
    const auto optima = optima_of(formulas, objectives_);
    if (!optima) return;
    bool is_exact = true;
    for (std::size_t k = 0; k < objectives_.size(); ++k) {
      const std::string what = "objective " + std::to_string(k) + " is wrong";
      require(list->items[k + 1].items.size() == 2, what, reply);
      const Optimum found = read_optimum(list->items[k + 1].items[1], reply);
      compare(found, (*optima)[k], what, reply);
      if (found.infinity != 0) {
        is_exact = false;
        continue;
      }
      const mpq_class value = number(*objectives_[k].term, values);
      if (found.side != 0) {
        require(!is_exact || cmp(value, found.value) == found.side,
                "the model is not on that side: " + what, reply);
        is_exact = false;
      }
      require(!is_exact || value == found.value,
              "the model has another value: " + what, reply);
    }
  }

  // The objectives as a script would write them: a group is a sum.
  std::vector<std::string> objective_texts() const {
    std::vector<std::string> texts;
    std::map<std::string, std::size_t> places;
    std::map<std::string, std::vector<const Wanted*>> groups;
    for (const Wanted& wanted : wanted_) {
      if (wanted.group.empty()) {
        texts.push_back(wanted.text);
        continue;
      }
      if (places.emplace(wanted.group, texts.size()).second) {
        texts.emplace_back();
      }
      groups[wanted.group].push_back(&wanted);
    }
    for (const auto& [name, members] : groups) {
      const bool is_real = std::any_of(
          members.begin(), members.end(),
          [](const Wanted* one) { return one->weight.get_den() != 1; });
      const auto text_of = [&](const mpz_class& number) {
        return number.get_str() + (is_real ? ".0" : "");
      };
      std::string& text = texts[places.at(name)];
      for (const Wanted* one : members) {
        const std::string weight =
            one->weight.get_den() == 1
                ? text_of(one->weight.get_num())
                : "(/ " + text_of(one->weight.get_num()) + ' ' +
                      text_of(one->weight.get_den()) + ')';
        text += " (ite " + one->text + ' ' + text_of(0) + ' ' + weight + ')';
      }
      if (members.size() > 1) text = "(+" + text + ')';
    }
    return texts;
  }

  // That the values of the reply cannot be bettered has a proof, as far as
  // they are reached.
  void judge_optima(const Expression& list, const std::string& reply) {
    const std::vector<std::string> texts = objective_texts();
    std::size_t count = 0;
    bool is_reached = true;
    for (; is_reached && count < texts.size(); ++count) {
      const Optimum best = read_optimum(list.items[count + 1].items[1], reply);
      if (best.infinity != 0) break;
      is_reached = best.side == 0;
    }
    if (count == 0) {
      const std::string none = send("(get-proof)");
      require(none.find("no objective has a best value") != std::string::npos,
              "not no proof", none);
      return;
    }
    std::string better;
    for (std::size_t k = count; k-- > 0;) {
      const Expression& value = list.items[k + 1].items[1];
      const bool is_last = k + 1 == count;
      const std::string best =
          texts[k] + ' ' +
          to_text(is_last && !is_reached ? value.items[1] : value) + ')';
      const std::string beyond = objectives_[k].is_maximised ? "(>" : "(<";
      if (is_last) {
        better = beyond + (is_reached ? " " : "= ") + best;
      } else {
        better = "(or " + beyond + ' ' + best + " (and " + beyond + "= " +
                 best + ' ' + better + "))";
      }
    }
    judge_proof("", better);
    ++tally_.proved_optima;
  }

  // Nothing if there are too many states.
  std::optional<std::vector<Optimum>> optima_of(
      const std::vector<Formula>& formulas,
      const std::vector<Objective>& objectives) {
    auto optima = find_optima(formulas, objectives,
                              most_states_ == 0 ? ~0ULL : most_states_);
    if (!optima) ++tally_.undecided;
    return optima;
  }

  void compare(const Optimum& found, const Optimum& expected,
               const std::string& what, const std::string& reply) {
    require(found.infinity == expected.infinity, what, reply);
    ++tally_.optima;
    if (found.infinity != 0) {
      ++tally_.unbounded;
      return;
    }
    if (found.side != 0) ++tally_.unattained;
    const mpq_class off = expected.value - found.value;
    require(abs(off) < mpq_class(1, 10000), what, reply);
    require(found.side == (sgn(off) != 0 ? sgn(off) : expected.side), what,
            reply);
  }

  // The model stays meanwhile.
  void check_bounds(const std::vector<Formula>& formulas,
                    const std::vector<Written>& queries) {
    const std::string model = send("(get-model)");
    for (const Written& query : queries) {
      if (query.meaning->sort == Sort::kBool) continue;
      const std::string reply = send("(get-bounds " + query.text + ')');
      const std::optional<Expression> bounds = read_expression(reply);
      require(bounds && bounds->items.size() == 3, "no bounds", reply);
      for (const bool is_maximised : {false, true}) {
        std::vector<Objective> objectives = objectives_;
        objectives.push_back({query.meaning, is_maximised});
        const auto optima = optima_of(formulas, objectives);
        if (!optima) continue;
        compare(read_optimum(bounds->items[is_maximised ? 2 : 1], reply),
                optima->back(), "a bound is wrong", reply);
      }
    }
    const std::string after = send("(get-model)");
    require(model == after, "the model changed", after);
  }

  static Optimum read_optimum(const Expression& expression,
                              const std::string& reply) {
    const std::string text = to_text(expression);
    if (text == "oo") return {1, 0, 0};
    if (text == "(- oo)") return {-1, 0, 0};
    if (const auto value = read_number(expression)) return {0, *value, 0};
    require(
        expression.items.size() == 3 && expression.items[2].atom == "epsilon",
        "no value", reply);
    const auto value = read_number(expression.items[1]);
    require(value.has_value(), "no value", reply);
    return {0, *value, expression.items[0].atom == "+" ? 1 : -1};
  }

  static void set_value(const Node& variable, const std::string& sort,
                        const Expression& expression, Values& values) {
    const auto index = static_cast<std::size_t>(variable.index);
    const std::string text = to_text(expression);
    if (variable.sort == Sort::kBool) {
      require(sort == "Bool", "not the sort Bool", sort);
      const auto value = read_truth(expression);
      require(value.has_value(), "no truth value", text);
      if (values.bools.size() <= index) values.bools.resize(index + 1);
      values.bools[index] = *value;
      return;
    }
    const bool is_int = variable.sort == Sort::kInt;
    require(sort == (is_int ? "Int" : "Real"), "another sort", sort);
    const auto value = read_number(expression);
    require(value.has_value(), "no number", text);
    if (is_int) {
      require(value->get_den() == 1 &&
                  text.find_first_of("./") == std::string::npos,
              "not an integer", text);
    }
    std::vector<mpq_class>& all = is_int ? values.ints : values.reals;
    if (all.size() <= index) all.resize(index + 1);
    all[index] = *value;
  }

  void check_values(const std::vector<Written>& queries, const Values& values) {
    std::string command = "(get-value (";
    for (const Written& query : queries) command += query.text + ' ';
    const std::string reply = send(command + "))");
    const std::optional<Expression> pairs = read_expression(reply);
    require(pairs && pairs->items.size() == queries.size(), "not all values",
            reply);
    for (std::size_t i = 0; i < queries.size(); ++i) {
      const Expression& pair = pairs->items[i];
      require(pair.items.size() == 2 &&
                  to_text(pair.items[0]) ==
                      to_text(*read_expression(queries[i].text)),
              "a value of another term", reply);
      const Node& meaning = *queries[i].meaning;
      const bool right =
          meaning.sort == Sort::kBool
              ? read_truth(pair.items[1]) == truth(meaning, values)
              : read_number(pair.items[1]) == number(meaning, values);
      require(right, "a wrong value of term " + std::to_string(i), reply);
    }
  }

  void check_assignment(const Values& values) {
    const std::string reply = send("(get-assignment)");
    const std::optional<Expression> pairs = read_expression(reply);
    require(pairs && pairs->items.size() == labels_.size(), "not all labels",
            reply);
    std::map<std::string, bool> assigned;
    for (const Expression& pair : pairs->items) {
      require(pair.items.size() == 2, "no pair", reply);
      const auto value = read_truth(pair.items[1]);
      require(value.has_value(), "no truth value", reply);
      assigned[pair.items[0].atom] = *value;
    }
    for (const Label& label : labels_) {
      const auto found = assigned.find(label.name);
      require(found != assigned.end() &&
                  found->second == truth(*label.meaning, values),
              "a wrong value of " + label.name, reply);
    }
  }

  void check_failed_assumptions(const std::vector<Written>& assumptions) {
    const std::string reply = send("(get-unsat-assumptions)");
    const std::optional<Expression> failed = read_expression(reply);
    require(failed && failed->is_list, "no list", reply);
    std::vector<Formula> formulas;
    for (const Assertion& a : assertions_) formulas.push_back(a.formula);
    for (const Expression& one : failed->items) {
      const auto found = std::find_if(
          assumptions.begin(), assumptions.end(), [&](const Written& a) {
            return to_text(*read_expression(a.text)) == to_text(one);
          });
      require(found != assumptions.end(), "no assumption", reply);
      formulas.push_back(found->meaning);
    }
    require(failed->items.size() <= assumptions.size(), "too many", reply);
    require(decide(formulas) != true, "the failed assumptions have a model",
            reply);
    if (!failed->items.empty()) ++tally_.failed_assumptions;
  }

  // The core with all that has no name.
  std::vector<Formula> without_names(const std::set<std::string>& core,
                                     const std::vector<Written>& assumptions) {
    std::vector<Formula> formulas;
    for (const Assertion& a : assertions_) {
      if (a.label.empty() || core.count(a.label) != 0) {
        formulas.push_back(a.formula);
      }
    }
    for (const Written& a : assumptions) formulas.push_back(a.meaning);
    return formulas;
  }

  void check_core(const std::vector<Written>& assumptions, bool minimal) {
    const std::string reply = send("(get-unsat-core)");
    const std::optional<Expression> names = read_expression(reply);
    require(names && names->is_list, "no list", reply);
    // The one of now: the core was asked about once more.
    if (judge_ != nullptr) judge_proof(reply);
    std::set<std::string> core;
    for (const Expression& name : names->items) {
      require(core.insert(name.atom).second, "a name twice", reply);
      require(
          std::any_of(assertions_.begin(), assertions_.end(),
                      [&](const Assertion& a) { return a.label == name.atom; }),
          "no named assertion", reply);
    }
    require(decide(without_names(core, assumptions)) != true,
            "the core has a model", reply);
    if (!core.empty()) ++tally_.cores;
    if (!minimal) return;
    for (const std::string& name : core) {
      std::set<std::string> fewer = core;
      fewer.erase(name);
      require(decide(without_names(fewer, assumptions)) != false,
              "the core does not need " + name, reply);
    }
  }

  FedSource source_;
  Host host_;
  solver::Interpreter interpreter_;
  Tally& tally_;
  const std::uint64_t most_states_;
  Judge* judge_;
  std::size_t num_checks_ = 0;
  std::vector<Variable> variables_;
  std::vector<Assertion> assertions_;
  std::vector<Label> labels_;
  std::vector<Wanted> wanted_;
  // As of the last check.
  std::vector<Objective> objectives_;
  std::vector<Level> levels_;
};

}  // namespace

Verdict run_script(const Script& script, Tally& tally,
                   std::uint64_t most_states, Judge* judge,
                   const solver::ScriptOptions& options) {
  Session session(tally, most_states, judge, options);
  Verdict verdict;
  try {
    session.run(script);
  } catch (const Wrong& wrong) {
    verdict.problem = wrong.what();
  }
  verdict.text = session.text();
  return verdict;
}

}  // namespace vorn::bruteforce
