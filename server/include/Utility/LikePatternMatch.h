#pragma once

#include <cstddef>
#include <cstring>
#include <optional>
#include <vector>

#include "Utility/Export.h"
#include "Utility/XeAutoBuffer.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// Whether a text follows a pattern of LIKE: `%` is any run of characters, also none, `_` is one
/// character, and the escape character makes the next one plain. The whole text must follow, and
/// blanks at its end are characters like others.
///
/// Characters are compared one by one: case folded when the thread's settings at construction
/// ignore case, and by code point also when a locale is configured, because a collation says
/// nothing of parts of texts.
///
/// A match takes time in proportion to the text's length for almost all texts, and never more than
/// that times the length of the pattern, however many `%` it has. It allocates nothing, except that
/// without regard to case it keeps a folded copy of the longest text so far. Used by one thread at
/// a time.
class XEUTILITY_API LikePatternMatch {
 public:
  LikePatternMatch();

  /// Takes over the thread's current settings anew, and goes back to the empty pattern.
  void UseCurrentSettings();
  /// The pattern (ended by a zero character, copied) for the matches from here on; at first it is
  /// the empty one. To set the same pattern and escape again costs one comparison of the texts.
  /// Error 59025 when the pattern ends with an escape; another pattern must then be set first.
  void SetMetaPattern(const wchar_t* pattern, wchar_t escape);

  bool operator==(const RefLongVarChar& text) const;
  /// The same of a text of one byte a character, where TakesBytes is true: not without regard to
  /// case. The text may be read 64 bytes beyond its end.
  bool MatchesBytes(const uint8* text, std::size_t length) const;
  bool TakesBytes() const { return !foldsCase_ && isOfBytes_; }
  /// MatchesBytes of texts that stand side by side, each from one of the `count` + 1 offsets up to
  /// the next, as 1 or 0. Where TakesBytes and LooksInside are true.
  template <class Offset>
  void MatchSideBySide(const uint8* characters, const Offset* offsets, uint32 count,
                       uint8* matches) const;
  /// Whether the pattern asks what a text has somewhere inside it, and no more: `%special%`.
  bool LooksInside() const {
    return segments_.size() == 3 && segments_.front().length == 0 && segments_.back().length == 0 &&
           segments_[1].firstRun != segments_[1].endRun;
  }
  /// How texts of one byte a character begin: the first eight bytes, as they stand in memory, under
  /// a mask.
  struct Beginning {
    uint64 bytes;
    uint64 mask;
    uint32 length;

    bool Matches(const uint8* text, std::size_t textLength) const {
      uint64 first;
      std::memcpy(&first, text, sizeof first);
      return textLength >= length && (first & mask) == bytes;
    }
  };
  /// What the pattern asks for, if TakesBytes is true and that is the beginning of a text and no
  /// more, at most eight characters of it: `special%`.
  std::optional<Beginning> GetBeginning() const;

 private:
  /// Characters of the pattern that follow each other, without a wildcard between them.
  struct Run {
    /// Their place in the segment, and in characters_.
    std::size_t offset;
    std::size_t begin;
    std::size_t length;
  };
  /// What stands between two runs of `%`: it has a fixed length, and so matches at the first place
  /// where it can without ever being tried at a second one.
  struct Segment {
    std::size_t firstRun = 0;
    std::size_t endRun = 0;
    /// The run that is searched for.
    std::size_t longestRun = 0;
    /// Characters, each `_` one of them.
    std::size_t length = 0;
  };

  void Compile();
  void AppendPlain(wchar_t c);
  /// The characters of a run, as those of the text.
  const wchar_t* CharactersOf(const Run& run, const wchar_t*) const {
    return characters_.data() + run.begin;
  }
  const uint8* CharactersOf(const Run& run, const uint8*) const {
    return bytes_.data() + run.begin;
  }
  template <class Character>
  bool Matches(const Character* begin, const Character* end) const;
  template <class Character>
  bool MatchesAt(const Segment& segment, const Character* start) const;
  /// The first place from `from` on at which the segment matches and ends by `to`, or null.
  template <class Character>
  const Character* Find(const Segment& segment, const Character* from, const Character* to) const;
  const wchar_t* Fold(const RefLongVarChar& text) const;

  bool foldsCase_;
  wchar_t escape_ = 0;
  XeString metaPattern_;
  /// False after an error: what follows is then of no pattern.
  bool isCompiled_ = true;
  XeString characters_;
  /// The same in one byte each, if that holds them.
  std::vector<uint8> bytes_;
  bool isOfBytes_ = true;
  std::vector<Run> runs_;
  /// At least one. The first stands at the text's start and the last at its end; both may be empty.
  std::vector<Segment> segments_{Segment()};
  /// The sum of the segments' lengths.
  std::size_t shortestText_ = 0;
  mutable XeAutoBuffer<wchar_t, 64> foldedText_;
};

}  // namespace sqxer
