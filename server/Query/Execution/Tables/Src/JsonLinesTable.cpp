#include "JsonLinesTable.h"

#include <cstring>
#include <filesystem>
#include <limits>
#include <map>
#include <optional>

#include "ColumnSurvey.h"
#include "CsvRecord.h"
#include "JsonLineReader.h"
#include "TableColumns.h"
#include "TextFile.h"

namespace sqxer {
namespace {

constexpr std::size_t kMaxLineBytes = kMaxFieldBytes;

bool IsBlank(std::string_view line) {
  return line.find_first_not_of(" \t\r") == std::string_view::npos;
}

/// The lines of a text file, each with the padding that the reader wants behind it.
class LineSource {
 public:
  LineSource(const std::string& path, const std::string& encoding, bool mayStartThread)
      : file_(path, encoding, mayStartThread),
        buffer_(kBlockBytes + JsonLineReader::GetPadding(), '\0') {}

  const TextFile& GetFile() const { return file_; }
  RecordPlace GetPlace() const { return {L"line", number_}; }

  /// The next line, without its end; false at the end of the file. Error 57033.
  bool Next(std::string_view& line) {
    ++number_;
    for (std::size_t searched = 0;;) {
      const char* const start = buffer_.data() + begin_;
      const std::size_t size = end_ - begin_;
      const void* const lineEnd = std::memchr(start + searched, '\n', size - searched);
      const bool isWhole = lineEnd != nullptr;
      const std::size_t length =
          isWhole ? static_cast<std::size_t>(static_cast<const char*>(lineEnd) - start) : size;
      if (length > kMaxLineBytes) {
        ThrowTableError(kLineTooLarge, {Wide(file_.GetFile().GetPath()), GetPlace().Text()});
      }
      searched = length;
      if (isWhole || !Fill()) {
        line = {buffer_.data() + begin_, length};
        begin_ += length + (isWhole ? 1 : 0);
        return isWhole || length > 0;
      }
    }
  }

 private:
  static constexpr std::size_t kBlockBytes = std::size_t{256} << 10;

  /// Reads on behind the line that has begun; false at the end of the file.
  bool Fill() {
    const std::size_t size = end_ - begin_;
    std::memmove(buffer_.data(), buffer_.data() + begin_, size);
    begin_ = 0;
    end_ = size;
    std::size_t room = buffer_.size() - JsonLineReader::GetPadding();
    if (size > room / 2) {
      buffer_.resize(2 * room + JsonLineReader::GetPadding());
      room *= 2;
    }
    const std::size_t count = file_.Read(buffer_.data() + end_, room - end_);
    end_ += count;
    return count > 0;
  }

  TextFile file_;
  std::string buffer_;
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
  uint64 number_ = 0;
};

/// What a value can be read as.
unsigned KindsOf(JsonLineReader::Kind kind, std::string_view text) {
  switch (kind) {
    case JsonLineReader::Kind::kBoolean:
      return kBooleanKind;
    case JsonLineReader::Kind::kNumber:
      return ClassifyText(text) & (kInt4Kind | kNumericKind | kDoubleKind);
    case JsonLineReader::Kind::kString:
      return ClassifyText(text) & (kDateKind | kTimeStampKind | kTimeKind);
    default:
      return 0;
  }
}

}  // namespace

class JsonLinesTable::Loader final : private JsonLineReader::MemberSink {
 public:
  Loader(const JsonLinesTable& table, LoadProgress progress)
      : paths_(table.paths_),
        declared_(table.declared_),
        encoding_(table.encoding_),
        mayStartThread_(table.mayStartThread_),
        progress_(progress) {
    for (const std::string& path : paths_) {
      std::error_code ignored;
      const bool isSized = std::filesystem::is_regular_file(path, ignored);
      bytes_ += isSized ? std::filesystem::file_size(path, ignored) : 0;
    }
  }

  /// `textReasons` becomes those of the columns.
  Table Load(const XeString& name, std::vector<XeString>& textReasons) {
    for (const std::string& path : paths_) ReadFile(path);
    if (columns_.empty()) ThrowTableError(kNoKeys, {Wide(paths_.front())});
    std::vector<XeString> names;
    for (const Column& column : columns_) names.push_back(column.name);
    const ColumnNames checked(paths_.front(), std::move(names), declared_);
    if (refusal_) {
      ThrowRefusedValue(refusal_->outcome, refusal_->path, refusal_->place, refusal_->column,
                        refusal_->value);
    }
    Table table;
    table.schema.name = name;
    table.rowCount = table.schema.mostRows = rows_;
    table.chunks.emplace_back();
    table.chunks.back().rows = rows_;
    for (Column& column : columns_) {
      FillWithNulls(column);
      textReasons.push_back(std::move(column.textReason));
      const XeDataType type = column.survey.GetType();
      table.schema.columns.push_back(DescribeColumn(column.name, column.declared, type,
                                                    column.builder->GetLongest(),
                                                    column.builder->GetNulls() > 0));
      ColumnVector vector = column.builder->Take();
      const bool isConverted = !column.declared && type != XeVarCharData;
      table.chunks.back().columns.push_back(isConverted ? ConvertTexts(vector, type)
                                                        : std::move(vector));
    }
    return table;
  }

 private:
  struct Column {
    std::string key;
    XeString name;
    std::optional<ColumnInfo> declared;
    /// Of texts, unless a type is declared: the last value may decide the type.
    std::unique_ptr<VectorBuilder> builder;
    ColumnSurvey survey;
    XeString textReason;
    /// The rows up to the last one that has the key.
    uint64 rowsSeen = 0;
  };
  /// The first value that a declared type does not take.
  struct Refusal {
    VectorBuilder::Outcome outcome;
    std::string path;
    RecordPlace place;
    ColumnInfo column;
    std::string value;
  };

  void ReadFile(const std::string& path) {
    LineSource lines(path, encoding_, mayStartThread_);
    lines_ = &lines;
    const InputFile& file = lines.GetFile().GetFile();
    uint64 told = 0;
    std::string_view line;
    while (lines.Next(line)) {
      if (IsBlank(line)) continue;
      next_ = 0;
      if (!reader_.Read(line, *this)) ThrowBroken(line);
      ++rows_;
      const uint64 done = file.GetReadBytes();
      if (done != told && progress_ != nullptr && bytes_ > 0)
        progress_(bytesBefore_ + done, bytes_);
      told = done;
    }
    file.CheckUnchanged(file.GetVersion());
    bytesBefore_ += file.GetSize();
  }

  void Take(std::string_view key, JsonLineReader::Kind kind, std::string_view text) override {
    Column& column = FindOrAdd(key);
    if (column.rowsSeen == rows_ + 1) {
      ThrowTableError(kDuplicateKey, {Path(), Place(), QuotedValue(key)});
    }
    column.rowsSeen = rows_ + 1;
    if (text.find('\0') != std::string_view::npos) ThrowTableError(kNulByte, {Path(), Place()});
    if (kind == JsonLineReader::Kind::kNull || refusal_) return;
    FillWithNulls(column);
    const VectorBuilder::Outcome outcome = column.builder->Append(text);
    if (column.declared) {
      if (outcome != VectorBuilder::Outcome::kTaken) Refuse(outcome, column, text);
    } else {
      const bool hadKind = column.survey.HasKind();
      column.survey.Add(KindsOf(kind, text));
      if (hadKind && !column.survey.HasKind()) {
        column.textReason = DescribeTextReason(
            text, lines_->GetPlace(),
            paths_.size() == 1 ? std::string() : lines_->GetFile().GetFile().GetPath());
      }
    }
  }

  /// Appends the NULLs of the rows so far that had no value.
  void FillWithNulls(Column& column) const {
    while (column.builder->GetRows() < rows_) column.builder->AppendNull();
  }

  Column& FindOrAdd(std::string_view key) {
    // Most objects have the keys of the one before, in its order.
    if (next_ == columns_.size() || columns_[next_].key != key) {
      const auto found = indexes_.find(key);
      next_ = found == indexes_.end() ? Add(key) : found->second;
    }
    return columns_[next_++];
  }

  std::size_t Add(std::string_view key) {
    const std::size_t index = columns_.size();
    if (index == std::numeric_limits<uint16>::max()) {
      ThrowTableError(kTooManyColumns, {Path(), std::to_wstring(index + 1)});
    }
    if (key.find('\0') != std::string_view::npos) ThrowTableError(kNulByte, {Path(), Place()});
    Column column;
    column.key = key;
    column.name = key.empty() ? L"column" + std::to_wstring(index + 1) : Wide(key);
    const auto declared = declared_.find(column.name);
    if (declared != declared_.end()) {
      column.declared = declared->second;
      column.declared->name = column.name;
    }
    column.builder = VectorBuilder::Make(
        column.declared ? column.declared->type : XeVarCharData,
        column.declared ? column.declared->length : VectorBuilder::kAnyLength, {});
    indexes_.emplace(key, index);
    columns_.push_back(std::move(column));
    return index;
  }

  void Refuse(VectorBuilder::Outcome outcome, const Column& column, std::string_view text) {
    refusal_ = {outcome, lines_->GetFile().GetFile().GetPath(), lines_->GetPlace(),
                *column.declared, std::string(text)};
  }

  [[noreturn]] void ThrowBroken(std::string_view line) const {
    if (line.find('\0') != std::string_view::npos) ThrowTableError(kNulByte, {Path(), Place()});
    if (!BaseStringUtil::IsValidUtf8(line)) {
      const std::string& encoding = lines_->GetFile().GetEncoding();
      if (encoding.empty()) ThrowTableError(kInvalidUtf8, {Path(), Place()});
      ThrowTableError(kInvalidEncoding, {Path(), Place(), Wide(encoding)});
    }
    ThrowTableError(kNoJsonObject, {Path(), Place(), QuotedValue(TrimBlanks(line))});
  }

  XeString Path() const { return Wide(lines_->GetFile().GetFile().GetPath()); }
  XeString Place() const { return lines_->GetPlace().Text(); }

  const std::vector<std::string>& paths_;
  const DeclaredTypes& declared_;
  const std::string& encoding_;
  const bool mayStartThread_;
  const LoadProgress progress_;
  /// Of all files on disk, and of those that are done.
  uint64 bytes_ = 0;
  uint64 bytesBefore_ = 0;
  JsonLineReader reader_;
  /// Of the file that is being read.
  const LineSource* lines_ = nullptr;
  std::vector<Column> columns_;
  std::map<std::string, std::size_t, std::less<>> indexes_;
  /// The column that comes next if the line has the keys of others.
  std::size_t next_ = 0;
  uint64 rows_ = 0;
  std::optional<Refusal> refusal_;
};

JsonLinesTable::JsonLinesTable(std::vector<std::string> paths, const XeString& name,
                               DeclaredTypes declared, std::string encoding, bool mayStartThread)
    : paths_(std::move(paths)),
      declared_(std::move(declared)),
      encoding_(std::move(encoding)),
      mayStartThread_(mayStartThread) {
  table_.schema.name = name;
}

const TableSchema& JsonLinesTable::Require(const TableRequest&, LoadProgress progress) {
  if (isLoaded_) return table_.schema;
  std::vector<XeString> textReasons;
  table_ = Loader(*this, progress).Load(table_.schema.name, textReasons);
  textReasons_ = std::move(textReasons);
  isLoaded_ = true;
  return table_.schema;
}

}  // namespace sqxer
