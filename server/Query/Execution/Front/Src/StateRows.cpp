#include "StateRows.h"

#include <algorithm>
#include <charconv>

#include "ArrowReader.h"
#include "EngineError.h"
#include "Utility/SUXeDataTypeUtility.h"
#include "ValueText.h"

namespace sqxer::engine {
namespace {

/// Counts the changes of what travels: names, types, the meaning of states.
constexpr int kVersion = 2;
constexpr std::string_view kName = "sqxer";
constexpr uint64 kRowsOfChunk = uint64{64} * kColumnBlockRows;

enum class Travel : uint8 { kSame, kWhole, kText, kNot };

Travel TravelOf(XeDataType type) {
  switch (type) {
    case XeBoolean:
    case XeInt1Data:
    case XeInt2Data:
    case XeInt4Data:
    case XeFloatData:
    case XeDoubleData:
    case XeDateData:
    case XeCharData:
    case XeVarCharData:
    case XeLongVarCharData:
      return Travel::kSame;
    case XeBitData:
    case XeUInt1Data:
    case XeUInt2Data:
    case XeUInt4Data:
      return Travel::kWhole;
    case XeNumericData:
    case XeDecimalData:
    case XeMoneyData:
    case XeTimeData:
    case XeDateTimeData:
    case XeTimeStampData:
    case XeIntervalData:
      return Travel::kText;
    default:
      return Travel::kNot;
  }
}

/// The type of a column that travels, as it is read again.
XeDataType TypeOfColumn(XeDataType type) {
  switch (TravelOf(type)) {
    case Travel::kWhole:
      return XeNumericData;
    case Travel::kText:
      return XeVarCharData;
    default:
      return SUXeDataTypeUtility::IsXeTextType(type) ? XeVarCharData : type;
  }
}

/// The type by which a field that travels as text is made of it.
XeDataType TypeOfText(XeDataType type) {
  if (type == XeDateTimeData) return XeTimeStampData;
  const bool isOwn = type == XeTimeData || type == XeTimeStampData || type == XeIntervalData;
  return isOwn ? type : XeNumericData;
}

std::string Hexadecimal(uint32 number) {
  std::string digits(8, '0');
  char room[8];
  const auto end = std::to_chars(room, room + sizeof room, number, 16);
  const auto count = static_cast<std::size_t>(end.ptr - room);
  return digits.replace(digits.size() - count, count, room, count);
}

[[noreturn]] void ThrowNoStates(const XeString& reason) { ThrowEngineError(kNoStates, {reason}); }

template <class T>
ColumnVector NarrowTo(const ColumnVector& numbers, ColumnForm form) {
  auto values = std::make_shared<ColumnBuffer>();
  values->Reserve(numbers.rows * sizeof(T));
  const auto* const from = reinterpret_cast<const int64*>(numbers.values);
  for (uint64 row = 0; row < numbers.rows; ++row) {
    const int64 number = numbers.IsNull(row) ? 0 : from[row];
    if (!std::in_range<T>(number)) ThrowNoStates(L"a number is too large");
    values->As<T>()[row] = static_cast<T>(number);
  }
  ColumnVector narrow;
  narrow.form = form;
  narrow.rows = numbers.rows;
  narrow.values = values->GetData();
  narrow.validity = numbers.validity;
  struct Kept {
    std::shared_ptr<ColumnBuffer> values;
    std::shared_ptr<const void> validity;
  };
  narrow.owner = std::make_shared<Kept>(Kept{std::move(values), numbers.owner});
  return narrow;
}

ColumnVector Narrow(const ColumnVector& numbers, XeDataType type) {
  if (numbers.form != ColumnForm::kDecimal64 || numbers.scale != 0 || numbers.dictionary) {
    ThrowNoStates(L"a column of whole numbers has others");
  }
  switch (type) {
    case XeUInt4Data:
      return NarrowTo<uint32>(numbers, ColumnForm::kUInt32);
    case XeUInt2Data:
      return NarrowTo<uint16>(numbers, ColumnForm::kUInt16);
    default:
      return NarrowTo<uint8>(numbers, ColumnForm::kUInt8);
  }
}

ColumnVector ReadTexts(const ColumnVector& texts, XeDataType type) {
  const bool isAscii = texts.form == ColumnForm::kText8 || texts.rows == 0;
  ColumnVector values;
  if (isAscii) values = ConvertTexts(texts, TypeOfText(type));
  // What does not read is left out.
  if (!isAscii || values.rows != texts.rows) ThrowNoStates(L"a text is no value");
  return values;
}

ColumnVector ToField(const ColumnVector& column, XeDataType type) {
  switch (TravelOf(type)) {
    case Travel::kWhole:
      return Narrow(column, type);
    case Travel::kText:
      return ReadTexts(column, type);
    default:
      return column;
  }
}

}  // namespace

StateLayout::StateLayout(std::vector<ColumnInfo> fields, uint32 check)
    : fields_(std::move(fields)),
      prefix_(std::string(kName) + std::to_string(kVersion) + "_" + Hexadecimal(check) + "_") {
  for (ColumnInfo& field : fields_) {
    if (TravelOf(field.type) == Travel::kNot) {
      ThrowEngineError(kNotDistributed,
                       {L"values of the type " +
                        SUXeDataTypeUtility::GetXeDataTypeName(field.type) + L" do not travel"});
    }
    field.nullable = true;
  }
}

TableSchema StateLayout::MakeSchema() const {
  TableSchema schema;
  schema.columns.push_back({Wide(GetExchangeName()), XeNumericData, 0, 0, true});
  for (std::size_t i = 0; i < fields_.size(); ++i) {
    const ColumnInfo& field = fields_[i];
    schema.columns.push_back({Wide(NameOf(i)), TypeOfColumn(field.type), field.length, 0, true});
  }
  return schema;
}

void StateLayout::ThrowOtherColumns(const TableSchema& found) const {
  const std::string own = std::to_string(kVersion);
  for (const ColumnInfo& column : found.columns) {
    const std::string name = BaseStringUtil::StringToUtf8(column.name);
    const std::size_t end = name.find('_');
    if (!name.starts_with(kName) || end == name.npos) continue;
    const std::string version = name.substr(kName.size(), end - kName.size());
    if (version != own) ThrowEngineError(kStatesOfOtherVersion, {Wide(version), Wide(own)});
    if (!name.starts_with(prefix_)) ThrowEngineError(kStatesOfOtherPlan, {});
  }
  ThrowNoStates(L"a column is missing, or has another type");
}

Table StateLayout::ReadColumns(ArrowArrayStream* stream) const {
  const Table read = ReadArrowTable(stream, {.name = L"states"});
  Table states;
  states.schema = MakeSchema();
  states.rowCount = read.rowCount;
  std::vector<std::size_t> places;
  for (ColumnInfo& column : states.schema.columns) {
    const auto found = std::ranges::find(read.schema.columns, column.name, &ColumnInfo::name);
    if (found == read.schema.columns.end() || found->type != column.type) {
      ThrowOtherColumns(read.schema);
    }
    column.length = std::max(found->length, uint32{1});
    places.push_back(static_cast<std::size_t>(found - read.schema.columns.begin()));
  }
  for (const TableChunk& chunk : read.chunks) {
    TableChunk& target = states.chunks.emplace_back();
    target.rows = chunk.rows;
    for (const std::size_t place : places) target.columns.push_back(chunk.columns[place]);
  }
  return states;
}

Table StateLayout::Read(ArrowArrayStream* stream) const {
  const Table columns = ReadColumns(stream);
  Table states;
  states.schema.name = L"states";
  states.rowCount = columns.rowCount;
  for (std::size_t i = 0; i < fields_.size(); ++i) {
    ColumnInfo field = fields_[i];
    if (SUXeDataTypeUtility::IsXeTextType(field.type)) {
      field.length = columns.schema.columns[i + 1].length;
    }
    states.schema.columns.push_back(std::move(field));
  }
  for (const TableChunk& chunk : columns.chunks) {
    TableChunk& target = states.chunks.emplace_back();
    target.rows = chunk.rows;
    for (std::size_t i = 0; i < fields_.size(); ++i) {
      target.columns.push_back(ToField(chunk.columns[i + 1], fields_[i].type));
    }
  }
  return states;
}

Table StateLayout::Pass(ArrowArrayStream* stream) const { return ReadColumns(stream); }

StateSink::StateSink(const StateLayout& states, std::vector<std::size_t> exchange)
    : states_(states), exchange_(std::move(exchange)) {}

void StateSink::Begin(const std::vector<ColumnInfo>&, const XeRecordMetaData& layout) {
  const auto fieldAt = [&](std::size_t i) {
    return layout.GetFieldDescriptor(static_cast<int>(i));
  };
  for (const std::size_t field : exchange_) {
    keys_.Add(KeyDesc(*fieldAt(field), kAscending, KeyDesc::GetCharComparisonType()));
  }
  const std::vector<ColumnInfo>& fields = states_.GetFields();
  for (std::size_t i = 0; i < fields.size(); ++i) {
    Column& column = columns_.emplace_back();
    column.field = fieldAt(i);
    if (TravelOf(fields[i].type) == Travel::kSame) {
      column.same = ColumnAppender::Make(*column.field);
    } else {
      column.texts = VectorBuilder::Make(TypeOfColumn(fields[i].type), VectorBuilder::kAnyLength,
                                         VectorBuilder::Options());
    }
  }
}

void StateSink::Row(const uint8* record) {
  for (Column& column : columns_) {
    if (column.same) {
      column.same->AppendRecords(&record, 1);
    } else if (IsNullField(*column.field, record)) {
      column.texts->AppendNull();
    } else {
      text_.clear();
      AppendValueText(*column.field, record, text_);
      column.texts->Append(text_);
    }
  }
  hashes_.Reserve((rows_ + 1) * sizeof(int64));
  hashes_.As<int64>()[rows_] = exchange_.empty() ? 0 : static_cast<int64>(keys_.Hash(record));
  if (++rows_ == kRowsOfChunk) TakeChunk();
}

void StateSink::End() {
  if (rows_ > 0) TakeChunk();
}

void StateSink::TakeChunk() {
  TableChunk& chunk = chunks_.emplace_back();
  chunk.rows = rows_;
  auto hashes = std::make_shared<ColumnBuffer>(std::move(hashes_));
  hashes_ = ColumnBuffer();
  ColumnVector exchange;
  exchange.form = ColumnForm::kDecimal64;
  exchange.rows = rows_;
  exchange.values = hashes->GetData();
  exchange.owner = std::move(hashes);
  chunk.columns.push_back(std::move(exchange));
  for (Column& column : columns_) {
    chunk.columns.push_back(column.same ? column.same->Take() : column.texts->Take());
  }
  rows_ = 0;
}

}  // namespace sqxer::engine
