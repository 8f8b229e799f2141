// The whole control cycle against a second, naive implementation, bit by bit, over long random
// sessions: configuration, zeroing, readings and all four runs in any order, with poses, mountings,
// loads and limits of every kind and numbers that are not finite now and then.
//
// ZEL_TEST_COUNT sets the number of sessions, ZEL_TEST_SEED the seed of the first one; session n
// has seed first + n. A failure prints the seed and the action.
#include <gtest/gtest.h>

#include <bit>
#include <cstdio>
#include <cstring>
#include <map>
#include <set>
#include <sstream>

#include "random_inputs.h"
#include "reference_tool.h"
#include "robot/ZelFTCTool.h"

namespace {

using zel::test::Random;
using zel::test::Six;

enum RunKind { approachRun, assemblyRun, lineRun, arcRun };
constexpr const char* runNames[] = {"runApproach", "runAssembly", "runTrackingMotionL",
                                    "runTrackingMotionC"};

/// What a family of sessions has met: a family that misses a result code proves nothing about it.
struct Coverage {
  std::set<std::pair<RunKind, int>> codes;
  std::set<std::array<int, 4>> laws;  // run, frame, direction, phase
  bool severalAxesTripped = false;
};

/// Equal bits; any not-a-number equals any other.
bool same(double a, double b) {
  return (std::isnan(a) && std::isnan(b)) ||
         std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
}

class Session {
 public:
  Session(std::uint64_t seed, Coverage& coverage) : random_(seed), coverage_(coverage) {
    basePose_ = random_.pose();
    now_ = basePose_;
    force_ = random_.wrench(20, 2);
    if (random_.chance(0.6)) {
      const Six base = random_.wrench(20, 2);
      for (int i = 0; i < 6; ++i) {
        tool_.ft_data_base.value[i] = base[i];
        reference_.baseWrench[i] = base[i];
      }
    }
    tool_.approachFx = reference_.biasX = random_.uniform(-3, 3);
    tool_.approachFy = reference_.biasY = random_.uniform(-3, 3);
    newTimeStep();
    newMounting();
    newLoad();
    newLimits();
    newMonitoring();
    preferred_ = static_cast<RunKind>(random_.below(4));
    newMode(preferred_);
  }

  /// The first difference; empty while the two implementations agree.
  std::string play(int steps) {
    for (int i = 0; i < steps && difference_.empty(); ++i) {
      act();
      if (!difference_.empty()) difference_ += " after action " + std::to_string(i);
    }
    return difference_;
  }

 private:
  // ---- inputs ----

  void newTimeStep() {
    const double ms = random_.uniform(3, 40);
    const bool accepted = tool_.setTimeStep(ms);
    if (accepted != (ms >= 4)) difference_ = "setTimeStep result";
    if (accepted) reference_.dt = ms * 0.001;
  }

  void newMounting() {
    const double most = random_.chance(0.75) ? 1e4 : 40;
    Six load = {most, most, 2 * most, most / 8, most / 8, most / 9};
    Six sensor = random_.pose(120), tip = random_.pose(150);
    if (random_.chance(0.15)) sensor = {};
    if (random_.chance(0.15)) tip = {};
    if (random_.chance(0.02)) tip[random_.below(6)] = random_.strangeNumber();
    tool_.setSensorConfig(load.data(), sensor.data(), tip.data());
    reference_.maxLoad = load;
    reference_.flange_sensor = reference::Tool::internal(sensor.data());
    reference_.sensor_tool = reference::Tool::internal(tip.data());
  }

  void newLoad() {
    const double G = random_.uniform(0, 60), x = random_.uniform(-90, 90),
                 y = random_.uniform(-90, 90);
    const double z = random_.chance(0.05) ? 501.0 : random_.uniform(10, 250);
    reference_.hasLoad = z <= 500;
    if (tool_.setLoadData(G, x, y, z) != reference_.hasLoad) difference_ = "setLoadData result";
    if (reference_.hasLoad) {
      reference_.G = G;
      reference_.arm = {x * 0.001, y * 0.001, z * 0.001};
    }
  }

  void newLimits() {
    auto most = random_.triple(0.05, 40), least = random_.triple(-40, 0.0);
    if (random_.chance(0.1)) std::swap(most, least);
    tool_.setCorrectionLimit(most.data(), least.data(), 0.3);
    reference_.hasLimit = true;
    for (int i = 0; i < 3; ++i) {
      reference_.boxMax[i] = most[i] * 0.001;
      reference_.boxMin[i] = least[i] * 0.001;
    }

    const double path = random_.chance(0.3) ? random_.magnitude(0.1, 50) : 1e6;
    double angle = random_.chance(0.3) ? random_.magnitude(0.01, 2) : 100;
    if (random_.chance(0.05)) angle = 0;  // rounding alone exceeds it, in an assembly run as well
    tool_.setCorrectionMonitoring(path, angle);
    reference_.hasCorrection = true;
    reference_.pathLimit = path * 0.001;
    reference_.angleLimit = angle;

    if (random_.chance(0.3)) {
      auto group = random_.triple(-1, 0.2);
      tool_.set_minValue_every(group.data(), 1);
      reference_.useGroup = true;
      for (int i = 0; i < 3; ++i) reference_.minPathGroup[i] = group[i] * 0.001;
    } else {
      const double least1 = random_.uniform(-1, 3);
      tool_.set_minValue(least1, ZEL_MIN_PATH);
      reference_.minPath = least1 * 0.001;
    }
    const double f = random_.uniform(0.01, 2), m = random_.uniform(0.001, 0.2);
    tool_.setSensorNoiseThreshold(f, m);
    reference_.deadForce = f;
    reference_.deadTorque = m;
  }

  void newMonitoring() {
    const double most = random_.chance(0.7) ? 1e4 : 45;
    Six limit = {most, most, 1.5 * most, most / 7, most / 8, most / 9};
    tool_.setMonitoringFunctions(limit.data());
    reference_.hasMonitoring = true;
    reference_.permissible = limit;
  }

  void newMode(RunKind run) {
    const int frame = random_.below(4), direction = random_.below(6);
    Six gain, band{};
    for (int i = 0; i < 6; ++i) gain[i] = random_.uniform(-1, 1) * random_.magnitude(0.05, 20);
    const double kind = random_.uniform(0, 1);
    for (int i = 0; i < 6; ++i) {
      if (kind > 0.65) band[i] = random_.uniform(i < 3 ? 5 : 0.5, i < 3 ? 60 : 6);
      if (kind > 0.4 && random_.chance(0.2)) band[i] = random_.uniform(0.5, 5);
      if (kind > 0.4 && random_.chance(0.02)) band[i] = random_.strangeNumber();
    }
    if (run == lineRun || run == arcRun) {
      Six expected = random_.wrench(20, 2);
      if (kind > 0.4) {
        for (double& b : band) b *= random_.sign();
      }
      double speed = random_.uniform(5, 200);
      if (random_.chance(0.04)) speed = random_.chance(0.5) ? 0.0 : -speed;
      speed_ = speed;
      tool_.configTrackingMotionMode(static_cast<ZelCartesianCoordinate>(frame),
                                     static_cast<ZelMainDirection>(direction), expected.data(),
                                     gain.data(), band.data(), speed);
      reference_.trackingMode(frame, direction, expected.data(), gain.data(), band.data(), speed);
      return;
    }
    const double expected = random_.chance(0.03) ? 0.0 : random_.uniform(-30, 30);
    const double speed = random_.chance(0.25) ? 0.0 : random_.uniform(-30, 30);
    const double force = random_.uniform(1, 60), torque = random_.uniform(0.1, 6);
    constexpr unsigned long never = 1000000000000;
    const auto rcs = static_cast<ZelCartesianCoordinate>(frame);
    const auto main = static_cast<ZelMainDirection>(direction);
    if (run == approachRun) {
      tool_.configApproachMode(rcs, main, expected, gain.data(), speed, force, torque, band.data(),
                               never);
    } else {
      tool_.approachConfig.timeOut = never;  // assembly runs look at it
      tool_.configAssemblyMode(rcs, main, expected, gain.data(), speed, force, torque, band.data(),
                               never, 1, 2, 3);
    }
    reference_.contactMode(run == approachRun ? reference_.approach : reference_.assembly, frame,
                           direction, expected, gain.data(), speed, force, torque, band.data());
  }

  void newPath() {
    from_ = random_.chance(0.7) ? now_ : random_.pose();
    const double step = std::fabs(speed_) * reference_.dt;  // mm per cycle
    const double length = step * random_.uniform(3, 60);
    const auto offset = [&](Six pose, double x, double y, double z) {
      pose[0] += x;
      pose[1] += y;
      pose[2] += z;
      for (int i = 3; i < 6; ++i) pose[i] += random_.uniform(-0.4, 0.4);
      return pose;
    };
    // An arc in a tilted plane through from_, of either sense.
    const double r = length / random_.uniform(1, 6);
    const double start = random_.uniform(0, 6), sense = random_.sign();
    const double a = start + sense * random_.uniform(0.1, 3), b = a + random_.uniform(-3, 3);
    const auto x = [&](double t) { return r * (std::cos(t) - std::cos(start)); };
    const auto y = [&](double t) { return r * (std::sin(t) - std::sin(start)); };
    over_ = offset(from_, x(a), 0.8 * y(a), 0.6 * y(a));
    to_ = offset(from_, x(b), 0.8 * y(b), 0.6 * y(b));
    if (preferred_ == lineRun) {
      to_ = offset(from_, 0.48 * length, -0.6 * length, 0.64 * length);
    }
    if (random_.chance(0.05)) to_ = from_;
    if (random_.chance(0.05)) over_ = random_.chance(0.5) ? from_ : to_;
    if (random_.chance(0.01)) to_[random_.below(6)] = random_.strangeNumber();
  }

  void nextReading() {
    for (int i = 0; i < 6; ++i) {
      const double s = i < 3 ? 1.0 : 0.1;
      force_[i] += s * random_.uniform(-0.4, 0.4);
      if (random_.chance(0.02)) force_[i] = s * random_.uniform(-25, 25);
      if (std::fabs(force_[i]) > 60 * s) force_[i] = 0;
    }
    if (stallFor_ > 0) {
      --stallFor_;
    } else {
      ++ipoc_;
      if (random_.chance(0.01)) stallFor_ = random_.below(45);
      if (random_.chance(0.005)) {
        // The one counter at which an assembly run can notice a stall.
        ipoc_ = 0;
        if (random_.chance(0.5)) stallFor_ = 30;
      }
    }
    status_ = random_.chance(0.01) ? FT_OVERLOAD_ERROR : FT_N0RMAL;
  }

  void nextPose() {
    if (delivered_ && random_.chance(0.9)) {
      now_ = out_;
    } else if (random_.chance(0.05)) {
      now_ = random_.chance(0.5) ? basePose_ : random_.pose();
    }
    if (random_.chance(0.5)) {
      for (int i = 0; i < 6; ++i) now_[i] += (i < 3 ? 0.05 : 0.001) * random_.uniform(-1, 1);
    }
    for (double& x : now_) {
      if (!(std::fabs(x) < 1e5)) now_ = basePose_;
    }
  }

  // ---- actions ----

  void act() {
    const double dice = random_.uniform(0, 1);
    nextReading();
    nextPose();
    Six pose = now_, ft = force_;
    if (random_.chance(0.01)) pose[random_.below(6)] = random_.strangeNumber();
    if (random_.chance(0.01)) ft[random_.below(6)] = random_.strangeNumber();

    if (dice < 0.005) {
      tool_.clear();
      reference_.clear();
    } else if (dice < 0.015) {
      newMode(random_.chance(0.85) ? preferred_ : static_cast<RunKind>(random_.below(4)));
    } else if (dice < 0.02) {
      newMounting();
    } else if (dice < 0.025) {
      newLoad();
    } else if (dice < 0.03) {
      newLimits();
      newMonitoring();
    } else if (dice < 0.035) {
      newTimeStep();
    } else if (dice < 0.055) {
      const int phase = random_.below(4);
      tool_.ApproachMode = reference_.phase = phase;
    } else if (dice < 0.07) {
      zero(pose, ft);
    } else if (dice < 0.085) {
      read(pose, ft);
    } else if (dice < 0.095) {
      readWithoutGravity(pose, ft);
    } else {
      cycle(random_.chance(0.97) ? preferred_ : static_cast<RunKind>(random_.below(4)), pose, ft);
    }
    compareState();
  }

  zel_ft_info status() const {
    zel_ft_info info{};
    info.code = status_;
    info.IPOC = ipoc_;
    return info;
  }

  void zero(Six& pose, Six& ft) {
    if (tool_.sensorReset(pose.data(), ft.data(), status()) !=
        reference_.zeroAt(pose.data(), ft.data(), ipoc_)) {
      difference_ = "sensorReset result";
    }
  }

  void read(Six& pose, Six& ft) {
    const int frame = random_.below(4);
    zel_ft out = {1, 2, 3, 4, 5, 6};
    const bool done = tool_.getSensorData(
        out, pose.data(), static_cast<ZelCartesianCoordinate>(frame), ft.data(), status());
    if (done != reference_.read(pose.data(), ft.data(), status_, ipoc_, frame)) {
      difference_ = "getSensorData result";
    } else if (done) {
      compare("getSensorData", out, reference_.wrench);
    } else if (out[0] != 1 || out[5] != 6) {
      difference_ = "getSensorData wrote its output on failure";
    }
  }

  void readWithoutGravity(Six& pose, Six& ft) {
    zel_ft out;
    tool_.get_GraData(out, pose.data(), ft.data());
    compare("get_GraData", out, reference_.readWithoutGravity(pose.data(), ft.data()));
  }

  void cycle(RunKind run, Six& pose, Six& ft) {
    if (run == lineRun || run == arcRun) {
      if (!reference_.inTracking) newPath();
    }

    constexpr double untouched = -12345;
    zel_pose out;
    std::fill_n(out, 6, untouched);
    zel_error err{};
    err.sensor_code = err.sensor_ipoc = -7;
    bool running = false;
    reference::Outcome expected;
    switch (run) {
      case approachRun:
        running = tool_.runApproach(out, pose.data(), err, ft.data(), status());
        expected = reference_.runApproach(pose.data(), ft.data(), status_, ipoc_);
        break;
      case assemblyRun:
        running = tool_.runAssembly(out, pose.data(), err, ft.data(), status());
        expected = reference_.runAssembly(pose.data(), ft.data(), status_, ipoc_);
        break;
      case lineRun:
        running = tool_.runTrackingMotionL(out, from_.data(), to_.data(), pose.data(), err,
                                           ft.data(), status());
        expected = reference_.runTracking(from_.data(), nullptr, to_.data(), pose.data(), ft.data(),
                                          status_, ipoc_);
        break;
      case arcRun:
        running = tool_.runTrackingMotionC(out, from_.data(), over_.data(), to_.data(), pose.data(),
                                           err, ft.data(), status());
        expected = reference_.runTracking(from_.data(), over_.data(), to_.data(), pose.data(),
                                          ft.data(), status_, ipoc_);
        break;
    }

    compareNumber("result", running, expected.running);
    compareNumber("code", err.code, expected.code);
    if (expected.text != err.err_msg) difference_ = "text: " + std::string(err.err_msg);
    compareNumber("sensor_code", err.sensor_code, expected.readingTaken ? status_ : -7);
    compareNumber("sensor_ipoc", err.sensor_ipoc, expected.readingTaken ? ipoc_ : -7);
    if (expected.running) {
      compare("out", out, expected.pose);
    } else {
      for (double x : out) compareNumber("out of a failed run", x, untouched);
    }

    delivered_ = running;
    if (running) std::copy_n(out, 6, out_.begin());
    const bool severalTripped = err.code > 80002 && std::popcount(unsigned(err.code - 80002)) > 1;
    coverage_.severalAxesTripped |= severalTripped;
    coverage_.codes.insert({run, std::min<int>(err.code, 80002)});
    if (running) {
      const reference::Mode& mode = run == approachRun   ? reference_.approach
                                    : run == assemblyRun ? reference_.assembly
                                                         : reference_.tracking;
      coverage_.laws.insert(
          {run, mode.frame, mode.direction, run == approachRun ? reference_.phase : 0});
    }
  }

  // ---- comparison ----

  void compareNumber(const char* name, double actual, double expected) {
    if (same(actual, expected) || !difference_.empty()) return;
    std::ostringstream line;
    line.precision(17);
    line << name << ": " << actual << " instead of " << expected;
    difference_ = line.str();
  }

  template <std::size_t N>
  void compare(const char* name, const double* actual, const std::array<double, N>& expected,
               std::size_t first = 0) {
    for (std::size_t i = first; i < N; ++i) {
      if (same(actual[i], expected[i])) continue;
      compareNumber((std::string(name) + "[" + std::to_string(i) + "]").c_str(), actual[i],
                    expected[i]);
    }
  }

  void compareFollower(const char* name, const MBK_Fhan& actual, const reference::Follower& f) {
    const double values[] = {actual.f0, actual.v1, actual.v2};
    compare(name, values, std::array<double, 3>{f.u, f.x, f.rate});
  }

  void compareState() {
    const ZelFTCTool& t = tool_;
    const reference::Tool& r = reference_;
    compare("rcs_ft_data", t.rcs_ft_data.value, r.wrench);
    compare("ft_data_raw", t.ft_data_raw.value, r.reading);
    compare("ft_data_tool", t.ft_data_tool.value, r.toolWrench);
    compare("ldd_ftNow", t.ldd_ftNow.value, r.gravity);
    compare("ldd_ft0", t.ldd_ft0.value, r.zero);
    compare("ftc_offset", t.ftc_offset.value, r.offset);
    compare("ftc_offset_last1", t.ftc_offset_last1.value, r.last1);
    compare("ftc_offset_last2", t.ftc_offset_last2.value, r.last2);
    compare("ftc_offset_last3", t.ftc_offset_last3.value, r.last3);
    compare("ftc_offset_last4", t.ftc_offset_last4.value, r.last4);
    compare("PosFTC", t.PosFTC.value, r.corrected);
    compare("PosStart", t.PosStart.value, r.start);
    compare("PosNow", t.PosNow.value, r.now);
    compare("ftc_path_offset", t.ftc_path_offset.value, r.startFromNow);
    compare("df", t.df.value, r.error);
    compare("ft_diff_2", t.ft_diff_2.value, r.jump);
    compareFollower("force_fhan", t.force_fhan, r.leadForce);
    compareFollower("speed_fhan", t.speed_fhan, r.leadGain);
    compareFollower("force_r", t.force_r, r.leadReserve);
    compare("MoveLrv_q", t.MoveLrv_q.value, r.lineStep);
    compare("MoveCrv_b_q", t.MoveCrv_b_q.value, r.arcStepBefore, 3);
    compare("MoveCrv_c_q", t.MoveCrv_c_q.value, r.arcStepAfter, 3);
    compare("PosMoveExpect_q", t.PosMoveExpect_q.value, r.nominal);
    const double line[] = {t.moveLData.stepMax, t.moveLData.stepNow};
    compare("moveLData", line, std::array<double, 2>{r.lineSteps, r.lineNow});
    const auto& c = t.moveCData;
    const double arc[] = {c.radius, c.radian, c.radian_b, c.stepB, c.stepMax, c.stepNow};
    compare("moveCData", arc,
            std::array<double, 6>{r.radius, r.sweep, r.viaAngle, r.arcVia, r.arcSteps, r.arcNow});
    compare("centerOfCircle", c.centerOfCircle, r.centre);
    for (int i = 0; i < 4; ++i) compare("conversionMatrix row", c.conversionMatrix[i], r.circle[i]);
    compareNumber("ApproachMode", t.ApproachMode, r.phase);
    compareNumber("trackingMotionMoveType", t.trackingMotionMoveType, r.move);
    compareNumber("ft_info.IPOC", t.ft_info.IPOC, r.lastIpoc);
    const bool flags[] = {t.isSetApproach,        t.isSetAssembly,   t.isSetTrackingMotion,
                          t.isSetLoadData,        t.runApproachMode, t.runAssemblyMode,
                          t.runTrackingMotionMode};
    const bool expected[] = {r.hasApproach, r.hasAssembly, r.hasTracking, r.hasLoad,
                             r.inApproach,  r.inAssembly,  r.inTracking};
    for (int i = 0; i < 7; ++i) compareNumber("flag", flags[i], expected[i]);
    for (int i = 0; i < 20; ++i) {
      compareNumber("isFTTimeOut", t.isFTTimeOut[i], r.stalled[i]);
      compareNumber("isApproachTouchOK", t.isApproachTouchOK[i], r.settled[i]);
    }
  }

  Random random_;
  Coverage& coverage_;
  ZelFTCTool tool_;
  reference::Tool reference_;
  std::string difference_;

  RunKind preferred_ = approachRun;
  Six basePose_{}, now_{}, out_{}, force_{}, from_{}, over_{}, to_{};
  bool delivered_ = false;
  int ipoc_ = 0, stallFor_ = 0;
  ZelInfoCode status_ = FT_N0RMAL;
  double speed_ = 50;
};

TEST(ControlCycle, EqualsTheNaiveComputationBitByBit) {
  constexpr std::uint64_t defaultSeed = 20240611, defaultCount = 2000;
  const std::uint64_t seed = zel::test::fromEnvironment("ZEL_TEST_SEED", defaultSeed);
  const std::uint64_t count = zel::test::fromEnvironment("ZEL_TEST_COUNT", defaultCount);

  Coverage coverage;
  testing::internal::CaptureStdout();  // the approach configuration prints a line each time
  constexpr int steps = 300;
  std::string failure;
  std::uint64_t n = 0;
  for (; n < count && failure.empty(); ++n) {
    failure = Session(seed + n, coverage).play(steps);
  }
  testing::internal::GetCapturedStdout();
  ASSERT_EQ(failure, "") << "session of ZEL_TEST_SEED=" << seed + n - 1 << " ZEL_TEST_COUNT=1";

  if (seed != defaultSeed || count < defaultCount) return;
  std::set<std::pair<RunKind, int>> codes;
  for (RunKind run : {approachRun, assemblyRun}) {
    for (int code : {10001, 10002, 11000, 11002, 11004, 11005, 80000, 80001}) {
      codes.insert({run, code});
    }
  }
  for (RunKind run : {lineRun, arcRun}) {
    for (int code : {10001, 10002, 11000, 11001, 11002, 11003, 80000, 80001, 80002}) {
      codes.insert({run, code});
    }
  }
  EXPECT_EQ(coverage.codes, codes) << "the sessions must meet every result of every run";
  EXPECT_TRUE(coverage.severalAxesTripped);
  std::map<std::pair<int, int>, std::size_t> lawsOf;
  for (const auto& law : coverage.laws) ++lawsOf[{law[0], law[3]}];
  for (const auto& [runAndPhase, laws] : lawsOf) {
    // Four frames and six directions; the direction has no part in the later phases.
    EXPECT_GE(laws, runAndPhase.second < 2 ? 24u : 12u)
        << runNames[runAndPhase.first] << " phase " << runAndPhase.second;
  }
  EXPECT_EQ(lawsOf.size(), 7u) << "four phases of the approach, and the three other runs";
}

}  // namespace
