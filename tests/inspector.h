// SPDX-License-Identifier: MIT
#ifndef VORN_TESTS_INSPECTOR_H
#define VORN_TESTS_INSPECTOR_H

#include <cstddef>
#include <cstdint>
#include <utility>

#include "vorn/containers/hashtable.h"
#include "vorn/containers/var_map.h"
#include "vorn/dl/graph.h"
#include "vorn/dl/node.h"
#include "vorn/numbers/d_number.h"
#include "vorn/numbers/q_number.h"
#include "vorn/services/logger.h"

namespace vorn {

/// The tests' way to private members: the library's classes name this type as
/// a friend and never define it.
///
/// A data member `name_` is read and written through `Inspector::name(object)`,
/// which returns a reference to it (a const one for a const object), so that
/// its declared type and its place in the object can be tested too. A private
/// operation is called as `Inspector::name(object, arguments...)`.
struct Inspector {
  /// Where a member stands in its object, in bytes.
  static std::ptrdiff_t offset_in(const void* object, const void* member) {
    return static_cast<const char*>(member) - static_cast<const char*>(object);
  }

  // QNumber.

  /// The big form's block. Complete with "vorn/numbers/big_repr.h".
  using BigRepr = QNumber::big_repr;

  template <class Q>
  static auto& num(Q& q) {
    return q.num_;
  }
  template <class Q>
  static auto& den(Q& q) {
    return q.den_;
  }
  static bool is_big(const QNumber& q) { return q.den_ == 0; }
  /// Address of a big value's block. Requires: is_big(q).
  static BigRepr* big_block(const QNumber& q) {
    return reinterpret_cast<BigRepr*>(static_cast<std::uintptr_t>(q.num_));
  }

  // la::DNumber.

  template <class D>
  static auto& repr(D& d) {
    return d.repr_;
  }
  /// The block that a value points at, tagged or not.
  static la::DNumber::num_repr* block(const la::DNumber& d) {
    return reinterpret_cast<la::DNumber::num_repr*>(d.repr_ &
                                                    ~std::uintptr_t{1});
  }
  static std::int32_t refcount(const la::DNumber& d) {
    return block(d)->refcount;
  }
  /// Free blocks that the calling thread keeps for reuse.
  static std::size_t num_kept_blocks() {
    return la::DNumber::num_kept_blocks();
  }

  // la::VarMap and its iterator.

  template <class M>
  static auto& values(M& map) {
    return map.values_;
  }
  template <class M>
  static auto& present(M& map) {
    return map.present_;
  }
  template <class M>
  static auto& num_keys(M& map) {
    return map.num_keys_;
  }
  template <class I>
  static auto& map(I& it) {
    return it.map_;
  }
  template <class I>
  static auto& flags(I& it) {
    return it.flags_;
  }
  template <class I>
  static auto& pos(I& it) {
    return it.pos_;
  }
  template <class I>
  static auto& cur(I& it) {
    return it.cur_;
  }
  template <class I>
  static auto& cur_valid(I& it) {
    return it.cur_valid_;
  }

  // hsh::Hashtable.

  template <class H>
  static auto& chunk_size(H& table) {
    return table.chunk_size_;
  }
  template <class H>
  static auto& chunk_growth(H& table) {
    return table.chunk_growth_;
  }
  template <class H>
  static auto& max_chunk_size(H& table) {
    return table.max_chunk_size_;
  }
  template <class H>
  static auto& chunks(H& table) {
    return table.chunks_;
  }
  template <class H>
  static auto& free_list(H& table) {
    return table.free_list_;
  }
  template <class H>
  static auto& get_key(H& table) {
    return table.get_key_;
  }
  template <class H>
  static auto& hash(H& table) {
    return table.hash_;
  }
  template <class H>
  static auto& equal(H& table) {
    return table.equal_;
  }
  template <class H>
  static auto& buckets(H& table) {
    return table.buckets_;
  }
  template <class H>
  static auto& size(H& table) {
    return table.size_;
  }
  template <class H>
  static std::size_t num_chunks(const H& table) {
    std::size_t count = 0;
    for (const auto* chunk = table.chunks_; chunk != nullptr;
         chunk = chunk->older) {
      ++count;
    }
    return count;
  }
  template <class H>
  static std::size_t num_free(const H& table) {
    std::size_t count = 0;
    for (const auto* node = table.free_list_; node != nullptr;
         node = node->next) {
      ++count;
    }
    return count;
  }

  // Logger.

  template <class L>
  static auto& verbosity(L& logger) {
    return logger.verbosity_;
  }
  template <class L>
  static auto& msg_level(L& logger) {
    return logger.msg_level_;
  }
  template <class L>
  static auto& out(L& logger) {
    return logger.out_;
  }
  template <class L>
  static auto& switched_off(L& logger) {
    return logger.switched_off_;
  }
  template <class L>
  static auto& suppressed(L& logger) {
    return logger.suppressed_;
  }
  template <class L>
  static auto& line_start(L& logger) {
    return logger.line_start_;
  }

  // dl::Node.

  template <class N>
  static auto& pushed(N& node) {
    return node.pushed_;
  }
  template <class N>
  static auto& notified(N& node) {
    return node.notified_;
  }
  template <class N>
  static auto& pred_edge(N& node) {
    return node.pred_edge_;
  }

  // dl::Graph: members.

  template <class G>
  static auto& pending(G& graph) {
    return graph.pending_;
  }
  template <class G>
  static auto& edges(G& graph) {
    return graph.edges_;
  }
  template <class G>
  static auto& nodes(G& graph) {
    return graph.nodes_;
  }
  template <class G>
  static auto& cur_beta(G& graph) {
    return graph.cur_beta_;
  }
  template <class G>
  static auto& saved_beta(G& graph) {
    return graph.saved_beta_;
  }
  template <class G>
  static auto& reserved_list(G& graph) {
    return graph.reserved_list_;
  }
  template <class G>
  static auto& cur_conflict(G& graph) {
    return graph.cur_conflict_;
  }
  template <class G>
  static auto& prev_conflict(G& graph) {
    return graph.prev_conflict_;
  }
  template <class G>
  static auto& conflict_out(G& graph) {
    return graph.conflict_out_;
  }
  template <class G>
  static auto& lemmas(G& graph) {
    return graph.lemmas_;
  }
  template <class G>
  static auto& learnt_lemmas(G& graph) {
    return graph.learnt_lemmas_;
  }
  template <class G>
  static auto& config(G& graph) {
    return graph.config_;
  }
  template <class G>
  static auto& mapper(G& graph) {
    return graph.mapper_;
  }
  template <class G>
  static auto& mgr(G& graph) {
    return graph.mgr_;
  }
  template <class G>
  static auto& logger(G& graph) {
    return graph.logger_;
  }
  template <class G>
  static auto& loglevel(G& graph) {
    return graph.loglevel_;
  }
  template <class G>
  static auto& num_conflicts(G& graph) {
    return graph.num_conflicts_;
  }
  template <class G>
  static auto& num_tlemma_searches(G& graph) {
    return graph.num_tlemma_searches_;
  }
  template <class G>
  static auto& num_short_tlemmas(G& graph) {
    return graph.num_short_tlemmas_;
  }
  template <class G>
  static auto& num_long_tlemmas(G& graph) {
    return graph.num_long_tlemmas_;
  }
  template <class G>
  static auto& num_dup_short_tlemmas(G& graph) {
    return graph.num_dup_short_tlemmas_;
  }
  template <class G>
  static auto& num_dup_long_tlemmas(G& graph) {
    return graph.num_dup_long_tlemmas_;
  }

  // dl::Graph: types and operations.

  using NodePairs = la::VarMap<std::pair<int, int>, true, true>;
  using LearntLemmas = dl::Graph::LearntLemmas;

  template <class... Args>
  static decltype(auto) do_tell_edge(dl::Graph& graph, Args&&... args) {
    return graph.do_tell_edge(std::forward<Args>(args)...);
  }
  template <class... Args>
  static decltype(auto) do_check_edge(dl::Graph& graph, Args&&... args) {
    return graph.do_check_edge(std::forward<Args>(args)...);
  }
  template <class... Args>
  static decltype(auto) do_pop_edge(dl::Graph& graph, Args&&... args) {
    return graph.do_pop_edge(std::forward<Args>(args)...);
  }
  template <class... Args>
  static decltype(auto) do_retract_edge(dl::Graph& graph, Args&&... args) {
    return graph.do_retract_edge(std::forward<Args>(args)...);
  }
  template <class... Args>
  static decltype(auto) do_synch_conflicts(dl::Graph& graph, Args&&... args) {
    return graph.do_synch_conflicts(std::forward<Args>(args)...);
  }
  template <class... Args>
  static decltype(auto) do_search_lemmas(dl::Graph& graph, Args&&... args) {
    return graph.do_search_lemmas(std::forward<Args>(args)...);
  }
  template <class... Args>
  static decltype(auto) do_make_edge_term(dl::Graph& graph, Args&&... args) {
    return graph.do_make_edge_term(std::forward<Args>(args)...);
  }
  template <class... Args>
  static decltype(auto) do_make_not_and_constraints(dl::Graph& graph,
                                                    Args&&... args) {
    return graph.do_make_not_and_constraints(std::forward<Args>(args)...);
  }
  template <class... Args>
  static decltype(auto) do_learn_short_interpolant_lemmas(dl::Graph& graph,
                                                          Args&&... args) {
    return graph.do_learn_short_interpolant_lemmas(std::forward<Args>(args)...);
  }
  template <class... Args>
  static decltype(auto) do_learn_long_interpolant_lemmas(dl::Graph& graph,
                                                         Args&&... args) {
    return graph.do_learn_long_interpolant_lemmas(std::forward<Args>(args)...);
  }
};

}  // namespace vorn

#endif  // VORN_TESTS_INSPECTOR_H
