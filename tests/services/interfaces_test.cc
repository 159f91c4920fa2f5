// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "vorn/services/configuration.h"
#include "vorn/services/linear_term_mapper.h"
#include "vorn/services/logger.h"
#include "vorn/services/term.h"
#include "vorn/services/term_manager.h"

// The surface that hosts implement or fill in: signatures and layouts.

namespace vorn {
namespace {

using LaConfig = Configuration::Theory::La;

static_assert(std::is_same_v<decltype(LaConfig::dl_tlemma_kinds), int>);
static_assert(std::is_same_v<decltype(LaConfig::dl_tlemma_min_overlap), float>);
static_assert(std::is_same_v<decltype(LaConfig::dl_dedup_tlemmas), bool>);
static_assert(offsetof(LaConfig, dl_tlemma_kinds) + sizeof(int) ==
              offsetof(LaConfig, dl_tlemma_min_overlap));
static_assert(offsetof(LaConfig, dl_tlemma_min_overlap) + sizeof(float) ==
              offsetof(LaConfig, dl_dedup_tlemmas));

static_assert(std::is_same_v<decltype(Term_::id), std::uint64_t>);
static_assert(offsetof(Term_, id) == 0);
// Literals keep their sign in the lowest bit of an address.
static_assert(alignof(Term_) >= 2);

static_assert(std::is_same_v<decltype(loglevel::level), int>);
static_assert(sizeof(loglevel) == sizeof(int));
static_assert(std::is_empty_v<EndLog>);
static_assert(std::is_same_v<decltype(endlog), const EndLog>);

using Binary = const Term_* (TermManager::*)(const Term_*, const Term_*);
static_assert(std::is_same_v<decltype(&TermManager::make_number),
                             const Term_* (TermManager::*)(const QNumber&)>);
static_assert(std::is_same_v<decltype(&TermManager::make_plus), Binary>);
static_assert(std::is_same_v<decltype(&TermManager::make_leq), Binary>);
static_assert(std::is_same_v<decltype(&TermManager::make_or), Binary>);
static_assert(std::is_same_v<decltype(&TermManager::make_not),
                             const Term_* (TermManager::*)(const Term_*)>);
static_assert(std::is_abstract_v<TermManager>);
static_assert(std::has_virtual_destructor_v<TermManager>);

using la::LinearTermMapper;
static_assert(std::is_same_v<decltype(&LinearTermMapper::term),
                             const Term_* (LinearTermMapper::*)(int) const>);
static_assert(std::is_same_v<decltype(&LinearTermMapper::constraint_to_lit),
                             const Term_* (LinearTermMapper::*)(int)>);
static_assert(std::is_abstract_v<LinearTermMapper>);
static_assert(std::has_virtual_destructor_v<LinearTermMapper>);

// A host that sets nothing gets no lemma search, which could run for ever.
TEST(ConfigurationTest, DefaultsSwitchLemmasOff) {
  const LaConfig config;
  EXPECT_EQ(config.dl_tlemma_kinds, 0);
  EXPECT_EQ(config.dl_tlemma_min_overlap, 0.5F);
  EXPECT_FALSE(config.dl_dedup_tlemmas);
}

}  // namespace
}  // namespace vorn
