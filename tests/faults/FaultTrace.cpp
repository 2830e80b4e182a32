#include "FaultTrace.h"

#include <execinfo.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "FaultInjector.h"

namespace sqxer::faults {
namespace {

constexpr int kFrames = 24;
constexpr std::size_t kEntries = std::size_t{1} << 18;
/// The callers of each block, found by its address.
struct Entry {
  std::atomic<void*> block;
  void* frames[kFrames];
  int count;
};
Entry* entries = nullptr;
/// What a trace takes itself is none of it.
thread_local bool isTracing = false;

std::size_t PlaceOf(const void* block) { return reinterpret_cast<std::uintptr_t>(block) / 16; }

void PrintHere(const char* what) {
  isTracing = true;
  void* frames[2 * kFrames];
  dprintf(STDERR_FILENO, "%s:\n", what);
  backtrace_symbols_fd(frames, backtrace(frames, 2 * kFrames), STDERR_FILENO);
  isTracing = false;
}

/// Where a process that is traced ends.
void OnEnd(int number) {
  PrintHere("signal that ends it comes at");
  _exit(128 + number);
}

}  // namespace

namespace trace {

void NoteTaken(void* block) {
  if (entries == nullptr || isTracing) return;
  isTracing = true;
  for (std::size_t i = PlaceOf(block);; ++i) {
    Entry& entry = entries[i % kEntries];
    void* none = nullptr;
    if (!entry.block.compare_exchange_strong(none, block)) continue;
    entry.count = backtrace(entry.frames, kFrames);
    break;
  }
  isTracing = false;
}

void NoteGiven(void* block) {
  if (entries == nullptr) return;
  // Places that were given back do not end a search, so that it ends late for blocks of before.
  constexpr std::size_t kMostPlaces = 4096;
  for (std::size_t i = PlaceOf(block), end = i + kMostPlaces; i < end; ++i) {
    void* expected = block;
    if (entries[i % kEntries].block.compare_exchange_strong(expected, nullptr)) return;
  }
}

void PrintCallers() {
  if (entries != nullptr && !isTracing) PrintHere("what fails is called from");
}

}  // namespace trace

void Trace() {
  for (const int number : {SIGSEGV, SIGABRT}) std::signal(number, &OnEnd);
  void* frames[1];
  // What it needs it has from here on.
  backtrace(frames, 1);
  entries = static_cast<Entry*>(::mmap(nullptr, sizeof(Entry) * kEntries, PROT_READ | PROT_WRITE,
                                       MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0));
}

void ForgetBlocks() {
  for (std::size_t i = 0; entries != nullptr && i < kEntries; ++i) entries[i].block = nullptr;
}

void PrintBlocks() {
  if (entries == nullptr) return;
  isTracing = true;
  for (std::size_t i = 0; i < kEntries; ++i) {
    if (entries[i].block.exchange(nullptr) == nullptr) continue;
    dprintf(STDERR_FILENO, "a block that is left was taken from:\n");
    backtrace_symbols_fd(entries[i].frames, entries[i].count, STDERR_FILENO);
  }
  isTracing = false;
}

}  // namespace sqxer::faults
