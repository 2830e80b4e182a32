#pragma once

#include <algorithm>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include "SQXERBatchLoops.h"
#include "SQXEROpsMeasure.h"

/// How loops read and make texts.

namespace sqxer {

/// A text of one-byte characters, as the functions of texts take it.
struct ByteText {
  uint32 length_ = 0;
  const uint8* buffer_ = nullptr;
};

inline BatchText AsBatchText(const ByteText& text) { return {text.buffer_, text.length_}; }
inline BatchText AsBatchText(const RefLongVarChar& text) {
  return {reinterpret_cast<const uint8*>(text.buffer_), text.length_};
}
inline ByteText AsByteText(const BatchText& text) { return {text.length, text.characters}; }
inline RefLongVarChar AsWideText(const BatchText& text) {
  // Nobody writes there: the type of texts has no other pointer.
  return {text.length, reinterpret_cast<wchar_t*>(const_cast<uint8*>(text.characters))};
}

/// Calls use(row, text) for the wanted rows of a vector of texts that are not NULL; the text is a
/// ByteText or a RefLongVarChar. The vector may be constant where the rows are many.
template <class Use>
void ForEachText(const BatchVector& vector, const BatchRows& rows, Use&& use) {
  const bool isByte = vector.form == ColumnForm::kText8;
  if (vector.isConstant) {
    if (vector.IsNull(0)) return;
    const BatchText text = vector.GetText(0);
    if (isByte) {
      rows.ForEach([&](uint32 row) { use(row, AsByteText(text)); });
    } else {
      rows.ForEach([&](uint32 row) { use(row, AsWideText(text)); });
    }
  } else if (isByte) {
    ForEachTextOf<uint8>(vector, rows, [&](uint32 row, const uint8* characters, uint32 length) {
      use(row, ByteText{length, characters});
    });
  } else {
    ForEachTextOf<wchar_t>(vector, rows, [&](uint32 row, const wchar_t* characters, uint32 length) {
      use(row, RefLongVarChar{length, const_cast<wchar_t*>(characters)});
    });
  }
}

/// A text in one-byte characters; `room` is used where it has others. None where it has characters
/// beyond them.
inline std::optional<ByteText> TryBytes(const BatchText& text, ColumnForm form, std::string& room) {
  if (form == ColumnForm::kText8) return AsByteText(text);
  const RefLongVarChar wide = AsWideText(text);
  room.resize(wide.length_);
  for (uint32 i = 0; i < wide.length_; ++i) {
    const auto character = static_cast<uint32>(wide.buffer_[i]);
    if (character > 0xFF) return std::nullopt;
    room[i] = static_cast<char>(character);
  }
  return ByteText{wide.length_, reinterpret_cast<const uint8*>(room.data())};
}

/// A vector of texts that is wanted as one-byte characters, row after row.
class ByteTexts {
 public:
  explicit ByteTexts(const BatchVector& vector) : vector_(vector) {
    if (vector.isConstant && !vector.IsNull(0))
      constant_ = TryBytes(vector.GetText(0), vector.form, room_);
  }
  /// Of a row that is not NULL; none where some character takes more. It holds until the next call.
  std::optional<ByteText> Get(uint32 row) {
    if (vector_.isConstant) return constant_;
    return TryBytes(vector_.GetText(row), vector_.form, room_);
  }
  /// Whether every text has one-byte characters alone, as far as can be said without reading them.
  bool IsSure() const {
    return vector_.form == ColumnForm::kText8 || (vector_.isConstant && constant_.has_value());
  }

 private:
  const BatchVector& vector_;
  std::optional<ByteText> constant_;
  std::string room_;
};

/// The index of the first occurrence of a text in another one, -1 when there is none, as for an
/// empty text.
inline int32 FindBytes(const ByteText& text, const ByteText& wanted) {
  if (wanted.length_ == 0) return -1;
  const auto view = [](const ByteText& bytes) {
    return std::string_view(reinterpret_cast<const char*>(bytes.buffer_), bytes.length_);
  };
  const std::size_t index = view(text).find(view(wanted));
  return index == std::string_view::npos ? -1 : static_cast<int32>(index);
}

}  // namespace sqxer
