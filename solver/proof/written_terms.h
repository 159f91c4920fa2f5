// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_PROOF_WRITTEN_TERMS_H
#define VORN_SOLVER_PROOF_WRITTEN_TERMS_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <tuple>
#include <unordered_map>
#include <vector>

#include "solver/terms/term.h"
#include "solver/terms/term_store.h"

namespace vorn::solver {

/// The number of a term in a WrittenTerms.
using WrittenId = std::uint32_t;

/// The number of no term.
inline constexpr WrittenId kNotWritten = 0;

/// What a written term is at its top, as far as proofs look at it.
enum class WrittenKind : std::uint8_t {
  kLeaf,  // a symbol, a number without sign, true or false
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
  kOther,  // arithmetic
};

/// Terms as a script writes them, with `let` and definitions expanded, each
/// kept once, beside what they mean. A TermStore knows the meaning alone: there
/// (> a b) is (< b a), and (and p p) is p.
///
/// Made for one proof, of the formulas that it is about.
///
/// Invariant: arguments have smaller numbers than what they are arguments of.
/// Cost: a hash table and a word for each argument.
/// Ownership: borrows the meanings. Threads: none.
class WrittenTerms {
 public:
  /// Makes no terms. Borrows the store of the meanings.
  explicit WrittenTerms(TermStore& store);

  /// A symbol, a truth value or a number; negative numbers and fractions are
  /// applications.
  WrittenId leaf(const Term* meaning);
  /// A function of arguments.
  WrittenId apply(std::string_view function, const std::vector<WrittenId>& args,
                  const Term* meaning);
  /// The term, or the real of its value if it is an integer constant that
  /// stands beside reals, where it means this.
  WrittenId as_sort(WrittenId term, const Term* meaning);
  /// (not t).
  WrittenId negate(WrittenId term) {
    return apply("not", {term}, store_.make_not(meaning(term)));
  }

  /// What it is at its top.
  WrittenKind kind(WrittenId term) const { return nodes_[term].kind; }
  /// The function's name; of a leaf, its text.
  const std::string& text(WrittenId term) const {
    return texts_[nodes_[term].text];
  }
  /// How many arguments it has.
  std::size_t num_args(WrittenId term) const { return nodes_[term].num_args; }
  /// Its argument number i, from 0.
  WrittenId arg(WrittenId term, std::size_t i) const {
    return args_[nodes_[term].first_arg + i];
  }
  /// Its arguments, copied.
  std::vector<WrittenId> args(WrittenId term) const;
  /// What it means.
  const Term* meaning(WrittenId term) const { return nodes_[term].meaning; }
  /// Terms have numbers from 1 up to but without this one.
  std::size_t size() const { return nodes_.size(); }

 private:
  struct Node {
    const Term* meaning;
    std::size_t first_arg;
    std::uint32_t num_args;
    std::uint32_t text;
    WrittenKind kind;
  };
  struct Hash {
    std::size_t operator()(const std::vector<std::uint32_t>& key) const;
  };

  std::uint32_t intern(std::string_view text);
  WrittenId make(WrittenKind kind, std::string_view text,
                 const std::vector<WrittenId>& args, const Term* meaning);

  TermStore& store_;
  std::vector<Node> nodes_;
  std::vector<WrittenId> args_;
  std::vector<std::string> texts_;
  std::unordered_map<std::string, std::uint32_t> text_numbers_;
  /// By kind, text and arguments.
  std::unordered_map<std::vector<std::uint32_t>, WrittenId, Hash> known_;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_PROOF_WRITTEN_TERMS_H
