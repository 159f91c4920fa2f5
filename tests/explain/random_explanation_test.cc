// SPDX-License-Identifier: MIT
#include <gmpxx.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "tests/smtlib/text_session.h"

// Explanations of random scripts, read back as a person would: each row must be
// stated by the assertion in its line, and the rows must add up.

namespace vorn::solver {
namespace {

/// target - source < or <= weight; an empty name is the constant 0.
struct Bound {
  std::string target;
  std::string source;
  bool strict = false;
  mpq_class weight;

  bool operator==(const Bound& other) const {
    return target == other.target && source == other.source &&
           strict == other.strict && weight == other.weight;
  }
};

/// An assertion, and the bounds that it states, integers rounded.
struct Assertion {
  std::string text;
  std::vector<Bound> bounds;
};

/// Conjunctions of bounds in many spellings.
class ConjunctionWriter {
 public:
  ConjunctionWriter(std::mt19937& random, bool integers)
      : random_(random), integers_(integers) {}

  static std::vector<std::string> variables() {
    return {"x", "y", "|a \"b\"|", "|1, <= 2|", "z"};
  }

  std::string declarations() const {
    const std::string sort = integers_ ? "Int" : "Real";
    std::string text =
        integers_ ? "(set-logic QF_IDL)\n" : "(set-logic QF_RDL)\n";
    for (const std::string& name : variables()) {
      text += "(declare-const " + name + ' ' + sort + ")\n";
    }
    return text + "(define-fun le ((p " + sort + ") (q " + sort + ") (r " +
           sort + ")) Bool (<= (- p q) r))\n";
  }

  Assertion assertion() {
    Assertion first = atom();
    switch (below(6)) {
      case 0: {
        const Assertion second = atom();
        join(first, second);
        first.text = "(and " + first.text + ' ' + second.text + ')';
        break;
      }
      case 1: {
        const Assertion second = atom();
        join(first, second);
        first.text =
            "(not (or (not " + first.text + ") (not " + second.text + ")))";
        break;
      }
      default:
        break;
    }
    if (below(3) == 0) {
      first.text =
          "(! " + first.text + " :named n" + std::to_string(++names_) + ')';
    }
    return first;
  }

 private:
  int below(int n) { return static_cast<int>(random_() % unsigned(n)); }

  static void join(Assertion& first, const Assertion& second) {
    first.bounds.insert(first.bounds.end(), second.bounds.begin(),
                        second.bounds.end());
  }

  // num / den as a constant of the logic; whole numbers only over integers.
  static std::string number(const mpq_class& value) {
    const mpz_class size = abs(value.get_num());
    std::string text = size.get_str();
    if (value.get_den() != 1) {
      text = "(/ " + text + ' ' + value.get_den().get_str() + ')';
    }
    return value < 0 ? "(- " + text + ')' : text;
  }

  // What factor * (target - source) < or <= limit says.
  Bound bound(const std::string& target, const std::string& source, bool strict,
              const mpq_class& factor, const mpq_class& limit) const {
    Bound result{target, source, strict, limit / factor};
    if (!integers_) return result;
    mpz_class whole;
    if (strict) {
      mpz_cdiv_q(whole.get_mpz_t(), result.weight.get_num_mpz_t(),
                 result.weight.get_den_mpz_t());
      --whole;
    } else {
      mpz_fdiv_q(whole.get_mpz_t(), result.weight.get_num_mpz_t(),
                 result.weight.get_den_mpz_t());
    }
    result.strict = false;
    result.weight = whole;
    return result;
  }

  Assertion atom() {
    std::vector<std::string> names = variables();
    std::shuffle(names.begin(), names.end(), random_);
    const std::string& t = names[0];
    const std::string& s = names[1];
    mpq_class c(below(13) - 7, integers_ ? 1 : 1 + below(3));
    c.canonicalize();
    const std::string limit = number(c);
    const std::string opposite = number(-c);
    const bool strict = below(2) == 0;
    const std::string less = strict ? "(< " : "(<= ";
    const std::string difference = "(- " + t + ' ' + s + ')';
    const mpq_class one(1);
    const Bound plain = bound(t, s, strict, one, c);
    switch (below(9)) {
      case 0:
        return {less + difference + ' ' + limit + ')', {plain}};
      case 1:
        return {(strict ? "(> " : "(>= ") + s + " (- " + t + ' ' + limit + "))",
                {plain}};
      case 2:
        return {(strict ? "(not (>= " : "(not (> ") + difference + ' ' + limit +
                    "))",
                {plain}};
      case 3: {
        const mpq_class factor(2 + below(3));
        return {less + "(* " + number(factor) + ' ' + t + ") (+ (* " +
                    number(factor) + ' ' + s + ") " + limit + "))",
                {bound(t, s, strict, factor, c)}};
      }
      case 4:
        return {
            "(let ((d " + difference + ") (e " + limit + ")) " + less + "d e))",
            {plain}};
      case 5:
        return {"(le " + t + ' ' + s + ' ' + limit + ')',
                {bound(t, s, false, one, c)}};
      case 6:
        return {"(= " + t + " (+ " + s + ' ' + limit + "))",
                {bound(t, s, false, one, c), bound(s, t, false, one, -c)}};
      case 7:
        return {less + t + ' ' + limit + ')', {bound(t, "", strict, one, c)}};
      default:
        return {less + opposite + ' ' + s + ')',
                {bound("", s, strict, one, c)}};
    }
  }

  std::mt19937& random_;
  bool integers_;
  int names_ = 0;
};

/// A row "line 7 (n1)   x - y <= 3   from ..." of an explanation.
struct Row {
  std::size_t line = 0;
  Bound bound;
};

// The variable that starts at `at`, of the writer's; `at` moves behind it.
std::string read_variable(const std::string& text, std::size_t& at) {
  for (const std::string& name : ConjunctionWriter::variables()) {
    if (text.compare(at, name.size(), name) == 0) {
      at += name.size();
      return name;
    }
  }
  ADD_FAILURE() << "no variable at " << text.substr(at);
  return "";
}

bool skip(const std::string& text, std::size_t& at, const std::string& word) {
  if (text.compare(at, word.size(), word) != 0) return false;
  at += word.size();
  return true;
}

Bound read_bound(const std::string& text) {
  Bound bound;
  std::size_t at = 0;
  if (skip(text, at, "-")) {
    bound.source = read_variable(text, at);
  } else {
    if (!skip(text, at, "0")) bound.target = read_variable(text, at);
    if (skip(text, at, " - ")) bound.source = read_variable(text, at);
  }
  bound.strict = skip(text, at, " < ");
  EXPECT_TRUE(bound.strict || skip(text, at, " <= ")) << text;
  const std::size_t end = text.find_first_not_of("-/0123456789", at);
  bound.weight.set_str(
      text.substr(at, end == std::string::npos ? end : end - at), 10);
  return bound;
}

// Reads "; ..." lines up to the sum, which it compares with the rows.
std::vector<Row> read_chain(std::istream& output) {
  std::vector<Row> rows;
  std::string line;
  while (std::getline(output, line)) {
    std::size_t at = 0;
    if (!skip(line, at, ";   ")) {
      ADD_FAILURE() << "no row: " << line;
      return rows;
    }
    const bool is_sum = skip(line, at, "sum");
    Row row;
    if (!is_sum) {
      EXPECT_TRUE(skip(line, at, "line ")) << line;
      row.line = std::stoul(line.substr(at));
    }
    // Columns are at least three blanks apart; nothing else is.
    at = line.find_first_not_of(' ', line.find("   ", at));
    row.bound = read_bound(line.substr(at));
    if (!is_sum) {
      rows.push_back(row);
      continue;
    }
    EXPECT_NE(line.find(", which is false"), std::string::npos) << line;
    Bound total;
    std::map<std::string, int> coefficients;
    for (const Row& part : rows) {
      ++coefficients[part.bound.target];
      --coefficients[part.bound.source];
      total.strict = total.strict || part.bound.strict;
      total.weight += part.bound.weight;
    }
    for (const auto& [name, coefficient] : coefficients) {
      EXPECT_EQ(coefficient, 0) << name << " does not cancel";
    }
    EXPECT_TRUE(total.weight < 0 || (total.strict && total.weight == 0));
    EXPECT_TRUE(row.bound == total) << line;
    return rows;
  }
  ADD_FAILURE() << "the chain has no sum";
  return rows;
}

// One script with scopes and several checks. Counts the chains in it.
void run_chains(std::mt19937& random, bool integers, int& num_chains) {
  ConjunctionWriter writer(random, integers);
  std::string script = writer.declarations();
  std::size_t line = 1 + static_cast<std::size_t>(
                             std::count(script.begin(), script.end(), '\n'));
  // By line; the assertions that hold at each check.
  using Stack = std::vector<std::pair<std::size_t, Assertion>>;
  Stack stack;
  std::vector<std::size_t> levels;
  std::vector<Stack> checks;
  const auto add = [&script, &line](const std::string& command) {
    script += command + '\n';
    ++line;
  };
  for (int step = 0; step < 40; ++step) {
    const auto choice = random() % 10;
    if (choice < 6) {
      stack.emplace_back(line, writer.assertion());
      add("(assert " + stack.back().second.text + ')');
    } else if (choice == 6) {
      levels.push_back(stack.size());
      add("(push 1)");
    } else if (choice < 9 && !levels.empty()) {
      stack.resize(levels.back());
      levels.pop_back();
      add("(pop 1)");
    } else {
      checks.push_back(stack);
      add("(check-sat)");
    }
  }
  SCOPED_TRACE(script);
  ScriptOptions options;
  options.explain = true;
  bool had_error = true;
  std::istringstream output(run_text(script, &had_error, options));
  EXPECT_FALSE(had_error);
  for (const Stack& holding : checks) {
    std::string answer;
    std::getline(output, answer);
    if (answer == "sat") continue;
    ASSERT_EQ(answer, "unsat");
    std::string head;
    std::getline(output, head);
    ASSERT_EQ(head.rfind("; unsat, because th", 0), 0U) << head;
    ++num_chains;
    const std::vector<Row> rows = read_chain(output);
    ASSERT_FALSE(::testing::Test::HasFailure());
    for (const Row& row : rows) {
      const auto place =
          std::find_if(holding.begin(), holding.end(),
                       [&row](const auto& a) { return a.first == row.line; });
      ASSERT_NE(place, holding.end()) << "line " << row.line;
      const std::vector<Bound>& stated = place->second.bounds;
      EXPECT_NE(std::find(stated.begin(), stated.end(), row.bound),
                stated.end())
          << "line " << row.line << " does not state its row";
    }
  }
  std::string rest;
  EXPECT_FALSE(std::getline(output, rest)) << rest;
}

// A chain that does not add up, or states what nobody asserted, explains
// nothing. Of a conjunction there always is one.
TEST(RandomExplanationTest, ChainsAreStatedAndAddUp) {
  std::mt19937 random(20250301);
  for (const bool integers : {false, true}) {
    int num_chains = 0;
    for (int round = 0; round < 300; ++round) {
      SCOPED_TRACE("round " + std::to_string(round) + " of seed 20250301");
      run_chains(random, integers, num_chains);
      if (::testing::Test::HasFailure()) return;
    }
    EXPECT_GT(num_chains, 200) << "too few checks were unsat";
  }
}

constexpr int kVariables = 4;

// Small domains, a few bounds, and clauses over them.
std::vector<std::string> random_clauses(std::mt19937& random) {
  const auto below = [&random](int n) {
    return static_cast<int>(random() % static_cast<unsigned>(n));
  };
  const auto variable = [&below] {
    return "x" + std::to_string(below(kVariables));
  };
  const auto atom = [&] {
    return "(< (- " + variable() + ' ' + variable() + ") " +
           std::to_string(below(3)) + ")";
  };
  std::vector<std::string> clauses;
  for (int k = 0; k < kVariables; ++k) {
    clauses.push_back("(>= x" + std::to_string(k) + " 0)");
    clauses.push_back("(<= x" + std::to_string(k) + " 2)");
  }
  for (int k = 4 + below(8); k > 0; --k) {
    const std::string p = "p" + std::to_string(below(3));
    switch (below(5)) {
      case 0:
        clauses.push_back("(or (not " + atom() + ") " + p + ")");
        break;
      case 1:
        clauses.push_back("(=> " + p + " (not " + atom() + "))");
        break;
      case 2:
        clauses.push_back("(distinct " + variable() + " 1 " + variable() + ")");
        break;
      case 3:
        clauses.push_back(atom());
        break;
      default:
        clauses.push_back("(or (< " + variable() + " 1) (> " + variable() +
                          " 1))");
    }
  }
  return clauses;
}

// One assertion in each line from the second on.
std::string script_of(const std::vector<std::string>& clauses) {
  std::string script =
      "(set-logic QF_IDL)(declare-const p0 Bool)(declare-const p1 Bool)"
      "(declare-const p2 Bool)";
  for (int k = 0; k < kVariables; ++k) {
    script += "(declare-const x" + std::to_string(k) + " Int)";
  }
  for (const std::string& clause : clauses) {
    script += "\n(assert " + clause + ")";
  }
  return script + "\n(check-sat)\n";
}

// The lines named under a head that ends in "cannot hold together:" or
// "cannot hold:".
std::vector<std::size_t> named_lines(const std::string& output) {
  std::vector<std::size_t> lines;
  std::istringstream rows(output);
  for (std::string row; std::getline(rows, row);) {
    if (row.rfind(";   line ", 0) != 0) continue;
    lines.push_back(std::stoul(row.substr(9)));
  }
  return lines;
}

// Whatever form an explanation has, the assertions that it names must have no
// model; and each of them must be needed, or the reader chases a red herring.
TEST(RandomExplanationTest, NamedAssertionsAreUnsatisfiableAndNeeded) {
  std::mt19937 random(20250302);
  ScriptOptions options;
  options.explain = true;
  int num_cores = 0;
  for (int round = 0; round < 400; ++round) {
    SCOPED_TRACE("round " + std::to_string(round) + " of seed 20250302");
    const std::vector<std::string> clauses = random_clauses(random);
    const std::string script = script_of(clauses);
    SCOPED_TRACE(script);
    const std::string output = run_text(script, nullptr, options);
    if (output == "sat\n") continue;
    ASSERT_EQ(output.rfind("unsat\n; unsat, ", 0), 0U) << output;
    if (output.find("distinction of cases") != std::string::npos) ++num_cores;
    std::vector<std::string> named;
    std::vector<std::size_t> lines = named_lines(output);
    ASSERT_FALSE(lines.empty()) << output;
    std::sort(lines.begin(), lines.end());
    lines.erase(std::unique(lines.begin(), lines.end()), lines.end());
    for (const std::size_t line : lines) {
      ASSERT_TRUE(line > 1 && line - 2 < clauses.size()) << output;
      named.push_back(clauses[line - 2]);
    }
    EXPECT_EQ(run_text(script_of(named)), "unsat\n") << output;
    for (std::size_t k = 0; k < named.size(); ++k) {
      std::vector<std::string> fewer = named;
      fewer.erase(fewer.begin() + static_cast<std::ptrdiff_t>(k));
      EXPECT_EQ(run_text(script_of(fewer)), "sat\n") << output;
    }
    if (::testing::Test::HasFailure()) return;
  }
  EXPECT_GT(num_cores, 40) << "too few scripts needed cases";
}

}  // namespace
}  // namespace vorn::solver
