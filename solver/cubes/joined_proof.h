// SPDX-License-Identifier: MIT
#ifndef VORN_CUBES_JOINED_PROOF_H
#define VORN_CUBES_JOINED_PROOF_H

#include <cstddef>
#include <functional>
#include <istream>
#include <memory>
#include <ostream>
#include <string>

#include "solver/cubes/cube_tree.h"

namespace vorn::solver {

/// Opens the proof that a leaf has no model; null if there is none.
using CubeProofs =
    std::function<std::unique_ptr<std::istream>(std::size_t leaf)>;

/// Writes one proof, in Alethe, that a question has no model, from proofs that
/// its cubes have none.
///
/// Each becomes a subproof that assumes what its cube does, and shows that this
/// cannot be; what the question asserts is assumed before it, outside. From the
/// two sides of a node follows, by resolution, what holds of the node. Names of
/// steps and of terms get the name of their cube in front. A cube of which the
/// proof does not assume all may show that the cubes beside it have no model:
/// their proofs are left out.
///
/// Each proof has to assume all that it does before its first step, as the
/// command writes it. What it says is not checked.
///
/// Cost: linear in the proofs, and memory for what they assume and the names of
/// their terms. False if a proof cannot be used, and `error` says why; `leaf`:
/// which one.
bool join_proofs(const CubeTree& tree, const CubeProofs& proofs,
                 std::ostream& out, std::size_t& leaf, std::string& error);

}  // namespace vorn::solver

#endif  // VORN_CUBES_JOINED_PROOF_H
