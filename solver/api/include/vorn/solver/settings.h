// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_SETTINGS_H
#define VORN_SOLVER_SETTINGS_H

#include <cstddef>
#include <cstdint>
#include <ostream>

namespace vorn::api {

/// Which lemmas are learnt from conflicts that follow one another;
/// docs/lemmas.md says what they are.
enum class Lemmas {
  /// None.
  kNone,
  /// Short interpolants.
  kShort,
  /// Long ones.
  kLong,
  /// Both.
  kBoth,
  /// Short ones, where trials show that they pay.
  kAuto,
};

/// Whether bounds that the active ones imply are looked for.
enum class Propagation {
  /// As far as that pays.
  kAuto,
  /// All are found.
  kFull,
  /// None are.
  kOff,
};

/// What a Session or a Script starts with. "Options" in docs/command.md says
/// what those of the search are good for.
struct Settings {
  /// When trying out values that cannot be known, this decides.
  std::uint64_t seed = 0;
  /// Keep what proof() needs. Cost: what is learnt is never forgotten.
  bool keep_proofs = false;
  /// Keep what chart() needs.
  bool keep_schedule = false;
  /// Leave out of cores what they do not need. Cost: a check for each member.
  bool minimize_cores = false;
  /// Check every model against the assertions before answering kSat.
  bool check_models = true;
  /// Reason about sets of tasks that cannot overlap.
  bool find_machines = true;
  /// As above.
  Propagation propagation = Propagation::kAuto;
  /// As above.
  Lemmas lemmas = Lemmas::kAuto;
  /// Least overlap of two conflicts to learn lemmas from, between 0 and 1.
  float lemma_overlap = 0.5F;
  /// Drop lemmas that were learnt before.
  bool drop_repeated_lemmas = false;
  /// Searches at a time, each in a thread of its own with a strategy of its
  /// own; the first answer ends all. With 1, or 0, all happens on the thread of
  /// the caller, and the same calls give the same answers; with more, models,
  /// cores and proofs may be others each time. Cost: memory for each search;
  /// easy checks, of a few hundred conflicts, start no thread.
  unsigned threads = 1;
  /// Propagation has no table of more bytes than this; 0: than it would have by
  /// itself.
  std::size_t table_bytes = 0;
  /// Where the calls on the constraint graph are written, one a line, for tools
  /// that make them again; null: nowhere. Borrowed; must not throw, and should
  /// have no buffer, so that the calls before a crash are all there.
  std::ostream* recording = nullptr;
};

}  // namespace vorn::api

#endif  // VORN_SOLVER_SETTINGS_H
