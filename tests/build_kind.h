// SPDX-License-Identifier: MIT
#ifndef VORN_TESTS_BUILD_KIND_H
#define VORN_TESTS_BUILD_KIND_H

// What kind of build the tests are in, for those that make fewer cases where
// each takes longer. The code under test has no part in this.

namespace vorn::test {

/// Under the address or the thread sanitizer: each reserves more address space
/// than any limit, and uses several times the memory and the time.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool kSanitized = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
inline constexpr bool kSanitized = true;
#else
inline constexpr bool kSanitized = false;
#endif
#else
inline constexpr bool kSanitized = false;
#endif

/// The reason to skip a test that limits memory, in such a build.
inline constexpr char kNoMemoryLimit[] =
    "sanitizers reserve more address space than any limit";

/// With assertions.
#if defined(NDEBUG)
inline constexpr bool kAsserts = false;
#else
inline constexpr bool kAsserts = true;
#endif

/// By an optimising compiler.
#if defined(__OPTIMIZE__)
inline constexpr bool kOptimised = true;
#else
inline constexpr bool kOptimised = false;
#endif

/// With the checked standard library. It looks at a whole heap, or a whole
/// sorted range, at each step: what takes linear time elsewhere takes quadratic
/// time.
#if defined(_GLIBCXX_DEBUG)
inline constexpr bool kCheckedLibrary = true;
#else
inline constexpr bool kCheckedLibrary = false;
#endif

}  // namespace vorn::test

#endif  // VORN_TESTS_BUILD_KIND_H
