#include "SQXERMatrix.h"

#include <algorithm>
#include <limits>

#include "Utility/ErrorMessage.h"

namespace sqxer {

namespace {

constexpr int kMostColumns = std::numeric_limits<uint8>::max();

void RequireMatch(bool matches) {
  if (!matches) SUGThrow(ErrorMessage(59163));
}

}  // namespace

Matrix::Matrix(uint8 rows, uint8 columns)
    : rows_(rows), columns_(columns), entries_(std::size_t{rows} * columns) {}

void Matrix::MultiplyRow(uint8 row, VelmarNumber factor) {
  for (uint8 j = 0; j < columns_; ++j) Set(row, j, VelmarNumber::Multiply(Get(row, j), factor));
}

void Matrix::AddRow(uint8 target, uint8 source) {
  for (uint8 j = 0; j < columns_; ++j) Increment(target, j, Get(source, j));
}

void Matrix::AddMultiplyRow(uint8 target, uint8 source, VelmarNumber factor) {
  for (uint8 j = 0; j < columns_; ++j) {
    Increment(target, j, VelmarNumber::Multiply(Get(source, j), factor));
  }
}

void Matrix::SwapRows(uint8 a, uint8 b) {
  for (uint8 j = 0; j < columns_; ++j) std::swap(entries_[Index(a, j)], entries_[Index(b, j)]);
}

Matrix Matrix::Identity(uint8 n) {
  Matrix identity(n, n);
  for (uint8 i = 0; i < n; ++i) identity.Set(i, i, VelmarNumber::one);
  return identity;
}

Matrix Matrix::Concatenate(const Matrix& left, const Matrix& right) {
  RequireMatch(left.rows_ == right.rows_ && left.columns_ + right.columns_ <= kMostColumns);
  Matrix both(left.rows_, static_cast<uint8>(left.columns_ + right.columns_));
  auto to = both.entries_.begin();
  auto fromLeft = left.entries_.begin();
  auto fromRight = right.entries_.begin();
  for (uint8 row = 0; row < left.rows_; ++row) {
    to = std::copy_n(fromLeft, left.columns_, to);
    to = std::copy_n(fromRight, right.columns_, to);
    fromLeft += left.columns_;
    fromRight += right.columns_;
  }
  return both;
}

Matrix Matrix::Inverse() const {
  RequireMatch(rows_ == columns_);
  const uint8 n = rows_;
  Matrix work = Concatenate(*this, Identity(n));
  for (uint8 i = 0; i < n; ++i) {
    // Rows are not exchanged: callers invert normal equations, which are positive definite, and
    // rely on a zero pivot meaning that these have no single solution.
    if (work.Get(i, i).isZero()) SUGThrow(ErrorMessage(59167));
    work.MultiplyRow(i, VelmarNumber::Divide(VelmarNumber::one, work.Get(i, i)));
    for (uint8 row = 0; row < n; ++row) {
      if (row != i) work.AddMultiplyRow(row, i, VelmarNumber::negate(work.Get(row, i)));
    }
  }
  Matrix inverse(n, n);
  for (uint8 row = 0; row < n; ++row) {
    for (uint8 column = 0; column < n; ++column) {
      inverse.Set(row, column, work.Get(row, static_cast<uint8>(n + column)));
    }
  }
  return inverse;
}

Matrix Matrix::Multiply(const Matrix& a, const Matrix& b) {
  RequireMatch(a.columns_ == b.rows_);
  Matrix product(a.rows_, b.columns_);
  for (uint8 i = 0; i < a.rows_; ++i) {
    for (uint8 j = 0; j < b.columns_; ++j) {
      for (uint8 k = 0; k < a.columns_; ++k) {
        product.Increment(i, j, VelmarNumber::Multiply(a.Get(i, k), b.Get(k, j)));
      }
    }
  }
  return product;
}

XeString Matrix::ToString() const {
  XeString text;
  for (std::size_t i = 0; i < entries_.size(); ++i) {
    text += entries_[i].asString();
    text += (i + 1) % columns_ == 0 ? L'\n' : L' ';
  }
  return text;
}

}  // namespace sqxer
