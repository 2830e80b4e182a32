#include <algorithm>
#include <limits>

#include "ArrowColumn.h"
#include "Utility/FixedWidths.h"

namespace sqxer {
namespace {

/// Codes as a vector has them, one for each row.
struct Codes {
  const uint8* values = nullptr;
  uint8 width = 4;
};

template <class Code>
Code CodeAt(const uint8* codes, uint64 row) {
  Code code;
  std::memcpy(&code, codes + row * sizeof(Code), sizeof code);
  return code;
}

template <class Use>
auto WithCodeType(uint8 width, Use&& use) {
  switch (width) {
    case 1:
      return use(std::type_identity<uint8>());
    case 2:
      return use(std::type_identity<uint16>());
    default:
      return use(std::type_identity<uint32>());
  }
}

[[noreturn]] void RefuseCode(const ArrowView& view, const ArrowReading& reading, uint64 row,
                             const XeString& code, uint64 entries) {
  RefuseArrowArray(*view.field, reading,
                   L"row " + ArrowRowText(reading, row) + L" has the code " + code +
                       L" where the dictionary has " + std::to_wstring(entries) + L" entries");
}

/// Whether codes of rows that are not NULL have an entry. A negative code is a great one.
template <class Signed>
void CheckCodes(const ArrowView& view, const ArrowReading& reading, uint64 entries) {
  using Code = std::make_unsigned_t<Signed>;
  const uint8* const codes = view.GetBuffer(1) + view.first * sizeof(Code);
  Code greatest = 0;
  for (uint64 row = 0; row < view.rows; ++row) {
    greatest = std::max(greatest, CodeAt<Code>(codes, row));
  }
  if (view.rows == 0 || greatest < entries) return;
  for (uint64 row = 0; row < view.rows; ++row) {
    const Code code = CodeAt<Code>(codes, row);
    if (code < entries || view.IsNull(row)) continue;
    RefuseCode(view, reading, row, std::to_wstring(static_cast<Signed>(code)), entries);
  }
}

/// Rows whose code stands for NULL get it as their own.
ColumnBuffer JoinNulls(const ArrowView& view, const ColumnVector& entries, const Codes& codes) {
  ColumnBuffer validity;
  CopyArrowValidity(view, validity);
  auto* const words = validity.As<uint64>();
  WithCodeType(codes.width, [&]<class Code>(std::type_identity<Code>) {
    for (uint64 row = 0; row < view.rows; ++row) {
      const Code code = CodeAt<Code>(codes.values, row);
      const bool isNull = code < entries.rows && entries.IsNull(code);
      words[row / 64] &= ~(uint64{isNull} << row % 64);
    }
  });
  return validity;
}

/// The values of coded rows side by side, for forms of fixed width.
void GatherValues(const ArrowView& view, const ColumnVector& entries, const Codes& codes,
                  ArrowParts& parts, ColumnVector& vector) {
  const uint64 width = WidthOfForm(entries.form);
  uint8* const out = parts.MakeRoom(view.rows * width);
  WithCodeType(codes.width, [&]<class Code>(std::type_identity<Code>) {
    const auto gather = [&](auto bytes) {
      for (uint64 row = 0; row < view.rows; ++row) {
        const uint64 code = CodeAt<Code>(codes.values, row);
        // The code of a NULL may have no entry.
        if (code < entries.rows) {
          std::memcpy(out + row * bytes, entries.values + code * bytes, bytes);
        } else {
          std::memset(out + row * bytes, 0, bytes);
        }
      }
    };
    WithFixedWidth(static_cast<uint32>(width), gather);
  });
  vector.values = out;
}

/// The texts of coded rows side by side.
template <class Character>
void GatherTexts(const ArrowView& view, const ColumnVector& entries, const Codes& codes,
                 ArrowParts& parts, ColumnVector& vector) {
  const auto lengthOf = [&](uint64 code) {
    return code < entries.rows ? entries.GetOffset(code + 1) - entries.GetOffset(code) : 0;
  };
  WithCodeType(codes.width, [&]<class Code>(std::type_identity<Code>) {
    uint64 characters = 0;
    for (uint64 row = 0; row < view.rows; ++row) {
      characters += lengthOf(CodeAt<Code>(codes.values, row));
    }
    const auto gather = [&]<class Offset>(std::type_identity<Offset>) {
      auto* const offsets =
          reinterpret_cast<Offset*>(parts.MakeRoom((view.rows + 1) * sizeof(Offset)));
      auto* const out =
          reinterpret_cast<Character*>(parts.MakeRoom(characters * sizeof(Character)));
      offsets[0] = 0;
      for (uint64 row = 0; row < view.rows; ++row) {
        const uint64 code = CodeAt<Code>(codes.values, row);
        const uint64 length = lengthOf(code);
        if (length > 0) {
          std::memcpy(out + offsets[row],
                      reinterpret_cast<const Character*>(entries.values) + entries.GetOffset(code),
                      length * sizeof(Character));
        }
        offsets[row + 1] = offsets[row] + static_cast<Offset>(length);
      }
      vector.offsetWidth = sizeof(Offset);
      vector.offsets = reinterpret_cast<const uint8*>(offsets);
      vector.values = reinterpret_cast<const uint8*>(out);
    };
    if (characters <= std::numeric_limits<uint32>::max()) {
      gather(std::type_identity<uint32>());
    } else {
      gather(std::type_identity<uint64>());
    }
  });
}

/// Texts without NULLs and without a dictionary of their own, whatever stands where there were
/// some.
std::shared_ptr<const ColumnVector> FlatTexts(ColumnVector texts) {
  if (texts.dictionary) {
    ArrowView all;
    all.rows = texts.rows;
    const Codes codes{texts.values, texts.codeWidth};
    const ColumnVector& entries = *texts.dictionary;
    const XeString unnamed;
    const ArrowReading reading{unnamed};
    ArrowParts parts(reading);
    ColumnVector flat;
    flat.form = entries.form;
    flat.isAscii = entries.isAscii;
    if (entries.form == ColumnForm::kText8) {
      GatherTexts<uint8>(all, entries, codes, parts, flat);
    } else {
      GatherTexts<wchar_t>(all, entries, codes, parts, flat);
    }
    parts.Finish(all, flat);
    texts = std::move(flat);
  }
  texts.validity = nullptr;
  texts.blocks.clear();
  return std::make_shared<const ColumnVector>(std::move(texts));
}

/// The vector of coded rows. Texts keep their entries as a dictionary, unless these are so many
/// that preparing them would cost more than the rows.
ArrowColumn DecodeCodes(const ArrowView& view, ArrowColumn values, const Codes& codes,
                        ArrowParts parts) {
  constexpr uint64 kFewEntries = 4096;
  ArrowColumn column;
  column.longest = values.longest;
  ColumnVector& entries = values.vector;
  ColumnVector& vector = column.vector;
  vector.form = entries.form;
  vector.scale = entries.scale;
  vector.isAscii = entries.isAscii;
  std::optional<ColumnBuffer> validity;
  if (entries.validity != nullptr) validity = JoinNulls(view, entries, codes);
  if (!IsTextForm(entries.form)) {
    GatherValues(view, entries, codes, parts, vector);
  } else {
    std::shared_ptr<const ColumnVector> texts = FlatTexts(std::move(entries));
    if (texts->rows > std::max(view.rows, kFewEntries)) {
      if (texts->form == ColumnForm::kText8) {
        GatherTexts<uint8>(view, *texts, codes, parts, vector);
      } else {
        GatherTexts<wchar_t>(view, *texts, codes, parts, vector);
      }
    } else {
      vector.values = codes.values;
      vector.codeWidth = codes.width;
      vector.dictionary = std::move(texts);
    }
  }
  parts.Finish(view, vector, std::move(validity));
  return column;
}

/// 64-bit codes, brought to 32 bits once they were checked.
template <class Wide>
Codes NarrowCodes(const ArrowView& view, ArrowParts& parts) {
  auto* const narrow = reinterpret_cast<uint32*>(parts.MakeRoom(view.rows * sizeof(uint32)));
  for (uint64 row = 0; row < view.rows; ++row) {
    const auto code = static_cast<uint64>(view.Get<Wide>(1, row));
    narrow[row] = static_cast<uint32>(std::min(code, uint64{UINT32_MAX}));
  }
  return {reinterpret_cast<const uint8*>(narrow), sizeof(uint32)};
}

template <class Signed>
Codes TakeCodes(const ArrowView& view, const ArrowReading& reading, uint64 entries,
                ArrowParts& parts) {
  CheckCodes<Signed>(view, reading, entries);
  if constexpr (sizeof(Signed) == 8) {
    return NarrowCodes<Signed>(view, parts);
  } else {
    const uint64 width = sizeof(Signed);
    return {parts.Share(view.GetBuffer(1) + view.first * width, view.rows * width,
                        (view.end - view.first - view.rows) * width, width),
            sizeof(Signed)};
  }
}

Codes TakeCodes(const ArrowView& view, const ArrowReading& reading, uint64 entries,
                ArrowParts& parts) {
  switch (view.field->kind) {
    case ArrowKind::kInt8:
      return TakeCodes<int8>(view, reading, entries, parts);
    case ArrowKind::kUInt8:
      return TakeCodes<uint8>(view, reading, entries, parts);
    case ArrowKind::kInt16:
      return TakeCodes<int16>(view, reading, entries, parts);
    case ArrowKind::kUInt16:
      return TakeCodes<uint16>(view, reading, entries, parts);
    case ArrowKind::kInt32:
      return TakeCodes<int32>(view, reading, entries, parts);
    case ArrowKind::kUInt32:
      return TakeCodes<uint32>(view, reading, entries, parts);
    case ArrowKind::kInt64:
      return TakeCodes<int64>(view, reading, entries, parts);
    default:
      return TakeCodes<uint64>(view, reading, entries, parts);
  }
}

/// The rows that end each run, counted in the whole array.
template <class End>
ArrowColumn ReadRuns(const ArrowView& view, const ArrowReading& reading) {
  const auto refuse = [&](const XeString& what) { RefuseArrowArray(*view.field, reading, what); };
  const ArrowField& field = *view.field;
  const ArrowView ends = OpenArrowArray(field.children[0], *view.array->children[0], reading);
  if (ends.MayHaveNulls()) refuse(L"the end of a run is NULL");
  End before = 0;
  for (uint64 run = 0; run < ends.rows; ++run) {
    const End end = ends.Get<End>(1, run);
    if (end <= before) refuse(L"the ends of its runs do not ascend");
    before = end;
  }
  if (static_cast<uint64>(before) < view.end) refuse(L"its runs end before its rows");
  const auto endOf = [&](uint64 run) { return static_cast<uint64>(ends.Get<End>(1, run)); };

  // The runs that the rows are in.
  uint64 firstRun = 0;
  uint64 runs = 0;
  if (view.rows > 0) {
    while (endOf(firstRun) <= view.first) ++firstRun;
    while (endOf(firstRun + runs) < view.first + view.rows) ++runs;
    ++runs;
  }
  const ArrowView values = OpenArrowChild(view, 1, firstRun, runs, reading);
  ArrowParts parts(reading);
  auto* const codes = reinterpret_cast<uint32*>(parts.MakeRoom(view.rows * sizeof(uint32)));
  for (uint64 row = 0, run = 0; row < view.rows; ++run) {
    const uint64 end = std::min(endOf(firstRun + run) - view.first, view.rows);
    std::fill(codes + row, codes + end, static_cast<uint32>(run));
    row = end;
  }
  return DecodeCodes(view, ReadArrowColumn(values, reading),
                     {reinterpret_cast<const uint8*>(codes), sizeof(uint32)}, std::move(parts));
}

ArrowColumn ReadRuns(const ArrowView& view, const ArrowReading& reading) {
  switch (view.field->children[0].kind) {
    case ArrowKind::kInt16:
      return ReadRuns<int16>(view, reading);
    case ArrowKind::kInt32:
      return ReadRuns<int32>(view, reading);
    default:
      return ReadRuns<int64>(view, reading);
  }
}

}  // namespace

ArrowColumn ReadArrowCodes(const ArrowView& view, const ArrowReading& reading) {
  if (view.field->kind == ArrowKind::kRunEnd) return ReadRuns(view, reading);
  const ArrowView values =
      OpenArrowArray(*view.field->dictionary, *view.array->dictionary, reading);
  if (values.rows > std::numeric_limits<uint32>::max()) {
    RefuseArrowArray(*view.field, reading,
                     L"its dictionary has " + std::to_wstring(values.rows) + L" entries");
  }
  ArrowReading entries = reading;
  entries.rowsBefore = 0;
  ArrowParts parts(reading);
  const Codes codes = TakeCodes(view, reading, values.rows, parts);
  return DecodeCodes(view, ReadArrowColumn(values, entries), codes, std::move(parts));
}

}  // namespace sqxer
