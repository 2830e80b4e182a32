// Ends a process on a processor that lacks instructions of this build, with a sentence where there
// would be an illegal instruction.
//
// It stands in the lowest library and runs before its other constructors, so before any code of ours
// in any program. It is C and compiled for every processor: an inline function of the C++ library
// that this file shared with others could be linked as they have it.
#if defined(__x86_64__) && __has_include(<sys/platform/x86.h>)

#include <stdio.h>
#include <sys/platform/x86.h>
#include <unistd.h>

extern const int xeProcessorLevel;

// As `sqxer --help` lists it.
enum { kProcessorTooOld = 4 };

// The features that compilers use of each level beyond the one before it.
static int HasLevel2(void) {
  return CPU_FEATURE_ACTIVE(SSSE3) && CPU_FEATURE_ACTIVE(SSE4_1) && CPU_FEATURE_ACTIVE(SSE4_2) &&
         CPU_FEATURE_ACTIVE(POPCNT) && CPU_FEATURE_ACTIVE(CMPXCHG16B);
}

static int HasLevel3(void) {
  return CPU_FEATURE_ACTIVE(AVX) && CPU_FEATURE_ACTIVE(AVX2) && CPU_FEATURE_ACTIVE(BMI1) &&
         CPU_FEATURE_ACTIVE(BMI2) && CPU_FEATURE_ACTIVE(FMA) && CPU_FEATURE_ACTIVE(F16C) &&
         CPU_FEATURE_ACTIVE(LZCNT) && CPU_FEATURE_ACTIVE(MOVBE);
}

static int HasLevel4(void) {
  return CPU_FEATURE_ACTIVE(AVX512F) && CPU_FEATURE_ACTIVE(AVX512BW) &&
         CPU_FEATURE_ACTIVE(AVX512CD) && CPU_FEATURE_ACTIVE(AVX512DQ) &&
         CPU_FEATURE_ACTIVE(AVX512VL);
}

// 101 is the first priority that is not the compiler's own.
__attribute__((constructor(101))) static void CheckProcessor(void) {
  const int level = xeProcessorLevel;
  if ((level < 2 || HasLevel2()) && (level < 3 || HasLevel3()) && (level < 4 || HasLevel4())) {
    return;
  }
  char sentence[200];
  const int length = snprintf(
      sentence, sizeof(sentence),
      "sqxer: this processor lacks instructions of the level x86-64-v%d, for which sqxer was built; "
      "cmake -DSQXER_BASELINE=x86-64 builds it for every processor\n",
      level);
  // With standard error closed there is nobody to tell.
  if (write(STDERR_FILENO, sentence, (size_t)length) != length) _exit(kProcessorTooOld);
  _exit(kProcessorTooOld);
}

#endif
