// SPDX-License-Identifier: MIT
#include <algorithm>
#include <optional>
#include <sstream>
#include <utility>

#include "solver/api/state.h"
#include "solver/proof/proof_writer.h"
#include "solver/proof/written_terms.h"
#include "solver/terms/term_printer.h"

// What a session says as a script, and proofs about that script. There is no
// text that somebody wrote, so each term is written as it is, in both.

namespace vorn::api::inner {
namespace {

using solver::Kind;
using solver::Sort;
using solver::Term;
using solver::TermStore;
using solver::WrittenId;
using solver::WrittenTerms;

/// Writes terms as print_term does, which is how script() has them.
class TermWriter {
 public:
  TermWriter(TermStore& store, WrittenTerms& written)
      : store_(store), written_(written) {}

  /// Cost: linear in what is new.
  WrittenId write(const Term* root) {
    std::vector<const Term*> pending{root};
    while (!pending.empty()) {
      const Term* term = pending.back();
      if (known_.count(term) != 0) {
        pending.pop_back();
        continue;
      }
      const std::size_t before = pending.size();
      for (std::size_t k = 0; k < term->num_args; ++k) {
        if (known_.count(term->arg(k)) == 0) pending.push_back(term->arg(k));
      }
      if (pending.size() > before) continue;
      known_.emplace(term, write_known(term));
      pending.pop_back();
    }
    return known_.at(root);
  }

 private:
  WrittenId write_known(const Term* term) {
    if (term->kind == Kind::kNumber) return write_number(term->number(), term);
    if (term->num_args == 0) return written_.leaf(term);
    std::vector<WrittenId> args;
    bool is_real = false;
    for (std::size_t k = 0; k < term->num_args; ++k) {
      args.push_back(known_.at(term->arg(k)));
      is_real = is_real || term->arg(k)->sort == Sort::kReal;
    }
    // An integer beside a real stands for its value; what proofs are made of
    // says so, and a reader of the script takes it so.
    for (std::size_t k = 0; is_real && k < term->num_args; ++k) {
      const Term* arg = term->arg(k);
      if (arg->sort != Sort::kInt) continue;
      const Term* one = store_.make_number(QNumber(1), Sort::kReal);
      args[k] =
          written_.apply("to_real", {args[k]}, store_.make_times(one, arg));
    }
    return written_.apply(solver::operator_of(term->kind), args, term);
  }

  // A fraction stays one: as a leaf it would have a point.
  WrittenId write_number(const QNumber& value, const Term* meaning) {
    if (value.is_integer()) return written_.leaf(meaning);
    const auto real = [this](const QNumber& number) {
      return store_.make_number(number, Sort::kReal);
    };
    if (value.sign() < 0) {
      const WrittenId magnitude = write_number(-value, real(-value));
      return written_.apply("-", {magnitude}, meaning);
    }
    return written_.apply("/",
                          {written_.leaf(real(value.numerator())),
                           written_.leaf(real(value.denominator()))},
                          meaning);
  }

  TermStore& store_;
  WrittenTerms& written_;
  std::unordered_map<const Term*, WrittenId> known_;
};

// What goes with an objective in a script.
std::string name_text(const std::string& name) {
  return " :id " + solver::print_symbol(name) + ")\n";
}

}  // namespace

std::string State::script() const {
  std::string text = "(set-logic ALL)\n";
  for (const Term* symbol : declared) {
    text += "(declare-const " + solver::print_symbol(symbol->name()) + ' ' +
            solver::print_sort(symbol->sort) + ")\n";
  }
  for (const solver::ScriptFormula& assertion : stack.assertions()) {
    const std::string formula = solver::print_term(assertion.term);
    text += "(assert ";
    text += assertion.name ? "(! " + formula + " :named " +
                                 solver::print_symbol(*assertion.name) + ')'
                           : formula;
    text += ")\n";
  }
  for (const solver::ScriptObjective& objective : stack.objectives()) {
    const std::string term = solver::print_term(objective.term);
    if (!objective.term->is_bool()) {
      text += objective.is_maximised ? "(maximize " : "(minimize ";
      text += term;
    } else {
      text += "(assert-soft " + term + " :weight ";
      const QNumber& weight = objective.weight;
      text += weight.is_integer() ? weight.to_str()
                                  : "(/ " + weight.numerator().to_str() + ' ' +
                                        weight.denominator().to_str() + ')';
    }
    text += name_text(objective.name);
  }
  if (assumptions.empty()) return text + "(check-sat)\n";
  text += "(check-sat-assuming (";
  const char* separator = "";
  for (const Term* assumption : assumptions) {
    text += separator + solver::print_term(assumption);
    separator = " ";
  }
  return text + "))\n";
}

// The formula that says that objectives have better values than the best. Null
// if nothing can be better than what there is. Objectives behind one that has
// no best value, or does not reach it, are best among models that no formula
// tells from others; they are left out, and so is one without a best value.
const Term* State::better() {
  const std::vector<solver::ObjectiveResult>& results = stack.results();
  std::size_t count = 0;
  bool is_reached = true;
  for (; count < results.size() && is_reached; ++count) {
    const solver::Extent& best = results[count].interval.low;
    if (best.kind != solver::Extent::Kind::kNumber) break;
    is_reached = best.value.eps().sign() == 0;
  }
  const Term* better = nullptr;
  for (std::size_t k = count; k-- > 0;) {
    const solver::ObjectiveResult& result = results[k];
    const Term* best = number(result.interval.low.value.rational());
    // What formulas cost is a sum.
    const Term* term = nullptr;
    for (const std::size_t member : result.members) {
      const solver::ScriptObjective& objective = stack.objectives()[member];
      const Term* part = objective.term;
      if (part->is_bool()) {
        const Term* nothing = number(QNumber(0));
        const Term* weight = number(objective.weight);
        unify(nothing, weight);
        part = store.make_ite(part, nothing, weight);
      }
      term = term == nullptr ? part : plus(term, part);
    }
    const auto compared = [&](bool strict) {
      return result.is_maximised ? compare(best, term, strict)
                                 : compare(term, best, strict);
    };
    if (better == nullptr) {
      better = compared(is_reached);
      continue;
    }
    const Term* also = compared(false);
    better = store.make_or(compared(true), store.make_and({also, better}));
  }
  return better;
}

// Shows that the objectives can be no better; false if that was cut short.
bool State::refute_improvement() {
  improvement = better();
  improvement_text.clear();
  if (improvement == nullptr) return true;
  if (stack.check_besides(improvement) != solver::Answer::kUnsat) return false;
  improvement_text = solver::print_term(improvement);
  return true;
}

std::string State::proof() {
  std::string proof;
  const bool had_memory = search([&] {
    const bool is_best = stage == Stage::kSat && !stack.objectives().empty();
    if (stage != Stage::kUnsat && !is_best) return;
    if (is_best && (!refute_improvement() || improvement == nullptr)) return;
    WrittenTerms written(store);
    TermWriter writer(store, written);
    solver::WrittenFormulas given;
    const auto assume = [&](const Term* term) {
      given.emplace(term, writer.write(term));
    };
    if (improvement != nullptr) assume(improvement);
    for (const Term* assumption : assumptions) assume(assumption);
    std::vector<const Term*> asserted;
    for (const solver::ScriptFormula& assertion : stack.assertions()) {
      if (stack.is_assumed(assertion)) {
        assume(assertion.term);
      } else {
        asserted.push_back(assertion.term);
      }
    }
    std::ostringstream out;
    // Else a stream that ran out of memory would drop the rest in silence.
    out.exceptions(std::ostream::badbit);
    const bool is_proved = solver::write_proof(
        store, written, stack.engine().refutation(),
        [&](std::size_t position) { return writer.write(asserted[position]); },
        given, out);
    if (is_proved) proof = "(\n" + out.str() + ")\n";
  });
  if (!had_memory) throw std::bad_alloc();
  return proof;
}

}  // namespace vorn::api::inner
