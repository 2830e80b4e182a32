#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "CsvPieceReader.h"
#include "RecordScan.h"

namespace sqxer {

/// Reads CSV, from files whose headers are equal. Errors beside those of RecordScan: 57005 to 57008
/// and 57012 as ReadCsvRecord has them, 57004 or 57026 (file, place, fields, columns), 57022 (file,
/// place, encoding), 57025 (file, place); further 57003 (file) without a record, and 57024 (file,
/// first file, difference). For several sinks the quotation marks of plain files are counted first.
class CsvScan final : public RecordScan {
 public:
  /// Opens the files, at least one, and reads their headers. `first` is the first one where it is
  /// open already.
  CsvScan(const std::vector<std::string>& paths, const ScanOptions& options,
          std::unique_ptr<ScanFile> first = nullptr);

  char GetDelimiter() const { return delimiter_; }
  bool LooksHeaderLikeData() const override { return looksHeaderLikeData_; }
  /// A line end may belong to a text in quotation marks, so where pieces of the sample start is a
  /// guess.
  bool IsSampleConfirmed() const override { return !isSampleRefuted_; }

 private:
  char ChooseDelimiter(const ScanFile& file) const;
  void ReadHeader(ScanFile& file);
  [[noreturn]] void ThrowHeader(const ScanFile& file, uint32 start, int error) const;
  void CheckHeader(const ScanFile& file, const std::vector<XeString>& names) const;
  std::unique_ptr<PieceReader> MakeReader(const Piece& piece, TextFile& text) override;
  std::unique_ptr<PieceReader> MakeReader(const Piece& piece, TextFile& text,
                                          BlockBuffer head) override;
  CsvLayout GetLayout() const;
  std::vector<uint64> FindRecordStarts(const ScanFile& file, uint64 begin,
                                       const std::vector<uint64>& places,
                                       std::size_t threads) const override;
  bool SampleText(ScanFile& file, const SampledText& sampled, SliceSink& sink) override;
  /// Whether an odd number of quotation marks stands between the start of a record of a plain file
  /// and each of some places behind it.
  std::vector<bool> FindParities(const ScanFile& file, uint64 begin,
                                 const std::vector<uint64>& places, std::size_t threads) const;
  /// Where the first record starts behind a place of a plain file.
  uint64 FindRecordStart(const ScanFile& file, uint64 place, bool isInQuotation) const;

  char delimiter_ = ',';
  bool looksHeaderLikeData_ = false;
  std::atomic<bool> isSampleRefuted_ = false;
};

}  // namespace sqxer
