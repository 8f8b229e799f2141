// Rotations, transforms, quaternions and the pose utilities against full matrix products, bit by
// bit; and worked cases, for the products are judges of their own making.
#include <gtest/gtest.h>

#include "matrix/rmatrix.h"
#include "tests/matrix/reference.h"
#include "zel_ftc_lib.h"

namespace {

using namespace reference;

/// A pose of ordinary, zero, signed-zero, quarter-turn and other special components.
Vec<6> randomPose(Random& random) {
  const double ordinary = random.oneOf({0, 0.5, 0.9});  // at times of special components alone
  return Vec<6>::NullaryExpr([&] {
    if (random.chance(0.03)) return random.oneOf({notANumber, infinity, -infinity, 1e5, 1e-12});
    return random.chance(ordinary) ? random.uniform(-4, 4)
                                   : random.oneOf({0.0, -0.0, 1, -1, pi / 2, -pi / 2, pi, -pi});
  });
}

TEST(Transforms, MatchFullMatrixProductsBitForBit) {
  Random random;
  for (int n = 0; n < 10000; ++n) {
    Vec<6> a = randomPose(random), b = randomPose(random), pose;
    SCOPED_TRACE(testing::PrintToString(a) + testing::PrintToString(b));
    const Matrix4 A = transformOf(a), B = transformOf(b), chain = times(A, inverse(B));
    const ZelAngletype ignored = n % 2 ? ZYX : XYZ;
    RVector a_v(a.data(), 6), b_v(b.data(), 6), angles(a.data() + 3, 3);
    RMatrix T = RMatrix::RotZ(a[3]) * RMatrix::RotY(a[4]) * RMatrix::RotX(a[5]);
    ASSERT_TRUE(sameBits(blockOf(T), rotationOf(A)));
    ASSERT_TRUE(sameBits(blockOf(RMatrix::RPY2Rot(angles)), rotationOf(A)));
    ASSERT_TRUE(sameBits(blockOf(RMatrix::RPY2TR(angles)), rotationOnly(a)));
    ASSERT_TRUE(sameBits(blockOf(RMatrix::Pos2TR(a_v, ignored)), A));
    T = RMatrix::Pos2TR(a_v, ZYX) * RMatrix::TrInv(RMatrix::Pos2TR(b_v, ZYX));
    ASSERT_TRUE(sameBits(blockOf(T), chain));
    ASSERT_TRUE(sameBits(elementsOf(RVector::TR2Pos(T, ignored)), poseOf(chain)));
    ASSERT_EQ(zel_pose2offset(pose.data(), a.data(), b.data()), 1);
    ASSERT_TRUE(sameBits(pose, poseOf(times(inverse(A), B))));

    Vec<7> p, expected;
    p << a, b[0];  // any quaternion, taken as it is
    const Matrix4 Q = transformOfQuaternion(p);
    RVector p_v(p.data(), 7), q_v(p.data() + 3, 4);
    ASSERT_TRUE(sameBits(blockOf(RMatrix::PosQuaternion2TR(p_v)), Q));
    ASSERT_TRUE(sameBits(blockOf(RMatrix::Quaternion2Rot(q_v)), rotationOf(Q)));
    ASSERT_EQ(zel_quaternion2rpy(pose.data(), p.data()), 1);
    ASSERT_TRUE(sameBits(pose, poseOf(Q)));
    expected << a.head<3>(), quaternionOf(A);
    ASSERT_EQ(zel_rpy2quaternion(p.data(), p.data()), 1) << "in place";
    ASSERT_TRUE(sameBits(p, expected));
  }
}

// Half turns, ties, the border of the singular attitude, and all that is no rotation.
TEST(Transforms, MatchOnMatricesOfOnesAndZeros) {
  Random random;
  for (int n = 0; n < 20000; ++n) {
    RMatrix R(3, 3);
    for (int i = 0; i < 9; ++i) {
      const double rare = random.chance(0.1) ? notANumber : 0;
      R.value[i / 3][i % 3] = random.oneOf({0, 0, 0, 1, 1, -1, -1, 1e-16, -0.99e-16, rare});
    }
    const Matrix4 T = transformOf(blockOf(R), {0, 0, 0});
    RVector q(4);
    const bool valid = RVector::Ori2Quaternion(R, q);
    ASSERT_TRUE(sameBits(elementsOf(q), quaternionOf(T))) << T;
    ASSERT_EQ(valid, !std::isnan(q.value[0]));
    ASSERT_TRUE(sameBits(elementsOf(RVector::TR2RPY(R)), poseOf(T).tail<3>())) << T;
  }
}

TEST(Transforms, WorkedCases) {
  Vec<6> p1{0, 0, 0, pi / 2, 0, 0}, p2{1, 0, 0, pi / 2, 0, 0}, offset;
  zel_pose2offset(offset.data(), p1.data(), p2.data());
  EXPECT_TRUE(offset.isApprox(Vec<6>{0, -1, 0, 0, 0, 0}));
  // A quarter turn about z, then one about the new x; and one about y.
  Vec<6> zx{1, 2, 3, pi / 2, 0, pi / 2}, y{0, 0, 0, 0, pi / 2, 0};
  Vec<7> p;
  zel_rpy2quaternion(p.data(), zx.data());
  EXPECT_TRUE(p.isApprox(Vec<7>{1, 2, 3, 0.5, 0.5, 0.5, 0.5}));
  zel_rpy2quaternion(p.data(), y.data());
  EXPECT_TRUE(p.isApprox(Vec<7>{0, 0, 0, std::sqrt(0.5), 0, std::sqrt(0.5), 0}, 1e-7));
  RVector q(7);  // roots and norm run over the size of the vector
  q.value[4] = 16.0;
  EXPECT_TRUE(RVector::Ori2Quaternion(RMatrix(3), q));
  EXPECT_DOUBLE_EQ(q.value[0], 1.0 / std::sqrt(17.0));
}

}  // namespace
