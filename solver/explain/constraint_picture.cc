// SPDX-License-Identifier: MIT
#include "solver/explain/constraint_picture.h"

#include <string_view>
#include <utility>

#include "solver/engine/atom_normaliser.h"
#include "solver/explain/explanation.h"
#include "solver/explain/stated_bounds.h"
#include "solver/terms/difference_bound.h"
#include "solver/terms/term_printer.h"

namespace vorn::solver {
namespace {

// Longer ones make a drawing unreadable.
constexpr std::size_t kLongestName = 60;

std::string text_of(const Term* term) {
  // Twice as many nodes as fit are not worth writing out.
  return on_one_line(print_term(term, kLongestName), kLongestName);
}

class Painter {
 public:
  std::size_t node(const Term* leaf) {
    const auto [place, is_new] = nodes_.emplace(leaf, picture.nodes.size());
    if (is_new) {
      picture.nodes.push_back(leaf == nullptr ? "0" : text_of(leaf));
    }
    return place->second;
  }

  void add(const DifferenceBound& bound, std::string name, bool active) {
    const std::size_t source = node(bound.source);
    const std::size_t target = node(bound.target);
    picture.edges.push_back(
        {source, target, bound.weight, std::move(name), active, false});
  }

  // Makes the edge for this bound, an active one if possible, part of the
  // cycle.
  void mark(const DifferenceBound& bound) {
    const std::size_t source = node(bound.source);
    const std::size_t target = node(bound.target);
    ConstraintPicture::Edge* best = nullptr;
    for (ConstraintPicture::Edge& edge : picture.edges) {
      const bool same = edge.source == source && edge.target == target &&
                        !(edge.weight < bound.weight) &&
                        !(bound.weight < edge.weight);
      if (!same) continue;
      if (best == nullptr || (edge.active && !best->active)) best = &edge;
    }
    if (best == nullptr) {
      add(bound, bound_text(source, target, bound.weight), false);
      best = &picture.edges.back();
    }
    best->on_cycle = true;
  }

  ConstraintPicture picture;

 private:
  std::string bound_text(std::size_t source, std::size_t target,
                         const la::DNumber& weight) const {
    const char* comparison = weight.eps().sign() < 0 ? "(< " : "(<= ";
    return comparison + ("(- " + picture.nodes[target]) + ' ' +
           picture.nodes[source] + ") " + weight.rational().to_str() + ')';
  }

  std::unordered_map<const Term*, std::size_t> nodes_;
};

std::string name_of(const StatedBound& stated,
                    const std::vector<const Term*>& formulas,
                    const PictureTexts& texts) {
  const Term* written = stated.written;
  const bool negated = written->kind == Kind::kNot;
  const Term* comparison = negated ? written->arg(0) : written;
  std::vector<const Term*> candidates{written, comparison};
  if (stated.outright) candidates.push_back(formulas[stated.formula]);
  for (const Term* candidate : candidates) {
    const auto found = texts.names.find(candidate);
    if (found != texts.names.end()) return print_symbol(found->second);
  }
  const auto found = texts.written.find(comparison);
  if (found == texts.written.end()) return text_of(written);
  return on_one_line(negated ? "(not " + found->second + ')' : found->second,
                     kLongestName);
}

// In a quoted string of DOT. Labels may hold character references, so '&' is
// one, and what is no text becomes a blank: it would make no valid SVG.
std::string quoted(std::string_view text) {
  std::string result = "\"";
  for (const char c : text) {
    switch (c) {
      case '"':
        result += "\\\"";
        break;
      case '\\':
        result += "\\\\";
        break;
      case '&':
        result += "&amp;";
        break;
      case '\n':
        result += "\\n";
        break;
      default:
        result += static_cast<unsigned char>(c) < ' ' || c == '\x7f' ? ' ' : c;
    }
  }
  return result + '"';
}

}  // namespace

ConstraintPicture draw_constraints(TermStore& store, Engine& engine,
                                   Answer answer,
                                   const std::vector<const Term*>& formulas,
                                   const PictureTexts& texts) {
  AtomNormaliser normaliser(store);
  const Statements statements =
      read_statements(store, normaliser, formulas, true);
  const std::vector<std::size_t> cycle = find_negative_cycle(statements.bounds);

  Painter painter;
  painter.picture.active_means =
      answer == Answer::kSat ? "holds in the model found" : "required";
  for (const StatedBound& stated : statements.bounds) {
    const bool active = answer == Answer::kSat
                            ? engine.bool_value(stated.atom) != stated.negated
                            : stated.outright;
    painter.add(stated.bound, name_of(stated, formulas, texts), active);
  }
  // Edges stand at the places of their bounds.
  for (const std::size_t k : cycle) painter.picture.edges[k].on_cycle = true;
  if (cycle.empty()) {
    for (const DifferenceBound& bound : engine.last_cycle()) {
      painter.mark(bound);
    }
  }
  return std::move(painter.picture);
}

void write_dot(const ConstraintPicture& picture, std::ostream& out) {
  out << "digraph vorn {\n"
         "  rankdir=LR;\n"
         "  node [shape=box, style=rounded, fontname=\"sans-serif\"];\n"
         "  edge [fontname=\"sans-serif\", fontsize=11];\n"
         "  fontname=\"sans-serif\";\n"
         "  fontsize=11;\n"
         "  labelloc=b;\n"
         "  label="
      << quoted("x -> y with <= c says y - x <= c. Solid: " +
                picture.active_means +
                ". Dashed: not. Red: the last negative cycle.")
      << ";\n";
  for (std::size_t k = 0; k < picture.nodes.size(); ++k) {
    out << "  n" << k << " [label=" << quoted(picture.nodes[k]) << "];\n";
  }
  for (const ConstraintPicture::Edge& edge : picture.edges) {
    std::string label = edge.weight.eps().sign() < 0 ? "< " : "<= ";
    label += edge.weight.rational().to_str() + '\n' + edge.name;
    out << "  n" << edge.source << " -> n" << edge.target
        << " [label=" << quoted(label)
        << (edge.active ? ", style=solid" : ", style=dashed");
    if (edge.on_cycle) {
      out << ", color=red, fontcolor=red, penwidth=2";
    }
    out << "];\n";
  }
  out << "}\n";
}

}  // namespace vorn::solver
