// SPDX-License-Identifier: MIT
#include "vorn/dl/edge.h"

#include <ios>
#include <ostream>
#include <sstream>
#include <string>

namespace vorn::dl {

std::ostream& operator<<(std::ostream& out, const Edge& e) {
  out << "x" << e.source << " -[" << e.weight.rational();
  const int eps_sign = e.weight.eps().sign();
  if (eps_sign < 0) {
    out << " - eps";
  } else if (eps_sign > 0) {
    out << " + eps";
  }
  return out << "]-> x" << e.target << " [id: " << e.id << "]";
}

std::string Edge::to_str() const {
  std::ostringstream out;
  // Or running out of memory would cut the text short.
  out.exceptions(std::ios_base::badbit);
  out << *this;
  return out.str();
}

}  // namespace vorn::dl
