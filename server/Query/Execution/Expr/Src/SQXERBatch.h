#pragma once

#include <cstring>
#include <memory>
#include <vector>

#include "Utility/ColumnVector.h"
#include "Utility/Export.h"
#include "Utility/XeTypes.h"

/// The second way to evaluate a bound tree: a batch of rows at once, straight from the columns.
/// What a batch gives is what RExpression::Eval gives row by row, to the last bit; a batch in which
/// anything goes wrong is given up as a whole and done again by rows, which alone tell what and
/// where.

namespace sqxer {

/// The most rows of a batch: those that share a block of a column.
inline constexpr uint32 kMostBatchRows = kColumnBlockRows;
inline constexpr uint32 kMostBatchWords = kMostBatchRows / 64;

/// A text of a batch: `length` characters of the vector's form. Where they take one byte each, 64
/// bytes behind the last one can be read too.
struct BatchText {
  const uint8* characters = nullptr;
  uint32 length = 0;
};

/// A value for each row of a batch. A view: of a column, or of buffers of the node that gave it,
/// which stay as they are until that node's next batch. Rows are counted from the batch's first
/// one, whatever is selected; what stands at rows that are not selected, or are NULL, has no
/// meaning, but can be read. Values of one data type come in the following forms.
///
///   bit, boolean                kUInt8, 0 or 1
///   other numbers               the form of their type
///   numeric                     kDecimal64, kDecimal128 or kNumber
///   date, time                  kDay32, kTime64
///   timestamp                   kTimeStamp64, or kDateTime
///   interval                    kInterval
///   texts                       kText8 or kText32, in the three ways below
struct BatchVector {
  ColumnForm form = ColumnForm::kInt32;
  /// Digits behind the point of kDecimal64 and kDecimal128.
  int16 scale = 0;
  /// What stands at index 0 (its validity bit too) stands for every row.
  bool isConstant = false;
  /// Bytes of a code with `dictionary`; of an offset with `offsets`.
  uint8 codeWidth = 0;
  uint8 offsetWidth = 4;
  /// Values side by side; codes with `dictionary`; the characters that `offsets` counts in.
  const uint8* values = nullptr;
  /// One more than rows, of texts that stand side by side in a column.
  const uint8* offsets = nullptr;
  /// Of texts that were computed.
  const BatchText* texts = nullptr;
  /// One bit a row, set where there is a value; null when every row has one.
  const uint64* validity = nullptr;
  /// As ColumnVector has it. Null for all vectors but those of columns.
  const std::shared_ptr<const ColumnVector>* dictionary = nullptr;
  /// What is known of the values without reading them; null when nothing is.
  const ColumnBlock* block = nullptr;

  template <class T>
  const T* As() const {
    return reinterpret_cast<const T*>(values);
  }
  bool IsNull(uint32 row) const {
    const uint32 at = isConstant ? 0 : row;
    return validity != nullptr && (validity[at / 64] >> at % 64 & 1) == 0;
  }
  /// The entry of the dictionary that a row that is not NULL has.
  uint32 GetCode(uint32 row) const {
    return codeWidth == 1 ? values[row] : codeWidth == 2 ? As<uint16>()[row] : As<uint32>()[row];
  }
  /// The text of a row that is not NULL.
  SQXEREXPR_API BatchText GetText(uint32 row) const;
};

/// Where the rows of a batch come from: the record that the trees are bound to, as columns.
class SQXEREXPR_API BatchSource {
 public:
  virtual ~BatchSource() = default;
  /// The values of a field of the record for the rows of the batch.
  virtual const BatchVector& GetField(uint32 field) = 0;
  /// Puts a row of the batch into the record.
  virtual void FillRow(uint32 row) = 0;
  virtual bool IsNullable(uint32 field) const = 0;
  /// Puts one value into a field of the record: entry `code` of the dictionary that the field has
  /// in this batch, or the day of that number, or NULL where `isNull`, for a field that has it.
  /// Whoever calls this calls RestoreField before others fill the record.
  virtual void FillField(uint32 field, int64 code, bool isNull) = 0;
  /// The field is again one that FillRow sets.
  virtual void RestoreField(uint32 field) = 0;
  /// The rows that share the dictionaries of this batch; a small part of a table has many batches.
  virtual uint64 GetChunkRows() const = 0;
  /// The least and greatest day of a field of days in those rows; false when they are not known.
  virtual bool GetDays(uint32 field, ColumnBounds<int64>& days) const = 0;
  /// A number that no other run over rows has: what stays the same within one may differ in the
  /// next.
  virtual uint64 GetRun() const = 0;
  /// The same of this batch; 0 where trees have nothing to share in it.
  virtual uint64 GetBatch() const { return 0; }
  /// Whether no other rows of the batch will be asked for than those of such a selection.
  virtual bool AreAllWanted(const uint16* /*selected*/) const { return false; }
};

/// The rows of a batch that are to be evaluated.
struct BatchRows {
  BatchSource* source = nullptr;
  /// Of the batch, at most kMostBatchRows.
  uint32 count = 0;
  /// The rows that are wanted, ascending; null for all of them.
  const uint16* selected = nullptr;
  uint32 selectedCount = 0;

  uint32 GetWanted() const { return selected == nullptr ? count : selectedCount; }
  uint32 GetRow(uint32 index) const { return selected == nullptr ? index : selected[index]; }
  /// Whether a cheap loop does better to work on every row than to look up the wanted ones.
  bool IsDense() const { return selected == nullptr || selectedCount >= count / 4; }
  template <class Use>
  void ForEach(Use&& use) const {
    if (selected == nullptr) {
      for (uint32 row = 0; row < count; ++row) use(row);
    } else {
      for (uint32 i = 0; i < selectedCount; ++i) use(uint32{selected[i]});
    }
  }
};

/// One row, which stands in the record that the trees are bound to: for RExpression::EvalByRows.
SQXEREXPR_API const BatchRows& RowOfRecord();

/// What evaluating a node for a row that does not need it costs and risks.
enum class BatchCost : uint8 {
  /// Less than finding out which rows need it, and no row can fail.
  kFree = 0,
  /// More than that, and no row can fail.
  kSafe = 1,
  /// As little as kFree, but some row may fail.
  kCheap = 2,
  /// More than that, and some row may fail.
  kDear = kSafe | kCheap,
};

/// That of two things that are done one after the other.
constexpr BatchCost operator|(BatchCost a, BatchCost b) {
  return static_cast<BatchCost>(static_cast<uint8>(a) | static_cast<uint8>(b));
}

class BatchOperands;
class RExpression;

/// The buffers of a node for the batches that it gives. They are made when a node first gives one.
class SQXEREXPR_API BatchBuffers {
 public:
  BatchBuffers();
  ~BatchBuffers();
  BatchBuffers(const BatchBuffers&) = delete;
  BatchBuffers& operator=(const BatchBuffers&) = delete;

  /// Room for a value of each row, side by side, aligned to 64 bytes. Another call gives the same.
  template <class T>
  T* Values() {
    return reinterpret_cast<T*>(Reserve(values_, kMostBatchRows * sizeof(T)));
  }
  /// Room for a text of each row, and the copy of a text's characters; ClearTexts lets go of all
  /// copies.
  BatchText* Texts() {
    return reinterpret_cast<BatchText*>(Reserve(texts_, kMostBatchRows * sizeof(BatchText)));
  }
  BatchText Keep(const wchar_t* text, uint32 length);
  /// Room for so many bytes of copies, which ClearTexts lets go of.
  uint8* KeepBytes(std::size_t bytes);
  void ClearTexts() { block_ = used_ = 0; }
  /// Validity bits of all rows.
  uint64* Validity() { return validity_; }
  /// Room for two selections, and for two lists of truth values.
  uint16* Rows() { return rows_; }
  uint16* OtherRows() { return otherRows_; }
  uint8* Truths(int list) { return truths_[list]; }
  /// Room for signs, which is that of the second selection.
  int8* Signs() { return reinterpret_cast<int8*>(otherRows_); }
  /// What is known of the values.
  ColumnBlock& Block() { return knownOfValues_; }
  /// A text of a vector, that of the first operand or of the second, in the characters that
  /// comparisons take; it holds until the next one of that operand.
  RefLongVarChar Widen(const BatchVector& vector, uint32 row, int operand);
  /// Room for a text of one byte a character.
  std::string& Bytes() { return bytes_; }
  /// The operands of the node whose buffers these are.
  BatchOperands& Operands(RExpression& node);
  /// Room for an operand, the first or the second, brought to another scale.
  template <class T>
  T* Rescaled(int operand) {
    return reinterpret_cast<T*>(Reserve(rescaled_[operand], kMostBatchRows * sizeof(T)));
  }

 private:
  struct Room {
    std::unique_ptr<uint8[]> block;
    std::size_t bytes = 0;
  };
  struct CharacterBlock {
    std::unique_ptr<wchar_t[]> characters;
    std::size_t size;
  };
  struct FewValues;
  struct SharedValues;
  friend class FewValuesEvaluation;
  friend class SharedTrees;

  static uint8* Reserve(Room& room, std::size_t bytes);

  Room values_;
  Room texts_;
  Room rescaled_[2];
  ColumnBlock knownOfValues_;
  XeString wide_[2];
  std::string bytes_;
  uint64 validity_[kMostBatchWords];
  uint16 rows_[kMostBatchRows];
  uint16 otherRows_[kMostBatchRows];
  uint8 truths_[2][kMostBatchRows];
  std::vector<CharacterBlock> blocks_;
  std::size_t block_ = 0;
  std::size_t used_ = 0;
  std::unique_ptr<FewValues> fewValues_;
  std::unique_ptr<BatchOperands> operands_;
  /// With the other nodes that give the same.
  std::shared_ptr<SharedValues> shared_;
};

}  // namespace sqxer
