#include "ByteSource.h"

#include <algorithm>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <exception>
#include <mutex>
#include <new>
#include <system_error>
#include <thread>
#include <vector>

#include "TableError.h"
#include "Utility/TextDecoder.h"

namespace sqxer {
namespace {

constexpr std::size_t kBlockBytes = std::size_t{256} << 10;
constexpr std::size_t kBlocksAhead = 4;

std::size_t TakeFront(std::string& bytes, char* out, std::size_t size) {
  const std::size_t count = std::min(size, bytes.size());
  std::memcpy(out, bytes.data(), count);
  bytes.erase(0, count);
  return count;
}

class DecodingSource final : public ByteSource {
 public:
  DecodingSource(std::unique_ptr<ByteSource> source, const std::string& encoding)
      : source_(std::move(source)), decoder_(encoding), block_(kBlockBytes) {
    if (!decoder_.IsKnown()) ThrowTableError(kEncodingUnknown, {Wide(encoding)});
  }

  std::size_t Read(char* out, std::size_t size) override {
    if (size >= kLeastRoom && spill_.empty()) return Decode(out, size);
    // Less than the decoder needs.
    if (spill_.empty()) {
      spill_.resize(kLeastRoom);
      spill_.resize(Decode(spill_.data(), spill_.size()));
    }
    return TakeFront(spill_, out, size);
  }

  void Interrupt() override { source_->Interrupt(); }

 private:
  static constexpr std::size_t kLeastRoom = 64;

  std::size_t Decode(char* out, std::size_t size) {
    for (;;) {
      const std::size_t written = decoder_.Decode(rest_, isLast_, out, size);
      if (written != 0 || (isLast_ && rest_.empty())) return written;
      const std::size_t count = source_->Read(block_.data(), block_.size());
      rest_ = std::string_view(block_.data(), count);
      isLast_ = count == 0;
      // The decoder may hold the start of a character still.
      if (isLast_) return decoder_.Decode(rest_, true, out, size);
    }
  }

  std::unique_ptr<ByteSource> source_;
  TextDecoder decoder_;
  std::vector<char> block_;
  std::string_view rest_;
  std::string spill_;
  bool isLast_ = false;
};

class ReadAheadSource final : public ByteSource {
 public:
  explicit ReadAheadSource(std::unique_ptr<ByteSource> source) : source_(std::move(source)) {
    try {
      thread_ = std::thread([this] { Run(); });
    } catch (const std::system_error&) {
      // As many threads as there may be: who reads waits for the bytes.
    } catch (const std::bad_alloc&) {
      // A thread takes memory.
    }
  }
  ~ReadAheadSource() override {
    if (!thread_.joinable()) return;
    Interrupt();
    thread_.join();
  }

  std::size_t Read(char* out, std::size_t size) override {
    if (!thread_.joinable()) return source_->Read(out, size);
    if (taken_ == current_.size()) {
      std::unique_lock lock(mutex_);
      changed_.wait(lock, [this] { return !blocks_.empty() || isDone_; });
      if (blocks_.empty()) {
        if (failure_) std::rethrow_exception(failure_);
        return 0;
      }
      spare_.push_back(std::move(current_));
      current_ = std::move(blocks_.front());
      blocks_.pop_front();
      taken_ = 0;
      changed_.notify_all();
    }
    const std::size_t count = std::min(size, current_.size() - taken_);
    std::memcpy(out, current_.data() + taken_, count);
    taken_ += count;
    return count;
  }

  void Interrupt() override {
    source_->Interrupt();
    const std::lock_guard lock(mutex_);
    isStopped_ = true;
    changed_.notify_all();
  }

 private:
  void Run() noexcept {
    try {
      for (;;) {
        std::vector<char> block = TakeSpare();
        block.resize(kBlockBytes);
        block.resize(source_->Read(block.data(), block.size()));
        if (block.empty()) break;
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return blocks_.size() < kBlocksAhead || isStopped_; });
        if (isStopped_) break;
        blocks_.push_back(std::move(block));
        changed_.notify_all();
      }
    } catch (...) {
      failure_ = std::current_exception();
    }
    const std::lock_guard lock(mutex_);
    isDone_ = true;
    changed_.notify_all();
  }

  std::vector<char> TakeSpare() {
    const std::lock_guard lock(mutex_);
    if (spare_.empty()) return {};
    std::vector<char> block = std::move(spare_.back());
    spare_.pop_back();
    return block;
  }

  std::unique_ptr<ByteSource> source_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::vector<char>> blocks_;
  std::vector<std::vector<char>> spare_;
  bool isStopped_ = false;
  bool isDone_ = false;
  /// Written by the thread before it is done.
  std::exception_ptr failure_;
  /// Of the reader alone.
  std::vector<char> current_;
  std::size_t taken_ = 0;
  std::thread thread_;
};

}  // namespace

std::string_view PeekingSource::Peek(std::size_t size) {
  while (head_.size() < size) {
    const std::size_t had = head_.size();
    head_.resize(size);
    const std::size_t count = source_->Read(head_.data() + had, size - had);
    head_.resize(had + count);
    if (count == 0) break;
  }
  return std::string_view(head_).substr(0, size);
}

std::size_t PeekingSource::Read(char* out, std::size_t size) {
  if (head_.empty()) return source_->Read(out, size);
  return TakeFront(head_, out, size);
}

std::unique_ptr<ByteSource> DecodeText(std::unique_ptr<ByteSource> source,
                                       const std::string& encoding) {
  return std::make_unique<DecodingSource>(std::move(source), encoding);
}

std::unique_ptr<ByteSource> ReadAhead(std::unique_ptr<ByteSource> source) {
  return std::make_unique<ReadAheadSource>(std::move(source));
}

}  // namespace sqxer
