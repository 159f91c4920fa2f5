// SPDX-License-Identifier: MIT
#ifndef VORN_CHECKER_TERMS_H
#define VORN_CHECKER_TERMS_H

#include <gmpxx.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory_resource>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "checker/reader.h"

namespace vorn::checker {

/// The sorts of terms.
enum class Sort : std::uint8_t { kBool, kInt, kReal };

/// What a term is at its top.
enum class Op : std::uint8_t {
  kSymbol,
  kNumber,
  kTrue,
  kFalse,
  kNot,
  kAnd,
  kOr,
  kXor,
  kImplies,
  kEqual,
  kDistinct,
  kLeq,
  kLess,
  kGeq,
  kGreater,
  kIsInt,
  kIte,
  kPlus,
  kMinus,
  kTimes,
  kDivide,
  kDiv,
  kMod,
  kAbs,
  kToReal,
  kToInt,
};

/// Which sorts a function takes: any one, Int or Real, or just one.
enum class Args : std::uint8_t { kSame, kNumbers, kBools, kInts, kReals };

/// A function of the language.
struct Operator {
  Op op;                     ///< Which one it is.
  std::string_view name;     ///< What it is called.
  std::size_t least;         ///< The least number of arguments.
  std::size_t most;          ///< The greatest number of arguments.
  Args args;                 ///< Their sorts, but of the condition of kIte.
  bool is_optional = false;  ///< Whether scripts may give its name away.
};

/// All functions of the language, in the order of Op from Op::kNot on.
extern const std::vector<Operator> kOperators;

/// The name of a function of the language, and "" for what is none.
inline std::string_view name_of(Op op) {
  if (op < Op::kNot) return "";
  return kOperators[static_cast<std::size_t>(op) -
                    static_cast<std::size_t>(Op::kNot)]
      .name;
}

/// The number of a term in a Terms.
using TermId = std::uint32_t;

/// The number of no term.
constexpr TermId kNoTerm = 0;

/// Terms; those that are kept for long stand in large blocks of memory.
using TermIds = std::pmr::vector<TermId>;

/// The length of a value in memory.
std::size_t bits(const mpq_class& value);

/// The greatest integer that is not above the value.
mpz_class floor_of(const mpq_class& value);

/// Terms as they are written, each kept once: two terms are the same exactly if
/// their numbers are. `let`, definitions and names of terms are gone; numbers
/// are the same if their values and sorts are; an integer beside a real is
/// under to_real, as a constant it is a real itself.
///
/// Invariant: arguments have smaller numbers than the terms that use them, so
/// that ascending numbers visit terms bottom up, without recursion.
class Terms {
 public:
  Terms();
  Terms(const Terms&) = delete;
  Terms& operator=(const Terms&) = delete;

  /// A new constant, unlike any other.
  TermId symbol(Sort sort) { return add(Op::kSymbol, sort); }
  /// A number without sign: digits with at most one point among them. Without a
  /// point it is of that sort.
  TermId number(const std::string& digits, Sort sort);
  /// true or false.
  TermId boolean(bool value) const { return value ? kTrueId : kFalseId; }
  /// (not t).
  TermId negate(TermId term);

  /// A term of arguments whose number and sorts are right.
  TermId make(Op op, const TermIds& args);

  /// A term of any arguments, which are brought to the sorts that they must
  /// have. Throws a Rejection at `position` if that cannot be done.
  TermId apply(const Operator& function, TermIds& args,
               const Position& position);

  /// The term itself if it is of that sort, to_real of an integer if `sort` is
  /// Real, of a constant the real of its value, and kNoTerm otherwise.
  TermId as_sort(TermId term, Sort sort);

  /// The term with others in the place of some symbols, of the same sorts.
  /// Cost: linear in its distinct subterms.
  TermId replace(TermId term, std::unordered_map<TermId, TermId> replaced);

  /// What the term is at its top.
  Op op(TermId term) const { return nodes_[term].op; }
  /// The sort of the term.
  Sort sort(TermId term) const { return nodes_[term].sort; }
  /// How many arguments it has.
  std::size_t num_args(TermId term) const { return args(term).size(); }
  /// Its argument number i, from 0.
  TermId arg(TermId term, std::size_t i) const { return args(term)[i]; }
  /// Its arguments, which stay where they are.
  const TermIds& args(TermId term) const { return *nodes_[term].args; }
  /// What the term is worth whatever symbols stand for, truth as 1 or 0. Null
  /// if it has symbols, divides by 0 or comes to numbers that get too long.
  const mpq_class* value(TermId term) const { return nodes_[term].value; }
  /// Terms have numbers from 1 up to but without this one.
  std::size_t size() const { return nodes_.size(); }

 private:
  struct Node {
    const TermIds* args;     // in applications_
    const mpq_class* value;  // in values_
    TermId negation;         // kNoTerm while there is none
    Op op;
    Sort sort;
  };
  struct Hash {
    std::size_t operator()(const TermIds& args) const;
  };

  static constexpr TermId kTrueId = 1;
  static constexpr TermId kFalseId = 2;

  TermId add(Op op, Sort sort);
  TermId number_of(const mpq_class& value, Sort sort);
  std::optional<mpq_class> compute(Op op, const TermIds& args) const;

  std::vector<Node> nodes_;
  // For each operator, from arguments to terms.
  std::pmr::monotonic_buffer_resource memory_;
  std::pmr::vector<std::pmr::unordered_map<TermIds, TermId, Hash>>
      applications_;
  std::deque<mpq_class> values_;
  // By digits and by value, each with the sort.
  Names<TermId> numbers_;
};

}  // namespace vorn::checker

#endif  // VORN_CHECKER_TERMS_H
