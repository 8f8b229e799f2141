// Inline matrix storage with a logical size, and the arithmetic that RMatrix and RMatrix30 share.
#ifndef ZEL_FTC_MATRIX_FIXEDMATRIX_H
#define ZEL_FTC_MATRIX_FIXEDMATRIX_H

#include <cassert>
#include <cstddef>

/// N x N doubles held inline, of which the top-left `iRow` x `iCol` block is the matrix.
///
/// Cells outside that block exist, are readable and are written by some operations. No operation
/// compares the sizes of its operands: it takes the dimensions it needs from the operand named in
/// its comment and reads the other as it stands in storage. Dimensions above N are a caller's
/// error: a debug build asserts, a release build keeps N.
///
/// Loops run row index outermost, then column index; sums start at 0.0 and add terms in increasing
/// index order, so that results are reproducible to the last bit (a sum is never -0.0).
template <std::size_t N>
class FixedMatrix {
 public:
  static constexpr std::size_t capacity = N;

  double value[N][N];  ///< element (i, j) is value[i][j]
  std::size_t iRow;    ///< logical number of rows, 0..N
  std::size_t iCol;    ///< logical number of columns, 0..N
  bool IsAmpty;        ///< is-empty flag; nothing reads it

 protected:
  /// All cells 0.0.
  FixedMatrix(std::size_t rows, std::size_t columns, bool empty)
      : value{}, iRow(bounded(rows)), iCol(bounded(columns)), IsAmpty(empty) {}

  /// Copies the logical block; the cells outside it are 0.0.
  FixedMatrix(const FixedMatrix& m) : value{}, iRow(m.iRow), iCol(m.iCol), IsAmpty(m.IsAmpty) {
    copyBlock(m);
  }

  /// Copies size, flag and logical block; cells outside the new block keep their content.
  FixedMatrix& operator=(const FixedMatrix& m) {
    iRow = m.iRow;
    iCol = m.iCol;
    IsAmpty = m.IsAmpty;
    copyBlock(m);
    return *this;
  }

  ~FixedMatrix() = default;

  void setDiagonal(double d) {
    for (std::size_t i = 0; i < iRow; ++i) value[i][i] = d;
  }

  /// this = A * B over the columns of A; this has A.iRow x B.iCol.
  void assignProduct(const FixedMatrix& A, const FixedMatrix& B) {
    for (std::size_t i = 0; i < iRow; ++i) {
      for (std::size_t j = 0; j < iCol; ++j) {
        double sum = 0.0;
        for (std::size_t k = 0; k < A.iCol; ++k) sum += A.value[i][k] * B.value[k][j];
        value[i][j] = sum;
      }
    }
  }

  void assignTranspose(const FixedMatrix& A) {
    for (std::size_t i = 0; i < iRow; ++i) {
      for (std::size_t j = 0; j < iCol; ++j) value[i][j] = A.value[j][i];
    }
  }

  /// Zeroes value[i][j] for i < iCol and j < iRow: the transposed rectangle of a non-square matrix.
  void clearTransposedBlock() {
    for (std::size_t i = 0; i < iCol; ++i) {
      for (std::size_t j = 0; j < iRow; ++j) value[i][j] = 0.0;
    }
  }

 private:
  static std::size_t bounded(std::size_t n) {
    assert(n <= N && "matrix dimension above the storage");
    return n <= N ? n : N;
  }

  void copyBlock(const FixedMatrix& m) {
    for (std::size_t i = 0; i < iRow; ++i) {
      for (std::size_t j = 0; j < iCol; ++j) value[i][j] = m.value[i][j];
    }
  }
};

#endif
