#include "Utility/LikePatternMatch.h"

#include <algorithm>
#include <cstring>
#include <cwchar>

#include "CharacterSearch.h"
#include "Utility/BaseStringUtil.h"
#include "Utility/ErrorMessage.h"
#include "Utility/Settings.h"

namespace sqxer {
namespace {

bool AreEqual(const wchar_t* a, const wchar_t* b, std::size_t length) {
  return std::wmemcmp(a, b, length) == 0;
}
bool AreEqual(const uint8* a, const uint8* b, std::size_t length) {
  return std::memcmp(a, b, length) == 0;
}

}  // namespace

LikePatternMatch::LikePatternMatch() { UseCurrentSettings(); }

void LikePatternMatch::UseCurrentSettings() {
  foldsCase_ = !Settings::Current()->GetSwitches().caseSensitiveCompare_;
  metaPattern_.clear();
  escape_ = 0;
  Compile();
  isCompiled_ = true;
}

void LikePatternMatch::SetMetaPattern(const wchar_t* pattern, wchar_t escape) {
  // The address proves nothing: a column brings other patterns at the same one.
  if (isCompiled_ && escape == escape_ && std::wcscmp(pattern, metaPattern_.c_str()) == 0) return;
  isCompiled_ = false;
  metaPattern_ = pattern;
  escape_ = escape;
  Compile();
  isCompiled_ = true;
}

void LikePatternMatch::Compile() {
  characters_.clear();
  runs_.clear();
  segments_.assign(1, Segment());
  for (const wchar_t* c = metaPattern_.c_str(); *c != 0; ++c) {
    if (*c == escape_) {
      if (*++c == 0) SUGThrow(ErrorMessage(59025));
      AppendPlain(*c);
    } else if (*c == L'%') {
      // A `%` behind another one adds nothing.
      if (segments_.size() > 1 && segments_.back().length == 0) continue;
      segments_.push_back({runs_.size(), runs_.size(), runs_.size(), 0});
    } else if (*c == L'_') {
      ++segments_.back().length;
    } else {
      AppendPlain(*c);
    }
  }
  isOfBytes_ = std::ranges::all_of(characters_, [](wchar_t c) { return c < 0x100; });
  bytes_.assign(characters_.begin(), characters_.end());
  shortestText_ = 0;
  for (const Segment& segment : segments_) shortestText_ += segment.length;
}

void LikePatternMatch::AppendPlain(wchar_t c) {
  Segment& segment = segments_.back();
  const bool continues = segment.endRun > segment.firstRun &&
                         runs_.back().offset + runs_.back().length == segment.length;
  if (!continues) {
    runs_.push_back({segment.length, characters_.size(), 0});
    ++segment.endRun;
  }
  characters_.push_back(foldsCase_ ? BaseStringUtil::FoldCase(c) : c);
  ++runs_.back().length;
  ++segment.length;
  if (runs_.back().length > runs_[segment.longestRun].length) {
    segment.longestRun = runs_.size() - 1;
  }
}

template <class Character>
bool LikePatternMatch::MatchesAt(const Segment& segment, const Character* start) const {
  for (std::size_t i = segment.firstRun; i < segment.endRun; ++i) {
    const Run& run = runs_[i];
    if (!AreEqual(start + run.offset, CharactersOf(run, start), run.length)) {
      return false;
    }
  }
  return true;
}

template <class Character>
const Character* LikePatternMatch::Find(const Segment& segment, const Character* from,
                                        const Character* to) const {
  if (static_cast<std::size_t>(to - from) < segment.length) return nullptr;
  if (segment.firstRun == segment.endRun) return from;
  const Run& run = runs_[segment.longestRun];
  const bool isWhole = segment.endRun - segment.firstRun == 1;
  const Character* const runTo = to - (segment.length - run.offset - run.length);
  const Character* at = from + run.offset;
  while ((at = FindCharacters(at, runTo, CharactersOf(run, at), run.length)) != nullptr) {
    if (isWhole || MatchesAt(segment, at - run.offset)) return at - run.offset;
    ++at;
  }
  return nullptr;
}

template <class Character>
bool LikePatternMatch::Matches(const Character* begin, const Character* end) const {
  const Segment& head = segments_.front();
  if (segments_.size() == 1) {
    return static_cast<std::size_t>(end - begin) == head.length && MatchesAt(head, begin);
  }
  const Segment& tail = segments_.back();
  if (!MatchesAt(head, begin) || !MatchesAt(tail, end - tail.length)) return false;
  begin += head.length;
  end -= tail.length;
  for (std::size_t i = 1; i + 1 < segments_.size(); ++i) {
    begin = Find(segments_[i], begin, end);
    if (begin == nullptr) return false;
    begin += segments_[i].length;
  }
  return true;
}

bool LikePatternMatch::operator==(const RefLongVarChar& text) const {
  if (text.length_ < shortestText_) return false;
  const wchar_t* const begin = foldsCase_ ? Fold(text) : text.buffer_;
  return Matches(begin, begin + text.length_);
}

bool LikePatternMatch::MatchesBytes(const uint8* text, std::size_t length) const {
  return length >= shortestText_ && Matches(text, text + length);
}

std::optional<LikePatternMatch::Beginning> LikePatternMatch::GetBeginning() const {
  if (!TakesBytes() || segments_.size() != 2 || segments_[1].length != 0) return std::nullopt;
  const Segment& segment = segments_.front();
  if (segment.endRun != segment.firstRun + 1) return std::nullopt;
  const Run& run = runs_[segment.firstRun];
  if (run.length != segment.length || run.length > sizeof(uint64)) return std::nullopt;
  Beginning beginning{0, 0, static_cast<uint32>(run.length)};
  std::memcpy(&beginning.bytes, bytes_.data() + run.begin, run.length);
  std::memset(&beginning.mask, 0xFF, run.length);
  return beginning;
}

template <class Offset>
void LikePatternMatch::MatchSideBySide(const uint8* characters, const Offset* offsets, uint32 count,
                                       uint8* matches) const {
  const Segment& wanted = segments_[1];
  std::fill_n(matches, count, uint8{0});
  const uint8* at = characters + offsets[0];
  const uint8* const end = characters + offsets[count];
  uint32 text = 0;
  while ((at = Find(wanted, at, end)) != nullptr) {
    const auto place = static_cast<std::size_t>(at - characters);
    while (offsets[text + 1] <= place) ++text;
    if (place + wanted.length <= offsets[text + 1]) {
      matches[text] = 1;
      at = characters + offsets[text + 1];
    } else {
      // It is one that begins in a text and ends in another.
      ++at;
    }
  }
}

template XEUTILITY_API void LikePatternMatch::MatchSideBySide(const uint8*, const uint32*, uint32,
                                                              uint8*) const;
template XEUTILITY_API void LikePatternMatch::MatchSideBySide(const uint8*, const uint64*, uint32,
                                                              uint8*) const;

const wchar_t* LikePatternMatch::Fold(const RefLongVarChar& text) const {
  foldedText_.Reserve(text.length_);
  wchar_t* const folded = foldedText_.data();
  // Plain English in one pass without a branch; whatever else there is shows in the bits seen.
  uint32 seen = 0;
  for (uint32 i = 0; i < text.length_; ++i) {
    const auto c = static_cast<uint32>(text.buffer_[i]);
    seen |= c;
    folded[i] = static_cast<wchar_t>(c - L'A' < 26 ? c + 32 : c);
  }
  if (seen >= 0x80) {
    for (uint32 i = 0; i < text.length_; ++i) {
      folded[i] = BaseStringUtil::FoldCase(text.buffer_[i]);
    }
  }
  return folded;
}

}  // namespace sqxer
