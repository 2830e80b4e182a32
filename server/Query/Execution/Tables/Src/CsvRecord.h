#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Utility/XeTypes.h"

namespace sqxer {

/// A field may have this many bytes, its quotation marks included.
inline constexpr std::size_t kMaxFieldBytes = std::size_t{64} << 20;

/// A record read byte by byte.
struct CsvRecord {
  enum class State {
    kWhole,
    /// The text ends before the record is known to; never at the end of a file.
    kPartial,
    /// Against the rules: `error` tells which.
    kBad,
  };
  State state = State::kPartial;
  /// 57005 to 57008 or 57012 for a quotation that does not end, text beside one, a NUL byte, bytes
  /// that are no UTF-8, and a field beyond kMaxFieldBytes.
  int error = 0;
  /// Behind the record and its line end.
  uint32 next = 0;
  /// Where each field ends. An empty line is one empty field.
  std::vector<uint32> ends;
};

/// Reads the record at position `start` of a text: fields parted by `delimiter`, one that starts
/// with a quotation mark up to its closing mark, quotation marks inside doubled; LF, CR LF or a CR
/// alone end the record. With `isLast` the text is the end of a file, which ends a record too. This
/// is the definition; CsvSlicer finds the same faster.
void ReadCsvRecord(std::string_view text, uint32 start, char delimiter, bool isLast,
                   CsvRecord& record);

/// The text of a field without the marks that quote it.
std::string UnquoteField(std::string_view field);

}  // namespace sqxer
