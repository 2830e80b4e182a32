#pragma once

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

 private:
  enum class Element : uint8;
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
