#include "PlanConstant.h"

#include <algorithm>
#include <bit>
#include <limits>

#include "PlanError.h"
#include "SQXERExprConstant.h"
#include "SQXEROpsCast.h"
#include "Utility/NumberText.h"
#include "Utility/SUDataConvert.h"
#include "Utility/XeFieldDataBinder.h"

namespace sqxer {
namespace {

using Kind = SqlLiteral::Kind;

XeString Trim(const XeString& text) {
  const std::size_t start = text.find_first_not_of(L' ');
  if (start == XeString::npos) return {};
  return text.substr(start, text.find_last_not_of(L' ') - start + 1);
}

/// How a text reads as a number literal; nothing when it does not.
std::optional<Kind> NumberKind(const XeString& text) {
  std::size_t at = !text.empty() && (text[0] == L'-' || text[0] == L'+') ? 1 : 0;
  auto digits = [&] {
    std::size_t start = at;
    while (at < text.size() && text[at] >= L'0' && text[at] <= L'9') ++at;
    return at - start;
  };
  std::size_t count = digits();
  Kind kind = Kind::kInteger;
  if (at < text.size() && text[at] == L'.') {
    ++at;
    kind = Kind::kDecimal;
    count += digits();
  }
  if (count == 0) return {};
  if (at < text.size() && (text[at] == L'e' || text[at] == L'E')) {
    ++at;
    kind = Kind::kExponent;
    if (at < text.size() && (text[at] == L'-' || text[at] == L'+')) ++at;
    if (digits() == 0) return {};
  }
  if (at != text.size()) return {};
  return kind;
}

[[noreturn]] void ThrowUnreadable(const XeString& text, XeDataType type, int position) {
  ThrowPlanError(kTextDoesNotReadAs, position,
                 {text, SUXeDataTypeUtility::GetXeDataTypeName(type)});
}

[[noreturn]] void ThrowOutOfRange(const XeString& text, XeDataType type, int position) {
  ThrowPlanError(kNumberOutOfRange, position, {text, SUXeDataTypeUtility::GetXeDataTypeName(type)});
}

/// The text as a cast of it would read: a literal cast is that cast, done while planning.
template <class T>
PlanConstant ReadAs(const XeString& text, XeDataType type, int position) {
  XeString characters = text;
  const RefLongVarChar source{static_cast<uint32>(characters.size()), characters.data()};
  const XeFieldDataBinder binder(XeLongVarCharData, source.length_, type,
                                 XeFieldDescriptor::GetObjectLength(type, 0));
  T value{};
  try {
    if (!binder.MoveDataToIntoField(&source, &value)) ThrowOutOfRange(text, type, position);
  } catch (ErrorMessage& error) {
    error.SetSourcePosition(position);
    throw;
  }
  return {type, value};
}

PlanConstant ReadNumber(const XeString& digits, Kind kind, int position) {
  if (kind == Kind::kExponent) {
    float64 value;
    if (sqxer::ReadNumber(digits, value) != NumberReading::kRead)
      ThrowOutOfRange(digits, XeDoubleData, position);
    return {XeDoubleData, value};
  }
  bool success = false;
  VelmarNumber number =
      VelmarNumber::stringAsNumber(digits.data(), static_cast<uint32>(digits.size()), &success);
  if (!success) ThrowOutOfRange(digits, XeNumericData, position);
  if (kind == Kind::kInteger && VelmarNumber::compare(VelmarNumber(number.asInt4()), number) == 0)
    return {XeInt4Data, number.asInt4()};
  return {XeNumericData, number};
}

PlanConstant ReadBoolean(const XeString& text, int position) {
  bool value = false;
  if (!TextToTruth::Apply(text, value))
    ThrowPlanError(59172, position, {text, SUXeDataTypeUtility::GetXeDataTypeName(XeBoolean)});
  return {XeBoolean, value};
}

PlanConstant ReadIntervalLiteral(const SqlLiteral& literal, int position) {
  XeInterval value;
  switch (ReadInterval(literal.text, literal.fields, literal.digits, value)) {
    case IntervalReading::kRead:
      return {XeIntervalData, value};
    case IntervalReading::kOutOfRange:
      ThrowOutOfRange(literal.text, XeIntervalData, position);
    case IntervalReading::kUnreadable:
      break;
  }
  ThrowPlanError(59172, position,
                 {literal.text, SUXeDataTypeUtility::GetXeDataTypeName(XeIntervalData)});
}

/// An integer constant as a number of any integer type; nothing for other values.
std::optional<int64> IntegerValue(const PlanConstant& constant) {
  if (auto* value = std::get_if<bool>(&constant.value)) return *value;
  if (auto* value = std::get_if<int32>(&constant.value)) return *value;
  if (auto* value = std::get_if<uint32>(&constant.value)) return *value;
  return {};
}

/// Bits, smallint and real come out of casts alone.
bool HasLiterals(XeDataType type) {
  return type != XeBitData && type != XeInt2Data && type != XeFloatData;
}

template <class T>
PlanConstant EvaluatedAs(RExpression& bound, void* out) {
  return {bound.GetResultDataType(), *static_cast<const T*>(out)};
}

}  // namespace

uint32 PlanConstant::GetLength() const {
  if (auto* text = std::get_if<XeString>(&value))
    return std::max(declared, static_cast<uint32>(text->size()));
  return XeFieldDescriptor::GetObjectLength(type, std::max(declared, uint32{1}));
}

bool PlanConstant::IsSame(const PlanConstant& other) const {
  if (type != other.type || value.index() != other.value.index()) return false;
  if (auto* number = std::get_if<float64>(&value))
    return std::bit_cast<uint64>(*number) == std::bit_cast<uint64>(std::get<float64>(other.value));
  // Equal intervals may differ in their parts.
  if (auto* interval = std::get_if<XeInterval>(&value))
    return interval->IsSame(std::get<XeInterval>(other.value));
  return value == other.value;
}

PlanConstant ReadLiteral(const SqlLiteral& literal, int position) {
  switch (literal.kind) {
    case Kind::kNull:
      return {.type = XeBoolean, .value = {}, .isLiteral = true};
    case Kind::kBoolean:
      return {XeBoolean, literal.boolean};
    case Kind::kText:
      return {.type = XeLongVarCharData, .value = literal.text, .isLiteral = true};
    case Kind::kTypedText:
      if (literal.type == XeIntervalData) return ReadIntervalLiteral(literal, position);
      return ReadText(literal.text, literal.type, position);
    default: {
      PlanConstant number = ReadNumber(literal.text, literal.kind, position);
      number.isLiteral = true;
      return number;
    }
  }
}

PlanConstant ReadText(const XeString& text, XeDataType type, int position) {
  switch (type) {
    case XeBoolean:
      return ReadBoolean(text, position);
    case XeDateData:
      return ReadAs<XeDate>(text, type, position);
    case XeTimeData:
      return ReadAs<XeTime>(text, type, position);
    case XeDateTimeData:
      return ReadAs<XeDateTime>(text, type, position);
    case XeIntervalData:
      return ReadAs<XeInterval>(text, type, position);
    case XeInt4Data:
      return ReadAs<int32>(text, type, position);
    case XeUInt4Data:
      return ReadAs<uint32>(text, type, position);
    case XeDoubleData:
      return ReadAs<float64>(text, type, position);
    case XeNumericData:
      return ReadAs<VelmarNumber>(text, type, position);
    default:
      return {type, text};
  }
}

PlanConstant ReadNumberText(const XeString& text, XeDataType partner, int position) {
  XeString trimmed = Trim(text);
  if (std::optional<Kind> kind = NumberKind(trimmed)) {
    if (trimmed[0] == L'+') trimmed.erase(0, 1);
    return ReadNumber(trimmed, *kind, position);
  }
  if (partner == XeDoubleData) {
    // NaN and Infinity have no literal of their own.
    float64 value;
    if (sqxer::ReadNumber(trimmed, value) == NumberReading::kRead) return {partner, value};
  }
  ThrowUnreadable(text, partner, position);
}

PlanConstant ReadDateText(const XeString& text, int position) {
  PlanConstant date = ReadText(text, XeDateData, position);
  XeDateTime whole;
  if (!SUDataConvert::GetDefaultDateTimeMetaData().TryConvert(text, whole)) return date;
  return whole.GetTime() == XeTime(0, 0, 0) ? date : PlanConstant{XeDateTimeData, whole};
}

namespace {

/// The same value under another type. Member by member: of a braced result whose copy fails g++ 12
/// destroys what it has not made.
PlanConstant WithType(XeDataType type, const PlanConstant& constant, uint32 declared) {
  PlanConstant same;
  same.type = type;
  same.value = constant.value;
  same.declared = declared;
  return same;
}

}  // namespace

std::optional<PlanConstant> ConvertConstant(const PlanConstant& constant, XeDataType target) {
  const bool isText = target == XeCharData || target == XeLongVarCharData;
  if (constant.type == target || constant.IsNull() || (constant.IsText() && isText))
    return WithType(target, constant, isText ? constant.declared : 0);
  if (constant.IsText()) return {};
  if (auto* date = std::get_if<XeDate>(&constant.value); date && target == XeDateTimeData)
    return PlanConstant{target, XeDateTime(*date)};
  if (auto* time = std::get_if<XeTime>(&constant.value); time && target == XeDateTimeData)
    return PlanConstant{target, XeDateTime(*time)};
  if (auto* number = std::get_if<VelmarNumber>(&constant.value)) {
    if (target == XeDoubleData) return PlanConstant{target, number->asDouble()};
    if (target == XeUInt4Data && !number->isNegative() && number->decimalPlaces() == 0 &&
        *number <= VelmarNumber(std::numeric_limits<uint32>::max()))
      return PlanConstant{target, static_cast<uint32>(std::stoul(number->asString()))};
    return {};
  }
  std::optional<int64> integer = IntegerValue(constant);
  if (!integer) return {};
  switch (target) {
    case XeInt4Data:
      if (*integer > std::numeric_limits<int32>::max()) return {};
      return PlanConstant{target, static_cast<int32>(*integer)};
    case XeUInt4Data:
      if (*integer < 0) return {};
      return PlanConstant{target, static_cast<uint32>(*integer)};
    case XeDoubleData:
      return PlanConstant{target, static_cast<float64>(*integer)};
    case XeNumericData:
      return PlanConstant{target, VelmarNumber(*integer)};
    default:
      return {};
  }
}

PlanConstant ConstantAsText(const PlanConstant& constant) {
  XeString text;
  if (constant.IsNull() || constant.IsText()) {
    return WithType(XeLongVarCharData, constant, 0);
  } else if (auto* boolean = std::get_if<bool>(&constant.value)) {
    text = *boolean ? L"true" : L"false";
  } else if (auto* number = std::get_if<float64>(&constant.value)) {
    text = Wide(RealText(*number).Get());
  } else if (auto* decimal = std::get_if<VelmarNumber>(&constant.value)) {
    text = decimal->asString();
  } else if (auto* date = std::get_if<XeDate>(&constant.value)) {
    text = DateText(*date);
  } else if (auto* time = std::get_if<XeTime>(&constant.value)) {
    text = TimeText(*time);
  } else if (auto* dateTime = std::get_if<XeDateTime>(&constant.value)) {
    text = DateTimeText(*dateTime);
  } else if (auto* interval = std::get_if<XeInterval>(&constant.value)) {
    text = IntervalText(*interval);
  } else {
    text = std::to_wstring(*IntegerValue(constant));
  }
  return {XeLongVarCharData, text};
}

std::unique_ptr<RExpression> MakeConstantNode(const PlanConstant& constant) {
  struct Maker {
    const PlanConstant& constant;
    std::unique_ptr<RExpression> operator()(std::monostate) const {
      if (constant.isLiteral) return std::make_unique<ConstantNull>();
      return std::make_unique<ConstantTypedNull>(constant.type, constant.GetLength());
    }
    std::unique_ptr<RExpression> operator()(bool value) const {
      return std::make_unique<ConstantBoolean>(uint8{value});
    }
    std::unique_ptr<RExpression> operator()(int32 value) const {
      return std::make_unique<ConstantInt32>(value);
    }
    std::unique_ptr<RExpression> operator()(uint32 value) const {
      return std::make_unique<ConstantUInt32>(value);
    }
    std::unique_ptr<RExpression> operator()(float64 value) const {
      return std::make_unique<ConstantFloat64>(value);
    }
    std::unique_ptr<RExpression> operator()(const VelmarNumber& value) const {
      return std::make_unique<ConstantNumber>(value);
    }
    std::unique_ptr<RExpression> operator()(const XeString& value) const {
      if (constant.type == XeCharData) return std::make_unique<ConstantXeChar>(value);
      if (constant.isLiteral) return std::make_unique<ConstantLongVarXeChar>(value);
      return std::make_unique<ConstantLongVarXeChar>(value, constant.declared);
    }
    std::unique_ptr<RExpression> operator()(const XeDate& value) const {
      return std::make_unique<ConstantDate>(value);
    }
    std::unique_ptr<RExpression> operator()(const XeTime& value) const {
      return std::make_unique<ConstantTime>(value);
    }
    std::unique_ptr<RExpression> operator()(const XeDateTime& value) const {
      return std::make_unique<ConstantDateTime>(value);
    }
    std::unique_ptr<RExpression> operator()(const XeInterval& value) const {
      return std::make_unique<ConstantInterval>(value);
    }
  };
  return std::visit(Maker{constant}, constant.value);
}

std::optional<PlanConstant> EvaluateConstant(RExpression& bound) {
  alignas(16) uint8 out[64] = {};
  static_assert(sizeof out >= sizeof(VelmarNumber) && sizeof out >= sizeof(RefLongVarChar));
  RExprReturn status = kError;
  try {
    status = bound.Eval(out);
  } catch (const ErrorMessage&) {
    return {};
  }
  XeDataType type = bound.GetResultDataType();
  if (status == kUnknown)
    return HasLiterals(type) ? std::optional(PlanConstant{type, {}}) : std::nullopt;
  if (status != kTrue) return {};
  switch (type) {
    case XeBoolean:
      return PlanConstant{type, out[0] != 0};
    case XeInt4Data:
      return EvaluatedAs<int32>(bound, out);
    case XeUInt4Data:
      return EvaluatedAs<uint32>(bound, out);
    case XeDoubleData:
      return EvaluatedAs<float64>(bound, out);
    case XeNumericData:
      return EvaluatedAs<VelmarNumber>(bound, out);
    case XeDateData:
      return EvaluatedAs<XeDate>(bound, out);
    case XeTimeData:
      return EvaluatedAs<XeTime>(bound, out);
    case XeDateTimeData:
      return EvaluatedAs<XeDateTime>(bound, out);
    case XeIntervalData:
      return EvaluatedAs<XeInterval>(bound, out);
    case XeCharData:
      return PlanConstant{type, XeString(*reinterpret_cast<const wchar_t* const*>(out))};
    case XeLongVarCharData: {
      auto* text = reinterpret_cast<const RefLongVarChar*>(out);
      return PlanConstant{type, XeString(text->buffer_, text->length_)};
    }
    default:
      return {};
  }
}

}  // namespace sqxer
