#include "Packing.h"

#include <isa-l/igzip_lib.h>
#include <zstd.h>

#include <algorithm>
#include <new>
#include <vector>

#include "Utility/XeTypes.h"

namespace sqxer {
namespace {

constexpr std::size_t kPieceBytes = std::size_t{128} << 10;

class GzipPacker final : public Packer {
 public:
  explicit GzipPacker(Write write)
      : write_(std::move(write)), level_(ISAL_DEF_LVL1_DEFAULT), piece_(kPieceBytes) {
    isal_deflate_init(&state_);
    state_.gzip_flag = IGZIP_GZIP;
    state_.level = 1;
    state_.level_buf = level_.data();
    state_.level_buf_size = static_cast<uint32>(level_.size());
  }

  void Add(std::string_view bytes) override {
    constexpr std::size_t kMost = std::size_t{1} << 30;
    while (!bytes.empty()) {
      const std::size_t count = std::min(bytes.size(), kMost);
      Pack(bytes.substr(0, count));
      bytes.remove_prefix(count);
    }
  }
  void End() override {
    state_.end_of_stream = 1;
    Pack({});
  }

 private:
  void Pack(std::string_view bytes) {
    state_.next_in = reinterpret_cast<uint8*>(const_cast<char*>(bytes.data()));
    state_.avail_in = static_cast<uint32>(bytes.size());
    do {
      state_.next_out = piece_.data();
      state_.avail_out = static_cast<uint32>(piece_.size());
      // It fails for wrong settings alone.
      isal_deflate(&state_);
      const std::size_t packed = piece_.size() - state_.avail_out;
      if (packed != 0) write_({reinterpret_cast<const char*>(piece_.data()), packed});
    } while (state_.avail_out == 0);
  }

  const Write write_;
  std::vector<uint8> level_;
  std::vector<uint8> piece_;
  isal_zstream state_;
};

class ZstdPacker final : public Packer {
 public:
  explicit ZstdPacker(Write write)
      : write_(std::move(write)), stream_(ZSTD_createCCtx(), &ZSTD_freeCCtx), piece_(kPieceBytes) {
    if (stream_ == nullptr) throw std::bad_alloc();
    ZSTD_CCtx_setParameter(stream_.get(), ZSTD_c_checksumFlag, 1);
  }

  void Add(std::string_view bytes) override { Pack(bytes, ZSTD_e_continue); }
  void End() override { Pack({}, ZSTD_e_end); }

 private:
  void Pack(std::string_view bytes, ZSTD_EndDirective end) {
    ZSTD_inBuffer input{bytes.data(), bytes.size(), 0};
    for (bool isDone = false; !isDone;) {
      ZSTD_outBuffer output{piece_.data(), piece_.size(), 0};
      const std::size_t left = ZSTD_compressStream2(stream_.get(), &output, &input, end);
      // Of valid settings it lacks memory alone.
      if (ZSTD_isError(left)) throw std::bad_alloc();
      if (output.pos != 0) write_({piece_.data(), output.pos});
      isDone = end == ZSTD_e_end ? left == 0 : input.pos == input.size;
    }
  }

  const Write write_;
  const std::unique_ptr<ZSTD_CCtx, decltype(&ZSTD_freeCCtx)> stream_;
  std::vector<char> piece_;
};

}  // namespace

std::unique_ptr<Packer> MakePacker(std::string_view path, Packer::Write write) {
  if (path.ends_with(".gz")) return std::make_unique<GzipPacker>(std::move(write));
  if (path.ends_with(".zst")) return std::make_unique<ZstdPacker>(std::move(write));
  return nullptr;
}

}  // namespace sqxer
