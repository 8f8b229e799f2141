// RMatrix: inversion and decompositions, on fixed scratch arrays of the routines' own stack.
#include <cmath>
#include <cstddef>

#include "matrix/inverse.h"
#include "matrix/matrixops.h"
#include "matrix/rmatrix.h"

bool RMatrix::RMatrixInv(RMatrix A, RMatrix& Mc) {
  if (A.iRow != A.iCol) return false;
  return zel::gaussJordanInverse(A.value, A.iRow, Mc.value);
}

bool RMatrix::RMatrixInv2(RMatrix A, RMatrix& Mc) {
  return zel::sweepInverseInto(A, Mc);
}

bool RMatrix::qrFullRMatrix(RMatrix A, RMatrix& Q, RMatrix& R) {
  const std::size_t m = A.iRow;
  const std::size_t n = A.iCol;
  if (m < n) return false;

  double(&a)[capacity][capacity] = A.value;
  double q[capacity][capacity] = {};
  for (std::size_t i = 0; i < m; ++i) q[i][i] = 1.0;

  const std::size_t reflections = m == n && m > 0 ? m - 1 : n;
  for (std::size_t k = 0; k < reflections; ++k) {
    double u = 0.0;
    bool vanishes = true;  // not the same as u == 0.0: not-a-number never is the largest
    for (std::size_t i = k; i < m; ++i) {
      if (std::fabs(a[i][k]) > u) u = std::fabs(a[i][k]);
      if (a[i][k] != 0.0) vanishes = false;
    }
    if (vanishes) return false;  // nothing to reflect; the scaling below would divide by zero

    double alpha = 0.0;
    for (std::size_t i = k; i < m; ++i) {
      const double scaled = a[i][k] / u;
      alpha += scaled * scaled;
    }
    if (a[k][k] > 0.0) u = -u;
    alpha = u * std::sqrt(alpha);
    if (std::fabs(alpha) + 1.0 == 1.0) return false;

    u = std::sqrt(2.0 * alpha * (alpha - a[k][k]));
    if (u + 1.0 == 1.0) continue;

    // Column k now holds the unit Householder vector.
    a[k][k] = (a[k][k] - alpha) / u;
    for (std::size_t i = k + 1; i < m; ++i) a[i][k] /= u;

    const auto reflect = [&](double(&M)[capacity][capacity], std::size_t j) {
      double t = 0.0;
      for (std::size_t l = k; l < m; ++l) t += a[l][k] * M[l][j];
      for (std::size_t i = k; i < m; ++i) M[i][j] -= 2.0 * t * a[i][k];
    };
    for (std::size_t j = 0; j < m; ++j) reflect(q, j);
    for (std::size_t j = k + 1; j < n; ++j) reflect(a, j);

    a[k][k] = alpha;
    for (std::size_t i = k + 1; i < m; ++i) a[i][k] = 0.0;
  }

  for (std::size_t i = 0; i < m; ++i) {
    for (std::size_t j = 0; j < m; ++j) Q.value[i][j] = q[j][i];
    for (std::size_t j = 0; j < n; ++j) R.value[i][j] = a[i][j];
  }
  return true;
}

void RMatrix::svdSim(RMatrix A, RMatrix& U, RMatrix& S, RMatrix& V) {
  constexpr double tol = 1e-13;
  constexpr int loopmax = 300;
  const std::size_t m = A.iRow;
  const std::size_t n = A.iCol;
  RMatrix U_temp(m);
  RMatrix V_temp(n);
  S = zel::transposed(A);

  double Err = 1e7;
  for (int loopcount = 0; Err > tol && loopcount < loopmax; ++loopcount) {
    // A factorisation that fails leaves its outputs zero and the sweep goes on with them.
    RMatrix Q(m, m), R(m, n);
    qrFullRMatrix(zel::transposed(S), Q, R);
    U_temp = U_temp * Q;

    RMatrix Q1(n, n), R1(n, m);
    qrFullRMatrix(zel::transposed(R), Q1, R1);
    V_temp = V_temp * Q1;
    S = R1;

    RMatrix offDiagonal = triuRMatrix(S);
    const double e = normRMatrix(offDiagonal, 1);
    double squares = 0.0;
    for (std::size_t i = 0; i < n; ++i) squares += S.value[i][i] * S.value[i][i];
    double f = std::sqrt(squares);
    if (f == 0.0) f = 1.0;
    Err = e / f;
  }

  U = U_temp;
  V = V_temp;
  const RVector SS = RVector::diagRVector(S);
  clearRMatrix(S);
  for (std::size_t i = 0; i < SS.size; ++i) {
    S.value[i][i] = std::fabs(SS.value[i]);
    if (SS.value[i] < 0.0) {
      for (std::size_t r = 0; r < U.iRow; ++r) U.value[r][i] = -U.value[r][i];
    }
  }
}

double RMatrix::detRMatrix(RMatrix A) {
  const auto& a = A.value;
  const double plus =
      a[0][0] * a[1][1] * a[2][2] + a[0][1] * a[1][2] * a[2][0] + a[0][2] * a[1][0] * a[2][1];
  const double minus =
      a[0][2] * a[1][1] * a[2][0] + a[0][1] * a[1][0] * a[2][2] + a[0][0] * a[1][2] * a[2][1];
  return plus - minus;
}
