#include "ArrowTable.h"

#include <algorithm>
#include <set>

#include "ArrowError.h"
#include "Utility/XeRecordMetaData.h"

namespace sqxer {
namespace {

/// Rows at the end of an array that are copied: the validity of so many takes the 64 bytes that can
/// be read beyond the end of a column, and values of any width take more.
constexpr uint64 kTailRows = 8 * ColumnBuffer::kColumnPadding;
/// Fewer rows are copied whole, which costs less than another chunk.
constexpr uint64 kLeastSharedRows = 4 * kColumnBlockRows;

/// How many of an array's rows can be shared; whole words of validity.
uint64 CountSharedRows(uint64 rows) {
  return rows < kLeastSharedRows ? 0 : (rows - kTailRows) / 64 * 64;
}

/// Of several columns of one name the first keeps it.
std::vector<XeString> MakeNames(const std::vector<ArrowField>& fields) {
  std::set<XeString> known;
  for (const ArrowField& field : fields) known.insert(field.name);
  std::set<XeString> used;
  std::vector<XeString> names;
  for (const ArrowField& field : fields) {
    XeString name = field.name;
    if (name.empty()) name = L"column" + std::to_wstring(names.size() + 1);
    const XeString base = name;
    for (int i = 1; used.contains(name) || (name != field.name && known.contains(name)); ++i) {
      name = base + L"_" + std::to_wstring(i);
    }
    used.insert(name);
    names.push_back(std::move(name));
  }
  return names;
}

[[noreturn]] void RefuseType(const ArrowField& field, const XeString& name, const XeString& table) {
  const bool isBinary = field.kind >= ArrowKind::kBytes && field.kind <= ArrowKind::kFixedBytes;
  ThrowTableError(kArrowTypeNotRead,
                  {name, table, Wide(field.format),
                   isBinary ? L"ask for binary columns as texts if it holds UTF-8"
                            : L"cast it, or leave the column out"});
}

/// The UTF-8 of a text of a vector.
std::string TextOf(const ColumnVector& vector, uint64 row) {
  const ColumnVector& texts = vector.dictionary ? *vector.dictionary : vector;
  const uint64 entry = vector.dictionary ? vector.GetCode(row) : row;
  const uint64 start = texts.GetOffset(entry);
  const uint64 end = texts.GetOffset(entry + 1);
  if (texts.form == ColumnForm::kText8) {
    return BaseStringUtil::StringToUtf8(XeString(texts.values + start, texts.values + end));
  }
  const auto* const characters = reinterpret_cast<const wchar_t*>(texts.values);
  return BaseStringUtil::StringToUtf8({characters + start, characters + end});
}

/// The rows of a column that says that it has no NULLs.
void RefuseNulls(const ColumnVector& vector, const ArrowReading& reading,
                 const ColumnInfo& column) {
  for (uint64 row = 0; row < vector.rows; ++row) {
    if (!vector.IsNull(row)) continue;
    ThrowTableError(kArrowUnexpectedNull, {ArrowRowText(reading, row), column.name, reading.table});
  }
}

}  // namespace

ArrowTable::ArrowTable(const ArrowSchema& schema, const ArrowReadOptions& options,
                       const TableRequest& request)
    : options_(options), root_(ReadArrowField(schema, options_.name)) {
  if (root_.kind != ArrowKind::kStruct || root_.dictionary) {
    ThrowTableError(kArrowNoTable, {options_.name, L"their type is \"" + Wide(root_.format) +
                                                       L"\" and no struct of columns"});
  }
  if (root_.children.size() > std::numeric_limits<uint16>::max()) {
    ThrowTableError(kTooManyColumns, {options_.name, std::to_wstring(root_.children.size())});
  }
  schema_.name = options_.name;
  const std::vector<XeString> names = MakeNames(root_.children);
  for (std::size_t i = 0; i < names.size(); ++i) {
    const ArrowField& field = root_.children[i];
    const bool isWanted = request.Wants(names[i]);
    const std::optional<XeDataType> type = TypeOfArrowField(field, options_.takesBinaryAsText);
    if (isWanted && !type) RefuseType(field, names[i], options_.name);
    ColumnInfo column;
    column.name = names[i];
    column.type = type.value_or(XeUnknown);
    column.length = XeFieldDescriptor::GetObjectLength(column.type, 1);
    column.nullable = field.isNullable || root_.isNullable;
    schema_.columns.push_back(std::move(column));
    isWanted_.push_back(isWanted);
  }
  longest_.resize(names.size());
  hasNulls_.resize(names.size());
}

bool ArrowTable::HasTexts() const {
  for (std::size_t i = 0; i < schema_.columns.size(); ++i) {
    if (isWanted_[i] && schema_.columns[i].type == XeVarCharData) return true;
  }
  return false;
}

void ArrowTable::Take(ArrowHandle<ArrowArray> array, std::vector<TableChunk>& chunks) {
  const auto owner = std::make_shared<ArrowHandle<ArrowArray>>(std::move(array));
  ArrowReading reading{options_.name, rows_, options_.takesBinaryAsText, owner};
  const ArrowView rows = OpenArrowArray(root_, **owner, reading);
  const uint64 shared = CountSharedRows(rows.rows);
  std::vector<TableChunk> taken;
  for (const auto& [first, end] : {std::pair{uint64{0}, shared}, {shared, rows.rows}}) {
    if (first == end) continue;
    reading.rowsBefore = rows_ + first;
    taken.push_back(TakeRows(rows.Slice(first, end - first), reading));
  }
  chunks.insert(chunks.end(), std::make_move_iterator(taken.begin()),
                std::make_move_iterator(taken.end()));
  rows_ += rows.rows;
}

TableChunk ArrowTable::TakeRows(const ArrowView& rows, const ArrowReading& reading) {
  TableChunk chunk;
  chunk.rows = rows.rows;
  chunk.columns.resize(schema_.columns.size());
  for (std::size_t i = 0; i < schema_.columns.size(); ++i) {
    if (!isWanted_[i]) continue;
    ArrowView view = OpenArrowChild(rows, i, rows.first, rows.rows, reading);
    view.parentValidity = rows.validity;
    ArrowColumn column = ReadArrowColumn(view, reading);
    ColumnVector& vector = column.vector;
    if (vector.validity != nullptr && !schema_.columns[i].nullable) {
      RefuseNulls(vector, reading, schema_.columns[i]);
      vector.validity = nullptr;
    }
    hasNulls_[i] = hasNulls_[i] || vector.validity != nullptr;
    longest_[i] = std::max(longest_[i], column.longest);
    chunk.columns[i] = std::move(column.vector);
  }
  return chunk;
}

void ArrowTable::SettleNulls() {
  for (std::size_t i = 0; i < schema_.columns.size(); ++i) {
    if (isWanted_[i]) schema_.columns[i].nullable = hasNulls_[i];
  }
}

void ArrowTable::CheckLengths(const TableChunk& chunk, uint64 rowsBefore) const {
  for (std::size_t i = 0; i < schema_.columns.size(); ++i) {
    const ColumnInfo& column = schema_.columns[i];
    if (!isWanted_[i] || column.type != XeVarCharData || longest_[i] <= column.length) continue;
    const ColumnVector& vector = chunk.columns[i];
    const ColumnVector& texts = vector.dictionary ? *vector.dictionary : vector;
    for (uint64 row = 0; row < chunk.rows; ++row) {
      if (vector.IsNull(row)) continue;
      const uint64 entry = vector.dictionary ? vector.GetCode(row) : row;
      if (texts.GetOffset(entry + 1) - texts.GetOffset(entry) <= column.length) continue;
      ThrowTableError(kArrowTextTooLong,
                      {std::to_wstring(rowsBefore + row + 1), column.name, options_.name,
                       std::to_wstring(column.length), QuotedValue(TextOf(vector, row))});
    }
  }
}

}  // namespace sqxer
