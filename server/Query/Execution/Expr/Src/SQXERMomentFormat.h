#pragma once

#include <span>
#include <string_view>
#include <vector>

#include "SQXERExpression.h"
#include "Utility/XeDateTime.h"

namespace sqxer {

/// A format of moments as texts, read once: `YYYY-MM-DD HH24:MI:SS` and the other elements of
/// TO_CHAR, each with the modifiers FM in front (no filling up with zeros or blanks) and TH behind
/// (an ordinal). What is no element, and what stands in quotation marks, is written as it is.
class SQXEREXPR_API MomentFormat {
 public:
  explicit MomentFormat(std::wstring_view format);

  /// Appends the moment to `out`.
  void Write(const XeDateTime& moment, XeString& out) const;

  /// How many characters a text of a format of so many can have.
  static constexpr uint32 CountMost(uint32 formatLength) { return formatLength * 9 + 16; }

 protected:
  /// What a piece of a format stands for.
  enum class Element : uint8 {
    kLiteral,
    kHour12,
    kHour24,
    kMinute,
    kSecond,
    kFraction1,
    kFraction2,
    kMillisecond,
    kFraction4,
    kFraction5,
    kMicrosecond,
    kSecondOfDay,
    kHalfOfDay,
    kEra,
    kYearWithComma,
    kYear4,
    kYear3,
    kYear2,
    kYear1,
    kIsoYear4,
    kIsoYear3,
    kIsoYear2,
    kIsoYear1,
    kMonthName,
    kMonthShort,
    kMonth,
    kDayName,
    kDayShort,
    kDayOfYear,
    kIsoDayOfYear,
    kDay,
    kDayOfWeek,
    kIsoDayOfWeek,
    kWeekOfMonth,
    kWeek,
    kIsoWeek,
    kCentury,
    kJulianDay,
    kQuarter,
    kRomanMonth,
    kZone,
    kZoneHours,
    kZoneMinutes,
  };
  enum class Letters : uint8 { kNone, kUpper, kCapital, kLower };
  struct Name;
  struct Piece {
    Element element;
    /// Of what is no number.
    Letters letters = Letters::kNone;
    bool hasPoints = false;
    /// With zeros or blanks to its full width.
    bool isFilled = true;
    /// Of an ordinal: 'T' or 't', else 0.
    wchar_t ordinal = 0;
    XeString literal = {};
  };

  /// A time of day, or of any number of hours; the parts may be negative.
  struct Clock {
    int64 hour;
    int64 minute;
    int64 second;
    int64 microsecond;
  };

  /// Writes what tells of a time; false for the other elements.
  static bool WriteClock(const Piece& piece, const Clock& clock, XeString& out);
  /// A number filled up to a width as the piece says, with the ordinal that it asks for.
  static void WriteNumber(const Piece& piece, int64 value, std::size_t width, XeString& out);
  /// One whose digits are there in any case, of a width that a sign is part of.
  static void WriteAllDigits(const Piece& piece, int64 value, std::size_t width, XeString& out);
  /// A text filled up with blanks behind, in the letters of the piece.
  static void WriteName(const Piece& piece, std::wstring_view text, std::size_t width,
                        XeString& out);
  /// A word of letters that may have points behind them.
  static void WriteWord(const Piece& piece, std::wstring_view word, XeString& out);
  static std::wstring_view RomanMonth(std::size_t month);
  static constexpr std::size_t kLongestRoman = 4;
  std::span<const Piece> GetPieces() const { return pieces_; }

 private:
  static void WriteElement(const Piece& piece, const XeDateTime& moment, XeString& out);
  static XeString WithLetters(std::wstring_view name, Letters letters);
  void AddLiteral(wchar_t character);
  /// Takes the modifiers in front of an element, and the element, off the format. False where there
  /// is none.
  bool ReadElement(std::wstring_view& format);

  static const Name kNames[];
  std::vector<Piece> pieces_;
};

/// Appends the ending that makes an ordinal of the digits at the end of a text: st, nd, rd or th.
void AppendOrdinal(bool isUpper, XeString& text);

}  // namespace sqxer
