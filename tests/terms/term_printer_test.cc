// SPDX-License-Identifier: MIT
#include "solver/terms/term_printer.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "solver/terms/term_store.h"
#include "tests/terms/random_terms.h"

namespace vorn::solver {
namespace {

// Reads printed text back into terms: the oracle. Since equal terms are one
// pointer, reading must give the printed term itself. All bindings stand in
// front of the term, so that only the term itself is read by recursion.
class Reader {
 public:
  Reader(TermStore& store, const std::string& text)
      : store_(store), text_(text) {}

  const Term* read() {
    std::size_t num_open = 0;
    for (; text_.compare(next_, 5, "(let ") == 0; ++num_open) read_binding();
    const Term* term = read_term();
    while (num_open-- > 0) expect(")");
    EXPECT_EQ(next_, text_.size()) << "text behind the term";
    return term;
  }

  void declare(const Term* symbol) { names_[symbol->name()] = symbol; }

 private:
  std::string token() {
    while (next_ < text_.size() && text_[next_] == ' ') ++next_;
    const std::size_t start = next_;
    if (text_[next_] == '(' || text_[next_] == ')') {
      ++next_;
    } else if (text_[next_] == '|') {
      next_ = text_.find('|', next_ + 1) + 1;
      return text_.substr(start + 1, next_ - start - 2);
    } else {
      next_ = std::min(text_.find_first_of(" ()", next_), text_.size());
    }
    return text_.substr(start, next_ - start);
  }

  void expect(const char* wanted) { EXPECT_EQ(token(), wanted); }

  const Term* read_term() {
    const std::string first = token();
    if (first != "(") return read_leaf(first);
    const std::string head = token();
    std::vector<const Term*> args;
    while (text_[next_] != ')') args.push_back(read_term());
    expect(")");
    return apply(head, args);
  }

  const Term* read_leaf(const std::string& text) {
    if (text == "true") return store_.make_bool(true);
    if (text == "false") return store_.make_bool(false);
    if (text[0] >= '0' && text[0] <= '9') {
      const Sort sort =
          text.find('.') == std::string::npos ? Sort::kInt : Sort::kReal;
      return store_.make_number(*QNumber::from_string(text), sort);
    }
    return names_.at(text);
  }

  // Reads "(let ((name term)) " and leaves the let open.
  void read_binding() {
    expect("(");
    expect("let");
    expect("(");
    expect("(");
    const std::string name = token();
    EXPECT_EQ(names_.count(name), 0U) << "captures " << name;
    names_[name] = read_term();
    expect(")");
    expect(")");
    ++next_;
  }

  const Term* apply(const std::string& head,
                    const std::vector<const Term*>& args) {
    const auto second = [&] { return args.at(1); };
    if (head == "not") return store_.make_not(args.at(0));
    if (head == "and") return store_.make_and(args);
    if (head == "or") return store_.make_or(args);
    if (head == "xor") return store_.make_xor(args.at(0), second());
    if (head == "=>") return store_.make_implies(args.at(0), second());
    if (head == "=") return store_.make_equal(args.at(0), second());
    if (head == "distinct") return store_.make_distinct(args);
    if (head == "ite") return store_.make_ite(args.at(0), second(), args.at(2));
    if (head == "<=") return store_.make_leq(args.at(0), second());
    if (head == "<") return store_.make_less(args.at(0), second());
    if (head == "+") return store_.make_plus(args);
    if (head == "*") return store_.make_times(args.at(0), second());
    QNumber value = args.at(0)->number();
    if (head == "/") {
      value /= second()->number();
      return store_.make_number(value, Sort::kReal);
    }
    EXPECT_EQ(head, "-");
    return store_.make_number(-value, args.at(0)->sort);
  }

  TermStore& store_;
  const std::string& text_;
  std::size_t next_ = 0;
  std::map<std::string, const Term*> names_;
};

QNumber q(const char* text) {
  return *QNumber::from_string(text);
}

// Values must be readable by any SMT-LIB 2.6 reader, sort included.
TEST(PrintValueTest, EveryFormFollowsTheSort) {
  EXPECT_EQ(print_value(q("3"), Sort::kInt), "3");
  EXPECT_EQ(print_value(q("-3"), Sort::kInt), "(- 3)");
  EXPECT_EQ(print_value(q("0"), Sort::kInt), "0");
  EXPECT_EQ(print_value(q("3"), Sort::kReal), "3.0");
  EXPECT_EQ(print_value(q("-3"), Sort::kReal), "(- 3.0)");
  EXPECT_EQ(print_value(q("0"), Sort::kReal), "0.0");
  EXPECT_EQ(print_value(q("1/3"), Sort::kReal), "(/ 1.0 3.0)");
  EXPECT_EQ(print_value(q("-1/3"), Sort::kReal), "(- (/ 1.0 3.0))");
  EXPECT_EQ(print_value(q("-100000000000000000000"), Sort::kInt),
            "(- 100000000000000000000)");
}

// A name printed bare that is no simple symbol cannot be read back.
TEST(PrintSymbolTest, QuotesOnlyWhenNeeded) {
  EXPECT_EQ(print_symbol("x"), "x");
  EXPECT_EQ(print_symbol("k!0"), "k!0");
  EXPECT_EQ(print_symbol("~!@$%^&*_-+=<>.?/"), "~!@$%^&*_-+=<>.?/");
  EXPECT_EQ(print_symbol(""), "||");
  EXPECT_EQ(print_symbol("a b"), "|a b|");
  EXPECT_EQ(print_symbol("1x"), "|1x|");
  EXPECT_EQ(print_symbol("a;b"), "|a;b|");
  EXPECT_EQ(print_symbol("a\nb"), "|a\nb|");
  EXPECT_EQ(print_symbol("let"), "|let|");
  EXPECT_EQ(print_symbol("_"), "|_|");
  EXPECT_EQ(print_symbol("!"), "|!|");
  EXPECT_EQ(print_symbol("check-sat"), "|check-sat|");
  EXPECT_EQ(print_symbol("caf\xC3\xA9"), "|caf\xC3\xA9|");
}

// Declarations are printed with these names.
TEST(PrintSortTest, NamesEverySort) {
  EXPECT_STREQ(print_sort(Sort::kBool), "Bool");
  EXPECT_STREQ(print_sort(Sort::kInt), "Int");
  EXPECT_STREQ(print_sort(Sort::kReal), "Real");
}

// One misspelt operator makes every output with it useless.
TEST(PrintTermTest, EveryKindHasItsOperator) {
  TermStore store;
  const Term* p = store.make_symbol("p", Sort::kBool);
  const Term* b = store.make_symbol("b c", Sort::kBool);
  const Term* x = store.make_symbol("x", Sort::kInt);
  const Term* y = store.make_symbol("y", Sort::kInt);
  const Term* three = store.make_number(q("3"));
  const Term* less_third = store.make_number(q("-1/3"));

  EXPECT_EQ(print_term(store.make_bool(true)), "true");
  EXPECT_EQ(print_term(store.make_bool(false)), "false");
  EXPECT_EQ(print_term(b), "|b c|");
  EXPECT_EQ(print_term(three), "3");
  EXPECT_EQ(print_term(less_third), "(- (/ 1.0 3.0))");
  EXPECT_EQ(print_term(store.make_not(p)), "(not p)");
  EXPECT_EQ(print_term(store.make_and({p, b})), "(and p |b c|)");
  EXPECT_EQ(print_term(store.make_or({p, b})), "(or p |b c|)");
  EXPECT_EQ(print_term(store.make_xor(p, b)), "(xor p |b c|)");
  EXPECT_EQ(print_term(store.make_implies(p, b)), "(=> p |b c|)");
  EXPECT_EQ(print_term(store.make_equal(x, y)), "(= x y)");
  EXPECT_EQ(print_term(store.make_distinct({x, y, three})), "(distinct x y 3)");
  EXPECT_EQ(print_term(store.make_ite(p, x, y)), "(ite p x y)");
  EXPECT_EQ(print_term(store.make_leq(x, y)), "(<= x y)");
  EXPECT_EQ(print_term(store.make_less(x, y)), "(< x y)");
  EXPECT_EQ(print_term(store.make_plus({x, y, three})), "(+ x y 3)");
  EXPECT_EQ(print_term(store.make_negate(x)), "(* (- 1) x)");
}

// Without let, text grows exponentially; with it, small terms read badly.
TEST(PrintTermTest, SharedTermsAreBoundUnlessTheTreeIsSmall) {
  TermStore store;
  const Term* x = store.make_symbol("x", Sort::kInt);
  const Term* y = store.make_symbol("y", Sort::kInt);
  const Term* sum = store.make_plus(x, y);
  const Term* atom = store.make_leq(sum, store.make_plus(sum, x));

  // The tree has 9 nodes: <=, two inner sums of 3, the outer + and x.
  EXPECT_EQ(print_term(atom), "(let ((?v0 (+ x y))) (<= ?v0 (+ ?v0 x)))");
  EXPECT_EQ(print_term(atom, 8), print_term(atom));
  EXPECT_EQ(print_term(atom, 9), "(<= (+ x y) (+ (+ x y) x))");
}

// A bound name that meets a symbol would capture it.
TEST(PrintTermTest, BoundNamesAvoidTheSymbols) {
  TermStore store;
  const Term* x = store.make_symbol("?v0", Sort::kInt);
  const Term* y = store.make_symbol("?", Sort::kInt);
  const Term* sum = store.make_plus(x, y);
  const std::string text =
      print_term(store.make_leq(sum, store.make_plus({sum, x, y})));

  EXPECT_EQ(text, "(let ((\?\?v0 (+ ?v0 ?))) (<= \?\?v0 (+ \?\?v0 ?v0 ?)))");
}

// Printing must lose nothing: what is read back is the same term.
TEST(PrintTermTest, ReadingBackGivesTheSameTerm) {
  for (unsigned seed = 0; seed < 100; ++seed) {
    SCOPED_TRACE(seed);
    TermStore store;
    testing::RandomTerms terms(store, seed, false);
    terms.grow(80);
    std::vector<const Term*> all = terms.bools;
    all.insert(all.end(), terms.numbers.begin(), terms.numbers.end());
    for (const Term* term : all) {
      for (const std::size_t limit : {std::size_t{0}, std::size_t{30}}) {
        const std::string text = print_term(term, limit);
        Reader reader(store, text);
        for (const auto& [symbol, value] : terms.point().bools) {
          reader.declare(symbol);
        }
        for (const auto& [symbol, value] : terms.point().numbers) {
          reader.declare(symbol);
        }
        ASSERT_EQ(reader.read(), term) << text;
      }
    }
  }
}

// Recursion would end the process here.
TEST(PrintTermTest, AMillionDeepIsPrinted) {
  TermStore store;
  const Term* x = store.make_symbol("x", Sort::kInt);
  const Term* one = store.make_number(QNumber(1));
  const Term* term = x;
  std::string expected;
  for (int i = 0; i < 1000000; ++i) {
    term = store.make_plus(one, term);
    expected += "(+ 1 ";
  }
  expected += 'x';
  expected.append(1000000, ')');

  EXPECT_TRUE(print_term(term) == expected);
  EXPECT_TRUE(print_term(term, 10000000) == expected);
}

// The tree has 2^10000 nodes, the text about ten thousand bindings.
TEST(PrintTermTest, ADoublingGraphIsPrintedInLinearSpace) {
  TermStore store;
  const Term* x = store.make_symbol("x", Sort::kInt);
  const Term* term = x;
  for (int i = 0; i < 10000; ++i) term = store.make_plus(term, term);

  const std::string text = print_term(term, 1000000);

  EXPECT_LT(text.size(), 10000U * 50U);
  Reader reader(store, text);
  reader.declare(x);
  EXPECT_EQ(reader.read(), term);
}

}  // namespace
}  // namespace vorn::solver
