// SPDX-License-Identifier: MIT
#ifndef VORN_SERVICES_CONFIGURATION_H
#define VORN_SERVICES_CONFIGURATION_H

namespace vorn {

/// Settings of the host. The graph reads its three at each use, so they may be
/// changed between any two calls.
struct Configuration {
  struct Theory {
    /// Linear arithmetic.
    ///
    /// A lemma search walks two successive conflicts. Each side stops at a node
    /// that both cycles visit and waits there for the other. When the two
    /// cycles meet their shared nodes in another order, both sides can come to
    /// wait at different nodes, and **that walk never ends**: there is no exit
    /// and no step limit. A high least overlap makes it rarer and does not rule
    /// it out; docs/lemmas.md says how often it happens. A host that switches
    /// lemmas on switches Graph::guard_lemma_walks on, too.
    struct La {
      /// Bit set of the lemmas to learn: 1 short interpolants, 2 long ones. 0
      /// switches the search off.
      int dl_tlemma_kinds = 0;
      /// Least similarity of two successive conflicts for a search: the number
      /// of distinct edges in both over the size of the larger conflict.
      float dl_tlemma_min_overlap = 0.5F;
      /// Whether a clause that was queued once is not queued again.
      bool dl_dedup_tlemmas = false;
    };
  };
};

}  // namespace vorn

#endif  // VORN_SERVICES_CONFIGURATION_H
