#include <unistd.h>

#include <system_error>

#include "ColumnTypes.h"
#include "EngineError.h"
#include "ResultImpl.h"

namespace sqxer::engine {
namespace {

constexpr uint64 kRowsOfKeptChunk = uint64{64} * kColumnBlockRows;
/// Rows that are read while they are made come in smaller chunks, some of them ahead.
constexpr uint64 kRowsOfStreamedChunk = uint64{8} * kColumnBlockRows;
constexpr std::size_t kMostAhead = 4;

}  // namespace

static_assert(Error::kCancelled == sqxer::kCancelled && Error::kTimedOut == sqxer::kTimedOut &&
              Error::kFirstOfFiles == kNoTableFile && Error::kLastOfFiles == kLastFileError);

void ThrowAsError(const ErrorMessage& error, const std::string& sql) {
  std::vector<Error::Input> inputs;
  for (const ErrorMessage::Input& input : error.GetInputs()) {
    inputs.push_back({BaseStringUtil::StringToUtf8(input.column), input.value});
  }
  throw Error(error.GetCode(), error.what(), sql, error.GetSourcePosition(), error.GetRowNumber(),
              std::move(inputs));
}

Column DescribeColumn(const ColumnInfo& column) {
  return {BaseStringUtil::StringToUtf8(column.name),
          BaseStringUtil::StringToUtf8(DeclaredTypeName(AsDeclared(column))), column.nullable};
}

XeString ListColumns(const TableSchema& schema) {
  XeString list;
  for (const ColumnInfo& column : schema.columns) {
    list += (list.empty() ? L"" : L", ") + column.name;
    if (column.type != XeUnknown) list += L" " + DeclaredTypeName(column);
  }
  return list;
}

ArrowWriteOptions MakeWriteOptions(const ResultOptions& options) {
  using From = ResultOptions::Numerics;
  using To = ArrowWriteOptions::Numerics;
  const To numerics = options.numerics == From::kSettled   ? To::kSettled
                      : options.numerics == From::kDecimal ? To::kDecimal
                                                           : To::kDouble;
  return {.numerics = numerics,
          .fixedScale = options.fixedScale,
          .keepsDictionaries = options.keepsDictionaries,
          .largeTexts = false};
}

void Result::Impl::SetSchema(TableSchema schema) {
  schema_ = std::move(schema);
  columns_.clear();
  for (const ColumnInfo& column : schema_.columns) columns_.push_back(DescribeColumn(column));
}

void Result::Impl::Settle(std::span<const TableChunk> known, const ArrowWriteOptions& options) {
  writer_.emplace(schema_, known, options);
}

void Result::Impl::WriteSchema(ArrowSchema* out) {
  WithErrors(sql_, [&] { writer_->WriteSchema(out); });
}

bool Result::Impl::WriteNext(ArrowArray* out) {
  if (error_) std::rethrow_exception(error_);
  try {
    return WithErrors(sql_, [&] {
      const TableChunk* const chunk = NextChunk();
      if (chunk != nullptr) writer_->WriteArray(*chunk, out);
      return chunk != nullptr;
    });
  } catch (...) {
    error_ = std::current_exception();
    throw;
  }
}

KeptResult::KeptResult(std::string sql, TableSchema schema, std::vector<TableChunk> chunks,
                       const ResultOptions& options)
    : Impl(std::move(sql)),
      chunks_(std::make_shared<const std::vector<TableChunk>>(std::move(chunks))) {
  for (const TableChunk& chunk : *chunks_) rows_ += static_cast<std::int64_t>(chunk.rows);
  SetSchema(std::move(schema));
  WithErrors(sql_, [&] { Settle(*chunks_, MakeWriteOptions(options)); });
}

KeptResult::KeptResult(const KeptResult& other)
    : Impl(other), chunks_(other.chunks_), rows_(other.rows_) {}

std::unique_ptr<Result::Impl> KeptResult::Copy() const {
  return std::unique_ptr<Impl>(new KeptResult(*this));
}

KeepingSink::KeepingSink() : ChunkSink(kRowsOfKeptChunk) {}

/// Hands chunks over to who reads them.
class StreamedResult::Sink final : public ChunkSink {
 public:
  explicit Sink(StreamedResult& result) : ChunkSink(kRowsOfStreamedChunk), result_(result) {}

  void Done(const std::string& tag, uint64 rows) override {
    const std::lock_guard lock(result_.mutex_);
    result_.tag_ = tag;
    result_.rows_ = static_cast<std::int64_t>(rows);
    result_.isBegun_ = true;
  }

 private:
  void TakeColumns(const std::vector<ColumnInfo>& columns) override {
    const std::lock_guard lock(result_.mutex_);
    TableSchema schema;
    schema.columns = columns;
    result_.SetSchema(std::move(schema));
    result_.isBegun_ = true;
  }
  void TakeChunk(TableChunk chunk) override {
    std::unique_lock lock(result_.mutex_);
    result_.changed_.wait(
        lock, [this] { return result_.ahead_.size() < kMostAhead || result_.isStopped_; });
    if (result_.isStopped_) ThrowEngineError(kCancelled, {});
    result_.ahead_.push_back(std::move(chunk));
    result_.changed_.notify_all();
  }

  StreamedResult& result_;
};

StreamedResult::StreamedResult(std::string sql, const ResultOptions& options,
                               std::shared_ptr<Running> running,
                               std::function<void(ResultSink&)> run)
    : Impl(std::move(sql)), running_(std::move(running)), process_(getpid()) {
  const auto makeRows = [this, run = std::move(run)] {
    std::exception_ptr error;
    try {
      Sink sink(*this);
      run(sink);
    } catch (...) {
      error = std::current_exception();
    }
    const std::lock_guard lock(mutex_);
    error_ = error;
    isEnded_ = true;
    changed_.notify_all();
  };
  try {
    thread_ = std::jthread(makeRows);
  } catch (const std::system_error& error) {
    ThrowEngineError(kNoThread, {Wide(error.code().message())});
  }
  try {
    SettleByFirstRows(options);
  } catch (...) {
    // The thread waits for who reads on.
    Stop();
    throw;
  }
  const std::lock_guard guard(running_->mutex);
  running_->stream = this;
}

void StreamedResult::SettleByFirstRows(const ResultOptions& options) {
  std::unique_lock lock(mutex_);
  Wait(lock);
  if (!isBegun_ && error_) {
    const std::exception_ptr error = error_;
    lock.unlock();
    WithErrors(sql_, [&] { std::rethrow_exception(error); });
  }
  // Later rows may have more digits than these.
  ArrowWriteOptions layouts = MakeWriteOptions(options);
  if (layouts.numerics == ArrowWriteOptions::Numerics::kSettled)
    layouts.numerics = ArrowWriteOptions::Numerics::kDecimal;
  const std::vector<TableChunk> known(ahead_.begin(), ahead_.end());
  lock.unlock();
  WithErrors(sql_, [&] { Settle(known, layouts); });
}

StreamedResult::~StreamedResult() {
  const std::lock_guard guard(running_->mutex);
  Stop();
  if (running_->stream == this) running_->stream = nullptr;
}

void Running::Stop() {
  const std::lock_guard guard(mutex);
  if (stream != nullptr) stream->Stop();
  stream = nullptr;
}

void StreamedResult::Wait(std::unique_lock<std::mutex>& lock) {
  changed_.wait(lock, [this] { return !ahead_.empty() || isEnded_; });
}

const TableChunk* StreamedResult::NextChunk() {
  std::unique_lock lock(mutex_);
  Wait(lock);
  if (ahead_.empty()) {
    if (error_) std::rethrow_exception(error_);
    return nullptr;
  }
  current_ = std::move(ahead_.front());
  ahead_.pop_front();
  changed_.notify_all();
  return &current_;
}

std::unique_ptr<Result::Impl> StreamedResult::Copy() const { ThrowEngineError(kResultPassed, {}); }

void StreamedResult::Stop() {
  if (process_ != getpid()) {
    // What runs there is not for this process to end.
    if (thread_.joinable()) thread_.detach();
    return;
  }
  {
    const std::lock_guard lock(mutex_);
    isStopped_ = true;
    if (!isEnded_) running_->cancellation.Request();
    changed_.notify_all();
  }
  if (!thread_.joinable()) return;
  thread_.join();
  running_->cancellation.Withdraw();
}

Result::Result(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
Result::Result(Result&&) noexcept = default;
Result& Result::operator=(Result&&) noexcept = default;
Result::~Result() = default;

Result::Impl& Result::Get() const {
  if (!impl_) WithErrors({}, [] { ThrowEngineError(kResultPassed, {}); });
  return *impl_;
}

const std::vector<Column>& Result::GetColumns() const { return Get().GetColumns(); }
std::int64_t Result::CountRows() const { return Get().CountRows(); }
void Result::WriteSchema(ArrowSchema* out) const { Get().WriteSchema(out); }
const std::string& Result::GetTag() const { return Get().GetTag(); }
bool Result::Next(ArrowArray* out) { return Get().WriteNext(out); }
Result Result::Copy() const {
  return WithErrors({}, [this] { return Result(Get().Copy()); });
}

void Result::Export(ArrowArrayStream* out) && {
  Get();
  GiveArrowStream(std::move(impl_), out);
}

}  // namespace sqxer::engine
