// SPDX-License-Identifier: MIT
#include "checker/proof.h"

#include <algorithm>
#include <memory_resource>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>

namespace vorn::checker {
namespace {

// The walk over the steps.
class Proof {
 public:
  Proof(std::istream& in, Script& script, const TermIds& assumed)
      : reader_(in),
        terms_(reader_, script),
        assumed_(assumed.begin(), assumed.end()),
        inference_(script.terms) {}

  void check() {
    try {
      reader_.next();
      // Some programs print the verdict before the proof.
      if (reader_.token().is("unsat")) reader_.next();
      for (; reader_.token().kind != TokenKind::kEnd; reader_.next()) {
        if (reader_.token().kind != TokenKind::kOpen) {
          reader_.fail("expected a step in brackets");
        }
        reader_.expect_symbol("a command");
        if (reader_.token().text == "assume") {
          read_assume();
        } else if (reader_.token().text == "step") {
          read_step();
        } else if (reader_.token().text == "anchor") {
          read_anchor();
        } else {
          reader_.fail("expected assume, step or anchor");
        }
        at_.clear();
      }
      if (!locals_.empty()) {
        reader_.fail("the step " + locals_.back().end +
                     " of an anchor is missing");
      }
      if (!is_empty_) reader_.fail("the last step is not the empty clause");
    } catch (const Rejection& rejection) {
      throw Rejection{rejection.position, at_ + rejection.reason};
    }
  }

 private:
  using Steps = std::pmr::unordered_map<std::string, Clause>;
  // A proof inside of the proof, which ends with the step that its anchor
  // names.
  struct Local {
    std::string end;
    std::vector<Steps::value_type*> steps;   // unknown behind its end
    std::vector<const Clause*> assumptions;  // those of them that are assumed
  };

  std::string read_new_name() {
    const std::string command = reader_.token().text;
    std::string name = reader_.expect_symbol("the name of a step").text;
    at_ = command + ' ' + name + ": ";
    if (steps_.count(name) > 0) reader_.fail("there is a step of this name");
    return name;
  }

  const Clause* add(const std::string& name, const Clause& clause) {
    auto& step = *steps_.emplace(name, clause).first;
    if (!locals_.empty()) locals_.back().steps.push_back(&step);
    is_empty_ = clause.empty();
    return &step.second;
  }

  void read_assume() {
    const std::string name = read_new_name();
    reader_.next();
    const Formula formula = terms_.read_formula();
    reader_.expect(TokenKind::kClose, "')'");
    if (locals_.empty() && assumed_.count(formula.term) == 0) {
      throw Rejection{formula.position, "this is not asserted"};
    }
    const Clause* clause = add(name, {formula.term});
    if (!locals_.empty()) locals_.back().assumptions.push_back(clause);
  }

  void read_anchor() {
    reader_.expect(TokenKind::kKeyword, ":step");
    reader_.require(reader_.token().text == ":step", "expected :step");
    const std::string end = reader_.expect_symbol("the name of a step").text;
    at_ = "anchor of " + end + ": ";
    reader_.expect(TokenKind::kClose, "')': bound variables are not known");
    locals_.push_back({end, {}, {}});
  }

  void read_step() {
    const std::string name = read_new_name();
    inference_.position = reader_.token().position;
    inference_.conclusion.clear();
    inference_.premises.clear();
    inference_.arguments.clear();
    discharged_.clear();
    rule_.clear();
    given_.clear();
    reader_.expect(TokenKind::kOpen, "a clause (cl ...)");
    reader_.expect_symbol("cl");
    reader_.require(reader_.token().text == "cl", "expected cl");
    while (reader_.next().kind != TokenKind::kClose) {
      inference_.conclusion.push_back(terms_.read_formula().term);
    }
    while (reader_.next().kind == TokenKind::kKeyword) read_attribute();
    reader_.require(reader_.token().kind == TokenKind::kClose,
                    "expected an attribute or ')'");
    at_ += "rule " + rule_ + ": ";
    const bool ends_local = !locals_.empty() && locals_.back().end == name;
    inference_.require(!ends_local || rule_ == "subproof",
                       "the step of the anchor is not by rule subproof");
    inference_.require(ends_local || rule_ != "subproof",
                       "no anchor names this step");
    if (ends_local) {
      check_subproof();
      for (const auto* step : locals_.back().steps) {
        steps_.erase(steps_.find(step->first));
      }
      locals_.pop_back();
    } else {
      inference_.require(!is_given(":discharge"),
                         "only a subproof discharges assumptions");
      check_inference(rule_, inference_);
    }
    add(name, inference_.conclusion);
  }

  bool is_given(const std::string& keyword) const {
    return std::count(given_.begin(), given_.end(), keyword) > 0;
  }

  void read_attribute() {
    const std::string keyword = reader_.token().text;
    reader_.require(!is_given(keyword), "this attribute is given twice");
    given_.push_back(keyword);
    if (keyword == ":rule") {
      rule_ = reader_.expect_symbol("the name of a rule").text;
    } else if (keyword == ":premises") {
      read_premises(inference_.premises);
    } else if (keyword == ":discharge") {
      read_premises(discharged_);
    } else if (keyword == ":args") {
      reader_.expect(TokenKind::kOpen, "arguments in brackets");
      while (reader_.next().kind != TokenKind::kClose) {
        inference_.arguments.push_back(terms_.read());
      }
    } else {
      reader_.fail("expected :rule, :premises, :args or :discharge");
    }
  }

  void read_premises(std::vector<const Clause*>& premises) {
    reader_.expect(TokenKind::kOpen, "names of steps in brackets");
    while (reader_.next().is_symbol()) {
      const auto step = steps_.find(reader_.token().text);
      if (step == steps_.end()) {
        reader_.fail("there is no step " + reader_.token().text +
                     " before, or it is inside of a subproof that has ended");
      }
      premises.push_back(&step->second);
    }
    reader_.require(reader_.token().kind == TokenKind::kClose,
                    "expected the name of a step");
  }

  // subproof: if C follows from the assumptions h1 ... hn and what was known
  // before, conclude (cl (not h1) ... (not hn) C), without any assumption.
  void check_subproof() {
    const Local& local = locals_.back();
    inference_.takes(0, 0);
    inference_.require(!local.steps.empty(), "the subproof has no steps");
    std::vector<const Clause*> discharged = discharged_;
    std::vector<const Clause*> assumptions = local.assumptions;
    std::sort(discharged.begin(), discharged.end());
    std::sort(assumptions.begin(), assumptions.end());
    inference_.require(discharged == assumptions,
                       "what is discharged is not what the subproof assumes");
    Clause literals;
    for (const Clause* assumption : discharged_) {
      literals.push_back(inference_.no(assumption->front()));
    }
    const Clause& last = local.steps.back()->second;
    literals.insert(literals.end(), last.begin(), last.end());
    inference_.concludes(literals);
  }

  Reader reader_;
  TermReader terms_;
  std::unordered_set<TermId> assumed_;
  std::pmr::monotonic_buffer_resource memory_;
  Steps steps_{&memory_};      // those that may be premises
  std::vector<Local> locals_;  // innermost last
  bool is_empty_ = false;      // the last step is the empty clause

  // The step that is being read: for messages, and its parts.
  std::string at_;
  Inference inference_;
  std::string rule_;
  std::vector<const Clause*> discharged_;
  std::vector<std::string> given_;  // its attributes
};

}  // namespace

void check_proof(std::istream& in, Script& script, const TermIds& assumed) {
  Proof(in, script, assumed).check();
}

}  // namespace vorn::checker
