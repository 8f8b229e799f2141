#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "matrix/rigidtransform.h"
#include "matrix/rmatrix.h"
#include "matrix/rvector.h"
#include "tests/matrix/reference.h"

namespace {

using reference::Matrix4;
using reference::pi;
using reference::Pose;
using reference::sameBits;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

/// A pose of ordinary, zero, signed-zero and quarter-turn components, at times of zeros and ones
/// alone (sums of nothing but signed zeros), at times with one component that is not finite.
Pose randomPose(std::mt19937_64& random) {
  static constexpr double special[] = {0.0, -0.0, pi / 2, -pi / 2, pi, -pi, 1e-12, 1e5};
  static constexpr double notFinite[] = {nan, infinity, -infinity};
  const auto pick = [&](int n) { return std::uniform_int_distribution<int>(0, n - 1)(random); };
  Pose pose;
  if (pick(4) == 0) {
    static constexpr double sparse[] = {0.0, -0.0, 1.0, -1.0};
    for (int i = 0; i < 6; ++i) pose[i] = sparse[pick(i < 3 ? 4 : 2)];
    return pose;
  }
  for (double& x : pose) {
    x = pick(3) == 0 ? special[pick(std::size(special))] : reference::uniform(random, -4.0, 4.0);
  }
  if (pick(4) == 0) pose[pick(6)] = notFinite[pick(3)];
  return pose;
}

RVector vectorOf(Pose pose) {
  return RVector(pose.data(), 6);
}

testing::AssertionResult sameBlock(const RMatrix& actual, const Matrix4& expected, std::size_t n) {
  if (actual.iRow != n || actual.iCol != n) return testing::AssertionFailure() << "wrong size";
  for (std::size_t i = 0; i < n; ++i) {
    const auto row = sameBits(actual.value[i], expected[i].data(), n);
    if (!row) return testing::AssertionFailure() << "row " << i << ", " << row.message();
  }
  return testing::AssertionSuccess();
}

testing::AssertionResult sameRows(const zel::RigidTransform& actual, const Matrix4& expected) {
  for (int i = 0; i < 3; ++i) {
    const auto same = sameBits(actual.row[i], expected[i].data(), 4);
    if (!same) return testing::AssertionFailure() << "row " << i << ", " << same.message();
  }
  return testing::AssertionSuccess();
}

testing::AssertionResult samePose(const double* actual, const Matrix4& expected) {
  return sameBits(actual, reference::poseOf(expected).data(), 6);
}

// Swapping two axes, dropping a sign or regrouping a product fails here on the first poses.
TEST(Transforms, MatchFullMatrixProductsBitForBit) {
  std::mt19937_64 random = reference::randomFamily();
  for (int n = 0; n < 20000; ++n) {
    const Pose a = randomPose(random), b = randomPose(random), c = randomPose(random);
    SCOPED_TRACE(testing::PrintToString(a) + testing::PrintToString(b) + testing::PrintToString(c));
    const Matrix4 A = reference::transformOf(a), B = reference::transformOf(b);
    const Matrix4 C = reference::transformOf(c);
    const Matrix4 chain = reference::times(reference::times(A, reference::inverse(B)), C);

    const RVector angles = RVector::slice(vectorOf(a), 3, 6);
    const Matrix4 R_a = reference::rotationOnly(a);
    ASSERT_TRUE(sameBlock(RMatrix::RPY2Rot(angles), R_a, 3));
    ASSERT_TRUE(sameBlock(RMatrix::RPY2TR(angles), R_a, 4));
    RMatrix T_a = RMatrix::Pos2TR(vectorOf(a), ZYX);
    const RMatrix T_b = RMatrix::Pos2TR(vectorOf(b), XYZ);
    const RMatrix T_c = RMatrix::Pos2TR(vectorOf(c), ZYX);
    ASSERT_TRUE(sameBlock(T_a, A, 4));
    ASSERT_TRUE(sameBlock(T_b, B, 4)) << "the angle type is ignored";
    ASSERT_TRUE(sameBlock(RMatrix::TrInv(T_b), reference::inverse(B), 4));
    RMatrix T_chain = T_a * RMatrix::TrInv(T_b) * T_c;
    ASSERT_TRUE(sameBlock(T_chain, chain, 4));
    ASSERT_TRUE(samePose(RVector::TR2Pos(T_chain, XYZ).value, chain));
    ASSERT_TRUE(sameBits(RVector::TR2RPY(T_a).value, reference::poseOf(A).data() + 3, 3));

    const auto compact_a = zel::transformFromPose(a.data());
    const auto compact_b = zel::transformFromPose(b.data());
    const auto compact_c = zel::transformFromPose(c.data());
    ASSERT_TRUE(sameRows(compact_a, A));
    ASSERT_TRUE(sameRows(zel::inverse(compact_b), reference::inverse(B)));
    const auto compact_chain = compact_a * zel::inverse(compact_b) * compact_c;
    ASSERT_TRUE(sameRows(compact_chain, chain));
    double pose[6];
    zel::poseFromTransform(compact_chain, pose);
    ASSERT_TRUE(samePose(pose, chain));
  }
}

TEST(Transforms, ElementaryRotationsTurnTheAxes) {
  double v[3] = {1, 2, 3};
  const auto turned = [&](const RMatrix& R) {
    const RVector image = R * RVector(v, 3);
    return std::array<double, 3>{image.value[0], image.value[1], image.value[2]};
  };
  const auto near = [](double x) { return testing::DoubleNear(x, 1e-15); };
  EXPECT_THAT(turned(RMatrix::RotX(pi / 2)), testing::ElementsAre(near(1), near(-3), near(2)));
  EXPECT_THAT(turned(RMatrix::RotY(pi / 2)), testing::ElementsAre(near(3), near(2), near(-1)));
  EXPECT_THAT(turned(RMatrix::RotZ(pi / 2)), testing::ElementsAre(near(-2), near(1), near(3)));
}

TEST(Transforms, SingularBranchBelowItsThresholdOnly) {
  constexpr double threshold = 1e-16;
  RMatrix T(3, 3);
  T.value[2][0] = -1.0;
  T.value[0][0] = T.value[1][0] = threshold;
  T.value[1][1] = 0.6;
  T.value[1][2] = -0.8;
  EXPECT_EQ(RVector::TR2RPY(T).value[0], std::atan2(threshold, threshold)) << "not below";
  T.value[1][0] = std::nextafter(threshold, 0.0);
  EXPECT_NE(RVector::TR2RPY(T).value[0], 0.0) << "both must be below";
  T.value[0][0] = -std::nextafter(threshold, 0.0);
  const RVector angles = RVector::TR2RPY(T);
  EXPECT_EQ(angles.value[0], 0.0);
  EXPECT_DOUBLE_EQ(angles.value[1], pi / 2);
  EXPECT_DOUBLE_EQ(angles.value[2], std::atan2(0.8, 0.6));
}

// ---- quaternions ------------------------------------------------------------------------------

RMatrix rotationOf(const std::array<std::array<double, 3>, 3>& rows) {
  RMatrix R(3, 3);
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) R.value[i][j] = rows[i][j];
  }
  return R;
}

std::array<double, 4> quaternionOf(const RMatrix& R) {
  RVector q(4);
  EXPECT_TRUE(RVector::Ori2Quaternion(R, q));
  EXPECT_EQ(q.size, 4u);
  return {q.value[0], q.value[1], q.value[2], q.value[3]};
}

TEST(Quaternion, BothWaysMatchTheReferenceBitForBit) {
  std::mt19937_64 random = reference::randomFamily();
  std::array<int, 4> branch{};
  for (int n = 0; n < 4000; ++n) {
    const Pose pose = randomPose(random);
    const Matrix4 T = reference::transformOf(pose);
    const auto expected = reference::quaternionOf(T);
    RVector q(4);
    RVector::Ori2Quaternion(RMatrix::Pos2TR(vectorOf(pose), ZYX), q);
    ASSERT_TRUE(sameBits(q.value, expected.data(), 4)) << testing::PrintToString(pose);
    ++branch[std::max_element(expected.begin(), expected.end()) - expected.begin()];

    // Taken as it is, normalised or not.
    reference::Vec7 p = {pose[0], pose[1], pose[2], pose[3], pose[4], pose[5], 0.5};
    const Matrix4 back = reference::transformOfQuaternion(p);
    RVector position(p.data(), 7), orientation(p.data() + 3, 4);
    ASSERT_TRUE(sameBlock(RMatrix::PosQuaternion2TR(position), back, 4));
    ASSERT_TRUE(sameBlock(RMatrix::Quaternion2Rot(orientation), back, 3));
  }
  EXPECT_THAT(branch, testing::Each(testing::Gt(100))) << "every branch was taken";
}

TEST(Quaternion, HalfTurnsAndIdentity) {
  const std::array<double, 3> diagonals[4] = {{1, 1, 1}, {1, -1, -1}, {-1, 1, -1}, {-1, -1, 1}};
  for (int k = 0; k < 4; ++k) {
    const auto& d = diagonals[k];
    std::array<double, 4> expected{};  // a sign taken from zero is positive: no -0.0
    expected[k] = 1.0;
    const auto q = quaternionOf(rotationOf({{{d[0], 0, 0}, {0, d[1], 0}, {0, 0, d[2]}}}));
    EXPECT_TRUE(sameBits(q.data(), expected.data(), 4)) << k;
  }
}

TEST(Quaternion, TiesGoToTheEarlierComponent) {
  using testing::DoubleEq;
  using testing::ElementsAre;
  const auto half = DoubleEq(std::sqrt(0.5)), minusHalf = DoubleEq(-std::sqrt(0.5));
  EXPECT_THAT(quaternionOf(rotationOf({{{1, 0, 0}, {0, 0, 1}, {0, -1, 0}}})),
              ElementsAre(half, minusHalf, 0, 0))
      << "a quarter turn about -x";
  EXPECT_THAT(quaternionOf(rotationOf({{{0, -1, 0}, {-1, 0, 0}, {0, 0, -1}}})),
              ElementsAre(0, half, minusHalf, 0))
      << "a half turn about (1, -1, 0)";
  EXPECT_THAT(quaternionOf(rotationOf({{{-1, 0, 0}, {0, 0, -1}, {0, -1, 0}}})),
              ElementsAre(0, 0, half, minusHalf))
      << "a half turn about (0, 1, -1)";
}

TEST(Quaternion, NoLargestComponentLeavesUnsignedRoots) {
  RMatrix R(3);
  R.value[0][0] = infinity;
  R.value[1][1] = -infinity;
  RVector q(4);
  EXPECT_FALSE(RVector::Ori2Quaternion(R, q));
  EXPECT_TRUE(std::isnan(q.value[0]));
  EXPECT_EQ(q.value[1], infinity);
  EXPECT_EQ(q.value[2], 0.0);

  R = RMatrix(3);
  R.value[2][1] = nan;  // off the diagonal it only counts as a negative sign
  EXPECT_TRUE(RVector::Ori2Quaternion(R, q));
  EXPECT_TRUE(sameBits(q.value[1], -0.0));
}

TEST(Quaternion, RootsAndNormCoverTheSizeOfTheVector) {
  RVector q(7);
  q.value[4] = 16.0;
  EXPECT_TRUE(RVector::Ori2Quaternion(RMatrix(3), q));
  EXPECT_EQ(q.size, 7u);
  EXPECT_DOUBLE_EQ(q.value[0], 1.0 / std::sqrt(17.0));
  EXPECT_DOUBLE_EQ(q.value[4], 4.0 / std::sqrt(17.0));
}

}  // namespace
