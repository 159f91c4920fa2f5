// SPDX-License-Identifier: MIT
#include <gmpxx.h>
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "tests/inspector.h"
#include "tests/numbers/allocation_hooks.h"
#include "tests/numbers/blocks_in_use.h"
#include "tests/numbers/reference.h"
#include "vorn/numbers/d_number.h"

// A crowd of delta-rationals under random operations, next to a model that
// knows which of them share which block.

namespace vorn::la {
namespace {

using test::Draw;
using test::holds;

// What a value's word points at.
struct ModelBlock {
  mpq_class rational;
  mpq_class eps;
};

struct ModelValue {
  std::shared_ptr<ModelBlock> block;
  bool tagged = false;
};

mpq_class model_key(const ModelValue& v) {
  // Tagged values are drawn with rational parts 0 and 3 only.
  if (!v.tagged) return 0;
  return sgn(v.block->rational) == 0 ? -1 : 1;
}

bool model_less(const ModelValue& a, const ModelValue& b) {
  if (a.tagged == b.tagged) {
    if (a.block == b.block) return false;
    if (a.block->rational != b.block->rational) {
      return a.block->rational < b.block->rational;
    }
    return a.block->eps < b.block->eps;
  }
  return model_key(a) < model_key(b);
}

std::string model_text(const ModelValue& v) {
  if (v.tagged) return sgn(v.block->rational) == 0 ? "-inf" : "inf";
  std::string text = v.block->rational.get_str();
  if (sgn(v.block->eps) == 0) return text;
  text += sgn(v.block->eps) < 0 ? " - " : " + ";
  const mpq_class size = abs(v.block->eps);
  return text + (size == 1 ? "" : size.get_str() + "*") + "eps";
}

class Crowd {
 public:
  explicit Crowd(std::uint64_t seed) : draw_(seed) {
    for (ModelValue& m : model_) m.block = zero_;
    top_.block = std::make_shared<ModelBlock>(ModelBlock{3, 0});
    bottom_.block = std::make_shared<ModelBlock>(ModelBlock{0, 0});
    top_.tagged = bottom_.tagged = true;
  }

  void step() {
    const std::size_t i = draw_.below(kSize);
    const std::size_t j = draw_.below(kSize);
    switch (draw_.below(13)) {
      case 0:
        values_[i].emplace();
        model_[i] = {zero_, false};
        break;
      case 1: {
        const int r = static_cast<int>(draw_.below(5)) - 2;
        const int e = static_cast<int>(draw_.below(5)) - 2;
        *values_[i] = DNumber(r, e);
        model_[i] = fresh(r, e);
        break;
      }
      case 2: {
        const mpq_class r = draw_.value();
        const mpq_class e = draw_.value();
        values_[i].emplace(draw_.in_some_form(r), draw_.in_some_form(e));
        model_[i] = fresh(r, e);
        break;
      }
      case 3:
      case 4:
        // A sole owner must not be assigned to itself.
        if (i == j) break;
        *values_[i] = *values_[j];
        model_[i] = model_[j];
        break;
      case 5:
        if (i == j) break;
        *values_[i] = std::move(*values_[j]);
        model_[i] = model_[j];
        model_[j] = {zero_, false};
        break;
      case 6: {
        const bool top = draw_.flip();
        *values_[i] = DNumber::tagged(top ? kTop : kBottom);
        model_[i] = top ? top_ : bottom_;
        break;
      }
      case 7:
        *values_[i] = *values_[j] + *values_[i];
        model_[i] = model_sum(model_[j], model_[i]);
        break;
      case 8:
        // In place by a copy that lives only for this.
        *values_[i] += DNumber(*values_[j]);
        model_add(i, copy_held_by_temporary(j));
        break;
      case 9: {
        const std::size_t k = draw_.below(kSize);
        const ModelValue sum = model_sum(model_[j], model_[k]);
        const bool less = model_less(sum, model_[i]);
        EXPECT_EQ(DNumber::lower(*values_[i], *values_[j], *values_[k]), less);
        if (less) model_[i] = sum;
        break;
      }
      default:
        *values_[i] += *values_[j];
        model_add(i, model_[j]);
        break;
    }
  }

  void check() {
    for (std::size_t i = 0; i < kSize; ++i) {
      const DNumber& d = *values_[i];
      const ModelValue& m = model_[i];
      ASSERT_EQ(d.is_tagged(), m.tagged) << "value " << i;
      ASSERT_TRUE(holds(d.rational(), m.block->rational)) << "value " << i;
      ASSERT_TRUE(holds(d.eps(), m.block->eps)) << "value " << i;
      ASSERT_EQ(Inspector::block(d) == &DNumber::zero,
                !m.tagged && m.block == zero_)
          << "value " << i;
      if (!m.tagged && m.block != zero_) {
        ASSERT_EQ(Inspector::refcount(d), shares(m)) << "value " << i;
      }
    }
    EXPECT_EQ(DNumber::zero.refcount, 2);
    EXPECT_TRUE(holds(DNumber::zero.rational, 0));
    EXPECT_TRUE(holds(DNumber::zero.eps, 0));
    EXPECT_EQ(kTop.refcount, 1);
    EXPECT_EQ(kBottom.refcount, 1);

    const std::size_t i = draw_.below(kSize);
    const std::size_t j = draw_.below(kSize);
    const std::size_t k = draw_.below(kSize);
    EXPECT_EQ(Inspector::repr(*values_[i]) == Inspector::repr(*values_[j]),
              model_[i].block == model_[j].block &&
                  model_[i].tagged == model_[j].tagged);
    EXPECT_EQ(*values_[i] < *values_[j], model_less(model_[i], model_[j]));
    EXPECT_EQ(DNumber::sum_less(*values_[i], *values_[j], *values_[k]),
              model_less(model_sum(model_[i], model_[j]), model_[k]));
    EXPECT_EQ(values_[i]->to_str(), model_text(model_[i]));
  }

 private:
  static constexpr std::size_t kSize = 6;
  static const DNumber::num_repr kTop;
  static const DNumber::num_repr kBottom;

  static ModelValue fresh(const mpq_class& r, const mpq_class& e) {
    return {std::make_shared<ModelBlock>(ModelBlock{r, e}), false};
  }
  static ModelValue model_sum(const ModelValue& a, const ModelValue& b) {
    if (a.tagged) return a;
    if (b.tagged) return b;
    return fresh(a.block->rational + b.block->rational,
                 a.block->eps + b.block->eps);
  }
  int shares(const ModelValue& m) const {
    int n = 0;
    for (const ModelValue& other : model_) {
      if (!other.tagged && other.block == m.block) ++n;
    }
    return n;
  }
  // A temporary copy of value j's share makes a sole owner share its block.
  ModelValue copy_held_by_temporary(std::size_t j) {
    held_ = true;
    return model_[j];
  }
  void model_add(std::size_t i, const ModelValue& other) {
    const bool extra = held_ && other.block == model_[i].block;
    held_ = false;
    ModelValue& mine = model_[i];
    if (mine.tagged) return;
    if (other.tagged) {
      mine = other;
      return;
    }
    const ModelValue sum = model_sum(mine, other);
    if (mine.block != zero_ && shares(mine) + (extra ? 1 : 0) <= 1) {
      *mine.block = *sum.block;
    } else {
      mine = sum;
    }
  }

  Draw draw_;
  std::array<std::optional<DNumber>, kSize> values_ = {
      DNumber(), DNumber(), DNumber(), DNumber(), DNumber(), DNumber()};
  std::array<ModelValue, kSize> model_;
  const std::shared_ptr<ModelBlock> zero_ =
      std::make_shared<ModelBlock>(ModelBlock{0, 0});
  ModelValue top_;
  ModelValue bottom_;
  bool held_ = false;
};

const DNumber::num_repr Crowd::kTop(3, 0, 1);
const DNumber::num_repr Crowd::kBottom(0, 0, 1);

class DNumberRandomTest : public ::testing::TestWithParam<std::uint64_t> {};

// A wrong count frees a potential that is in use, or never frees it.
TEST_P(DNumberRandomTest, CrowdAgreesWithModelAfterEveryStep) {
  // What lives for the whole program is made before the blocks are counted:
  // the huge number, and GoogleTest's list of traces.
  (void)test::huge();
  SCOPED_TRACE(::testing::Message() << "seed " << GetParam());
  const std::ptrdiff_t live = test::blocks_in_use();
  {
    Crowd crowd(GetParam());
    for (int step = 0; step < 2500 && !HasFailure(); ++step) {
      SCOPED_TRACE(::testing::Message() << "step " << step);
      crowd.step();
      crowd.check();
    }
  }
  if (!HasFailure()) {
    EXPECT_EQ(test::blocks_in_use(), live);
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, DNumberRandomTest,
                         ::testing::Range(std::uint64_t{1}, std::uint64_t{9}));

}  // namespace
}  // namespace vorn::la
