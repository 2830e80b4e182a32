#pragma once

#include <atomic>

#include "SQXERExprFunctionBase.h"

namespace sqxer {

/// How texts are searched. The two switches are those of the whole process, for callers that search
/// by themselves; functions keep what the settings say when they are bound.
class SQXEREXPR_API ConfiguredCharComparison {
 public:
  /// Takes over the thread's current settings.
  static void Initialize();
  /// The index of the first occurrence of a text in another one, -1 when there is none, as for an
  /// empty text. When case does not count, characters are equal by their upper case.
  static int32 FindString(const wchar_t* haystack, uint32 haystackLength, const wchar_t* needle,
                          uint32 needleLength) {
    return FindString(haystack, haystackLength, needle, needleLength,
                      isCaseSensitiveCompare.load(std::memory_order_relaxed));
  }
  static int32 FindString(const wchar_t* haystack, uint32 haystackLength, const wchar_t* needle,
                          uint32 needleLength, bool isCaseSensitive);

  static std::atomic<bool> isCaseSensitiveCompare;
  /// Positions of substrings as older callers count them.
  static std::atomic<bool> isSubstringUsingVelmarCompliance;
};

/// What looks for the operand in the first parameter.
class SQXEREXPR_API TextSearchFunction : public NumericValueFunction {
 public:
  using NumericValueFunction::NumericValueFunction;
  bool EvalBatch(const BatchRows& rows, BatchVector& out) final;

 protected:
  /// Whether all rows of a batch are searched in one loop.
  virtual bool HasSearchLoop() const { return isCaseSensitive_; }
  /// Binds operand and parameter. Error 59001 (name, type) for what is no text.
  void BindTexts(const wchar_t* name, XeAListStream* stream, RExpression*& replacement,
                 MetaDataInfo& info);

  RefLongVarChar varCharOperand_{};
  RefLongVarChar varCharParam_{};
  bool isCaseSensitive_ = true;
};

/// Where the operand first occurs in the first parameter, from 1, as an int4; 0 when nowhere. Error
/// 59001 ("Position", type) for what is no text.
class SQXEREXPR_API Position final : public TextSearchFunction {
 public:
  using TextSearchFunction::TextSearchFunction;
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprReturn Eval(void* out) override;
};

/// The same from a start, the optional second parameter: int4, or a double or numeric, truncated
/// (error 59001, "Locate"). A start of 0 is one of 1. A negative start counts from the end (-1 is
/// the last character), and the search then goes backward from there.
class SQXEREXPR_API Locate final : public TextSearchFunction {
 public:
  using TextSearchFunction::TextSearchFunction;
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprReturn Eval(void* out) override;

 private:
  bool HasSearchLoop() const override { return isCaseSensitive_ && !HasStart(); }
  bool HasStart() const { return params_.size() > 1 && params_[1] != nullptr; }

  int32 start_ = 1;
};

}  // namespace sqxer
