#pragma once

#include <pg_query.h>
#include <pg_query/pg_query.pb-c.h>

#include <memory>
#include <string>
#include <vector>

namespace sqxer {

struct ProtobufMessageDelete {
  template <class T>
  void operator()(T* message) const {
    protobuf_c_message_free_unpacked(&message->base, nullptr);
  }
};

/// The grammar's tree of a statement, with the tokens that it was read from.
struct ParsedTree {
  std::unique_ptr<PgQuery__ParseResult, ProtobufMessageDelete> statements;
  std::unique_ptr<PgQuery__ScanResult, ProtobufMessageDelete> tokens;
};

/// Runs the grammar over a statement. Errors 58001 and 58005.
ParsedTree ParseTree(const std::string& sql);

}  // namespace sqxer
