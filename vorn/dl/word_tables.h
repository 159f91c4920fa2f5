// SPDX-License-Identifier: MIT
#ifndef VORN_DL_WORD_TABLES_H
#define VORN_DL_WORD_TABLES_H

#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "vorn/dl/edge.h"
#include "vorn/numbers/d_number.h"

namespace vorn::dl {

/// What a check reads of edges and nodes, side by side in machine words: the
/// ends and the weight of an edge, the potential of a node. The exact tables
/// say the same of all numbers and stay the truth; here a number that no word
/// holds is kNone.
///
/// A word is r * 2^16 + k for r + k*eps with integral parts of less than 2^45
/// and 2^14. Two words in range add up without overflow, and the order of sums
/// and words is that of their numbers: the eps parts stay below half of 2^16.
/// Whether the sum is itself in range is for holds() to say.
///
/// Words are for problems that fit them. Where more than a few weights, or
/// runs, need other numbers, words are given up, and what they say of
/// potentials means nothing from then on.
///
/// Cost: 16 bytes a constraint, as many for its second edge if any constraint
/// has one, 8 a node; all O(1), growth amortised.
class WordTables {
 public:
  /// A number in 64 bits; see above.
  using Word = std::int64_t;

  /// The word of a number that no word holds.
  static constexpr Word kNone = std::numeric_limits<Word>::min();

  /// An edge, by edge id.
  struct EdgeWords {
    /// As in Edge.
    int source = -1;
    /// As in Edge.
    int target = -1;
    /// kNone if no word holds it.
    Word weight = kNone;
  };

  /// Whether a sum of two words in range is in range.
  static bool holds(Word sum) {
    return static_cast<std::uint64_t>(sum + kEndEps) % kStep < 2 * kEndEps &&
           sum < kEnd && sum > -kEnd;
  }
  /// The word of a number, or kNone.
  static Word word_of(const la::DNumber& number) {
    if (number.is_tagged()) return kNone;
    const QNumber& rational = number.rational();
    const QNumber& eps = number.eps();
    if (!rational.is_word() || !eps.is_word()) return kNone;
    const Word r = rational.word();
    const Word k = eps.word();
    if (r >= kEndRational || r <= -kEndRational || k >= kEndEps ||
        k <= -kEndEps) {
      return kNone;
    }
    return r * kStep + k;
  }
  /// The parts of the number that a word in range stands for.
  static Word rational_of(Word word) { return (word - eps_of(word)) / kStep; }
  /// As above.
  static Word eps_of(Word word) {
    return static_cast<std::int16_t>(word & (kStep - 1));
  }

  /// Whether words are worth looking at. Once they are not, that stays so until
  /// all is forgotten.
  bool are_used() const { return are_used_; }
  /// Notes whether words were enough, for a weight or for a whole run.
  void note(bool enough) {
    if (enough) {
      ++num_hits_;
      return;
    }
    ++num_misses_;
    if (num_misses_ >= kFewMisses && num_misses_ > num_hits_ / kHitsPerMiss) {
      are_used_ = false;
    }
  }

  /// Takes over what a check reads of the edge. On failing memory nothing is
  /// changed.
  void set_edge(int idx, const Edge& edge) {
    if (!are_used_) return;
    std::vector<EdgeWords>& half = edges_[idx % 2];
    const std::size_t place = to_index(idx / 2);
    if (place >= half.size()) half.resize(place + 1);
    half[place] = {edge.source, edge.target, word_of(edge.weight)};
    note(half[place].weight != kNone);
  }
  /// A new node, with potential 0. On failing memory nothing is changed.
  void add_node(int node) {
    if (!are_used_) return;
    const std::size_t place = to_index(node);
    if (place >= potentials_.size()) potentials_.resize(place + 1, kNone);
    potentials_[place] = 0;
  }
  /// Forgets all; frees nothing.
  void clear() {
    edges_[0].clear();
    edges_[1].clear();
    potentials_.clear();
    num_hits_ = 0;
    num_misses_ = 0;
    are_used_ = true;
  }

  /// Requires: words are used, as for what follows; it was set.
  const EdgeWords& edge(int idx) const {
    return edges_[idx % 2][to_index(idx / 2)];
  }
  /// Of a node that was added.
  Word potential(int node) const { return potentials_[to_index(node)]; }
  /// As above.
  Word& potential(int node) { return potentials_[to_index(node)]; }

 private:
  static std::size_t to_index(int i) { return static_cast<std::size_t>(i); }

  static constexpr Word kStep = Word{1} << 16U;
  static constexpr Word kEndEps = Word{1} << 14U;
  static constexpr Word kEndRational = Word{1} << 45U;
  // A run that leaves words for exact numbers has cost both.
  static constexpr std::size_t kFewMisses = 64;
  static constexpr std::size_t kHitsPerMiss = 4;
  // Of words: kNone is beyond, and two of them add up.
  static constexpr Word kEnd = Word{1} << 61U;

  /// First edges of constraints, and second ones, which most do not have.
  std::vector<EdgeWords> edges_[2];
  /// By node.
  std::vector<Word> potentials_;
  std::size_t num_hits_ = 0;
  std::size_t num_misses_ = 0;
  bool are_used_ = true;
};

}  // namespace vorn::dl

#endif  // VORN_DL_WORD_TABLES_H
