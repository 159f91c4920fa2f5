// SPDX-License-Identifier: MIT
#include "solver/proof/written_terms.h"

#include <cassert>
#include <utility>

#include "solver/terms/term_printer.h"

namespace vorn::solver {
namespace {

constexpr std::pair<std::string_view, WrittenKind> kKinds[] = {
    {"not", WrittenKind::kNot},
    {"and", WrittenKind::kAnd},
    {"or", WrittenKind::kOr},
    {"xor", WrittenKind::kXor},
    {"=>", WrittenKind::kImplies},
    {"=", WrittenKind::kEqual},
    {"distinct", WrittenKind::kDistinct},
    {"ite", WrittenKind::kIte},
    {"<=", WrittenKind::kLeq},
    {"<", WrittenKind::kLess},
    {">=", WrittenKind::kGeq},
    {">", WrittenKind::kGreater},
};

WrittenKind kind_of(std::string_view function) {
  for (const auto& [name, kind] : kKinds) {
    if (name == function) return kind;
  }
  return WrittenKind::kOther;
}

// A fraction with digits behind the point; empty if it takes more of them than
// anybody writes.
std::string decimal_text(const QNumber& value) {
  constexpr std::size_t kMostDigits = 1000;
  QNumber shifted = value;
  std::size_t count = 0;
  for (; !shifted.is_integer() && count < kMostDigits; ++count) {
    shifted *= QNumber(10);
  }
  if (!shifted.is_integer()) return "";
  std::string digits = shifted.to_str();
  if (digits.size() <= count) digits.insert(0, count + 1 - digits.size(), '0');
  return digits.insert(digits.size() - count, ".");
}

}  // namespace

WrittenTerms::WrittenTerms(TermStore& store) : store_(store) {
  nodes_.push_back({nullptr, 0, 0, intern(""), WrittenKind::kLeaf});
}

std::size_t WrittenTerms::Hash::operator()(
    const std::vector<std::uint32_t>& key) const {
  std::uint64_t hash = key.size();
  for (const std::uint32_t word : key) {
    hash = (hash ^ word) * 0x9E3779B97F4A7C15U;
    hash ^= hash >> 29U;
  }
  return hash;
}

std::uint32_t WrittenTerms::intern(std::string_view text) {
  const auto [place, is_new] = text_numbers_.try_emplace(
      std::string(text), static_cast<std::uint32_t>(texts_.size()));
  if (is_new) texts_.emplace_back(text);
  return place->second;
}

WrittenId WrittenTerms::make(WrittenKind kind, std::string_view text,
                             const std::vector<WrittenId>& args,
                             const Term* meaning) {
  std::vector<std::uint32_t> key{static_cast<std::uint32_t>(kind),
                                 intern(text)};
  // Symbols of one name that were declared at different times may differ in
  // their sort; numbers do by their text.
  if (args.empty()) key.push_back(static_cast<std::uint32_t>(meaning->sort));
  key.insert(key.end(), args.begin(), args.end());
  const auto next = static_cast<WrittenId>(nodes_.size());
  const auto [place, is_new] = known_.try_emplace(std::move(key), next);
  if (!is_new) return place->second;
  nodes_.push_back({meaning, args_.size(),
                    static_cast<std::uint32_t>(args.size()), intern(text),
                    kind});
  args_.insert(args_.end(), args.begin(), args.end());
  return next;
}

WrittenId WrittenTerms::leaf(const Term* meaning) {
  if (meaning->kind != Kind::kNumber) {
    return make(WrittenKind::kLeaf, print_term(meaning), {}, meaning);
  }
  const QNumber& value = meaning->number();
  if (value.sign() < 0) {
    return apply("-", {leaf(store_.make_number(-value, meaning->sort))},
                 meaning);
  }
  const std::string decimal = decimal_text(value);
  if (!decimal.empty() && !value.is_integer()) {
    return make(WrittenKind::kLeaf, decimal, {}, meaning);
  }
  if (!value.is_integer()) {
    const std::string text = value.to_str();
    const std::size_t slash = text.find('/');
    const auto part = [&](const std::string& digits) {
      return leaf(
          store_.make_number(*QNumber::from_string(digits), Sort::kReal));
    };
    return apply("/",
                 {part(text.substr(0, slash)), part(text.substr(slash + 1))},
                 meaning);
  }
  return make(WrittenKind::kLeaf, print_term(meaning), {}, meaning);
}

WrittenId WrittenTerms::as_sort(WrittenId term, const Term* meaning) {
  const bool is_number =
      (num_args(term) == 0 || (num_args(term) == 1 && text(term) == "-" &&
                               num_args(arg(term, 0)) == 0)) &&
      this->meaning(term)->kind == Kind::kNumber;
  const bool differs =
      this->meaning(term)->sort == Sort::kInt && meaning->sort == Sort::kReal;
  return is_number && differs ? leaf(meaning) : term;
}

WrittenId WrittenTerms::apply(std::string_view function,
                              const std::vector<WrittenId>& args,
                              const Term* meaning) {
  return make(kind_of(function), function, args, meaning);
}

std::vector<WrittenId> WrittenTerms::args(WrittenId term) const {
  const auto first =
      args_.begin() + static_cast<std::ptrdiff_t>(nodes_[term].first_arg);
  return {first, first + nodes_[term].num_args};
}

}  // namespace vorn::solver
