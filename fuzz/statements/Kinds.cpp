#include "Kinds.h"

namespace sqxer::fuzz {

const std::vector<Storage>& Storages() {
  static const std::vector<Storage> storages = {
      {"bit", Kind::kBit, {"0", "1"}},
      {"boolean", Kind::kBoolean, {"true", "false"}},
      {"int4",
       Kind::kInteger,
       {"0", "1", "-1", "5", "2147483647", "-2147483648", "7", "100", "3", "65536", "-46341"}},
      {"int4", Kind::kInteger, {"1", "2", "3", "5", "8"}},
      {"int2", Kind::kInteger, {"1", "-32768", "32767", "12", "0"}},
      {"int1", Kind::kInteger, {"-128", "127", "0", "3"}},
      {"uint1", Kind::kInteger, {"255", "0", "1", "128"}},
      {"uint2", Kind::kInteger, {"65535", "0", "1", "1000"}},
      {"uint4", Kind::kUnsigned, {"0", "1", "4294967295", "17", "2147483648"}},
      {"double",
       Kind::kDouble,
       {"0", "-0.0", "1.5", "NaN", "1e308", "-1e308", "2.5", "inf", "-inf", "0.1", "5e-324", "9",
        "4503599627370497", "1e15"}},
      {"double", Kind::kDouble, {"0.5", "1", "2", "4", "100", "-3.25"}},
      {"float", Kind::kDouble, {"0.1", "-0.0", "3.4e38", "1e-45", "16777217", "2"}},
      {"numeric",
       Kind::kNumeric,
       {"0", "1.50", "-2.25", "99999999999999.99", "0.001", "12", "2.5", "-7"}},
      {"numeric",
       Kind::kNumeric,
       {"1e30", "1234567890123456789012345678.25", "100000000000000000", "-99999999999999999.99",
        "9223372036854775807.5", "9223372036854775808", "-0.25", "1"}},
      {"numeric",
       Kind::kNumeric,
       {"1e-38", "-3.3e-20", "99999999999999999999999999999999999999", "1e60", "-1e60", "0.5",
        "7e89", "1e127", "12"}},
      {"bigint",
       Kind::kNumeric,
       {"9223372036854775807", "-9223372036854775808", "0", "1", "4294967296"}},
      {"varchar(12)",
       Kind::kText,
       {"abc", "ABC ", "", "a%b_c",
        "\xC3\xA4"
        "bc",
        "12", "x", "-1.5", "\xD0\x96x", "\xD0\x96x ", "b", "2012-01-31", "a,b", "a\\d"}},
      {"varchar(9)",
       Kind::kText,
       {"\xC2\xB5m", "\xC3\xBF", "\xC3\xA0 La", " ", " bb ", "ABBA", "b", "\xC3\x9F"}},
      {"varchar(9)",
       Kind::kText,
       {"\xE2\x82\xAC",
        "a\xC5\x82"
        "b",
        "ABBA ", "", "b", "\xF0\x9F\x98\x80"}},
      {"varchar(40)", Kind::kText, {"special requests", "re%", "quest ", "the same", "the same b"}},
      {"char(5)", Kind::kFixedText, {"ab", "AB", "12", "hello", "\xC3\xA4"}},
      {"date",
       Kind::kDate,
       {"2012-01-31", "2012-02-29", "2011-12-31", "2012-03-01", "0001-01-01", "1970-01-01",
        "9999-12-31", "2000-02-29", "1900-03-01"}},
      {"time", Kind::kTime, {"00:00:00", "23:59:59.999", "12:30:00", "23:59:59.999999"}},
      {"timestamp",
       Kind::kTimestamp,
       {"2012-01-31 10:30:00", "1969-12-31 23:59:59.999999", "2012-02-29 00:00:00",
        "9999-12-31 23:59:59", "0001-01-01 00:00:00"}},
      {"interval",
       Kind::kInterval,
       {"1 mon", "30 days", "-1 days", "1 year 2 mons 3 days 04:05:06.7", "00:00:00",
        "-00:00:00.000001", "2147483647 days", "2 days 12:00:00"}},
  };
  return storages;
}

std::optional<Kind> KindOf(XeDataType type) {
  switch (type) {
    case XeBitData:
      return Kind::kBit;
    case XeBoolean:
      return Kind::kBoolean;
    case XeInt1Data:
    case XeUInt1Data:
    case XeInt2Data:
    case XeUInt2Data:
    case XeInt4Data:
      return Kind::kInteger;
    case XeUInt4Data:
      return Kind::kUnsigned;
    case XeFloatData:
    case XeDoubleData:
      return Kind::kDouble;
    case XeMoneyData:
    case XeNumericData:
    case XeDecimalData:
      return Kind::kNumeric;
    case XeVarCharData:
    case XeLongVarCharData:
      return Kind::kText;
    case XeCharData:
      return Kind::kFixedText;
    case XeDateData:
      return Kind::kDate;
    case XeTimeData:
      return Kind::kTime;
    case XeDateTimeData:
    case XeTimeStampData:
      return Kind::kTimestamp;
    case XeIntervalData:
      return Kind::kInterval;
    default:
      return std::nullopt;
  }
}

const char* CastName(Kind kind) {
  static constexpr const char* kNames[kKinds] = {
      "bit",         "boolean", "integer", nullptr, "double precision", "numeric",
      "varchar(60)", "char(5)", "date",    "time",  "timestamp",        "interval"};
  return kNames[static_cast<int>(kind)];
}

std::string Quoted(const std::string& text) {
  std::string quoted = "'";
  for (const char c : text) quoted.append(c == '\'' ? 2 : 1, c);
  return quoted + "'";
}

std::string TypedConstant(Kind kind, const std::string& declared,
                          const std::optional<std::string>& value) {
  const bool isText = kind == Kind::kText || kind == Kind::kFixedText;
  const std::string type = isText && !declared.empty() ? declared : CastName(kind);
  return "CAST(" + (value ? Quoted(*value) : "NULL") + " AS " + type + ")";
}

std::string PlainConstant(Kind kind, const std::string& value) {
  switch (kind) {
    case Kind::kBoolean:
      return value;
    case Kind::kInteger:
    case Kind::kUnsigned:
      return value.starts_with('-') ? "(" + value + ")" : value;
    case Kind::kNumeric: {
      // A number with an exponent is a double.
      const bool isPlain = value.find('e') == value.npos;
      return !isPlain                 ? TypedConstant(kind, "", value)
             : value.starts_with('-') ? "(" + value + ")"
                                      : value;
    }
    case Kind::kText:
      return Quoted(value);
    case Kind::kDate:
      return "DATE " + Quoted(value);
    case Kind::kTime:
      return "TIME " + Quoted(value);
    case Kind::kTimestamp:
      return "TIMESTAMP " + Quoted(value);
    case Kind::kInterval:
      return "INTERVAL " + Quoted(value);
    default:
      return TypedConstant(kind, "", value);
  }
}

std::string RandomValue(Kind kind, Random& random) {
  static const std::vector<std::vector<const Storage*>> byKind = [] {
    std::vector<std::vector<const Storage*>> lists(kKinds);
    for (const Storage& storage : Storages()) {
      lists[static_cast<std::size_t>(storage.kind)].push_back(&storage);
    }
    return lists;
  }();
  return Pick(random, Pick(random, byKind[static_cast<std::size_t>(kind)])->values);
}

}  // namespace sqxer::fuzz
