#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "PieceReader.h"
#include "Table.h"

namespace sqxer {

/// How files of records are read.
struct ScanOptions {
  /// Of CSV: found by looking when nothing is given, but for files called .tsv.
  std::optional<char> delimiter;
  /// Of CSV: whether the first record names the columns; they are column1, column2, ... otherwise.
  bool hasHeader = true;
  /// Of texts without a byte order mark; empty is UTF-8.
  std::string encoding;
  /// The most that work at once, the caller's own among them.
  uint32 threads = 1;
  /// How much is read at once, and the least that is worth a thread.
  std::size_t blockBytes = std::size_t{256} << 10;
  uint64 leastPieceBytes = uint64{1} << 20;
};

/// A file that is scanned.
struct ScanFile {
  std::string path;
  std::optional<FileVersion> version;
  bool isRegular = false;
  bool isPlain = false;
  uint64 bytes = 0;
  /// Of its text, as far as it says.
  uint64 textBytes = 0;
  /// Where the header ends: in the file when it is plain, else in its text.
  uint64 dataStart = 0;
  /// Open until it is scanned or, of several files, its header is known.
  std::unique_ptr<TextFile> text;
  /// What was read of it, whether that is all, and the header's part.
  std::optional<BlockBuffer> head;
  bool isHeadAll = false;
  std::size_t headerBytes = 0;
  /// Where pieces of the sample start.
  std::vector<uint64> guesses;

  std::string_view GetHeadRows() const { return head->GetText().substr(headerBytes); }
};

/// Of a sample, of which no error is raised.
class NoPlaces final : public RecordPlaces {
 public:
  explicit NoPlaces(const std::string& path) : path_(path) {}
  const std::string& GetPath() const override { return path_; }
  RecordPlace PlaceOf(const RecordSlice&, uint32) const override { return {L"line", 0}; }

 private:
  const std::string& path_;
};

/// Reads the records of one table, from a file or from several one after another. Errors come with
/// the line where the first bad record starts; what comes first in the order of the files is
/// thrown, whichever thread meets it first. Further 57020, and those of TextFile.
class RecordScan {
 public:
  /// What ScanNext does with a record that names a column which none before it has named.
  enum class NewNames {
    /// The name is passed over.
    kIgnore,
    /// The name is added, and the reading ends before the record.
    kAdd,
    /// Error 57036 (file, place, name).
    kRefuse,
  };

  /// Opens a file and reads its first bytes. "-" is standard input.
  static std::unique_ptr<ScanFile> OpenFile(const std::string& path, const ScanOptions& options);
  virtual ~RecordScan();
  RecordScan(const RecordScan&) = delete;
  RecordScan& operator=(const RecordScan&) = delete;

  /// As the files give them, names that occur twice among them.
  const std::vector<XeString>& GetNames() const { return names_; }
  /// Whether no record can name a further column. If not, reading all of them adds
  /// the missing names behind the others.
  virtual bool AreNamesComplete() const { return true; }
  virtual void SetNewNames(NewNames /*rule*/) {}
  /// Whether the header looks like a row of the table.
  virtual bool LooksHeaderLikeData() const { return false; }
  /// Whether Scan may be called again: not for pipes and standard input.
  bool IsRepeatable() const;
  /// The bytes of all files on disk, packed ones as they are; 0 when they are not known.
  uint64 GetBytes() const;
  /// At least so many bytes have their texts; 0 when they are not known.
  uint64 GetTextBytes() const;
  /// How many sinks are worth their while.
  uint32 GetWorkers() const;

  /// Hands some 10,000 rows to `sink`: the first ones, and of plain files pieces spread over them.
  /// It raises no error of a record. Where the pieces start may be a guess; see IsSampleConfirmed.
  void Sample(SliceSink& sink);

  /// Hands all rows to the sinks: each takes a stretch of them, in order, the first sink the first,
  /// each on a thread of its own; the first is the caller's. When a sink wants no more, those
  /// behind it end as well. To cut plain files for several sinks they may be read once more: who
  /// wants only the first rows gives one sink. What a sink throws is thrown as an error of its row.
  /// `progress` is called on the caller's thread with bytes of GetBytes, if they are known.
  void Scan(std::span<SliceSink* const> sinks, const LoadProgress& progress);

  /// Reads on where the last call has ended, the first one from the start of the table: some
  /// `bytes` of text, or up to the end of a file. The sinks take stretches as of Scan, but want all
  /// of them; where a file cannot be cut, the first sink takes all. False when no row is left.
  /// Errors and progress as of Scan.
  bool ScanNext(std::span<SliceSink* const> sinks, uint64 bytes, const LoadProgress& progress);

  /// Whether all that Sample has handed over are rows of the table; known after a Scan that has not
  /// ended early, and when ScanNext has read all rows.
  virtual bool IsSampleConfirmed() const { return true; }

 protected:
  /// A stretch of whole records of one file; all of it unless the file is plain.
  struct Piece {
    std::size_t file;
    uint64 begin;
    uint64 end;
  };
  struct SampledText {
    std::string_view text;
    /// Nothing comes behind it in the file.
    bool isLast;
    /// The start of the rows; else what stands behind a line end somewhere.
    bool isHead;
    uint32 mostRows;
    /// Where it starts in the file.
    uint64 place;
  };

  explicit RecordScan(const ScanOptions& options);

  ScanFile& AddFile(std::unique_ptr<ScanFile> file);
  /// Closes what can be opened again, once what its first bytes tell is known.
  void EndOpening(ScanFile& file) const;
  const ScanFile& GetFile(std::size_t index) const { return *files_[index]; }
  static void ReadHead(ScanFile& file, const ScanOptions& options);
  static void FillHead(ScanFile& file);

  /// Reads a stretch of a plain file, or all of another one, of which `head` is the start.
  virtual std::unique_ptr<PieceReader> MakeReader(const Piece& piece, TextFile& text) = 0;
  virtual std::unique_ptr<PieceReader> MakeReader(const Piece& piece, TextFile& text,
                                                  BlockBuffer head) = 0;
  /// Where the first record starts behind each of some places of a plain file, of which `begin` is
  /// the start of a record before them.
  virtual std::vector<uint64> FindRecordStarts(const ScanFile& file, uint64 begin,
                                               const std::vector<uint64>& places,
                                               std::size_t threads) const = 0;
  /// Hands rows of a sample to the sink. False when it wants no more.
  virtual bool SampleText(ScanFile& file, const SampledText& sampled, SliceSink& sink) = 0;
  /// A Scan, or calls of ScanNext, have read all rows.
  virtual void OnAllRead() {}

  const ScanOptions options_;
  std::vector<std::unique_ptr<ScanFile>> files_;
  std::vector<XeString> names_;

 private:
  bool SampleAt(uint64 place, SliceSink& sink);
  struct OpenPiece;
  OpenPiece Open(const Piece& piece);
  /// Reads the pieces of each sink, in their order. `done` counts the bytes. False when a sink has
  /// ended it.
  bool ReadPieces(const std::vector<std::vector<Piece>>& pieces, std::span<SliceSink* const> sinks,
                  std::atomic<uint64>& done, const LoadProgress& progress);
  void Tell(uint64 done, const LoadProgress& progress) const;
  /// What ScanNext does in one file, cut or not. False at its end.
  bool ReadWindow(std::span<SliceSink* const> sinks, uint64 bytes, const LoadProgress& progress);
  bool ReadOn(SliceSink& sink, uint64 bytes, const LoadProgress& progress);
  /// The pieces of each worker, in the order of the files: of about the same size where files can
  /// be cut.
  std::vector<std::vector<Piece>> PlanPieces(std::size_t workers);
  /// The pieces of a plain file from the start of a record up to each of some places behind it,
  /// moved to the ends of records.
  std::vector<Piece> CutFile(std::size_t index, uint64 begin, const std::vector<uint64>& places,
                             std::size_t threads) const;

  uint64 bytes_ = 0;
  /// Where ScanNext reads on: in which file, where in it if it is cut, and the open piece if not.
  std::size_t nextFile_ = 0;
  uint64 nextPlace_ = 0;
  std::unique_ptr<OpenPiece> openPiece_;
  std::atomic<uint64> doneBytes_ = 0;
};

}  // namespace sqxer
