// SPDX-License-Identifier: MIT
#ifndef VORN_SMTLIB_TERM_RECORD_H
#define VORN_SMTLIB_TERM_RECORD_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <unordered_map>
#include <vector>

#include "solver/proof/written_terms.h"
#include "solver/smtlib/operators.h"
#include "solver/terms/term.h"

namespace vorn::solver {

/// What a script has written, in the order in which it was read: enough to make
/// WrittenTerms of the few formulas that a proof is about, when there is one.
///
/// Nothing is looked up while reading: a term that is written twice is here
/// twice, and a use of a definition with parameters is a reference to it.
///
/// Cost: 16 bytes for each term that is no use of a name, and 4 for each of its
/// arguments; it never shrinks.
/// Ownership: borrows the meanings. Threads: none.
class TermRecord {
 public:
  /// An empty one.
  TermRecord();

  /// A symbol, a truth value or a number.
  RecordId leaf(const Term* meaning);
  /// A function of arguments, as they are after OperatorBuilder::apply.
  RecordId apply(Operator op, const PlacedTerm* arguments, std::size_t count,
                 const Term* meaning);
  /// A definition whose body has these symbols for its parameters.
  RecordId define(const std::vector<const Term*>& parameters, RecordId body);
  /// The use of a definition.
  RecordId expand(RecordId definition, const PlacedTerm* arguments,
                  std::size_t count, const Term* meaning);

 private:
  friend class RecordReader;

  enum class NodeKind : std::uint8_t {
    kLeaf,
    kApply,
    // The real of a number that is its argument.
    kReal,
    // Its arguments are leaves, the parameters, and then the body.
    kDefinition,
    // Its arguments are a definition and what that is applied to.
    kExpansion,
    // Of its arguments, the first is meant.
    kExpanded,
  };
  struct Node {
    // Null if it is in the copy of a definition's body.
    const Term* meaning;
    // Those of the next term begin where these end.
    std::uint32_t first_arg;
    NodeKind kind;
    Operator op;
  };

  RecordId add(NodeKind kind, Operator op, const Term* meaning);
  void add_arguments(const PlacedTerm* arguments, std::size_t count);
  std::size_t num_args(RecordId id) const {
    const std::size_t end =
        id + 1 < nodes_.size() ? nodes_[id + 1].first_arg : args_.size();
    return end - nodes_[id].first_arg;
  }
  RecordId arg(RecordId id, std::size_t k) const {
    return args_[nodes_[id].first_arg + k];
  }

  std::vector<Node> nodes_;
  std::vector<RecordId> args_;
};

/// Makes WrittenTerms of what a TermRecord holds.
///
/// Cost: linear in the terms that are new to it, with definitions expanded, but
/// what is written twice expanded once.
class RecordReader {
 public:
  /// All are borrowed; `builder` is that which the record's terms were made by.
  RecordReader(TermRecord& record, OperatorBuilder& builder,
               WrittenTerms& terms)
      : record_(record), builder_(builder), terms_(terms) {}

  /// The term as it is written. Requires: it is no definition with parameters.
  WrittenId read(RecordId id);

 private:
  struct Result {
    const Term* meaning;
    WrittenId written;
  };

  // Whether there is something to be read before `id`, which then is pending.
  bool push_missing(RecordId id);
  // Both require that there is not.
  Result result_of(RecordId id);
  void expand(RecordId id);
  RecordId copy_body(RecordId use);

  TermRecord& record_;
  OperatorBuilder& builder_;
  WrittenTerms& terms_;
  std::unordered_map<RecordId, Result> results_;
  // Copies of bodies, by definition and written arguments.
  std::map<std::vector<std::uint32_t>, RecordId> copies_;
  std::vector<RecordId> pending_;
};

}  // namespace vorn::solver

#endif  // VORN_SMTLIB_TERM_RECORD_H
