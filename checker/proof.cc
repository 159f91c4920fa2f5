// SPDX-License-Identifier: MIT
#include "checker/proof.h"

#include <algorithm>
#include <utility>

namespace vorn::checker {

Clause ClauseStore::add(const std::vector<TermId>& literals) {
  if (literals.size() > room_) {
    room_ = std::max(kBlock, literals.size());
    blocks_.push_back(std::make_unique<TermId[]>(room_));
    next_ = blocks_.back().get();
  }
  const Clause clause{next_, literals.size()};
  std::copy(literals.begin(), literals.end(), next_);
  next_ += literals.size();
  room_ -= literals.size();
  return clause;
}

void Proof::reject(const Position& position, const std::string& reason) {
  throw Rejection{position, step_.empty() ? reason : step_ + ": " + reason};
}

void Proof::check(std::istream& in) {
  Reader reader(in);
  TermReader terms(reader, script_.terms(), script_.symbols(),
                   script_.numerals());
  try {
    reader.next();
    // Some programs print the verdict before the proof.
    if (reader.token().kind == TokenKind::kSymbol &&
        reader.token().text == "unsat") {
      reader.next();
    }
    for (; reader.token().kind != TokenKind::kEnd; reader.next()) {
      if (reader.token().kind != TokenKind::kOpen) {
        reader.fail("expected a step in brackets");
      }
      const std::string command = reader.expect_symbol("a command").text;
      if (command == "assume") {
        read_assume(reader, terms);
      } else if (command == "step") {
        read_step(reader, terms);
      } else if (command == "anchor") {
        read_anchor(reader);
      } else {
        reader.fail("expected assume, step or anchor");
      }
      step_.clear();
    }
  } catch (const Rejection& rejection) {
    reject(rejection.position, rejection.reason);
  }
  if (!locals_.empty()) {
    reject(locals_.back().position,
           "the step " + locals_.back().end + " of this anchor is missing");
  }
  if (!is_empty_) {
    reject(reader.token().position, "the last step is not the empty clause");
  }
}

void Proof::add(const std::string& name, Clause clause) {
  const NameId id = names_.intern(name);
  if (id >= clauses_.size()) {
    clauses_.resize(names_.size());
    is_known_.resize(names_.size());
  }
  clauses_[id] = clause;
  is_known_[id] = true;
  if (!locals_.empty()) {
    locals_.back().names.push_back(id);
    locals_.back().last = clause;
    locals_.back().has_last = true;
  }
  is_empty_ = clause.size == 0;
}

void Proof::read_assume(Reader& reader, TermReader& terms) {
  const std::string name = reader.expect_symbol("the name of a step").text;
  step_ = "assume " + name;
  const NameId id = names_.intern(name);
  if (id < is_known_.size() && is_known_[id]) {
    reader.fail("there is a step of this name");
  }
  reader.next();
  const Position position = reader.token().position;
  const TermId formula = terms.read_formula();
  reader.expect(TokenKind::kClose, "')'");
  if (locals_.empty() && assumed_.count(formula) == 0) {
    throw Rejection{position, "this is not asserted"};
  }
  add(name, store_.add({formula}));
  if (!locals_.empty()) locals_.back().assumptions.push_back(id);
}

void Proof::read_anchor(Reader& reader) {
  Local local;
  local.position = reader.token().position;
  if (reader.expect(TokenKind::kKeyword, ":step").text != ":step") {
    reader.fail("expected :step");
  }
  local.end = reader.expect_symbol("the name of a step").text;
  step_ = "anchor of " + local.end;
  reader.expect(TokenKind::kClose, "')': bound variables are not known");
  locals_.push_back(std::move(local));
}

void Proof::read_step(Reader& reader, TermReader& terms) {
  const std::string name = reader.expect_symbol("the name of a step").text;
  const Position position = reader.token().position;
  step_ = "step " + name;
  const NameId id = names_.intern(name);
  if (id < is_known_.size() && is_known_[id]) {
    reader.fail("there is a step of this name");
  }
  const Clause clause = store_.add(read_clause(reader, terms));
  Attributes step;
  inference_.conclusion = clause;
  inference_.premises.clear();
  inference_.arguments.clear();
  while (reader.next().kind == TokenKind::kKeyword) {
    read_attribute(reader, terms, step);
  }
  if (reader.token().kind != TokenKind::kClose) {
    reader.fail("expected an attribute or ')'");
  }
  const bool ends_local = !locals_.empty() && locals_.back().end == name;
  Verdict verdict = kRight;
  if (ends_local != (step.rule == "subproof")) {
    verdict = ends_local ? "the step of the anchor is not by rule subproof"
                         : "no anchor names this step";
  } else if (ends_local) {
    verdict = check_subproof(step);
  } else if (step.seen.count(":discharge") > 0) {
    verdict = "only a subproof discharges assumptions";
  } else {
    verdict = check_inference(step.rule, inference_);
  }
  if (verdict != kRight) {
    throw Rejection{position, "rule " + step.rule + ": " + verdict};
  }
  if (ends_local) {
    for (const NameId inside : locals_.back().names) is_known_[inside] = false;
    locals_.pop_back();
  }
  add(name, clause);
}

std::vector<TermId> Proof::read_clause(Reader& reader, TermReader& terms) {
  reader.expect(TokenKind::kOpen, "a clause (cl ...)");
  if (reader.expect_symbol("cl").text != "cl") reader.fail("expected cl");
  std::vector<TermId> literals;
  while (reader.next().kind != TokenKind::kClose) {
    literals.push_back(terms.read_formula());
  }
  return literals;
}

void Proof::read_attribute(Reader& reader, TermReader& terms,
                           Attributes& step) {
  const std::string keyword = reader.token().text;
  if (!step.seen.insert(keyword).second) reader.fail("this is given twice");
  if (keyword == ":rule") {
    step.rule = reader.expect_symbol("the name of a rule").text;
  } else if (keyword == ":premises" || keyword == ":discharge") {
    read_names(reader, step, keyword == ":discharge");
  } else if (keyword == ":args") {
    reader.expect(TokenKind::kOpen, "arguments in brackets");
    while (reader.next().kind != TokenKind::kClose) {
      inference_.arguments.push_back(terms.read());
    }
  } else {
    reader.fail("expected :rule, :premises, :args or :discharge");
  }
}

void Proof::read_names(Reader& reader, Attributes& step, bool is_discharge) {
  reader.expect(TokenKind::kOpen, "names of steps in brackets");
  while (reader.next().kind != TokenKind::kClose) {
    if (reader.token().kind != TokenKind::kSymbol &&
        reader.token().kind != TokenKind::kQuotedSymbol) {
      reader.fail("expected the name of a step");
    }
    const NameId id = names_.intern(reader.token().text);
    if (id >= is_known_.size() || !is_known_[id]) {
      reader.fail("there is no step " + reader.token().text +
                  " before, or it "
                  "is inside of a subproof that has ended");
    }
    if (is_discharge) {
      step.discharged.push_back(id);
    } else {
      inference_.premises.push_back(clauses_[id]);
    }
  }
}

// subproof: if C follows from the assumptions h1 ... hn and what was known
// before, conclude (cl (not h1) ... (not hn) C), without any assumption.
Verdict Proof::check_subproof(const Attributes& step) {
  const Local& local = locals_.back();
  if (!inference_.premises.empty()) return kWrongPremiseCount;
  if (!inference_.arguments.empty()) return kWrongArgumentCount;
  if (!local.has_last) return "the subproof has no steps";
  std::vector<NameId> discharged = step.discharged;
  std::vector<NameId> assumptions = local.assumptions;
  std::sort(discharged.begin(), discharged.end());
  std::sort(assumptions.begin(), assumptions.end());
  if (discharged != assumptions) {
    return "what is discharged is not what the subproof assumes";
  }
  std::vector<TermId> literals;
  for (const NameId name : step.discharged) {
    literals.push_back(inference_.no(clauses_[name][0]));
  }
  literals.insert(literals.end(), local.last.begin(), local.last.end());
  return inference_.concludes(literals);
}

}  // namespace vorn::checker
