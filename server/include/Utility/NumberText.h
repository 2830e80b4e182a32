#pragma once

#include <array>
#include <string_view>

#include "Utility/Export.h"
#include "Utility/VelmarNumber.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// The text of a floating-point number, in ASCII: the shortest that reads back as the same number
/// of its width; NaN, Infinity and -Infinity for what is none.
class XEUTILITY_API RealText {
 public:
  explicit RealText(float32 value);
  explicit RealText(float64 value);
  /// Valid as long as the object.
  std::string_view Get() const { return {characters_.data(), size_}; }

 private:
  std::array<char, 32> characters_;
  std::size_t size_;
};

/// Characters that the text of any number takes at most.
inline constexpr std::size_t kMostNumberText = 64;

/// Write the text of a number at `out`, which has room for kMostNumberText characters, and return
/// how many it has. No zero character follows. Decimals as asString gives them.
XEUTILITY_API uint32 WriteText(int64 value, wchar_t* out);
XEUTILITY_API uint32 WriteText(float32 value, wchar_t* out);
XEUTILITY_API uint32 WriteText(float64 value, wchar_t* out);
XEUTILITY_API uint32 WriteText(const VelmarNumber& value, wchar_t* out);

/// What a text was for the type that it was read as.
enum class NumberReading { kRead, kUnreadable, kOutOfRange };

/// Read the whole text as a number; blanks around it are ignored in wide characters, and refused in
/// bytes. Integers are digits with an optional
/// sign; the others may have a point and an exponent, and those of floating point may be NaN or an
/// infinity (letter case does not matter). A double too small for a float is the nearest float;
/// otherwise what lies beyond the type, however small, is out of range. `out` changes only for
/// kRead.
XEUTILITY_API NumberReading ReadNumber(std::string_view text, int64& out);
XEUTILITY_API NumberReading ReadNumber(std::string_view text, float32& out);
XEUTILITY_API NumberReading ReadNumber(std::string_view text, float64& out);
XEUTILITY_API NumberReading ReadNumber(std::wstring_view text, int64& out);
XEUTILITY_API NumberReading ReadNumber(std::wstring_view text, float32& out);
XEUTILITY_API NumberReading ReadNumber(std::wstring_view text, float64& out);
XEUTILITY_API NumberReading ReadNumber(std::wstring_view text, VelmarNumber& out);

}  // namespace sqxer
