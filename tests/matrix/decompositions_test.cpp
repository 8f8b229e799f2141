// Inversion and decompositions of both matrix storages.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "matrix/rmatrix.h"
#include "matrix/rmatrix30.h"
#include "tests/matrix/reference.h"

namespace {

using reference::epsilon;
using reference::sameBits;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double untouched = 77.0;

template <typename Matrix>
Matrix filled(std::size_t rows, std::size_t columns, double x) {
  Matrix A(rows, columns);
  for (std::size_t i = 0; i < rows; ++i) {
    for (std::size_t j = 0; j < columns; ++j) A.value[i][j] = x;
  }
  return A;
}

template <typename Matrix>
Matrix randomMatrix(std::mt19937_64& random, std::size_t rows, std::size_t columns) {
  Matrix A(rows, columns);
  for (std::size_t i = 0; i < rows; ++i) {
    for (std::size_t j = 0; j < columns; ++j) A.value[i][j] = reference::uniform(random, -2, 2);
  }
  return A;
}

template <typename Matrix>
double largestElement(const Matrix& A) {
  double largest = 0.0;
  for (std::size_t i = 0; i < A.iRow; ++i) {
    for (std::size_t j = 0; j < A.iCol; ++j) {
      largest = std::fmax(largest, std::fabs(A.value[i][j]));
    }
  }
  return largest;
}

/// Largest element of A - B.
template <typename Matrix>
double distance(const Matrix& A, const Matrix& B) {
  return largestElement(A - B);
}

template <typename Matrix>
bool isUntouched(const Matrix& A) {
  return distance(A, filled<Matrix>(A.iRow, A.iCol, untouched)) == 0.0;
}

/// A diagonally dominant matrix: every inverse is well conditioned, with and without pivoting.
template <typename Matrix>
Matrix dominantMatrix(std::mt19937_64& random, std::size_t n) {
  Matrix A = randomMatrix<Matrix>(random, n, n);
  for (std::size_t i = 0; i < n; ++i) A.value[i][i] += A.value[i][i] < 0 ? -2.0 * n : 2.0 * n;
  return A;
}

// The condition number stays below about 10, each element is the sum of n products: 100 n epsilon.
TEST(Inverse, TimesTheMatrixIsTheIdentity) {
  std::mt19937_64 random = reference::randomFamily();
  for (std::size_t n = 1; n <= 6; ++n) {
    for (int trial = 0; trial < 50; ++trial) {
      RMatrix A = dominantMatrix<RMatrix>(random, n);
      RMatrix pivoting(n, n), sweep(n, n);
      ASSERT_TRUE(RMatrix::RMatrixInv(A, pivoting));
      ASSERT_TRUE(RMatrix::RMatrixInv2(A, sweep));
      ASSERT_LT(distance(A * pivoting, RMatrix(n)), 100 * n * epsilon);
      ASSERT_LT(distance(A * sweep, RMatrix(n)), 100 * n * epsilon);
    }
  }
  for (const std::size_t n : {1u, 6u, 7u, 10u, 30u}) {
    RMatrix30 A = dominantMatrix<RMatrix30>(random, n);
    RMatrix30 sweep(n, n);
    ASSERT_TRUE(RMatrix30::RMatrix30Inv2(A, sweep));
    ASSERT_LT(distance(A * sweep, RMatrix30(n)), 100 * n * epsilon);
  }
}

TEST(Inverse, BothStoragesGiveTheSameBits) {
  std::mt19937_64 random = reference::randomFamily();
  for (int trial = 0; trial < 100; ++trial) {
    const RMatrix A = randomMatrix<RMatrix>(random, 6, 6);
    RMatrix30 B(6, 6);
    for (int i = 0; i < 6; ++i) std::copy_n(A.value[i], 6, B.value[i]);
    RMatrix small[2] = {RMatrix(6, 6), RMatrix(6, 6)};
    RMatrix30 large[2] = {RMatrix30(6, 6), RMatrix30(6, 6)};
    ASSERT_TRUE(RMatrix::RMatrixInv(A, small[0]));
    ASSERT_TRUE(RMatrix::RMatrixInv2(A, small[1]));
    ASSERT_TRUE(RMatrix30::RMatrix30Inv(B, large[0]));
    ASSERT_TRUE(RMatrix30::RMatrix30Inv2(B, large[1]));
    for (int k = 0; k < 2; ++k) {
      for (int i = 0; i < 6; ++i) {
        ASSERT_TRUE(sameBits(small[k].value[i], large[k].value[i], 6));
      }
    }
  }
}

TEST(Inverse, PivotingHandlesAZeroOnTheDiagonalAndTheSweepDoesNot) {
  RMatrix A(2, 2);
  A.value[0][1] = A.value[1][0] = 1.0;
  RMatrix inverse(2, 2);
  EXPECT_TRUE(RMatrix::RMatrixInv(A, inverse));
  EXPECT_EQ(distance(inverse, A), 0.0);
  EXPECT_TRUE(RMatrix::RMatrixInv2(A, inverse)) << "no singularity test";
  EXPECT_FALSE(std::isfinite(inverse.value[0][0]));
}

// Equal magnitudes in the first column. With row 0 as pivot the elimination is exact; with row 1 it
// would divide by -3 and round.
TEST(Inverse, PivotTiesKeepTheEarlierRow) {
  double rows[2][4] = {{3, 3}, {-3, 1}};
  RMatrix inverse(2, 2);
  ASSERT_TRUE(RMatrix::RMatrixInv(RMatrix(rows, 2), inverse));
  // Step by step: row 0 / 3 -> (1, 1 | 1/3, 0); row 1 + 3 row 0 -> (0, 4 | 3 (1/3), 1), / 4;
  // row 0 - row 1.
  const double third = 1.0 / 3.0;
  const double quarter = (3.0 * third) / 4.0;
  EXPECT_TRUE(sameBits(inverse.value[1][0], quarter));
  EXPECT_TRUE(sameBits(inverse.value[1][1], 0.25));
  EXPECT_TRUE(sameBits(inverse.value[0][0], third - quarter));
  EXPECT_TRUE(sameBits(inverse.value[0][1], -0.25));
}

TEST(Inverse, RefusalsLeaveTheOutputUntouched) {
  RMatrix Mc = filled<RMatrix>(3, 3, untouched);
  RMatrix singular(3);
  singular.value[1][1] = 0.0;
  EXPECT_FALSE(RMatrix::RMatrixInv(singular, Mc));
  EXPECT_FALSE(RMatrix::RMatrixInv(filled<RMatrix>(3, 3, 1.0), Mc)) << "exact zero pivot later on";
  EXPECT_FALSE(RMatrix::RMatrixInv(RMatrix(2, 3), Mc));
  EXPECT_FALSE(RMatrix::RMatrixInv2(RMatrix(2, 3), Mc));
  EXPECT_FALSE(RMatrix::RMatrixInv(filled<RMatrix>(3, 3, nan), Mc)) << "NaN is never a pivot";
  EXPECT_TRUE(isUntouched(Mc));

  RMatrix30 large = filled<RMatrix30>(7, 7, untouched);
  EXPECT_FALSE(RMatrix30::RMatrix30Inv(RMatrix30(7), large)) << "beyond 6 x 6";
  EXPECT_FALSE(RMatrix30::RMatrix30Inv(RMatrix30(30), large));
  EXPECT_FALSE(RMatrix30::RMatrix30Inv(RMatrix30(2, 3), large));
  EXPECT_FALSE(RMatrix30::RMatrix30Inv(RMatrix30(3, 3), large));
  EXPECT_FALSE(RMatrix30::RMatrix30Inv2(RMatrix30(2, 3), large));
  EXPECT_TRUE(isUntouched(large));
}

TEST(Inverse, OutputSizesAreTheCallers) {
  RMatrix Mc(4, 4);
  EXPECT_TRUE(RMatrix::RMatrixInv(RMatrix(2), Mc));
  EXPECT_EQ(Mc.iRow, 4u);
  EXPECT_EQ(Mc.value[1][1], 1.0);
  RMatrix itself = RMatrix(2) + RMatrix(2);
  EXPECT_TRUE(RMatrix::RMatrixInv2(itself, itself)) << "in place";
  EXPECT_EQ(itself.value[0][0], 0.5);
}

// ---- QR ---------------------------------------------------------------------------------------

TEST(Qr, ReconstructsWithOrthogonalAndTriangularFactors) {
  std::mt19937_64 random = reference::randomFamily();
  for (std::size_t m = 1; m <= 6; ++m) {
    for (std::size_t n = 1; n <= m; ++n) {
      for (int trial = 0; trial < 20; ++trial) {
        const RMatrix A = randomMatrix<RMatrix>(random, m, n);
        RMatrix Q(m, m), R(m, n);
        ASSERT_TRUE(RMatrix::qrFullRMatrix(A, Q, R));
        // Householder reflections are backward stable: a small multiple of n epsilon |A|.
        ASSERT_LT(distance(Q * R, A), 40 * m * epsilon);
        ASSERT_LT(distance(RMatrix::RTranspose(Q) * Q, RMatrix(m)), 20 * m * epsilon);
        const std::size_t reflections = m == n ? m - 1 : n;
        for (std::size_t j = 0; j < n; ++j) {
          for (std::size_t i = j + 1; i < m; ++i) ASSERT_EQ(R.value[i][j], 0.0);
        }
        if (reflections > 0) {
          ASSERT_LT(A.value[0][0] * R.value[0][0], 0.0) << "opposite sign of the leading element";
        }
      }
    }
  }
}

TEST(Qr, RefusalsLeaveTheOutputsUntouched) {
  RMatrix Q = filled<RMatrix>(3, 3, untouched), R = filled<RMatrix>(3, 3, untouched);
  EXPECT_FALSE(RMatrix::qrFullRMatrix(RMatrix(2, 3), Q, R));
  RMatrix A(3);
  A.value[0][0] = 0.0;
  EXPECT_FALSE(RMatrix::qrFullRMatrix(A, Q, R)) << "first column zero";
  A = RMatrix(3);
  A.value[1][1] = 0.0;
  EXPECT_FALSE(RMatrix::qrFullRMatrix(A, Q, R)) << "a later column zero";
  EXPECT_FALSE(RMatrix::qrFullRMatrix(filled<RMatrix>(3, 2, 1e-17), Q, R)) << "numerically zero";
  EXPECT_TRUE(isUntouched(Q));
  EXPECT_TRUE(isUntouched(R));
}

TEST(Qr, NotANumberIsNotAZeroColumn) {
  RMatrix Q(3, 3), R(3, 3);
  EXPECT_TRUE(RMatrix::qrFullRMatrix(filled<RMatrix>(3, 3, nan), Q, R));
  EXPECT_TRUE(std::isnan(Q.value[0][0]));
  RMatrix U, S, V;
  RMatrix::svdSim(filled<RMatrix>(3, 3, nan), U, S, V);
  EXPECT_TRUE(std::isnan(S.value[0][0])) << "no silent zero singular values";
}

// ---- singular values and determinant ------------------------------------------------------------

TEST(Svd, ReconstructsSquareMatrices) {
  std::mt19937_64 random = reference::randomFamily();
  for (std::size_t n = 2; n <= 6; ++n) {
    for (int trial = 0; trial < 10; ++trial) {
      // Singular values that are well apart, so that the sweeps converge before their limit.
      RMatrix D(n, n);
      for (std::size_t i = 0; i < n; ++i) D.value[i][i] = std::ldexp(1.0, static_cast<int>(i));
      RMatrix left(n, n), right(n, n), R(n, n);
      ASSERT_TRUE(RMatrix::qrFullRMatrix(randomMatrix<RMatrix>(random, n, n), left, R));
      ASSERT_TRUE(RMatrix::qrFullRMatrix(randomMatrix<RMatrix>(random, n, n), right, R));
      const RMatrix A = left * D * right;

      RMatrix U, S, V;
      RMatrix::svdSim(A, U, S, V);
      ASSERT_EQ(S.iRow, n);
      ASSERT_EQ(U.iRow, n);
      // Each sweep multiplies rounding errors of two products into U and V.
      ASSERT_LT(distance(U * S * RMatrix::RTranspose(V), A), 1e-11 * largestElement(A));
      ASSERT_LT(distance(RMatrix::RTranspose(U) * U, RMatrix(n)), 1e-12);
      double product = 1.0;
      for (std::size_t i = 0; i < n; ++i) {
        ASSERT_GE(S.value[i][i], 0.0);
        product *= S.value[i][i];
        for (std::size_t j = 0; j < n; ++j) {
          ASSERT_TRUE(i == j || S.value[i][j] == 0.0);
        }
      }
      ASSERT_NEAR(product / std::ldexp(1.0, static_cast<int>(n * (n - 1) / 2)), 1.0, 1e-11);
    }
  }
}

TEST(Svd, EndsForSingularAndTallMatrices) {
  RMatrix U, S, V;
  RMatrix::svdSim(RMatrix(3, 3), U, S, V);
  EXPECT_EQ(largestElement(S), 0.0);
  RMatrix::svdSim(filled<RMatrix>(3, 2, 1.0), U, S, V);
  EXPECT_EQ(S.iRow, 2u);
  EXPECT_EQ(S.iCol, 3u);
}

TEST(Determinant, IsThatOfTheTopLeftBlock) {
  double rows[4][4] = {{2, -1, 3, 9}, {4, 5, -6, 9}, {7, 8, 10, 9}, {9, 9, 9, 9}};
  EXPECT_EQ(RMatrix::detRMatrix(RMatrix(rows, 3)), 2 * (50 + 48) + 1 * (40 + 42) + 3 * (32 - 35));
  EXPECT_EQ(RMatrix::detRMatrix(RMatrix(rows, 4)), 269.0);
  EXPECT_EQ(RMatrix::detRMatrix(RMatrix(2)), 0.0);
}

}  // namespace
