// Inversion and decompositions of both matrix storages, judged by products and by Eigen.
#include <gtest/gtest.h>

#include "matrix/rmatrix.h"
#include "matrix/rmatrix30.h"
#include "tests/matrix/reference.h"

namespace {

using Eigen::MatrixXd;
using reference::blockOf;
using reference::nan;
using reference::Random;

constexpr double epsilon = std::numeric_limits<double>::epsilon();

MatrixXd filled(int rows, int columns, double x) {
  return MatrixXd::Constant(rows, columns, x);
}
MatrixXd randomMatrix(Random& random, int rows, int columns) {
  return MatrixXd::NullaryExpr(rows, columns, [&] { return random.uniform(-2, 2); });
}
double distance(const MatrixXd& A, const MatrixXd& B) {
  return (A - B).cwiseAbs().maxCoeff();
}
double fromIdentity(const MatrixXd& A) {
  return distance(A, MatrixXd::Identity(A.rows(), A.cols()));
}

template <typename M>
M matrixOf(const MatrixXd& block) {
  M A(block.rows(), block.cols());
  for (int i = 0; i < block.rows(); ++i) {
    for (int j = 0; j < block.cols(); ++j) A.value[i][j] = block(i, j);
  }
  return A;
}

/// The inverse; empty when it is refused, which leaves the output as it was.
template <typename M>
MatrixXd inverse(bool (*invert)(M, M&), const MatrixXd& a) {
  M Mc = matrixOf<M>(filled(a.rows(), a.rows(), 77));
  if (invert(matrixOf<M>(a), Mc)) return blockOf(Mc);
  EXPECT_EQ(blockOf(Mc), filled(a.rows(), a.rows(), 77));
  return {};
}

// Diagonally dominant: the condition number stays below about 10, each element is the sum of n
// products: 100 n epsilon.
TEST(Inverse, TimesTheMatrixIsTheIdentity) {
  Random random;
  for (int n = 1; n <= 30; ++n) {
    MatrixXd a = randomMatrix(random, n, n);
    a.diagonal() += 2 * n * a.diagonal().cwiseSign();
    const MatrixXd sweep = inverse(RMatrix30::RMatrix30Inv2, a);
    ASSERT_LT(fromIdentity(a * sweep), 100 * n * epsilon);
    const MatrixXd pivoting = inverse(RMatrix30::RMatrix30Inv, a);
    ASSERT_EQ(pivoting.rows(), n <= 6 ? n : 0) << "beyond 6 x 6";
    if (n > 6) continue;
    ASSERT_LT(fromIdentity(a * pivoting), 100 * n * epsilon);
    ASSERT_EQ(inverse(RMatrix::RMatrixInv2, a), sweep) << "both storages, to the last bit";
    ASSERT_EQ(inverse(RMatrix::RMatrixInv, a), pivoting);
  }
}

TEST(Inverse, PivotsAreTheLargestAndNeverZero) {
  const MatrixXd exchange{{0, 1}, {1, 0}}, tie{{3, 3}, {-3, 1}};
  EXPECT_EQ(inverse(RMatrix::RMatrixInv, exchange), exchange);
  EXPECT_FALSE(inverse(RMatrix::RMatrixInv2, exchange)(0, 0) < 1e300) << "no singularity test";
  // Ties keep row 0. Row 0 / 3 -> (1, 1 | 1/3, 0); row 1 + 3 row 0 -> (0, 4 | 3 (1/3), 1), / 4;
  // row 0 - row 1. With row 1 it would divide by -3 and round.
  const double third = 1.0 / 3.0, quarter = 3.0 * third / 4.0;
  EXPECT_EQ(inverse(RMatrix::RMatrixInv, tie),
            MatrixXd({{third - quarter, -0.25}, {quarter, 0.25}}));
  // Not square; zero at once and later on; not-a-number is never a pivot.
  for (const MatrixXd& a : {filled(2, 3, 1), filled(2, 2, 0), filled(3, 3, 1), filled(3, 3, nan)}) {
    EXPECT_EQ(inverse(RMatrix::RMatrixInv, a).size(), 0);
    EXPECT_EQ(inverse(RMatrix30::RMatrix30Inv, a).size(), 0);
    EXPECT_EQ(inverse(RMatrix::RMatrixInv2, a).size(), a.rows() == a.cols() ? a.size() : 0);
  }
  RMatrix larger(4, 4);
  EXPECT_TRUE(RMatrix::RMatrixInv(RMatrix(2), larger));
  EXPECT_EQ(larger.iRow, 4u) << "the size is the caller's";
}

// Householder reflections are backward stable: a small multiple of n epsilon |A|.
TEST(Qr, ReconstructsWithOrthogonalAndTriangularFactors) {
  Random random;
  for (int trial = 0; trial < 400; ++trial) {
    const int m = 1 + trial % 6, n = 1 + random.below(m);
    const MatrixXd a = randomMatrix(random, m, n);
    RMatrix Q(m, m), R(m, n);
    ASSERT_TRUE(RMatrix::qrFullRMatrix(matrixOf<RMatrix>(a), Q, R));
    const MatrixXd q = blockOf(Q), r = blockOf(R);
    ASSERT_LT(distance(q * r, a), 40 * m * epsilon);
    ASSERT_LT(fromIdentity(q.transpose() * q), 20 * m * epsilon);
    ASSERT_EQ(r, MatrixXd(r.triangularView<Eigen::Upper>()));
    ASSERT_TRUE(m == 1 || a(0, 0) * r(0, 0) < 0) << "opposite sign of the leading element";
  }
}

TEST(Qr, RefusesColumnsThatVanish) {
  RMatrix Q = matrixOf<RMatrix>(filled(3, 3, 77)), R = Q;
  const MatrixXd first{{0, 0, 0}, {0, 1, 0}, {0, 0, 1}}, second{{1, 0, 0}, {0, 0, 0}, {0, 0, 1}};
  for (const MatrixXd& a : {filled(2, 3, 1), first, second, filled(3, 2, 1e-17)}) {
    EXPECT_FALSE(RMatrix::qrFullRMatrix(matrixOf<RMatrix>(a), Q, R));
    EXPECT_TRUE(blockOf(Q) == filled(3, 3, 77) && blockOf(R) == filled(3, 3, 77));
  }
  EXPECT_TRUE(RMatrix::qrFullRMatrix(matrixOf<RMatrix>(filled(3, 3, nan)), Q, R));
  EXPECT_TRUE(std::isnan(Q.value[0][0]));
}

TEST(Svd, HasTheSingularValuesOfEigen) {
  Random random;
  RMatrix U, S, V;
  for (int trial = 0; trial < 50; ++trial) {
    // Singular values well apart, so that the sweeps converge before their limit.
    const int n = 2 + trial % 5;
    const MatrixXd left = randomMatrix(random, n, n).householderQr().householderQ();
    const MatrixXd right = randomMatrix(random, n, n).householderQr().householderQ();
    const Eigen::VectorXd values =
        Eigen::VectorXd::NullaryExpr(n, [&](auto i) { return std::ldexp(1.0, n - i); });
    const MatrixXd a = left * values.asDiagonal() * right;
    RMatrix::svdSim(matrixOf<RMatrix>(a), U, S, V);
    const MatrixXd u = blockOf(U), s = blockOf(S);
    // Each sweep multiplies rounding errors of two products into U and V.
    ASSERT_LT(distance(u * s * blockOf(V).transpose(), a), 1e-11 * values[0]);
    ASSERT_LT(fromIdentity(u.transpose() * u), 1e-12);
    ASSERT_TRUE(s.isDiagonal(0));
    ASSERT_LT(distance(s.diagonal(), values), 1e-11 * values[0]);
  }
  RMatrix::svdSim(RMatrix(3, 3), U, S, V);
  EXPECT_EQ(blockOf(S), filled(3, 3, 0));
  RMatrix::svdSim(matrixOf<RMatrix>(filled(3, 2, 1)), U, S, V);
  EXPECT_EQ(S.iRow * 10 + S.iCol, 23u);
  RMatrix::svdSim(matrixOf<RMatrix>(filled(3, 3, nan)), U, S, V);
  EXPECT_TRUE(std::isnan(S.value[0][0])) << "no silent zero singular values";
}

TEST(Determinant, IsThatOfTheTopLeftBlock) {
  RMatrix a =
      matrixOf<RMatrix>(MatrixXd{{2, -1, 3, 9}, {4, 5, -6, 9}, {7, 8, 10, 9}, {9, 9, 9, 9}});
  EXPECT_EQ(RMatrix::detRMatrix(a), 269.0);
  a.iRow = a.iCol = 2;
  EXPECT_EQ(RMatrix::detRMatrix(a), 0.0) << "of a copy: zero outside of its size";
}

}  // namespace
