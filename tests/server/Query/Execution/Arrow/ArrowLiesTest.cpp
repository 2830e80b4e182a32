#include <functional>

#include "ArrowTesting.h"

namespace sqxer::test {
namespace {

using ArrowLiesTest = ArrowTest;

const Bytes kNone;

/// What is told of a column, and that everything was released.
std::string ErrorOf(const std::function<void()>& read) {
  try {
    read();
  } catch (const ErrorMessage& error) {
    return std::to_string(error.GetCode()) + ": " + error.what();
  }
  return "";
}

std::string ErrorOfColumn(Spec column, int64 rows = 2, bool takesBinaryAsText = false) {
  return ErrorOf([&] { Read(TableOf({std::move(column)}, rows), takesBinaryAsText); });
}

std::string Contradiction(const std::string& what) {
  return "57204: the Arrow array of the column \"c\" of \"t\" contradicts its type: " + what;
}

TEST_F(ArrowLiesTest, OfArrays) {
  const Spec good{"i", 2, {kNone, Raw<int32>({1, 2})}};
  EXPECT_EQ(ErrorOfColumn(good), "");
  const auto error = [&](auto change) {
    Spec bad = good;
    change(bad);
    return ErrorOfColumn(bad);
  };
  EXPECT_EQ(error([](Spec& c) { c.length = -1; }), Contradiction("its length is -1"));
  EXPECT_EQ(error([](Spec& c) { c.length = INT64_MAX; }),
            Contradiction("its length is 9223372036854775807"));
  EXPECT_EQ(error([](Spec& c) { c.length = 1; }),
            Contradiction("its length is 1 where 2 are needed"));
  EXPECT_EQ(error([](Spec& c) { c.offset = -1; }), Contradiction("its offset is -1"));
  EXPECT_EQ(error([](Spec& c) { c.nulls = 3; }), Contradiction("of 2 rows it counts 3 NULLs"));
  EXPECT_EQ(error([](Spec& c) { c.nulls = -2; }), Contradiction("of 2 rows it counts -2 NULLs"));
  EXPECT_EQ(error([](Spec& c) { c.nulls = 1; }),
            Contradiction("it counts NULLs and does not say which"));
  EXPECT_EQ(error([](Spec& c) { c.buffers.pop_back(); }),
            Contradiction("it has 1 buffers and not 2"));
  EXPECT_EQ(error([](Spec& c) { c.buffers[1] = kNone; }), Contradiction("a buffer is missing"));
  // The array has what its schema has not, and the other way round.
  const auto mismatch = [](const Spec& said, const Spec& done) {
    return ErrorOf([&] {
      ArrowSchema schema = MakeSchema(TableOf({said}, 2));
      ArrowArray array = MakeArray(TableOf({done}, 2));
      ReadArrowTable(&schema, &array, {L"t"});
    });
  };
  Spec coded = good;
  coded.dictionary = {good};
  EXPECT_EQ(mismatch(coded, good), Contradiction("it has no dictionary"));
  EXPECT_EQ(mismatch(good, coded), Contradiction("it has a dictionary"));
  const Spec nested{"+s", 2, {kNone}, {good}};
  const Spec empty{"+s", 2, {kNone}, {}};
  EXPECT_EQ(mismatch(nested, empty), Contradiction("it has 0 children and not 1"));
  Spec shorter = nested;
  shorter.children[0].length = 1;
  EXPECT_EQ(
      ErrorOfColumn(shorter),
      "57204: the Arrow array of the column \"c.c\" of \"t\" contradicts its type: its length "
      "is 1 where 2 are needed");
  Spec promised = good;
  promised.flags = 0;
  promised.buffers[0] = Bits({true, false});
  EXPECT_EQ(ErrorOfColumn(promised),
            "57208: row 2 of \"t\" is NULL in the column \"c\", which says that it has no NULLs: "
            "declare it nullable");
}

TEST_F(ArrowLiesTest, OfTexts) {
  const auto text = [](std::vector<int32> offsets, Bytes bytes) {
    return ErrorOfColumn({"u", 2, {kNone, Raw(offsets), std::move(bytes)}});
  };
  EXPECT_EQ(text({0, 2, 3}, "abc"), "");
  EXPECT_EQ(text({0, 2, 1}, "abc"), Contradiction("its offsets do not ascend"));
  EXPECT_EQ(text({-1, 0, 1}, "abc"), Contradiction("its offsets do not ascend"));
  EXPECT_EQ(text({0, INT32_MIN, 1}, "abc"), Contradiction("its offsets do not ascend"));
  EXPECT_EQ(text({0, 1, 2}, kNone), Contradiction("a buffer is missing"));
  const std::string invalid =
      "57205: row 2 of \"t\" has a text in the column \"c\" that is not valid UTF-8, or holds a "
      "NUL "
      "character: mend or remove it";
  EXPECT_EQ(text({0, 1, 2}, "a\xC3"), invalid);
  // Each half of a character is no text.
  EXPECT_EQ(text({0, 1, 3}, std::string("a\0b", 3)), invalid);
  EXPECT_NE(text({0, 1, 2}, "\xC3\xA9"), "");
  EXPECT_EQ(ErrorOfColumn({"w:1", 2, {kNone, "a\xFF"}}, 2, true), invalid);

  const auto view = [](std::array<int32, 4> words, std::vector<Bytes> rest) {
    std::vector<Bytes> buffers{kNone, Raw<int32>({words[0], words[1], words[2], words[3]})};
    buffers.insert(buffers.end(), rest.begin(), rest.end());
    return ErrorOfColumn({"vu", 1, std::move(buffers)}, 1);
  };
  const std::string data(20, 'v');
  EXPECT_EQ(view({20, 0, 0, 0}, {data, Raw<int64>({20})}), "");
  const std::string outside = Contradiction("row 1 points outside its buffers");
  EXPECT_EQ(view({20, 0, 0, 1}, {data, Raw<int64>({20})}), outside);
  EXPECT_EQ(view({20, 0, 1, 0}, {data, Raw<int64>({20})}), outside);
  EXPECT_EQ(view({20, 0, -1, 0}, {data, Raw<int64>({20})}), outside);
  EXPECT_EQ(view({20, 0, 0, -1}, {data, Raw<int64>({20})}), outside);
  EXPECT_EQ(view({-1, 0, 0, 0}, {data, Raw<int64>({20})}), outside);
  EXPECT_EQ(view({20, 0, 0, 0}, {kNone}), outside);
}

TEST_F(ArrowLiesTest, OfCodesRunsAndLists) {
  const Spec words{"u", 2, {kNone, Raw<int32>({0, 1, 2}), "ab"}};
  const auto code = [&](const char* format, Bytes codes) {
    return ErrorOfColumn({format, 2, {kNone, std::move(codes)}, {}, {words}});
  };
  EXPECT_EQ(code("c", Raw<int8>({0, -1})),
            Contradiction("row 2 has the code -1 where the dictionary has 2 entries"));
  EXPECT_EQ(code("I", Raw<uint32>({2, 0})),
            Contradiction("row 1 has the code 2 where the dictionary has 2 entries"));
  EXPECT_EQ(code("l", Raw<int64>({0, int64{1} << 32})),
            Contradiction("row 2 has the code 4294967296 where the dictionary has 2 entries"));

  const auto runs = [&](std::vector<int32> ends, int64 rows) {
    Spec ending{"i", static_cast<int64>(ends.size()), {kNone, Raw(ends)}};
    return ErrorOfColumn({"+r", rows, {}, {ending, words}}, rows);
  };
  EXPECT_EQ(runs({1, 3}, 3), "");
  EXPECT_EQ(runs({1, 3}, 4), Contradiction("its runs end before its rows"));
  EXPECT_EQ(runs({1, 1}, 1), Contradiction("the ends of its runs do not ascend"));
  EXPECT_EQ(runs({0, 1}, 1), Contradiction("the ends of its runs do not ascend"));
  EXPECT_EQ(
      runs({1, 2, 3}, 3),
      "57204: the Arrow array of the column \"c.c\" of \"t\" contradicts its type: its length "
      "is 2 where 3 are needed");

  const auto list = [&](std::vector<int32> offsets) {
    return ErrorOfColumn({"+l", 2, {kNone, Raw(offsets)}, {words}});
  };
  EXPECT_EQ(list({0, 1, 2}), "");
  EXPECT_EQ(list({0, 2, 1}), Contradiction("its offsets do not ascend"));
  EXPECT_NE(list({0, 1, 3}), "");
  EXPECT_NE(ErrorOfColumn({"+w:2", 2, {kNone}, {words}}), "");
}

TEST_F(ArrowLiesTest, OfValues) {
  const auto refused = [](const char* type, const char* value) {
    return std::string("57206: row 2 of \"t\" has a value in the column \"c\" that no ") + type +
           " can be: " + value;
  };
  const auto error = [](const char* format, Bytes values) {
    Spec column{format, 3, {Bits({true, true, false}), std::move(values)}};
    return ErrorOfColumn(column, 3);
  };
  // The third is NULL.
  EXPECT_EQ(error("tdD", Raw<int32>({0, 2932897, INT32_MAX})),
            refused("DATE", "2932897 days since 1970"));
  EXPECT_EQ(error("tdD", Raw<int32>({0, 2932896, INT32_MAX})), "");
  EXPECT_EQ(error("tdm", Raw<int64>({0, 1, INT64_MAX})),
            refused("DATE", "1 milliseconds since 1970"));
  EXPECT_EQ(error("tts", Raw<int32>({0, 86400, -1})), refused("TIME", "86400 seconds"));
  EXPECT_EQ(error("ttn", Raw<int64>({0, -1, -1})), refused("TIME", "-1 nanoseconds"));
  EXPECT_EQ(error("tsu:", Raw<int64>({0, INT64_MAX, INT64_MIN})),
            refused("TIMESTAMP", "9223372036854775807 microseconds since 1970"));
  EXPECT_EQ(error("tss:", Raw<int64>({0, INT64_MIN, INT64_MIN})),
            refused("TIMESTAMP", "-9223372036854775808 seconds since 1970"));
  const auto most = ~uint64{0} >> 1;
  EXPECT_EQ(error("d:38,0", Raw<uint64>({0, 0, 0, most, 0, most})),
            refused("NUMERIC", "it has more than 38 digits"));
  EXPECT_EQ(error("d:76,0,256", Raw<uint64>({0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 1, 0})),
            refused("NUMERIC", "it has more than 38 digits"));
}

TEST_F(ArrowLiesTest, OfSchemas) {
  const Spec column{"i", 0, {kNone, kNone}};
  const auto error = [](const Spec& table) { return ErrorOf([&] { Read(table); }); };
  EXPECT_EQ(error(column),
            "57202: the Arrow data of \"t\" are no table: their type is \"i\" and no struct of "
            "columns");
  Spec child = column;
  child.children = {column};
  EXPECT_EQ(
      error(TableOf({child}, 0)),
      "57202: the Arrow data of \"t\" are no table: of the column \"c\", the format \"i\" does "
      "not have 1 children");
  Spec misnamed = column;
  misnamed.name = "\xFF";
  EXPECT_EQ(error(TableOf({misnamed}, 0)),
            "57202: the Arrow data of \"t\" are no table: a name is not valid UTF-8");
  for (const char* const format : {"", "x", "d:", "d:5", "d:5,1,16", "d:5,99", "w:", "w:-1", "ts",
                                   "tsx:", "tsu", "ttq", "tiX", "+us:0", "+w:x"}) {
    Spec odd = column;
    odd.format = format;
    EXPECT_EQ(error(TableOf({odd}, 0)).substr(0, 5), "57203") << format;
  }
  Spec deep = column;
  for (int i = 0; i < 100; ++i) deep = {"+s", 0, {kNone}, {deep}};
  EXPECT_EQ(error(TableOf({deep}, 0)).substr(0, 5), "57202");

  // One of the two was read before: the other one is released all the same.
  ArrowSchema schema = MakeSchema(TableOf({column}, 0));
  ArrowArray array = MakeArray(TableOf({column}, 0));
  ReadArrowTable(&schema, &array, {L"t"});
  ArrowArray another = MakeArray(TableOf({column}, 0));
  ExpectError(57200, {L"t"}, [&] { ReadArrowTable(&schema, &another, {L"t"}); });
  ArrowSchema described = MakeSchema(TableOf({column}, 0));
  ExpectError(57200, {L"t"}, [&] { ReadArrowTable(&described, &array, {L"t"}); });
}

}  // namespace
}  // namespace sqxer::test
