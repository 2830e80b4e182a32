#pragma once

#include <string>

#include "SQXERBatch.h"
#include "Utility/XeRecordMetaData.h"

namespace sqxer {

/// The text of stored values as every output format shows them: booleans and bits as true/false and
/// 0/1, doubles in the shortest form that reads back the same (NaN, Infinity, -Infinity for the
/// three that are no numbers), decimals by asString, dates and times in ISO 8601, fixed text with
/// its blanks, binary as lower-case hexadecimal digits.

/// Whether the field is NULL in the record.
bool IsNullField(const XeFieldDescriptor& field, const uint8* record);
/// Appends the UTF-8 text of the field's value, which is not NULL.
void AppendValueText(const XeFieldDescriptor& field, const uint8* record, std::string& out);
/// The same of a row of a batch that is not NULL, of a vector of the field's type.
void AppendValueText(const XeFieldDescriptor& field, const BatchVector& vector, uint32 row,
                     std::string& out);
/// Whether values of the type are numbers (shown right-aligned, unquoted in JSON).
bool IsNumberField(XeDataType type);

}  // namespace sqxer
