// SPDX-License-Identifier: MIT
#ifndef VORN_TESTS_SMTLIB_ARITHMETICS_H
#define VORN_TESTS_SMTLIB_ARITHMETICS_H

#include "solver/smtlib/logics.h"

namespace vorn::solver {

inline constexpr Arithmetic kIntegers = {true, false, Sort::kInt};
inline constexpr Arithmetic kReals = {false, true, Sort::kReal};
inline constexpr Arithmetic kBoth = {true, true, Sort::kInt};

}  // namespace vorn::solver

#endif  // VORN_TESTS_SMTLIB_ARITHMETICS_H
