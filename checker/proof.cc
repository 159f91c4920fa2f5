// SPDX-License-Identifier: MIT
#include "checker/proof.h"

#include <deque>
#include <memory_resource>
#include <set>
#include <string>
#include <unordered_set>
#include <utility>

namespace vorn::checker {
namespace {

// The walk over the steps.
class Proof : private TermReader {
 public:
  Proof(std::istream& in, Script& script, const TermIds& assumed)
      : TermReader(in, script),
        assumed_(assumed.begin(), assumed.end()),
        inference_(script.terms) {}

  void check() try {
    next();
    // Some programs print the verdict before the proof.
    if (token().is("unsat")) next();
    for (; !at(TokenKind::kEnd); next()) {
      require(at(TokenKind::kOpen), "expected a step in brackets");
      command_ = expect_symbol("a command").text;
      if (command_ == "assume") {
        read_assume();
      } else if (command_ == "step") {
        read_step();
      } else if (command_ == "anchor") {
        read_anchor();
      } else {
        fail("expected assume, step or anchor");
      }
      name_.clear();
      rule_.clear();
    }
    if (!locals_.empty()) {
      fail("the step " + locals_.back().end + " of an anchor is missing");
    }
    if (!is_empty_) fail("the last step is not the empty clause");
  } catch (const Rejection& rejection) {
    std::string reason = rejection.reason;
    if (!rule_.empty()) reason = "rule " + rule_ + ": " + reason;
    if (!name_.empty()) reason = command_ + ' ' + name_ + ": " + reason;
    throw Rejection{rejection.position, reason};
  }

 private:
  // A proof inside of the proof, which ends with the step that its anchor
  // names.
  struct Local {
    std::string end;
    std::vector<std::string> steps;            // unknown behind its end
    std::multiset<const Clause*> assumptions;  // those that are assumed
  };

  void read_new_name() {
    name_ = expect_symbol("the name of a step").text;
    if (steps_[name_] != nullptr) fail("there is a step of this name");
  }

  const Clause* add(const Clause& clause) {
    if (!locals_.empty()) locals_.back().steps.push_back(name_);
    is_empty_ = clause.empty();
    return steps_[name_] = &clauses_.emplace_back(clause);
  }

  void read_assume() {
    read_new_name();
    next();
    const Formula formula = read_formula();
    expect(TokenKind::kClose, "')'");
    checker::require(!locals_.empty() || assumed_.count(formula.term) > 0,
                     formula.position, "this is not asserted");
    const Clause* clause = add({formula.term});
    if (!locals_.empty()) locals_.back().assumptions.insert(clause);
  }

  void read_anchor() {
    expect(TokenKind::kKeyword, ":step");
    require(token().text == ":step", "expected :step");
    name_ = expect_symbol("the name of a step").text;
    expect(TokenKind::kClose, "')': bound variables are not known");
    locals_.push_back({name_, {}, {}});
  }

  void read_step() {
    read_new_name();
    inference_.position = token().position;
    inference_.conclusion.clear();
    inference_.premises.clear();
    inference_.arguments.clear();
    discharged_.clear();
    given_.clear();
    expect(TokenKind::kOpen, "a clause (cl ...)");
    expect_symbol("cl");
    require(token().text == "cl", "expected cl");
    while (next().kind != TokenKind::kClose) {
      inference_.conclusion.push_back(read_formula().term);
    }
    while (next().kind == TokenKind::kKeyword) read_attribute();
    require(at(TokenKind::kClose), "expected an attribute or ')'");
    const bool ends_local = !locals_.empty() && locals_.back().end == name_;
    inference_.require(!ends_local || rule_ == "subproof",
                       "the step of the anchor is not by rule subproof");
    inference_.require(ends_local || rule_ != "subproof",
                       "no anchor names this step");
    if (ends_local) {
      check_subproof();
      for (const auto& step : locals_.back().steps) steps_[step] = nullptr;
      locals_.pop_back();
    } else {
      inference_.require(given_.find(":discharge") == std::string::npos,
                         "only a subproof discharges assumptions");
      check_inference(rule_, inference_);
    }
    add(inference_.conclusion);
  }

  void read_attribute() {
    const std::string keyword = token().text;
    require(given_.find(keyword) == std::string::npos,
            "this attribute is given twice");
    given_ += keyword;
    if (keyword == ":rule") {
      rule_ = expect_symbol("the name of a rule").text;
    } else if (keyword == ":premises") {
      read_premises(inference_.premises);
    } else if (keyword == ":discharge") {
      read_premises(discharged_);
    } else if (keyword == ":args") {
      expect(TokenKind::kOpen, "arguments in brackets");
      while (next().kind != TokenKind::kClose) {
        inference_.arguments.push_back(read());
      }
    } else {
      fail("expected :rule, :premises, :args or :discharge");
    }
  }

  void read_premises(std::vector<const Clause*>& premises) {
    expect(TokenKind::kOpen, "names of steps in brackets");
    while (next().is_symbol()) {
      premises.push_back(steps_[token().text]);
      if (premises.back() == nullptr) {
        fail("there is no step " + token().text +
             " before, or it is inside of a subproof that has ended");
      }
    }
    require(at(TokenKind::kClose), "expected the name of a step");
  }

  // subproof: if C follows from the assumptions h1 ... hn and what was known
  // before, conclude (cl (not h1) ... (not hn) C), without any assumption.
  void check_subproof() {
    const Local& local = locals_.back();
    inference_.takes(0, 0);
    inference_.require(!local.steps.empty(), "the subproof has no steps");
    inference_.require(
        std::multiset<const Clause*>(discharged_.begin(), discharged_.end()) ==
            local.assumptions,
        "what is discharged is not what the subproof assumes");
    Clause literals;
    for (const Clause* assumption : discharged_) {
      literals.push_back(inference_.no(assumption->front()));
    }
    const Clause& last = *steps_[local.steps.back()];
    literals.insert(literals.end(), last.begin(), last.end());
    inference_.concludes(literals);
  }

  std::unordered_set<TermId> assumed_;
  std::pmr::monotonic_buffer_resource memory_;
  std::pmr::deque<Clause> clauses_{&memory_};  // of all steps
  Names<const Clause*> steps_;                 // those that may be premises
  std::vector<Local> locals_;                  // innermost last
  bool is_empty_ = false;  // the last step is the empty clause

  // What is being read, for messages as far as it is known, and its parts.
  std::string command_;
  std::string name_;
  std::string rule_;
  Inference inference_;
  std::vector<const Clause*> discharged_;
  std::string given_;  // its attributes, one behind the other
};

}  // namespace

void check_proof(std::istream& in, Script& script, const TermIds& assumed) {
  Proof(in, script, assumed).check();
}

}  // namespace vorn::checker
