#include "CsvTable.h"

#include "CsvReader.h"
#include "TableColumns.h"

namespace sqxer {
namespace {

/// Takes the header, and counts rows and fields; a pass says what happens to the fields.
class CsvPass : public CsvRecordSink {
 public:
  CsvPass(const std::string& file, const DeclaredTypes& declared,
          std::optional<TableColumns>& columns)
      : file_(file), declared_(declared), columns_(columns) {}

  void Field(std::optional<std::string_view> text, const RecordPlace& place) override {
    const std::size_t index = fields_++;
    if (inHeader_) {
      names_.push_back(text ? Wide(TrimBlanks(*text)) : XeString());
      if (names_.back().empty()) names_.back() = L"column" + std::to_wstring(names_.size());
    } else if (index < columns_->GetCount()) {
      TakeValue(index, text, place);
    }
  }

  void EndRecord(const RecordPlace& place) override {
    if (inHeader_) {
      if (fields_ == 0) return;
      inHeader_ = false;
      if (!columns_) columns_.emplace(file_, std::move(names_), declared_);
    } else {
      const std::size_t count = columns_->GetCount();
      if (fields_ == 0 && count > 1) return;
      if (fields_ == 0) Field(std::nullopt, place);
      if (fields_ != count) {
        ThrowTableError(kFieldCount, {Wide(file_), place.Text(), std::to_wstring(fields_),
                                      std::to_wstring(count)});
      }
      ++rows_;
    }
    fields_ = 0;
  }

  uint64 GetRows() const { return rows_; }

 protected:
  virtual void TakeValue(std::size_t column, std::optional<std::string_view> text,
                         const RecordPlace& place) = 0;

  const std::string& file_;
  const DeclaredTypes& declared_;
  std::optional<TableColumns>& columns_;

 private:
  std::vector<XeString> names_;
  bool inHeader_ = true;
  std::size_t fields_ = 0;
  uint64 rows_ = 0;
};

class SurveyPass final : public CsvPass {
 public:
  using CsvPass::CsvPass;

 private:
  void TakeValue(std::size_t column, std::optional<std::string_view> text,
                 const RecordPlace&) override {
    if (text) {
      columns_->Survey(column, *text);
    } else {
      columns_->SurveyNull(column);
    }
  }
};

class LoadPass final : public CsvPass {
 public:
  using CsvPass::CsvPass;

 private:
  void TakeValue(std::size_t column, std::optional<std::string_view> text,
                 const RecordPlace& place) override {
    if (text) {
      columns_->Append(column, *text, place);
    } else {
      columns_->AppendNull(column);
    }
  }
};

Table LoadInTwoPasses(const std::string& path, uint64 size, char delimiter, const XeString& name,
                      const DeclaredTypes& declared, LoadProgress progress) {
  std::optional<TableColumns> columns;
  SurveyPass survey(path, declared, columns);
  ReadCsvFile(path, delimiter, survey, progress, 0, 2 * size);
  if (!columns) ThrowTableError(kFileEmpty, {Wide(path)});
  columns->BeginLoad(survey.GetRows());
  LoadPass load(path, declared, columns);
  ReadCsvFile(path, delimiter, load, progress, size, 2 * size);
  return columns->Take(name, load.GetRows());
}

}  // namespace

Table LoadCsvTable(const std::string& path, char delimiter, const XeString& name,
                   const DeclaredTypes& declared, LoadProgress progress) {
  const FileState before = GetFileState(path);
  try {
    Table table = LoadInTwoPasses(path, before.size, delimiter, name, declared, progress);
    if (GetFileState(path) == before) return table;
  } catch (const ErrorMessage&) {
    // What is wrong with a mixture of two files is not to be looked for in either.
    if (GetFileState(path) == before) throw;
  }
  ThrowTableError(kFileChanged, {Wide(path)});
}

}  // namespace sqxer
