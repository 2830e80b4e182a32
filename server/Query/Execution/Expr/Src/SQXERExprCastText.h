#pragma once

#include <vector>

#include "SQXERExprCastBase.h"

namespace sqxer {

/// Cast to character: from texts, 32-bit integers, doubles, decimals, dates and times. The value is
/// a fixed text of exactly the length asked for, cut or filled up with blanks, behind which stands
/// a zero character. For a long text a conversion stands over it, which knows what it converts by
/// GetCastTarget.
class SQXEREXPR_API CastToChar final : public Cast {
 public:
  CastToChar(RExpression* operand, XeDataType to, int precision, int scale);

  /// Error 59173 (bytes) for a length beyond that of any record.
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprReturn Eval(void* out) override;
  RExprType GetExpressionType() override { return kCastToCharExpression; }

 protected:
  const wchar_t* GetOperatorName() const override { return L"CastToChar"; }

 private:
  /// The length asked for; `precision_` becomes the one that the operand's values need.
  int userPrecision_;
  XeAutoBuffer<wchar_t, 128> finalResult_;
};

/// Cast to a truth value: out of texts (TextToTruth; error 59172 for any other text) and truth
/// values. The generic cast has no such target: this one is built directly.
class SQXEREXPR_API CastToBoolean final : public Cast {
 public:
  explicit CastToBoolean(RExpression* operand) : Cast(operand, XeBoolean, 0, 0) {}

  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprReturn Eval(void* out) override;

 protected:
  const wchar_t* GetOperatorName() const override { return L"CastToBoolean"; }

 private:
  static bool ReadFixed(Cast& cast);
  static bool ReadLong(Cast& cast);
  void Read(std::wstring_view text);
};

/// Cast to bit or binary. A bit comes from texts, numbers, bits and booleans that are 0 or 1: error
/// 59185 (value) for other values. Binaries come from binaries, cut or filled up with zero bytes to
/// the length asked for (the operand's, below 1); a long binary is only cut.
class SQXEREXPR_API CastToBinary final : public Cast {
 public:
  CastToBinary(RExpression* operand, XeDataType to, int precision, int scale);

  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprReturn Eval(void* out) override;

 protected:
  const wchar_t* GetOperatorName() const override { return L"CastToBinary"; }
  [[noreturn]] void RaiseOutOfRange() const override;

 private:
  /// Keeps the bytes of a binary or long binary value, and zero bytes behind them.
  template <class Source>
  static bool KeepBytes(Cast& cast);
  void BindBit(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info);
  void BindBytes(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info);

  int userPrecision_;
  std::vector<uint8> tempResults_;
  RefLongVarBinary refLongVarBinary_{};
  /// Writes the value in the form of the target.
  void (*write_)(const CastToBinary& cast, void* out) = nullptr;
};

}  // namespace sqxer
