#pragma once

// Whether the program is built with a sanitizer that has an allocator of its own. g++ says so by
// macros, clang by features.
#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define SQXER_ADDRESS_SANITIZER 1
#endif
#if __has_feature(thread_sanitizer)
#define SQXER_THREAD_SANITIZER 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__)
#define SQXER_ADDRESS_SANITIZER 1
#endif
#if defined(__SANITIZE_THREAD__)
#define SQXER_THREAD_SANITIZER 1
#endif

namespace sqxer::test {

/// How many of some random cases a test runs: with a sanitizer, under which they take ten times as
/// long, a third. The same build without it has run all of them.
constexpr int ShareOfCases(int cases) {
#if defined(SQXER_ADDRESS_SANITIZER) || defined(SQXER_THREAD_SANITIZER)
  return cases / 3;
#else
  return cases;
#endif
}

}  // namespace sqxer::test
