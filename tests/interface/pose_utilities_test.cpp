#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>

#include "tests/matrix/reference.h"
#include "zel_ftc_lib.h"

namespace {

using reference::pi;
using reference::Pose;
using testing::DoubleEq;
using testing::ElementsAre;
using PoseQuaternion = std::array<double, 7>;

PoseQuaternion quaternionOf(Pose pose) {
  PoseQuaternion q;
  EXPECT_EQ(zel_rpy2quaternion(q.data(), pose.data()), 1);
  return q;
}

Pose poseOf(PoseQuaternion q) {
  Pose pose;
  EXPECT_EQ(zel_quaternion2rpy(pose.data(), q.data()), 1);
  return pose;
}

Pose offsetOf(Pose p1, Pose p2) {
  Pose offset;
  EXPECT_EQ(zel_pose2offset(offset.data(), p1.data(), p2.data()), 1);
  return offset;
}

TEST(PoseUtilities, PoseToQuaternion) {
  EXPECT_THAT(quaternionOf({0, 0, 0, 0, 0, 0}), ElementsAre(0, 0, 0, 1, 0, 0, 0));
  const PoseQuaternion half = quaternionOf({1, 2, 3, pi, 0, 0});
  for (int i = 0; i < 7; ++i) EXPECT_NEAR(half[i], (PoseQuaternion{1, 2, 3, 0, 0, 0, 1})[i], 1e-15);
  const PoseQuaternion quarter = quaternionOf({0, 0, 0, 0, 0, pi / 2});
  const PoseQuaternion aboutX = {0, 0, 0, std::sqrt(0.5), std::sqrt(0.5), 0, 0};
  // The root of a cancelling sum: half of the digits.
  for (int i = 0; i < 7; ++i) EXPECT_NEAR(quarter[i], aboutX[i], 1e-7) << "x turns the last angle";
}

TEST(PoseUtilities, QuaternionToPose) {
  EXPECT_THAT(poseOf({4, 5, 6, 1, 0, 0, 0}), ElementsAre(4, 5, 6, 0, 0, 0));
  const double c = std::cos(0.2), s = std::sin(0.2);
  EXPECT_THAT(poseOf({0, 0, 0, c, 0, 0, s}), ElementsAre(0, 0, 0, DoubleEq(0.4), 0, 0))
      << "z turns the first angle";
  // Not normalised first: the diagonal is 2 (w w + z z) - 1 = 7, the column below it 2 w z = 0.
  EXPECT_THAT(poseOf({0, 0, 0, 2, 1, 0, 0})[5], DoubleEq(std::atan2(4.0, 7.0)));
}

TEST(PoseUtilities, OffsetIsTheSecondPoseInTheFrameOfTheFirst) {
  EXPECT_THAT(offsetOf({1, 2, 3, 0.1, 0.2, 0.3}, {1, 2, 3, 0.1, 0.2, 0.3}),
              testing::Each(testing::DoubleNear(0.0, 1e-15)));
  const Pose offset = offsetOf({0, 0, 0, pi / 2, 0, 0}, {1, 0, 0, pi / 2, 0, 0});
  for (int i = 0; i < 6; ++i) EXPECT_NEAR(offset[i], i == 1 ? -1.0 : 0.0, 1e-15);
}

TEST(PoseUtilities, MatchFullMatrixProductsBitForBit) {
  std::mt19937_64 random = reference::randomFamily();
  for (int n = 0; n < 2000; ++n) {
    Pose a, b;
    for (int i = 0; i < 6; ++i) {
      a[i] = reference::uniform(random, -4, 4);
      b[i] = reference::uniform(random, -4, 4);
    }
    if (n % 5 == 0) a[n / 5 % 6] = std::numeric_limits<double>::infinity();
    const auto T_1_2 =
        reference::times(reference::inverse(reference::transformOf(a)), reference::transformOf(b));
    ASSERT_TRUE(reference::sameBits(offsetOf(a, b).data(), reference::poseOf(T_1_2).data(), 6))
        << testing::PrintToString(a) << testing::PrintToString(b);
  }
}

TEST(PoseUtilities, InputAndOutputMayBeTheSameArray) {
  PoseQuaternion inPlace = {1, 2, 3, 0.4, 0.5, 0.6, 0};
  const PoseQuaternion expected = quaternionOf({1, 2, 3, 0.4, 0.5, 0.6});
  zel_rpy2quaternion(inPlace.data(), inPlace.data());
  EXPECT_EQ(inPlace, expected);
}

}  // namespace
