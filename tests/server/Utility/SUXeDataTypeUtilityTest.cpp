#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Utility/BaseStringUtil.h"
#include "Utility/SUXeDataTypeUtility.h"

namespace sqxer {
namespace {

using Types = SUXeDataTypeUtility;

std::vector<XeDataType> AllTypes() {
  std::vector<XeDataType> types;
  for (int type = 0; type < XeMaxType; ++type) types.push_back(static_cast<XeDataType>(type));
  return types;
}

std::string Name(XeDataType type) {
  return BaseStringUtil::StringToUtf8(Types::GetXeDataTypeName(type));
}

/// The rows of the page's table whose header starts with a text; a row holds the names between
/// backquotes of each cell.
std::vector<std::vector<std::vector<std::string>>> PageTable(const std::string& header) {
  std::vector<std::vector<std::vector<std::string>>> rows;
  std::ifstream page(SQXER_SOURCE_DIR "/docs/types.md");
  bool inside = false;
  for (std::string line; std::getline(page, line);) {
    if (!inside || line.empty()) {
      inside = line.starts_with(header);
      continue;
    }
    if (line.starts_with("|---")) continue;
    auto& row = rows.emplace_back();
    bool quoted = false;
    for (const char c : line) {
      if (c == '|') {
        row.emplace_back();
      } else if (c == '`') {
        quoted = !quoted;
        if (quoted) row.back().emplace_back();
      } else if (quoted) {
        row.back().back() += c;
      }
    }
  }
  return rows;
}

TEST(SUXeDataTypeUtilityTest, NamesAndPromotionAreThePages) {
  const auto rows = PageTable("| number |");
  ASSERT_EQ(rows.size(), 27u);
  for (int type = 0; type <= XeMaxType; ++type) {
    const auto& row = rows[static_cast<std::size_t>(type)];
    EXPECT_EQ(Name(static_cast<XeDataType>(type)), row[2].at(0));
    EXPECT_EQ(Name(Types::GetPromotedDataType(static_cast<XeDataType>(type))), row[4].at(0));
  }
  XeString name = L"before";
  Types::GetXeDataTypeName(XeUInt2Data, name);
  EXPECT_EQ(name, L"UNSIGNED SMALLINT");
  EXPECT_EQ(Name(static_cast<XeDataType>(-1)), "UNKNOWN");
}

TEST(SUXeDataTypeUtilityTest, UnionsAreThePages) {
  std::map<std::pair<std::string, std::string>, std::string> unions;
  for (const auto& row : PageTable("| a type of |")) {
    for (const std::string& a : row[0]) {
      for (const std::string& b : row[1]) {
        unions[{a, b}] = unions[{b, a}] = row[2].at(0);
      }
    }
  }
  for (const XeDataType type : AllTypes()) unions[{Name(type), Name(type)}] = Name(type);
  ASSERT_GT(unions.size(), 26u);
  for (const XeDataType a : AllTypes()) {
    for (const XeDataType b : AllTypes()) {
      SCOPED_TRACE(Name(a) + " with " + Name(b));
      const auto found = unions.find({Name(a), Name(b)});
      EXPECT_EQ(Types::AreUnionCompatible(a, b), found != unions.end());
      EXPECT_EQ(Name(Types::GetUnionDataType(a, b)),
                found != unions.end() ? found->second : Name(b));
    }
  }
}

TEST(SUXeDataTypeUtilityTest, EveryFoldOfComputationTypesConverts) {
  // Target and source of the conversions that expressions insert.
  const std::set<std::pair<XeDataType, XeDataType>> kConversions = {
      {XeLongVarCharData, XeCharData}, {XeLongVarBinaryData, XeBinaryData},
      {XeInt4Data, XeBitData},         {XeInt4Data, XeBoolean},
      {XeUInt4Data, XeBitData},        {XeUInt4Data, XeBoolean},
      {XeDoubleData, XeBitData},       {XeDoubleData, XeBoolean},
      {XeDoubleData, XeInt4Data},      {XeDoubleData, XeUInt4Data},
      {XeDoubleData, XeNumericData},   {XeNumericData, XeInt4Data},
      {XeNumericData, XeUInt4Data},    {XeNumericData, XeBitData},
      {XeNumericData, XeBoolean},      {XeDateTimeData, XeDateData},
      {XeDateTimeData, XeTimeData},
  };
  const XeDataType kComputed[] = {XeBitData,     XeBoolean,           XeInt4Data, XeUInt4Data,
                                  XeDoubleData,  XeNumericData,       XeCharData, XeLongVarCharData,
                                  XeBinaryData,  XeLongVarBinaryData, XeDateData, XeTimeData,
                                  XeDateTimeData};
  for (const XeDataType a : kComputed) {
    for (const XeDataType b : kComputed) {
      if (!Types::AreUnionCompatible(a, b)) continue;
      const XeDataType pair = Types::GetUnionDataType(a, b);
      for (const XeDataType c : kComputed) {
        if (!Types::AreUnionCompatible(pair, c)) continue;
        const XeDataType common = Types::GetUnionDataType(pair, c);
        for (const XeDataType member : {a, b, c}) {
          EXPECT_TRUE(member == common || kConversions.contains({common, member}))
              << Name(a) << ", " << Name(b) << ", " << Name(c) << " fold to " << Name(common);
        }
      }
    }
  }
}

TEST(SUXeDataTypeUtilityTest, ClassesHoldTheirTypes) {
  const struct {
    bool (*contains)(XeDataType);
    std::set<XeDataType> members;
  } kClasses[] = {
      {Types::IsXeIntegerType,
       {XeInt1Data, XeUInt1Data, XeInt2Data, XeUInt2Data, XeInt4Data, XeUInt4Data}},
      {Types::IsXeNumericType,
       {XeInt1Data, XeUInt1Data, XeInt2Data, XeUInt2Data, XeInt4Data, XeUInt4Data, XeFloatData,
        XeDoubleData, XeMoneyData, XeNumericData, XeDecimalData}},
      {Types::IsXeTextType, {XeCharData, XeVarCharData, XeLongVarCharData}},
      {Types::IsXeBinaryType, {XeBinaryData, XeVarBinaryData, XeLongVarBinaryData}},
      {Types::IsXeDateTimeDerivedType, {XeDateData, XeTimeData, XeDateTimeData, XeTimeStampData}},
  };
  for (const auto& [contains, members] : kClasses) {
    for (const XeDataType type : AllTypes()) {
      EXPECT_EQ(contains(type), members.contains(type)) << Name(type);
    }
  }
}

}  // namespace
}  // namespace sqxer
