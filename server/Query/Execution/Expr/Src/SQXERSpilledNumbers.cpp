#include "SQXERSpilledNumbers.h"

#include <cmath>
#include <cstddef>

namespace sqxer {
namespace {

/// What of the sorted numbers waits in memory to be written.
constexpr std::size_t kWaitingBytes = std::size_t{64} << 10;

}  // namespace

SpilledNumbers::SpilledNumbers(const SettingsRef& settings)
    : sorter_(sizeof(Record), timer_, false, false, settings) {
  XeRecordMetaData layout;
  layout.SetFieldCount(2);
  const auto add = [&](int index, XeDataType type, std::size_t bytes, std::size_t offset) {
    auto field = std::make_shared<XeFieldDescriptor>(static_cast<uint16>(index), type,
                                                     static_cast<uint32>(bytes), false, int16{0}, 0,
                                                     XeRecordMetaData::exprFieldName_, L"");
    field->SetOffsets(static_cast<uint32>(offset), 0);
    layout.SetFieldDescriptor(index, std::move(field));
  };
  add(0, XeDoubleData, sizeof(float64), offsetof(Record, value));
  add(1, XeUInt1Data, sizeof(uint8), offsetof(Record, isPositive));
  KeySet keys;
  for (int i = 0; i < 2; ++i) {
    keys.Add(KeyDesc(*layout.GetFieldDescriptor(i), kAscending, kCompareCodePoints));
  }
  sorter_.SetRowIdSorterMetadata(keys, layout);
  sorter_.BeginInput();
}

void SpilledNumbers::Add(float64 value) {
  const Record record{value, static_cast<uint8>(!std::signbit(value))};
  sorter_.SortRecord(reinterpret_cast<const uint8*>(&record));
  ++count_;
}

void SpilledNumbers::Sort() {
  sorter_.EndInput();
  sorted_.emplace(RecordPacker(sizeof(float64)), kWaitingBytes, timer_);
  sorted_->BeginInput();
  Record record{};
  while (sorter_.GetRecord(reinterpret_cast<uint8*>(&record))) {
    sorted_->Append(reinterpret_cast<const uint8*>(&record.value));
  }
  sorted_->EndInput();
}

float64 SpilledNumbers::At(std::size_t rank) {
  float64 value;
  sorted_->ReadAt(rank * sizeof(float64), reinterpret_cast<uint8*>(&value));
  return value;
}

}  // namespace sqxer
