#include "TextRun.h"

#include <algorithm>
#include <cstring>
#include <memory>

#include "Utility/BaseStringUtil.h"

namespace sqxer {
namespace {

constexpr wchar_t kFirstWide = 0x100;

}  // namespace

void TextRun::Reserve(uint64 texts) {
  // Short texts are copied with more behind them, an empty one too.
  buffer_.Reserve(1);
  offsets_.Reserve((count_ + texts + 1) * offsetWidth_);
  if (count_ == 0) std::memset(offsets_.GetData(), 0, offsetWidth_);
}

void TextRun::EndFarText() {
  if (offsetWidth_ == 4) {
    ColumnBuffer wide;
    wide.Reserve(offsets_.GetCapacity() / 4 * 8);
    std::copy_n(offsets_.As<uint32>(), count_, wide.As<uint64>());
    offsets_ = std::move(wide);
    offsetWidth_ = 8;
  }
  offsets_.As<uint64>()[count_] = characters_;
}

void TextRun::AppendWide(std::string_view ascii) {
  std::ranges::copy(ascii, buffer_.As<wchar_t>() + characters_);
}

void TextRun::Widen() {
  ColumnBuffer wide;
  wide.Reserve(std::max(buffer_.GetCapacity(), std::size_t{1}) * sizeof(wchar_t));
  std::copy_n(buffer_.GetData(), characters_, wide.As<wchar_t>());
  buffer_ = std::move(wide);
  isWide_ = true;
}

void TextRun::AppendUtf8(std::string_view text, uint32 count) {
  isAscii_ = false;
  if (isWide_) {
    ReserveCharacters(count);
    BaseStringUtil::DecodeUtf8(text, buffer_.As<wchar_t>() + characters_);
  } else {
    // Decoded behind the place where it will stand.
    const std::size_t place = (characters_ + count) / sizeof(wchar_t) + 1;
    buffer_.Reserve((place + count) * sizeof(wchar_t));
    wchar_t* const decoded = buffer_.As<wchar_t>() + place;
    BaseStringUtil::DecodeUtf8(text, decoded);
    if (std::all_of(decoded, decoded + count, [](wchar_t c) { return c < kFirstWide; })) {
      std::transform(decoded, decoded + count, buffer_.GetData() + characters_,
                     [](wchar_t c) { return static_cast<uint8>(c); });
    } else {
      Widen();
      ReserveCharacters(count);
      BaseStringUtil::DecodeUtf8(text, buffer_.As<wchar_t>() + characters_);
    }
  }
  characters_ += count;
  EndText();
}

void TextRun::AppendFrom(const TextRun& other, uint64 entry) {
  const uint64 start = other.GetOffset(entry);
  const uint64 count = other.GetOffset(entry + 1) - start;
  if (other.isWide_ && !isWide_) Widen();
  isAscii_ = isAscii_ && other.isAscii_;
  ReserveCharacters(count);
  if (!isWide_) {
    std::memcpy(buffer_.GetData() + characters_, other.buffer_.GetData() + start, count);
  } else if (other.isWide_) {
    std::copy_n(other.buffer_.As<wchar_t>() + start, count, buffer_.As<wchar_t>() + characters_);
  } else {
    std::copy_n(other.buffer_.GetData() + start, count, buffer_.As<wchar_t>() + characters_);
  }
  characters_ += count;
  EndText();
}

ColumnVector TextRun::Show() const {
  ColumnVector vector;
  vector.form = isWide_ ? ColumnForm::kText32 : ColumnForm::kText8;
  vector.offsetWidth = offsetWidth_;
  vector.isAscii = isAscii_;
  vector.rows = count_;
  vector.values = buffer_.GetData();
  vector.offsets = offsets_.GetData();
  return vector;
}

ColumnVector TextRun::Take() {
  Reserve(0);
  auto kept = std::make_shared<KeptBuffers>();
  buffer_.Reserve(1);
  buffer_.Shrink(characters_ * (isWide_ ? sizeof(wchar_t) : 1));
  offsets_.Shrink((count_ + 1) * offsetWidth_);
  ColumnVector vector = Show();
  // Buffers stay where they are when they are moved.
  kept->values = std::move(buffer_);
  kept->offsets = std::move(offsets_);
  vector.owner = std::move(kept);
  *this = TextRun();
  return vector;
}

}  // namespace sqxer
