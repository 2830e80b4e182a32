#pragma once

#include <cstring>

#include "SQXERExpression.h"
#include "Utility/SUDataConvert.h"
#include "Utility/VelmarNumber.h"
#include "Utility/XeDateTime.h"

namespace sqxer {

/// A column of the input record. The plan builder makes the generic node; its Bind finds the field,
/// fixes the addresses of the value and of the null indicator, and replaces it by the typed reader
/// below that fits the stored type. Narrow types are widened to the computation types unless the
/// column is the whole tree.
///
/// Bind errors: 59014 for a position past the last field, 46030 (position, field count) for a
/// negative one, 59015 (name) for an unknown name, 59003 (type) for a stored type without a reader.
class SQXEREXPR_API Extract : public RExpression {
 public:
  /// The field at a position.
  explicit Extract(int fieldIndex, bool isGrandTotal = false);
  /// The first field of that name, letter case ignored.
  explicit Extract(XeString fieldName, bool isGrandTotal = false);

  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprReturn Eval(void* out) override;
  bool EvalBatch(const BatchRows& rows, BatchVector& out) override;
  bool HasBatchLoop() override;
  bool GivesSameAs(RExpression& other) override {
    return fieldIndex_ == static_cast<Extract&>(other).fieldIndex_;
  }
  BatchCost GetBatchCost() override {
    return Extract::HasBatchLoop() ? BatchCost::kFree : BatchCost::kDear;
  }
  RExprType GetExpressionType() override { return kExtractExpression; }
  RExpression* GetIthOperand(int index) override;
  void SetIthOperand(int index, RExpression* operand) override;

  /// The position, or -1 for a column that is named and not bound yet.
  int GetFieldIndex() const { return fieldIndex_; }
  bool IsGrandTotalExpr() const { return m_bGrandTotal; }
  const XeString& GetFieldName() const { return fieldName_; }
  /// Whether the value stands in the record.
  virtual bool ReadsRecord() const { return true; }
  /// Null before Bind.
  const XeFieldDescriptorRef& GetFieldDescriptor() const { return fieldDescriptor_; }

 protected:
  /// For the typed readers: `nullPointer` is null when the field is never NULL. A stored type that
  /// readers of `kind` do not accept is a broken invariant.
  Extract(RExprType kind, int fieldIndex, XeFieldDescriptorRef descriptor, uint8* dataPointer,
          uint8* nullPointer, XeDataType resultType);

  bool IsNull() const { return nullPointer_ != nullptr && *nullPointer_ != 0; }
  /// Whether the field's bytes are not the value: it is NULL, or must be converted.
  bool IsHeldUp() const { return *guard_ != 0; }
  /// What Eval of a reader that can convert does when it is held up.
  RExprReturn EvalHeldUp(void* out);

  int fieldIndex_;
  XeString fieldName_;
  XeFieldDescriptorRef fieldDescriptor_;
  uint8* dataPointer_ = nullptr;
  uint8* nullPointer_ = nullptr;
  bool m_bGrandTotal;
  /// What brings the stored form into the reader's own, or null where the bytes are copied.
  DataConvert_t convert_ = nullptr;

 private:
  /// Non-zero at this address holds a reader up. It is the null indicator where the bytes are
  /// copied, else a byte that never changes: so a plain value takes one test.
  const uint8* guard_ = nullptr;
};

/// Reader of a value of fixed width.
template <class Value, RExprType kind>
class ExtractValue : public Extract {
 public:
  ExtractValue(int fieldIndex, XeFieldDescriptorRef descriptor, uint8* dataPointer,
               uint8* nullPointer, XeDataType resultType)
      : Extract(kind, fieldIndex, std::move(descriptor), dataPointer, nullPointer, resultType) {}

  RExprType GetExpressionType() override { return kind; }
  RExprReturn Eval(void* out) override {
    if (IsHeldUp()) return EvalHeldUp(out);
    std::memcpy(out, dataPointer_, sizeof(Value));
    return kTrue;
  }
};

/// Reader of a fixed text or binary: the value is the address of the field.
template <RExprType kind>
class ExtractAddress : public Extract {
 public:
  ExtractAddress(int fieldIndex, XeFieldDescriptorRef descriptor, uint8* dataPointer,
                 uint8* nullPointer, XeDataType resultType)
      : Extract(kind, fieldIndex, std::move(descriptor), dataPointer, nullPointer, resultType) {}

  RExprType GetExpressionType() override { return kind; }
  RExprReturn Eval(void* out) override {
    if (IsHeldUp()) return kUnknown;
    *static_cast<uint8**>(out) = dataPointer_;
    return kTrue;
  }
};

/// Whether a reader of long text puts a zero character behind the last one, into the record.
enum class Terminator { kNone, kWritten };

/// Reader of a value that is exchanged as length and address; the length stands before the value in
/// the record or, for a field of fixed length, is the declared one.
template <class Reference, RExprType kind, Terminator terminator>
class ExtractReference : public Extract {
 public:
  ExtractReference(int fieldIndex, XeFieldDescriptorRef descriptor, uint8* dataPointer,
                   uint8* nullPointer, XeDataType resultType)
      : Extract(kind, fieldIndex, std::move(descriptor), dataPointer, nullPointer, resultType),
        declaredLength_(fieldDescriptor_->GetLength()) {
    const XeDataType stored = fieldDescriptor_->GetDataType();
    if (stored == XeCharData || stored == XeBinaryData) {
      lengthPointer_ = reinterpret_cast<const uint8*>(&declaredLength_);
      first_ = reinterpret_cast<Element*>(dataPointer_);
    } else {
      lengthPointer_ = dataPointer_;
      first_ = reinterpret_cast<Element*>(dataPointer_ + kLongVarPrefix);
    }
  }

  RExprType GetExpressionType() override { return kind; }
  RExprReturn Eval(void* out) override {
    if (IsHeldUp()) return kUnknown;
    Reference& value = *static_cast<Reference*>(out);
    std::memcpy(&value.length_, lengthPointer_, sizeof(value.length_));
    value.buffer_ = first_;
    if constexpr (terminator == Terminator::kWritten) first_[value.length_] = 0;
    return kTrue;
  }

 private:
  using Element = std::remove_pointer_t<decltype(Reference::buffer_)>;
  uint32 declaredLength_;
  const uint8* lengthPointer_;
  Element* first_;
};

// One byte, 0 or 1. The node kinds know no bit reader.
class SQXEREXPR_API ExtractBit final : public ExtractValue<uint8, kExtractExpression> {
 public:
  using ExtractValue::ExtractValue;
};
class SQXEREXPR_API ExtractBoolean final : public ExtractValue<uint8, kExtractBooleanExpression> {
 public:
  using ExtractValue::ExtractValue;
};
class SQXEREXPR_API ExtractInt8 final : public ExtractValue<int8, kExtractInt8Expression> {
 public:
  using ExtractValue::ExtractValue;
};
class SQXEREXPR_API ExtractUInt8 final : public ExtractValue<uint8, kExtractUInt8Expression> {
 public:
  using ExtractValue::ExtractValue;
};
class SQXEREXPR_API ExtractInt16 final : public ExtractValue<int16, kExtractInt16Expression> {
 public:
  using ExtractValue::ExtractValue;
};
class SQXEREXPR_API ExtractUInt16 final : public ExtractValue<uint16, kExtractUInt16Expression> {
 public:
  using ExtractValue::ExtractValue;
};
/// Reads the signed and unsigned integers of 8 and 16 bits too.
class SQXEREXPR_API ExtractInt32 final : public ExtractValue<int32, kExtractInt32Expression> {
 public:
  using ExtractValue::ExtractValue;
};
class SQXEREXPR_API ExtractUInt32 final : public ExtractValue<uint32, kExtractUInt32Expression> {
 public:
  using ExtractValue::ExtractValue;
};
class SQXEREXPR_API ExtractFloat32 final : public ExtractValue<float32, kExtractFloat32Expression> {
 public:
  using ExtractValue::ExtractValue;
};
/// Reads every narrower number too.
class SQXEREXPR_API ExtractFloat64 final : public ExtractValue<float64, kExtractFloat64Expression> {
 public:
  using ExtractValue::ExtractValue;
};
/// Over a field described as double it takes the field's bytes for those of a VelmarNumber (so the
/// field must have room for one) and writes the nearest double.
class SQXEREXPR_API ExtractNumber final
    : public ExtractValue<VelmarNumber, kExtractNumberExpression> {
 public:
  using ExtractValue::ExtractValue;
};
class SQXEREXPR_API ExtractDate final : public ExtractValue<XeDate, kExtractDateExpression> {
 public:
  using ExtractValue::ExtractValue;
};
class SQXEREXPR_API ExtractTime final : public ExtractValue<XeTime, kExtractTimeExpression> {
 public:
  using ExtractValue::ExtractValue;
};
/// Reads dates (at 00:00:00) too. Over a stored time only hour, minute and second of the output are
/// written, its nanosecond becomes 0 and its day stays what it was.
class SQXEREXPR_API ExtractDateTime final
    : public ExtractValue<XeDateTime, kExtractDateTimeExpression> {
 public:
  using ExtractValue::ExtractValue;
};
// The node kinds know no interval reader.
class SQXEREXPR_API ExtractInterval final : public ExtractValue<XeInterval, kExtractExpression> {
 public:
  using ExtractValue::ExtractValue;
};
/// Writes the address of the first character. Whoever fills the record puts a zero character behind
/// the declared length.
class SQXEREXPR_API ExtractXeChar final : public ExtractAddress<kExtractXeCharExpression> {
 public:
  using ExtractAddress::ExtractAddress;
};
/// Reads fixed text too. The record must have room for one character behind the declared length.
class SQXEREXPR_API ExtractLongVarXeChar final
    : public ExtractReference<RefLongVarChar, kExtractLongVarXeCharExpression,
                              Terminator::kWritten> {
 public:
  using ExtractReference::ExtractReference;
};
class SQXEREXPR_API ExtractVarXeChar final
    : public ExtractReference<RefLongVarChar, kExtractVarXeCharExpression, Terminator::kNone> {
 public:
  using ExtractReference::ExtractReference;
};
class SQXEREXPR_API ExtractLongVarChar final
    : public ExtractReference<RefLongVarChar, kExtractLongVarXeCharExpression, Terminator::kNone> {
 public:
  using ExtractReference::ExtractReference;
};
class SQXEREXPR_API ExtractLongVarBinary final
    : public ExtractReference<RefLongVarBinary, kExtractLongVarBinaryExpression,
                              Terminator::kNone> {
 public:
  using ExtractReference::ExtractReference;
};

/// Reader of a binary of fixed length. As a root it writes the address of the first byte; as an
/// operand its result type is the long binary, and it writes that type's length and address.
class SQXEREXPR_API ExtractBinary final : public ExtractAddress<kExtractBinaryExpression> {
 public:
  using ExtractAddress::ExtractAddress;
  RExprReturn Eval(void* out) override;
};

}  // namespace sqxer

// The readers of other documents than the record, which derive from the above: one include for all.
#include "SQXERExprExtractJson.h"
