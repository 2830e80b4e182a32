#include "SQXERBinCalculator.h"

#include <cstddef>
#include <cstring>
#include <limits>

#include "Utility/XeIntlDateTimeMgr.h"

namespace sqxer {

namespace {

constexpr float64 kInfinity = std::numeric_limits<float64>::infinity();
constexpr float64 kNoNumber = std::numeric_limits<float64>::quiet_NaN();
/// No value of a row is that of no day.
constexpr XeDateTime kNoDay;

// Converters of the platform's form, to the number that stands for a value.

void ConvertDateToDays(DataConvertParams, const uint8* source, uint32, uint8, uint8* target, uint32,
                       uint8&, unsigned long&) {
  StoreValue(target, static_cast<float64>(XeCalendar::DayNumber(LoadValue<XeDate>(source))));
}

/// Exact from 1685 to 2255, within 32 microseconds in any year.
template <class Stored>
void ConvertToMicroseconds(DataConvertParams, const uint8* source, uint32, uint8, uint8* target,
                           uint32, uint8&, unsigned long&) {
  const XeDateTime value(LoadValue<Stored>(source));
  StoreValue(target, static_cast<float64>(
                         XeDateTime::DifferenceInMicroseconds(value, XeDateTime(1970, 1, 1))));
}

/// How days and times are taken in.
struct DateTimeInput {
  XeDataType type;
  XeDateTime::UnitOfTime finest;
  DataConvert_t toFloat64;
  /// Null: the value is one.
  DataConvert_t toDateTime;
};

constexpr DateTimeInput kDateTimeInputs[] = {
    {XeDateData, XeDateTime::kDay, &ConvertDateToDays, &SUDataConvert::ConvertDateToDateTime},
    {XeTimeData, XeDateTime::kMinute, &ConvertToMicroseconds<XeTime>,
     &SUDataConvert::ConvertTimeToDateTime},
    {XeDateTimeData, XeDateTime::kMinute, &ConvertToMicroseconds<XeDateTime>, nullptr},
    {XeTimeStampData, XeDateTime::kMinute, &ConvertToMicroseconds<XeDateTime>, nullptr},
};

const DateTimeInput* FindDateTimeInput(XeDataType type) {
  for (const DateTimeInput& row : kDateTimeInputs) {
    if (row.type == type) return &row;
  }
  return nullptr;
}

[[noreturn]] void ThrowNotSupported(XeDataType type) {
  RExpression::throwExecutionError(kTypeNotSupported, L"Bin", type, XeUnknown);
}

DataConvert_t ConverterToFloat64(XeDataType type) {
  if (const DateTimeInput* const row = FindDateTimeInput(type)) return row->toFloat64;
  if (const NumericInput* const row = FindNumericInput(type)) return row->toFloat64;
  ThrowNotSupported(type);
}

/// Records that end with a field, whatever stands in them before `offset`.
XeRecordMetaData LayOutAt(uint32 offset, XeFieldDescriptor field) {
  field.SetOffsets(offset, 0);
  XeRecordMetaData layout;
  layout.SetFieldCount(1);
  layout.SetFieldDescriptor(0, std::make_shared<XeFieldDescriptor>(field));
  return layout;
}

/// Sorts such records by that field.
std::unique_ptr<SqrtSorter> MakeSorter(XeRecordMetaData& layout, std::size_t bufferBytes,
                                       OperatorTimer& timer) {
  auto sorter = std::make_unique<SqrtSorter>(layout.GetBinaryRecordSize(), timer);
  sorter->SetRowIdSorterMetadata(*Aggregate::MakeDistinctSortKeySet(layout, kAscending, false),
                                 layout);
  sorter->SetBufferBytes(bufferBytes);
  return sorter;
}

}  // namespace

RegularBinCalculator::RegularBinCalculator(XeDataType type, const std::optional<BinBounds>& bounds,
                                           std::size_t bufferBytes, OperatorTimer& timer)
    : bounds_(bounds), spool_(RecordPacker(sizeof(float64)), bufferBytes, timer) {
  if (bounds) {
    XE_ASSERT(std::isfinite(bounds->lower) && std::isfinite(bounds->upper));
    XE_ASSERT(bounds->lower <= bounds->upper);
  }
  converter_.fieldConvert_ = ConverterToFloat64(type);
}

void RegularBinCalculator::BeginGroup() {
  spool_.BeginInput();
  least_ = kInfinity;
  greatest_ = -kInfinity;
}

void RegularBinCalculator::Add(const uint8* value, uint32) {
  const float64 number = value == nullptr ? kNoNumber : Read(converter_, value);
  if (std::isfinite(number)) {
    least_ = std::min(least_, number);
    greatest_ = std::max(greatest_, number);
  }
  spool_.Append(reinterpret_cast<const uint8*>(&number));
}

void RegularBinCalculator::EndGroup(uint32 bins) {
  spool_.EndInput();
  if (bounds_) {
    bins_ = EqualWidthBins(bounds_->lower, bounds_->upper, bins);
  } else if (least_ <= greatest_) {
    bins_ = EqualWidthBins(least_, greatest_, bins);
  } else {
    // Without a finite value there is no width, but infinities still lie on either side.
    bins_ = EqualWidthBins(0, 0, bins);
  }
}

uint32 RegularBinCalculator::NextBin() {
  const uint8* const number = spool_.Next();
  return number == nullptr ? 0 : bins_.BinOf(LoadValue<float64>(number));
}

EqualDepthBinCalculator::EqualDepthBinCalculator(const XeFieldDescriptor& field,
                                                 std::size_t bufferBytes, OperatorTimer& timer)
    : valueOffset_(std::max<uint32>(sizeof(uint32),
                                    XeRecordMetaData::GetAlignmentBoundary(field.GetDataType()))) {
  XeRecordMetaData values = LayOutAt(valueOffset_, field);
  XeRecordMetaData rows =
      LayOutAt(offsetof(RowBin, row),
               XeFieldDescriptor(0, XeUInt4Data, sizeof(uint32), false, 0, 0, {}, {}));
  // One sorter is read while the other one is filled, and writing takes a quarter more.
  ranking_ = MakeSorter(values, bufferBytes / 3, timer);
  inputOrder_ = MakeSorter(rows, bufferBytes / 3, timer);
  valueKey_ = Aggregate::MakeDistinctSortKeySet(values, kAscending, false);
  for (auto& record : records_) record.Reserve(values.GetBinaryRecordSize());
}

void EqualDepthBinCalculator::BeginGroup() {
  ranking_->BeginInput();
  // What a short input record does not have of a value is zero.
  std::memset(records_[0].data(), 0, records_[0].capacity());
  rows_ = rankedRows_ = 0;
}

void EqualDepthBinCalculator::Add(const uint8* value, uint32 size) {
  const uint32 row = rows_++;
  if (value == nullptr) return;
  uint8* const record = records_[0].data();
  StoreValue(record, row);
  std::memcpy(record + valueOffset_, value, size);
  ranking_->SortRecord(record);
  ++rankedRows_;
}

void EqualDepthBinCalculator::EndGroup(uint32 bins) {
  ranking_->EndInput();
  inputOrder_->BeginInput();
  uint8* record = records_[0].data();
  uint8* previous = records_[1].data();
  RowBin placed{};
  for (uint32 position = 0; ranking_->GetRecord(record); ++position) {
    if (position == 0 || valueKey_->Compare(record, previous) != 0) {
      placed.bin = EqualDepthBin(position, rankedRows_, bins);
    }
    placed.row = LoadValue<uint32>(record);
    inputOrder_->SortRecord(reinterpret_cast<const uint8*>(&placed));
    std::swap(record, previous);
  }
  inputOrder_->EndInput();
  toldRows_ = 0;
  ReadNext();
}

void EqualDepthBinCalculator::ReadNext() {
  hasNext_ = inputOrder_->GetRecord(reinterpret_cast<uint8*>(&next_));
}

uint32 EqualDepthBinCalculator::NextBin() {
  const uint32 row = toldRows_++;
  // The rows between are NULL.
  if (!hasNext_ || next_.row != row) return 0;
  const uint32 bin = next_.bin;
  ReadNext();
  return bin;
}

DateTimeBinCalculator::DateTimeBinCalculator(XeDataType type, std::size_t bufferBytes,
                                             OperatorTimer& timer)
    : spool_(RecordPacker(sizeof(XeDateTime)), bufferBytes, timer) {
  const DateTimeInput* const row = FindDateTimeInput(type);
  if (row == nullptr) ThrowNotSupported(type);
  converter_.fieldConvert_ = row->toDateTime;
  finest_ = row->finest;
  firstDayOfWeek_ = XeIntlDateTimeMgr::GetFirstDayOfWeek();
}

void DateTimeBinCalculator::BeginGroup() {
  spool_.BeginInput();
  first_ = last_ = kNoDay;
}

void DateTimeBinCalculator::Add(const uint8* value, uint32) {
  XeDateTime dateTime = kNoDay;
  if (value != nullptr) {
    dateTime = Read(converter_, value);
    XeCalendar::RequireDay(dateTime.GetDate());
    if (first_ == kNoDay || dateTime < first_) first_ = dateTime;
    if (last_ == kNoDay || last_ < dateTime) last_ = dateTime;
  }
  spool_.Append(reinterpret_cast<const uint8*>(&dateTime));
}

void DateTimeBinCalculator::EndGroup(uint32 bins) {
  spool_.EndInput();
  if (first_ != kNoDay) bins_.emplace(first_, last_, bins, finest_, firstDayOfWeek_);
}

uint32 DateTimeBinCalculator::NextBin() {
  const uint8* const record = spool_.Next();
  if (record == nullptr) return 0;
  const auto value = LoadValue<XeDateTime>(record);
  return value == kNoDay ? 0 : bins_->BinOf(value);
}

}  // namespace sqxer
