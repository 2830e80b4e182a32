#include "FaultInjector.h"

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <new>

#include "FaultTrace.h"

extern "C" {
void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
void* __libc_memalign(std::size_t, std::size_t);
void __libc_free(void*);
}

namespace sqxer::faults {
namespace {

constexpr const char* kNames[kKinds] = {"memory", "file", "interrupt", "short", "thread"};

std::atomic<int> armed = -1;
std::atomic<long> calls = 0;
std::atomic<long> wanted = 0;
std::atomic<bool> hasFailed = false;
std::atomic<long> blocks = 0;

// Libraries that cannot live without memory: whoever calls them has taken the room that they need
// and given it back the moment before.
constexpr const char* kClaimed[] = {"/libpg_query.so", "/libre2.so"};
struct Code {
  std::uintptr_t begin;
  std::uintptr_t end;
};
Code claimed[std::size(kClaimed)] = {};

int FindClaimed(dl_phdr_info* library, std::size_t, void*) {
  for (std::size_t which = 0; which < std::size(kClaimed); ++which) {
    if (std::strstr(library->dlpi_name, kClaimed[which]) == nullptr) continue;
    for (int i = 0; i < library->dlpi_phnum; ++i) {
      const auto& part = library->dlpi_phdr[i];
      if (part.p_type != PT_LOAD || (part.p_flags & PF_X) == 0) continue;
      claimed[which].begin = library->dlpi_addr + part.p_vaddr;
      claimed[which].end = claimed[which].begin + part.p_memsz;
    }
  }
  return 0;
}

bool IsClaimed(void* caller) {
  const auto from = reinterpret_cast<std::uintptr_t>(caller);
  return std::ranges::any_of(
      claimed, [from](const Code& code) { return from >= code.begin && from < code.end; });
}

/// Whether this call is to fail. `caller`: of the function that fails.
bool Fails(Kind kind, void* caller) {
  if (armed.load(std::memory_order_relaxed) != static_cast<int>(kind)) return false;
  if (IsClaimed(caller)) return false;
  if (++calls != wanted) return false;
  hasFailed = true;
  trace::PrintCallers();
  return true;
}

void* Taken(void* block) {
  if (block == nullptr) return block;
  ++blocks;
  trace::NoteTaken(block);
  return block;
}

void Given(void* block) {
  if (block == nullptr) return;
  --blocks;
  trace::NoteGiven(block);
}

/// The function of that name behind this library's.
template <class Function>
Function* Next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

int Failed(int error) {
  errno = error;
  return -1;
}

/// How many bytes a call that reads or writes may do; 0 when it is interrupted.
std::size_t Allowed(std::size_t size) {
  if (Fails(Kind::kInterrupt, nullptr)) return 0;
  return Fails(Kind::kShort, nullptr) && size > 1 ? 1 : size;
}

/// A call that transfers bytes.
template <class Call>
ssize_t Transfer(std::size_t size, int error, Call&& call) {
  if (Fails(Kind::kFile, nullptr)) return Failed(error);
  if (size == 0) return call(size);
  const std::size_t allowed = Allowed(size);
  return allowed == 0 ? Failed(EINTR) : call(allowed);
}

/// The mode of a call of open that has one.
mode_t ModeOf(int flags, va_list& rest) {
  const bool hasMode = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
  return hasMode ? va_arg(rest, mode_t) : 0;
}

}  // namespace

const char* NameOf(Kind kind) { return kNames[static_cast<int>(kind)]; }

void Arm(Kind kind, long number) {
  if (claimed[0].begin == 0) dl_iterate_phdr(&FindClaimed, nullptr);
  calls = 0;
  wanted = number;
  hasFailed = false;
  armed = static_cast<int>(kind);
}

Told Disarm() {
  armed = -1;
  return {calls, hasFailed};
}

long CountBlocks() { return blocks; }

namespace {

using Main = int (*)(int, char**, char**);
Main realMain = nullptr;

/// Does what the environment asks for, as long as main runs.
int WatchedMain(int count, char** arguments, char** environment) {
  const char* const fault = std::getenv("SQXER_FAULT");
  if (fault == nullptr) return realMain(count, arguments, environment);
  const char* const colon = std::strchr(fault, ':');
  for (int kind = 0; kind < kKinds && colon != nullptr; ++kind) {
    if (std::strncmp(fault, kNames[kind], static_cast<std::size_t>(colon - fault)) != 0) continue;
    if (std::getenv("SQXER_FAULT_TRACE") != nullptr) Trace();
    Arm(static_cast<Kind>(kind), std::atol(colon + 1));
  }
  const int status = realMain(count, arguments, environment);
  const Told told = Disarm();
  if (const char* const path = std::getenv("SQXER_FAULT_COUNT")) {
    if (std::FILE* const file = std::fopen(path, "w")) {
      std::fprintf(file, "%ld\n", told.calls);
      std::fclose(file);
    }
  }
  return status;
}

}  // namespace
}  // namespace sqxer::faults

using namespace sqxer::faults;

// With their callers, which malloc would not see.

SQXER_FAULTS_API void* operator new(std::size_t size) {
  if (Fails(Kind::kMemory, __builtin_return_address(0))) throw std::bad_alloc();
  void* const block = Taken(__libc_malloc(size));
  return block != nullptr ? block : throw std::bad_alloc();
}

SQXER_FAULTS_API void* operator new[](std::size_t size) {
  if (Fails(Kind::kMemory, __builtin_return_address(0))) throw std::bad_alloc();
  void* const block = Taken(__libc_malloc(size));
  return block != nullptr ? block : throw std::bad_alloc();
}

// Only the reader of JSON takes memory so, and does not look whether it has got it; its room is
// claimed before, too.
SQXER_FAULTS_API void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return Taken(__libc_malloc(size));
}

SQXER_FAULTS_API void operator delete(void* block) noexcept { std::free(block); }
SQXER_FAULTS_API void operator delete(void* block, std::size_t) noexcept { std::free(block); }
SQXER_FAULTS_API void operator delete[](void* block) noexcept { std::free(block); }
SQXER_FAULTS_API void operator delete[](void* block, std::size_t) noexcept { std::free(block); }

extern "C" {

SQXER_FAULTS_API void* malloc(std::size_t size) {
  if (Fails(Kind::kMemory, __builtin_return_address(0))) return errno = ENOMEM, nullptr;
  return Taken(__libc_malloc(size));
}

SQXER_FAULTS_API void* calloc(std::size_t count, std::size_t size) {
  if (Fails(Kind::kMemory, __builtin_return_address(0))) return errno = ENOMEM, nullptr;
  return Taken(__libc_calloc(count, size));
}

SQXER_FAULTS_API void* realloc(void* block, std::size_t size) {
  if (block != nullptr && size == 0) {
    Given(block);
    return __libc_realloc(block, size);
  }
  if (Fails(Kind::kMemory, __builtin_return_address(0))) return errno = ENOMEM, nullptr;
  void* const moved = __libc_realloc(block, size);
  if (moved != nullptr) {
    Given(block);
    Taken(moved);
  }
  return moved;
}

SQXER_FAULTS_API void* memalign(std::size_t alignment, std::size_t size) {
  if (Fails(Kind::kMemory, __builtin_return_address(0))) return errno = ENOMEM, nullptr;
  return Taken(__libc_memalign(alignment, size));
}

SQXER_FAULTS_API void* aligned_alloc(std::size_t alignment, std::size_t size) {
  return memalign(alignment, size);
}

SQXER_FAULTS_API int posix_memalign(void** out, std::size_t alignment, std::size_t size) {
  void* const block = memalign(alignment, size);
  if (block == nullptr) return ENOMEM;
  *out = block;
  return 0;
}

SQXER_FAULTS_API char* strndup(const char* text, std::size_t most) {
  if (Fails(Kind::kMemory, __builtin_return_address(0))) return errno = ENOMEM, nullptr;
  const std::size_t size = strnlen(text, most);
  auto* const copy = static_cast<char*>(Taken(__libc_malloc(size + 1)));
  if (copy == nullptr) return nullptr;
  std::memcpy(copy, text, size);
  copy[size] = '\0';
  return copy;
}

SQXER_FAULTS_API char* strdup(const char* text) {
  if (Fails(Kind::kMemory, __builtin_return_address(0))) return errno = ENOMEM, nullptr;
  const std::size_t size = std::strlen(text) + 1;
  void* const copy = Taken(__libc_malloc(size));
  return copy == nullptr ? nullptr : static_cast<char*>(std::memcpy(copy, text, size));
}

SQXER_FAULTS_API void free(void* block) {
  Given(block);
  __libc_free(block);
}

SQXER_FAULTS_API void* mmap(void* at, std::size_t size, int access, int flags, int file,
                            off_t offset) {
  static auto* const next = Next<void*(void*, std::size_t, int, int, int, off_t)>("mmap");
  if (Fails(file < 0 ? Kind::kMemory : Kind::kFile, __builtin_return_address(0)))
    return errno = ENOMEM, MAP_FAILED;
  return next(at, size, access, flags, file, offset);
}

SQXER_FAULTS_API void* mmap64(void* at, std::size_t size, int access, int flags, int file,
                              off_t offset) {
  return mmap(at, size, access, flags, file, offset);
}

SQXER_FAULTS_API int open(const char* path, int flags, ...) {
  static auto* const next = Next<int(const char*, int, ...)>("open");
  va_list rest;
  va_start(rest, flags);
  const mode_t mode = ModeOf(flags, rest);
  va_end(rest);
  return Fails(Kind::kFile, __builtin_return_address(0)) ? Failed(EMFILE) : next(path, flags, mode);
}

SQXER_FAULTS_API int open64(const char* path, int flags, ...) {
  va_list rest;
  va_start(rest, flags);
  const mode_t mode = ModeOf(flags, rest);
  va_end(rest);
  return open(path, flags, mode);
}

SQXER_FAULTS_API int openat(int folder, const char* path, int flags, ...) {
  static auto* const next = Next<int(int, const char*, int, ...)>("openat");
  va_list rest;
  va_start(rest, flags);
  const mode_t mode = ModeOf(flags, rest);
  va_end(rest);
  return Fails(Kind::kFile, __builtin_return_address(0)) ? Failed(EMFILE)
                                                         : next(folder, path, flags, mode);
}

SQXER_FAULTS_API int mkostemp(char* name, int flags) {
  static auto* const next = Next<int(char*, int)>("mkostemp");
  return Fails(Kind::kFile, __builtin_return_address(0)) ? Failed(ENOSPC) : next(name, flags);
}

SQXER_FAULTS_API int dup(int file) {
  static auto* const next = Next<int(int)>("dup");
  return Fails(Kind::kFile, __builtin_return_address(0)) ? Failed(EMFILE) : next(file);
}

SQXER_FAULTS_API std::FILE* fopen(const char* path, const char* mode) {
  static auto* const next = Next<std::FILE*(const char*, const char*)>("fopen");
  if (Fails(Kind::kFile, __builtin_return_address(0))) return errno = EMFILE, nullptr;
  return next(path, mode);
}

SQXER_FAULTS_API DIR* opendir(const char* path) {
  static auto* const next = Next<DIR*(const char*)>("opendir");
  if (Fails(Kind::kFile, __builtin_return_address(0))) return errno = EMFILE, nullptr;
  return next(path);
}

SQXER_FAULTS_API int rename(const char* from, const char* to) {
  static auto* const next = Next<int(const char*, const char*)>("rename");
  return Fails(Kind::kFile, __builtin_return_address(0)) ? Failed(EIO) : next(from, to);
}

SQXER_FAULTS_API ssize_t read(int file, void* out, std::size_t size) {
  static auto* const next = Next<ssize_t(int, void*, std::size_t)>("read");
  return Transfer(size, EIO, [&](std::size_t allowed) { return next(file, out, allowed); });
}

SQXER_FAULTS_API ssize_t pread(int file, void* out, std::size_t size, off_t at) {
  static auto* const next = Next<ssize_t(int, void*, std::size_t, off_t)>("pread");
  return Transfer(size, EIO, [&](std::size_t allowed) { return next(file, out, allowed, at); });
}

SQXER_FAULTS_API ssize_t pread64(int file, void* out, std::size_t size, off_t at) {
  return pread(file, out, size, at);
}

SQXER_FAULTS_API ssize_t write(int file, const void* bytes, std::size_t size) {
  static auto* const next = Next<ssize_t(int, const void*, std::size_t)>("write");
  return Transfer(size, ENOSPC, [&](std::size_t allowed) { return next(file, bytes, allowed); });
}

SQXER_FAULTS_API ssize_t pwrite(int file, const void* bytes, std::size_t size, off_t at) {
  static auto* const next = Next<ssize_t(int, const void*, std::size_t, off_t)>("pwrite");
  return Transfer(size, ENOSPC,
                  [&](std::size_t allowed) { return next(file, bytes, allowed, at); });
}

SQXER_FAULTS_API ssize_t pwrite64(int file, const void* bytes, std::size_t size, off_t at) {
  return pwrite(file, bytes, size, at);
}

SQXER_FAULTS_API int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                                    void* (*run)(void*), void* argument) {
  static auto* const next =
      Next<int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*)>("pthread_create");
  return Fails(Kind::kThread, __builtin_return_address(0))
             ? EAGAIN
             : next(thread, attributes, run, argument);
}

SQXER_FAULTS_API int __libc_start_main(Main main, int count, char** arguments, void (*init)(),
                                       void (*fini)(), void (*loaderFini)(), void* stackEnd) {
  static auto* const next =
      Next<int(Main, int, char**, void (*)(), void (*)(), void (*)(), void*)>("__libc_start_main");
  realMain = main;
  return next(&WatchedMain, count, arguments, init, fini, loaderFini, stackEnd);
}
}
