// SPDX-License-Identifier: MIT
#ifndef VORN_CHECKER_TERMS_H
#define VORN_CHECKER_TERMS_H

#include <gmpxx.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "checker/names.h"

namespace vorn::checker {

/// The sorts of terms.
enum class Sort : std::uint8_t { kBool, kInt, kReal };

/// What a term is at its top.
enum class Op : std::uint8_t {
  kNone,
  kTrue,
  kFalse,
  kSymbol,
  kParameter,  // of a define-fun, replaced where that is used
  kNumber,
  kNot,
  kAnd,
  kOr,
  kXor,
  kImplies,
  kEqual,
  kDistinct,
  kIte,
  kLeq,
  kLess,
  kGeq,
  kGreater,
  kPlus,
  kMinus,
  kTimes,
  kDivide,
};

/// The number of a term in a Terms.
using TermId = std::uint32_t;

/// The number of no term.
constexpr TermId kNoTerm = 0;

/// The operator of this name, or Op::kNone.
Op find_op(std::string_view name);

/// The sum, difference, product or quotient of numbers. Nothing if that divides
/// by 0, or if numbers get too long: products of products can square the length
/// of a number with each term, which no sensible script does.
std::optional<mpq_class> compute(Op op,
                                 const std::vector<const mpq_class*>& args);

/// Terms as they are written, each kept once: two terms are the same exactly if
/// their numbers are. `let`, definitions and names of terms are gone; numbers
/// are the same if their values and sorts are.
///
/// Invariant: arguments have smaller numbers than the terms that use them, so
/// that ascending numbers visit terms bottom up, without recursion.
class Terms {
 public:
  Terms();

  /// A declared constant.
  TermId symbol(NameId name, Sort sort);
  /// A new parameter of a definition, unlike any other term.
  TermId parameter(Sort sort);
  /// A number without sign; `value` is an integer if `sort` is Int.
  TermId number(const mpq_class& value, Sort sort);
  /// true or false.
  TermId boolean(bool value) const { return value ? kTrueId : kFalseId; }
  /// (not t).
  TermId negate(TermId term) {
    return intern(Op::kNot, Sort::kBool, kNoPayload, &term, 1);
  }

  /// A term of arguments whose number and sorts are right.
  TermId make(Op op, const std::vector<TermId>& args);

  /// A term of any arguments. An integer constant among reals is taken as the
  /// real of that value. Returns kNoTerm and says why in `error` if number or
  /// sorts of the arguments are wrong.
  TermId apply(Op op, std::vector<TermId>& args, std::string& error);

  /// The term itself if it is of that sort, the real of its value if it is an
  /// integer constant and `sort` is Real, and kNoTerm otherwise.
  TermId as_sort(TermId term, Sort sort);

  /// What the term is at its top.
  Op op(TermId term) const { return nodes_[term].op; }
  /// The sort of the term.
  Sort sort(TermId term) const { return nodes_[term].sort; }
  /// How many arguments it has.
  std::size_t num_args(TermId term) const { return nodes_[term].num_args; }
  /// Its argument number i, from 0.
  TermId arg(TermId term, std::size_t i) const {
    return args_[nodes_[term].first_arg + i];
  }
  /// Its arguments, copied.
  std::vector<TermId> args(TermId term) const;
  /// The name of a kSymbol.
  NameId name(TermId term) const { return nodes_[term].payload; }
  /// The value of a number or of arithmetic on numbers alone, otherwise null.
  /// Valid until the next term is made.
  const mpq_class* value(TermId term) const;
  /// Terms have numbers from 1 up to but without this one.
  std::size_t size() const { return nodes_.size(); }

 private:
  struct Node {
    std::size_t first_arg;
    std::uint32_t num_args;
    // The name of a symbol, the number of a parameter, of what has a value its
    // place in values_.
    std::uint32_t payload;
    Op op;
    Sort sort;
  };

  static constexpr TermId kTrueId = 1;
  static constexpr TermId kFalseId = 2;
  static constexpr std::uint32_t kNoPayload = UINT32_MAX;

  TermId intern(Op op, Sort sort, std::uint32_t payload, const TermId* args,
                std::size_t count);
  std::size_t hash_of(Op op, Sort sort, std::uint32_t payload,
                      const TermId* args, std::size_t count) const;
  void grow();
  void fold(TermId term);
  const char* unify(std::vector<TermId>& args, std::size_t first);

  std::vector<Node> nodes_;
  std::vector<TermId> args_;
  std::vector<TermId> slots_;  // open addressing, at most half full
  std::vector<mpq_class> values_;
  std::unordered_map<std::string, TermId> numbers_;
  std::uint32_t num_parameters_ = 0;
};

}  // namespace vorn::checker

#endif  // VORN_CHECKER_TERMS_H
