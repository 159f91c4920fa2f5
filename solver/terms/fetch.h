// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_TERMS_FETCH_H
#define VORN_SOLVER_TERMS_FETCH_H

namespace vorn::solver {

/// Has the cache line at `place` fetched; any address will do. GCC takes a
/// function that does nothing else for one without an effect and leaves out its
/// calls, unless it finds what looks like one.
inline void fetch(const void* place) {
  __asm__ volatile("" : : "r"(place));
  __builtin_prefetch(place);
}

}  // namespace vorn::solver

#endif  // VORN_SOLVER_TERMS_FETCH_H
