#pragma once

#include <cstddef>

namespace sqxer::test {

/// Whether allocations are counted. Not under the address sanitizer: it checks that new and delete
/// match only as long as they are its own.
#if defined(__SANITIZE_ADDRESS__)
inline constexpr bool kCountsAllocations = false;
#else
inline constexpr bool kCountsAllocations = true;
#endif

/// Blocks that this program, its libraries included, has taken from operator new so far; 0 when
/// they are not counted.
std::size_t AllocationCount();

}  // namespace sqxer::test
