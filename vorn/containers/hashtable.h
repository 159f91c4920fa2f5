// SPDX-License-Identifier: MIT
#ifndef VORN_CONTAINERS_HASHTABLE_H
#define VORN_CONTAINERS_HASHTABLE_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <type_traits>
#include <vector>

namespace vorn {
struct Inspector;
}

namespace vorn::hsh {

/// Bucket counts. Prime, so that keys with a common stride spread; each about
/// twice the one before.
inline constexpr std::array<std::uint64_t, 28> primes = {
    31,        73,         151,        313,       643,       1291,
    2593,      5233,       10501,      21013,     42073,     84181,
    168451,    337219,     674701,     1349473,   2699299,   5398891,
    10798093,  21596719,   43193641,   86387383,  172775299, 345550609,
    691101253, 1382202559, 2764405229, 4294867387};

/// Hash functors; see the pointer case.
template <class T>
struct hash;

/// A pointer to something with an `id` hashes to that id, not to its address:
/// ids are dense and the same in every run.
template <class T>
struct hash<const T*> {
  /// The id.
  std::uint64_t operator()(const T* pointer) const { return pointer->id; }
};

/// The key of a pair is its first half.
template <class K, class V>
struct GetKey_pair {
  /// The first half.
  const K& operator()(const std::pair<K, V>& value) const {
    return value.first;
  }
};

/// Chained hash table with prime bucket counts and pooled nodes.
///
/// Invariants:
///  (1) each node is in the chain of its key's hash modulo the bucket count, or
///      on the free list;
///  (2) size_ is the number of nodes in chains; no two have equal keys.
/// Cost: find and insert O(1) expected; nodes come from chunks that double up
/// to 8192 nodes, so most insertions allocate nothing; clear() keeps pool and
/// buckets.
/// Ownership: the table owns its nodes, not what the values point at. Nodes
/// keep their addresses until the table is cleared or destroyed.
/// Errors: only exhausted memory, and then the table is as it was.
/// Requires: Value is trivially destructible (chunks are freed as raw memory).
template <class Value, class GetKey, class Key, class Hash, class KeyEqual>
class Hashtable {
  static_assert(std::is_trivially_destructible_v<Value> &&
                    std::is_trivially_copyable_v<Key>,
                "nodes are released without running destructors");

 public:
  /// A node of a chain.
  struct Bucket {
    /// The rest of the chain, or of the free list.
    Bucket* next;
    /// What was inserted.
    Value value;
  };

  /// What find() returns; at the end exactly when `node` is null.
  struct iterator {
    /// The buckets of the table that was searched.
    const std::vector<Bucket*>* table;
    /// Bucket count at the time of the call.
    std::size_t nbuckets;
    /// Bucket of the node; `nbuckets` at the end.
    std::size_t index;
    /// The node that holds the key.
    Bucket* node;
  };

  /// Allocates the bucket array; the pool starts empty.
  Hashtable()
      : chunk_size_(16),
        chunk_growth_(2.0F),
        max_chunk_size_(8192),
        chunks_(nullptr),
        free_list_(nullptr),
        buckets_(primes[0], nullptr),
        size_(0) {}
  Hashtable(const Hashtable&) = delete;
  Hashtable& operator=(const Hashtable&) = delete;
  ~Hashtable() {
    while (chunks_ != nullptr) {
      Chunk* older = chunks_->older;
      std::free(chunks_);
      chunks_ = older;
    }
  }

  /// The number of values.
  std::size_t size() const { return size_; }

  /// The position of `key`. In an empty table the key is not even hashed.
  iterator find(const Key& key) const {
    const iterator end{&buckets_, buckets_.size(), buckets_.size(), nullptr};
    if (size_ == 0) return end;
    const std::size_t index = index_of(key);
    for (Bucket* node = buckets_[index]; node != nullptr; node = node->next) {
      if (equal_(get_key_(node->value), key)) {
        return {&buckets_, buckets_.size(), index, node};
      }
    }
    return end;
  }

  /// Adds `value` unless its key is there; true if it was added. Either way
  /// *index_out is the key's bucket and *node_out the node that holds it. The
  /// load is checked first, so a call that adds nothing can still grow the
  /// bucket array.
  bool do_insert(const Value& value, std::size_t* index_out,
                 Bucket** node_out) {
    const double load =
        static_cast<float>(size_) / static_cast<float>(buckets_.size());
    if (load > 0.7) grow();
    const Key& key = get_key_(value);
    const std::size_t index = index_of(key);
    *index_out = index;
    for (Bucket* node = buckets_[index]; node != nullptr; node = node->next) {
      if (equal_(get_key_(node->value), key)) {
        *node_out = node;
        return false;
      }
    }
    if (free_list_ == nullptr) add_chunk();
    Bucket* node = free_list_;
    free_list_ = node->next;
    node->value = value;
    node->next = buckets_[index];
    buckets_[index] = node;
    ++size_;
    *node_out = node;
    return true;
  }

  /// Removes all values; keeps bucket array and pool.
  void clear() {
    if (size_ == 0) return;
    for (Bucket*& head : buckets_) {
      while (head != nullptr) {
        Bucket* node = head;
        head = node->next;
        node->next = free_list_;
        free_list_ = node;
      }
    }
    size_ = 0;
  }

 private:
  friend struct vorn::Inspector;

  /// Header of one malloc block; the nodes follow it.
  struct Chunk {
    Chunk* older;
  };
  static_assert(alignof(Bucket) <= alignof(Chunk) &&
                    sizeof(Chunk) % alignof(Bucket) == 0,
                "nodes start right behind the link word");

  std::size_t index_of(const Key& key) const {
    return static_cast<std::size_t>(hash_(key) % buckets_.size());
  }

  void grow() {
    const std::uint64_t wanted = buckets_.size() + 1;
    const auto* prime = std::lower_bound(primes.begin(), primes.end(), wanted);
    const std::uint64_t count = prime != primes.end() ? *prime : primes.back();
    std::vector<Bucket*> larger;
    larger.resize(count, nullptr);
    larger.swap(buckets_);
    for (Bucket* head : larger) {
      while (head != nullptr) {
        Bucket* node = head;
        head = node->next;
        Bucket*& chain = buckets_[index_of(get_key_(node->value))];
        node->next = chain;
        chain = node;
      }
    }
  }

  void add_chunk() {
    const std::size_t n = chunk_size_;
    std::size_t bytes = sizeof(Chunk) + n * sizeof(Bucket);
    // A byte count that wraps round to nothing must still be a real request.
    if (bytes == 0) bytes = 1;
    void* memory = std::malloc(bytes);
    if (memory == nullptr) throw std::bad_alloc();
    auto* chunk = ::new (memory) Chunk{chunks_};
    chunks_ = chunk;
    auto larger =
        static_cast<std::size_t>(static_cast<float>(n) * chunk_growth_);
    if (max_chunk_size_ != 0) larger = std::min(larger, max_chunk_size_);
    chunk_size_ = larger;
    auto* nodes = reinterpret_cast<Bucket*>(chunk + 1);
    for (std::size_t k = 0; k < n; ++k) {
      ::new (static_cast<void*>(nodes + k))
          Bucket{k + 1 < n ? nodes + k + 1 : nullptr, Value()};
    }
    free_list_ = nodes;
  }

  /// Nodes of the next chunk.
  std::size_t chunk_size_;
  float chunk_growth_;
  /// Bound for chunk_size_; 0 means none.
  std::size_t max_chunk_size_;
  /// All chunks, newest first.
  Chunk* chunks_;
  Bucket* free_list_;
  GetKey get_key_;
  Hash hash_;
  KeyEqual equal_;
  /// Chain heads.
  std::vector<Bucket*> buckets_;
  std::size_t size_;
};

}  // namespace vorn::hsh

#endif  // VORN_CONTAINERS_HASHTABLE_H
