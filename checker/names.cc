// SPDX-License-Identifier: MIT
#include "checker/names.h"

#include <functional>
#include <stdexcept>
#include <utility>

namespace vorn::checker {

NameId Names::intern(std::string_view name) {
  if (2 * (size() + 1) > slots_.size()) grow();
  const auto hash =
      static_cast<std::uint32_t>(std::hash<std::string_view>()(name));
  const std::size_t mask = slots_.size() - 1;
  std::size_t slot = hash & mask;
  for (; slots_[slot].number != 0; slot = (slot + 1) & mask) {
    const NameId id = slots_[slot].number - 1;
    if (slots_[slot].hash == hash && text(id) == name) return id;
  }
  if (size() >= UINT32_MAX - 1) throw std::length_error("too many names");
  const auto id = static_cast<NameId>(size());
  texts_ += name;
  begins_.push_back(texts_.size());
  slots_[slot] = {id + 1, hash};
  return id;
}

void Names::grow() {
  std::vector<Slot> slots(2 * slots_.size());
  const std::size_t mask = slots.size() - 1;
  for (const Slot& old : slots_) {
    if (old.number == 0) continue;
    std::size_t slot = old.hash & mask;
    while (slots[slot].number != 0) slot = (slot + 1) & mask;
    slots[slot] = old;
  }
  slots_ = std::move(slots);
}

}  // namespace vorn::checker
