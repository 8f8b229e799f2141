#include "matrix/rmatrix.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <type_traits>
#include <vector>

#include "tests/matrix/reference.h"

namespace {

using reference::sameBits;

/// Element (i, j) is 10 (i + 1) + (j + 1) in the whole storage; the logical size is rows x columns.
RMatrix numbered(std::size_t rows, std::size_t columns) {
  RMatrix A(rows, columns);
  for (int i = 0; i < 6; ++i) {
    for (int j = 0; j < 6; ++j) A.value[i][j] = 10.0 * (i + 1) + (j + 1);
  }
  return A;
}

std::vector<double> elements(const RVector& v) {
  return {v.value, v.value + v.size};
}

RMatrix randomMatrix(std::mt19937_64& random, std::size_t rows, std::size_t columns) {
  RMatrix A(rows, columns);
  for (std::size_t i = 0; i < rows; ++i) {
    for (std::size_t j = 0; j < columns; ++j) {
      A.value[i][j] = reference::uniform(random, -3.0, 3.0);
    }
  }
  return A;
}

TEST(RMatrixStorage, ConstructorsSetSizeFlagAndCells) {
  const RMatrix I(3);
  EXPECT_FALSE(I.IsAmpty);
  EXPECT_EQ(I.iRow, 3u);
  EXPECT_EQ(I.iCol, 3u);
  for (int i = 0; i < 6; ++i) {
    for (int j = 0; j < 6; ++j) EXPECT_EQ(I.value[i][j], i == j && i < 3 ? 1.0 : 0.0);
  }
  EXPECT_TRUE(RMatrix().IsAmpty);
  EXPECT_TRUE(RMatrix(0).IsAmpty);
  EXPECT_TRUE(RMatrix(2, 0).IsAmpty);
  EXPECT_FALSE(RMatrix(2, 3).IsAmpty);
  EXPECT_TRUE(RMatrix::RIdentity(0).IsAmpty);
  EXPECT_EQ(RMatrix::setSize(2).value[1][1], 1.0) << "setSize gives an identity";
}

TEST(RMatrixStorage, ArrayConstructors) {
  double rows[3][4] = {{1, 2, 3, 4}, {5, 6, 7, 8}, {9, 10, 11, 12}};
  const RMatrix A(rows, 3);
  EXPECT_EQ(A.iRow, 3u);
  EXPECT_EQ(A.value[1][2], 7.0);
  EXPECT_EQ(A.value[0][3], 0.0);

  double R[9] = {0, -1, 0, 1, 0, 0, 0, 0, 1};
  double p[3] = {1, 2, 3};
  RMatrix T(R, p);
  EXPECT_EQ(T.iRow, 4u);
  EXPECT_EQ(T.value[0][1], -1.0);
  EXPECT_THAT(elements(RMatrix::subRVector(T, 0, 3, 3, COLUMN)), testing::ElementsAre(1, 2, 3, 1));
  EXPECT_THAT(elements(RMatrix::subRVector(T, 0, 3, 3, ROW)), testing::ElementsAre(0, 0, 0, 1));
}

TEST(RMatrixStorage, AssignmentKeepsTheCellsOutsideTheNewBlock) {
  RMatrix A = numbered(4, 4);
  const RMatrix I(2);
  A = I;
  EXPECT_EQ(A.iRow, 2u);
  EXPECT_EQ(A.value[0][1], 0.0);
  EXPECT_EQ(A.value[0][2], 13.0);
  EXPECT_EQ(A.value[3][3], 44.0);
  static_assert(std::is_same_v<decltype(A = I), RMatrix>, "a copy, not a reference");
}

TEST(RMatrixStorage, CopyConstructionZeroesTheCellsOutsideTheBlock) {
  const RMatrix A = numbered(2, 3);
  const RMatrix B = A;
  EXPECT_EQ(B.value[1][2], 23.0);
  EXPECT_EQ(B.value[1][3], 0.0);
  EXPECT_EQ(B.value[2][0], 0.0);
}

TEST(RMatrixStorage, ValueArgumentsReadZerosOutsideTheBlock) {
  RMatrix A = numbered(2, 2);
  EXPECT_EQ(RMatrix::subRMatrix(A, 0, 2, 0, 2).value[2][2], 0.0);
  EXPECT_EQ(RMatrix::detRMatrix(A), 0.0);
  EXPECT_THAT(elements(RVector::vex3(A)), testing::ElementsAre(0, 0, 21));
  RMatrix T(4);
  RMatrix::replaceOriOfTMatrix(T, A);
  EXPECT_EQ(T.value[1][1], 22.0);
  EXPECT_EQ(T.value[2][2], 0.0);
  EXPECT_EQ(RMatrix::TrInv(A).value[0][3], 0.0);
  // By reference: the position is read from storage, the angles from a copy.
  const RVector pose = RVector::TR2Pos(A, ZYX);
  EXPECT_EQ(pose.value[2], 34.0);
  EXPECT_EQ(pose.value[4], 0.0);
}

TEST(RMatrixStorage, ReferenceArgumentsReadTheStorage) {
  RMatrix A = numbered(2, 2);
  EXPECT_THAT(elements(RMatrix::subRVector(A, 1, 3, 2, COLUMN)), testing::ElementsAre(23, 33, 43));
  EXPECT_THAT(elements(RMatrix::subRVector(A, 1, 3, 2, ROW)), testing::ElementsAre(32, 33, 34));
  EXPECT_THAT(elements(RMatrix::subRVector(A, 0, 1, 0, static_cast<ZelArraytype>(7))),
              testing::ElementsAre(0, 0));
  // 2 x 2 times a 1 x 1: the second row and column come from storage.
  const RMatrix product = RMatrix(2) * numbered(1, 1);
  EXPECT_EQ(product.iCol, 1u);
  EXPECT_EQ(product.value[1][0], 21.0);
  const RMatrix sum = RMatrix(2, 3) + numbered(1, 1);
  EXPECT_EQ(sum.value[1][2], 23.0);
}

TEST(RMatrixParts, BlocksAreInclusive) {
  const RMatrix T = numbered(4, 4);
  RMatrix R = RMatrix::subRMatrix(T, 0, 2, 1, 2);
  EXPECT_EQ(R.iRow, 3u);
  EXPECT_EQ(R.iCol, 2u);
  EXPECT_EQ(R.value[2][0], 32.0);

  RMatrix A(6, 6);
  RMatrix::catRMatrix(A, 3, 5, 0, 1, R);
  EXPECT_EQ(A.value[3][0], 12.0);
  EXPECT_EQ(A.value[5][1], 33.0);
  EXPECT_EQ(A.value[5][2], 0.0);
  double column[2] = {8, 9};
  RVector v(column, 2);
  RMatrix::catRMatrix(A, 1, 2, 4, v);
  EXPECT_EQ(A.value[1][4], 8.0);
  EXPECT_EQ(A.value[2][4], 9.0);
  EXPECT_EQ(A.value[3][4], 0.0);
}

TEST(RMatrixParts, ReplaceIgnoresTheArrayType) {
  for (const ZelArraytype type : {COLUMN, ROW}) {
    RMatrix A(3, 3);
    double values[2] = {5, 6};
    RVector v(values, 2);
    RMatrix::replaceRMatrix(A, 2, type, v);
    EXPECT_EQ(A.value[0][2], 5.0);
    EXPECT_EQ(A.value[1][2], 6.0);
    EXPECT_EQ(A.value[2][0], 0.0);
    EXPECT_EQ(A.value[2][1], 0.0);
  }
}

TEST(RMatrixParts, ClearAndNormUseTheTransposedRanges) {
  RMatrix A = numbered(2, 3);
  const double norm = std::sqrt(11. * 11 + 12 * 12 + 21 * 21 + 22 * 22 + 31 * 31 + 32 * 32);
  EXPECT_DOUBLE_EQ(RMatrix::normRMatrix(A, 1), norm);
  EXPECT_EQ(RMatrix::normRMatrix(A, 1), RMatrix::normRMatrix(A, 2));
  RMatrix::clearRMatrix(A);
  EXPECT_EQ(A.value[0][1], 0.0);
  EXPECT_EQ(A.value[2][1], 0.0) << "a row outside the matrix is cleared";
  EXPECT_EQ(A.value[0][2], 13.0) << "a column of the matrix stays";
  EXPECT_EQ(A.iCol, 3u);
}

TEST(RMatrixParts, TriuKeepsTheLowerTriangle) {
  RMatrix A = numbered(3, 3);
  const RMatrix T = RMatrix::triuRMatrix(A);
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) EXPECT_EQ(T.value[i][j], i == j ? 0.0 : 10 * (i + 1) + j + 1);
  }
}

TEST(RMatrixArithmetic, MatchesNaiveLoopsBitForBit) {
  std::mt19937_64 random = reference::randomFamily();
  std::uniform_int_distribution<std::size_t> dimension(1, 6);
  for (int n = 0; n < 300; ++n) {
    const std::size_t rows = dimension(random), inner = dimension(random), cols = dimension(random);
    RMatrix A = randomMatrix(random, rows, inner), B = randomMatrix(random, inner, cols);
    const RMatrix C = randomMatrix(random, rows, inner);
    const RMatrix At = RMatrix::RTranspose(A), AB = A * B, sum = A + C, difference = A - C;
    ASSERT_EQ(AB.iRow, rows);
    ASSERT_EQ(AB.iCol, cols);
    ASSERT_EQ(At.iRow, inner);
    ASSERT_EQ(At.iCol, rows);
    const RVector v(B.value[0], inner);
    const RVector Av = A * v;
    ASSERT_EQ(Av.size, rows);
    for (std::size_t i = 0; i < rows; ++i) {
      double image = 0.0;
      for (std::size_t k = 0; k < inner; ++k) {
        image += A.value[i][k] * v.value[k];
        ASSERT_TRUE(sameBits(sum.value[i][k], A.value[i][k] + C.value[i][k]));
        ASSERT_TRUE(sameBits(difference.value[i][k], A.value[i][k] - C.value[i][k]));
        ASSERT_EQ(At.value[k][i], A.value[i][k]);
      }
      ASSERT_TRUE(sameBits(Av.value[i], image));
      for (std::size_t j = 0; j < cols; ++j) {
        double element = 0.0;
        for (std::size_t k = 0; k < inner; ++k) element += A.value[i][k] * B.value[k][j];
        ASSERT_TRUE(sameBits(AB.value[i][j], element));
      }
    }
  }
}

TEST(RMatrixArithmetic, ProductsAreNeverNegativeZero) {
  RMatrix A(1, 2), B(2, 1);
  A.value[0][0] = -1.0;
  A.value[0][1] = 1.0;
  B.value[1][0] = -0.0;  // both terms of the sum are -0.0
  double v[2] = {0.0, -0.0};
  EXPECT_TRUE(sameBits((A * B).value[0][0], 0.0));
  EXPECT_TRUE(sameBits((A * RVector(v, 2)).value[0], 0.0));
}

}  // namespace
