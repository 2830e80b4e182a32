#include <cerrno>
#include <new>
#include <optional>

#include "ArrowWriter.h"

namespace sqxer {
namespace {

/// What a stream of ours holds until it is released.
class HeldStream {
 public:
  HeldStream(TableSchema schema, std::unique_ptr<ChunkSource> source,
             const ArrowWriteOptions& options, std::optional<ArrowWriter> writer)
      : schema_(std::move(schema)),
        source_(std::move(source)),
        options_(options),
        writer_(std::move(writer)) {}

  int GetSchema(ArrowSchema* out) {
    return Try([&] { Settle().WriteSchema(out); });
  }
  int GetNext(ArrowArray* out) {
    return Try([&] {
      const ArrowWriter& writer = Settle();
      const TableChunk* const chunk = isFirstWaiting_ ? first_ : source_->Next();
      isFirstWaiting_ = false;
      if (chunk == nullptr) {
        *out = {};
      } else {
        writer.WriteArray(*chunk, out);
      }
    });
  }
  const char* GetError() const { return status_ == 0 ? nullptr : error_.c_str(); }

 private:
  const ArrowWriter& Settle() {
    if (!writer_) {
      first_ = source_->Next();
      writer_.emplace(schema_, std::span(first_, first_ == nullptr ? 0 : 1), options_);
      isFirstWaiting_ = true;
    }
    return *writer_;
  }

  /// No exception may reach the caller, who may be written in another language. A stream that broke
  /// off stays so.
  template <class Action>
  int Try(Action&& action) noexcept {
    if (status_ != 0) return status_;
    try {
      action();
    } catch (const std::bad_alloc&) {
      Fail(ENOMEM, "out of memory");
    } catch (const std::exception& error) {
      Fail(EINVAL, error.what());
    } catch (...) {
      Fail(EINVAL, "a column turned out to be of another type");
    }
    return status_;
  }
  void Fail(int status, const char* text) noexcept {
    status_ = status;
    try {
      error_ = text;
    } catch (const std::bad_alloc&) {
      error_.clear();
    }
  }

  const TableSchema schema_;
  const std::unique_ptr<ChunkSource> source_;
  const ArrowWriteOptions options_;
  std::optional<ArrowWriter> writer_;
  /// By which the writer was settled; valid while it waits.
  const TableChunk* first_ = nullptr;
  bool isFirstWaiting_ = false;
  int status_ = 0;
  std::string error_;
};

HeldStream& HeldBy(ArrowArrayStream* stream) {
  return *static_cast<HeldStream*>(stream->private_data);
}

void Give(std::unique_ptr<HeldStream> held, ArrowArrayStream* out) {
  out->get_schema = [](ArrowArrayStream* stream, ArrowSchema* schema) {
    return HeldBy(stream).GetSchema(schema);
  };
  out->get_next = [](ArrowArrayStream* stream, ArrowArray* array) {
    return HeldBy(stream).GetNext(array);
  };
  out->get_last_error = [](ArrowArrayStream* stream) { return HeldBy(stream).GetError(); };
  out->release = [](ArrowArrayStream* stream) {
    delete &HeldBy(stream);
    stream->private_data = nullptr;
    stream->release = nullptr;
  };
  out->private_data = held.release();
}

class TableSource final : public ChunkSource {
 public:
  explicit TableSource(Table table) : table_(std::move(table)) {}
  const TableChunk* Next() override {
    return next_ < table_.chunks.size() ? &table_.chunks[next_++] : nullptr;
  }
  const Table& Get() const { return table_; }

 private:
  const Table table_;
  std::size_t next_ = 0;
};

}  // namespace

void WriteArrowStream(TableSchema schema, std::unique_ptr<ChunkSource> source,
                      const ArrowWriteOptions& options, ArrowArrayStream* out) {
  Give(std::make_unique<HeldStream>(std::move(schema), std::move(source), options, std::nullopt),
       out);
}

void WriteArrowTable(Table table, const ArrowWriteOptions& options, ArrowArrayStream* out) {
  auto source = std::make_unique<TableSource>(std::move(table));
  const Table& kept = source->Get();
  ArrowWriter writer(kept.schema, kept.chunks, options);
  TableSchema schema = kept.schema;
  Give(std::make_unique<HeldStream>(std::move(schema), std::move(source), options,
                                    std::move(writer)),
       out);
}

}  // namespace sqxer
