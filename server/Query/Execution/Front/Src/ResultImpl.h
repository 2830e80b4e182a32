#pragma once

#include <condition_variable>
#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "ArrowWriter.h"
#include "ChunkSink.h"
#include "Engine/Engine.h"
#include "Utility/Cancellation.h"

namespace sqxer::engine {

/// Turns an error of the engine's layers into that of its front, with the statement.
[[noreturn]] void ThrowAsError(const ErrorMessage& error, const std::string& sql);

/// Does something, and says of its errors which statement they are of.
template <class Action>
auto WithErrors(const std::string& sql, Action&& action) {
  try {
    return action();
  } catch (const ErrorMessage& error) {
    ThrowAsError(error, sql);
  }
}

Column DescribeColumn(const ColumnInfo& column);
/// Names and types, as errors list them.
XeString ListColumns(const TableSchema& schema);
ArrowWriteOptions MakeWriteOptions(const ResultOptions& options);

class Result::Impl : public ArrowProducer {
 public:
  Impl& operator=(const Impl&) = delete;

  const std::vector<Column>& GetColumns() const { return columns_; }
  const std::string& GetTag() const { return tag_; }
  void WriteSchema(ArrowSchema* out) override;
  bool WriteNext(ArrowArray* out) override;
  virtual std::int64_t CountRows() const = 0;
  /// The same rows from the first one on. Error 57113.
  virtual std::unique_ptr<Impl> Copy() const = 0;

 protected:
  explicit Impl(std::string sql) : sql_(std::move(sql)) {}
  /// Of another that may have broken off: the rows are to be read anew.
  Impl(const Impl& other)
      : sql_(other.sql_),
        schema_(other.schema_),
        tag_(other.tag_),
        columns_(other.columns_),
        writer_(other.writer_) {}

  void SetSchema(TableSchema schema);
  /// The layouts of Arrow, which are settled by these rows.
  void Settle(std::span<const TableChunk> known, const ArrowWriteOptions& options);
  /// The next chunk; null behind the last one. It stays until the next call.
  virtual const TableChunk* NextChunk() = 0;

  const std::string sql_;
  TableSchema schema_;
  std::string tag_;

 private:
  std::vector<Column> columns_;
  std::optional<ArrowWriter> writer_;
  /// What WriteNext has thrown: rows behind it must not be taken for those that follow.
  std::exception_ptr error_;
};

/// A result whose rows are all there.
class KeptResult final : public Result::Impl {
 public:
  KeptResult(std::string sql, TableSchema schema, std::vector<TableChunk> chunks,
             const ResultOptions& options);

  std::int64_t CountRows() const override { return rows_; }
  std::unique_ptr<Impl> Copy() const override;
  /// It is that of a statement without rows.
  void SetDone(std::string tag, std::int64_t rows) {
    tag_ = std::move(tag);
    rows_ = rows;
  }

 private:
  const TableChunk* NextChunk() override {
    return next_ < chunks_->size() ? &(*chunks_)[next_++] : nullptr;
  }

  KeptResult(const KeptResult& other);

  const std::shared_ptr<const std::vector<TableChunk>> chunks_;
  std::size_t next_ = 0;
  std::int64_t rows_ = 0;
};

class StreamedResult;

/// The statement of a session that runs in a thread of its own, if there is one, and how statements
/// of the session are ended.
struct Running {
  Cancellation cancellation;
  std::mutex mutex;
  StreamedResult* stream = nullptr;

  /// Ends it.
  void Stop();
};

/// A result whose rows are made by a thread while they are read.
class StreamedResult final : public Result::Impl {
 public:
  /// Runs `run` in a thread; waits for the first rows, or for its end.
  StreamedResult(std::string sql, const ResultOptions& options, std::shared_ptr<Running> running,
                 std::function<void(ResultSink&)> run);
  ~StreamedResult() override;

  std::int64_t CountRows() const override { return rows_; }
  std::unique_ptr<Impl> Copy() const override;

 private:
  friend struct Running;
  class Sink;
  /// Ends the thread. What is read from then on is error 57110, unless all rows were made. The
  /// caller holds the mutex of what is running.
  void Stop();
  void SettleByFirstRows(const ResultOptions& options);
  /// Waits until there is a chunk, or no other will come.
  void Wait(std::unique_lock<std::mutex>& lock);
  const TableChunk* NextChunk() override;

  const std::shared_ptr<Running> running_;
  /// The process of the thread: a fork has none.
  const int process_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<TableChunk> ahead_;
  bool isBegun_ = false;
  bool isEnded_ = false;
  bool isStopped_ = false;
  /// Known of a statement without rows.
  std::int64_t rows_ = -1;
  std::exception_ptr error_;
  TableChunk current_;
  std::jthread thread_;
};

/// Keeps all chunks of a result.
class KeepingSink final : public ChunkSink {
 public:
  KeepingSink();
  TableSchema schema;
  std::vector<TableChunk> chunks;
  /// Of a statement without rows.
  std::string tag;
  uint64 written = 0;

  void Done(const std::string& done, uint64 rows) override {
    tag = done;
    written = rows;
  }

 private:
  void TakeColumns(const std::vector<ColumnInfo>& columns) override { schema.columns = columns; }
  void TakeChunk(TableChunk chunk) override { chunks.push_back(std::move(chunk)); }
};

}  // namespace sqxer::engine
