#include "matrix/rmatrix30.h"

#include <gtest/gtest.h>

#include <type_traits>

#include "matrix/rmatrix.h"
#include "tests/matrix/reference.h"

namespace {

static_assert(!std::is_convertible_v<RMatrix, RMatrix30> &&
              !std::is_constructible_v<RMatrix30, RMatrix>);
static_assert(std::is_same_v<decltype(std::declval<RMatrix30&>() = RMatrix30()), RMatrix30>);

TEST(RMatrix30, SizeConstructorAlwaysFlagsEmptiness) {
  EXPECT_TRUE(RMatrix30(3, 2).IsAmpty);
  EXPECT_TRUE(RMatrix30(0, 0).IsAmpty);
  EXPECT_TRUE(RMatrix30::setSize(12, 4).IsAmpty);
  EXPECT_TRUE(RMatrix30().IsAmpty);
  EXPECT_FALSE(RMatrix30(3).IsAmpty);
  EXPECT_EQ(RMatrix30::RIdentity(4).value[3][3], 1.0);
  EXPECT_TRUE(RMatrix30(0).IsAmpty);
}

TEST(RMatrix30, ProductsOfThirtyRowsMatchNaiveSums) {
  std::mt19937_64 random = reference::randomFamily();
  RMatrix30 A(30, 6);
  for (int i = 0; i < 30; ++i) {
    for (int j = 0; j < 6; ++j) A.value[i][j] = reference::uniform(random, -5, 5);
  }
  const RMatrix30 N = RMatrix30::RTranspose(A) * A;
  const RMatrix30 twice = A + A, nothing = A - A;
  for (int i = 0; i < 6; ++i) {
    for (int j = 0; j < 6; ++j) {
      double sum = 0.0;
      for (int k = 0; k < 30; ++k) sum += A.value[k][i] * A.value[k][j];
      ASSERT_TRUE(reference::sameBits(N.value[i][j], sum));
    }
  }
  EXPECT_EQ(twice.value[29][5], 2 * A.value[29][5]);
  EXPECT_EQ(nothing.value[29][5], 0.0);
}

TEST(RMatrix30, AssignmentKeepsAndCopyZeroesTheCellsOutside) {
  RMatrix30 A(30, 30);
  A.value[29][29] = 5.0;
  A.value[3][1] = 4.0;
  A = RMatrix30(2, 2);
  EXPECT_EQ(A.value[29][29], 5.0);
  const RMatrix30 copy = A;
  EXPECT_EQ(copy.value[29][29], 0.0);

  RMatrix30 B(2, 4);
  B.value[0][3] = B.value[3][1] = 6.0;
  RMatrix30::clearRMatrix30(B);
  EXPECT_EQ(B.value[0][3], 6.0) << "a column of the matrix stays";
  EXPECT_EQ(B.value[3][1], 0.0) << "a row outside the matrix is cleared";
}

}  // namespace
