// How SqlExpressionReader reads types and casts.

#include <algorithm>
#include <cstdlib>
#include <iterator>

#include "PlanError.h"
#include "SqlExpressionReader.h"
#include "SqlOperators.h"
#include "SqlTimeReader.h"
#include "TryCasts.h"

namespace sqxer {
namespace {

/// The longest text that a CAST may ask for: room for it is made in every row.
constexpr int kMaxCastCharacters = 1 << 20;
/// The most digits that a NUMERIC may be declared with.
constexpr int kMostDigits = 1000;

/// What a type's name in the grammar means; INTEGER arrives as int4, DOUBLE PRECISION as float8.
struct TypeNameRow {
  std::string_view name;
  XeDataType type;
  /// How many numbers in parentheses it may have.
  std::size_t modifiers = 0;
};
constexpr TypeNameRow kTypeNames[] = {
    {"bool", XeBoolean},           {"boolean", XeBoolean},
    {"bit", XeBitData, 1},         {"int1", XeInt1Data},
    {"uint1", XeUInt1Data},        {"int2", XeInt2Data},
    {"smallint", XeInt2Data},      {"uint2", XeUInt2Data},
    {"int4", XeInt4Data},          {"integer", XeInt4Data},
    {"uint4", XeUInt4Data},        {"float4", XeFloatData},
    {"float8", XeDoubleData},      {"double", XeDoubleData},
    {"numeric", XeNumericData, 2}, {"decimal", XeNumericData, 2},
    {"int8", XeNumericData},       {"bigint", XeNumericData},
    {"bpchar", XeCharData, 1},     {"char", XeCharData, 1},
    {"text", XeLongVarCharData},   {"varchar", XeLongVarCharData, 1},
    {"date", XeDateData},          {"time", XeTimeData},
    {"timestamp", XeDateTimeData}, {"interval", XeIntervalData, 2},
};

int ReadModifier(const PgQuery__Node& node, int position) {
  bool integer = node.node_case == PG_QUERY__NODE__NODE_A_CONST &&
                 node.a_const->val_case == PG_QUERY__A__CONST__VAL_IVAL;
  if (!integer) SqlExpressionReader::Refuse(position, L"a length that is no whole number");
  return node.a_const->ival->ival;
}

/// Whether a literal of the type exists: TYPE 'text', read while planning.
bool IsLiteralType(const SqlTypeName& type) {
  switch (type.type) {
    case XeBoolean:
    case XeInt4Data:
    case XeUInt4Data:
    case XeDoubleData:
    case XeDateData:
    case XeTimeData:
    case XeDateTimeData:
    case XeIntervalData:
      return true;
    case XeNumericData:
    case XeLongVarCharData:
      return type.precision == 0;
    default:
      return false;
  }
}

}  // namespace

SqlTypeName SqlExpressionReader::ReadType(const PgQuery__TypeName& name) {
  int position = name.location < 0 ? 0 : name.location;
  std::string_view text = name.n_names ? StringOf(*name.names[name.n_names - 1]) : "";
  const auto* row = std::ranges::find(kTypeNames, text, &TypeNameRow::name);
  if (row == std::end(kTypeNames)) {
    ThrowPlanError(kNoSuchType, position, {Wide(text)});
  }
  if (name.n_typmods > row->modifiers || name.n_array_bounds || name.setof || name.pct_type)
    Refuse(position, L"a precision or array bounds of this type");
  SqlTypeName type{row->type};
  if (type.type == XeIntervalData) {
    SqlTimeReader::ReadIntervalType(name, type);
    return type;
  }
  if (text == "int8" || text == "bigint") type.precision = SqlTypeName::kBigint;
  if (name.n_typmods > 0) type.precision = ReadModifier(*name.typmods[0], position);
  if (name.n_typmods > 1) type.scale = ReadModifier(*name.typmods[1], position);
  bool sized = type.type == XeCharData || type.type == XeLongVarCharData;
  if (sized && name.n_typmods && (type.precision < 1 || type.precision > kMaxCastCharacters))
    ThrowPlanError(kTextLength, position,
                   {std::to_wstring(kMaxCastCharacters), std::to_wstring(type.precision)});
  if (type.type == XeCharData && type.precision == 0) type.precision = 1;
  if (type.type == XeNumericData && name.n_typmods > 0 &&
      (type.precision < 1 || type.precision > kMostDigits || std::abs(type.scale) > kMostDigits))
    ThrowPlanError(kNumericPrecision, position, {std::to_wstring(kMostDigits)});
  return type;
}

SqlExpressionPtr SqlExpressionReader::ReadCast(const PgQuery__TypeCast& cast) const {
  SqlTypeName type = ReadType(*cast.type_name);
  const bool isText = cast.arg->node_case == PG_QUERY__NODE__NODE_A_CONST &&
                      !cast.arg->a_const->isnull &&
                      cast.arg->a_const->val_case == PG_QUERY__A__CONST__VAL_SVAL;
  if (isText && IsLiteralType(type) && !IsTryCast(sql_, Place(cast.location))) {
    auto text = Literal(Place(cast.arg->a_const->location), SqlLiteral::Kind::kTypedText,
                        Wide(cast.arg->a_const->sval->sval));
    text->literal.type = type.type;
    text->literal.fields = type.fields;
    text->literal.digits = type.digits;
    return text;
  }
  int position = Place(cast.location >= 0 ? cast.location : cast.type_name->location);
  type.isTry = IsTryCast(sql_, position);
  if (type.fields || type.digits)
    Refuse(position, L"fields or digits of an INTERVAL that is no literal");
  auto call = Call(SqlExpression::Kind::kOperator, position, "cast", {Read(*cast.arg)});
  call->target = type;
  return call;
}

}  // namespace sqxer
