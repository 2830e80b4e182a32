#pragma once

#include <memory>
#include <vector>

#include "QueryPlan.h"
#include "SQXERExprExtract.h"
#include "WorkRecord.h"

namespace sqxer {

/// A bound tree and the field that its values go to.
class FieldWriter {
 public:
  /// Binds the tree to `source`; its values go to the field of `target` at `position`, which must
  /// outlive the writer. Bind's errors carry the expression's place in the SQL; 57103 (column,
  /// type) when the bound type is not the field's.
  FieldWriter(PlanExpression expression, WorkRecord& source, WorkRecord& target,
              std::size_t position);

  /// Evaluates the tree for the source's current row into the field: the value, or the NULL
  /// indicator alone. The tree's errors pass; 57100 (status), 57101 (column) and 57102 (column,
  /// length) when the tree does not keep its contract.
  void Write() {
    const RExprReturn status = write_(*this);
    if (status == kTrue) {
      *null_ = 0;
    } else {
      WriteNull(status);
    }
  }

  RExpression& GetTree() { return *tree_; }
  const ColumnInfo& GetColumn() const { return column_; }

 private:
  using WriteFunction = RExprReturn (*)(FieldWriter&);

  static WriteFunction ChooseWrite(XeDataType type);
  static RExprReturn WriteFixed(FieldWriter& writer);
  static RExprReturn WriteFixedText(FieldWriter& writer);
  static RExprReturn WriteFixedBinary(FieldWriter& writer);
  template <class Value>
  static RExprReturn WriteVarying(FieldWriter& writer);
  // A column of the source whose values keep the form that they have there.
  template <std::size_t width>
  static RExprReturn CopyFixed(FieldWriter& writer);
  static RExprReturn CopyFixedText(FieldWriter& writer);
  static RExprReturn CopyVaryingText(FieldWriter& writer);
  /// Puts a copy in the place of the evaluation, where the tree is bound to that column.
  void CopyColumn(const XeFieldDescriptor& column, const WorkRecord& source,
                  const XeFieldDescriptor& field);

  void PutFixedText(const wchar_t* text);
  void CheckLength(uint32 length) const;
  void WriteNull(RExprReturn status);

  WriteFunction write_;
  const uint8* source_ = nullptr;
  /// The null byte; byte 0 of the record, which nothing sets, for a field without one.
  const uint8* sourceNull_ = nullptr;
  std::unique_ptr<RExpression> tree_;
  uint8* value_;
  /// The null byte; byte 0 of the record, which nothing uses, for a field without one.
  uint8* null_;
  uint32 length_;
  bool nullable_;
  ColumnInfo column_;
};

/// The fields that expressions give.
std::vector<ColumnInfo> ResultsOf(const std::vector<PlanExpression>& expressions);
/// Binds the trees to `source`, one after the other; they give the first fields of `target`.
std::vector<FieldWriter> BindAll(std::vector<PlanExpression>& expressions, WorkRecord& source,
                                 WorkRecord& target);
inline void WriteAll(std::vector<FieldWriter>& writers) {
  for (FieldWriter& writer : writers) writer.Write();
}

/// A bound predicate.
class RowFilter {
 public:
  RowFilter(std::unique_ptr<RExpression> tree, WorkRecord& source);

  /// Whether the condition is true (neither false nor NULL) for the source's current row.
  bool Passes();
  RExpression& GetTree() { return *tree_; }

 private:
  std::unique_ptr<RExpression> tree_;
};

}  // namespace sqxer
