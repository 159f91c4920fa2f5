// SPDX-License-Identifier: MIT
#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "bench/benchmarks.h"
#include "bench/contest.h"
#include "bench/workloads.h"
#include "vorn/containers/hashtable.h"
#include "vorn/containers/var_map.h"
#include "vorn/services/term.h"

// The map on dense keys and the table on terms, against what the standard
// library offers for the same use.

namespace vorn::bench {
namespace {

constexpr int kKeys = 10000;
constexpr int kPasses = 50;

using VarMap = la::VarMap<std::int64_t, true, true>;
using StdVector = std::vector<std::int64_t>;
using StdUnordered = std::unordered_map<int, std::int64_t>;
using StdMap = std::map<int, std::int64_t>;

// One way to insert and to find for each kind of map.
void insert(VarMap& map, int key) {
  map[key] = key;
}
void insert(StdVector& map, int key) {
  const auto index = static_cast<std::size_t>(key);
  if (index >= map.size()) map.resize(index + 1);
  map[index] = key;
}
void insert(StdUnordered& map, int key) {
  map[key] = key;
}
void insert(StdMap& map, int key) {
  map[key] = key;
}
std::int64_t find(const VarMap& map, int key) {
  return map.contains(key) ? map.at(key) : -1;
}
std::int64_t find(const StdVector& map, int key) {
  const auto index = static_cast<std::size_t>(key);
  return index < map.size() ? map[index] : -1;
}
std::int64_t find(const StdUnordered& map, int key) {
  const auto found = map.find(key);
  return found != map.end() ? found->second : -1;
}
std::int64_t find(const StdMap& map, int key) {
  const auto found = map.find(key);
  return found != map.end() ? found->second : -1;
}

using TermTable =
    hsh::Hashtable<std::pair<const Term_*, const Term_*>,
                   hsh::GetKey_pair<const Term_*, const Term_*>, const Term_*,
                   hsh::hash<const Term_*>, std::equal_to<const Term_*>>;
using StdUnorderedTerms = std::unordered_map<const Term_*, const Term_*>;
using StdMapTerms = std::map<const Term_*, const Term_*>;

void insert(TermTable& map, const Term_* key) {
  std::size_t index = 0;
  TermTable::Bucket* node = nullptr;
  map.do_insert({key, key}, &index, &node);
}
void insert(StdUnorderedTerms& map, const Term_* key) {
  map.emplace(key, key);
}
void insert(StdMapTerms& map, const Term_* key) {
  map.emplace(key, key);
}
const Term_* find(const TermTable& map, const Term_* key) {
  const TermTable::iterator found = map.find(key);
  return found.node != nullptr ? found.node->value.second : nullptr;
}
const Term_* find(const StdUnorderedTerms& map, const Term_* key) {
  const auto found = map.find(key);
  return found != map.end() ? found->second : nullptr;
}
const Term_* find(const StdMapTerms& map, const Term_* key) {
  const auto found = map.find(key);
  return found != map.end() ? found->second : nullptr;
}

/// Makes a new map and fills it.
template <class Map, class Key>
Contestant inserter(const std::string& name, const std::vector<Key>& keys) {
  return {name,
          [&keys] {
            return seconds_of([&] {
              for (int pass = 0; pass < kPasses; ++pass) {
                Map map;
                for (const Key key : keys) insert(map, key);
                benchmark::DoNotOptimize(&map);
                benchmark::ClobberMemory();
              }
            });
          },
          Target::none()};
}

/// Finds every key of a full map.
template <class Map, class Key>
Contestant finder(const std::string& name, const std::vector<Key>& keys) {
  return {name,
          [&keys] {
            Map map;
            for (const Key key : keys) insert(map, key);
            return seconds_of([&] {
              for (int pass = 0; pass < kPasses; ++pass) {
                for (const Key key : keys) {
                  benchmark::DoNotOptimize(find(map, key));
                }
              }
            });
          },
          Target::none()};
}

void add(const std::string& name,
         const std::function<std::vector<Contestant>()>& make_contestants) {
  add_benchmark(name + "/" + std::to_string(kKeys),
                [make_contestants](benchmark::State& state,
                                   const std::string& full_name) {
                  hold_contest(state, full_name, make_contestants(),
                               static_cast<double>(kKeys) * kPasses, "key");
                });
}

const std::vector<int>& keys_in_order() {
  static const std::vector<int> keys = [] {
    std::vector<int> result;
    for (int key = 0; key < kKeys; ++key) result.push_back(key);
    return result;
  }();
  return keys;
}

const std::vector<int>& shuffled_keys() {
  static const std::vector<int> keys = Random(301).permutation(kKeys);
  return keys;
}

const std::vector<const Term_*>& shuffled_terms() {
  static const std::vector<Term_> terms = [] {
    std::vector<Term_> result;
    for (std::uint64_t id = 0; id <= kKeys; ++id) result.push_back({id});
    return result;
  }();
  static const std::vector<const Term_*> pointers = [] {
    std::vector<const Term_*> result;
    for (const int key : shuffled_keys()) {
      result.push_back(&terms[static_cast<std::size_t>(key)]);
    }
    return result;
  }();
  return pointers;
}

}  // namespace

void add_container_benchmarks() {
  add("bm_varmap_insert", [] {
    const std::vector<int>& keys = keys_in_order();
    return std::vector<Contestant>{
        inserter<VarMap>("Vorn", keys),
        inserter<StdVector>("std::vector", keys),
        inserter<StdUnordered>("std::unordered_map", keys),
        inserter<StdMap>("std::map", keys)};
  });
  add("bm_varmap_find", [] {
    const std::vector<int>& keys = shuffled_keys();
    return std::vector<Contestant>{
        finder<VarMap>("Vorn", keys), finder<StdVector>("std::vector", keys),
        finder<StdUnordered>("std::unordered_map", keys),
        finder<StdMap>("std::map", keys)};
  });
  add("bm_hashtable_insert", [] {
    const std::vector<const Term_*>& terms = shuffled_terms();
    return std::vector<Contestant>{
        inserter<TermTable>("Vorn", terms),
        inserter<StdUnorderedTerms>("std::unordered_map", terms),
        inserter<StdMapTerms>("std::map", terms)};
  });
  add("bm_hashtable_find", [] {
    const std::vector<const Term_*>& terms = shuffled_terms();
    return std::vector<Contestant>{
        finder<TermTable>("Vorn", terms),
        finder<StdUnorderedTerms>("std::unordered_map", terms),
        finder<StdMapTerms>("std::map", terms)};
  });
}

}  // namespace vorn::bench
