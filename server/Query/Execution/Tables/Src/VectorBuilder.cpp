#include "VectorBuilder.h"

#include <algorithm>

#include "VectorBuilders.h"

namespace sqxer {

std::unique_ptr<VectorBuilder> VectorBuilder::Make(XeDataType type, uint32 length,
                                                   const Options& options) {
  switch (type) {
    case XeCharData:
    case XeVarCharData:
      return MakeTextBuilder(length, options);
    case XeNumericData:
      return MakeDecimalBuilder(options);
    case XeDateData:
    case XeTimeData:
    case XeTimeStampData:
      return MakeDateTimeBuilder(type, options);
    case XeIntervalData:
      return MakeIntervalBuilder(options);
    default:
      return MakeNumberBuilder(type, options);
  }
}

void VectorBuilder::FillValidity(uint64 rows) {
  constexpr uint64 kWordBits = 64;
  if (validRows_ >= rows) return;
  validity_.Reserve((rows + kWordBits - 1) / kWordBits * sizeof(uint64));
  for (; validRows_ < rows; validRows_ += kWordBits) {
    validity_.As<uint64>()[validRows_ / kWordBits] = ~uint64{0};
  }
}

void VectorBuilder::MarkNull(uint64 row) {
  FillValidity(row + 1);
  validity_.As<uint64>()[row / 64] &= ~(uint64{1} << row % 64);
  ++nulls_;
}

void VectorBuilder::DescribeBlockTo(uint64 end) {
  ColumnVector vector = ShowValues();
  if (nulls_ > 0) {
    FillValidity(end);
    vector.validity = validity_.As<uint64>();
  }
  while (blocks_.size() * kColumnBlockRows < end) {
    const uint64 first = blocks_.size() * kColumnBlockRows;
    blocks_.push_back(
        DescribeBlock(vector, first, std::min(first + kColumnBlockRows, end), endsInBlank_));
  }
  endsInBlank_ = false;
}

ColumnVector VectorBuilder::Take() {
  if (rows_ % kColumnBlockRows != 0) DescribeBlockTo(rows_);
  ColumnVector vector = TakeValues();
  vector.rows = rows_;
  vector.blocks = std::move(blocks_);
  if (nulls_ > 0) {
    FillValidity(rows_);
    validity_.Shrink((rows_ + 7) / 8);
    struct Kept {
      ColumnBuffer validity;
      std::shared_ptr<const void> values;
    };
    auto kept = std::make_shared<Kept>(Kept{std::move(validity_), std::move(vector.owner)});
    vector.validity = kept->validity.As<uint64>();
    vector.owner = std::move(kept);
  }
  rows_ = nulls_ = validRows_ = 0;
  longest_ = 0;
  blocks_.clear();
  return vector;
}

ColumnVector ConvertTexts(const ColumnVector& texts, XeDataType type) {
  const auto builder =
      VectorBuilder::Make(type, VectorBuilder::kAnyLength, VectorBuilder::Options());
  builder->Expect(texts.rows);
  const ColumnVector& entries = texts.dictionary ? *texts.dictionary : texts;
  std::string text;
  for (uint64 row = 0; row < texts.rows; ++row) {
    if (texts.IsNull(row)) {
      builder->AppendNull();
      continue;
    }
    // Numbers, dates and truth values are ASCII.
    const uint64 entry = texts.dictionary ? texts.GetCode(row) : row;
    const uint64 start = entries.GetOffset(entry);
    const auto* const characters = reinterpret_cast<const char*>(entries.values) + start;
    builder->Append({characters, entries.GetOffset(entry + 1) - start});
  }
  return builder->Take();
}

}  // namespace sqxer
