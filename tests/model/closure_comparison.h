// SPDX-License-Identifier: MIT
#ifndef VORN_MODEL_CLOSURE_COMPARISON_H
#define VORN_MODEL_CLOSURE_COMPARISON_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <vector>

#include "tests/model/closure_model.h"
#include "vorn/dl/closure.h"

namespace vorn::model {

/// A closure to be compared.
struct ClosureSetting {
  /// For people.
  std::string name;
  dl::Closure::Limits limits;
};

/// What is wrong with a path that is to show that target - source <= bound
/// follows from the first `count` active constraints of the model; empty if it
/// does.
std::string fault_of_path(const ClosureModel& model,
                          const std::vector<int>& path, std::size_t count,
                          int source, int target, const Weight& bound);
/// What is wrong with a cycle that is to show why its last constraint was
/// refused: the others are active, and all of them add up to less than 0; empty
/// if they do.
std::string fault_of_cycle(const ClosureModel& model,
                           const std::vector<int>& cycle);

/// Closures of several settings beside one model: all get the same calls, and
/// what each of them says is held against what is true.
///
///  - A push succeeds exactly if the model admits the constraint.
///  - What is known, or handed out as a consequence, follows. It stays known
///    while what was active then is active.
///  - What came to follow after it was told is known; and so is, with a
///    matrix, what followed when it was told, until the latest push of then is
///    taken back. A way of paths promises the former only if its limit on steps
///    ends no search, which is taken for granted while fewer constraints are
///    registered than it may take steps.
///  - The path of a known constraint is one: of constraints that were active
///    when it was first seen known, each beginning where the one before ends,
///    with a sum that is no more than the bound.
///  - The tightest bound between two nodes is their distance in the model, and
///    its path adds up to it.
///  - A consequence is handed out once, unless there was a rebuild; and what is
///    known is no tighter than what is active or was handed out, as long as
///    consequences are taken after each push and each bound told.
///  - A matrix stays within the memory granted.
class ClosureComparison {
 public:
  explicit ClosureComparison(const std::vector<ClosureSetting>& settings);

  // Each as in dl::Closure, and with its requirements.
  void tell(int k, const EdgeRecord& edge) { tell(k, edge, edge); }
  /// With an edge for the closures that is not the model's, which shows that a
  /// difference is seen. Requires: both have the same nodes.
  void tell(int k, const EdgeRecord& for_closures, const EdgeRecord& for_model);
  void retract(int k);
  /// Whether k is active now, as the model says.
  bool push(int k);
  void pop();

  /// Takes the consequences that there are.
  void take();
  /// Looks at what is known, and at its paths.
  void observe_known();
  /// Looks at the tightest bounds from `source` to all nodes. Requires: it was
  /// named.
  void observe_bounds(int source);
  /// All of these, from all nodes.
  void observe();

  /// Notes what the caller saw to be wrong.
  void fail(const std::string& what);

  const ClosureModel& model() const { return model_; }
  /// What was first seen to be wrong; empty for nothing.
  const std::string& difference() const { return difference_; }
  /// Consequences taken, of all closures together.
  std::size_t num_consequences() const { return num_consequences_; }
  /// Paths of two constraints and more that were looked at.
  std::size_t num_paths() const { return num_paths_; }

 private:
  struct Subject {
    explicit Subject(const ClosureSetting& its_setting)
        : setting(its_setting), closure(setting.limits) {}

    ClosureSetting setting;
    dl::Closure closure;
    /// With how many active constraints each known one was first seen known.
    std::map<int, std::size_t> known_since = {};
    /// The same for consequences that were taken.
    std::map<int, std::size_t> taken = {};
    /// Rebuilds before consequences were last taken.
    std::uint64_t rebuilds = 0;
    /// There was no rebuild since anything was active: a rebuild moves those
    /// that were told late down the stack.
    bool is_as_taken = true;
    /// Constraints that followed when a matrix was told them, and how many were
    /// active then.
    std::map<int, std::size_t> known_when_told = {};
  };

  std::string text_of(int k) const;
  void fail(const Subject& subject, const std::string& what) {
    fail("closure (" + subject.setting.name + "): " + what);
  }
  void look_at(Subject& subject);
  void note_change();
  bool is_shown(const Subject& subject, const EdgeRecord& edge) const;
  void take(Subject& subject);
  void observe_known(Subject& subject);
  void observe_bound(Subject& subject, int source, int target);

  ClosureModel model_;
  /// A deque, since closures do not move.
  std::deque<Subject> subjects_;
  /// The least number of active constraints since each registered one was told.
  std::map<int, std::size_t> least_height_;
  /// There may be consequences that were not taken.
  bool is_untaken_ = false;
  /// All were taken before more could be found.
  bool took_all_ = true;
  std::size_t num_consequences_ = 0;
  std::size_t num_paths_ = 0;
  std::string difference_;
};

}  // namespace vorn::model

#endif  // VORN_MODEL_CLOSURE_COMPARISON_H
