#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <optional>
#include <span>

#include "SQXERExpression.h"
#include "Utility/VelmarNumber.h"
#include "Utility/XeAListStream.h"
#include "Utility/XeRecordMetaData.h"
#include "support/Sanitizers.h"

namespace sqxer::test {

/// The stored types, short enough for tables.
inline constexpr auto Bit = XeBitData, Char = XeCharData, VarChar = XeVarCharData,
                      LongChar = XeLongVarCharData, Bin = XeBinaryData, VarBin = XeVarBinaryData,
                      LongBin = XeLongVarBinaryData, Int1 = XeInt1Data, UInt1 = XeUInt1Data,
                      Int2 = XeInt2Data, UInt2 = XeUInt2Data, Int4 = XeInt4Data,
                      UInt4 = XeUInt4Data, Float = XeFloatData, Double = XeDoubleData,
                      Numeric = XeNumericData, Date = XeDateData, Time = XeTimeData,
                      DateTime = XeDateTimeData, Span = XeIntervalData, Stamp = XeTimeStampData,
                      Bool = XeBoolean;

/// One field of a TestRecord. Length 0 is the width of a type of fixed width.
struct TestField {
  XeDataType type;
  uint32 length = 0;
  bool nullable = true;
  XeString name = {};
};

/// Calls `use` with a zero of the C++ type in which numbers of a type are stored.
template <class Use>
void WithNumber(XeDataType type, Use use) {
  const auto when = [&](auto zero, auto... types) {
    const bool isOne = ((type == types) || ...);
    if (isOne) use(zero);
  };
  when(uint8{}, XeBitData, XeBoolean, XeUInt1Data);
  when(int8{}, XeInt1Data);
  when(int16{}, XeInt2Data);
  when(uint16{}, XeUInt2Data);
  when(int32{}, XeInt4Data);
  when(uint32{}, XeUInt4Data);
  when(float32{}, XeFloatData);
  when(float64{}, XeDoubleData);
  when(VelmarNumber{}, XeNumericData);
}
inline float64 AsDouble(const VelmarNumber& number) { return number.asDouble(); }
template <class Number>
float64 AsDouble(Number number) {
  return number;
}

/// A record layout with a buffer of exactly its size (so that the sanitizer sees overruns), all
/// zero at first: every field holds zero or the empty text and is not NULL. Unnamed fields are
/// called f0, f1 and so on.
class TestRecord {
 public:
  explicit TestRecord(std::initializer_list<TestField> fields, bool unicodeRecord = true)
      : TestRecord(std::span(fields.begin(), fields.size()), unicodeRecord) {}
  explicit TestRecord(std::span<const TestField> fields, bool unicodeRecord = true)
      : layout_(unicodeRecord) {
    for (const TestField& field : fields) {
      const XeString number = std::to_wstring(&field - fields.data());
      layout_.AddField(
          field.type,
          field.length != 0 ? field.length : XeFieldDescriptor::GetObjectLength(field.type, 0),
          field.nullable, field.name.empty() ? L"f" + number : field.name);
    }
    layout_.GenerateAlignedFieldOffset();
    buffer_ = std::make_unique<uint8[]>(size());
    stream_.emplace(&layout_, buffer());
  }

  XeRecordMetaData& layout() { return layout_; }
  XeAListStream* stream() { return &*stream_; }
  uint8* buffer() { return buffer_.get(); }
  uint32 size() { return layout_.GetBinaryRecordSize(); }
  const XeFieldDescriptor& field(int position) const {
    return *layout_.GetFieldDescriptor(position);
  }
  uint8* data(int position) { return buffer() + field(position).GetDataOffset(); }
  /// Null for a field that is never NULL.
  uint8* nullByte(int position) {
    const uint32 offset = field(position).GetNullOffset();
    return offset == 0 ? nullptr : buffer() + offset;
  }

  /// Stores a value of the field's own width.
  template <class Value>
  TestRecord& Set(int position, const Value& value) {
    std::memcpy(data(position), &value, sizeof(Value));
    return SetNull(position, false);
  }
  template <class Value>
  Value Get(int position) {
    Value value;
    std::memcpy(&value, data(position), sizeof(Value));
    return value;
  }
  /// Stores or reads a number in whatever numeric type the field has.
  TestRecord& SetNumber(int position, float64 value) {
    WithNumber(field(position).GetDataType(),
               [&](auto zero) { Set(position, static_cast<decltype(zero)>(value)); });
    return *this;
  }
  std::optional<float64> GetNumber(int position) {
    std::optional<float64> value;
    WithNumber(field(position).GetDataType(), [&](auto zero) {
      if (!IsNull(position)) value = AsDouble(Get<decltype(zero)>(position));
    });
    return value;
  }
  /// Stores a text (or, one byte a character, a binary): a field of fixed length is padded with
  /// blanks (zero bytes) and ended by a zero character, the others are preceded by their length.
  TestRecord& SetText(int position, std::wstring_view text) {
    const XeDataType type = field(position).GetDataType();
    const bool binary = SUXeDataTypeUtility::IsXeBinaryType(type);
    XeString stored(text);
    uint8* at = data(position);
    if (type == XeCharData || type == XeBinaryData) {
      stored.resize(field(position).GetLength(), binary ? L'\0' : L' ');
    } else {
      Set(position, static_cast<uint32>(text.size()));
      at += kLongVarPrefix;
    }
    if (binary) {
      for (const wchar_t byte : stored) *at++ = static_cast<uint8>(byte);
    } else {
      std::memcpy(at, stored.c_str(), (stored.size() + (type == XeCharData)) * sizeof(wchar_t));
    }
    return SetNull(position, false);
  }
  /// The text of a character field, padding included.
  XeString GetText(int position) {
    const bool fixed = field(position).GetDataType() == XeCharData;
    const uint8* at = data(position) + (fixed ? 0 : kLongVarPrefix);
    return XeString(reinterpret_cast<const wchar_t*>(at),
                    fixed ? field(position).GetLength() : Get<uint32>(position));
  }
  TestRecord& SetNull(int position, bool null = true) {
    if (uint8* byte = nullByte(position)) *byte = null;
    return *this;
  }
  bool IsNull(int position) { return nullByte(position) != nullptr && *nullByte(position) != 0; }

  /// Binds a whole tree to this record; owns `root` from here on.
  std::unique_ptr<RExpression> Bind(RExpression* root) {
    info = {};
    return BindTree(std::unique_ptr<RExpression>(root), stream(), info);
  }
  /// Binds a tree as an operand is bound, with narrow columns widened; must succeed.
  std::unique_ptr<RExpression> BindOperand(RExpression* operand) {
    RExpression* replacement = nullptr;
    BindInPlace(operand, stream(), replacement, info = {});
    return std::unique_ptr<RExpression>(operand);
  }
  /// What the last binding told.
  MetaDataInfo info;

 private:
  XeRecordMetaData layout_;
  std::unique_ptr<uint8[]> buffer_;
  std::optional<XeAListStream> stream_;
};

/// Whether allocations are counted. Not under the address sanitizer: it checks that new and delete
/// match only as long as they are its own.
#if defined(SQXER_ADDRESS_SANITIZER)
inline constexpr bool kCountsAllocations = false;
#else
inline constexpr bool kCountsAllocations = true;
#endif

/// Blocks that this program, its libraries included, has taken so far; constant when they are not
/// counted.
std::size_t AllocationCount();

/// Evaluates a tree whose values have the given form: nothing for NULL. Any other status than a
/// value or NULL fails the test, and so does an evaluation that takes memory when it is not the
/// first.
template <class Value>
std::optional<Value> EvalAs(RExpression& tree) {
  alignas(16) Value value{};
  tree.Eval(&value);
  const std::size_t blocks = AllocationCount();
  const RExprReturn status = tree.Eval(&value);
  EXPECT_EQ(AllocationCount(), blocks) << "the row path takes memory";
  EXPECT_TRUE(status == kTrue || status == kUnknown) << "status " << status;
  return status == kTrue ? std::optional(value) : std::nullopt;
}

/// The same for a tree that gives text, fixed or long.
inline std::optional<XeString> EvalText(RExpression& tree) {
  if (tree.GetResultDataType() == XeCharData) {
    const auto text = EvalAs<wchar_t*>(tree);
    return text ? std::optional<XeString>(*text) : std::nullopt;
  }
  const auto text = EvalAs<RefLongVarChar>(tree);
  return text ? std::optional<XeString>(XeString(text->buffer_, text->length_)) : std::nullopt;
}

}  // namespace sqxer::test
