// SPDX-License-Identifier: MIT
#ifndef VORN_SMTLIB_WITHIN_MEMORY_H
#define VORN_SMTLIB_WITHIN_MEMORY_H

#include <new>
#include <stdexcept>

namespace vorn::solver {

/// Runs `work`. False if that ran out of memory, for which there are two
/// exceptions: containers that are asked for more than can ever be there do not
/// even try to allocate it.
template <class Work>
bool within_memory(const Work& work) {
  try {
    work();
    return true;
  } catch (const std::bad_alloc&) {
  } catch (const std::length_error&) {
  }
  return false;
}

}  // namespace vorn::solver

#endif  // VORN_SMTLIB_WITHIN_MEMORY_H
