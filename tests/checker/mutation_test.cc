// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/build_kind.h"
#include "tests/checker/checking.h"

// Proofs of small random problems, found by trying all cases, and then changed
// in one place. What the checker still accepts must be right by the meaning of
// its steps, which is decided here by trying all values.

namespace vorn::checker {
namespace {

// A Boolean (from = -1), or v[from] - v[to] <= bound, or < if strict.
struct Atom {
  int from = -1;
  int to = -1;
  int bound = 0;
  bool strict = false;

  bool is_bound() const { return from >= 0; }
};

struct Literal {
  std::size_t atom = 0;
  bool positive = true;

  bool operator<(const Literal& other) const {
    return std::pair(atom, positive) < std::pair(other.atom, other.positive);
  }
  bool operator==(const Literal& other) const {
    return atom == other.atom && positive == other.positive;
  }
};

using Literals = std::vector<Literal>;

struct Step {
  enum class Kind { kAssume, kOr, kLemma, kResolution };
  Kind kind = Kind::kAssume;
  Literals clause;                    // of kAssume: of its disjunction
  std::vector<std::size_t> premises;  // steps
  std::vector<Literal> pivots;        // with the sign that :args gives
  std::vector<int> coefficients;
};

struct Problem {
  bool is_int = true;
  std::vector<Atom> atoms;
  std::vector<Literals> clauses;
};

struct Generated {
  Problem problem;
  std::vector<Step> proof;
};

class Generator {
 public:
  explicit Generator(unsigned seed) : random_(seed) {}

  int draw(int least, int most) {
    return std::uniform_int_distribution<int>(least, most)(random_);
  }
  std::size_t index(std::size_t size) {
    return static_cast<std::size_t>(draw(0, static_cast<int>(size) - 1));
  }

  // An unsatisfiable problem with a proof, or nothing.
  std::optional<Generated> make() {
    made_ = {};
    made_.problem.is_int = draw(0, 1) == 0;
    std::vector<Atom>& atoms = made_.problem.atoms;
    atoms.resize(2);
    while (atoms.size() < 7) {
      Atom atom;
      atom.from = draw(0, 2);
      atom.to = (atom.from + draw(1, 2)) % 3;
      atom.bound = draw(-3, 2);
      atom.strict = draw(0, 3) == 0;
      if (std::none_of(atoms.begin(), atoms.end(), [&atom](const Atom& a) {
            return a.from == atom.from && a.to == atom.to &&
                   a.bound == atom.bound && a.strict == atom.strict;
          })) {
        atoms.push_back(atom);
      }
    }
    for (int i = draw(6, 11); i > 0; --i) {
      std::set<Literal> clause;
      for (int k = draw(1, 3); k > 0; --k) {
        const std::size_t atom = index(atoms.size());
        if (clause.count({atom, true}) + clause.count({atom, false}) == 0) {
          clause.insert({atom, draw(0, 2) > 0});
        }
      }
      made_.problem.clauses.emplace_back(clause.begin(), clause.end());
    }
    std::vector<int> values(atoms.size(), -1);
    steps_of_clauses_.assign(made_.problem.clauses.size(), 0);
    if (!refute(values, 0).has_value()) return std::nullopt;
    return std::move(made_);
  }

 private:
  // The step whose clause is false under the values of the first `depth` atoms.
  std::optional<std::size_t> refute(std::vector<int>& values,
                                    std::size_t depth) {
    for (std::size_t i = 0; i < made_.problem.clauses.size(); ++i) {
      const Literals& clause = made_.problem.clauses[i];
      const auto is_false = [&values](const Literal& literal) {
        return values[literal.atom] == (literal.positive ? 0 : 1);
      };
      if (std::all_of(clause.begin(), clause.end(), is_false)) {
        return step_of_clause(i);
      }
    }
    if (depth == values.size()) return lemma(values);
    values[depth] = 1;
    const auto when_true = refute(values, depth + 1);
    values[depth] = -1;
    if (!when_true || !has(*when_true, {depth, false})) return when_true;
    values[depth] = 0;
    const auto when_false = refute(values, depth + 1);
    values[depth] = -1;
    if (!when_false || !has(*when_false, {depth, true})) return when_false;

    Step step;
    step.kind = Step::Kind::kResolution;
    const bool positive_first = draw(0, 1) == 0;
    step.premises = positive_first ? std::vector{*when_false, *when_true}
                                   : std::vector{*when_true, *when_false};
    step.pivots = {{depth, positive_first}};
    std::set<Literal> result;
    for (const std::size_t premise : step.premises) {
      for (const Literal& literal : made_.proof[premise].clause) {
        if (literal.atom != depth) result.insert(literal);
      }
    }
    step.clause.assign(result.begin(), result.end());
    return add(std::move(step));
  }

  std::size_t step_of_clause(std::size_t i) {
    if (steps_of_clauses_[i] > 0) return steps_of_clauses_[i] - 1;
    const Literals& clause = made_.problem.clauses[i];
    Step assume;
    assume.clause = clause;
    std::size_t step = add(assume);
    if (clause.size() > 1) {
      Step taken_apart;
      taken_apart.kind = Step::Kind::kOr;
      taken_apart.clause = clause;
      taken_apart.premises = {step};
      step = add(taken_apart);
    }
    steps_of_clauses_[i] = step + 1;
    return step;
  }

  // A cycle of two or three bounds that hold by their values and add up to
  // something false, as a lemma.
  std::optional<std::size_t> lemma(const std::vector<int>& values) {
    std::vector<Literals> edges(9);
    const auto& atoms = made_.problem.atoms;
    for (std::size_t i = 0; i < atoms.size(); ++i) {
      if (!atoms[i].is_bound()) continue;
      const bool positive = values[i] == 1;
      const int from = positive ? atoms[i].from : atoms[i].to;
      const int to = positive ? atoms[i].to : atoms[i].from;
      edges[static_cast<std::size_t>(3 * from + to)].push_back({i, positive});
    }
    std::vector<std::vector<int>> cycles = {
        {0, 1}, {0, 2}, {1, 2}, {0, 1, 2}, {0, 2, 1}};
    for (const std::vector<int>& cycle : cycles) {
      std::vector<Literals> paths = {{}};
      for (std::size_t i = 0; i < cycle.size(); ++i) {
        const int next = cycle[(i + 1) % cycle.size()];
        std::vector<Literals> longer;
        for (const Literals& path : paths) {
          for (const Literal& edge :
               edges[static_cast<std::size_t>(3 * cycle[i] + next)]) {
            longer.push_back(path);
            longer.back().push_back(edge);
          }
        }
        paths = std::move(longer);
      }
      for (const Literals& path : paths) {
        if (!is_negative(path)) continue;
        Step step;
        step.kind = Step::Kind::kLemma;
        for (const Literal& edge : path) {
          step.clause.push_back({edge.atom, !edge.positive});
          step.coefficients.push_back(1);
        }
        return add(std::move(step));
      }
    }
    return std::nullopt;
  }

  bool is_negative(const Literals& path) const {
    int sum = 0;
    bool strict = false;
    for (const Literal& edge : path) {
      const Atom& atom = made_.problem.atoms[edge.atom];
      const bool is_strict = atom.strict == edge.positive;
      sum += edge.positive ? atom.bound : -atom.bound;
      if (is_strict && made_.problem.is_int) --sum;
      strict = strict || (is_strict && !made_.problem.is_int);
    }
    return sum < 0 || (sum == 0 && strict);
  }

  bool has(std::size_t step, const Literal& literal) const {
    const Literals& clause = made_.proof[step].clause;
    return std::find(clause.begin(), clause.end(), literal) != clause.end();
  }
  std::size_t add(Step step) {
    made_.proof.push_back(std::move(step));
    return made_.proof.size() - 1;
  }

  std::mt19937 random_;
  Generated made_;
  std::vector<std::size_t> steps_of_clauses_;  // plus 1; 0: none yet
};

// --- As text ---

std::string text_of(const Problem& problem, std::size_t i) {
  const Atom& atom = problem.atoms[i];
  if (!atom.is_bound()) return "b" + std::to_string(i);
  std::string bound = std::to_string(std::abs(atom.bound));
  if (!problem.is_int) bound += ".0";
  if (atom.bound < 0) bound = "(- " + bound + ')';
  return std::string(atom.strict ? "(<" : "(<=") + " (- v" +
         std::to_string(atom.from) + " v" + std::to_string(atom.to) + ") " +
         bound + ')';
}

std::string text_of(const Problem& problem, const Literals& literals) {
  std::string text;
  for (const Literal& literal : literals) {
    const std::string atom = text_of(problem, literal.atom);
    text += literal.positive ? ' ' + atom : " (not " + atom + ')';
  }
  return text;
}

std::string disjunction(const Problem& problem, const Literals& literals) {
  const std::string text = text_of(problem, literals);
  return literals.size() == 1 ? text : " (or" + text + ')';
}

std::string script_of(const Problem& problem) {
  std::string text =
      problem.is_int ? "(set-logic QF_IDL)\n" : "(set-logic QF_RDL)\n";
  const std::string sort = problem.is_int ? " Int)\n" : " Real)\n";
  for (const char* name : {"v0", "v1", "v2"}) {
    text += std::string("(declare-const ") + name + sort;
  }
  text += "(declare-const b0 Bool)\n(declare-const b1 Bool)\n";
  for (const Literals& clause : problem.clauses) {
    text += "(assert" + disjunction(problem, clause) + ")\n";
  }
  return text + "(check-sat)\n";
}

std::string proof_text(const Problem& problem, const std::vector<Step>& proof) {
  std::string text;
  for (std::size_t i = 0; i < proof.size(); ++i) {
    const Step& step = proof[i];
    const std::string name = "t" + std::to_string(i);
    if (step.kind == Step::Kind::kAssume) {
      text += "(assume " + name + disjunction(problem, step.clause) + ")\n";
      continue;
    }
    text +=
        "(step " + name + " (cl" + text_of(problem, step.clause) + ") :rule ";
    text += step.kind == Step::Kind::kOr      ? "or"
            : step.kind == Step::Kind::kLemma ? "la_generic"
                                              : "resolution";
    if (!step.premises.empty()) {
      text += " :premises (";
      for (const std::size_t premise : step.premises) {
        text += " t" + std::to_string(premise);
      }
      text += ')';
    }
    std::string arguments;
    for (const Literal& pivot : step.pivots) {
      arguments += ' ' + text_of(problem, pivot.atom) +
                   (pivot.positive ? " true" : " false");
    }
    for (const int coefficient : step.coefficients) {
      arguments +=
          ' ' + (coefficient < 0 ? "(- " + std::to_string(-coefficient) + ')'
                                 : std::to_string(coefficient));
    }
    if (!arguments.empty()) text += " :args (" + arguments + ')';
    text += ")\n";
  }
  return text;
}

// --- What is right ---

// Whether the clause is true for all values of the variables. Where a system of
// such bounds on three variables has a solution, it has one in multiples of
// 1/3, of which no two are further apart than the bounds together.
bool is_lemma(const Problem& problem, const Literals& clause) {
  int reach = 1;
  for (const Literal& literal : clause) {
    const Atom& atom = problem.atoms[literal.atom];
    if (atom.is_bound()) reach += std::abs(atom.bound) + 1;
  }
  const int unit = problem.is_int ? 1 : 3;
  reach *= unit;
  std::vector<bool> signs(problem.atoms.size());
  for (const Literal& literal : clause) {
    if (problem.atoms[literal.atom].is_bound()) continue;
    const Literal opposite{literal.atom, !literal.positive};
    if (std::find(clause.begin(), clause.end(), opposite) != clause.end()) {
      return true;
    }
  }
  for (int y = -reach; y <= reach; ++y) {
    for (int z = -reach; z <= reach; ++z) {
      const int values[3] = {0, y, z};
      bool is_true = false;
      for (const Literal& literal : clause) {
        const Atom& atom = problem.atoms[literal.atom];
        if (!atom.is_bound()) continue;
        const int difference = values[atom.from] - values[atom.to];
        const bool holds = atom.strict ? difference < unit * atom.bound
                                       : difference <= unit * atom.bound;
        is_true = is_true || holds == literal.positive;
      }
      if (!is_true) return false;
    }
  }
  return true;
}

// Whether the premises entail the clause, with atoms as truth values.
bool is_entailed(const std::vector<const Literals*>& premises,
                 const Literals& clause) {
  std::map<std::size_t, std::size_t> places;
  const auto note = [&places](const Literals& literals) {
    for (const Literal& literal : literals) {
      places.emplace(literal.atom, places.size());
    }
  };
  for (const Literals* premise : premises) note(*premise);
  note(clause);
  for (unsigned values = 0; values < 1U << places.size(); ++values) {
    const auto holds = [&](const Literals& literals) {
      return std::any_of(
          literals.begin(), literals.end(), [&](const Literal& literal) {
            const unsigned value = values >> places.at(literal.atom) & 1U;
            return (value == 1) == literal.positive;
          });
    };
    if (!holds(clause) &&
        std::all_of(premises.begin(), premises.end(),
                    [&holds](const Literals* p) { return holds(*p); })) {
      return false;
    }
  }
  return true;
}

// Whether each step says what follows from those before.
bool is_right(const Problem& problem, const std::vector<Step>& proof) {
  for (std::size_t i = 0; i < proof.size(); ++i) {
    const Step& step = proof[i];
    std::vector<const Literals*> premises;
    for (const std::size_t premise : step.premises) {
      if (premise >= i) return false;
      premises.push_back(&proof[premise].clause);
    }
    const bool is_asserted =
        std::find(problem.clauses.begin(), problem.clauses.end(),
                  step.clause) != problem.clauses.end();
    if (step.kind == Step::Kind::kAssume ? !is_asserted
        : step.kind == Step::Kind::kLemma
            ? !is_lemma(problem, step.clause)
            : !is_entailed(premises, step.clause)) {
      return false;
    }
  }
  return !proof.empty() && proof.back().clause.empty();
}

// --- Changes ---

// Changes one thing, if there is anything of the kind that is drawn.
void mutate(Generator& random, Problem& problem, std::vector<Step>& proof) {
  const std::size_t at = random.index(proof.size());
  Step& step = proof[at];
  Literals& clause = step.clause;
  switch (random.draw(0, 12)) {
    case 0:
      if (!clause.empty()) {
        Literal& literal = clause[random.index(clause.size())];
        literal.positive = !literal.positive;
      }
      break;
    case 1:
      if (!clause.empty()) {
        clause[random.index(clause.size())].atom =
            random.index(problem.atoms.size());
      }
      break;
    case 2:
      if (clause.size() > (step.kind == Step::Kind::kAssume ? 1U : 0U)) {
        const std::size_t i = random.index(clause.size());
        clause.erase(clause.begin() + static_cast<std::ptrdiff_t>(i));
        // A coefficient may go with its literal.
        if (i < step.coefficients.size() && random.draw(0, 1) == 0) {
          step.coefficients.erase(step.coefficients.begin() +
                                  static_cast<std::ptrdiff_t>(i));
        }
      }
      break;
    case 3:
      clause.push_back(
          {random.index(problem.atoms.size()), random.draw(0, 1) == 0});
      if (!step.coefficients.empty() && random.draw(0, 1) == 0) {
        step.coefficients.push_back(random.draw(-1, 2));
      }
      break;
    case 4:
    case 5:
      if (!step.coefficients.empty()) {
        step.coefficients[random.index(step.coefficients.size())] =
            random.draw(-2, 3);
      }
      break;
    case 6:
      if (!step.premises.empty()) {
        step.premises[random.index(step.premises.size())] =
            random.index(proof.size());
      }
      break;
    case 7:
      if (step.premises.size() > 1) {
        std::swap(step.premises[0], step.premises[1]);
      }
      break;
    case 8:
      if (!step.pivots.empty()) {
        step.pivots[0].positive = !step.pivots[0].positive;
      }
      break;
    case 9:
      if (!step.pivots.empty()) {
        step.pivots[0].atom = random.index(problem.atoms.size());
      }
      break;
    case 10:
      // Another constant, or another strictness, in one place.
      if (!clause.empty()) {
        Literal& literal = clause[random.index(clause.size())];
        if (!problem.atoms[literal.atom].is_bound()) break;
        Atom changed = problem.atoms[literal.atom];
        if (random.draw(0, 2) == 0) {
          changed.strict = !changed.strict;
        } else {
          changed.bound += random.draw(0, 1) == 0 ? 1 : -1;
        }
        literal.atom = problem.atoms.size();
        problem.atoms.push_back(changed);
      }
      break;
    case 11:
      // What stands in its place is not what later steps want.
      step = proof[random.index(proof.size())];
      break;
    default:
      if (at + 1 < proof.size()) std::swap(proof[at], proof[at + 1]);
      break;
  }
}

TEST(MutationTest, ChangedProofsAreAcceptedOnlyWhereTheyAreRight) {
  constexpr unsigned kSeed = 77;
  Generator random(kSeed);
  int num_proofs = 0;
  int num_changed = 0;
  int num_accepted = 0;
  while (num_changed < (test::kSanitized ? 6000 : 12000)) {
    const std::optional<Generated> made = random.make();
    if (!made.has_value()) continue;
    const std::string script = script_of(made->problem);
    const std::string proof = proof_text(made->problem, made->proof);
    ASSERT_EQ(check_text(script, proof).reason, "") << script << proof;
    ASSERT_TRUE(is_right(made->problem, made->proof)) << proof;
    ++num_proofs;
    for (int i = 0; i < 40; ++i) {
      Problem problem = made->problem;
      std::vector<Step> steps = made->proof;
      mutate(random, problem, steps);
      const std::string changed = proof_text(problem, steps);
      if (changed == proof) continue;
      ++num_changed;
      if (!check_text(script, changed).is_valid) continue;
      ++num_accepted;
      ASSERT_TRUE(is_right(problem, steps))
          << "seed " << kSeed << '\n'
          << script << proof << "changed into\n"
          << changed;
    }
  }
  // Without right changes the oracle would not have been asked.
  EXPECT_GT(num_proofs, 100);
  EXPECT_GT(num_accepted, num_changed / 100);
  EXPECT_LT(num_accepted, num_changed / 4);
}

// No proof is valid for a script that has a model, whatever is done to it.
TEST(MutationTest, NoChangeMakesAProofOfASatisfiableScript) {
  constexpr unsigned kSeed = 78;
  Generator random(kSeed);
  int num_tried = 0;
  while (num_tried < (test::kSanitized ? 4000 : 10000)) {
    const std::optional<Generated> made = random.make();
    if (!made.has_value()) continue;
    // All but one clause of the problem, if that can be satisfied: then the
    // one assumed step too many is what a change would have to hide.
    Problem fewer = made->problem;
    const std::size_t left_out = random.index(fewer.clauses.size());
    fewer.clauses.erase(fewer.clauses.begin() +
                        static_cast<std::ptrdiff_t>(left_out));
    bool is_satisfiable = false;
    for (int y = -12; y <= 12 && !is_satisfiable; ++y) {
      for (int z = -12; z <= 12 && !is_satisfiable; ++z) {
        for (int b = 0; b < 4 && !is_satisfiable; ++b) {
          const int values[3] = {0, y, z};
          const auto holds = [&](const Literal& literal) {
            const Atom& atom = fewer.atoms[literal.atom];
            if (!atom.is_bound()) {
              return ((b >> literal.atom & 1) == 1) == literal.positive;
            }
            const int difference = values[atom.from] - values[atom.to];
            return (atom.strict ? difference < atom.bound
                                : difference <= atom.bound) == literal.positive;
          };
          is_satisfiable = std::all_of(
              fewer.clauses.begin(), fewer.clauses.end(),
              [&holds](const Literals& clause) {
                return std::any_of(clause.begin(), clause.end(), holds);
              });
        }
      }
    }
    if (!is_satisfiable) continue;
    const std::string script = script_of(fewer);
    const std::string proof = proof_text(made->problem, made->proof);
    std::vector<std::string> words;
    for (std::size_t begin = 0; begin < proof.size();) {
      std::size_t end = proof.find_first_of(" ()\n", begin);
      if (end == begin) ++end;
      words.push_back(proof.substr(begin, end - begin));
      begin = end;
    }
    for (int i = 0; i < 50; ++i, ++num_tried) {
      std::string changed;
      const std::size_t at = random.index(words.size());
      const std::size_t other = random.index(words.size());
      const int kind = random.draw(0, 4);
      for (std::size_t w = 0; w < words.size(); ++w) {
        if (kind == 0 && w == at) continue;                  // dropped
        if (kind == 1 && w == at) changed += words[other];   // put in
        changed += kind == 2 && w == at      ? words[other]  // replaced
                   : kind == 3 && w == at    ? words[other]  // swapped
                   : kind == 3 && w == other ? words[at]
                                             : words[w];
      }
      if (kind == 4) changed = proof.substr(proof.find('\n', at) + 1);
      ASSERT_FALSE(check_text(script, changed).is_valid)
          << "seed " << kSeed << '\n'
          << script << changed;
    }
  }
}

}  // namespace
}  // namespace vorn::checker
