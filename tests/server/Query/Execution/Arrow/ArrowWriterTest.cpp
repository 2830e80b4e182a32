#include <random>

#include "ArrowTesting.h"
#include "ArrowWriter.h"
#include "FailingNew.h"
#include "Utility/BaseStringUtil.h"

namespace sqxer::test {
namespace {

using ArrowWriterTest = ArrowTest;

const Bytes kNone;

/// A structure of the interface that is released when it goes.
template <class Struct>
struct Owned : Struct {
  Owned() : Struct{} {}
  Owned(const Owned&) = delete;
  ~Owned() {
    if (this->release != nullptr) this->release(this);
  }
};

/// The chunks of a source, in layouts that were settled before.
class ChunkProducer final : public ArrowProducer {
 public:
  ChunkProducer(ArrowWriter writer, std::unique_ptr<ChunkSource> source)
      : writer_(std::move(writer)), source_(std::move(source)) {}
  void WriteSchema(ArrowSchema* out) override { writer_.WriteSchema(out); }
  bool WriteNext(ArrowArray* out) override {
    const TableChunk* const chunk = source_->Next();
    if (chunk != nullptr) writer_.WriteArray(*chunk, out);
    return chunk != nullptr;
  }

 private:
  const ArrowWriter writer_;
  const std::unique_ptr<ChunkSource> source_;
};

class TableChunks final : public ChunkSource {
 public:
  explicit TableChunks(std::vector<TableChunk> chunks) : chunks_(std::move(chunks)) {}
  const TableChunk* Next() override { return next_ < chunks_.size() ? &chunks_[next_++] : nullptr; }

 private:
  const std::vector<TableChunk> chunks_;
  std::size_t next_ = 0;
};

/// A stream of a table, its layouts settled by all of its rows.
void WriteArrowTable(Table table, const ArrowWriteOptions& options, ArrowArrayStream* out) {
  ArrowWriter writer(table.schema, table.chunks, options);
  GiveArrowStream(std::make_unique<ChunkProducer>(
                      std::move(writer), std::make_unique<TableChunks>(std::move(table.chunks))),
                  out);
}

/// The value of a row as bytes; nothing for NULL.
Bytes ValueAt(const std::string& format, const ArrowArray& array, int64 row) {
  const int64 at = array.offset + row;
  const auto buffer = [&](int index) { return static_cast<const char*>(array.buffers[index]); };
  const auto bit = [&](int index) { return (buffer(index)[at / 8] >> at % 8 & 1) != 0; };
  if (array.null_count != 0 && array.buffers[0] != nullptr && !bit(0)) return kNone;
  if (array.dictionary != nullptr) {
    int32 code;
    std::memcpy(&code, buffer(1) + at * 4, 4);
    return ValueAt("u", *array.dictionary, code);
  }
  const auto text = [&]<class Offset>(Offset) {
    Offset ends[2];
    std::memcpy(ends, buffer(1) + at * static_cast<int64>(sizeof(Offset)), sizeof ends);
    return std::string(buffer(2) + ends[0], buffer(2) + ends[1]);
  };
  if (format == "b") return std::string(1, bit(1) ? '1' : '0');
  if (format == "u") return text(int32());
  if (format == "U") return text(int64());
  const int64 width = format[0] == 'd'                                  ? 16
                      : format == "c" || format == "C"                  ? 1
                      : format == "s" || format == "S"                  ? 2
                      : format == "i" || format == "I" || format == "f" ? 4
                      : format == "tdD"                                 ? 4
                                                                        : 8;
  return std::string(buffer(1) + at * width, static_cast<std::size_t>(width));
}

/// Random values of a format, some NULL with anything below, behind an offset.
Spec RandomColumn(const std::string& format, int64 rows, std::mt19937_64& random) {
  const auto below = [&](uint64 most) { return random() % most; };
  const int64 offset = static_cast<int64>(below(70));
  const auto count = static_cast<std::size_t>(rows + offset);
  std::vector<bool> valid(count);
  for (std::size_t i = 0; i < count; ++i) valid[i] = below(5) != 0;
  Spec column{format, rows, {Bits(valid)}};
  column.offset = offset;
  std::string bytes;
  if (format == "b") {
    std::vector<bool> bits(count);
    for (std::size_t i = 0; i < count; ++i) bits[i] = below(2) != 0;
    column.buffers.push_back(Bits(bits));
  } else if (format == "u" || format == "U") {
    const char* const pieces[] = {"a", "bc ", "", "\xC3\xA9", "\xE8\xAA\x9E", "\xF0\x9F\x98\x80"};
    std::vector<int32> small(1, 0);
    std::vector<int64> large(1, 0);
    const uint64 kinds = below(2) != 0 ? 3 : 6;
    for (std::size_t i = 0; i < count; ++i) {
      for (uint64 n = below(5); n > 0; --n) bytes += pieces[below(kinds)];
      small.push_back(static_cast<int32>(bytes.size()));
      large.push_back(static_cast<int64>(bytes.size()));
    }
    column.buffers.push_back(format == "U" ? Raw(large) : Raw(small));
    column.buffers.push_back(bytes);
  } else {
    for (std::size_t i = 0; i < count; ++i) {
      uint64 words[2] = {random(), 0};
      std::size_t width = 8;
      if (format == "c" || format == "C") width = 1;
      if (format == "s" || format == "S") width = 2;
      if (format == "i" || format == "I" || format == "f") width = 4;
      if (format == "tdD") width = 4;
      if (format[0] == 'd') width = 16;
      if (valid[i] && format == "tdD") words[0] = below(2'000'000);
      if (valid[i] && format == "ttn") words[0] = below(86'400'000'000'000);
      if (valid[i] && format == "tsu:") words[0] = below(uint64{1} << 57);
      if (!valid[i]) words[1] = random();
      // Of 38 digits.
      if (valid[i] && format == "d:38,3") words[1] = below(uint64{1} << 61);
      bytes.append(reinterpret_cast<const char*>(words), width);
    }
    column.buffers.push_back(bytes);
  }
  return column;
}

TEST_F(ArrowWriterTest, WhatComesInGoesOutBitForBit) {
  std::mt19937_64 random(7);
  for (const std::string format : {"b", "c", "C", "s", "S", "i", "I", "l", "f", "g", "tdD", "ttn",
                                   "tsu:", "d:38,3", "u", "U"}) {
    for (const int64 rows : {0, 1, 63, 64, 500, 8191, 8192, 9000}) {
      SCOPED_TRACE(format + " " + std::to_string(rows));
      ArrowWriteOptions options;
      options.largeTexts = format == "U";
      options.keepsDictionaries = format == "u" && rows % 2 != 0;
      std::vector<Spec> parts;
      for (const int64 count : {rows, int64{3}}) {
        parts.push_back(TableOf({RandomColumn(format, count, random)}, count));
      }
      ArrowArrayStream in = MakeStream(parts);
      Owned<ArrowArrayStream> out;
      WriteArrowTable(ReadArrowTable(&in, {L"t"}), options, &out);
      Owned<ArrowSchema> schema;
      ASSERT_EQ(out.get_schema(&out, &schema), 0);
      EXPECT_STREQ(schema.children[0]->name, "c");
      EXPECT_STREQ(schema.children[0]->format, options.keepsDictionaries ? "i" : format.c_str());
      std::vector<Bytes> expected;
      for (const Spec& part : parts) {
        Owned<ArrowArray> array;
        static_cast<ArrowArray&>(array) = MakeArray(part);
        for (int64 row = 0; row < array.length; ++row) {
          expected.push_back(ValueAt(format, *array.children[0], row));
        }
      }
      std::vector<Bytes> values;
      while (true) {
        Owned<ArrowArray> array;
        ASSERT_EQ(out.get_next(&out, &array), 0);
        if (array.release == nullptr) break;
        int64 nulls = 0;
        for (int64 row = 0; row < array.length; ++row) {
          values.push_back(ValueAt(format, *array.children[0], row));
          nulls += values.back() ? 0 : 1;
        }
        EXPECT_EQ(array.children[0]->null_count, nulls);
      }
      EXPECT_EQ(values, expected);
    }
  }
}

/// A table of one column without NULLs.
template <class T>
Table TableOfValues(XeDataType type, ColumnForm form, int16 scale, std::vector<T> values) {
  auto kept = std::make_shared<std::vector<T>>(std::move(values));
  Table table;
  table.schema.columns = {{L"n", type, sizeof(T), 0, false}};
  table.rowCount = kept->size();
  ColumnVector vector;
  vector.form = form;
  vector.scale = scale;
  vector.rows = kept->size();
  vector.values = reinterpret_cast<const uint8*>(kept->data());
  vector.owner = kept;
  table.chunks.push_back({kept->size(), {std::move(vector)}});
  return table;
}

/// The format of the first column of a stream and its whole numbers, or what the stream tells.
template <class T>
std::string Written(const Table& table, const ArrowWriteOptions& options = {}) {
  Owned<ArrowArrayStream> out;
  WriteArrowTable(table, options, &out);
  Owned<ArrowSchema> schema;
  EXPECT_EQ(out.get_schema(&out, &schema), 0);
  std::string text = schema.children[0]->format;
  while (true) {
    Owned<ArrowArray> array;
    if (out.get_next(&out, &array) != 0) return out.get_last_error(&out);
    if (array.release == nullptr) return text;
    const auto* const values = static_cast<const T*>(array.children[0]->buffers[1]);
    for (int64 row = 0; row < array.length; ++row) {
      text += ' ' + std::to_string(
                        static_cast<std::conditional_t<sizeof(T) == 16, int64, T>>(values[row]));
    }
  }
}

__extension__ typedef __int128 Whole128;

VelmarNumber Number(const wchar_t* text) {
  return VelmarNumber::stringAsNumber(text, static_cast<uint32>(std::wcslen(text)));
}

TEST_F(ArrowWriterTest, NumbersGetOneLayout) {
  const auto whole = TableOfValues<int64>(XeNumericData, ColumnForm::kDecimal64, 0, {1, -2});
  EXPECT_EQ(Written<int64>(whole), "l 1 -2");
  ArrowWriteOptions options;
  options.numerics = ArrowWriteOptions::Numerics::kDecimal;
  EXPECT_EQ(Written<Whole128>(whole, options), "d:38,0 1 -2");
  options.numerics = ArrowWriteOptions::Numerics::kDouble;
  EXPECT_EQ(Written<float64>(whole, options), "g 1.000000 -2.000000");

  // A chunk of more digits behind the point brings all others to as many.
  Table mixed = whole;
  mixed.chunks.push_back(
      TableOfValues<int64>(XeNumericData, ColumnForm::kDecimal64, 2, {150}).chunks[0]);
  EXPECT_EQ(Written<Whole128>(mixed), "d:38,2 100 -200 150");
  mixed.chunks.push_back(TableOfValues<VelmarNumber>(XeNumericData, ColumnForm::kNumber, 0,
                                                     {Number(L"-0.125"), Number(L"3E2")})
                             .chunks[0]);
  EXPECT_EQ(Written<Whole128>(mixed), "d:38,3 1000 -2000 1500 -125 300000");
  mixed.schema.columns[0].scale = 4;
  EXPECT_EQ(Written<Whole128>(mixed), "d:38,4 10000 -20000 15000 -1250 3000000");
  // 38 digits do not hold a quotient and what stands before the point: the last ones are rounded,
  // as long as many are left.
  const auto quotients = [](const wchar_t* large, const wchar_t* a, const wchar_t* b) {
    return TableOfValues<VelmarNumber>(XeNumericData, ColumnForm::kNumber, 0,
                                       {Number(large), Number(a), Number(b)});
  };
  const std::string rounded =
      Written<Whole128>(quotients(L"1E20", L"0.33333333333333333333333333333333333333",
                                  L"-0.66666666666666666666666666666666666667"));
  EXPECT_TRUE(rounded.starts_with("d:38,17 ")) << rounded;
  EXPECT_TRUE(rounded.ends_with(" 33333333333333333 -66666666666666667")) << rounded;
  EXPECT_THAT(Written<Whole128>(quotients(L"1E35", L"1.000", L"-0.0005")),
              testing::HasSubstr("-0.0005"));

  EXPECT_EQ(Written<uint8>(TableOfValues<uint8>(XeBitData, ColumnForm::kUInt8, 0, {1, 0})),
            "C 1 0");
  const auto stamps = TableOfValues<XeDateTime>(
      XeTimeStampData, ColumnForm::kDateTime, 0,
      {XeDateTime(1969, 12, 31, 23, 59, 59, 999'999'999), XeDateTime(1970, 1, 1)});
  EXPECT_EQ(Written<int64>(stamps), "tsn: -1 0");
  const auto far = TableOfValues<XeDateTime>(XeTimeStampData, ColumnForm::kDateTime, 0,
                                             {XeDateTime(9999, 1, 1, 0, 0, 0, 1)});
  EXPECT_EQ(Written<int64>(far),
            "a value of the column \"n\" does not fit the Arrow type timestamp[ns] that the rows "
            "before led to, ask for doubles or cast it: 9999-01-01 00:00:00.000000001");
}

TEST_F(ArrowWriterTest, IntervalsAreMonthsDaysAndNanoseconds) {
  const auto written = [](const std::vector<XeInterval>& values) {
    return Written<int64>(
        TableOfValues<XeInterval>(XeIntervalData, ColumnForm::kInterval, 0, values));
  };
  EXPECT_TRUE(written({{1, 2, -3}}).starts_with("tin ")) << written({{1, 2, -3}});
  EXPECT_EQ(written({{0, 0, 9'223'372'036'854'776}}),
            "a value of the column \"n\" does not fit the Arrow type month_day_nano_interval that "
            "the rows before led to, ask for doubles or cast it: 2562047:47:16.854776");
}

/// Chunks one after the other, then an error.
class Chunks final : public ChunkSource {
 public:
  explicit Chunks(std::vector<TableChunk> chunks) : chunks_(std::move(chunks)) {}
  const TableChunk* Next() override {
    if (next_ == chunks_.size()) throw std::bad_alloc();
    return &chunks_[next_++];
  }

 private:
  std::vector<TableChunk> chunks_;
  std::size_t next_ = 0;
};

TEST_F(ArrowWriterTest, StreamsTellWhatWentWrong) {
  const Table whole = TableOfValues<int64>(XeNumericData, ColumnForm::kDecimal64, 0, {1, -2});
  const Table parts = TableOfValues<int64>(XeNumericData, ColumnForm::kDecimal64, 1, {15});
  Owned<ArrowArrayStream> out;
  const ArrowWriter writer(whole.schema, whole.chunks, {});
  const auto give = [&](std::vector<TableChunk> chunks, ArrowArrayStream* stream) {
    auto source = std::make_unique<Chunks>(std::move(chunks));
    GiveArrowStream(std::make_unique<ChunkProducer>(writer, std::move(source)), stream);
  };
  give({whole.chunks[0]}, &out);
  {
    // The array comes first here, and outlives the stream's next call.
    Owned<ArrowArray> array;
    EXPECT_EQ(out.get_last_error(&out), nullptr);
    ASSERT_EQ(out.get_next(&out, &array), 0);
    Owned<ArrowArray> next;
    EXPECT_EQ(out.get_next(&out, &next), ENOMEM);
    EXPECT_STREQ(out.get_last_error(&out), "out of memory");
    EXPECT_EQ(static_cast<const int64*>(array.children[0]->buffers[1])[1], -2);
  }
  Owned<ArrowArrayStream> settled;
  give({whole.chunks[0], parts.chunks[0]}, &settled);
  Owned<ArrowArray> array;
  ASSERT_EQ(settled.get_next(&settled, &array), 0);
  Owned<ArrowArray> misfit;
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(settled.get_next(&settled, &misfit), EINVAL);
    EXPECT_EQ(misfit.release, nullptr);
    EXPECT_STREQ(settled.get_last_error(&settled),
                 "a value of the column \"n\" does not fit the Arrow type int64 that the rows "
                 "before led to, ask for doubles or cast it: 1.5");
  }
  const Table odd = TableOfValues<int64>(XeLongVarBinaryData, ColumnForm::kDecimal64, 0, {1});
  ExpectError(57222, {L"n", L"LONG VARBINARY"}, [&] {
    Owned<ArrowArrayStream> none;
    WriteArrowTable(odd, {}, &none);
  });
}

TEST_F(ArrowWriterTest, MovedChildrenAndLateReleases) {
  std::mt19937_64 random(3);
  const Spec spec =
      TableOf({RandomColumn("i", 9000, random), RandomColumn("u", 9000, random)}, 9000);
  ArrowArrayStream in = MakeStream({spec});
  Owned<ArrowArray> child;
  Owned<ArrowSchema> field;
  {
    ArrowWriteOptions options;
    options.keepsDictionaries = true;
    Owned<ArrowArrayStream> out;
    WriteArrowTable(ReadArrowTable(&in, {L"t"}), options, &out);
    Owned<ArrowSchema> schema;
    ASSERT_EQ(out.get_schema(&out, &schema), 0);
    static_cast<ArrowSchema&>(field) = *schema.children[1];
    schema.children[1]->release = nullptr;
    Owned<ArrowArray> array;
    ASSERT_EQ(out.get_next(&out, &array), 0);
    static_cast<ArrowArray&>(child) = *array.children[0];
    array.children[0]->release = nullptr;
  }
  // Stream, table and parents have gone.
  EXPECT_STREQ(field.dictionary->format, "u");
  Owned<ArrowArray> source;
  static_cast<ArrowArray&>(source) = MakeArray(spec);
  for (int64 row = 0; row < child.length; ++row) {
    ASSERT_EQ(ValueAt("i", child, row), ValueAt("i", *source.children[0], row));
  }
}

/// Reads and writes a table with an allocation less each time, until one has all that it needs.
/// Returns how many had not.
int CountFailures(const Spec& table) {
  ArrowWriteOptions options;
  options.keepsDictionaries = true;
  for (int failures = 0;; ++failures) {
    // Made before memory ends, as other programs' data are.
    ArrowSchema schema = MakeSchema(table);
    ArrowArray array = MakeArray(table);
    Owned<ArrowArrayStream> out;
    Owned<ArrowSchema> written;
    Owned<ArrowArray> rows;
    bool isDone = false;
    try {
      const FailingNew failing(failures);
      WriteArrowTable(ReadArrowTable(&schema, &array, {L"t"}), options, &out);
      isDone = out.get_schema(&out, &written) == 0 && out.get_next(&out, &rows) == 0;
      EXPECT_EQ(isDone ? ENOMEM : out.get_next(&out, &rows), ENOMEM);
    } catch (const std::bad_alloc&) {
      EXPECT_EQ(out.release, nullptr);
    }
    EXPECT_EQ(schema.release, nullptr);
    EXPECT_EQ(array.release, nullptr);
    if (isDone) return failures;
  }
}

TEST_F(ArrowWriterTest, NothingLeaksWhenMemoryEnds) {
  // The validator of UTF-8 allocates once, where it cannot fail.
  BaseStringUtil::IsValidUtf8("once");
  std::mt19937_64 random(5);
  const Spec words{"u", 2, {kNone, Raw<int32>({0, 1, 3}), "a\xC3\xA9"}};
  for (const int64 rows : {3, 8200}) {
    std::vector<Spec> columns;
    for (const char* const format : {"l", "b", "d:38,3"}) {
      columns.push_back(RandomColumn(format, rows, random));
    }
    columns.push_back(
        {"c", rows, {kNone, std::string(static_cast<std::size_t>(rows), '\1')}, {}, {words}});
    if (rows == 3) {
      columns.push_back(RandomColumn("u", rows, random));
      columns.push_back({"+s", rows, {kNone}, {columns[0], columns[4]}});
    }
    EXPECT_GT(CountFailures(TableOf(columns, rows)), 50);
  }
}

}  // namespace
}  // namespace sqxer::test
