// SPDX-License-Identifier: MIT
#include "tests/bruteforce/formula.h"

#include <cassert>
#include <cstddef>
#include <utility>

namespace vorn::bruteforce {

Formula make_variable(Sort sort, int index) {
  return std::make_shared<const Node>(
      Node{Op::kVariable, sort, {}, index, mpq_class()});
}

Formula make_parameter(Sort sort, int position) {
  return std::make_shared<const Node>(
      Node{Op::kParameter, sort, {}, position, mpq_class()});
}

Formula make_number(const mpq_class& value, Sort sort) {
  return std::make_shared<const Node>(Node{Op::kNumber, sort, {}, 0, value});
}

Formula make(Op op, Sort sort, std::vector<Formula> args) {
  return std::make_shared<const Node>(
      Node{op, sort, std::move(args), 0, mpq_class()});
}

Formula substitute(const Formula& body, const std::vector<Formula>& arguments) {
  if (body->op == Op::kParameter) {
    return arguments.at(static_cast<std::size_t>(body->index));
  }
  if (body->args.empty()) return body;
  std::vector<Formula> args;
  for (const Formula& arg : body->args) {
    args.push_back(substitute(arg, arguments));
  }
  return make(body->op, body->sort, std::move(args));
}

mpq_class floor(const mpq_class& value) {
  mpz_class result;
  mpz_fdiv_q(result.get_mpz_t(), value.get_num_mpz_t(), value.get_den_mpz_t());
  return mpq_class(result);
}

namespace {

bool are_equal(const Node& a, const Node& b, const Values& values) {
  return a.sort == Sort::kBool ? truth(a, values) == truth(b, values)
                               : number(a, values) == number(b, values);
}

// The remainder of integers is at least 0 and less than the divisor's amount.
mpz_class remainder(const mpq_class& dividend, const mpq_class& divisor) {
  const mpz_class amount = abs(divisor.get_num());
  mpz_class result = dividend.get_num() % amount;
  if (result < 0) result += amount;
  return result;
}

bool compare(Op op, const mpq_class& a, const mpq_class& b) {
  switch (op) {
    case Op::kLeq:
      return a <= b;
    case Op::kLess:
      return a < b;
    case Op::kGeq:
      return a >= b;
    default:
      assert(op == Op::kGreater);
      return a > b;
  }
}

}  // namespace

bool truth(const Node& node, const Values& values) {
  const std::size_t count = node.args.size();
  const auto arg = [&](std::size_t i) -> const Node& { return *node.args[i]; };
  switch (node.op) {
    case Op::kTrue:
      return true;
    case Op::kFalse:
      return false;
    case Op::kVariable:
      return values.bools.at(static_cast<std::size_t>(node.index));
    case Op::kNot:
      return !truth(arg(0), values);
    case Op::kAnd:
      for (const Formula& a : node.args) {
        if (!truth(*a, values)) return false;
      }
      return true;
    case Op::kOr:
      for (const Formula& a : node.args) {
        if (truth(*a, values)) return true;
      }
      return false;
    case Op::kXor: {
      bool result = truth(arg(0), values);
      for (std::size_t i = 1; i < count; ++i) {
        result = result != truth(arg(i), values);
      }
      return result;
    }
    case Op::kImplies: {
      bool result = truth(arg(count - 1), values);
      for (std::size_t i = count - 1; i-- > 0;) {
        result = !truth(arg(i), values) || result;
      }
      return result;
    }
    case Op::kEqual:
      for (std::size_t i = 1; i < count; ++i) {
        if (!are_equal(arg(i - 1), arg(i), values)) return false;
      }
      return true;
    case Op::kDistinct:
      for (std::size_t i = 0; i < count; ++i) {
        for (std::size_t j = 0; j < i; ++j) {
          if (are_equal(arg(i), arg(j), values)) return false;
        }
      }
      return true;
    case Op::kIte:
      return truth(arg(truth(arg(0), values) ? 1 : 2), values);
    case Op::kIsInt:
      return number(arg(0), values).get_den() == 1;
    case Op::kLeq:
    case Op::kLess:
    case Op::kGeq:
    case Op::kGreater:
      for (std::size_t i = 1; i < count; ++i) {
        if (!compare(node.op, number(arg(i - 1), values),
                     number(arg(i), values))) {
          return false;
        }
      }
      return true;
    default:
      assert(false && "not a Boolean operation");
      return false;
  }
}

mpq_class number(const Node& node, const Values& values) {
  const std::size_t count = node.args.size();
  const auto arg = [&](std::size_t i) { return number(*node.args[i], values); };
  switch (node.op) {
    case Op::kNumber:
      return node.value;
    case Op::kVariable: {
      const auto& all = node.sort == Sort::kInt ? values.ints : values.reals;
      return all.at(static_cast<std::size_t>(node.index));
    }
    case Op::kIte:
      return arg(truth(*node.args[0], values) ? 1 : 2);
    case Op::kPlus: {
      mpq_class sum = arg(0);
      for (std::size_t i = 1; i < count; ++i) sum += arg(i);
      return sum;
    }
    case Op::kMinus: {
      mpq_class result = arg(0);
      if (count == 1) return -result;
      for (std::size_t i = 1; i < count; ++i) result -= arg(i);
      return result;
    }
    case Op::kTimes: {
      mpq_class product = arg(0);
      for (std::size_t i = 1; i < count; ++i) product *= arg(i);
      return product;
    }
    case Op::kDivide: {
      mpq_class quotient = arg(0);
      for (std::size_t i = 1; i < count; ++i) quotient /= arg(i);
      return quotient;
    }
    case Op::kAbs: {
      const mpq_class value = arg(0);
      return value < 0 ? mpq_class(-value) : value;
    }
    case Op::kIntDivide: {
      mpq_class quotient = arg(0);
      for (std::size_t i = 1; i < count; ++i) {
        quotient = (quotient - remainder(quotient, arg(i))) / arg(i);
      }
      return quotient;
    }
    case Op::kRemainder:
      return mpq_class(remainder(arg(0), arg(1)));
    case Op::kToReal:
      return arg(0);
    case Op::kToInt:
      return floor(arg(0));
    default:
      assert(false && "not an arithmetic operation");
      return 0;
  }
}

}  // namespace vorn::bruteforce
