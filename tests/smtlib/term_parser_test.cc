// SPDX-License-Identifier: MIT
#include "solver/smtlib/term_parser.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>

#include "solver/terms/term_printer.h"
#include "tests/smtlib/arithmetics.h"
#include "tests/string_source.h"

namespace vorn::solver {
namespace {

// Reads terms over x, y (the logic's sort, or Int), r (Real), p, q (Bool) and
// the function f(a, b) = a < b + 1.
class Reading {
 public:
  explicit Reading(const Arithmetic& arithmetic) : arithmetic_(arithmetic) {
    const Sort sort = arithmetic.numeral_sort;
    x = declare("x", sort);
    y = declare("y", sort);
    r = declare("r", Sort::kReal);
    p = declare("p", Sort::kBool);
    q = declare("q", Sort::kBool);
    auto macro = std::make_shared<Macro>();
    const Term* a = store.make_fresh_symbol("a", sort);
    const Term* b = store.make_fresh_symbol("b", sort);
    macro->parameters = {a, b};
    macro->body =
        store.make_less(a, store.make_plus(b, store.make_number(1, sort)));
    Meaning meaning;
    meaning.macro = macro;
    symbols.define("f", meaning);
  }

  // The printed term, or "line:column message".
  std::string read(const std::string& text, bool names_allowed = true) {
    StringSource source(text);
    Lexer lexer(source);
    TermParser parser(lexer, store, symbols);
    parser.set_arithmetic(arithmetic_);
    parser.start_command(names_allowed);
    lexer.next();
    ParsedTerm result;
    const bool parsed = parser.parse(result);
    EXPECT_EQ(symbols.num_bound(), 0U) << "variables stay bound";
    if (!parsed) {
      const ScriptError& error = parser.error();
      return std::to_string(error.position.line) + ":" +
             std::to_string(error.position.column) + " " + error.message;
    }
    name = result.name.value_or("");
    last = result.term;
    // Not too large a bound: a term with sharing is printed with let.
    return print_term(result.term, 100);
  }

  TermStore store;
  SymbolTable symbols;
  const Term* x;
  const Term* y;
  const Term* r;
  const Term* p;
  const Term* q;
  const Term* last = nullptr;
  std::string name;

 private:
  const Term* declare(const std::string& symbol, Sort sort) {
    Meaning meaning;
    meaning.term = store.make_symbol(symbol, sort);
    symbols.define(symbol, meaning);
    return meaning.term;
  }

  Arithmetic arithmetic_;
};

std::string read(const std::string& text,
                 const Arithmetic& arithmetic = kIntegers) {
  return Reading(arithmetic).read(text);
}

// Each Boolean function is built as the standard reads it.
TEST(TermParserTest, ParseOfBooleanFunctionsBuildsThem) {
  EXPECT_EQ(read("true"), "true");
  EXPECT_EQ(read("|p|"), "p");
  EXPECT_EQ(read("(not p)"), "(not p)");
  EXPECT_EQ(read("(and p q (not p))"), "(and p q (not p))");
  EXPECT_EQ(read("(or p)"), "p");
  EXPECT_EQ(read("(xor p q (< x 0))"), "(xor (xor p q) (< x 0))");
  EXPECT_EQ(read("(=> p q (< x 0))"), "(=> p (=> q (< x 0)))");
  EXPECT_EQ(read("(= p q)"), "(= p q)");
  EXPECT_EQ(read("(= p q (< x 0))"), "(and (= p q) (= q (< x 0)))");
  EXPECT_EQ(read("(distinct p q)"), "(distinct p q)");
  EXPECT_EQ(read("(ite p q (< x y))"), "(ite p q (< x y))");
}

// Comparisons chain; > and >= are turned round.
TEST(TermParserTest, ParseOfComparisonsChains) {
  EXPECT_EQ(read("(< x y)"), "(< x y)");
  EXPECT_EQ(read("(> x y)"), "(< y x)");
  EXPECT_EQ(read("(>= x y)"), "(<= y x)");
  EXPECT_EQ(read("(<= 1 x y)"), "(and (<= 1 x) (<= x y))");
  EXPECT_EQ(read("(> x y 3)"), "(and (< y x) (< 3 y))");
  EXPECT_EQ(read("(= x y 3)"), "(and (= x y) (= y 3))");
  EXPECT_EQ(read("(distinct x y 3)"), "(distinct x y 3)");
}

// Arithmetic, with the forms of negative numbers and fractions.
TEST(TermParserTest, ParseOfArithmeticBuildsIt) {
  EXPECT_EQ(read("(+ x y 1)"), "(+ x y 1)");
  EXPECT_EQ(read("(- x)"), "(* (- 1) x)");
  EXPECT_EQ(read("(- x y 1)"), "(+ x (* (- 1) y) (- 1))");
  EXPECT_EQ(read("(* 2 x)"), "(* 2 x)");
  EXPECT_EQ(read("(- 3)"), "(- 3)");
  EXPECT_EQ(read("-3"), "(- 3)");
  EXPECT_EQ(read("(ite p x 3)"), "(ite p x 3)");
  EXPECT_EQ(read("2.50", kReals), "(/ 5.0 2.0)");
  EXPECT_EQ(read("-2.5", kReals), "(- (/ 5.0 2.0))");
  EXPECT_EQ(read("(/ 1 3)", kReals), "(/ 1.0 3.0)");
  EXPECT_EQ(read("(/ (- 1) 4 2)", kReals), "(- (/ 1.0 8.0))");
  EXPECT_EQ(read("(/ x 2)", kReals), "(* (/ 1.0 2.0) x)");
}

// A numeral is of the logic's sort, and a real beside a real.
TEST(TermParserTest, ParseOfNumeralsFollowsTheirNeighbours) {
  EXPECT_EQ(read("(< x 3)", kReals), "(< x 3.0)");
  EXPECT_EQ(read("(< x 3)", kBoth), "(< x 3)");
  EXPECT_EQ(read("(< r 3)", kBoth), "(< r 3.0)");
  EXPECT_EQ(read("(< r (- 3))", kBoth), "(< r (- 3.0))");
  EXPECT_EQ(read("(= 1 r (/ 1 2))", kBoth),
            "(and (= 1.0 r) (= r (/ 1.0 2.0)))");
  EXPECT_EQ(read("(ite p 1 r)", kBoth), "(ite p 1.0 r)");
}

// Beside a real an integer is its value; nothing is lost on the way back.
TEST(TermParserTest, ParseOfMixedArithmeticConvertsIntegers) {
  EXPECT_EQ(read("(< x r)", kBoth), "(< (* 1.0 x) r)");
  EXPECT_EQ(read("(= x 2.5)", kBoth), "(= (* 1.0 x) (/ 5.0 2.0))");
  EXPECT_EQ(read("(+ x y r)", kBoth), "(+ (* 1.0 x) (* 1.0 y) r)");
  EXPECT_EQ(read("(ite p x r)", kBoth), "(ite p (* 1.0 x) r)");
  EXPECT_EQ(read("(/ x 2)", kBoth), "(* (/ 1.0 2.0) (* 1.0 x))");
  EXPECT_EQ(read("(to_real x)", kBoth), "(* 1.0 x)");
  EXPECT_EQ(read("(to_real 3)", kBoth), "3.0");
  EXPECT_EQ(read("(to_real x)", kReals), "x");
  EXPECT_EQ(read("(to_int (to_real x))", kBoth), "x");
  EXPECT_EQ(read("(to_int x)", kBoth), "x");
  EXPECT_EQ(read("(to_int (+ x 0.5 (* 2 y)))", kBoth), "(+ x (* 2 y))");
  EXPECT_EQ(read("(to_int (- x 0.5))", kBoth), "(+ x (- 1))");
  EXPECT_EQ(read("(to_int (- 2.5))", kBoth), "(- 3)");
  EXPECT_EQ(read("(is_int (+ x 2.0))", kBoth), "true");
  EXPECT_EQ(read("(is_int (- x 0.5))", kBoth), "false");
  EXPECT_EQ(read("(is_int 2.5)", kBoth), "false");
}

// Absolute values are cases; division rounds so that no remainder is negative.
TEST(TermParserTest, ParseOfAbsDivAndModBuildsThem) {
  EXPECT_EQ(read("(abs x)"), "(ite (<= 0 x) x (* (- 1) x))");
  EXPECT_EQ(read("(abs r)", kReals), "(ite (<= 0.0 r) r (* (- 1.0) r))");
  EXPECT_EQ(read("(abs (- 3))"), "3");
  EXPECT_EQ(read("(abs (- 2.5))", kReals), "(/ 5.0 2.0)");
  const struct {
    int dividend;
    int divisor;
    const char* quotient;
    const char* remainder;
  } kDivisions[] = {
      {7, 2, "3", "1"},   {-7, 2, "(- 4)", "1"}, {7, -2, "(- 3)", "1"},
      {-7, -2, "4", "1"}, {6, 3, "2", "0"},      {-6, 3, "(- 2)", "0"},
      {0, -5, "0", "0"},  {1, 1000, "0", "1"},   {-1, 1000, "(- 1)", "999"}};
  for (const auto& row : kDivisions) {
    const std::string numbers = " " + std::to_string(row.dividend) + " " +
                                std::to_string(row.divisor) + ")";
    SCOPED_TRACE(numbers);
    EXPECT_EQ(read("(div" + numbers), row.quotient);
    EXPECT_EQ(read("(mod" + numbers), row.remainder);
  }
  EXPECT_EQ(read("(div 100 7 (- 2))"), "(- 7)");
  EXPECT_EQ(read("(+ x (mod (+ 3 4) 4))"), "(+ x 3)");
}

// A qualified name is the name, if the sort is right.
TEST(TermParserTest, ParseOfQualifiedNameIsTheName) {
  EXPECT_EQ(read("(as x Int)"), "x");
  EXPECT_EQ(read("(and (as p Bool) (< (as |x| Int) y))"), "(and p (< x y))");
  EXPECT_EQ(read("(let ((x p)) (as x Bool))"), "p");
}

// A name that only some logics have is free for the script.
TEST(TermParserTest, ParseOfNameOfItsOwnHidesTheArithmeticFunction) {
  EXPECT_EQ(read("(let ((abs x)) (< abs 0))"), "(< x 0)");
  Reading reading(kIntegers);
  EXPECT_EQ(reading.read("(! p :named mod)"), "p");
  EXPECT_EQ(reading.read("(and q mod)"), "(and q p)");
}

// let binds all its variables at once, and inner ones hide outer ones.
TEST(TermParserTest, ParseOfLetBindsInParallelAndShadows) {
  EXPECT_EQ(read("(let ((x y) (y x)) (< x y))"), "(< y x)");
  EXPECT_EQ(read("(let ((z p)) (let ((z (not z))) (and z q)))"),
            "(and (not p) q)");
  EXPECT_EQ(read("(and (let ((p q)) p) p)"), "(and q p)");
  EXPECT_EQ(read("(let ((a (let ((b x)) (+ b 1)))) (< a 0))"), "(< (+ x 1) 0)");
}

// Each level doubles the tree: only sharing keeps 200 of them small.
TEST(TermParserTest, ParseOfDoublingLetsStaysShared) {
  std::string text;
  for (int i = 0; i < 200; ++i) {
    const std::string last = i == 0 ? "p" : "v" + std::to_string(i - 1);
    text += "(let ((v" + std::to_string(i) + " (xor (or " + last + " q) (=> " +
            last + " q)))) ";
  }
  text += "v199" + std::string(200, ')');
  Reading reading(kIntegers);
  reading.read(text);
  EXPECT_LT(reading.store.size(), 1000U);
}

// Depth costs memory, not stack.
TEST(TermParserTest, ParseOfAMillionBracketsSucceeds) {
  constexpr int kDepth = 1000000;
  std::string text;
  for (int i = 0; i < kDepth; ++i) text += "(not ";
  text += "p" + std::string(kDepth, ')');
  Reading reading(kIntegers);
  EXPECT_EQ(reading.read(text), "p");

  text.clear();
  for (int i = 0; i < kDepth; ++i) text += "(or (and p q) (let ((a p)) ";
  text += "q" + std::string(2 * kDepth, ')');
  EXPECT_NE(reading.read(text), "");
  EXPECT_EQ(reading.last->kind, Kind::kOr);
}

// A defined function is its body with the arguments put in.
TEST(TermParserTest, ParseOfDefinedFunctionExpandsIt) {
  EXPECT_EQ(read("(f x 3)"), "(< x 4)");
  EXPECT_EQ(read("(f y x)"), "(< y (+ x 1))");
}

// Annotations change nothing but names; the outermost one names the term.
TEST(TermParserTest, ParseOfAnnotationsKeepsTermAndName) {
  Reading reading(kIntegers);
  EXPECT_EQ(reading.read("(! p :named n)"), "p");
  EXPECT_EQ(reading.name, "n");
  EXPECT_EQ(reading.read("(and (! q :named m) m n)"), "(and q p)");
  EXPECT_EQ(reading.name, "");
  EXPECT_EQ(reading.read("(! q :a :b (x (y)) :c \"s\" :d 1.5 :named k)"), "q");
  EXPECT_EQ(reading.name, "k");
}

struct Wrong {
  const char* text;
  const char* error;
};

// What is wrong is named with its exact place.
TEST(TermParserTest, ParseOfWrongTermsReportsThem) {
  const Wrong table[] = {
      {"z", "1:1 unknown symbol z"},
      {"(and p\n  |a z|)", "2:3 unknown symbol |a z|"},
      {"(g x)", "1:2 unknown function g"},
      {"f", "1:1 f is a function and needs arguments"},
      {"and", "1:1 and is a function and needs arguments"},
      {"(x)", "1:2 x takes no arguments"},
      {"(true)", "1:2 true takes no arguments"},
      {"(let ((f p)) (f x 1))", "1:15 f takes no arguments"},
      {"(f x)", "1:2 this function takes 2 arguments, not 1"},
      {"(f x p)", "1:6 the function expects sort Int here, not Bool"},
      {"()", "1:2 expected a function, not ')'"},
      {"((f x) x)", "1:2 expected a function, not '('"},
      {"(3 x)", "1:2 expected a function, not 3"},
      {")", "1:1 expected a term, not ')'"},
      {"\"s\"", "1:1 expected a term, not a string"},
      {"#b1", "1:1 expected a term, not #b1"},
      {":k", "1:1 expected a term, not :k"},
      {"let", "1:1 expected a term, not let"},
      {"(not)", "1:2 not takes 1 argument, not 0"},
      {"(not p q)", "1:2 not takes 1 argument, not 2"},
      {"(ite p x)", "1:2 ite takes 3 arguments, not 2"},
      {"(< x)", "1:2 < takes at least 2 arguments, not 1"},
      {"(and p x)", "1:8 and expects a Bool here, not an Int"},
      {"(and p r)", "1:8 and expects a Bool here, not a Real"},
      {"(ite x p q)", "1:6 ite expects a Bool here, not an Int"},
      {"(< x p)", "1:6 < expects a number here, not a Bool"},
      {"(= x p)", "1:6 = mixes Int and Bool arguments"},
      {"(+ x r)", "1:4 + mixes Real and Int arguments"},
      {"(+ x 1.5)", "1:4 + mixes Real and Int arguments"},
      {"(/ x 2)", "1:4 / expects a Real here, not an Int"},
      {"(/ r r)", "1:6 / by a term that is no number is not supported"},
      {"(/ r 0)", "1:6 division by zero"},
      {"abs", "1:1 unknown symbol abs"},
      {"(abs x y)", "1:2 abs takes 1 argument, not 2"},
      {"(abs p)", "1:6 abs expects a number here, not a Bool"},
      {"(let ((abs x)) (abs x))", "1:17 abs takes no arguments"},
      {"(div x 2)", "1:6 div of a term that is no number is not supported"},
      {"(div 2 x)", "1:8 div of a term that is no number is not supported"},
      {"(div 2 0)", "1:8 div by zero"},
      {"(div 2 1 0)", "1:10 div by zero"},
      {"(mod 2 (- 1 1))", "1:8 mod by zero"},
      {"(mod 2 3 4)", "1:2 mod takes 2 arguments, not 3"},
      {"(mod p 2)", "1:6 mod expects an Int here, not a Bool"},
      {"(mod 1.5 2)", "1:6 mod expects an Int here, not a Real"},
      {"(to_real x)", "1:2 unknown function to_real"},
      {"(to_int x)", "1:2 unknown function to_int"},
      {"(is_int x)", "1:2 unknown function is_int"},
      {"(as x Real)", "1:7 sort Real does not exist in this logic"},
      {"(as x Bool)", "1:7 this is of sort Int, not Bool"},
      {"(as 3 Int)", "1:5 expected a symbol, not 3"},
      {"(as f Int)", "1:5 f is a function and needs arguments"},
      {"(as x Int y)", "1:11 expected ')' after the sort, not y"},
      {"((as f Bool) x y)", "1:2 expected a function, not '('"},
      {"(forall ((z Int)) p)", "1:2 quantifiers are not supported"},
      {"(_ bv1 2)", "1:2 _ is not supported in terms"},
      {"(let () p)", "1:7 expected a binding, not ')'"},
      {"(let p p)", "1:6 expected the bindings of let, not p"},
      {"(let (p) p)", "1:7 expected a binding, not p"},
      {"(let ((3 p)) p)", "1:8 expected a variable, not 3"},
      {"(let ((a p) (a q)) a)", "1:14 variable a is bound twice"},
      {"(let ((a p q)) a)",
       "1:12 expected ')' after the term of a binding, not q"},
      {"(let ((a p)) a a)", "1:16 expected ')' after the body of let, not a"},
      {"(let ((a p) a) a)", "1:13 expected a binding or ')', not a"},
      {"(! p)", "1:5 expected an attribute, not ')'"},
      {"(! p n)", "1:6 expected an attribute, not n"},
      {"(! p :named 3)", "1:13 expected a name, not 3"},
      {"(! p :named p)", "1:13 symbol p is already in use"},
      {"(! p :named and)", "1:13 symbol and is already in use"},
      {"(and p 01)", "1:8 number 01 starts with 0"},
      {"(and p",
       "1:7 the script ends inside the command that starts at line 1 column "
       "1"},
  };
  for (const Wrong& wrong : table) {
    SCOPED_TRACE(wrong.text);
    EXPECT_EQ(read(wrong.text), wrong.error);
  }
}

// What the term says of reals is no integer's business.
TEST(TermParserTest, ParseOfWrongConversionsReportsThem) {
  EXPECT_EQ(read("(to_int r)", kBoth),
            "1:9 to_int of a term that need not be whole is not supported");
  EXPECT_EQ(read("(is_int (/ x 2))", kBoth),
            "1:9 is_int of a term that need not be whole is not supported");
  EXPECT_EQ(read("(to_int (* x x))", kBoth),
            "1:9 to_int of a term that need not be whole is not supported");
  EXPECT_EQ(read("(to_real p)", kBoth),
            "1:10 to_real expects a number here, not a Bool");
  EXPECT_EQ(read("(div 1 2)", kReals), "1:2 unknown function div");
  EXPECT_EQ(read("(to_int 1)", kReals), "1:2 unknown function to_int");
  EXPECT_EQ(read("(+ x p)", kBoth), "1:6 + expects a number here, not a Bool");
}

// Where nothing is asserted a name would outlive its term.
TEST(TermParserTest, ParseOfNameWhereNoneIsAllowedFails) {
  Reading reading(kIntegers);
  EXPECT_EQ(reading.read("(! p :named n)", false),
            "1:13 a term cannot be named here");
}

// A wide let is checked for repetitions, too, by another way.
TEST(TermParserTest, ParseOfWideLetWithRepetitionFails) {
  std::string text = "(let (";
  for (int i = 0; i < 100; ++i) text += "(a" + std::to_string(i) + " p)";
  EXPECT_EQ(read(text + ") a7)"), "p");
  EXPECT_EQ(read(text + "(a7 q)) a7)"), "1:1 variable a7 is bound twice");
}

}  // namespace
}  // namespace vorn::solver
