// SPDX-License-Identifier: MIT
#ifndef VORN_CHECKER_PROOF_H
#define VORN_CHECKER_PROOF_H

#include <cstddef>
#include <istream>
#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

#include "checker/inference.h"
#include "checker/names.h"
#include "checker/script.h"

namespace vorn::checker {

/// Clauses, kept as numbers of terms in blocks that never move.
class ClauseStore {
 public:
  /// Keeps a clause.
  Clause add(const std::vector<TermId>& literals);

 private:
  static constexpr std::size_t kBlock = std::size_t{1} << 18U;
  std::vector<std::unique_ptr<TermId[]>> blocks_;
  TermId* next_ = nullptr;
  std::size_t room_ = 0;
};

/// The walk over the steps of a proof.
///
/// Cost: linear in the proof; of each step the clause and the name are kept.
class Proof {
 public:
  /// A proof from the formulas `assumed`, or some of them. `script`, to which
  /// terms and names are added, is borrowed.
  Proof(Script& script, const std::vector<TermId>& assumed)
      : script_(script),
        assumed_(assumed.begin(), assumed.end()),
        inference_(script.terms()) {}

  /// Returns if each step is right and the last one is the empty clause; throws
  /// Rejection at the first thing that is wrong, and Unreadable.
  void check(std::istream& in);

 private:
  // A proof inside of the proof, which ends with the step that its anchor
  // names.
  struct Local {
    std::string end;
    Position position;
    std::vector<NameId> names;        // of its steps, unknown behind its end
    std::vector<NameId> assumptions;  // those of them that are assumed
    bool has_last = false;
    Clause last;
  };
  struct Attributes {
    std::string rule;
    std::vector<NameId> discharged;
    std::unordered_set<std::string> seen;
  };

  void read_assume(Reader& reader, TermReader& terms);
  void read_step(Reader& reader, TermReader& terms);
  void read_anchor(Reader& reader);
  void read_attribute(Reader& reader, TermReader& terms, Attributes& step);
  void read_names(Reader& reader, Attributes& step, bool is_discharge);
  std::vector<TermId> read_clause(Reader& reader, TermReader& terms);
  Verdict check_subproof(const Attributes& step);
  void add(const std::string& name, Clause clause);
  [[noreturn]] void reject(const Position& position, const std::string& reason);

  Script& script_;
  std::unordered_set<TermId> assumed_;
  Inference inference_;
  ClauseStore store_;
  Names names_;
  std::vector<Clause> clauses_;  // by number of the step's name
  std::vector<bool> is_known_;   // likewise: may be a premise
  std::vector<Local> locals_;    // innermost last
  std::string step_;             // what is read, for messages
  bool is_empty_ = false;        // the last step is the empty clause
};

}  // namespace vorn::checker

#endif  // VORN_CHECKER_PROOF_H
