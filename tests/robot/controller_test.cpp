// From the force error to the corrected pose: lead-in filter, phases, component maps, correction.
#include <gmock/gmock.h>

#include <cmath>
#include <vector>

#include "control/MBK_Fhan.h"
#include "reference_tool.h"
#include "tool_fixture.h"

namespace zel::test {
namespace {

using testing::Each;

// ---- lead-in filter
// ------------------------------------------------------------------------------

TEST(LeadIn, FirstStepOfTheWorkedExample) {
  MBK_Fhan f;
  MBK_Fhan::run(f, 1.0, 200.0, 0.004);
  EXPECT_EQ(f.f0, 200.0);  // a is about -19.6, beyond d = 0.8
  EXPECT_EQ(f.v1, 0.0);    // moved with the rate before the step
  EXPECT_DOUBLE_EQ(f.v2, 0.8);
  MBK_Fhan::run(f, 1.0, 200.0, 0.004);
  EXPECT_DOUBLE_EQ(f.v1, 0.8 * 0.004);
  MBK_Fhan::clear(f);
  EXPECT_EQ(f.f0, 0.0);
  EXPECT_EQ(f.v1, 0.0);
  EXPECT_EQ(f.v2, 0.0);
  EXPECT_TRUE(f.IsAmpty);
}

// r = 2, t = 0.5: d = 1, d0 = 0.5, all exact in binary.
TEST(LeadIn, EqualityTakesTheLinearBranch) {
  // Both branches meet at |y| = d0; rounding tells them apart: the other one gives -3 here.
  const double r = 3, t = 0.01, d = r * t, d0 = t * d;
  EXPECT_EQ(MBK_Fhan::fhan(d0, 0, 0, r, t), -r * (d0 / t) / d);
  // |a| = d
  EXPECT_EQ(MBK_Fhan::fhan(0.5, 0, 0, 2, 0.5), -2.0);
  EXPECT_EQ(MBK_Fhan::fhan(-0.5, 0, 0, 2, 0.5), 2.0);
  // y = 0.5 with v2 = -0.5: a = -0.5 + 1, within
  EXPECT_EQ(MBK_Fhan::fhan(0.75, 0, -0.5, 2, 0.5), -1.0);
  // y = 1: a = (sqrt(1 + 16) - 1) / 2 > d
  EXPECT_EQ(MBK_Fhan::fhan(1.0, 0, 0, 2, 0.5), -2.0);
  // y = 0.625 just beyond, v2 = -1.25: a = -1.25 + (sqrt(11) - 1) / 2, within
  const double a = -1.25 + (std::sqrt(11.0) - 1.0) / 2.0;
  EXPECT_EQ(MBK_Fhan::fhan(1.25, 0, -1.25, 2, 0.5), -2.0 * a);
}

TEST(LeadIn, FollowsItsTargetWithinTheAcceleration) {
  MBK_Fhan f;
  const double t = 0.004, r = 200, target = -10;
  double largestRate = 0;
  for (int i = 0; i < 500; ++i) {
    const double rate = f.v2;
    MBK_Fhan::run(f, target, r, t);
    EXPECT_LE(std::fabs(f.f0), r * (1 + 1e-12));
    EXPECT_NEAR(f.v2 - rate, f.f0 * t, 1e-12);
    EXPECT_LE(f.v1, 0.0);
    EXPECT_GE(f.v1, target - 0.02);
    largestRate = std::max(largestRate, std::fabs(f.v2));
  }
  EXPECT_NEAR(f.v1, target, 1e-9);
  // Bang-bang over 10 N: half the way at r, so sqrt(10 * 200) at the peak.
  EXPECT_NEAR(largestRate, std::sqrt(2000.0), 1.0);
}

// ---- component maps and phases
// -------------------------------------------------------------------

struct Controller : ToolTest {
  /// ftc_offset after one controller step in the approach phase given.
  std::array<double, 6> offsetIn(int phase, const Six& wrench) {
    std::copy_n(wrench.begin(), 6, tool.rcs_ft_data.value);
    tool.runApproachMode = true;
    tool.ApproachMode = phase;
    tool.FTCtrl();
    std::array<double, 6> offset;
    std::copy_n(tool.ftc_offset.value, 6, offset.begin());
    return offset;
  }
  double step(double mmPerSecond) const { return mmPerSecond * 0.001 * tool.timeStep; }
  const Six wrench = {1.1, -2.2, 3.3, -0.44, 0.55, -0.66};
};

TEST_F(Controller, ApproachStepGoesTheWayOfTheExpectedForce) {
  const int moved[6] = {0, 1, 2, 5, 4, 3};
  for (int d = 0; d < 6; ++d) {
    for (double sign : {1.0, -1.0}) {
      configApproach(SENSOR, d, sign * 7, 12);
      const auto offset = offsetIn(0, {});
      for (int i = 0; i < 6; ++i) {
        EXPECT_EQ(offset[i], i == moved[d] ? sign * step(12) : 0.0) << "direction " << d;
      }
      EXPECT_EQ(tool.ApproachMode, 0);
    }
  }
}

TEST_F(Controller, EveryForceMovesItsComponentAndTorquesAreCrossed) {
  configApproach(SENSOR, MY, -3, 12);
  const auto offset = offsetIn(3, wrench);
  const auto gain = [&](int k) { return gains[k] * 0.001 * tool.timeStep; };
  const double expected[] = {1.1 * gain(0),   -2.2 * gain(1),         3.3 * gain(2),
                             -0.66 * gain(5), (0.55 - 3.0) * gain(4), -0.44 * gain(3)};
  for (int i = 0; i < 6; ++i) EXPECT_DOUBLE_EQ(offset[i], expected[i]) << i;
}

// In contact the main axis is led in from zero. With MX the z torque is led in, with MZ the x
// torque, unlike in the approach step.
TEST_F(Controller, LeadInReplacesOneComponentAndSwapsTheXAndZTorque) {
  const int replaced[6] = {0, 1, 2, 3, 4, 5};
  const int measured[6] = {0, 1, 2, 5, 4, 3};
  for (int d = 0; d < 6; ++d) {
    configApproach(SENSOR, d, -7, 12);
    tool.force_fhan = tool.speed_fhan = MBK_Fhan();
    const auto plain = offsetIn(3, wrench);
    reference::Follower force, gain;
    for (int n = 0; n < 30; ++n) {
      const auto led = offsetIn(1, wrench);
      const int k = measured[d];
      force.step(k == d ? -7.0 : 0.0, 200, tool.timeStep);
      gain.step(gains[k] * 0.001 * tool.timeStep, 200, tool.timeStep);
      for (int i = 0; i < 6; ++i) {
        const double expected = i == replaced[d] ? (wrench[k] + force.x) * gain.x : plain[i];
        ASSERT_EQ(led[i], expected) << "direction " << d << " component " << i << " cycle " << n;
      }
    }
  }
}

TEST_F(Controller, ContactByForceOrTorqueStartsPhaseOneInTheNextCycle) {
  configApproach(SENSOR, FZ, -10, 12);
  for (const Six& touching :
       {Six{4.01, 0, 0, 0, 0, 0}, Six{2.5, -2.5, 2.5, 0, 0, 0}, Six{0, 0, 0, 0.3, -0.3, 0.3}}) {
    std::fill_n(tool.isApproachTouchOK, 20, 1);
    EXPECT_EQ(offsetIn(0, touching)[2], -step(12)) << "this cycle still approaches";
    EXPECT_EQ(tool.ApproachMode, 1);
    EXPECT_THAT(tool.isApproachTouchOK, Each(0));
  }
  offsetIn(0, {0, 4, 0, 0.3, 0, 0.4});  // both equal to their thresholds
  EXPECT_EQ(tool.ApproachMode, 0);
  tool.isApproachTouch = true;
  offsetIn(0, {});
  EXPECT_EQ(tool.ApproachMode, 1) << "contact that was latched";
}

TEST_F(Controller, ZeroApproachSpeedEntersContactAtOnce) {
  configApproach(SENSOR, FZ, -10, 0);
  ASSERT_TRUE(cycle(RunKind::approach));
  EXPECT_THAT(tool.ftc_offset.value, Each(0.0));
  EXPECT_EQ(tool.ApproachMode, 1);
}

TEST_F(Controller, ZeroExpectedForceCommandsNotANumber) {
  configApproach(WORLD, FY, 0, 12);
  ASSERT_TRUE(cycle(RunKind::approach));
  EXPECT_TRUE(std::isnan(out[1]));
  EXPECT_DOUBLE_EQ(out[0], pose[0]);
  EXPECT_DOUBLE_EQ(out[2], pose[2]);
}

TEST_F(Controller, BiasedPhaseEndsAfterThreeMillimetres) {
  configApproach(SENSOR, FZ, -10, 12);
  tool.approachFx = 2;
  tool.approachFy = -3;
  const auto biased = offsetIn(2, wrench), plain = offsetIn(3, wrench);
  EXPECT_DOUBLE_EQ(biased[0], plain[0] + 2 * gains[0] * 0.001 * tool.timeStep);
  EXPECT_DOUBLE_EQ(biased[1], plain[1] - 3 * gains[1] * 0.001 * tool.timeStep);
  EXPECT_EQ(biased[2], plain[2]);
  for (double z : {0.003, -0.003, 0.0, 0.00301, -0.00301}) {
    tool.ftc_path_offset.value[2] = z;
    std::fill_n(tool.isApproachTouchOK, 20, 1);
    offsetIn(2, wrench);
    const bool beyond = std::fabs(z) > 0.003;
    EXPECT_EQ(tool.ApproachMode, beyond ? 3 : 2) << z;
    EXPECT_THAT(tool.isApproachTouchOK, Each(beyond ? 0 : 1));
  }
  const auto kept = offsetIn(3, wrench);
  EXPECT_EQ(offsetIn(9, {}), kept) << "an unknown phase requests what was requested before";
}

TEST_F(Controller, ForceHistoryShiftsInEveryStepEvenWithoutARun) {
  tool.ftc_offset.value[3] = 0.5;
  for (int n = 1; n <= 5; ++n) {
    for (int i = 0; i < 6; ++i) tool.rcs_ft_data.value[i] = 10 * n + i;
    tool.FTCtrl();
  }
  const RVector* history[] = {&tool.ftc_offset_last1, &tool.ftc_offset_last2,
                              &tool.ftc_offset_last3, &tool.ftc_offset_last4};
  for (int age = 0; age < 4; ++age) {
    for (int i = 0; i < 6; ++i) EXPECT_EQ(history[age]->value[i], 10 * (5 - age) + i);
  }
  EXPECT_EQ(tool.ftc_offset.value[3], 0.5);
}

// ---- correction
// ----------------------------------------------------------------------------------

TEST_F(Controller, BoxAroundTheStartClampsTheTranslation) {
  configApproach(SENSOR, FZ, -10, 12);
  double most[] = {1, 2, -3}, least[] = {-1, -2, 3};
  tool.setCorrectionLimit(most, least, 0);
  ASSERT_TRUE(cycle(RunKind::approach));
  EXPECT_NEAR(out[2], pose[2] - 3, 1e-9) << "the upper bound wins where it is below the lower one";
  const Six start = pose;
  pose[0] += 5;
  pose[1] -= 5;
  ASSERT_TRUE(cycle(RunKind::approach));
  EXPECT_NEAR(out[0], start[0] + 1, 1e-9);
  EXPECT_NEAR(out[1], start[1] - 2, 1e-9);
  for (int i = 3; i < 6; ++i) EXPECT_NEAR(out[i], pose[i], 1e-12) << "angles are not clamped";
}

// A pure translation request of 12 mm/s along z of the mode's frame, in every frame.
TEST_F(Controller, FramesOfTheApproachStep) {
  mounting = {12, -7, 40, 0.7, -0.4, 0.3};
  tip = {5, -9, 130, -0.6, 0.8, 1.1};
  Six load = {1e3, 1e3, 1e3, 1e2, 1e2, 1e2};
  tool.setSensorConfig(load.data(), mounting.data(), tip.data());
  const auto internal = [](const Six& p) { return reference::Tool::internal(p.data()); };
  const auto R_base_flange = reference::rotationOf(reference::transformOf(internal(pose)));
  const auto R_base_tool = reference::times<3, 3, 3>(
      reference::times<3, 3, 3>(R_base_flange,
                                reference::rotationOf(reference::transformOf(internal(mounting)))),
      reference::rotationOf(reference::transformOf(internal(tip))));
  const double mm = 1000 * step(12);
  for (int frame : {WORLD, BASE, TOOL, SENSOR}) {
    configApproach(frame, FZ, -10, 12);
    tool.runApproachMode = false;
    ASSERT_TRUE(cycle(RunKind::approach));
    // SENSOR moves along the flange axes: the two mountings cancel. TOOL turns by the mountings.
    const auto& R = frame == TOOL ? R_base_tool : R_base_flange;
    for (int i = 0; i < 3; ++i) {
      const double axis = frame == WORLD || frame == BASE ? (i == 2 ? 1.0 : 0.0) : R[i][2];
      EXPECT_NEAR(out[i] - pose[i], -mm * axis, 1e-9) << "frame " << frame << " axis " << i;
    }
    const auto R_out = reference::rotationOf(
        reference::transformOf(internal({out[0], out[1], out[2], out[3], out[4], out[5]})));
    for (int i = 0; i < 3; ++i) {
      for (int j = 0; j < 3; ++j) EXPECT_NEAR(R_out[i][j], R[i][j], 1e-12) << "frame " << frame;
    }
  }
}

// ---- contact in a closed loop
// --------------------------------------------------------------------

struct SpringContact : Controller, testing::WithParamInterface<std::tuple<int, int>> {};
INSTANTIATE_TEST_SUITE_P(FramesAndDirections, SpringContact,
                         testing::Combine(testing::Values(TOOL, SENSOR),
                                          testing::Values(FX, FY, FZ)));

// A spring along one axis of the flange: the approach finds it, settles at the expected force and
// ends. The mountings are not turned, so that the pose keeps its attitude in TOOL as well.
TEST_P(SpringContact, SettlesAtTheExpectedForceAndEnds) {
  const auto [frame, direction] = GetParam();
  const double stiffness = 5, gap = 6, wanted = 10;  // N/mm, mm, N
  gains = {20, 20, 20, 0, 0, 0};
  Six band{};
  band[direction] = 0.1;
  configApproach(frame, direction, wanted, 25, band);
  const Six start = pose;
  const auto R =
      reference::rotationOf(reference::transformOf(reference::Tool::internal(start.data())));
  double force = 0, strongest = 0;
  int cycles = 0;
  do {
    double travel = 0;
    for (int i = 0; i < 3; ++i) travel += R[i][direction] * (pose[i] - start[i]);
    force = travel > gap ? stiffness * (travel - gap) : 0.0;
    strongest = std::max(strongest, force);
    ft = {};
    ft[direction] = -force;
    if (!cycle(RunKind::approach)) break;
    follow();
  } while (++cycles < 5000);
  EXPECT_EQ(err.code, 80001) << err.err_msg;
  EXPECT_NEAR(force, wanted, 0.1);
  EXPECT_LT(strongest, 1.2 * wanted);
}

}  // namespace
}  // namespace zel::test
