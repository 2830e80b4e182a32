#include "ArrowSource.h"

#include <algorithm>

#include "ArrowError.h"
#include "TextCodes.h"
#include "Utility/BaseStringUtil.h"
#include "Utility/KeySet.h"

namespace sqxer::engine {
namespace {

/// Of each column of a stream the place among those of a table; the number of them for one that the
/// table has not. Error 57202 (table, reason) where a wanted column does not come, or with another
/// type.
std::vector<std::size_t> FindPlaces(const TableSchema& stream, const TableSchema& table,
                                    const TableRequest& wanted) {
  for (const ColumnInfo& column : table.columns) {
    if (!wanted.Wants(column.name)) continue;
    const auto found = std::ranges::find(stream.columns, column.name, &ColumnInfo::name);
    if (found == stream.columns.end()) {
      ThrowTableError(kArrowNoTable, {table.name, L"they lack the column " + column.name});
    }
    if (column.type != XeUnknown && found->type != column.type) {
      ThrowTableError(kArrowNoTable, {table.name, L"the column " + column.name +
                                                      L" has another type than was told"});
    }
  }
  std::vector<std::size_t> places;
  for (const ColumnInfo& column : stream.columns) {
    std::size_t place = 0;
    while (place < table.columns.size() && table.columns[place].name != column.name) ++place;
    places.push_back(place);
  }
  return places;
}

/// A condition with the column's own name; nothing where it is none of one column, and of texts
/// that do not compare by code points.
std::optional<SourceCondition> ConditionOf(const SourceCondition& condition,
                                           const TableSchema& table) {
  const XeString name = Wide(condition.column);
  const ColumnInfo* found = nullptr;
  for (const ColumnInfo& column : table.columns) {
    if (!BaseStringUtil::IsCaseInsensitiveMatch(column.name, name)) continue;
    if (found != nullptr) return std::nullopt;
    found = &column;
  }
  const bool hasTexts = std::ranges::any_of(condition.values, [](const auto& literal) {
    return literal.kind == SourceCondition::Literal::Kind::kText;
  });
  if (found == nullptr || (hasTexts && KeyDesc::GetCharComparisonType() != kCompareCodePoints)) {
    return std::nullopt;
  }
  SourceCondition named = condition;
  named.column = BaseStringUtil::StringToUtf8(found->name);
  return named;
}

/// The columns of a stream's chunk at their places.
TableChunk PutColumns(const TableChunk& chunk, const std::vector<std::size_t>& places,
                      std::size_t columns) {
  TableChunk put{.rows = chunk.rows, .columns = std::vector<ColumnVector>(columns)};
  for (std::size_t i = 0; i < places.size(); ++i) {
    if (places[i] < columns) put.columns[places[i]] = chunk.columns[i];
  }
  return put;
}

}  // namespace

/// The rows while they are read.
class ArrowSource::Rows final : public ChunkSource {
 public:
  Rows(ArrowHandle<ArrowArrayStream>& stream, const ArrowReadOptions& options,
       const TableRequest& request, const TableSchema& table)
      : source_(stream.Get(), options, request),
        places_(FindPlaces(source_.GetSchema(), table, request)),
        columns_(table.columns.size()) {}

  const TableSchema& GetSchema() const { return source_.GetSchema(); }
  const std::vector<std::size_t>& GetPlaces() const { return places_; }
  const TableChunk* Next() override {
    const TableChunk* const chunk = source_.Next();
    if (chunk == nullptr) return nullptr;
    chunk_ = PutColumns(*chunk, places_, columns_);
    return &chunk_;
  }

 private:
  ArrowChunkSource source_;
  const std::vector<std::size_t> places_;
  const std::size_t columns_;
  TableChunk chunk_;
};

ArrowSource::ArrowSource(TableSchema schema, OpenSource open, ArrowReadOptions options,
                         bool areRowsKept)
    : open_(std::move(open)),
      options_(std::move(options)),
      areRowsKept_(areRowsKept),
      isThere_(schema.columns.size(), false) {
  table_.schema = std::move(schema);
}

ArrowSource::~ArrowSource() = default;

const TableSchema& ArrowSource::Require(const TableRequest& request, const LoadProgress&) {
  std::vector<bool> missing(isThere_.size());
  std::vector<bool> all = isThere_;
  for (std::size_t i = 0; i < missing.size(); ++i) {
    missing[i] = !isThere_[i] && request.Wants(table_.schema.columns[i].name);
    all[i] = all[i] || missing[i];
  }
  const bool mayStream = !areRowsKept_ && request.onePass && !request.mostRows;
  const bool areRowsThere =
      state_ == State::kAll || (state_ == State::kStream && mayStream) ||
      (state_ == State::kFirst && request.mostRows && *request.mostRows <= firstRows_);
  if (areRowsThere && all == isThere_) return table_.schema;
  // Whose rows are kept gives them to other statements as well.
  const std::vector<SourceCondition> conditions =
      areRowsKept_ ? std::vector<SourceCondition>() : request.conditions;
  if (mayStream && (state_ == State::kNothing || state_ == State::kStream)) {
    TableRequest wanted = RequestOf(all);
    wanted.conditions = conditions;
    ArrowHandle<ArrowArrayStream> stream = Open(wanted);
    rows_ = std::make_unique<Rows>(stream, options_, RequestOf(all), table_.schema);
    TakeTypes(rows_->GetSchema(), rows_->GetPlaces(), RequestOf(all));
    state_ = State::kStream;
  } else {
    TableRequest wanted = RequestOf(all);
    wanted.conditions = conditions;
    const bool areFirstEnough = state_ == State::kNothing || state_ == State::kFirst;
    if (!areRowsKept_ && areFirstEnough) wanted.mostRows = request.mostRows;
    const bool isAdded =
        state_ == State::kAll && conditions.empty() && AddColumns(RequestOf(missing), true);
    if (!isAdded) AddColumns(wanted, false);
    rows_.reset();
    state_ = wanted.mostRows ? State::kFirst : State::kAll;
    firstRows_ = wanted.mostRows.value_or(0);
  }
  isThere_ = std::move(all);
  return table_.schema;
}

bool ArrowSource::AddColumns(const TableRequest& columns, bool besideOthers) {
  ArrowHandle<ArrowArrayStream> stream = Open(columns);
  const Table read = ReadArrowTable(stream.Get(), options_, columns);
  const bool fits = std::ranges::equal(
      read.chunks, table_.chunks, [](const auto& a, const auto& b) { return a.rows == b.rows; });
  if (besideOthers && !fits) return false;
  const std::vector<std::size_t> places = FindPlaces(read.schema, table_.schema, columns);
  std::vector<TableChunk> chunks;
  for (std::size_t i = 0; i < read.chunks.size(); ++i) {
    TableChunk put = PutColumns(read.chunks[i], places, table_.schema.columns.size());
    for (std::size_t column = 0; column < put.columns.size(); ++column) {
      ColumnVector& vector = put.columns[column];
      if (vector.owner == nullptr && besideOthers) vector = table_.chunks[i].columns[column];
      vector = CodeFewTexts(vector);
    }
    chunks.push_back(std::move(put));
  }
  // Nothing fails from here on.
  TakeTypes(read.schema, places, columns);
  table_.chunks = std::move(chunks);
  table_.rowCount = read.rowCount;
  return true;
}

std::unique_ptr<ChunkSource> ArrowSource::TakeRest() { return std::move(rows_); }

ArrowHandle<ArrowArrayStream> ArrowSource::Open(const TableRequest& columns) const {
  SourceRequest request;
  for (const XeString& name : columns.names) {
    request.columns.push_back(BaseStringUtil::StringToUtf8(name));
  }
  for (const SourceCondition& condition : columns.conditions) {
    const std::optional<SourceCondition> known = ConditionOf(condition, table_.schema);
    if (!known) break;
    request.conditions.push_back(*known);
  }
  ArrowHandle<ArrowArrayStream> stream;
  open_(request, stream.Get());
  return stream;
}

TableRequest ArrowSource::RequestOf(const std::vector<bool>& columns) const {
  TableRequest request{.all = false, .names = {}, .mostRows = {}};
  for (std::size_t i = 0; i < columns.size(); ++i) {
    if (columns[i]) request.names.push_back(table_.schema.columns[i].name);
  }
  return request;
}

void ArrowSource::TakeTypes(const TableSchema& read, const std::vector<std::size_t>& places,
                            const TableRequest& wanted) {
  for (std::size_t i = 0; i < places.size(); ++i) {
    // Of columns that were not asked for nothing more is known than before.
    if (places[i] < table_.schema.columns.size() && wanted.Wants(read.columns[i].name))
      table_.schema.columns[places[i]] = read.columns[i];
  }
}

}  // namespace sqxer::engine
