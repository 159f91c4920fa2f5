// SPDX-License-Identifier: MIT
//
//   dump_scripts FIRST COUNT
//
// Writes random scripts, of the seeds from FIRST on, as JSON, a script a line,
// with the answers that enumeration gives, for test_scripts.py. A step is an
// array that begins with what it is; a term [function, sort, argument ...],
// where a variable has its number for an argument and a number its text.

#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

#include "tests/bruteforce/decision.h"
#include "tests/bruteforce/formula.h"
#include "tests/bruteforce/script_generator.h"
#include "tests/c/account.h"

namespace {

using vorn::bruteforce::Formula;
using vorn::bruteforce::Logic;
using vorn::bruteforce::Op;
using vorn::bruteforce::Optimum;
using vorn::bruteforce::Step;

constexpr std::uint64_t kMostStates = 1000;

std::string term(const Formula& node) {
  std::string text = "[" + std::to_string(static_cast<int>(node->op)) + ',' +
                     std::to_string(static_cast<int>(node->sort));
  if (node->op == Op::kVariable) text += ',' + std::to_string(node->index);
  if (node->op == Op::kNumber) text += ",\"" + node->value.get_str() + '"';
  for (const Formula& arg : node->args) text += ',' + term(arg);
  return text + ']';
}

std::string optimum(const Optimum& value) {
  return '[' + std::to_string(value.infinity) + ",\"" + value.value.get_str() +
         "\"," + std::to_string(value.side) + ']';
}

template <class List, class Write>
std::string list(const List& items, const Write& write) {
  std::string text = "[";
  for (const auto& item : items) {
    if (text.size() > 1) text += ',';
    text += write(item);
  }
  return text + ']';
}

std::string check(const Step& step, const vorn::test::Account& account) {
  const auto meaning = [](const auto& written) {
    return term(written.meaning);
  };
  std::vector<Formula> formulas = account.formulas();
  for (const auto& one : step.assumptions) formulas.push_back(one.meaning);
  const std::optional<bool> expected =
      vorn::bruteforce::is_satisfiable_within(formulas, kMostStates);
  std::string optima = "null";
  if (expected == true && account.has_objectives()) {
    const auto found = vorn::bruteforce::find_optima(
        formulas, account.objectives(), kMostStates);
    if (found) optima = list(*found, optimum);
  }
  return "[\"check\"," + list(step.assumptions, meaning) + ',' +
         list(step.queries, meaning) + ',' +
         (!expected   ? "null"
          : *expected ? "true"
                      : "false") +
         ',' + optima + ']';
}

// Names of the scripts have neither quotes nor backslashes.
std::string write(const Step& step, const vorn::test::Account& account) {
  switch (step.kind) {
    case Step::Kind::kSilent:
      return "[\"silent\"]";
    case Step::Kind::kDeclare:
      return "[\"declare\"," + term(step.variable.meaning) + ']';
    case Step::Kind::kAssert:
      return "[\"assert\"," + term(step.formula) + ",\"" + step.label + "\"]";
    case Step::Kind::kPush:
      return "[\"push\"," + std::to_string(step.count) + ']';
    case Step::Kind::kPop:
      return "[\"pop\"," + std::to_string(step.count) + ']';
    case Step::Kind::kObjective:
      return "[\"objective\"," + term(step.objective.meaning) +
             (step.is_maximised ? ",true,\"" : ",false,\"") +
             step.weight.get_str() + "\",\"" + step.group + "\"]";
    case Step::Kind::kCheck:
      break;
  }
  return check(step, account);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  const std::uint64_t first = std::strtoull(argv[1], nullptr, 10);
  const std::uint64_t count = std::strtoull(argv[2], nullptr, 10);
  constexpr Logic kLogics[] = {Logic::kIntegers, Logic::kReals, Logic::kAll};
  for (std::uint64_t seed = first; seed < first + count; ++seed) {
    vorn::bruteforce::ScriptGenerator generator(kLogics[seed % 3], seed);
    if (seed % 2 == 0) generator.want_objectives();
    vorn::test::Account account;
    std::cout << list(generator.make().steps, [&account](const Step& step) {
      const std::string text = write(step, account);
      account.run(step);
      return text;
    }) << '\n';
  }
}
