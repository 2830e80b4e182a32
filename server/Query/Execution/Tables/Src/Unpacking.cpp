#include <zlib.h>
#include <zstd.h>

#include <algorithm>
#include <new>
#include <vector>

#include "ByteSource.h"
#include "TableError.h"

namespace sqxer {
namespace {

constexpr std::size_t kBlockBytes = std::size_t{128} << 10;
// zlib's windows are at most 32 KiB; 16 more asks for a gzip header.
constexpr int kGzipWindow = 15 + 16;

/// Compressed bytes of a source, a block at a time.
class PackedBytes {
 public:
  PackedBytes(std::unique_ptr<ByteSource> source, const std::string& path)
      : source_(std::move(source)), path_(path), block_(kBlockBytes) {}

  /// The bytes that are not taken yet, after reading more if there are none; empty at the end.
  std::string_view Get() {
    if (rest_.empty()) rest_ = {block_.data(), source_->Read(block_.data(), block_.size())};
    return rest_;
  }
  void Take(std::size_t count) { rest_.remove_prefix(count); }
  void Interrupt() { source_->Interrupt(); }

  [[noreturn]] void ThrowDamaged(const wchar_t* reason) const {
    ThrowTableError(kFileNotUnpacked, {Wide(path_), reason});
  }

 private:
  std::unique_ptr<ByteSource> source_;
  std::string path_;
  std::vector<char> block_;
  std::string_view rest_;
};

class GzipSource final : public ByteSource {
 public:
  GzipSource(std::unique_ptr<ByteSource> source, const std::string& path)
      : packed_(std::move(source), path) {
    if (inflateInit2(&stream_, kGzipWindow) != Z_OK) throw std::bad_alloc();
  }
  ~GzipSource() override { inflateEnd(&stream_); }
  GzipSource(const GzipSource&) = delete;
  GzipSource& operator=(const GzipSource&) = delete;

  std::size_t Read(char* out, std::size_t size) override {
    const std::size_t wanted = std::min(size, std::size_t{1} << 30);
    stream_.next_out = reinterpret_cast<Bytef*>(out);
    stream_.avail_out = static_cast<uInt>(wanted);
    while (stream_.avail_out == wanted) {
      const std::string_view packed = packed_.Get();
      if (isBetween_ && !StartMember(packed)) return 0;
      if (packed.empty()) packed_.ThrowDamaged(L"its gzip data end too early");
      stream_.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(packed.data()));
      stream_.avail_in = static_cast<uInt>(packed.size());
      const int status = inflate(&stream_, Z_NO_FLUSH);
      packed_.Take(packed.size() - stream_.avail_in);
      if (status == Z_MEM_ERROR) throw std::bad_alloc();
      isBetween_ = status == Z_STREAM_END;
      if (!isBetween_ && status != Z_OK && status != Z_BUF_ERROR) {
        packed_.ThrowDamaged(L"its gzip data are damaged");
      }
    }
    return wanted - stream_.avail_out;
  }

  void Interrupt() override { packed_.Interrupt(); }

 private:
  /// False at the end.
  bool StartMember(std::string_view packed) {
    while (!packed.empty() && packed.front() == '\0') {
      packed_.Take(1);
      packed = packed_.Get();
      isPadded_ = true;
    }
    if (packed.empty()) return false;
    if (isPadded_) packed_.ThrowDamaged(L"its gzip data are damaged");
    inflateReset(&stream_);
    return true;
  }

  PackedBytes packed_;
  z_stream stream_ = {};
  bool isBetween_ = false;
  bool isPadded_ = false;
};

class ZstdSource final : public ByteSource {
 public:
  ZstdSource(std::unique_ptr<ByteSource> source, const std::string& path)
      : packed_(std::move(source), path), stream_(ZSTD_createDStream()) {
    if (stream_ == nullptr) throw std::bad_alloc();
  }
  ~ZstdSource() override { ZSTD_freeDStream(stream_); }
  ZstdSource(const ZstdSource&) = delete;
  ZstdSource& operator=(const ZstdSource&) = delete;

  std::size_t Read(char* out, std::size_t size) override {
    ZSTD_outBuffer output{out, size, 0};
    while (output.pos == 0) {
      const std::string_view packed = packed_.Get();
      // What is left of a frame may be in the decompressor already.
      if (packed.empty() && !hasMore_) {
        if (isInFrame_) packed_.ThrowDamaged(L"its zstd data end too early");
        return 0;
      }
      ZSTD_inBuffer input{packed.data(), packed.size(), 0};
      const std::size_t status = ZSTD_decompressStream(stream_, &output, &input);
      if (ZSTD_isError(status)) packed_.ThrowDamaged(L"its zstd data are damaged");
      packed_.Take(input.pos);
      isInFrame_ = status != 0;
      hasMore_ = output.pos == output.size;
    }
    return output.pos;
  }

  void Interrupt() override { packed_.Interrupt(); }

 private:
  PackedBytes packed_;
  ZSTD_DStream* stream_;
  bool isInFrame_ = false;
  bool hasMore_ = false;
};

}  // namespace

std::unique_ptr<ByteSource> UnpackGzip(std::unique_ptr<ByteSource> source,
                                       const std::string& path) {
  return std::make_unique<GzipSource>(std::move(source), path);
}

std::unique_ptr<ByteSource> UnpackZstd(std::unique_ptr<ByteSource> source,
                                       const std::string& path) {
  return std::make_unique<ZstdSource>(std::move(source), path);
}

}  // namespace sqxer
