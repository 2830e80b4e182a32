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
