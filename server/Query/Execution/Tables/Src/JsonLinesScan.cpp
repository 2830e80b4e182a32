#include "JsonLinesScan.h"

#include <algorithm>

namespace sqxer {
namespace {

ColumnFilter WantedBy(const SliceSink& sink) {
  return [&sink](uint32 column) { return sink.Wants(column); };
}

bool WantsNone(uint32 /*column*/) { return false; }

}  // namespace

/// Reads the lines of a piece.
class JsonLinesScan::Reader final : public PieceReader {
 public:
  template <class... Rest>
  Reader(JsonLinesScan& scan, const Piece& piece, TextFile& text, Rest&&... rest)
      : PieceReader(text, *scan.GetFile(piece.file).version, std::forward<Rest>(rest)...),
        scan_(scan),
        piece_(piece),
        slicer_(scan.keys_) {}

  RecordPlace PlaceOf(const RecordSlice&, uint32 row) const override {
    return PlaceAt(slicer_.GetLineStart(row));
  }

 private:
  Going TakeBlock(std::string_view block, bool isEnd, SliceSink& sink, uint32& consumed) override {
    slicer_.StopAtNewKeys(scan_.newNames_ != NewNames::kIgnore);
    consumed = slicer_.Slice(block, isEnd, WantedBy(sink));
    const RecordSlice& slice = slicer_.Get();
    if (slice.rows != 0 && !sink.Take(slice, *this)) return Going::kEnded;
    if (slicer_.GetBadLine()) ThrowBadLine(*slicer_.GetBadLine());
    if (scan_.newNames_ == NewNames::kIgnore || slicer_.GetNewKeys().GetCount() == 0) {
      return Going::kOn;
    }
    if (scan_.newNames_ == NewNames::kRefuse) {
      ThrowBadRecordAt(consumed, kNewKey, {QuotedValue(slicer_.GetNewKeys().Get(0))});
    }
    scan_.AddKeys(slicer_.GetNewKeys());
    slicer_.ForgetNewKeys();
    return Going::kPaused;
  }

  [[noreturn]] void ThrowTooLarge() override { ThrowBadRecordAt(0, kLineTooLarge, {}); }

  [[noreturn]] void ThrowBadLine(const JsonLinesSlicer::BadLine& bad) const {
    if (bad.error == kTooManyColumns) {
      ThrowTableError(bad.error, {Wide(GetPath()), std::to_wstring(kMostKeys + 1)});
    }
    std::vector<XeString> quoted;
    if (bad.error == kNoJsonObject || bad.error == kDuplicateKey) {
      quoted.push_back(QuotedValue(bad.quoted));
    } else if (bad.error == kTooManyLevels) {
      quoted.push_back(std::to_wstring(JsonLineReader::kMostLevels));
    }
    ThrowBadRecordAt(bad.start, bad.error, std::move(quoted));
  }

  void OnEnd() override {
    if (slicer_.GetNewKeys().GetCount() == 0) return;
    const std::lock_guard lock(scan_.mutex_);
    scan_.newKeys_.insert_or_assign({piece_.file, piece_.begin}, slicer_.GetNewKeys());
  }

  JsonLinesScan& scan_;
  const Piece piece_;
  JsonLinesSlicer slicer_;
};

JsonLinesScan::JsonLinesScan(const std::vector<std::string>& paths, const ScanOptions& options,
                             std::unique_ptr<ScanFile> first)
    : RecordScan(options) {
  bool areComplete = true;
  for (const std::string& path : paths) {
    ScanFile& file = AddFile(first ? std::move(first) : OpenFile(path, options));
    file.dataStart = file.isPlain ? file.text->GetStart() : 0;
    areComplete = areComplete && AddHeadKeys(file);
    EndOpening(file);
  }
  areKeysComplete_ = areComplete;
}

bool JsonLinesScan::Recognises(const ScanFile& file) {
  constexpr std::string_view kBlanks = " \t\r\n";
  const std::string_view text = file.head->GetText();
  const std::size_t open = text.find_first_not_of(kBlanks);
  if (open == text.npos || text[open] != '{') return false;
  const std::size_t next = text.find_first_not_of(kBlanks, open + 1);
  return next != text.npos && (text[next] == '"' || text[next] == '}');
}

bool JsonLinesScan::AddHeadKeys(const ScanFile& file) {
  JsonLinesSlicer slicer(keys_);
  const std::string_view head = file.head->GetText();
  const uint32 consumed = slicer.Slice(head, file.isHeadAll, WantsNone);
  // The keys of a broken line are of no use, and tell nothing in a scan that ends before it.
  const bool isWhole = !slicer.GetBadLine();
  if (!isWhole) {
    slicer.ForgetNewKeys();
    slicer.Slice(head.substr(0, consumed), true, WantsNone);
  }
  AddKeys(slicer.GetNewKeys());
  return isWhole && file.isHeadAll;
}

void JsonLinesScan::AddKeys(const JsonKeys& keys) {
  for (uint32 i = 0; i < keys.GetCount(); ++i) keys_.Add(keys.Get(i));
  for (uint32 i = static_cast<uint32>(names_.size()); i < keys_.GetCount(); ++i) {
    const std::string& key = keys_.Get(i);
    names_.push_back(key.empty() ? L"column" + std::to_wstring(i + 1) : Wide(key));
  }
}

std::unique_ptr<PieceReader> JsonLinesScan::MakeReader(const Piece& piece, TextFile& text) {
  return std::make_unique<Reader>(*this, piece, text, options_.blockBytes, piece.begin, piece.end);
}

std::unique_ptr<PieceReader> JsonLinesScan::MakeReader(const Piece& piece, TextFile& text,
                                                       BlockBuffer head) {
  return std::make_unique<Reader>(*this, piece, text, std::move(head), std::size_t{0});
}

std::vector<uint64> JsonLinesScan::FindRecordStarts(const ScanFile& file, uint64 /*begin*/,
                                                    const std::vector<uint64>& places,
                                                    std::size_t /*threads*/) const {
  std::vector<uint64> starts;
  if (places.empty()) return starts;
  const InputFile input(file.path);
  input.CheckUnchanged(*file.version);
  std::string block(std::size_t{64} << 10, '\0');
  for (const uint64 cut : places) {
    uint64 place = cut;
    for (;;) {
      const std::size_t count = input.ReadAt(place, block.data(), block.size());
      const std::size_t feed = std::string_view(block).substr(0, count).find('\n');
      place += feed == std::string_view::npos ? count : feed + 1;
      if (count == 0) place = file.bytes;
      if (count == 0 || feed != std::string_view::npos) break;
    }
    starts.push_back(place);
  }
  return starts;
}

bool JsonLinesScan::SampleText(ScanFile& file, const SampledText& sampled, SliceSink& sink) {
  JsonLinesSlicer slicer(keys_);
  slicer.Slice(sampled.text, sampled.isLast, WantedBy(sink));
  RecordSlice slice = slicer.Get();
  slice.rows = std::min(slice.rows, sampled.mostRows);
  return slice.rows == 0 || sink.Take(slice, NoPlaces(file.path));
}

void JsonLinesScan::OnAllRead() {
  for (const auto& [place, keys] : newKeys_) AddKeys(keys);
  newKeys_.clear();
  areKeysComplete_ = true;
}

}  // namespace sqxer
