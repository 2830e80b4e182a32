// A pattern of LIKE, SIMILAR TO or a regular expression, and a text. LIKE must find what a plain
// matcher finds, in both forms of the text; the first match of a regular expression lies in it.
#include <array>

#include "Input.h"
#include "Utility/LikePatternMatch.h"
#include "Utility/RegularExpression.h"

namespace {

using namespace sqxer;

/// Blanks at the end of neither count. One row of the table of which beginnings match which.
bool Matches(const XeString& pattern, const XeString& text, wchar_t escape) {
  std::vector<bool> reach(text.size() + 1);
  reach[0] = true;
  for (std::size_t p = 0; p < pattern.size(); ++p) {
    std::vector<bool> next(text.size() + 1);
    const bool isEscaped = escape != 0 && pattern[p] == escape;
    if (isEscaped) ++p;
    const wchar_t c = pattern[p];
    for (std::size_t t = 0; t <= text.size(); ++t) {
      if (!isEscaped && c == L'%') {
        next[t] = reach[t] || (t > 0 && next[t - 1]);
      } else {
        next[t] = t > 0 && reach[t - 1] && ((!isEscaped && c == L'_') || c == text[t - 1]);
      }
    }
    reach = next;
  }
  return reach.back();
}

void TryLike(const XeString& pattern, XeString text, wchar_t escape) {
  LikePatternMatch match;
  match.SetMetaPattern(pattern.c_str(), escape);
  const bool expected = Matches(pattern, text, escape);
  const RefLongVarChar reference{static_cast<uint32>(text.size()), text.data()};
  const bool found = match == reference;
  if (found != expected) {
    std::fprintf(stderr, "LIKE is %d\n", found);
    std::abort();
  }
  std::string bytes;
  for (const wchar_t c : text) {
    if (c > 255) return;
    bytes += static_cast<char>(c);
  }
  if (!match.TakesBytes()) return;
  bytes.append(64, '?');
  const auto* const first = reinterpret_cast<const uint8*>(bytes.data());
  if (match.MatchesBytes(first, text.size()) != expected) std::abort();
  const auto beginning = match.GetBeginning();
  if (beginning && beginning->Matches(first, text.size()) != expected) std::abort();
  if (!match.LooksInside()) return;
  const uint32 offsets[] = {0, static_cast<uint32>(text.size() / 2),
                            static_cast<uint32>(text.size())};
  uint8 matches[2];
  match.MatchSideBySide(first, offsets, 2, matches);
  for (int i = 0; i < 2; ++i) {
    const XeString part = text.substr(offsets[i], offsets[i + 1] - offsets[i]);
    if ((matches[i] == 1) != Matches(pattern, part, escape)) std::abort();
  }
}

void TryRegular(const XeString& pattern, const std::string& text,
                const RegularExpression::Options& options) {
  const RegularExpression expression(pattern, options);
  const bool isIn = expression.IsIn(text);
  std::array<RegularExpression::Part, 4> parts;
  const bool isFound = expression.Find(text, 0, parts);
  if (isFound != isIn) std::abort();
  for (const auto& part : parts) {
    const bool isNone = part.start == -1 && part.end == -1;
    const bool lies =
        part.start >= 0 && part.start <= part.end && part.end <= static_cast<int64>(text.size());
    if (isFound && !isNone && !lies) std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  fuzz::Input input(data, size);
  const unsigned how = input.Byte();
  const XeString pattern = fuzz::Characters(input.Line());
  const XeString text = fuzz::Characters(input.Rest());
  const wchar_t escape = how / 4 % 2 == 0 ? 0 : L'\\';
  try {
    switch (how % 4) {
      case 0:
      case 1:
        TryLike(pattern, text, escape);
        break;
      case 2: {
        RegularExpression::Options options;
        options.ignoresCase = how / 8 % 2 == 1;
        options.seesLines = how / 16 % 2 == 1;
        options.anchorsAtLines = how / 32 % 2 == 1;
        options.isExpanded = how / 64 % 2 == 1;
        options.isPlain = how / 128 % 2 == 1;
        TryRegular(pattern, BaseStringUtil::StringToUtf8(text), options);
        break;
      }
      case 3:
        TryRegular(RegularExpression::OfSimilarTo(pattern, escape),
                   BaseStringUtil::StringToUtf8(text), {});
        break;
    }
  } catch (const ErrorMessage&) {
    // No pattern.
  }
  return 0;
}
