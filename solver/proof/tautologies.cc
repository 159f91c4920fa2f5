// SPDX-License-Identifier: MIT
#include "solver/proof/tautologies.h"

#include <algorithm>
#include <cassert>
#include <unordered_set>
#include <utility>

// What holds by itself is propagated as clauses come; the root stands on top of
// that, and the negation of what is to be proved on top of both.

namespace vorn::solver {
namespace {

// Cases that are looked at in one proof.
constexpr int kMostCases = 10000;
// Distinctions of cases within each other.
constexpr int kMostCasesOfLemma = 3;

}  // namespace

void Tautologies::add(std::vector<WrittenLiteral> raw, const char* rule,
                      std::string arguments) {
  Tautology made;
  made.rule = rule;
  made.arguments = std::move(arguments);
  for (const WrittenLiteral l : raw) {
    made.literals.push_back(
        text_.literal(static_cast<WrittenId>(l / 2), l % 2 != 0));
  }
  made.raw = std::move(raw);
  insert(std::move(made));
}

void Tautologies::add_equality(WrittenId term, WrittenId meaning,
                               const char* rule) {
  for (const bool forwards : {true, false}) {
    const std::size_t before = tautologies_.size();
    add({positive(term) + (forwards ? 1 : 0),
         positive(meaning) + (forwards ? 0 : 1)},
        forwards ? "equiv1" : "equiv2");
    if (tautologies_.size() == before) continue;
    tautologies_.back().equality_rule = rule;
    tautologies_.back().left = term;
    tautologies_.back().right = meaning;
  }
}

void Tautologies::add_case(WrittenId number, WrittenId equal, bool is_then) {
  const std::size_t before = tautologies_.size();
  add({positive(terms_.arg(number, 0)) + (is_then ? 1 : 0), positive(equal)},
      is_then ? "ite2" : "ite1");
  if (tautologies_.size() == before) return;
  tautologies_.back().left = number;
}

// Watches two literals that are not false, and assigns what is implied.
void Tautologies::insert(Tautology made) {
  assert(root_.step == 0);
  undo(ground_);
  std::vector<WrittenLiteral>& literals = made.literals;
  std::sort(literals.begin(), literals.end());
  literals.erase(std::unique(literals.begin(), literals.end()), literals.end());
  for (std::size_t k = 1; k < literals.size(); ++k) {
    if (literals[k] == (literals[k - 1] ^ 1U)) return;  // says nothing
  }
  const auto number = static_cast<int>(tautologies_.size());
  for (const WrittenLiteral l : literals) value(l);
  std::stable_partition(literals.begin(), literals.end(),
                        [this](WrittenLiteral l) { return values_[l] >= 0; });
  if (literals.size() > 1) {
    watches_[literals[0]].push_back(number);
    watches_[literals[1]].push_back(number);
  }
  assert(values_[literals[0]] >= 0);
  const bool is_unit = literals.size() == 1 || values_[literals[1]] < 0;
  if (is_unit && values_[literals[0]] == 0) {
    assign(literals[0], number);
    ground_ = trail_.size();
  }
  tautologies_.push_back(std::move(made));
}

// --- Writing ---

// Parts of lemmas first, on a stack of our own: lemmas may follow from lemmas
// without limit.
const ProvedClause& Tautologies::write(int number) {
  const auto at = [this](int n) -> Tautology& {
    return tautologies_[static_cast<std::size_t>(n)];
  };
  std::vector<int> stack;
  if (at(number).proved.step == 0) stack.push_back(number);
  while (!stack.empty()) {
    Tautology& top = at(stack.back());
    const std::size_t height = stack.size();
    if (top.proved.step == 0) {
      for (const int part : top.parts) {
        if (at(part).proved.step == 0) stack.push_back(part);
      }
      if (stack.size() > height) continue;
      write_one(top);
    }
    stack.pop_back();
  }
  return at(number).proved;
}

void Tautologies::write_one(Tautology& tautology) {
  if (tautology.rule == nullptr) {
    std::vector<const ProvedClause*> others;
    for (const int part : tautology.parts) {
      others.push_back(&tautologies_[static_cast<std::size_t>(part)].proved);
    }
    const ProvedClause& first = *others.front();
    others.erase(others.begin());
    tautology.proved = resolve(first, others);
    return;
  }
  std::vector<std::uint64_t> premises;
  if (tautology.equality_rule != nullptr) {
    std::uint64_t& step = equality_steps_[tautology.left];
    if (step == 0) {
      const WrittenId equality = terms_.apply(
          "=", {tautology.left, tautology.right}, store_.make_bool(true));
      step = text_.plain_step({positive(equality)}, tautology.equality_rule, {},
                              "");
    }
    premises.push_back(step);
  } else if (tautology.left != kNotWritten) {
    premises.push_back(cases_of(tautology.left));
  }
  tautology.proved =
      text_.step(tautology.raw, tautology.rule, premises, tautology.arguments);
}

// One application of the rule, to a sum if there are several.
void Tautologies::write_cases(const std::vector<WrittenId>& numbers) {
  std::vector<WrittenId> left;
  for (const WrittenId number : numbers) {
    if (case_steps_.try_emplace(number, 0).second) left.push_back(number);
  }
  if (left.empty()) return;
  const Term* holds = store_.make_bool(true);
  const auto equal = [&](WrittenId a, WrittenId b) {
    return terms_.apply(
        "=", {a, b}, store_.make_equal(terms_.meaning(a), terms_.meaning(b)));
  };
  const WrittenId all = left.size() == 1
                            ? left[0]
                            : terms_.apply("+", left, terms_.meaning(left[0]));
  const WrittenId same = equal(all, all);
  std::vector<WrittenId> parts{same};
  for (const WrittenId number : left) {
    parts.push_back(terms_.apply(
        "ite",
        {terms_.arg(number, 0), equal(number, terms_.arg(number, 1)),
         equal(number, terms_.arg(number, 2))},
        holds));
  }
  const WrittenId both = terms_.apply("and", parts, holds);
  const WrittenId intro = terms_.apply("=", {same, both}, holds);
  const std::uint64_t reflexive =
      text_.plain_step({positive(same)}, "eq_reflexive", {}, "");
  const std::uint64_t introduced =
      text_.plain_step({positive(intro)}, "ite_intro", {}, "");
  const std::uint64_t implied = text_.plain_step(
      {positive(same) + 1, positive(both)}, "equiv1", {introduced}, "");
  const std::uint64_t whole =
      text_.plain_step({positive(both)}, "resolution", {reflexive, implied},
                       text_.text(same) + " true");
  for (std::size_t k = 0; k < left.size(); ++k) {
    case_steps_[left[k]] = text_.plain_step({positive(parts[k + 1])}, "and",
                                            {whole}, std::to_string(k + 1));
  }
}

// The step that says (ite c (= v a) (= v b)), for v = (ite c a b).
std::uint64_t Tautologies::cases_of(WrittenId number) {
  write_cases({number});
  return case_steps_.at(number);
}

ProvedClause Tautologies::prove_branch(WrittenId number, bool is_first) {
  const WrittenId branch = terms_.arg(number, is_first ? 1 : 2);
  const WrittenId equal =
      terms_.apply("=", {number, branch}, store_.make_bool(true));
  const WrittenLiteral condition = positive(terms_.arg(number, 0));
  return text_.step({condition + (is_first ? 1 : 0), positive(equal)},
                    is_first ? "ite2" : "ite1", {cases_of(number)});
}

// --- Propagation ---

void Tautologies::grow(WrittenLiteral literal) {
  const std::size_t size = (literal | 1U) + 1;
  values_.resize(size, 0);
  watches_.resize(size);
  reasons_.resize(size / 2, kNoReason);
}

void Tautologies::assign(WrittenLiteral literal, int reason) {
  value(literal) = 1;
  values_[literal ^ 1U] = -1;
  reasons_[literal / 2] = reason;
  trail_.push_back(literal);
}

// A tautology whose literals are all false, or kNoReason.
int Tautologies::propagate() {
  while (head_ < trail_.size()) {
    const WrittenLiteral falsified = trail_[head_++] ^ 1U;
    std::vector<int>& list = watches_[falsified];
    std::size_t kept = 0;
    for (std::size_t k = 0; k < list.size(); ++k) {
      const int number = list[k];
      std::vector<WrittenLiteral>& literals =
          tautologies_[static_cast<std::size_t>(number)].literals;
      if (literals[0] == falsified) std::swap(literals[0], literals[1]);
      list[kept++] = number;
      if (values_[literals[0]] > 0) continue;
      const auto other =
          std::find_if(literals.begin() + 2, literals.end(),
                       [this](WrittenLiteral l) { return values_[l] >= 0; });
      if (other != literals.end()) {
        std::swap(literals[1], *other);
        watches_[literals[1]].push_back(number);
        --kept;
        continue;
      }
      if (values_[literals[0]] == 0) {
        assign(literals[0], number);
        continue;
      }
      while (++k < list.size()) list[kept++] = list[k];
      list.resize(kept);
      return number;
    }
    list.resize(kept);
  }
  return kNoReason;
}

void Tautologies::undo(std::size_t size) {
  while (trail_.size() > size) {
    values_[trail_.back()] = values_[trail_.back() ^ 1U] = 0;
    trail_.pop_back();
  }
  head_ = std::min(head_, size);
}

void Tautologies::set_root(WrittenId term, std::uint64_t step) {
  clear_root();
  root_.literals = {text_.literal(term)};
  root_.step = step;
  is_root_settled_ = false;
}

void Tautologies::clear_root() {
  if (root_.step == 0) return;
  undo(ground_);
  root_ = ProvedClause();
  root_conflict_ = kNoReason;
  is_root_settled_ = true;
}

// Assigns what holds without further assumptions. What contradicts the root, or
// kNoReason.
int Tautologies::settle() {
  if (root_.step == 0 || !is_root_settled_) {
    undo(ground_);
    [[maybe_unused]] const int conflict = propagate();
    assert(conflict == kNoReason);
    ground_ = base_ = trail_.size();
  }
  if (!is_root_settled_) {
    is_root_settled_ = true;
    const WrittenLiteral root = root_.literals[0];
    if (value(root) < 0) {
      root_conflict_ = kRoot;
    } else {
      if (value(root) == 0) assign(root, kRoot);
      root_conflict_ = propagate();
    }
    base_ = trail_.size();
  }
  return root_conflict_;
}

// --- Proofs ---

ProvedClause Tautologies::prove(const std::vector<WrittenLiteral>& clause) {
  const int conflict = settle();
  if (conflict != kNoReason) return analyze(conflict);
  std::vector<WrittenLiteral> literals = clause;
  num_cases_ = 0;
  return do_prove(literals);
}

// Assigns the negations of the literals, until there is a conflict: that, or
// what implies a literal; or kNoReason.
int Tautologies::falsify(const std::vector<WrittenLiteral>& clause) {
  for (const WrittenLiteral literal : clause) {
    if (value(literal) > 0 && reasons_[literal / 2] != kNoReason) {
      return reasons_[literal / 2];
    }
    if (value(literal) != 0) continue;
    assign(literal ^ 1U, kNoReason);
    const int conflict = propagate();
    if (conflict != kNoReason) return conflict;
  }
  return kNoReason;
}

ProvedClause Tautologies::do_prove(std::vector<WrittenLiteral>& clause) {
  ProvedClause result;
  const int conflict = falsify(clause);
  if (conflict != kNoReason) {
    result = analyze(conflict);
    undo(base_);
    return result;
  }
  const WrittenLiteral split = ++num_cases_ < kMostCases ? pick_case() : 0;
  undo(base_);
  if (split == 0) return result;
  ProvedClause halves[2];
  for (const std::size_t k : {0U, 1U}) {
    clause.push_back(split ^ k);
    halves[k] = do_prove(clause);
    clause.pop_back();
    const std::vector<WrittenLiteral>& literals = halves[k].literals;
    if (halves[k].step == 0 || std::find(literals.begin(), literals.end(),
                                         split ^ k) == literals.end()) {
      return halves[k];
    }
  }
  return resolve(halves[0], {&halves[1]});
}

bool Tautologies::add_lemma(const std::vector<WrittenLiteral>& clause,
                            WrittenLiteral split) {
  settle();
  std::vector<WrittenLiteral> literals = clause;
  return derive(literals, split, 0) >= 0;
}

// The number of a lemma that is the clause, or a part of it; negative if there
// is none.
int Tautologies::derive(std::vector<WrittenLiteral>& clause,
                        WrittenLiteral split, int depth) {
  const int conflict = falsify(clause);
  Tautology made;
  if (conflict != kNoReason) {
    Chain chain =
        trace(tautologies_[static_cast<std::size_t>(conflict)].literals);
    chain.parts.insert(chain.parts.begin(), conflict);
    made.literals = std::move(chain.literals);
    made.parts = std::move(chain.parts);
  } else {
    if (split == 0 || value(split) != 0) split = pick_case();
    undo(ground_);
    if (split == 0 || depth == kMostCasesOfLemma) return kNoReason;
    int halves[2];
    for (const std::size_t k : {0U, 1U}) {
      clause.push_back(split ^ k);
      halves[k] = derive(clause, 0, depth + 1);
      clause.pop_back();
      if (halves[k] < 0) return kNoReason;
      const std::vector<WrittenLiteral>& literals =
          tautologies_[static_cast<std::size_t>(halves[k])].literals;
      if (std::find(literals.begin(), literals.end(), split ^ k) ==
          literals.end()) {
        return halves[k];
      }
      made.literals.insert(made.literals.end(), literals.begin(),
                           literals.end());
      made.parts.push_back(halves[k]);
    }
    made.literals.erase(
        std::remove_if(
            made.literals.begin(), made.literals.end(),
            [split](WrittenLiteral l) { return (l | 1U) == (split | 1U); }),
        made.literals.end());
  }
  undo(ground_);
  if (made.parts.size() == 1) return made.parts[0];
  const auto number = static_cast<int>(tautologies_.size());
  insert(std::move(made));
  settle();
  return number;
}

// An undecided part of what is assigned, the latest first: a condition if there
// is one; 0 if there is none.
WrittenLiteral Tautologies::pick_case() {
  WrittenLiteral found = 0;
  for (std::size_t k = trail_.size(); k-- > 0;) {
    const auto term = static_cast<WrittenId>(trail_[k] / 2);
    for (const WrittenId part : terms_.args(term)) {
      if (!terms_.meaning(part)->is_bool()) continue;
      const WrittenLiteral literal = text_.literal(part);
      if (value(literal) != 0) continue;
      if (terms_.kind(term) == WrittenKind::kIte ||
          terms_.kind(term) == WrittenKind::kXor ||
          terms_.kind(term) == WrittenKind::kEqual) {
        return literal;
      }
      if (found == 0) found = literal;
    }
    // The numbers by cases that a comparison is about.
    std::vector<WrittenId> stack;
    if (terms_.kind(term) >= WrittenKind::kEqual) stack = terms_.args(term);
    while (!stack.empty()) {
      const WrittenId top = stack.back();
      stack.pop_back();
      if (terms_.meaning(top)->is_bool()) continue;
      if (terms_.kind(top) == WrittenKind::kIte) {
        const WrittenLiteral literal = text_.literal(terms_.arg(top, 0));
        if (value(literal) == 0) return literal;
      }
      for (const WrittenId part : terms_.args(top)) stack.push_back(part);
    }
  }
  return found;
}

// What is left of a clause whose literals are false, but perhaps one that it
// implied, when those that were implied are resolved away.
Tautologies::Chain Tautologies::trace(
    const std::vector<WrittenLiteral>& start) const {
  std::unordered_set<WrittenLiteral> open(start.begin(), start.end());
  Chain chain;
  for (std::size_t k = trail_.size(); k-- > 0;) {
    const WrittenLiteral implied = trail_[k];
    const int reason = reasons_[implied / 2];
    if (open.count(implied ^ 1U) == 0 || reason == kNoReason) continue;
    open.erase(implied ^ 1U);
    const std::vector<WrittenLiteral>& literals =
        reason == kRoot
            ? root_.literals
            : tautologies_[static_cast<std::size_t>(reason)].literals;
    for (const WrittenLiteral l : literals) {
      if (l != implied) open.insert(l);
    }
    chain.parts.push_back(reason);
  }
  chain.literals.assign(open.begin(), open.end());
  return chain;
}

ProvedClause Tautologies::analyze(int conflict) {
  return do_reduce(conflict == kRoot ? root_ : write(conflict));
}

ProvedClause Tautologies::reduce(const ProvedClause& clause) {
  const int conflict = settle();
  return conflict == kNoReason ? do_reduce(clause) : analyze(conflict);
}

ProvedClause Tautologies::do_reduce(const ProvedClause& clause) {
  std::vector<const ProvedClause*> others;
  for (const int part : trace(clause.literals).parts) {
    others.push_back(part == kRoot ? &root_ : &write(part));
  }
  return resolve(clause, others);
}

ProvedClause Tautologies::resolve(
    const ProvedClause& first, const std::vector<const ProvedClause*>& others) {
  if (others.empty()) return first;
  ProvedClause result;
  result.literals = resolvent(first, others);
  if (pivots_.empty()) return first;
  result.step = text_.resolution(result.literals, premises_, pivots_);
  return result;
}

// Leaves behind what was resolved, in premises_ and pivots_.
std::vector<WrittenLiteral> Tautologies::resolvent(
    const ProvedClause& first, const std::vector<const ProvedClause*>& others) {
  const auto is_open = [this](WrittenLiteral literal) -> char& {
    if (literal >= open_.size()) open_.resize((literal | 1U) + 1, 0);
    return open_[literal];
  };
  std::vector<WrittenLiteral> literals;
  const auto open = [&](WrittenLiteral literal) {
    if (std::exchange(is_open(literal), 1) == 0) literals.push_back(literal);
  };
  for (const WrittenLiteral literal : first.literals) open(literal);
  premises_.assign(1, first.step);
  pivots_.clear();
  for (const ProvedClause* other : others) {
    const auto pivot =
        std::find_if(other->literals.begin(), other->literals.end(),
                     [&](WrittenLiteral l) { return is_open(l ^ 1U) != 0; });
    if (pivot == other->literals.end()) continue;
    is_open(*pivot ^ 1U) = 0;
    for (const WrittenLiteral l : other->literals) {
      if (l != *pivot) open(l);
    }
    premises_.push_back(other->step);
    pivots_.push_back(*pivot);
  }
  // A literal that went and came again stands there twice.
  literals.erase(std::remove_if(literals.begin(), literals.end(),
                                [this](WrittenLiteral l) {
                                  return std::exchange(open_[l], 0) == 0;
                                }),
                 literals.end());
  return literals;
}

}  // namespace vorn::solver
