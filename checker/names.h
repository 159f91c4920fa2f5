// SPDX-License-Identifier: MIT
#ifndef VORN_CHECKER_NAMES_H
#define VORN_CHECKER_NAMES_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vorn::checker {

/// The number of a name in a Names; numbers are dense and start at 0.
using NameId = std::uint32_t;

/// Numbers for names, so that each text is kept once.
///
/// Cost: about 32 bytes a name beside its text: a proof has one for each step.
class Names {
 public:
  /// The number of a name, a new one if it was not seen before.
  NameId intern(std::string_view name);

  /// The text of a name; valid until the next intern().
  std::string_view text(NameId id) const {
    return std::string_view(texts_).substr(begins_[id],
                                           begins_[id + 1] - begins_[id]);
  }

  /// How many names there are.
  std::size_t size() const { return begins_.size() - 1; }

 private:
  void grow();

  std::string texts_;  // all names, one after the other
  std::vector<std::size_t> begins_ = {0};
  // Open addressing, at most half full. A part of the hash beside the number
  // saves most looks at other texts.
  struct Slot {
    NameId number = 0;  // plus 1; 0 for a free slot
    std::uint32_t hash = 0;
  };
  std::vector<Slot> slots_ = std::vector<Slot>(64);
};

}  // namespace vorn::checker

#endif  // VORN_CHECKER_NAMES_H
