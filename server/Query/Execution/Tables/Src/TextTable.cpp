#include "TextTable.h"

#include <algorithm>
#include <limits>
#include <numeric>

#include "CsvScan.h"
#include "JsonLinesScan.h"
#include "Utility/Settings.h"
#include "Utility/StatementBudget.h"

namespace sqxer {
namespace {

/// What is read at once while rows are used: without a second thread, and by each thread.
constexpr uint64 kChunkBytes = uint64{4} << 20;
constexpr uint64 kWindowBytes = uint64{16} << 20;

constexpr uint64 kAllRows = std::numeric_limits<uint64>::max();

/// In memory rows may take some times what their text does.
uint64 GetTableMemory() {
  return StatementBudget::CapShare(Settings::Current()->GetSwitches().tableMemory_, 8);
}

/// What is read at once, of which there are some copies in other forms.
uint64 CapWindow(uint64 bytes) { return StatementBudget::CapShare(bytes, 32); }

std::vector<SliceSink*> SinksOf(const std::vector<std::unique_ptr<ColumnReader>>& readers) {
  std::vector<SliceSink*> sinks;
  for (const auto& reader : readers) sinks.push_back(reader.get());
  return sinks;
}

/// Room for the texts to come of a column of which only the first ones are known.
uint32 GenerousLength(uint64 longest) {
  constexpr uint64 kLeast = 1024;
  constexpr uint64 kTimes = 4;
  constexpr uint64 kMost = uint64{1} << 24;
  return static_cast<uint32>(std::clamp(kTimes * longest, kLeast, std::max(kMost, longest)));
}

/// Makes a column take values that may be NULL or longer than those that are known.
void Loosen(ColumnInfo& info, const FileColumn& column, uint64 longest) {
  info.nullable = true;
  const bool isOfAnyLength = !column.declared || IsOfAnyLength(*column.declared);
  if (isOfAnyLength && info.type == XeVarCharData) info.length = GenerousLength(longest);
}

}  // namespace

/// Looks at the values of columns without keeping them.
class TextTable::Surveyor final : public SliceSink {
 public:
  Surveyor(std::vector<FileColumn>& columns, const std::string& nullText)
      : columns_(columns), wanted_(columns), nullText_(nullText) {}

  bool Take(const RecordSlice& slice, const RecordPlaces&) override {
    for (FileColumn& column : columns_) {
      if (column.declared && !IsOfAnyLength(*column.declared)) continue;
      ForEachText(slice, column.index, 0, nullText_, [&](std::string_view text, unsigned kinds) {
        column.survey.Add(text, kinds);
        column.longest = std::max(column.longest, text.size());
      });
    }
    return true;
  }
  bool Wants(uint32 column) const override { return wanted_.Has(column); }

 private:
  std::vector<FileColumn>& columns_;
  const ColumnSet wanted_;
  const std::string& nullText_;
};

/// Looks for the value that made a column text.
class TextTable::ReasonFinder final : public SliceSink {
 public:
  ReasonFinder(uint32 column, uint64 mostRows, const std::string& nullText, bool hasOneFile)
      : column_(column), mostRows_(mostRows), nullText_(nullText), hasOneFile_(hasOneFile) {}

  bool Take(const RecordSlice& slice, const RecordPlaces& places) override {
    for (uint32 row = 0; row < slice.rows && rows_ < mostRows_; ++row, ++rows_) {
      const std::string_view field = FieldOf(slice, row, column_);
      if (IsNullField(field, nullText_)) continue;
      const bool hadKind = survey_.HasKind();
      const std::string text = field.front() == '"' ? UnquoteField(field) : std::string(field);
      survey_.Add(text, KindsOfField(slice, field));
      if (survey_.HasKind()) continue;
      // A column that is text from its first value on needs no reason.
      if (hadKind) {
        reason_ = DescribeTextReason(text, places.PlaceOf(slice, row),
                                     hasOneFile_ ? std::string() : places.GetPath());
      }
      return false;
    }
    return rows_ < mostRows_;
  }
  bool Wants(uint32 column) const override { return column == column_; }

  const XeString& GetReason() const { return reason_; }

 private:
  const uint32 column_;
  const uint64 mostRows_;
  const std::string& nullText_;
  const bool hasOneFile_;
  uint64 rows_ = 0;
  ColumnSurvey survey_;
  XeString reason_;
};

/// The rows that are not kept.
class TextTable::Rest final : public ChunkSource {
 public:
  /// What a value means that is not of its column's type.
  enum class Doubt {
    /// The rows before it decided the type.
    kNone,
    /// The type was guessed.
    kGuess,
    /// All values had the type before.
    kChange,
  };

  Rest(TextTable& table, std::vector<FileColumn> columns, Doubt doubt, const LoadProgress& progress)
      : table_(table), columns_(std::move(columns)), doubt_(doubt), progress_(progress) {}

  const TableChunk* Next() override {
    for (;;) {
      while (next_ < readers_.size()) {
        ColumnReader& reader = *readers_[next_++];
        if (reader.GetRows() > 0) return TakeChunk(reader);
      }
      if (!hasMore_) {
        if (doubt_ == Doubt::kGuess && !table_.scan_->IsSampleConfirmed()) throw TypeRefuted();
        // Rows that tell no columns may have keys that were declared.
        table_.names_.CheckDeclared(table_.scan_->GetNames());
        return nullptr;
      }
      ReadOn();
    }
  }

 private:
  const TableChunk* TakeChunk(ColumnReader& reader) {
    chunk_.rows = reader.GetRows();
    chunk_.columns.assign(table_.names_.GetCount(), {});
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      chunk_.columns[columns_[i].index] = reader.TakeVector(i);
    }
    return &chunk_;
  }

  void ReadOn() {
    chunk_ = {};
    next_ = 0;
    uint64 rowsBefore = 0;
    for (const auto& reader : readers_) rowsBefore = std::max(rowsBefore, reader->GetRows());
    const uint32 count = table_.scan_->IsRepeatable() ? table_.scan_->GetWorkers() : 1;
    readers_ = table_.MakeReaders(columns_, Purpose::kStream, count, kAllRows);
    // The stretches are alike.
    for (const auto& reader : readers_) reader->Expect(rowsBefore + rowsBefore / 32);
    hasMore_ = table_.scan_->ScanNext(
        SinksOf(readers_), count == 1 ? CapWindow(kChunkBytes) : count * CapWindow(kWindowBytes),
        progress_);
    for (const auto& reader : readers_) {
      if (reader->GetRefusal()) Refuse(*reader->GetRefusal());
    }
  }

  [[noreturn]] void Refuse(const ColumnReader::Refusal& refusal) const {
    const bool isSettled = columns_[refusal.column].IsSettled();
    if (isSettled && doubt_ == Doubt::kGuess) throw TypeRefuted();
    if (isSettled && doubt_ == Doubt::kChange) {
      ThrowTableError(kFileChanged, {Wide(refusal.path)});
    }
    table_.ThrowRefusal(refusal, columns_);
  }

  TextTable& table_;
  const std::vector<FileColumn> columns_;
  const Doubt doubt_;
  const LoadProgress progress_;
  Readers readers_;
  /// The reader whose rows come next.
  std::size_t next_ = 0;
  bool hasMore_ = true;
  TableChunk chunk_;
};

TextTable::TextTable(const std::vector<std::string>& paths, const XeString& name,
                     const DeclaredTypes& declared, const TextTableOptions& options,
                     Content content)
    : path_(paths.front()),
      hasOneFile_(paths.size() == 1),
      options_(options),
      names_(path_, declared) {
  std::unique_ptr<ScanFile> first = RecordScan::OpenFile(path_, options.file);
  const bool mayBeJson = content == Content::kAny && !options.file.delimiter;
  if (content == Content::kJsonLines || (mayBeJson && JsonLinesScan::Recognises(*first))) {
    scan_ = std::make_unique<JsonLinesScan>(paths, options.file, std::move(first));
    options_.nullText.clear();
  } else {
    scan_ = std::make_unique<CsvScan>(paths, options.file, std::move(first));
  }
  table_.schema.name = name;
  LearnNames();
}

void TextTable::LearnNames() {
  if (scan_->AreNamesComplete() && scan_->GetNames().empty()) {
    ThrowTableError(kNoKeys, {Wide(path_)});
  }
  names_.Append(std::span(scan_->GetNames()).subspan(names_.GetCount()));
  if (scan_->AreNamesComplete()) names_.CheckDeclared();
  isLoaded_.resize(names_.GetCount());
  std::vector<ColumnInfo>& columns = table_.schema.columns;
  for (std::size_t i = columns.size(); i < names_.GetCount(); ++i) {
    columns.emplace_back();
    columns.back().name = names_.GetName(i);
  }
  for (TableChunk& chunk : table_.chunks) chunk.columns.resize(names_.GetCount());
}

bool TextTable::NeedsNames(const TableRequest& request) const {
  if (scan_->AreNamesComplete()) return false;
  const auto isUnknown = [this](const XeString& name) {
    for (std::size_t i = 0; i < names_.GetCount(); ++i) {
      if (BaseStringUtil::IsCaseInsensitiveMatch(names_.GetName(i), name)) return false;
    }
    return true;
  };
  return names_.GetCount() == 0 || (request.all && !request.mostRows) || !names_.HasAllDeclared() ||
         std::ranges::any_of(request.names, isUnknown);
}

void TextTable::FindNames(const LoadProgress& progress) {
  std::vector<FileColumn> none;
  const Readers readers = MakeReaders(none, Purpose::kConfirm, scan_->GetWorkers(), kAllRows);
  scan_->Scan(SinksOf(readers), progress);
  LearnNames();
}

std::vector<uint32> TextTable::FindWanted(const TableRequest& request, uint32 first) const {
  std::vector<uint32> wanted;
  for (uint32 i = first; i < isLoaded_.size(); ++i) {
    if (!isLoaded_[i] && request.Wants(names_.GetName(i))) wanted.push_back(i);
  }
  return wanted;
}

FileColumn TextTable::MakeColumn(uint32 index, bool asText) const {
  FileColumn column{.index = index, .declared = names_.GetDeclared(index), .survey = {}};
  column.asText = asText && !column.declared;
  return column;
}

TextTable::~TextTable() = default;

const TableSchema& TextTable::Require(const TableRequest& request, const LoadProgress& progress) {
  if (!isUsedUp_ && IsRepeatable() && request.mostRows && NeedsNames(request)) FindNames(progress);
  const std::vector<uint32> wanted = FindWanted(request, 0);
  if (isUsedUp_) {
    if (rest_ && request.onePass && wanted.empty()) return table_.schema;
    ThrowTableError(kReadAlready, {Wide(path_)});
  }
  const bool isRead = !table_.chunks.empty() || hasAllRows_;
  const bool hasRows = hasAllRows_ || (request.mostRows && *request.mostRows <= table_.rowCount);
  const bool isKnown = wanted.empty() && !NeedsNames(request);
  if (isRead && hasRows && isKnown) return table_.schema;
  if (isRead && !scan_->IsRepeatable()) ThrowTableError(kReadAlready, {Wide(path_)});
  // An error has used up what can be read once only.
  isUsedUp_ = !scan_->IsRepeatable();
  if (!scan_->IsRepeatable() && (!request.mostRows || NeedsNames(request))) {
    LoadOnce(request, progress);
  } else {
    Load(wanted, request, progress);
  }
  return table_.schema;
}

std::unique_ptr<ChunkSource> TextTable::TakeRest() { return std::move(rest_); }

XeString TextTable::FindTextReason(std::size_t column) {
  const bool isInferredText = isLoaded_[column] && !names_.GetDeclared(column) &&
                              table_.schema.columns[column].type == XeVarCharData;
  if (!isInferredText || !scan_->IsRepeatable()) return {};
  ReasonFinder finder(static_cast<uint32>(column), isUsedUp_ ? kAllRows : table_.rowCount,
                      options_.nullText, hasOneFile_);
  SliceSink* const sink = &finder;
  scan_->Scan({&sink, 1}, nullptr);
  return finder.GetReason();
}

void TextTable::Load(const std::vector<uint32>& wanted, const TableRequest& request,
                     const LoadProgress& progress) {
  const bool isRepeatable = scan_->IsRepeatable();
  std::vector<FileColumn> columns;
  for (const uint32 index : wanted) columns.push_back(MakeColumn(index, !isRepeatable));
  if (isRepeatable) {
    Surveyor surveyor(columns, options_.nullText);
    scan_->Sample(surveyor);
    for (FileColumn& column : columns) {
      column.asText = !column.declared && column.survey.GetValues() == 0;
    }
  }
  const bool mayStream = isRepeatable && request.onePass && !request.mostRows;
  const uint64 mostBytes = mayStream ? GetTableMemory() : std::numeric_limits<uint64>::max();
  Loaded loaded;
  const bool isKept = scan_->GetTextBytes() <= mostBytes &&
                      ReadAll(columns, Purpose::kKeep, request, mostBytes, progress, loaded);
  if (isKept) {
    Keep(std::move(loaded), request.mostRows);
  } else {
    PrepareRest(std::move(columns), request, progress);
  }
}

bool TextTable::ReadAll(std::vector<FileColumn>& columns, Purpose purpose,
                        const TableRequest& request, uint64 mostBytes, const LoadProgress& progress,
                        Loaded& loaded) {
  std::vector<FileColumn> misfits = columns;
  bool isGuess = true;
  do {
    const Readers readers =
        MakeReaders(misfits, purpose, request.mostRows ? 1 : scan_->GetWorkers(),
                    request.mostRows.value_or(kAllRows));
    TextBudget budget{mostBytes};
    for (const auto& reader : readers) reader->SetBudget(budget);
    if (readers.front()->WantsRows()) scan_->Scan(SinksOf(readers), progress);
    if (budget.IsUsedUp()) return false;
    const uint32 known = static_cast<uint32>(names_.GetCount());
    LearnNames();
    loaded.columns.resize(names_.GetCount());
    misfits = Collect(misfits, readers, loaded);
    if (isGuess && scan_->IsRepeatable() && !request.mostRows && !scan_->IsSampleConfirmed()) {
      AddMisguessed(columns, progress, misfits);
    }
    for (const uint32 index : FindWanted(request, known)) {
      columns.push_back(MakeColumn(index, true));
      misfits.push_back(columns.back());
    }
    isGuess = false;
  } while (!misfits.empty());
  return true;
}

TextTable::Readers TextTable::MakeReaders(const std::vector<FileColumn>& columns, Purpose purpose,
                                          uint32 count, uint64 mostRows) const {
  Readers readers;
  for (uint32 i = 0; i < count; ++i) {
    readers.push_back(
        std::make_unique<ColumnReader>(columns, options_.nullText, purpose, mostRows));
  }
  return readers;
}

std::vector<FileColumn> TextTable::Collect(const std::vector<FileColumn>& columns,
                                           const Readers& readers, Loaded& loaded) {
  std::vector<uint64> rows;
  for (const auto& reader : readers) {
    if (reader->GetRefusal()) ThrowRefusal(*reader->GetRefusal(), columns);
    rows.push_back(reader->GetRows());
  }
  // The stretches of the readers are found in the file, so they are always the same.
  if (!loaded.rows.empty() && loaded.rows != rows) ThrowTableError(kFileChanged, {Wide(path_)});
  loaded.rows = rows;

  std::vector<FileColumn> misfits;
  for (std::size_t i = 0; i < columns.size(); ++i) {
    FileColumn column = columns[i];
    column.survey = ColumnSurvey();
    uint32 longest = 0;
    uint64 nulls = 0;
    std::vector<ColumnVector> vectors;
    for (const auto& reader : readers) {
      if (reader->Fits(i)) vectors.push_back(reader->TakeVector(i));
      column.survey.Add(reader->GetSurvey(i));
      longest = std::max(longest, reader->GetLongest(i));
      nulls += reader->GetNulls(i);
    }
    if (vectors.size() < readers.size()) {
      misfits.push_back(std::move(column));
      continue;
    }
    column.asText = false;
    // The first rows may have no value where the sample has some.
    const bool isOnlyGuessed = column.survey.GetValues() == 0 && !columns[i].asText;
    const XeDataType type = isOnlyGuessed ? columns[i].GetType() : column.GetType();
    if (columns[i].asText && type != XeVarCharData) {
      for (ColumnVector& vector : vectors) vector = ConvertTexts(vector, type);
    }
    loaded.columns[column.index] = {
        DescribeColumn(names_.GetName(column.index), column.declared, type, longest, nulls > 0),
        std::move(vectors)};
  }
  return misfits;
}

void TextTable::ThrowRefusal(const ColumnReader::Refusal& refusal,
                             const std::vector<FileColumn>& columns) const {
  const FileColumn& column = columns[refusal.column];
  ColumnInfo info = column.IsSettled() ? *column.settled : *column.declared;
  info.name = names_.GetName(column.index);
  if (!column.IsSettled()) {
    ThrowRefusedValue(refusal.outcome, refusal.path, refusal.place, info, refusal.value);
  }
  ThrowTableError(kTypeOfFirstRows, {Wide(refusal.path), refusal.place.Text(), info.name,
                                     DeclaredTypeName(info), QuotedValue(refusal.value)});
}

void TextTable::LoadOnce(const TableRequest& request, const LoadProgress& progress) {
  const uint64 mostBytes = request.onePass ? GetTableMemory() : std::numeric_limits<uint64>::max();
  // Nobody can read it again for the columns that are not wanted yet, nor for a type.
  std::vector<FileColumn> columns;
  for (uint32 i = 0; i < names_.GetCount(); ++i) columns.push_back(MakeColumn(i, true));
  const Readers readers = MakeReaders(columns, Purpose::kKeep, 1, kAllRows);
  ColumnReader& reader = *readers.front();
  scan_->SetNewNames(RecordScan::NewNames::kAdd);
  bool hasMore = true;
  while (hasMore && (reader.GetTextBytes() < mostBytes || reader.GetRows() == 0)) {
    const uint64 bytes =
        std::min(kChunkBytes, mostBytes - std::min(mostBytes, reader.GetTextBytes()));
    hasMore = scan_->ScanNext(SinksOf(readers), bytes, progress);
    LearnNames();
    while (columns.size() < names_.GetCount()) {
      columns.push_back(MakeColumn(static_cast<uint32>(columns.size()), true));
      reader.AddColumn();
    }
  }
  Loaded loaded;
  loaded.columns.resize(names_.GetCount());
  if (!hasMore) {
    Collect(columns, readers, loaded);
    return Keep(std::move(loaded), std::nullopt);
  }
  for (std::size_t i = 0; i < columns.size(); ++i) {
    if (!request.Wants(names_.GetName(i))) reader.Forget(i);
  }
  Collect(columns, readers, loaded);
  std::vector<FileColumn> settled;
  for (FileColumn& column : columns) {
    auto& [info, vectors] = loaded.columns[column.index];
    if (vectors.empty()) continue;
    Loosen(info, column, info.length);
    column.asText = false;
    column.settled = info;
    settled.push_back(std::move(column));
  }
  Keep(std::move(loaded), reader.GetRows());
  table_.schema.mostRows = kAllRows;
  table_.schema.mayHaveMoreColumns = !scan_->AreNamesComplete();
  isUsedUp_ = true;
  scan_->SetNewNames(request.all ? RecordScan::NewNames::kRefuse : RecordScan::NewNames::kIgnore);
  rest_ = std::make_unique<Rest>(*this, std::move(settled), Rest::Doubt::kNone, progress);
}

void TextTable::PrepareRest(std::vector<FileColumn> columns, const TableRequest& request,
                            const LoadProgress& progress) {
  // What no value of the sample told is not guessed.
  const bool isGuess = request.canStartAgain && !NeedsNames(request) &&
                       std::ranges::none_of(columns, &FileColumn::asText);
  Loaded loaded;
  if (!isGuess) {
    ReadAll(columns, Purpose::kConfirm, request, std::numeric_limits<uint64>::max(), progress,
            loaded);
  }
  for (FileColumn& column : columns) {
    ColumnInfo& info = table_.schema.columns[column.index];
    if (isGuess) {
      info = DescribeColumn(info.name, column.declared, column.GetType(), 1, true);
      Loosen(info, column, column.longest);
    } else {
      info = loaded.columns[column.index].first;
    }
    column.asText = false;
    column.settled = info;
    isLoaded_[column.index] = true;
  }
  isUsedUp_ = true;
  rest_ = std::make_unique<Rest>(*this, std::move(columns),
                                 isGuess ? Rest::Doubt::kGuess : Rest::Doubt::kChange, progress);
}

void TextTable::AddMisguessed(const std::vector<FileColumn>& columns, const LoadProgress& progress,
                              std::vector<FileColumn>& misfits) {
  std::vector<FileColumn> surveyed = columns;
  for (FileColumn& column : surveyed) column.survey = ColumnSurvey();
  Surveyor surveyor(surveyed, options_.nullText);
  SliceSink* const sink = &surveyor;
  scan_->Scan({&sink, 1}, progress);
  for (std::size_t i = 0; i < columns.size(); ++i) {
    const bool isKnown =
        std::ranges::find(misfits, columns[i].index, &FileColumn::index) != misfits.end();
    if (!isKnown && surveyed[i].GetType() != columns[i].GetType()) misfits.push_back(surveyed[i]);
  }
}

void TextTable::Keep(Loaded loaded, std::optional<uint64> mostRows) {
  const uint64 rows = std::accumulate(loaded.rows.begin(), loaded.rows.end(), uint64{0});
  if (table_.chunks.empty()) {
    for (const uint64 count : loaded.rows) {
      table_.chunks.push_back({count, std::vector<ColumnVector>(names_.GetCount())});
    }
    table_.rowCount = table_.schema.mostRows = rows;
    hasAllRows_ = !mostRows || rows < *mostRows;
  } else if (rows != table_.rowCount || loaded.rows.size() != table_.chunks.size()) {
    ThrowTableError(kFileChanged, {Wide(path_)});
  }
  for (std::size_t i = 0; i < loaded.columns.size(); ++i) {
    auto& [info, vectors] = loaded.columns[i];
    if (vectors.empty()) continue;
    for (std::size_t chunk = 0; chunk < vectors.size(); ++chunk) {
      table_.chunks[chunk].columns[i] = std::move(vectors[chunk]);
    }
    table_.schema.columns[i] = std::move(info);
    isLoaded_[i] = true;
  }
  isUsedUp_ = false;
}

}  // namespace sqxer
