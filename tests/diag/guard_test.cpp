// The guard over whole simulated runs: silent on everything that is meant, and tripped by
// everything that does harm. Prints both figures.
#include <gmock/gmock.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <functional>
#include <limits>
#include <set>
#include <vector>

#include "arrangement.h"
#include "zel_ftc_guard.h"

namespace zel::test {
namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

/// What one cycle works with; a disturbance changes it. `out` is set after the run function.
struct Cycle {
  int number;
  Six reading, now, out;
  bool fed = true;
};
using Disturbance = std::function<void(Cycle&)>;
const Disturbance none = [](Cycle&) {};

struct GuardTest : OpenLibrary {
  /// Limits that suit every reference motion.
  static void arm() {
    constexpr double limits[] = {0, 0, 1, 0.02, 150, 0.2, 5, 1, 5000, 600000, 40, 3, 6, 1};
    static_assert(std::size(limits) == ZEL_GUARD_LIMIT_COUNT);
    for (int i = 0; i < ZEL_GUARD_LIMIT_COUNT; ++i) {
      ASSERT_EQ(zel_ftc_setGuardLimit(static_cast<ZelGuardLimit>(i), limits[i], ZEL_GUARD_HOLD), 1);
    }
  }

  int call(const Arrangement& s, Cycle& c, zel_ftc_error& err) {
    Arrangement t = s;
    double *out = c.out.data(), *now = c.now.data();
    switch (t.run) {
      case ZEL_APPROACH_RUN:
        return zel_ftc_runApproach(out, now, &err);
      case ZEL_ASSEMBLY_RUN:
        return zel_ftc_runAssembly(out, now, &err);
      case ZEL_LINE_RUN:
        return zel_ftc_runTrackingMotionL(out, path_[0].data(), path_[2].data(), now, &err);
      default:
        return zel_ftc_runTrackingMotionC(out, path_[0].data(), path_[1].data(), path_[2].data(),
                                          now, &err);
    }
  }

  /// Runs until the end, the guard's first verdict, or the last cycle.
  zel_ftc_guard_verdict drive(sim::Cell& cell, const Arrangement& s,
                              const Disturbance& before = none, const Disturbance& after = none,
                              int most = 4000) {
    zel_ftc_guard_verdict verdict{};
    zel_ftc_error err{};
    for (int n = 0; n < most; ++n) {
      Cycle c = {n, cell.reading(), set_, set_};
      before(c);
      if (c.fed) zel_ftc_obtainFTSensorData(c.reading.data());
      const int result = call(s, c, err);
      if (s.run == ZEL_ASSEMBLY_RUN) {
        c.out = c.now;
        c.out[2] -= 0.004;  // the caller pushes
      }
      after(c);
      const Six wanted = c.out;
      ++cycles_;
      const int passed = zel_ftc_guard(c.out.data(), c.now.data(), &verdict);
      EXPECT_EQ(passed, verdict.action == ZEL_GUARD_HOLD ? 0 : 1);
      if (verdict.action == ZEL_GUARD_HOLD) {
        EXPECT_TRUE(verdict.first);
        EXPECT_EQ(c.out, set_) << "the pose held is the last one that passed";
        return verdict;
      }
      EXPECT_EQ(std::memcmp(c.out.data(), wanted.data(), sizeof wanted), 0);
      if (result != 1 && err.ftc_code != ZEL_RUN_SENSOR_TIMEOUT) break;
      set_ = c.out;
      cell.command(set_);
      cell.advance(0.001 * s.period);
    }
    code_ = err.ftc_code;
    return verdict;
  }

  /// From a fresh library: set up, zeroed, guard armed, robot at the start.
  sim::Cell begin(Arrangement s) {
    zel_ftc_close();
    zel_ftc_open(true);
    zel_ftc_initialFTSensor(0, nullptr);
    sim::Cell cell(s.cell());
    set_ = s.start;
    s.make(cell.reading());
    arm();
    return cell;
  }

  /// The same, and in contact, with the mode of `s` configured.
  sim::Cell beginInContact(Arrangement s) {
    Arrangement approach = s;
    approach.run = ZEL_APPROACH_RUN;
    sim::Cell cell = begin(approach);
    EXPECT_EQ(drive(cell, approach).action, ZEL_GUARD_OFF);
    EXPECT_EQ(code_, ZEL_RUN_END);
    s.configureMode();
    path_ = {set_, set_, set_};
    path_[1][0] -= 30, path_[1][1] += 30, path_[2][0] -= 60;
    return cell;
  }

  Six set_{};
  std::array<Six, 3> path_{};
  int code_ = 0;
  long cycles_ = 0;
};

TEST_F(GuardTest, NeverTripsOnReferenceMotions) {
  int motions = 0, trips = 0;
  for (const double stiffness : {2.0, 10.0, 20.0}) {
    for (const double force : {5.0, 12.0}) {
      for (const ZelRcs frame : {RCS_TOOL, RCS_SENSOR}) {
        for (const ZelRunKind run : {ZEL_LINE_RUN, ZEL_ARC_RUN, ZEL_ASSEMBLY_RUN}) {
          Arrangement s;
          s.run = run;
          s.stiffness = stiffness;
          s.force = s.pathForce[2] = force;
          s.gains[2] = 25 / stiffness;
          s.frame = frame;
          s.minimumPath = run == ZEL_ASSEMBLY_RUN ? -1 : 0;
          sim::Cell cell = beginInContact(s);
          trips += drive(cell, s).action != ZEL_GUARD_OFF;
          EXPECT_EQ(code_, ZEL_RUN_END);
          motions += 2;
        }
      }
    }
  }
  EXPECT_EQ(trips, 0);
  std::fprintf(stderr, "guard: %d false trips in %d motions, %ld cycles\n", trips, motions,
               cycles_);
}

struct Harm {
  const char* what;
  ZelGuardLimit caughtBy;
  bool inContact;
  std::function<void(Arrangement&)> spoil;
  Disturbance before = none, after = none;
};

TEST_F(GuardTest, CatchesEveryHarm) {
  const auto asIs = [](Arrangement&) {};
  const auto line = [](Arrangement& s) { s.run = ZEL_LINE_RUN; };
  const auto at = [](int cycle, auto change) {
    return [=](Cycle& c) {
      if (c.number == cycle) change(c);
    };
  };
  const std::vector<Harm> harms = {
      {"not-a-number reading", ZEL_LIMIT_READING, false, asIs,
       at(50, [](Cycle& c) { c.reading[4] = nan; })},
      {"not-a-number robot pose", ZEL_LIMIT_POSE, false, asIs,
       at(50, [](Cycle& c) { c.now[3] = nan; })},
      {"infinite command", ZEL_LIMIT_POSE, true, line, none,
       at(50, [](Cycle& c) { c.out[1] = INFINITY; })},
      {"jump", ZEL_LIMIT_STEP, true, line, none, at(50, [](Cycle& c) { c.out[0] += 1.1; })},
      {"jump in the first cycle", ZEL_LIMIT_STEP, false, asIs, none,
       at(0, [](Cycle& c) { c.out[1] -= 5; })},
      {"turn", ZEL_LIMIT_TURN, true, line, none, at(50, [](Cycle& c) { c.out[4] += 0.03; })},
      {"no surface", ZEL_LIMIT_DISTANCE, false,
       [](Arrangement& s) { s.travel = 180, s.stiffness = 0; }},
      {"no surface, while the sensor stalls again and again", ZEL_LIMIT_DISTANCE, false,
       [](Arrangement& s) { s.travel = 180, s.stiffness = 0; },
       [](Cycle& c) { c.fed = c.number % 30 < 8; }},
      {"rotated mounting", ZEL_LIMIT_ROTATION, false, [](Arrangement& s) { s.tip[4] = 0.01; }},
      {"gain across the path", ZEL_LIMIT_PATH, true,
       [](Arrangement& s) { s.run = ZEL_ARC_RUN, s.gains[0] = 8, s.pathForce[0] = 2; }},
      {"cable force on a compliant axis", ZEL_LIMIT_OFF_AXIS, false,
       [](Arrangement& s) { s.speed = 0, s.gains[0] = 10; }, [](Cycle& c) { c.reading[0] += 3; }},
      {"stale sensor", ZEL_LIMIT_SAMPLE_AGE, true, [](Arrangement& s) { s.run = ZEL_LINE_RUN; },
       [](Cycle& c) {
         c.fed = c.number < 20;
         if (c.number == 20) zel_ftc_setGuardLimit(ZEL_LIMIT_SAMPLE_AGE, 15, ZEL_GUARD_HOLD);
         if (!c.fed) usleep(1000);
       }},
      {"never ends", ZEL_LIMIT_RUN_TIME, true, [](Arrangement& s) { s.run = ZEL_ASSEMBLY_RUN; },
       [](Cycle& c) {
         if (c.number == 0) zel_ftc_setGuardLimit(ZEL_LIMIT_RUN_TIME, 15, ZEL_GUARD_HOLD);
         usleep(100);
       },
       [](Cycle& c) { c.out = c.now; }},
      {"frame without force", ZEL_LIMIT_FORCE, false,
       [](Arrangement& s) { s.frame = RCS_BASE, s.force = -10; }},
      {"hard collision", ZEL_LIMIT_FORCE_CHANGE, false,
       [](Arrangement& s) { s.stiffness = 100, s.monitoring.fill(1e4); }},
      {"lost contact", ZEL_LIMIT_FORCE_CHANGE, true, line,
       [](Cycle& c) {
         if (c.number >= 50) c.reading[2] += 9.9;
       }},
      {"spike", ZEL_LIMIT_TORQUE_CHANGE, true, line, at(50, [](Cycle& c) { c.reading[5] += 1.1; })},
      {"jammed", ZEL_LIMIT_TORQUE, true, line,
       [](Cycle& c) { c.reading[5] += std::min(4.0, 0.05 * c.number); }},
  };
  std::set<int> caughtBy;
  for (const Harm& harm : harms) {
    SCOPED_TRACE(harm.what);
    Arrangement s;
    harm.spoil(s);
    sim::Cell cell = harm.inContact ? beginInContact(s) : begin(s);
    const auto verdict = drive(cell, s, harm.before, harm.after);
    ASSERT_EQ(verdict.action, ZEL_GUARD_HOLD);
    EXPECT_EQ(verdict.which, harm.caughtBy);
    caughtBy.insert(verdict.which);
    const Six held = set_;

    // Held until the reset, reported once.
    Six pose = held, now = held;
    pose[0] += 0.1;
    zel_ftc_guard_verdict next{};
    EXPECT_EQ(zel_ftc_guard(pose.data(), now.data(), &next), 0);
    EXPECT_EQ(pose, held);
    EXPECT_FALSE(next.first);
    EXPECT_EQ(next.event, verdict.event);
    EXPECT_GE(next.duration, 0);
    zel_ftc_resetGuard();
    Six good{};
    zel_ftc_obtainFTSensorData(good.data());
    EXPECT_EQ(zel_ftc_obtainFTSensorData(good.data()), 1);
  }
  EXPECT_EQ(caughtBy.size(), ZEL_GUARD_LIMIT_COUNT) << "a limit that no harm needs";
  std::fprintf(stderr, "guard: %zu of %zu harmful events caught\n", harms.size(), harms.size());
}

TEST_F(GuardTest, WarnsOncePerEventAndLetsThePosePass) {
  zel_ftc_setGuardLimit(ZEL_LIMIT_STEP, 1, ZEL_GUARD_WARN);
  Six pose{}, now{};
  zel_ftc_guard_verdict v{};
  const auto step = [&](double to) {
    pose[2] = to;
    EXPECT_EQ(zel_ftc_guard(pose.data(), now.data(), &v), 1);
    EXPECT_EQ(std::memcmp(&pose[2], &to, sizeof to), 0);
  };
  step(1);
  EXPECT_EQ(v.action, ZEL_GUARD_OFF) << "equal to the limit is within";
  step(2.5);
  EXPECT_TRUE(v.first);
  EXPECT_EQ(
      textOf([&](char* t, std::size_t n) { return zel_ftc_guardText(&v, t, n); }),
      "the guard warns: the step from the pose commanded last is 1.5 mm, must be at most 1 mm");
  step(4.5);
  EXPECT_FALSE(v.first) << "the same event";
  step(5);
  EXPECT_EQ(v.action, ZEL_GUARD_OFF);
  step(7);
  EXPECT_TRUE(v.first);
  EXPECT_EQ(v.event, 2u);
  zel_ftc_setGuardLimit(ZEL_LIMIT_POSE, 0, ZEL_GUARD_WARN);
  step(nan);
  zel_ftc_setGuardLimit(ZEL_LIMIT_TURN, 0.1, ZEL_GUARD_HOLD);
  pose = {0, 0, 9, 0.2, 0, 0};
  EXPECT_EQ(zel_ftc_guard(pose.data(), now.data(), &v), 0);
  EXPECT_EQ(v.which, ZEL_LIMIT_TURN) << "a hold is graver than a warning";
  EXPECT_EQ(pose[2], 7) << "what is not finite is never held";

  pose = {0, 0, 7, 6.28318, 0, 0};
  zel_ftc_resetGuard();
  EXPECT_EQ(zel_ftc_guard(pose.data(), pose.data(), &v), 1) << "a whole turn is none";
}

TEST_F(GuardTest, SeesSamplesThatNoRunHasTaken) {
  zel_ftc_setGuardLimit(ZEL_LIMIT_SAMPLE_AGE, 15, ZEL_GUARD_WARN);
  Six pose{};
  zel_ftc_guard_verdict v{};
  for (int i = 0; i < 10; ++i) {
    usleep(5000);
    zel_ftc_obtainFTSensorData(pose.data());
    zel_ftc_guard(pose.data(), pose.data(), &v);
    EXPECT_EQ(v.event, 0u);
  }
}

// What a run measured while the guard held it is over when the guard is reset.
TEST_F(GuardTest, ForgetsTheRunThatItHeld) {
  Arrangement s;
  Six reading{}, pose = s.start;
  s.make(reading);
  zel_ftc_setGuardLimit(ZEL_LIMIT_FORCE, 40, ZEL_GUARD_HOLD);
  zel_ftc_guard_verdict v{};
  reading[2] = 50;
  for (int i = 0; i < 3; ++i) {
    zel_ftc_error err;
    zel_ftc_obtainFTSensorData(reading.data());
    zel_ftc_runApproach(pose.data(), s.start.data(), &err);
    EXPECT_EQ(zel_ftc_guard(pose.data(), s.start.data(), &v), 0);
    EXPECT_EQ(v.which, ZEL_LIMIT_FORCE);
  }
  zel_ftc_clear();
  zel_ftc_resetGuard();
  EXPECT_EQ(zel_ftc_guard(pose.data(), s.start.data(), &v), 1);
}

TEST_F(GuardTest, RefusesWhatMakesNoSense) {
  zel_ftc_guard_limit limit{};
  for (const double bad : {-1.0, nan, double(INFINITY)}) {
    EXPECT_EQ(zel_ftc_setGuardLimit(ZEL_LIMIT_STEP, bad, ZEL_GUARD_HOLD), 0);
  }
  EXPECT_EQ(zel_ftc_setGuardLimit(ZEL_GUARD_LIMIT_COUNT, 1, ZEL_GUARD_HOLD), 0);
  EXPECT_EQ(zel_ftc_setGuardLimit(ZEL_LIMIT_STEP, 1, static_cast<ZelGuardAction>(3)), 0);
  EXPECT_EQ(zel_ftc_getGuardLimit(ZEL_LIMIT_STEP, &limit), 1);
  EXPECT_EQ(limit.action, ZEL_GUARD_OFF);
  EXPECT_STREQ(limit.unit, "mm");
  Six pose{};
  EXPECT_EQ(zel_ftc_guard(nullptr, pose.data(), nullptr), 0);
  EXPECT_EQ(zel_ftc_guard(pose.data(), nullptr, nullptr), 0);
  EXPECT_EQ(zel_ftc_guard(pose.data(), pose.data(), nullptr), 1);
  zel_ftc_close();
  EXPECT_EQ(zel_ftc_guard(pose.data(), pose.data(), nullptr), -1);
  EXPECT_EQ(zel_ftc_setGuardLimit(ZEL_LIMIT_STEP, 1, ZEL_GUARD_HOLD), -1);
}

}  // namespace
}  // namespace zel::test
