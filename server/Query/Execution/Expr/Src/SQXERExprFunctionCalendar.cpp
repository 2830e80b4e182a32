#include "SQXERExprFunctionCalendar.h"

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

const PartFunction::Part CalendarExtract::kParts[] = {
    {&PutNumber<&XeDateTime::GetYear>},
    {&PutNumber<&XeDateTime::GetMonth>},
    {&PutNumber<&XeDateTime::GetDay>},
    {&PutNumber<&XeDateTime::GetHour>},
    {&PutNumber<&XeDateTime::GetMinute>},
    {&PutNumber<&XeDateTime::GetSecond>},
    {&PutNumber<&XeDateTime::QuarterOfTheYear>},
    {&PutWeek<&XeDateTime::WeekOfTheYear>},
    {&PutNumber<&XeDateTime::DayOfTheYear>},
    {&PutNumber<&XeDateTime::MonthOfTheQuarter>},
    {&PutWeek<&XeDateTime::WeekOfTheQuarter>},
    {&PutNumber<&XeDateTime::DayOfTheQuarter>},
    {&PutWeek<&XeDateTime::WeekOfTheMonth>},
    {&PutName<&XeDateTime::LongNameOfTheMonth>, &PutName<&XeDateTime::ShortNameOfTheMonth>,
     &SUSystemConfig::longMonthNames_},
    {&PutNumber<&XeDateTime::DayOfTheWeek>},
    {&PutName<&XeDateTime::LongNameOfTheDay>, &PutName<&XeDateTime::ShortNameOfTheDay>,
     &SUSystemConfig::longDayNames_},
};

const PartFunction::Family CalendarExtract::kFamily = {L"CalendarExtract", L"Calendar_Extract",
                                                       XeDateTime::extractYear, kParts};

CalendarExtract::CalendarExtract(RExpression* operand, const ExpressionVector& params)
    : PartFunction(kFamily, operand, params) {}

CalendarExtract::CalendarExtract(RExpression* operand, XeDateTime::ExtractOpcode part)
    : CalendarExtract(operand, {new ConstantInt32(part)}) {}

const PartFunction::Part FiscalExtract::kParts[] = {
    {&PutFiscal<&XeDateTime::FiscalYear>},
    {&PutFiscal<&XeDateTime::FiscalMonth>},
    {&PutNumber<&XeDateTime::FiscalDay>},
    {&PutNumber<&XeDateTime::GetHour>},
    {&PutNumber<&XeDateTime::GetMinute>},
    {&PutNumber<&XeDateTime::GetSecond>},
    {&PutFiscal<&XeDateTime::FiscalQuarterOfTheYear>},
    {&PutFiscalWeek<&XeDateTime::FiscalWeekOfTheYear>},
    {&PutFiscal<&XeDateTime::FiscalDayOfTheYear>},
    {&PutFiscal<&XeDateTime::FiscalMonthOfTheQuarter>},
    {&PutFiscalWeek<&XeDateTime::FiscalWeekOfTheQuarter>},
    {&PutFiscal<&XeDateTime::FiscalDayOfTheQuarter>},
    {&PutWeek<&XeDateTime::FiscalWeekOfTheMonth>},
    {&PutName<&XeDateTime::LongFiscalNameOfTheMonth>,
     &PutName<&XeDateTime::ShortFiscalNameOfTheMonth>, &SUSystemConfig::longMonthNames_},
    {&PutNumber<&XeDateTime::FiscalDayOfTheWeek>},
    {&PutName<&XeDateTime::LongFiscalNameOfTheDay>, &PutName<&XeDateTime::ShortFiscalNameOfTheDay>,
     &SUSystemConfig::longDayNames_},
};

const PartFunction::Family FiscalExtract::kFamily = {L"FiscalExtract", L"Fiscal_Extract",
                                                     XeDateTime::extractFiscalYear, kParts};

FiscalExtract::FiscalExtract(RExpression* operand, const ExpressionVector& params)
    : PartFunction(kFamily, operand, params) {}

FiscalExtract::FiscalExtract(RExpression* operand, XeDateTime::ExtractOpcode part)
    : FiscalExtract(operand, {new ConstantInt32(part)}) {}

}  // namespace sqxer
