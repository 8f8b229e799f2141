// Vectors and both matrix storages against Eigen: which part of the storage each operation reads,
// what it writes, and the size of its result. Elements are quarters, so that sums are exact.
#include <gtest/gtest.h>

#include "matrix/rmatrix.h"
#include "matrix/rmatrix30.h"
#include "tests/matrix/reference.h"

namespace {

using namespace reference;
using Eigen::MatrixXd;
using Eigen::VectorXd;

template <typename V>
concept scalable = requires(V v) {
  2.0 * std::forward<V>(v);
};
static_assert(scalable<RVector&> && !scalable<RVector>, "scalar * vector takes a variable only");
template <typename M>
constexpr bool assignsToACopy = std::is_same_v<decltype(std::declval<M&>() = M()), M>;
static_assert(assignsToACopy<RMatrix> && assignsToACopy<RMatrix30>, "not to a reference");

struct Quarters : Random {
  MatrixXd matrix(int rows, int columns) {
    return MatrixXd::NullaryExpr(rows, columns, [&] { return std::round(uniform(-4, 4)) / 4; });
  }
  /// Fills all of the storage, whatever the logical size; returns it.
  MatrixXd fill(auto& A) { return storageOf(A) = matrix(storageOf(A).rows(), storageOf(A).cols()); }
};

/// The matrix is this block, and zeros around it.
template <typename M>
bool is(const M& actual, const MatrixXd& block) {
  MatrixXd outside = storageOf(actual);
  outside.topLeftCorner(block.rows(), block.cols()).setZero();
  return sameBits(blockOf(actual), block) && outside.isZero(0);
}
bool is(const RVector& actual, const VectorXd& expected) {
  return sameBits(elementsOf(actual), expected);
}

template <typename M>
void checkStorage(void (*clear)(M&)) {
  Quarters random;
  const int all = static_cast<int>(storageOf(M(1)).rows());
  for (int trial = 0; trial < 200; ++trial) {
    const int rows = 1 + random.below(all), cols = 1 + random.below(all), n = 1 + random.below(all);
    M A(rows, cols), B(n, n), assigned(all, all), cleared(rows, cols);
    const MatrixXd b = random.fill(B), a = random.fill(A).topLeftCorner(rows, cols);
    ASSERT_TRUE(is(A + B, a + b.topLeftCorner(rows, cols)));
    ASSERT_TRUE(is(A - B, a - b.topLeftCorner(rows, cols)));
    ASSERT_TRUE(is(A * B, (a * b.topLeftCorner(cols, n)).array() + 0.0));
    ASSERT_TRUE(is(M::RTranspose(A), a.transpose()));
    ASSERT_TRUE(is(M(A), a)) << "a copy";
    ASSERT_TRUE(is(M(rows), MatrixXd::Identity(rows, rows)));
    ASSERT_TRUE(is(M::RIdentity(rows), MatrixXd::Identity(rows, rows)));
    MatrixXd expected = random.fill(assigned);
    expected.topLeftCorner(rows, cols) = a;
    assigned = A;
    ASSERT_TRUE(sameBits(storageOf(assigned), expected) && sameBits(blockOf(assigned), a));
    expected = random.fill(cleared);
    expected.topLeftCorner(cols, rows).setZero();
    clear(cleared);
    ASSERT_TRUE(sameBits(storageOf(cleared), expected)) << "the transposed rectangle";
  }
}

TEST(Matrices, LoopsRunOverTheLeftOperandAndReadTheOtherAsItStands) {
  checkStorage(RMatrix::clearRMatrix);
  checkStorage(RMatrix30::clearRMatrix30);
}

TEST(Matrices, EmptinessIsFlaggedByConstructors) {
  const std::size_t none = 0;
  const RMatrix zero(2, 3);
  const RMatrix30 wide = RMatrix30::setSize(12, 4);
  EXPECT_TRUE(is(wide, MatrixXd::Zero(12, 4)));
  for (bool right : {RVector().IsAmpty, RMatrix().IsAmpty, RMatrix(none).IsAmpty, wide.IsAmpty,
                     RMatrix(2, none).IsAmpty, RMatrix(none, 2).IsAmpty, RMatrix30().IsAmpty,
                     RMatrix30(none).IsAmpty, RMatrix30(wide).IsAmpty, !RVector(none).IsAmpty,
                     !RMatrix(1).IsAmpty, !zero.IsAmpty, !RMatrix(zero).IsAmpty,
                     !(RMatrix() = zero).IsAmpty, !RMatrix30(1).IsAmpty}) {
    EXPECT_TRUE(right);
  }
}

TEST(Matrices, PartsAreReadAndWritten) {
  Quarters random;
  for (int trial = 0; trial < 300; ++trial) {
    const int r = random.below(6), c = random.below(6), k = random.below(6);
    const int height = 1 + random.below(6 - r), width = 1 + random.below(6 - c);
    const int r1 = r + height - 1, c1 = c + width - 1;
    RMatrix A(1 + random.below(6), 1 + random.below(6)), B(6, 6);
    const MatrixXd a = random.fill(A), copied = storageOf(RMatrix(A));  // by value: a copy is read
    MatrixXd expected = blockOf(A);
    expected.diagonal().setZero();
    ASSERT_TRUE(is(RMatrix::triuRMatrix(A), expected));
    ASSERT_TRUE(is(RMatrix::subRMatrix(A, r, r1, c, c1), copied.block(r, c, height, width)));
    ASSERT_TRUE(is(RMatrix::subRVector(A, r, r1, k, COLUMN), a.col(k).segment(r, height)));
    ASSERT_TRUE(is(RMatrix::subRVector(A, r, r1, k, ROW), a.row(k).segment(r, height)));
    const RVector neither = RMatrix::subRVector(A, r, r1, k, static_cast<ZelArraytype>(2));
    ASSERT_TRUE(is(neither, VectorXd::Zero(height)));
    ASSERT_TRUE(is(RVector::diagRVector(A), a.diagonal().head(A.iRow)));
    ASSERT_TRUE(is(RVector::vex3(A), Eigen::Vector3d(copied(2, 1), copied(0, 2), copied(1, 0))));
    ASSERT_EQ(RMatrix::normRMatrix(A, trial), a.topLeftCorner(A.iCol, A.iRow).norm());

    VectorXd v7 = random.matrix(7, 1);
    RVector v(v7.data(), 7);
    ASSERT_TRUE(is(A * v, (blockOf(A) * v7.head(A.iCol)).array() + 0.0));
    expected = random.fill(B);
    expected.block(r, c, height, width) = a.topLeftCorner(height, width);
    RMatrix::catRMatrix(B, r, r1, c, c1, A);
    ASSERT_TRUE(sameBits(storageOf(B), expected));
    expected.col(k).segment(r, height) = v7.head(height);
    RMatrix::catRMatrix(B, r, r1, k, v);
    ASSERT_TRUE(sameBits(storageOf(B), expected));
    v.size = height;
    expected.col(c).head(height) = v7.head(height);
    RMatrix::replaceRMatrix(B, c, trial % 2 ? ROW : COLUMN, v);
    ASSERT_TRUE(sameBits(storageOf(B), expected)) << "a column in any case";
    expected.topLeftCorner(3, 3) = copied.topLeftCorner(3, 3);
    expected.col(3).head(3) = v7.tail(3);
    RMatrix::replaceOriOfTMatrix(B, A);
    v = RVector(v7.data() + 4, 3);
    RMatrix::replaceDisOfTMatrix(B, v);
    ASSERT_TRUE(sameBits(storageOf(B), expected));
  }
}

TEST(Matrices, FromArrays) {
  double R[9] = {1, 2, 3, 4, 5, 6, 7, 8, 9}, p[3] = {10, 11, 12};
  double rows[4][4] = {{1, 2, 3, 10}, {4, 5, 6, 11}, {7, 8, 9, 12}, {0, 0, 0, 1}};
  const Eigen::Matrix4d T = Eigen::Map<Eigen::Matrix4d>(rows[0]).transpose();
  EXPECT_TRUE(is(RMatrix(R, p), T) && is(RMatrix(rows, 4), T));
  EXPECT_TRUE(is(RMatrix(rows, 3), T.topLeftCorner(3, 3)));
  EXPECT_TRUE(is(RMatrix::setSize(2), MatrixXd::Identity(2, 2)));
}

TEST(Vectors, ResultsTakeTheSizeOfTheLeftOperand) {
  Quarters random;
  for (int trial = 0; trial < 500; ++trial) {
    VectorXd x7 = random.matrix(7, 1), y7 = random.matrix(7, 1);
    const int n = random.below(8), end = random.below(8), start = random.below(8);
    const VectorXd x = x7.head(n), y = y7.head(n);
    const double s = y7[n % 7];
    RVector a(x7.data(), 7), b(y7.data(), 7);
    a.size = n;  // the slots behind the size stay
    b.size = 7 - n;
    ASSERT_TRUE(is(a + b, y + x) && is(a - b, x - y) && is(-a, -x));
    ASSERT_TRUE(is(a * s, x * s) && is(s * a, x * s));
    ASSERT_TRUE(is(a / s, x / s) && is(s / a, s / x.array()));
    ASSERT_TRUE(is(RVector::sqrtRVector(a), x.array().sqrt()));
    ASSERT_TRUE(is(RVector::catRVector(a, b), (VectorXd(7) << x, y7.head(7 - n)).finished()));
    ASSERT_EQ(RVector::dotRVector(a, b), x.dot(y));
    ASSERT_EQ(RVector::norm(a), x.norm());
    VectorXd slice = VectorXd::Zero(end);
    for (int i = start; i < end; ++i) slice[i - start] = i > n ? x7[i - n] : x7[i];
    ASSERT_TRUE(is(RVector::slice(a, start, end), slice)) << "as long as its end";
    ASSERT_TRUE(is(RVector::cross3(a, b), reference::cross(x7.head(3), y7.head(3))));
    const Eigen::Matrix3d skew{{0, -x7[2], x7[1]}, {x7[2], 0, -x7[0]}, {-x7[1], x7[0], 0}};
    ASSERT_TRUE(is(RVector::Skew(a), skew));
  }
  EXPECT_TRUE(is(RVector::setSize(7), VectorXd::Zero(7)));
  EXPECT_EQ(_sqrt(4.0), 0.0) << "inverted";
  EXPECT_TRUE(std::isnan(_sqrt(-1.0)) && sameBits(_sqrt(-0.0), -0.0));
}

TEST(ProcessAngle, GivesTheBitsOfSubtractingTurnByTurn) {
  const auto processed = [](double x) {
    RVector v(2);
    v.value[0] = v.value[1] = v.value[2] = x;
    RVector::processAngle(v);
    EXPECT_TRUE(sameBits(v.value[0], v.value[1]) && sameBits(v.value[2], x)) << "both, not a third";
    return v.value[0];
  };
  // Around powers of two, where the grid of the last place changes; some rounded turns above one,
  // where the last turn may round on the finer grid below it; around half turns; anywhere.
  Random random;
  for (int exponent = 1; exponent <= 21; ++exponent) {
    const double power = std::ldexp(1.0, exponent), turn = 1.5 * power - (1.5 * power - 2 * pi);
    for (double x : {power, power + 3 * turn, power + 20 * turn, power + pi, exponent * pi,
                     random.uniform(0.1, 1) * power, random.uniform(0.5, 1) * power}) {
      for (double near : {x, -x, std::nextafter(x, 0), std::nextafter(-x, -1e9)}) {
        double expected = near;
        while (expected >= pi) expected -= 6.283185307179586;
        while (expected < -pi) expected += 6.283185307179586;
        ASSERT_TRUE(sameBits(processed(near), expected)) << std::hexfloat << near;
      }
    }
  }
  for (double large : {1e12, -1e12, std::ldexp(1.0, 53), 3e16, -3e16}) {
    EXPECT_TRUE(-pi <= processed(large) && processed(large) < pi) << large;
  }
  // Where a turn is below half a unit of the last place, the value stays as it is.
  for (double x : {1e17, -1e300, infinity, -infinity, notANumber, -0.0}) {
    EXPECT_TRUE(sameBits(processed(x), x)) << x;
  }
}

// ---- inversion and decompositions, judged by their products ----

constexpr double epsilon = std::numeric_limits<double>::epsilon();

MatrixXd filled(int rows, int columns, double x) {
  return MatrixXd::Constant(rows, columns, x);
}
MatrixXd randomMatrix(Random& random, int rows, int columns) {
  return MatrixXd::NullaryExpr(rows, columns, [&] { return random.uniform(-2, 2); });
}

template <typename M>
M matrixOf(const MatrixXd& block) {
  M A(block.rows(), block.cols());
  storageOf(A).topLeftCorner(block.rows(), block.cols()) = block;
  return A;
}

/// The inverse; empty when it is refused, which leaves the output as it was.
template <typename M>
MatrixXd inverted(bool (*invert)(M, M&), const MatrixXd& a) {
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
    const MatrixXd sweep = inverted(RMatrix30::RMatrix30Inv2, a);
    const MatrixXd pivoting = inverted(RMatrix30::RMatrix30Inv, a);
    ASSERT_TRUE((a * sweep).isIdentity(100 * n * epsilon));
    ASSERT_EQ(pivoting.rows(), n <= 6 ? n : 0) << "not beyond 6 x 6";
    if (n > 6) continue;
    ASSERT_TRUE((a * pivoting).isIdentity(100 * n * epsilon));
    ASSERT_EQ(inverted(RMatrix::RMatrixInv2, a), sweep) << "both storages, to the last bit";
    ASSERT_EQ(inverted(RMatrix::RMatrixInv, a), pivoting);
  }
}

TEST(Inverse, PivotsAreTheLargestAndNeverZero) {
  const MatrixXd exchange{{0, 1}, {1, 0}}, tie{{3, 3}, {-3, 1}};
  EXPECT_EQ(inverted(RMatrix::RMatrixInv, exchange), exchange);
  EXPECT_FALSE(inverted(RMatrix::RMatrixInv2, exchange).allFinite()) << "no singularity test";
  // Ties keep row 0. Row 0 / 3 -> (1, 1 | 1/3, 0); row 1 + 3 row 0 -> (0, 4 | 3 (1/3), 1), / 4;
  // row 0 - row 1. With row 1 it would divide by -3 and round.
  const double third = 1.0 / 3.0, quarter = 3.0 * third / 4.0;
  const MatrixXd expected{{third - quarter, -0.25}, {quarter, 0.25}};
  EXPECT_EQ(inverted(RMatrix::RMatrixInv, tie), expected);
  // Not square; zero at once and later on; not-a-number is never a pivot.
  for (const MatrixXd& a :
       {filled(2, 3, 1), filled(2, 2, 0), filled(3, 3, 1), filled(3, 3, notANumber)}) {
    EXPECT_EQ(inverted(RMatrix::RMatrixInv, a).size(), 0);
    EXPECT_EQ(inverted(RMatrix30::RMatrix30Inv, a).size(), 0);
    EXPECT_EQ(inverted(RMatrix::RMatrixInv2, a).rows(), a.rows() == a.cols() ? a.rows() : 0);
  }
  RMatrix larger(4, 4);
  EXPECT_TRUE(RMatrix::RMatrixInv(RMatrix(2), larger) && larger.iRow == 4) << "the caller's size";
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
    ASSERT_TRUE((q * r).isApprox(a, 20 * m * epsilon) && r.isUpperTriangular(0));
    ASSERT_TRUE((q.transpose() * q).isIdentity(20 * m * epsilon));
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
  EXPECT_TRUE(RMatrix::qrFullRMatrix(matrixOf<RMatrix>(filled(3, 3, notANumber)), Q, R));
  EXPECT_TRUE(std::isnan(Q.value[0][0]));
}

TEST(Svd, FindsTheSingularValuesOfAProduct) {
  Random random;
  RMatrix U, S, V;
  for (int trial = 0; trial < 50; ++trial) {
    const int n = 2 + trial % 5;
    const MatrixXd left = randomMatrix(random, n, n).householderQr().householderQ();
    const MatrixXd right = randomMatrix(random, n, n).householderQr().householderQ();
    // Well apart, so that the sweeps converge before their limit.
    const Eigen::VectorXd values = Vec<6>{32, 16, 8, 4, 2, 1}.head(n);
    const MatrixXd a = left * values.asDiagonal() * right;
    RMatrix::svdSim(matrixOf<RMatrix>(a), U, S, V);
    const MatrixXd u = blockOf(U), s = blockOf(S);
    // Each sweep multiplies rounding errors of two products into U and V.
    ASSERT_TRUE((u * s * blockOf(V).transpose()).isApprox(a, 1e-11));
    ASSERT_TRUE((u.transpose() * u).isIdentity(1e-12));
    ASSERT_TRUE(s.isDiagonal(0) && s.diagonal().isApprox(values, 1e-11));
  }
  RMatrix::svdSim(RMatrix(3, 3), U, S, V);
  EXPECT_EQ(blockOf(S), filled(3, 3, 0));
  RMatrix::svdSim(matrixOf<RMatrix>(filled(3, 2, 1)), U, S, V);
  EXPECT_TRUE(S.iRow == 2 && S.iCol == 3);
  RMatrix::svdSim(matrixOf<RMatrix>(filled(3, 3, notANumber)), U, S, V);
  EXPECT_TRUE(std::isnan(S.value[0][0])) << "no silent zero singular values";
}

TEST(Determinant, IsThatOfTheTopLeftBlock) {
  const MatrixXd a{{2, -1, 3, 9}, {4, 5, -6, 9}, {7, 8, 10, 9}, {9, 9, 9, 9}};
  RMatrix A = matrixOf<RMatrix>(a);
  EXPECT_EQ(RMatrix::detRMatrix(A), 269.0);
  A.iRow = A.iCol = 2;
  EXPECT_EQ(RMatrix::detRMatrix(A), 0.0) << "of a copy: zero outside of its size";
}

}  // namespace
