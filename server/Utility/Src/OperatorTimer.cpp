#include "Utility/OperatorTimer.h"

namespace sqxer {

namespace {

thread_local uint64 spilledBytesOfThread = 0;

}  // namespace

void OperatorTimer::AddSpilledBytes(uint64 bytes) {
  spilledBytes_ += bytes;
  spilledBytesOfThread += bytes;
}

uint64 OperatorTimer::GetSpilledBytesOfThread() { return spilledBytesOfThread; }

}  // namespace sqxer
