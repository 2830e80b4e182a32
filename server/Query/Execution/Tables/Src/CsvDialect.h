#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Utility/XeTypes.h"

namespace sqxer {

/// Whether a character can part fields.
constexpr bool IsDelimiter(char c) {
  const bool isAscii = static_cast<unsigned char>(c) < 0x80;
  return isAscii && c != '\0' && c != '"' && c != '\r' && c != '\n';
}

/// The delimiter of a text, which is the start of a file, or all of it with `isLast`: the comma,
/// unless a tab, a semicolon or a bar makes the first records a table of more columns, all of them
/// whole. Nothing is left out to make them one.
char FindDelimiter(std::string_view text, bool isLast);

/// The column names that a record gives: without quotation marks and blanks around them, column1 by
/// its position for one without a name. `ends` are those of ReadCsvRecord.
std::vector<XeString> ReadColumnNames(std::string_view text, uint32 start,
                                      const std::vector<uint32>& ends);

/// Whether the record that is taken for the header could be a row of the table: it has a number, a
/// date or a truth value, and fits the records behind it in every column.
bool LooksLikeData(std::string_view text, bool isLast, char delimiter);

}  // namespace sqxer
