#include "CharacterSearch.h"

#include <cstring>
#include <cwchar>
#include <experimental/simd>

namespace sqxer {

namespace {

using Block = std::experimental::native_simd<wchar_t>;
constexpr std::ptrdiff_t kBlock = Block::size();

Block Load(const wchar_t* at) { return Block(at, std::experimental::element_aligned); }

}  // namespace

const wchar_t* FindCharacters(const wchar_t* from, const wchar_t* to, const wchar_t* wanted,
                              std::size_t length) {
  const auto starts = to - from - static_cast<std::ptrdiff_t>(length) + 1;
  if (starts <= 0) return nullptr;
  if (length == 1) return std::wmemchr(from, *wanted, static_cast<std::size_t>(starts));

  // A place is looked at only when both its first and its last character fit: two are far rarer
  // than one, and a block of places is tested at once.
  const std::size_t last = length - 1;
  const auto inRange = [&](const wchar_t* at, const wchar_t* end) -> const wchar_t* {
    for (; at < end; ++at) {
      if (*at == *wanted && at[last] == wanted[last] &&
          std::wmemcmp(at + 1, wanted + 1, last - 1) == 0) {
        return at;
      }
    }
    return nullptr;
  };
  const wchar_t* const end = from + starts;
  if (starts < kBlock) return inRange(from, end);

  const Block firstWanted(*wanted);
  const Block lastWanted(wanted[last]);
  const auto inBlock = [&](const wchar_t* at) -> const wchar_t* {
    const auto fits = Load(at) == firstWanted && Load(at + last) == lastWanted;
    if (std::experimental::none_of(fits)) return nullptr;
    return inRange(at + std::experimental::find_first_set(fits), at + kBlock);
  };
  for (; end - from >= kBlock; from += kBlock) {
    if (const wchar_t* found = inBlock(from)) return found;
  }
  // The rest together with places that are known not to match.
  return from == end ? nullptr : inBlock(end - kBlock);
}

const uint8* FindCharacters(const uint8* from, const uint8* to, const uint8* wanted,
                            std::size_t length) {
  using Bytes = std::experimental::fixed_size_simd<uint8, 32>;
  const auto load = [](const uint8* at) { return Bytes(at, std::experimental::element_aligned); };
  const std::size_t last = length - 1;
  const uint8* const end = to - last;
  const Bytes firstWanted(*wanted);
  const Bytes lastWanted(wanted[last]);
  // As above; texts are short, so what lies beyond is read and not looked at.
  for (; from < end; from += Bytes::size()) {
    auto fits = load(from) == firstWanted && load(from + last) == lastWanted;
    while (std::experimental::any_of(fits)) {
      const int place = std::experimental::find_first_set(fits);
      if (from + place >= end) return nullptr;
      if (last < 2 || std::memcmp(from + place + 1, wanted + 1, last - 1) == 0) {
        return from + place;
      }
      fits[static_cast<std::size_t>(place)] = false;
    }
  }
  return nullptr;
}

}  // namespace sqxer
