// From the force error to the corrected pose: one example by hand for each rule, and its borders.
#include <gmock/gmock.h>

#include <cmath>

#include "control/MBK_Fhan.h"
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

TEST(LeadIn, EqualityTakesTheLinearBranch) {
  // Both branches meet at |y| = d0; rounding tells them apart: the other one gives -3 here.
  const double r = 3, t = 0.01, d = r * t, d0 = t * d;
  EXPECT_EQ(MBK_Fhan::fhan(d0, 0, 0, r, t), -r * (d0 / t) / d);
  // |a| = d, exact in binary: d = 1, d0 = 0.5
  EXPECT_EQ(MBK_Fhan::fhan(0.5, 0, 0, 2, 0.5), -2.0);
  EXPECT_EQ(MBK_Fhan::fhan(-0.5, 0, 0, 2, 0.5), 2.0);
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

TEST_F(Controller, EveryForceMovesItsComponentAndTorquesAreCrossed) {
  configApproach(SENSOR, MY, -3, 12);
  const auto offset = offsetIn(3, wrench);
  const auto gain = [&](int k) { return gains[k] * 0.001 * tool.timeStep; };
  const double expected[] = {1.1 * gain(0),   -2.2 * gain(1),         3.3 * gain(2),
                             -0.66 * gain(5), (0.55 - 3.0) * gain(4), -0.44 * gain(3)};
  for (int i = 0; i < 6; ++i) EXPECT_DOUBLE_EQ(offset[i], expected[i]) << i;
}

// In contact the main axis is led in from zero. With MX that is the z torque's component, with MZ
// the x torque's, unlike in the approach step.
TEST_F(Controller, LeadInReplacesOneComponentAndSwapsTheXAndZTorque) {
  for (int d = 0; d < 6; ++d) {
    configApproach(SENSOR, d, -7, 12);
    tool.force_fhan = tool.speed_fhan = MBK_Fhan();
    auto expected = offsetIn(3, wrench);
    expected[d] = 0.0;
    EXPECT_EQ(offsetIn(1, wrench), expected) << "direction " << d;
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

TEST_F(Controller, ZeroExpectedForceCommandsNotANumber) {
  configApproach(WORLD, FY, 0, 12);
  ASSERT_TRUE(cycle(RunKind::approach));
  EXPECT_TRUE(std::isnan(out[1]));
  EXPECT_DOUBLE_EQ(out[0], pose[0]);
  EXPECT_DOUBLE_EQ(out[2], pose[2]);
}

TEST_F(Controller, BiasedPhaseEndsBeyondThreeMillimetres) {
  configApproach(SENSOR, FZ, -10, 12);
  for (double z : {0.003, -0.003, 0.0, 0.00301, -0.00301}) {
    tool.ftc_path_offset.value[2] = z;
    offsetIn(2, wrench);
    EXPECT_EQ(tool.ApproachMode, std::fabs(z) > 0.003 ? 3 : 2) << z;
  }
  const auto kept = offsetIn(3, wrench);
  EXPECT_EQ(offsetIn(9, {}), kept) << "an unknown phase requests what was requested before";
}

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

}  // namespace
}  // namespace zel::test
