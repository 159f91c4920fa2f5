// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_PROOF_WRITTEN_SUMS_H
#define VORN_SOLVER_PROOF_WRITTEN_SUMS_H

#include <map>
#include <memory>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

#include "solver/proof/proof_text.h"
#include "solver/proof/written_terms.h"
#include "vorn/numbers/q_number.h"

namespace vorn::solver {

/// What comparisons of written terms say as sums, and whether such sums are
/// refuted: the rule `la_generic`, by which no step is written that this class
/// has not found right.
///
/// A *variable* is a written term that is no sum: the same number by cases
/// written in two ways is two variables, whatever it means.
/// Cost: each literal is read once. Ownership: borrows the terms. Threads:
/// none.
class WrittenSums {
 public:
  /// Variables with what they are multiplied with.
  using Sum = std::map<WrittenId, QNumber>;

  /// Reads nothing yet.
  explicit WrittenSums(const WrittenTerms& terms) : terms_(terms) {}

  /// A linear term, without its constant; null if it is not linear.
  /// Ensures: valid as long as the object.
  const Sum* sum_of(WrittenId term);

  /// What the negations of the literals come to, each multiplied by its
  /// coefficient: by its size, except for equalities. Nothing if one is no
  /// comparison of linear terms. Variables that cancel may be left with 0.
  std::optional<Sum> add_up(const std::vector<WrittenLiteral>& literals,
                            const std::vector<QNumber>& coefficients);

  /// Whether that is something false, when comparisons over the integers are
  /// first sharpened to what integers can meet.
  bool refutes(const std::vector<WrittenLiteral>& literals,
               const std::vector<QNumber>& coefficients);

 private:
  // sum = bound, >= bound or > bound.
  enum class Relation { kEqual, kGeq, kGreater };
  struct Inequality {
    std::vector<std::pair<WrittenId, QNumber>> sum;
    QNumber bound;
    Relation relation = Relation::kGeq;
  };

  // Terms that wait to be read, with their coefficients.
  using Shares = std::map<WrittenId, QNumber>;

  bool read(Shares shares, Sum& sum, QNumber& constant);
  bool read_product(WrittenId term, const QNumber& factor, Shares& shares);
  std::optional<QNumber> value_of(WrittenId term);
  std::optional<Inequality> negation_of(WrittenLiteral literal);
  const Inequality* inequality_of(WrittenLiteral literal);
  static void sharpen(Inequality& inequality);
  bool do_add_up(const std::vector<WrittenLiteral>& literals,
                 const std::vector<QNumber>& coefficients);

  const WrittenTerms& terms_;
  // By literal: none if it is no comparison, or was not read yet.
  std::vector<std::unique_ptr<const Inequality>> inequalities_;
  std::vector<char> is_read_;
  std::unordered_map<WrittenId, std::optional<Sum>> sums_;
  std::unordered_map<WrittenId, bool> numbers_;  // whether they are

  // What do_add_up has come to.
  std::vector<QNumber> totals_;  // by variable; 0 for those not touched
  std::vector<WrittenId> touched_;
  QNumber bound_;
  bool is_strict_ = false;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_PROOF_WRITTEN_SUMS_H
