// SPDX-License-Identifier: MIT
#include "solver/smtlib/bound_reader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "solver/smtlib/term_parser.h"
#include "solver/terms/linear_sum.h"
#include "solver/terms/term_printer.h"
#include "tests/smtlib/arithmetics.h"
#include "tests/string_source.h"

namespace vorn::solver {
namespace {

// A term whatever it shares: with the members of a conjunction once, as they
// are kept if they are shared.
std::string spelled(const Term* term) {
  if (term->num_args == 0) return print_term(term);
  std::vector<std::string> parts;
  for (std::size_t i = 0; i < term->num_args; ++i) {
    std::string part = spelled(term->arg(i));
    if (term->kind == Kind::kAnd &&
        std::find(parts.begin(), parts.end(), part) != parts.end()) {
      continue;
    }
    parts.push_back(std::move(part));
  }
  if (term->kind == Kind::kAnd && parts.size() == 1) return parts.front();
  std::string text = std::to_string(static_cast<int>(term->kind));
  for (const std::string& part : parts) text += " (" + part + ")";
  return text;
}

// Two readers of the same names: x, y (the logic's sort, or Int), r (Real), p
// (Bool), c, which is defined as 3.
class Readers {
 public:
  explicit Readers(const Arithmetic& arithmetic) : arithmetic_(arithmetic) {
    const Sort sort = arithmetic.numeral_sort;
    for (const auto& [name, of] : {std::pair{"x", sort},
                                   {"y", sort},
                                   {"r", Sort::kReal},
                                   {"p", Sort::kBool}}) {
      define(name, store_.make_symbol(name, of));
    }
    define("c", store_.make_number(3, sort));
  }

  // What the reader of bounds makes of "(assert TEXT)"; "-" if it leaves it.
  // Either way the command's end is found.
  std::string read_bound(const std::string& text, std::size_t piece = 4096) {
    StringSource source("(assert" + text + ") next", piece);
    Lexer lexer(source);
    BoundReader reader(lexer, store_, symbols_);
    reader.set_arithmetic(arithmetic_);
    lexer.next();
    EXPECT_EQ(lexer.next().text, "assert");
    const BoundReader::Bound* bound = reader.read();
    if (bound == nullptr) {
      EXPECT_EQ(lexer.token().text, "assert");
      return "-";
    }
    EXPECT_EQ(lexer.token().kind, TokenKind::kClose);
    EXPECT_EQ(lexer.depth(), 0U);
    std::string result = print_term(bound->term);
    written_ = bound->text;
    // What it says besides is what the term says.
    Lineariser lineariser;
    LinearSum sum;
    EXPECT_TRUE(lineariser.linearise_difference(bound->term->arg(0),
                                                bound->term->arg(1), sum));
    EXPECT_EQ(sum.constant, bound->sum->constant);
    EXPECT_EQ(bound->is_strict, bound->term->kind == Kind::kLess);
    EXPECT_EQ(sum.monomials.size(), bound->sum->monomials.size());
    for (std::size_t k = 0; k < sum.monomials.size(); ++k) {
      EXPECT_EQ(sum.monomials[k].leaf, bound->sum->monomials[k].leaf);
      EXPECT_EQ(sum.monomials[k].coefficient,
                bound->sum->monomials[k].coefficient);
    }
    // It stands where it does for who reads token by token.
    StringSource same("(assert" + text + ") next");
    Lexer tokens(same);
    while (tokens.next().text != "next") {
      if (tokens.token().kind != TokenKind::kClose || tokens.depth() > 0) {
        continue;
      }
      EXPECT_EQ(lexer.token().position.line, tokens.token().position.line);
      EXPECT_EQ(lexer.token().position.column, tokens.token().position.column);
    }
    EXPECT_EQ(lexer.next().text, "next");
    EXPECT_EQ(lexer.token().position.line, tokens.token().position.line);
    EXPECT_EQ(lexer.token().position.column, tokens.token().position.column);
    return result;
  }

  // What the parser of terms makes of it, and where it is behind it; "-" if it
  // is an error. `reads_bounds`: with the reader of bounds, where it can.
  std::string parse(const std::string& text, bool reads_bounds = false,
                    bool shows_place = false) {
    StringSource source(text + " next");
    Lexer lexer(source);
    BoundReader reader(lexer, store_, symbols_);
    reader.set_arithmetic(arithmetic_);
    TermParser parser(lexer, store_, symbols_);
    parser.set_arithmetic(arithmetic_);
    if (reads_bounds) parser.set_bounds(&reader);
    parser.start_command(true);
    lexer.next();
    ParsedTerm parsed;
    const std::size_t mark = symbols_.mark();
    const bool is_parsed = parser.parse(parsed);
    symbols_.rollback(mark);
    if (!is_parsed) {
      const ScriptError& error = parser.error();
      return "-" + (shows_place ? place(error.position) + error.message : "");
    }
    if (!shows_place) return print_term(parsed.term);
    std::string result = spelled(parsed.term);
    if (parsed.name) result += " named " + *parsed.name;
    result += std::string(lexer.text(parsed.begin, parsed.end));
    return result + place(lexer.next().position);
  }

  const std::string& written() const { return written_; }

 private:
  static std::string place(const Position& position) {
    return " at " + std::to_string(position.line) + ":" +
           std::to_string(position.column) + " ";
  }
  void define(const std::string& name, const Term* term) {
    Meaning meaning;
    meaning.term = term;
    symbols_.define(name, std::move(meaning));
  }

  Arithmetic arithmetic_;
  TermStore store_;
  SymbolTable symbols_;
  std::string written_;
};

TEST(BoundReaderTest, BoundsAreReadAtOnce) {
  Readers integers(kIntegers);
  EXPECT_EQ(integers.read_bound(" (<= (- x y) 5)"),
            integers.parse("(<= (- x y) 5)"));
  EXPECT_EQ(integers.written(), "(<= (- x y) 5)");
  EXPECT_NE(integers.read_bound(" (> x (- 4))"), "-");
}

const std::vector<std::string> kWords = {"x",
                                         "y",
                                         "r",
                                         "p",
                                         "c",
                                         "z",
                                         "0",
                                         "7",
                                         "00",
                                         "5",
                                         "12.5",
                                         "1.",
                                         ".5",
                                         "!",
                                         "-",
                                         "<=",
                                         "(- 3)",
                                         "(- x y)",
                                         "4096",
                                         "(- y 2)",
                                         "(- x)",
                                         "(- x x)",
                                         "(+ x y)",
                                         "9007199254740993",
                                         "1234567890123456789012",
                                         "(- 2.25)",
                                         "|x|",
                                         "(- x y r)",
                                         "(-  x  y )"};
const std::vector<std::string> kHeads = {"<=", "<",  ">=", ">",
                                         "=",  "-p", "<=", "(<"};

// A comparison, most of which are bounds, with blanks in front of its words.
std::string random_text(std::mt19937& random,
                        const std::vector<std::string>& blanks) {
  const auto any = [&](const std::vector<std::string>& of) {
    return of[random() % of.size()];
  };
  std::string text = "(" + any(kHeads);
  for (unsigned k = random() % 20 == 0 ? 3 : 2; k > 0; --k) {
    text += any(blanks) + any(kWords);
  }
  return text + (random() % 4 == 0 ? any(blanks) : "") + ")";
}

// As people and programs break long formulas.
const std::vector<std::string> kBlanks = {" ",      " ",  "\n", "\n    ",
                                          "\r\n\t", "\t", "\r", "  "};

// Whatever is read at once is what the parser reads; all else is left to it.
TEST(BoundReaderTest, RandomTextsAreReadAsTheParserDoes) {
  for (const Arithmetic& arithmetic : {kIntegers, kReals, kBoth}) {
    Readers readers(arithmetic);
    std::mt19937 random(1);
    std::size_t num_read = 0;
    for (int k = 0; k < 20000; ++k) {
      const std::string text = random_text(random, kBlanks);
      const std::string bound =
          readers.read_bound(kBlanks[random() % kBlanks.size()] + text);
      if (bound == "-") continue;
      ++num_read;
      ASSERT_EQ(bound, readers.parse(text)) << text;
      ASSERT_EQ(readers.written(), text);
    }
    EXPECT_GT(num_read, 500U);
  }
}

// Members of conjunctions and what has a name is read at once as well: with the
// same meaning, the same mistakes, and everything in its place.
TEST(BoundReaderTest, PartsOfFormulasAreReadAsTheParserDoes) {
  for (const Arithmetic& arithmetic : {kIntegers, kReals, kBoth}) {
    Readers readers(arithmetic);
    std::mt19937 random(2);
    std::size_t num_right = 0;
    for (int k = 0; k < 20000; ++k) {
      const auto blank = [&] { return kBlanks[random() % kBlanks.size()]; };
      const auto part = [&] {
        const std::string text = random_text(random, kBlanks);
        switch (random() % 8) {
          case 0:
            return "(!" + blank() + text + blank() + ":named n" +
                   std::to_string(random() % 9) + ")";
          case 1:
            return "(or" + blank() + text + " p)";
          case 2:
            return "(let ((x" + blank() + "y))" + text + ")";
          case 3:
            return "(and" + blank() + text + ")";
          default:
            return text;
        }
      };
      const std::string text =
          random() % 4 == 0
              ? part()
              : "(and" + blank() + part() + blank() + part() + blank() + ")";
      const std::string parsed = readers.parse(text, false, true);
      ASSERT_EQ(readers.parse(text, true, true), parsed) << text;
      if (parsed[0] != '-') ++num_right;
    }
    EXPECT_GT(num_right, 300U);
  }
}

// What has not arrived yet cannot be read at once.
TEST(BoundReaderTest, PartsOfCommandsAreLeft) {
  Readers integers(kIntegers);
  for (const std::size_t piece : {1U, 9U, 13U, 21U}) {
    EXPECT_EQ(integers.read_bound(" (<= (- x y) 5)", piece), "-");
  }
}

}  // namespace
}  // namespace vorn::solver
