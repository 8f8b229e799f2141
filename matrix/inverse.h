// The two inversion algorithms, written once for both matrix storages, and the least-squares
// solution on the second. Internal: not installed.
#ifndef ZEL_FTC_MATRIX_INVERSE_H
#define ZEL_FTC_MATRIX_INVERSE_H

#include <cmath>
#include <cstddef>
#include <utility>

namespace zel {

/// Largest system that gaussJordanInverse takes: the size of its scratch arrays.
constexpr std::size_t gaussJordanCapacity = 6;

/// Gauss-Jordan elimination with partial pivoting (Golub & Van Loan, Matrix Computations) of the
/// n x n block of A, n <= gaussJordanCapacity. Ties of the pivot search keep the earliest row.
/// False when a column offers no pivot but exact zeros; `inverse` is then untouched.
template <std::size_t N>
bool gaussJordanInverse(const double (&A)[N][N], std::size_t n, double (&inverse)[N][N]) {
  double a[gaussJordanCapacity][gaussJordanCapacity] = {};
  double b[gaussJordanCapacity][gaussJordanCapacity] = {};
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = 0; j < n; ++j) a[i][j] = A[i][j];
    b[i][i] = 1.0;
  }

  for (std::size_t k = 0; k < n; ++k) {
    double max = 0.0;
    std::size_t row = k;
    for (std::size_t i = k; i < n; ++i) {
      if (std::fabs(a[i][k]) > max) {
        max = std::fabs(a[i][k]);
        row = i;
      }
    }
    if (max == 0.0) return false;

    if (row != k) {
      for (std::size_t j = 0; j < n; ++j) {
        std::swap(a[row][j], a[k][j]);
        std::swap(b[row][j], b[k][j]);
      }
    }

    const double pivot = a[k][k];
    for (std::size_t j = k + 1; j < n; ++j) a[k][j] /= pivot;
    for (std::size_t j = 0; j < n; ++j) b[k][j] /= pivot;
    a[k][k] = 1.0;

    for (std::size_t i = 0; i < n; ++i) {
      if (i == k) continue;
      for (std::size_t j = k + 1; j < n; ++j) a[i][j] -= a[k][j] * a[i][k];
      for (std::size_t j = 0; j < n; ++j) b[i][j] -= b[k][j] * a[i][k];
    }
    for (std::size_t i = 0; i < n; ++i) a[i][k] = 0.0;
    a[k][k] = 1.0;
  }

  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = 0; j < n; ++j) inverse[i][j] = b[i][j];
  }
  return true;
}

/// In-place sweep of the n x n block of M into its inverse, without pivoting. A zero met on the
/// diagonal leaves elements that are not finite.
template <std::size_t N>
void sweepInverse(double (&M)[N][N], std::size_t n) {
  for (std::size_t k = 0; k < n; ++k) {
    const double p = 1.0 / M[k][k];
    M[k][k] = p;
    for (std::size_t j = 0; j < n; ++j) {
      if (j != k) M[k][j] = -p * M[k][j];
    }
    for (std::size_t i = 0; i < n; ++i) {
      if (i != k) M[i][k] = M[i][k] * p;
    }
    for (std::size_t i = 0; i < n; ++i) {
      if (i == k) continue;
      for (std::size_t j = 0; j < n; ++j) {
        if (j != k) M[i][j] += M[i][k] * M[k][j] / p;
      }
    }
  }
}

/// Sweep inverse of a square matrix value into Mc's storage; false when it is not square.
template <typename Matrix>
bool sweepInverseInto(const Matrix& A, Matrix& Mc) {
  const std::size_t n = A.iRow;
  if (n != A.iCol) return false;
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = 0; j < n; ++j) Mc.value[i][j] = A.value[i][j];
  }
  sweepInverse(Mc.value, n);
  return true;
}

/// x = (inv(A' A) A') b by normal equations, multiplied from left to right: the least-squares
/// solution of A x = b over the first `rows` rows. The sweep inverse has no singularity test.
template <std::size_t Rows, std::size_t N>
void solveNormalEquations(const double (&A)[Rows][N], const double (&b)[Rows], std::size_t rows,
                          double* x) {
  double inverse[N][N];
  for (std::size_t i = 0; i < N; ++i) {
    for (std::size_t j = 0; j < N; ++j) {
      inverse[i][j] = 0.0;
      for (std::size_t k = 0; k < rows; ++k) inverse[i][j] += A[k][i] * A[k][j];
    }
  }
  sweepInverse(inverse, N);

  for (std::size_t i = 0; i < N; ++i) {
    x[i] = 0.0;
    for (std::size_t k = 0; k < rows; ++k) {
      double element = 0.0;
      for (std::size_t j = 0; j < N; ++j) element += inverse[i][j] * A[k][j];
      x[i] += element * b[k];
    }
  }
}

}  // namespace zel

#endif
