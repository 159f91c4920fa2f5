// SPDX-License-Identifier: MIT
#ifndef VORN_MODEL_CONVERSIONS_H
#define VORN_MODEL_CONVERSIONS_H

#include <cassert>

#include "tests/model/graph_model.h"
#include "vorn/dl/edge.h"
#include "vorn/numbers/d_number.h"
#include "vorn/numbers/q_number.h"

// Values cross between the models and the library as decimal text, so that the
// two sides share no arithmetic.

namespace vorn::model {

inline QNumber to_q_number(const mpq_class& value) {
  const auto number = QNumber::from_string(value.get_str());
  assert(number.has_value());
  return *number;
}

inline la::DNumber to_d_number(const Weight& weight) {
  return la::DNumber(to_q_number(weight.rational), to_q_number(weight.eps));
}

inline dl::Edge to_edge(const EdgeRecord& record) {
  dl::Edge edge;
  edge.source = record.source;
  edge.target = record.target;
  edge.weight = to_d_number(record.weight);
  edge.id = record.id;
  return edge;
}

inline Weight to_weight(const la::DNumber& number) {
  return {mpq_class(number.rational().to_str(), 10),
          mpq_class(number.eps().to_str(), 10)};
}

}  // namespace vorn::model

#endif  // VORN_MODEL_CONVERSIONS_H
