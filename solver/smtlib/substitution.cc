// SPDX-License-Identifier: MIT
#include "solver/smtlib/substitution.h"

#include <algorithm>
#include <cassert>
#include <unordered_set>
#include <vector>

namespace vorn::solver {
namespace {

const Term* rebuild(TermStore& store, const Term* term,
                    const std::vector<const Term*>& args) {
  switch (term->kind) {
    case Kind::kNot:
      return store.make_not(args[0]);
    case Kind::kAnd:
      return store.make_and(args);
    case Kind::kOr:
      return store.make_or(args);
    case Kind::kXor:
      return store.make_xor(args[0], args[1]);
    case Kind::kImplies:
      return store.make_implies(args[0], args[1]);
    case Kind::kEqual:
      return store.make_equal(args[0], args[1]);
    case Kind::kDistinct:
      return store.make_distinct(args);
    case Kind::kIte:
      return store.make_ite(args[0], args[1], args[2]);
    case Kind::kLeq:
      return store.make_leq(args[0], args[1]);
    case Kind::kLess:
      return store.make_less(args[0], args[1]);
    case Kind::kPlus:
      return store.make_plus(args);
    case Kind::kTimes:
      return store.make_times(args[0], args[1]);
    case Kind::kTrue:
    case Kind::kFalse:
    case Kind::kSymbol:
    case Kind::kNumber:
      break;
  }
  assert(false && "a leaf has nothing to rebuild");
  return term;
}

}  // namespace

const Term* substitute(TermStore& store, const Term* term,
                       const Replacements& replacements) {
  Replacements done = replacements;
  std::vector<const Term*> pending = {term};
  std::vector<const Term*> args;
  while (!pending.empty()) {
    const Term* top = pending.back();
    if (done.count(top) != 0) {
      pending.pop_back();
      continue;
    }
    const std::size_t size = pending.size();
    args.clear();
    for (std::size_t i = 0; i < top->num_args; ++i) {
      const auto arg = done.find(top->arg(i));
      if (arg == done.end()) {
        pending.push_back(top->arg(i));
      } else {
        args.push_back(arg->second);
      }
    }
    if (pending.size() > size) continue;
    pending.pop_back();
    const bool same =
        args.empty() || std::equal(args.begin(), args.end(), top->args());
    done[top] = same ? top : rebuild(store, top, args);
  }
  return done[term];
}

bool occurs_in(const Term* part, const Term* whole) {
  std::vector<const Term*> pending = {whole};
  std::unordered_set<const Term*> seen = {whole};
  while (!pending.empty()) {
    const Term* top = pending.back();
    pending.pop_back();
    if (top == part) return true;
    for (std::size_t i = 0; i < top->num_args; ++i) {
      if (seen.insert(top->arg(i)).second) pending.push_back(top->arg(i));
    }
  }
  return false;
}

}  // namespace vorn::solver
