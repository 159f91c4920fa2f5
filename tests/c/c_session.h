// SPDX-License-Identifier: MIT
#ifndef VORN_TESTS_C_C_SESSION_H
#define VORN_TESTS_C_C_SESSION_H

#include <cstdint>
#include <string>

#include "tests/bruteforce/script_generator.h"

namespace vorn::test {

/// What was seen in some scripts.
struct CTally {
  std::uint64_t sat = 0;
  std::uint64_t unsat = 0;
  std::uint64_t cores = 0;
  std::uint64_t failed = 0;
  std::uint64_t optima = 0;
  std::uint64_t bounds = 0;
  std::uint64_t proofs = 0;
  /// What the prover has no words for, which the command says likewise.
  std::uint64_t unproved = 0;
  std::uint64_t undecided = 0;
  /// Commands that speak of functions that C has not.
  std::uint64_t left_out = 0;
};

/// Does by way of vorn.h what a script says, and checks all answers: verdicts
/// and best values against enumeration, models by evaluation, cores and failed
/// assumptions by enumeration again, and proofs, if they are kept, by the
/// checker. What is wrong, or nothing.
std::string run_in_c(const bruteforce::Script& script,
                     std::uint64_t most_states, bool keeps_proofs,
                     CTally& tally);

}  // namespace vorn::test

#endif  // VORN_TESTS_C_C_SESSION_H
