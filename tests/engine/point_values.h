// SPDX-License-Identifier: MIT
#ifndef VORN_TESTS_ENGINE_POINT_VALUES_H
#define VORN_TESTS_ENGINE_POINT_VALUES_H

#include <utility>

#include "solver/terms/evaluator.h"
#include "solver/terms/term.h"
#include "tests/terms/random_terms.h"

namespace vorn::solver::testing {

/// An interpretation read from a point.
class PointValues : public Interpretation {
 public:
  explicit PointValues(Point values) : point_(std::move(values)) {}

  bool bool_value(const Term* symbol) override {
    return point_.bools.at(symbol);
  }
  QNumber number_value(const Term* symbol) override {
    return to_q(point_.numbers.at(symbol));
  }

 private:
  Point point_;
};

/// The value of a Boolean term of any depth at a point.
inline bool holds_at(const Point& point, const Term* term) {
  PointValues values(point);
  return Evaluator(values).bool_value(term);
}

}  // namespace vorn::solver::testing

#endif  // VORN_TESTS_ENGINE_POINT_VALUES_H
