// SPDX-License-Identifier: MIT
#ifndef VORN_TESTS_ENGINE_STATISTIC_H
#define VORN_TESTS_ENGINE_STATISTIC_H

#include <cstdint>
#include <string>

#include "solver/engine/engine.h"

namespace vorn::solver {

/// The engine's counter of this name; 0 if it has none.
inline std::uint64_t statistic(const Engine& engine, const char* wanted) {
  for (const auto& [name, value] : engine.statistics()) {
    if (name == wanted) return std::stoull(value);
  }
  return 0;
}

}  // namespace vorn::solver

#endif  // VORN_TESTS_ENGINE_STATISTIC_H
