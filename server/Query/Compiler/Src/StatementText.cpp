#include <algorithm>
#include <new>
#include <string>

#include "Compiler.h"
#include "GrammarThread.h"
#include "GroupByAll.h"
#include "LongNames.h"
#include "ParsedTree.h"
#include "PlanError.h"
#include "SetValues.h"
#include "SqlComments.h"
#include "TableLiterals.h"
#include "TryCasts.h"
#include "Utility/BaseStringUtil.h"
#include "Utility/Settings.h"
#include "Utility/StatementBudget.h"
#include "Utility/XeMemory.h"

namespace sqxer {
namespace {

/// Levels of a syntax tree. Every walk over the tree, the grammar's own included, takes stack per
/// level, so the depth is bounded before the grammar runs.
constexpr int kMaxDepth = 1000;

/// Byte offset of a character (0 is the first) of a text.
int ByteOffset(std::string_view text, int character) {
  std::size_t at = 0;
  for (; at < text.size(); ++at) {
    if ((static_cast<unsigned char>(text[at]) & 0xC0) == 0x80) continue;
    if (character-- == 0) break;
  }
  return static_cast<int>(at);
}

bool IsComment(PgQuery__Token token) {
  return token == PG_QUERY__TOKEN__SQL_COMMENT || token == PG_QUERY__TOKEN__C_COMMENT;
}

/// An upper bound of the depth of the tree that tokens can make. Within one list item operators may
/// chain, so they count one level each; commas, AND, OR and the branches of CASE start anew because
/// the grammar holds such lists flat; parentheses and CASE add the depth of what they hold.
class DepthBound {
 public:
  void Add(PgQuery__Token token, int start) {
    if (IsComment(token)) return;
    switch (token) {
      case PG_QUERY__TOKEN__IDENT:
      case PG_QUERY__TOKEN__ICONST:
      case PG_QUERY__TOKEN__FCONST:
      case PG_QUERY__TOKEN__SCONST:
        return;
      case PG_QUERY__TOKEN__ASCII_40:
      case PG_QUERY__TOKEN__ASCII_91:
      case PG_QUERY__TOKEN__CASE:
        levels_.push_back({});
        break;
      case PG_QUERY__TOKEN__ASCII_41:
      case PG_QUERY__TOKEN__ASCII_93:
      case PG_QUERY__TOKEN__END_P:
        if (levels_.size() > 1) {
          int inner = levels_.back().Depth() + 1;
          levels_.pop_back();
          levels_.back().deepestGroup = std::max(levels_.back().deepestGroup, inner);
        }
        break;
      case PG_QUERY__TOKEN__ASCII_44:
      case PG_QUERY__TOKEN__AND:
      case PG_QUERY__TOKEN__OR:
      case PG_QUERY__TOKEN__WHEN:
      case PG_QUERY__TOKEN__THEN:
      case PG_QUERY__TOKEN__ELSE:
        levels_.back().NextItem();
        break;
      case PG_QUERY__TOKEN__UNION:
      case PG_QUERY__TOKEN__INTERSECT:
      case PG_QUERY__TOKEN__EXCEPT:
      case PG_QUERY__TOKEN__JOIN:
        // These chain across the lists that they join.
        ++chained_;
        break;
      default:
        ++levels_.back().operators;
    }
    int open = static_cast<int>(levels_.size());
    if (open + levels_.back().Depth() + chained_ > kMaxDepth)
      ThrowPlanError(kTooComplex, start, {std::to_wstring(kMaxDepth)});
  }

 private:
  struct Level {
    int operators = 0;
    int deepestGroup = 0;
    int deepestItem = 0;
    int Depth() const { return std::max(deepestItem, operators + deepestGroup); }
    void NextItem() {
      deepestItem = Depth();
      operators = deepestGroup = 0;
    }
  };
  std::vector<Level> levels_{1};
  int chained_ = 0;
};

/// The room that the grammar's library may need for a text: where memory runs out on it, it ends
/// the process.
void ClaimRoom(const std::string& sql) {
  constexpr std::size_t kRoomForAny = std::size_t{1} << 20;
  constexpr std::size_t kRoomPerByte = 320;
  MemoryGateway::Claim(kRoomForAny + kRoomPerByte * sql.size());
}

/// Raises what the library says of a text that it was given.
[[noreturn]] void ThrowSyntaxError(std::string_view text, const PgQueryError& error,
                                   std::string_view message) {
  int position = error.cursorpos > 0 ? ByteOffset(text, error.cursorpos - 1) : 0;
  ThrowPlanError(kSyntaxError, position, {Wide(message)});
}

[[noreturn]] void ThrowSyntaxError(const LongNames& names, const PgQueryError& error) {
  ThrowSyntaxError(names.GetShortenedSql(), error, names.Restored(error.message));
}

/// Frees a result of the grammar's library when it goes out of scope.
template <class Result, void (*Free)(Result)>
struct GrammarResult {
  explicit GrammarResult(Result r) : result(r) {}
  ~GrammarResult() { Free(result); }
  GrammarResult(const GrammarResult&) = delete;
  Result result;
};

using ScanResultPtr = decltype(ParsedTree::tokens);

ScanResultPtr UnpackTokens(const PgQueryScanResult& scan) {
  ScanResultPtr tokens(pg_query__scan_result__unpack(
      nullptr, scan.pbuf.len, reinterpret_cast<const uint8_t*>(scan.pbuf.data)));
  if (!tokens) throw std::bad_alloc();
  return tokens;
}

}  // namespace

ParsedTree ParseTree(const std::string& sql) {
  const uint64 mostBytes = Settings::Current()->GetSwitches().statementLength_;
  if (sql.size() > mostBytes)
    ThrowPlanError(kStatementTooLong, 0,
                   {std::to_wstring(sql.size()), Wide(SUSystemConfig::TextOfSize(mostBytes))});
  if (std::size_t zero = sql.find('\0'); zero != std::string::npos)
    ThrowPlanError(kSyntaxError, static_cast<int>(zero), {L"the statement holds a zero byte"});
  if (!BaseStringUtil::IsValidUtf8(sql))
    ThrowPlanError(kSyntaxError, 0, {L"the statement is not valid UTF-8"});

  ScannableSql scannable = MakeScannable(sql, kMaxDepth);
  if (scannable.longRun)
    ThrowPlanError(kTooComplex, *scannable.longRun, {std::to_wstring(kMaxDepth)});
  std::string& text = scannable.text;
  ClaimRoom(text);

  ParsedTree tree;
  GrammarResult<PgQueryScanResult, pg_query_free_scan_result> scan(
      GrammarThread::Get().Run([&] { return pg_query_scan(text.c_str()); }));
  if (scan.result.error) ThrowSyntaxError(text, *scan.result.error, scan.result.error->message);
  tree.tokens = UnpackTokens(scan.result);
  DepthBound depth;
  for (std::size_t i = 0; i < tree.tokens->n_tokens; ++i)
    depth.Add(tree.tokens->tokens[i]->token, tree.tokens->tokens[i]->start);

  ReplaceTableLiterals(text, *tree.tokens);
  ReplaceTryCasts(text, *tree.tokens);
  const LongNames names(text, *tree.tokens);
  GrammarResult<PgQueryProtobufParseResult, pg_query_free_protobuf_parse_result> parse(
      GrammarThread::Get().Run(
          [&] { return pg_query_parse_protobuf(names.GetShortenedSql().c_str()); }));
  if (parse.result.error) {
    RefuseGroupByAll(sql, *tree.tokens);
    ThrowSyntaxError(names, *parse.result.error);
  }
  tree.statements.reset(pg_query__parse_result__unpack(
      nullptr, parse.result.parse_tree.len,
      reinterpret_cast<const uint8_t*>(parse.result.parse_tree.data)));
  if (!tree.statements) throw std::bad_alloc();
  names.RestoreIn(tree.statements->base);
  return tree;
}

std::vector<Statement> SplitStatements(const std::string& text) {
  std::vector<Statement> statements;
  int start = -1;
  int end = 0;
  auto finish = [&] {
    if (start >= 0)
      statements.push_back(
          {text.substr(static_cast<std::size_t>(start), static_cast<std::size_t>(end - start)),
           start});
    start = -1;
  };
  // The scanner reads up to a zero byte. Such a text, and one that does not scan in time or at all,
  // stays whole: as a statement it is refused with the reason.
  std::string masked = text;
  if (text.find('\0') == std::string::npos) MaskSetValues(masked);
  const ScannableSql blanked = MakeScannable(masked, kMaxDepth);
  ClaimRoom(text);
  const bool scannable = text.find('\0') == std::string::npos && !blanked.longRun;
  GrammarResult<PgQueryScanResult, pg_query_free_scan_result> scan(GrammarThread::Get().Run(
      [&] { return pg_query_scan(scannable ? blanked.text.c_str() : ""); }));
  if (!scannable || scan.result.error) {
    std::size_t first = text.find_first_not_of(" \t\n\r\f");
    if (first != std::string::npos)
      statements.push_back({text.substr(first), static_cast<int>(first)});
    return statements;
  }
  ScanResultPtr tokens = UnpackTokens(scan.result);
  for (std::size_t i = 0; i < tokens->n_tokens; ++i) {
    const PgQuery__ScanToken& token = *tokens->tokens[i];
    if (token.token == PG_QUERY__TOKEN__ASCII_59) {
      finish();
    } else if (!IsComment(token.token)) {
      if (start < 0) start = token.start;
      end = token.end;
      // Of a text with Unicode escapes the scanner only tells the start.
      if (end == token.start)
        end =
            i + 1 < tokens->n_tokens ? tokens->tokens[i + 1]->start : static_cast<int>(text.size());
    }
  }
  finish();
  return statements;
}

LineColumn FindLineColumn(std::string_view text, int offset) {
  LineColumn at{1, 1};
  std::size_t end = std::min(text.size(), static_cast<std::size_t>(std::max(offset, 0)));
  for (std::size_t i = 0; i < end; ++i) {
    if (text[i] == '\n') {
      ++at.line;
      at.column = 1;
    } else if ((static_cast<unsigned char>(text[i]) & 0xC0) != 0x80) {
      ++at.column;
    }
  }
  return at;
}

}  // namespace sqxer
