#include "ColumnTypes.h"

#include <algorithm>
#include <charconv>

#include "TableError.h"
#include "Utility/XeRecordMetaData.h"
#include "ValueReader.h"
#include "VectorBuilder.h"

namespace sqxer {
namespace {

struct TypeName {
  std::string_view name;
  XeDataType type;
};

constexpr TypeName kTypeNames[] = {
    {"bit", XeBitData},         {"int1", XeInt1Data},         {"uint1", XeUInt1Data},
    {"int2", XeInt2Data},       {"uint2", XeUInt2Data},       {"int4", XeInt4Data},
    {"uint4", XeUInt4Data},     {"float", XeFloatData},       {"double", XeDoubleData},
    {"numeric", XeNumericData}, {"char", XeCharData},         {"varchar", XeVarCharData},
    {"date", XeDateData},       {"time", XeTimeData},         {"timestamp", XeTimeStampData},
    {"boolean", XeBoolean},     {"interval", XeIntervalData},
};
/// Other names of these, and one that takes fewer values than its type.
constexpr std::string_view kBigint = "bigint";
constexpr std::pair<std::string_view, std::string_view> kSynonyms[] = {
    {"smallint", "int2"},
    {"integer", "int4"},
    {"int", "int4"},
    {"int8", kBigint},
    {"real", "float"},
    {"float4", "float"},
    {"float8", "double"},
    {"decimal", "numeric"},
    {"bool", "boolean"},
    {"double precision", "double"},
    {"dec", "numeric"},
    {"character", "char"},
    {"text", "varchar"},
    {"character varying", "varchar"},
    {"char varying", "varchar"},
    {"timestamp without time zone", "timestamp"},
    {"time without time zone", "time"},
};
/// The one that takes no length.
constexpr std::string_view kText = "text";

/// The longest text whose stored form still has a length of 32 bits.
constexpr uint32 kMaxCharacters = (uint32{1} << 30) - 2;

bool IsSized(XeDataType type) { return type == XeCharData || type == XeVarCharData; }

/// "(n)"
std::optional<uint32> ReadLength(std::string_view text) {
  uint32 length = 0;
  if (text.size() < 3) return {};
  const char* const last = text.data() + text.size() - 1;
  const auto [end, error] = std::from_chars(text.data() + 1, last, length);
  if (error != std::errc() || end != last || *last != ')') return {};
  if (length == 0 || length > kMaxCharacters) return {};
  return length;
}

/// Reads one declaration after the other off the front of the text.
class DeclarationReader {
 public:
  explicit DeclarationReader(const std::string& text) : text_(text), rest_(text) {}

  bool IsAtEnd() const { return rest_.empty(); }

  ColumnInfo Read() {
    ColumnInfo column;
    SkipBlanks();
    column.name = Wide(rest_.starts_with('"') ? ReadQuoted() : TrimBlanks(ReadPlain()));
    SkipBlanks();
    if (column.name.empty() || !rest_.starts_with(':')) Fail();
    rest_.remove_prefix(1);
    const std::size_t comma = std::min(rest_.find(','), rest_.size());
    std::optional<ColumnInfo> type = ReadDeclaredType(TrimBlanks(Take(comma)));
    if (!type) Fail();
    type->name = std::move(column.name);
    if (!rest_.empty()) {
      rest_.remove_prefix(1);
      if (rest_.empty()) Fail();
    }
    return std::move(*type);
  }

  [[noreturn]] void Fail() const { ThrowTableError(kSchemaUnreadable, {Wide(text_)}); }

 private:
  void SkipBlanks() { rest_.remove_prefix(std::min(rest_.find_first_not_of(' '), rest_.size())); }

  std::string_view Take(std::size_t count) {
    if (count == std::string_view::npos) Fail();
    const std::string_view taken = rest_.substr(0, count);
    rest_.remove_prefix(count);
    return taken;
  }

  std::string_view ReadPlain() { return Take(rest_.find_first_of(":,")); }

  std::string_view ReadQuoted() {
    name_.clear();
    for (std::size_t i = 1; i < rest_.size(); ++i) {
      if (rest_[i] == '"') {
        if (i + 1 == rest_.size() || rest_[i + 1] != '"') {
          rest_.remove_prefix(i + 1);
          return name_;
        }
        ++i;
      }
      name_ += rest_[i];
    }
    Fail();
  }

  const std::string& text_;
  std::string_view rest_;
  std::string name_;
};

}  // namespace

std::optional<ColumnInfo> ReadDeclaredType(std::string_view text) {
  const std::size_t open = std::min(text.find('('), text.size());
  std::string name(TrimBlanks(text.substr(0, open)));
  for (char& c : name) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + ('a' - 'A'));
  }
  const bool isText = name == kText;
  const auto* const synonym = std::ranges::find(
      kSynonyms, std::string_view(name), &std::pair<std::string_view, std::string_view>::first);
  if (synonym != std::end(kSynonyms)) name = synonym->second;
  ColumnInfo column;
  column.isBigint = name == kBigint;
  if (column.isBigint) name = "numeric";
  const auto* const found = std::ranges::find(kTypeNames, std::string_view(name), &TypeName::name);
  if (found == std::end(kTypeNames)) return {};
  column.type = found->type;
  std::optional<uint32> length = XeFieldDescriptor::GetObjectLength(column.type, 0);
  const bool hasLength = open != text.size();
  if (IsSized(column.type) && !isText && (hasLength || column.type == XeCharData)) {
    length = ReadLength(text.substr(open));
  } else if (hasLength) {
    return {};
  } else if (column.type == XeVarCharData) {
    length = kUndeclaredLength;
  }
  if (!length) return {};
  column.length = *length;
  return column;
}

DeclaredTypes ReadDeclaredTypes(const std::string& text) {
  DeclaredTypes types;
  DeclarationReader reader(text);
  do {
    ColumnInfo column = reader.Read();
    XeString name = column.name;
    if (!types.emplace(std::move(name), std::move(column)).second) reader.Fail();
  } while (!reader.IsAtEnd());
  return types;
}

uint32 MostCharacters(const std::optional<ColumnInfo>& known) {
  return known && !IsOfAnyLength(*known) ? known->length : VectorBuilder::kAnyLength;
}

ColumnInfo AsDeclared(const ColumnInfo& column) {
  ColumnInfo declared = column;
  if (column.type == XeDateTimeData) declared.type = XeTimeStampData;
  if (column.type == XeLongVarCharData) declared.type = XeVarCharData;
  return declared;
}

XeString DeclaredTypeName(const ColumnInfo& column) {
  if (column.isBigint && column.type == XeNumericData) return Wide(kBigint);
  if (IsOfAnyLength(column)) return Wide(kText);
  const auto* const found = std::ranges::find(kTypeNames, column.type, &TypeName::type);
  XeString name = found == std::end(kTypeNames)
                      ? SUXeDataTypeUtility::GetXeDataTypeName(column.type)
                      : Wide(found->name);
  if (IsSized(column.type)) name += L"(" + std::to_wstring(column.length) + L")";
  return name;
}

}  // namespace sqxer
