#include "SQXERExprCastDateTime.h"

namespace sqxer {

void CastToDate::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  static constexpr OperandForm kForms[] = {{XeCharData, &Move},
                                           {XeLongVarCharData, &Move},
                                           {XeDateData, &Move},
                                           {XeDateTimeData, &Move},
                                           {XeTimeStampData, &Move}};
  BindDay<CastToDate, &CastToDate::tempDateString_>(stream, replacement, info, kForms);
}

void CastToTime::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  static constexpr OperandForm kForms[] = {{XeCharData, &Move},
                                           {XeLongVarCharData, &Move},
                                           {XeTimeData, &Move},
                                           {XeDateTimeData, &Move},
                                           {XeTimeStampData, &Move}};
  BindDay<CastToTime, &CastToTime::tempTimeString_>(stream, replacement, info, kForms);
}

void CastToDateTime::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  static constexpr OperandForm kForms[] = {{XeCharData, &Move},     {XeLongVarCharData, &Move},
                                           {XeDateData, &Move},     {XeTimeData, &Move},
                                           {XeDateTimeData, &Move}, {XeTimeStampData, &Move}};
  BindDay<CastToDateTime, &CastToDateTime::tempDateTimeString_>(stream, replacement, info, kForms);
}

void CastToInterval::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  static constexpr OperandForm kForms[] = {
      {XeCharData, &Move}, {XeLongVarCharData, &Move}, {XeIntervalData, &Move}};
  BindTyped(stream, replacement, info, kForms);
}

}  // namespace sqxer
