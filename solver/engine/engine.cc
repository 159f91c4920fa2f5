// SPDX-License-Identifier: MIT
#include "solver/engine/engine.h"

#include <algorithm>
#include <cassert>
#include <new>
#include <optional>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "solver/engine/clause_auditor.h"
#include "solver/engine/difference_theory.h"
#include "solver/engine/encoder.h"
#include "solver/engine/network.h"
#include "solver/engine/problem.h"
#include "solver/engine/small_domains.h"
#include "solver/search/search.h"
#include "solver/terms/evaluator.h"

namespace vorn::solver {
namespace {

la::DNumber value_of(const Target::Difference& difference,
                     const la::DNumber& ends) {
  QNumber value = ends.rational();
  value *= difference.factor;
  value += difference.constant;
  QNumber eps = ends.eps();
  eps *= difference.factor;
  return {value, eps};
}

}  // namespace

/// What solves: rebuilt from the assertions whenever it is missing.
struct Engine::Machinery {
  Machinery(TermStore& store, AtomNormaliser& normaliser,
            const EngineOptions& options)
      : problem(options.keep_proofs || options.keep_schedule),
        small_domains(problem),
        theory(store, problem, options.lemmas, options.lemma_trials,
               options.propagation, options.phase_options()),
        search(attach(theory, search), options.search),
        encoder(store, normaliser, problem) {
    if (options.keep_proofs) {
      search.set_listener(&proof_log.emplace(problem));
      theory.set_log(&*proof_log);
      return;
    }
#ifndef NDEBUG
    search.set_listener(&auditor);
#endif
  }

  // The search is told to the theory before it is built: a pointer to it is
  // all that is kept until then.
  static Theory* attach(DifferenceTheory& theory, Search& search) {
    theory.attach(&search);
    return &theory;
  }

  void open_scope() {
    assert(!has_margin);
    feed();
    scopes.push();
    problem.open_scope();
  }

  /// The engine's scopes that are opened here.
  std::size_t num_scopes() const {
    return scopes.size() - (has_margin ? 1 : 0);
  }

  /// Closes the engine's scope opened last.
  void close_scope() {
    close_margin();
    scopes.pop();
  }

  // The margin is a scope above those of the engine, for assumptions alone.
  void open_margin() {
    open_scope();
    has_margin = true;
  }
  void close_margin() {
    if (!has_margin) return;
    scopes.pop();
    has_margin = false;
    num_margin = 0;
  }

  // The literal of an assumption. Variables that it needs go with the scope,
  // or with the margin if too many of the scope's may be of no more use.
  Literal literal_of_assumption(const Term* term, const Garbage& allowed,
                                std::size_t num_assumptions) {
    if (const auto known = encoder.find(term)) return *known;
    if (!has_margin && exceeds(allowed, num_assumed, num_assumptions)) {
      open_margin();
    }
    const int before = problem.num_variables();
    const Literal literal = encoder.literal_of(term);
    const auto added =
        static_cast<std::size_t>(problem.num_variables() - before);
    (has_margin ? num_margin : num_assumed) += added;
    const bool is_new_bound = added == 1 && literal.variable() == before &&
                              problem.atoms().position_of(before).has_value();
    if (is_new_bound) new_bounds.push_back(before);
    return literal;
  }

  // Whether so many variables for assumptions are too many. Those that level 0
  // settles cost a check nothing, so they are none of the others.
  bool exceeds(const Garbage& allowed, std::size_t num_variables,
               std::size_t num_assumptions) const {
    const std::size_t settled = num_assumed + num_margin + search.num_fixed();
    const auto all = static_cast<std::size_t>(problem.num_variables());
    const std::size_t others = all - std::min(all, settled);
    constexpr std::size_t kEach = 8;
    return allowed.is_exceeded(num_variables, others + kEach * num_assumptions);
  }

  // Clears away what scopes that were left had in the way of constraints and
  // nodes. Variables and clauses of the search went with the scopes; those that
  // it has keep their meaning, so what was learnt stays.
  void renumber() {
    search.retell_theory();
    const std::vector<int> nodes = problem.renumber_atoms();
    small_domains.renumber(nodes);
    theory.renumber(nodes);
  }

  // Hands the search what is new in the problem.
  void feed() {
    theory.update();
    // Bounds that only assumptions mention are not decided where they are not
    // assumed: the numbers of a model say what they are.
    for (const int variable : new_bounds) search.set_passive(variable, true);
    new_bounds.clear();
    Problem::Clause clause;
    while (problem.take_clause(clause)) {
      search.add_clause(clause.literals, clause.origin);
      if (clause.origin.kind == ClauseKind::kNeighbours) continue;
      for (const Literal literal : clause.literals) activate(literal);
    }
  }
  void activate(Literal literal) {
    search.set_passive(literal.variable(), false);
  }

  Problem problem;
  std::optional<ProofLog> proof_log;
  SmallDomains small_domains;
  DifferenceTheory theory;
#ifndef NDEBUG
  ClauseAuditor auditor{problem, &theory.facts_of_clause()};
#endif
  Search search;
  Encoder encoder;
  /// How many of the engine's assertions are encoded.
  std::size_t num_assertions = 0;
  /// Variables that assumptions needed first, those in the margin apart.
  std::size_t num_assumed = 0;
  std::size_t num_margin = 0;
  bool has_margin = false;
  /// Variables of bounds that assumptions needed first, not yet fed.
  std::vector<int> new_bounds;
  /// The engine's scopes, as far as they are opened here, too, and the margin.
  ScopeStack<Search, DifferenceTheory, SmallDomains, Encoder, std::size_t,
             std::size_t, Problem>
      scopes{search,         theory,      small_domains, encoder,
             num_assertions, num_assumed, problem};
};

/// What takes the machinery's place as long as there is nothing to choose.
struct Engine::Facts {
  void open_scope() {
    network.push();
    starts.push_back(num_assertions);
  }
  /// The engine's scopes that are opened here.
  std::size_t num_scopes() const { return starts.size(); }
  /// Closes the engine's scope opened last.
  void close_scope() {
    close_margin();
    network.pop();
    num_assertions = starts.back();
    starts.pop_back();
  }
  // The margin is a scope above those of the engine, for assumptions. It stays
  // while there may be a model to ask for.
  void open_margin() {
    network.push();
    has_margin = true;
  }
  void close_margin() {
    if (has_margin) network.pop();
    has_margin = false;
  }

  Network network;
  /// How many of the engine's assertions the network has.
  std::size_t num_assertions = 0;
  /// How many it had when each scope was opened.
  std::vector<std::size_t> starts;
  bool has_margin = false;
};

/// The symbols' values in the last model, and values of terms on top of them.
class Engine::Model final : public Interpretation {
 public:
  explicit Model(const Machinery& machinery) : machinery_(&machinery) {}
  explicit Model(const Network& network) : network_(&network) {}

  bool bool_value(const Term* symbol) override {
    if (network_ != nullptr) return false;
    const std::optional<Literal> literal = machinery_->encoder.find(symbol);
    return literal && machinery_->search.model_value(*literal);
  }
  QNumber number_value(const Term* symbol) override {
    QNumber value =
        (network_ != nullptr ? network_->value(symbol)
                             : machinery_->theory.model_value(symbol))
            .value_or(QNumber(0));
    if (symbol->sort == Sort::kInt && !value.is_integer()) integral_ = false;
    return value;
  }

  /// The machinery has another model.
  void start() {
    evaluator_.forget();
    integral_ = true;
  }

  /// Whether every integer looked at since the start has an integral value.
  bool is_integral() const { return integral_; }

  Evaluator& evaluator() { return evaluator_; }

  /// Symbols that have values of their own.
  std::vector<const Term*> symbols() const {
    if (network_ != nullptr) return network_->variables();
    std::vector<const Term*> symbols;
    for (const Term* term : machinery_->encoder.encoded()) {
      if (term->kind == Kind::kSymbol) symbols.push_back(term);
    }
    for (const Term* term : machinery_->problem.atoms().variables()) {
      if (term->kind == Kind::kSymbol) symbols.push_back(term);
    }
    return symbols;
  }

 private:
  // One of the two; the other is null.
  const Machinery* machinery_ = nullptr;
  const Network* network_ = nullptr;
  Evaluator evaluator_{*this};
  bool integral_ = true;
};

/// The symbols' values in a model that is gone, and values of terms on top.
class Engine::KeptModel final : public Interpretation {
 public:
  bool bool_value(const Term* symbol) override {
    const auto found = truths_.find(symbol);
    return found != truths_.end() && found->second;
  }
  QNumber number_value(const Term* symbol) override {
    const auto found = numbers_.find(symbol);
    return found == numbers_.end() ? QNumber(0) : found->second;
  }

  /// Takes the values of symbols that have values of their own.
  void copy(Model& model) {
    truths_.clear();
    numbers_.clear();
    evaluator_.forget();
    for (const Term* symbol : model.symbols()) {
      if (symbol->is_bool()) {
        truths_.emplace(symbol, model.bool_value(symbol));
      } else {
        numbers_.emplace(symbol, model.number_value(symbol));
      }
    }
  }
  /// What is swept may come again as something else.
  void forget_swept(const TermSweep& sweep) {
    sweep.drop_from(truths_);
    sweep.drop_from(numbers_);
  }

  Evaluator& evaluator() { return evaluator_; }

 private:
  std::unordered_map<const Term*, bool> truths_;
  std::unordered_map<const Term*, QNumber> numbers_;
  Evaluator evaluator_{*this};
};

Engine::Engine(TermStore& store, const EngineOptions& options)
    : store_(store), options_(options), normaliser_(store) {}

Engine::~Engine() = default;

void Engine::assert_term(const Term* term) {
  assert(term->is_bool() && outside_fragment(term) == nullptr);
  has_model_ = false;
  const bool is_first_choice = first_choice_ == kNone && !states_bounds(term);
  assertions_.push_back(term);
  if (is_first_choice) first_choice_ = assertions_.size() - 1;
  // While it is at hand: to look at millions of terms again takes longer.
  read_facts_early([this] { read_facts(assertions_.size()); });
}

void Engine::assert_bound(const Term* atom, const LinearSum& sum,
                          bool is_strict) {
  assert(outside_fragment(atom) == nullptr && states_bounds(atom));
  has_model_ = false;
  assertions_.push_back(atom);
  read_facts_early([&] {
    read_facts(assertions_.size() - 1);
    facts_->network.add_sum(sum, is_strict);
    ++facts_->num_assertions;
  });
}

// Outside of a check nobody is told that memory ran out: then facts are read in
// the next one, from the stack of assertions, which is whole.
template <class Read>
void Engine::read_facts_early(const Read& read) {
  if (!reads_early_ || leaves_choices({})) return;
  try {
    read();
  } catch (const std::bad_alloc&) {
    model_.reset();
    facts_.reset();
    reads_early_ = false;
  }
}

void Engine::push() {
  has_model_ = false;
  scopes_.push();
}

void Engine::pop() {
  has_model_ = false;
  scopes_.pop();
  model_check_.rollback(assertions_.size());
  if (first_choice_ >= assertions_.size()) first_choice_ = kNone;
  if (facts_ && facts_->num_scopes() > scopes_.size()) facts_->close_scope();
  if (machinery_ && machinery_->num_scopes() > scopes_.size()) {
    machinery_->close_scope();
  }
}

bool Engine::is_stopped() {
  // Most assertions are encoded in less than a look at the clock takes.
  constexpr std::size_t kStepsPerPoll = 64;
  if (poll_ && num_polls_++ % kStepsPerPoll == 0) poll_();
  return stop_ != nullptr && stop_->load(std::memory_order_relaxed);
}

// Whether a check has anything to choose, or is to keep what only the machinery
// can; where that was made, it stays.
bool Engine::leaves_choices(const std::vector<const Term*>& assumptions) const {
  return machinery_ != nullptr || first_choice_ != kNone ||
         target_ != nullptr || !conditions_.empty() || options_.keep_proofs ||
         options_.keep_schedule ||
         !std::all_of(assumptions.begin(), assumptions.end(), states_bounds);
}

Answer Engine::answer_stopped() {
  unknown_reason_ = UnknownReason::kStopped;
  return Answer::kUnknown;
}

// Hands the first so many assertions to the facts, and opens the scopes that
// begin among them or behind them.
void Engine::read_facts(std::size_t num_assertions) {
  if (!facts_) {
    facts_ = std::make_unique<Facts>();
    model_ = std::make_unique<Model>(facts_->network);
  }
  facts_->close_margin();
  while (facts_->num_assertions < num_assertions ||
         facts_->num_scopes() < scopes_.size()) {
    const std::size_t scope = facts_->num_scopes();
    const bool opens = scope < scopes_.size() &&
                       facts_->num_assertions == scopes_.start(scope);
    if (opens) {
      facts_->open_scope();
    } else {
      facts_->network.add(assertions_[facts_->num_assertions++]);
    }
  }
}

Answer Engine::check_facts(const std::vector<const Term*>& assumptions) {
  reads_early_ = true;
  read_facts(assertions_.size());
  Network& network = facts_->network;
  network.start_check(logger_, graph_recorder_);
  if (options_.forgotten_bounds.is_exceeded(
          network.num_forgotten(),
          static_cast<std::size_t>(network.num_constraints()))) {
    network.start_anew();
  }
  const auto is_told = [&] {
    return network.tell([this] { return is_stopped(); });
  };
  if (!is_told()) return answer_stopped();
  if (network.is_consistent() && !assumptions.empty()) {
    // Where the constraints of each assumption start; a repeated one has none.
    std::vector<int> starts;
    std::unordered_set<const Term*> seen;
    facts_->open_margin();
    for (const Term* assumption : assumptions) {
      starts.push_back(network.num_constraints() + 1);
      if (seen.insert(assumption).second) network.add(assumption);
      if (network.is_false()) break;
    }
    if (!is_told()) return answer_stopped();
    if (!network.is_consistent()) find_failed_assumptions(starts);
  }
  if (network.is_consistent()) return answer_model(assumptions);
  ++fact_conflicts_;
  return Answer::kUnsat;
}

// Of assumptions whose constraints start at these numbers. If there is no
// conflict among the constraints, the last one is false by itself.
void Engine::find_failed_assumptions(const std::vector<int>& starts) {
  const std::vector<int>& conflict = facts_->network.conflict();
  if (conflict.empty()) failed_assumptions_.push_back(starts.size() - 1);
  for (const int id : conflict) {
    if (id < starts.front()) continue;
    const auto next = std::upper_bound(starts.begin(), starts.end(), id);
    failed_assumptions_.push_back(
        static_cast<std::size_t>(next - starts.begin()) - 1);
  }
  std::sort(failed_assumptions_.begin(), failed_assumptions_.end());
  failed_assumptions_.erase(
      std::unique(failed_assumptions_.begin(), failed_assumptions_.end()),
      failed_assumptions_.end());
}

// Brings the machinery up to the stack of assertions. False if that was stopped
// on the way, at a place to go on from.
bool Engine::synchronise(std::size_t num_assumptions) {
  if (!machinery_) {
    model_.reset();
    machinery_ = std::make_unique<Machinery>(store_, normaliser_, options_);
    model_ = std::make_unique<Model>(*machinery_);
    machinery_->theory.set_recorder(graph_recorder_);
  }
  const bool grows = machinery_->num_assertions < assertions_.size() ||
                     machinery_->num_scopes() < scopes_.size();
  if (grows || machinery_->exceeds(options_.former_assumptions,
                                   machinery_->num_margin, num_assumptions)) {
    machinery_->close_margin();
  }
  const AtomTable& atoms = machinery_->problem.atoms();
  if (options_.forgotten_bounds.is_exceeded(atoms.num_forgotten(),
                                            atoms.num_bounds())) {
    machinery_->renumber();
  }
  machinery_->search.set_stop({stop_});
  machinery_->search.set_poll(poll_);
  machinery_->search.set_conflict_limit(conflict_limit_);
  machinery_->search.set_advised_conflicts(fresh_conflicts_);
  machinery_->search.set_progress(progress_);
  machinery_->theory.set_logger(logger_);
  while (machinery_->num_assertions < assertions_.size() ||
         machinery_->num_scopes() < scopes_.size()) {
    if (is_stopped()) {
      machinery_->feed();
      return false;
    }
    const std::size_t scope = machinery_->num_scopes();
    const bool opens = scope < scopes_.size() &&
                       machinery_->num_assertions == scopes_.start(scope);
    if (opens) {
      machinery_->feed();
      if (!push_facts()) return false;
      machinery_->open_scope();
    } else {
      const std::size_t position = machinery_->num_assertions;
      machinery_->encoder.assert_term(assertions_[position], position);
      ++machinery_->num_assertions;
    }
  }
  machinery_->feed();
  if (!push_facts()) return false;
  machinery_->theory.start_check();
  const std::size_t num_fixed = machinery_->search.num_fixed();
  machinery_->small_domains.split(machinery_->search);
  machinery_->feed();
  if (options_.machines == Machines::kAuto) {
    machinery_->theory.find_machines(options_.machine_limits());
  }
  machinery_->search.settle(num_fixed);
  return true;
}

bool Engine::push_facts() {
  return machinery_->theory.push_facts([this] { return is_stopped(); });
}

Answer Engine::check(const std::vector<const Term*>& assumptions) {
  has_model_ = false;
  shows_kept_model_ = false;
  least_value_.reset();
  failed_assumptions_.clear();
  unknown_reason_ = UnknownReason::kNone;
  try {
    return do_check(assumptions);
  } catch (const std::bad_alloc&) {
    // The stack of assertions is whole; all else can be made again.
    portfolio_.reset();
    last_counters_ = search_counters();
    drop_machinery();
    model_check_.clear();
    unknown_reason_ = UnknownReason::kMemout;
    return Answer::kUnknown;
  }
}

Answer Engine::do_check(const std::vector<const Term*>& assumptions) {
  if (!leaves_choices(assumptions)) return check_facts(assumptions);
  facts_.reset();
  if (!synchronise(assumptions.size())) return answer_stopped();
  std::vector<Literal> assumed;
  std::unordered_map<int, std::size_t> position_of;
  std::unordered_set<const Term*> seen;
  for (std::size_t k = 0; k < assumptions.size(); ++k) {
    if (is_stopped()) {
      machinery_->feed();
      return answer_stopped();
    }
    if (!seen.insert(assumptions[k]).second) continue;
    assumed.push_back(machinery_->literal_of_assumption(
        assumptions[k], options_.former_assumptions, assumptions.size()));
    position_of.emplace(assumed.back().code(), k);
  }
  // Then truth values alone say which case of the target it is.
  std::vector<Literal> conditions;
  for (const Term* condition : conditions_) {
    conditions.push_back(machinery_->literal_of_assumption(
        condition, options_.former_assumptions, conditions_.size()));
  }
  std::vector<Literal> literals = machinery_->problem.selectors();
  literals.insert(literals.end(), assumed.begin(), assumed.end());
  machinery_->feed();
  for (const Literal condition : conditions) machinery_->activate(condition);
  if (num_implied_ != nullptr) {
    *num_implied_ = machinery_->search.look_ahead(literals);
    return Answer::kUnknown;
  }
  const Search::Result result = solve(literals);
#ifndef NDEBUG
  assert(machinery_->auditor.num_wrong() == 0);
#endif
  switch (result) {
    case Search::Result::kSat:
      break;
    case Search::Result::kUnsat:
      for (const Literal failed :
           portfolio_ ? portfolio_->failed_assumptions()
                      : machinery_->search.failed_assumptions()) {
        const auto found = position_of.find(failed.code());
        if (found != position_of.end()) {
          failed_assumptions_.push_back(found->second);
        }
      }
      if (machinery_->proof_log) {
        ProofLog& log =
            portfolio_ ? *portfolio_->log() : *machinery_->proof_log;
        refutation_ = {&log,
                       portfolio_ ? portfolio_->refutation()
                                  : machinery_->search.refutation(),
                       {}};
        refuter_ = std::move(portfolio_);
        for (const std::size_t k : failed_assumptions_) {
          const Literal literal =
              machinery_->encoder.literal_of(assumptions[k]);
          refutation_.assumptions.emplace_back(log.named(literal),
                                               assumptions[k]);
        }
      }
      std::sort(failed_assumptions_.begin(), failed_assumptions_.end());
      return Answer::kUnsat;
    case Search::Result::kUnknown:
      model_->start();
      has_model_ = true;
      unknown_reason_ = stop_ != nullptr && stop_->load()
                            ? UnknownReason::kStopped
                            : UnknownReason::kConflictLimit;
      return Answer::kUnknown;
  }
  return answer_model(assumptions);
}

Search::Result Engine::solve(const std::vector<Literal>& assumptions) {
  Search& search = machinery_->search;
  const std::uint64_t alone = options_.portfolio.first_conflict;
  const bool is_short = conflict_limit_ != 0 && conflict_limit_ <= alone;
  if (options_.portfolio.threads <= 1 || is_short) {
    // The next check has the same scopes, or most of them.
    return search.solve(assumptions, machinery_->problem.selectors().size());
  }
  if (alone > 0) {
    search.set_conflict_limit(alone);
    const Search::Result result = search.solve(assumptions);
    if (result != Search::Result::kUnknown || is_stopped()) return result;
  }
  search.set_conflict_limit(conflict_limit_ == 0 ? 0 : conflict_limit_ - alone);
  return solve_in_threads(assumptions);
}

// Where another search has the answer, the engine's is asked once more, when it
// is no question any more. So all that there is to say about an answer is said
// by the engine's, but how to prove it.
Search::Result Engine::solve_in_threads(
    const std::vector<Literal>& assumptions) {
  Search& search = machinery_->search;
  portfolio_ = std::make_unique<Portfolio>(machinery_->problem.data(), options_,
                                           assumptions, stop_);
  search.set_stop({stop_, portfolio_->is_over()});
  search.set_port(portfolio_->port());
  Search::Result result = search.solve(assumptions);
  search.set_stop({stop_});
  search.set_port(nullptr);
  const bool has_answer = portfolio_->finish();
  const Portfolio::Counters counters = portfolio_->counters();
  others_.conflicts += counters.conflicts;
  others_.published += counters.published;
  others_.taken += counters.taken;
  if (result == Search::Result::kUnknown && has_answer) {
    ++others_.answers;
    std::vector<Literal> literals = assumptions;
    if (portfolio_->is_sat()) {
      const std::vector<Literal> model = portfolio_->model();
      literals.insert(literals.end(), model.begin(), model.end());
    } else if (machinery_->proof_log) {
      return Search::Result::kUnsat;
    } else {
      std::vector<Literal> clause;
      for (const Literal failed : portfolio_->failed_assumptions()) {
        clause.push_back(~failed);
      }
      search.add_clause(clause, {ClauseKind::kShared});
    }
    result = search.solve(literals);
    // A model is one of all clauses.
    assert(result != Search::Result::kUnsat || !portfolio_->is_sat());
  }
  portfolio_.reset();
  return result;
}

std::optional<std::size_t> Engine::look_ahead(
    const std::vector<const Term*>& assumptions) {
  std::optional<std::size_t> num_implied;
  num_implied_ = &num_implied;
  check(assumptions);
  num_implied_ = nullptr;
  return num_implied;
}

std::vector<Engine::Choice> Engine::likely_choices(std::size_t most) {
  if (!machinery_) return {};
  const Search& search = machinery_->search;
  std::vector<std::pair<double, Choice>> found;
  const auto add = [&](Literal literal, Choice choice) {
    if (search.fixed_value(literal) != Value::kUnassigned) return;
    found.emplace_back(search.activity(literal.variable()), std::move(choice));
  };
  for (const Term* term : machinery_->encoder.encoded()) {
    if (term->kind != Kind::kSymbol || !term->is_bool()) continue;
    add(*machinery_->encoder.find(term), {term, nullptr, {}});
  }
  const AtomTable& table = machinery_->problem.atoms();
  const auto is_symbol = [](const Term* term) {
    return term == nullptr || term->kind == Kind::kSymbol;
  };
  for (const AtomTable::Atom& atom : table.atoms()) {
    const AtomTable::Pair& pair = table.pair_of(atom);
    const DifferenceBound bound{table.term_of(pair.source),
                                table.term_of(pair.target), atom.weight};
    if (!is_symbol(bound.source) || !is_symbol(bound.target)) continue;
    if (bound.source != nullptr && bound.target != nullptr &&
        bound.source->sort != bound.target->sort) {
      continue;
    }
    add(Literal(atom.variable, false), {nullptr, nullptr, bound});
  }
  std::stable_sort(
      found.begin(), found.end(),
      [](const auto& a, const auto& b) { return a.first > b.first; });
  if (found.size() > most) found.resize(most);
  std::vector<Choice> choices;
  for (auto& [activity, choice] : found) {
    const DifferenceBound& bound = choice.bound;
    if (choice.formula == nullptr) {
      std::vector<const Term*> sum;
      if (bound.target != nullptr) sum.push_back(bound.target);
      if (bound.source != nullptr) {
        sum.push_back(store_.make_negate(bound.source));
      }
      const Term* difference = store_.make_plus(sum);
      const Term* most_of_it =
          store_.make_number(bound.weight.rational(), difference->sort);
      choice.formula = bound.weight.eps().sign() < 0
                           ? store_.make_less(difference, most_of_it)
                           : store_.make_leq(difference, most_of_it);
    }
    choice.opposite = store_.make_not(choice.formula);
    choices.push_back(std::move(choice));
  }
  return choices;
}

Answer Engine::answer_model(const std::vector<const Term*>& assumptions) {
  model_->start();
  if (target_ != nullptr) lower_target();
  if (options_.check_models && !model_holds(assumptions)) {
    unknown_reason_ = UnknownReason::kInternalError;
    return Answer::kUnknown;
  }
  if (facts_) facts_->network.forget_changes();
  if (machinery_) machinery_->theory.forget_changes();
  has_model_ = true;
  return Answer::kSat;
}

bool Engine::model_holds(const std::vector<const Term*>& assumptions) {
  const auto holds = [this](const Term* term) {
    return model_->evaluator().bool_value(term);
  };
  const bool all_hold =
      model_check_.holds(assertions_, *model_, model_->evaluator(),
                         facts_ ? facts_->network.changed_symbols()
                                : machinery_->theory.changed_variables()) &&
      std::all_of(assumptions.begin(), assumptions.end(), holds) &&
      model_->is_integral();
  // What was found true may have been so with a value that is no integer.
  if (!all_hold) model_check_.clear();
  return all_hold;
}

void Engine::lower_target() {
  difference_ = target_->in_case([this](const Term* condition) {
    return model_->evaluator().bool_value(condition);
  });
  la::DNumber least;
  if (difference_.factor.sign() != 0) {
    const auto lowered = machinery_->theory.lower_model(difference_.minuend,
                                                        difference_.subtrahend);
    model_->start();
    if (!lowered) return;
    least = *lowered;
  }
  least_value_ = value_of(difference_, least);
}

// The target's value at the least value of its difference.
template <class Find>
std::optional<la::DNumber> Engine::least_by(const Find& find) const {
  if (!target_->conditions().empty()) return {};
  la::DNumber least;
  if (difference_.factor.sign() != 0) {
    const auto found = find(difference_.minuend, difference_.subtrahend);
    if (!found) return {};
    least = *found;
  }
  return value_of(difference_, least);
}

void Engine::set_target(const Target* target) {
  target_ = target;
  if (machinery_) machinery_->theory.clear_aim();
}

void Engine::set_aim(const la::DNumber& value) {
  if (!target_->conditions().empty() || difference_.factor.sign() == 0) return;
  QNumber rational = value.rational();
  rational -= difference_.constant;
  rational /= difference_.factor;
  machinery_->theory.set_aim(difference_.minuend, difference_.subtrahend,
                             la::DNumber(rational, QNumber(0)));
}

std::optional<la::DNumber> Engine::known_least() const {
  return least_by([this](const Term* minuend, const Term* subtrahend) {
    return machinery_->theory.known_least(minuend, subtrahend);
  });
}

std::optional<la::DNumber> Engine::likely_least() const {
  return least_by([this](const Term* minuend, const Term* subtrahend) {
    return machinery_->theory.likely_least(minuend, subtrahend);
  });
}

Engine::Scale Engine::scale() const {
  Scale scale{QNumber(0), QNumber(1)};
  const AtomTable& table = machinery_->problem.atoms();
  const auto add = [&scale](const QNumber& weight) {
    scale.reach += weight.sign() < 0 ? -weight : weight;
    // For the opposite over the integers.
    scale.reach += QNumber(1);
    const QNumber denominator = weight.denominator();
    QNumber missing = scale.denominator;
    missing /= denominator;
    scale.denominator *= missing.denominator();
  };
  for (const AtomTable::Atom& atom : table.atoms()) add(atom.weight.rational());
  for (const AtomTable::Fact& fact : table.facts()) {
    add(table.constraint(fact.constraint).edge.weight.rational());
  }
  // Paths are rounded where integers meet reals.
  scale.reach += QNumber(table.num_nodes());
  return scale;
}

void Engine::keep_model() {
  assert(has_model_);
  if (shows_kept_model_) return;
  if (!kept_model_) kept_model_ = std::make_unique<KeptModel>();
  kept_model_->copy(*model_);
}

void Engine::show_kept_model() {
  has_model_ = true;
  shows_kept_model_ = true;
}

Evaluator& Engine::evaluator() {
  assert(has_model_);
  return shows_kept_model_ ? kept_model_->evaluator() : model_->evaluator();
}

void Engine::drop_machinery() {
  has_model_ = false;
  refutation_ = {};
  refuter_.reset();
  model_.reset();
  machinery_.reset();
  facts_.reset();
  fact_conflicts_ = 0;
}

// The search's, with what was met before there was one.
SearchStatistics Engine::search_counters() const {
  SearchStatistics counters;
  if (machinery_) counters = machinery_->search.statistics();
  counters.conflicts += fact_conflicts_;
  counters.theory_conflicts += fact_conflicts_;
  return counters;
}

bool Engine::bool_value(const Term* term) {
  return evaluator().bool_value(term);
}

QNumber Engine::number_value(const Term* term) {
  return evaluator().number_value(term);
}

std::vector<ScheduledMachine> Engine::schedule() {
  assert(has_model_ && options_.keep_schedule);
  if (!machinery_) return {};
  return find_schedule(
      machinery_->theory, machinery_->problem,
      [this](const Term* term) { return evaluator().bool_value(term); });
}

void Engine::set_graph_recorder(GraphRecorder* recorder) {
  assert(machinery_ == nullptr);
  graph_recorder_ = recorder;
}

void Engine::set_options(const EngineOptions& options) {
  options_ = options;
  drop_machinery();
}

void Engine::keep_terms(TermSweep& sweep) const {
  sweep.keep(assertions_);
  if (facts_) sweep.keep(facts_->network.variables());
  if (!machinery_) return;
  sweep.keep(machinery_->encoder.encoded());
  machinery_->problem.keep_terms(sweep);
}

void Engine::forget_swept(const TermSweep& sweep) {
  normaliser_.forget_swept(sweep);
  if (kept_model_) kept_model_->forget_swept(sweep);
  if (machinery_) machinery_->theory.forget_lemmas();
}

void Engine::renumber_terms(const TermSweep& sweep) {
  if (kept_model_) kept_model_->evaluator().forget();
  if (model_) model_->evaluator().forget();
  if (facts_) facts_->network.renumber_terms();
  if (machinery_) machinery_->problem.renumber_terms(sweep);
}

std::vector<DifferenceBound> Engine::last_cycle() const {
  if (facts_) return facts_->network.last_cycle();
  if (!machinery_) return {};
  return machinery_->theory.last_cycle();
}

std::uint64_t Engine::num_conflicts() const {
  return fact_conflicts_ +
         (machinery_ ? machinery_->search.statistics().conflicts : 0);
}

std::vector<std::pair<std::string, std::string>> Engine::statistics() const {
  std::vector<std::pair<std::string, std::string>> rows;
  const SearchStatistics counters =
      machinery_ || facts_ ? search_counters() : last_counters_;
  const auto row = [&rows](const char* key, std::uint64_t value) {
    rows.emplace_back(key, std::to_string(value));
  };
  row("decisions", counters.decisions);
  row("conflicts", counters.conflicts);
  row("propagations", counters.propagations);
  row("restarts", counters.restarts);
  row("learnt clauses", counters.learnt_clauses);
  row("deleted clauses", counters.deleted_clauses);
  row("theory conflicts", counters.theory_conflicts);
  row("lemmas used", counters.lemmas);
  row("lemma uses", counters.lemma_uses);
  row("learnt uses", counters.learnt_uses);
  row("implied literals", counters.theory_propagations);
  row("explained literals", counters.theory_explanations);
  if (facts_) facts_->network.graph().get_stats(rows);
  if (!machinery_) return rows;
  if (options_.portfolio.threads > 1) {
    row("conflicts of other threads", others_.conflicts);
    row("answers of other threads", others_.answers);
    row("clauses told to other threads", others_.published);
    row("clauses told by other threads", others_.taken);
  }
  if (const auto& log = machinery_->proof_log) {
    row("proof clauses kept", log->size());
    row("proof clauses needed", log->num_needed());
  }
  const dl::Closure::Counters closure =
      machinery_->theory.propagation().closure_counters();
  const LemmaTrials& lemma_trials = machinery_->theory.lemma_trials();
  row("lemma trials won", lemma_trials.num_won());
  row("lemma trials lost", lemma_trials.num_lost());
  const BoundPropagation::Counters& watched =
      machinery_->theory.propagation().counters();
  row("propagation trials won", watched.trials_won);
  row("propagation trials lost", watched.trials_lost);
  row("propagation pauses", watched.pauses);
  row("closure activations", closure.activations);
  row("closure improvements", closure.improvements);
  row("closure consequences", closure.consequences);
  row("closure rebuilds", closure.rebuilds);
  row("closure steps", closure.steps);
  row("closure matrix bytes",
      machinery_->theory.propagation().closure().matrix_bytes());
  const PhaseSearch::Counters& local =
      machinery_->theory.phase_search().counters();
  row("local searches", local.runs);
  row("local searches that found", local.found);
  row("local moves", local.moves);
  row("local steps", local.steps);
  const ScheduleSearch::Counters& schedules =
      machinery_->theory.phase_search().schedules().counters();
  row("order searches", schedules.runs);
  row("order searches that found", schedules.found);
  row("order moves", schedules.moves);
  row("order steps", schedules.steps);
  if (const MachinePropagation* machines = machinery_->theory.machines()) {
    std::size_t most_tasks = 0;
    for (const Machine& machine : machines->machines()) {
      most_tasks = std::max(most_tasks, machine.tasks.size());
    }
    const MachinePropagation::Counters found = machines->counters();
    row("machines", machines->machines().size());
    row("machine tasks at most", most_tasks);
    row("machine overloads", found.overloads);
    row("machine crossings", found.crossings);
    row("machine orders", found.orders);
    row("machine edges", found.edges);
    row("machine not-first", found.not_first);
    row("machine preceded", found.preceded);
    row("machine runs", found.runs);
    row("machine explanations", found.explanations);
    row("machine steps", found.steps);
  }
  const LemmaFinder* finder = machinery_->theory.lemma_finder();
  const dl::Graph& graph = machinery_->theory.graph();
  if (finder == nullptr) {
    graph.get_stats(rows);
    return rows;
  }
  // The finder has seen the same conflicts, unless it was called in late.
  std::vector<std::pair<std::string, std::string>> conflicts;
  graph.get_stats(conflicts);
  const std::size_t first = rows.size();
  finder->graph().get_stats(rows);
  rows[first] = conflicts.front();
  row("dl endless walks avoided", finder->graph().num_endless_walks());
  return rows;
}

}  // namespace vorn::solver
