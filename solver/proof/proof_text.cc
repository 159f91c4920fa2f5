// SPDX-License-Identifier: MIT
#include "solver/proof/proof_text.h"

#include <algorithm>

namespace vorn::solver {

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

// A stack of what is still to be written: terms, and closing texts.
std::string ProofText::text(WrittenId term) {
  struct Item {
    WrittenId term;
    std::string closing;
  };
  std::string result;
  std::vector<Item> pending{{term, ""}};
  while (!pending.empty()) {
    const Item item = std::move(pending.back());
    pending.pop_back();
    if (item.term == kNotWritten) {
      result += item.closing;
      continue;
    }
    if (!result.empty() && result.back() != '(') result += ' ';
    const std::size_t count = terms_.num_args(item.term);
    if (count == 0) {
      result += terms_.text(item.term);
      continue;
    }
    std::string closing = ")";
    if (is_named(item.term)) {
      const std::string name = "@" + std::to_string(item.term);
      if (has_name_.size() <= item.term) has_name_.resize(terms_.size(), 0);
      if (has_name_[item.term] != 0) {
        result += name;
        continue;
      }
      has_name_[item.term] = 1;
      result += "(! ";
      closing = ") :named " + name + ')';
    }
    result += '(' + terms_.text(item.term);
    pending.push_back({kNotWritten, closing});
    for (std::size_t k = count; k-- > 0;) {
      pending.push_back({terms_.arg(item.term, k), ""});
    }
  }
  return result;
}

std::string ProofText::literal_text(WrittenLiteral literal) {
  const std::string term = text(static_cast<WrittenId>(literal / 2));
  return literal % 2 == 0 ? term : "(not " + term + ')';
}

std::uint64_t ProofText::plain_step(const std::vector<WrittenLiteral>& literals,
                                    const char* rule,
                                    const std::vector<std::uint64_t>& premises,
                                    const std::string& arguments) {
  out_ << "(step t" << ++num_steps_ << " (cl";
  for (const WrittenLiteral literal : literals) {
    out_ << ' ' << literal_text(literal);
  }
  out_ << ") :rule " << rule;
  if (!premises.empty()) {
    out_ << " :premises (";
    for (std::size_t k = 0; k < premises.size(); ++k) {
      out_ << (k == 0 ? "t" : " t") << premises[k];
    }
    out_ << ')';
  }
  if (!arguments.empty()) out_ << " :args (" << arguments << ')';
  out_ << ")\n";
  return num_steps_;
}

ProvedClause ProofText::assume(WrittenId term) {
  out_ << "(assume t" << ++num_steps_ << ' ' << text(term) << ")\n";
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
