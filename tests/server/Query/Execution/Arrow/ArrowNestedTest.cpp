#include <limits>

#include "ArrowShow.h"

namespace sqxer::test {
namespace {

using ArrowNestedTest = ArrowTest;

const Bytes kNone;

/// A struct of two rows, the second of which has a NULL.
std::string JsonOf(const char* format, std::vector<Bytes> buffers) {
  buffers.insert(buffers.begin(), Bits({true, false}));
  const Spec value{format, 2, std::move(buffers)};
  const Values shown = ShowColumn({"+s", 2, {kNone}, {value}});
  EXPECT_EQ(shown[1], R"({"c":null})") << format;
  return shown[0];
}

TEST_F(ArrowNestedTest, ValuesOfEveryTypeAreJson) {
  EXPECT_EQ(JsonOf("b", {Bits({true, false})}), R"({"c":true})");
  EXPECT_EQ(JsonOf("b", {Bits({false, false})}), R"({"c":false})");
  EXPECT_EQ(JsonOf("C", {Raw<uint8>({255, 0})}), R"({"c":255})");
  EXPECT_EQ(JsonOf("S", {Raw<uint16>({65535, 0})}), R"({"c":65535})");
  EXPECT_EQ(JsonOf("f", {Raw<float32>({0.5F, 0})}), R"({"c":0.5})");
  EXPECT_EQ(JsonOf("e", {Raw<uint16>({0x7C00, 0})}), R"({"c":null})");
  EXPECT_EQ(JsonOf("l", {Raw<int64>({-7, 0})}), R"({"c":-7})");
  EXPECT_EQ(JsonOf("d:20,2", {Raw<int64>({125, 0, 0, 0})}), R"({"c":1.25})");
  EXPECT_EQ(JsonOf("d:38,44", {Raw<int64>({125, 0, 0, 0})}),
            R"({"c":0.00000000000000000000000000000000000000000125})");
  EXPECT_EQ(JsonOf("tdD", {Raw<int32>({1, 0})}), R"({"c":"1970-01-02"})");
  EXPECT_EQ(JsonOf("tts", {Raw<int32>({1, 0})}), R"({"c":"00:00:01"})");
  EXPECT_EQ(JsonOf("tsu:", {Raw<int64>({1, 0})}), R"({"c":"1970-01-01 00:00:00.000001"})");
  EXPECT_EQ(JsonOf("tsn:", {Raw<int64>({1, 0})}), R"({"c":"1970-01-01 00:00:00.000000001"})");
  EXPECT_EQ(JsonOf("tiM", {Raw<int32>({14, 0})}), R"({"c":"1 year 2 mons"})");
  EXPECT_EQ(JsonOf("u", {Raw<int32>({0, 3, 3}), "\xE2\x82\xAC"}), "{\"c\":\"\xE2\x82\xAC\"}");
}

TEST_F(ArrowNestedTest, ListsOfEveryLayoutAreJson) {
  Spec item{"i", 3, {Bits({true, false, true}), Raw<int32>({1, 2, 3})}};
  const Bytes some = Bits({true, false, true});
  EXPECT_EQ(ShowColumn({"+L", 3, {some, Raw<int64>({0, 2, 2, 3})}, {item}}),
            (Values{"[1,null]", "NULL", "[3]"}));
  // What stands at the NULL points nowhere.
  EXPECT_EQ(ShowColumn({"+vL", 3, {some, Raw<int64>({1, -1, 0}), Raw<int64>({2, -5, 0})}, {item}}),
            (Values{"[null,3]", "NULL", "[]"}));
  const Spec pair{"+s", 3, {some}, {item}};
  EXPECT_EQ(ShowColumn({"+l", 1, {kNone, Raw<int32>({0, 3})}, {pair}}),
            (Values{R"([{"c":1},null,{"c":3}])"}));
  // Texts by their codes, and keys that are no texts.
  const Spec words{"u", 2, {kNone, Raw<int32>({0, 1, 2}), "ab"}};
  const Spec coded{"c", 3, {kNone, Raw<int8>({1, 0, 1})}, {}, {words}};
  EXPECT_EQ(ShowColumn({"+l", 1, {kNone, Raw<int32>({0, 3})}, {coded}}),
            (Values{R"(["b","a","b"])"}));
  Spec key{"i", 2, {kNone, Raw<int32>({7, 8})}};
  const Spec pairs{"+s", 2, {kNone}, {key, words}};
  EXPECT_EQ(ShowColumn({"+m", 1, {kNone, Raw<int32>({0, 2})}, {pairs}}),
            (Values{R"({"7":"a","8":"b"})"}));
}

TEST_F(ArrowNestedTest, DictionariesOfEveryWidthOfCodesAndValues) {
  const std::vector<Spec> dictionaries = {
      {"c", 2, {kNone, Raw<int8>({0, 1})}},
      {"s", 2, {kNone, Raw<int16>({0, 1})}},
      {"i", 2, {kNone, Raw<int32>({0, 1})}},
      {"L", 2, {kNone, Raw<uint64>({0, 1})}},
      {"d:20,0", 2, {kNone, Raw<int64>({0, 0, 1, 0})}},
  };
  // The code of the NULL has no entry.
  const auto show = [](const char* format, Bytes codes, const Spec& dictionary) {
    return ShowColumn({format, 3, {Bits({true, false, true}), std::move(codes)}, {}, {dictionary}});
  };
  const Values expected{"1", "NULL", "0"};
  for (const Spec& dictionary : dictionaries) {
    EXPECT_EQ(show("c", Raw<int8>({1, -1, 0}), dictionary), expected);
    EXPECT_EQ(show("C", Raw<uint8>({1, 9, 0}), dictionary), expected);
    EXPECT_EQ(show("s", Raw<int16>({1, -1, 0}), dictionary), expected);
    EXPECT_EQ(show("S", Raw<uint16>({1, 9, 0}), dictionary), expected);
    EXPECT_EQ(show("i", Raw<int32>({1, -1, 0}), dictionary), expected);
    EXPECT_EQ(show("I", Raw<uint32>({1, 9, 0}), dictionary), expected);
    EXPECT_EQ(show("l", Raw<int64>({1, -1, 0}), dictionary), expected);
    EXPECT_EQ(show("L", Raw<uint64>({1, 9, 0}), dictionary), expected);
  }
  // Entries that are codes themselves, and wide texts of which there are more than rows.
  const Spec words{"u", 2, {kNone, Raw<int32>({0, 1, 4}), "a\xE2\x82\xAC"}};
  const Spec coded{"c", 3, {kNone, Raw<int8>({1, 0, 1})}, {}, {words}};
  EXPECT_EQ(show("C", Raw<uint8>({2, 9, 1}), coded), (Values{"\xE2\x82\xAC", "NULL", "a"}));
  std::vector<int32> offsets(1, 0);
  std::string bytes;
  for (int32 i = 1; i <= 6000; ++i) {
    bytes += "\xE2\x82\xAC";
    offsets.push_back(3 * i);
  }
  const Spec many{"u", 6000, {kNone, Raw(offsets), bytes}};
  EXPECT_EQ(show("S", Raw<uint16>({5999, 9, 0}), many),
            (Values{"\xE2\x82\xAC", "NULL", "\xE2\x82\xAC"}));
}

TEST_F(ArrowNestedTest, RunsOfWideEndsStartInTheMiddle) {
  const Spec values{"i", 3, {kNone, Raw<int32>({7, 8, 9})}};
  Spec column{"+r", 3, {}, {{"l", 3, {kNone, Raw<int64>({2, 3, 6})}}, values}};
  column.offset = 2;
  EXPECT_EQ(ShowColumn(column), (Values{"8", "9", "9"}));
  column.children[0].buffers[0] = Bits({true, false, true});
  EXPECT_THROW(ShowColumn(column), ErrorMessage);
}

TEST_F(ArrowNestedTest, HalvesAreFloats) {
  EXPECT_EQ(
      ShowColumn(
          {"e", 7, {kNone, Raw<uint16>({0x7C00, 0xFC00, 0x7E00, 0x0001, 0x8000, 0x03FF, 0x3555})}}),
      (Values{"inf", "-inf", "nan", "0.000000", "-0.000000", "0.000061", "0.333252"}));
}

TEST_F(ArrowNestedTest, LiesOfSchemas) {
  const auto codeOf = [](const Spec& column) {
    try {
      Read(TableOf({column}, 1));
    } catch (const ErrorMessage& error) {
      return static_cast<int>(error.GetCode());
    }
    return 0;
  };
  const Spec number{"i", 1, {kNone, Raw<int32>({1})}};
  const Spec words{"u", 1, {kNone, Raw<int32>({0, 1}), "a"}};
  EXPECT_EQ(codeOf({"+m", 1, {kNone, Raw<int32>({0, 1})}, {number}}), 57202);
  EXPECT_EQ(codeOf({"+m", 1, {kNone, Raw<int32>({0, 1})}, {{"+s", 1, {kNone}, {number}}}}), 57202);
  EXPECT_EQ(codeOf({"u", 1, {kNone, Raw<int32>({0, 1}), "a"}, {}, {words}}), 57202);
  EXPECT_EQ(codeOf({"f", 1, {kNone, Raw<float32>({0})}, {}, {words}}), 57202);
  EXPECT_EQ(codeOf({"+vl", 1, {kNone, Raw<int32>({0}), kNone}, {number}}), 57204);
  EXPECT_EQ(codeOf({"+vl", 1, {kNone, Raw<int32>({-1}), Raw<int32>({1})}, {number}}), 57204);
  EXPECT_EQ(codeOf({"+vl", 1, {kNone, Raw<int32>({0}), Raw<int32>({-1})}, {number}}), 57204);
  EXPECT_EQ(codeOf({"+vL", 1, {kNone, Raw<int64>({0}), Raw<int64>({2})}, {number}}), 57204);
  EXPECT_EQ(codeOf({"+L", 1, {kNone, Raw<int64>({-1, 0})}, {number}}), 57204);
}

/// The code of the error of a table whose structures a change has spoiled.
int CodeOf(const Spec& column, void (*change)(ArrowSchema&, ArrowArray&)) {
  const Spec spec = TableOf({column}, column.length);
  ArrowSchema schema = MakeSchema(spec);
  ArrowArray array = MakeArray(spec);
  const ArrowSchema wholeSchema = schema;
  const ArrowArray wholeArray = array;
  ArrowSchema& field = *schema.children[0];
  ArrowArray& values = *array.children[0];
  const ArrowSchema goodField = field;
  const ArrowArray goodValues = values;
  change(field, values);
  // Released by hand: what was spoiled may not be there when it is.
  schema.release = [](ArrowSchema* one) { one->release = nullptr; };
  array.release = [](ArrowArray* one) { one->release = nullptr; };
  int code = 0;
  try {
    ReadArrowTable(&schema, &array, {L"t"});
  } catch (const ErrorMessage& error) {
    code = static_cast<int>(error.GetCode());
  }
  field = goodField;
  values = goodValues;
  schema = wholeSchema;
  array = wholeArray;
  schema.release(&schema);
  array.release(&array);
  return code;
}

TEST_F(ArrowNestedTest, LiesOfPointers) {
  const Spec number{"i", 1, {kNone, Raw<int32>({1})}};
  const Spec pair{"+s", 1, {kNone}, {number}};
  EXPECT_EQ(CodeOf(number, [](ArrowSchema&, ArrowArray&) {}), 0);
  EXPECT_EQ(CodeOf(number, [](ArrowSchema& s, ArrowArray&) { s.release = nullptr; }), 57202);
  EXPECT_EQ(CodeOf(number, [](ArrowSchema& s, ArrowArray&) { s.format = nullptr; }), 57202);
  EXPECT_EQ(CodeOf(pair, [](ArrowSchema& s, ArrowArray&) { s.children = nullptr; }), 57202);
  EXPECT_EQ(CodeOf(pair, [](ArrowSchema& s, ArrowArray&) { s.n_children = -1; }), 57202);
  EXPECT_EQ(CodeOf(number, [](ArrowSchema&, ArrowArray& a) { a.release = nullptr; }), 57204);
  EXPECT_EQ(CodeOf(number, [](ArrowSchema&, ArrowArray& a) { a.buffers = nullptr; }), 57204);
  EXPECT_EQ(CodeOf(number, [](ArrowSchema&, ArrowArray& a) { a.offset = INT64_MAX; }), 57204);
  EXPECT_EQ(CodeOf(pair, [](ArrowSchema&, ArrowArray& a) { a.children = nullptr; }), 57204);
}

TEST_F(ArrowNestedTest, FormatsEndWhereTheyShould) {
  for (const char* const format :
       {"ttss", "tts:", "tDss", "tDx", "tss", "d:5,1,32,", "d:x,1", "d:5,x", "d:5,1,x", "d:0,1",
        "d:5,-39", "d:5,1,64x", "w:1x", "w:", "+w:1x", "vz"}) {
    const Spec column{format, 0, {kNone, kNone}, {}};
    EXPECT_EQ(CodeOf(column, [](ArrowSchema&, ArrowArray&) {}), 57203) << format;
  }
  // Structs and dictionaries of what cannot be read cannot either.
  const Spec odd{"tiX", 0, {kNone, kNone}};
  EXPECT_EQ(CodeOf({"+s", 0, {kNone}, {odd}}, [](ArrowSchema&, ArrowArray&) {}), 57203);
  EXPECT_EQ(
      CodeOf({"+r", 0, {}, {{"i", 0, {kNone, kNone}}, odd}}, [](ArrowSchema&, ArrowArray&) {}),
      57203);
  EXPECT_EQ(CodeOf({"+r", 0, {}, {{"c", 0, {kNone, kNone}}, {"i", 0, {kNone, kNone}}}},
                   [](ArrowSchema&, ArrowArray&) {}),
            57203);
  EXPECT_EQ(CodeOf({"z", 0, {kNone, kNone, kNone}}, [](ArrowSchema&, ArrowArray&) {}), 57203);
}

TEST_F(ArrowNestedTest, StreamsThatBreakOff) {
  const Spec table = TableOf({{"i", 1, {kNone, Raw<int32>({1})}}}, 1);
  const auto codeOf = [&](auto change) {
    ArrowArrayStream stream = MakeStream({table});
    change(stream);
    try {
      ReadArrowTable(&stream, {L"t"});
    } catch (const ErrorMessage& error) {
      return static_cast<int>(error.GetCode());
    } catch (const std::bad_alloc&) {
      return ENOMEM;
    }
    return 0;
  };
  EXPECT_EQ(codeOf([](ArrowArrayStream&) {}), 0);
  EXPECT_EQ(codeOf([](ArrowArrayStream& s) {
              s.get_schema = [](ArrowArrayStream*, ArrowSchema* out) { return *out = {}, 0; };
            }),
            57202);
  EXPECT_EQ(codeOf([](ArrowArrayStream& s) {
              s.get_schema = [](ArrowArrayStream*, ArrowSchema*) { return ENOMEM; };
            }),
            ENOMEM);
  EXPECT_EQ(codeOf([](ArrowArrayStream& s) {
              s.get_next = [](ArrowArrayStream*, ArrowArray*) { return EIO; };
              s.get_last_error = nullptr;
            }),
            57201);
  EXPECT_EQ(codeOf([](ArrowArrayStream& s) {
              s.get_next = [](ArrowArrayStream*, ArrowArray*) { return EIO; };
              s.get_last_error = [](ArrowArrayStream*) -> const char* { return ""; };
            }),
            57201);
  EXPECT_THROW(ReadArrowTable(static_cast<ArrowArrayStream*>(nullptr), {L"t"}), ErrorMessage);
}

TEST_F(ArrowNestedTest, TextsBeyondTheirColumn) {
  // The dictionary has a long text that no row has, and one that a row has behind a NULL.
  const auto part = [](const std::string& last, Bytes bits, Bytes codes) {
    const auto size = static_cast<int32>(last.size());
    const Spec words{"u", 2, {kNone, Raw<int32>({0, 1, 1 + size}), "a" + last}};
    return TableOf({{"c", 2, {std::move(bits), std::move(codes)}, {}, {words}}}, 2);
  };
  const std::string longer(20, 'x');
  ArrowArrayStream stream = MakeStream({part("b", kNone, Raw<int8>({0, 1})),
                                        part(longer, Bits({false, true}), Raw<int8>({0, 0})),
                                        part(longer, Bits({false, true}), Raw<int8>({0, 1}))});
  ArrowChunkSource source(&stream, {L"t", false, 10});
  EXPECT_NE(source.Next(), nullptr);
  EXPECT_NE(source.Next(), nullptr);
  ExpectError(57207, {L"6", L"c", L"t", L"10", XeString(20, L'x')}, [&] { source.Next(); });
}

}  // namespace
}  // namespace sqxer::test
