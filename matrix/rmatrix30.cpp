#include "matrix/rmatrix30.h"

#include "matrix/elementwise.h"
#include "matrix/inverse.h"

RMatrix30::RMatrix30() : FixedMatrix(0, 0, true) {}

RMatrix30::RMatrix30(std::size_t n) : FixedMatrix(n, n, n == 0) {
  setDiagonal(1.0);
}

RMatrix30::RMatrix30(std::size_t m, std::size_t n) : FixedMatrix(m, n, true) {}

RMatrix30::RMatrix30(const RMatrix30& m) = default;

RMatrix30 RMatrix30::operator=(const RMatrix30& m) {
  FixedMatrix::operator=(m);
  return *this;
}

RMatrix30 RMatrix30::operator*(const RMatrix30& B) const {
  RMatrix30 C(iRow, B.iCol);
  C.assignProduct(*this, B);
  return C;
}

RMatrix30 RMatrix30::RIdentity(std::size_t n) {
  RMatrix30 I(n, n);
  I.setDiagonal(1.0);
  return I;
}

RMatrix30 RMatrix30::setSize(std::size_t m, std::size_t n) {
  return RMatrix30(m, n);
}

RMatrix30 RMatrix30::RTranspose(const RMatrix30& A) {
  RMatrix30 At(A.iCol, A.iRow);
  At.assignTranspose(A);
  return At;
}

void RMatrix30::clearRMatrix30(RMatrix30& A) {
  A.clearTransposedBlock();
}

bool RMatrix30::RMatrix30Inv(RMatrix30 A, RMatrix30& Mc) {
  if (A.iRow != A.iCol || A.iRow > zel::gaussJordanCapacity) return false;
  return zel::gaussJordanInverse(A.value, A.iRow, Mc.value);
}

bool RMatrix30::RMatrix30Inv2(RMatrix30 A, RMatrix30& Mc) {
  return zel::sweepInverseInto(A, Mc);
}

RMatrix30 operator+(const RMatrix30& A, const RMatrix30& B) {
  return zel::elementwise(A, B, [](double a, double b) { return a + b; });
}

RMatrix30 operator-(const RMatrix30& A, const RMatrix30& B) {
  return zel::elementwise(A, B, [](double a, double b) { return a - b; });
}
