// States of a statement over a table in parts, as they come over the wire: columns of the right
// names and types, whose values are anything. Combine and Finish give rows or an error.
#include <cstdlib>
#include <cstring>

#include "Engine/DistributedPlan.h"
#include "Input.h"
#include "server/Query/Execution/Arrow/ArrowSpec.h"

namespace {

using namespace sqxer;
using test::Bytes;
using test::Spec;

constexpr const char* kStatements[] = {
    "SELECT k, COUNT(*), SUM(n), MIN(s), MAX(day), AVG(x) FROM t GROUP BY k",
    "SELECT SUM(x), STDDEV_SAMP(x), AVG(n), BIT_OR(i), RANGE(x) FROM t",
    "SELECT k, APPROX_COUNT_DISTINCT(s), APPROX_QUANTILE(x, 0.5) FROM t GROUP BY k",
    "SELECT COVAR_SAMP(x, i), CORR(x, i), REGR_SLOPE(x, i), MAX_BY(s, x) FROM t",
    "SELECT DISTINCT s, n, day, at FROM t ORDER BY n DESC, s",
    "SELECT s, MEDIAN(x), LISTAGG(s), COUNT(DISTINCT n) FROM t GROUP BY s ORDER BY s LIMIT 5",
    "SELECT k, RANK() OVER (PARTITION BY s ORDER BY n), SUM(x) OVER (PARTITION BY s) FROM t",
    "SELECT k, SUM(v), AVG(v), MIN(h) FROM t GROUP BY k",
};

/// The table's columns, without rows.
Spec MakeTable() {
  const auto column = [](const char* name, const char* format, std::vector<Bytes> buffers) {
    Spec spec{format, 0, std::move(buffers)};
    spec.name = name;
    return spec;
  };
  const Bytes none;
  const std::vector<Bytes> fixed = {none, ""};
  const std::vector<Bytes> text = {none, std::string(4, '\0'), ""};
  return test::TableOf(
      {column("k", "i", fixed), column("i", "i", fixed), column("x", "g", fixed),
       column("n", "d:20,4", fixed), column("s", "u", text), column("day", "tdD", fixed),
       column("at", "tsu:", fixed), column("h", "ttu", fixed), column("v", "tin", fixed)},
      0);
}

/// A column of some rows as the schema has it.
Spec MakeColumn(const ArrowSchema& schema, int64 rows, fuzz::Input& input) {
  Spec column;
  column.format = schema.format;
  column.name = schema.name;
  column.length = rows;
  const auto count = static_cast<std::size_t>(rows);
  const auto fill = [&](std::size_t bytes) {
    std::string filled(input.Take(bytes));
    filled.resize(bytes, '\0');
    return filled;
  };
  Bytes validity;
  if (input.Byte() % 3 == 0) validity = fill(count / 8 + 1);
  const std::string& format = column.format;
  if (format == "u") {
    std::vector<int32> offsets = {0};
    std::string texts;
    for (std::size_t i = 0; i < count; ++i) {
      texts += input.Line();
      offsets.push_back(static_cast<int32>(texts.size()));
    }
    column.buffers = {validity, test::Raw(offsets), texts};
    return column;
  }
  const std::size_t width = format == "b"                                       ? 0
                            : format == "c"                                     ? 1
                            : format == "s"                                     ? 2
                            : format == "i" || format == "f" || format == "tdD" ? 4
                            : format == "tin"                                   ? 16
                                                                                : 8;
  column.buffers = {validity, fill(width == 0 ? count / 8 + 1 : count * width)};
  return column;
}

ArrowArrayStream NoRows() { return test::MakeStream({MakeTable()}); }

/// Reads all batches of a result.
void Drain(engine::Result result) {
  ArrowArray batch{};
  while (result.Next(&batch)) batch.release(&batch);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  fuzz::Input input(data, size);
  const char* const sql = kStatements[input.Byte() % std::size(kStatements)];
  const int64 rows = 1 + input.Byte() % 4;
  const bool isCombined = input.Byte() % 2 == 0;
  try {
    ArrowSchema columns = test::MakeSchema(MakeTable());
    struct Release {
      ArrowSchema& schema;
      ~Release() { schema.release(&schema); }
    };
    const Release ofColumns{columns};
    engine::DistributedPlan plan(sql, columns);
    ArrowArrayStream none = NoRows();
    const engine::Result partial = plan.Partial(&none);
    ArrowSchema layout{};
    partial.WriteSchema(&layout);
    const Release ofLayout{layout};
    std::vector<Spec> states;
    for (int64 i = 0; i < layout.n_children; ++i) {
      states.push_back(MakeColumn(*layout.children[i], rows, input));
    }
    const Spec table = test::TableOf(std::move(states), rows);
    ArrowArrayStream stream = test::MakeStream({table, table});
    if (isCombined) {
      engine::Result combined = plan.Combine(&stream);
      ArrowArrayStream fewer;
      std::move(combined).Export(&fewer);
      Drain(plan.Finish(&fewer));
    } else {
      Drain(plan.Finish(&stream));
    }
  } catch (const engine::Error& error) {
    if (std::getenv("SQXER_FUZZ_ERRORS") != nullptr) std::fprintf(stderr, "%s\n", error.what());
  }
  if (test::Live::All() != 0) std::abort();
  return 0;
}
