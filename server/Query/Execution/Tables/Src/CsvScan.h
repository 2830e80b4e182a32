#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "CsvPieceReader.h"
#include "Table.h"

namespace sqxer {

struct CsvOptions {
  /// Found by looking when nothing is given, but for files called .tsv.
  std::optional<char> delimiter;
  /// Whether the first record names the columns; they are column1, column2, ... otherwise.
  bool hasHeader = true;
  /// Of texts without a byte order mark; empty is UTF-8.
  std::string encoding;
  /// The most that work at once, the caller's own among them.
  uint32 threads = 1;
  /// How much is read at once, and the least that is worth a thread.
  std::size_t blockBytes = std::size_t{256} << 10;
  uint64 leastPieceBytes = uint64{1} << 20;
};

/// Reads the records of one table, from a file or from several one after another whose headers are
/// equal. Errors come with the line where the first bad record starts: 57005 to 57008 and 57012 as
/// ReadCsvRecord has them, 57004 or 57026 (file, place, fields, columns), 57022 (file, place,
/// encoding), 57025 (file, place); further 57003 (file) without a record, 57024 (file, first file,
/// difference), 57020, and those of TextFile. What comes first in the order of the files is thrown,
/// whichever thread meets it first.
class CsvScan {
 public:
  /// Opens the files, at least one, and reads their headers. "-" is standard input.
  CsvScan(std::vector<std::string> paths, const CsvOptions& options);
  ~CsvScan();
  CsvScan(const CsvScan&) = delete;
  CsvScan& operator=(const CsvScan&) = delete;

  /// As the header gives them, names that occur twice among them.
  const std::vector<XeString>& GetNames() const { return names_; }
  char GetDelimiter() const { return delimiter_; }
  /// Whether the header looks like a row of the table.
  bool LooksHeaderLikeData() const { return looksHeaderLikeData_; }
  /// Whether Scan may be called again: not for pipes and standard input.
  bool IsRepeatable() const;
  /// The bytes of all files on disk, packed ones as they are; 0 when they are not known.
  uint64 GetBytes() const { return bytes_; }
  /// How many sinks are worth their while.
  uint32 GetWorkers() const;

  /// Hands some 10,000 rows to `sink`: the first ones, and of plain files pieces spread over them.
  /// It raises no error of a record. Where the pieces start is a guess, since a line end may belong
  /// to a text in quotation marks; see IsSampleConfirmed.
  void Sample(SliceSink& sink);

  /// Hands all rows to the sinks: each takes a stretch of them, in order, the first sink the first,
  /// each on a thread of its own; the first is the caller's. When a sink wants no more, those
  /// behind it end as well. For several sinks the quotation marks of plain files are counted first,
  /// which reads them once more: who wants only the first rows gives one sink. What a sink throws
  /// is thrown as an error of its row. `progress` is called on the caller's thread with bytes of
  /// GetBytes, if they are known.
  void Scan(std::span<SliceSink* const> sinks, LoadProgress progress);

  /// Reads on where the last call has ended, the first one from the start of the table: some
  /// `bytes` of text, or up to the end of a file. The sinks take stretches as of Scan, but want all
  /// of them; where a file cannot be cut, the first sink takes all. False when no row is left.
  /// Errors and progress as of Scan.
  bool ScanNext(std::span<SliceSink* const> sinks, uint64 bytes, LoadProgress progress);

  /// Whether all that Sample has handed over are rows of the table; known after a Scan that has not
  /// ended early, and when ScanNext has read all rows.
  bool IsSampleConfirmed() const { return !isSampleRefuted_; }

 private:
  struct File;
  /// A stretch of whole records of one file; all of it unless the file is plain.
  struct Piece {
    std::size_t file;
    uint64 begin;
    uint64 end;
  };

  /// Opens the file and reads its first bytes; FillHead more of them.
  void ReadHead(File& file) const;
  void FillHead(File& file) const;
  char ChooseDelimiter(const File& file) const;
  void ReadHeader(File& file);
  [[noreturn]] void ThrowHeader(const File& file, uint32 start, int error) const;
  void CheckHeader(const File& file, const std::vector<XeString>& names) const;
  /// False when the sink wants no more.
  bool SampleAt(uint64 place, SliceSink& sink);
  bool ReadPiece(const Piece& piece, SliceSink& sink, const std::function<bool(uint64)>& onBlock);
  struct OpenPiece;
  OpenPiece Open(const Piece& piece);
  /// Reads the pieces of each sink, in their order. `done` counts the bytes.
  void ReadPieces(const std::vector<std::vector<Piece>>& pieces, std::span<SliceSink* const> sinks,
                  std::atomic<uint64>& done, LoadProgress progress);
  void Tell(uint64 done, LoadProgress progress) const;
  /// What ScanNext does in one file, cut or not. False at its end.
  bool ReadWindow(std::span<SliceSink* const> sinks, uint64 bytes, LoadProgress progress);
  bool ReadOn(SliceSink& sink, uint64 bytes, LoadProgress progress);
  /// The pieces of each worker, in the order of the files: of about the same size where files can
  /// be cut.
  std::vector<std::vector<Piece>> PlanPieces(std::size_t workers);
  /// Whether an odd number of quotation marks stands between the start of a record of a plain file
  /// and each of some places behind it.
  std::vector<bool> FindParities(const File& file, uint64 begin, const std::vector<uint64>& places,
                                 std::size_t threads) const;
  /// The pieces of a plain file from the start of a record up to each of some places behind it,
  /// moved to the ends of records.
  std::vector<Piece> CutFile(std::size_t index, uint64 begin, const std::vector<uint64>& places,
                             std::size_t threads) const;
  /// Where the first record starts behind a place of a plain file.
  uint64 FindRecordStart(const File& file, uint64 place, bool isInQuotation) const;

  CsvOptions options_;
  std::vector<std::unique_ptr<File>> files_;
  std::vector<XeString> names_;
  char delimiter_ = ',';
  bool looksHeaderLikeData_ = false;
  uint64 bytes_ = 0;
  std::atomic<bool> isSampleRefuted_ = false;
  /// Where ScanNext reads on: in which file, where in it if it is cut, and the open piece if not.
  std::size_t nextFile_ = 0;
  uint64 nextPlace_ = 0;
  std::unique_ptr<OpenPiece> openPiece_;
  std::atomic<uint64> doneBytes_ = 0;
};

}  // namespace sqxer
