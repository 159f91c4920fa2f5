// SPDX-License-Identifier: MIT
#include "solver/smtlib/logics.h"

#include <gtest/gtest.h>

#include <string>

namespace vorn::solver {
namespace {

// "i" where there are integers, "r" where there are reals, in brackets what a
// numeral is by itself; "unknown" for no logic.
std::string read(const char* name) {
  const auto arithmetic = arithmetic_of_logic(name);
  if (!arithmetic) return "unknown";
  std::string text;
  if (arithmetic->has_int) text += 'i';
  if (arithmetic->has_real) text += 'r';
  return text + (arithmetic->numeral_sort == Sort::kInt ? "(i)" : "(r)");
}

// A script is refused over its logic's name only if its sorts cannot be had.
TEST(LogicsTest, ArithmeticFollowsFromTheName) {
  for (const char* name :
       {"QF_IDL", "QF_LIA", "QF_NIA", "QF_UFIDL", "QF_UFLIA", "QF_AUFLIA",
        "QF_ALIA", "QF_UFDTLIA", "QF_SLIA", "QF_AUFBVLIA", "QF_UFDTNIA"}) {
    EXPECT_EQ(read(name), "i(i)") << name;
  }
  for (const char* name : {"QF_RDL", "QF_LRA", "QF_NRA", "QF_UFLRA", "QF_FPLRA",
                           "QF_UFNRA", "QF_BVFPLRA"}) {
    EXPECT_EQ(read(name), "r(r)") << name;
  }
  for (const char* name : {"ALL", "QF_LIRA", "QF_NIRA", "QF_AUFLIRA"}) {
    EXPECT_EQ(read(name), "ir(i)") << name;
  }
  for (const char* name : {"QF_UF", "QF_AX", "QF_UFDT", "QF_DT"}) {
    EXPECT_EQ(read(name), "(i)") << name;
  }
}

// Nothing but a guess could be made of these.
TEST(LogicsTest, ArithmeticOfOtherNamesIsUnknown) {
  for (const char* name :
       {"",          "QF_",     "QF",   "qf_lia",  "LIA",
        "UFLRA",     "AUFLIRA", "UF",   "QF_BV",   "QF_ABV",
        "QF_UFBV",   "QF_FP",   "QF_S", "QF_LIAX", "QF_UFA",
        "QF_LIALIA", "QF_HORN", "HORN", "ALLL",    "QF_IDLUF"}) {
    EXPECT_EQ(read(name), "unknown") << name;
  }
}

// Who writes a quantified logic is told which one fits.
TEST(LogicsTest, DescriptionNamesTheLogicWithoutQuantifiers) {
  EXPECT_NE(describe_unknown_logic("UFLRA").find("QF_UFLRA is the same"),
            std::string::npos);
  EXPECT_EQ(describe_unknown_logic("QF_BV").find("quantifiers,"),
            std::string::npos);
}

}  // namespace
}  // namespace vorn::solver
