// Lines and arcs: the points that a robot passes when it follows the commanded poses without
// contact, and what degenerate paths do.
#include <cmath>
#include <limits>
#include <vector>

#include "reference_tool.h"
#include "tool_fixture.h"

namespace zel::test {
namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

struct Path : ToolTest {
  Path() { tool.setTimeStep(4); }

  /// Follows the run until it ends; the positions delivered, in mm.
  std::vector<reference::Vec3> walk(RunKind run, int most = 2000) {
    std::vector<reference::Vec3> points;
    pose = from;
    while (cycle(run) && static_cast<int>(points.size()) < most) {
      points.push_back({out[0], out[1], out[2]});
      follow();
    }
    return points;
  }

  static void expectNear(const reference::Vec3& a, const reference::Vec3& b, double tolerance) {
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(a[i], b[i], tolerance);
  }
};

TEST_F(Path, LineStopsShortOfItsEndByTheFractionOfAStep) {
  for (double steps : {250.0, 10.5}) {
    to = {from[0] + 0.24 * steps, from[1], from[2] + 0.32 * steps, 0.5, -0.6, 2.0};
    tool.clear();
    configTracking(TOOL, 100);  // 0.4 mm a step
    const auto points = walk(RunKind::line);
    EXPECT_EQ(err.code, 80001);
    ASSERT_EQ(points.size(), static_cast<std::size_t>(steps));
    for (std::size_t n = 1; n <= points.size(); ++n) {
      expectNear(points[n - 1], {from[0] + 0.24 * n, from[1], from[2] + 0.32 * n}, 1e-9);
    }
  }
}

TEST_F(Path, NominalAttitudeGoesFromStartToEnd) {
  to = {from[0] + 30, from[1] + 40, from[2], from[3] + 0.3, from[4] - 0.2, from[5] + 0.1};
  configTracking(SENSOR, 100);
  const auto points = walk(RunKind::line, 124);  // 125 steps: the last one stays out
  ASSERT_EQ(points.size(), 124u);
  const auto q =
      reference::quaternionOf(reference::transformOf(reference::Tool::internal(to.data())));
  for (int j = 0; j < 4; ++j) EXPECT_NEAR(tool.PosMoveExpect_q.value[3 + j], q[j], 1e-9);
}

// The largest component of a quaternion is kept positive. A tool that points straight down changes
// that component at a yaw of -90 degrees: the two quaternions have opposite signs there, and the
// increments lead through zero instead of along the short turn.
TEST_F(Path, AttitudesWithOppositeQuaternionSignsAreNotInterpolated) {
  constexpr double degree = 0.017453292519943295;
  from = {300, -200, 450, -89 * degree, 0, 180 * degree};
  to = {310, -200, 450, -91 * degree, 0, 180 * degree};
  configTracking(TOOL, 100);
  pose = from;
  ASSERT_TRUE(cycle(RunKind::line));
  double turn = 0;
  for (int j = 3; j < 7; ++j) turn = std::hypot(turn, tool.MoveLrv_q.value[j]);
  EXPECT_NEAR(turn * tool.moveLData.stepMax, 2.0, 1e-3) << "2 degrees would be 0.0175";
}

TEST_F(Path, PosesAreReadInTheFirstCycleOnly) {
  to = from;
  to[0] += 10;
  configTracking(SENSOR, 100);
  pose = from;
  ASSERT_TRUE(cycle(RunKind::line));
  from = to = {nan, nan, nan, nan, nan, nan};
  ASSERT_TRUE(cycle(RunKind::line));
  EXPECT_NEAR(out[0], pose[0] + 0.4, 1e-9);
}

// Points on a circle in a tilted plane. The via point lies exactly on a step, the end half a step
// behind the last one.
struct Arc : Path, testing::WithParamInterface<std::tuple<double, int, int>> {
  const reference::Vec3 centre = {250, 310, 420};
  const reference::Vec3 u = {0.6, 0.64, 0.48}, v = {-0.8, 0.48, 0.36};
  reference::Vec3 at(double angle, double radius) const {
    reference::Vec3 p;
    for (int i = 0; i < 3; ++i) {
      p[i] = centre[i] + radius * (std::cos(angle) * u[i] + std::sin(angle) * v[i]);
    }
    return p;
  }
};
INSTANTIATE_TEST_SUITE_P(SensesAndViaPoints, Arc,
                         testing::Combine(testing::Values(1.0, -1.0),        // sense
                                          testing::Values(5, 60, 150, 175),  // via step
                                          testing::Values(180, 600)));       // steps of the arc

TEST_P(Arc, PassesItsPointsAtTheStatedSteps) {
  const double sense = std::get<0>(GetParam());
  const int viaStep = std::get<1>(GetParam()), steps = std::get<2>(GetParam());
  const double radius = 80, begin = 0.7, perStep = 0.01;
  const double sweep = perStep * (steps + 0.5);
  const auto poseAt = [&](double angle, Six attitudeOf) {
    const reference::Vec3 p = at(begin + sense * angle, radius);
    return Six{p[0], p[1], p[2], attitudeOf[3], attitudeOf[4], attitudeOf[5]};
  };
  from = poseAt(0, from);
  over = poseAt(perStep * viaStep, over);
  to = poseAt(sweep, to);
  configTracking(TOOL, radius * perStep / 0.004);
  const auto points = walk(RunKind::arc);
  EXPECT_EQ(err.code, 80001);
  ASSERT_EQ(points.size(), static_cast<std::size_t>(steps));
  EXPECT_NEAR(tool.moveCData.stepMax, steps + 0.5, 1e-6);
  EXPECT_NEAR(tool.moveCData.stepB, viaStep, 1e-6);
  EXPECT_NEAR(tool.moveCData.radius, 0.001 * radius, 1e-9);
  EXPECT_NEAR(tool.moveCData.radian, sweep, 1e-7) << "always counter-clockwise about its normal";
  for (int n = 1; n <= steps; ++n)
    expectNear(points[n - 1], at(begin + sense * perStep * n, radius), 1e-4);
  expectNear(points[viaStep - 1], {over[0], over[1], over[2]}, 1e-4);
}

TEST_F(Path, ViaStepItselfBelongsToTheSecondPart) {
  configTracking(TOOL, 50);
  pose = from;
  ASSERT_TRUE(cycle(RunKind::arc));
  tool.moveCData.stepB = tool.moveCData.stepNow = 7;
  const RVector before = tool.PosMoveExpect_q;
  ASSERT_TRUE(cycle(RunKind::arc));
  for (int j = 3; j < 7; ++j) {
    EXPECT_EQ(tool.PosMoveExpect_q.value[j], before.value[j] + tool.MoveCrv_c_q.value[j]);
  }
}

TEST_F(Path, LineWithoutLengthEndsAtOnce) {
  to = from;
  for (double turn : {0.0, 0.5}) {
    to[3] = from[3] + turn;
    tool.clear();
    configTracking(TOOL, 100);
    EXPECT_EQ(walk(RunKind::line).size(), 0u);
    EXPECT_EQ(err.code, 80001);
    EXPECT_EQ(pose, from) << "turning on the spot does not turn";
  }
}

TEST_F(Path, WithoutSpeedARunNeitherMovesNorEnds) {
  for (RunKind run : {RunKind::line, RunKind::arc}) {
    tool.clear();
    configTracking(TOOL, 0);
    EXPECT_EQ(walk(run, 100).size(), 100u);
    EXPECT_EQ(err.code, 80000);
  }
}

TEST_F(Path, BackwardsOrUnknownSpeed) {
  for (RunKind run : {RunKind::line, RunKind::arc}) {
    tool.clear();
    configTracking(TOOL, -50);
    EXPECT_EQ(walk(run).size(), 0u) << "fewer than no steps: at its end at once";
    EXPECT_EQ(err.code, 80001);
    tool.clear();
    configTracking(TOOL, nan);
    const auto points = walk(run, 100);
    ASSERT_EQ(points.size(), 100u) << "no comparison with the end ever holds";
    EXPECT_TRUE(std::isnan(points[0][0]));
  }
}

TEST_F(Path, ThreePointsThatAreNoCircle) {
  const Six a = {100, 200, 300, 0.1, 0.2, 0.3}, b = {110, 220, 330, 0.1, 0.2, 0.3},
            c = {120, 240, 360, 0.1, 0.2, 0.3};
  for (const auto& [start, via, end] :
       {std::tuple{a, b, c}, {a, a, c}, {a, c, c}, {a, b, a}, {a, a, a}}) {
    tool.clear();
    configTracking(TOOL, 100);
    from = start;
    over = via;
    to = end;
    walk(RunKind::arc, 200);
    EXPECT_TRUE(err.code == 80000 || err.code == 80001) << err.code;
  }
}

}  // namespace
}  // namespace zel::test
