#include "CsvDialect.h"

#include "CsvRecord.h"
#include "TableError.h"
#include "ValueReader.h"

namespace sqxer {
namespace {

/// The records that are looked at.
constexpr int kRecords = 100;

std::string_view FieldText(std::string_view text, uint32 start, const std::vector<uint32>& ends,
                           std::size_t index) {
  const uint32 begin = index == 0 ? start : ends[index - 1] + 1;
  return text.substr(begin, ends[index] - begin);
}

/// Hands the first whole records that are no empty lines to `take`, up to the first that it
/// refuses; returns whether it has taken all and none is bad.
template <class Take>
bool VisitRecords(std::string_view text, bool isLast, char delimiter, Take&& take) {
  CsvRecord record;
  uint32 start = 0;
  for (int count = 0; count < kRecords && start < text.size();) {
    ReadCsvRecord(text, start, delimiter, isLast, record);
    if (record.state == CsvRecord::State::kPartial) break;
    if (record.state == CsvRecord::State::kBad) return false;
    const bool isEmptyLine = record.ends.size() == 1 && record.ends.front() == start;
    if (!isEmptyLine) {
      if (!take(start, record.ends)) return false;
      ++count;
    }
    start = record.next;
  }
  return true;
}

struct Shape {
  std::size_t columns = 0;
  bool isRegular = false;
};

Shape FindShape(std::string_view text, bool isLast, char delimiter) {
  Shape shape;
  shape.isRegular =
      VisitRecords(text, isLast, delimiter, [&](uint32, const std::vector<uint32>& ends) {
        if (shape.columns == 0) shape.columns = ends.size();
        return ends.size() == shape.columns;
      });
  return shape;
}

}  // namespace

char FindDelimiter(std::string_view text, bool isLast) {
  char best = ',';
  std::size_t columns = FindShape(text, isLast, best).columns;
  for (const char delimiter : {'\t', ';', '|'}) {
    const Shape shape = FindShape(text, isLast, delimiter);
    if (shape.isRegular && shape.columns > columns) {
      best = delimiter;
      columns = shape.columns;
    }
  }
  return best;
}

std::vector<XeString> ReadColumnNames(std::string_view text, uint32 start,
                                      const std::vector<uint32>& ends) {
  std::vector<XeString> names;
  names.reserve(ends.size());
  for (std::size_t i = 0; i < ends.size(); ++i) {
    names.push_back(Wide(TrimBlanks(UnquoteField(FieldText(text, start, ends, i)))));
    if (names.back().empty()) names.back() = L"column" + std::to_wstring(i + 1);
  }
  return names;
}

bool LooksLikeData(std::string_view text, bool isLast, char delimiter) {
  std::vector<unsigned> headerKinds;
  bool hasRows = false;
  const bool fits =
      VisitRecords(text, isLast, delimiter, [&](uint32 start, const std::vector<uint32>& ends) {
        const bool isHeader = headerKinds.empty();
        for (std::size_t i = 0; i < ends.size(); ++i) {
          const std::string field = UnquoteField(FieldText(text, start, ends, i));
          const unsigned kinds = ClassifyText(field);
          if (isHeader) {
            headerKinds.push_back(kinds);
          } else if (i < headerKinds.size() && !field.empty() &&
                     (kinds != 0 || headerKinds[i] != 0) && (kinds & headerKinds[i]) == 0) {
            return false;
          }
        }
        hasRows = hasRows || !isHeader;
        return true;
      });
  bool hasKind = false;
  for (const unsigned kinds : headerKinds) hasKind = hasKind || kinds != 0;
  return fits && hasRows && hasKind;
}

}  // namespace sqxer
