// SPDX-License-Identifier: MIT
#include "solver/smtlib/bound_reader.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "solver/smtlib/term_parser.h"
#include "solver/terms/linear_sum.h"
#include "solver/terms/term_printer.h"
#include "tests/string_source.h"

namespace vorn::solver {
namespace {

constexpr Arithmetic kIntegers = {true, false, Sort::kInt};
constexpr Arithmetic kReals = {false, true, Sort::kReal};
constexpr Arithmetic kBoth = {true, true, Sort::kInt};

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
    const Position behind = lexer.token().position;
    EXPECT_EQ(behind.column, 8 + text.size());
    EXPECT_EQ(lexer.next().text, "next");
    EXPECT_EQ(lexer.token().position.column, behind.column + 2);
    return result;
  }

  // What the parser of terms makes of it; "-" if it is an error.
  std::string parse(const std::string& text) {
    StringSource source(text);
    Lexer lexer(source);
    TermParser parser(lexer, store_, symbols_);
    parser.set_arithmetic(arithmetic_);
    parser.start_command(true);
    lexer.next();
    ParsedTerm parsed;
    if (!parser.parse(parsed)) return "-";
    return print_term(parsed.term);
  }

  const std::string& written() const { return written_; }

 private:
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

// Whatever is read at once is what the parser reads; all else is left to it.
TEST(BoundReaderTest, RandomTextsAreReadAsTheParserDoes) {
  const std::vector<std::string> words = {"x",
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
  const std::vector<std::string> heads = {"<=", "<",  ">=", ">",
                                          "=",  "-p", "<=", "(<"};
  for (const Arithmetic& arithmetic : {kIntegers, kReals, kBoth}) {
    Readers readers(arithmetic);
    std::mt19937 random(1);
    std::size_t num_read = 0;
    for (int k = 0; k < 20000; ++k) {
      const auto any = [&](const std::vector<std::string>& of) {
        return of[random() % of.size()];
      };
      std::string text = "(" + any(heads) + " " + any(words) + " " +
                         any(words) + (random() % 20 == 0 ? " 1" : "") + ")";
      const std::string bound = readers.read_bound(" " + text);
      if (bound == "-") continue;
      ++num_read;
      ASSERT_EQ(bound, readers.parse(text)) << text;
      ASSERT_EQ(readers.written(), text);
    }
    EXPECT_GT(num_read, 500U);
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
