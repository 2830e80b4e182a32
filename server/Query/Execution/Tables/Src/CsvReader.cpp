#include "CsvReader.h"

#include <csv.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <new>
#include <vector>

#include "Utility/SystemUtility.h"

namespace sqxer {
namespace {

constexpr std::size_t kBlockBytes = std::size_t{256} << 10;
constexpr std::size_t kGrowBytes = std::size_t{16} << 10;
constexpr std::size_t kMaxFieldBytes = std::size_t{64} << 20;
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

[[noreturn]] void ThrowNotReadable(const std::string& path, int error) {
  ThrowTableError(kFileNotReadable, {Wide(path), Wide(std::strerror(error))});
}

class InputFile {
 public:
  explicit InputFile(const std::string& path)
      : path_(path),
        file_(SystemUtility::KeepOffStandardStreams(open(path.c_str(), O_RDONLY | O_CLOEXEC))) {
    if (file_ < 0) ThrowNotReadable(path, errno);
  }
  ~InputFile() { close(file_); }
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  FileState GetState() const {
    struct stat status;
    if (fstat(file_, &status) != 0) ThrowNotReadable(path_, errno);
    if (S_ISDIR(status.st_mode)) ThrowNotReadable(path_, EISDIR);
    // Types are inferred in a pass of their own, so the file is read twice.
    if (!S_ISREG(status.st_mode)) ThrowNotReadable(path_, ESPIPE);
    return {status.st_dev, status.st_ino, static_cast<uint64>(status.st_size),
            status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
  }

  /// Fills the block, but for the end of the file.
  std::size_t Read(char* block, std::size_t size) {
    std::size_t filled = 0;
    while (filled < size) {
      const ssize_t count = read(file_, block + filled, size - filled);
      if (count == 0) break;
      if (count > 0) {
        filled += static_cast<std::size_t>(count);
      } else if (errno != EINTR) {
        ThrowNotReadable(path_, errno);
      }
    }
    return filled;
  }

 private:
  const std::string& path_;
  int file_;
};

/// Stands between the C parser and the sink: counts lines, and keeps exceptions from passing
/// through the parser.
class RecordParser {
 public:
  RecordParser(const std::string& path, char delimiter, CsvRecordSink& sink)
      : path_(path), sink_(sink) {
    csv_init(&parser_, CSV_STRICT | CSV_STRICT_FINI | CSV_EMPTY_IS_NULL | CSV_REPALL_NL);
    csv_set_delim(&parser_, static_cast<unsigned char>(delimiter));
    csv_set_space_func(&parser_, [](unsigned char) { return 0; });
    csv_set_blk_size(&parser_, kGrowBytes);
  }
  ~RecordParser() { csv_free(&parser_); }
  RecordParser(const RecordParser&) = delete;
  RecordParser& operator=(const RecordParser&) = delete;

  void Parse(std::string_view block) {
    const std::size_t nul = block.find('\0');
    const std::string_view clean = block.substr(0, nul);
    isBlockValid_ = BaseStringUtil::IsValidUtf8(clean);
    checkFields_ = checkFields_ || !isBlockValid_;
    const std::size_t parsed =
        csv_parse(&parser_, clean.data(), clean.size(), &OnField, &OnRecord, this);
    if (failure_) std::rethrow_exception(failure_);
    if (parsed != clean.size()) ThrowParseError(kStrayQuotation);
    if (nul != std::string_view::npos) ThrowHere(kNulByte);
    const std::size_t fieldBytes = csv_get_buffer_size(&parser_);
    if (fieldBytes > kMaxFieldBytes) ThrowHere(kFieldTooLarge);
    // The parser grows its buffer by steps of one size; a long field is not to be copied each time.
    csv_set_blk_size(&parser_, std::max(fieldBytes, kGrowBytes));
  }

  void Finish() {
    const int status = csv_fini(&parser_, &OnField, &OnRecord, this);
    if (failure_) std::rethrow_exception(failure_);
    if (status != 0) ThrowParseError(kOpenQuotation);
  }

 private:
  static void OnField(void* text, std::size_t size, void* self) {
    static_cast<RecordParser*>(self)->Guard([&](RecordParser& parser) {
      if (text == nullptr) {
        parser.TakeField(std::nullopt);
      } else {
        parser.TakeField(std::string_view(static_cast<const char*>(text), size));
      }
    });
  }

  static void OnRecord(int terminator, void* self) {
    static_cast<RecordParser*>(self)->Guard(
        [&](RecordParser& parser) { parser.TakeRecordEnd(terminator); });
  }

  template <class Action>
  void Guard(Action&& action) noexcept {
    if (failure_) return;
    try {
      action(*this);
    } catch (...) {
      failure_ = std::current_exception();
    }
  }

  void TakeField(std::optional<std::string_view> text) {
    if (!inRecord_) {
      inRecord_ = true;
      recordLine_ = line_;
    }
    if (text) {
      if (checkFields_ && !BaseStringUtil::IsValidUtf8(*text)) ThrowHere(kInvalidUtf8);
      line_ += static_cast<uint64>(std::ranges::count(*text, '\n'));
    }
    checkFields_ = !isBlockValid_;
    afterCarriageReturn_ = false;
    sink_.Field(text, Place());
  }

  void TakeRecordEnd(int terminator) {
    const bool endsPair = terminator == CSV_LF && !inRecord_ && afterCarriageReturn_;
    if (!endsPair) sink_.EndRecord(Place());
    inRecord_ = false;
    afterCarriageReturn_ = terminator == CSV_CR;
    if (terminator == CSV_LF) ++line_;
  }

  RecordPlace Place() const { return {L"line", inRecord_ ? recordLine_ : line_}; }

  [[noreturn]] void ThrowHere(int code) const {
    ThrowTableError(code, {Wide(path_), Place().Text()});
  }

  [[noreturn]] void ThrowParseError(int code) const {
    if (csv_error(&const_cast<csv_parser&>(parser_)) != CSV_EPARSE) throw std::bad_alloc();
    ThrowHere(code);
  }

  const std::string& path_;
  CsvRecordSink& sink_;
  csv_parser parser_;
  std::exception_ptr failure_;
  uint64 line_ = 1;
  uint64 recordLine_ = 1;
  bool inRecord_ = false;
  /// A block of valid UTF-8 holds valid fields, but for one that started in a block before.
  bool isBlockValid_ = true;
  bool checkFields_ = false;
  /// The record before ended in CR: a line feed now belongs to it.
  bool afterCarriageReturn_ = false;
};

}  // namespace

FileState GetFileState(const std::string& path) { return InputFile(path).GetState(); }

void ReadCsvFile(const std::string& path, char delimiter, CsvRecordSink& sink,
                 LoadProgress progress, uint64 doneBefore, uint64 total) {
  InputFile file(path);
  RecordParser parser(path, delimiter, sink);
  std::vector<char> block(kBlockBytes);
  uint64 done = 0;
  for (;;) {
    const std::size_t count = file.Read(block.data(), block.size());
    if (count == 0) break;
    std::string_view bytes(block.data(), count);
    if (done == 0 && bytes.starts_with(kByteOrderMark)) bytes.remove_prefix(kByteOrderMark.size());
    parser.Parse(bytes);
    done += count;
    if (progress != nullptr) progress(doneBefore + done, total);
  }
  parser.Finish();
}

}  // namespace sqxer
