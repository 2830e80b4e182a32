#include "CharacterSearch.h"

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

}  // namespace sqxer
