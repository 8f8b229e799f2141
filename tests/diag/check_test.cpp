// The check of the configuration: no false alarm on good set-ups, exactly the seeded fault on
// spoilt ones, and a heading of the behaviour page behind every fault.
#include "diag/check.h"

#include <gmock/gmock.h>

#include <cmath>
#include <fstream>
#include <functional>
#include <limits>
#include <random>
#include <set>
#include <sstream>
#include <vector>

#include "arrangement.h"
#include "zel_ftc_guard.h"

namespace zel::test {
namespace {

using diag::Fault;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

struct CheckTest : OpenLibrary {
  std::vector<zel_ftc_finding> check(const zel_ftc_plan& plan) {
    std::vector<zel_ftc_finding> findings(ZEL_FINDINGS_ENOUGH);
    findings.resize(static_cast<std::size_t>(
        zel_ftc_checkConfiguration(&plan, findings.data(), ZEL_FINDINGS_ENOUGH)));
    return findings;
  }

  /// Names of what is worse than a note.
  std::multiset<std::string> alarms(const zel_ftc_plan& plan) {
    std::multiset<std::string> names;
    for (const zel_ftc_finding& f : check(plan)) {
      const auto text =
          textOf([&](char* t, std::size_t n) { return zel_ftc_findingText(&f, t, n); });
      EXPECT_NE(text, "") << zel_ftc_findingName(&f);
      if (f.severity > ZEL_FINDING_NOTE) names.insert(zel_ftc_findingName(&f));
    }
    return names;
  }
};

TEST_F(CheckTest, GoodSetUpsRaiseNoAlarm) {
  std::mt19937_64 random(7);
  const auto between = [&](double low, double high) {
    return std::uniform_real_distribution<double>(low, high)(random);
  };
  for (int i = 0; i < 200; ++i) {
    Arrangement s;
    s.run = static_cast<ZelRunKind>(1 + i % 4);
    s.period = between(4, 20);
    s.stiffness = between(2, 50);
    s.delay = between(0, 2) * s.period;
    s.force = between(4, 40);
    s.gains[2] = between(0.2, 1.0) * 0.19 / (0.001 * s.period * s.stiffness);
    s.speed = between(2, 20);
    s.touchForce = between(0.1, 0.5) * s.force;
    s.band[2] = between(0.3, 0.9);
    s.monitoring[2] = s.force + s.touchForce + 0.05 * s.speed * s.stiffness * 3;
    s.travel = between(5, 150);
    s.pathForce = {0, 0, s.force, 0, 0, 0};
    s.pathSpeed = between(2, 100);
    s.direction = FT_FZ;
    s.frame = i % 3 == 0 ? RCS_SENSOR : RCS_TOOL;
    if (s.run == ZEL_ASSEMBLY_RUN) s.minimumPath = -1;
    for (Six* pose : {&s.via, &s.end}) (*pose)[3] += between(-0.1, 0.1);
    s.make({1, 2, 3, 0.1, 0.2, 0.3});
    EXPECT_THAT(alarms(s.plan()), testing::IsEmpty()) << "set-up " << i;

    // Without any knowledge of the cell nothing is invented, and what is missing is said.
    zel_ftc_plan nothing;
    zel_ftc_emptyPlan(&nothing);
    EXPECT_THAT(alarms(nothing), testing::IsEmpty());
    EXPECT_EQ(zel_ftc_checkConfiguration(nullptr, nullptr, 0),
              static_cast<std::int32_t>(check(nothing).size()));
  }
}

struct Seed {
  Fault fault;
  ZelRunKind run;
  std::function<void(Arrangement&)> spoil;
  std::function<void(Arrangement&)> afterwards = [](Arrangement&) {};
};

const std::vector<Seed>& seeds() {
  constexpr auto A = ZEL_APPROACH_RUN, S = ZEL_ASSEMBLY_RUN, L = ZEL_LINE_RUN, C = ZEL_ARC_RUN;
  const auto nothing = [](Arrangement&) {};
  static const std::vector<Seed> all = {
      {Fault::MISSING_SETTINGS, A, nothing,
       [](Arrangement&) { zel_ftc_setLoadData(1, 501, 0, 0); }},
      {Fault::MODE_NOT_CONFIGURED, L, nothing, [](Arrangement&) { zel_ftc_clear(); }},
      {Fault::SENSOR_NOT_INITIALISED, A, nothing,
       [](Arrangement&) { zel_ftc_uninitialFTSensor(); }},
      {Fault::NOT_FINITE, A, [](Arrangement& s) { s.gains[2] = nan; }},
      {Fault::NOT_FINITE, L, [](Arrangement& s) { s.monitoring[4] = nan; }},
      {Fault::PERMITTED_LOAD_ZERO, A, [](Arrangement& s) { s.permitted[1] = 0; }},
      {Fault::NEGATIVE_WEIGHT, A, [](Arrangement& s) { s.weight = -12; }},
      {Fault::WEIGHT_ZERO, C, [](Arrangement& s) { s.weight = 0; }},
      {Fault::CENTRE_IMPLAUSIBLE, A,
       [](Arrangement& s) {
         s.centre = {0, 0, -501};
       }},
      {Fault::LOAD_MIRRORED, A, nothing,
       [](Arrangement& s) {
         sim::Cell cell(s.cell());
         Six reading{};
         for (const double turn : {0.0, 1.0, 2.0}) {
           Six pose = {0, 0, 500, turn, turn, turn * turn};
           cell.command(pose);
           cell.advance(10);
           reading = cell.reading();
           zel_ftc_recordCalibrationLoadData(reading.data(), pose.data());
         }
         zel_ftc_gravityCalibration();
         zel_ftc_obtainFTSensorData(reading.data());
         zel_ftc_sensorReset(s.start.data());
       }},
      {Fault::ZERO_TOO_OLD, A, nothing, [](Arrangement&) { zel_ftc_setLoadData(1, 2, 3, 4); }},
      {Fault::ZERO_TOO_OLD, L, nothing, [](Arrangement&) { zel_ftc_zeroFTSensor(); }},
      {Fault::METRES, A, [](Arrangement& s) { s.tip[2] = 0.12; }},
      {Fault::METRES, L,
       [](Arrangement& s) {
         for (Six* pose : {&s.start, &s.end}) {
           for (int i = 0; i < 3; ++i) (*pose)[i] /= 1000;
         }
         s.pathSpeed = 0.02;
       }},
      {Fault::PERIOD_CHANGED, A, nothing, [](Arrangement&) { zel_ftc_setTimeStep(5); }},
      {Fault::BLIND_FRAME, A, [](Arrangement& s) { s.frame = RCS_WORLD; }},
      {Fault::BLIND_FRAME, C, [](Arrangement& s) { s.frame = RCS_BASE; }},
      {Fault::KEEPS_TURNING, A, [](Arrangement& s) { s.tip[4] = 0.001; }},
      {Fault::FORCE_TURNED, L, [](Arrangement& s) { s.tip[4] = 0.1; }},
      {Fault::FORCE_TURNED, A,
       [](Arrangement& s) {
         s.frame = RCS_SENSOR;
         s.mounting[5] = -0.1;
       }},
      {Fault::NO_DIRECTION, A, [](Arrangement& s) { s.force = 0; }},
      {Fault::NO_DIRECTION, A, [](Arrangement& s) { s.force = s.speed = 0; }},
      {Fault::NO_SET_FORCE, L,
       [](Arrangement& s) { s.pathForce = {}, s.force = 0, s.pathBreak = {}; }},
      {Fault::CROSSED_TORQUE, A,
       [](Arrangement& s) {
         s.direction = FT_MX;
         s.force = 3;
         s.gains = {0, 0, 0, 1, 0, 0};
         s.band = {0, 0, 0, 0.1, 0, 0};
       }},
      {Fault::NO_GAIN, A, [](Arrangement& s) { s.gains[2] = 0; }},
      {Fault::NO_GAIN, L, [](Arrangement& s) { s.gains[2] = 0; }},
      {Fault::NEGATIVE_GAIN, A, [](Arrangement& s) { s.gains[0] = -1; }},
      {Fault::HIGH_GAIN, A, [](Arrangement& s) { s.gains[2] = 5.1; }},
      {Fault::RINGING, L, [](Arrangement& s) { s.delay = 0, s.gains[2] = 25.1; }},
      {Fault::UNSTABLE, A, [](Arrangement& s) { s.delay = 0, s.gains[2] = 50.1; }},
      {Fault::UNSTABLE, A, [](Arrangement& s) { s.delay = 12, s.gains[2] = 11.2; }},
      {Fault::SEARCH_AWAY, A, [](Arrangement& s) { s.speed = -20; }},
      {Fault::IMPACT, A, [](Arrangement& s) { s.speed = 200, s.delay = 26, s.gains[2] = 1; }},
      {Fault::MONITORING_BELOW_FORCE, L, [](Arrangement& s) { s.monitoring[2] = 10; }},
      {Fault::MONITORING_ZERO, A, [](Arrangement& s) { s.monitoring[5] = 0; }},
      {Fault::SWITCHING_ABOVE_FORCE, A, [](Arrangement& s) { s.touchForce = 10; }},
      {Fault::SWITCHING_ZERO, A, [](Arrangement& s) { s.touchTorque = 0; }},
      {Fault::NO_BREAK_RANGE, A, [](Arrangement& s) { s.band = {}; }},
      {Fault::MAIN_AXIS_FREE, S,
       [](Arrangement& s) { s.band = {0.5, 0, 0, 0, 0, 0}, s.minimumPath = -1; }},
      {Fault::BREAK_RANGE_WIDE, A, [](Arrangement& s) { s.band[2] = 10; }},
      {Fault::BREAK_RANGE_NEGATIVE, A, [](Arrangement& s) { s.band[4] = -1; }},
      {Fault::DEAD_BAND_ABOVE_FORCE, L, [](Arrangement& s) { s.forceNoise = 11; }},
      {Fault::DEAD_BAND_ABOVE_SWITCHING, A,
       [](Arrangement& s) { s.forceNoise = 3, s.band[2] = 4; }},
      {Fault::DEAD_BAND_ABOVE_RANGE, A, [](Arrangement& s) { s.forceNoise = 0.31; }},
      {Fault::BOX_SWAPPED, A, [](Arrangement& s) { std::swap(s.up[1], s.down[1]); }},
      {Fault::BOX_WITHOUT_START, A, [](Arrangement& s) { s.up[0] = -1; }},
      {Fault::BOX_EXCLUDES_MOTION, A, [](Arrangement& s) { s.down[2] = -49; }},
      {Fault::CORRECTION_ZERO, A, [](Arrangement& s) { s.angle = 0; }},
      {Fault::CORRECTION_SHORT, A, [](Arrangement& s) { s.path = 50; }},
      {Fault::MINIMUM_PATH_LONG, A, [](Arrangement& s) { s.minimumPath = 61; }},
      {Fault::MINIMUM_PATH_LONG, A, [](Arrangement& s) { s.minimumPath = 200, s.travel = nan; }},
      {Fault::MINIMUM_PATH_LONG, A,
       [](Arrangement& s) {
         s.minimumPathGroup = {{-1, -1, 5000}};
       }},
      {Fault::MINIMUM_PATH_GROUP, A,
       [](Arrangement& s) {
         s.minimumPathGroup = {{0, -1, 5}};
       }},
      {Fault::ASSEMBLY_NEVER_ENDS, S, nothing},
      {Fault::NO_TIME, A, [](Arrangement& s) { s.timeOut = 0; }},
      {Fault::TIME_SHORT, A, [](Arrangement& s) { s.timeOut = 3000; }},
      {Fault::PHASE_KEPT, A, [](Arrangement& s) { s.speed = 0; },
       [](Arrangement& s) {
         Six reading{}, out;
         zel_ftc_error err;
         zel_ftc_obtainFTSensorData(reading.data());
         zel_ftc_runApproach(out.data(), s.start.data(), &err);
         zel_ftc_runApproach(out.data(), s.start.data(), &err);  // the same sample
         zel_ftc_uninitialFTSensor();
         zel_ftc_initialFTSensor(0, nullptr);
         zel_ftc_runApproach(out.data(), s.start.data(), &err);  // 11002 ends it
       }},
      {Fault::POINTS_COINCIDE, L, [](Arrangement& s) { s.end = s.start; }},
      {Fault::POINTS_ON_A_LINE, C,
       [](Arrangement& s) { s.via = {350, 0, 300, 0, 0, 3.141592653589793}; }},
      {Fault::LARGE_TURN, L, [](Arrangement& s) { s.end[3] = 0.36; }},
      {Fault::TURN_THE_LONG_WAY, L,
       [](Arrangement& s) { s.start[3] = -1.7, s.end[3] = -1.5, s.start[5] = s.end[5] = 0; }},
      {Fault::NO_STEPS, L, [](Arrangement& s) { s.pathSpeed = -1; }},
      {Fault::NO_STEPS, C, [](Arrangement& s) { s.pathSpeed = 1e6; }},
      {Fault::MANY_STEPS, C, [](Arrangement& s) { s.pathSpeed = 0.02; }},
      {Fault::TRIPS_AT_REST, L, [](Arrangement& s) { s.force = -6; }},
  };
  return all;
}

/// Faults that the rest of the set-up cannot be right beside, and notes: see the tests below.
const std::set<Fault> seededElsewhere = {
    Fault::PERIOD_NOT_SET, Fault::NO_SENSOR_CONFIG, Fault::NO_ZERO,
    Fault::ASSEMBLY_ALONE, Fault::COMPLIANT_AXIS,   Fault::APPROACH_UNDERWAY,
    Fault::STALL_TRAVEL,   Fault::GUARD_OFF,        Fault::GUARD_HALF};

std::string nameOf(Fault fault) {
  const zel_ftc_finding f = {
      ZEL_CHECK_SETTINGS, ZEL_FINDING_ERROR, static_cast<std::int32_t>(fault), -1, "", 0, 0};
  return zel_ftc_findingName(&f);
}

TEST_F(CheckTest, EverySeededFaultIsFoundAndNothingElse) {
  std::set<Fault> seeded = seededElsewhere;
  for (const Seed& seed : seeds()) {
    zel_ftc_close();
    zel_ftc_open(true);
    zel_ftc_initialFTSensor(0, nullptr);
    Arrangement s;
    s.run = seed.run;
    seed.spoil(s);
    s.make({1, 2, 3, 0.1, 0.2, 0.3});
    seed.afterwards(s);
    std::set<std::string> found;
    for (const std::string& name : alarms(s.plan())) found.insert(name);
    EXPECT_THAT(found, testing::ElementsAre(nameOf(seed.fault)));
    seeded.insert(seed.fault);
  }
#define EXPECT_SEEDED(name, ...) EXPECT_TRUE(seeded.contains(Fault::name)) << #name;
  ZEL_FAULTS(EXPECT_SEEDED)
#undef EXPECT_SEEDED
}

TEST_F(CheckTest, AFreshLibraryLacksEverythingAtOnce) {
  EXPECT_THAT(alarms({}), testing::ElementsAre("MISSING_SETTINGS", "MODE_NOT_CONFIGURED",
                                               "NO_SENSOR_CONFIG", "NO_ZERO"));
  Arrangement s;
  zel_ftc_plan plan = s.plan();
  plan.run = ZEL_ASSEMBLY_RUN;
  EXPECT_TRUE(alarms(plan).contains("ASSEMBLY_ALONE"));
  std::vector<zel_ftc_finding> three(4);
  three[3].check = ZEL_CHECK_COUNT;
  EXPECT_GT(zel_ftc_checkConfiguration(&plan, three.data(), 3), 3);
  EXPECT_EQ(three[3].check, ZEL_CHECK_COUNT) << "written beyond the capacity";
}

TEST_F(CheckTest, SentencesCarryAmountsAndNameTheirSection) {
  const auto report = [this](const Arrangement& s) {
    std::string text;
    for (const zel_ftc_finding& f : check(s.plan())) {
      if (f.fault < 0) continue;
      text += textOf([&](char* t, std::size_t n) { return zel_ftc_findingText(&f, t, n); }) + "\n";
    }
    return text;
  };
  Arrangement s;
  s.monitoring[2] = 9.9999999;
  s.gains[0] = 1;
  s.speed = 150;
  Six reading = {}, pose;
  s.make(reading);
  EXPECT_THAT(report(s),
              AllOf(HasSubstr("Fz: the set force is 10 N, the monitoring limit 9.9999999 N"),
                    HasSubstr("Fx has a gain and no set force"), HasSubstr("the guard is off"),
                    HasSubstr("a stalled sensor is noticed after up to 12 mm"),
                    Not(HasSubstr("in progress"))));
  zel_ftc_error err;
  zel_ftc_obtainFTSensorData(reading.data());
  zel_ftc_runApproach(pose.data(), s.start.data(), &err);
  zel_ftc_setGuardLimit(ZEL_LIMIT_STEP, 1, ZEL_GUARD_WARN);
  EXPECT_THAT(report(s), AllOf(HasSubstr("an approach is in progress"),
                               HasSubstr("the guard is half configured: ")));

  std::stringstream page;
  page << std::ifstream(ZEL_SOURCE_DIR "/docs/behaviour.md").rdbuf();
#define EXPECT_SECTION(name, severity, section, ...) \
  EXPECT_TRUE(!*section || page.str().find("\n### " section "\n") != std::string::npos) << section;
  ZEL_FAULTS(EXPECT_SECTION)
#undef EXPECT_SECTION
}

}  // namespace
}  // namespace zel::test
