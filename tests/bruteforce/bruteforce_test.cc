// SPDX-License-Identifier: MIT
#include <gmpxx.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "solver/smtlib/interpreter.h"
#include "solver/smtlib/session_host.h"
#include "solver/smtlib/source.h"
#include "tests/bruteforce/decision.h"
#include "tests/bruteforce/formula.h"
#include "tests/bruteforce/replies.h"
#include "tests/bruteforce/script_generator.h"

// Random scripts through the interpreter, every answer checked: verdicts
// against enumeration, models and values by evaluation, cores and failed
// assumptions by enumeration again.
//
// VORN_FORMULAS sets the number of scripts for each logic, VORN_FORMULA_SEED
// the first seed; one script alone is VORN_FORMULAS=1 with its seed.

namespace vorn::bruteforce {
namespace {

#if defined(__SANITIZE_ADDRESS__)
constexpr std::uint64_t kScripts = 1000;
#elif !defined(NDEBUG)
constexpr std::uint64_t kScripts = 1500;
#else
constexpr std::uint64_t kScripts = 5000;
#endif

std::uint64_t from_environment(const char* name, std::uint64_t otherwise) {
  const char* text = std::getenv(name);
  return text == nullptr ? otherwise : std::strtoull(text, nullptr, 10);
}

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
  bool set_diagnostics(const std::string& /*channel*/,
                       std::uint64_t /*verbosity*/) override {
    return true;
  }
  void engine_made(solver::Engine& /*engine*/) override {}
  void engine_gone() override {}

  std::string take_reply() { return std::exchange(reply_, std::string()); }

 private:
  std::string reply_;
};

struct Tally {
  std::uint64_t sat = 0;
  std::uint64_t unsat = 0;
  std::uint64_t cores = 0;
  std::uint64_t failed_assumptions = 0;
  // The engine's counters of these names, over all scripts.
  std::map<std::string, std::uint64_t> counters = {{"theory conflicts", 0},
                                                   {"lemmas used", 0}};
};

// Runs one script and keeps its own account of what is declared and asserted.
class Session {
 public:
  explicit Session(Tally& tally)
      : interpreter_(source_, host_), tally_(tally) {}

  const std::string& text() const { return source_.text(); }

  void run(const Script& script) {
    for (const Step& step : script.steps) {
      run(step, script);
      if (::testing::Test::HasFailure()) return;
    }
    for (const auto& [name, value] : interpreter_.statistics()) {
      const auto counter = tally_.counters.find(name);
      if (counter != tally_.counters.end())
        counter->second += std::stoull(value);
    }
  }

 private:
  struct Assertion {
    Formula formula;
    std::string label;
  };
  struct Level {
    std::size_t variables;
    std::size_t assertions;
    std::size_t labels;
  };

  std::string send(const std::string& command) {
    source_.feed(command + '\n');
    EXPECT_TRUE(interpreter_.run_command()) << command;
    return host_.take_reply();
  }

  void run(const Step& step, const Script& script) {
    if (step.kind == Step::Kind::kCheck) return check(step, script);
    ASSERT_EQ(send(step.text), "") << step.text;
    switch (step.kind) {
      case Step::Kind::kDeclare:
        variables_.push_back(step.variable);
        break;
      case Step::Kind::kAssert:
        assertions_.push_back({step.formula, step.label});
        labels_.insert(labels_.end(), step.labels.begin(), step.labels.end());
        break;
      case Step::Kind::kPush:
        for (std::size_t i = 0; i < step.count; ++i) {
          levels_.push_back(
              {variables_.size(), assertions_.size(), labels_.size()});
        }
        break;
      case Step::Kind::kPop:
        for (std::size_t i = 0; i < step.count; ++i) {
          variables_.resize(levels_.back().variables);
          assertions_.resize(levels_.back().assertions);
          labels_.resize(levels_.back().labels);
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
    const bool expected = is_satisfiable(formulas);
    ASSERT_EQ(send(step.text), expected ? "sat\n" : "unsat\n");
    if (expected) {
      ++tally_.sat;
      check_model(formulas, step.queries);
    } else {
      ++tally_.unsat;
      if (step.assuming) check_failed_assumptions(step.assumptions);
      if (script.produces_cores) {
        check_core(step.assumptions, script.minimises_cores);
      }
    }
  }

  void check_model(const std::vector<Formula>& formulas,
                   const std::vector<Written>& queries) {
    const std::string reply = send("(get-model)");
    const std::optional<Expression> model = read_expression(reply);
    ASSERT_TRUE(model && model->is_list) << reply;
    ASSERT_EQ(model->items.size(), variables_.size()) << reply;
    Values values;
    for (const Expression& item : model->items) {
      ASSERT_EQ(item.items.size(), 5U) << reply;
      ASSERT_EQ(item.items[0].atom, "define-fun") << reply;
      ASSERT_TRUE(item.items[2].is_list && item.items[2].items.empty());
      const auto variable = std::find_if(
          variables_.begin(), variables_.end(), [&](const Variable& v) {
            const std::string& name = item.items[1].atom;
            return name == v.text || name == '|' + v.text + '|';
          });
      ASSERT_NE(variable, variables_.end()) << reply;
      ASSERT_NO_FATAL_FAILURE(set_value(*variable->meaning, item.items[3].atom,
                                        item.items[4], values))
          << reply;
    }
    for (std::size_t i = 0; i < formulas.size(); ++i) {
      ASSERT_TRUE(truth(*formulas[i], values))
          << "the model does not satisfy formula " << i << ":\n"
          << reply;
    }
    ASSERT_NO_FATAL_FAILURE(check_values(queries, values)) << reply;
    check_assignment(values);
  }

  static void set_value(const Node& variable, const std::string& sort,
                        const Expression& text, Values& values) {
    const auto index = static_cast<std::size_t>(variable.index);
    if (variable.sort == Sort::kBool) {
      ASSERT_EQ(sort, "Bool");
      const auto value = read_truth(text);
      ASSERT_TRUE(value.has_value());
      if (values.bools.size() <= index) values.bools.resize(index + 1);
      values.bools[index] = *value;
      return;
    }
    const bool is_int = variable.sort == Sort::kInt;
    ASSERT_EQ(sort, is_int ? "Int" : "Real");
    const auto value = read_number(text);
    ASSERT_TRUE(value.has_value());
    if (is_int) {
      ASSERT_EQ(value->get_den(), 1) << "not an integer";
      ASSERT_EQ(to_text(text).find_first_of("./"), std::string::npos);
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
    ASSERT_TRUE(pairs && pairs->items.size() == queries.size()) << reply;
    for (std::size_t i = 0; i < queries.size(); ++i) {
      const Expression& pair = pairs->items[i];
      ASSERT_EQ(pair.items.size(), 2U) << reply;
      const auto query = read_expression(queries[i].text);
      ASSERT_EQ(to_text(pair.items[0]), to_text(*query));
      const Node& meaning = *queries[i].meaning;
      if (meaning.sort == Sort::kBool) {
        ASSERT_EQ(read_truth(pair.items[1]), truth(meaning, values)) << reply;
      } else {
        ASSERT_EQ(read_number(pair.items[1]), number(meaning, values)) << reply;
      }
    }
  }

  void check_assignment(const Values& values) {
    const std::string reply = send("(get-assignment)");
    const std::optional<Expression> pairs = read_expression(reply);
    ASSERT_TRUE(pairs && pairs->items.size() == labels_.size()) << reply;
    std::map<std::string, bool> assigned;
    for (const Expression& pair : pairs->items) {
      ASSERT_EQ(pair.items.size(), 2U) << reply;
      const auto value = read_truth(pair.items[1]);
      ASSERT_TRUE(value.has_value()) << reply;
      assigned[pair.items[0].atom] = *value;
    }
    for (const Label& label : labels_) {
      ASSERT_EQ(assigned.count(label.name), 1U) << reply;
      ASSERT_EQ(assigned[label.name], truth(*label.meaning, values)) << reply;
    }
  }

  void check_failed_assumptions(const std::vector<Written>& assumptions) {
    const std::string reply = send("(get-unsat-assumptions)");
    const std::optional<Expression> failed = read_expression(reply);
    ASSERT_TRUE(failed && failed->is_list) << reply;
    std::vector<Formula> formulas;
    for (const Assertion& a : assertions_) formulas.push_back(a.formula);
    for (const Expression& one : failed->items) {
      const auto found = std::find_if(
          assumptions.begin(), assumptions.end(), [&](const Written& a) {
            return to_text(*read_expression(a.text)) == to_text(one);
          });
      ASSERT_NE(found, assumptions.end()) << reply;
      formulas.push_back(found->meaning);
    }
    ASSERT_LE(failed->items.size(), assumptions.size()) << reply;
    ASSERT_FALSE(is_satisfiable(formulas))
        << "the failed assumptions have a model: " << reply;
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
    ASSERT_TRUE(names && names->is_list) << reply;
    std::set<std::string> core;
    for (const Expression& name : names->items) {
      ASSERT_TRUE(core.insert(name.atom).second) << reply;
      ASSERT_TRUE(
          std::any_of(assertions_.begin(), assertions_.end(),
                      [&](const Assertion& a) { return a.label == name.atom; }))
          << reply;
    }
    ASSERT_FALSE(is_satisfiable(without_names(core, assumptions)))
        << "the core has a model: " << reply;
    if (!core.empty()) ++tally_.cores;
    if (!minimal) return;
    for (const std::string& name : core) {
      std::set<std::string> fewer = core;
      fewer.erase(name);
      ASSERT_TRUE(is_satisfiable(without_names(fewer, assumptions)))
          << "the core does not need " << name << ": " << reply;
    }
  }

  FedSource source_;
  Host host_;
  solver::Interpreter interpreter_;
  Tally& tally_;
  std::vector<Variable> variables_;
  std::vector<Assertion> assertions_;
  std::vector<Label> labels_;
  std::vector<Level> levels_;
};

void run_scripts(Logic logic) {
  const std::uint64_t first = from_environment("VORN_FORMULA_SEED", 1);
  const std::uint64_t count = from_environment("VORN_FORMULAS", kScripts);
  Tally tally;
  for (std::uint64_t seed = first; seed < first + count; ++seed) {
    const Script script = ScriptGenerator(logic, seed).make();
    Session session(tally);
    session.run(script);
    ASSERT_FALSE(::testing::Test::HasFailure())
        << "seed " << seed << ", after:\n"
        << session.text();
  }
  // Were one answer rare, little would be tested.
  if (count >= 200) {
    const std::uint64_t checks = tally.sat + tally.unsat;
    EXPECT_GE(checks, count);
    EXPECT_GT(tally.sat, checks / 5);
    EXPECT_GT(tally.unsat, checks / 5);
    EXPECT_GT(tally.cores, count / 50);
    EXPECT_GT(tally.failed_assumptions, count / 50);
    EXPECT_GT(tally.counters["theory conflicts"], count / 4);
    EXPECT_GT(tally.counters["lemmas used"], count / 100);
  }
}

// Integer difference logic: a wrong verdict, model, value or core.
TEST(BruteForceTest, IntegerScriptsAgreeWithEnumeration) {
  run_scripts(Logic::kIntegers);
}

// Real difference logic: strict bounds and fractions on top.
TEST(BruteForceTest, RealScriptsAgreeWithEnumeration) {
  run_scripts(Logic::kReals);
}

// Both in one script: the two share the graph's zero.
TEST(BruteForceTest, MixedScriptsAgreeWithEnumeration) {
  run_scripts(Logic::kAll);
}

}  // namespace
}  // namespace vorn::bruteforce
