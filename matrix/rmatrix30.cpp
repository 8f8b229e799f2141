#include "matrix/rmatrix30.h"

#include <functional>

#include "matrix/inverse.h"
#include "matrix/matrixops.h"

RMatrix30::RMatrix30() : RMatrix30(0, 0) {}

RMatrix30::RMatrix30(std::size_t n) : RMatrix30(n, n) {
  IsAmpty = n == 0;
  zel::setDiagonal(*this, 1.0);
}

RMatrix30::RMatrix30(std::size_t m, std::size_t n)
    : value{}, iRow(zel::bounded<capacity>(m)), iCol(zel::bounded<capacity>(n)), IsAmpty(true) {}

RMatrix30::RMatrix30(const RMatrix30& m) : RMatrix30() {
  zel::assignBlock(*this, m);
}

RMatrix30::~RMatrix30() = default;

RMatrix30 RMatrix30::operator=(const RMatrix30& m) {
  zel::assignBlock(*this, m);
  return *this;
}

RMatrix30 RMatrix30::operator*(const RMatrix30& B) {
  return zel::product(*this, B);
}

RMatrix30 RMatrix30::RIdentity(std::size_t n) {
  RMatrix30 I(n, n);
  zel::setDiagonal(I, 1.0);
  return I;
}

RMatrix30 RMatrix30::setSize(std::size_t m, std::size_t n) {
  return RMatrix30(m, n);
}

RMatrix30 RMatrix30::RTranspose(RMatrix30 A) {
  return zel::transposed(A);
}

void RMatrix30::clearRMatrix30(RMatrix30& A) {
  zel::clearTransposedBlock(A);
}

bool RMatrix30::RMatrix30Inv(RMatrix30 A, RMatrix30& Mc) {
  if (A.iRow != A.iCol || A.iRow > zel::gaussJordanCapacity) return false;
  return zel::gaussJordanInverse(A.value, A.iRow, Mc.value);
}

bool RMatrix30::RMatrix30Inv2(RMatrix30 A, RMatrix30& Mc) {
  return zel::sweepInverseInto(A, Mc);
}

RMatrix30 operator+(const RMatrix30& A, const RMatrix30& B) {
  return zel::elementwise(A, B, std::plus<double>());
}

RMatrix30 operator-(const RMatrix30& A, const RMatrix30& B) {
  return zel::elementwise(A, B, std::minus<double>());
}
