// SPDX-License-Identifier: MIT
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

#include "checker/checker.h"
#include "fuzz/fuzzer.h"

// Any bytes as a script, a proof and a printed answer, with a line --- between
// each two. Whatever they are,
//  - nothing crashes or leaks, and no exception comes out;
//  - what is not valid is so for a reason, at a line and a column that exist;
//  - no script has both a proof and a model. Where the script is left out, it
//  is
//    one that has a model, so that no proof is valid.

namespace {

using vorn::checker::Outcome;

constexpr const char* kSatisfiable =
    "(set-logic ALL)(declare-const a Bool)(declare-const b Bool)"
    "(declare-const x Int)(declare-const y Int)(declare-const r Real)\n"
    "(assert (or a (! (<= (- x y) 2) :named @1)))(assert (not (and a b)))\n"
    "(assert (=> @1 b (< x r)))(assert (distinct x y 4))(assert (xor a b))\n"
    "(assert (= (ite a x (abs y)) (to_int r)))(check-sat)\n";
constexpr const char* kModel =
    "sat\n((define-fun a () Bool true)(define-fun b () Bool false)"
    "(define-fun x () Int 3)(define-fun y () Int 0)"
    "(define-fun r () Real (/ 7.0 2.0)))\n";

// What stands before the next line ---, which is taken away with it.
std::string take_part(std::string& rest) {
  const std::string kLine = "\n---\n";
  const std::size_t end = rest.find(kLine);
  const std::string part = rest.substr(0, end);
  rest.erase(0, end == std::string::npos ? end : end + kLine.size());
  return part;
}

// `proof` and `answer` may be null.
bool is_valid(const std::string& script, const std::string* proof,
              const std::string* answer) {
  std::istringstream in(proof == nullptr ? "" : *proof);
  const Outcome outcome = vorn::checker::check(
      {script, 0, proof == nullptr ? nullptr : &in, answer});
  if (outcome.is_valid) return true;
  const std::string* text = outcome.file == Outcome::File::kScript  ? &script
                            : outcome.file == Outcome::File::kProof ? proof
                                                                    : answer;
  if (text == nullptr)
    vorn::fuzz::fail("a mistake in a file that is not there");
  const std::vector<std::size_t> lengths = vorn::fuzz::line_lengths(*text);
  const std::size_t line = outcome.position.line;
  // The column behind a line's end is that of what is missing there.
  if (outcome.reason.empty() || line == 0 || line > lengths.size() ||
      outcome.position.column == 0 ||
      outcome.position.column > lengths[line - 1] + 1) {
    vorn::fuzz::fail("a mistake without its place: " + outcome.reason);
  }
  return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  std::string rest(data, data + size);
  std::string script = take_part(rest);
  const std::string proof = take_part(rest);
  std::string answer = rest;
  const bool has_script = !script.empty();
  if (!has_script) {
    script = kSatisfiable;
    answer = kModel;
  }
  const bool has_model = is_valid(script, nullptr, &answer);
  if (!has_script && !has_model) vorn::fuzz::fail("the model is not valid");
  if (is_valid(script, &proof, nullptr) && has_model) {
    vorn::fuzz::fail("a proof and a model");
  }
  // With a core, the proof may assume less.
  is_valid(script, &proof, &answer);
  return 0;
}
