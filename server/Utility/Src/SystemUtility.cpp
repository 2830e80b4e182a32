#include "Utility/SystemUtility.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <random>
#include <string_view>

#include "Utility/XeAssert.h"

namespace sqxer {

namespace {

constexpr uint32 kLatin1CodePage = 28591;
constexpr wchar_t kLatin1End = 256;

/// Each thread has its own sequence, so that a seed set by one query does not reach another's.
uint64& RandomState() {
  thread_local uint64 state = std::random_device()();
  return state;
}

void CheckCodePage(uint32 codePage) {
  if (codePage != kLatin1CodePage) XeLogicError("a code page other than the server's");
}

}  // namespace

int32 SystemUtility::XeRand_to_rand_r() {
  // A counter of odd step, scrambled (splitmix64), so that neighbouring seeds give unlike numbers.
  uint64 mixed = RandomState() += 0x9E3779B97F4A7C15;
  mixed = (mixed ^ mixed >> 30) * 0xBF58476D1CE4E5B9;
  mixed = (mixed ^ mixed >> 27) * 0x94D049BB133111EB;
  return static_cast<int32>((mixed ^ mixed >> 31) >> 33);
}

void SystemUtility::SetSeedValue(int32 seed) { RandomState() = static_cast<uint32>(seed); }

std::size_t SystemUtility::ReadEnvironmentNumber(const char* name, std::size_t otherwise) {
  const char* const text = std::getenv(name);
  const std::string_view digits = text == nullptr ? "" : text;
  std::size_t number = 0;
  const auto [end, error] = std::from_chars(digits.begin(), digits.end(), number);
  return end == digits.end() && error == std::errc() && number != 0 ? number : otherwise;
}

int SystemUtility::KeepOffStandardStreams(int file) {
  if (file < 0 || file > STDERR_FILENO) return file;
  const int away = fcntl(file, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  const int error = errno;
  close(file);
  errno = error;
  return away;
}

uint32 SystemUtility::GetMultiByteCodePage() { return kLatin1CodePage; }

uint32 SystemUtility::WideCharToMultiByte(uint32 codePage, const wchar_t* text, uint32 count,
                                          char* out, uint32 room) {
  CheckCodePage(codePage);
  const uint32 written = std::min(count, room);
  std::transform(text, text + written, out, [](wchar_t c) {
    return c >= 0 && c < kLatin1End ? static_cast<char>(static_cast<uint8>(c)) : '?';
  });
  return written;
}

uint32 SystemUtility::MultiByteToWideChar(uint32 codePage, const char* codes, uint32 count,
                                          wchar_t* out, uint32 room) {
  CheckCodePage(codePage);
  const uint32 written = std::min(count, room);
  std::transform(codes, codes + written, out,
                 [](char code) { return static_cast<wchar_t>(static_cast<uint8>(code)); });
  return written;
}

}  // namespace sqxer
