#include "TableScan.h"

#include <algorithm>

#include "RecordTexts.h"
#include "Utility/FixedWidths.h"
#include "Utility/XeAssert.h"

namespace sqxer {
namespace {

bool IsVaryingText(XeDataType type) { return type == XeVarCharData || type == XeLongVarCharData; }

}  // namespace

/// How a row of a column is copied: by the form that the column has and the field.
struct TableScan::Copies {
  static void Nothing(const Column&, uint64) {}

  template <Copy copyValue>
  static void Nullable(const Column& column, uint64 row) {
    const bool isNull = (column.validity[row / 64] >> row % 64 & 1) == 0;
    *column.targetNull = isNull;
    if (!isNull) copyValue(column, row);
  }

  template <std::size_t width>
  static void Fixed(const Column& column, uint64 row) {
    std::memcpy(column.target, column.values + row * width, width);
  }

  template <class Stored, class Value>
  static void Store(const Column& column, const Value& value) {
    static_assert(sizeof(Stored) == sizeof(Value));
    std::memcpy(column.target, static_cast<const void*>(&value), sizeof value);
  }

  static int64 Get64(const Column& column, uint64 row) {
    return reinterpret_cast<const int64*>(column.values)[row];
  }
  static int32 GetDay(const Column& column, uint64 row) {
    return reinterpret_cast<const int32*>(column.values)[row];
  }
  static void Day(const Column& column, uint64 row) {
    Store<XeDate>(column, FromDay32(GetDay(column, row)));
  }
  static void PreparedDay(const Column& column, uint64 row) {
    const auto entry = static_cast<std::size_t>(GetDay(column, row) - column.firstDay);
    std::memcpy(column.target, column.prepared + entry * sizeof(XeDate), sizeof(XeDate));
  }
  static void Time(const Column& column, uint64 row) {
    Store<XeTime>(column, FromTime64(Get64(column, row)));
  }
  static void TimeStamp(const Column& column, uint64 row) {
    Store<XeDateTime>(column, FromTimeStamp64(Get64(column, row)));
  }
  static void Decimal(const Column& column, uint64 row) {
    Store<VelmarNumber>(column, VelmarNumber::FromScaled(Get64(column, row), column.scale));
  }
  static void WideDecimal(const Column& column, uint64 row) {
    const int128 value = reinterpret_cast<const int128*>(column.values)[row];
    Store<VelmarNumber>(column, VelmarNumber::FromScaled(value, column.scale));
  }

  template <class Character, class Offset, bool isFixed>
  static void Text(const Column& column, uint64 row) {
    const auto* const offsets = reinterpret_cast<const Offset*>(column.offsets);
    const auto* const text = reinterpret_cast<const Character*>(column.values) + offsets[row];
    if constexpr (isFixed) {
      StoreFixedText(text, offsets[row + 1] - offsets[row], column.width / uint32{sizeof(wchar_t)},
                     column.target);
    } else {
      StoreVaryingText(text, offsets[row + 1] - offsets[row], column.target);
    }
  }

  template <class Code>
  static void Entry(const Column& column, uint64 row) {
    const Code code = reinterpret_cast<const Code*>(column.values)[row];
    const uint64 start = column.starts[code];
    std::memcpy(column.target, column.prepared + start,
                column.starts[code + std::size_t{1}] - start);
  }

  template <Copy copyValue>
  static Copy Choose(const Column& column) {
    return column.validity == nullptr ? copyValue : &Nullable<copyValue>;
  }

  template <class Character, bool isFixed>
  static Copy ChooseText(const Column& column) {
    return column.vector->offsetWidth == 4 ? Choose<&Text<Character, uint32, isFixed>>(column)
                                           : Choose<&Text<Character, uint64, isFixed>>(column);
  }

  static Copy ChooseEntry(const Column& column) {
    switch (column.vector->codeWidth) {
      case 1:
        return Choose<&Entry<uint8>>(column);
      case 2:
        return Choose<&Entry<uint16>>(column);
      default:
        return Choose<&Entry<uint32>>(column);
    }
  }
};

TableScan::TableScan(const TableSchema& schema, const std::vector<uint16>& columns,
                     WorkRecord& target)
    : TableScan(schema, columns, target, std::vector<bool>(columns.size(), true)) {}

TableScan::TableScan(const TableSchema& schema, const std::vector<uint16>& columns,
                     WorkRecord& target, std::vector<bool> fields)
    : indexes_(columns), fields_(std::move(fields)), target_(target), prepared_(columns.size()) {
  for (std::size_t i = 0; i < indexes_.size(); ++i) {
    const ColumnInfo& source = schema.columns.at(indexes_[i]);
    const XeFieldDescriptor& field = target_.GetField(i);
    XE_ASSERT(field.GetDataType() == source.type);
    XE_ASSERT(field.GetLength() >= source.length);
    XE_ASSERT(field.IsNullable() || !source.nullable);
    Column column = {};
    column.target = target_.GetData() + field.GetDataOffset();
    column.targetNull = target_.GetData() + field.GetNullOffset();
    if (!IsVaryingText(source.type)) {
      column.width = XeRecordMetaData::GetByteLength(source.type, source.length, true);
    }
    columns_.push_back(column);
  }
}

void TableScan::Enter(const TableChunk& chunk) {
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    Column& column = columns_[i];
    column.vector = &chunk.columns[indexes_[i]];
    column.values = column.vector->values;
    column.validity = column.vector->validity;
    column.offsets = column.vector->offsets;
    column.scale = column.vector->scale;
    prepared_[i] = Prepared();
    const bool isText = column.offsets != nullptr;
    column.rows = isText ? column.offsets : column.values;
    column.rowBytes = isText                      ? column.vector->offsetWidth
                      : column.vector->dictionary ? column.vector->codeWidth
                                                  : WidthOfForm(column.vector->form);
    column.copy = fields_[i] ? ChooseCopy(column, prepared_[i]) : &Copies::Nothing;
    if (!fields_[i]) column.rowBytes = 0;
    column.prepared = prepared_[i].bytes.data();
    column.starts = prepared_[i].starts.data();
  }
  Resume();
}

void TableScan::Resume() {
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    const bool setsNoNull = fields_[i] && columns_[i].validity == nullptr;
    if (setsNoNull && target_.GetField(i).IsNullable()) *columns_[i].targetNull = 0;
  }
}

bool TableScan::HasTexts() const {
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    if (columns_[i].offsets != nullptr && fields_[i]) return true;
  }
  return false;
}

void TableScan::PrefetchTexts(uint64 row) const {
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    const Column& column = columns_[i];
    if (column.offsets == nullptr || !fields_[i]) continue;
    Prefetch(column.values + column.vector->GetOffset(row) * WidthOfForm(column.vector->form));
  }
}

void TableScan::FillValue(std::size_t field, int64 value, bool isNull) {
  const Column& column = columns_[field];
  if (target_.GetField(field).IsNullable()) *column.targetNull = isNull;
  if (isNull) return;
  if (column.vector->dictionary) {
    const auto entry = static_cast<std::size_t>(value);
    std::memcpy(column.target, column.prepared + column.starts[entry],
                column.starts[entry + 1] - column.starts[entry]);
  } else {
    Copies::Store<XeDate>(column, FromDay32(static_cast<int32>(value)));
  }
}

TableScan::Copy TableScan::ChooseCopy(Column& column, Prepared& prepared) {
  const ColumnVector& vector = *column.vector;
  const bool isFixed = column.width != 0;
  if (vector.dictionary) {
    PrepareTexts(*vector.dictionary, column, prepared, isFixed);
    return Copies::ChooseEntry(column);
  }
  switch (vector.form) {
    case ColumnForm::kText8:
      return isFixed ? Copies::ChooseText<uint8, true>(column)
                     : Copies::ChooseText<uint8, false>(column);
    case ColumnForm::kText32:
      return isFixed ? Copies::ChooseText<wchar_t, true>(column)
                     : Copies::ChooseText<wchar_t, false>(column);
    case ColumnForm::kDay32:
      PrepareDays(vector, column, prepared);
      return prepared.bytes.empty() ? Copies::Choose<&Copies::Day>(column)
                                    : Copies::Choose<&Copies::PreparedDay>(column);
    case ColumnForm::kTime64:
      return Copies::Choose<&Copies::Time>(column);
    case ColumnForm::kTimeStamp64:
      return Copies::Choose<&Copies::TimeStamp>(column);
    case ColumnForm::kDecimal64:
      return Copies::Choose<&Copies::Decimal>(column);
    case ColumnForm::kDecimal128:
      return Copies::Choose<&Copies::WideDecimal>(column);
    default:
      XE_ASSERT(column.width == WidthOfForm(vector.form));
      return WithFixedWidth(
          column.width, [&](auto width) { return Copies::Choose<&Copies::Fixed<width>>(column); });
  }
}

void TableScan::PrepareDays(const ColumnVector& vector, Column& column, Prepared& prepared) {
  constexpr int64 kMostDays = 1 << 16;
  int64 least = std::numeric_limits<int64>::max();
  int64 greatest = std::numeric_limits<int64>::min();
  for (const ColumnBlock& block : vector.blocks) {
    if (!block.hasBounds) continue;
    least = std::min(least, block.whole.least);
    greatest = std::max(greatest, block.whole.greatest);
  }
  // Rows of fewer days than rows are looked up, not divided into years.
  const int64 days = greatest < least ? 0 : greatest - least + 1;
  if (days > kMostDays || static_cast<uint64>(days) > vector.rows) return;
  prepared.bytes.resize(static_cast<std::size_t>(days) * sizeof(XeDate));
  column.firstDay = static_cast<int32>(least);
  for (int64 day = 0; day < days; ++day) {
    const XeDate date = FromDay32(static_cast<int32>(least + day));
    std::memcpy(prepared.bytes.data() + static_cast<std::size_t>(day) * sizeof date,
                static_cast<const void*>(&date), sizeof date);
  }
}

void TableScan::PrepareTexts(const ColumnVector& dictionary, Column& column, Prepared& prepared,
                             bool isFixed) {
  for (uint64 entry = 0; entry < dictionary.rows; ++entry) {
    const uint64 start = dictionary.GetOffset(entry);
    const uint64 count = dictionary.GetOffset(entry + 1) - start;
    const std::size_t at = prepared.bytes.size();
    prepared.starts.push_back(at);
    const uint64 bytes =
        isFixed ? column.width + sizeof(wchar_t) : kLongVarPrefix + count * sizeof(wchar_t);
    prepared.bytes.resize(at + bytes);
    const auto store = [&](const auto* characters) {
      if (isFixed) {
        StoreFixedText(characters + start, count, column.width / uint32{sizeof(wchar_t)},
                       prepared.bytes.data() + at);
      } else {
        StoreVaryingText(characters + start, count, prepared.bytes.data() + at);
      }
    };
    if (dictionary.form == ColumnForm::kText8) {
      store(dictionary.values);
    } else {
      store(reinterpret_cast<const wchar_t*>(dictionary.values));
    }
  }
  prepared.starts.push_back(prepared.bytes.size());
}

}  // namespace sqxer
