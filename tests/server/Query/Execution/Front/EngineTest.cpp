// The engine as programs take it in: its header alone, and Arrow data of their own.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <deque>
#include <optional>
#include <thread>

#include "Engine/Engine.h"
#include "server/Query/Execution/Engine/TemporaryFolder.h"

namespace sqxer::test {
namespace {

using engine::Error;
using engine::Evaluator;
using engine::Result;
using engine::Session;
using engine::Value;
using testing::ElementsAre;
using testing::HasSubstr;

/// A column `v` of doubles, shown as streams that count how often they were released.
class Doubles {
 public:
  explicit Doubles(std::vector<double> values) : values_(std::move(values)) {}

  void Open(ArrowArrayStream* out, int batches = 1) {
    ++opened;
    *out = {};
    out->private_data = new State{this, batches};
    out->get_schema = [](ArrowArrayStream*, ArrowSchema* schema) {
      WriteSchema(schema);
      return 0;
    };
    out->get_next = [](ArrowArrayStream* stream, ArrowArray* array) {
      auto& state = *static_cast<State*>(stream->private_data);
      *array = {};
      if (state.left-- > 0) state.doubles->WriteRows(array);
      return 0;
    };
    out->get_last_error = [](ArrowArrayStream*) -> const char* { return nullptr; };
    out->release = [](ArrowArrayStream* stream) {
      auto* const state = static_cast<State*>(stream->private_data);
      ++state->doubles->released;
      delete state;
      stream->release = nullptr;
    };
  }

  static void WriteSchema(ArrowSchema* schema) {
    struct Held {
      ArrowSchema child;
      ArrowSchema* children[1];
    };
    auto* const held = new Held{};
    held->children[0] = &held->child;
    held->child.format = "g";
    held->child.name = "v";
    held->child.flags = ARROW_FLAG_NULLABLE;
    held->child.release = [](ArrowSchema* child) { child->release = nullptr; };
    *schema = {};
    schema->format = "+s";
    schema->name = "";
    schema->n_children = 1;
    schema->children = held->children;
    schema->private_data = held;
    schema->release = [](ArrowSchema* released) {
      delete static_cast<Held*>(released->private_data);
      released->release = nullptr;
    };
  }

  std::atomic<int> opened = 0;
  std::atomic<int> released = 0;
  std::atomic<int> arrays = 0;

 private:
  struct State {
    Doubles* doubles;
    int left;
  };
  void WriteRows(ArrowArray* out) {
    struct Held {
      Doubles* doubles;
      ArrowArray child;
      ArrowArray* children[1];
      const void* buffers[1];
      const void* childBuffers[2];
    };
    auto* const held = new Held{};
    ++arrays;
    held->doubles = this;
    held->childBuffers[1] = values_.data();
    held->child.length = static_cast<int64_t>(values_.size());
    held->child.n_buffers = 2;
    held->child.buffers = held->childBuffers;
    held->child.release = [](ArrowArray* child) { child->release = nullptr; };
    held->children[0] = &held->child;
    *out = {};
    out->length = held->child.length;
    out->n_buffers = 1;
    out->buffers = held->buffers;
    out->n_children = 1;
    out->children = held->children;
    out->private_data = held;
    out->release = [](ArrowArray* released) {
      auto* const held = static_cast<Held*>(released->private_data);
      --held->doubles->arrays;
      delete held;
      released->release = nullptr;
    };
  }

  const std::vector<double> values_;
};

/// The doubles of the first column of a batch, and its release.
std::vector<double> TakeDoubles(ArrowArray& array) {
  const ArrowArray& column = *array.children[0];
  const auto* const values = static_cast<const double*>(column.buffers[1]) + column.offset;
  std::vector<double> taken(values, values + column.length);
  array.release(&array);
  return taken;
}

std::vector<double> TakeDoubles(Result& result) {
  std::vector<double> all;
  ArrowArray array;
  while (result.Next(&array)) {
    const std::vector<double> some = TakeDoubles(array);
    all.insert(all.end(), some.begin(), some.end());
  }
  return all;
}

template <class Action>
std::optional<Error> ErrorOf(Action&& action) {
  try {
    action();
  } catch (const Error& error) {
    return error;
  }
  return std::nullopt;
}

TEST(Engine, ReadsFilesAndArrowDataOfItsUser) {
  const TemporaryFolder folder;
  folder.Write("t.csv", "a,w\n1,x\n2,y\n");
  Session session;
  session.SetDirectory(folder.Path());
  Result rows = session.Query("SELECT a + 0.5 AS b, w FROM t WHERE a > $1", {"int4:1"});
  EXPECT_EQ(rows.GetColumns()[1].type, "varchar(1)");
  EXPECT_EQ(rows.CountRows(), 1);

  Doubles doubles({1.5, 2.5, 4.0});
  ArrowArrayStream stream;
  doubles.Open(&stream, 2);
  session.AddArrow("d", &stream);
  EXPECT_EQ(stream.release, nullptr);
  Result doubled = session.Query("SELECT v * 2 AS w FROM d");
  Result again = doubled.Copy();
  const auto expected = ElementsAre(3, 5, 8, 3, 5, 8);
  EXPECT_THAT(TakeDoubles(doubled), expected);
  EXPECT_THAT(TakeDoubles(again), expected);
  EXPECT_EQ(doubles.released, 1);
  // A table that is replaced lets go of its rows.
  doubles.Open(&stream);
  session.AddArrow("D", &stream);
  EXPECT_EQ(session.Query("SELECT v FROM d").CountRows(), 3);
  session.RemoveTable("d");
  EXPECT_EQ(doubles.arrays, 0);
  EXPECT_EQ(ErrorOf([&] { session.Query("SELECT v FROM d"); })->GetCode(), 57001);
}

TEST(Engine, OpensSourcesWhenTheyAreRead) {
  Doubles doubles(std::vector<double>(5000, 2.5));
  ArrowSchema schema;
  Doubles::WriteSchema(&schema);
  Session session;
  session.SetThreads(2);
  std::vector<std::string> asked;
  const auto open = [&](const engine::SourceRequest& request, ArrowArrayStream* out) {
    asked = request.columns;
    doubles.Open(out, 40);
  };
  session.AddSource("once", schema, open);
  session.AddSource("kept", schema, open, {.areRowsKept = true});
  schema.release(&schema);
  EXPECT_EQ(doubles.opened, 0);
  for (int i = 0; i < 3; ++i) {
    for (const char* table : {"once", "kept"}) {
      Result sum = session.Query("SELECT SUM(v) FROM " + std::string(table));
      EXPECT_THAT(TakeDoubles(sum), ElementsAre(500000));
    }
  }
  EXPECT_EQ(doubles.opened, 4);
  EXPECT_THAT(asked, ElementsAre("v"));
  EXPECT_EQ(session.Query("SELECT COUNT(*) FROM once").CountRows(), 1);
  EXPECT_THAT(asked, ElementsAre());
  EXPECT_EQ(session.Query("SELECT v FROM once ORDER BY v LIMIT 3").CountRows(), 3);
  session.RemoveTable("kept");
  EXPECT_EQ(doubles.opened, doubles.released);
  EXPECT_EQ(doubles.arrays, 0);
  Doubles::WriteSchema(&schema);
  session.AddSource("bad", schema, [](const auto&, ArrowArrayStream*) {
    throw std::runtime_error("no such thing");
  });
  schema.release(&schema);
  EXPECT_THROW(session.Query("SELECT v FROM bad"), std::runtime_error);
}

TEST(Engine, StreamsEndWhereverTheyAreLeft) {
  Doubles doubles(std::vector<double>(10000, 1.0));
  ArrowArrayStream input;
  doubles.Open(&input, 100);
  std::optional<Result> left;
  {
    Session session;
    session.AddArrow("t", &input);
    // Read to its end, by another thread, behind the end of its session.
    Result whole = session.Stream("SELECT v FROM t");
    EXPECT_EQ(whole.CountRows(), -1);
    EXPECT_THROW((void)whole.Copy(), Error);
    ArrowArray array;
    std::size_t rows = 0;
    while (whole.Next(&array)) rows += TakeDoubles(array).size();
    EXPECT_EQ(rows, 1000000u);
    // The next statement ends one that is not read.
    Result ended = session.Stream("SELECT v FROM t");
    EXPECT_EQ(session.Query("SELECT 1").CountRows(), 1);
    const std::optional<Error> error = ErrorOf([&] { TakeDoubles(ended); });
    EXPECT_EQ(error->GetCode(), Error::kCancelled);
    // One that fails tells it when its rows have come.
    Result failing = session.Stream("SELECT LN(v - v) + v AS w FROM t");
    EXPECT_THROW(TakeDoubles(failing), Error);
    EXPECT_THROW(session.Stream("SELECT nope FROM t"), Error);
    left = session.Stream("SELECT v + 1 AS w FROM t");
    ASSERT_TRUE(left->Next(&array));
    TakeDoubles(array);
  }
  EXPECT_THROW(TakeDoubles(*left), Error);
  left.reset();
  EXPECT_EQ(doubles.arrays, 0);
}

TEST(Engine, HandsResultsOverToStreamsThatNeedNobody) {
  ArrowArrayStream stream = {};
  {
    Session session;
    session.Query("SELECT 3.5 AS a").Export(&stream);
  }
  ArrowSchema schema;
  ASSERT_EQ(stream.get_schema(&stream, &schema), 0);
  EXPECT_STREQ(schema.children[0]->name, "a");
  schema.release(&schema);
  ArrowArray array;
  ASSERT_EQ(stream.get_next(&stream, &array), 0);
  EXPECT_EQ(array.length, 1);
  array.release(&array);
  ASSERT_EQ(stream.get_next(&stream, &array), 0);
  EXPECT_EQ(array.release, nullptr);
  stream.release(&stream);
  EXPECT_EQ(stream.release, nullptr);

  Doubles doubles(std::vector<double>(100000, 0.0));
  Session session;
  ArrowArrayStream input;
  doubles.Open(&input);
  session.AddArrow("t", &input);
  session.Stream("SELECT v, LN(v) AS w FROM t").Export(&stream);
  int status = 0;
  while (status == 0 && (status = stream.get_next(&stream, &array)) == 0) array.release(&array);
  EXPECT_NE(status, 0);
  EXPECT_THAT(stream.get_last_error(&stream), HasSubstr("Log overflowed"));
  stream.release(&stream);
}

TEST(Engine, EvaluatesExpressionsOverBatchesAndRows) {
  ArrowSchema schema;
  Doubles::WriteSchema(&schema);
  Session session;
  Evaluator half = session.Compile("v / 2 + $1", schema, {"double:0.25"});
  EXPECT_EQ(half.GetColumn().type, "double");
  EXPECT_THAT(half.GetInputs(), ElementsAre("v"));
  Doubles doubles({1, 3});
  for (int i = 0; i < 2; ++i) {
    ArrowArrayStream stream;
    doubles.Open(&stream, 2);
    Result result = half.Evaluate(&stream);
    EXPECT_THAT(TakeDoubles(result), ElementsAre(0.75, 1.75, 0.75, 1.75));
  }
  EXPECT_EQ(half.EvaluateRow({2.5}), Value(1.5));
  EXPECT_EQ(half.EvaluateRow({std::monostate()}), Value());
  EXPECT_EQ(ErrorOf([&] { half.EvaluateRow({1.0, 2.0}); })->GetCode(), 57112);
  EXPECT_EQ(ErrorOf([&] { half.EvaluateRow({"x"}); })->GetCode(), 57011);
  for (const char* text : {"SUM(v)", "v, v", "v FROM t", "", "nope", "RANK() OVER (ORDER BY v)"}) {
    const std::optional<Error> error = ErrorOf([&] { session.Compile(text, schema); });
    ASSERT_TRUE(error) << text;
    EXPECT_EQ(error->GetSql(), text);
    EXPECT_LE(error->GetPosition(), static_cast<std::int64_t>(std::strlen(text)));
  }
  Evaluator failing = session.Compile("1 + LN(v)", schema);
  const std::optional<Error> error = ErrorOf([&] { failing.EvaluateRow({-1.0}); });
  EXPECT_EQ(error->GetPosition(), 4);
  EXPECT_EQ(error->GetRow(), 1);
  schema.release(&schema);
  EXPECT_EQ(doubles.arrays, 0);
}

TEST(Engine, CallsFunctionsOfItsUser) {
  std::deque<Doubles> given;
  Session session;
  const auto add = [&](const char* name, std::size_t more, bool isVolatile = false) {
    session.AddFunction({.name = name,
                         .arguments = std::vector<std::string>{"double"},
                         .result = "double",
                         .isVolatile = isVolatile},
                        [&, more](ArrowSchema* schema, ArrowArray* rows, ArrowArrayStream* out) {
                          EXPECT_STREQ(schema->children[0]->name, "a1");
                          std::vector<double> values = TakeDoubles(*rows);
                          for (double& value : values) value = value < 0 ? throw value : value / 2;
                          values.resize(values.size() + more);
                          given.emplace_back(std::move(values)).Open(out);
                        });
  };
  add("HALF", 0);
  add("more", 1);
  add("each", 0, true);
  Doubles doubles({1, 3, 8});
  ArrowArrayStream stream;
  doubles.Open(&stream, 2);
  session.AddArrow("t", &stream);
  const auto query = [&](const char* sql) {
    Result result = session.Query(sql);
    return TakeDoubles(result);
  };
  EXPECT_THAT(query("SELECT half(v) + 1 FROM t WHERE Half(v) < 4"),
              ElementsAre(1.5, 2.5, 1.5, 2.5));
  EXPECT_THAT(query("SELECT SUM(half(half(v))) FROM t"), ElementsAre(6));
  given.clear();
  EXPECT_THAT(query("SELECT each(v) FROM t WHERE v > 1"), ElementsAre(1.5, 4, 1.5, 4));
  EXPECT_EQ(given.size(), 4u);
  const std::optional<Error> error = ErrorOf([&] { query("SELECT v, more(v) FROM t"); });
  ASSERT_TRUE(error);
  EXPECT_EQ(error->GetCode(), 57114);
  EXPECT_EQ(error->GetPosition(), 10);
  EXPECT_EQ(error->GetRow(), 1);
  EXPECT_THROW(query("SELECT half(-v) FROM t"), double);
  EXPECT_EQ(ErrorOf([&] { add("lower", 0); })->GetCode(), 57117);
  session.RemoveFunction("Half");
  EXPECT_EQ(ErrorOf([&] { query("SELECT half(v) FROM t"); })->GetCode(), 58004);
  for (const Doubles& some : given) EXPECT_EQ(some.released, 1);
  EXPECT_EQ(doubles.released, 1);
}

TEST(Engine, IsCancelledFromAnyThread) {
  Doubles doubles(std::vector<double>(100000, 2.0));
  Session session;
  ArrowArrayStream stream;
  doubles.Open(&stream, 20);
  session.AddArrow("t", &stream);
  std::atomic<bool> isDone = false;
  std::jthread canceller([&] {
    while (!isDone) {
      session.Cancel();
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  });
  std::string sql = "SELECT COUNT(*) FROM t WHERE LN(v) > 0";
  for (int i = 0; i < 200; ++i) sql += " AND LN(v + " + std::to_string(i) + ") > 0";
  const std::optional<Error> error = ErrorOf([&] { session.Query(sql); });
  isDone = true;
  canceller.join();
  ASSERT_TRUE(error);
  EXPECT_EQ(error->GetCode(), Error::kCancelled);
  EXPECT_STREQ(error->what(), "the statement was cancelled");
  EXPECT_EQ(session.Query("SELECT COUNT(*) FROM t").CountRows(), 1);
}

TEST(Engine, EndsWhatTakesTooLong) {
  Session session;
  session.Set("StatementTimeout", "50");
  const auto start = std::chrono::steady_clock::now();
  // A join, whose sides are short, and a scan that no table is read for.
  for (const char* sql :
       {"SELECT COUNT(*) FROM generate_series(1, 20000) AS a(n) "
        "JOIN generate_series(1, 20000) AS b(n) ON a.n + b.n > 50000",
        "SELECT SUM(LN(n) * LN(n + 1)) FROM generate_series(1, 200000000) AS a(n)"}) {
    const std::optional<Error> error = ErrorOf([&] { session.Query(sql); });
    ASSERT_TRUE(error) << sql;
    EXPECT_EQ(error->GetCode(), Error::kTimedOut) << error->what();
  }
  // Also in a view, whose error it is not, and which is made without its rows.
  session.Set("StatementTimeout", "1000");
  session.Query(
      "CREATE VIEW long AS SELECT SUM(LN(n) * LN(n + 1)) AS s FROM "
      "generate_series(1, 200000000) AS a(n)");
  session.Set("StatementTimeout", "50");
  const std::optional<Error> error = ErrorOf([&] { session.Query("SELECT s FROM long"); });
  ASSERT_TRUE(error);
  EXPECT_EQ(error->GetCode(), Error::kTimedOut) << error->what();
  // The first statement alone takes a minute.
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
  session.Set("StatementTimeout", "60000");
  EXPECT_EQ(session.Query("SELECT 1").CountRows(), 1);
  session.Set("StatementTimeout", "0");
  EXPECT_EQ(session.Query("SELECT 1").CountRows(), 1);
}

TEST(Engine, TellsWhoseErrorsTheyAre) {
  Session session;
  const std::optional<Error> error = ErrorOf([&] { session.Query("SELECT 1 +\n 1 / 0"); });
  ASSERT_TRUE(error);
  EXPECT_EQ(error->GetCode(), 59008);
  EXPECT_EQ(error->GetPosition(), 14);
  EXPECT_EQ(error->GetSql(), "SELECT 1 +\n 1 / 0");
  EXPECT_THROW(session.Set("NoSuchSwitch", "1"), Error);
  EXPECT_THROW(session.AddFile("t", "t.xlsx"), Error);
  EXPECT_THROW(session.SetTypes("t", "a:nothing"), Error);
  ArrowArrayStream released = {};
  EXPECT_THROW(session.AddArrow("t", &released), Error);
}

}  // namespace
}  // namespace sqxer::test
