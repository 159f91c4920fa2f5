// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_PROOF_PROOF_WRITER_H
#define VORN_SOLVER_PROOF_PROOF_WRITER_H

#include <cstddef>
#include <functional>
#include <ostream>
#include <unordered_map>

#include "solver/engine/engine.h"
#include "solver/proof/written_terms.h"
#include "solver/terms/term_store.h"

namespace vorn::solver {

/// Formulas by what they mean.
using WrittenFormulas = std::unordered_map<const Term*, WrittenId>;

/// An assertion as it is written, by the position that the engine knows it by.
using AssertionSource = std::function<WrittenId(std::size_t)>;

/// Writes a proof in Alethe that formulas have no model.
///
/// Of all that the search did, only what the contradiction follows from is
/// written: formulas are assumed as they are written, the clauses that the
/// search made of them are proved from them (see ClauseProver), sums of bounds
/// are `la_generic` steps, and what was learnt is resolved from its premises.
///
/// `assertion` is called for those that take part alone.
/// `assumptions`: as written; those of the refutation are among them.
/// False if a formula is outside what can be proved; what was written is of no
/// use then.
/// Cost: linear in the proof, and in the formulas for each of them that takes
/// part.
bool write_proof(TermStore& store, WrittenTerms& terms,
                 const Engine::Refutation& refutation,
                 const AssertionSource& assertion,
                 const WrittenFormulas& assumptions, std::ostream& out);

}  // namespace vorn::solver

#endif  // VORN_SOLVER_PROOF_PROOF_WRITER_H
