#include "TextFile.h"

#include "TableError.h"

namespace sqxer {
namespace {

constexpr std::string_view kGzipMagic = "\x1F\x8B";
constexpr std::string_view kZstdMagic = "\x28\xB5\x2F\xFD";
constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";
constexpr std::string_view kUtf16LittleMark = "\xFF\xFE";
constexpr std::string_view kUtf16BigMark = "\xFE\xFF";

class FileBytes final : public ByteSource {
 public:
  explicit FileBytes(InputFile& file) : file_(file) {}
  std::size_t Read(char* out, std::size_t size) override { return file_.Read(out, size); }
  void Interrupt() override { file_.Interrupt(); }

 private:
  InputFile& file_;
};

std::unique_ptr<PeekingSource> MakePeeking(std::unique_ptr<ByteSource> source) {
  return std::make_unique<PeekingSource>(std::move(source));
}

bool StartsWith(PeekingSource& source, std::string_view bytes) {
  return source.Peek(bytes.size()) == bytes;
}

/// Nothing when the bytes are not packed.
std::unique_ptr<ByteSource> Unpack(std::unique_ptr<PeekingSource>& source,
                                   const std::string& path) {
  if (StartsWith(*source, kGzipMagic)) return UnpackGzip(std::move(source), path);
  if (StartsWith(*source, kZstdMagic)) return UnpackZstd(std::move(source), path);
  for (const auto& [ending, reason] : {std::pair(".gz", L"it does not hold gzip data"),
                                       std::pair(".zst", L"it does not hold zstd data")}) {
    if (path.ends_with(ending)) ThrowTableError(kFileNotUnpacked, {Wide(path), reason});
  }
  return nullptr;
}

bool IsUtf8Name(const std::string& encoding) {
  return encoding.empty() || BaseStringUtil::IsCaseInsensitiveMatch(Wide(encoding), L"UTF-8") ||
         BaseStringUtil::IsCaseInsensitiveMatch(Wide(encoding), L"UTF8");
}

}  // namespace

TextFile::TextFile(const std::string& path, const std::string& encoding, bool mayStartThread)
    : file_(std::make_unique<InputFile>(path)) {
  std::unique_ptr<PeekingSource> source = MakePeeking(std::make_unique<FileBytes>(*file_));
  std::unique_ptr<ByteSource> unpacked = Unpack(source, path);
  isPacked_ = unpacked != nullptr;
  if (isPacked_) source = MakePeeking(std::move(unpacked));
  if (!IsUtf8Name(encoding)) encoding_ = encoding;
  if (StartsWith(*source, kUtf16LittleMark)) encoding_ = "UTF-16LE";
  if (StartsWith(*source, kUtf16BigMark)) encoding_ = "UTF-16BE";
  if (StartsWith(*source, kUtf8Mark)) encoding_.clear();
  const bool isDecoded = !encoding_.empty();
  if (isDecoded) source = MakePeeking(DecodeText(std::move(source), encoding_));
  if (StartsWith(*source, kUtf8Mark)) {
    source->Skip(kUtf8Mark.size());
    start_ = kUtf8Mark.size();
  }
  isPlain_ = file_->IsRegular() && !isPacked_ && !isDecoded;
  source_ = std::move(source);
  if (mayStartThread && (isPacked_ || isDecoded)) source_ = ReadAhead(std::move(source_));
}

void TextFile::ReadToEnd() {
  std::string block(std::size_t{64} << 10, '\0');
  while (Read(block.data(), block.size()) != 0) {
  }
}

}  // namespace sqxer
