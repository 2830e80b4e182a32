#include "ArrowField.h"

#include <charconv>
#include <optional>
#include <string_view>

#include "ArrowError.h"

namespace sqxer {
namespace {

/// Deeper schemas are no one's data.
constexpr int kMostLevels = 64;

struct FormatName {
  std::string_view format;
  ArrowKind kind;
  int children = 0;
  bool isText = false;
};

/// The formats without parameters.
constexpr FormatName kFormats[] = {
    {"n", ArrowKind::kNull},
    {"b", ArrowKind::kBool},
    {"c", ArrowKind::kInt8},
    {"C", ArrowKind::kUInt8},
    {"s", ArrowKind::kInt16},
    {"S", ArrowKind::kUInt16},
    {"i", ArrowKind::kInt32},
    {"I", ArrowKind::kUInt32},
    {"l", ArrowKind::kInt64},
    {"L", ArrowKind::kUInt64},
    {"e", ArrowKind::kFloat16},
    {"f", ArrowKind::kFloat32},
    {"g", ArrowKind::kFloat64},
    {"tdD", ArrowKind::kDate32},
    {"tdm", ArrowKind::kDate64},
    {"tiM", ArrowKind::kMonths},
    {"tiD", ArrowKind::kDayTime},
    {"tin", ArrowKind::kMonthDayNano},
    {"u", ArrowKind::kBytes, 0, true},
    {"U", ArrowKind::kLargeBytes, 0, true},
    {"vu", ArrowKind::kBytesView, 0, true},
    {"z", ArrowKind::kBytes},
    {"Z", ArrowKind::kLargeBytes},
    {"vz", ArrowKind::kBytesView},
    {"+l", ArrowKind::kList, 1},
    {"+L", ArrowKind::kLargeList, 1},
    {"+vl", ArrowKind::kListView, 1},
    {"+vL", ArrowKind::kLargeListView, 1},
    {"+m", ArrowKind::kMap, 1},
    {"+r", ArrowKind::kRunEnd, 2},
};

/// Any number of children.
constexpr int kAnyChildren = -1;

std::optional<int> ReadNumber(std::string_view text) {
  int number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return {};
  return number;
}

int64 UnitsPerSecond(char unit) {
  switch (unit) {
    case 's':
      return 1;
    case 'm':
      return 1'000;
    case 'u':
      return 1'000'000;
    case 'n':
      return 1'000'000'000;
    default:
      return 0;
  }
}

/// What follows "t": a unit of times, timestamps and durations.
void ReadTemporal(std::string_view format, ArrowField& field) {
  const int64 perSecond = format.size() < 3 ? 0 : UnitsPerSecond(format[2]);
  if (perSecond == 0) return;
  field.perSecond = perSecond;
  if (format.starts_with("tt") && format.size() == 3) {
    field.kind = perSecond <= 1'000 ? ArrowKind::kTime32 : ArrowKind::kTime64;
  } else if (format.starts_with("ts") && format.size() >= 4 && format[3] == ':') {
    field.kind = ArrowKind::kTimeStamp;
  } else if (format.starts_with("tD") && format.size() == 3) {
    field.kind = ArrowKind::kDuration;
  }
}

/// "d:precision,scale" or "d:precision,scale,bits".
void ReadDecimal(std::string_view format, ArrowField& field) {
  constexpr int kMostScale = 76;
  std::string_view rest = format.substr(2);
  const auto next = [&] {
    const std::size_t comma = std::min(rest.find(','), rest.size());
    const std::optional<int> number = ReadNumber(rest.substr(0, comma));
    rest.remove_prefix(std::min(comma + 1, rest.size()));
    return number;
  };
  const std::optional<int> precision = next();
  const std::optional<int> scale = next();
  const std::optional<int> bits = rest.empty() ? 128 : next();
  if (!precision || !scale || !bits || !rest.empty() || format.ends_with(',')) return;
  const bool isWidth = *bits == 32 || *bits == 64 || *bits == 128 || *bits == 256;
  // Numbers of 38 digits with more zeros than these are beyond what decimals can be.
  if (!isWidth || *precision < 1 || *scale > kMostScale || *scale < -38) return;
  field.kind = ArrowKind::kDecimal;
  field.width = *bits / 8;
  field.scale = *scale;
}

/// Sets what the format says. Returns the children that arrays of it have.
int ReadFormat(ArrowField& field) {
  const std::string_view format = field.format;
  for (const FormatName& known : kFormats) {
    if (format == known.format) {
      field.kind = known.kind;
      field.isText = known.isText;
      return known.children;
    }
  }
  if (format == "+s") {
    field.kind = ArrowKind::kStruct;
    return kAnyChildren;
  }
  if (format.starts_with("d:")) {
    ReadDecimal(format, field);
  } else if (format.starts_with("w:") || format.starts_with("+w:")) {
    const bool isList = format.front() == '+';
    const std::optional<int> width = ReadNumber(format.substr(isList ? 3 : 2));
    if (!width || *width < 0) return kAnyChildren;
    field.width = *width;
    field.kind = isList ? ArrowKind::kFixedList : ArrowKind::kFixedBytes;
    return isList ? 1 : 0;
  } else if (format.starts_with('t')) {
    ReadTemporal(format, field);
  }
  return field.kind == ArrowKind::kNotRead ? kAnyChildren : 0;
}

class SchemaReader {
 public:
  explicit SchemaReader(const XeString& table) : table_(table) {}

  ArrowField Read(const ArrowSchema& schema, const XeString& parent, int level) const {
    ArrowField field;
    field.path = parent;
    if (schema.release == nullptr) Refuse(field, L"its schema has been released");
    if (schema.name != nullptr) {
      if (!BaseStringUtil::IsValidUtf8(schema.name)) Refuse(field, L"a name is not valid UTF-8");
      field.name = Wide(schema.name);
    }
    if (level > 0) field.path += (parent.empty() ? L"" : L".") + field.name;
    if (level > kMostLevels) Refuse(field, L"it is nested too deeply");
    if (schema.format == nullptr) Refuse(field, L"it has no format");
    field.format = schema.format;
    field.isNullable = (schema.flags & ARROW_FLAG_NULLABLE) != 0;
    const int children = ReadFormat(field);
    if (schema.n_children < 0 || (children != kAnyChildren && schema.n_children != children)) {
      Refuse(field, L"the format \"" + Wide(field.format) + L"\" does not have " +
                        std::to_wstring(schema.n_children) + L" children");
    }
    for (int64 i = 0; i < schema.n_children; ++i) {
      if (schema.children == nullptr || schema.children[i] == nullptr) {
        Refuse(field, L"a child is missing");
      }
      field.children.push_back(Read(*schema.children[i], field.path, level + 1));
    }
    if (field.kind == ArrowKind::kMap &&
        (field.children[0].kind != ArrowKind::kStruct || field.children[0].children.size() != 2)) {
      Refuse(field, L"the entries of a map are no pairs");
    }
    if (schema.dictionary != nullptr) {
      if (field.kind < ArrowKind::kInt8 || field.kind > ArrowKind::kUInt64) {
        Refuse(field, L"the codes of a dictionary are no integers");
      }
      field.dictionary =
          std::make_shared<ArrowField>(Read(*schema.dictionary, field.path, level + 1));
    }
    return field;
  }

 private:
  [[noreturn]] void Refuse(const ArrowField& field, const XeString& what) const {
    const XeString place = field.path.empty() ? L"" : L"of the column \"" + field.path + L"\", ";
    ThrowTableError(kArrowNoTable, {table_, place + what});
  }

  const XeString& table_;
};

}  // namespace

ArrowField ReadArrowField(const ArrowSchema& schema, const XeString& table) {
  return SchemaReader(table).Read(schema, {}, 0);
}

int64 CountArrowBuffers(ArrowKind kind) {
  switch (kind) {
    case ArrowKind::kNotRead:
    case ArrowKind::kNull:
    case ArrowKind::kRunEnd:
      return 0;
    case ArrowKind::kStruct:
    case ArrowKind::kFixedList:
      return 1;
    case ArrowKind::kBytes:
    case ArrowKind::kLargeBytes:
    case ArrowKind::kBytesView:
    case ArrowKind::kListView:
    case ArrowKind::kLargeListView:
      return 3;
    default:
      return 2;
  }
}

bool HasArrowValidity(ArrowKind kind) { return CountArrowBuffers(kind) > 0; }

}  // namespace sqxer
