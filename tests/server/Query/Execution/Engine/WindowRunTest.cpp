#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <numeric>

#include "../server/Utility/Src/SpillFile.h"
#include "Compiler.h"
#include "CsvTable.h"
#include "QueryRun.h"
#include "SQXERExprConstant.h"
#include "SQXERExprExtract.h"
#include "SessionTesting.h"

namespace sqxer::test {
namespace {

using Cell = std::optional<std::string>;

/// Tells how many rows of its group were output before a row, and how many it took in all.
class Place : public SingleResultAggregate {
 public:
  Place(UInt16Vector* columns, bool filters)
      : SingleResultAggregate(columns, nullptr, nullptr, false, false), filters_(filters) {}
  using Aggregate::Bind;
  void Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo&) override {
    result = nullptr;
    BindSource(input);
  }
  void Initialize(bool restart) override { rows_ = outputs_ = restart ? 0 : 500; }
  RExprReturn Compute(unsigned char* record, unsigned int) override {
    rows_ += filters_ && IsSourceNull(record) ? 100000 : 1;
    return kTrue;
  }
  void Output(unsigned char* record) override {
    OutputNull(record, false);
    const float64 place = outputs_++ * 1000.0 + rows_;
    std::memcpy(record + targetOffset_, &place, sizeof place);
  }
  bool IsFunctionalAggr() override { return true; }
  bool NeedNullFiltering() override { return filters_; }

 private:
  const bool filters_;
  uint32 rows_ = 0, outputs_ = 0;
};

/// Over source rows of a text, a number with NULLs and a number of the row's own. Keys are the
/// numbers of these columns, from 1, negative for a descending order.
struct Window {
  std::vector<int> partition, order;
  /// r RunningSum, m RunningMin, v MovingSum of `size`, x Range (two results), p Place, f Place
  /// that filters, d Median.
  std::string functions;
  int32 size = 2;
};

std::unique_ptr<Aggregate> Make(const Window& window, char function) {
  auto* const value = new UInt16Vector{static_cast<uint16>(window.partition.size() + 1)};
  switch (function) {
    case 'r':
      return std::make_unique<RunningSum>(value, nullptr, nullptr, true);
    case 'm':
      return std::make_unique<RunningMin>(value, nullptr, nullptr, true);
    case 'v':
      return std::make_unique<MovingSum>(value, nullptr, nullptr, true,
                                         new ConstantInt32(window.size));
    case 'x':
      return std::make_unique<Range>(value, nullptr, nullptr, false);
    case 'd':
      return std::make_unique<Median>(value, nullptr, nullptr, false);
    default:
      return std::make_unique<Place>(value, function == 'f');
  }
}

/// Adds windows to the plan of a query of the three columns, and outputs of their results.
QueryPlan AddWindows(QueryPlan plan, const std::vector<Window>& windows) {
  const std::vector<ColumnInfo> columns = ResultsOf(plan.outputs);
  auto read = [&plan, &columns](int column) {
    const auto i = static_cast<std::size_t>(column - 1);
    auto& output = dynamic_cast<Extract&>(*plan.outputs[i].tree);
    return PlanExpression{std::make_unique<Extract>(output.GetFieldIndex()), columns[i], 0};
  };
  const ColumnInfo result{L"result", XeDoubleData, sizeof(float64), 0, true};
  for (const Window& window : windows) {
    PlanWindow& planned = plan.windows.emplace_back();
    planned.partitionKeys = static_cast<int>(window.partition.size());
    for (const int key : window.partition) planned.inputs.push_back(read(key));
    for (int column = 1; column <= 3; ++column) planned.inputs.push_back(read(column));
    for (const int key : window.order) {
      planned.order.push_back({planned.partitionKeys + std::abs(key) - 1,
                               key > 0 ? kAscending : kDescending, kNullsLast});
    }
    for (const char function : window.functions) {
      planned.functions.push_back({[=] { return Make(window, function); },
                                   std::vector(function == 'x' ? 2 : 1, result), "f", false, 7});
      plan.windowResults.resize(plan.windowResults.size() + planned.functions.back().results.size(),
                                result);
    }
  }
  auto field = static_cast<int>(plan.grouped ? plan.groupKeys.size() + plan.aggregates.size()
                                             : plan.scanRecord.size());
  for (std::size_t i = 0; i < plan.windowResults.size(); ++i) {
    plan.outputs.push_back({std::make_unique<Extract>(field++), result, 0});
    ++plan.visibleOutputs;
  }
  return plan;
}

/// NULL last, texts without regard to trailing blanks.
int CompareCells(const Cell& a, const Cell& b, int column) {
  if (!a || !b) return b.has_value() - a.has_value();
  if (column > 1) return (std::stod(*a) > std::stod(*b)) - (std::stod(*a) < std::stod(*b));
  const auto trimmed = [](const std::string& s) {
    return s.substr(0, s.find_last_not_of(' ') + 1);
  };
  return trimmed(*a).compare(trimmed(*b));
}

/// Appends what the windows should give to the rows.
void Model(std::vector<CapturingSink::Row_t>& rows, const Window& window) {
  std::vector<std::size_t> all(rows.size());
  std::iota(all.begin(), all.end(), 0);
  const auto compare = [&](const std::vector<int>& keys, std::size_t a, std::size_t b) {
    for (const int key : keys) {
      const auto i = static_cast<std::size_t>(std::abs(key) - 1);
      int result = CompareCells(rows[a][i], rows[b][i], std::abs(key));
      if (key < 0 && rows[a][i] && rows[b][i]) result = -result;
      if (result != 0) return result;
    }
    return 0;
  };
  std::vector<int> keys = window.partition;
  keys.insert(keys.end(), window.order.begin(), window.order.end());
  std::ranges::stable_sort(all, [&](auto a, auto b) { return compare(keys, a, b) < 0; });
  while (!all.empty()) {
    const auto end = std::ranges::find_if(
        all, [&](std::size_t row) { return compare(window.partition, all[0], row) != 0; });
    const std::vector<std::size_t> group(all.begin(), end);
    all.erase(all.begin(), end);
    std::vector<float64> values;
    for (const std::size_t row : group) {
      if (rows[row][1]) values.push_back(std::stod(*rows[row][1]));
    }
    std::size_t seen = 0, place = 0;
    for (const std::size_t row : group) {
      const bool isNull = !rows[row][1];
      seen += isNull ? 0 : 1;
      const auto first = values.begin(), now = first + static_cast<std::ptrdiff_t>(seen);
      const auto add = [&](bool isKnown, float64 value) {
        rows[row].push_back(isKnown ? Cell(std::to_string(value)) : Cell());
      };
      const auto some = [&](bool isKnown, auto at) { add(isKnown, isKnown ? *at : 0); };
      for (const char function : window.functions) {
        if (function == 'r') add(seen > 0, std::accumulate(first, now, 0.0));
        if (function == 'v') add(seen > 0, std::accumulate(seen > 1 ? now - 2 : first, now, 0.0));
        if (function == 'm') some(seen > 0, std::min_element(first, now));
        if (function == 'x') some(!values.empty(), std::ranges::max_element(values));
        if (function == 'x') some(!values.empty(), std::ranges::min_element(values));
        if (function == 'p') add(true, place * 1000.0 + group.size());
        if (function == 'f') add(!isNull, (seen - 1.0) * 1000 + values.size());
      }
      ++place;
    }
  }
}

class WindowRunTest : public SessionTest {
 protected:
  WindowRunTest() {
    std::string content = "s,x,n\n";
    const char* const texts[] = {"a", "a ", "b", "", "c  "};
    uint32 random = 1;
    for (int i = 1; i <= 900; ++i) {
      random = random * 1664525 + 1013904223;
      content += texts[(random >> 16) % 5] + std::string(",");
      content += (random >> 24) % 6 == 0 ? "" : std::to_string((random >> 20) % 40);
      content += "," + std::to_string(i) + "\n";
    }
    table_ = std::make_shared<Table>(LoadCsvTable(folder_.Write("t.csv", content), ',', L"t",
                                                  ReadDeclaredTypes("x:double"), nullptr));
    session_.AddTable(table_);
  }
  ~WindowRunTest() override { SqrtSorter::SetInitialBufferBytes(buffer_); }

  QueryRun Bind(const std::string& sql, const std::vector<Window>& windows) {
    return QueryRun(AddWindows(CompileStatement(sql, session_), windows), table_.get());
  }
  std::string Error(QueryRun& run) {
    int place = 0;
    const std::string text = ErrorOf(folder_.Path(), [&] {
      try {
        run.Run(sink_);
      } catch (const ErrorMessage& error) {
        place = error.GetSourcePosition();
        throw;
      }
    });
    return text + ", place " + std::to_string(place);
  }

  ConfigScope config_;
  const std::size_t buffer_ = SqrtSorter::GetInitialBufferBytes();
  std::shared_ptr<Table> table_;
  Session session_;
  CapturingSink sink_;
};

TEST_F(WindowRunTest, AgreesWithAPlainModel) {
  const std::vector<std::vector<Window>> cases = {
      {{{}, {}, "rmv"}},
      {{{}, {}, "pxf"}, {{}, {}, "r"}},
      {{{}, {}, "xrfp"}},
      {{{1}, {-2}, "rvm"}},
      {{{1}, {}, "p"}, {{}, {2, -3}, "r"}, {{}, {}, "v"}},
      {{{1, 2}, {-3}, "fxrpx"}},
      {{{3}, {}, "xpr"}, {{2}, {1}, "x"}},
      // Wide results of groups are kept apart.
      {{{2}, {1}, "xrxxfx"}, {{3}, {}, "xxxx"}},
  };
  for (const std::string sql :
       {"SELECT s, x, n FROM t", "SELECT s, x, n FROM t WHERE n % 3 > 0",
        "SELECT s, x, n FROM t WHERE n < 0", "SELECT s, MAX(x), n % 200 FROM t GROUP BY s, n % 200",
        "SELECT DISTINCT s, x, n FROM t ORDER BY 3 DESC LIMIT 20",
        "SELECT s, x, n FROM t LIMIT 9"}) {
    for (const std::vector<Window>& windows : cases) {
      const std::size_t tail = std::min(sql.find(" ORDER"), sql.find(" LIMIT"));
      session_.Execute(sql.substr(0, tail), sink_);
      auto expected = sink_.rows;
      for (const Window& window : windows) Model(expected, window);
      if (sql.find("DESC") != std::string::npos) std::ranges::reverse(expected);
      expected.resize(tail == std::string::npos ? expected.size() : sql.ends_with("9") ? 9 : 20);
      for (const std::size_t bytes : {1000, 10000, 1000000}) {
        SCOPED_TRACE(testing::Message() << sql << ", " << windows[0].functions << ", " << bytes);
        SqrtSorter::SetInitialBufferBytes(bytes);
        config_->groupMemory_ = bytes;
        QueryRun run = Bind(sql, windows);
        for (int round = 0; round < 2; ++round) {
          run.Run(sink_);
          for (auto& row : sink_.rows) {
            for (std::size_t i = 3; i < row.size(); ++i) {
              if (row[i]) row[i] = std::to_string(std::stod(*row[i]));
            }
          }
          ASSERT_EQ(sink_.rows, expected);
        }
      }
    }
  }
}

SpillFile::Calls realCalls;
ssize_t bytesUntilFull = 0;

ssize_t WriteUntilFull(int file, const void* bytes, std::size_t count, off_t offset) {
  if (bytesUntilFull < static_cast<ssize_t>(count)) return errno = ENOSPC, -1;
  bytesUntilFull -= static_cast<ssize_t>(count);
  return realCalls.write(file, bytes, count, offset);
}

TEST_F(WindowRunTest, ErrorsTellRowAndPlaceAndTheNextRunIsSound) {
  const auto countFiles = [] {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
  };
  const auto files = countFiles();
  realCalls = SpillFile::SetCalls(SpillFile::Calls());
  SpillFile::SetCalls({realCalls.open, &WriteUntilFull, realCalls.read});
  SqrtSorter::SetInitialBufferBytes(1000);
  config_->tempDirectory_ = folder_.File("spilled");
  std::filesystem::create_directory(config_->tempDirectory_);
  const std::string sql = "SELECT s, x, n FROM t";
  {
    // Of two runs with an error in between the second gives what a run of its own does.
    QueryRun run = Bind(sql, {{{1}, {2}, "xrfd"}, {{}, {}, "p"}});
    bytesUntilFull = INT64_MAX;
    run.Run(sink_);
    const auto expected = sink_.rows;
    const ssize_t needed = INT64_MAX - bytesUntilFull;
    for (ssize_t part = 0; part < 40; ++part) {
      bytesUntilFull = needed * part / 40;
      EXPECT_THAT(Error(run), testing::StartsWith("sorting cannot write temporary files in "
                                                  "\"spilled\": No space left on device"));
      bytesUntilFull = INT64_MAX;
      run.Run(sink_);
      EXPECT_EQ(sink_.rows, expected);
    }
  }
  EXPECT_EQ(countFiles(), files);
  EXPECT_TRUE(std::filesystem::is_empty(config_->tempDirectory_));
  SpillFile::SetCalls(realCalls);

  const std::string tooSmall =
      "the size of a window, or the number of rows, tiles or bins, must be above 0";
  for (const auto& [order, row] : {std::pair(std::vector<int>(), "1"), {{-3}, "900"}}) {
    QueryRun run = Bind(sql, {{{}, order, "rv", 0}});
    EXPECT_EQ(Error(run), tooSmall + " @row " + row + ", place 7");
  }
  QueryRun groups = Bind("SELECT s, MAX(x), n FROM t GROUP BY s, n", {{{}, {3}, "v", -1}});
  EXPECT_EQ(Error(groups), tooSmall + ", place 7");
}

TEST_F(WindowRunTest, ExplainShowsHowEachWindowRuns) {
  QueryRun run = Bind("SELECT s, x, n FROM t", {{{1}, {-2}, "rx"}, {{}, {}, "v"}, {{}, {}, "x"}});
  XeString text;
  for (const XeString& line : run.Describe()) {
    if (!line.starts_with(L"output")) text += line + L'\n';
  }
  const std::string reads = "\n  ExtractFloat64 x -> DOUBLE\n";
  EXPECT_THAT(BaseStringUtil::StringToUtf8(text),
              testing::StartsWith(
                  "scan t (3 of 3 columns)\nwindow of sorted rows\npartition key\n"
                  "  ExtractLongVarXeChar s -> LONG VARCHAR\norder key descending" +
                  reads + "function f by RunningSumFloat64" + reads + "function f by RangeFloat64" +
                  reads + "window of the rows so far\nfunction f by MovingSumFloat64" + reads +
                  "window of all rows\nfunction f by RangeFloat64" + reads));
}

}  // namespace
}  // namespace sqxer::test
