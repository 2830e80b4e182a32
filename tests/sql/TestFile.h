#pragma once

#include <string>
#include <vector>

namespace sqxer::test {

struct TableDefinition {
  std::string name;
  /// "a:int4,b:varchar(10)"
  std::string columns;
  /// CSV lines without the header.
  std::string rows;
};

/// One line of a scalar block.
struct Scalar {
  int line;
  std::string expression;
  std::string expected;
  std::string type;
  /// Why the moved form may differ; empty when both must agree.
  std::string literalReason;
};

/// One block of a test file, with the tables and switches in force at its place.
struct TestCase {
  enum class Kind { kQuery, kUnorderedQuery, kError, kScalar, kSession };
  Kind kind;
  int line;
  std::string sql;
  std::vector<std::string> expected;
  std::vector<Scalar> scalars;
  /// The statements of a session, one after the other.
  std::vector<TestCase> steps;
  std::vector<TableDefinition> tables;
  std::vector<std::string> switches;
  std::vector<std::string> parameters;
};

/// Reads a file of blocks. A file that does not follow the format ends the program with the line.
std::vector<TestCase> ReadTestFile(const std::string& path);

/// An expression whose literals were moved into columns of a table.
struct MovedExpression {
  std::string expression;
  TableDefinition table;
};
/// Moves every literal (numbers, texts, dates, times, timestamps, booleans; not NULL) into a
/// column. No literals: the table has no columns.
MovedExpression MoveLiterals(const std::string& expression);

}  // namespace sqxer::test
