#pragma once

#include <vector>

#include "Utility/Export.h"
#include "Utility/VelmarNumber.h"
#include "Utility/XeAssert.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// A small dense matrix of decimals, of at most 255 rows and columns, zero at first. Rows and
/// columns count from 0; one outside is a broken invariant. Entries have 38 digits: error 59161
/// where one leaves the range of decimals.
class SQXEREXPR_API Matrix {
 public:
  Matrix(uint8 rows, uint8 columns);

  uint8 GetRows() const { return rows_; }
  const VelmarNumber& Get(uint8 row, uint8 column) const { return entries_[Index(row, column)]; }
  void Set(uint8 row, uint8 column, const VelmarNumber& value) {
    entries_[Index(row, column)] = value;
  }
  void Increment(uint8 row, uint8 column, const VelmarNumber& value) {
    entries_[Index(row, column)] += value;
  }

  void MultiplyRow(uint8 row, VelmarNumber factor);
  void AddRow(uint8 target, uint8 source);
  /// Adds the source row times the factor.
  void AddMultiplyRow(uint8 target, uint8 source, VelmarNumber factor);
  void SwapRows(uint8 a, uint8 b);

  static Matrix Identity(uint8 n);
  /// Side by side. Error 59163 when their rows differ in number, or the columns are too many.
  static Matrix Concatenate(const Matrix& left, const Matrix& right);
  /// Of a square matrix that needs no exchange of rows, as every positive definite one. Error 59163
  /// when it is not square or has more than 127 rows, 59167 when a pivot is zero.
  Matrix Inverse() const;
  /// Error 59163 when the columns of a are not as many as the rows of b.
  static Matrix Multiply(const Matrix& a, const Matrix& b);

  /// A line per row, its entries parted by blanks.
  XeString ToString() const;

 private:
  std::size_t Index(uint8 row, uint8 column) const {
    XE_ASSERT(row < rows_ && column < columns_);
    return std::size_t{row} * columns_ + column;
  }

  uint8 rows_;
  uint8 columns_;
  std::vector<VelmarNumber> entries_;
};

}  // namespace sqxer
