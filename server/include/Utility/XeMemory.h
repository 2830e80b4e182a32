#pragma once

#include <cstddef>
#include <source_location>

#include "Utility/Export.h"
#include "Utility/StreamPrinter.h"

namespace sqxer {

/// The memory gateway: nodes and work buffers of the expression library come from here, so that the
/// server can account for them. Thread-safe; out of memory throws std::bad_alloc.
class XEUTILITY_API MemoryGateway {
 public:
  /// `where` is recorded with the block in builds with XE_TRACK_MEMORY, and reported by
  /// PrintLiveBlocks. The block is aligned for every fundamental type.
  static void* Allocate(std::size_t bytes, std::source_location where);
  /// Accepts null. `bytes` need not be known.
  static void Free(void* block) noexcept;
  /// Takes so many bytes and returns them at once, without counting them: for a library that does
  /// not live through an exhausted memory, before it is called.
  static void Claim(std::size_t bytes);
  /// Bytes and blocks handed out and not yet returned.
  static std::size_t BytesInUse() noexcept;
  static std::size_t BlocksInUse() noexcept;
  /// What the calling thread has been handed out less what it has returned, whoever took it: the
  /// difference of two of these is what it took between them.
  static std::size_t BytesOfThread() noexcept;
  /// Prints a line for each block in use, oldest first (file, line, bytes), and a line of totals.
  /// Without XE_TRACK_MEMORY the totals alone.
  static void PrintLiveBlocks(StreamPrinter& out);
};

/// Base of every class whose objects come from the memory gateway. `new T` records the place of the
/// new expression.
class XEUTILITY_API XeGatewayObject {
 public:
  static void* operator new(std::size_t bytes,
                            std::source_location where = std::source_location::current()) {
    return MemoryGateway::Allocate(bytes, where);
  }
  static void* operator new(std::size_t, void* place) noexcept { return place; }
  static void operator delete(void* block) noexcept { MemoryGateway::Free(block); }
  static void operator delete(void* block, std::source_location) noexcept {
    MemoryGateway::Free(block);
  }
};

}  // namespace sqxer
