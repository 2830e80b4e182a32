#include <gtest/gtest.h>

#include "Utility/SUXeDataTypeUtility.h"
#include "UtilityTesting.h"

namespace sqxer {
namespace {

using Types = SUXeDataTypeUtility;

std::string Name(XeDataType type) {
  return BaseStringUtil::StringToUtf8(Types::GetXeDataTypeName(type));
}

TEST(SUXeDataTypeUtilityTest, NamesAndPromotionAreThePages) {
  const TableRows rows = PageTables("types.md")["number"];
  ASSERT_EQ(rows.size(), 27u);
  for (int type = 0; type <= XeMaxType; ++type) {
    const auto& row = rows[static_cast<std::size_t>(type)];
    EXPECT_EQ("`" + Name(static_cast<XeDataType>(type)) + "`", row[2]);
    EXPECT_EQ("`" + Name(Types::GetPromotedDataType(static_cast<XeDataType>(type))) + "`", row[4]);
  }
  EXPECT_EQ(Name(static_cast<XeDataType>(-1)), "UNKNOWN");
}

TEST(SUXeDataTypeUtilityTest, UnionsAreThePages) {
  std::map<std::pair<std::string, std::string>, std::string> unions;
  const TableRows rows = PageTables("types.md")["a type of"];
  for (const auto& row : rows) {
    for (const std::string& a : Quoted(row[0])) {
      for (const std::string& b : Quoted(row[1]))
        unions[{a, b}] = unions[{b, a}] = Quoted(row[2])[0];
    }
  }
  ASSERT_GT(unions.size(), 26u);
  for (int pair = 0; pair < XeMaxType * XeMaxType; ++pair) {
    const auto a = static_cast<XeDataType>(pair / XeMaxType);
    const auto b = static_cast<XeDataType>(pair % XeMaxType);
    SCOPED_TRACE(Name(a) + " with " + Name(b));
    unions[{Name(a), Name(a)}] = Name(a);
    const auto found = unions.find({Name(a), Name(b)});
    EXPECT_EQ(Types::AreUnionCompatible(a, b), found != unions.end());
    EXPECT_EQ(Name(Types::GetUnionDataType(a, b)), found != unions.end() ? found->second : Name(b));
  }
}

}  // namespace
}  // namespace sqxer
