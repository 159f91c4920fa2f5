// SPDX-License-Identifier: MIT
#include "tests/model/closure_comparison.h"

#include <algorithm>
#include <cassert>
#include <iterator>

#include "tests/model/conversions.h"
#include "vorn/numbers/d_number.h"

namespace vorn::model {

namespace {

// What stands in a path before a closure appends to it.
constexpr int kBefore = -7;

// Forgets what was noted with more than `height` active constraints.
void forget_above(std::size_t height, std::map<int, std::size_t>& heights) {
  for (auto it = heights.begin(); it != heights.end();) {
    it = it->second > height ? heights.erase(it) : std::next(it);
  }
}

std::string path_text(const std::vector<int>& path) {
  std::string text = "path";
  for (const int k : path) text += " " + std::to_string(k);
  return text;
}

bool is_equal(const Weight& a, const Weight& b) {
  return a.rational == b.rational && a.eps == b.eps;
}

}  // namespace

std::string fault_of_path(const ClosureModel& model,
                          const std::vector<int>& path, std::size_t count,
                          int source, int target, const Weight& bound) {
  assert(count <= model.active().size());
  const auto begin = model.active().begin();
  const auto end = begin + static_cast<std::ptrdiff_t>(count);
  Weight sum;
  int node = source;
  for (const int k : path) {
    if (std::find(begin, end, k) == end) {
      return path_text(path) + ": " + std::to_string(k) +
             " is not among the first " + std::to_string(count) + " active";
    }
    const EdgeRecord& edge = model.told().at(k);
    if (edge.source != node) {
      return path_text(path) + ": " + std::to_string(k) +
             " does not begin at node " + std::to_string(node);
    }
    node = edge.target;
    sum = sum + edge.weight;
  }
  if (node != target) {
    return path_text(path) + " ends at node " + std::to_string(node);
  }
  if (bound < sum) return path_text(path) + " adds up to " + weight_text(sum);
  return "";
}

std::string fault_of_cycle(const ClosureModel& model,
                           const std::vector<int>& cycle) {
  if (cycle.empty()) return "no cycle";
  const EdgeRecord& refused = model.told().at(cycle.back());
  const std::vector<int> back(cycle.begin(), cycle.end() - 1);
  const Weight bound{-refused.weight.rational, -refused.weight.eps};
  const std::string fault =
      fault_of_path(model, back, model.active().size(), refused.target,
                    refused.source, bound);
  if (!fault.empty()) return fault;
  Weight sum = refused.weight;
  for (const int k : back) sum = sum + model.told().at(k).weight;
  if (sum < Weight()) return "";
  return path_text(cycle) + " adds up to " + weight_text(sum);
}

ClosureComparison::ClosureComparison(
    const std::vector<ClosureSetting>& settings) {
  for (const ClosureSetting& setting : settings) {
    subjects_.emplace_back(setting);
  }
}

std::string ClosureComparison::text_of(int k) const {
  return "constraint " + std::to_string(k) + ", " +
         edge_text(model_.told().at(k));
}

void ClosureComparison::fail(const std::string& what) {
  if (!difference_.empty()) return;
  difference_ = what + "\nactive:";
  for (const int k : model_.active()) difference_ += "\n  " + text_of(k);
  difference_ += "\n";
}

void ClosureComparison::tell(int k, const EdgeRecord& for_closures,
                             const EdgeRecord& for_model) {
  model_.tell(k, for_model);
  least_height_[k] = model_.active().size();
  const bool is_idle = model_.active().empty();
  note_change();
  for (Subject& subject : subjects_) {
    subject.closure.tell_edge(k, to_edge(for_closures));
    if (!is_idle && subject.closure.uses_matrix() &&
        model_.implies(for_model)) {
      subject.known_when_told[k] = model_.active().size();
    }
    look_at(subject);
  }
}

void ClosureComparison::retract(int k) {
  for (Subject& subject : subjects_) {
    subject.closure.retract_edge(k);
    for (auto* heights : {&subject.known_since, &subject.taken}) {
      heights->erase(k);
    }
    look_at(subject);
  }
  model_.retract(k);
  least_height_.erase(k);
}

bool ClosureComparison::push(int k) {
  const bool is_admitted = model_.admits(k);
  if (is_admitted) model_.push(k);
  note_change();
  for (Subject& subject : subjects_) {
    const bool is_pushed = subject.closure.push_edge(k);
    if (is_pushed != is_admitted) {
      fail(subject,
           std::string(is_pushed ? "accepts " : "refuses ") + text_of(k));
      continue;
    }
    if (!is_pushed) {
      std::vector<int> cycle;
      subject.closure.get_cycle(k, &cycle);
      const std::string fault = cycle.empty() || cycle.back() != k
                                    ? "does not end the cycle with it"
                                    : fault_of_cycle(model_, cycle);
      if (!fault.empty()) fail(subject, text_of(k) + ": " + fault);
    }
    look_at(subject);
  }
  return is_admitted;
}

void ClosureComparison::pop() {
  model_.pop();
  const std::size_t height = model_.active().size();
  for (auto& [k, least] : least_height_) least = std::min(least, height);
  if (height == 0) {
    is_untaken_ = false;
    took_all_ = true;
  }
  for (Subject& subject : subjects_) {
    subject.closure.pop_edge();
    forget_above(height, subject.known_since);
    forget_above(height, subject.taken);
    forget_above(height, subject.known_when_told);
    if (height == 0) subject.is_as_taken = true;
    look_at(subject);
  }
}

// What costs next to nothing to see, after each call.
void ClosureComparison::look_at(Subject& subject) {
  const dl::Closure& closure = subject.closure;
  if (closure.num_active() != model_.active().size()) {
    fail(subject,
         "says that " + std::to_string(closure.num_active()) + " are active");
  }
  const std::size_t bytes = closure.matrix_bytes();
  if (bytes > subject.setting.limits.matrix_bytes) {
    fail(subject, "takes " + std::to_string(bytes) + " bytes");
  }
  if (closure.uses_matrix() != (bytes > 0)) {
    fail(subject, "has a matrix of " + std::to_string(bytes) + " bytes");
  }
}

// Called where a closure may find consequences.
void ClosureComparison::note_change() {
  if (is_untaken_) took_all_ = false;
  is_untaken_ = true;
}

// Whether an active constraint, or one that was taken, says as much.
bool ClosureComparison::is_shown(const Subject& subject,
                                 const EdgeRecord& edge) const {
  const auto shows = [&](int k) {
    const EdgeRecord& other = model_.told().at(k);
    return other.source == edge.source && other.target == edge.target &&
           !(edge.weight < other.weight);
  };
  const std::vector<int>& active = model_.active();
  return std::any_of(active.begin(), active.end(), shows) ||
         std::any_of(subject.taken.begin(), subject.taken.end(),
                     [&](const auto& taken) { return shows(taken.first); });
}

void ClosureComparison::take() {
  for (Subject& subject : subjects_) take(subject);
  is_untaken_ = false;
}

void ClosureComparison::take(Subject& subject) {
  dl::Closure& closure = subject.closure;
  if (closure.counters().rebuilds != subject.rebuilds) {
    subject.taken.clear();
    subject.is_as_taken = false;
  }
  subject.rebuilds = closure.counters().rebuilds;
  for (int k = -1; difference_.empty() && closure.next_consequence(&k);) {
    ++num_consequences_;
    if (model_.told().count(k) == 0) {
      fail(subject, "hands out " + std::to_string(k) + ", which is unknown");
    } else if (!model_.implies(model_.told().at(k))) {
      fail(subject, "hands out what does not follow: " + text_of(k));
    } else if (!closure.is_known(k)) {
      fail(subject, "hands out what is not known: " + text_of(k));
    } else if (!subject.taken.emplace(k, model_.active().size()).second) {
      fail(subject, "hands out a second time: " + text_of(k));
    }
    subject.known_since.emplace(k, model_.active().size());
  }
}

void ClosureComparison::observe_known() {
  for (Subject& subject : subjects_) observe_known(subject);
}

void ClosureComparison::observe_known(Subject& subject) {
  // No more are pushed to a way than there are registered.
  const bool is_complete =
      subject.closure.uses_matrix() ||
      model_.told().size() <= subject.setting.limits.path_steps;
  std::vector<int> path;
  for (const auto& [k, edge] : model_.told()) {
    if (!difference_.empty()) return;
    const bool follows = model_.implies(edge);
    if (!subject.closure.is_known(k)) {
      if (subject.known_since.count(k) != 0) {
        fail(subject, "knows no longer: " + text_of(k));
      } else if (subject.known_when_told.count(k) != 0) {
        fail(subject, "does not know what followed when told: " + text_of(k));
      } else if (follows && is_complete &&
                 !model_.implies_early(edge, least_height_.at(k))) {
        fail(subject, "does not know what follows: " + text_of(k));
      }
      continue;
    }
    if (!follows) {
      fail(subject, "knows what does not follow: " + text_of(k));
      return;
    }
    if (took_all_ && !is_untaken_ && subject.is_as_taken &&
        !is_shown(subject, edge)) {
      fail(subject, "knows what it did not hand out: " + text_of(k));
      return;
    }
    const std::size_t since =
        subject.known_since.emplace(k, model_.active().size()).first->second;
    path = {kBefore};
    subject.closure.get_path(k, &path);
    if (path.empty() || path.front() != kBefore) {
      fail(subject, "does not append the path of " + text_of(k));
      return;
    }
    path.erase(path.begin());
    const std::string fault = fault_of_path(model_, path, since, edge.source,
                                            edge.target, edge.weight);
    if (!fault.empty()) fail(subject, text_of(k) + ": " + fault);
    if (path.size() > 1) ++num_paths_;
  }
}

void ClosureComparison::observe_bounds(int source) {
  for (Subject& subject : subjects_) {
    for (const auto& [target, place] : model_.nodes()) {
      observe_bound(subject, source, target);
    }
  }
}

void ClosureComparison::observe_bound(Subject& subject, int source,
                                      int target) {
  const auto fail_here = [&](const std::string& what) {
    fail(subject, "from " + std::to_string(source) + " to " +
                      std::to_string(target) + ": " + what);
  };
  const Weight* distance = model_.distance(source, target);
  la::DNumber weight;
  std::vector<int> path = {kBefore};
  const bool is_bounded =
      subject.closure.tightest_bound(source, target, &weight, &path);
  if (is_bounded != (distance != nullptr)) {
    fail_here(is_bounded ? "there is no bound" : "there is a bound");
  }
  if (!is_bounded || distance == nullptr) return;
  const Weight bound = to_weight(weight);
  if (!is_equal(bound, *distance)) {
    fail_here("the bound is " + weight_text(*distance) + ", not " +
              weight_text(bound));
  }
  if (path.empty() || path.front() != kBefore) {
    fail_here("the path is not appended");
    return;
  }
  path.erase(path.begin());
  const std::string fault = fault_of_path(model_, path, model_.active().size(),
                                          source, target, *distance);
  if (!fault.empty()) fail_here(fault);
}

void ClosureComparison::observe() {
  take();
  observe_known();
  for (const auto& [source, place] : model_.nodes()) observe_bounds(source);
}

}  // namespace vorn::model
