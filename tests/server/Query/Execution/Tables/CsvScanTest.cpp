#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>
#include <zstd.h>

#include <fstream>
#include <random>
#include <thread>

#include "CsvScan.h"
#include "server/Query/Execution/Engine/SessionTesting.h"

namespace sqxer::test {
namespace {

/// Keeps rows as "a|b\n", fields as they are written.
class KeepingSink final : public SliceSink {
 public:
  explicit KeepingSink(uint64 mostRows = ~uint64{0}) : mostRows_(mostRows) {}

  bool Take(const RecordSlice& slice, const RecordPlaces& places) override {
    for (uint32 row = 0; row < slice.rows && rows_ < mostRows_; ++row, ++rows_) {
      for (uint32 column = 0; column < slice.columns; ++column) {
        const uint32 start = slice.GetStart(row, column);
        if (column != 0) text += '|';
        text += std::string_view(slice.text + start, slice.GetEnd(row, column) - start);
        if (std::string_view(slice.text + start, 3) == "bad") {
          ThrowTableError(
              kValueUnreadable,
              {Wide(places.GetPath()), places.PlaceOf(slice, row).Text(), L"c", L"int4", L"bad"});
        }
      }
      text += '\n';
    }
    return rows_ < mostRows_;
  }

  std::string text;

 private:
  uint64 mostRows_;
  uint64 rows_ = 0;
};

std::string Pack(const std::string& text) {
  z_stream stream = {};
  deflateInit2(&stream, 6, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY);
  std::string packed(deflateBound(&stream, text.size()), '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
  stream.avail_in = static_cast<uInt>(text.size());
  stream.next_out = reinterpret_cast<Bytef*>(packed.data());
  stream.avail_out = static_cast<uInt>(packed.size());
  deflate(&stream, Z_FINISH);
  packed.resize(stream.total_out);
  deflateEnd(&stream);
  return packed;
}

std::string PackZstd(const std::string& text) {
  std::string packed(ZSTD_compressBound(text.size()), '\0');
  packed.resize(ZSTD_compress(packed.data(), packed.size(), text.data(), text.size(), 1));
  return packed;
}

std::string Utf16(const std::string& utf8, bool isLittle) {
  std::string bytes;
  const auto append = [&](uint32 unit) {
    const char low = static_cast<char>(unit & 0xFF);
    const char high = static_cast<char>(unit >> 8);
    bytes += isLittle ? low : high;
    bytes += isLittle ? high : low;
  };
  for (const wchar_t c : Wide(utf8)) {
    const uint32 code = static_cast<uint32>(c);
    if (code < 0x10000) {
      append(code);
    } else {
      append(0xD800 + ((code - 0x10000) >> 10));
      append(0xDC00 + ((code - 0x10000) & 0x3FF));
    }
  }
  return bytes;
}

/// Long texts are not worth printing.
void ExpectSame(const std::string& text, const std::string& expected) {
  EXPECT_TRUE(text == expected) << text.size() << " bytes and not " << expected.size() << ": "
                                << text.substr(0, 200) << "..."
                                << text.substr(text.size() -
                                               std::min<std::size_t>(200, text.size()));
}

class CsvScanTest : public testing::Test {
 protected:
  /// Names, rows in the order of the sinks, and the error if there is one.
  std::string Read(const std::vector<std::string>& paths, const ScanOptions& options = {},
                   std::size_t workers = 1) {
    std::string text;
    const std::string error = ErrorOf(folder_.Path(), [&] {
      CsvScan scan(paths, options);
      for (const XeString& name : scan.GetNames()) text += BaseStringUtil::StringToUtf8(name) + " ";
      text += "\n";
      std::vector<KeepingSink> sinks(workers);
      std::vector<SliceSink*> pointers;
      for (KeepingSink& sink : sinks) pointers.push_back(&sink);
      try {
        scan.Scan(pointers, nullptr);
      } catch (const ErrorMessage&) {
        // What stands before the bad record depends on who was where.
        if (workers == 1) text += sinks.front().text;
        throw;
      }
      for (const KeepingSink& sink : sinks) text += sink.text;
    });
    if (error != "no error") text += error;
    if (workers == 1) ExpectSameInParts(paths, options, text, error);
    return text;
  }

  /// Regular files give the same when they are read part by part, by one sink or by several.
  void ExpectSameInParts(const std::vector<std::string>& paths, const ScanOptions& options,
                         const std::string& whole, const std::string& wholeError) {
    namespace fs = std::filesystem;
    uint64 bytes = 100;
    for (const std::string& path : paths) {
      if (!fs::is_regular_file(path)) return;
      bytes += fs::file_size(path) / 7;
    }
    for (const std::size_t workers : {1, 3}) {
      std::string text;
      const std::string error = ErrorOf(folder_.Path(), [&] {
        CsvScan scan(paths, options);
        for (const XeString& name : scan.GetNames()) {
          text += BaseStringUtil::StringToUtf8(name) + " ";
        }
        text += "\n";
        for (bool hasMore = true; hasMore;) {
          std::vector<KeepingSink> sinks(workers);
          std::vector<SliceSink*> pointers;
          for (KeepingSink& sink : sinks) pointers.push_back(&sink);
          try {
            hasMore = scan.ScanNext(pointers, bytes, nullptr);
          } catch (const ErrorMessage&) {
            text += sinks.front().text;
            throw;
          }
          for (const KeepingSink& sink : sinks) text += sink.text;
        }
      });
      EXPECT_EQ(error, wholeError);
      if (workers == 1 || error == "no error") {
        ExpectSame(error == "no error" ? text : text + error, whole);
      }
    }
  }

  std::string ReadText(const std::string& content, const ScanOptions& options = {}) {
    return Read({folder_.Write("t.csv", content)}, options);
  }

  /// The same through a pipe.
  std::string ReadPiped(const std::string& content, const ScanOptions& options = {}) {
    const std::string path = folder_.File("fifo");
    mkfifo(path.c_str(), 0600);
    std::thread writer([&] {
      const int file = open(path.c_str(), O_WRONLY);
      for (std::size_t at = 0; at < content.size();) {
        const ssize_t count = write(file, content.data() + at, content.size() - at);
        if (count < 0) break;
        at += static_cast<std::size_t>(count);
      }
      close(file);
    });
    const std::string text = Read({path}, options);
    writer.join();
    unlink(path.c_str());
    return text;
  }

  TemporaryFolder folder_;
};

ScanOptions SmallBlocks(std::size_t bytes, uint32 threads = 1) {
  ScanOptions options;
  options.blockBytes = bytes;
  options.threads = threads;
  options.leastPieceBytes = 1;
  return options;
}

TEST_F(CsvScanTest, SaysTheSameOfABadFileHoweverItIsRead) {
  const std::string beside =
      "has text beside a quotation: quote whole fields and double the quotation marks in them";
  const std::string open =
      "opens a quotation that does not end: close it, or quote the field whole and double the "
      "quotation marks in it";
  const std::string encoding =
      "is not valid UTF-8: save the file as UTF-8, or name its encoding with --encoding";
  const std::string rows = "1,\"2\n\"\r\n\n3,4\r";
  const std::string read = "1|\"2\n\"\n3|4\n";
  const struct {
    std::string content;
    std::string rows;
    int line;
    std::string error;
  } kCases[] = {
      {"", "", 0, "the file is empty, its first line must name the columns: \"t.csv\""},
      {"\n\r\n", "", 0, "the file is empty, its first line must name the columns: \"t.csv\""},
      {"\n\na,\"b\nc", "", 3, open},
      {"\na,\xE4\n", "", 2, encoding},
      {"a,b\n" + rows + "1,2,3\n", read, 5, "must have as many fields as the header, 2, and not 3"},
      {"\na,b\n" + rows + "\n3\n\"\n", read, 7,
       "must have as many fields as the header, 2, and not 1"},
      {"a,b\n" + rows + "3,\"x\ny\n", read, 5, open},
      {"a,b\n" + rows + "1,x\"y\n", read, 5, beside},
      {"a,b\n" + rows + "1,\"x\"y\n", read, 5, beside},
      {"a,b\n" + rows + std::string("3,\0\n", 4), read, 5,
       "holds a NUL byte, which text files have not: remove it, or name the "
       "encoding of the file with --encoding"},
      {"\xEF\xBB\xBF"
       "a,b\n" +
           rows + "\xC3\xA4,\xE4\n",
       read, 5, encoding},
      // Of a value the line is found when it is asked for.
      {"a,b\n" + rows + "\"\n\",\n1,bad", read + "\"\n\"|\n1|bad", 7,
       "has a value that the column \"c\", int4, cannot take: \"bad\""},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(testing::PrintToString(c.content));
    const auto sentence = [&](const std::string& file) {
      const std::string line = "line " + std::to_string(c.line) + " of \"" + file + "\" ";
      std::string text = (c.line != 0 ? line : "") + c.error;
      if (const auto at = text.find("\"t.csv\""); at != std::string::npos && file != "t.csv") {
        text.replace(at, 7, "\"" + file + "\"");
      }
      return text;
    };
    const std::string names = c.rows.empty() ? "" : "a b \n";
    for (const std::size_t bytes : {1, 5, 64, 1000000}) {
      EXPECT_EQ(ReadText(c.content, SmallBlocks(bytes)), names + c.rows + sentence("t.csv"));
      EXPECT_EQ(ReadPiped(c.content, SmallBlocks(bytes)), names + c.rows + sentence("fifo"));
      const std::string packed = folder_.Write("t.csv.gz", Pack(c.content));
      EXPECT_EQ(Read({packed}, SmallBlocks(bytes, 2)), names + c.rows + sentence("t.csv.gz"));
    }
    for (const uint32 workers : {2, 3, 4}) {
      EXPECT_EQ(Read({folder_.Write("t.csv", c.content)}, SmallBlocks(16, workers), workers),
                (c.rows.empty() ? "" : "a b \n") + sentence("t.csv"));
    }
  }
}

TEST_F(CsvScanTest, GivesTheSameRecordsToAnyNumberOfWorkers) {
  std::mt19937 random(7);
  const auto below = [&](uint32 limit) { return static_cast<uint32>(random() % limit); };
  for (int round = 0; round < 150; ++round) {
    const uint32 columns = 1 + below(3);
    const char* const ends[] = {"\n", "\r\n", "\r"};
    const std::string end = ends[below(3)];
    const bool isQuoted = below(2) == 0;
    std::string content = columns == 1 ? "a" : columns == 2 ? "a,b" : "a,b,c";
    content += end;
    const uint32 rows = below(60);
    for (uint32 row = 0; row < rows; ++row) {
      for (uint32 column = 0; column < columns; ++column) {
        if (column != 0) content += ',';
        content += isQuoted && below(3) == 0 ? "\"x\r\n,\"\"" + end + end + "\""
                                             : std::to_string(below(100000));
      }
      if (row + 1 < rows || below(2) == 0) content += end;
      if (below(10) == 0) content += end;
    }
    const std::string path = folder_.Write("t.csv", content);
    const std::string expected = Read({path});
    for (const uint32 workers : {2, 3, 4}) {
      ASSERT_EQ(Read({path}, SmallBlocks(1 + below(100), workers), workers), expected)
          << testing::PrintToString(content);
    }
    ASSERT_EQ(Read({path, path, path}, SmallBlocks(20, 4), 4),
              Read({path, path, path}, SmallBlocks(20)));
  }
}

TEST_F(CsvScanTest, RaisesTheFirstErrorInTheOrderOfTheFileAndDropsTheOthers) {
  std::string content = "a,b\n";
  for (int i = 0; i < 1000; ++i) {
    content += i % 100 == 37 ? "1\n" : i % 100 == 60 ? "bad,1\n" : "1,2\n";
  }
  const std::string path = folder_.Write("t.csv", content);
  for (const uint32 workers : {1, 2, 3, 4}) {
    const std::string text = Read({path}, SmallBlocks(64, workers), workers);
    EXPECT_TRUE(
        text.ends_with("line 39 of \"t.csv\" must have as many fields as the header, 2, and not 1"))
        << text;
  }
  // Behind a worker that has enough no error is looked for.
  CsvScan scan({path}, SmallBlocks(64, 3));
  KeepingSink first(10);
  KeepingSink second;
  KeepingSink third;
  SliceSink* const sinks[] = {&first, &second, &third};
  scan.Scan(sinks, nullptr);
  EXPECT_EQ(std::ranges::count(first.text, '\n'), 10);
}

TEST_F(CsvScanTest, UnpacksAndDecodes) {
  std::string content = "a;b\n";
  std::string rows = "a b \n";
  for (int i = 0; i < 3000; ++i) {
    const std::string number = std::to_string(i * 7919);
    content += number + ";\u00E4\u20AC\U0001F600" + number + "\n";
    rows += number + "|\u00E4\u20AC\U0001F600" + number + "\n";
  }
  const std::string half = content.substr(0, 20000);
  const std::string rest = content.substr(20000);
  const std::pair<const char*, std::string> kFiles[] = {
      {"plain.csv", content},
      {"one.csv.gz", Pack(content)},
      {"members.csv.gz", Pack(half) + Pack("") + Pack(rest) + std::string(1000, '\0')},
      {"frames.csv.zst", PackZstd(half) + PackZstd(rest)},
      {"little.csv", "\xFF\xFE" + Utf16(content, true)},
      {"big.csv", "\xFE\xFF" + Utf16(content, false)},
      {"both.csv.gz", Pack("\xFF\xFE" + Utf16(content, true))},
      {"marked.csv.zst", PackZstd("\xEF\xBB\xBF" + content)},
  };
  for (const auto& [name, bytes] : kFiles) {
    SCOPED_TRACE(name);
    const std::string path = folder_.Write(name, bytes);
    for (const uint32 threads : {1, 2}) {
      ExpectSame(Read({path}), rows);
      ExpectSame(Read({path}, SmallBlocks(100, threads)), rows);
      ExpectSame(ReadPiped(bytes, SmallBlocks(70, threads)), rows);
    }
    // Again, with a header longer than a block; and as the second of two files.
    CsvScan scan({path}, SmallBlocks(1));
    for (int i = 0; i < 2; ++i) {
      KeepingSink sink;
      SliceSink* const sinks[] = {&sink};
      scan.Scan(sinks, nullptr);
      ExpectSame("a b \n" + sink.text, rows);
    }
    ExpectSame(Read({folder_.File("plain.csv"), path}, SmallBlocks(1000, 2), 2),
               rows + rows.substr(5));
  }
  ScanOptions latin;
  latin.encoding = "ISO-8859-1";
  EXPECT_EQ(ReadText("a\n\xE4\n", latin), "a \n\u00E4\n");
  latin.encoding = "utf-8";
  EXPECT_EQ(ReadText("a\n\xC3\xA4\n", latin), "a \n\u00E4\n");
  latin.encoding = "klingon";
  EXPECT_EQ(ReadText("a\n", latin),
            "no encoding of texts has this name, give one such as latin1 or UTF-16LE: \"klingon\"");
}

TEST_F(CsvScanTest, RefusesWhatDoesNotUnpackOrDecode) {
  std::string content = "a,b\n";
  for (int i = 0; i < 20000; ++i) content += std::to_string(i) + ",x\n";
  const auto errorOf = [&](const std::string& name, const std::string& bytes, uint32 threads) {
    const std::string text = Read({folder_.Write(name, bytes)}, SmallBlocks(64, threads));
    return text.substr(text.rfind('\n') + 1);
  };
  std::string damaged = Pack(content);
  damaged[damaged.size() / 2] ^= 0x55;
  const std::string early = "cannot be unpacked: its # data end too early";
  const std::string bad = "cannot be unpacked: its # data are damaged";
  const struct {
    const char* kind;
    std::string bytes;
    std::string error;
  } kCases[] = {
      {"gzip", Pack(content).substr(0, 5000), early},
      {"gzip", Pack(content) + "garbage", bad},
      {"gzip", damaged, bad},
      {"zstd", PackZstd(content).substr(0, 5000), early},
      {"zstd", PackZstd(content) + "garbage", bad},
      {"gzip", content, "cannot be unpacked: it does not hold # data"},
  };
  for (const uint32 threads : {1, 2}) {
    for (const auto& c : kCases) {
      const bool isGzip = c.kind == std::string("gzip");
      const std::string name = isGzip ? "t.csv.gz" : "t.csv.zst";
      std::string error = "\"" + name + "\" " + c.error;
      EXPECT_EQ(errorOf(name, c.bytes, threads), error.replace(error.find('#'), 1, c.kind));
    }
    // Half a character at the end, and half a surrogate.
    const std::string text = "\xFF\xFE" + Utf16("a,b\n1,\U0001F600\n2,3", true);
    EXPECT_EQ(errorOf("t.csv", text.substr(0, text.size() - 1), threads),
              "line 3 of \"t.csv\" is not valid UTF-16LE, the encoding of the file");
    std::string surrogate = text;
    surrogate.erase(16, 2);
    EXPECT_EQ(errorOf("t.csv", surrogate, threads),
              "line 2 of \"t.csv\" is not valid UTF-16LE, the encoding of the file");
  }
}

TEST_F(CsvScanTest, FindsTheDelimiterAndTheHeader) {
  const auto shapeOf = [&](const std::string& content, const std::string& name = "t.csv") {
    CsvScan scan({folder_.Write(name, content)}, {});
    return std::string(1, scan.GetDelimiter()) + std::to_string(scan.GetNames().size()) +
           (scan.LooksHeaderLikeData() ? " data" : "");
  };
  EXPECT_EQ(shapeOf("a,b\n1,2\n"), ",2");
  EXPECT_EQ(shapeOf("a;b\n1,5;2\n"), ";2");
  EXPECT_EQ(shapeOf("a|b|c\n1|2|\"x|y\"\n"), "|3");
  EXPECT_EQ(shapeOf("a\tb\n1\t2\n"), "\t2");
  EXPECT_EQ(shapeOf("a,b\n1,2\n", "t.tsv"), "\t1");
  // Not regular, not of more columns, or bad in all: the comma, which then says what is wrong.
  EXPECT_EQ(shapeOf("a;b\n1;2\n3\n"), ",1");
  EXPECT_EQ(shapeOf("a,b|c\n1,2|3\n"), ",2");
  EXPECT_EQ(shapeOf("a,b;c\n1,2;\"3\n"), ",2");
  EXPECT_EQ(shapeOf("1,x,2012-01-01\n2,y,2012-01-02\n"), ",3 data");
  EXPECT_EQ(shapeOf("id,2012\nx,1.5\n"), ",2 data");
  EXPECT_EQ(shapeOf("id,2012\n1,2\n"), ",2");
  EXPECT_EQ(shapeOf("id,name\nx,y\n"), ",2");
  ScanOptions options;
  options.hasHeader = false;
  EXPECT_EQ(ReadText("1,2\n3,4\n", options), "column1 column2 \n1|2\n3|4\n");
  EXPECT_EQ(ReadText("\n1\n", options), "column1 \n\n1\n");
  EXPECT_EQ(ReadText("1,2\n3\n", options),
            "column1 column2 \n1|2\n"
            "line 2 of \"t.csv\" must have as many fields as the first record, 2, and not 1");
  options.delimiter = ':';
  EXPECT_EQ(ReadText("1:2,5\n", options), "column1 column2 \n1|2,5\n");
  EXPECT_EQ(ReadText("\" a \"\"b\"\" \",\"\"\n"), "a \"b\" column2 \n");
}

TEST_F(CsvScanTest, TakesSeveralFilesWithOneHeader) {
  const std::string a = folder_.Write("a.csv", "a,b\n1,2");
  const std::string b = folder_.Write("b.csv", "\"a\",b\r\n3,4\r\n");
  const std::string c = folder_.Write("c.csv", "a,c\n5,6\n");
  const std::string d = folder_.Write("d.csv", "a\n5\n");
  EXPECT_EQ(Read({a, b, a}), "a b \n1|2\n3|4\n1|2\n");
  EXPECT_EQ(
      Read({a, c}),
      "\"c.csv\" must have the header of \"a.csv\" to be one table with it: \"c\" and not \"b\"");
  EXPECT_EQ(
      Read({a, d}),
      "\"d.csv\" must have the header of \"a.csv\" to be one table with it: 1 columns and not 2");
}

TEST_F(CsvScanTest, SamplesTheFileAndSaysWhetherThatHeld) {
  // A text with lines like rows fills the second half of the file.
  std::string content = "a,b\n";
  for (int i = 0; i < 2000; ++i) content += "1,2\n";
  const std::string rows = content.substr(4);
  for (const bool isQuoted : {false, true}) {
    const std::string path =
        folder_.Write("t.csv", content + (isQuoted ? "7,\"" + rows + "\"\n" : rows));
    CsvScan scan({path}, SmallBlocks(500));
    KeepingSink sample;
    scan.Sample(sample);
    EXPECT_GT(std::ranges::count(sample.text, '\n'), 900);
    KeepingSink sink;
    SliceSink* const sinks[] = {&sink};
    scan.Scan(sinks, nullptr);
    EXPECT_EQ(scan.IsSampleConfirmed(), !isQuoted);
  }
}

}  // namespace
}  // namespace sqxer::test
