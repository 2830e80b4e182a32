#pragma once

#include <string_view>

#include "Utility/ColumnBuffer.h"
#include "Utility/ColumnVector.h"

namespace sqxer {

/// Texts one behind the other: a byte a character while all characters lie below U+0100, then four.
class TextRun {
 public:
  uint64 GetCount() const { return count_; }
  uint64 GetCharacters() const { return characters_; }
  bool IsWide() const { return isWide_; }

  /// Makes room for so many more texts.
  void Reserve(uint64 texts);
  /// Appends a text of ASCII, which can be read 64 bytes beyond its start.
  void AppendAscii(std::string_view text) {
    ReserveCharacters(text.size());
    if (isWide_) {
      AppendWide(text);
    } else {
      uint8* const target = buffer_.GetData() + characters_;
      if (text.size() <= kShortText) {
        __builtin_memcpy(target, text.data(), kShortText);
      } else {
        __builtin_memcpy(target, text.data(), text.size());
      }
    }
    characters_ += text.size();
    EndText();
  }
  /// Appends a valid text of `count` characters that are not all ASCII.
  void AppendUtf8(std::string_view text, uint32 count);
  /// Appends an entry of another run.
  void AppendFrom(const TextRun& other, uint64 entry);
  void AppendEmpty() {
    ReserveCharacters(0);
    EndText();
  }

  /// The texts as a vector without NULLs, valid until the run changes.
  ColumnVector Show() const;
  /// The same, kept by `owner` from then on. The run is empty afterwards.
  ColumnVector Take();

 private:
  /// Copied whole whatever their length: what stands behind them is written over by the next.
  static constexpr std::size_t kShortText = 64;
  static_assert(kShortText <= ColumnBuffer::kColumnPadding);

  uint64 GetOffset(uint64 entry) const {
    return offsetWidth_ == 4 ? offsets_.As<uint32>()[entry] : offsets_.As<uint64>()[entry];
  }
  void ReserveCharacters(std::size_t more) {
    buffer_.Reserve((characters_ + more) * (isWide_ ? sizeof(wchar_t) : 1));
  }
  void EndText() {
    ++count_;
    if (offsetWidth_ == 4 && characters_ <= UINT32_MAX) [[likely]] {
      offsets_.As<uint32>()[count_] = static_cast<uint32>(characters_);
    } else {
      EndFarText();
    }
  }
  void EndFarText();
  void AppendWide(std::string_view ascii);
  void Widen();

  ColumnBuffer offsets_;
  ColumnBuffer buffer_;
  uint64 count_ = 0;
  uint64 characters_ = 0;
  uint8 offsetWidth_ = 4;
  bool isWide_ = false;
  bool isAscii_ = true;
};

/// The vector made of buffers that it keeps.
struct KeptBuffers {
  ColumnBuffer values;
  ColumnBuffer offsets;
  ColumnBuffer validity;
};

}  // namespace sqxer
