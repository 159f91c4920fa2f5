// SPDX-License-Identifier: MIT
#include <benchmark/benchmark.h>
#include <gmpxx.h>

#include <boost/multiprecision/cpp_int.hpp>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "bench/benchmarks.h"
#include "bench/contest.h"
#include "bench/weights.h"
#include "bench/workloads.h"
#include "vorn/numbers/d_number.h"
#include "vorn/numbers/q_number.h"

// Numbers, element by element over arrays that fit the first-level cache.

namespace vorn::bench {
namespace {

using CppRational = boost::multiprecision::cpp_rational;

constexpr std::size_t kElements = 512;
constexpr int kPasses = 2000;

/// A machine word with nothing but the check.
struct CheckedWord {
  std::int64_t value = 0;

  CheckedWord& operator+=(const CheckedWord& other) {
    if (__builtin_add_overflow(value, other.value, &value)) {
      fail("a sum does not fit a word");
    }
    return *this;
  }
  friend bool operator<(const CheckedWord& a, const CheckedWord& b) {
    return a.value < b.value;
  }
};

struct Sample {
  std::int64_t num;
  std::int64_t den;
  int shift;
};

mpq_class exact(const Sample& sample) {
  TraceWeight weight;
  weight.num = sample.num;
  weight.den = static_cast<std::int32_t>(sample.den);
  weight.shift = sample.shift;
  return to_mpq(weight);
}

template <class T>
T make(const Sample& sample);
template <>
CheckedWord make(const Sample& sample) {
  return {sample.num};
}
template <>
QNumber make(const Sample& sample) {
  return *QNumber::from_string(exact(sample).get_str());
}
template <>
mpq_class make(const Sample& sample) {
  return exact(sample);
}
template <>
CppRational make(const Sample& sample) {
  return CppRational(exact(sample).get_str());
}

enum class Kind { kIntegers, kFractions, kPast64Bits };

template <class T>
struct Operands {
  std::vector<T> a;
  std::vector<T> b;
  std::vector<T> minus_b;
};

template <class T>
Operands<T> make_operands(Kind kind) {
  Random random(201);
  Operands<T> result;
  const auto sample = [&random, kind] {
    return Sample{random.below(2000001) - 1000000,
                  kind == Kind::kFractions ? 2 + random.below(11) : 1,
                  kind == Kind::kPast64Bits ? 70 : 0};
  };
  for (std::size_t k = 0; k < kElements; ++k) {
    result.a.push_back(make<T>(sample()));
    Sample b = sample();
    result.b.push_back(make<T>(b));
    b.num = -b.num;
    result.minus_b.push_back(make<T>(b));
  }
  return result;
}

template <>
Operands<la::DNumber> make_operands(Kind kind) {
  // The eps part of an operand must come off again with it.
  Operands<la::DNumber> result;
  const Operands<QNumber> parts = make_operands<QNumber>(kind);
  for (std::size_t k = 0; k < kElements; ++k) {
    const QNumber eps(static_cast<int>(k % 2));
    result.a.emplace_back(parts.a[k], QNumber(0));
    result.b.emplace_back(parts.b[k], eps);
    result.minus_b.emplace_back(parts.minus_b[k], -eps);
  }
  return result;
}
template <>
Operands<RawPair> make_operands(Kind kind) {
  Operands<RawPair> result;
  const Operands<CheckedWord> parts = make_operands<CheckedWord>(kind);
  for (std::size_t k = 0; k < kElements; ++k) {
    const auto eps = static_cast<std::int64_t>(k % 2);
    result.a.push_back({parts.a[k].value, 0});
    result.b.push_back({parts.b[k].value, eps});
    result.minus_b.push_back({parts.minus_b[k].value, -eps});
  }
  return result;
}
template <>
Operands<MpqPair> make_operands(Kind kind) {
  Operands<MpqPair> result;
  const Operands<mpq_class> parts = make_operands<mpq_class>(kind);
  for (std::size_t k = 0; k < kElements; ++k) {
    const mpq_class eps(static_cast<int>(k % 2));
    result.a.push_back({parts.a[k], mpq_class(0)});
    result.b.push_back({parts.b[k], eps});
    result.minus_b.push_back({parts.minus_b[k], -eps});
  }
  return result;
}

/// a += b and a += -b in turn, so that values stay as they are.
template <class T>
Contestant adder(const std::string& name, Kind kind, Target target) {
  return {name,
          [operands = make_operands<T>(kind)]() mutable {
            return seconds_of([&] {
              for (int pass = 0; pass < kPasses; ++pass) {
                const std::vector<T>& b =
                    pass % 2 == 0 ? operands.b : operands.minus_b;
                for (std::size_t k = 0; k < kElements; ++k) {
                  operands.a[k] += b[k];
                }
                benchmark::ClobberMemory();
              }
            });
          },
          target};
}

template <class T>
Contestant comparer(const std::string& name, Kind kind, Target target) {
  return {name,
          [operands = make_operands<T>(kind)]() {
            return seconds_of([&] {
              for (int pass = 0; pass < kPasses; ++pass) {
                for (std::size_t k = 0; k < kElements; ++k) {
                  // One by one: four comparisons in one vector instruction are
                  // not what a search can use.
                  benchmark::DoNotOptimize(operands.a[k] < operands.b[k]);
                }
              }
            });
          },
          target};
}

/// (a + b) < a: the question that the graph asks of each edge.
template <class T, class Less>
Contestant relaxer(const std::string& name, Less less, Target target) {
  return {name,
          [operands = make_operands<T>(Kind::kIntegers), less]() {
            return seconds_of([&] {
              for (int pass = 0; pass < kPasses; ++pass) {
                for (std::size_t k = 0; k < kElements; ++k) {
                  benchmark::DoNotOptimize(
                      less(operands.a[k], operands.b[k], operands.minus_b[k]));
                }
              }
            });
          },
          target};
}

void add(const std::string& name,
         const std::function<std::vector<Contestant>()>& make_contestants) {
  add_benchmark(name + "/" + std::to_string(kElements),
                [make_contestants](benchmark::State& state,
                                   const std::string& full_name) {
                  hold_contest(state, full_name, make_contestants(),
                               static_cast<double>(kElements) * kPasses,
                               "operation");
                });
}

}  // namespace

void add_number_benchmarks() {
  using la::DNumber;
  const Target none = Target::none();
  const Target at_most_2 = Target::at_most(2);
  add("bm_qnumber_add_integers", [=] {
    return std::vector<Contestant>{
        adder<QNumber>("Vorn", Kind::kIntegers, none),
        adder<CheckedWord>("checked word", Kind::kIntegers, at_most_2),
        adder<mpq_class>("mpq_class", Kind::kIntegers, none),
        adder<CppRational>("cpp_rational", Kind::kIntegers, none)};
  });
  add("bm_qnumber_less_integers", [=] {
    return std::vector<Contestant>{
        comparer<QNumber>("Vorn", Kind::kIntegers, none),
        comparer<CheckedWord>("checked word", Kind::kIntegers, at_most_2),
        comparer<mpq_class>("mpq_class", Kind::kIntegers, none),
        comparer<CppRational>("cpp_rational", Kind::kIntegers, none)};
  });
  add("bm_qnumber_add_fractions", [=] {
    return std::vector<Contestant>{
        adder<QNumber>("Vorn", Kind::kFractions, none),
        adder<mpq_class>("mpq_class", Kind::kFractions, Target::cheaper(5)),
        adder<CppRational>("cpp_rational", Kind::kFractions, none)};
  });
  add("bm_qnumber_less_fractions", [=] {
    return std::vector<Contestant>{
        comparer<QNumber>("Vorn", Kind::kFractions, none),
        comparer<mpq_class>("mpq_class", Kind::kFractions, none),
        comparer<CppRational>("cpp_rational", Kind::kFractions, none)};
  });
  add("bm_qnumber_add_past_64_bits", [=] {
    return std::vector<Contestant>{
        adder<QNumber>("Vorn", Kind::kPast64Bits, none),
        adder<mpq_class>("mpq_class", Kind::kPast64Bits, none),
        adder<CppRational>("cpp_rational", Kind::kPast64Bits, none)};
  });
  add("bm_dnumber_add", [=] {
    return std::vector<Contestant>{
        adder<DNumber>("Vorn", Kind::kIntegers, none),
        adder<RawPair>("pair of words", Kind::kIntegers, none),
        adder<MpqPair>("mpq pairs", Kind::kIntegers, none)};
  });
  add("bm_dnumber_less", [=] {
    return std::vector<Contestant>{
        comparer<DNumber>("Vorn", Kind::kIntegers, none),
        comparer<RawPair>("pair of words", Kind::kIntegers, none),
        comparer<MpqPair>("mpq pairs", Kind::kIntegers, none)};
  });
  add("bm_dnumber_sum_less", [=] {
    const auto raw = [](const RawPair& a, const RawPair& b, const RawPair& c) {
      RawPair sum = a;
      sum += b;
      return sum < c;
    };
    const auto mpq = [](const MpqPair& a, const MpqPair& b, const MpqPair& c) {
      MpqPair sum = a;
      sum += b;
      return sum < c;
    };
    return std::vector<Contestant>{
        relaxer<DNumber>("Vorn", &DNumber::sum_less, none),
        relaxer<RawPair>("pair of words", raw, none),
        relaxer<MpqPair>("mpq pairs", mpq, none)};
  });
}

}  // namespace vorn::bench
