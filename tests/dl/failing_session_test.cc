// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstddef>
#include <map>
#include <new>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "tests/inspector.h"
#include "tests/numbers/allocation_hooks.h"
#include "vorn/dl/graph.h"
#include "vorn/services/linear_term_mapper.h"
#include "vorn/services/term.h"
#include "vorn/services/term_manager.h"

// A whole session of a host with a graph, with the first allocation failing,
// then the second, the third and so on: operator new, GMP's, and malloc. The
// host mends what an operation may leave and goes on, or gives up; either way
// it loses nothing.

namespace vorn::dl {
namespace {

/// Terms without a text: equal ones are one object, and only a new one costs an
/// allocation.
class SparseTerms : public TermManager, public la::LinearTermMapper {
 public:
  const Term_* make_number(const QNumber& q) override {
    const auto [place, is_new] = numbers_.try_emplace(q.to_str());
    return named(place->second, is_new);
  }
  const Term_* make_plus(const Term_* a, const Term_* b) override {
    return make('+', a, b);
  }
  const Term_* make_leq(const Term_* a, const Term_* b) override {
    return make('<', a, b);
  }
  const Term_* make_not(const Term_* t) override {
    return make('!', t, nullptr);
  }
  const Term_* make_or(const Term_* a, const Term_* b) override {
    return make('|', a, b);
  }
  const Term_* term(int var) const override {
    return const_cast<SparseTerms*>(this)->leaf('x', var);
  }
  const Term_* constraint_to_lit(int constraint) override {
    return leaf('c', constraint);
  }

 private:
  using Key = std::tuple<char, int, const Term_*, const Term_*>;

  const Term_* leaf(char kind, int number) {
    const auto [place, is_new] =
        terms_.try_emplace(Key{kind, number, nullptr, nullptr});
    return named(place->second, is_new);
  }
  const Term_* make(char kind, const Term_* a, const Term_* b) {
    const auto [place, is_new] = terms_.try_emplace(Key{kind, 0, a, b});
    return named(place->second, is_new);
  }
  const Term_* named(Term_& term, bool is_new) {
    if (is_new) term.id = ++last_id_;
    return &term;
  }

  std::map<std::string, Term_> numbers_;
  std::map<Key, Term_> terms_;
  std::size_t last_id_ = 0;
};

/// What a host does when an operation has run out of memory.
enum class Manner { kMendsAndGoesOn, kGivesUp };

/// What a session has found out, which failures must not change.
struct Findings {
  std::vector<bool> verdicts;
  std::vector<std::vector<int>> conflicts;
  std::vector<std::string> potentials;
  std::vector<std::string> texts;
};

bool operator==(const Findings& a, const Findings& b) {
  return a.verdicts == b.verdicts && a.conflicts == b.conflicts &&
         a.potentials == b.potentials && a.texts == b.texts;
}

/// One session, in which allocation number `failing` and all later ones of the
/// same operation fail.
class Session {
 public:
  Session(std::size_t failing, Manner manner)
      : failing_(failing), manner_(manner) {
    config_.dl_tlemma_kinds = 3;
    config_.dl_tlemma_min_overlap = 0.0F;
    config_.dl_dedup_tlemmas = true;
  }

  /// False if the host has given up.
  bool run() {
    try {
      fail_.emplace(failing_);
      play();
    } catch (const std::bad_alloc&) {
      EXPECT_EQ(manner_, Manner::kGivesUp);
      fail_.reset();
      return false;
    }
    fail_.reset();
    return true;
  }

  bool has_failed() const { return has_failed_; }
  const Findings& findings() const { return findings_; }
  std::size_t num_learnt() const {
    return Inspector::learnt_lemmas(graph_).size();
  }
  std::size_t num_buckets() const {
    return Inspector::buckets(Inspector::learnt_lemmas(graph_)).size();
  }
  std::size_t num_chunks() const {
    return Inspector::num_chunks(Inspector::learnt_lemmas(graph_));
  }
  std::size_t num_lemmas() const { return num_lemmas_; }

 private:
  static constexpr int kChain = 3;
  static constexpr int kRounds = 12;
  static constexpr int kPair = 40;
  static constexpr int kClosing = 50;

  /// Does it; if memory runs out, mends and does it again.
  template <class Operation, class Mend>
  void attempt(Operation&& operation, Mend&& mend) {
    try {
      operation();
    } catch (const std::bad_alloc&) {
      has_failed_ = true;
      if (manner_ == Manner::kGivesUp) throw;
      fail_.reset();
      mend();
      operation();
    }
  }
  template <class Operation>
  void attempt(Operation&& operation) {
    attempt(operation, [] {});
  }

  template <class Tell>
  void tell(int k, Tell&& tell) {
    attempt(tell, [this, k] {
      if (graph_.get_edge(2 * k).source >= 0) graph_.retract_edge(k);
    });
  }
  void push(int k) {
    attempt([this, k] { graph_.push_edge(k); });
  }
  void pop(int k) {
    const std::size_t before = test::num_failed();
    graph_.pop_edge(k);
    EXPECT_EQ(test::num_failed(), before);
  }
  void check(bool verdict) {
    bool found = !verdict;
    attempt([this, &found] { found = graph_.check(true); });
    keep([this, found] { findings_.verdicts.push_back(found); });
    EXPECT_EQ(found, verdict);
  }
  /// Notes what was found; the test's own memory does not fail.
  template <class Keep>
  static void keep(Keep&& keep) {
    const test::Reprieve reprieve;
    keep();
  }

  void read_conflict() {
    std::vector<int> conflict;
    attempt([this, &conflict] { graph_.get_conflict_set(&conflict); });
    keep([&] { findings_.conflicts.push_back(conflict); });
  }
  void read_potentials() {
    for (int n = 0; n < kChain + 3; ++n) {
      std::string text;
      attempt([&] { text = graph_.get_potential(n).to_str(); });
      keep([&] { findings_.potentials.push_back(text); });
    }
  }
  void read_texts() {
    std::string text;
    attempt([&] {
      std::ostringstream out;
      // A stream swallows exceptions unless it is told otherwise.
      out.exceptions(std::ios_base::badbit);
      graph_.dump_debug_status(out);
      graph_.dump_edge_list({2, 2 * kPair}, out, true);
      text = out.str();
    });
    keep([&] { findings_.texts.push_back(text); });
    std::vector<std::pair<std::string, std::string>> stats;
    attempt([&] { graph_.get_stats(stats); }, [&] { stats.clear(); });
    EXPECT_EQ(stats.size(), 9U);
    Graph::Potentials values;
    bool negative = true;
    attempt([&] { negative = graph_.has_negative_cycle(values); });
    keep([&] { findings_.verdicts.push_back(negative); });
  }
  void take_lemmas() {
    while (graph_.has_lemmas()) {
      const Graph::Lemma lemma = graph_.get_next_lemma();
      EXPECT_NE(lemma.first, nullptr);
      EXPECT_GE(lemma.second.size(), 2U);
      ++num_lemmas_;
    }
  }

  /// A chain whose sums leave the machine word, and edges that close it, each
  /// of another weight and so of another conflict.
  void tell_all() {
    // Weights are the host's; they are made while there is memory.
    std::optional<la::DNumber> big;
    attempt([&] {
      big.emplace(*QNumber::from_string("-9223372036854775807"), QNumber());
    });
    for (int k = 1; k <= kChain; ++k) {
      tell(k, [&] { graph_.tell_edge(k, Edge(k, k + 1, *big, k)); });
    }
    tell(kPair, [this] {
      graph_.tell_bi_edge(kPair, Edge(0, 1, la::DNumber(-1, 0), 1),
                          Edge(1, 0, la::DNumber(5, -1), 2));
    });
    for (int k = kClosing; k < kClosing + kRounds; ++k) {
      tell(k, [&] {
        graph_.tell_edge(k, Edge(kChain + 1, 1, la::DNumber(k, 0), k));
      });
    }
  }

  void play() {
    tell_all();
    push(kPair);
    for (int k = 1; k <= kChain; ++k) push(k);
    check(true);
    read_potentials();
    for (int k = kClosing; k < kClosing + kRounds; ++k) {
      push(k);
      check(false);
      read_conflict();
      pop(k);
    }
    read_potentials();
    read_texts();
    take_lemmas();
    for (int k = kChain; k > 0; --k) pop(k);
    pop(kPair);
    check(true);
    attempt([this] { graph_.retract_edge(kPair); });
    attempt([this] { graph_.retract_edge(2); });
    graph_.reset(false);
    tell_all();
    push(1);
    check(true);
    read_potentials();
    graph_.reset(true);
    EXPECT_FALSE(graph_.var_is_known(1));
  }

  std::size_t failing_;
  Manner manner_;
  std::optional<test::FailAllocation> fail_;
  bool has_failed_ = false;
  std::size_t num_lemmas_ = 0;
  Findings findings_;
  Configuration::Theory::La config_;
  SparseTerms terms_;
  Graph graph_{&config_, &terms_, &terms_};
};

constexpr std::size_t kNoFailure = static_cast<std::size_t>(-2);

/// What a session finds when nothing fails.
Findings expected_findings() {
  Findings result;
  std::thread([&result] {
    Session session(kNoFailure, Manner::kGivesUp);
    EXPECT_TRUE(session.run());
    EXPECT_FALSE(session.has_failed());
    result = session.findings();
    // What the failures have to reach: a table that outgrows its first bucket
    // array and its first chunk, and numbers past the machine word.
    EXPECT_GT(session.num_lemmas(), 22U);
    EXPECT_EQ(session.num_buckets(), 73U);
    EXPECT_EQ(session.num_chunks(), 2U);
    EXPECT_EQ(session.num_learnt(), 0U);
  }).join();
  EXPECT_EQ(result.potentials[4], "-27670116110564327422");
  return result;
}

/// Fails every allocation of a session in turn. Each session has a thread of
/// its own, since a thread keeps blocks of numbers from one to the next.
void fail_each(Manner manner) {
  const Findings expected = expected_findings();
  const std::ptrdiff_t live = test::num_live();
  std::size_t failures = 0;
  for (bool done = false; !done; ++failures) {
    std::thread([&] {
      Session session(failures, manner);
      const bool finished = session.run();
      done = !session.has_failed();
      EXPECT_EQ(finished, done || manner == Manner::kMendsAndGoesOn);
      if (finished) {
        EXPECT_TRUE(session.findings() == expected);
      }
    }).join();
    // No SCOPED_TRACE, which keeps memory.
    ASSERT_EQ(test::num_live(), live) << "allocation " << failures;
    ASSERT_FALSE(testing::Test::HasFailure()) << "allocation " << failures;
  }
  testing::Test::RecordProperty("failed_allocations",
                                static_cast<int>(failures - 1));
  EXPECT_GT(failures, 500U);
}

// Any allocation of a session may fail, once: the exception comes through, the
// graph keeps what its header promises, and the session ends as if nothing had
// happened.
TEST(FailingSessionTest, HostGoesOnAfterEachFailure) {
  fail_each(Manner::kMendsAndGoesOn);
}

// A host that gives up in the middle destroys a graph in whatever state it is:
// nothing is lost, nothing is freed twice.
TEST(FailingSessionTest, HostGivesUpAtEachFailure) {
  fail_each(Manner::kGivesUp);
}

}  // namespace
}  // namespace vorn::dl
