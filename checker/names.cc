// SPDX-License-Identifier: MIT
#include "checker/names.h"

#include <functional>
#include <stdexcept>
#include <utility>

namespace vorn::checker {

NameId Names::intern(std::string_view name) {
  if (2 * (size() + 1) > slots_.size()) grow();
  const std::size_t mask = slots_.size() - 1;
  std::size_t slot = std::hash<std::string_view>()(name) & mask;
  for (; slots_[slot] != 0; slot = (slot + 1) & mask) {
    if (text(slots_[slot] - 1) == name) return slots_[slot] - 1;
  }
  if (size() >= UINT32_MAX - 1) throw std::length_error("too many names");
  const auto id = static_cast<NameId>(size());
  texts_ += name;
  begins_.push_back(texts_.size());
  slots_[slot] = id + 1;
  return id;
}

void Names::grow() {
  std::vector<NameId> slots(2 * slots_.size());
  const std::size_t mask = slots.size() - 1;
  for (NameId id = 0; id < size(); ++id) {
    std::size_t slot = std::hash<std::string_view>()(text(id)) & mask;
    while (slots[slot] != 0) slot = (slot + 1) & mask;
    slots[slot] = id + 1;
  }
  slots_ = std::move(slots);
}

}  // namespace vorn::checker
