#pragma once

#include <pg_query/pg_query.pb-c.h>

#include <functional>
#include <map>
#include <string>

namespace sqxer {

/// The names of a statement that are longer than those that the grammar's library leaves whole, 63
/// bytes: paths to tables, and columns called by a sentence. Each stands under a short name while
/// the grammar runs.
class LongNames {
 public:
  /// Finds them among the tokens of `sql`.
  LongNames(const std::string& sql, const PgQuery__ScanResult& tokens);

  /// The statement with short names. Every token starts where it does in the statement.
  const std::string& GetShortenedSql() const { return shortened_; }
  /// Puts the names back into what the grammar made of the shortened statement.
  void RestoreIn(ProtobufCMessage& tree) const;
  /// The same for a text, such as a message that quotes a name.
  std::string Restored(std::string text) const;

 private:
  void RestoreField(ProtobufCMessage& message, const ProtobufCFieldDescriptor& field) const;
  void RestoreName(char*& text) const;

  std::string shortened_;
  /// By their short names.
  std::map<std::string, std::string, std::less<>> names_;
};

}  // namespace sqxer
