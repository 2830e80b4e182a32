#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <initializer_list>
#include <memory>
#include <new>
#include <optional>
#include <span>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "SQXERExpression.h"
#include "Utility/VelmarNumber.h"
#include "Utility/XeAListStream.h"
#include "Utility/XeDateTime.h"
#include "Utility/XeRecordMetaData.h"

namespace sqxer::test {

/// One field of a TestRecord. Length 0 is the width of a type of fixed width.
struct TestField {
  XeDataType type;
  uint32 length = 0;
  bool nullable = true;
  XeString name = {};
};

/// A record layout with a buffer of exactly its size (so that the sanitizer sees overruns), all
/// zero at first: every field holds zero or the empty text and is not NULL. Unnamed fields are
/// called f0, f1 and so on.
class TestRecord {
 public:
  explicit TestRecord(std::initializer_list<TestField> fields, bool unicodeRecord = true)
      : TestRecord(std::span(fields.begin(), fields.size()), unicodeRecord) {}
  explicit TestRecord(std::span<const TestField> fields, bool unicodeRecord = true)
      : layout_(unicodeRecord) {
    for (std::size_t i = 0; i < fields.size(); ++i) {
      const TestField& field = fields[i];
      const uint32 length =
          field.length != 0 ? field.length : XeFieldDescriptor::GetObjectLength(field.type, 0);
      layout_.AddField(field.type, length, field.nullable,
                       field.name.empty() ? L"f" + std::to_wstring(i) : field.name);
    }
    layout_.GenerateAlignedFieldOffset();
    size_ = layout_.GetBinaryRecordSize();
    buffer_.reset(static_cast<uint8*>(::operator new (size_, std::align_val_t{16})));
    std::memset(buffer_.get(), 0, size_);
    stream_.emplace(&layout_, buffer_.get());
  }

  XeRecordMetaData& layout() { return layout_; }
  XeAListStream* stream() { return &*stream_; }
  uint8* buffer() { return buffer_.get(); }
  uint32 size() const { return size_; }
  const XeFieldDescriptor& field(int position) const {
    return *layout_.GetFieldDescriptor(position);
  }
  uint8* data(int position) { return buffer() + field(position).GetDataOffset(); }
  /// Null for a field that is never NULL.
  uint8* nullByte(int position) {
    const uint32 offset = field(position).GetNullOffset();
    return offset == 0 ? nullptr : buffer() + offset;
  }

  /// Stores a value of fixed width, which must be that of the field.
  template <class Value>
  TestRecord& Set(int position, const Value& value) {
    static_assert(std::is_trivially_copyable_v<Value>);
    if (sizeof(Value) != XeFieldDescriptor::GetObjectLength(field(position).GetDataType(), 0)) {
      throw std::logic_error("a value of another width than the field's");
    }
    std::memcpy(data(position), &value, sizeof(Value));
    return SetNull(position, false);
  }
  template <class Value>
  Value Get(int position) {
    Value value;
    std::memcpy(&value, data(position), sizeof(Value));
    return value;
  }
  /// Stores a number in whatever numeric type the field has.
  TestRecord& SetNumber(int position, float64 value) {
    switch (field(position).GetDataType()) {
      case XeBitData:
      case XeBoolean:
      case XeUInt1Data:
        return Set(position, static_cast<uint8>(value));
      case XeInt1Data:
        return Set(position, static_cast<int8>(value));
      case XeInt2Data:
        return Set(position, static_cast<int16>(value));
      case XeUInt2Data:
        return Set(position, static_cast<uint16>(value));
      case XeInt4Data:
        return Set(position, static_cast<int32>(value));
      case XeUInt4Data:
        return Set(position, static_cast<uint32>(value));
      case XeFloatData:
        return Set(position, static_cast<float32>(value));
      case XeDoubleData:
        return Set(position, value);
      case XeNumericData:
        return Set(position, VelmarNumber(value));
      default:
        throw std::logic_error("not a numeric field");
    }
  }
  /// Stores a text (or, one byte a character, a binary): a field of fixed length is padded with
  /// blanks (zero bytes) and ended by a zero character, the others are preceded by their length.
  TestRecord& SetText(int position, std::wstring_view text) {
    const XeFieldDescriptor& target = field(position);
    const uint32 declared = target.GetLength();
    if (text.size() > declared) throw std::logic_error("a text longer than the field");
    const XeDataType type = target.GetDataType();
    uint8* at = data(position);
    if (type == XeCharData) {
      XeString padded(text);
      padded.resize(declared, L' ');
      std::memcpy(at, padded.c_str(), (declared + 1) * sizeof(wchar_t));
    } else if (type == XeBinaryData) {
      for (uint32 i = 0; i < declared; ++i)
        at[i] = static_cast<uint8>(i < text.size() ? text[i] : 0);
    } else {
      const uint32 length = static_cast<uint32>(text.size());
      std::memcpy(at, &length, sizeof(length));
      at += kLongVarPrefix;
      if (SUXeDataTypeUtility::IsXeBinaryType(type)) {
        for (uint32 i = 0; i < length; ++i) at[i] = static_cast<uint8>(text[i]);
      } else {
        std::memcpy(at, text.data(), length * sizeof(wchar_t));
      }
    }
    return SetNull(position, false);
  }
  /// The text of a character field, padding included.
  XeString GetText(int position) {
    const XeFieldDescriptor& source = field(position);
    const uint8* at = data(position);
    uint32 length = source.GetLength();
    if (source.GetDataType() != XeCharData) {
      std::memcpy(&length, at, sizeof(length));
      at += kLongVarPrefix;
    }
    return XeString(reinterpret_cast<const wchar_t*>(at), length);
  }
  TestRecord& SetNull(int position, bool null = true) {
    if (uint8* byte = nullByte(position)) {
      *byte = null ? 1 : 0;
    } else if (null) {
      throw std::logic_error("a field that is never NULL");
    }
    return *this;
  }
  bool IsNull(int position) { return nullByte(position) != nullptr && *nullByte(position) != 0; }

  /// Binds a whole tree to this record; owns `root` from here on.
  std::unique_ptr<RExpression> Bind(RExpression* root, MetaDataInfo* info = nullptr) {
    MetaDataInfo own;
    return BindTree(std::unique_ptr<RExpression>(root), stream(), info != nullptr ? *info : own);
  }
  /// Binds a tree as an operand is bound: narrow columns are widened.
  std::unique_ptr<RExpression> BindOperand(RExpression* operand, MetaDataInfo* info = nullptr) {
    MetaDataInfo own;
    std::unique_ptr<RExpression> owner(operand);
    RExpression* replacement = nullptr;
    RExpression* slot = operand;
    BindInPlace(slot, stream(), replacement, info != nullptr ? *info : own);
    (void)owner.release();
    return std::unique_ptr<RExpression>(slot);
  }

 private:
  struct Free {
    void operator()(uint8* block) const { ::operator delete (block, std::align_val_t{16}); }
  };
  XeRecordMetaData layout_;
  uint32 size_ = 0;
  std::unique_ptr<uint8[], Free> buffer_;
  std::optional<XeAListStream> stream_;
};

/// Evaluates a tree whose values have the given form: nothing for NULL. Any other status than a
/// value or NULL fails the test.
template <class Value>
std::optional<Value> EvalAs(RExpression& tree) {
  alignas(16) Value value{};
  const RExprReturn status = tree.Eval(&value);
  EXPECT_TRUE(status == kTrue || status == kUnknown) << "status " << status;
  if (status != kTrue) return std::nullopt;
  return value;
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
