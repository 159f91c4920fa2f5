// SPDX-License-Identifier: MIT
#include "solver/smtlib/term_record.h"

#include <cassert>
#include <limits>
#include <new>
#include <utility>

namespace vorn::solver {

TermRecord::TermRecord() {
  nodes_.push_back({nullptr, 0, NodeKind::kLeaf, Operator::kNone});
}

RecordId TermRecord::add(NodeKind kind, Operator op, const Term* meaning) {
  constexpr std::size_t kMost = std::numeric_limits<std::uint32_t>::max();
  if (nodes_.size() >= kMost || args_.size() >= kMost) throw std::bad_alloc();
  const auto id = static_cast<RecordId>(nodes_.size());
  nodes_.push_back(
      {meaning, static_cast<std::uint32_t>(args_.size()), kind, op});
  return id;
}

void TermRecord::add_arguments(const PlacedTerm* arguments, std::size_t count) {
  for (std::size_t k = 0; k < count; ++k) {
    args_.push_back(arguments[k].written);
  }
}

RecordId TermRecord::leaf(const Term* meaning) {
  return add(NodeKind::kLeaf, Operator::kNone, meaning);
}

RecordId TermRecord::apply(Operator op, const PlacedTerm* arguments,
                           std::size_t count, const Term* meaning) {
  const auto is_made_real = [&](const PlacedTerm& argument) {
    return argument.term->sort == Sort::kReal &&
           nodes_[argument.written].meaning->sort != Sort::kReal;
  };
  const auto first = static_cast<RecordId>(nodes_.size());
  for (std::size_t k = 0; k < count; ++k) {
    if (!is_made_real(arguments[k])) continue;
    add(NodeKind::kReal, Operator::kNone, arguments[k].term);
    args_.push_back(arguments[k].written);
  }
  RecordId next_real = first;
  const RecordId id = add(NodeKind::kApply, op, meaning);
  if (id == first) {
    add_arguments(arguments, count);
    return id;
  }
  for (std::size_t k = 0; k < count; ++k) {
    args_.push_back(is_made_real(arguments[k]) ? next_real++
                                               : arguments[k].written);
  }
  return id;
}

RecordId TermRecord::define(const std::vector<const Term*>& parameters,
                            RecordId body) {
  const auto first = static_cast<RecordId>(nodes_.size());
  for (const Term* parameter : parameters) leaf(parameter);
  const RecordId id = add(NodeKind::kDefinition, Operator::kNone, nullptr);
  for (RecordId parameter = first; parameter < id; ++parameter) {
    args_.push_back(parameter);
  }
  args_.push_back(body);
  return id;
}

RecordId TermRecord::expand(RecordId definition, const PlacedTerm* arguments,
                            std::size_t count, const Term* meaning) {
  const RecordId id = add(NodeKind::kExpansion, Operator::kNone, meaning);
  args_.push_back(definition);
  add_arguments(arguments, count);
  return id;
}

WrittenId RecordReader::read(RecordId id) {
  using NodeKind = TermRecord::NodeKind;
  pending_.push_back(id);
  while (!pending_.empty()) {
    const RecordId top = pending_.back();
    if (results_.count(top) != 0) {
      pending_.pop_back();
    } else if (!push_missing(top)) {
      if (record_.nodes_[top].kind == NodeKind::kExpansion) {
        expand(top);
      } else {
        results_.emplace(top, result_of(top));
        pending_.pop_back();
      }
    }
  }
  return results_.at(id).written;
}

bool RecordReader::push_missing(RecordId id) {
  using NodeKind = TermRecord::NodeKind;
  const NodeKind kind = record_.nodes_[id].kind;
  assert(kind != NodeKind::kDefinition);
  const std::size_t begin = kind == NodeKind::kExpansion ? 1 : 0;
  const std::size_t end =
      kind == NodeKind::kExpanded ? 1 : record_.num_args(id);
  const std::size_t height = pending_.size();
  for (std::size_t k = end; k-- > begin;) {
    if (results_.count(record_.arg(id, k)) != 0) continue;
    pending_.push_back(record_.arg(id, k));
  }
  return pending_.size() > height;
}

RecordReader::Result RecordReader::result_of(RecordId id) {
  using NodeKind = TermRecord::NodeKind;
  const TermRecord::Node& node = record_.nodes_[id];
  if (node.kind == NodeKind::kLeaf) {
    return {node.meaning, terms_.leaf(node.meaning)};
  }
  const Result first = results_.at(record_.arg(id, 0));
  if (node.kind == NodeKind::kExpanded) return first;
  if (node.kind == NodeKind::kReal) {
    return {node.meaning, terms_.as_sort(first.written, node.meaning)};
  }
  std::vector<WrittenId> args;
  std::vector<PlacedTerm> placed;
  for (std::size_t k = 0; k < record_.num_args(id); ++k) {
    const Result& argument = results_.at(record_.arg(id, k));
    args.push_back(argument.written);
    placed.push_back({argument.meaning, {}});
  }
  const Term* meaning = node.meaning;
  if (meaning == nullptr) {
    ScriptError error;
    meaning = builder_.apply(node.op, {}, placed.data(), placed.size(), error);
    assert(meaning != nullptr);
  }
  return {meaning, terms_.apply(operator_name(node.op), args, meaning)};
}

// Equal uses share a copy, so that definitions by definitions that are used
// more than once take no more than their terms.
void RecordReader::expand(RecordId id) {
  std::vector<std::uint32_t> key{record_.arg(id, 0)};
  for (std::size_t k = 1; k < record_.num_args(id); ++k) {
    key.push_back(results_.at(record_.arg(id, k)).written);
  }
  const auto [place, is_new] = copies_.try_emplace(std::move(key), 0);
  if (is_new) place->second = copy_body(id);
  record_.args_[record_.nodes_[id].first_arg] = place->second;
  record_.nodes_[id].kind = TermRecord::NodeKind::kExpanded;
}

// The body with arguments in place of its parameters. What its terms mean is
// found when they are read, for it takes what their arguments are written of.
RecordId RecordReader::copy_body(RecordId use) {
  using NodeKind = TermRecord::NodeKind;
  const RecordId definition = record_.arg(use, 0);
  const std::size_t count = record_.num_args(use) - 1;
  std::unordered_map<const Term*, RecordId> replacements;
  for (std::size_t k = 0; k < count; ++k) {
    const RecordId parameter = record_.arg(definition, k);
    replacements.emplace(record_.nodes_[parameter].meaning,
                         record_.arg(use, k + 1));
  }
  std::unordered_map<RecordId, RecordId> done;
  const RecordId body = record_.arg(definition, count);
  std::vector<RecordId> pending{body};
  while (!pending.empty()) {
    const RecordId top = pending.back();
    const TermRecord::Node node = record_.nodes_[top];
    if (done.count(top) != 0 || node.kind == NodeKind::kDefinition) {
      done.emplace(top, top);
      pending.pop_back();
      continue;
    }
    if (node.kind == NodeKind::kLeaf) {
      const auto found = replacements.find(node.meaning);
      done.emplace(top, found == replacements.end() ? top : found->second);
      pending.pop_back();
      continue;
    }
    const std::size_t num_args =
        node.kind == NodeKind::kExpanded ? 1 : record_.num_args(top);
    bool is_missing = false;
    bool is_same = true;
    for (std::size_t k = 0; k < num_args; ++k) {
      const auto found = done.find(record_.arg(top, k));
      if (found == done.end()) {
        pending.push_back(record_.arg(top, k));
        is_missing = true;
      } else {
        is_same = is_same && found->second == found->first;
      }
    }
    if (is_missing) continue;
    pending.pop_back();
    if (is_same) {
      done.emplace(top, top);
    } else if (node.kind == NodeKind::kReal) {
      done.emplace(top, done.at(record_.arg(top, 0)));
    } else {
      const RecordId copy = record_.add(node.kind, node.op, nullptr);
      for (std::size_t k = 0; k < num_args; ++k) {
        record_.args_.push_back(done.at(record_.arg(top, k)));
      }
      done.emplace(top, copy);
    }
  }
  return done.at(body);
}

}  // namespace vorn::solver
