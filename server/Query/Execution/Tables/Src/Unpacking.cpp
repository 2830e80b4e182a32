#include <isa-l/crc.h>
#include <isa-l/igzip_lib.h>
#include <zstd.h>
#include <zstd_errors.h>

#include <algorithm>
#include <new>
#include <string>
#include <vector>

#include "ByteSource.h"
#include "TableError.h"
#include "Utility/Settings.h"

namespace sqxer {
namespace {

constexpr std::size_t kBlockBytes = std::size_t{128} << 10;

/// Compressed bytes of a source, a block at a time.
class PackedBytes {
 public:
  PackedBytes(std::unique_ptr<ByteSource> source, const std::string& path)
      : source_(std::move(source)),
        path_(path),
        mostRatio_(static_cast<uint64>(Settings::Current()->GetSwitches().unpackRatio_)),
        block_(kBlockBytes) {}

  /// The bytes that are not taken yet, after reading more if there are none; empty at the end.
  std::string_view Get() {
    if (rest_.empty()) rest_ = {block_.data(), source_->Read(block_.data(), block_.size())};
    return rest_;
  }
  void Take(std::size_t count) {
    rest_.remove_prefix(count);
    taken_ += count;
  }
  /// Counts what was made of the bytes taken. Error 57040 (file, ratio) when it is too much.
  std::size_t CountUnpacked(std::size_t count) {
    // However well a few bytes are packed, so much harms nobody.
    constexpr uint64 kHarmless = uint64{64} << 20;
    unpacked_ += count;
    if (unpacked_ > kHarmless && unpacked_ / mostRatio_ > taken_)
      ThrowTableError(kPackedTooWell, {Wide(path_), std::to_wstring(mostRatio_)});
    return count;
  }
  void Interrupt() { source_->Interrupt(); }

  [[noreturn]] void ThrowDamaged(const wchar_t* reason) const {
    ThrowTableError(kFileNotUnpacked, {Wide(path_), reason});
  }

 private:
  std::unique_ptr<ByteSource> source_;
  std::string path_;
  const uint64 mostRatio_;
  uint64 taken_ = 0;
  uint64 unpacked_ = 0;
  std::vector<char> block_;
  std::string_view rest_;
};

class GzipSource final : public ByteSource {
 public:
  GzipSource(std::unique_ptr<ByteSource> source, const std::string& path)
      : packed_(std::move(source), path) {
    isal_inflate_init(&state_);
    // Checksum and length behind the data are compared.
    state_.crc_flag = ISAL_GZIP_NO_HDR_VER;
  }

  std::size_t Read(char* out, std::size_t size) override {
    const uint32 wanted = static_cast<uint32>(std::min(size, std::size_t{1} << 30));
    state_.next_out = reinterpret_cast<uint8*>(out);
    state_.avail_out = wanted;
    while (state_.avail_out == wanted) {
      if (!isInMember_ && !StartMember()) return 0;
      const std::string_view packed = packed_.Get();
      state_.next_in = reinterpret_cast<uint8*>(const_cast<char*>(packed.data()));
      state_.avail_in = static_cast<uint32>(packed.size());
      if (isal_inflate(&state_) < 0) ThrowDamaged();
      packed_.Take(packed.size() - state_.avail_in);
      isInMember_ = state_.block_state != ISAL_BLOCK_FINISH;
      // What is left of a member may be in the decompressor already.
      if (packed.empty() && isInMember_ && state_.avail_out == wanted) ThrowEndsEarly();
    }
    return packed_.CountUnpacked(wanted - state_.avail_out);
  }

  void Interrupt() override { packed_.Interrupt(); }

 private:
  /// Of the byte of a header that says what else the header has.
  enum Flag : uint8 { kHasChecksum = 2, kHasExtra = 4, kHasName = 8, kHasComment = 16 };
  static constexpr uint8 kUnknownFlags = 0xE0;

  [[noreturn]] void ThrowDamaged() const { packed_.ThrowDamaged(L"its gzip data are damaged"); }
  [[noreturn]] void ThrowEndsEarly() const { packed_.ThrowDamaged(L"its gzip data end too early"); }

  /// Reads the header of the next member; false at the end.
  bool StartMember() {
    std::string_view packed = packed_.Get();
    // Behind the last member.
    while (hasMember_ && !packed.empty() && packed.front() == '\0') {
      packed_.Take(1);
      packed = packed_.Get();
      isPadded_ = true;
    }
    if (packed.empty()) return false;
    if (isPadded_) ThrowDamaged();
    ReadHeader();
    isal_inflate_reset(&state_);
    isInMember_ = hasMember_ = true;
    return true;
  }

  /// The library's own reader of headers takes one that comes in two pieces for damaged.
  void ReadHeader() {
    constexpr uint8 kMagic[] = {0x1F, 0x8B};
    constexpr uint8 kDeflated = 8;
    headerChecksum_ = 0;
    for (const uint8 byte : kMagic) {
      if (TakeByte() != byte) ThrowDamaged();
    }
    const bool isDeflated = TakeByte() == kDeflated;
    const uint8 flags = TakeByte();
    if (!isDeflated || (flags & kUnknownFlags) != 0) ThrowDamaged();
    constexpr int kTimeAndSystemBytes = 6;
    for (int i = 0; i < kTimeAndSystemBytes; ++i) TakeByte();
    if ((flags & kHasExtra) != 0) {
      for (uint32 rest = TakeWord(); rest > 0; --rest) TakeByte();
    }
    for (const Flag text : {kHasName, kHasComment}) {
      while ((flags & text) != 0 && TakeByte() != 0) {
      }
    }
    const uint32 checksum = headerChecksum_ & 0xFFFF;
    if ((flags & kHasChecksum) != 0 && TakeWord() != checksum) ThrowDamaged();
  }

  uint8 TakeByte() {
    const std::string_view packed = packed_.Get();
    if (packed.empty()) ThrowEndsEarly();
    const uint8 byte = static_cast<uint8>(packed.front());
    packed_.Take(1);
    headerChecksum_ = crc32_gzip_refl(headerChecksum_, &byte, 1);
    return byte;
  }
  uint32 TakeWord() {
    const uint32 low = TakeByte();
    return low | static_cast<uint32>(TakeByte()) << 8;
  }

  PackedBytes packed_;
  inflate_state state_;
  bool isInMember_ = false;
  bool hasMember_ = false;
  bool isPadded_ = false;
  /// Of the header so far.
  uint32 headerChecksum_ = 0;
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
      if (ZSTD_getErrorCode(status) == ZSTD_error_memory_allocation) throw std::bad_alloc();
      if (ZSTD_isError(status)) packed_.ThrowDamaged(L"its zstd data are damaged");
      packed_.Take(input.pos);
      isInFrame_ = status != 0;
      hasMore_ = output.pos == output.size;
    }
    return packed_.CountUnpacked(output.pos);
  }

  void Interrupt() override { packed_.Interrupt(); }

 private:
  PackedBytes packed_;
  ZSTD_DStream* stream_;
  bool isInFrame_ = false;
  bool hasMore_ = false;
};

template <class Word>
Word ReadWordAt(const InputFile& file, uint64 place) {
  Word word = 0;
  file.ReadAt(place, reinterpret_cast<char*>(&word), sizeof word);
  return word;
}

}  // namespace

uint64 TellUnpackedBytes(const InputFile& file) {
  constexpr uint16 kGzip = 0x8B1F;
  constexpr std::size_t kMostOfFrameHeader = 18;
  if (file.GetSize() < kMostOfFrameHeader) return 0;
  if (ReadWordAt<uint16>(file, 0) == kGzip) {
    return ReadWordAt<uint32>(file, file.GetSize() - sizeof(uint32));
  }
  char header[kMostOfFrameHeader];
  const uint64 bytes = ZSTD_getFrameContentSize(header, file.ReadAt(0, header, sizeof header));
  return bytes == ZSTD_CONTENTSIZE_ERROR || bytes == ZSTD_CONTENTSIZE_UNKNOWN ? 0 : bytes;
}

std::unique_ptr<ByteSource> UnpackGzip(std::unique_ptr<ByteSource> source,
                                       const std::string& path) {
  return std::make_unique<GzipSource>(std::move(source), path);
}

std::unique_ptr<ByteSource> UnpackZstd(std::unique_ptr<ByteSource> source,
                                       const std::string& path) {
  return std::make_unique<ZstdSource>(std::move(source), path);
}

}  // namespace sqxer
