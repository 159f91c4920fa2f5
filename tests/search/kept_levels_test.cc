// SPDX-License-Identifier: MIT
// Levels that stay open from solve to solve, while scopes come and go.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "solver/search/clause_gate.h"
#include "solver/search/search.h"
#include "tests/search/cardinality_theory.h"
#include "tests/search/oracle.h"

namespace vorn::solver::testing {
namespace {

/// The assignments of so many variables that satisfy some clauses, by trying
/// all, a word of them at a time.
class Assignments {
 public:
  explicit Assignments(int num_variables)
      : words_(
            std::size_t{1} << std::max(0, num_variables - 6),
            num_variables < 6 ? (kOne << (1 << num_variables)) - 1 : ~kNone) {}

  void require(const Literals& clause) {
    for (std::size_t n = 0; n < words_.size(); ++n) {
      std::uint64_t satisfied = kNone;
      for (const Literal literal : clause) satisfied |= word_of(literal, n);
      words_[n] &= satisfied;
    }
  }
  bool is_empty() const {
    return std::count(words_.begin(), words_.end(), kNone) ==
           static_cast<std::ptrdiff_t>(words_.size());
  }
  /// Whether the literal is true in each of them.
  bool imply(Literal literal) const {
    for (std::size_t n = 0; n < words_.size(); ++n) {
      if ((words_[n] & word_of(~literal, n)) != 0) return false;
    }
    return true;
  }

 private:
  static constexpr std::uint64_t kNone = 0;
  static constexpr std::uint64_t kOne = 1;

  static std::uint64_t word_of(Literal literal, std::size_t n) {
    static constexpr std::uint64_t kPatterns[] = {
        0xAAAAAAAAAAAAAAAA, 0xCCCCCCCCCCCCCCCC, 0xF0F0F0F0F0F0F0F0,
        0xFF00FF00FF00FF00, 0xFFFF0000FFFF0000, 0xFFFFFFFF00000000};
    const auto variable = static_cast<std::size_t>(literal.variable());
    const std::uint64_t is_true = variable < 6 ? kPatterns[variable]
                                  : (n >> (variable - 6) & 1U) != 0 ? ~kNone
                                                                    : kNone;
    return literal.is_negated() ? ~is_true : is_true;
  }

  std::vector<std::uint64_t> words_;
};

/// Checks each clause that the search derives, by unit propagation.
class Proof final : public ClauseListener {
 public:
  void added(ClauseNumber number, const Literals& clause,
             ClauseOrigin /*origin*/) override {
    clauses_[number] = clause;
  }
  void derived(ClauseNumber number, const Literals& clause,
               const std::vector<ClauseNumber>& premises) override {
    EXPECT_TRUE(follows(clause, premises));
    clauses_[number] = clause;
  }
  void forgotten(ClauseNumber number) override {
    EXPECT_EQ(clauses_.erase(number), 1U);
  }
  void shrunk(int /*num_variables*/) override {}

  const Literals& clause(ClauseNumber number) const {
    return clauses_.at(number);
  }

 private:
  bool follows(const Literals& clause,
               const std::vector<ClauseNumber>& premises) const {
    Literals fallen = clause;
    for (const ClauseNumber number : premises) {
      const auto premise = clauses_.find(number);
      if (premise == clauses_.end()) return false;
      Literals left;
      for (const Literal literal : premise->second) {
        if (std::count(fallen.begin(), fallen.end(), literal) == 0 &&
            std::count(left.begin(), left.end(), literal) == 0) {
          left.push_back(literal);
        }
      }
      if (left.empty()) return number == premises.back();
      if (left.size() > 1) return false;
      fallen.push_back(~left[0]);
    }
    return false;
  }

  std::map<ClauseNumber, Literals> clauses_;
};

/// A search in which scopes come and go at random while levels are kept, and
/// what there is to know about it.
///
/// Clauses have the negated selector of a scope, or define a variable. A group
/// of the theory may go with a scope, too, so it must not say anything about
/// the older variables alone: it wants free variables of its last scope false,
/// and its limit is how many others it has.
class ScopedSearch {
 public:
  ScopedSearch(std::uint64_t seed, bool has_theory) : random_(seed) {
    const SearchOptions options = random_options(random_);
    if (has_theory) {
      theory_ = std::make_unique<CardinalityTheory>(
          random_.next(), random_.below(3) * 0.4, random_.below(3) * 0.5,
          options);
      theory_->set_most_variables(kMostVariables);
    } else {
      alone_ = std::make_unique<Search>(nullptr, options);
      if (is_chance(3)) {
        proof_ = std::make_unique<Proof>();
        alone_->set_listener(proof_.get());
      }
    }
    scopes_.push_back({0, Literal(), {}});
    for (int k = 2 + random_.below(4); k > 0; --k) new_variable(Kind::kFree);
  }

  const Search& search() const { return theory_ ? theory_->search() : *alone_; }
  Search& search() { return theory_ ? theory_->search() : *alone_; }

  /// How many solves went on from levels of the one before.
  int num_continued() const { return num_continued_; }
  /// How many times levels outlived a scope.
  int num_survived() const { return num_survived_; }

  void step() {
    const std::size_t num_scopes = scopes_.size();
    change();
    check_state();
    if (::testing::Test::HasFailure() || !search().is_consistent()) return;
    if (scopes_.size() < num_scopes && search().level() > 0) ++num_survived_;
    if (is_chance(3)) return;
    solve();
    check_state();
  }

 private:
  static constexpr int kMostScopes = 5;
  static constexpr int kMostVariables = 14;

  enum class Kind { kFree, kSelector, kDefined };

  struct Scope {
    int num_variables;  // before it
    Literal selector;   // undefined for the outermost
    Clauses clauses;
  };

  bool is_chance(int one_in) { return random_.below(one_in) == 0; }
  int num_variables() const { return search().num_variables(); }
  bool has_room() const { return num_variables() < kMostVariables - 2; }
  Kind kind_of(int variable) const {
    // Lemmas make variables that follow others.
    const auto found = kinds_.find(variable);
    return found == kinds_.end() ? Kind::kDefined : found->second;
  }

  int new_variable(Kind kind) {
    const bool is_plain = theory_ == nullptr || is_chance(4);
    const int result =
        is_plain ? search().new_variable() : theory_->new_variable();
    kinds_[result] = kind;
    if (!is_plain) theory_variables_.push_back(result);
    return result;
  }

  /// What must be true whatever is assumed.
  Clauses live_clauses() const {
    Clauses result = theory_ ? theory_->clauses() : Clauses();
    for (const Scope& scope : scopes_) {
      result.insert(result.end(), scope.clauses.begin(), scope.clauses.end());
    }
    return result;
  }
  Assignments live_assignments() const {
    Assignments result(num_variables());
    for (const Literals& clause : live_clauses()) result.require(clause);
    return result;
  }

  void change() {
    switch (random_.below(11)) {
      case 0:
      case 1:
        push();
        break;
      case 2:
        pop();
        break;
      case 3:
        define();
        break;
      case 4:
        if (has_room()) new_variable(Kind::kFree);
        break;
      case 5:
        add_group();
        break;
      case 6:
        // Again where there is one, or where no scope begins.
        search().mark();
        break;
      case 7:
        if (is_chance(4)) interrupt();
        break;
      default:
        for (int k = 1 + random_.below(3); k > 0; --k) add_random_clause();
        break;
    }
  }

  void push() {
    if (scopes_.size() == kMostScopes || !has_room()) return;
    const int before = num_variables();
    // Without a mark there is more to look at, and no other outcome.
    if (!is_chance(4)) {
      ASSERT_EQ(search().mark(), static_cast<std::size_t>(before));
    }
    scopes_.push_back({before, positive(new_variable(Kind::kSelector)), {}});
    if (has_room()) new_variable(Kind::kFree);
  }

  void pop() {
    int count = num_variables();
    // Sometimes more than one at a time.
    do {
      if (scopes_.size() == 1) break;
      count = scopes_.back().num_variables;
      scopes_.pop_back();
    } while (is_chance(3));
    if (theory_) {
      theory_->shrink(count);
    } else {
      search().rollback(static_cast<std::size_t>(count));
    }
    kinds_.erase(kinds_.lower_bound(count), kinds_.end());
    theory_variables_.erase(
        std::remove_if(theory_variables_.begin(), theory_variables_.end(),
                       [count](int variable) { return variable >= count; }),
        theory_variables_.end());
  }

  /// A new variable that is true exactly when one of some literals is.
  void define() {
    if (!has_room()) return;
    const Literals literals =
        random_literals(num_variables(), 1 + random_.below(3));
    const Literal name = positive(new_variable(Kind::kDefined));
    Literals clause = literals;
    clause.push_back(~name);
    add(scopes_.back(), clause);
    for (const Literal literal : literals)
      add(scopes_.back(), {name, ~literal});
  }

  void add_group() {
    if (!theory_) return;
    std::vector<int> variables;
    for (const int variable : theory_variables_) {
      if (kind_of(variable) != Kind::kSelector && is_chance(2)) {
        variables.push_back(variable);
      }
    }
    if (variables.empty()) return;
    const auto scope = std::find_if(
        scopes_.rbegin(), scopes_.rend(), [&](const Scope& candidate) {
          return candidate.num_variables <= variables.back();
        });
    const bool is_outermost = scope->num_variables == 0;
    Group group;
    int num_others = 0;
    for (const int variable : variables) {
      const bool is_free =
          kind_of(variable) == Kind::kFree && variable >= scope->num_variables;
      const bool is_any = is_outermost || !is_free;
      group.literals.emplace_back(variable, is_any && is_chance(2));
      if (!is_free) ++num_others;
    }
    group.limit = is_outermost ? 1 : num_others;
    const int size = static_cast<int>(group.literals.size());
    if (group.limit < size) theory_->add_group(group);
  }

  /// What goes on between solves, too.
  void interrupt() {
    switch (random_.below(3)) {
      case 0:
        search().leave_levels();
        EXPECT_EQ(search().level(), 0);
        break;
      case 1:
        search().retell_theory();
        EXPECT_EQ(search().level(), 0);
        break;
      default: {
        const Literals assumptions = random_assumptions();
        if (search().look_ahead(assumptions)) break;
        Assignments found = live_assignments();
        for (const Literal literal : assumptions) found.require({literal});
        EXPECT_TRUE(found.is_empty());
        break;
      }
    }
  }

  /// Over variables below `end` that are no selectors; those that are assigned
  /// are often true, or often false.
  Literals random_literals(int end, int size) {
    std::vector<int> variables;
    std::vector<int> assigned;
    for (int variable = 0; variable < end; ++variable) {
      if (kind_of(variable) == Kind::kSelector) continue;
      variables.push_back(variable);
      if (search().value(positive(variable)) != Value::kUnassigned) {
        assigned.push_back(variable);
      }
    }
    const std::vector<int>& some =
        assigned.empty() || is_chance(2) ? variables : assigned;
    const int taste = random_.below(4);
    Literals result;
    for (int k = 0; k < size && !variables.empty(); ++k) {
      const std::vector<int>& all = is_chance(3) ? variables : some;
      Literal literal(all[static_cast<std::size_t>(
                          random_.below(static_cast<int>(all.size())))],
                      is_chance(2));
      const Value unwanted = taste == 0 ? Value::kTrue : Value::kFalse;
      if (taste < 3 && search().value(literal) == unwanted) literal = ~literal;
      const bool is_new =
          std::none_of(result.begin(), result.end(), [&](Literal other) {
            return other.variable() == literal.variable();
          });
      if (is_new) result.push_back(literal);
    }
    return result;
  }

  void add_random_clause() {
    // Mostly for the innermost scope. Those for others outlive it.
    std::size_t n = scopes_.size() - 1;
    if (is_chance(5)) {
      n = static_cast<std::size_t>(
          random_.below(static_cast<int>(scopes_.size())));
    }
    const int end =
        n + 1 < scopes_.size() ? scopes_[n + 1].num_variables : num_variables();
    const int least = n == 0 && !is_chance(8) ? 2 : 1;
    Literals clause = random_literals(end, least + random_.below(3));
    if (clause.empty()) return;
    if (is_chance(10)) clause.push_back(clause.front());
    if (is_chance(20)) clause.push_back(~clause.front());
    if (n > 0) clause.push_back(~scopes_[n].selector);
    add(scopes_[n], clause);
  }

  void add(Scope& scope, const Literals& clause) {
    const bool is_consistent = search().add_clause(clause);
    scope.clauses.push_back(clause);
    ASSERT_EQ(is_consistent, search().is_consistent());
    if (clause.size() == 1 && is_consistent) {
      EXPECT_EQ(search().fixed_value(clause[0]), Value::kTrue);
    }
  }

  /// The selectors in front, mostly.
  Literals random_assumptions() {
    Literals result;
    for (const Scope& scope : scopes_) {
      if (scope.selector.is_defined()) result.push_back(scope.selector);
    }
    const Literals more = random_literals(num_variables(), random_.below(4));
    if (is_chance(8)) {
      result.insert(result.begin(), more.begin(), more.end());
    } else {
      result.insert(result.end(), more.begin(), more.end());
    }
    if (is_chance(8) && !result.empty()) {
      // One left out, twice, or the other way round.
      const auto one =
          result.begin() + random_.below(static_cast<int>(result.size()));
      switch (random_.below(3)) {
        case 0:
          result.erase(one);
          break;
        case 1:
          result.push_back(*one);
          break;
        default:
          result.push_back(~*one);
          break;
      }
    }
    return result;
  }

  void solve() {
    const Literals assumptions = random_assumptions();
    std::size_t num_kept = scopes_.size() - 1;
    if (is_chance(4)) {
      num_kept = static_cast<std::size_t>(
          random_.below(static_cast<int>(assumptions.size()) + 2));
    }
    const Clauses clauses = live_clauses();
    Assignments found(num_variables());
    for (const Literals& clause : clauses) found.require(clause);
    const bool has_any = !found.is_empty();
    for (const Literal literal : assumptions) found.require({literal});
    const bool limited = is_chance(3);
    if (limited) search().set_conflict_limit(1);
    if (search().level() > 0 && !assumptions.empty() &&
        assumptions[0] == kept_[0]) {
      ++num_continued_;
    }

    const Search::Result result = search().solve(assumptions, num_kept);

    search().set_conflict_limit(0);
    kept_ = assumptions;
    ASSERT_LE(search().level(), static_cast<int>(num_kept));
    ASSERT_LE(search().level(), static_cast<int>(assumptions.size()));
    switch (result) {
      case Search::Result::kSat:
        ASSERT_FALSE(found.is_empty());
        expect_model(search(), clauses, assumptions);
        EXPECT_EQ(static_cast<std::size_t>(search().level()),
                  std::min(num_kept, assumptions.size()));
        break;
      case Search::Result::kUnsat:
        ASSERT_TRUE(found.is_empty());
        expect_no_model(assumptions);
        if (!search().is_consistent()) {
          EXPECT_FALSE(has_any);
          EXPECT_EQ(search().level(), 0);
        }
        break;
      case Search::Result::kUnknown:
        ASSERT_TRUE(limited);
        return;
    }
    check_anew(assumptions, result);
  }

  /// Of the failed assumptions.
  void expect_no_model(const Literals& assumptions) {
    Assignments found = live_assignments();
    const Literals& failed = search().failed_assumptions();
    for (const Literal literal : failed) {
      EXPECT_GT(std::count(assumptions.begin(), assumptions.end(), literal), 0);
      EXPECT_EQ(std::count(failed.begin(), failed.end(), literal), 1);
      found.require({literal});
    }
    EXPECT_TRUE(found.is_empty());
    if (!proof_ || search().refutation() == 0) return;
    for (const Literal literal : proof_->clause(search().refutation())) {
      EXPECT_EQ(std::count(failed.begin(), failed.end(), ~literal), 1);
    }
  }

  /// A search that has solved nothing before says the same.
  void check_anew(const Literals& assumptions, Search::Result expected) {
    std::unique_ptr<CardinalityTheory> theory;
    std::unique_ptr<Search> alone;
    if (theory_) {
      theory =
          std::make_unique<CardinalityTheory>(1, 0.4, 0.5, SearchOptions());
      theory->set_most_variables(0);
      for (int k = 0; k < num_variables(); ++k) theory->new_variable();
      for (const Group& group : theory_->groups()) theory->add_group(group);
    } else {
      alone = std::make_unique<Search>();
      make_variables(*alone, num_variables());
    }
    Search& anew = theory ? theory->search() : *alone;
    for (const Scope& scope : scopes_) add_clauses(anew, scope.clauses);

    EXPECT_EQ(anew.solve(assumptions), expected);
  }

  /// What has a value follows from the clauses and the assumptions of its
  /// level and those below.
  void check_state() const {
    search().check_invariants();
    if (theory_) {
      EXPECT_EQ(theory_->follower().level(), search().level());
    }
    Assignments found = live_assignments();
    if (!search().is_consistent()) {
      EXPECT_TRUE(found.is_empty());
    }
    for (int level = 0; level <= search().level(); ++level) {
      if (level > 0) {
        const Literal made = kept_.at(static_cast<std::size_t>(level) - 1);
        ASSERT_EQ(search().value(made), Value::kTrue);
        ASSERT_LE(search().level_of(made.variable()), level);
        found.require({made});
      }
      for (int variable = 0; variable < num_variables(); ++variable) {
        const Value value = search().value(positive(variable));
        const Value fixed = search().fixed_value(positive(variable));
        if (value == Value::kUnassigned) {
          ASSERT_EQ(fixed, Value::kUnassigned);
        } else if (search().level_of(variable) == level) {
          const Literal literal(variable, value == Value::kFalse);
          ASSERT_EQ(fixed, level == 0 ? value : Value::kUnassigned);
          ASSERT_TRUE(found.imply(literal)) << "at level " << level;
        }
      }
    }
  }

  Random random_;
  std::unique_ptr<Proof> proof_;
  // Either of these.
  std::unique_ptr<CardinalityTheory> theory_;
  std::unique_ptr<Search> alone_;
  std::vector<Scope> scopes_;
  std::map<int, Kind> kinds_;
  std::vector<int> theory_variables_;
  Literals kept_;  // the assumptions of the last solve
  int num_continued_ = 0;
  int num_survived_ = 0;
};

void expect_right_answers(int num_seeds, bool has_theory) {
  int num_continued = 0;
  int num_survived = 0;
  for (int seed = 0; seed < num_seeds; ++seed) {
    SCOPED_TRACE(::testing::Message() << "seed " << seed);
    ScopedSearch scoped(static_cast<std::uint64_t>(seed), has_theory);
    for (int k = 0; k < 60 && scoped.search().is_consistent(); ++k) {
      SCOPED_TRACE(::testing::Message() << "step " << k);
      scoped.step();
      if (::testing::Test::HasFailure()) return;
    }
    num_continued += scoped.num_continued();
    num_survived += scoped.num_survived();
  }
  // Else nothing was tried.
  EXPECT_GT(num_continued, 2 * num_seeds);
  EXPECT_GT(num_survived, num_seeds / 4);
}

// What stays from solve to solve must be what a solve would find again.
TEST(KeptLevelsTest, ScopesAgree) {
  expect_right_answers(scaled(2000), false);
}

// The theory's levels are kept with the search's.
TEST(KeptLevelsTest, ScopesWithCardinalityAgree) {
  expect_right_answers(scaled(2000), true);
}

// A chain of implications below each of two selectors; the chains end the same.
class KeptChainsTest : public ::testing::Test {
 protected:
  static constexpr int kLength = 10;

  KeptChainsTest() {
    push_chain();
    second_ = push_chain();
  }

  /// Returns the mark before it.
  std::size_t push_chain() {
    const std::size_t result = search_.mark();
    selectors_.push_back(positive(search_.new_variable()));
    Literal last = selectors_.back();
    for (int k = 0; k < kLength; ++k) {
      const Literal next = positive(search_.new_variable());
      search_.add_clause({~last, next});
      last = next;
    }
    ends_.push_back(last);
    return result;
  }
  Search::Result solve() {
    return search_.solve(selectors_, selectors_.size());
  }

  Search search_;
  Literals selectors_;
  Literals ends_;
  std::size_t second_;  // the mark before the second selector
};

// The point of it all: what the scopes say is not found out in each solve.
TEST_F(KeptChainsTest, SameAssumptionsAreNotMadeAgain) {
  ASSERT_EQ(solve(), Search::Result::kSat);
  const SearchStatistics before = search_.statistics();
  EXPECT_EQ(before.decisions, 2U);

  ASSERT_EQ(solve(), Search::Result::kSat);

  EXPECT_EQ(search_.level(), 2);
  EXPECT_EQ(search_.statistics().decisions, before.decisions);
  EXPECT_EQ(search_.statistics().propagations, before.propagations);
  EXPECT_TRUE(search_.model_value(ends_[1]));

  // A third one is one decision.
  push_chain();
  EXPECT_EQ(search_.level(), 2);
  ASSERT_EQ(solve(), Search::Result::kSat);
  EXPECT_EQ(search_.statistics().decisions, before.decisions + 1);
  EXPECT_EQ(search_.statistics().propagations,
            before.propagations + kLength + 1);
}

// To leave a scope costs the ones around it nothing.
TEST_F(KeptChainsTest, RollbackKeepsOuterLevels) {
  ASSERT_EQ(solve(), Search::Result::kSat);
  const SearchStatistics before = search_.statistics();

  search_.rollback(second_);
  selectors_.pop_back();

  EXPECT_EQ(search_.level(), 1);
  EXPECT_EQ(search_.value(ends_[0]), Value::kTrue);
  EXPECT_EQ(search_.fixed_value(ends_[0]), Value::kUnassigned);
  ASSERT_EQ(solve(), Search::Result::kSat);
  EXPECT_TRUE(search_.model_value(ends_[0]));
  EXPECT_EQ(search_.statistics().decisions, before.decisions);
}

// A clause that says something where the search stands says it at the level at
// which it would have all along: here at none, and it must not be lost.
TEST_F(KeptChainsTest, ClauseFalseAtKeptLevelsIsSeen) {
  ASSERT_EQ(solve(), Search::Result::kSat);

  ASSERT_TRUE(search_.add_clause({~ends_[0], ~ends_[1]}));

  EXPECT_EQ(search_.level(), 0);
  search_.check_invariants();
  ASSERT_EQ(solve(), Search::Result::kUnsat);
  EXPECT_EQ(search_.failed_assumptions().size(), 2U);
  EXPECT_EQ(search_.level(), 1);
  ASSERT_EQ(search_.solve({selectors_[0]}, 1), Search::Result::kSat);
  EXPECT_TRUE(search_.model_value(~ends_[1]));
}

}  // namespace
}  // namespace vorn::solver::testing
