// RMatrix: storage, arithmetic, rotations and transforms. Inversion and decompositions stand in
// rmatrix_decompositions.cpp.
#include "matrix/rmatrix.h"

#include <algorithm>
#include <cassert>
#include <cmath>

#include "matrix/elementwise.h"
#include "matrix/rigidtransform.h"

RMatrix::RMatrix() : FixedMatrix(0, 0, true) {}

RMatrix::RMatrix(std::size_t n) : FixedMatrix(n, n, n == 0) {
  setDiagonal(1.0);
}

RMatrix::RMatrix(std::size_t r, std::size_t c) : FixedMatrix(r, c, r == 0 || c == 0) {}

RMatrix::RMatrix(double (*a)[4], std::size_t n) : FixedMatrix(n, n, false) {
  for (std::size_t i = 0; i < iRow; ++i) {
    for (std::size_t j = 0; j < iCol; ++j) value[i][j] = a[i][j];
  }
}

RMatrix::RMatrix(const double* R, const double* p) : FixedMatrix(4, 4, false) {
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) value[i][j] = R[3 * i + j];
    value[i][3] = p[i];
  }
  value[3][3] = 1.0;
}

RMatrix::RMatrix(const RMatrix& m) = default;

RMatrix RMatrix::operator=(const RMatrix& m) {
  FixedMatrix::operator=(m);
  return *this;
}

RMatrix RMatrix::operator*(const RMatrix& B) const {
  RMatrix C(iRow, B.iCol);
  C.assignProduct(*this, B);
  return C;
}

RMatrix RMatrix::RIdentity(std::size_t n) {
  RMatrix I(n, n);
  I.setDiagonal(1.0);
  return I;
}

RMatrix RMatrix::setSize(std::size_t n) {
  return RMatrix(n);
}

RMatrix RMatrix::RTranspose(const RMatrix& A) {
  RMatrix At(A.iCol, A.iRow);
  At.assignTranspose(A);
  return At;
}

RMatrix RMatrix::subRMatrix(RMatrix A, std::size_t r0, std::size_t r1, std::size_t c0,
                            std::size_t c1) {
  assert(r1 < capacity && c1 < capacity);
  RMatrix S(r1 - r0 + 1, c1 - c0 + 1);
  for (std::size_t i = 0; i < S.iRow; ++i) {
    for (std::size_t j = 0; j < S.iCol; ++j) S.value[i][j] = A.value[r0 + i][c0 + j];
  }
  return S;
}

RVector RMatrix::subRVector(const RMatrix& A, std::size_t a, std::size_t b, std::size_t k,
                            ZelArraytype t) {
  RVector v(b - a + 1);
  for (std::size_t i = 0; i < v.size; ++i) {
    if (t == COLUMN) v.value[i] = A.value[a + i][k];
    if (t == ROW) v.value[i] = A.value[k][a + i];
  }
  return v;
}

void RMatrix::catRMatrix(RMatrix& A, std::size_t r0, std::size_t r1, std::size_t c0, std::size_t c1,
                         const RMatrix& S) {
  assert(r1 < capacity && c1 < capacity);
  for (std::size_t i = r0; i <= r1; ++i) {
    for (std::size_t j = c0; j <= c1; ++j) A.value[i][j] = S.value[i - r0][j - c0];
  }
}

void RMatrix::catRMatrix(RMatrix& A, std::size_t r0, std::size_t r1, std::size_t c,
                         const RVector& v) {
  for (std::size_t i = r0; i <= r1; ++i) A.value[i][c] = v.value[i - r0];
}

void RMatrix::replaceRMatrix(RMatrix& A, std::size_t idx, ZelArraytype, const RVector& v) {
  for (std::size_t i = 0; i < v.size; ++i) A.value[i][idx] = v.value[i];
}

void RMatrix::replaceOriOfTMatrix(RMatrix& T, RMatrix R) {
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) T.value[i][j] = R.value[i][j];
  }
}

void RMatrix::replaceDisOfTMatrix(RMatrix& T, const RVector& p) {
  for (int i = 0; i < 3; ++i) T.value[i][3] = p.value[i];
}

void RMatrix::clearRMatrix(RMatrix& A) {
  A.clearTransposedBlock();
}

RMatrix RMatrix::triuRMatrix(const RMatrix& A) {
  RMatrix T(A);
  T.setDiagonal(0.0);
  return T;
}

double RMatrix::normRMatrix(const RMatrix& A, std::size_t) {
  double sum = 0.0;
  for (std::size_t i = 0; i < A.iCol; ++i) {
    for (std::size_t j = 0; j < A.iRow; ++j) sum += A.value[i][j] * A.value[i][j];
  }
  return std::sqrt(sum);
}

RMatrix RMatrix::RotX(double t) {
  RMatrix R(3);
  R.value[1][1] = std::cos(t);
  R.value[1][2] = -std::sin(t);
  R.value[2][1] = std::sin(t);
  R.value[2][2] = std::cos(t);
  return R;
}

RMatrix RMatrix::RotY(double t) {
  RMatrix R(3);
  R.value[0][0] = std::cos(t);
  R.value[0][2] = std::sin(t);
  R.value[2][0] = -std::sin(t);
  R.value[2][2] = std::cos(t);
  return R;
}

RMatrix RMatrix::RotZ(double t) {
  RMatrix R(3);
  R.value[0][0] = std::cos(t);
  R.value[0][1] = -std::sin(t);
  R.value[1][0] = std::sin(t);
  R.value[1][1] = std::cos(t);
  return R;
}

RMatrix RMatrix::RPY2Rot(const RVector& v) {
  RMatrix R(3, 3);
  zel::rotationFromAngles(v.value[0], v.value[1], v.value[2], R.value);
  return R;
}

RMatrix RMatrix::RPY2TR(const RVector& v) {
  RMatrix T(4);
  zel::rotationFromAngles(v.value[0], v.value[1], v.value[2], T.value);
  return T;
}

RMatrix RMatrix::Pos2TR(const RVector& pose, ZelAngletype) {
  RMatrix T = RPY2TR(RVector::slice(pose, 3, 6));
  replaceDisOfTMatrix(T, RVector::slice(pose, 0, 3));
  return T;
}

RMatrix RMatrix::TrInv(RMatrix T) {
  zel::RigidTransform rigid;
  for (int i = 0; i < 3; ++i) std::copy_n(T.value[i], 4, rigid.row[i]);
  const zel::RigidTransform inverse = zel::inverse(rigid);
  RMatrix inv(4);
  for (int i = 0; i < 3; ++i) std::copy_n(inverse.row[i], 4, inv.value[i]);
  return inv;
}

RMatrix RMatrix::Quaternion2Rot(const RVector& q) {
  RMatrix R(3);
  zel::rotationFromQuaternion(q.value, R.value);
  return R;
}

RMatrix RMatrix::PosQuaternion2TR(const RVector& v) {
  RMatrix T(4);
  zel::rotationFromQuaternion(v.value + 3, T.value);
  replaceDisOfTMatrix(T, v);
  return T;
}

RVector operator*(const RMatrix& A, const RVector& v) {
  RVector r(A.iRow);
  for (std::size_t i = 0; i < r.size; ++i) {
    for (std::size_t j = 0; j < A.iCol; ++j) r.value[i] += A.value[i][j] * v.value[j];
  }
  return r;
}

RMatrix operator+(const RMatrix& A, const RMatrix& B) {
  return zel::elementwise(A, B, [](double a, double b) { return a + b; });
}

RMatrix operator-(const RMatrix& A, const RMatrix& B) {
  return zel::elementwise(A, B, [](double a, double b) { return a - b; });
}
