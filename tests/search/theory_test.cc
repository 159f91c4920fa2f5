// SPDX-License-Identifier: MIT
// Scripted theories: one case of the conversation between search and theory
// each.
#include "solver/search/theory.h"

#include <gtest/gtest.h>

#include <vector>

#include "solver/search/search.h"
#include "tests/search/fake_theory.h"
#include "tests/search/oracle.h"

namespace vorn::solver::testing {
namespace {

using Literals = std::vector<Literal>;

/// A search with a fake theory, and theory variables from 0 on.
class TheoryTest : public ::testing::Test {
 protected:
  TheoryTest() : search_(&theory_) { theory_.attach(&search_); }

  void make_theory_variables(int count) {
    for (int i = 0; i < count; ++i) make_theory_variable();
  }
  int make_theory_variable() {
    const int variable = search_.new_variable(true);
    theory_.watch_variable(variable);
    return variable;
  }
  bool is_true(Literal literal) const {
    return search_.value(literal) == Value::kTrue;
  }

  FakeTheory theory_;
  Search search_;
};

// Theories without conflicts must not disturb plain solving.
TEST_F(TheoryTest, SilentTheorySeesAllTheoryLiterals) {
  make_theory_variables(2);
  const int plain = search_.new_variable();
  search_.add_clause({positive(0)});
  search_.add_clause({negative(0), positive(plain)});
  search_.add_clause({negative(plain), positive(1)});

  ASSERT_EQ(search_.solve(), Search::Result::kSat);

  EXPECT_EQ(theory_.told(), (Literals{positive(0), positive(1)}));
  EXPECT_EQ(theory_.level(), 0);
}

// Advice decides what the theory has an opinion on, and nothing else.
TEST_F(TheoryTest, AdviceIsTakenForDecisions) {
  make_theory_variables(3);
  ASSERT_EQ(search_.solve({positive(1), positive(2)}), Search::Result::kSat);
  // Now the values that these two had last are true.
  theory_.advice = {{0, true}, {1, false}};

  ASSERT_EQ(search_.solve(), Search::Result::kSat);

  EXPECT_TRUE(search_.model_value(positive(0)));
  EXPECT_TRUE(search_.model_value(negative(1)));
  EXPECT_TRUE(search_.model_value(positive(2)));
}

// A theory without any model may say so without a literal.
TEST_F(TheoryTest, EmptyConflictIsUnsat) {
  theory_.on_propagate = [](Literals&, Literals&) { return false; };

  EXPECT_EQ(search_.solve(), Search::Result::kUnsat);
  EXPECT_FALSE(search_.is_consistent());
}

// A conflict of level-0 literals holds without any assumption.
TEST_F(TheoryTest, ConflictAtLevelZeroIsUnsat) {
  make_theory_variables(2);
  search_.add_clause({positive(0)});
  search_.add_clause({positive(1)});
  theory_.on_propagate = [this](Literals&, Literals& conflict) {
    if (!is_true(positive(0)) || !is_true(positive(1))) return true;
    conflict = {negative(0), negative(1), negative(0)};
    return false;
  };

  EXPECT_EQ(search_.solve({positive(0)}), Search::Result::kUnsat);
  EXPECT_TRUE(search_.failed_assumptions().empty());
  EXPECT_EQ(search_.statistics().theory_conflicts, 1U);
}

// The theory may find late that lower levels clash: the search must go back to
// them first. All literals repeat.
TEST_F(TheoryTest, ConflictBelowCurrentLevelBackjumps) {
  make_theory_variables(6);
  bool reported = false;
  theory_.on_propagate = [&](Literals&, Literals& conflict) {
    if (theory_.level() < 5 || reported) return true;
    reported = true;
    conflict = {negative(0), negative(1), negative(1), negative(0)};
    return false;
  };
  theory_.on_next_lemma = [&](Literals&) {
    EXPECT_EQ(search_.level(), 1);
    EXPECT_TRUE(is_true(negative(1))) << "implied by the conflict";
    return false;
  };

  Literals assumptions;
  for (int i = 0; i < 5; ++i) assumptions.push_back(positive(i));
  EXPECT_EQ(search_.solve(assumptions), Search::Result::kUnsat);

  EXPECT_TRUE(reported);
  expect_core(search_, {{negative(0), negative(1)}}, assumptions);
  EXPECT_TRUE(search_.is_consistent());
}

// A conflict of one repeated literal is a unit, to be learnt at level 0.
TEST_F(TheoryTest, ConflictOfOneLiteralBecomesUnit) {
  make_theory_variables(3);
  theory_.on_propagate = [&](Literals&, Literals& conflict) {
    if (!is_true(positive(1))) return true;
    conflict = {negative(1), negative(1)};
    return false;
  };

  EXPECT_EQ(search_.solve({positive(0), positive(1)}), Search::Result::kUnsat);

  EXPECT_EQ(search_.failed_assumptions(), Literals{positive(1)});
  EXPECT_EQ(search_.value(positive(1)), Value::kFalse);
}

// Reasons are asked for only when a conflict needs them.
TEST_F(TheoryTest, ImpliedLiteralIsExplainedOnlyInConflicts) {
  make_theory_variables(3);
  search_.add_clause({negative(1), negative(2)});
  int explained = 0;
  theory_.on_propagate = [&](Literals& implied, Literals&) {
    if (is_true(positive(0)) && !is_true(positive(1))) {
      // Twice, which is allowed.
      implied = {positive(1), positive(1)};
    }
    return true;
  };
  theory_.on_explain = [&](Literal literal, Literals& reason) {
    ++explained;
    reason = {literal, negative(0), negative(0)};
  };

  ASSERT_EQ(search_.solve({positive(0)}), Search::Result::kSat);
  EXPECT_EQ(explained, 0);
  EXPECT_TRUE(search_.model_value(positive(1)));
  EXPECT_TRUE(search_.model_value(negative(2)));

  ASSERT_EQ(search_.solve({positive(0), positive(2)}), Search::Result::kUnsat);
  EXPECT_EQ(explained, 1);
  expect_core(search_, {{negative(0), positive(1)}, {negative(1), negative(2)}},
              {positive(0), positive(2)});
  EXPECT_EQ(search_.statistics().theory_propagations, 2U);
}

// Both signs implied at once: the second one's reason is a conflict.
TEST_F(TheoryTest, OppositeImpliedLiteralsAreAConflict) {
  make_theory_variables(3);
  theory_.on_propagate = [&](Literals& implied, Literals&) {
    if (is_true(positive(0)) && is_true(positive(1)) &&
        search_.value(positive(2)) == Value::kUnassigned) {
      implied = {positive(2), negative(2)};
    }
    return true;
  };
  theory_.on_explain = [&](Literal literal, Literals& reason) {
    reason = {literal, literal.is_negated() ? negative(1) : negative(0)};
  };

  EXPECT_EQ(search_.solve({positive(0), positive(1)}), Search::Result::kUnsat);

  expect_core(search_, {{negative(0), positive(2)}, {negative(1), negative(2)}},
              {positive(0), positive(1)});
}

// At level 0 no reason is needed to see that there is no model.
TEST_F(TheoryTest, OppositeImpliedLiteralsAtLevelZeroAreUnsat) {
  make_theory_variables(1);
  theory_.on_propagate = [&](Literals& implied, Literals&) {
    implied = {positive(0), negative(0)};
    return true;
  };

  EXPECT_EQ(search_.solve(), Search::Result::kUnsat);
  EXPECT_FALSE(search_.is_consistent());
  EXPECT_EQ(search_.statistics().theory_explanations, 0U);
}

// Level-0 consequences are facts; their reasons are never needed.
TEST_F(TheoryTest, ImpliedLiteralAtLevelZeroIsAFact) {
  make_theory_variables(2);
  search_.add_clause({positive(0)});
  theory_.on_propagate = [&](Literals& implied, Literals&) {
    if (!is_true(positive(1))) implied = {positive(1)};
    return true;
  };

  EXPECT_EQ(search_.solve({negative(1)}), Search::Result::kUnsat);

  EXPECT_EQ(search_.failed_assumptions(), Literals{negative(1)});
  EXPECT_EQ(search_.value(positive(1)), Value::kTrue);
}

// A theory may leave all checking to the end.
TEST_F(TheoryTest, FinalCheckConflictGoesOnSearching) {
  make_theory_variables(4);
  theory_.on_final_check = [&](Literals& conflict) {
    // Accepts only the assignment with all variables true.
    for (int i = 0; i < 4; ++i) {
      if (!is_true(positive(i))) conflict.push_back(positive(i));
    }
    return conflict.empty();
  };

  ASSERT_EQ(search_.solve(), Search::Result::kSat);

  for (int i = 0; i < 4; ++i) EXPECT_TRUE(search_.model_value(positive(i)));
}

/// Runs a search into one theory conflict at level 3 that backjumps to level
/// 2, with variables 0, 1, 2 true there and 3 false, and hands out `lemmas`.
class LemmaTest : public TheoryTest {
 protected:
  Search::Result run(const std::vector<Literals>& lemmas) {
    make_theory_variables(8);
    // Variable 1 is true at level 2 together with 2.
    search_.add_clause({negative(1), positive(2)});
    bool reported = false;
    std::size_t next = 0;
    theory_.on_propagate = [&](Literals&, Literals& conflict) {
      if (!is_true(positive(3)) || reported) return true;
      reported = true;
      conflict = {negative(1), negative(3)};
      return false;
    };
    theory_.on_next_lemma = [&](Literals& clause) {
      if (next == 0) {
        EXPECT_EQ(search_.level(), 2);
      }
      levels_.push_back(search_.level());
      if (next == lemmas.size()) return false;
      clause = lemmas[next++];
      return true;
    };
    const Search::Result result =
        search_.solve({positive(0), positive(1), positive(3)});
    EXPECT_EQ(search_.level(), 0);
    search_.check_invariants();
    return result;
  }

  std::vector<int> levels_;  // at each call of next_lemma
};

// A tautology must not be stored, nor end the lemmas.
TEST_F(LemmaTest, UselessLemmasAreSkipped) {
  run({{positive(4), negative(4)}, {positive(4), positive(4), negative(4)}});

  EXPECT_EQ(levels_, (std::vector<int>{2, 2, 2}));
  EXPECT_EQ(search_.statistics().lemmas, 0U);
}

// A unit holds at level 0, wherever it arrives.
TEST_F(LemmaTest, UnitLemmaGoesToLevelZero) {
  run({{positive(5), positive(5)}});

  EXPECT_EQ(levels_, (std::vector<int>{2, 0}));
  EXPECT_EQ(search_.value(positive(5)), Value::kTrue);
}

// A unit against the current assignment corrects it for good.
TEST_F(LemmaTest, FalseUnitLemmaGoesToLevelZero) {
  run({{negative(1)}});

  EXPECT_EQ(levels_, (std::vector<int>{2, 0}));
  EXPECT_EQ(search_.value(negative(1)), Value::kTrue);
  EXPECT_EQ(search_.failed_assumptions(), Literals{positive(1)});
}

// Two units that contradict each other leave nothing.
TEST_F(LemmaTest, OppositeUnitLemmasAreUnsat) {
  EXPECT_EQ(run({{positive(5)}, {negative(5)}}), Search::Result::kUnsat);

  EXPECT_FALSE(search_.is_consistent());
  EXPECT_TRUE(search_.failed_assumptions().empty());
}

// The theory may find by itself that there is no model.
TEST_F(LemmaTest, EmptyLemmaIsUnsat) {
  EXPECT_EQ(run({{}}), Search::Result::kUnsat);

  EXPECT_FALSE(search_.is_consistent());
}

// A clause that would have implied a literal earlier does so there.
TEST_F(LemmaTest, ImplyingLemmaGoesToItsLevel) {
  run({{positive(6), negative(0)}});

  EXPECT_EQ(levels_, (std::vector<int>{2, 1}));
}

// Going back further than needed would throw away work.
TEST_F(LemmaTest, ImplyingLemmaAtCurrentLevelStays) {
  run({{positive(6), negative(0), negative(1)}});

  EXPECT_EQ(levels_, (std::vector<int>{2, 2}));
}

// True now, but would have been implied at a lower level.
TEST_F(LemmaTest, LemmaTrueTooLateGoesToItsLevel) {
  run({{positive(1), negative(0)}});

  EXPECT_EQ(levels_, (std::vector<int>{2, 1}));
}

// A lemma that changes nothing must not cost levels.
TEST_F(LemmaTest, LemmaTrueInTimeStays) {
  run({{positive(0), negative(1)}});

  EXPECT_EQ(levels_, (std::vector<int>{2, 2}));
}

// One literal of the highest level: the lemma implies its opposite below.
TEST_F(LemmaTest, FalseLemmaWithOneTopLiteralBackjumps) {
  EXPECT_EQ(run({{negative(0), negative(1)}}), Search::Result::kUnsat);

  EXPECT_EQ(levels_, (std::vector<int>{2, 1}));
  expect_core(search_, {{negative(0), negative(1)}},
              {positive(0), positive(1), positive(3)});
}

// Several literals of the highest level: a conflict of its own; the lemmas go
// on after it.
TEST_F(LemmaTest, FalseLemmaWithTwoTopLiteralsIsAnalysed) {
  EXPECT_EQ(run({{negative(1), negative(2)}, {positive(7)}}),
            Search::Result::kUnsat);

  EXPECT_EQ(levels_, (std::vector<int>{2, 0, 0}));
  EXPECT_EQ(search_.failed_assumptions(), Literals{positive(1)});
  EXPECT_EQ(search_.value(positive(7)), Value::kTrue);
}

// Lemmas may need terms that the problem does not have.
TEST_F(TheoryTest, LemmaMayMakeVariables) {
  make_theory_variables(3);
  int fresh = -1;
  int calls = 0;
  theory_.on_propagate = [&](Literals&, Literals& conflict) {
    if (!is_true(positive(1)) || calls > 0) return true;
    conflict = {negative(0), negative(1)};
    return false;
  };
  theory_.on_next_lemma = [&](Literals& clause) {
    ++calls;
    if (calls == 1) {
      EXPECT_EQ(search_.level(), 1);
      fresh = make_theory_variable();
      for (int i = 0; i < 100; ++i) make_theory_variable();
      clause = {negative(0), positive(fresh)};
      return true;
    }
    return false;
  };

  EXPECT_EQ(search_.solve({positive(0), positive(1)}), Search::Result::kUnsat);
  EXPECT_EQ(search_.num_variables(), 104);
  EXPECT_EQ(search_.solve({positive(0), negative(fresh)}),
            Search::Result::kUnsat);
  ASSERT_EQ(search_.solve({positive(0)}), Search::Result::kSat);
  EXPECT_TRUE(search_.model_value(positive(fresh)));
  search_.check_invariants();
}

// The theory starts over with what is still known.
TEST_F(TheoryTest, ShrinkVariablesTellsKeptLiteralsAgain) {
  make_theory_variables(4);
  search_.add_clause({positive(3)});
  search_.add_clause({positive(1)});
  search_.add_clause({negative(0)});
  ASSERT_EQ(search_.solve(), Search::Result::kSat);
  ASSERT_EQ(theory_.told().size(), 3U);

  search_.shrink_variables(2);
  EXPECT_EQ(theory_.num_retracted(), 3);
  EXPECT_TRUE(theory_.told().empty());
  theory_.forget_variables(2);
  ASSERT_EQ(search_.solve(), Search::Result::kSat);

  EXPECT_EQ(theory_.told(), (Literals{positive(1), negative(0)}));
}

// What a mark has seen costs nothing, however much it is.
TEST_F(TheoryTest, ShrinkVariablesToMarkTakesBackWhatCameSince) {
  make_theory_variables(4);
  search_.add_clause({positive(3)});
  search_.add_clause({positive(1)});
  ASSERT_EQ(search_.solve(), Search::Result::kSat);
  ASSERT_EQ(search_.mark(), 4U);
  make_theory_variables(3);
  search_.add_clause({positive(5)});
  search_.add_clause({negative(0)});
  search_.add_clause({negative(6)});
  ASSERT_EQ(search_.solve(), Search::Result::kSat);
  ASSERT_EQ(theory_.told().size(), 5U);

  search_.shrink_variables(4);

  EXPECT_EQ(theory_.num_retracted(), 3);
  EXPECT_EQ(theory_.told(), (Literals{positive(3), positive(1)}));
  theory_.forget_variables(4);
  ASSERT_EQ(search_.solve(), Search::Result::kSat);
  EXPECT_EQ(theory_.told(), (Literals{positive(3), positive(1), negative(0)}));
  search_.check_invariants();
}

// Numbers of what the theory knows may change without anything being forgotten.
TEST_F(TheoryTest, RetellTheoryTellsAllAgain) {
  make_theory_variables(2);
  search_.add_clause({positive(1)});
  ASSERT_EQ(search_.solve(), Search::Result::kSat);

  search_.retell_theory();

  EXPECT_EQ(theory_.num_full_resets(), 1);
  ASSERT_EQ(search_.solve(), Search::Result::kSat);
  EXPECT_EQ(theory_.told(), Literals{positive(1)});
}

// Empty levels of assumptions that are true already count for the theory, too.
TEST_F(TheoryTest, TrueAssumptionsOpenLevels) {
  make_theory_variables(3);
  search_.add_clause({negative(0), positive(1)});
  int deepest = 0;
  theory_.on_propagate = [&](Literals&, Literals&) {
    deepest = std::max(deepest, theory_.level());
    EXPECT_EQ(theory_.level(), search_.level());
    return true;
  };

  ASSERT_EQ(search_.solve({positive(0), positive(1), positive(0), positive(2)}),
            Search::Result::kSat);

  EXPECT_EQ(deepest, 4);
}

}  // namespace
}  // namespace vorn::solver::testing
