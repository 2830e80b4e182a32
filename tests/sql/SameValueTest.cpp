// A value is the same wherever it stands: every example of the function table is evaluated with
// each of its literals replaced by values of every type, as a constant, as a parameter and as a
// column of a one-row table. What the nodes make of it must not depend on which it is.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "Capture.h"
#include "ExampleText.h"
#include "FunctionTable.h"
#include "Session.h"
#include "Utility/BaseStringUtil.h"
#include "Utility/SUXeDataTypeUtility.h"
#include "server/Query/Execution/Engine/TemporaryFolder.h"

namespace sqxer::test {
namespace {

/// A value of a type. `constant` is an expression without columns and parameters; `typed` makes of
/// a column or a parameter (`@`) of the declared type what the constant is.
struct TypedValue {
  const char* constant;
  const char* declared;
  const char* text;
  const char* typed = "@";
};

// None is a bare literal, whose type is open. Texts in parts are computed while planning. Dates and
// times promote to timestamps as parameters.
constexpr TypedValue kValues[] = {
    {"CAST('5' AS integer)", "int4", "5"},
    {"CAST('0' AS integer)", "int4", "0"},
    {"(-2147483647 - 1)", "int4", "-2147483648"},
    {"CAST(NULL AS integer)", "int4", ""},
    {"CAST(5 AS smallint)", "int4", "5", "CAST(@ AS smallint)"},
    {"CAST(NULL AS smallint)", "int4", "", "CAST(@ AS smallint)"},
    {"CAST('2.5' AS numeric)", "numeric", "2.5"},
    {"CAST(NULL AS numeric)", "numeric", ""},
    {"CAST('-1.5' AS double precision)", "double", "-1.5"},
    {"CAST('NaN' AS double precision)", "double", "NaN"},
    {"CAST(NULL AS double precision)", "double", ""},
    {"NULLIF(1e0, 1e0)", "double", ""},
    {"CAST(0.1e0 AS real)", "double", "0.1", "CAST(@ AS real)"},
    {"CAST(NULL AS real)", "double", "", "CAST(@ AS real)"},
    {"('a' || 'b')", "varchar(2)", "ab"},
    {"('a' || ' ')", "varchar(2)", "a "},
    {"(' ' || '1')", "varchar(2)", " 1"},
    {"TRIM('ab        ')", "varchar(10)", "ab"},
    {"CAST(NULL AS varchar(3))", "varchar(3)", "xyz", "NULLIF(@, @)"},
    {"CAST('ab' AS char(5))", "varchar(2)", "ab", "CAST(@ AS char(5))"},
    {"UPPER(CAST('ab' AS char(5)))", "varchar(2)", "ab", "UPPER(CAST(@ AS char(5)))"},
    {"CAST(NULL AS char(5))", "varchar(2)", "ab", "CAST(NULLIF(@, @) AS char(5))"},
    {"CHR(32)", "int4", "32", "CHR(@)"},
    {"(1 = 1)", "boolean", "true"},
    {"CAST(NULL AS boolean)", "boolean", ""},
    {"CAST(1 AS bit)", "int4", "1", "CAST(@ AS bit)"},
    {"CAST('2012-01-31' AS date)", "varchar(10)", "2012-01-31", "CAST(@ AS date)"},
    {"CAST(NULL AS date)", "varchar(10)", "x", "CAST(NULLIF(@, @) AS date)"},
    {"CAST('10:30' AS time)", "varchar(5)", "10:30", "CAST(@ AS time)"},
    {"CAST(NULL AS time)", "varchar(5)", "x", "CAST(NULLIF(@, @) AS time)"},
    {"CAST('2012-01-31 10:30' AS timestamp)", "timestamp", "2012-01-31 10:30:00"},
    {"CAST(NULL AS timestamp)", "timestamp", ""},
    // No constant is a bare fixed text: these are compared as parameter and column alone.
    {nullptr, "char(5)", "ab"},
    {nullptr, "char(5)", "ab", "NULLIF(@, @)"},
    {nullptr, "uint4", "4000000000"},
    {nullptr, "uint4", ""},
};

/// What a statement gave: its value and type, or its error without the place.
std::string Outcome(Session& session, const std::string& expression) {
  try {
    CapturingSink sink;
    session.Execute("SELECT " + expression + " FROM one", sink);
    const XeString type = SUXeDataTypeUtility::GetXeDataTypeName(sink.columns.at(0).type);
    return RowText(sink.rows.at(0)) + " : " + BaseStringUtil::StringToUtf8(type);
  } catch (const ErrorMessage& error) {
    const std::string code = "error " + std::to_string(error.GetCode());
    // IN takes its constants first, so which of two types does not become the other differs.
    return error.GetCode() == 59030 ? code : code + ": " + error.what();
  }
}

bool IsText(const std::string& outcome) { return outcome.ends_with("CHAR"); }

/// An expression with a hole at one of its literals.
struct Template {
  std::string before, after;
  std::string With(const std::string& value) const { return before + value + after; }
};

/// One for each literal of an example `SELECT expression`.
std::vector<Template> HolesOf(const std::string& example) {
  const CutText cut = CutAtLiterals(example.substr(std::string("SELECT ").size()));
  std::vector<Template> holes;
  for (std::size_t hole = 0; hole < cut.holes.size(); ++hole) {
    Template& made = holes.emplace_back();
    for (std::size_t i = 0; i < cut.pieces.size(); ++i) {
      std::string& side = i <= hole ? made.before : made.after;
      side += cut.pieces[i];
      if (i != hole && i < cut.holes.size()) side += cut.holes[i];
    }
  }
  return holes;
}

/// `text` with every `mark` replaced.
std::string Fill(std::string text, char mark, const std::string& by) {
  for (auto at = text.find(mark); at != text.npos; at = text.find(mark, at + by.size()))
    text.replace(at, 1, by);
  return text;
}

std::string Typed(const TypedValue& value, const std::string& name) {
  return Fill(value.typed, '@', name);
}

/// Operands that must be literals, or the same in every row, are refused as columns by a code of
/// the planner's own.
bool MustBeConstant(const std::string& outcome) {
  static const std::set<std::string> codes = {"58020", "58025", "58032", "58033", "58035", "58075"};
  return outcome.starts_with("error ") && codes.contains(outcome.substr(6, 5));
}

class SameValue : public testing::Test {
 protected:
  SameValue() {
    std::string columns, header, row;
    std::vector<std::string> parameters;
    for (const TypedValue& value : kValues) {
      const std::string comma = parameters.empty() ? "" : ",";
      const std::string name = "c" + std::to_string(parameters.size() + 1);
      columns += comma + name + ":" + value.declared;
      header += comma + name;
      row += comma + (*value.text ? '"' + std::string(value.text) + '"' : "");
      parameters.push_back(std::string(value.declared) + ":" + value.text);
    }
    folder_.Write("one.csv", header + "\n" + row + "\n");
    session_.SetDirectory(folder_.Path());
    session_.SetSchema("one", columns);
    session_.SetParameters(parameters);
  }

  void Check(const Template& hole) {
    for (std::size_t i = 0; i < std::size(kValues); ++i) {
      const TypedValue& value = kValues[i];
      const std::string number = std::to_string(i + 1);
      const std::string column = Typed(value, "c" + number);
      const std::string parameter = Typed(value, "$" + number);
      const std::string expected = Outcome(session_, hole.With(column));
      if (MustBeConstant(expected)) return;
      Compare(hole, parameter, column, expected);
      if (value.constant) Compare(hole, value.constant, column, expected);
    }
  }

  int compared_ = 0;

 private:
  void Compare(const Template& hole, const std::string& other, const std::string& column,
               const std::string& expected) {
    ++compared_;
    EXPECT_EQ(Outcome(session_, hole.With(other)), expected)
        << hole.With(other) << "\nis not " << hole.With(column);
    // The blanks at the end show, too, as does the length.
    if (!IsText(expected)) return;
    const Template joined = {"(" + hole.before, hole.after + ") || '|'"};
    EXPECT_EQ(Outcome(session_, joined.With(other)), Outcome(session_, joined.With(column)))
        << joined.With(other) << "\nis not " << joined.With(column);
  }

  TemporaryFolder folder_;
  Session session_;
};

TEST_F(SameValue, InEveryFunctionOfTheTable) {
  for (const FunctionRow& row : FunctionTable()) {
    const std::string example = row.example;
    if (row.isVolatile || row.aggregate || example.find(" FROM \"") != example.npos) continue;
    if (row.kind == FunctionRow::Kind::kReader || row.kind == FunctionRow::Kind::kWindow) continue;
    for (const Template& hole : HolesOf(example)) Check(hole);
  }
  EXPECT_GE(compared_, 5000);
}

// Operands beside a value of each type, for what decides by both: common types, lengths, padding.
TEST_F(SameValue, BesideValuesOfOtherTypes) {
  const char* const kForms[] = {
      "IFNULL(?, #)",
      "IFNULL(#, ?)",
      "NULLIF(?, #)",
      "COALESCE(NULL, #, ?)",
      "CASE WHEN FALSE THEN ? ELSE # END",
      "CASE # WHEN ? THEN 1 ELSE 2 END",
      "? = #",
      "? IN (#, NULL)",
      "# BETWEEN ? AND #",
      "# || ?",
      "? + #",
      "# LIKE ?",
      "REPEAT(IFNULL(?, #), 300)",
  };
  const char* const kPartners[] = {"c1",   "c7",  "c10", "c15", "CAST(c20 AS char(5))",
                                   "c24",  "c31", "c33", "c35", "7",
                                   "'xy'", "NULL"};
  for (const std::string form : kForms) {
    for (const char* partner : kPartners) {
      const std::string filled = Fill(form, '#', partner);
      const std::size_t at = filled.find('?');
      Check({filled.substr(0, at), filled.substr(at + 1)});
    }
  }
}

TEST_F(SameValue, UnderEveryCast) {
  for (const std::string type :
       {"smallint", "integer", "real", "double precision", "numeric", "char(1)", "char(7)",
        "varchar(1)", "varchar(7)", "text", "bit", "boolean", "date", "time", "timestamp"}) {
    Check({"CAST(", " AS " + type + ")"});
  }
}

}  // namespace
}  // namespace sqxer::test
