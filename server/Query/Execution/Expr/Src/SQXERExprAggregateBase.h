#pragma once

#include <cstring>
#include <limits>
#include <memory>
#include <span>
#include <type_traits>
#include <vector>

#include "SQXERExpression.h"
#include "SQXERRecentValues.h"
#include "Utility/KeySet.h"
#include "Utility/OperatorTimer.h"
#include "Utility/SqrtSorter.h"
#include "Utility/StreamPrinter.h"
#include "Utility/XeAutoBuffer.h"
#include "Utility/XeRecordMetaData.h"

namespace sqxer {

struct BatchFold;
class DistinctValues;
class HeldMemory;

/// The column vectors of an aggregate on their way to the variant that takes its place.
struct AggregateColumnVectors {
  std::unique_ptr<UInt16Vector> aggregate_;
  std::unique_ptr<UInt16Vector> controlBreak_;
  std::unique_ptr<UInt16Vector> distinctBreak_;
};

/// What TransferState does.
enum class StateTransfer { kMeasure, kSave, kRestore };

/// Folds the rows of a group into fields of a result record.
///
/// An aggregate is a node without operands: it reads columns of the input record by position and is
/// driven by its owner, never by Eval. It is bound once (Bind, then SetTargetDescriptor), and then
/// reused for any number of groups, each Initialize, Compute per row, Finalize, Output. The
/// operations that this class leaves to its subclasses are broken invariants here. So are, where
/// values of a group are held or sorted, a Compute outside Initialize and Finalize and a second
/// Finalize; of the others, a cumulative aggregate ends a group after each of its rows.
///
/// One aggregate is driven by one thread at a time. Compute allocates nothing.
class SQXEREXPR_API Aggregate : public RExpression {
 public:
  /// Takes ownership of the vectors; null stands for an empty one. `aggregateColumns`, the columns
  /// that are read, must not be empty when given. `isDistinctHandled`: the aggregate itself removes
  /// duplicate values, by sorting.
  Aggregate(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
            UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate, bool isDistinctHandled);
  ~Aggregate() override;

  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprReturn Eval(void* out) override;
  RExprType GetExpressionType() override { return kAggregateExpression; }
  RExpression* GetIthOperand(int index) override;
  void SetIthOperand(int index, RExpression* operand) override;

  /// Binds to the layout of the input records, which must outlive the aggregate. `result` becomes
  /// the typed variant that takes this one's place (the caller owns it and deletes this one), or
  /// null when this one stays. `info` describes the (first) result. Error 46030 for a column
  /// outside the layout, 59001 (operator, type) for a type that the aggregate does not take.
  virtual void Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info);
  /// Says where the result goes: the field at `fieldIndex` of the target layout, and the fields
  /// behind it for further results. Each is of its result's type (GetResultDataType for the only
  /// one; the class tells those of several), or of another one that is stored alike, such as
  /// VARCHAR and LONG VARCHAR: error 59030 (type of the result, type of the field). Error 46030 for
  /// a field outside the layout.
  virtual void SetTargetDescriptor(XeRecordMetaData& target, unsigned short fieldIndex);

  /// Starts a group. `restart` starts the count of output rows again as well; it has a meaning only
  /// for aggregates with a result per row, and another one for Median.
  virtual void Initialize(bool restart);
  /// Takes in one row of the group. `size`: bytes of the record.
  virtual RExprReturn Compute(unsigned char* record, unsigned int size);
  /// Ends the group.
  virtual RExprReturn Finalize();
  /// Writes the result, or its NULL indicator alone.
  virtual void Output(unsigned char* record);

  virtual bool NeedNullFiltering() { return false; }
  virtual bool IsDistinctHandled() { return isDistinctHandled_; }
  /// Whether there is a result per row and not one per group.
  virtual bool IsFunctionalAggr() { return false; }
  /// Makes the sorter of a DISTINCT aggregate ready for a group. Part of Initialize.
  virtual void DistinctInitialize();
  /// Lays out the record in which values are sorted for DISTINCT. Part of Bind.
  virtual void BindDistinctMetaData();

  virtual unsigned int GetTargetOffset() { return targetOffset_; }
  /// Reads the input at another place from now on, in records of `recordSize` bytes: of a value of
  /// varying length only what lies within them is copied. One level is saved: a second Set
  /// overwrites it.
  virtual void SetSourceOffset(unsigned int offset, unsigned int nullOffset,
                               unsigned int recordSize);
  virtual void RestoreSourceOffset();
  virtual void RestoreTargetOffset();
  virtual void SetTargetOffset(unsigned int offset, unsigned int nullOffset);
  virtual unsigned int GetTargetNullOffset() { return targetNullOffset_; }

  /// A new aggregate (the caller's) that computes partial results from input rows; null when the
  /// aggregate cannot be split.
  virtual Aggregate* GetSourceAggregator() { return nullptr; }
  /// A new aggregate that combines the partial results in the given columns, a vector that it takes
  /// over; null (the vector stays the caller's) when the aggregate cannot be split.
  virtual Aggregate* GetPartialsAggregator(UInt16Vector* partialColumns);

  /// Not owned.
  virtual void SetDebugPrinter(StreamPrinter* printer) { debugPrinter_ = printer; }

  /// Makes one value the result of its group without Compute: `size` bytes at `source`, or NULL
  /// when the byte at `sourceNull` is set, go to `target` and `targetNull`. Either indicator may be
  /// null: that side is never NULL. Returns the bytes written, 0 for NULL.
  virtual unsigned int InitializeResult(unsigned char* target, unsigned char* targetNull,
                                        unsigned char* source, unsigned int size,
                                        unsigned char* sourceNull);
  /// Bytes of the result field.
  virtual unsigned int GetTargetFixedLenSize();

  /// Lets one aggregate take turns among groups: kSave writes what the group has come to so far to
  /// `state`, any address, and kRestore goes on with the group that was saved there. Both between
  /// Initialize and Finalize; kMeasure, which ignores `state`, at any time after Bind. Returns the
  /// bytes of a state, always the same, or 0 when there is none: the aggregate holds or sorts
  /// values.
  virtual uint32 TransferState(StateTransfer transfer, uint8* state);
  /// Lets states take a value of any length: where there is one group alone, nobody copies it at
  /// every turn. To be called before the first state is measured.
  void KeepLongValues() { longestKept_ = std::numeric_limits<uint32>::max(); }

  /// Has an aggregate that holds or sorts the values of its group do so for all groups side by
  /// side, within `memory` as far as that matters to it, so that it has states. Whether it does. To
  /// be called once, before the first Initialize; each group is then to be finalized at most once,
  /// in the order in which they were initialized. `memory` must outlive the aggregate.
  virtual bool HoldTogether(HeldMemory& /*memory*/) { return false; }

  /// Whether further rows of a group may come after its Finalize and Output, and make the next
  /// result that of all its rows.
  virtual bool GoesOnAfterOutput() { return false; }
  /// Has an aggregate without states hold the rows of a group such that Remove takes out one that
  /// Compute has taken in, and rows come and go after each result. Whether it does. To be called
  /// before the first Initialize.
  virtual bool HoldMovingRows() { return false; }
  virtual void Remove(unsigned char* record, unsigned int size);

  /// In the place of HoldTogether: has an aggregate go by what another one of its set holds, which
  /// is finalized right before it in each group. Whether it does.
  virtual bool ShareHeld(Aggregate& /*holder*/) { return false; }

  /// Whether states (see TransferState) can take in batches of rows. For each batch the owner asks
  /// all aggregates of a group, before any state changes: whether they admit the column and the
  /// states. If so, FoldBatch does what Compute does row after row, and cannot fail; else the batch
  /// is for Compute.
  virtual bool TakesBatches() { return false; }
  virtual bool AdmitsInput(const BatchVector* /*input*/, const BatchRows& /*rows*/) {
    return false;
  }
  /// The same of an aggregate over two columns, which takes both; `x` is the input of its folds.
  virtual bool AdmitsPair(const BatchVector& /*x*/, const BatchVector& /*y*/,
                          const BatchRows& /*rows*/) {
    return false;
  }
  /// The same with all its columns, in their order, whatever their number: this is what owners ask.
  virtual bool AdmitsColumns(std::span<const BatchVector* const> columns, const BatchRows& rows) {
    if (columns.size() < 2) return AdmitsInput(columns.empty() ? nullptr : columns[0], rows);
    return AdmitsPair(*columns[0], *columns[1], rows);
  }
  virtual bool AdmitsStates(const BatchFold& /*fold*/) { return true; }
  virtual void FoldBatch(const BatchFold& fold);

  /// Whether Compute does nothing for a row whose first column is NULL, so that owners who know of
  /// one need not call it.
  virtual bool SkipsNulls() const { return false; }

  /// Where a saved state is all that Finalize and Output go by: writes its result at once. False,
  /// and nothing done, for the others, which are to be initialized, restored and finalized.
  virtual bool OutputState(uint8* /*state*/, unsigned char* /*record*/) { return false; }

  /// How states of two stretches of a group's rows, the one right behind the other, can be made the
  /// state that Compute comes to over both, to the last bit: not at all; always; only where
  /// FoldBatch made the later one from the start; together with what the aggregate holds, by
  /// MergeHeld and not by MergeState.
  enum class StateMerge { kNone, kAlways, kOfFolds, kHeld };
  virtual StateMerge GetStateMerge() { return StateMerge::kNone; }
  /// The states to come are those of one of so many stretches of a group's rows, and none may take
  /// more than its share of what a state can hold. To be called before the first row.
  virtual void ShareStates(uint32 /*stretches*/) {}
  /// Whether MergeState may be called. To be asked of all states before the first one is merged.
  virtual bool AdmitsMerge(const uint8* /*state*/, const uint8* /*later*/, uint32 /*stretches*/) {
    return true;
  }
  /// Makes `state` that of its own rows and, behind them, those of `later`.
  virtual void MergeState(uint8* state, const uint8* later);
  /// The values that a state is made of, one right behind the other, for those who keep or move
  /// states as fields of records; nothing where states are of no use to them. Whatever
  /// GetStateMerge says, MergeState then takes any two states of one group, in any order: where
  /// sums of doubles, or of decimals beyond 38 digits, are rounded, the result is another one of
  /// those that the order of rows can give.
  virtual std::vector<XeDataType> GetStateTypes() const { return {}; }
  /// Of an aggregate whose state is a sketch of its group, the most bytes that it takes; 0 for the
  /// others. Before Finalize, SaveSketch gives the bytes, for those who move states, and
  /// MergeSketch adds such a sketch to that of this group: false, and nothing done, for bytes that
  /// are none.
  virtual uint32 CountSketchBytes() const { return 0; }
  virtual void SaveSketch(std::vector<uint8>& bytes) const;
  virtual bool MergeSketch(std::span<const uint8> bytes);
  /// Whether MergeState serves an owner to whom the order in which numbers are added does not
  /// matter, for any states that Compute makes.
  virtual bool CanJoinStates() {
    return GetStateMerge() == StateMerge::kAlways || !GetStateTypes().empty();
  }
  /// A state of this aggregate, and that of later rows of the group, of another aggregate alike.
  struct StatePair {
    uint8* state;
    const uint8* later;
  };
  /// How many values MergeHeld takes one by one into another aggregate, those of all groups.
  virtual uint64 CountHeld() const;
  /// Whether MergeHeld may be called.
  virtual bool AdmitsHeld(const Aggregate& later) const;
  /// Adds what `later`, which has no use any more, holds of these groups, all that it has, to what
  /// this one does.
  virtual void MergeHeld(std::span<const StatePair> states, Aggregate& later);

  UInt16Vector* GetAggregateColumns() const { return aggregateColumns_.get(); }
  UInt16Vector* GetControlBreakColumns() const { return controlBreakColumns_.get(); }
  UInt16Vector* GetDistinctBreakColumns() const { return distinctBreakColumns_.get(); }
  bool IsCumulativeAggregate() const { return isCumulativeAggregate_; }
  XeRecordMetaData& GetAggrResultMetaData() { return AggrResultMetaData_; }

  /// An owned copy; null for null.
  static std::unique_ptr<UInt16Vector> CloneColumnVector(const UInt16Vector* columns);
  /// Another aggregate over columns that it takes over, unless this throws, with the breaks of this
  /// one.
  template <class Node, class... Flags>
  Aggregate* MakeOver(UInt16Vector* columns, Flags... flags) const {
    auto controlBreaks = CloneColumnVector(GetControlBreakColumns());
    auto distinctBreaks = CloneColumnVector(GetDistinctBreakColumns());
    return new Node(columns, controlBreaks.release(), distinctBreaks.release(),
                    isCumulativeAggregate_, flags...);
  }
  /// The same over its own columns.
  template <class Node, class... Flags>
  Aggregate* MakeOverOwn(Flags... flags) const {
    auto columns = CloneColumnVector(GetAggregateColumns());
    Aggregate* const made = MakeOver<Node>(columns.get(), flags...);
    static_cast<void>(columns.release());
    return made;
  }
  /// One key per field of a layout, in the given order. `nullsFirst` places NULL; texts compare as
  /// the thread's current settings say. Error 59001 ("Sort", type) for values without an order,
  /// texts of one byte a character among them.
  static std::unique_ptr<KeySet> MakeDistinctSortKeySet(XeRecordMetaData& layout, SortOrder_t order,
                                                        bool nullsFirst);

 protected:
  /// The input field: column `aggregateColumns_[0]`. Error 46030.
  const XeFieldDescriptor& GetSourceField(const XeRecordMetaData& input) const;
  /// Fixes where and what the input value is.
  void BindSource(const XeRecordMetaData& input);
  /// The input is a text of one byte a character.
  bool IsSourceNarrow() const {
    return SUXeDataTypeUtility::IsXeTextType(sourceDataType_) &&
           !tempRecordMetadata_.IsUnicodeRecord();
  }
  /// Error 59001 (operator, type) when the bound input's values have no order (nor has text of one
  /// byte a character, whose code page is not known here).
  void RequireOrder(const XeString& operatorName) const;
  /// Fixes where the result at `fieldIndex` goes, a value of `type`. Errors 46030 and 59030.
  void PlaceResult(const XeRecordMetaData& target, unsigned int fieldIndex, XeDataType type,
                   uint32& offset, uint32& nullOffset) const;
  /// Fixes where the first result goes, and its size. Errors as before.
  void PlaceFirstResult(const XeRecordMetaData& target, unsigned int fieldIndex, XeDataType type);
  /// Describes the (first) result to the owner.
  static void DescribeResult(MetaDataInfo& info, XeDataType type, uint32 length, bool nullable,
                             int16 scale = 0);
  /// Gives up the vectors: what is left can only be deleted.
  AggregateColumnVectors TakeColumns();
  /// Makes `variant`, which has taken over the columns, the one that takes this one's place.
  void ReplaceBy(std::unique_ptr<Aggregate> variant, RExpression*& result);

  bool IsSourceNull(const unsigned char* record) const {
    return sourceNullOffset_ != 0 && record[sourceNullOffset_] != 0;
  }
  /// The prelude of every Output. True when the result is NULL and has been written as such; else
  /// the indicator is cleared, and a value is to be written.
  bool OutputNull(unsigned char* record, bool isNull) const {
    if (targetNullOffset_ == 0) return false;
    record[targetNullOffset_] = isNull ? 1 : 0;
    return isNull;
  }
  /// Copies a stored value of the input's type into the result field, cut to what fits there.
  void OutputStoredValue(unsigned char* record, const uint8* value, uint32 size) const;

  /// OutputState of a class that overrides all of these.
  template <class Self>
  static bool OutputRestored(Self& self, uint8* state, unsigned char* record) {
    self.Self::TransferState(StateTransfer::kRestore, state);
    self.Self::Finalize();
    self.Self::Output(record);
    return true;
  }
  /// Transfers bytes that stand `offset` bytes into the state, and returns where they end there.
  static uint32 TransferBytes(StateTransfer transfer, uint8* state, uint32 offset, void* bytes,
                              uint32 count) {
    if (transfer == StateTransfer::kSave) std::memcpy(state + offset, bytes, count);
    if (transfer == StateTransfer::kRestore) std::memcpy(bytes, state + offset, count);
    return offset + count;
  }
  /// A state that is these fields.
  template <class... Fields>
  static uint32 TransferFields(StateTransfer transfer, uint8* state, Fields&... fields) {
    static_assert((std::is_trivially_copyable_v<Fields> && ...));
    uint32 offset = 0;
    ((offset = TransferBytes(transfer, state, offset, &fields, uint32{sizeof(Fields)})), ...);
    return offset;
  }
  /// The longest value that a state takes as a rule.
  static constexpr uint32 kLongestKept = 256;
  /// A state that is a value kept as it is stored and these fields. There is none of a long value:
  /// copying it at every turn costs more than an aggregate for each group.
  template <class... Fields>
  uint32 TransferKept(StateTransfer transfer, uint8* state, uint8* value, uint32 size,
                      Fields&... fields) const {
    if (size > longestKept_) return 0;
    const uint32 offset = TransferFields(transfer, state, fields...);
    return TransferBytes(transfer, state, offset, value, size);
  }

  /// Makes room for a value that is kept as it is stored, which is zero or empty at first.
  template <std::size_t InlineCount>
  void ReserveKept(XeAutoBuffer<uint8, InlineCount>& buffer, uint32 size) const {
    if (sourceUnit_ == 0 || size <= kLongestKept) return buffer.Reserve(size);
    buffer.ReserveUnset(size);
    std::memset(buffer.data(), 0, kLongVarPrefix);
  }

  /// Bytes that a value at an address uses of those that it may take: of varying length it is where
  /// the unit is not 0.
  static uint32 CountUsedBytes(const void* value, uint32 most, uint32 unit) {
    if (unit == 0 || most < kLongVarPrefix) return most;
    uint32 length;
    std::memcpy(&length, value, sizeof length);
    const uint64 used = kLongVarPrefix + uint64{length} * unit;
    return used < most ? static_cast<uint32>(used) : most;
  }
  /// The same for an input value.
  uint32 CountSourceBytes(const void* value) const {
    return CountUsedBytes(value, currentRecordDataSize_, sourceUnit_);
  }

  /// Adds fields for the values of these columns of the input behind the fields of a row: the same,
  /// but nullable all. Error 46030 for a column outside the input.
  static void DescribeMovedFields(const XeRecordMetaData& input, const UInt16Vector& columns,
                                  XeRecordMetaData& row);
  /// Makes tempRecordMetadata_ one field, at offset 0, for values of a type; `dataSize` counts
  /// bytes.
  void DescribeTempField(XeDataType type, uint32 dataSize);
  /// Lays out the one-field record of DISTINCT and makes the sorter.
  void DescribeDistinctValue(XeDataType type, uint32 dataSize);
  /// A sorter is there from Initialize to Finalize; else it is a broken invariant.
  void RequireSorter() const;
  /// Hands one value to the sorter, unless the same bytes came lately.
  void SortDistinctValue(const void* value, uint32 dataSize);
  /// Ends the sorter's input, gives every distinct value (its address) in ascending order to
  /// `fold`, and lets go of the sorter.
  template <class Fold>
  void DrainDistinctValues(Fold&& fold) {
    if (distinctValues_ != nullptr) {
      while (const uint8* const value = NextDistinctValue()) fold(value);
      return;
    }
    RequireSorter();
    sorter_->EndInput();
    while (sorter_->GetRecord(tempField_.data())) fold(tempField_.data() + tempFieldOffset_);
    sorter_.reset();
  }

  /// HoldTogether of an aggregate that handles DISTINCT.
  bool HoldDistinctTogether(HeldMemory& memory);

  /// Of all groups, and the number of this one among them. Null unless they are held together.
  std::unique_ptr<DistinctValues> distinctValues_;
  uint32 distinctGroup_ = 0;
  /// Never null, except in a node that a variant has taken the place of.
  std::unique_ptr<UInt16Vector> aggregateColumns_;
  std::unique_ptr<UInt16Vector> controlBreakColumns_;
  std::unique_ptr<UInt16Vector> distinctBreakColumns_;
  bool isCumulativeAggregate_;
  bool isDistinctProcessing_ = false;
  bool isDistinctHandled_;
  XeRecordMetaData AggrResultMetaData_;
  XeDataType sourceDataType_ = XeUnknown;
  /// Bytes of a character or byte of a value of varying length, else 0.
  uint32 sourceUnit_ = 0;
  std::unique_ptr<SqrtSorter> sorter_;
  XeAutoBuffer<uint8, 1> tempField_;
  uint32 tempFieldUnit_ = 0;
  /// The leading bytes that are not left to the value.
  uint32 tempFieldClearBytes_ = 0;
  /// Its text width is that of the bound input field.
  XeRecordMetaData tempRecordMetadata_;
  uint32 sourceNullOffset_ = 0;
  uint32 targetNullOffset_ = 0;
  uint32 targetOffset_ = 0;
  uint32 sourceDataSize_ = 0;
  uint32 sourceOffset_ = 0;
  uint32 savedSourceOffset_ = 0;
  uint32 savedSourceNullOffset_ = 0;
  uint32 savedTargetOffset_ = 0;
  uint32 savedTargetNullOffset_ = 0;
  uint32 currentRecordDataSize_ = 0;
  uint32 longestKept_ = kLongestKept;
  uint32 resultRecordDataSize_ = 0;
  StreamPrinter* debugPrinter_ = nullptr;
  uint32 targetFixedLenSize_ = 0;
  OperatorTimer opTimer_;
  /// The result is a text of one byte a character.
  bool isResultNarrow_ = false;

 private:
  void MakeDistinctSorter();
  const uint8* NextDistinctValue();

  /// Where the value stands in a record of tempRecordMetadata_.
  uint32 tempFieldOffset_ = 0;
  /// How values compare, as decided at bind: every group's sorter has the same keys.
  KeySet distinctKeys_;
  CharComparisonType_t distinctComparison_ = kCompareCodePoints;
  /// Where those sorters spill.
  SettingsRef distinctSettings_;
  RecentValues recentValues_;
};

/// An aggregate with one result field of its own.
class SQXEREXPR_API SingleResultAggregate : public Aggregate {
 public:
  using Aggregate::Aggregate;

  void SetTargetDescriptor(XeRecordMetaData& target, unsigned short fieldIndex) override;
  RExprReturn Finalize() override { return kTrue; }
  unsigned int GetTargetFixedLenSize() override { return targetFixedLenSize_; }

 protected:
  /// Writes a text of varying length, four bytes a character, cut to what the result field takes.
  void OutputText(unsigned char* record, const wchar_t* characters, uint32 length) const;
};

/// Binds an aggregate, in whose place stands afterwards what it has replaced itself by.
SQXEREXPR_API void BindGeneric(std::unique_ptr<Aggregate>& aggregate, XeRecordMetaData& input,
                               MetaDataInfo& info);

/// Binds an aggregate and its result field, and returns the one to use from now on. An error on its
/// way out carries the aggregate's place in the SQL.
SQXEREXPR_API std::unique_ptr<Aggregate> BindAggregate(std::unique_ptr<Aggregate> generic,
                                                       XeRecordMetaData& input,
                                                       XeRecordMetaData& target,
                                                       unsigned short fieldIndex,
                                                       MetaDataInfo& info);

}  // namespace sqxer
