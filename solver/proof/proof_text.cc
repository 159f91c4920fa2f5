// SPDX-License-Identifier: MIT
#include "solver/proof/proof_text.h"

#include <algorithm>
#include <charconv>

namespace vorn::solver {
namespace {

// Characters that are written at once.
constexpr std::size_t kBlock = std::size_t{1} << 16U;

}  // namespace

WrittenLiteral ProofText::literal(WrittenId term, bool negated) const {
  while (terms_.kind(term) == WrittenKind::kNot) {
    term = terms_.arg(term, 0);
    negated = !negated;
  }
  return 2 * WrittenLiteral{term} + (negated ? 1 : 0);
}

bool ProofText::is_named(WrittenId term) const {
  return terms_.num_args(term) > 0 && terms_.kind(term) != WrittenKind::kNot &&
         (terms_.kind(term) != WrittenKind::kOther);
}

void ProofText::put_number(std::uint64_t number) {
  char digits[20];
  const auto end = std::to_chars(digits, digits + sizeof(digits), number);
  buffer_.append(digits, end.ptr);
}

void ProofText::put_term(WrittenId term) {
  if (term < has_name_.size() && has_name_[term] != 0) {
    buffer_ += '@';
    put_number(term);
  } else if (terms_.num_args(term) == 0) {
    buffer_ += terms_.text(term);
  } else {
    put_application(term);
  }
}

// A stack of what is still to be written: terms, and closing texts.
void ProofText::put_application(WrittenId term) {
  struct Item {
    WrittenId term;
    std::string closing;
  };
  std::vector<Item> pending{{term, ""}};
  bool is_first = true;
  while (!pending.empty()) {
    const Item item = std::move(pending.back());
    pending.pop_back();
    if (item.term == kNotWritten) {
      buffer_ += item.closing;
      continue;
    }
    if (!is_first) buffer_ += ' ';
    is_first = false;
    const std::size_t count = terms_.num_args(item.term);
    const bool has_name =
        item.term < has_name_.size() && has_name_[item.term] != 0;
    if (count == 0 || has_name) {
      put_term(item.term);
      continue;
    }
    std::string closing = ")";
    if (is_named(item.term)) {
      if (has_name_.size() <= item.term) has_name_.resize(terms_.size(), 0);
      has_name_[item.term] = 1;
      buffer_ += "(! ";
      closing = ") :named @" + std::to_string(item.term) + ')';
    }
    buffer_ += '(';
    buffer_ += terms_.text(item.term);
    pending.push_back({kNotWritten, std::move(closing)});
    for (std::size_t k = count; k-- > 0;) {
      pending.push_back({terms_.arg(item.term, k), ""});
    }
  }
}

std::string ProofText::text(WrittenId term) {
  const std::size_t size = buffer_.size();
  put_term(term);
  std::string result = buffer_.substr(size);
  buffer_.resize(size);
  return result;
}

void ProofText::put_clause(const std::vector<WrittenLiteral>& literals) {
  buffer_ += "(step t";
  put_number(++num_steps_);
  buffer_ += " (cl";
  for (const WrittenLiteral literal : literals) {
    const auto term = static_cast<WrittenId>(literal / 2);
    if (literal % 2 == 0) {
      buffer_ += ' ';
      put_term(term);
    } else {
      buffer_ += " (not ";
      put_term(term);
      buffer_ += ')';
    }
  }
  buffer_ += ") :rule ";
}

void ProofText::put_premises(const std::vector<std::uint64_t>& premises) {
  buffer_ += " :premises (";
  for (std::size_t k = 0; k < premises.size(); ++k) {
    buffer_ += k == 0 ? "t" : " t";
    put_number(premises[k]);
  }
  buffer_ += ')';
}

void ProofText::flush() {
  out_.write(buffer_.data(), static_cast<std::streamsize>(buffer_.size()));
  buffer_.clear();
}

std::uint64_t ProofText::plain_step(const std::vector<WrittenLiteral>& literals,
                                    const char* rule,
                                    const std::vector<std::uint64_t>& premises,
                                    const std::string& arguments) {
  put_clause(literals);
  buffer_ += rule;
  if (!premises.empty()) put_premises(premises);
  if (!arguments.empty()) {
    buffer_ += " :args (";
    buffer_ += arguments;
    buffer_ += ')';
  }
  buffer_ += ")\n";
  if (buffer_.size() >= kBlock) flush();
  return num_steps_;
}

std::uint64_t ProofText::resolution(const std::vector<WrittenLiteral>& literals,
                                    const std::vector<std::uint64_t>& premises,
                                    const std::vector<WrittenLiteral>& pivots) {
  put_clause(literals);
  buffer_ += "resolution";
  put_premises(premises);
  buffer_ += " :args (";
  for (std::size_t k = 0; k < pivots.size(); ++k) {
    if (k > 0) buffer_ += ' ';
    put_term(static_cast<WrittenId>(pivots[k] / 2));
    // What stands in the premise so stood in what there was the other way.
    buffer_ += pivots[k] % 2 == 0 ? " false" : " true";
  }
  buffer_ += "))\n";
  if (buffer_.size() >= kBlock) flush();
  return num_steps_;
}

ProvedClause ProofText::assume(WrittenId term) {
  buffer_ += "(assume t";
  put_number(++num_steps_);
  buffer_ += ' ';
  put_term(term);
  buffer_ += ")\n";
  return without_double_negations({2 * WrittenLiteral{term}}, num_steps_);
}

ProvedClause ProofText::step(const std::vector<WrittenLiteral>& literals,
                             const char* rule,
                             const std::vector<std::uint64_t>& premises,
                             const std::string& arguments) {
  return without_double_negations(
      literals, plain_step(literals, rule, premises, arguments));
}

ProvedClause ProofText::without_double_negations(
    const std::vector<WrittenLiteral>& literals, std::uint64_t step) {
  const bool has_not =
      std::any_of(literals.begin(), literals.end(), [this](WrittenLiteral l) {
        return terms_.kind(static_cast<WrittenId>(l / 2)) == WrittenKind::kNot;
      });
  if (!has_not) {
    ProvedClause result{literals, step};
    std::sort(result.literals.begin(), result.literals.end());
    result.literals.erase(
        std::unique(result.literals.begin(), result.literals.end()),
        result.literals.end());
    return result;
  }
  // A clause is a set: one resolution takes out all that are the same.
  std::vector<WrittenLiteral> current;
  for (const WrittenLiteral l : literals) {
    if (std::find(current.begin(), current.end(), l) == current.end()) {
      current.push_back(l);
    }
  }
  for (std::size_t k = 0; k < current.size(); ++k) {
    for (;;) {
      const auto term = static_cast<WrittenId>(current[k] / 2);
      if (terms_.kind(term) != WrittenKind::kNot) break;
      WrittenId inner = terms_.arg(term, 0);
      if (current[k] % 2 == 0) {
        if (terms_.kind(inner) != WrittenKind::kNot) break;
        inner = terms_.arg(inner, 0);
      }
      // not_not: (cl (not (not (not p))) p), for p = inner.
      const WrittenId once = terms_.negate(inner);
      const WrittenId twice = terms_.negate(once);
      const std::uint64_t rule =
          plain_step({2 * WrittenLiteral{twice} + 1, 2 * WrittenLiteral{inner}},
                     "not_not", {}, "");
      current[k] = 2 * WrittenLiteral{inner};
      std::vector<WrittenLiteral> once_each = current;
      std::sort(once_each.begin(), once_each.end());
      once_each.erase(std::unique(once_each.begin(), once_each.end()),
                      once_each.end());
      step = plain_step(once_each, "resolution", {step, rule},
                        text(twice) + " true");
    }
  }
  ProvedClause result;
  result.step = step;
  for (const WrittenLiteral l : current) {
    result.literals.push_back(
        literal(static_cast<WrittenId>(l / 2), l % 2 != 0));
  }
  std::sort(result.literals.begin(), result.literals.end());
  result.literals.erase(
      std::unique(result.literals.begin(), result.literals.end()),
      result.literals.end());
  return result;
}

}  // namespace vorn::solver
