// SPDX-License-Identifier: MIT
#ifndef VORN_CONTAINERS_VAR_MAP_H
#define VORN_CONTAINERS_VAR_MAP_H

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <utility>
#include <vector>

namespace vorn {
struct Inspector;
}

namespace vorn::la {

/// Map from a small non-negative int to T: an array with a presence flag per
/// slot. For keys that are dense, as variable and edge numbers are.
///
/// The two flags say that presence is kept per slot and that present keys are
/// counted. Only <T, true, true> exists.
///
/// Invariants:
///  (1) present_.size() == values_.size();
///  (2) an absent slot holds a default T;
///  (3) num_keys_ is at least the number of present keys.
/// Cost: lookup is one index; insertion amortised O(1), growth doubles or jumps
/// to the key; iteration costs the number of slots, not of keys. Per slot
/// sizeof(T) + 1 bytes.
/// Ownership: values live in the map. A growth invalidates all references, as
/// `map[key]` of an absent key may.
/// Errors: only exhausted memory, and then the map is as it was.
/// Requires: every key is non-negative and below the greatest int.
template <class T, bool KeepsPresence, bool CountsKeys>
class VarMap {
  static_assert(KeepsPresence && CountsKeys,
                "only the counted map with presence flags exists");

 public:
  /// Position in a map, in ascending order of present keys.
  ///
  /// Dereferencing copies the entry into the iterator, once per position:
  /// writing through it changes the copy, never the map. Making an iterator
  /// builds a default T; code that only asks whether a key is there calls
  /// contains().
  class VarMapIterator {
   public:
    /// Stands at slot `pos`. Requires: `map` outlives the iterator.
    VarMapIterator(const VarMap* map, std::size_t pos)
        : map_(map),
          flags_(&map->present_),
          pos_(pos),
          cur_(),
          cur_valid_(false) {}

    /// The key and a copy of its value.
    std::pair<int, T>& operator*() {
      if (!cur_valid_) {
        cur_.first = static_cast<int>(pos_);
        cur_.second = map_->values_[pos_];
        cur_valid_ = true;
      }
      return cur_;
    }
    /// The same, by member.
    std::pair<int, T>* operator->() { return &**this; }

    /// Moves to the next present key.
    VarMapIterator& operator++() {
      ++pos_;
      cur_valid_ = false;
      skip_absent();
      return *this;
    }

    /// Both sides first move forward over slots that have become absent.
    friend bool operator==(const VarMapIterator& a, const VarMapIterator& b) {
      a.skip_absent();
      b.skip_absent();
      return a.pos_ == b.pos_;
    }
    /// The opposite; moves forward like ==.
    friend bool operator!=(const VarMapIterator& a, const VarMapIterator& b) {
      return !(a == b);
    }

   private:
    friend struct vorn::Inspector;

    void skip_absent() const {
      while (pos_ < flags_->size() && (*flags_)[pos_] == 0) {
        ++pos_;
        cur_valid_ = false;
      }
    }

    const VarMap* map_;
    const std::vector<char>* flags_;
    /// Slot index; the number of slots means the end.
    mutable std::size_t pos_;
    std::pair<int, T> cur_;
    /// cur_ holds the entry at pos_.
    mutable bool cur_valid_;
  };

  VarMap() : num_keys_(0) {}

  /// The slot of `key`, which becomes present (with a default value if it was
  /// absent). The reference lives until the next growth. Const too: reading an
  /// absent key makes it present, also in a map that is only lent.
  T& operator[](int key) const {
    const auto index = static_cast<std::size_t>(key);
    if (index >= values_.size()) grow(key);
    if (present_[index] == 0) {
      present_[index] = 1;
      ++num_keys_;
    }
    return values_[index];
  }

  /// Whether `key` is present; builds no value.
  bool contains(int key) const {
    const auto index = static_cast<std::size_t>(key);
    return index < present_.size() && present_[index] != 0;
  }

  /// The value of a present key. Requires: contains(key).
  T& at(int key) {
    assert(contains(key));
    return values_[static_cast<std::size_t>(key)];
  }
  /// The same for reading.
  const T& at(int key) const {
    assert(contains(key));
    return values_[static_cast<std::size_t>(key)];
  }

  /// Number of slots; every present key is below it.
  int num_slots() const { return static_cast<int>(values_.size()); }

  /// The position of `key`, or end().
  VarMapIterator find(int key) const {
    return key < num_slots() && present_[static_cast<std::size_t>(key)] != 0
               ? VarMapIterator(this, static_cast<std::size_t>(key))
               : end();
  }

  /// Resets the slot to a default T. False, and nothing done, for an absent
  /// key. Storage never shrinks.
  bool key_erase(int key) {
    if (key >= num_slots()) return false;
    const auto index = static_cast<std::size_t>(key);
    if (present_[index] == 0) return false;
    values_[index] = T();
    present_[index] = 0;
    --num_keys_;
    return true;
  }

  /// The first present key, or end().
  VarMapIterator begin() const {
    if (num_keys_ == 0) return end();
    std::size_t pos = 0;
    while (pos < present_.size() && present_[pos] == 0) ++pos;
    return VarMapIterator(this, pos);
  }
  /// Behind the last slot.
  VarMapIterator end() const { return VarMapIterator(this, values_.size()); }

  /// Destroys all slots. The count of keys deliberately stays: it only tells
  /// begin() that there may be keys, so too high a count costs an empty scan
  /// and is never wrong.
  void clear() {
    values_.clear();
    present_.clear();
  }

 private:
  friend struct vorn::Inspector;

  void grow(int key) const {
    const std::size_t old_size = values_.size();
    const std::size_t new_size =
        std::max(2 * old_size, static_cast<std::size_t>(key + 1));
    // Filled with copies of one default, which for counted values share one
    // block instead of making one per slot.
    values_.resize(new_size, T());
    try {
      present_.resize(values_.size(), 0);
    } catch (...) {
      values_.erase(values_.begin() + static_cast<std::ptrdiff_t>(old_size),
                    values_.end());
      throw;
    }
  }

  // Mutable for operator[], which fills in absent keys of const maps.
  mutable std::vector<T> values_;
  mutable std::vector<char> present_;
  mutable std::size_t num_keys_;
};

}  // namespace vorn::la

#endif  // VORN_CONTAINERS_VAR_MAP_H
