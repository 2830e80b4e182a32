#include "ArrowColumn.h"

#include <algorithm>

#include "Utility/XeAssert.h"

namespace sqxer {
namespace {

constexpr uint64 kPadding = ColumnBuffer::kColumnPadding;

bool IsRunEndKind(ArrowKind kind) {
  return kind == ArrowKind::kInt16 || kind == ArrowKind::kInt32 || kind == ArrowKind::kInt64;
}

bool IsAligned(const void* data, uint64 alignment) {
  return reinterpret_cast<std::uintptr_t>(data) % alignment == 0;
}

/// A column of NULLs has the type that one of a text file without values has.
ColumnVector MakeNulls(const ArrowView& view, const ArrowReading& reading) {
  ArrowParts parts(reading);
  ColumnVector vector;
  vector.form = ColumnForm::kText8;
  vector.isAscii = true;
  const uint64 bytes = (view.rows + 1) * sizeof(uint32);
  uint8* const offsets = parts.MakeRoom(bytes);
  std::memset(offsets, 0, bytes);
  vector.offsets = offsets;
  vector.values = parts.MakeRoom(1);
  const uint64 bits = (view.rows + 63) / 64 * sizeof(uint64);
  ColumnBuffer validity;
  validity.Reserve(std::max(bits, uint64{1}));
  std::memset(validity.GetData(), 0, bits);
  parts.Finish(view, vector, std::move(validity));
  return vector;
}

ColumnVector ExpandBools(const ArrowView& view, const ArrowReading& reading) {
  constexpr uint64 kBitOfByte = 0x8040201008040201;
  constexpr uint64 kOnes = 0x0101010101010101;
  ArrowParts parts(reading);
  ColumnVector vector;
  vector.form = ColumnForm::kUInt8;
  uint8* const out = parts.MakeRoom(view.rows);
  const uint8* const bits = view.GetBuffer(1);
  uint64 row = 0;
  const auto one = [&] {
    const uint64 bit = view.first + row;
    out[row] = bits[bit / 8] >> bit % 8 & 1;
    ++row;
  };
  while (row < view.rows && (view.first + row) % 8 != 0) one();
  for (; row + 8 <= view.rows; row += 8) {
    // A byte eight times over, of which each keeps a bit of its own, moved down by a carry.
    const uint64 spread = bits[(view.first + row) / 8] * kOnes & kBitOfByte;
    const uint64 truths = (((spread & ~(kOnes << 7)) + (kOnes * 0x7F)) | spread) >> 7 & kOnes;
    std::memcpy(out + row, &truths, sizeof truths);
  }
  while (row < view.rows) one();
  vector.values = out;
  parts.Finish(view, vector);
  return vector;
}

}  // namespace

const uint8* ArrowParts::Share(const uint8* data, uint64 bytes, uint64 behind, uint64 alignment) {
  if (behind >= kPadding && IsAligned(data, alignment)) {
    isShared_ = true;
    return data;
  }
  uint8* const copy = MakeRoom(bytes);
  if (bytes > 0) std::memcpy(copy, data, bytes);
  return copy;
}

uint8* ArrowParts::MakeRoom(uint64 bytes) {
  ColumnBuffer& buffer = buffers_.emplace_back();
  buffer.Reserve(std::max(bytes, uint64{1}));
  return buffer.GetData();
}

void ArrowParts::Finish(const ArrowView& view, ColumnVector& vector,
                        std::optional<ColumnBuffer> validity) {
  vector.rows = view.rows;
  if (validity) {
    buffers_.push_back(std::move(*validity));
    vector.validity = buffers_.back().As<uint64>();
  } else if (view.MayHaveNulls()) {
    const ArrowBits& bits = view.validity;
    const bool isAlone = view.parentValidity.bits == nullptr && bits.first % 8 == 0;
    const uint8* const start = isAlone ? bits.bits + bits.first / 8 : nullptr;
    if (isAlone && bits.behind >= 8 * kPadding && IsAligned(start, alignof(uint64))) {
      vector.validity = reinterpret_cast<const uint64*>(start);
      isShared_ = true;
    } else {
      CopyArrowValidity(view, buffers_.emplace_back());
      vector.validity = buffers_.back().As<uint64>();
    }
  }
  struct Kept {
    std::vector<ColumnBuffer> buffers;
    std::shared_ptr<const void> array;
  };
  vector.owner = std::make_shared<Kept>(
      Kept{std::move(buffers_), isShared_ ? reading_.owner : std::shared_ptr<const void>()});
}

ColumnVector ShareArrowValues(const ArrowView& view, const ArrowReading& reading, ColumnForm form,
                              int scale) {
  ArrowParts parts(reading);
  ColumnVector vector;
  vector.form = form;
  vector.scale = static_cast<int16>(scale);
  const uint64 width = WidthOfForm(form);
  vector.values = parts.Share(view.GetBuffer(1) + view.first * width, view.rows * width,
                              (view.end - view.first - view.rows) * width,
                              std::min(width, uint64{alignof(int128)}));
  parts.Finish(view, vector);
  return vector;
}

std::optional<XeDataType> TypeOfArrowField(const ArrowField& field, bool takesBinaryAsText) {
  if (field.dictionary) return TypeOfArrowField(*field.dictionary, takesBinaryAsText);
  const auto isRead = [&](const ArrowField& child) {
    return TypeOfArrowField(child, takesBinaryAsText).has_value();
  };
  switch (field.kind) {
    case ArrowKind::kNotRead:
      return std::nullopt;
    case ArrowKind::kBool:
      return XeBoolean;
    case ArrowKind::kInt8:
      return XeInt1Data;
    case ArrowKind::kUInt8:
      return XeUInt1Data;
    case ArrowKind::kInt16:
      return XeInt2Data;
    case ArrowKind::kUInt16:
      return XeUInt2Data;
    case ArrowKind::kInt32:
      return XeInt4Data;
    case ArrowKind::kUInt32:
      return XeUInt4Data;
    case ArrowKind::kInt64:
    case ArrowKind::kUInt64:
    case ArrowKind::kDecimal:
    case ArrowKind::kDuration:
      return XeNumericData;
    case ArrowKind::kFloat16:
    case ArrowKind::kFloat32:
      return XeFloatData;
    case ArrowKind::kFloat64:
      return XeDoubleData;
    case ArrowKind::kDate32:
    case ArrowKind::kDate64:
      return XeDateData;
    case ArrowKind::kTime32:
    case ArrowKind::kTime64:
      return XeTimeData;
    case ArrowKind::kTimeStamp:
      return XeTimeStampData;
    case ArrowKind::kMonths:
    case ArrowKind::kDayTime:
    case ArrowKind::kMonthDayNano:
      return XeIntervalData;
    case ArrowKind::kNull:
      return XeVarCharData;
    case ArrowKind::kBytes:
    case ArrowKind::kLargeBytes:
    case ArrowKind::kBytesView:
    case ArrowKind::kFixedBytes:
      return field.isText || takesBinaryAsText ? std::optional(XeVarCharData) : std::nullopt;
    case ArrowKind::kRunEnd:
      return IsRunEndKind(field.children[0].kind)
                 ? TypeOfArrowField(field.children[1], takesBinaryAsText)
                 : std::nullopt;
    case ArrowKind::kList:
    case ArrowKind::kLargeList:
    case ArrowKind::kListView:
    case ArrowKind::kLargeListView:
    case ArrowKind::kFixedList:
    case ArrowKind::kStruct:
    case ArrowKind::kMap:
      return std::ranges::all_of(field.children, isRead) ? std::optional(XeVarCharData)
                                                         : std::nullopt;
  }
  return std::nullopt;
}

ArrowColumn ReadArrowColumn(const ArrowView& view, const ArrowReading& reading) {
  if (view.field->dictionary) return ReadArrowCodes(view, reading);
  switch (view.field->kind) {
    case ArrowKind::kNotRead:
      XeLogicError("a column without a type is read");
    case ArrowKind::kNull:
      return {MakeNulls(view, reading)};
    case ArrowKind::kBool:
      return {ExpandBools(view, reading)};
    case ArrowKind::kDate32:
    case ArrowKind::kDate64:
    case ArrowKind::kTime32:
    case ArrowKind::kTime64:
    case ArrowKind::kTimeStamp:
      return {ReadArrowTimes(view, reading)};
    case ArrowKind::kMonths:
    case ArrowKind::kDayTime:
    case ArrowKind::kMonthDayNano:
      return {ReadArrowIntervals(view, reading)};
    case ArrowKind::kBytes:
    case ArrowKind::kLargeBytes:
    case ArrowKind::kBytesView:
    case ArrowKind::kFixedBytes:
      return ReadArrowTexts(view, reading);
    case ArrowKind::kRunEnd:
      return ReadArrowCodes(view, reading);
    case ArrowKind::kList:
    case ArrowKind::kLargeList:
    case ArrowKind::kListView:
    case ArrowKind::kLargeListView:
    case ArrowKind::kFixedList:
    case ArrowKind::kStruct:
    case ArrowKind::kMap:
      return ReadArrowJson(view, reading);
    default:
      return {ReadArrowNumbers(view, reading)};
  }
}

}  // namespace sqxer
