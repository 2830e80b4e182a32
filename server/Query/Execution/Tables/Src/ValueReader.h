#pragma once

#include <string_view>

#include "Utility/VelmarNumber.h"
#include "Utility/XeDateTime.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// What a text of a file can be read as. A column takes the first kind (in this order) that every
/// one of its values has, and is varying text when there is none.
inline constexpr unsigned kBooleanKind = 1;
inline constexpr unsigned kInt4Kind = 2;
inline constexpr unsigned kNumericKind = 4;
inline constexpr unsigned kDoubleKind = 8;
inline constexpr unsigned kDateKind = 16;
inline constexpr unsigned kTimeStampKind = 32;
inline constexpr unsigned kTimeKind = 64;
inline constexpr unsigned kAllKinds = 127;
/// Of texts that cannot be numbers or truth values.
inline constexpr unsigned kQuotedKinds = kDateKind | kTimeStampKind | kTimeKind;

/// The kinds that fit, 0 for text: true and false in any letter case, t and f in small ones.
/// Numbers are those that print again as the same value: numbers with needless leading zeros or a
/// plus sign (postal codes, telephone numbers) and integers of more than 38 digits are text.
unsigned ClassifyText(std::string_view text);

std::string_view TrimBlanks(std::string_view text);

/// Readers of one text as a value of a declared type: false when it is none. Blanks around the
/// value are ignored; these take leading zeros and plus signs.
bool ReadValue(std::string_view text, bool& value);
bool ReadValue(std::string_view text, int64& value);
bool ReadValue(std::string_view text, float32& value);
bool ReadValue(std::string_view text, float64& value);
bool ReadValue(std::string_view text, VelmarNumber& value);
bool ReadValue(std::string_view text, XeDate& value);
bool ReadValue(std::string_view text, XeTime& value);
bool ReadValue(std::string_view text, XeDateTime& value);

}  // namespace sqxer
