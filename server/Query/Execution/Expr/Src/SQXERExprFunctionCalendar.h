#pragma once

#include <span>

#include "SQXERDateTimeOperand.h"
#include "SQXERExprFunctionBase.h"
#include "Utility/SUSystemConfig.h"
#include "Utility/XeAutoBuffer.h"
#include "Utility/XeDateTime.h"

namespace sqxer {

/// Base of the functions that take one part out of a date, time or date-time. The part is the
/// parameter, an int4 constant with a value of XeDateTime::ExtractOpcode.
///
/// The result is an int4, or for names (of months and days) a fixed text as long as the longest
/// name of the locale, filled up with blanks; LongMonthNames and LongDayNames choose the names. It
/// holds until the next evaluation. Errors at binding: 59001 (function, type) for an operand of
/// another type or a parameter that is no such constant, 59005 (function) for a part that the
/// function does not have. Error of a row: 59171 (value) for what is no day of the calendar.
class SQXEREXPR_API PartFunction : public NumericValueFunction {
 public:
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) final;
  RExprReturn Eval(void* out) final;
  bool EvalBatch(const BatchRows& rows, BatchVector& out) final;
  bool GivesSameAs(RExpression&) final { return true; }

 protected:
  /// Puts a part of the value where Eval puts its result.
  using Put = void (*)(PartFunction& function, const XeDateTime& value, void* out);
  /// The same for a batch of values, of a part that is a number.
  using PutAll = void (*)(PartFunction& function, const BatchVector& values, const BatchRows& rows,
                          int32* out);
  struct Part {
    Put put;
    PutAll putAll = nullptr;
    /// For names alone: the short one, and the switch for the long one.
    Put putShort = nullptr;
    bool SUSystemConfig::*isLong = nullptr;
  };
  /// The parts of a function, numbered from the first opcode on, and its names in errors.
  struct Family {
    const wchar_t* typeErrorName;
    const wchar_t* opcodeErrorName;
    int32 firstOpcode;
    std::span<const Part> parts;
  };

  PartFunction(const Family& family, RExpression* operand, const ExpressionVector& params)
      : NumericValueFunction(operand, params), family_(family) {}

  template <auto Get>
  static void PutNumber(PartFunction&, const XeDateTime& value, void* out) {
    *static_cast<int32*>(out) = (value.*Get)();
  }
  template <auto Get>
  static void PutWeek(PartFunction& function, const XeDateTime& value, void* out);
  template <auto Get>
  static void PutFiscal(PartFunction& function, const XeDateTime& value, void* out);
  template <auto Get>
  static void PutFiscalWeek(PartFunction& function, const XeDateTime& value, void* out);
  template <Put put>
  static void PutEvery(PartFunction& function, const BatchVector& values, const BatchRows& rows,
                       int32* out);
  /// The part that a function puts.
  template <Put put>
  static constexpr Part kNumber = {put, &PutEvery<put>};
  template <auto Get>
  static void PutName(PartFunction& function, const XeDateTime& value, void* out);

 private:
  const Part& FindPart() const;

  const Family& family_;
  // Of the settings at bind.
  int firstDayOfWeek_ = 1;
  XeYearDivision fiscalYear_{1};
  const CalendarNames* names_ = nullptr;
  int32 opCode_ = XeDateTime::maxExtractOpcode;
  XeAutoBuffer<wchar_t, 128> name_;
  /// Characters of the result, without the zero character that follows them.
  uint32 nameLength_ = 0;
  DateTimeReader reader_;
  Put put_ = nullptr;
  PutAll putAll_ = nullptr;
};

/// The parts of the calendar, opcodes 0 to 15. Names in errors: "CalendarExtract" (59001),
/// "Calendar_Extract" (59005).
class SQXEREXPR_API CalendarExtract final : public PartFunction {
 public:
  CalendarExtract(RExpression* operand, const ExpressionVector& params);
  CalendarExtract(RExpression* operand, XeDateTime::ExtractOpcode part);
  RExprType GetExpressionType() override { return kCalendarExtractExpression; }

 private:
  static const Part kParts[];
  static const Family kFamily;
};

/// The parts of the fiscal calendar, opcodes 16 to 31; those of the clock are not fiscal. Names in
/// errors: "FiscalExtract" (59001), "Fiscal_Extract" (59005).
class SQXEREXPR_API FiscalExtract final : public PartFunction {
 public:
  FiscalExtract(RExpression* operand, const ExpressionVector& params);
  FiscalExtract(RExpression* operand, XeDateTime::ExtractOpcode part);
  RExprType GetExpressionType() override { return kFiscalExtractExpression; }

 private:
  static const Part kParts[];
  static const Family kFamily;
};

}  // namespace sqxer
