#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "JsonLinesSlicer.h"
#include "RecordScan.h"

namespace sqxer {

/// Reads text files with a JSON object on each line. The keys are the columns, in the order in
/// which the files first name them, as far as they are known: those of the first lines, and of all
/// once a Scan has read them. Errors beside those of RecordScan come with the line: 57029 (file,
/// place, line) for what is not one object, 57030 (file, place, key), 57033 (file, place) for a
/// line of more than 64 MiB, 57007 for a NUL in a line, 57037 (file, place) for one that a
/// string has by its escape, 57038 (file, place, levels) for deeper nesting, 57008, and 57022
/// (file, place, encoding); 57018 (file, columns).
class JsonLinesScan final : public RecordScan {
 public:
  /// Opens the files, at least one. `first` is the first one where it is open already.
  JsonLinesScan(const std::vector<std::string>& paths, const ScanOptions& options,
                std::unique_ptr<ScanFile> first = nullptr);

  /// Whether the first lines of a file are JSON objects, rather than records of CSV.
  static bool Recognises(const ScanFile& file);

  bool AreNamesComplete() const override { return areKeysComplete_; }
  void SetNewNames(NewNames rule) override { newNames_ = rule; }

 private:
  class Reader;

  /// Adds the keys of the first lines. False when there may be further lines.
  bool AddHeadKeys(const ScanFile& file);
  void AddKeys(const JsonKeys& keys);
  std::unique_ptr<PieceReader> MakeReader(const Piece& piece, TextFile& text) override;
  std::unique_ptr<PieceReader> MakeReader(const Piece& piece, TextFile& text,
                                          BlockBuffer head) override;
  std::vector<uint64> FindRecordStarts(const ScanFile& file, uint64 begin,
                                       const std::vector<uint64>& places,
                                       std::size_t threads) const override;
  bool SampleText(ScanFile& file, const SampledText& sampled, SliceSink& sink) override;
  void OnAllRead() override;

  JsonKeys keys_;
  bool areKeysComplete_ = false;
  NewNames newNames_ = NewNames::kIgnore;
  /// Of the pieces of a scan, by file and place: what keys they name that are not known.
  std::mutex mutex_;
  std::map<std::pair<std::size_t, uint64>, JsonKeys> newKeys_;
};

}  // namespace sqxer
