#include <gtest/gtest.h>

#include <random>

#include "CsvSlicer.h"
#include "TableError.h"

namespace sqxer::test {
namespace {

/// A text with room to read before and behind it, filled with bytes that would be marks.
class PaddedText {
 public:
  explicit PaddedText(std::string_view text)
      : bytes_(std::string(CsvSlicer::kPadding, '"') + std::string(text) +
               std::string(CsvSlicer::kPadding, '\n')),
        size_(text.size()) {}
  std::string_view Get() const {
    return std::string_view(bytes_).substr(CsvSlicer::kPadding, size_);
  }

 private:
  std::string bytes_;
  std::size_t size_;
};

/// All that a slicer says of a text: rows as "[a|b]", what the slice claims, how far it came, and
/// what is wrong with the record there.
std::string Describe(std::string_view text, uint32 columns, CsvSlicer::Way way, bool isLast,
                     char delimiter = ',') {
  const PaddedText padded(text);
  CsvSlicer slicer(delimiter, columns, way);
  const uint32 consumed = slicer.Slice(padded.Get(), isLast);
  const RecordSlice& slice = slicer.Get();
  std::string result;
  for (uint32 row = 0; row < slice.rows; ++row) {
    result += '[';
    for (uint32 column = 0; column < columns; ++column) {
      const uint32 start = slice.GetStart(row, column);
      if (column != 0) result += '|';
      result += std::string_view(slice.text + start, slice.GetEnd(row, column) - start);
    }
    result += ']';
  }
  result += slice.isAscii ? " ascii" : " utf-8";
  if (slice.hasQuotes) result += " quotes";
  result += " " + std::to_string(consumed) + " of " + std::to_string(text.size());
  if (const auto& bad = slicer.GetBadRecord()) {
    EXPECT_EQ(bad->start, consumed);
    result += " error " + std::to_string(bad->error) + " fields " + std::to_string(bad->fields);
  }
  return result;
}

void ExpectSame(std::string_view text, uint32 columns, bool isLast, char delimiter = ',') {
  EXPECT_EQ(Describe(text, columns, CsvSlicer::Way::kFast, isLast, delimiter),
            Describe(text, columns, CsvSlicer::Way::kPlain, isLast, delimiter))
      << testing::PrintToString(std::string(text)) << " " << columns << (isLast ? " last" : "");
}

TEST(CsvSlicer, FindsRecordsAndSaysWhatIsWrongWithTheFirstBadOne) {
  const struct {
    std::string text;
    uint32 columns;
    bool isLast;
    std::string expected;
  } kCases[] = {
      {"1,2\n3,4\n", 2, false, "[1|2][3|4] ascii 8 of 8"},
      {"1,2\n3,4", 2, false, "[1|2] ascii 4 of 7"},
      {"1,2\n3,4", 2, true, "[1|2][3|4] ascii 7 of 7"},
      {"1,\n,\n", 2, true, "[1|][|] ascii 5 of 5"},
      {"1,", 2, true, "[1|] ascii 2 of 2"},
      // CR LF, a CR alone, and one of which it is not known yet.
      {"1,2\r\n3,4\r5,6\r", 2, false, "[1|2][3|4] ascii 9 of 13"},
      {"1,2\r\n3,4\r5,6\r", 2, true, "[1|2][3|4][5|6] ascii 13 of 13"},
      // Empty lines.
      {"\n1,2\n\r\n\r3,4\n\n", 2, false, "[1|2][3|4] ascii 13 of 13"},
      {"\n1\n\r\n\r2\n\n", 1, false, "[][1][][][2][] ascii 9 of 9"},
      // Quotations.
      {"\"\",\"a\"\n\"\"\"\",\"x,\ny\r\"\"z\"\r\n", 2, false,
       "[\"\"|\"a\"][\"\"\"\"|\"x,\ny\r\"\"z\"] ascii quotes 24 of 24"},
      {"1,2\n3,\"4\n", 2, false, "[1|2] ascii 4 of 9"},
      {"1,2\n3,\"4\n", 2, true, "[1|2] ascii 4 of 9 error 57005 fields 0"},
      {"1,2\n3,\"4\"", 2, false, "[1|2] ascii 4 of 9"},
      {"1,2\n3,\"4\"", 2, true, "[1|2][3|\"4\"] ascii quotes 9 of 9"},
      {"1,2\nx\"y,4\n", 2, false, "[1|2] ascii 4 of 10 error 57006 fields 0"},
      {"1,2\n\"x\"y,4\n", 2, false, "[1|2] ascii 4 of 11 error 57006 fields 0"},
      // Rows of one field more and one less than three are not two rows of three.
      {"1,2,3,4\n5,6\n", 3, false, " ascii 0 of 12 error 57004 fields 4"},
      {"1,2\n3\n", 2, false, "[1|2] ascii 4 of 6 error 57004 fields 1"},
      {"\xC3\xA4,2\n3,\xE4\n", 2, false, "[\xC3\xA4|2] utf-8 5 of 9 error 57008 fields 0"},
      // A character does not go on behind a delimiter.
      {"\xC3,\xA4\n", 2, false, " ascii 0 of 4 error 57008 fields 0"},
      {std::string("1,2\n\0,4\n", 8), 2, false, "[1|2] ascii 4 of 8 error 57007 fields 0"},
      // The first bad record counts, and in it what comes first.
      {std::string("1\nx\"\0\n", 6), 1, false, "[1] ascii 2 of 6 error 57006 fields 0"},
      {std::string("1\n\0\"\n", 5), 1, false, "[1] ascii 2 of 5 error 57007 fields 0"},
      {"1,\xE4\n1,\"2\"3\n", 2, false, " ascii 0 of 11 error 57008 fields 0"},
      {"1,2,3\n\xE4\n", 2, false, " ascii 0 of 8 error 57004 fields 3"},
  };
  for (const auto& c : kCases) {
    for (const auto way : {CsvSlicer::Way::kFast, CsvSlicer::Way::kPlain}) {
      EXPECT_EQ(Describe(c.text, c.columns, way, c.isLast), c.expected);
    }
  }
}

TEST(CsvSlicer, RefusesAFieldBeyondTheLimitBeforeItsEndIsSeen) {
  const std::string text = "1\n" + std::string(kMaxFieldBytes + 1, 'x');
  const std::string expected = "[1] ascii 2 of " + std::to_string(text.size()) + " error " +
                               std::to_string(kFieldTooLarge) + " fields 0";
  EXPECT_EQ(Describe(text, 1, CsvSlicer::Way::kFast, false), expected);
  EXPECT_EQ(Describe(text.substr(0, text.size() - 1) + "\n2\n", 1, CsvSlicer::Way::kFast, false)
                .substr(0, 6),
            "[1][xx");
}

TEST(CsvSlicer, IsThePlainWayAtEveryBlockBorder) {
  // Each piece moves over the borders of 64 bytes and of 4 KiB, behind regular records.
  std::string regular;
  while (regular.size() < 4000) regular += "1234,6\n";
  for (const char* piece : {"a,b\n", "a,b\r\n", "a,b\r", "\"a\",\"b\"\n", "\"a\"\"\",\"\"\r\n",
                            "\"\n\",\"\r\n\"\n", "\n", "\r\n", "\r\r\n", "a\n", "a,b,c\n",
                            "a\"b,c\n", "\"a\"b,c\n", "\"a,b\n", "\xC3\xA4,b\n", "\xC3,\xA4\n",
                            "\xF0\x9F\x98\x80,\"\xE2\x82\xAC\"\n", ",\n", "\"\"\"\"\"\",\"\"\n"}) {
    for (uint32 shift = 0; shift < 140; ++shift) {
      const std::string first = shift % 2 == 0 ? "" : regular;
      const std::string before = first + std::string(shift, 'x') + ",yy\n";
      const std::string text = before + "1,2\n" + piece + piece + "last,row\n";
      for (const uint32 columns : {1u, 2u, 3u}) {
        ExpectSame(text, columns, false);
        ExpectSame(text, columns, true);
      }
      ExpectSame(text.substr(0, before.size() + 4 + std::string_view(piece).size()), 2, false);
      ExpectSame(text.substr(0, before.size() + 4 + std::string_view(piece).size()), 2, true);
    }
  }
}

TEST(CsvSlicer, IsThePlainWayOverRandomTexts) {
  std::mt19937 random(20121);
  const auto below = [&](uint32 limit) { return static_cast<uint32>(random() % limit); };
  const std::vector<std::string> kPieces = {"a",
                                            "bc",
                                            "12.5",
                                            ",",
                                            ",",
                                            ",",
                                            "\n",
                                            "\n",
                                            "\r\n",
                                            "\r",
                                            "\"x\"",
                                            "\"\"",
                                            "\"",
                                            "\"a,\nb\"",
                                            "\xC3\xA4",
                                            "\xE4",
                                            std::string(1, '\0'),
                                            " ",
                                            ";"};
  for (int i = 0; i < 20000; ++i) {
    const uint32 columns = 1 + below(4);
    const uint32 noise = 1 + below(60);
    std::string text;
    while (text.size() < 200) {
      if (below(noise) == 0) {
        text += kPieces[below(static_cast<uint32>(kPieces.size()))];
      } else {
        for (uint32 column = 0; column < columns; ++column) {
          if (column != 0) text += ',';
          if (below(8) == 0) {
            text += "\"q,\"\"\n\"";
          } else {
            text += std::string(below(12), 'x');
          }
        }
        text += below(20) == 0 ? "\r\n" : "\n";
      }
    }
    text.resize(below(static_cast<uint32>(text.size()) + 1));
    ExpectSame(text, columns, below(2) == 0, below(10) == 0 ? ';' : ',');
    if (HasFailure()) return;
  }
}

}  // namespace
}  // namespace sqxer::test
