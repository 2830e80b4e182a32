#include "SqliteTable.h"

#include <sqlite3.h>

#include <charconv>
#include <exception>
#include <memory>
#include <utility>

#include "TableColumns.h"
#include "Utility/Cancellation.h"

namespace sqxer {
namespace {

struct CloseDatabase {
  void operator()(sqlite3* database) const { sqlite3_close(database); }
};
struct FinalizeStatement {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using DatabasePtr = std::unique_ptr<sqlite3, CloseDatabase>;
using StatementPtr = std::unique_ptr<sqlite3_stmt, FinalizeStatement>;

/// What the declared type of a column says beyond its values.
enum class Declared { kNothing, kBoolean, kDateTime };

Declared ReadDeclaration(const char* declaration) {
  if (declaration == nullptr) return Declared::kNothing;
  if (sqlite3_strlike("%BOOL%", declaration, 0) == 0) return Declared::kBoolean;
  const bool isDateTime = sqlite3_strlike("%DATE%", declaration, 0) == 0 ||
                          sqlite3_strlike("%TIME%", declaration, 0) == 0;
  return isDateTime ? Declared::kDateTime : Declared::kNothing;
}

class SqliteReader {
 public:
  SqliteReader(const std::string& path, const std::string& table, bool isUntrusted,
               const LoadProgress& progress)
      : path_(path), isUntrusted_(isUntrusted), progress_(progress) {
    sqlite3* opened = nullptr;
    const std::string file = isUntrusted ? UnchangingUri(path) : path;
    const int status = sqlite3_open_v2(
        file.c_str(), &opened, SQLITE_OPEN_READONLY | (isUntrusted ? SQLITE_OPEN_URI : 0), nullptr);
    database_.reset(opened);
    if (status != SQLITE_OK) ThrowNotReadable();
    if (isUntrusted) Confine();
    sqlite3_progress_handler(opened, kStepsPerCall, &GoOn, this);
    CheckTable(table);
    // Both passes see the same state of the database.
    Step(*Prepare("BEGIN"));
    std::string quoted;
    for (char c : table) quoted.append(c == '"' ? 2 : 1, c);
    if (progress_ != nullptr) {
      const StatementPtr count = Prepare("SELECT COUNT(*) FROM \"" + quoted + "\"");
      Step(*count);
      rowsInAll_ = 2 * static_cast<uint64>(sqlite3_column_int64(count.get(), 0));
    }
    rows_ = Prepare("SELECT * FROM \"" + quoted + "\"");
    const int count = sqlite3_column_count(rows_.get());
    for (int i = 0; i < count; ++i) {
      declarations_.push_back(ReadDeclaration(sqlite3_column_decltype(rows_.get(), i)));
    }
  }

  std::vector<XeString> Names() const {
    std::vector<XeString> names;
    for (int i = 0; i < static_cast<int>(declarations_.size()); ++i) {
      names.push_back(Wide(sqlite3_column_name(rows_.get(), i)));
    }
    return names;
  }

  uint64 Survey(TableColumns& columns) {
    return ForEachValue(
        [&](std::size_t column, int type, std::string_view text, const RecordPlace&) {
          columns.Survey(column, KindsOf(type, text, declarations_[column]));
        },
        [](std::size_t) {});
  }

  uint64 Load(TableColumns& columns) {
    return ForEachValue([&](std::size_t column, int, std::string_view text,
                            const RecordPlace& place) { columns.Append(column, text, place); },
                        [&](std::size_t column) { columns.AppendNull(column); });
  }

 private:
  /// The name of a file of which nothing is written beside it.
  static std::string UnchangingUri(const std::string& path) {
    std::string uri = "file:";
    for (const char c : path) {
      const bool isPlain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                           (c >= '0' && c <= '9') || c == '/' || c == '.' || c == '_' || c == '-';
      constexpr char kDigits[] = "0123456789ABCDEF";
      const auto byte = static_cast<unsigned char>(c);
      if (isPlain) {
        uri += c;
      } else {
        uri += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
      }
    }
    return uri + "?immutable=1";
  }

  /// What the database's own views may do: read, and call functions that are known to harm nobody.
  void Confine() {
    constexpr int kMostBytes = 64 << 20;
    sqlite3_db_config(database_.get(), SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    sqlite3_db_config(database_.get(), SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
    sqlite3_limit(database_.get(), SQLITE_LIMIT_LENGTH, kMostBytes);
    sqlite3_set_authorizer(
        database_.get(),
        [](void*, int action, const char*, const char* name, const char*, const char*) {
          const bool isRead = action == SQLITE_SELECT || action == SQLITE_READ ||
                              action == SQLITE_RECURSIVE || action == SQLITE_TRANSACTION;
          const bool isCall = action == SQLITE_FUNCTION && name != nullptr &&
                              sqlite3_stricmp(name, "load_extension") != 0;
          return isRead || isCall ? SQLITE_OK : SQLITE_DENY;
        },
        nullptr);
  }

  /// Whether SQLite is to go on, which asks now and then. What ends it is thrown behind its call.
  static int GoOn(void* reader) {
    auto& self = *static_cast<SqliteReader*>(reader);
    try {
      Cancellation::Check();
      if (self.isUntrusted_ && ++self.callsOfRow_ > kMostCallsPerRow)
        ThrowTableError(kTooManySteps, {Wide(self.path_)});
      return 0;
    } catch (...) {
      self.ended_ = std::current_exception();
      return 1;
    }
  }

  static unsigned KindsOf(int type, std::string_view text, Declared declared) {
    constexpr unsigned kNumbers = kInt4Kind | kNumericKind | kDoubleKind;
    constexpr unsigned kDatesAndTimes = kDateKind | kTimeStampKind | kTimeKind;
    if (type == SQLITE_FLOAT) return kDoubleKind;
    if (type == SQLITE_INTEGER) {
      const unsigned kinds = ClassifyText(text) & kNumbers;
      const bool isTruth = declared == Declared::kBoolean && (text == "0" || text == "1");
      return isTruth ? kinds | kBooleanKind : kinds;
    }
    return declared == Declared::kDateTime ? ClassifyText(text) & kDatesAndTimes : 0;
  }

  template <class TakeValue, class TakeNull>
  uint64 ForEachValue(TakeValue&& takeValue, TakeNull&& takeNull) {
    sqlite3_reset(rows_.get());
    uint64 row = 0;
    while (Step(*rows_)) {
      const RecordPlace place{L"row", ++row};
      if (++rowsDone_ % kRowsPerCall == 0) {
        Cancellation::Check();
        if (progress_ != nullptr) progress_(rowsDone_, rowsInAll_, true);
      }
      for (std::size_t i = 0; i < declarations_.size(); ++i) {
        const int type = sqlite3_column_type(rows_.get(), static_cast<int>(i));
        if (type == SQLITE_NULL) {
          takeNull(i);
        } else {
          takeValue(i, type, TextOf(static_cast<int>(i), type, place), place);
        }
      }
    }
    return row;
  }

  /// The value as the text that reads back as the same one.
  std::string_view TextOf(int column, int type, const RecordPlace& place) {
    sqlite3_stmt* const row = rows_.get();
    char* const last = number_ + sizeof number_;
    switch (type) {
      case SQLITE_INTEGER: {
        const auto end = std::to_chars(number_, last, int64{sqlite3_column_int64(row, column)});
        return {number_, end.ptr};
      }
      case SQLITE_FLOAT: {
        const auto end = std::to_chars(number_, last, sqlite3_column_double(row, column));
        return {number_, end.ptr};
      }
      case SQLITE_TEXT:
        break;
      default:
        ThrowTableError(kBlobValue,
                        {Wide(path_), place.Text(), Wide(sqlite3_column_name(row, column))});
    }
    const auto* const characters = reinterpret_cast<const char*>(sqlite3_column_text(row, column));
    if (characters == nullptr) throw std::bad_alloc();
    const std::string_view text(characters,
                                static_cast<std::size_t>(sqlite3_column_bytes(row, column)));
    if (text.find('\0') != std::string_view::npos) {
      ThrowTableError(kNulByte, {Wide(path_), place.Text()});
    }
    if (!BaseStringUtil::IsValidUtf8(text)) {
      ThrowTableError(kInvalidEncoding, {Wide(path_), place.Text(), L"UTF-8"});
    }
    return text;
  }

  void CheckTable(const std::string& table) {
    const StatementPtr query = Prepare(
        "SELECT 1 FROM sqlite_master WHERE type IN ('table','view') AND name = ?1 COLLATE NOCASE");
    sqlite3_bind_text(query.get(), 1, table.data(), static_cast<int>(table.size()), SQLITE_STATIC);
    if (!Step(*query)) ThrowTableError(kNoTableInDatabase, {Wide(path_), Wide(table), Advice()});
  }

  /// What to name instead of a table that is not there.
  XeString Advice() {
    constexpr int kMost = 10;
    const StatementPtr query = Prepare(
        "SELECT name FROM sqlite_master WHERE type IN ('table','view') "
        "AND name NOT LIKE 'sqlite\\_%' ESCAPE '\\' ORDER BY name");
    XeString advice;
    for (int i = 0; Step(*query); ++i) {
      if (i == kMost) return advice + L", ...";
      const auto* const name = reinterpret_cast<const char*>(sqlite3_column_text(query.get(), 0));
      if (name == nullptr) throw std::bad_alloc();
      advice += (i == 0 ? L"name one that it has: " : L", ") + QuotedName(name);
    }
    return advice.empty() ? L"nor any other: name another database" : advice;
  }
  static XeString QuotedName(const char* name) { return L"\"" + QuotedValue(name) + L"\""; }

  StatementPtr Prepare(const std::string& sql) {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(database_.get(), sql.c_str(), -1, &statement, nullptr) != SQLITE_OK) {
      ThrowNotReadable();
    }
    return StatementPtr(statement);
  }

  bool Step(sqlite3_stmt& statement) {
    callsOfRow_ = 0;
    const int status = sqlite3_step(&statement);
    if (ended_) std::rethrow_exception(std::exchange(ended_, nullptr));
    if (status != SQLITE_ROW && status != SQLITE_DONE) ThrowNotReadable();
    return status == SQLITE_ROW;
  }

  [[noreturn]] void ThrowNotReadable() const {
    if (sqlite3_errcode(database_.get()) == SQLITE_NOMEM) throw std::bad_alloc();
    ThrowTableError(kFileNotReadable, {Wide(path_), Wide(sqlite3_errmsg(database_.get()))});
  }

  static constexpr uint64 kRowsPerCall = 1024;
  static constexpr int kStepsPerCall = 10'000;
  static constexpr int kMostCallsPerRow = 10'000;

  const std::string& path_;
  const bool isUntrusted_;
  /// Since the last row.
  int callsOfRow_ = 0;
  std::exception_ptr ended_;
  LoadProgress progress_;
  /// Of both passes.
  uint64 rowsDone_ = 0;
  uint64 rowsInAll_ = 0;
  DatabasePtr database_;
  StatementPtr rows_;
  std::vector<Declared> declarations_;
  char number_[64];
};

}  // namespace

Table LoadSqliteTable(const std::string& path, const std::string& table, const XeString& name,
                      const DeclaredTypes& declared, bool isUntrusted,
                      const LoadProgress& progress) {
  SqliteReader reader(path, table, isUntrusted, progress);
  TableColumns columns(path, reader.Names(), declared);
  columns.BeginLoad(reader.Survey(columns));
  const uint64 rows = reader.Load(columns);
  return columns.Take(name, rows);
}

}  // namespace sqxer
