// The large sibling of RMatrix, for the least-squares systems of load identification.
#ifndef ZEL_FTC_MATRIX_RMATRIX30_H
#define ZEL_FTC_MATRIX_RMATRIX30_H

#include <cstddef>

#include "zel_ftc_types.h"

/// A matrix of up to 30 x 30 in inline storage (7.2 kB). Sizes, loop order and what is read outside
/// the logical block are as for RMatrix. A type of its own: there is no conversion to or from
/// RMatrix.
class ZEL_FTC_API RMatrix30 {
 public:
  static constexpr std::size_t capacity = 30;

  double value[capacity][capacity];  ///< element (i, j) is value[i][j]
  std::size_t iRow;                  ///< logical number of rows, 0..30
  std::size_t iCol;                  ///< logical number of columns, 0..30
  bool IsAmpty;                      ///< is-empty flag; nothing reads it

  /// 0 x 0, `IsAmpty` true. Meant as a target to assign to.
  RMatrix30();
  /// n x n identity; `IsAmpty` when n is 0.
  explicit RMatrix30(std::size_t n);
  /// m x n zeros; `IsAmpty` is always true, unlike RMatrix.
  RMatrix30(std::size_t m, std::size_t n);
  /// The logical block; the rest of the storage is 0.0.
  RMatrix30(const RMatrix30& m);
  ~RMatrix30();
  /// Cells outside the new logical block keep their content. Returns a copy, not a reference.
  RMatrix30 operator=(const RMatrix30& m);

  /// Size iRow x B.iCol, summed over iCol.
  RMatrix30 operator*(const RMatrix30& B);

  static RMatrix30 RIdentity(std::size_t n);
  /// A new m x n zero matrix (`IsAmpty` true); unlike RMatrix::setSize not an identity.
  static RMatrix30 setSize(std::size_t m, std::size_t n);
  static RMatrix30 RTranspose(RMatrix30 A);
  /// Zeroes cells (i, j) with i < iCol and j < iRow (the transposed rectangle).
  static void clearRMatrix30(RMatrix30& A);
  /// Gauss-Jordan with partial pivoting, for n <= 6 only. False when A is not square, larger than
  /// 6 x 6 or singular (exact zero pivot); Mc is then untouched.
  static bool RMatrix30Inv(RMatrix30 A, RMatrix30& Mc);
  /// In-place sweep without pivoting, any n <= 30. False only when A is not square.
  static bool RMatrix30Inv2(RMatrix30 A, RMatrix30& Mc);
};

/// Element-wise, size of A.
ZEL_FTC_API RMatrix30 operator+(const RMatrix30& A, const RMatrix30& B);
ZEL_FTC_API RMatrix30 operator-(const RMatrix30& A, const RMatrix30& B);

#endif
