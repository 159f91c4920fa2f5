// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "tests/build_kind.h"
#include "tests/proof/evidence_judge.h"
#include "tests/smtlib/text_session.h"

// Sums of numbers by cases, which are lifted: each contradiction that the
// solver finds has a proof that the checker accepts.

namespace vorn {
namespace {

constexpr std::uint64_t kScripts = test::kSanitized ? 60 : 300;

// Few conditions, in several spellings, so that a sum has some more than once.
class Counts {
 public:
  Counts(std::uint64_t seed, bool is_real)
      : rng_(seed), is_real_(is_real), num_conditions_(2 + pick(5)) {}

  std::string script() {
    std::string text = "(set-option :produce-proofs true)(set-logic ";
    text += is_real_ ? "QF_RDL)\n" : "QF_IDL)\n";
    const std::string sort = is_real_ ? " Real)" : " Int)";
    text += "(declare-const x" + sort + "(declare-const y" + sort;
    for (int k = 0; k < num_conditions_; ++k) {
      text += "(declare-const p" + std::to_string(k) + " Bool)";
    }
    text += '\n';
    for (int k = 0; k < 3; ++k) {
      const std::string comparison = make_comparison();
      text += "(assert " + comparison + ")\n";
    }
    // The last of them once more, in other words, and denied.
    const std::string terms = join(last_parts_, true);
    text += "(push)(assert (not (" + last_relation_ + " (- " + terms + ' ' +
            number(last_limit_ + 2) + ") " + number(-2) +
            ")))\n(check-sat)(get-proof)(pop)";
    return text + "(check-sat)(get-proof)";
  }

 private:
  int pick(int bound) {
    return static_cast<int>(rng_() % static_cast<unsigned>(bound));
  }

  std::string number(int value) const {
    const std::string digits = std::to_string(value < 0 ? -value : value);
    const std::string text = is_real_ ? digits + ".0" : digits;
    return value < 0 ? "(- " + text + ')' : text;
  }

  std::string condition() {
    const std::string p = "p" + std::to_string(pick(num_conditions_));
    switch (pick(8)) {
      case 0:
        return "(not " + p + ')';
      case 1:
        return "(and " + p + " p0)";
      case 2:
        return "(< x y)";
      case 3:
        return "(= false " + p + ')';
      default:
        return p;
    }
  }

  std::string cases(int depth) {
    const auto branch = [&]() -> std::string {
      if (depth > 0 && pick(3) == 0) return cases(depth - 1);
      if (depth > 0 && pick(6) == 0) {
        return "(+ " + number(pick(3)) + ' ' + cases(depth - 1) + ')';
      }
      return number(pick(6) - 2);
    };
    const std::string first = branch();
    return "(ite " + condition() + ' ' + first + ' ' + branch() + ')';
  }

  std::string join(std::vector<std::string> parts, bool turned) {
    if (turned) std::reverse(parts.begin(), parts.end());
    std::string text = "(+";
    for (const std::string& part : parts) text += ' ' + part;
    return text + ')';
  }

  std::string make_comparison() {
    last_parts_.clear();
    const int count = 2 + pick(6);
    for (int k = 0; k < count; ++k) {
      std::string part = cases(pick(3));
      if (pick(3) == 0) part = "(* " + number(pick(5) - 2) + ' ' + part + ')';
      last_parts_.push_back(std::move(part));
    }
    if (pick(2) == 0) {
      last_parts_.insert(last_parts_.begin(), "x");
      if (pick(2) == 0) last_parts_.push_back("(- y)");
    }
    const char* const relations[] = {"<=", "<", ">=", ">", "="};
    last_relation_ = relations[pick(5)];
    last_limit_ = pick(7) - 2;
    return '(' + last_relation_ + ' ' + join(last_parts_, false) + ' ' +
           number(last_limit_) + ')';
  }

  std::mt19937_64 rng_;
  const bool is_real_;
  const int num_conditions_;
  std::vector<std::string> last_parts_;
  std::string last_relation_;
  int last_limit_ = 0;
};

// What is wrong with the answers to a script whose first check has no model.
std::string judge(const std::string& script) {
  bruteforce::EvidenceJudge judge;
  std::string replies = solver::run_text(script);
  if (replies.rfind("unsat\n", 0) != 0) return replies;
  replies.erase(0, 6);
  const std::size_t end = replies.find("\n)\n");
  if (end == std::string::npos) return replies;
  const std::string first =
      judge.proof(script, 1, replies.substr(0, end + 3), "", "");
  if (!first.empty()) return first;
  replies.erase(0, end + 3);
  if (replies.rfind("unsat\n", 0) != 0) return "";
  return judge.proof(script, 2, replies.substr(6), "", "");
}

TEST(CountingProofTest, SumsOfCasesAreProved) {
  for (std::uint64_t seed = 1; seed <= kScripts; ++seed) {
    const std::string script = Counts(seed, seed % 3 == 0).script();
    ASSERT_EQ(judge(script), "") << "seed " << seed << "\n" << script;
  }
}

// More sums than are lifted: they are added up in steps.
TEST(CountingProofTest, LongSumsAreProved) {
  constexpr int kConditions = 500;
  std::string script =
      "(set-option :produce-proofs true)(set-logic QF_IDL)"
      "(declare-const x Int)(declare-const y Int)";
  std::string sum = "(+ x";
  for (int k = 0; k < kConditions; ++k) {
    const std::string name = "p" + std::to_string(k);
    script += "(declare-const " + name + " Bool)(assert " + name + ')';
    sum += " (ite " + name + ' ' + std::to_string(k % 7 + 1) + ' ' +
           std::to_string(k % 3) + ')';
  }
  script += "(assert (<= (- " + sum + ") y) 900))(assert (>= (- x y) 800))";
  EXPECT_EQ(judge(script + "(check-sat)(get-proof)"), "");
}

}  // namespace
}  // namespace vorn
