#include "Utility/XeMemory.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <mutex>
#include <new>
#include <string>

#include "Utility/StatementBudget.h"

namespace sqxer {

namespace {

std::atomic<std::size_t> bytesInUse{0};
std::atomic<std::size_t> blocksInUse{0};
thread_local std::size_t bytesOfThread = 0;

/// What stands before every block. A multiple of 16 bytes, so that the block keeps malloc's
/// alignment.
struct alignas(16) BlockHeader {
  std::size_t bytes;
  /// What it counts with; null for none.
  StatementBudget* budget;
#ifdef XE_TRACK_MEMORY
  std::source_location where;
  BlockHeader* previous;
  BlockHeader* next;
#endif
};
static_assert(sizeof(BlockHeader) % alignof(std::max_align_t) == 0);

#ifdef XE_TRACK_MEMORY
/// The blocks in use as a list, oldest first.
class LiveBlocks {
 public:
  void Add(BlockHeader* block) {
    const std::lock_guard lock(mutex_);
    block->previous = last_;
    block->next = nullptr;
    (last_ ? last_->next : first_) = block;
    last_ = block;
  }
  void Remove(BlockHeader* block) {
    const std::lock_guard lock(mutex_);
    (block->previous ? block->previous->next : first_) = block->next;
    (block->next ? block->next->previous : last_) = block->previous;
  }
  void Print(StreamPrinter& out) {
    const std::lock_guard lock(mutex_);
    for (const BlockHeader* block = first_; block != nullptr; block = block->next) {
      const std::string line = std::string(block->where.file_name()) + ':' +
                               std::to_string(block->where.line()) + ": " +
                               std::to_string(block->bytes) + " bytes";
      out.Print(line.c_str());
    }
  }

 private:
  std::mutex mutex_;
  BlockHeader* first_ = nullptr;
  BlockHeader* last_ = nullptr;
};

// Blocks may be returned by destructors of static objects, so the list is never destroyed.
LiveBlocks& GetLiveBlocks() {
  static LiveBlocks* const blocks = new LiveBlocks;
  return *blocks;
}
#endif

}  // namespace

void* MemoryGateway::Allocate(std::size_t bytes, [[maybe_unused]] std::source_location where) {
  if (bytes > SIZE_MAX - sizeof(BlockHeader)) throw std::bad_alloc();
  StatementBudget* const budget = StatementBudget::CountBlock(bytes);
  void* const room = std::malloc(sizeof(BlockHeader) + bytes);
  if (room == nullptr) {
    if (budget != nullptr) budget->GiveBack(bytes);
    throw std::bad_alloc();
  }
  auto* const header = new (room) BlockHeader{};
  header->bytes = bytes;
  header->budget = budget;
#ifdef XE_TRACK_MEMORY
  header->where = where;
  GetLiveBlocks().Add(header);
#endif
  bytesInUse.fetch_add(bytes, std::memory_order_relaxed);
  blocksInUse.fetch_add(1, std::memory_order_relaxed);
  bytesOfThread += bytes;
  return header + 1;
}

void MemoryGateway::Free(void* block) noexcept {
  if (block == nullptr) return;
  BlockHeader* const header = static_cast<BlockHeader*>(block) - 1;
  bytesInUse.fetch_sub(header->bytes, std::memory_order_relaxed);
  blocksInUse.fetch_sub(1, std::memory_order_relaxed);
  bytesOfThread -= header->bytes;
  if (header->budget != nullptr) header->budget->GiveBack(header->bytes);
#ifdef XE_TRACK_MEMORY
  GetLiveBlocks().Remove(header);
#endif
  std::free(header);
}

void MemoryGateway::Claim(std::size_t bytes) {
  void* volatile room = std::malloc(bytes);
  if (room == nullptr) throw std::bad_alloc();
  std::free(room);
}

std::size_t MemoryGateway::BytesInUse() noexcept {
  return bytesInUse.load(std::memory_order_relaxed);
}

std::size_t MemoryGateway::BlocksInUse() noexcept {
  return blocksInUse.load(std::memory_order_relaxed);
}

std::size_t MemoryGateway::BytesOfThread() noexcept { return bytesOfThread; }

void MemoryGateway::PrintLiveBlocks(StreamPrinter& out) {
#ifdef XE_TRACK_MEMORY
  GetLiveBlocks().Print(out);
#endif
  const std::string totals =
      std::to_string(BlocksInUse()) + " blocks in use, " + std::to_string(BytesInUse()) + " bytes";
  out.Print(totals.c_str());
}

}  // namespace sqxer
