// SPDX-License-Identifier: MIT
//
// A program that asks an installed vorn::solver.
#include <iostream>

#include "vorn/solver/answers.h"
#include "vorn/solver/session.h"
#include "vorn/solver/terms.h"

int main() {
  vorn::api::Session session;
  const auto a = session.integer("a");
  const auto b = session.integer("b");
  const auto end = session.integer("end");
  session.add((b - a >= 3 || a - b >= 2) && a >= 0 && b >= 0);
  session.add(end - a >= 3 && end - b >= 2);
  session.minimize(end);
  if (session.check() != vorn::api::Answer::kSat) return 1;
  std::cout << session.value(end).to_str() << '\n';
}
