#include "TableScan.h"

#include "FixedWidths.h"
#include "Utility/XeAssert.h"

namespace sqxer {

template <void (*copyValue)(const TableScan::Column&, uint64)>
void TableScan::CopyNullable(const Column& column, uint64 row) {
  *column.targetNull = column.nulls[row];
  if (column.nulls[row] == 0) copyValue(column, row);
}

template <std::size_t width>
void TableScan::CopyFixed(const Column& column, uint64 row) {
  std::memcpy(column.target, column.values + row * width, width);
}

void TableScan::CopyFixedText(const Column& column, uint64 row) {
  std::memcpy(column.target, column.values + row * column.width, column.width);
  std::memset(column.target + column.width, 0, sizeof(wchar_t));
}

void TableScan::CopyVaryingText(const Column& column, uint64 row) {
  const uint64 start = column.offsets[row];
  const uint32 length = static_cast<uint32>(column.offsets[row + 1] - start);
  std::memcpy(column.target, &length, sizeof length);
  std::memcpy(column.target + kLongVarPrefix, column.characters + start, length * sizeof(wchar_t));
}

template <void (*copyValue)(const TableScan::Column&, uint64)>
void TableScan::Choose(Column& column) {
  column.copy = column.nulls == nullptr ? copyValue : &CopyNullable<copyValue>;
}

void TableScan::ChooseCopy(Column& column, XeDataType type) {
  if (type == XeVarCharData || type == XeLongVarCharData) return Choose<&CopyVaryingText>(column);
  if (type == XeCharData) return Choose<&CopyFixedText>(column);
  WithFixedWidth(column.width, [&](auto width) { Choose<&CopyFixed<width>>(column); });
}

TableScan::TableScan(const Table& table, const std::vector<uint16>& columns, WorkRecord& target) {
  for (std::size_t i = 0; i < columns.size(); ++i) {
    const TableColumn& source = table.columns.at(columns[i]);
    const XeFieldDescriptor& field = target.GetField(i);
    XE_ASSERT(field.GetDataType() == source.info.type);
    XE_ASSERT(field.GetLength() >= source.info.length);
    XE_ASSERT(field.IsNullable() || source.nulls.empty());
    Column column = {};
    column.values = source.values.data();
    column.nulls = source.nulls.empty() ? nullptr : source.nulls.data();
    column.offsets = source.offsets.data();
    // A column of empty texts has no characters; nothing is copied from an address all the same.
    column.characters = source.characters.empty() ? L"" : source.characters.data();
    column.target = target.GetData() + field.GetDataOffset();
    column.targetNull = target.GetData() + field.GetNullOffset();
    column.width = XeRecordMetaData::GetByteLength(source.info.type, source.info.length, true);
    ChooseCopy(column, source.info.type);
    columns_.push_back(column);
  }
}

}  // namespace sqxer
