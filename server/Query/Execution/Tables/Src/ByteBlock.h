#pragma once

#include <bit>
#include <cstring>
#include <string_view>

#ifdef __AVX2__
#include <immintrin.h>
#endif

#include "Utility/XeTypes.h"

namespace sqxer {

/// 64 bytes of text, asked all at once. Bit i of a mask stands for byte i.
class ByteBlock {
 public:
  static constexpr uint32 kBytes = 64;

  /// Reads 64 bytes; no alignment is needed.
  explicit ByteBlock(const char* text);

  /// Which bytes are this one.
  uint64 Find(char byte) const;
  /// Which bytes are above 127.
  uint64 FindNonAscii() const;
  bool HasNul() const;

 private:
#ifdef __AVX2__
  static uint64 Join(__m256i low, __m256i high) {
    return static_cast<uint32>(_mm256_movemask_epi8(low)) |
           static_cast<uint64>(static_cast<uint32>(_mm256_movemask_epi8(high))) << 32;
  }
  __m256i low_;
  __m256i high_;
#else
  template <class Test>
  uint64 Collect(Test&& test) const {
    uint64 mask = 0;
    for (uint32 i = 0; i < kBytes; ++i) mask |= static_cast<uint64>(test(bytes_[i])) << i;
    return mask;
  }
  char bytes_[kBytes];
#endif
};

/// Bit i is set when an odd number of the bits 0 to i is: of the marks that open and close
/// something, the stretches from each opening mark to before its closing one.
inline uint64 PrefixXor(uint64 marks) {
  for (int shift = 1; shift < 64; shift *= 2) marks ^= marks << shift;
  return marks;
}

#ifdef __AVX2__

inline ByteBlock::ByteBlock(const char* text)
    : low_(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(text))),
      high_(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(text + 32))) {}

inline uint64 ByteBlock::Find(char byte) const {
  const __m256i wanted = _mm256_set1_epi8(byte);
  return Join(_mm256_cmpeq_epi8(low_, wanted), _mm256_cmpeq_epi8(high_, wanted));
}

inline uint64 ByteBlock::FindNonAscii() const { return Join(low_, high_); }

inline bool ByteBlock::HasNul() const {
  const __m256i least = _mm256_min_epu8(low_, high_);
  return _mm256_movemask_epi8(_mm256_cmpeq_epi8(least, _mm256_setzero_si256())) != 0;
}

#else

inline ByteBlock::ByteBlock(const char* text) { std::memcpy(bytes_, text, kBytes); }

inline uint64 ByteBlock::Find(char byte) const {
  return Collect([byte](char c) { return c == byte; });
}

inline uint64 ByteBlock::FindNonAscii() const {
  return Collect([](char c) { return (c & 0x80) != 0; });
}

inline bool ByteBlock::HasNul() const { return Find('\0') != 0; }

#endif

inline uint64 CountByte(std::string_view text, char byte) {
  uint64 count = 0;
  std::size_t at = 0;
  for (; at + ByteBlock::kBytes <= text.size(); at += ByteBlock::kBytes) {
    count += static_cast<uint64>(std::popcount(ByteBlock(text.data() + at).Find(byte)));
  }
  for (; at < text.size(); ++at) count += text[at] == byte;
  return count;
}

}  // namespace sqxer
