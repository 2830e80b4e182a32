#include "SQXERExprFunctionCalendar.h"

#include "SQXERBatchCalendar.h"
#include "SQXERExprConstant.h"
#include "Utility/Settings.h"
#include "Utility/XeIntlDateTimeMgr.h"

namespace sqxer {

template <auto Get>
void PartFunction::PutWeek(PartFunction& function, const XeDateTime& value, void* out) {
  *static_cast<int32*>(out) = (value.*Get)(function.firstDayOfWeek_);
}

template <auto Get>
void PartFunction::PutFiscal(PartFunction& function, const XeDateTime& value, void* out) {
  *static_cast<int32*>(out) = (value.*Get)(function.fiscalYear_);
}

template <auto Get>
void PartFunction::PutFiscalWeek(PartFunction& function, const XeDateTime& value, void* out) {
  *static_cast<int32*>(out) = (value.*Get)(function.firstDayOfWeek_, function.fiscalYear_);
}

template <PartFunction::Put put>
void PartFunction::PutEvery(PartFunction& function, const BatchVector& values,
                            const BatchRows& rows, int32* out) {
  ForEachMoment(values, rows,
                [&](uint32 row, const XeDateTime& value) { put(function, value, out + row); });
}

template <auto Get>
void PartFunction::PutName(PartFunction& function, const XeDateTime& value, void* out) {
  wchar_t* const name = function.name_.data();
  (value.*Get)(*function.names_, name, function.nameLength_);
  *static_cast<wchar_t**>(out) = name;
}

const PartFunction::Part& PartFunction::FindPart() const {
  const int64 index = int64{opCode_} - family_.firstOpcode;
  if (index < 0 || index >= std::ssize(family_.parts)) {
    RaiseError(59005, {family_.opcodeErrorName});
  }
  return family_.parts[static_cast<std::size_t>(index)];
}

void PartFunction::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  BindIthOperand(0, stream, replacement, info);
  reader_.Bind(*operand_, family_.typeErrorName);
  if (!params_.empty()) {
    BindIthOperand(1, stream, replacement, info);
    opCode_ = ReadInt4Constant(*params_[0], family_.typeErrorName);
  }
  const Part& part = FindPart();
  const SettingsRef settings = Settings::Current();
  firstDayOfWeek_ = settings->GetFirstDayOfWeek();
  fiscalYear_ = XeYearDivision(settings->GetSwitches().fiscalYearStartMonth_);
  putAll_ = part.putAll;
  names_ = nullptr;
  if (part.putShort == nullptr) {
    put_ = part.put;
    SetResult(XeInt4Data, info);
  } else {
    put_ = settings->GetSwitches().*part.isLong ? part.put : part.putShort;
    names_ = &settings->GetCalendarNames();
    nameLength_ = names_->longest;
    name_.Reserve(nameLength_ + 1);
    name_.data()[nameLength_] = L'\0';
    SetResult(XeCharData, info, nameLength_);
  }
}

RExprReturn PartFunction::Eval(void* out) {
  XeDateTime value;
  retCode_ = reader_.Read(*operand_, value);
  if (retCode_ == kTrue) {
    AtSourcePosition([&] { put_(*this, value, out); });
  }
  return retCode_;
}

bool PartFunction::EvalBatch(const BatchRows& rows, BatchVector& out) {
  if (putAll_ == nullptr) return RExpression::EvalBatch(rows, out);
  BatchVector operand;
  if (!EvaluateBatch(*operand_, rows, operand)) return false;
  int32* const parts = GetBatchBuffers().Values<int32>();
  putAll_(*this, operand, RowsOf(operand, rows), parts);
  out = BatchVector();
  out.form = ColumnForm::kInt32;
  out.isConstant = operand.isConstant;
  out.validity = operand.validity;
  out.values = reinterpret_cast<const uint8*>(parts);
  return true;
}

const PartFunction::Part CalendarExtract::kParts[] = {
    kNumber<&PutNumber<&XeDateTime::GetYear>>,
    kNumber<&PutNumber<&XeDateTime::GetMonth>>,
    kNumber<&PutNumber<&XeDateTime::GetDay>>,
    kNumber<&PutNumber<&XeDateTime::GetHour>>,
    kNumber<&PutNumber<&XeDateTime::GetMinute>>,
    kNumber<&PutNumber<&XeDateTime::GetSecond>>,
    kNumber<&PutNumber<&XeDateTime::QuarterOfTheYear>>,
    kNumber<&PutWeek<&XeDateTime::WeekOfTheYear>>,
    kNumber<&PutNumber<&XeDateTime::DayOfTheYear>>,
    kNumber<&PutNumber<&XeDateTime::MonthOfTheQuarter>>,
    kNumber<&PutWeek<&XeDateTime::WeekOfTheQuarter>>,
    kNumber<&PutNumber<&XeDateTime::DayOfTheQuarter>>,
    kNumber<&PutWeek<&XeDateTime::WeekOfTheMonth>>,
    {&PutName<&XeDateTime::LongNameOfTheMonth>, nullptr, &PutName<&XeDateTime::ShortNameOfTheMonth>,
     &SUSystemConfig::longMonthNames_},
    kNumber<&PutNumber<&XeDateTime::DayOfTheWeek>>,
    {&PutName<&XeDateTime::LongNameOfTheDay>, nullptr, &PutName<&XeDateTime::ShortNameOfTheDay>,
     &SUSystemConfig::longDayNames_},
};

const PartFunction::Family CalendarExtract::kFamily = {L"CalendarExtract", L"Calendar_Extract",
                                                       XeDateTime::extractYear, kParts};

CalendarExtract::CalendarExtract(RExpression* operand, const ExpressionVector& params)
    : PartFunction(kFamily, operand, params) {}

CalendarExtract::CalendarExtract(RExpression* operand, XeDateTime::ExtractOpcode part)
    : CalendarExtract(operand, ConstantParameter(part, operand)) {}

const PartFunction::Part FiscalExtract::kParts[] = {
    kNumber<&PutFiscal<&XeDateTime::FiscalYear>>,
    kNumber<&PutFiscal<&XeDateTime::FiscalMonth>>,
    kNumber<&PutNumber<&XeDateTime::FiscalDay>>,
    kNumber<&PutNumber<&XeDateTime::GetHour>>,
    kNumber<&PutNumber<&XeDateTime::GetMinute>>,
    kNumber<&PutNumber<&XeDateTime::GetSecond>>,
    kNumber<&PutFiscal<&XeDateTime::FiscalQuarterOfTheYear>>,
    kNumber<&PutFiscalWeek<&XeDateTime::FiscalWeekOfTheYear>>,
    kNumber<&PutFiscal<&XeDateTime::FiscalDayOfTheYear>>,
    kNumber<&PutFiscal<&XeDateTime::FiscalMonthOfTheQuarter>>,
    kNumber<&PutFiscalWeek<&XeDateTime::FiscalWeekOfTheQuarter>>,
    kNumber<&PutFiscal<&XeDateTime::FiscalDayOfTheQuarter>>,
    kNumber<&PutWeek<&XeDateTime::FiscalWeekOfTheMonth>>,
    {&PutName<&XeDateTime::LongFiscalNameOfTheMonth>, nullptr,
     &PutName<&XeDateTime::ShortFiscalNameOfTheMonth>, &SUSystemConfig::longMonthNames_},
    kNumber<&PutNumber<&XeDateTime::FiscalDayOfTheWeek>>,
    {&PutName<&XeDateTime::LongFiscalNameOfTheDay>, nullptr,
     &PutName<&XeDateTime::ShortFiscalNameOfTheDay>, &SUSystemConfig::longDayNames_},
};

const PartFunction::Family FiscalExtract::kFamily = {L"FiscalExtract", L"Fiscal_Extract",
                                                     XeDateTime::extractFiscalYear, kParts};

FiscalExtract::FiscalExtract(RExpression* operand, const ExpressionVector& params)
    : PartFunction(kFamily, operand, params) {}

FiscalExtract::FiscalExtract(RExpression* operand, XeDateTime::ExtractOpcode part)
    : FiscalExtract(operand, ConstantParameter(part, operand)) {}

}  // namespace sqxer
