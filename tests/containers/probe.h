// SPDX-License-Identifier: MIT
#ifndef VORN_TESTS_CONTAINERS_PROBE_H
#define VORN_TESTS_CONTAINERS_PROBE_H

#include <new>

namespace vorn::test {

/// A map value that counts how values are made, and throws on demand.
struct Probe {
  Probe() { ++defaults; }
  Probe(const Probe& other) : payload(other.payload) {
    if (copies_allowed == 0) throw std::bad_alloc();
    --copies_allowed;
    ++copies;
  }
  Probe& operator=(const Probe& other) {
    payload = other.payload;
    ++copies;
    return *this;
  }
  ~Probe() = default;

  static void reset() {
    defaults = copies = 0;
    copies_allowed = -1;
  }

  int payload = 0;
  static inline int defaults = 0;
  static inline int copies = 0;
  static inline int copies_allowed = -1;
};

}  // namespace vorn::test

#endif  // VORN_TESTS_CONTAINERS_PROBE_H
