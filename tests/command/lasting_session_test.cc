// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <functional>
#include <ostream>
#include <string>

#include "tests/build_kind.h"
#include "tests/command/scripts.h"

// Sessions of many rounds, each with things of its own: what a round leaves
// behind must not be there for good.

namespace vorn::command {
namespace {

struct Rounds {
  const char* name;
  /// Writes what all rounds share, and round k.
  void (*write_start)(std::ostream& out);
  void (*write_round)(std::ostream& out, int k);
};

std::ostream& operator<<(std::ostream& out, const Rounds& rounds) {
  return out << rounds.name;
}

constexpr int kVariables = 20;

/// What may come on top later. In builds with assertions the clauses that were
/// found right are kept for a while, to check others by.
constexpr double kMoreMebibytes = test::kAsserts ? 6 : 1;

void write_variables(std::ostream& out) {
  for (int i = 0; i < kVariables; ++i) {
    out << "(declare-const x" << i << " Int)";
  }
  for (int i = 1; i < kVariables; ++i) {
    out << "(assert (< x" << i - 1 << " x" << i << "))";
  }
}

// Scattered over the variables, no two the same for long.
int first_of(int k) {
  return k * 7 % kVariables;
}
int second_of(int k) {
  return (first_of(k) + 1 + k % (kVariables - 1)) % kVariables;
}

void write_bound(std::ostream& out, int k) {
  out << "(<= (- x" << first_of(k) << " x" << second_of(k) << ") " << 50 + k
      << ")";
}

const Rounds kKindsOfRounds[] = {
    {"new variables", write_variables,
     [](std::ostream& out, int k) {
       out << "(push 1)(declare-const n" << k << " Int)(assert (<= (- x0 n" << k
           << ") 3))(assert (< n" << k << " x1))(check-sat)(pop 1)\n";
     }},
    {"new constants", write_variables,
     [](std::ostream& out, int k) {
       out << "(push 1)(assert ";
       write_bound(out, k);
       out << ")(check-sat)(pop 1)\n";
     }},
    {"disjunctions", write_variables,
     [](std::ostream& out, int k) {
       out << "(push 1)(assert (and";
       for (int part = 0; part < 3; ++part) {
         out << " (or ";
         write_bound(out, 6 * k + 2 * part);
         write_bound(out, 6 * k + 2 * part + 1);
         out << ")";
       }
       out << "))(check-sat)(get-value ((+ x0 " << k << ")))(pop 1)\n";
     }},
    {"definitions", write_variables,
     [](std::ostream& out, int k) {
       out << "(push 1)(declare-const p" << k << " Bool)(define-fun f" << k
           << " ((a Int) (b Int)) Bool (<= (- a b) " << k << "))(assert (! (= p"
           << k << " (f" << k << " x0 x1)) :named a" << k
           << "))(check-sat)(get-assignment)(pop 1)\n";
     }},
    {"assumptions", write_variables,
     [](std::ostream& out, int k) {
       out << "(check-sat-assuming (";
       write_bound(out, k);
       out << "))\n";
     }},
    {"errors", write_variables,
     [](std::ostream& out, int k) {
       out << "(assert (<= x0 (+ " << k << " nothing)))(push 1)(assert ";
       write_bound(out, k);
       out << ")(pop 1)\n";
     }},
};

class LastingSessionTest : public ::testing::TestWithParam<Rounds> {
 protected:
  void SetUp() override {
    if (test::kSanitized) GTEST_SKIP() << "sanitizers keep what is freed";
  }

  static Ended run_rounds(int count) {
    const Rounds& rounds = GetParam();
    const ScriptFile script([&rounds, count](std::ostream& out) {
      out << "(set-option :produce-assignments true)(set-logic QF_IDL)\n";
      rounds.write_start(out);
      for (int k = 0; k < count; ++k) rounds.write_round(out, k);
      out << "(echo \"done\")\n";
    });
    const Ended ended = run({script.name()});
    EXPECT_NE(ended.output.find("\"done\""), std::string::npos);
    return ended;
  }
};

// A client that asks all day long must not be the one that ends for lack of
// memory.
TEST_P(LastingSessionTest, MemoryStaysWhatItIsAfterTheFirstRounds) {
  const double before = run_rounds(2000).peak_mebibytes;
  const double after = run_rounds(20000).peak_mebibytes;

  EXPECT_LT(after, before + kMoreMebibytes);
}

INSTANTIATE_TEST_SUITE_P(Rounds, LastingSessionTest,
                         ::testing::ValuesIn(kKindsOfRounds),
                         [](const ::testing::TestParamInfo<Rounds>& kind) {
                           std::string name = kind.param.name;
                           for (char& c : name) c = c == ' ' ? '_' : c;
                           return name;
                         });

}  // namespace
}  // namespace vorn::command
