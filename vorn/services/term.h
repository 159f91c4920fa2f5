// SPDX-License-Identifier: MIT
#ifndef VORN_SERVICES_TERM_H
#define VORN_SERVICES_TERM_H

#include <cstdint>

namespace vorn {

/// Immutable term node of the host, always handled as `const Term_*`.
///
/// A host derives its own node type from this one. The core reads nothing but
/// `id`, and compares terms by address: equal terms must be one object.
/// Addresses must be even, since a literal keeps its sign in the lowest bit.
struct Term_ {
  /// Identifies the term; lemma filtering hashes it. Best dense.
  std::uint64_t id;
};

}  // namespace vorn

#endif  // VORN_SERVICES_TERM_H
