#include "SQXERDateTimeOperand.h"

#include <type_traits>

#include "SQXERExprConstant.h"
#include "SQXERTypedVariant.h"

namespace sqxer {
namespace {

template <class Value>
RExprReturn ReadAs(RExpression& operand, XeDateTime& out) {
  if constexpr (std::is_same_v<Value, XeDateTime>) {
    return operand.Eval(&out);
  } else {
    Value value;
    const RExprReturn status = operand.Eval(&value);
    if (status == kTrue) out = value;
    return status;
  }
}

}  // namespace

void DateTimeReader::Bind(const RExpression& operand, const wchar_t* name) {
  RExpression::CheckDataTypeAndThrowError(&operand, {XeDateData, XeTimeData, XeDateTimeData}, name);
  const XeDataType type = operand.GetResultDataType();
  read_ = type == XeDateData   ? &ReadAs<XeDate>
          : type == XeTimeData ? &ReadAs<XeTime>
                               : &ReadAs<XeDateTime>;
}

int32 ReadInt4Constant(RExpression& operand, const wchar_t* name) {
  const auto* const constant = dynamic_cast<ConstantInt32*>(&operand);
  if (constant == nullptr) {
    RExpression::throwExecutionError(kTypeNotSupported, name, operand.GetResultDataType(),
                                     XeUnknown);
  }
  return constant->GetValue();
}

}  // namespace sqxer
