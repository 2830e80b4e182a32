#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "SQXERExpression.h"
#include "Utility/VelmarNumber.h"

namespace sqxer {

/// A number in decimals.
struct DecimalDigits {
  bool isNegative = false;
  /// Those before the point, without zeros in front but for a single one.
  std::string whole;
  std::string fraction;
};

/// A format of numbers as texts, read once: `999D99`, `FM0000`, `9.99EEEE` and the other elements
/// of TO_CHAR and TO_NUMBER. What is no element, and what stands in quotation marks, is written as
/// it is.
class SQXEREXPR_API NumberFormat {
 public:
  /// Error 59060 for a format that contradicts itself.
  explicit NumberFormat(std::wstring_view format);

  void Write(const VelmarNumber& number, XeString& out) const;
  void Write(float64 number, XeString& out) const;
  /// The number that a text stands for. Error 59061 (the text) for one that has no digits.
  VelmarNumber Read(std::wstring_view text) const;

  /// How many characters a text of a format of so many can have at most.
  static constexpr uint32 CountMost(uint32 formatLength) { return formatLength * 8 + 400; }

 private:
  enum class Element : uint8;
  struct Name;
  struct Piece {
    Element element;
    bool isUpper = true;
    XeString literal = {};
  };
  class Writer;
  class Reader;

  void AddElement(const Name& name, bool isUpper);
  void AddLiteral(wchar_t character);
  void AddDigit(bool isZero);
  void AddSign(Element element);
  void WriteDigits(DecimalDigits digits, XeString& out) const;
  /// In scientific notation: digits, the first one before the point, times a power of ten.
  static void WriteScientific(std::string_view text, XeString& out);
  bool HasSign() const { return hasSign_ || hasOtherSign_ || hasBrackets_; }

  static const Name kNames[];
  std::vector<Piece> pieces_;
  /// Digits before the point and behind it, and by how many the number is moved to the left.
  std::size_t before_ = 0;
  std::size_t behind_ = 0;
  std::size_t shift_ = 0;
  /// The place, among those before the point, from which on zeros are written; before_ for none.
  std::size_t firstZero_ = 0;
  bool hasZero_ = false;
  /// So many digits behind the point are written though they be zeros.
  std::size_t fixed_ = 0;
  bool hasPoint_ = false;
  bool hasShift_ = false;
  bool isFilled_ = true;
  bool isScientific_ = false;
  bool isRoman_ = false;
  /// S, and whether it stands behind the digits.
  bool hasSign_ = false;
  bool isSignBehind_ = false;
  bool hasOtherSign_ = false;
  /// MI, SG or PR.
  bool hasOwnSign_ = false;
  bool hasBrackets_ = false;
};

}  // namespace sqxer
