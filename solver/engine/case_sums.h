// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_ENGINE_CASE_SUMS_H
#define VORN_SOLVER_ENGINE_CASE_SUMS_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

#include "solver/terms/linear_sum.h"
#include "solver/terms/term.h"
#include "solver/terms/term_store.h"
#include "solver/terms/term_sweep.h"
#include "vorn/numbers/q_number.h"

namespace vorn::solver {

/// What arithmetic ites can be, whatever their conditions are: names for
/// variables, or numbers within a range.
///
/// Cost: each ite is looked at once. Threads: none.
class IteShapes {
 public:
  /// The least and the greatest value.
  struct Range {
    /// The least.
    QNumber low;
    /// The greatest.
    QNumber high;
  };

  /// Whether each branch is a constant, or a variable or nameable ite of the
  /// ite's sort plus a constant: then "ite = branch" is a difference.
  bool is_nameable(const Term* ite);
  /// The range of an ite whose branches are sums of numbers and of ites of this
  /// kind; null for any other ite. Ensures: valid until the next call.
  const Range* range_of(const Term* ite);
  /// Forgets ites that a sweep does not keep.
  void forget_swept(const TermSweep& sweep);

 private:
  Lineariser lineariser_;
  std::unordered_map<const Term*, bool> nameable_;
  std::unordered_map<const Term*, std::optional<Range>> ranges_;
};

/// Lifts ites out of one comparison of a sum with 0: case by case the sum gets
/// shorter, until what is left is a bound, or true, or false.
///
/// Sums that are equal are lifted once, so a count of n conditions takes a term
/// for each number that some of them can reach: n * (n + 1) / 2, or less where
/// the rest cannot change the outcome any more. That is a decision diagram of
/// the comparison, with the ites in the order of their ids, youngest first.
///
/// Where there are too many such sums, but of numbers alone, they are added up
/// in steps: each step is an ite that can stay, since it says that the variable
/// it is the name of is the one before plus a number. That takes as many terms
/// as there are ites, and the search finds less out beforehand.
///
/// Cost: proportional to the sums met, each as large as its variables are many,
/// and to the number of ites. Ownership: borrows both. Threads: none.
class CaseSums {
 public:
  /// Most sums that are met in one comparison.
  static constexpr std::size_t kMaxSums = 100000;

  /// How lifting ends.
  enum class Outcome : std::uint8_t {
    kLifted,
    /// Some case is no difference.
    kOutside,
    /// There are more than kMaxSums, and no steps do.
    kTooMany,
  };

  /// How a comparison was lifted, for a proof of it.
  struct Lifting {
    /// Ites that have one condition, added up as they are multiplied.
    struct Merged {
      /// What they come to, as a term.
      const Term* total = nullptr;
      /// The ites.
      std::vector<LinearSum::Monomial> ites;
    };
    /// A comparison of `sum` and of the cases from `position` on.
    struct Place {
      /// Of `cases`.
      std::size_t position = 0;
      /// Without those cases.
      LinearSum sum;
      /// What was made for it.
      const Term* term = nullptr;
      /// Of `nodes`, if it has cases of its own.
      std::size_t node = 0;
      /// Whether it has.
      bool is_node = false;
    };
    /// A comparison, as (ite condition, first, second).
    struct Node {
      /// Its sum, and the term that was made for it.
      Place place;
      /// The condition.
      const Term* condition = nullptr;
      /// What it is in either case.
      Place branches[2];
    };
    /// Those of the sum given, where there are several.
    std::vector<Merged> merged;
    /// The ites of the sum, with what they are multiplied with.
    std::vector<LinearSum::Monomial> cases;
    /// Branches of a node come before it.
    std::vector<Node> nodes;
    /// The whole sum.
    Place root;
    /// The sums of the first case, the first two and so on, if it was added up
    /// in steps: there are no nodes then.
    std::vector<const Term*> steps;
  };

  /// Makes terms in `store`.
  CaseSums(TermStore& store, IteShapes& shapes)
      : store_(store), shapes_(shapes) {}

  /// Whether `sum` is a bound only once ites are lifted out of it, or never.
  static bool needs_lifting(IteShapes& shapes, const LinearSum& sum);

  /// Sets `result` to a combination of conditions, bounds and constants that
  /// says that `sum` is below 0 (strict) or at most 0. On kOutside and kTooMany
  /// `result` is unchanged. `lifting`, unless null, says how.
  Outcome lift(const LinearSum& sum, bool strict, const Term*& result,
               Lifting* lifting = nullptr);

 private:
  // The order of ites: those that cannot stay as names come first. A branch has
  // only ites behind its own, since these are older and no worse.
  using Rank = std::pair<bool, std::uint64_t>;

  // What is left of the sum: the ites from a position of cases_ on, with their
  // coefficients, and what has come out of those before.
  struct Rest {
    std::size_t position = 0;
    LinearSum sum;
  };
  struct Less {
    bool operator()(const Rest& a, const Rest& b) const;
  };

  // What becomes of a rest: a term, or a node if it is null.
  struct Target {
    const Term* term = nullptr;
    std::size_t node = 0;
  };
  // (ite condition, first, second); the term is made last.
  struct Node {
    const Term* condition = nullptr;
    Target branches[2];
    const Term* term = nullptr;
  };
  // Rests with the same ite to lift next, and the nodes they belong to.
  struct Layer {
    const Term* ite = nullptr;
    std::map<Rest, std::size_t, Less> rests;
  };

  Rank rank_of(const Term* ite) const;
  LinearSum merge_conditions(const LinearSum& sum);
  void read(const LinearSum& sum);
  const Term* next_ite(const Rest& rest) const;
  Rest take_branch(const Rest& rest, const Term* ite,
                   const LinearSum& branch) const;
  std::optional<bool> decide(const Rest& rest);
  // Null if it is outside; nothing if there are ites to lift.
  std::optional<const Term*> finish(const Rest& rest);
  bool is_outside(Rest rest);
  // Nothing if it is outside.
  std::optional<Target> place(Rest rest);
  Outcome expand(Rest start, Target& root);
  void finish_lifting();
  bool add_in_steps(const LinearSum& sum, const Term*& result);

  TermStore& store_;
  IteShapes& shapes_;
  Lineariser lineariser_;
  bool strict_ = false;
  // Nodes in the order in which their layers came.
  std::vector<std::size_t> order_;
  // The ites of the sum, in order of rank.
  std::vector<LinearSum::Monomial> cases_;
  // By position in cases_: the range of those from there on, if all are
  // numbers.
  std::vector<std::optional<IteShapes::Range>> ranges_;
  // By position: whether one from there on is not nameable, or a number.
  std::vector<bool> lifts_;
  std::map<Rank, Layer> layers_;
  std::vector<Node> nodes_;
  Lifting* lifting_ = nullptr;  // of the comparison at hand
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_ENGINE_CASE_SUMS_H
