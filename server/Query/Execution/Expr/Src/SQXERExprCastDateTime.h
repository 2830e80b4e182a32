#pragma once

#include <cwchar>
#include <type_traits>

#include "SQXERExprCastBase.h"
#include "Utility/DateTimeMetaData.h"
#include "Utility/XeDateTime.h"
#include "Utility/XeInterval.h"

namespace sqxer {

/// Base of the casts to days and times. A text is read in the cast's format; from the first one
/// that does not follow it, or without a format, in ISO 8601. A node that is told another result
/// type than its own writes date-times.
template <class Value>
class CastToDay : public Cast {
 public:
  using Cast::Cast;

  RExprReturn Eval(void* out) override {
    if (EvalOperand() != kTrue) return retCode_;
    const Value& value = *static_cast<const Value*>(castValue_);
    if constexpr (std::is_same_v<Value, XeDateTime>) {
      *static_cast<XeDateTime*>(out) = value;
    } else if (resultDataType_ == toDataType_) {
      *static_cast<Value*>(out) = value;
    } else {
      // Not known while binding: a parent may tell the type later.
      *static_cast<XeDateTime*>(out) = value;
    }
    return retCode_;
  }
  /// From the first text on that is not in the format all are read by the default rules.
  bool IsVolatile() override { return !dateTimeFormat_.empty(); }

 protected:
  /// `kText` is the field for the text last read. Error 59170 for a format that is none.
  template <class Node, XeString Node::*kText>
  void BindDay(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info,
               std::span<const OperandForm> forms) {
    BindTyped(stream, replacement, info, forms);
    (static_cast<Node*>(this)->*kText).clear();
    dateTimeMetaData_.SetDateTimeFormat(dateTimeFormat_);
    if (dateTimeFormat_.empty()) return;
    if (operandDataType_ == XeCharData) convert_ = &ReadInFormat<wchar_t*, Node, kText>;
    if (operandDataType_ == XeLongVarCharData) {
      convert_ = &ReadInFormat<RefLongVarChar, Node, kText>;
    }
  }

 private:
  template <class Text, class Node, XeString Node::*kText>
  static bool ReadInFormat(Cast& cast) {
    auto& self = static_cast<Node&>(cast);
    const auto& text = *static_cast<const Text*>(self.operandValue_);
    std::wstring_view characters;
    if constexpr (std::is_same_v<Text, wchar_t*>) {
      characters = {text, wcsnlen(text, self.operandLength_)};
    } else {
      characters = {text.buffer_, text.length_};
    }
    // Days come in runs, and the value of the row before still stands.
    XeString& last = self.*kText;
    if (!last.empty() && last == characters) return true;
    if (self.dateTimeMetaData_.TryConvert(characters, *static_cast<Value*>(self.castValue_))) {
      last = characters;
      return true;
    }
    // Callers send a format along that their texts may not follow at all, and rely on the default
    // rules then; trying it again for every row would find the same.
    self.dateTimeFormat_.clear();
    self.convert_ = &Move;
    return Move(cast);
  }

  DateTimeMetaData dateTimeMetaData_;
};

/// Cast to date: from texts, dates, and date-times, of which the time is dropped.
class SQXEREXPR_API CastToDate final : public CastToDay<XeDate> {
 public:
  using CastToDay::CastToDay;
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprType GetExpressionType() override { return kCastToDateExpression; }

 protected:
  const wchar_t* GetOperatorName() const override { return L"CastToDate"; }

 private:
  XeString tempDateString_;
};

/// Cast to time: from texts, times, and date-times, of which the day is dropped.
class SQXEREXPR_API CastToTime final : public CastToDay<XeTime> {
 public:
  using CastToDay::CastToDay;
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprType GetExpressionType() override { return kCastToTimeExpression; }

 protected:
  const wchar_t* GetOperatorName() const override { return L"CastToTime"; }

 private:
  XeString tempTimeString_;
};

/// Cast to date-time: from texts, date-times, dates, which are at midnight, and times, which are on
/// 1900-01-01.
class SQXEREXPR_API CastToDateTime final : public CastToDay<XeDateTime> {
 public:
  using CastToDay::CastToDay;
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprType GetExpressionType() override { return kCastToDateTimeExpression; }

 protected:
  const wchar_t* GetOperatorName() const override { return L"CastToDateTime"; }

 private:
  XeString tempDateTimeString_;
};

/// Cast to interval: from texts and intervals.
class SQXEREXPR_API CastToInterval final : public Cast {
 public:
  using Cast::Cast;
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprReturn Eval(void* out) override {
    if (EvalOperand() == kTrue) {
      *static_cast<XeInterval*>(out) = *static_cast<const XeInterval*>(castValue_);
    }
    return retCode_;
  }

 protected:
  const wchar_t* GetOperatorName() const override { return L"CastToInterval"; }
};

}  // namespace sqxer
