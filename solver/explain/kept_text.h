// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_EXPLAIN_KEPT_TEXT_H
#define VORN_SOLVER_EXPLAIN_KEPT_TEXT_H

#include <cstddef>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

namespace vorn::solver {

/// A text, or none, that is kept by the million and seldom looked at: one word,
/// and a block of the text's length and 8 bytes. An empty text is none.
class KeptText {
 public:
  /// None.
  KeptText() = default;
  // Texts read as what they are.
  // NOLINTBEGIN(google-explicit-constructor)
  /// A copy of the text.
  KeptText(std::string_view text) {
    if (text.empty()) return;
    block_.reset(new char[kHead + text.size()]);
    const std::size_t size = text.size();
    std::memcpy(block_.get(), &size, kHead);
    std::memcpy(block_.get() + kHead, text.data(), size);
  }
  /// The same.
  KeptText(const std::string& text) : KeptText(std::string_view(text)) {}
  /// The same.
  KeptText(const char* text) : KeptText(std::string_view(text)) {}
  // NOLINTEND(google-explicit-constructor)
  /// A copy of the text.
  KeptText(const KeptText& other) : KeptText(other.view()) {}
  KeptText(KeptText&& other) noexcept = default;
  /// A copy of the text.
  KeptText& operator=(const KeptText& other) { return *this = KeptText(other); }
  KeptText& operator=(KeptText&& other) noexcept = default;
  ~KeptText() = default;

  /// Whether there is none.
  bool empty() const { return block_ == nullptr; }
  /// The text, as long as it is kept.
  std::string_view view() const {
    if (empty()) return {};
    std::size_t size = 0;
    std::memcpy(&size, block_.get(), kHead);
    return {block_.get() + kHead, size};
  }
  /// A copy.
  std::string str() const { return std::string(view()); }

 private:
  // The length, and then the text.
  static constexpr std::size_t kHead = sizeof(std::size_t);
  std::unique_ptr<char[]> block_;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_EXPLAIN_KEPT_TEXT_H
