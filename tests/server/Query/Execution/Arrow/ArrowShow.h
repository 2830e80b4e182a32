#pragma once

#include "ArrowTesting.h"
#include "Utility/BaseStringUtil.h"
#include "Utility/DateTimeMetaData.h"

namespace sqxer::test {

/// A value as text, "NULL" for none.
inline std::string Show(const ColumnVector& vector, uint64 row) {
  if (vector.IsNull(row)) return "NULL";
  const auto get = [&]<class T>(T) { return reinterpret_cast<const T*>(vector.values)[row]; };
  const auto narrow = [](const XeString& text) { return BaseStringUtil::StringToUtf8(text); };
  switch (vector.form) {
    case ColumnForm::kDay32:
      return narrow(DateText(FromDay32(get(int32()))));
    case ColumnForm::kTime64:
      return narrow(TimeText(FromTime64(get(int64()))));
    case ColumnForm::kTimeStamp64:
      return narrow(DateTimeText(FromTimeStamp64(get(int64()))));
    case ColumnForm::kDateTime:
      return narrow(DateTimeText(get(XeDateTime())));
    case ColumnForm::kInterval:
      return narrow(IntervalText(get(XeInterval())));
    case ColumnForm::kDecimal64:
      return narrow(VelmarNumber::FromScaled(get(int64()), vector.scale).asString());
    case ColumnForm::kDecimal128:
      return narrow(VelmarNumber::FromScaled(get(int128()), vector.scale).asString());
    case ColumnForm::kNumber:
      return narrow(get(VelmarNumber()).asString());
    case ColumnForm::kText8:
    case ColumnForm::kText32: {
      const ColumnVector& texts = vector.dictionary ? *vector.dictionary : vector;
      const uint64 entry = vector.dictionary ? vector.GetCode(row) : row;
      XeString text;
      for (uint64 at = texts.GetOffset(entry); at < texts.GetOffset(entry + 1); ++at) {
        text += texts.form == ColumnForm::kText8
                    ? static_cast<wchar_t>(texts.values[at])
                    : reinterpret_cast<const wchar_t*>(texts.values)[at];
      }
      return narrow(text);
    }
    default: {
      std::string text;
      WithNumberType(vector.form,
                     [&]<class T>(std::type_identity<T>) { text = std::to_string(get(T())); });
      return text;
    }
  }
}

/// All values of a table's column.
inline std::vector<std::string> Show(const Table& table, std::size_t column = 0) {
  std::vector<std::string> values;
  for (const TableChunk& chunk : table.chunks) {
    for (uint64 row = 0; row < chunk.rows; ++row) {
      values.push_back(Show(chunk.columns[column], row));
    }
  }
  return values;
}

/// The values of one column alone.
inline std::vector<std::string> ShowColumn(Spec column, bool takesBinaryAsText = false) {
  const int64 rows = column.length;
  return Show(Read(TableOf({std::move(column)}, rows), takesBinaryAsText));
}

using Values = std::vector<std::string>;

}  // namespace sqxer::test
