#pragma once

#include <string>
#include <vector>

namespace sqxer::test {

/// A record of a file of the public sqllogictest format.
struct SltRecord {
  enum class Kind { kStatementOk, kStatementError, kQuery };
  enum class Sort { kNone, kRows, kValues };
  Kind kind = Kind::kQuery;
  /// Of its first line, from 1.
  int line = 0;
  std::string sql;
  /// A letter a column: I whole numbers, R numbers by three digits behind the point, T texts.
  std::string types;
  Sort sort = Sort::kNone;
  /// A value each, in the order of `sort`; or one line, "30 values hashing to" and the MD5 of them,
  /// each with a line end.
  std::vector<std::string> expected;
};

/// The records for this program, up to a `halt`: what skipif and onlyif leave. Throws
/// std::runtime_error with the line that cannot be understood.
std::vector<SltRecord> ReadSltFile(const std::string& path);

/// The values of rows, which are sorted as the record says, in the form of its file.
std::vector<std::string> FormValues(const SltRecord& record,
                                    std::vector<std::vector<std::string>> rows);

}  // namespace sqxer::test
