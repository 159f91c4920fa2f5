// SPDX-License-Identifier: MIT
#include "vorn/numbers/d_number.h"

#include <cstddef>
#include <cstdint>
#include <ios>
#include <ostream>
#include <sstream>
#include <string>
#include <utility>

#include "vorn/numbers/block_pool.h"

// Delta-rationals after Dutertre and de Moura, "A Fast Linear-Arithmetic Solver
// for DPLL(T)" (2006): strict bounds become weak ones over Q x Q, ordered
// lexicographically.

namespace vorn::la {

// Constant-initialised: there is no moment at which another static object's
// constructor could see it unset. The count of 2 makes every addition to a
// zero take the copying path.
DNumber::num_repr DNumber::zero(0, 0, 2);

void* DNumber::num_repr::operator new(std::size_t size) {
  return block_pool.take(size);
}

void DNumber::num_repr::operator delete(void* block) noexcept {
  block_pool.give(block);
}

std::size_t DNumber::num_kept_blocks() noexcept {
  return block_pool.num_kept();
}

void DNumber::free_block(num_repr* block) noexcept {
  delete block;
}

DNumber::num_repr* DNumber::sum_block(const num_repr& a, const num_repr& b) {
  QNumber e(a.eps);
  e += b.eps;
  QNumber r(a.rational);
  r += b.rational;
  return new num_repr(std::move(r), std::move(e));
}

DNumber::num_repr* DNumber::word_block(std::int64_t rational,
                                       std::int64_t eps) {
  return new num_repr(QNumber::from_word(rational), QNumber::from_word(eps));
}

bool DNumber::lower_slow(DNumber& target, const DNumber& a, const DNumber& b) {
  if (!sum_less(a, b, target)) return false;
  target = a + b;
  return true;
}

DNumber& DNumber::operator+=(const DNumber& other) {
  if (is_tagged()) return *this;
  if (other.is_tagged()) return *this = other;
  num_repr* mine = repr();
  const num_repr* theirs = other.repr();
  if (mine->refcount <= 1) {
    mine->rational += theirs->rational;
    mine->eps += theirs->eps;
    return *this;
  }
  // The other owners keep `mine` alive after this share is gone, also when
  // `other` is this very value.
  if (mine != &zero) --mine->refcount;
  repr_ = word(&zero);
  repr_ = word(sum_block(*mine, *theirs));
  return *this;
}

DNumber operator+(const DNumber& a, const DNumber& b) {
  if (a.is_tagged()) return a;
  if (b.is_tagged()) return b;
  DNumber result;
  result.repr_ = DNumber::word(DNumber::sum_block(*a.repr(), *b.repr()));
  return result;
}

bool DNumber::mixed_less(const DNumber& a, const DNumber& b) {
  return b.is_tagged() ? b.rational().sign() != 0 : a.rational().sign() == 0;
}

bool DNumber::sum_less_tagged(const DNumber& a, const DNumber& b,
                              const DNumber& c) {
  return a + b < c;
}

std::ostream& operator<<(std::ostream& out, const DNumber& d) {
  if (d.is_tagged()) return out << (d.rational().sign() == 0 ? "-inf" : "inf");
  out << d.rational();
  const int sign = d.eps().sign();
  if (sign == 0) return out;
  const QNumber size = sign < 0 ? -d.eps() : d.eps();
  out << (sign < 0 ? " - " : " + ");
  if (!(size == QNumber(1))) out << size << "*";
  return out << "eps";
}

std::string DNumber::to_str() const {
  std::ostringstream out;
  // Or running out of memory would cut the text short.
  out.exceptions(std::ios_base::badbit);
  out << *this;
  return out.str();
}

}  // namespace vorn::la
