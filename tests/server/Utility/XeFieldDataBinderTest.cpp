#include <gtest/gtest.h>

#include "Utility/XeFieldDataBinder.h"
#include "UtilityTesting.h"

namespace sqxer {
namespace {

/// What a text becomes in a field of a type, shown as its text again; "refused" or "beyond".
std::string ReadAs(XeDataType type, const std::string& text) {
  const XeString wide = Wide(text);
  const RefLongVarChar value = AsRef(wide);
  alignas(16) uint8 field[32] = {};
  alignas(4) uint8 shown[kLongVarPrefix + 80 * sizeof(wchar_t)];
  bool moved = false;
  const std::string error = ErrorOf([&] {
    moved = XeFieldDataBinder(XeLongVarCharData, 0, type, 0).MoveDataToIntoField(&value, field);
  });
  if (error != "accepted") return error.starts_with("59172") ? "refused" : error;
  if (!moved) return "beyond";
  XeFieldDataBinder(type, 0, XeVarCharData, 80).MoveDataToIntoField(field, shown);
  uint32 length;
  std::memcpy(&length, shown, sizeof length);
  return BaseStringUtil::StringToUtf8(
      {reinterpret_cast<const wchar_t*>(shown + kLongVarPrefix), length});
}

TEST(XeFieldDataBinder, ReadsWholeTextsWithinTheRange) {
  const std::string digits(500, '1');
  const std::tuple<XeDataType, std::string, std::string> kCases[] = {
      {XeBitData, "0| 1 |2|-1|x", "0|1|beyond|beyond|refused"},
      {XeInt1Data, "-128|127|128|", "-128|127|beyond|refused"},
      {XeUInt1Data, "255|256|-1", "255|beyond|beyond"},
      {XeInt2Data, "-32768|32768|0x1", "-32768|beyond|refused"},
      {XeUInt2Data, "65535|65536", "65535|beyond"},
      {XeInt4Data,
       "+2147483647|2147483648|-2147483648|99999999999999999999|1.0|1e2|+-1|- 1|1 2|\u0661",
       "2147483647|beyond|-2147483648|beyond|refused|refused|refused|refused|refused|refused"},
      {XeInt4Data, digits, "beyond"},
      {XeUInt4Data, "4294967295|4294967296", "4294967295|beyond"},
      {XeFloatData, "0.1|3.5e38|1e-50|-1e400|infinity", "0.1|beyond|0|beyond|Infinity"},
      {XeDoubleData, " .5e1 |1e22|-0|1.7976931348623157e308|1e309|1e-400|NAN|-inf|1e|e1|1,5|0x1p1",
       "5|1e+22|-0|1.7976931348623157e+308|beyond|beyond|NaN|-Infinity|refused|refused|refused|"
       "refused"},
      {XeNumericData, "0.10|-1e30|1e127|1e128|1e400|nan|inf|.|1x",
       "0.1|-1000000000000000000000000000000|1E+127|beyond|beyond|refused|refused|refused|refused"},
      {XeDateData, " 2012-02-29 |2012-02-29 10:00|2011-02-29|10:00",
       "2012-02-29|2012-02-29|refused|refused"},
      {XeTimeData, "10:00|2012-02-29 23:59:59.5|24:00|2012-02-29",
       "10:00:00|23:59:59.5|refused|refused"},
      {XeTimeStampData, "10:00|2012-02-29|now", "1900-01-01 10:00:00|2012-02-29 00:00:00|refused"}};
  for (const auto& [type, texts, expected] : kCases) {
    const auto in = Split(texts), out = Split(expected);
    ASSERT_EQ(in.size(), out.size()) << texts;
    for (std::size_t i = 0; i < in.size(); ++i) EXPECT_EQ(ReadAs(type, in[i]), out[i]) << in[i];
  }
}

// Fixed fields are cut and filled by the casts of the corpus.
TEST(XeFieldDataBinder, CutsTextsForVaryingFields) {
  wchar_t text[] = L"ab\0d";
  wchar_t* const value = text;
  for (const uint32 room : {0u, 1u, 2u, 4u}) {
    const std::vector<uint8> wanted = Stored(XeString(text).substr(0, room), true);
    std::vector<uint8> field(wanted.size(), 0xEE);
    XeFieldDataBinder(XeCharData, 4, XeVarCharData, room).MoveDataToIntoField(&value, field.data());
    EXPECT_EQ(field, wanted);
  }
}

}  // namespace
}  // namespace sqxer
