#pragma once

#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "RecordSlice.h"
#include "Utility/ColumnBuffer.h"
#include "Utility/ColumnVector.h"

namespace sqxer {

/// Makes the vector of a column out of the texts of a file. One thread.
class VectorBuilder {
 public:
  enum class Outcome {
    kTaken,
    /// The text has more characters than its type.
    kTooLong,
    /// The text is no value of the type.
    kUnreadable,
  };
  /// What a column takes: with a declared type whatever reads as a value of it; with one that was
  /// inferred only what alone would have led to that type, so that the type is that of all values.
  enum class Strictness { kDeclared, kInferred };
  struct Options {
    Strictness strictness = Strictness::kDeclared;
    /// What a field of a slice without quotation marks says to be NULL; an empty one always is.
    std::string nullText = {};
    /// Of decimals: whole numbers of 64 bits alone.
    bool isBigint = false;
  };

  static constexpr uint32 kAnyLength = std::numeric_limits<uint32>::max();

  /// For a type that columns of files have. Texts have at most `length` characters.
  static std::unique_ptr<VectorBuilder> Make(XeDataType type, uint32 length,
                                             const Options& options);
  virtual ~VectorBuilder() = default;
  VectorBuilder(const VectorBuilder&) = delete;
  VectorBuilder& operator=(const VectorBuilder&) = delete;

  /// So many rows are to be expected in all: memory is made ready for them.
  virtual void Expect(uint64 rows) = 0;
  virtual void AppendNull() = 0;
  /// Appends a valid UTF-8 text, unless its type does not take it.
  virtual Outcome Append(std::string_view text) = 0;
  /// Appends a field of every row of a slice from row `first` on, up to the first that is not
  /// taken. Returns how that came out; `row` is then the one, else the number of rows.
  virtual Outcome AppendSlice(const RecordSlice& slice, uint32 column, uint32& row) = 0;

  uint64 GetRows() const { return rows_; }
  uint64 GetNulls() const { return nulls_; }
  /// Characters of the longest text; 0 for other types.
  uint32 GetLongest() const { return longest_; }
  /// The vector; the builder is empty afterwards.
  ColumnVector Take();

 protected:
  explicit VectorBuilder(const Options& options) : options_(options) {}

  /// Hands over the values: everything but validity and what is known of the blocks.
  virtual ColumnVector TakeValues() = 0;
  /// The values so far, as far as DescribeBlock reads them.
  virtual ColumnVector ShowValues() const = 0;

  bool IsBigint() const { return options_.isBigint; }
  bool IsInferred() const { return options_.strictness == Strictness::kInferred; }
  /// Empty when there is none.
  std::string_view GetNullText() const { return options_.nullText; }
  /// How many rows the block that is being filled still takes.
  uint32 GetRoomOfBlock() const {
    return kColumnBlockRows - static_cast<uint32>(rows_ % kColumnBlockRows);
  }
  /// Marks a row behind those that are counted as NULL.
  void MarkNull(uint64 row);
  /// Counts rows that were stored, of one block.
  void EndRows(uint32 count) {
    rows_ += count;
    if (count != 0 && rows_ % kColumnBlockRows == 0) DescribeBlockTo(rows_);
  }
  /// The values have changed their form: what is known of the blocks is found anew.
  void ForgetBlocks() { blocks_.clear(); }

  const Options options_;
  uint64 rows_ = 0;
  uint64 nulls_ = 0;
  uint32 longest_ = 0;
  /// Some text of the block that is being filled ends in a blank.
  bool endsInBlank_ = false;

 private:
  /// Rows have a value where nothing else was said.
  void FillValidity(uint64 rows);
  void DescribeBlockTo(uint64 end);

  ColumnBuffer validity_;
  /// Bits of validity_ that are set up.
  uint64 validRows_ = 0;
  std::vector<ColumnBlock> blocks_;
};

/// The values of a vector of texts, NULLs among them, all of which read as values of the
/// type.
ColumnVector ConvertTexts(const ColumnVector& texts, XeDataType type);

}  // namespace sqxer
