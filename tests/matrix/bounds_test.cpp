// Sizes and indices beyond the storage, in public fields and in arguments: a release build follows
// them to the end of the storage, which AddressSanitizer watches; a debug build asserts.
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>

#include "matrix/ldd_tool.h"
#include "matrix/rmatrix.h"
#include "matrix/rmatrix30.h"
#include "robot/ZelFTCTool.h"

namespace {

constexpr std::size_t beyond = 1000;

#ifdef NDEBUG

template <typename Matrix>
Matrix oversized() {
  Matrix A(1, 1);
  for (auto& row : A.value) std::fill(std::begin(row), std::end(row), 1.0);
  A.iRow = A.iCol = beyond;
  return A;
}

template <typename Matrix>
void endsAtTheStorage(void (*clear)(Matrix&)) {
  constexpr std::size_t all = Matrix::capacity;
  Matrix A = oversized<Matrix>();
  const Matrix copy = A, product = A * A, At = Matrix::RTranspose(A), sum = A + A, square(beyond);
  for (const Matrix& M : {copy, product, At, sum, square}) {
    EXPECT_EQ(M.iRow, all);
    EXPECT_EQ(M.iCol, all);
  }
  EXPECT_EQ(product.value[all - 1][all - 1], double{all});
  EXPECT_EQ(sum.value[all - 1][all - 1], 2.0);
  clear(A);
  EXPECT_EQ(A.value[all - 1][all - 1], 0.0);
}

TEST(Bounds, MatricesEndAtTheirStorage) {
  endsAtTheStorage<RMatrix>(RMatrix::clearRMatrix);
  endsAtTheStorage<RMatrix30>(RMatrix30::clearRMatrix30);

  RMatrix A = oversized<RMatrix>();
  RVector v(7);
  v.size = beyond;
  EXPECT_EQ(RMatrix::normRMatrix(A, 1), 6.0);
  EXPECT_EQ(RVector::diagRVector(A).size, 6u);
  EXPECT_EQ((A * v).size, 6u);
  EXPECT_EQ(RMatrix::subRMatrix(A, 3, beyond, 0, 0).value[5][0], 0.0);
  EXPECT_EQ(RMatrix::subRVector(A, 3, beyond, 0, COLUMN).value[6], 0.0);
  EXPECT_EQ(RMatrix::subRVector(A, 0, 1, beyond, ROW).value[0], 0.0);
  RMatrix::catRMatrix(A, 4, beyond, 4, beyond, A);
  RMatrix::catRMatrix(A, 0, beyond, 0, v);
  RMatrix::catRMatrix(A, 0, 0, beyond, v);
  RMatrix::replaceRMatrix(A, 1, COLUMN, v);
  EXPECT_EQ(A.value[5][1], 0.0);
}

TEST(Bounds, VectorsAndSamplesEndAtTheirStorage) {
  RVector v(7);
  std::fill(std::begin(v.value), std::end(v.value), 4.0);
  v.size = beyond;
  RVector::processAngle(v);
  EXPECT_EQ(v.value[6], 4.0 - 6.283185307179586);
  EXPECT_TRUE(RVector::Ori2Quaternion(RMatrix(3), v));
  EXPECT_EQ(RVector::norm(RVector(beyond)), 0.0);
  for (const RVector& r : {v + v, v - v, -v, v * 2.0, RVector::sqrtRVector(v),
                           RVector::slice(v, 0, beyond), RVector::catRVector(v, v)}) {
    EXPECT_EQ(r.size, 7u);
  }

  ZelFTCTool tool;
  tool.printRV(v, "");
  ldd_tool identification;
  identification.size = tool.gravityCalibrationData.size = beyond;
  identification.gravityCalibration();
  tool.gravityCalibration();
  double six[6] = {};
  EXPECT_FALSE(tool.recordCalibrationLoadData(six, six));
  identification.recordCalibrationLoadData(six, robot_pose_para_t());
  EXPECT_EQ(identification.size, beyond);
}

#else

TEST(BoundsDeathTest, ADebugBuildAsserts) {
  RMatrix A(3);
  EXPECT_DEATH(RVector::setSize(beyond), "size above the storage");
  EXPECT_DEATH(RMatrix::subRVector(A, 0, 0, beyond, ROW), "index beyond the storage");
}

#endif

}  // namespace
