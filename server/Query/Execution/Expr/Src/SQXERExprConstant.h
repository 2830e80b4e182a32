#pragma once

#include <cstring>
#include <memory>

#include "SQXERExpression.h"
#include "Utility/VelmarNumber.h"
#include "Utility/XeAutoBuffer.h"
#include "Utility/XeDateTime.h"
#include "Utility/XeInterval.h"

namespace sqxer {

/// A literal: holds its value from construction on and writes it at every Eval. Bind reports the
/// length and the name of constants; it throws 59003 (type) for a type without literals,
/// ConstantBit among them.
class SQXEREXPR_API Constant : public RExpression {
 public:
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprReturn Eval(void* out) override;
  bool EvalBatch(const BatchRows& rows, BatchVector& out) override { return EvalOnce(rows, out); }
  bool HasBatchLoop() override { return true; }
  BatchCost GetBatchCost() override { return BatchCost::kFree; }
  RExprType GetExpressionType() override { return kConstantExpression; }
  RExpression* GetIthOperand(int index) override;
  void SetIthOperand(int index, RExpression* operand) override;

  /// Length of the value: characters of a text, bytes otherwise.
  uint32 GetObjectLength() const { return objectLength_; }

 protected:
  Constant(XeDataType type, uint32 objectLength) : objectLength_(objectLength) {
    resultDataType_ = type;
  }

  uint32 objectLength_;
};

/// A constant whose value is copied to the output as it stands.
template <class Value, XeDataType type>
class ConstantValue : public Constant {
 public:
  explicit ConstantValue(const Value& value)
      : Constant(type, XeFieldDescriptor::GetObjectLength(type, 0)), value_(value) {}

  RExprReturn Eval(void* out) override {
    *static_cast<Value*>(out) = value_;
    return kTrue;
  }
  bool GivesSameAs(RExpression& other) override {
    return std::memcmp(static_cast<const void*>(&value_),
                       static_cast<const void*>(&static_cast<ConstantValue&>(other).value_),
                       sizeof value_) == 0;
  }
  const Value& GetValue() const { return value_; }

 protected:
  Value value_;
};

// The constructors from text read a number at the beginning of it, as a scan with the format named
// would, and ignore what follows. `success` (when given) becomes false only when the text begins
// with something else: the empty text reads as zero.

class SQXEREXPR_API ConstantInt32 final : public ConstantValue<int32, XeInt4Data> {
 public:
  using ConstantValue::ConstantValue;
  /// "%d"
  explicit ConstantInt32(const XeString& text, bool* success = nullptr);
};
class SQXEREXPR_API ConstantUInt32 final : public ConstantValue<uint32, XeUInt4Data> {
 public:
  using ConstantValue::ConstantValue;
  /// "%u"
  explicit ConstantUInt32(const XeString& text, bool* success = nullptr);
};
class SQXEREXPR_API ConstantFloat64 final : public ConstantValue<float64, XeDoubleData> {
 public:
  using ConstantValue::ConstantValue;
  /// "%lf"
  explicit ConstantFloat64(const XeString& text, bool* success = nullptr);
};
class SQXEREXPR_API ConstantBit final : public ConstantValue<uint8, XeBitData> {
 public:
  using ConstantValue::ConstantValue;
  /// "%hu", of which the low byte is kept
  explicit ConstantBit(const XeString& text, bool* success = nullptr);
};
class SQXEREXPR_API ConstantBoolean final : public ConstantValue<uint8, XeBoolean> {
 public:
  using ConstantValue::ConstantValue;
  /// "%hu", of which the low byte is kept
  explicit ConstantBoolean(const XeString& text, bool* success = nullptr);
};
class SQXEREXPR_API ConstantNumber final : public ConstantValue<VelmarNumber, XeNumericData> {
 public:
  using ConstantValue::ConstantValue;
  /// Always a success: what does not read as a number is zero.
  explicit ConstantNumber(const XeString& text, bool* success = nullptr);
  RExprType GetExpressionType() override { return kConstantNumberExpression; }
};
class SQXEREXPR_API ConstantDate final : public ConstantValue<XeDate, XeDateData> {
 public:
  using ConstantValue::ConstantValue;
};
class SQXEREXPR_API ConstantTime final : public ConstantValue<XeTime, XeTimeData> {
 public:
  using ConstantValue::ConstantValue;
};
class SQXEREXPR_API ConstantDateTime final : public ConstantValue<XeDateTime, XeDateTimeData> {
 public:
  using ConstantValue::ConstantValue;
};
class SQXEREXPR_API ConstantInterval final : public ConstantValue<XeInterval, XeIntervalData> {
 public:
  using ConstantValue::ConstantValue;
};

/// A fixed text. Its characters are followed by a zero character.
class SQXEREXPR_API ConstantXeChar final : public Constant {
 public:
  explicit ConstantXeChar(const XeString& text);
  RExprReturn Eval(void* out) override;
  /// False while the text fits the room inside the node.
  bool IsOnHeap() const { return value_.IsOnHeap(); }

 private:
  XeAutoBuffer<wchar_t, 128> value_;
};

/// A long text, held in the stored form: a length and the characters.
class SQXEREXPR_API ConstantLongVarXeChar final : public Constant {
 public:
  /// A literal, whose text can stand for a value of another type.
  explicit ConstantLongVarXeChar(const XeString& text) : ConstantLongVarXeChar(text, 0, true) {}
  /// A text that was computed: it is nothing but a text. It reports the declared length where that
  /// is more than its own.
  ConstantLongVarXeChar(const XeString& text, uint32 declared)
      : ConstantLongVarXeChar(text, declared, false) {}

  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprType GetExpressionType() override {
    return isLiteral_ ? kConstantExpression : kConstantLongVarXeCharExpression;
  }
  /// Also puts a zero character behind the last one.
  RExprReturn Eval(void* out) override;

 private:
  ConstantLongVarXeChar(const XeString& text, uint32 declared, bool isLiteral);

  struct GatewayFree {
    void operator()(uint8* block) const noexcept { MemoryGateway::Free(block); }
  };
  std::unique_ptr<uint8[], GatewayFree> value_;
  uint32 declared_;
  bool isLiteral_;
};

/// NULL. Its type is boolean until a partner gives it another through SetResultDataType.
class SQXEREXPR_API ConstantNull final : public Constant {
 public:
  ConstantNull();
  /// kUnknown; writes nothing.
  RExprReturn Eval(void* out) override;
  RExprType GetExpressionType() override { return kConstantNullExpression; }

  static const XeString g_constantNullFieldName;
};

/// NULL of a type, which counts like that of any other value: it takes part in the choice of common
/// types, and is refused where the type is.
class SQXEREXPR_API ConstantTypedNull final : public Constant {
 public:
  /// `length`: characters of a text, else that of the type.
  ConstantTypedNull(XeDataType type, uint32 length) : Constant(type, length) {}
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  /// kUnknown; writes nothing.
  RExprReturn Eval(void* out) override;
};

}  // namespace sqxer
