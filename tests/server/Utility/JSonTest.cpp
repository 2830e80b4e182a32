#include <gtest/gtest.h>

#include "Utility/JSonValuesHolder.h"
#include "Utility/SUXeDataTypeUtility.h"
#include "UtilityTesting.h"

namespace sqxer {
namespace {

using JSon::JSonPath;

std::string TypeText(XeDataType type) {
  return BaseStringUtil::StringToUtf8(SUXeDataTypeUtility::GetXeDataTypeName(type));
}

/// The steps of a path, or where it goes wrong.
std::string StepsOf(const std::string& path) {
  std::string steps;
  try {
    const JSonPath read(Wide(path));
    for (const JSonPath::Step& step : read.GetSteps()) {
      const auto* member = std::get_if<std::string>(&step);
      steps += member ? "(" + *member + ")" : std::to_string(std::get<uint32>(step));
    }
  } catch (const ErrorMessage& error) {
    EXPECT_EQ(error.GetCode(), 59190);
    steps = "@" + BaseStringUtil::StringToUtf8(error.GetArguments()[1]);
  }
  return steps;
}

TEST(JSonPath, ReadsStepsAndTellsWhereItCannot) {
  // clang-format off
  const std::pair<const char*, const char*> kPaths[] = {
      {"$", ""}, {"$.a.b[2].c", "(a)(b)2(c)"}, {"$[0][10]", "010"}, {"$.\"a b\"", "(a b)"},
      {"$['a b']", "(a b)"}, {"$[\"a'\"].x", "(a')(x)"}, {"$['']", "()"},
      {"$['\\'\\\\']", "('\\)"}, {"$.\u00E9-1_$", "(\u00E9-1_$)"}, {"", "@1"}, {"a", "@1"},
      {"$a", "@2"}, {"$.", "@3"}, {"$..a", "@3"}, {"$.a b", "@4"}, {"$.a[", "@5"}, {"$.a[1", "@6"},
      {"$.a[-1]", "@5"}, {"$[*]", "@3"}, {"$['a]", "@6"}, {"$.\"a", "@5"}, {"$['a\\", "@6"},
      {"$.'a'", "@3"}, {"$[100000001]", "@11"}, {"$.a.", "@5"}, {" $", "@1"}, {"$.a ", "@4"}};
  // clang-format on
  for (const auto& [path, steps] : kPaths) EXPECT_EQ(StepsOf(path), steps) << path;
}

/// What a path finds in a document: its type and text, "null", "none", or "malformed".
std::string Find(const std::string& document, const std::string& path) {
  JSonValuesHolder holder;
  const std::size_t handle = holder.AddCollectionPath(JSonPath(Wide(path)));
  const XeString text = Wide(document);
  holder.SetDocument(text);
  try {
    const JSon::JSonValue& value = holder.Resolve(handle);
    if (value.IsNull()) return "null";
    if (!value.IsPresent()) return "none";
    return TypeText(value.GetDataType()) + " " + std::string(value.asXeNString());
  } catch (const ErrorMessage& error) {
    EXPECT_EQ(error.GetCode(), 59191);
    return "malformed";
  }
}

TEST(JSonValuesHolder, FindsValuesAsTheyAreWritten) {
  const std::string nest(1000, '['), deep = nest + std::string(1000, ']');
  const std::vector<std::string> kCases[] = {
      {R"({"a":{"b":[1,{"c":"x"}]}})", "$.a.b[1].c", "VARCHAR x"},
      {R"( {"a" : { "b" : [ 1 , 2 ] } , "z":0} )", "$.a", R"(OBJECT { "b" : [ 1 , 2 ] })"},
      {R"({"a":[[1,2] ,3]})", "$.a[0]", "OBJECT [1,2]"},
      {" [1, 2] ", "$", "OBJECT [1, 2]"},
      {"[]", "$[0]", "none"},
      {"{}", "$", "OBJECT {}"},
      {R"({"a":1,"a":2})", "$.a", "INTEGER 1"},
      {R"({"a":5})", "$.a.b", "none"},
      {R"({"a":5})", "$[0]", "none"},
      {R"([5])", "$.a", "none"},
      {R"({"a b":{"\u0061\n":7}})", "$['a b'].\"a\n\"", "INTEGER 7"},
      {"\"\\ud83d\\ude00 \u00E9\\\"\"", "$", "VARCHAR \U0001F600 \u00E9\""},
      {"2147483647", "$", "INTEGER 2147483647"},
      {"[-2147483648]", "$[0]", "INTEGER -2147483648"},
      {"[2147483648 ]", "$[0]", "DOUBLE 2147483648"},
      {"[1.0]", "$[0]", "DOUBLE 1.0"},
      {"[-1e2,0]", "$[0]", "DOUBLE -1e2"},
      {"123456789012345678901234567890", "$", "DOUBLE 123456789012345678901234567890"},
      {"true  ", "$", "VARCHAR true"},
      {"[null,false]", "$[1]", "VARCHAR false"},
      {"[null,false]", "$[0]", "null"},
      {" null\n ", "$", "null"},
      {R"({"a":1,"b":-1e400})", "$.b", "VARCHAR -1e400"},
      {R"({"b":1e400,"a":1})", "$.a", "INTEGER 1"},
      {deep, "$", "OBJECT " + deep}};
  for (const auto& one : kCases) EXPECT_EQ(Find(one[0], one[1]), one[2]) << one[0] << " " << one[1];
}

TEST(JSonValuesHolder, TakesNothingFromWhatIsNoDocument) {
  // clang-format off
  const char* const kTexts[] = {
      "", " ", "{", "}", "[1", "[1,]", "[1 2]", "[1}", "[[1]", R"({"a":1]})", R"({"a":1,})",
      R"({"a" 1})", R"({a:1})", R"({"a":1} x)", "1 2", "{} {}", "tru", "[nul]", "[nulll]",
      "[truee]", "01", "[1x]", "[+1]", "[.5]", "[1.]", "1e400", R"(["\q"])", R"(["\ud83d"])",
      "[\"\n\"]", "\"a", "'a'", "NaN", R"({"z":{"y":[1,{"x":tru}]}})"};
  // clang-format on
  std::vector<std::string> texts(std::begin(kTexts), std::end(kTexts));
  texts.push_back(std::string(1, '\0'));
  texts.push_back(std::string(1001, '[') + std::string(1001, ']'));
  for (const std::string& text : texts) {
    EXPECT_EQ(Find(text, "$.a"), "malformed") << text;
  }
  ConfigScope config;
  config->jsonErrors_ = SUSystemConfig::JsonErrors::kNull;
  EXPECT_EQ(Find(R"({"a":1,})", "$.a"), "none");
}

TEST(JSonValuesHolder, ReadsADocumentOnceAndOnlyWhenAsked) {
  JSonValuesHolder holder;
  const auto a = holder.AddCollectionPath(JSonPath(L"$.a"));
  const auto b = holder.AddCollectionPath(JSonPath(L"$.b[0]"));
  EXPECT_NE(a, b);
  EXPECT_EQ(holder.AddCollectionPath(JSonPath(L"$['a']")), a);
  const XeString documents[] = {L"{\"a\":1,\"b\":[2]}", L"{\"a\":3}"};
  holder.SetDocument(documents[1]);
  holder.SetDocument(documents[0]);
  EXPECT_EQ(holder.Resolve(b).asInt32() + holder.Resolve(a).asInt32(), 3);
  EXPECT_EQ(holder.GetDocumentsRead(), 1u);
  // A path that comes later finds its value too.
  const auto root = holder.AddCollectionPath(JSonPath(L"$"));
  EXPECT_EQ(holder.Resolve(root).asXeNString(), "{\"a\":1,\"b\":[2]}");
  holder.SetDocument(documents[1]);
  EXPECT_EQ(holder.Resolve(a).asDouble(), 3);
  EXPECT_FALSE(holder.Resolve(b).IsPresent());
  EXPECT_EQ(ErrorOf([&] { holder.Resolve(root).asInt32(); }).substr(0, 6), "59192:");
  holder.SetNoDocument();
  EXPECT_FALSE(holder.Resolve(a).IsPresent());
  EXPECT_EQ(holder.GetDocumentsRead(), 3u);
}

TEST(JSonValuesHolder, ResolvesTheTypeThatHoldsWhatWasObserved) {
  for (const std::string& one :
       Split("1,-2147483648=INTEGER 11|1,2147483648=DOUBLE 10|1,0.5=DOUBLE 3|1,\"ab\"=VARCHAR 2|"
             "{},[ 1 ]=OBJECT 5|{},1=VARCHAR 2|true,false=VARCHAR 5|null,7=INTEGER 1|"
             "null,\"\u00E9\u00E9\"=VARCHAR 2|no,0.5=DOUBLE 3|null,null=UNKNOWN 0|no,no=UNKNOWN 0",
             '|')) {
    const auto sides = Split(one, '=');
    JSonValuesHolder holder;
    const auto handle = holder.AddCollectionPath(JSonPath(L"$.v"));
    for (const std::string& value : Split(sides[0], ',')) {
      const XeString document = Wide("{\"v\":" + value + "}");
      holder.SetDocument(document);
      holder.Observe();
    }
    EXPECT_EQ(TypeText(holder.ResolveDataType(handle)) + " " +
                  std::to_string(holder.GetLongestText(handle)),
              sides[1])
        << one;
  }
}

}  // namespace
}  // namespace sqxer
