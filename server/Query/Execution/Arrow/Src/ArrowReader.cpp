#include "ArrowReader.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "ArrowError.h"
#include "ArrowHandle.h"
#include "ArrowTable.h"
#include "Utility/Cancellation.h"

namespace sqxer {
namespace {

/// Room costs memory in the one record that trees are bound to, and a text without room a
/// statement.
constexpr uint32 kLeastRoom = uint32{1} << 16;
constexpr uint32 kTimesLongest = 4;
constexpr uint32 kMostRoom = uint32{1} << 24;

template <class Struct>
ArrowHandle<Struct> TakeOver(Struct* source, const XeString& table) {
  if (source == nullptr || source->release == nullptr) ThrowTableError(kArrowReleased, {table});
  return ArrowHandle<Struct>(source);
}

/// What a stream gives, its failures as errors.
class ArrowPull {
 public:
  ArrowPull(ArrowArrayStream* stream, const XeString& table)
      : table_(table), stream_(TakeOver(stream, table)) {}

  ArrowHandle<ArrowSchema> GetSchema() {
    ArrowHandle<ArrowSchema> schema;
    Check(stream_->get_schema(stream_.Get(), schema.Get()));
    if (schema.IsReleased()) ThrowTableError(kArrowNoTable, {table_, L"they have no schema"});
    return schema;
  }
  /// A released one at the end.
  ArrowHandle<ArrowArray> GetNext() {
    Cancellation::Check();
    ArrowHandle<ArrowArray> array;
    Check(stream_->get_next(stream_.Get(), array.Get()));
    return array;
  }

 private:
  void Check(int status) {
    if (status == 0) return;
    if (status == ENOMEM) throw std::bad_alloc();
    const char* const text =
        stream_->get_last_error == nullptr ? nullptr : stream_->get_last_error(stream_.Get());
    const bool hasText = text != nullptr && *text != '\0';
    ThrowTableError(kArrowStreamBroken, {table_, Wide(hasText ? text : std::strerror(status))});
  }

  const XeString table_;
  ArrowHandle<ArrowArrayStream> stream_;
};

Table MakeTable(ArrowTable& columns, std::vector<TableChunk> chunks) {
  columns.SetLengths([](uint32 longest) { return std::max(longest, uint32{1}); });
  columns.SettleNulls();
  Table table;
  table.schema = columns.GetSchema();
  table.rowCount = table.schema.mostRows = columns.GetRows();
  table.chunks = std::move(chunks);
  return table;
}

}  // namespace

class ArrowChunkSource::Stream {
 public:
  Stream(ArrowArrayStream* stream, const ArrowReadOptions& options, const TableRequest& request)
      : pull_(stream, options.name), columns_(*pull_.GetSchema(), options, request) {
    if (options.textLength > 0) {
      columns_.SetLengths([&](uint32) { return options.textLength; });
    } else if (columns_.HasTexts()) {
      while (waiting_.empty() && !isAtEnd_) Pull();
      columns_.SetLengths([](uint32 longest) {
        return std::max(longest,
                        std::clamp(longest, kLeastRoom / kTimesLongest, kMostRoom / kTimesLongest) *
                            kTimesLongest);
      });
    }
  }

  const TableSchema& GetSchema() const { return columns_.GetSchema(); }

  const TableChunk* Next() {
    while (next_ == waiting_.size() && !isAtEnd_) Pull();
    if (next_ == waiting_.size()) return nullptr;
    columns_.CheckLengths(waiting_[next_], rowsBefore_);
    rowsBefore_ += waiting_[next_].rows;
    return &waiting_[next_++];
  }

 private:
  void Pull() {
    // An array before is let go of before the next one comes.
    waiting_.clear();
    next_ = 0;
    ArrowHandle<ArrowArray> array = pull_.GetNext();
    isAtEnd_ = array.IsReleased();
    if (!isAtEnd_) columns_.Take(std::move(array), waiting_);
  }

  ArrowPull pull_;
  ArrowTable columns_;
  /// Of the last array.
  std::vector<TableChunk> waiting_;
  std::size_t next_ = 0;
  uint64 rowsBefore_ = 0;
  bool isAtEnd_ = false;
};

ArrowChunkSource::ArrowChunkSource(ArrowArrayStream* stream, ArrowReadOptions options,
                                   TableRequest request)
    : stream_(std::make_unique<Stream>(stream, options, request)) {}

ArrowChunkSource::~ArrowChunkSource() = default;

const TableSchema& ArrowChunkSource::GetSchema() const { return stream_->GetSchema(); }

const TableChunk* ArrowChunkSource::Next() { return stream_->Next(); }

Table ReadArrowTable(ArrowArrayStream* stream, ArrowReadOptions options,
                     const TableRequest& request) {
  ArrowPull pull(stream, options.name);
  ArrowTable columns(*pull.GetSchema(), options, request);
  std::vector<TableChunk> chunks;
  const uint64 wanted = request.mostRows.value_or(std::numeric_limits<uint64>::max());
  while (columns.GetRows() < wanted) {
    ArrowHandle<ArrowArray> array = pull.GetNext();
    if (array.IsReleased()) break;
    columns.Take(std::move(array), chunks);
  }
  return MakeTable(columns, std::move(chunks));
}

Table ReadArrowTable(ArrowSchema* schema, ArrowArray* array, ArrowReadOptions options,
                     const TableRequest& request) {
  // Both are taken over before either can be refused.
  ArrowHandle<ArrowSchema> described;
  if (schema != nullptr && schema->release != nullptr) described = ArrowHandle<ArrowSchema>(schema);
  ArrowHandle<ArrowArray> rows = TakeOver(array, options.name);
  if (described.IsReleased()) ThrowTableError(kArrowReleased, {options.name});
  ArrowTable columns(*described, options, request);
  std::vector<TableChunk> chunks;
  columns.Take(std::move(rows), chunks);
  return MakeTable(columns, std::move(chunks));
}

}  // namespace sqxer
