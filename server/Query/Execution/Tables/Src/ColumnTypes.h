#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "Catalog.h"

namespace sqxer {

/// Declared column types by column name.
using DeclaredTypes = std::map<XeString, ColumnInfo>;

/// Reads "COL:TYPE,COL:TYPE". A name in double quotes may hold any character (a quotation mark
/// doubled). Types, letter case ignored: bit, int1, uint1, int2, uint2, int4, uint4, float, double,
/// numeric, char(n), varchar(n), date, time, timestamp, interval, boolean; bigint, a numeric that
/// takes whole numbers of 64 bits alone; text, the same as varchar without a length, of which a
/// column has the length of its longest text; and as other names of these smallint, int, integer,
/// int8, real, float4, float8, double precision, decimal, dec, bool, character(n), character
/// varying(n), and time and timestamp without time zone. Error 57014 (text) for anything else, and
/// for a column named twice.
DeclaredTypes ReadDeclaredTypes(const std::string& text);

/// One type as in a declaration: int4, varchar(12), text. Nothing when the text names none.
std::optional<ColumnInfo> ReadDeclaredType(std::string_view text);

/// The length of a text that was declared to have any.
inline constexpr uint32 kUndeclaredLength = 0;
inline bool IsOfAnyLength(const ColumnInfo& declared) {
  return declared.type == XeVarCharData && declared.length == kUndeclaredLength;
}
/// The most characters that texts of a column may have: those of the type that is known, if there
/// is one, else VectorBuilder::kAnyLength.
uint32 MostCharacters(const std::optional<ColumnInfo>& known);

/// A column with the type as which it can be declared: those of computed values have types that go
/// by other names.
ColumnInfo AsDeclared(const ColumnInfo& column);

/// A type as declared and as messages name it: int4, varchar(12), text.
XeString DeclaredTypeName(const ColumnInfo& column);

}  // namespace sqxer
