#include "matrix/rvector.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include "matrix/rmatrix.h"
#include "tests/matrix/reference.h"

namespace {

using reference::pi;
using reference::sameBits;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

RVector vectorOf(std::vector<double> values) {
  return RVector(values.data(), values.size());
}

std::vector<double> elements(const RVector& v) {
  return {v.value, v.value + v.size};
}

template <typename Vector>
concept scalarTimes = requires(Vector v) {
  2.0 * std::forward<Vector>(v);
};
static_assert(scalarTimes<RVector&>);
static_assert(!scalarTimes<RVector>, "scalar * temporary must not compile");
static_assert(!scalarTimes<const RVector&>, "scalar * constant must not compile");

TEST(RVector, OnlyTheDefaultConstructorFlagsEmptiness) {
  EXPECT_TRUE(RVector().IsAmpty);
  EXPECT_FALSE(RVector(0).IsAmpty);
  EXPECT_FALSE(vectorOf({1, 2}).IsAmpty);
  EXPECT_FALSE((RVector(3) + RVector()).IsAmpty);
}

TEST(RVector, CopiesCarryTheSlotsBeyondTheSize) {
  RVector v = vectorOf({1, 2, 3});
  v.value[6] = 7.0;
  const RVector copy = v;
  EXPECT_EQ(copy.size, 3u);
  EXPECT_EQ(copy.value[6], 7.0);
}

TEST(RVector, ResultsTakeTheSizeOfTheLeftOperand) {
  RVector three = vectorOf({1, 2, 3}), six = vectorOf({10, 20, 30, 40, 50, 60}), none(0);
  EXPECT_THAT(elements(three + six), testing::ElementsAre(11, 22, 33));
  EXPECT_THAT(elements(three - six), testing::ElementsAre(-9, -18, -27));
  RVector wide = three;
  wide.value[3] = 4;
  wide.value[4] = 5;
  wide.value[5] = 6;
  EXPECT_THAT(elements(six + wide), testing::ElementsAre(11, 22, 33, 44, 55, 66))
      << "the slots beyond the right operand's size are read as they stand";
  EXPECT_EQ(RVector::dotRVector(three, six), 140.0);
  EXPECT_EQ(RVector::dotRVector(none, six), 0.0);
  EXPECT_EQ(RVector::norm(RVector(0)), 0.0);
  EXPECT_EQ(RVector::norm(vectorOf({2, -3, 6})), 7.0);
}

TEST(RVector, ScalarOperators) {
  RVector v = vectorOf({1, -2, 0});
  EXPECT_THAT(elements(2.0 * v), testing::ElementsAre(2, -4, 0));
  EXPECT_THAT(elements(v * 3.0), testing::ElementsAre(3, -6, 0));
  EXPECT_THAT(elements(v / 2.0), testing::ElementsAre(0.5, -1, 0));
  EXPECT_THAT(elements(6.0 / v), testing::ElementsAre(6, -3, infinity));
  EXPECT_TRUE(std::isnan((v / 0.0).value[2]));
  const std::array<double, 3> negated{-1.0, 2.0, -0.0};
  EXPECT_TRUE(sameBits((-v).value, negated.data(), 3)) << "negation flips the sign of a zero";
}

TEST(RVector, SquareRoots) {
  const RVector roots = RVector::sqrtRVector(vectorOf({4, 2, -1}));
  EXPECT_EQ(roots.value[0], 2.0);
  EXPECT_EQ(roots.value[1], std::sqrt(2.0));
  EXPECT_TRUE(std::isnan(roots.value[2]));
  // The free function is inverted on purpose.
  EXPECT_EQ(_sqrt(4.0), 0.0);
  EXPECT_TRUE(std::isnan(_sqrt(-1.0)));
  EXPECT_TRUE(sameBits(_sqrt(0.0), 0.0));
  EXPECT_TRUE(sameBits(_sqrt(-0.0), -0.0));
}

TEST(RVector, SliceIsAsLongAsItsEnd) {
  const RVector pose = vectorOf({1, 2, 3, 4, 5, 6});
  EXPECT_THAT(elements(RVector::slice(pose, 3, 6)), testing::ElementsAre(4, 5, 6, 0, 0, 0));
  EXPECT_THAT(elements(RVector::slice(pose, 0, 3)), testing::ElementsAre(1, 2, 3));
  EXPECT_THAT(elements(RVector::slice(pose, 4, 2)), testing::ElementsAre(0, 0));
}

TEST(RVector, SliceReadsTheSlotAtTheSizeAndWrapsBehindIt) {
  RVector three = vectorOf({1, 2, 3});
  three.value[3] = 99;
  EXPECT_THAT(elements(RVector::slice(three, 2, 5)), testing::ElementsAre(3, 99, 2, 0, 0));
}

TEST(RVector, CrossProductAndSkewMatrixAgree) {
  RVector a = vectorOf({1, -2, 3});
  const RVector b = vectorOf({5, 7, -11});
  EXPECT_THAT(elements(RVector::cross3(a, b)), testing::ElementsAre(1, 26, 17));
  EXPECT_THAT(elements(RVector::Skew(a) * b), testing::ElementsAre(1, 26, 17));
  EXPECT_THAT(elements(RVector::vex3(RVector::Skew(a))), testing::ElementsAre(1, -2, 3));
  const RVector e_x = vectorOf({1, 0, 0}), e_y = vectorOf({0, 1, 0});
  const std::array<double, 3> z{0.0, -0.0, 1.0};
  EXPECT_TRUE(sameBits(RVector::cross3(e_x, e_y).value, z.data(), 3))
      << "the middle component is a negated difference";
}

TEST(RVector, DiagonalIsAsLongAsTheShorterSide) {
  RMatrix M(2, 4);
  M.value[0][0] = 5;
  M.value[1][1] = 6;
  EXPECT_THAT(elements(RVector::diagRVector(M)), testing::ElementsAre(5, 6));
}

TEST(RVector, VexTakesThreeEntriesWithoutAveraging) {
  RMatrix R(3, 3);
  for (int i = 0; i < 9; ++i) R.value[i / 3][i % 3] = i;
  EXPECT_THAT(elements(RVector::vex3(R)), testing::ElementsAre(7, 2, 3));
}

// ---- processAngle -----------------------------------------------------------------------------

double subtractedTurnByTurn(double x) {
  constexpr double turn = 6.283185307179586;
  while (x >= pi) x -= turn;
  while (x < -pi) x += turn;
  return x;
}

double processed(double x) {
  RVector v = vectorOf({x});
  RVector::processAngle(v);
  return v.value[0];
}

testing::AssertionResult wrapsTurnByTurn(double x) {
  const double actual = processed(x), expected = subtractedTurnByTurn(x);
  if (sameBits(actual, expected)) return testing::AssertionSuccess();
  return testing::AssertionFailure() << std::hexfloat << "processAngle(" << x << ") is " << actual
                                     << ", turn by turn it is " << expected;
}

TEST(ProcessAngle, HalfOpenIntervalAtTheBorders) {
  RVector v = vectorOf({pi, -pi, 3 * pi / 2, -7, std::nextafter(pi, 0.0), -0.0, 3 * pi});
  RVector::processAngle(v);
  EXPECT_EQ(v.value[0], -pi);
  EXPECT_EQ(v.value[1], -pi);
  EXPECT_DOUBLE_EQ(v.value[2], -pi / 2);
  EXPECT_DOUBLE_EQ(v.value[3], -7 + 2 * pi);
  EXPECT_EQ(v.value[4], std::nextafter(pi, 0.0));
  EXPECT_TRUE(sameBits(v.value[5], -0.0));
  for (const double border : {pi, 2 * pi, 3 * pi, 5 * pi}) {
    for (const double sign : {1.0, -1.0}) {
      EXPECT_TRUE(wrapsTurnByTurn(sign * border));
      EXPECT_TRUE(wrapsTurnByTurn(sign * std::nextafter(border, 0.0)));
      EXPECT_TRUE(wrapsTurnByTurn(sign * std::nextafter(border, infinity)));
    }
  }
}

TEST(ProcessAngle, LeavesElementsBeyondTheSizeAlone) {
  RVector v(2);
  v.value[2] = 10.0;
  RVector::processAngle(v);
  EXPECT_EQ(v.value[2], 10.0);
}

TEST(ProcessAngle, GivesTheBitsOfSubtractingTurnByTurn) {
  std::mt19937_64 random = reference::randomFamily();
  for (int i = 0; i < 4000; ++i) {
    const double magnitude = std::exp2(reference::uniform(random, -2.0, 20.0));
    ASSERT_TRUE(wrapsTurnByTurn(i % 2 ? magnitude : -magnitude));
  }
  for (const double huge : {1.0e8, -1.3e8, 1.5e8 + 1.0 / 3.0}) {
    ASSERT_TRUE(wrapsTurnByTurn(huge));
  }
}

TEST(ProcessAngle, GivesTheBitsOfSubtractingTurnByTurnAroundPowersOfTwo) {
  for (int exponent = 1; exponent <= 21; ++exponent) {
    double above = std::ldexp(1.0, exponent), below = above;
    for (int i = 0; i < 6; ++i) {
      for (const double x : {above, below, -above, -below}) ASSERT_TRUE(wrapsTurnByTurn(x));
      above = std::nextafter(above, infinity);
      below = std::nextafter(below, 0.0);
    }
    // A whole number of rounded turns above the border, where the last turn of the binade may round
    // on the finer grid below it.
    const double inside = 1.5 * std::ldexp(1.0, exponent);
    const double roundedTurn = inside - (inside - 2 * pi);
    ASSERT_TRUE(wrapsTurnByTurn(std::ldexp(1.0, exponent) + 3 * roundedTurn));
    ASSERT_TRUE(wrapsTurnByTurn(std::ldexp(1.0, exponent) + 20 * roundedTurn));
    ASSERT_TRUE(wrapsTurnByTurn(-std::ldexp(1.0, exponent) - pi));
  }
}

TEST(ProcessAngle, EndsForEveryValue) {
  for (const double large : {1e12, 1e15, std::ldexp(1.0, 53), 3e16}) {
    for (const double x : {large, -large}) {
      EXPECT_GE(processed(x), -pi) << x;
      EXPECT_LT(processed(x), pi) << x;
    }
  }
  // Where a turn is below half a unit of the last place, the value stays as it is.
  for (const double x : {1e17, -1e17, 1e300, -1e300, infinity, -infinity, nan}) {
    EXPECT_TRUE(sameBits(processed(x), x)) << x;
  }
}

}  // namespace
