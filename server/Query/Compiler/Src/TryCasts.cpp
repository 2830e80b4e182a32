#include "TryCasts.h"

#include <string_view>

namespace sqxer {
namespace {

constexpr std::string_view kTryCast = "try_cast";
constexpr std::string_view kCast = "CAST    ";
static_assert(kCast.size() == kTryCast.size());

}  // namespace

bool IsTryCast(const std::string& sql, int position) {
  const auto start = static_cast<std::size_t>(position);
  if (start + kTryCast.size() > sql.size()) return false;
  for (std::size_t i = 0; i < kTryCast.size(); ++i) {
    const char c = sql[start + i];
    const char letter = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    if (letter != kTryCast[i]) return false;
  }
  return true;
}

void ReplaceTryCasts(std::string& sql, const PgQuery__ScanResult& tokens) {
  for (std::size_t i = 0; i + 1 < tokens.n_tokens; ++i) {
    const PgQuery__ScanToken& token = *tokens.tokens[i];
    const bool isName = token.token == PG_QUERY__TOKEN__IDENT &&
                        static_cast<std::size_t>(token.end - token.start) == kTryCast.size();
    if (!isName) continue;
    std::size_t next = i + 1;
    while (next + 1 < tokens.n_tokens &&
           (tokens.tokens[next]->token == PG_QUERY__TOKEN__SQL_COMMENT ||
            tokens.tokens[next]->token == PG_QUERY__TOKEN__C_COMMENT)) {
      ++next;
    }
    const bool isCall = tokens.tokens[next]->token == PG_QUERY__TOKEN__ASCII_40;
    if (isCall && IsTryCast(sql, token.start)) {
      sql.replace(static_cast<std::size_t>(token.start), kCast.size(), kCast);
    }
  }
}

}  // namespace sqxer
