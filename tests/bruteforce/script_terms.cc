// SPDX-License-Identifier: MIT
#include <algorithm>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "tests/bruteforce/script_generator.h"

// The terms of random scripts; script_generator.cc makes the commands.

namespace vorn::bruteforce {
namespace {

const std::vector<std::pair<std::string, Op>> kOrders = {
    {"<=", Op::kLeq}, {"<", Op::kLess}, {">=", Op::kGeq}, {">", Op::kGreater}};

}  // namespace

Written make_written(std::string text, Formula meaning) {
  return {std::move(text), std::move(meaning)};
}

std::string spell_symbol(const std::string& name) {
  return name.find(' ') == std::string::npos ? name : '|' + name + '|';
}

Written ScriptGenerator::apply(const std::string& name, Op op, Sort sort,
                               const std::vector<Written>& args) {
  std::string text = "(" + name;
  std::vector<Formula> meanings;
  for (const Written& arg : args) {
    text += ' ' + arg.text;
    meanings.push_back(arg.meaning);
  }
  return make_written(text + ')', vorn::bruteforce::make(op, sort, meanings));
}

Written ScriptGenerator::make_term(Sort sort, int depth) {
  return sort == Sort::kBool ? make_bool(depth) : make_end(sort, depth);
}

// A random visible name of the sort; false if there is none.
bool ScriptGenerator::find_name(Sort sort, Written& out) {
  std::vector<const Binding*> visible;
  for (const std::vector<Binding>* scope : {&locals_, &globals_}) {
    for (auto binding = scope->rbegin(); binding != scope->rend(); ++binding) {
      const bool hidden = std::any_of(
          visible.begin(), visible.end(),
          [&](const Binding* b) { return b->name == binding->name; });
      if (!hidden) visible.push_back(&*binding);
    }
  }
  visible.erase(
      std::remove_if(visible.begin(), visible.end(),
                     [sort](const Binding* b) { return b->sort != sort; }),
      visible.end());
  if (visible.empty()) return false;
  const Binding& chosen = *any(visible);
  const bool bars = chance(3);
  out = make_written(bars ? '|' + chosen.name + '|' : spell_symbol(chosen.name),
                     chosen.meaning);
  if (!is_plain_ && chance(4))
    out.text = "(as " + out.text + ' ' + sort_text(sort) + ')';
  return true;
}

const ScriptGenerator::Macro* ScriptGenerator::find_macro(Sort sort) {
  std::vector<const Macro*> fitting;
  for (const Macro& macro : macros_) {
    if (macro.sort == sort) fitting.push_back(&macro);
  }
  return fitting.empty() ? nullptr : any(fitting);
}

Written ScriptGenerator::make_use(const Macro& macro, int depth) {
  std::string text = "(" + macro.name;
  std::vector<Formula> arguments;
  for (const Sort sort : macro.parameters) {
    const Written argument = make_term(sort, depth - 1);
    text += ' ' + argument.text;
    arguments.push_back(argument.meaning);
  }
  return make_written(text + ')', substitute(macro.body, arguments));
}

// All bindings of one let are made before any of them is visible.
Written ScriptGenerator::make_let(Sort sort, int depth) {
  const bool may_name = std::exchange(may_name_, false);
  const std::vector<std::string> names = {"x", "p", "y", "a", "the w", "b"};
  std::vector<Binding> fresh;
  std::string text = "(let (";
  const int count = 1 + pick(2);
  for (int i = 0; i < count; ++i) {
    // Two names of one let differ: one from each half of the list.
    const std::string& name = names[static_cast<std::size_t>(pick(3) + 3 * i)];
    const Sort own = chance(40) ? Sort::kBool : pick_number_sort();
    const Written value = make_term(own, depth - 1);
    text += (i > 0 ? " (" : "(") + spell_symbol(name) + ' ' + value.text + ')';
    fresh.push_back({name, own, value.meaning});
  }
  const std::size_t before = locals_.size();
  locals_.insert(locals_.end(), fresh.begin(), fresh.end());
  const Written body = make_term(sort, depth - 1);
  locals_.resize(before);
  may_name_ = may_name;
  return make_written(text + ") " + body.text + ')', body.meaning);
}

Written ScriptGenerator::make_bool_leaf(int depth) {
  Written name;
  if (chance(30) && find_name(Sort::kBool, name)) return name;
  if (chance(3)) {
    return chance(50) ? make_written("true", vorn::bruteforce::make(
                                                 Op::kTrue, Sort::kBool, {}))
                      : make_written("false", vorn::bruteforce::make(
                                                  Op::kFalse, Sort::kBool, {}));
  }
  return make_comparison(depth);
}

Written ScriptGenerator::make_bool(int depth) {
  if (depth <= 0 || --budget_ < 0) return make_bool_leaf(0);
  const auto parts = [&](int least, int most) {
    std::vector<Written> result;
    const int count = least + pick(most - least + 1);
    for (int i = 0; i < count; ++i) result.push_back(make_bool(depth - 1));
    return result;
  };
  if (may_name_ && locals_.empty() && chance(15)) {
    const Written inner = make_bool(depth - 1);
    const std::string name = "i" + std::to_string(num_names_++);
    labels_.push_back({name, inner.meaning});
    return make_written("(! " + inner.text + " :named " + name + ')',
                        inner.meaning);
  }
  switch (pick(13)) {
    case 0:
      return apply("not", Op::kNot, Sort::kBool, parts(1, 1));
    case 1:
      return apply("and", Op::kAnd, Sort::kBool, parts(2, 3));
    case 2:
    case 3:
    case 4:
      return apply("or", Op::kOr, Sort::kBool, parts(2, 4));
    case 5:
      return apply("xor", Op::kXor, Sort::kBool, parts(2, 3));
    case 6:
      return apply("=>", Op::kImplies, Sort::kBool, parts(2, 3));
    case 7:
      return apply("=", Op::kEqual, Sort::kBool, parts(2, 3));
    case 8:
      return apply("distinct", Op::kDistinct, Sort::kBool,
                   parts(2, chance(10) ? 3 : 2));
    case 9:
      return apply("ite", Op::kIte, Sort::kBool, parts(3, 3));
    case 10:
      return make_let(Sort::kBool, depth);
    case 11: {
      const Macro* macro = find_macro(Sort::kBool);
      if (macro != nullptr) return make_use(*macro, depth);
      return make_bool_leaf(depth);
    }
    default:
      return make_bool_leaf(depth);
  }
}

Written ScriptGenerator::make_comparison(int depth) {
  // Parts of a comparison are written twice below; a name may not be.
  const bool may_name = std::exchange(may_name_, false);
  const bool mixed = !is_plain_ && logic_ == Logic::kAll && chance(40);
  const Sort sort = mixed ? Sort::kReal : pick_number_sort();
  const auto end = [&] {
    return make_end(mixed ? pick_number_sort() : sort, depth - 1);
  };
  const auto constant = [&] { return make_constant(sort, depth - 1); };
  const auto plus = [&](const std::vector<Written>& args) {
    return apply("+", Op::kPlus, sort, args);
  };
  const auto minus = [&](const std::vector<Written>& args) {
    return apply("-", Op::kMinus, sort, args);
  };
  const auto times = [&](const Written& factor, const Written& term) {
    return chance(50) ? apply("*", Op::kTimes, sort, {factor, term})
                      : apply("*", Op::kTimes, sort, {term, factor});
  };
  std::string name;
  Op op = Op::kEqual;
  if (chance(75)) {
    std::tie(name, op) = any(kOrders);
  } else if (chance(60)) {
    name = "=";
  } else {
    name = "distinct";
    op = Op::kDistinct;
  }
  const Written a = end();
  const Written b = end();
  const Written factor = make_factor(sort);
  std::vector<Written> sides;
  switch (pick(is_plain_ ? 16 : 21)) {
    case 16:
    case 17: {
      const auto amount = [&](const Written& term) {
        return apply("abs", Op::kAbs, sort, {term});
      };
      sides = {amount(chance(60) ? minus({a, b}) : a), constant()};
      if (chance(20)) sides = {amount(minus({a, b})), amount(minus({b, a}))};
      if (chance(50)) std::swap(sides[0], sides[1]);
      break;
    }
    case 18:
      sides = {chance(50) ? plus({make_count(sort, depth), minus({a, b})})
                          : make_count(sort, depth),
               constant()};
      break;
    case 19:
      sides = {plus({a, make_count(sort, depth)}), plus({b, constant()})};
      break;
    case 0:
    case 1:
      sides = {a, b};
      break;
    case 2:
    case 3:
      sides = {minus({a, b}), constant()};
      break;
    case 4:
      sides = {constant(), minus({a, b})};
      break;
    case 5:
      sides = {times(factor, a), times(factor, b)};
      break;
    case 6:
      sides = {a, plus({b, constant()}), end()};
      break;
    case 7:
      sides = {times(factor, a), constant()};
      break;
    case 8:
      sides = {times(factor, minus({a, b})), constant()};
      break;
    case 9:
      sides = {plus({a, minus({b}), constant()}), constant()};
      break;
    case 10:
      sides = {plus({a, a}), chance(50) ? plus({b, b}) : constant()};
      break;
    case 11:
      sides = {minus({times(factor, a), a}), constant()};
      break;
    case 12:
      sides = {minus({a}), minus({b})};
      break;
    case 13:
      sides = {constant(), a, constant()};
      break;
    case 14:
      sides = {a, constant()};
      if (sort == Sort::kReal) {
        // A numeral beside a real is a real.
        const int value = pick(4);
        sides[1] =
            make_written(std::to_string(value), make_number(value, sort));
      }
      break;
    default:
      sides = {minus({a, b, constant()}), constant()};
      if (sort == Sort::kReal) {
        const std::string divisor = chance(50) ? "2.0" : "7.0";
        const Written number = make_written(
            divisor, make_number(mpq_class(divisor == "2.0" ? 2 : 7), sort));
        sides = {apply("/", Op::kDivide, sort, {a, number}),
                 apply("/", Op::kDivide, sort, {b, number})};
      }
      break;
  }
  if (!is_plain_ && sort == Sort::kInt && logic_ == Logic::kAll && chance(25)) {
    for (Written& side : sides) side = make_real(side);
  }
  may_name_ = may_name;
  return apply(name, op, Sort::kBool, sides);
}

// A sum of many numbers that depend on few conditions.
Written ScriptGenerator::make_count(Sort sort, int depth) {
  std::vector<Written> conditions;
  const int kinds = 2 + pick(2);
  for (int i = 0; i < kinds; ++i) {
    Written name;
    const bool named = chance(70) && find_name(Sort::kBool, name);
    conditions.push_back(named ? name : make_bool_leaf(0));
  }
  const bool counts = chance(50);
  std::vector<Written> cases;
  // Other numbers than 0 and 1 have about a sum for each set of cases.
  const int count = 2 + pick(counts && chance(30) ? 30 : 6);
  for (int i = 0; i < count; ++i) {
    const auto number = [&](int value) {
      return make_written(number_text(value, sort), make_number(value, sort));
    };
    cases.push_back(apply(
        "ite", Op::kIte, sort,
        {any(conditions), counts ? number(1) : make_constant(sort, depth - 1),
         counts ? number(0) : make_literal(sort)}));
  }
  return apply("+", Op::kPlus, sort, cases);
}

// The integer's value among reals: by itself, or as is said of it.
Written ScriptGenerator::make_real(const Written& integer) {
  switch (pick(5)) {
    case 0:
      return apply("to_real", Op::kToReal, Sort::kReal, {integer});
    case 1: {
      const Written whole =
          apply("to_int", Op::kToInt, Sort::kInt,
                {apply("+", Op::kPlus, Sort::kReal,
                       {integer, make_literal(Sort::kReal)})});
      return apply("to_real", Op::kToReal, Sort::kReal, {whole});
    }
    case 2:
      return apply("+", Op::kPlus, Sort::kReal,
                   {integer, make_literal(Sort::kReal)});
    case 3:
      return apply("*", Op::kTimes, Sort::kReal,
                   {make_written("1.0", make_number(1, Sort::kReal)), integer});
    default:
      return integer;
  }
}

Written ScriptGenerator::make_end_leaf(Sort sort) {
  Written name;
  if (chance(85) && find_name(sort, name)) return name;
  return make_literal(sort);
}

Written ScriptGenerator::make_end(Sort sort, int depth) {
  const bool may_name = std::exchange(may_name_, false);
  Written result = make_end_leaf(sort);
  if (depth > 0 && --budget_ >= 0 && chance(60)) {
    switch (pick(8)) {
      case 0:
        result =
            apply("+", Op::kPlus, sort,
                  {make_end(sort, depth - 1), make_constant(sort, depth - 1)});
        break;
      case 1:
        result = apply("+", Op::kPlus, sort,
                       {make_constant(sort, 0), make_end(sort, depth - 1),
                        make_constant(sort, depth - 1)});
        break;
      case 2:
        result =
            apply("-", Op::kMinus, sort,
                  {make_end(sort, depth - 1), make_constant(sort, depth - 1)});
        break;
      case 3:
      case 4:
        result = apply("ite", Op::kIte, sort,
                       {make_bool(depth - 1), make_end(sort, depth - 1),
                        make_end(sort, depth - 1)});
        break;
      case 5:
        result = make_let(sort, depth);
        break;
      case 6: {
        const Macro* macro = find_macro(sort);
        if (macro != nullptr) result = make_use(*macro, depth);
        break;
      }
      default: {
        const Written inner =
            apply("-", Op::kMinus, sort, {make_end(sort, depth - 1)});
        result = apply("-", Op::kMinus, sort, {inner});
        break;
      }
    }
  }
  may_name_ = may_name;
  return result;
}

Written ScriptGenerator::make_constant(Sort sort, int depth) {
  if (depth <= 0 || !chance(25) || --budget_ < 0) return make_literal(sort);
  const int form = pick(8);
  switch (is_plain_ && form >= 3 ? 6 : form) {
    case 3:
      return apply("abs", Op::kAbs, sort, {make_constant(sort, depth - 1)});
    case 4: {
      if (sort != Sort::kInt) return make_literal(sort);
      const std::vector<Written> numbers{make_literal(sort), make_factor(sort)};
      return chance(50) ? apply("div", Op::kIntDivide, sort, numbers)
                        : apply("mod", Op::kRemainder, sort, numbers);
    }
    case 5: {
      if (logic_ != Logic::kAll) return make_literal(sort);
      const Written other =
          sort == Sort::kReal
              ? make_constant(Sort::kInt, depth - 1)
              : apply("*", Op::kTimes, Sort::kReal,
                      {make_literal(Sort::kReal), make_literal(Sort::kReal)});
      return sort == Sort::kReal ? apply("to_real", Op::kToReal, sort, {other})
                                 : apply("to_int", Op::kToInt, sort, {other});
    }
    case 0:
      return apply("+", Op::kPlus, sort,
                   {make_constant(sort, depth - 1), make_literal(sort)});
    case 1:
      return apply("-", Op::kMinus, sort, {make_constant(sort, depth - 1)});
    case 2:
      return apply("*", Op::kTimes, sort,
                   {make_factor(sort), make_constant(sort, depth - 1)});
    default:
      return apply("ite", Op::kIte, sort,
                   {make_bool(depth - 1), make_constant(sort, depth - 1),
                    make_literal(sort)});
  }
}

Written ScriptGenerator::make_literal(Sort sort) {
  mpq_class value(pick(7) - 3);
  if (chance(2)) {
    // At the edges of machine words and beyond.
    static const std::vector<std::string> kLarge = {
        "2147483648",           "4611686018427387904",
        "9223372036854775807",  "9223372036854775808",
        "18446744073709551616", "1000000000000000000000000000001"};
    value = mpq_class(any(kLarge));
    if (chance(50)) value = -value;
  }
  if (sort == Sort::kReal && chance(35)) {
    static const std::vector<int> kDivisors = {2, 3, 4, 10};
    value /= any(kDivisors);
  }
  return make_written(number_text(value, sort), make_number(value, sort));
}

Written ScriptGenerator::make_factor(Sort sort) {
  static const std::vector<int> kFactors = {2, 3, -1, -2, 4};
  mpq_class value(any(kFactors));
  if (sort == Sort::kReal && chance(40)) value /= 3 + 2 * pick(2);
  return make_written(number_text(value, sort), make_number(value, sort));
}

std::string ScriptGenerator::number_text(const mpq_class& value, Sort sort) {
  const mpq_class magnitude = abs(value);
  const bool negative = value < 0;
  const std::string suffix =
      sort == Sort::kReal && (logic_ == Logic::kAll || chance(50)) ? ".0" : "";
  std::string text;
  if (magnitude.get_den() == 1) {
    text = magnitude.get_num().get_str() + suffix;
  } else {
    const mpq_class hundredfold = magnitude * 100;
    if (hundredfold.get_den() == 1 && chance(60)) {
      const mpz_class whole = hundredfold.get_num() / 100;
      const mpz_class rest = hundredfold.get_num() % 100;
      const std::string digits = rest.get_str();
      text =
          whole.get_str() + '.' + std::string(2 - digits.size(), '0') + digits;
    } else {
      const std::string above = magnitude.get_num().get_str() + suffix;
      const std::string below = magnitude.get_den().get_str() + suffix;
      if (negative && chance(50)) {
        return "(/ (- " + above + ") " + below + ')';
      }
      text = "(/ " + above + ' ' + below + ')';
    }
  }
  return negative ? "(- " + text + ')' : text;
}

}  // namespace vorn::bruteforce
