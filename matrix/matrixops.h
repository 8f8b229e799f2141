// What RMatrix and RMatrix30 share, by reference. Internal: not installed.
//
// Loops run row index outermost, then column index; sums start at 0.0 and add terms in increasing
// index order, so that results are reproducible to the last bit (a sum is never -0.0).
#ifndef ZEL_FTC_MATRIX_MATRIXOPS_H
#define ZEL_FTC_MATRIX_MATRIXOPS_H

#include <cstddef>

#include "matrix/bounded.h"

namespace zel {

template <typename Matrix>
std::size_t rows(const Matrix& A) {
  return bounded<Matrix::capacity>(A.iRow);
}
template <typename Matrix>
std::size_t columns(const Matrix& A) {
  return bounded<Matrix::capacity>(A.iCol);
}

template <typename Matrix>
void setDiagonal(Matrix& A, double d) {
  for (std::size_t i = 0; i < rows(A); ++i) A.value[i][i] = d;
}

/// Size, flag and logical block; the cells outside the block keep their content.
template <typename Matrix>
void assignBlock(Matrix& to, const Matrix& from) {
  to.iRow = rows(from);
  to.iCol = columns(from);
  to.IsAmpty = from.IsAmpty;
  for (std::size_t i = 0; i < to.iRow; ++i) {
    for (std::size_t j = 0; j < to.iCol; ++j) to.value[i][j] = from.value[i][j];
  }
}

/// A B, rows(A) x columns(B), summed over the columns of A.
template <typename Matrix>
Matrix product(const Matrix& A, const Matrix& B) {
  Matrix C(A.iRow, B.iCol);
  for (std::size_t i = 0; i < C.iRow; ++i) {
    for (std::size_t j = 0; j < C.iCol; ++j) {
      double sum = 0.0;
      for (std::size_t k = 0; k < columns(A); ++k) sum += A.value[i][k] * B.value[k][j];
      C.value[i][j] = sum;
    }
  }
  return C;
}

template <typename Matrix>
Matrix transposed(const Matrix& A) {
  Matrix At(A.iCol, A.iRow);
  for (std::size_t i = 0; i < At.iRow; ++i) {
    for (std::size_t j = 0; j < At.iCol; ++j) At.value[i][j] = A.value[j][i];
  }
  return At;
}

/// op(A(i, j), B(i, j)) for every element of A; B is read as it stands in storage.
template <typename Matrix, typename Op>
Matrix elementwise(const Matrix& A, const Matrix& B, Op op) {
  Matrix C(A.iRow, A.iCol);
  for (std::size_t i = 0; i < C.iRow; ++i) {
    for (std::size_t j = 0; j < C.iCol; ++j) C.value[i][j] = op(A.value[i][j], B.value[i][j]);
  }
  return C;
}

/// Zeroes value[i][j] for i < iCol and j < iRow: the transposed rectangle of a non-square matrix.
template <typename Matrix>
void clearTransposedBlock(Matrix& A) {
  for (std::size_t i = 0; i < columns(A); ++i) {
    for (std::size_t j = 0; j < rows(A); ++j) A.value[i][j] = 0.0;
  }
}

}  // namespace zel

#endif
