// SPDX-License-Identifier: MIT
#include <array>
#include <cstddef>
#include <ios>
#include <ostream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "vorn/dl/graph.h"

// The six counters, and three averages once a lemma search has run.

namespace vorn::dl {
namespace {

struct Row {
  const char* key;
  const char* label;
};

constexpr std::array<Row, 6> kCounters = {{
    {"dl conflicts", "DL - Conflicts: "},
    {"dl tlemma searches", "DL - TLemma Searches: "},
    {"dl short tlemmas", "DL - Short TLemmas: "},
    {"dl long tlemmas", "DL - Long TLemmas: "},
    {"dl dup short tlemmas", "DL - Dup Short TLemmas: "},
    {"dl dup long tlemmas", "DL - Dup Long TLemmas: "},
}};

constexpr std::array<Row, 3> kAverages = {{
    {"dl avg searches for conflicts", "DL - Avg. Searches for Conflicts: "},
    {"dl avg short tlemmas for search", "DL - Avg. Short TLemmas for search: "},
    {"dl avg long tlemmas for search", "DL - Avg. Long TLemmas for search: "},
}};

// In single precision, as the averages are meant to be read: to two decimals.
// A denominator of 0 gives an infinity, on purpose: it prints as "inf" and
// shows that the counters do not fit together.
double average(std::size_t numerator, std::size_t denominator) {
  return static_cast<double>(static_cast<float>(numerator) /
                             static_cast<float>(denominator));
}

void set_two_decimals(std::ostream& out) {
  out.precision(2);
  out.setf(std::ios_base::fixed, std::ios_base::floatfield);
}

/// Gives a stream its formatting back, also when a write throws.
class FormatKeeper {
 public:
  // The keeper borrows the stream's buffer: without one it would be in a bad
  // state, and copying an exception mask into it would throw.
  explicit FormatKeeper(std::ostream& out) : out_(out), saved_(out.rdbuf()) {
    saved_.copyfmt(out);
  }
  FormatKeeper(const FormatKeeper&) = delete;
  FormatKeeper& operator=(const FormatKeeper&) = delete;
  ~FormatKeeper() {
    try {
      out_.copyfmt(saved_);
    } catch (const std::ios_base::failure&) {
      // The stream has failed and says so to its owner already; its formatting
      // is back, the mask is set last.
    }
  }

 private:
  std::ostream& out_;
  std::ios saved_;
};

}  // namespace

void Graph::print_stats(std::ostream& out) const {
  const std::array<std::size_t, 6> counters = {
      num_conflicts_,    num_tlemma_searches_,   num_short_tlemmas_,
      num_long_tlemmas_, num_dup_short_tlemmas_, num_dup_long_tlemmas_};
  for (std::size_t k = 0; k < counters.size(); ++k) {
    out << kCounters[k].label << counters[k] << "\n";
  }
  if (num_tlemma_searches_ == 0) return;
  const std::array<double, 3> averages = {
      average(num_tlemma_searches_, num_conflicts_),
      average(num_short_tlemmas_, num_tlemma_searches_),
      average(num_long_tlemmas_, num_tlemma_searches_)};
  const FormatKeeper keeper(out);
  set_two_decimals(out);
  for (std::size_t k = 0; k < averages.size(); ++k) {
    out << kAverages[k].label << averages[k] << "\n";
  }
}

void Graph::get_stats(
    std::vector<std::pair<std::string, std::string>>& out) const {
  std::ostringstream text;
  // Or running out of memory would cut a value short.
  text.exceptions(std::ios_base::badbit);
  const auto append = [&out, &text](const char* key, auto value) {
    text.str(std::string());
    text << value;
    out.emplace_back(key, text.str());
  };
  append(kCounters[0].key, num_conflicts_);
  append(kCounters[1].key, num_tlemma_searches_);
  append(kCounters[2].key, num_short_tlemmas_);
  append(kCounters[3].key, num_long_tlemmas_);
  append(kCounters[4].key, num_dup_short_tlemmas_);
  append(kCounters[5].key, num_dup_long_tlemmas_);
  if (num_tlemma_searches_ == 0) return;
  set_two_decimals(text);
  append(kAverages[0].key, average(num_tlemma_searches_, num_conflicts_));
  append(kAverages[1].key, average(num_short_tlemmas_, num_tlemma_searches_));
  append(kAverages[2].key, average(num_long_tlemmas_, num_tlemma_searches_));
}

}  // namespace vorn::dl
