#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <random>

#include "CsvSlicer.h"
#include "TableScan.h"
#include "ValueReader.h"
#include "VectorBuilder.h"

namespace sqxer::test {
namespace {

using Outcome = VectorBuilder::Outcome;
using Strictness = VectorBuilder::Strictness;

/// Lines as one slice of a table of one column, with the room that readers of words need.
class Lines {
 public:
  explicit Lines(const std::vector<std::string>& lines) : text_(CsvSlicer::kPadding, '\0') {
    for (const std::string& line : lines) text_ += line + "\n";
    const std::size_t size = text_.size() - CsvSlicer::kPadding;
    text_.append(CsvSlicer::kPadding, '\0');
    slicer_.Slice(std::string_view(text_).substr(CsvSlicer::kPadding, size), true);
    EXPECT_EQ(slicer_.Get().rows, lines.size());
  }
  const RecordSlice& Get() const { return slicer_.Get(); }

 private:
  std::string text_;
  CsvSlicer slicer_{',', 1};
};

/// A column in memory, read row by row as expressions see it.
class Column {
 public:
  Column(XeDataType type, ColumnVector vector, uint32 length = 0) : table_(Make(type, length)) {
    table_.rowCount = vector.rows;
    table_.schema.columns[0].nullable = vector.validity != nullptr;
    table_.chunks.push_back({vector.rows, {std::move(vector)}});
    record_.emplace(table_.schema.columns);
    scan_.emplace(table_.schema, std::vector<uint16>{0}, *record_);
    scan_->Enter(table_.chunks.front());
  }

  const ColumnVector& Vector() const { return table_.chunks[0].columns[0]; }
  template <class T>
  std::optional<T> Read(uint64 row) {
    if (IsNullAt(row)) return std::nullopt;
    T value;
    std::memcpy(static_cast<void*>(&value), At(), sizeof value);
    return value;
  }
  std::optional<XeString> ReadText(uint64 row) {
    if (IsNullAt(row)) return std::nullopt;
    uint32 length;
    std::memcpy(&length, At(), sizeof length);
    return XeString(reinterpret_cast<const wchar_t*>(At() + kLongVarPrefix), length);
  }

 private:
  static Table Make(XeDataType type, uint32 length) {
    Table table;
    table.schema.columns = {
        {L"c", type, XeFieldDescriptor::GetObjectLength(type, length), 0, true}};
    return table;
  }
  bool IsNullAt(uint64 row) {
    scan_->Fill(row);
    const XeFieldDescriptor& field = record_->GetField(0);
    return field.IsNullable() && record_->GetData()[field.GetNullOffset()] != 0;
  }
  const uint8* At() const { return record_->GetData() + record_->GetField(0).GetDataOffset(); }

  Table table_;
  std::optional<WorkRecord> record_;
  std::optional<TableScan> scan_;
};

std::unique_ptr<VectorBuilder> Build(XeDataType type, const std::vector<std::string>& fields,
                                     Strictness strictness = Strictness::kDeclared) {
  auto builder = VectorBuilder::Make(type, VectorBuilder::kAnyLength, {strictness, "NA"});
  const Lines lines(fields);
  uint32 row = 0;
  EXPECT_EQ(builder->AppendSlice(lines.Get(), 0, row), Outcome::kTaken) << fields[row];
  return builder;
}

/// Texts near those that the common readers take at once.
std::string RandomText(std::mt19937& random) {
  static const std::vector<std::string> kPieces = {"0",
                                                   "1",
                                                   "7",
                                                   "9",
                                                   "00",
                                                   "12",
                                                   "-",
                                                   "+",
                                                   ".",
                                                   "e",
                                                   "E5",
                                                   " ",
                                                   ":",
                                                   "-0",
                                                   "2012-02-29",
                                                   "1900-02-29",
                                                   "0000-01-01",
                                                   "9999-12-31",
                                                   "-0044-03-15",
                                                   "23:59:59",
                                                   "24:00:00",
                                                   "T",
                                                   ".5",
                                                   "123456789012345678",
                                                   "9007199254740993",
                                                   "2147483648",
                                                   "32768",
                                                   "true",
                                                   "False",
                                                   "t",
                                                   "NaN",
                                                   "Infinity",
                                                   "1e400",
                                                   "99999999999999999999",
                                                   "x"};
  std::string text;
  const std::size_t count = 1 + random() % 4;
  for (std::size_t i = 0; i < count; ++i) text += kPieces[random() % kPieces.size()];
  return text;
}

/// Reads the text as the general reader does and compares what a builder makes of it, also one of
/// an inferred column where `kind` is one of the kinds that columns are inferred to have.
template <class Stored, class Read>
void CompareWithReader(XeDataType type, unsigned kind, const std::string& text) {
  for (const Strictness strictness : {Strictness::kDeclared, Strictness::kInferred}) {
    if (kind == 0 && strictness == Strictness::kInferred) continue;
    SCOPED_TRACE(text + (strictness == Strictness::kInferred ? " inferred" : " declared"));
    Read expected;
    bool isTaken = ReadValue(text, expected);
    if constexpr (std::is_same_v<Read, int64>) {
      isTaken = isTaken && std::in_range<Stored>(expected);
    }
    if (strictness == Strictness::kInferred) isTaken = isTaken && (ClassifyText(text) & kind) != 0;
    const auto builder = VectorBuilder::Make(type, VectorBuilder::kAnyLength, {strictness, ""});
    const Lines lines({text});
    uint32 row = 0;
    ASSERT_EQ(builder->AppendSlice(lines.Get(), 0, row) == Outcome::kTaken, isTaken);
    if (!isTaken) continue;
    const Stored stored = *Column(type, builder->Take()).Read<Stored>(0);
    if constexpr (std::is_floating_point_v<Stored>) {
      EXPECT_EQ(std::memcmp(&stored, &expected, sizeof stored), 0);
    } else {
      EXPECT_EQ(stored, static_cast<Stored>(expected));
    }
  }
}

TEST(VectorBuilder, ReadsCommonNotationsAsTheGeneralReadersDo) {
  std::mt19937 random(1);
  for (int i = 0; i < 20000; ++i) {
    const std::string text = RandomText(random);
    CompareWithReader<uint8, bool>(XeBoolean, kBooleanKind, text);
    CompareWithReader<int16, int64>(XeInt2Data, 0, text);
    CompareWithReader<int32, int64>(XeInt4Data, kInt4Kind, text);
    CompareWithReader<uint32, int64>(XeUInt4Data, 0, text);
    CompareWithReader<float32, float32>(XeFloatData, 0, text);
    CompareWithReader<float64, float64>(XeDoubleData, kDoubleKind, text);
    CompareWithReader<VelmarNumber, VelmarNumber>(XeNumericData, kNumericKind, text);
    CompareWithReader<XeDate, XeDate>(XeDateData, kDateKind, text);
    CompareWithReader<XeTime, XeTime>(XeTimeData, kTimeKind, text);
    CompareWithReader<XeDateTime, XeDateTime>(XeTimeStampData, kTimeStampKind, text);
    if (HasFailure()) return;
  }
}

TEST(VectorBuilder, ReadsNumbersOfAnyLengthAsTheGeneralReadersDo) {
  std::mt19937 random(3);
  for (std::size_t size = 1; size <= 20; ++size) {
    for (std::size_t place = 0; place <= size; ++place) {
      std::string text = random() % 2 == 0 ? "-" : "";
      for (std::size_t i = 0; i < size; ++i) text += static_cast<char>('0' + random() % 10);
      // At every place each of the characters beside the digits, and a point.
      for (const char other : {'5', '.', '/', ':', '-', 'e', ' '}) {
        for (const bool hasPoint : {false, true}) {
          std::string changed = text;
          if (hasPoint) changed[random() % changed.size()] = '.';
          if (place < changed.size()) changed[place] = other;
          CompareWithReader<int32, int64>(XeInt4Data, kInt4Kind, changed);
          CompareWithReader<float64, float64>(XeDoubleData, kDoubleKind, changed);
          CompareWithReader<VelmarNumber, VelmarNumber>(XeNumericData, kNumericKind, changed);
        }
      }
    }
  }
}

TEST(VectorBuilder, DecimalsTakeTheScaleThatTheyNeed) {
  std::vector<std::string> fields = {"1", "", "-2.5", "100000000000000", "0.001"};
  Column scaled(XeNumericData, Build(XeNumericData, fields)->Take());
  EXPECT_EQ(scaled.Vector().form, ColumnForm::kDecimal64);
  EXPECT_EQ(scaled.Vector().scale, 3);
  EXPECT_EQ(scaled.Vector().blocks[0].whole.least, -2500);
  EXPECT_EQ(scaled.Read<VelmarNumber>(2)->asString(), L"-2.5");
  // The next one has no 64 bits with the scale of the others, or no 128, and they are all there all
  // the same.
  const std::pair<const char*, ColumnForm> kWider[] = {
      {"0.000000000000000001", ColumnForm::kDecimal128},
      {"12345678901234567890.5", ColumnForm::kDecimal128},
      {"1e30", ColumnForm::kDecimal128},
      {"-99999999999999999999999999999999999.999", ColumnForm::kDecimal128},
      {"100000000000000000000000000000000000", ColumnForm::kNumber},
      {"1e-25", ColumnForm::kNumber},
      {"-1e60", ColumnForm::kNumber}};
  fields.insert(fields.begin() + 3, "0.125");
  for (const auto& [wide, form] : kWider) {
    SCOPED_TRACE(wide);
    fields.back() = wide;
    Column column(XeNumericData, Build(XeNumericData, fields)->Take());
    EXPECT_EQ(column.Vector().form, form);
    EXPECT_EQ(column.Read<VelmarNumber>(1), std::nullopt);
    EXPECT_EQ(column.Read<VelmarNumber>(2)->asString(), L"-2.5");
    EXPECT_EQ(column.Read<VelmarNumber>(3)->asString(), L"0.125");
    EXPECT_EQ(column.Read<VelmarNumber>(5)->asString(),
              VelmarNumber::stringAsNumber(XeString(wide, wide + std::strlen(wide)).c_str(),
                                           static_cast<uint32>(std::strlen(wide)))
                  .asString());
  }
}

TEST(VectorBuilder, TimeStampsAreMicrosecondsWhileTheyCanBe) {
  std::vector<std::string> fields = {"1969-12-31 23:59:59.999999", "", "2012-02-29",
                                     "-4713-01-01 00:00:00.000001", "9999-12-31T23:59:59"};
  for (const bool hasNanoseconds : {false, true}) {
    if (hasNanoseconds) fields.push_back("2012-02-29 00:00:00.000000001");
    Column column(XeTimeStampData, Build(XeTimeStampData, fields)->Take());
    EXPECT_EQ(column.Vector().form,
              hasNanoseconds ? ColumnForm::kDateTime : ColumnForm::kTimeStamp64);
    for (std::size_t row = 0; row < fields.size(); ++row) {
      if (fields[row].empty()) continue;
      XeDateTime expected;
      ASSERT_TRUE(ReadValue(fields[row], expected));
      EXPECT_EQ(column.Read<XeDateTime>(row), expected) << fields[row];
    }
  }
}

TEST(VectorBuilder, TextsTakeAsLittleAsTheyCan) {
  const auto build = [](std::vector<std::string> fields) {
    return Column(XeVarCharData, Build(XeVarCharData, fields)->Take(), 1000);
  };
  std::vector<std::string> few(100, "a");
  few[1] = "\"\"";
  few[2] = "";
  few[3] = "NA";
  few[4] = "\"NA\"";
  few[5] = "\"x,\"\"y\"\"\"";
  Column dictionary = build(few);
  EXPECT_EQ(dictionary.Vector().codeWidth, 1);
  EXPECT_EQ(dictionary.Vector().dictionary->rows, 4u);
  EXPECT_EQ(dictionary.ReadText(1), L"");
  EXPECT_EQ(dictionary.ReadText(2), std::nullopt);
  EXPECT_EQ(dictionary.ReadText(3), std::nullopt);
  EXPECT_EQ(dictionary.ReadText(4), L"NA");
  EXPECT_EQ(dictionary.ReadText(5), L"x,\"y\"");
  EXPECT_EQ(dictionary.ReadText(99), L"a");

  EXPECT_EQ(build(std::vector<std::string>(10, "")).Vector().rows, 10u);

  // Texts that differ in their length or in one character.
  std::vector<std::string> alike;
  for (std::size_t size = 1; size <= 50; ++size) {
    for (std::size_t place = 0; place <= size; ++place) {
      alike.push_back(std::string(size, 'a'));
      if (place < size) alike.back()[place] = 'b';
    }
  }
  const std::size_t different = alike.size();
  for (std::size_t i = 0; i < 3 * different; ++i) alike.push_back(alike[i * 7 % different]);
  Column of = build(alike);
  ASSERT_NE(of.Vector().dictionary, nullptr);
  EXPECT_EQ(of.Vector().dictionary->rows, different);
  for (std::size_t row = 0; row < alike.size(); ++row) {
    ASSERT_EQ(of.ReadText(row), BaseStringUtil::Utf8ToString(alike[row])) << row;
  }

  // Up to the entries that a dictionary may have, and one more; of each width of character.
  for (const std::string sign : {"", "\u00E4", "\u65E5"}) {
    for (const int texts : {4096, 4097}) {
      SCOPED_TRACE(sign + std::to_string(texts));
      std::vector<std::string> fields;
      for (int i = 0; i < 3 * texts; ++i) {
        fields.push_back("text " + std::to_string(i % texts) + (i == 7 ? sign : ""));
      }
      fields[5] = "";
      Column column = build(fields);
      EXPECT_EQ(column.Vector().dictionary != nullptr, texts + (sign.empty() ? 0 : 1) <= 4096);
      EXPECT_EQ(column.Vector().form, sign == "\u65E5" ? ColumnForm::kText32 : ColumnForm::kText8);
      EXPECT_EQ(column.Vector().isAscii, sign.empty());
      for (std::size_t row = 0; row < fields.size(); ++row) {
        const auto expected = fields[row].empty()
                                  ? std::nullopt
                                  : std::optional(BaseStringUtil::Utf8ToString(fields[row]));
        ASSERT_EQ(column.ReadText(row), expected) << row;
      }
    }
  }
}

TEST(VectorBuilder, KnowsItsBlocks) {
  std::mt19937 random(2);
  constexpr std::size_t kRows = 3 * kColumnBlockRows + 17;
  std::vector<std::string> numbers, reals, texts;
  for (std::size_t i = 0; i < kRows; ++i) {
    const bool isNull = i / kColumnBlockRows == 1 || random() % 10 == 0;
    const int value = static_cast<int>(random() % 2000001) - 1000000;
    numbers.push_back(isNull ? "" : std::to_string(value));
    reals.push_back(isNull ? "" : i == kColumnBlockRows * 2 + 5 ? "NaN" : std::to_string(value));
    texts.push_back(i == kColumnBlockRows * 2 ? "blank " : std::to_string(i));
  }
  // Few different texts, then many; with blanks at their ends, and NULL throughout a block.
  std::vector<std::string> few, words;
  for (std::size_t i = 0; i < kRows; ++i) {
    const bool isNull = i / kColumnBlockRows == 1 || random() % 10 == 0;
    const std::string end(random() % 3, ' ');
    few.push_back(isNull ? "" : std::to_string(random() % 9) + end);
    words.push_back(isNull ? "" : "prefixes" + std::to_string(random() % 99999) + "\u00E4" + end);
  }
  for (const std::vector<std::string>& values : {few, words}) {
    const ColumnVector vector = Build(XeVarCharData, values)->Take();
    EXPECT_EQ(vector.dictionary != nullptr, values == few);
    const auto trimmed = [](const std::string& value) {
      return value.substr(0, value.find_last_not_of(' ') + 1);
    };
    for (std::size_t b = 0; b < vector.blocks.size(); ++b) {
      SCOPED_TRACE(b);
      const std::size_t first = b * kColumnBlockRows;
      const std::size_t end = std::min<std::size_t>(kRows, first + kColumnBlockRows);
      std::optional<std::size_t> least, greatest;
      for (std::size_t i = first; i < end; ++i) {
        if (values[i].empty()) continue;
        if (!least || trimmed(values[i]) < trimmed(values[*least])) least = i;
        if (!greatest || trimmed(values[i]) > trimmed(values[*greatest])) greatest = i;
      }
      EXPECT_EQ(vector.blocks[b].rows, end - first);
      ASSERT_EQ(vector.blocks[b].hasBounds, least.has_value());
      if (!least) continue;
      EXPECT_EQ(vector.blocks[b].texts.least, *least - first);
      EXPECT_EQ(vector.blocks[b].texts.greatest, *greatest - first);
    }
  }
  const ColumnVector whole = Build(XeInt4Data, numbers)->Take();
  const ColumnVector real = Build(XeDoubleData, reals)->Take();
  const ColumnVector text = Build(XeVarCharData, texts)->Take();
  ASSERT_EQ(whole.blocks.size(), 4u);
  for (std::size_t b = 0; b < whole.blocks.size(); ++b) {
    SCOPED_TRACE(b);
    int64 least = std::numeric_limits<int64>::max(), greatest = std::numeric_limits<int64>::min();
    uint32 nulls = 0;
    for (std::size_t i = b * kColumnBlockRows;
         i < std::min<std::size_t>(kRows, (b + 1) * kColumnBlockRows); ++i) {
      EXPECT_EQ(whole.IsNull(i), numbers[i].empty());
      if (numbers[i].empty()) {
        ++nulls;
        continue;
      }
      least = std::min<int64>(least, std::stoi(numbers[i]));
      greatest = std::max<int64>(greatest, std::stoi(numbers[i]));
    }
    EXPECT_EQ(whole.blocks[b].nulls, nulls);
    ASSERT_EQ(whole.blocks[b].hasBounds, b != 1);
    EXPECT_EQ(real.blocks[b].hasBounds, b == 0 || b == 3);
    EXPECT_EQ(text.blocks[b].endsInBlank, b == 2);
    if (b == 1) continue;
    EXPECT_EQ(whole.blocks[b].whole.least, least);
    EXPECT_EQ(whole.blocks[b].whole.greatest, greatest);
  }
}

TEST(VectorBuilder, RefusesTextsBeyondTheirType) {
  const auto builder = VectorBuilder::Make(XeVarCharData, 2, VectorBuilder::Options());
  EXPECT_EQ(builder->Append("\u00E4\u00F6"), Outcome::kTaken);
  EXPECT_EQ(builder->Append("abc"), Outcome::kTooLong);
  EXPECT_EQ(builder->Append(""), Outcome::kTaken);
  EXPECT_EQ(builder->GetRows(), 2u);
  EXPECT_EQ(builder->GetLongest(), 2u);
}

}  // namespace
}  // namespace sqxer::test
