#pragma once

#include <cstddef>
#include <new>
#include <system_error>

#include "Utility/Export.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// What the server asks of the system below it: random numbers, settings of the environment, and
/// texts of one byte a character.
class XEUTILITY_API SystemUtility {
 public:
  /// The next random number of this thread, evenly from 0 to 2147483647. A thread that has set no
  /// seed starts from one of the system's.
  static int32 XeRand_to_rand_r();
  /// Restarts this thread's numbers: equal seeds give equal numbers, on every machine.
  static void SetSeedValue(int32 seed);

  /// The number above 0 that an environment variable holds in decimal digits; `otherwise` where it
  /// is not set or holds anything else.
  static std::size_t ReadEnvironmentNumber(const char* name, std::size_t otherwise);

  /// The file of a descriptor just opened, away from standard input, output and error (0 to 2): a
  /// process that was started with one of those closed would write its texts into the file. The
  /// same descriptor or a new one, the old one then closed; below 0, as the call before it failed,
  /// where there is none.
  static int KeepOffStandardStreams(int file);

  /// What a call of the file system says of exhausted memory is std::bad_alloc, as elsewhere.
  static void ThrowIfOutOfMemory(const std::error_code& error) {
    if (error == std::errc::not_enough_memory) throw std::bad_alloc();
  }

  /// The code page of texts of one byte a character: 28591, ISO 8859-1, whose codes are the first
  /// 256 code points.
  static uint32 GetMultiByteCodePage();
  /// Writes the codes of characters, '?' for one that the code page has not, and returns how many:
  /// `count`, or `room` when that is less. Any other code page is a broken invariant, here and
  /// below.
  static uint32 WideCharToMultiByte(uint32 codePage, const wchar_t* text, uint32 count, char* out,
                                    uint32 room);
  /// The way back.
  static uint32 MultiByteToWideChar(uint32 codePage, const char* codes, uint32 count, wchar_t* out,
                                    uint32 room);
};

}  // namespace sqxer
