// RMatrix: storage, arithmetic, rotations and transforms. Inversion and decompositions stand in
// rmatrix_decompositions.cpp.
#include "matrix/rmatrix.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <functional>

#include "matrix/matrixops.h"
#include "matrix/rigidtransform.h"

namespace {

constexpr std::size_t capacity = RMatrix::capacity;

/// How far an index range runs: to the end of the storage.
std::size_t lastOf(std::size_t last) {
  assert(last < capacity && "index beyond the storage");
  return std::min(last, capacity - 1);
}

/// An element by indices that a caller has chosen; 0.0 beyond the storage.
double element(const RMatrix& A, std::size_t i, std::size_t j) {
  assert(i < capacity && j < capacity && "index beyond the storage");
  return i < capacity && j < capacity ? A.value[i][j] : 0.0;
}

/// Writes elements of v down column c from row r0 to row r1, as far as the storage goes.
void writeColumn(RMatrix& A, std::size_t r0, std::size_t r1, std::size_t c, const RVector& v) {
  if (lastOf(c) != c) return;
  for (std::size_t i = r0; i <= lastOf(r1); ++i) A.value[i][c] = v.value[i - r0];
}

}  // namespace

RMatrix::RMatrix() : value{}, iRow(0), iCol(0), IsAmpty(true) {}

RMatrix::RMatrix(std::size_t n) : RMatrix(n, n) {
  zel::setDiagonal(*this, 1.0);
}

RMatrix::RMatrix(std::size_t r, std::size_t c)
    : value{},
      iRow(zel::bounded<capacity>(r)),
      iCol(zel::bounded<capacity>(c)),
      IsAmpty(r == 0 || c == 0) {}

RMatrix::RMatrix(double (*a)[4], std::size_t n) : RMatrix(zel::bounded<4>(n), zel::bounded<4>(n)) {
  IsAmpty = false;
  for (std::size_t i = 0; i < iRow; ++i) std::copy_n(a[i], iCol, value[i]);
}

RMatrix::RMatrix(double* R, double* p) : RMatrix(4, 4) {
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) value[i][j] = R[3 * i + j];
    value[i][3] = p[i];
  }
  value[3][3] = 1.0;
}

RMatrix::RMatrix(const RMatrix& m) : RMatrix() {
  zel::assignBlock(*this, m);
}

RMatrix::~RMatrix() = default;

RMatrix RMatrix::operator=(const RMatrix& m) {
  zel::assignBlock(*this, m);
  return *this;
}

RMatrix RMatrix::operator*(const RMatrix& B) {
  return zel::product(*this, B);
}

RMatrix RMatrix::RIdentity(std::size_t n) {
  return RMatrix(n);
}

RMatrix RMatrix::setSize(std::size_t n) {
  return RMatrix(n);
}

RMatrix RMatrix::RTranspose(RMatrix A) {
  return zel::transposed(A);
}

RMatrix RMatrix::subRMatrix(RMatrix A, std::size_t r0, std::size_t r1, std::size_t c0,
                            std::size_t c1) {
  RMatrix S(r1 - r0 + 1, c1 - c0 + 1);
  for (std::size_t i = 0; i < S.iRow; ++i) {
    for (std::size_t j = 0; j < S.iCol; ++j) S.value[i][j] = element(A, r0 + i, c0 + j);
  }
  return S;
}

RVector RMatrix::subRVector(RMatrix& A, std::size_t a, std::size_t b, std::size_t k,
                            ZelArraytype t) {
  RVector v(b - a + 1);
  for (std::size_t i = 0; i < v.size; ++i) {
    if (t == COLUMN) v.value[i] = element(A, a + i, k);
    if (t == ROW) v.value[i] = element(A, k, a + i);
  }
  return v;
}

void RMatrix::catRMatrix(RMatrix& A, std::size_t r0, std::size_t r1, std::size_t c0, std::size_t c1,
                         RMatrix& S) {
  for (std::size_t i = r0; i <= lastOf(r1); ++i) {
    for (std::size_t j = c0; j <= lastOf(c1); ++j) A.value[i][j] = S.value[i - r0][j - c0];
  }
}

void RMatrix::catRMatrix(RMatrix& A, std::size_t r0, std::size_t r1, std::size_t c, RVector& v) {
  writeColumn(A, r0, r1, c, v);
}

void RMatrix::replaceRMatrix(RMatrix& A, std::size_t idx, ZelArraytype, RVector& v) {
  if (v.size > 0) writeColumn(A, 0, v.size - 1, idx, v);
}

void RMatrix::replaceOriOfTMatrix(RMatrix& T, RMatrix R) {
  for (int i = 0; i < 3; ++i) std::copy_n(R.value[i], 3, T.value[i]);
}

void RMatrix::replaceDisOfTMatrix(RMatrix& T, RVector& p) {
  for (int i = 0; i < 3; ++i) T.value[i][3] = p.value[i];
}

void RMatrix::clearRMatrix(RMatrix& A) {
  zel::clearTransposedBlock(A);
}

RMatrix RMatrix::triuRMatrix(RMatrix& A) {
  RMatrix T(A);
  zel::setDiagonal(T, 0.0);
  return T;
}

double RMatrix::normRMatrix(RMatrix& A, std::size_t) {
  double sum = 0.0;
  for (std::size_t i = 0; i < zel::columns(A); ++i) {
    for (std::size_t j = 0; j < zel::rows(A); ++j) sum += A.value[i][j] * A.value[i][j];
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

RMatrix RMatrix::RPY2Rot(RVector v) {
  RMatrix R(3, 3);
  zel::rotationFromAngles(v.value[0], v.value[1], v.value[2], R.value);
  return R;
}

RMatrix RMatrix::RPY2TR(RVector v) {
  RMatrix T(4);
  zel::rotationFromAngles(v.value[0], v.value[1], v.value[2], T.value);
  return T;
}

RMatrix RMatrix::Pos2TR(RVector pose, ZelAngletype) {
  RMatrix T = RPY2TR(RVector::slice(pose, 3, 6));
  RVector position = RVector::slice(pose, 0, 3);
  replaceDisOfTMatrix(T, position);
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

RMatrix RMatrix::Quaternion2Rot(RVector& q) {
  RMatrix R(3);
  zel::rotationFromQuaternion(q.value, R.value);
  return R;
}

RMatrix RMatrix::PosQuaternion2TR(RVector& v) {
  RMatrix T(4);
  zel::rotationFromQuaternion(v.value + 3, T.value);
  replaceDisOfTMatrix(T, v);
  return T;
}

RVector operator*(const RMatrix& A, const RVector& v) {
  RVector r(zel::rows(A));
  for (std::size_t i = 0; i < r.size; ++i) {
    for (std::size_t j = 0; j < zel::columns(A); ++j) r.value[i] += A.value[i][j] * v.value[j];
  }
  return r;
}

RMatrix operator+(const RMatrix& A, const RMatrix& B) {
  return zel::elementwise(A, B, std::plus<double>());
}

RMatrix operator-(const RMatrix& A, const RMatrix& B) {
  return zel::elementwise(A, B, std::minus<double>());
}
