#pragma once

#include <cstddef>

#define SQXER_FAULTS_API __attribute__((visibility("default")))

/// Makes calls of the C library fail, one at a time. The library that has these functions stands
/// before the C library, linked or loaded, and its calls are counted and handed on.
///
/// A program that is not linked with it is told by the environment: SQXER_FAULT=KIND:N lets the
/// N-th call of a kind fail from the start of main on, and SQXER_FAULT=KIND:0 none; when it ends,
/// it writes the number of its calls into the file of the name SQXER_FAULT_COUNT, if there is one.
namespace sqxer::faults {

enum class Kind {
  /// Memory: malloc and its kin, and with them operator new; mapped memory.
  kMemory,
  /// A file that cannot be opened, read, mapped, renamed, or has no room.
  kFile,
  /// A signal during a call that reads or writes: EINTR.
  kInterrupt,
  /// A call that reads or writes one byte of those asked for.
  kShort,
  /// A thread that cannot be started.
  kThread,
};
constexpr int kKinds = 5;

/// "memory".
SQXER_FAULTS_API const char* NameOf(Kind kind);

/// From now on calls of that kind are counted, and that of the number fails, once; 0 for none.
SQXER_FAULTS_API void Arm(Kind kind, long number);
struct Told {
  long calls;
  bool hasFailed;
};
/// Nothing fails any more.
SQXER_FAULTS_API Told Disarm();

/// Blocks of memory that have been taken and not been given back, those of all libraries.
SQXER_FAULTS_API long CountBlocks();

/// Prints where the call that fails is made from. Where blocks are taken from now on is kept, if
/// there are not too many of them.
SQXER_FAULTS_API void Trace();
/// Forgets the blocks that there are.
SQXER_FAULTS_API void ForgetBlocks();
/// Prints where the blocks were taken that are left.
SQXER_FAULTS_API void PrintBlocks();

}  // namespace sqxer::faults
