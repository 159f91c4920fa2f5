// SPDX-License-Identifier: MIT
#include "solver/explain/explanation.h"

#include <algorithm>
#include <set>
#include <sstream>
#include <utility>

#include "solver/engine/atom_normaliser.h"
#include "solver/explain/core_minimiser.h"
#include "solver/explain/stated_bounds.h"
#include "solver/terms/linear_sum.h"
#include "solver/terms/term_printer.h"

namespace vorn::solver {
namespace {

// Longest text of an assertion.
constexpr std::size_t kLongestText = 100;
// Up to this size, a core is made minimal without being asked to.
constexpr std::size_t kSmallCore = 16;
constexpr std::size_t kGap = 3;

/// A line of the table: where, what, and a remark.
struct Row {
  std::string place;
  std::string statement;
  std::string remark;
};

// Columns line up; a remark follows after the widest statement.
std::string table(const std::vector<Row>& rows) {
  std::size_t places = 0;
  std::size_t statements = 0;
  for (const Row& row : rows) {
    places = std::max(places, row.place.size());
    statements = std::max(statements, row.statement.size());
  }
  std::string text;
  for (const Row& row : rows) {
    text += "  " + row.place + std::string(places - row.place.size(), ' ') +
            std::string(kGap, ' ') + row.statement;
    if (!row.remark.empty()) {
      text += std::string(statements - row.statement.size() + kGap, ' ') +
              row.remark;
    }
    text += '\n';
  }
  return text;
}

// A quoted symbol may hold line breaks.
std::string without_breaks(std::string text) {
  std::replace(text.begin(), text.end(), '\n', ' ');
  std::replace(text.begin(), text.end(), '\r', ' ');
  return text;
}

std::string place_of(const ScriptFormula& formula) {
  const char* unit = formula.assumed ? "assumption " : "assertion ";
  std::string text =
      (formula.is_numbered ? unit : "line ") + std::to_string(formula.line);
  if (formula.name != nullptr) {
    text += " (" + without_breaks(print_symbol(*formula.name)) + ')';
  }
  if (formula.assumed && !formula.is_numbered) text += " (assumed)";
  return text;
}

std::string text_of(const ScriptFormula& formula) {
  return on_one_line(
      formula.text.empty() ? print_term(formula.term) : formula.text.str(),
      kLongestText);
}

// --- Inequalities ---

const char* comparison(bool strict) {
  return strict ? " < " : " <= ";
}

std::string bound_text(const DifferenceBound& bound) {
  std::string text;
  if (bound.target != nullptr) text = print_term(bound.target);
  if (bound.source != nullptr) {
    text += (text.empty() ? "-" : " - ") + print_term(bound.source);
  }
  return without_breaks(text + comparison(bound.weight.eps().sign() < 0) +
                        bound.weight.rational().to_str());
}

// The bound before it was scaled and rounded: what stands before positive
// coefficients first.
std::string sum_text(const LinearSum& sum, const char* comparison) {
  std::string text;
  for (const bool positive : {true, false}) {
    for (const LinearSum::Monomial& m : sum.monomials) {
      if ((m.coefficient.sign() > 0) != positive) continue;
      const QNumber factor = positive ? m.coefficient : -m.coefficient;
      const char* sign = text.empty() ? "-" : " - ";
      if (positive) sign = text.empty() ? "" : " + ";
      text += sign;
      if (factor != QNumber(1)) text += factor.to_str() + '*';
      text += print_term(m.leaf);
    }
  }
  if (text.empty()) text = "0";
  return without_breaks(text + comparison + (-sum.constant).to_str());
}

std::string equality_text(const Term* equality) {
  LinearSum sum;
  Lineariser().linearise_difference(equality->arg(0), equality->arg(1), sum);
  if (sum.monomials.size() == 1) {
    // "x = 4", whichever side of it was written first.
    const QNumber factor = sum.monomials[0].coefficient;
    sum.monomials[0].coefficient = QNumber(1);
    sum.constant /= factor;
  }
  return sum_text(sum, " = ");
}

Row row_of(const StatedBound& stated, const ScriptFormula& formula) {
  Row row;
  row.place = place_of(formula);
  const std::string unrounded = sum_text(stated.sum, comparison(stated.strict));
  row.statement = bound_text(stated.bound);
  if (row.statement != unrounded) {
    row.remark = "from " + unrounded;
    if (stated.integer) row.remark += " over the integers";
  } else if (stated.written->kind == Kind::kEqual) {
    // This is half of what is written there.
    row.remark = "from " + equality_text(stated.written);
  }
  return row;
}

Row sum_row(const std::vector<StatedBound>& bounds,
            const std::vector<std::size_t>& chain) {
  la::DNumber total;
  for (const std::size_t k : chain) total += bounds[k].bound.weight;
  return {"sum",
          "0" + std::string(comparison(total.eps().sign() < 0)) +
              total.rational().to_str() + ", which is false",
          ""};
}

// --- What is said ---

std::string count_text(const std::vector<ScriptFormula>& formulas,
                       const std::set<std::size_t>& members) {
  const bool assumed =
      std::any_of(members.begin(), members.end(),
                  [&formulas](std::size_t k) { return formulas[k].assumed; });
  const char* word = assumed ? "assumption" : "assertion";
  if (members.size() == 1) return std::string("this ") + word + " cannot hold:";
  return "these " + std::to_string(members.size()) + " assertions" +
         (assumed ? " and assumptions" : "") + " cannot hold together:";
}

std::string explain_by_chain(const std::vector<ScriptFormula>& formulas,
                             const std::vector<StatedBound>& bounds,
                             const std::vector<std::size_t>& chain) {
  std::vector<Row> rows;
  std::set<std::size_t> members;
  for (const std::size_t k : chain) {
    members.insert(bounds[k].formula);
    rows.push_back(row_of(bounds[k], formulas[bounds[k].formula]));
  }
  rows.push_back(sum_row(bounds, chain));
  return "unsat, because " + count_text(formulas, members) + '\n' + table(rows);
}

std::string list_text(const std::vector<ScriptFormula>& formulas,
                      const std::set<std::size_t>& members) {
  std::vector<Row> rows;
  for (const std::size_t k : members) {
    rows.push_back({place_of(formulas[k]), text_of(formulas[k]), ""});
  }
  return table(rows);
}

std::string explain_by_clash(const std::vector<ScriptFormula>& formulas,
                             const Clash& clash) {
  const std::set<std::size_t> members{clash.affirmed, clash.denied};
  std::string text = "unsat, because " + count_text(formulas, members) + '\n' +
                     list_text(formulas, members);
  if (clash.term->kind != Kind::kTrue && clash.term->kind != Kind::kFalse) {
    text += "  since " +
            on_one_line(print_term(clash.term, kLongestText), kLongestText) +
            " would have to be both true and false\n";
  }
  return text;
}

std::string explain_by_core(TermStore& store, const EngineOptions& options,
                            const std::atomic<bool>* stop, bool minimize,
                            const std::vector<ScriptFormula>& formulas,
                            const std::function<void()>& poll) {
  std::string text =
      "unsat, but no single chain of inequalities shows it: it takes a "
      "distinction of cases.\n";
  Engine engine(store, options);
  engine.set_stop(stop);
  engine.set_poll(poll);
  CoreMinimiser minimiser(engine, terms_of(formulas));
  const Answer answer = minimiser.narrow();
  if (answer == Answer::kSat) {
    return "internal error: the assertions have a model\n";
  }
  if (answer == Answer::kUnknown && formulas.size() > kSmallCore) {
    return text +
           "There was not enough time or memory to find out which of the " +
           std::to_string(formulas.size()) + " assertions it takes.\n";
  }
  const bool shrinks = minimize || minimiser.core().size() <= kSmallCore;
  if (shrinks && !minimiser.gave_up()) minimiser.minimise();
  const std::set<std::size_t> core(minimiser.core().begin(),
                                   minimiser.core().end());
  std::string count = count_text(formulas, core);
  count[0] = 'T';
  text += count + '\n' + list_text(formulas, core);
  if (minimiser.gave_up()) {
    text += "  maybe fewer; there was no time to find out\n";
  }
  return text;
}

std::string in_comments(const std::string& text) {
  std::istringstream lines(text);
  std::string result;
  std::string line;
  while (std::getline(lines, line)) result += "; " + line + '\n';
  return result;
}

}  // namespace

std::string explain_unsat(TermStore& store, const EngineOptions& options,
                          const std::atomic<bool>* stop, bool minimize,
                          const std::vector<ScriptFormula>& formulas,
                          const std::function<void()>& poll) {
  AtomNormaliser normaliser(store);
  const Statements statements =
      read_statements(store, normaliser, terms_of(formulas), false);
  const std::vector<std::size_t> chain = find_negative_cycle(statements.bounds);
  if (!chain.empty()) {
    return in_comments(explain_by_chain(formulas, statements.bounds, chain));
  }
  return in_comments(
      statements.clash
          ? explain_by_clash(formulas, *statements.clash)
          : explain_by_core(store, options, stop, minimize, formulas, poll));
}

std::string on_one_line(std::string_view text, std::size_t limit) {
  std::string line;
  std::size_t characters = 0;
  bool space = false;
  for (const char c : text) {
    if (c == ' ' || c == '\n' || c == '\t' || c == '\r') {
      space = true;
      continue;
    }
    const bool starts_character =
        (static_cast<unsigned char>(c) & 0xC0U) != 0x80U;
    if (space && !line.empty()) {
      line += ' ';
      ++characters;
    }
    space = false;
    if (starts_character && characters >= limit) return line + "...";
    line += c;
    if (starts_character) ++characters;
  }
  return line;
}

}  // namespace vorn::solver
