// Element-wise combination of two matrices of either storage. Internal: not installed.
#ifndef ZEL_FTC_MATRIX_ELEMENTWISE_H
#define ZEL_FTC_MATRIX_ELEMENTWISE_H

#include <cstddef>

namespace zel {

/// op(A(i, j), B(i, j)) for every element of A; B is read as it stands in storage.
template <typename Matrix, typename Op>
Matrix elementwise(const Matrix& A, const Matrix& B, Op op) {
  Matrix C(A.iRow, A.iCol);
  for (std::size_t i = 0; i < A.iRow; ++i) {
    for (std::size_t j = 0; j < A.iCol; ++j) C.value[i][j] = op(A.value[i][j], B.value[i][j]);
  }
  return C;
}

}  // namespace zel

#endif
