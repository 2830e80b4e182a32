#include <array>
#include <limits>
#include <random>

#include "ArrowShow.h"

namespace sqxer::test {
namespace {

using ArrowReaderTest = ArrowTest;

const Bytes kNone;

TEST_F(ArrowReaderTest, Numbers) {
  // Slices start at bit 1 here; what stands at the NULL is beyond everything.
  const auto slice = [](const char* format, Bytes values) {
    Spec column{format, 2, {Bits({true, true, false, true}), std::move(values)}};
    column.length = 3;
    column.offset = 1;
    return ShowColumn(column);
  };
  EXPECT_EQ(slice("c", Raw<int8>({0, -128, 5, 127})), (Values{"-128", "NULL", "127"}));
  EXPECT_EQ(slice("I", Raw<uint32>({0, 1, 5, 4294967295})), (Values{"1", "NULL", "4294967295"}));
  EXPECT_EQ(slice("l", Raw<int64>({0, INT64_MIN, 5, INT64_MAX})),
            (Values{"-9223372036854775808", "NULL", "9223372036854775807"}));
  EXPECT_EQ(slice("L", Raw<uint64>({0, 1, UINT64_MAX, 2})), (Values{"1", "NULL", "2"}));
  EXPECT_EQ(slice("L", Raw<uint64>({0, 1, 5, UINT64_MAX})),
            (Values{"1", "NULL", "18446744073709551615"}));
  EXPECT_EQ(slice("e", Raw<uint16>({0, 0x3C00, 5, 0xC248})),
            (Values{"1.000000", "NULL", "-3.140625"}));
  EXPECT_EQ(slice("b", Bits({false, true, false, true})), (Values{"1", "NULL", "1"}));
  EXPECT_EQ(slice("tDm", Raw<int64>({0, 1500, 5, -2})), (Values{"1500", "NULL", "-2"}));
  EXPECT_EQ(slice("d:7,2,32", Raw<int32>({0, 150, 5, -1})), (Values{"1.5", "NULL", "-0.01"}));
  EXPECT_EQ(slice("d:9,-2,32", Raw<int32>({0, 15, 5, -1})), (Values{"1500", "NULL", "-100"}));
  EXPECT_EQ(slice("d:18,20,64", Raw<int64>({0, 15, 5, -1})),
            (Values{"0.00000000000000000015", "NULL", "-0.00000000000000000001"}));
  EXPECT_EQ(slice("d:19,1", Raw<int64>({0, 0, 15, 0, 5, 99, -1, -1})),
            (Values{"1.5", "NULL", "-0.1"}));
  EXPECT_EQ(slice("d:38,0", Raw<uint64>({0, 0, 0, 1, 5, ~0ULL >> 1, ~0ULL, ~0ULL})),
            (Values{"18446744073709551616", "NULL", "-1"}));
  EXPECT_EQ(slice("d:76,1,256",
                  Raw<uint64>({0, 0, 0, 0, 15, 0, 0, 0, 5, 5, 5, 5, ~0ULL, ~0ULL, ~0ULL, ~0ULL})),
            (Values{"1.5", "NULL", "-0.1"}));
}

TEST_F(ArrowReaderTest, BoolsOfAnySlice) {
  std::vector<bool> bits;
  for (int i = 0; i < 100; ++i) bits.push_back(i * i % 7 < 3);
  for (int64 offset = 0; offset < 20; ++offset) {
    Spec column{"b", 80, {kNone, Bits(bits)}};
    column.offset = offset;
    const Values values = ShowColumn(column);
    for (std::size_t i = 0; i < 80; ++i) {
      ASSERT_EQ(values[i] == "1", bits[i + static_cast<std::size_t>(offset)]) << offset << ' ' << i;
    }
  }
}

TEST_F(ArrowReaderTest, DatesAndTimes) {
  const auto show = [](const char* format, Bytes values) {
    return ShowColumn({format, 2, {kNone, std::move(values)}});
  };
  EXPECT_EQ(show("tdD", Raw<int32>({-1, 19782})), (Values{"1969-12-31", "2024-02-29"}));
  EXPECT_EQ(show("tdm", Raw<int64>({-86400000, 0})), (Values{"1969-12-31", "1970-01-01"}));
  EXPECT_EQ(show("tts", Raw<int32>({0, 86399})), (Values{"00:00:00", "23:59:59"}));
  EXPECT_EQ(show("ttm", Raw<int32>({1, 86399999})), (Values{"00:00:00.001", "23:59:59.999"}));
  EXPECT_EQ(show("ttu", Raw<int64>({1, 1000000})), (Values{"00:00:00.000001", "00:00:01"}));
  EXPECT_EQ(show("ttn", Raw<int64>({1, 1000000000})), (Values{"00:00:00.000000001", "00:00:01"}));
  EXPECT_EQ(show("tss:", Raw<int64>({-1, 0})),
            (Values{"1969-12-31 23:59:59", "1970-01-01 00:00:00"}));
  EXPECT_EQ(show("tsm:UTC", Raw<int64>({-1, 0})),
            (Values{"1969-12-31 23:59:59.999", "1970-01-01 00:00:00"}));
  EXPECT_EQ(show("tsu:Europe/Berlin", Raw<int64>({-1, 0})),
            (Values{"1969-12-31 23:59:59.999999", "1970-01-01 00:00:00"}));
  EXPECT_EQ(show("tsn:", Raw<int64>({-1000, INT64_MAX / 1000 * 1000})),
            (Values{"1969-12-31 23:59:59.999999", "2262-04-11 23:47:16.854775"}));
  EXPECT_EQ(show("tsn:", Raw<int64>({-1, INT64_MIN})),
            (Values{"1969-12-31 23:59:59.999999999", "1677-09-21 00:12:43.145224192"}));
}

TEST_F(ArrowReaderTest, Intervals) {
  const auto show = [](const char* format, Bytes values) {
    Spec column{format, 2, {Bits({true, true, false, true}), std::move(values)}};
    column.length = 3;
    column.offset = 1;
    return ShowColumn(column);
  };
  EXPECT_EQ(show("tiM", Raw<int32>({0, 14, 5, -1})), (Values{"1 year 2 mons", "NULL", "-1 mons"}));
  EXPECT_EQ(show("tiD", Raw<int32>({0, 0, 3, -1500, 5, 5, 0, INT32_MIN})),
            (Values{"3 days -00:00:01.5", "NULL", "-596:31:23.648"}));
  // Months and days stand in one word here.
  EXPECT_EQ(
      show("tin", Raw<int64>({0, 0, (int64{3} << 32) | 14, 1000, 5, 999, 0, INT64_MIN + 808})),
      (Values{"1 year 2 mons 3 days 00:00:00.000001", "NULL", "-2562047:47:16.854775"}));
  ExpectError(57206, {}, [&] { show("tin", Raw<int64>({0, 0, 0, 1001, 5, 5, 5, 5})); });
}

TEST_F(ArrowReaderTest, TextsOfEveryLayout) {
  const Bytes some = Bits({true, true, false, true});
  const std::string bytes = "xab??c\xC3\xA9";
  const Values expected{"ab", "NULL", "c\xC3\xA9"};
  const auto slice = [&](const char* format, std::vector<Bytes> buffers, bool asText = false) {
    buffers.insert(buffers.begin(), some);
    Spec column{format, 3, std::move(buffers)};
    column.offset = 1;
    return ShowColumn(column, asText);
  };
  EXPECT_EQ(slice("u", {Raw<int32>({0, 1, 3, 5, 8}), bytes}), expected);
  EXPECT_EQ(slice("U", {Raw<int64>({0, 1, 3, 5, 8}), bytes}), expected);
  EXPECT_EQ(slice("z", {Raw<int32>({0, 1, 3, 5, 8}), bytes}, true), expected);
  EXPECT_EQ(slice("w:2", {"xxab\xFF\xFF\xC3\xA9"}, true), (Values{"ab", "NULL", "\xC3\xA9"}));
  const std::string far = "a text of more than twelve bytes";
  std::string views(4 * 16, '\xFF');
  const auto put = [&](std::size_t row, std::array<int32, 4> words) {
    std::memcpy(&views[row * 16], words.data(), 16);
  };
  put(1, {2, 'a' | 'b' << 8, 0, 0});
  put(3, {static_cast<int32>(far.size()), 0, 1, 3});
  EXPECT_EQ(
      slice("vu", {views, "?", "???" + far, Raw<int64>({1, 3 + static_cast<int64>(far.size())})}),
      (Values{"ab", "NULL", far}));
  EXPECT_EQ(ShowColumn({"n", 2, {}}), (Values{"NULL", "NULL"}));

  // The texts of a table have room for the longest one, in characters.
  const Table table = Read(TableOf({{"u", 1, {kNone, Raw<int32>({0, 3}), "c\xC3\xA9"}}}, 1));
  EXPECT_EQ(table.schema.columns[0].type, XeVarCharData);
  EXPECT_EQ(table.schema.columns[0].length, 2U);
  EXPECT_EQ(table.chunks[0].columns[0].form, ColumnForm::kText8);
}

TEST_F(ArrowReaderTest, Dictionaries) {
  // The dictionary has an offset of its own, and a NULL; codes at NULLs are nothing.
  Spec texts{"u", 3, {Bits({true, true, false, true}), Raw<int32>({0, 1, 2, 3, 5}), "xy?zz"}};
  texts.offset = 1;
  const auto show = [&](const char* format, Bytes codes) {
    Spec column{format, 4, {Bits({true, true, true, true, false}), std::move(codes)}, {}, {texts}};
    column.offset = 1;
    return ShowColumn(column);
  };
  const Values expected{"zz", "NULL", "y", "NULL"};
  EXPECT_EQ(show("c", Raw<int8>({9, 2, 1, 0, -1})), expected);
  EXPECT_EQ(show("C", Raw<uint8>({9, 2, 1, 0, 255})), expected);
  EXPECT_EQ(show("s", Raw<int16>({9, 2, 1, 0, -1})), expected);
  EXPECT_EQ(show("i", Raw<int32>({9, 2, 1, 0, 77})), expected);
  EXPECT_EQ(show("l", Raw<int64>({9, 2, 1, 0, INT64_MIN})), expected);
  EXPECT_EQ(show("L", Raw<uint64>({9, 2, 1, 0, UINT64_MAX})), expected);
  // Of other values there are none; they are looked up.
  const Spec days{"tdD", 2, {Bits({true, false}), Raw<int32>({1, 0})}};
  EXPECT_EQ(ShowColumn({"c", 3, {kNone, Raw<int8>({0, 1, 0})}, {}, {days}}),
            (Values{"1970-01-02", "NULL", "1970-01-02"}));
  // A dictionary of more entries than rows would cost more than it gains.
  std::vector<int32> offsets(1, 0);
  for (int32 i = 1; i <= 6000; ++i) offsets.push_back(i);
  const Spec many{"u", 6000, {kNone, Raw(offsets), std::string(6000, 'm')}};
  const Table table = Read(TableOf({{"i", 2, {kNone, Raw<int32>({5999, 0})}, {}, {many}}}, 2));
  EXPECT_EQ(table.chunks[0].columns[0].dictionary, nullptr);
  EXPECT_EQ(Show(table), (Values{"m", "m"}));
}

TEST_F(ArrowReaderTest, Runs) {
  Spec values{"d:5,1,32", 3, {Bits({true, true, false, true}), Raw<int32>({0, 15, 0, 25})}};
  values.offset = 1;
  Spec column{"+r", 5, {}, {{"s", 3, {kNone, Raw<int16>({2, 3, 6})}}, values}};
  column.offset = 1;
  EXPECT_EQ(ShowColumn(column), (Values{"1.5", "NULL", "2.5", "2.5", "2.5"}));
  column.children[1] = {"u", 3, {kNone, Raw<int32>({0, 1, 2, 3}), "abc"}};
  EXPECT_EQ(ShowColumn(column), (Values{"a", "b", "c", "c", "c"}));
  column.length = column.offset = 0;
  EXPECT_EQ(ShowColumn(column), Values());
}

TEST_F(ArrowReaderTest, NestedValuesAreJson) {
  Spec item{"i", 5, {Bits({true, true, false, true, true}), Raw<int32>({1, 2, 3, 4, 5})}};
  item.name = "item";
  Spec list{"+l", 3, {Bits({true, true, false, true}), Raw<int32>({0, 1, 4, 4, 5})}, {item}};
  list.offset = 1;
  EXPECT_EQ(ShowColumn(list), (Values{"[2,null,4]", "NULL", "[5]"}));
  Spec fixed{"+w:2", 1, {kNone}, {item}};
  fixed.offset = 1;
  EXPECT_EQ(ShowColumn(fixed), (Values{"[null,4]"}));
  const Spec views{"+vl", 2, {kNone, Raw<int32>({3, 0}), Raw<int32>({2, 0})}, {item}};
  EXPECT_EQ(ShowColumn(views), (Values{"[4,5]", "[]"}));

  // Under a NULL of the struct nothing is read: no text there need be one.
  Spec text{"u", 3, {kNone, Raw<int32>({0, 3, 4, 5}), "\"\n\\\xFFk"}};
  text.name = "te\"xt";
  Spec number{"g", 3, {kNone, Raw<float64>({0.5, 1, std::numeric_limits<float64>::infinity()})}};
  number.name = "number";
  const Spec together{"+s", 3, {Bits({true, false, true})}, {text, number}};
  EXPECT_EQ(ShowColumn(together), (Values{R"({"te\"xt":"\"\n\\","number":0.5})", "NULL",
                                          R"({"te\"xt":"k","number":null})"}));
  Spec pairs{"+s", 3, {kNone}, {text, number}};
  pairs.children[0].buffers[2] = "\"\n\\mk";
  EXPECT_EQ(ShowColumn({"+m", 2, {kNone, Raw<int32>({0, 1, 3})}, {pairs}}),
            (Values{R"({"\"\n\\":0.5})", R"({"m":1,"k":null})"}));
}

TEST_F(ArrowReaderTest, NullsOfTheWholeRow) {
  Spec table = TableOf({{"i", 4, {Bits({true, false, true, true}), Raw<int32>({1, 2, 3, 4})}},
                        {"u",
                         4,
                         {kNone, Raw<int32>({0, 1, 2, 3, 4}),
                          "ab\xFF"
                          "d"}}},
                       3);
  // Children of a slice start at its offset.
  table.offset = 1;
  table.nulls = -1;
  table.flags = ARROW_FLAG_NULLABLE;
  table.buffers = {Bits({true, true, false, true})};
  const Table read = Read(table);
  EXPECT_EQ(Show(read, 0), (Values{"NULL", "NULL", "4"}));
  EXPECT_EQ(Show(read, 1), (Values{"b", "NULL", "d"}));
}

TEST_F(ArrowReaderTest, NamesOfColumns) {
  const Spec column{"i", 0, {kNone, kNone}};
  std::vector<Spec> columns(5, column);
  columns[2].name = nullptr;
  columns[3].name = "c_1";
  const Table table = Read(TableOf(columns, 0));
  Values names;
  for (const ColumnInfo& info : table.schema.columns) {
    names.push_back(BaseStringUtil::StringToUtf8(info.name));
  }
  EXPECT_EQ(names, (Values{"c", "c_2", "column3", "c_1", "c_3"}));
  EXPECT_EQ(Read(TableOf({}, 7)).rowCount, 7U);
}

TEST_F(ArrowReaderTest, SharesAllButTheEnd) {
  constexpr int64 kRows = 10'000;
  std::vector<int64> numbers;
  std::vector<int32> offsets(1, 0);
  std::vector<uint16> codes;
  for (int64 i = 0; i < kRows; ++i) {
    numbers.push_back(i);
    offsets.push_back(offsets.back() + static_cast<int32>(i % 3));
    codes.push_back(static_cast<uint16>(i % 2));
  }
  const Spec words{"u", 2, {kNone, Raw<int32>({0, 1, 3}), "abb"}};
  std::vector<bool> bits(kRows, true);
  bits[kRows - 1] = bits[70] = false;
  const Spec spec =
      TableOf({{"l", kRows, {Bits(bits), Raw(numbers)}},
               {"u",
                kRows,
                {kNone, Raw(offsets), std::string(static_cast<std::size_t>(offsets.back()), 'x')}},
               {"S", kRows, {kNone, Raw(codes)}, {}, {words}}},
              kRows);
  ArrowSchema schema = MakeSchema(spec);
  ArrowArray array = MakeArray(spec);
  const ArrowArray kept = array;
  const auto buffer = [&](int column, int index) { return kept.children[column]->buffers[index]; };
  Table table = ReadArrowTable(&schema, &array, {L"t"});
  EXPECT_EQ(schema.release, nullptr);
  EXPECT_EQ(array.release, nullptr);
  ASSERT_EQ(table.chunks.size(), 2U);
  const auto& columns = table.chunks[0].columns;
  EXPECT_EQ(columns[0].values, buffer(0, 1));
  EXPECT_EQ(static_cast<const void*>(columns[0].validity), buffer(0, 0));
  EXPECT_EQ(columns[1].offsets, buffer(1, 1));
  EXPECT_EQ(columns[1].values, buffer(1, 2));
  EXPECT_EQ(columns[2].values, buffer(2, 1));
  // Every array can be read 64 bytes beyond its end: of the sanitizers none may complain.
  uint64 sum = 0;
  for (const TableChunk& chunk : table.chunks) {
    for (const ColumnVector& vector : chunk.columns) {
      const auto readBeyond = [&](const void* data, uint64 bytes) {
        for (uint64 i = 0; i < 64; ++i) sum += static_cast<const uint8*>(data)[bytes + i];
      };
      if (vector.validity != nullptr) readBeyond(vector.validity, (chunk.rows + 7) / 8);
      if (vector.offsets != nullptr) {
        readBeyond(vector.offsets, (chunk.rows + 1) * vector.offsetWidth);
        readBeyond(vector.values, vector.GetOffset(chunk.rows));
      } else {
        readBeyond(vector.values, chunk.rows * (vector.dictionary ? vector.codeWidth : 8));
      }
      if (vector.dictionary) readBeyond(vector.dictionary->values, 3);
    }
  }
  EXPECT_NE(sum, 1U);
  const Values values = Show(table);
  EXPECT_EQ(values[69], "69");
  EXPECT_EQ(values[70], "NULL");
  EXPECT_EQ(values[kRows - 2], std::to_string(kRows - 2));
  EXPECT_EQ(values[kRows - 1], "NULL");

  // One vector keeps the array.
  const ColumnVector last = table.chunks[0].columns[2];
  table = Table();
  EXPECT_EQ(Live::arrays, 5);
  EXPECT_EQ(Show(last, 1), "bb");
}

TEST_F(ArrowReaderTest, Streams) {
  const auto part = [](const std::string& text) {
    Spec column{"u", 1, {kNone, Raw<int32>({0, static_cast<int32>(text.size())}), text}};
    return TableOf({column}, 1);
  };
  {
    ArrowArrayStream stream =
        MakeStream({TableOf({{"u", 0, {kNone, kNone, kNone}}}, 0), part(std::string(20000, 'a')),
                    part(std::string(80000, 'b')), part(std::string(80001, 'c'))});
    ArrowChunkSource source(&stream, {L"t"});
    EXPECT_EQ(source.GetSchema().columns[0].length, 80000U);
    ASSERT_NE(source.Next(), nullptr);
    EXPECT_EQ(source.Next()->columns[0].GetOffset(1), 80000U);
    ExpectError(57207, {L"3", L"c", L"t", L"80000", std::wstring(60, L'c') + L"..."},
                [&] { source.Next(); });
  }
  {
    ArrowArrayStream stream = MakeStream({part("a")}, "the disk is full");
    ArrowChunkSource source(&stream, {L"t", false, 10});
    EXPECT_EQ(source.GetSchema().columns[0].length, 10U);
    ASSERT_NE(source.Next(), nullptr);
    ExpectError(57201, {L"t", L"the disk is full"}, [&] { source.Next(); });
  }
  {
    ArrowArrayStream stream = MakeStream({part("a"), part("bb")});
    const Table table = ReadArrowTable(&stream, {L"t"});
    EXPECT_EQ(Show(table), (Values{"a", "bb"}));
    EXPECT_EQ(table.schema.columns[0].length, 2U);
    EXPECT_FALSE(table.schema.columns[0].nullable);
    ExpectError(57200, {L"t"}, [&] { ReadArrowTable(&stream, {L"t"}); });
  }
  {
    // Columns that nobody asks for need not be readable.
    Spec table = part("a");
    table.children.push_back({"tiX", 1, {kNone, Raw<int64>({1, 2})}});
    table.children[1].name = "odd";
    ArrowArrayStream stream = MakeStream({table});
    TableRequest request;
    request.all = false;
    request.names = {L"C"};
    const Table read = ReadArrowTable(&stream, {L"t"}, request);
    EXPECT_EQ(read.schema.columns[1].type, XeUnknown);
    EXPECT_EQ(Show(read), (Values{"a"}));
    stream = MakeStream({table});
    ExpectError(57203, {L"odd", L"t", L"tiX", L"cast it, or leave the column out"},
                [&] { ReadArrowTable(&stream, {L"t"}); });
  }
}

}  // namespace
}  // namespace sqxer::test
