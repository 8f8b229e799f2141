// The view into the cycle: what it shows of a simulated run, and the answers to "why does it not
// end?" and "why does it not move?".
#include <gmock/gmock.h>

#include <set>

#include "arrangement.h"
#include "zel_ftc_guard.h"

namespace zel::test {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Not;

struct ViewTest : OpenLibrary {
  void cycle(Six reading, Six pose) {
    zel_ftc_obtainFTSensorData(reading.data());
    zel_ftc_runApproach(out.data(), pose.data(), &err);
    ASSERT_EQ(zel_ftc_cycleView(&view), 1);
  }
  static std::set<int> kinds(const zel_ftc_why* why, int count) {
    std::set<int> set;
    for (int i = 0; i < count; ++i) set.insert(why[i].kind);
    return set;
  }
  std::set<int> notEnding() { return kinds(view.not_ending, view.not_ending_count); }
  std::set<int> notMoving() { return kinds(view.not_moving, view.not_moving_count); }
  std::string sentences(const zel_ftc_why* why, int count) {
    std::string all;
    for (int i = 0; i < count; ++i) {
      all += textOf([&](char* t, std::size_t n) { return zel_ftc_whyText(&why[i], t, n); }) + "\n";
    }
    return all;
  }

  Arrangement s;
  Six out{};
  zel_ftc_error err{};
  zel_ftc_cycle_view view{};
};

TEST_F(ViewTest, FollowsAnApproachFromSearchToItsEnd) {
  ASSERT_EQ(zel_ftc_cycleView(&view), 1);
  EXPECT_EQ(view.run, ZEL_NO_RUN);
  zel_ftc_uninitialFTSensor();
  cycle({}, s.start);
  EXPECT_THAT(notEnding(), Contains(ZEL_WHY_NO_READING)) << "in the very first cycle";
  zel_ftc_initialFTSensor(0, nullptr);
  zel_ftc_clear();
  ASSERT_EQ(zel_ftc_cycleView(&view), 1);
  EXPECT_THAT(notEnding(), testing::ElementsAre(ZEL_WHY_NOT_RUNNING));
  s.weight = 0, s.centre = {}, s.minimumPath = 3;
  s.make({});
  cycle({}, s.start);
  EXPECT_EQ(view.run, ZEL_APPROACH_RUN);
  EXPECT_TRUE(view.running);
  EXPECT_EQ(view.phase, 0);
  EXPECT_FALSE(view.in_contact);
  EXPECT_NEAR(view.step[2], 0.08, 1e-12);
  EXPECT_NEAR(view.force_error[2], 10, 1e-12);
  EXPECT_THAT(notEnding(), testing::UnorderedElementsAre(ZEL_WHY_SEARCHING, ZEL_WHY_OUT_OF_BAND,
                                                         ZEL_WHY_MINIMUM_PATH));
  EXPECT_THAT(sentences(view.not_ending, view.not_ending_count),
              HasSubstr("still searching: 0 N, contact is more than 2 N"));

  Six pose = s.start;
  pose[2] -= 2;
  for (int n = 0; n < 8; ++n) cycle({0, 0, -9.9, 0, 0, 0}, pose);
  EXPECT_EQ(view.phase, 1);
  EXPECT_TRUE(view.in_contact);
  EXPECT_EQ(view.settled, 8) << "since contact";
  EXPECT_EQ(view.cycles, 9u);
  EXPECT_NEAR(view.path, 2, 1e-9);
  EXPECT_EQ(view.path_limit, 200);
  EXPECT_FALSE(view.minimum_path_covered);
  EXPECT_THAT(
      sentences(view.not_ending, view.not_ending_count),
      HasSubstr("in the band for 8 of 20 cycles\n2 mm from the start, must be more than the "
                "minimum path of 3 mm"));
  EXPECT_THAT(notMoving(), Not(Contains(ZEL_WHY_BALANCED))) << "the set point is led in";
  for (int n = 0; n < 100; ++n) cycle({0, 0, -9.95, 0, 0, 0}, pose);
  EXPECT_THAT(notMoving(), Contains(ZEL_WHY_BALANCED));
  zel_ftc_uninitialFTSensor();
  cycle({}, pose);
  EXPECT_THAT(notMoving(), Contains(ZEL_WHY_NO_READING));
  zel_ftc_initialFTSensor(0, nullptr);

  pose[2] -= 2;
  for (int n = 0; n < 20 && err.ftc_code == ZEL_RUN_RUNNING; ++n) cycle({0, 0, -10, 0, 0, 0}, pose);
  EXPECT_FALSE(view.running);
  EXPECT_EQ(view.code, ZEL_RUN_END);
  EXPECT_THAT(notMoving(), Contains(ZEL_WHY_NOT_RUNNING));
}

TEST_F(ViewTest, TellsWhatHoldsTheRobotBack) {
  s.down = {-10, -10, -0.05};
  s.start = {400, 0, 300, 0, 0, 0};
  s.force = -10;
  s.frame = RCS_BASE;
  s.make({});
  cycle({}, s.start);
  EXPECT_TRUE(view.box_low[2]);
  EXPECT_FALSE(view.box_high[2]);
  EXPECT_THAT(notEnding(), Contains(ZEL_WHY_BLIND_FRAME));
  EXPECT_THAT(sentences(view.not_moving, view.not_moving_count),
              HasSubstr("z stands at the side of the correction box, -0.05 mm from the start"));

  s.speed = 0, s.gains = {}, s.frame = RCS_TOOL;
  s.configureApproach();
  cycle({}, s.start);
  cycle({}, s.start);
  EXPECT_THAT(notMoving(), Contains(ZEL_WHY_NO_GAIN));
  for (int n = 0; n < 3; ++n) zel_ftc_runApproach(out.data(), s.start.data(), &err);
  zel_ftc_setGuardLimit(ZEL_LIMIT_STEP, 0, ZEL_GUARD_HOLD);
  Six jump = s.start;
  jump[0] += 1;
  zel_ftc_guard(jump.data(), s.start.data(), nullptr);
  zel_ftc_cycleView(&view);
  EXPECT_EQ(view.stalled, 3);
  EXPECT_TRUE(view.guarded);
  EXPECT_EQ(view.unguarded_limits, ZEL_GUARD_LIMIT_COUNT - 1);
  EXPECT_THAT(notEnding(), Contains(ZEL_WHY_STALLED));
  EXPECT_THAT(notMoving(), Contains(ZEL_WHY_GUARD_HOLDS));

  s.speed = 1, s.force = 0;
  s.configureApproach();
  cycle({}, s.start);
  EXPECT_THAT(notMoving(), Contains(ZEL_WHY_NOT_A_NUMBER));
}

TEST_F(ViewTest, ShowsAssemblyAndPaths) {
  s.run = ZEL_ASSEMBLY_RUN;
  s.make({});
  zel_ftc_obtainFTSensorData(Six{}.data());
  zel_ftc_runAssembly(out.data(), s.start.data(), &err);
  zel_ftc_cycleView(&view);
  EXPECT_THAT(notEnding(), Contains(ZEL_WHY_START_FOLLOWS));
  EXPECT_THAT(notMoving(), Contains(ZEL_WHY_ASSEMBLY_HOLDS));

  s.run = ZEL_LINE_RUN;
  const auto line = [&](double speed) {
    zel_ftc_clear();
    s.pathSpeed = speed;
    s.configureMode();
    for (int n = 0; n < 5; ++n) {
      zel_ftc_obtainFTSensorData(Six{}.data());
      zel_ftc_runTrackingMotionL(out.data(), s.start.data(), s.end.data(), s.start.data(), &err);
    }
    zel_ftc_cycleView(&view);
  };
  line(20);
  EXPECT_EQ(view.path_step, 5);
  EXPECT_NEAR(view.path_steps, 750, 1e-9);
  EXPECT_EQ(view.time_out, 0);
  EXPECT_THAT(notEnding(), testing::ElementsAre(ZEL_WHY_ON_THE_PATH));
  line(0);
  EXPECT_THAT(notEnding(), Contains(ZEL_WHY_PATH_WITHOUT_END));
  EXPECT_THAT(notMoving(), Contains(ZEL_WHY_NO_SPEED));
  EXPECT_EQ(zel_ftc_cycleView(nullptr), 0);
}

}  // namespace
}  // namespace zel::test
