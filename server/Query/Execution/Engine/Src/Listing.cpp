#include "Listing.h"

#include <algorithm>
#include <cstring>

#include "Utility/VelmarNumber.h"
#include "WorkRecord.h"

namespace sqxer {
namespace {

/// Puts a value into a record.
void Write(const XeFieldDescriptor& field, const Listing::Value& value, uint8* record) {
  uint8* const at = record + field.GetDataOffset();
  record[field.GetNullOffset()] = value.isNull ? 1 : 0;
  if (field.GetDataType() == XeNumericData) {
    const VelmarNumber number(static_cast<int64>(value.number));
    std::memcpy(at, &number, sizeof number);
  } else if (field.GetDataType() == XeBoolean) {
    *at = static_cast<uint8>(value.number);
  } else {
    const XeString wide = Wide(value.text);
    const auto length = static_cast<uint32>(wide.size());
    std::memcpy(at, &length, sizeof length);
    std::memcpy(at + kLongVarPrefix, wide.data(), length * sizeof(wchar_t));
  }
}

}  // namespace

std::vector<ColumnInfo> Listing::Describe() const {
  std::vector<ColumnInfo> described;
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    const Column& column = columns_[i];
    ColumnInfo info{Wide(column.name), XeVarCharData, 1, 0, true};
    if (column.kind == Kind::kCount) info.type = XeNumericData;
    if (column.kind == Kind::kTruth) info.type = XeBoolean;
    if (column.kind != Kind::kText) {
      info.length = XeFieldDescriptor::GetObjectLength(info.type, 0);
    }
    for (const std::vector<Value>& row : rows_) {
      if (column.kind == Kind::kText) {
        info.length = std::max(info.length, static_cast<uint32>(Wide(row[i].text).size()));
      }
    }
    described.push_back(std::move(info));
  }
  return described;
}

void Listing::Send(ResultSink& sink) const {
  const std::vector<ColumnInfo> columns = Describe();
  WorkRecord record(columns);
  sink.Begin(columns, record.GetLayout());
  for (const std::vector<Value>& row : rows_) {
    for (std::size_t i = 0; i < row.size(); ++i) {
      Write(record.GetField(i), row[i], record.GetData());
    }
    sink.Row(record.GetData());
  }
  sink.End();
}

}  // namespace sqxer
