#include "ArrowSource.h"

#include <algorithm>

#include "TextCodes.h"
#include "Utility/BaseStringUtil.h"

namespace sqxer::engine {
namespace {

/// Of each column of a stream the place among those of a table; the number of them for one that the
/// table has not.
std::vector<std::size_t> FindPlaces(const TableSchema& stream, const TableSchema& table) {
  std::vector<std::size_t> places;
  for (const ColumnInfo& column : stream.columns) {
    std::size_t place = 0;
    while (place < table.columns.size() && table.columns[place].name != column.name) ++place;
    places.push_back(place);
  }
  return places;
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
  Rows(ArrowArrayStream stream, const ArrowReadOptions& options, const TableRequest& request,
       const TableSchema& table)
      : source_(&stream, options, request),
        places_(FindPlaces(source_.GetSchema(), table)),
        columns_(table.columns.size()) {}

  const TableSchema& GetSchema() const { return source_.GetSchema(); }
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

const TableSchema& ArrowSource::Require(const TableRequest& request, LoadProgress) {
  std::vector<bool> missing(isThere_.size());
  std::vector<bool> all = isThere_;
  bool isMissing = !wasRead_;
  for (std::size_t i = 0; i < missing.size(); ++i) {
    missing[i] = !isThere_[i] && request.Wants(table_.schema.columns[i].name);
    all[i] = all[i] || missing[i];
    isMissing = isMissing || missing[i];
  }
  if (!isMissing) return table_.schema;
  if (!areRowsKept_ && request.onePass && !request.mostRows) {
    rows_ = std::make_unique<Rows>(Open(RequestOf(all)), options_, RequestOf(all), table_.schema);
    TakeTypes(rows_->GetSchema());
  } else {
    TableRequest wanted = RequestOf(wasRead_ ? missing : all);
    if (!areRowsKept_) wanted.mostRows = request.mostRows;
    if (!AddColumns(wanted)) {
      table_.chunks.clear();
      table_.rowCount = 0;
      AddColumns(RequestOf(all));
    }
  }
  isThere_ = std::move(all);
  wasRead_ = true;
  return table_.schema;
}

bool ArrowSource::AddColumns(const TableRequest& columns) {
  ArrowArrayStream stream = Open(columns);
  const Table read = ReadArrowTable(&stream, options_, columns);
  const bool isFirst = table_.chunks.empty();
  const bool fits = std::ranges::equal(
      read.chunks, table_.chunks, [](const auto& a, const auto& b) { return a.rows == b.rows; });
  if (!isFirst && !fits) return false;
  TakeTypes(read.schema);
  const std::vector<std::size_t> places = FindPlaces(read.schema, table_.schema);
  for (std::size_t i = 0; i < read.chunks.size(); ++i) {
    TableChunk put = PutColumns(read.chunks[i], places, table_.schema.columns.size());
    for (ColumnVector& column : put.columns) column = CodeFewTexts(column);
    if (isFirst) {
      table_.chunks.push_back(std::move(put));
      continue;
    }
    for (std::size_t column = 0; column < put.columns.size(); ++column) {
      if (put.columns[column].owner != nullptr)
        table_.chunks[i].columns[column] = std::move(put.columns[column]);
    }
  }
  table_.rowCount = read.rowCount;
  return true;
}

std::unique_ptr<ChunkSource> ArrowSource::TakeRest() { return std::move(rows_); }

ArrowArrayStream ArrowSource::Open(const TableRequest& columns) const {
  SourceRequest request;
  for (const XeString& name : columns.names) {
    request.columns.push_back(BaseStringUtil::StringToUtf8(name));
  }
  ArrowArrayStream stream = {};
  open_(request, &stream);
  return stream;
}

TableRequest ArrowSource::RequestOf(const std::vector<bool>& columns) const {
  TableRequest request{.all = false, .names = {}, .mostRows = {}};
  for (std::size_t i = 0; i < columns.size(); ++i) {
    if (columns[i]) request.names.push_back(table_.schema.columns[i].name);
  }
  return request;
}

void ArrowSource::TakeTypes(const TableSchema& read) {
  const std::vector<std::size_t> places = FindPlaces(read, table_.schema);
  for (std::size_t i = 0; i < places.size(); ++i) {
    // Of columns that were not asked for nothing more is known than before.
    if (places[i] < table_.schema.columns.size() && !isThere_[places[i]])
      table_.schema.columns[places[i]] = read.columns[i];
  }
}

}  // namespace sqxer::engine
