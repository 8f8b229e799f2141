// Why something was refused: every kind of reason is provoked, and the mistakes that newcomers make
// explain themselves.
#include <gmock/gmock.h>

#include <cmath>
#include <fstream>
#include <functional>
#include <limits>
#include <set>
#include <sstream>
#include <vector>

#include "arrangement.h"
#include "zel_ftc_diag.h"
#include "zel_ftc_guard.h"

namespace zel::test {
namespace {

using testing::HasSubstr;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

std::string reasonText() {
  return textOf([](char* t, std::size_t n) { return zel_ftc_reasonText(nullptr, t, n); });
}

struct ReasonTest : OpenLibrary {
  Six p{}, q{}, reading{};
  Arrangement s;
  zel_ftc_error err{};
  zel_ftc_guard_verdict verdict{};

  int feed() { return zel_ftc_obtainFTSensorData(reading.data()); }
  int approach() {
    feed();
    return zel_ftc_runApproach(q.data(), s.start.data(), &err);
  }
};

struct Refusal {
  ZelReasonKind kind;
  int result;
  std::function<int()> call;
  std::string text;
};

TEST_F(ReasonTest, EveryRefusalSaysWhyAndNothingElseDoes) {
  std::set<ZelReasonKind> met = {
      ZEL_REASON_NONE,  // before everything, see CodesTest
      // The rest takes a network sensor, or a system that has run out of something.
      ZEL_REASON_OUT_OF_MEMORY, ZEL_REASON_PORT_TAKEN, ZEL_REASON_NO_SOCKET, ZEL_REASON_NO_THREAD,
      ZEL_REASON_NO_ANSWER, ZEL_REASON_BAD_ANSWER, ZEL_REASON_BAD_ADDRESS, ZEL_REASON_INTERNAL};
  // Ten samples of a load that hangs 600 mm off.
  const auto recordFarLoad = [] {
    for (int i = 0; i < 10; ++i) {
      Six pose = {0, 0, 0, 0.3 * i, 0.2 * i, 0.1 * i};
      const double x = std::sin(i), y = std::cos(i), z = 0.1 * i;
      Six ft = {x, y, z, 0.0, 0.6 * z, -0.6 * y};
      zel_ftc_recordCalibrationLoadData(ft.data(), pose.data());
    }
  };
  const std::vector<Refusal> refusals = {
      {ZEL_REASON_ALREADY_OPEN, 0, [] { return zel_ftc_open(false); },
       "zel_ftc_open: the library is open already, with the external sensor"},
      {ZEL_REASON_NULL_POINTER, 0,
       [&] { return zel_ftc_setSensorConfig(p.data(), nullptr, nullptr); },
       "zel_ftc_setSensorConfig: sensor_offset is a null pointer"},
      {ZEL_REASON_OUT_OF_RANGE, 0, [] { return zel_ftc_setTimeStep(3.9999999); },
       "zel_ftc_setTimeStep: msTime is 3.9999999 ms, must be from 4 to 100 ms"},
      {ZEL_REASON_NOT_FINITE, 0, [] { return zel_ftc_setTimeStep(nan); },
       "zel_ftc_setTimeStep: msTime is nan ms, must be from 4 to 100 ms"},
      {ZEL_REASON_OUT_OF_RANGE, 0, [] { return zel_ftc_setLoadData(1, 0, 501, 502); },
       "zel_ftc_setLoadData: ly is 501 mm, must be at most 500 mm"},
      {ZEL_REASON_OUT_OF_RANGE, 0, [] { return zel_ftc_setSensorNoiseThreshold(1, 10); },
       "zel_ftc_setSensorNoiseThreshold: m_min is 10 N m, must be above 0 and below 10 N m"},
      {ZEL_REASON_OUT_OF_RANGE, 0, [] { return zel_set_minValue(1, 5003); },
       "zel_set_minValue: value_name is 5003, must be 5001 or 5002"},
      {ZEL_REASON_OUT_OF_RANGE, 0,
       [&] {
         return zel_ftc_configApproachMode(RCS_TOOL, static_cast<ZelDirection>(6), 1, p.data(), 1,
                                           1, 1, q.data(), 1);
       },
       "zel_ftc_configApproachMode: mainDirection is 6, must be from 0 to 5"},
      {ZEL_REASON_OUT_OF_RANGE, 0,
       [&] { return zel_ftc_getSensorData(p.data(), q.data(), static_cast<ZelRcs>(-1)); },
       "zel_ftc_getSensorData: rcs is -1, must be from 0 to 3"},
      {ZEL_REASON_WRONG_ORDER, 0, [&] { return zel_ftc_getRCS_FT_Data(p.data()); },
       "zel_ftc_getRCS_FT_Data: no load is set: zel_ftc_setLoadData comes first"},
      {ZEL_REASON_NOTHING_RECORDED, 0, [] { return zel_ftc_gravityCalibration(); },
       "zel_ftc_gravityCalibration: no sample is recorded and no load is set"},
      {ZEL_REASON_IMPLAUSIBLE_LOAD, 0,
       [&] {
         recordFarLoad();
         return zel_ftc_gravityCalibration();
       },
       "zel_ftc_gravityCalibration: the identified lx is 600 mm, must be at most 500 mm"},
      {ZEL_REASON_LIST_FULL, 0,
       [&] { return zel_ftc_recordCalibrationLoadData(p.data(), q.data()); },
       "zel_ftc_recordCalibrationLoadData: the recorded samples would be 11, must be at most 10"},
      {ZEL_REASON_SENSOR_NOT_NORMAL, 0,
       [&] { return zel_ftc_getSensorData(p.data(), q.data(), RCS_TOOL); },
       "zel_ftc_getSensorData: the sensor status is 20002: Info:Initializing sensor "
       "communication."},
      {ZEL_REASON_SAMPLE_USED, 0,
       [&] {
         zel_ftc_sensorReset(p.data());
         return zel_ftc_sensorReset(p.data());
       },
       "zel_ftc_sensorReset: sample 0 has been used before and no new one has come"},
      {ZEL_REASON_RUN_FAILED, 0, [&] { return zel_ftc_runApproach(p.data(), q.data(), &err); },
       "zel_ftc_runApproach ended with 11002: the sensor status is 20002 instead of 10000; the "
       "load "
       "data, the correction limit, the monitoring functions, the correction monitoring not set"},
      {ZEL_REASON_HANDED_IN, 0, [] { return zel_ftc_issetok(false); },
       "zel_ftc_issetok: isok is false"},
      {ZEL_REASON_NOT_CONNECTED, 0,
       [&] {
         zel_ftc_uninitialFTSensor();
         return feed();
       },
       "zel_ftc_obtainFTSensorData: the sensor is not initialised"},
      {ZEL_REASON_NOT_OPEN, -1,
       [] {
         zel_ftc_close();
         return zel_ftc_stop();
       },
       "zel_ftc_stop: the library is not open"},
  };
  std::uint64_t number = 0;
  zel_ftc_reason reason{};
  if (zel_ftc_lastReason(&reason) == 1) number = reason.number;
  for (const Refusal& r : refusals) {
    SCOPED_TRACE(r.text);
    EXPECT_EQ(r.call(), r.result);
    ASSERT_EQ(zel_ftc_lastReason(&reason), 1);
    EXPECT_EQ(reason.kind, r.kind);
    EXPECT_EQ(reason.result, r.result);
    EXPECT_GT(reason.number, number);
    number = reason.number;
    EXPECT_THAT(reasonText(), testing::StartsWith(r.text));
    EXPECT_NE(textOf([](char* t, std::size_t n) { return zel_ftc_reasonRemedy(nullptr, t, n); }),
              "");
    met.insert(reason.kind);
  }

  // A success, a look and what cannot refuse leave the record alone.
  zel_ftc_close();
  zel_ftc_open(true);
  zel_ftc_setTimeStep(8);
  zel_ftc_cycle_view view;
  zel_ftc_cycleView(&view);
  zel_ftc_linkHealth(nullptr);
  EXPECT_EQ(zel_ftc_lastReason(nullptr), 0);
  zel_ftc_lastReason(&reason);
  EXPECT_EQ(reason.number, number);
  met.insert(ZEL_REASON_RUN_ENDED);  // see EveryRunResultTellsItsAmounts
  EXPECT_EQ(met.size(), ZEL_REASON_KINDS);
}

struct RunResult {
  int code;
  std::function<void(Arrangement&)> spoil;
  Six reading;
  std::string text;
};

TEST_F(ReasonTest, EveryRunResultTellsItsAmounts) {
  const auto asIs = [](Arrangement&) {};
  const std::vector<RunResult> results = {
      {10002,
       [](Arrangement& s) { s.permitted[3] = 1; },
       {0, 0, 0, -1.0000001, 0, 0},
       "zel_ftc_runApproach ended with 10002: the raw Mx is 1.0000001 N m, must be at most 1 N m"},
      {11000,
       asIs,
       {0, -60.5, 0, 0, 0, 0},
       "zel_ftc_runApproach ended with 11000: the compensated Fy is 60.5 N, must be at most 60 N"},
      {11005,
       [](Arrangement& s) { s.path = -1; },
       {},
       "zel_ftc_runApproach ended with 11005: the way from the start pose is 0 mm, must be at most "
       "-1 mm"},
      {11005,
       [](Arrangement& s) { s.angle = -0.5; },
       {},
       "zel_ftc_runApproach ended with 11005: the angle from the start pose is 0 rad, must be at "
       "most "
       "-0.5 rad"},
      {11004,
       [](Arrangement& s) { s.run = ZEL_LINE_RUN; },
       {},
       "zel_ftc_runApproach ended with 11004: the tracking mode is configured, not this one"},
  };
  for (const RunResult& r : results) {
    SCOPED_TRACE(r.text);
    Arrangement spoilt;
    spoilt.weight = 0, spoilt.centre = {};
    r.spoil(spoilt);
    spoilt.make({});
    reading = r.reading;
    EXPECT_EQ(approach(), 0);
    EXPECT_EQ(err.ftc_code, r.code);
    EXPECT_EQ(reasonText(), r.text);
  }

  for (const auto& [force, end] :
       {std::pair{0.0, "every monitored force is within its range, without contact"},
        {nan, "a force that is not a number counts as settled"}}) {
    Arrangement inAir;
    inAir.weight = 0, inAir.centre = {}, inAir.band = {}, inAir.minimumPath = -1;
    inAir.make({});
    reading = {force};
    for (int n = 0; n < 20; ++n) approach();
    EXPECT_EQ(reasonText(), std::string("zel_ftc_runApproach ended with 80001: ") + end);
  }

  const auto line = [&](Six wrench) {
    zel_ftc_obtainFTSensorData(wrench.data());
    return zel_ftc_runTrackingMotionL(q.data(), s.start.data(), s.end.data(), s.start.data(), &err);
  };
  Arrangement approachOnly;
  approachOnly.make({});
  EXPECT_EQ(line({}), 0);
  EXPECT_EQ(
      reasonText(),
      "zel_ftc_runTrackingMotionL ended with 11001: the approach mode is configured, not this one");
  s.run = ZEL_LINE_RUN;
  s.weight = 0, s.centre = {}, s.force = 0, s.pathBreak = {4, 0, 5, 0, 0, 0};
  s.make({});
  for (int n = 0; n < 5; ++n) ASSERT_EQ(line({}), 1);
  EXPECT_EQ(line({10, 0, 12, 0, 0, 0}), 0);
  EXPECT_EQ(
      reasonText(),
      "zel_ftc_runTrackingMotionL ended with 80074: sudden change of Fx, Fz: 8 times the change "
      "of Fx is 80 N, must be at most 4 N");
  zel_ftc_code_info info;
  ASSERT_EQ(zel_ftc_explainCode(ZEL_CODES_RUN, 80074, &info), 1);
  EXPECT_STREQ(info.axes, "Fx, Fz");
  EXPECT_EQ(zel_ftc_explainCode(ZEL_CODES_RUN, 80018, &info), 0) << "a bit that no axis has";
  s.end = s.start;
  EXPECT_EQ(line({}), 0);
  EXPECT_EQ(reasonText(), "zel_ftc_runTrackingMotionL ended with 80001: the path is done");
}

// What a newcomer does, and the sentence with which the library answers. The guide tells each.
struct Mistake {
  const char* what;
  std::function<void(Arrangement&)> make;
  std::function<void(ReasonTest&, Arrangement&)> then;
  const char* answer;
};

TEST_F(ReasonTest, NewcomersMistakesExplainThemselves) {
  const auto asIs = [](Arrangement&) {};
  const auto setUp = [](ReasonTest&, Arrangement&) {};
  const std::vector<Mistake> mistakes = {
      {"no period set", asIs,
       [](ReasonTest&, Arrangement& s) {
         zel_ftc_close();
         zel_ftc_open(true);
         s.configureApproach();
       },
       "zel_ftc_setTimeStep was never called: the period counts as 8 ms"},
      {"load missing", asIs,
       [](ReasonTest& t, Arrangement&) {
         zel_ftc_setLoadData(1, 501, 0, 0);
         t.approach();
       },
       "zel_ftc_runApproach ended with 11002: the load data not set"},
      {"metres for millimetres", [](Arrangement& s) { s.mounting[2] = 0.03; }, setUp,
       "the pose of the sensor on the flange is 0.03 mm long: metres for millimetres?"},
      {"wrong sign of the set force", [](Arrangement& s) { s.force = -10; },
       [](ReasonTest& t, Arrangement& s) {
         for (int n = 0; n < 3000 && t.approach() == 1; ++n) s.start = t.s.start = t.q;
       },
       "zel_ftc_runApproach ended with 11005: the way from the start pose is 200"},
      {"wrong frame", [](Arrangement& s) { s.frame = RCS_WORLD; }, setUp,
       "the frame of the mode sees no force"},
      {"zero taken twice on one sample", asIs,
       [](ReasonTest&, Arrangement& s) { zel_ftc_sensorReset(s.start.data()); },
       "zel_ftc_sensorReset: sample 1 has been used before and no new one has come"},
      {"sensor not started", asIs,
       [](ReasonTest& t, Arrangement&) {
         zel_ftc_uninitialFTSensor();
         t.feed();
       },
       "zel_ftc_obtainFTSensorData: the sensor is not initialised"},
      {"wrong address", asIs,
       [](ReasonTest&, Arrangement&) {
         zel_ftc_close();
         zel_ftc_open(false);
         zel_ftc_initialFTSensor(49152, "192.168.1");
       },
       "zel_ftc_initialFTSensor: ip \"192.168.1\" is not four dotted numbers"},
      {"limits zero", [](Arrangement& s) { s.monitoring = {}; },
       [](ReasonTest& t, Arrangement&) {
         t.reading[2] = -5;
         t.approach();
       },
       "zel_ftc_runApproach ended with 11000: the compensated Fz is 5 N, must be at most 0 N"},
      {"not-a-number pose", asIs,
       [](ReasonTest& t, Arrangement& s) {
         t.s.start[0] = nan;
         t.approach();
         zel_ftc_setGuardLimit(ZEL_LIMIT_POSE, 0, ZEL_GUARD_HOLD);
         zel_ftc_guard(t.q.data(), s.start.data(), &t.verdict);
       },
       "the guard holds: a pose, handed in or to command, that is not finite"},
      {"run before configuration", asIs,
       [](ReasonTest& t, Arrangement&) {
         zel_ftc_clear();
         t.approach();
       },
       "zel_ftc_runApproach ended with 11004: no mode is configured"},
      {"positive minimum path with assembly",
       [](Arrangement& s) { s.run = ZEL_ASSEMBLY_RUN, s.minimumPath = 1; }, setUp,
       "the minimum path is 1 mm; the path of an assembly run is always 0: it never ends"},
      {"time-out too short", [](Arrangement& s) { s.timeOut = 0; },
       [](ReasonTest& t, Arrangement&) {
         while (t.approach() == 1) continue;
       },
       "zel_ftc_runApproach ended with 11006: the time since the start is "},
      {"gain too high", [](Arrangement& s) { s.gains[2] = 60, s.delay = 0; }, setUp,
       "Fz: gain x period x stiffness is 2.4, above 2 the contact never settles"},
      {"sensor silent", asIs,
       [](ReasonTest& t, Arrangement& s) {
         t.approach();
         for (int n = 0; n < 20; ++n) zel_ftc_runApproach(t.q.data(), s.start.data(), &t.err);
       },
       "zel_ftc_runApproach ended with 10001: cycles without a new sample are 20, must be at most "
       "19"},
  };
  std::stringstream guide;
  guide << std::ifstream(ZEL_SOURCE_DIR "/docs/guide.md").rdbuf();
  ASSERT_EQ(mistakes.size(), 15u);
  for (const Mistake& m : mistakes) {
    SCOPED_TRACE(m.what);
    zel_ftc_close();
    zel_ftc_open(true);
    zel_ftc_initialFTSensor(0, nullptr);
    s = Arrangement();
    s.weight = 0, s.centre = {};
    m.make(s);
    s.make({});
    reading = {};
    verdict = {};
    Arrangement spoilt = s;
    m.then(*this, spoilt);

    std::string said = reasonText() + "\n";
    said +=
        textOf([&](char* t, std::size_t n) { return zel_ftc_guardText(&verdict, t, n); }) + "\n";
    std::vector<zel_ftc_finding> findings(ZEL_FINDINGS_ENOUGH);
    const zel_ftc_plan plan = spoilt.plan();
    findings.resize(static_cast<std::size_t>(
        zel_ftc_checkConfiguration(&plan, findings.data(), ZEL_FINDINGS_ENOUGH)));
    for (const zel_ftc_finding& f : findings) {
      said += textOf([&](char* t, std::size_t n) { return zel_ftc_findingText(&f, t, n); }) + "\n";
    }
    EXPECT_THAT(said, HasSubstr(m.answer));
    EXPECT_THAT(guide.str(), HasSubstr(m.answer));
  }
}

}  // namespace
}  // namespace zel::test
