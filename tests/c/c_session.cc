// SPDX-License-Identifier: MIT
#include "tests/c/c_session.h"

#include <gmpxx.h>

#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <utility>
#include <vector>

#include "solver/c/vorn.h"
#include "tests/bruteforce/decision.h"
#include "tests/bruteforce/formula.h"
#include "tests/c/account.h"
#include "tests/proof/evidence_judge.h"

namespace vorn::test {
namespace {

using bruteforce::Formula;
using bruteforce::Node;
using bruteforce::Objective;
using bruteforce::Op;
using bruteforce::Optimum;
using bruteforce::Sort;
using bruteforce::Step;
using bruteforce::Values;

struct Wrong : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// A function that C has not.
struct Unsupported {};

void require(bool holds, const std::string& what) {
  if (!holds) throw Wrong(what);
}

bool has_variables(const Node& node) {
  if (node.op == Op::kVariable || node.op == Op::kParameter) return true;
  return std::any_of(node.args.begin(), node.args.end(),
                     [](const Formula& arg) { return has_variables(*arg); });
}

class CSession {
 public:
  CSession(std::uint64_t most_states, bool keeps_proofs, bool minimises_cores,
           CTally& tally)
      : solver_(
            vorn_solver_new((keeps_proofs ? VORN_KEEP_PROOFS : 0U) |
                                (minimises_cores ? VORN_MINIMIZE_CORES : 0U),
                            0),
            vorn_solver_free),
        most_states_(most_states),
        keeps_proofs_(keeps_proofs),
        minimises_cores_(minimises_cores),
        tally_(tally) {}

  void run(const Step& step) {
    try {
      do_run(step);
    } catch (const Unsupported&) {
      ++tally_.left_out;
    }
  }

 private:
  void succeed(vorn_error error) { require_fine(error == VORN_OK); }
  void require_fine(bool holds) {
    require(holds, vorn_solver_error_text(solver_.get()));
  }
  std::int32_t made(std::int32_t handle) {
    require_fine(handle != 0);
    return handle;
  }

  // --- Terms ---

  vorn_number number(const Formula& node) {
    vorn_solver* s = solver_.get();
    if (!has_variables(*node)) {
      const mpq_class value = bruteforce::number(*node, Values());
      return made(vorn_constant(s, value.get_str().c_str()));
    }
    std::vector<vorn_number> args;
    const auto read_args = [&] {
      for (const Formula& arg : node->args) args.push_back(number(arg));
    };
    switch (node->op) {
      case Op::kVariable:
        return variable(*node);
      case Op::kIte:
        return made(vorn_choose(s, formula(node->args[0]),
                                number(node->args[1]), number(node->args[2])));
      case Op::kMinus:
        read_args();
        for (std::size_t k = args.size() == 1 ? 0 : 1; k < args.size(); ++k) {
          args[k] = made(vorn_times(s, "-1", args[k]));
        }
        return made(vorn_sum(s, args.size(), args.data()));
      case Op::kPlus:
        read_args();
        return made(vorn_sum(s, args.size(), args.data()));
      case Op::kTimes:
      case Op::kDivide: {
        mpq_class factor = 1;
        Formula rest;
        for (std::size_t k = 0; k < node->args.size(); ++k) {
          const Formula& arg = node->args[k];
          if (has_variables(*arg)) {
            if (rest != nullptr) throw Unsupported();
            rest = arg;
            continue;
          }
          const mpq_class value = bruteforce::number(*arg, Values());
          if (node->op == Op::kTimes || k == 0) {
            factor *= value;
          } else {
            factor /= value;
          }
        }
        return made(vorn_times(s, factor.get_str().c_str(), number(rest)));
      }
      case Op::kAbs: {
        const vorn_number x = number(node->args[0]);
        return made(vorn_choose(s, made(vorn_at_most(s, 0, x, 0)), x,
                                made(vorn_times(s, "-1", x))));
      }
      case Op::kToReal:
        return number(node->args[0]);
      default:
        throw Unsupported();
    }
  }

  vorn_formula relate(Op op, const Formula& left, const Formula& right) {
    vorn_solver* s = solver_.get();
    if (left->sort == Sort::kBool) {
      return made(vorn_iff(s, formula(left), formula(right)));
    }
    const vorn_number a = number(left);
    const vorn_number b = number(right);
    switch (op) {
      case Op::kLeq:
        return made(vorn_at_most(s, a, b, 0));
      case Op::kLess:
        return made(vorn_below_text(s, a, b, "0"));
      case Op::kGeq:
        return made(vorn_at_most_text(s, b, a, "0.0"));
      case Op::kGreater:
        return made(vorn_below(s, b, a, 0));
      default:
        return made(vorn_equals(s, a, b, 0));
    }
  }

  vorn_formula formula(const Formula& node) {
    vorn_solver* s = solver_.get();
    const auto& args = node->args;
    std::vector<vorn_formula> parts;
    const auto read_args = [&] {
      for (const Formula& arg : args) parts.push_back(formula(arg));
    };
    switch (node->op) {
      case Op::kTrue:
        return vorn_true(s);
      case Op::kFalse:
        return -vorn_true(s);
      case Op::kVariable:
        return variable(*node);
      case Op::kNot:
        return -formula(args[0]);
      case Op::kAnd:
        read_args();
        return made(vorn_and(s, parts.size(), parts.data()));
      case Op::kOr:
        read_args();
        return made(vorn_or(s, parts.size(), parts.data()));
      case Op::kXor: {
        vorn_formula result = formula(args[0]);
        for (std::size_t k = 1; k < args.size(); ++k) {
          result = made(vorn_xor(s, result, formula(args[k])));
        }
        return result;
      }
      case Op::kImplies: {
        vorn_formula result = formula(args.back());
        for (std::size_t k = args.size() - 1; k-- > 0;) {
          result = made(vorn_implies(s, formula(args[k]), result));
        }
        return result;
      }
      case Op::kIte:
        return made(
            vorn_ite(s, formula(args[0]), formula(args[1]), formula(args[2])));
      case Op::kDistinct:
        if (args[0]->sort != Sort::kBool) {
          std::vector<vorn_number> numbers;
          for (const Formula& arg : args) numbers.push_back(number(arg));
          return made(vorn_distinct(s, numbers.size(), numbers.data()));
        }
        if (args.size() > 2) return -vorn_true(s);
        return made(vorn_xor(s, formula(args[0]), formula(args[1])));
      case Op::kEqual:
      case Op::kLeq:
      case Op::kLess:
      case Op::kGeq:
      case Op::kGreater:
        for (std::size_t k = 1; k < args.size(); ++k) {
          parts.push_back(relate(node->op, args[k - 1], args[k]));
        }
        return made(vorn_and(s, parts.size(), parts.data()));
      default:
        throw Unsupported();
    }
  }

  // Variables of C have no scope, so those that come again are the same.
  std::int32_t variable(const Node& node) {
    std::int32_t& handle = variables_[{node.sort, node.index}];
    if (handle != 0) return handle;
    vorn_solver* s = solver_.get();
    const std::string name = "v" + std::to_string(variables_.size());
    switch (node.sort) {
      case Sort::kBool:
        return handle = made(vorn_new_bool(s, name.c_str()));
      case Sort::kInt:
        return handle = made(vorn_new_int(s, name.c_str()));
      case Sort::kReal:
        return handle = made(vorn_new_real(s, nullptr));
    }
    return 0;
  }

  // --- Steps ---

  void do_run(const Step& step) {
    vorn_solver* s = solver_.get();
    switch (step.kind) {
      case Step::Kind::kSilent:
        break;
      case Step::Kind::kDeclare:
        variable(*step.variable.meaning);
        break;
      case Step::Kind::kAssert: {
        const vorn_formula asserted = formula(step.formula);
        if (step.label.empty()) {
          succeed(vorn_add(s, asserted));
        } else {
          succeed(vorn_add_named(s, asserted, step.label.c_str()));
        }
        break;
      }
      case Step::Kind::kPush:
        for (std::size_t k = 0; k < step.count; ++k) {
          succeed(vorn_push(s));
        }
        break;
      case Step::Kind::kPop:
        for (std::size_t k = 0; k < step.count; ++k) {
          succeed(vorn_pop(s));
        }
        break;
      case Step::Kind::kObjective:
        want(step);
        break;
      case Step::Kind::kCheck:
        check(step);
        break;
    }
    account_.run(step);
  }

  void want(const Step& step) {
    vorn_solver* s = solver_.get();
    const Formula& meaning = step.objective.meaning;
    if (!step.group.empty()) {
      succeed(vorn_add_soft(s, formula(meaning), step.weight.get_str().c_str(),
                            step.group.c_str()));
    } else if (step.is_maximised) {
      succeed(vorn_maximize(s, number(meaning), nullptr));
    } else {
      succeed(vorn_minimize(s, number(meaning), "small"));
    }
  }

  // --- Checks ---

  std::optional<bool> decide(const std::vector<Formula>& formulas) {
    const auto result =
        bruteforce::is_satisfiable_within(formulas, most_states_);
    if (!result) ++tally_.undecided;
    return result;
  }

  void check(const Step& step) {
    vorn_solver* s = solver_.get();
    std::vector<Formula> formulas = account_.formulas();
    std::vector<vorn_formula> assumed;
    for (const auto& one : step.assumptions) {
      formulas.push_back(one.meaning);
      assumed.push_back(formula(one.meaning));
    }
    for (const vorn_formula one : assumed) succeed(vorn_assume(s, one));
    const vorn_answer answer = vorn_solve(s);
    require_fine(vorn_solver_error(s) == VORN_OK);
    require(answer != VORN_UNKNOWN, "no verdict");
    const bool sat = answer == VORN_SAT;
    const std::optional<bool> expected = decide(formulas);
    require(!expected || *expected == sat, "a wrong verdict");
    if (sat) {
      ++tally_.sat;
      check_model(formulas, step);
    } else {
      ++tally_.unsat;
      check_failed(step, assumed);
      check_core(step);
    }
    if (keeps_proofs_ && (!sat || account_.has_objectives())) check_proof(sat);
  }

  Values read_values() {
    Values values;
    for (const auto& [key, handle] : variables_) {
      const auto index = static_cast<std::size_t>(key.second);
      if (key.first == Sort::kBool) {
        const int truth = vorn_value(solver_.get(), handle);
        require_fine(truth >= 0);
        if (values.bools.size() <= index) values.bools.resize(index + 1);
        values.bools[index] = truth == 1;
        continue;
      }
      auto& all = key.first == Sort::kInt ? values.ints : values.reals;
      if (all.size() <= index) all.resize(index + 1);
      all[index] = read_number(handle);
      require(key.first == Sort::kReal || all[index].get_den() == 1,
              "no integer");
    }
    return values;
  }

  mpq_class read_number(vorn_number handle) {
    const char* text = nullptr;
    succeed(vorn_number_value_text(solver_.get(), handle, &text));
    return mpq_class(text);
  }

  void check_model(const std::vector<Formula>& formulas, const Step& step) {
    const Values values = read_values();
    for (const Formula& one : formulas) {
      require(bruteforce::truth(*one, values), "a model that is none");
    }
    for (const auto& query : step.queries) {
      const Formula& meaning = query.meaning;
      try {
        if (meaning->sort == Sort::kBool) {
          require(vorn_value(solver_.get(), formula(meaning)) ==
                      (bruteforce::truth(*meaning, values) ? 1 : 0),
                  "a wrong truth value");
        } else {
          require(read_number(number(meaning)) ==
                      bruteforce::number(*meaning, values),
                  "a wrong value");
        }
      } catch (const Unsupported&) {
        ++tally_.left_out;
      }
    }
    const std::vector<Objective> objectives = account_.objectives();
    require(vorn_num_objectives(solver_.get()) == objectives.size(),
            "not all objectives");
    check_optima(formulas, objectives);
    if (step.asks_bounds) check_bounds(formulas, objectives, step);
    require(read_values().ints == values.ints, "the model changed");
  }

  static void compare(const vorn_extent& found, const Optimum& expected,
                      const std::string& what) {
    require(found.infinity == expected.infinity, what);
    if (found.infinity != 0) return;
    const mpq_class off = expected.value - mpq_class(found.value);
    require(abs(off) < mpq_class(1, 10000), what);
    require(found.side == (sgn(off) != 0 ? sgn(off) : expected.side), what);
  }

  void check_optima(const std::vector<Formula>& formulas,
                    const std::vector<Objective>& objectives) {
    if (objectives.empty()) return;
    const auto optima = find_optima(formulas, objectives, most_states_);
    if (!optima) {
      ++tally_.undecided;
      return;
    }
    for (std::size_t k = 0; k < objectives.size(); ++k) {
      int is_settled = 0;
      vorn_extent low;
      vorn_extent high;
      succeed(
          vorn_objective(solver_.get(), k, nullptr, &is_settled, &low, &high));
      require(is_settled == 1, "not the best");
      compare(low, (*optima)[k], "a wrong best value");
      compare(high, (*optima)[k], "a wrong best value");
      ++tally_.optima;
    }
  }

  void check_bounds(const std::vector<Formula>& formulas,
                    const std::vector<Objective>& objectives,
                    const Step& step) {
    for (const auto& query : step.queries) {
      if (query.meaning->sort == Sort::kBool) continue;
      vorn_extent ends[2];
      succeed(vorn_bounds(solver_.get(), number(query.meaning), &ends[0],
                          &ends[1]));
      for (const bool is_maximised : {false, true}) {
        std::vector<Objective> all = objectives;
        all.push_back({query.meaning, is_maximised});
        const auto optima = find_optima(formulas, all, most_states_);
        if (!optima) continue;
        compare(ends[is_maximised ? 1 : 0], optima->back(), "a wrong bound");
        ++tally_.bounds;
      }
    }
  }

  void check_failed(const Step& step,
                    const std::vector<vorn_formula>& assumed) {
    std::vector<Formula> formulas = account_.formulas();
    bool any = false;
    for (std::size_t k = 0; k < assumed.size(); ++k) {
      const int failed = vorn_failed(solver_.get(), assumed[k]);
      require_fine(failed >= 0);
      if (failed == 0) continue;
      any = true;
      formulas.push_back(step.assumptions[k].meaning);
    }
    require(decide(formulas) != true, "the failed assumptions have a model");
    if (any) ++tally_.failed;
  }

  std::vector<Formula> without(const std::vector<std::string>& labels,
                               const Step& step) const {
    std::vector<Formula> formulas;
    for (const Account::Assertion& one : account_.assertions()) {
      if (one.label.empty() ||
          std::find(labels.begin(), labels.end(), one.label) != labels.end()) {
        formulas.push_back(one.formula);
      }
    }
    for (const auto& one : step.assumptions) formulas.push_back(one.meaning);
    return formulas;
  }

  void check_core(const Step& step) {
    std::size_t count = 0;
    const char* const* names = nullptr;
    succeed(vorn_core(solver_.get(), &count, &names));
    const std::vector<std::string> core(names, names + count);
    require(decide(without(core, step)) != true, "the core has a model");
    if (!core.empty()) ++tally_.cores;
    if (!minimises_cores_) return;
    for (const std::string& name : core) {
      std::vector<std::string> fewer = core;
      fewer.erase(std::find(fewer.begin(), fewer.end(), name));
      require(decide(without(fewer, step)) != false, "the core is too large");
    }
  }

  void check_proof(bool sat) {
    const char* text = nullptr;
    if (vorn_proof(solver_.get(), &text) == VORN_ERROR_STATE) {
      // Best values that none of the objectives has need no proof.
      if (!sat) ++tally_.unproved;
      return;
    }
    require_fine(vorn_solver_error(solver_.get()) == VORN_OK);
    const std::string proof = text;
    succeed(vorn_improvement(solver_.get(), &text));
    const std::string improvement = text;
    succeed(vorn_script(solver_.get(), &text));
    const std::string wrong =
        bruteforce::EvidenceJudge().proof(text, 1, proof, "", improvement);
    require(wrong.empty(), "the proof is wrong: " + wrong + "\n" + text +
                               improvement + '\n' + proof);
    ++tally_.proofs;
  }

  std::unique_ptr<vorn_solver, void (*)(vorn_solver*)> solver_;
  const std::uint64_t most_states_;
  const bool keeps_proofs_;
  const bool minimises_cores_;
  CTally& tally_;
  std::map<std::pair<Sort, int>, std::int32_t> variables_;
  Account account_;
};

}  // namespace

std::string run_in_c(const bruteforce::Script& script,
                     std::uint64_t most_states, bool keeps_proofs,
                     CTally& tally) {
  CSession session(most_states, keeps_proofs, script.minimises_cores, tally);
  try {
    for (const Step& step : script.steps) session.run(step);
  } catch (const Wrong& wrong) {
    return wrong.what();
  }
  return "";
}

}  // namespace vorn::test
