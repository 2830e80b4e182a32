#include <algorithm>
#include <optional>

#include "DigitWord.h"
#include "TextDictionary.h"
#include "TypedBuilder.h"
#include "Utility/BaseStringUtil.h"
#include "VectorBuilders.h"

namespace sqxer {
namespace {

/// Texts; while they are few different ones, a dictionary of them and codes.
class TextBuilder final : public TypedBuilder<TextBuilder> {
 public:
  static constexpr bool kTakesQuoted = true;

  TextBuilder(uint32 most, const Options& options)
      : TypedBuilder(options), most_(most), dictionary_(std::make_unique<TextDictionary>()) {}

  void Reserve(uint64 more) {
    if (dictionary_) {
      codes_.Reserve((rows_ + more) * sizeof(uint16));
    } else {
      texts_.Reserve(more);
    }
    reserved_ = std::max(reserved_, rows_ + more);
  }

  [[gnu::always_inline]] Outcome TakeText(std::string_view text, uint64 row) {
    if (!dictionary_) return TakeFlat(text);
    const TextDictionary::Key key(text);
    const int32 code = dictionary_->Find(text, key);
    if (code < 0) [[unlikely]]
      return TakeNew(text, key, row);
    codes_.As<uint16>()[row] = static_cast<uint16>(code);
    endsInBlank_ |= text.ends_with(' ');
    return Outcome::kTaken;
  }

  void TakeNull(uint64 row) {
    if (dictionary_) {
      codes_.As<uint16>()[row] = 0;
    } else {
      texts_.AppendEmpty();
    }
  }

 private:
  /// Above so many rows an entry a dictionary is no gain.
  static constexpr uint64 kRowsPerEntry = 2;

  /// A text that the dictionary does not have.
  [[gnu::noinline]] Outcome TakeNew(std::string_view text, const TextDictionary::Key& key,
                                    uint64 row) {
    const uint32 count = CountCharacters(text);
    if (count > most_) return Outcome::kTooLong;
    const uint32 code = dictionary_->GetCount();
    if (!dictionary_->Add(text, key, count)) {
      Flatten(row);
      return TakeFlat(text);
    }
    longest_ = std::max(longest_, count);
    codes_.As<uint16>()[row] = static_cast<uint16>(code);
    endsInBlank_ |= text.ends_with(' ');
    return Outcome::kTaken;
  }

  uint32 CountCharacters(std::string_view text) const {
    return AreKnownAscii() || IsAscii(text) ? static_cast<uint32>(text.size())
                                            : BaseStringUtil::CountCharacters(text);
  }

  static bool IsAscii(std::string_view text) {
    constexpr std::size_t kWord = sizeof(uint64);
    if (text.empty()) return true;
    uint64 seen = 0;
    for (std::size_t at = 0; at + kWord < text.size(); at += kWord) {
      seen |= LoadWord(text.data() + at);
    }
    // What lies behind a short text is moved out.
    const std::size_t most = std::max(text.size(), kWord);
    seen |= LoadWord(text.data() + (most - kWord)) << 8 * (most - text.size());
    return (seen & kHighBits) == 0;
  }

  Outcome TakeFlat(std::string_view text) {
    const uint32 count = CountCharacters(text);
    if (count > most_) return Outcome::kTooLong;
    longest_ = std::max(longest_, count);
    endsInBlank_ |= text.ends_with(' ');
    if (count == text.size()) {
      texts_.AppendAscii(text);
    } else {
      texts_.AppendUtf8(text, count);
    }
    return Outcome::kTaken;
  }

  /// Writes out the texts before a row.
  void Flatten(uint64 rows) {
    texts_.Reserve(std::max(reserved_, rows + 1));
    const uint16* const codes = codes_.As<uint16>();
    for (uint64 row = 0; row < rows; ++row) {
      // The code of a NULL may have no entry.
      if (codes[row] < dictionary_->GetCount()) {
        texts_.AppendFrom(dictionary_->GetTexts(), codes[row]);
      } else {
        texts_.AppendEmpty();
      }
    }
    dictionary_.reset();
    codes_.Release();
  }

  ColumnVector ShowValues() const override {
    if (!dictionary_) return texts_.Show();
    // Whoever looks at it lets go of it before the entries change.
    auto entries = std::make_shared<ColumnVector>(dictionary_->GetTexts().Show());
    ColumnVector vector;
    vector.form = entries->form;
    vector.rows = rows_;
    vector.codeWidth = sizeof(uint16);
    vector.values = codes_.GetData();
    vector.dictionary = std::move(entries);
    return vector;
  }

  ColumnVector TakeValues() override {
    if (dictionary_ && dictionary_->GetCount() * kRowsPerEntry > rows_) Flatten(rows_);
    if (!dictionary_) return texts_.Take();
    auto kept = std::make_shared<KeptBuffers>();
    ColumnVector vector;
    vector.codeWidth = dictionary_->GetCount() <= 256 ? 1 : 2;
    if (vector.codeWidth == 1) {
      kept->values.Reserve(rows_);
      const uint16* const codes = codes_.As<uint16>();
      std::transform(codes, codes + rows_, kept->values.GetData(),
                     [](uint16 code) { return static_cast<uint8>(code); });
    } else {
      codes_.Shrink(rows_ * sizeof(uint16));
      kept->values = std::move(codes_);
    }
    auto entries = std::make_shared<ColumnVector>(dictionary_->Take());
    vector.form = entries->form;
    vector.isAscii = entries->isAscii;
    vector.dictionary = std::move(entries);
    vector.values = kept->values.GetData();
    vector.owner = std::move(kept);
    dictionary_ = std::make_unique<TextDictionary>();
    codes_ = ColumnBuffer();
    return vector;
  }

  const uint32 most_;
  /// Null once there were too many different texts.
  std::unique_ptr<TextDictionary> dictionary_;
  ColumnBuffer codes_;
  TextRun texts_;
  uint64 reserved_ = 0;
};

}  // namespace

std::unique_ptr<VectorBuilder> MakeTextBuilder(uint32 most, const VectorBuilder::Options& options) {
  return std::make_unique<TextBuilder>(most, options);
}

}  // namespace sqxer
