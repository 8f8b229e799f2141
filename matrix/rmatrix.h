// The small dense matrix of the library: rotations, homogeneous transforms, wrench transforms.
#ifndef ZEL_FTC_MATRIX_RMATRIX_H
#define ZEL_FTC_MATRIX_RMATRIX_H

#include <cstddef>

#include "matrix/rvector.h"
#include "zel_ftc_types.h"

/// A matrix of up to 6 x 6 in inline storage, of which the top-left `iRow` x `iCol` block is the
/// matrix.
///
/// Cells outside that block exist, are readable and are written by some operations. No operation
/// compares the sizes of its operands: it takes the dimensions it needs from the operand named in
/// its comment and reads the other as it stands in storage. Dimensions and indices beyond the
/// storage are a caller's error: a debug build asserts, a release build works on what there is.
///
/// Homogeneous transforms are 4 x 4, rotation in rows and columns 0..2, translation in column 3.
/// T_a_b is the pose of frame b in frame a; orientation R = RotZ(a) * RotY(b) * RotX(c), radians.
/// Nothing here normalises rotations or quaternions: callers hand in valid ones.
///
/// By value or by reference is part of the contract: an operation that takes a matrix by value
/// works on a copy and reads 0.0 outside the logical block; one that takes a reference reads what
/// stands in storage there. Only operations named so write what they take by reference.
class ZEL_FTC_API RMatrix {
 public:
  static constexpr std::size_t capacity = 6;

  double value[capacity][capacity];  ///< element (i, j) is value[i][j]
  std::size_t iRow;                  ///< logical number of rows, 0..6
  std::size_t iCol;                  ///< logical number of columns, 0..6
  bool IsAmpty;                      ///< is-empty flag; nothing reads it

  /// 0 x 0, `IsAmpty` true. Meant as a target to assign to.
  RMatrix();
  /// n x n identity; `IsAmpty` when n is 0.
  explicit RMatrix(std::size_t n);
  /// r x c zeros; `IsAmpty` when either is 0.
  RMatrix(std::size_t r, std::size_t c);
  /// n x n (n <= 4) from rows of four doubles.
  RMatrix(double (*a)[4], std::size_t n);
  /// Homogeneous transform from a rotation (nine doubles, row by row) and a translation (three).
  RMatrix(double* R, double* p);
  /// The logical block; the rest of the storage is 0.0.
  RMatrix(const RMatrix& m);
  ~RMatrix();
  /// Cells outside the new logical block keep their content. Returns a copy, not a reference.
  RMatrix operator=(const RMatrix& m);

  /// Size iRow x B.iCol, summed over iCol.
  RMatrix operator*(const RMatrix& B);

  // ---- building and taking apart ---------------------------------------------------------------

  static RMatrix RIdentity(std::size_t n);
  /// A new n x n identity; resizes no existing matrix.
  static RMatrix setSize(std::size_t n);
  static RMatrix RTranspose(RMatrix A);
  /// Rows r0..r1 and columns c0..c1, both inclusive.
  static RMatrix subRMatrix(RMatrix A, std::size_t r0, std::size_t r1, std::size_t c0,
                            std::size_t c1);
  /// Elements a..b of column k (COLUMN) or of row k (ROW); zeros for any other type.
  static RVector subRVector(RMatrix& A, std::size_t a, std::size_t b, std::size_t k,
                            ZelArraytype t);
  /// Writes S into rows r0..r1, columns c0..c1 of A (inclusive); A keeps its size.
  static void catRMatrix(RMatrix& A, std::size_t r0, std::size_t r1, std::size_t c0, std::size_t c1,
                         RMatrix& S);
  /// Writes v down column c, rows r0..r1 (inclusive).
  static void catRMatrix(RMatrix& A, std::size_t r0, std::size_t r1, std::size_t c, RVector& v);
  /// Replaces the top v.size elements of column idx. The array type is ignored: a row is never
  /// replaced.
  static void replaceRMatrix(RMatrix& A, std::size_t idx, ZelArraytype t, RVector& v);
  static void replaceOriOfTMatrix(RMatrix& T, RMatrix R);
  static void replaceDisOfTMatrix(RMatrix& T, RVector& p);
  /// Zeroes cells (i, j) with i < iCol and j < iRow. For a matrix that is not square this is the
  /// transposed rectangle: part of the matrix keeps its values.
  static void clearRMatrix(RMatrix& A);
  /// A with a zero diagonal. Despite the name the lower triangle stays.
  static RMatrix triuRMatrix(RMatrix& A);
  /// Frobenius norm over i < iCol, j < iRow (as clearRMatrix); p is ignored.
  static double normRMatrix(RMatrix& A, std::size_t p);

  // ---- rotations, poses and homogeneous transforms ---------------------------------------------

  static RMatrix RotX(double t);
  static RMatrix RotY(double t);
  static RMatrix RotZ(double t);
  /// RotZ(v0) * RotY(v1) * RotX(v2), 3 x 3.
  static RMatrix RPY2Rot(RVector v);
  /// The same as a transform without translation.
  static RMatrix RPY2TR(RVector v);
  /// Transform of a six-element pose. The angle type is ignored.
  static RMatrix Pos2TR(RVector pose, ZelAngletype t);
  /// Inverse of a rigid transform: transposed rotation R', translation -(R' p).
  static RMatrix TrInv(RMatrix T);
  /// 3 x 3 from a unit quaternion (w, x, y, z).
  static RMatrix Quaternion2Rot(RVector& q);
  /// 4 x 4 from (x, y, z, w, qx, qy, qz).
  static RMatrix PosQuaternion2TR(RVector& v);

  // ---- inversion and decompositions ------------------------------------------------------------
  // Output matrices must come with the right size: only their elements are written, and a false
  // result leaves them as they were. Bounded time and memory, no allocation.

  /// Gauss-Jordan with partial pivoting (Golub & Van Loan, Matrix Computations). False when A is
  /// not square or a pivot is exactly zero.
  static bool RMatrixInv(RMatrix A, RMatrix& Mc);
  /// In-place sweep without pivoting and without a singularity test: a zero met on the diagonal
  /// gives non-finite elements and still true. False only when A is not square.
  static bool RMatrixInv2(RMatrix A, RMatrix& Mc);
  /// A (m x n, m >= n) = Q R by Householder reflections; the diagonal of R has the sign opposite to
  /// the leading element of each column. False when m < n or a column to reflect vanishes.
  static bool qrFullRMatrix(RMatrix A, RMatrix& Q, RMatrix& R);
  /// A = U S V' of a square A by alternating QR factorisations, at most 300 sweeps.
  static void svdSim(RMatrix A, RMatrix& U, RMatrix& S, RMatrix& V);
  /// Determinant of the top-left 3 x 3 block, whatever the size (rule of Sarrus).
  static double detRMatrix(RMatrix A);
};

/// A * v: A.iRow elements, summed over A.iCol.
ZEL_FTC_API RVector operator*(const RMatrix& A, const RVector& v);
/// Element-wise, size of A.
ZEL_FTC_API RMatrix operator+(const RMatrix& A, const RMatrix& B);
ZEL_FTC_API RMatrix operator-(const RMatrix& A, const RMatrix& B);

#endif
