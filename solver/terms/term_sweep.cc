// SPDX-License-Identifier: MIT
#include "solver/terms/term_sweep.h"

namespace vorn::solver {

TermSweep::TermSweep(TermStore& store) : store_(store), kept_(store.size(), 0) {
  keep(store.make_bool(true));
  keep(store.make_bool(false));
}

// Arguments have smaller ids than the terms that use them.
void TermSweep::spread() {
  for (std::size_t id = kept_.size(); id > 0; --id) {
    if (kept_[id - 1] == 0) continue;
    const Term* term = store_.term(id - 1);
    for (std::size_t k = 0; k < term->num_args; ++k) keep(term->arg(k));
  }
}

void TermSweep::finish() {
  new_ids_ = store_.drop_others(kept_);
}

}  // namespace vorn::solver
