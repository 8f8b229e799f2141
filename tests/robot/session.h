// Random sessions with the library, compared bit by bit with a second, naive one: settings,
// zeroing, readings and all four runs in any order, with poses, mountings, loads and limits of
// every kind, refused arguments and numbers that are not finite now and then. A quarter of the
// sessions stays on a coarse grid without load and mounting, where values meet their limits
// exactly.
//
// Time is staged in a program that includes this, once.
#ifndef ZEL_FTC_TESTS_ROBOT_SESSION_H
#define ZEL_FTC_TESTS_ROBOT_SESSION_H

#include <sys/syscall.h>
#include <unistd.h>

#include <ctime>
#include <iomanip>
#include <map>
#include <set>
#include <sstream>

#include "ft/ZelForceSensorExternal.h"
#include "reference_tool.h"
#include "robot/ZelFTCTool.h"
#include "zel_ftc_lib.h"

inline std::int64_t stagedTime = 1700000000000000000;  // ns
inline bool timeIsStaged = true;

// The library's time passes where a test lets it pass, and while the library naps.
extern "C" int clock_gettime(clockid_t clock, timespec* t) noexcept {
  if (clock != CLOCK_REALTIME || !timeIsStaged) {
    return static_cast<int>(syscall(SYS_clock_gettime, clock, t));
  }
  *t = {stagedTime / 1000000000, stagedTime % 1000000000};
  return 0;
}
extern "C" int nanosleep(const timespec* wanted, timespec* left) {
  if (!timeIsStaged) return static_cast<int>(syscall(SYS_nanosleep, wanted, left));
  stagedTime += 1000000000 * wanted->tv_sec + wanted->tv_nsec;
  return 0;
}

namespace reference {

enum Run { approachRun, assemblyRun, lineRun, arcRun };
constexpr double untouched = -12345;

/// The results that sessions have met: a family that misses one proves nothing about it.
using Met = std::set<std::pair<Run, int>>;

/// True while the library is at work: until the end of the expression that such a mark stands in.
inline thread_local bool inLibrary = false;
struct InLibrary {
  InLibrary() { inLibrary = true; }
  ~InLibrary() { inLibrary = false; }
};

#define ZEL_SAME(call, expected) same(#call, (InLibrary(), call), expected)

class Session {
 public:
  Session(unsigned family, Met& met) : random_(family), onGrid_(family % 4 == 0), met_(met) {
    ZEL_SAME(zel_ftc_open(true), 1);
    std::copy_n(zel_raw_ft, 6, model_.sensor.raw.data());
    connect(true);
    now_ = basePose_ = pose(800);
    wrench_ = wrench();
    if (random_.chance(0.6)) model_.baseWrench = wrench();
    std::copy_n(model_.baseWrench.data(), 6, tool().ft_data_base.value);
    tool().approachFx = model_.biasX = number(-3, 3);
    tool().approachFy = model_.biasY = number(-3, 3);
    for (const auto setting :
         {&Session::newPeriodAndDeadBand, &Session::newMounting, &Session::newLoad,
          &Session::newBox, &Session::newCorrectionLimits, &Session::newMonitoring}) {
      if (random_.chance(0.96)) (this->*setting)();
    }
    preferred_ = static_cast<Run>(random_.below(4));
    if (preferred_ == assemblyRun) newMode(approachRun);  // measuring frame, bands and time-out
    newMode(preferred_);
  }
  ~Session() { zel_ftc_close(); }

  /// The first difference; empty while the two libraries agree. Cycles only: no settings.
  std::string play(int steps, bool cyclesOnly = false) {
    for (int i = 0; i < steps && difference_.empty(); ++i) {
      act(cyclesOnly ? 15 + random_.below(185) : random_.below(200));
      if (!difference_.empty()) difference_ += " after action " + std::to_string(i);
    }
    return difference_;
  }

 private:
  static ZelFTCTool& tool() {
    return static_cast<ZelFTCTool&>(*static_cast<ZelForceControlTool*>(m_zelftcclass));
  }
  static SensorExternal& sensor() {
    return static_cast<SensorExternal&>(*static_cast<ZelSensor*>(m_zelftsensorclass));
  }

  // ---- numbers ----

  double number(double low, double high) {
    if (!onGrid_) return random_.uniform(low, high);
    return 0.5 * std::round(2 * random_.uniform(low - 0.25, high + 0.25));
  }
  double orOneOf(double probability, std::initializer_list<double> values, double otherwise) {
    return random_.chance(probability) ? random_.oneOf(values) : otherwise;
  }
  int selector(int count) {
    return random_.chance(0.03) ? random_.below(2) * (count + 1) - 1 : random_.below(count);
  }
  Vec<6> strange(Vec<6> v, double probability) {
    double& x = v[random_.below(6)];
    x = orOneOf(probability, {infinity, -infinity, notANumber, 1e300, -1e300, 1e-310, -0.0}, x);
    return v;
  }
  Vec<6> wrench() {
    Vec<6> w = Vec<6>::NullaryExpr([&] { return onGrid_ ? number(-3, 3) : number(-20, 20); });
    if (!onGrid_) w.tail<3>() *= 0.1;
    return w;
  }
  Vec<6> limits() {
    if (onGrid_) return Vec<6>::Constant(random_.oneOf({3, 3, 2.5, 1e4}));
    return random_.oneOf({1e4, 1e4, 40}) * Vec<6>{1, 0.9, 0.8, 0.15, 0.14, 0.13};
  }
  /// Flange pose in mm and rad; now and then in the singular attitude, now and then all zero.
  Vec<6> pose(double reach) {
    if (random_.chance(onGrid_ ? 0.5 : 0.03)) return Vec<6>::Zero();
    Vec<6> p = Vec<6>::NullaryExpr([&] { return number(-3.2, 3.2); });
    if (onGrid_ && random_.chance(0.9)) p.tail<3>().setZero();
    if (!onGrid_) p.head<3>() *= reach / 3.2;
    if (!onGrid_) p[4] = orOneOf(0.1, {pi / 2, -pi / 2}, p[4]);
    return p;
  }

  // ---- settings ----

  void newPeriodAndDeadBand() {
    const double ms =
        orOneOf(0.2, {3.99, 4, 100, 100.01, 0, -8, notANumber, infinity}, number(4, 40));
    const double f = orOneOf(0.05, {0, -1, 100, 99.9, notANumber, infinity}, number(0.01, 2));
    const double m = orOneOf(0.05, {0, -1, 10, 9.99, notANumber, infinity}, number(0, 0.2));
    const bool msPasses = 4 <= ms && ms <= 100, fPasses = 0 < f && f < 100,
               mPasses = 0 < m && m < 10;
    if (msPasses) model_.dt = ms * 0.001;
    if (fPasses) model_.dead.head<3>().setConstant(f);
    if (mPasses) model_.dead.tail<3>().setConstant(m);
    double kept = 0;
    ZEL_SAME(zel_ftc_setTimeStep(ms), msPasses);
    ZEL_SAME(zel_ftc_getTimeStep(&kept), 1);
    ZEL_SAME(kept, model_.dt / 0.001);
    ZEL_SAME(zel_ftc_setSensorNoiseThreshold(f, m), fPasses && mPasses);
  }

  void newMounting() {
    Vec<6> rated = model_.maxLoad = limits(), sensor, tip;
    if (!onGrid_ && random_.chance(0.85)) sensor = pose(120);
    if (!onGrid_ && random_.chance(0.85)) tip = strange(pose(150), 0.02);
    ZEL_SAME(zel_ftc_setSensorConfig(rated.data(), sensor.data(), tip.data()), 1);
    model_.flange_sensor = Tool::internal(sensor);
    model_.sensor_tool = Tool::internal(tip);
  }

  void newLoad() {
    const double G = onGrid_ ? 0 : random_.uniform(0, 60);
    Vec<3> arm = random_.vector<3>(-90, 250);
    double& one = arm[random_.below(3)];
    one = orOneOf(0.1, {500, 500, 500.001, infinity, -9000, notANumber}, one);
    model_.hasLoad = !(arm.array() > 500).any();
    if (model_.hasLoad) model_.load = {G, arm * 0.001};
    ZEL_SAME(zel_ftc_setLoadData(G, arm[0], arm[1], arm[2]), model_.hasLoad);
    Vec<4> kept = Vec<4>::Constant(untouched), expected = kept;
    if (model_.hasLoad) expected << G, 1000 * model_.load.arm;
    ZEL_SAME(zel_ftc_getLoadData(&kept[0], &kept[1], &kept[2], &kept[3]), model_.hasLoad);
    same("zel_ftc_getLoadData", kept.data(), expected);
  }

  void newBox() {
    Vec<3> most = random_.vector<3>(0.05, 40), least = random_.vector<3>(-40, 0.0);
    if (random_.chance(0.1)) most.swap(least);
    ZEL_SAME(zel_ftc_setCorrectionLimit(most.data(), least.data(), 0.3), 1);
    ZEL_SAME(tool().correctionLimit.angle, 0.3);
    model_.hasLimit = true;
    model_.boxMax = most * 0.001;
    model_.boxMin = least * 0.001;
  }

  void newCorrectionLimits() {
    const double path = orOneOf(0.7, {1e6}, onGrid_ ? number(0, 4) : random_.uniform(0.1, 50));
    // Rounding alone exceeds an angle of zero, in an assembly run as well.
    const double angle = orOneOf(0.7, {100, 100, 0}, std::exp(random_.uniform(-4, 1)));
    ZEL_SAME(zel_ftc_setCorrectionMonitoring(path, angle), 1);
    model_.hasCorrection = true;
    model_.pathLimit = path * 0.001;
    model_.angleLimit = angle;
    const double least = number(-1, 3);
    const int name = static_cast<int>(random_.oneOf({5001, 5001, 5001, 5002, 5000, 0}));
    ZEL_SAME(zel_set_minValue(least, name), name >= 5001);
    if (name == 5001) model_.minPath = least * 0.001;
    if (name == 5002) ZEL_SAME(tool().correctionLimit.minPathForce, least);
    if (random_.chance(0.7)) return;
    Vec<3> group = {number(-1, 0.2), number(-1, 0.2), number(-1, 0.2)};
    ZEL_SAME(zel_set_minValue_every(group.data(), name), 1);
    model_.useGroup = true;
    model_.minPathGroup = group * 0.001;
  }

  void newMonitoring() {
    Vec<6> limit = model_.permissible = limits();
    ZEL_SAME(zel_ftc_setMonitoringFunctions(limit.data()), 1);
    model_.hasMonitoring = true;
  }

  void newMode(Run run) {
    Mode mode;
    mode.frame = selector(4);
    mode.direction = selector(6);
    mode.gain = random_.vector<6>(-1, 1) * std::exp(random_.uniform(-3, 3));
    const double kind = random_.uniform(0, 1);
    for (int i = 0; i < 6; ++i) {
      if (kind > 0.65) mode.band[i] = (i < 3 || onGrid_ ? 1 : 0.1) * number(5, 60);
      if (kind > 0.4 && random_.chance(0.2)) mode.band[i] = number(0.5, 5);
    }
    if (kind > 0.4) mode.band = strange(mode.band, 0.1);
    const auto rcs = static_cast<ZelRcs>(mode.frame);
    const auto axis = static_cast<ZelDirection>(mode.direction);
    if (run == lineRun || run == arcRun) {
      if (kind > 0.4) mode.band *= random_.oneOf({-1, 1});
      mode.expected = wrench();
      mode.speed = orOneOf(0.04, {0, -60, notANumber}, 60);
      ZEL_SAME(zel_ftc_configTrackingMotionMode(rcs, axis, mode.expected.data(), mode.gain.data(),
                                                mode.band.data(), mode.speed),
               model_.configure(model_.tracking, mode));
      return;
    }
    const double E = orOneOf(0.03, {0}, wrench()[0]);
    if (mode.direction >= 0 && mode.direction < 6) mode.expected[mode.direction] = E;
    mode.speed = orOneOf(0.25, {0}, random_.uniform(-30, 30));
    mode.touchForce = onGrid_ ? number(0, 4) : number(1, 60);
    mode.touchTorque = onGrid_ ? number(0, 4) : number(0.1, 6);
    const auto timeOut = random_.chance(0.2) ? 8ul * random_.below(99) : 1000000000000ul;
    mode.timeOut = static_cast<double>(timeOut);
    const auto config = [&](auto function, auto... more) {
      return function(rcs, axis, E, mode.gain.data(), mode.speed, mode.touchForce, mode.touchTorque,
                      mode.band.data(), timeOut, more...);
    };
    ZEL_SAME(run == approachRun ? config(zel_ftc_configApproachMode)
                                : config(zel_ftc_configAssemblyMode, 1, 2, 3),
             model_.configure(run == approachRun ? model_.approach : model_.assembly, mode));
  }

  /// States that no setting leads to: the phases, a frame that is unknown, another kind of motion.
  void meddle() {
    const int what = random_.below(7);
    if (what < 5) tool().ApproachMode = model_.phase = what;
    if (what == 5) {
      model_.approach.frame = model_.assembly.frame = model_.tracking.frame = 4;
      tool().approachConfig.rcs = tool().assemblyConfig.rcs = tool().trackingMotionConfig.rcs =
          static_cast<ZelCartesianCoordinate>(4);
    }
    if (what == 6) tool().trackingMotionMoveType = model_.move = MOVEP;
  }

  void clear() {
    ZEL_SAME(zel_ftc_clear() + zel_ftc_stop() + zel_ftc_Release(), 3);
    model_.inApproach = model_.inTracking = false;
    if (model_.usable != &model_.assembly) model_.usable = nullptr;
    model_.settled = 0;
  }

  // ---- the sensor ----

  void connect(bool on) {
    ZEL_SAME(on ? zel_ftc_initialFTSensor(4008, nullptr) : zel_ftc_uninitialFTSensor(), 1);
    Sensor& sensor = model_.sensor;
    if (on && !sensor.connected) sensor.fed.setZero(), sensor.count = 0;
    if (on) sensor.code = COMM_INIT;
    sensor.connected = on;
  }

  void feed() {
    if (!onGrid_) wrench_ += 0.02 * wrench();
    const int axis = random_.below(6);
    if (random_.chance(onGrid_ ? 0.5 : 0.1)) wrench_[axis] = wrench()[axis];
    if (stallFor_-- > 0) return;
    stallFor_ = random_.chance(0.01) ? random_.below(45) : 0;
    Vec<6> given = strange(wrench_, 0.01);
    ZEL_SAME(zel_ftc_obtainFTSensorData(given.data()), model_.sensor.feed(given));
    if (random_.chance(0.01)) {
      sensor().setCODE(FT_OVERLOAD_ERROR);
      model_.sensor.code = FT_OVERLOAD_ERROR;
    }
    if (!random_.chance(0.005)) return;
    // The counter's end, and the one value at which an assembly run can notice a stall.
    stallFor_ = random_.below(2) * 30;
    sensor().IPOC = model_.sensor.count = static_cast<int>(random_.oneOf({0, 99999}));
  }

  // ---- actions ----

  void act(int dice) {
    const double us = orOneOf(0.03, {1e6, 1e6, -1e6}, random_.below(3) * 2500);  // it may be set
    stagedTime += 1000 * static_cast<std::int64_t>(us);
    feed();
    if (delivered_ && !onGrid_ && random_.chance(0.9)) {
      now_ = delivery_;
    } else if (random_.chance(onGrid_ ? 0.3 : 0.05)) {
      now_ = random_.chance(0.5) ? basePose_ : pose(800);
    }
    if (!onGrid_) now_ += 0.001 * random_.vector<6>(-1, 1);
    if (!(now_.array().abs() < 1e5).all()) now_ = basePose_;
    const Vec<6> pose = strange(now_, 0.01);

    const Run other = static_cast<Run>(random_.below(4));
    if (dice == 0) return clear();
    if (dice <= 2) return newMode(preferred_ = other);
    if (dice == 3) return random_.chance(0.5) ? newMounting() : newLoad();
    if (dice == 4) return random_.chance(0.5) ? newBox() : newCorrectionLimits();
    if (dice == 5) return newMonitoring();
    if (dice == 6) return newPeriodAndDeadBand();
    if (dice <= 10) return meddle();
    if (dice == 11) return connect(random_.chance(0.5));
    if (dice <= 14 && !model_.sensor.connected) return connect(true);
    if (dice <= 14) return setZero(pose);
    if (dice <= 18) return read(pose);
    cycle(random_.chance(0.97) ? preferred_ : other, pose);
  }

  void setZero(Vec<6> pose) {
    const std::int64_t before = stagedTime;
    ZEL_SAME(zel_ftc_sensorReset(pose.data()), model_.setZero(pose));
    ZEL_SAME(stagedTime - before, 10000000);
  }

  void read(Vec<6> pose) {
    const int frame = selector(4);
    Vec<6> out = Vec<6>::Constant(untouched), given = pose, expected;
    double* const target = random_.chance(0.5) ? out.data() : given.data();  // may be the pose's
    const bool done = frame >= 0 && frame < 4 && model_.readWrench(pose, frame);
    expected = done ? model_.wrench : target == out.data() ? out : given;
    ZEL_SAME(zel_ftc_getSensorData(target, given.data(), static_cast<ZelRcs>(frame)), done);
    same("zel_ftc_getSensorData", target, expected);

    expected = model_.readWithoutGravity(pose);
    ZEL_SAME(zel_ftc_get_GraData(out.data(), pose.data()), 1);
    same("zel_ftc_get_GraData", out.data(), expected);
    same("zel_raw_ft", zel_raw_ft, model_.sensor.raw);
    ZEL_SAME(zel_info_.code, model_.sensor.code);
    ZEL_SAME(zel_info_.IPOC, model_.sensor.count);
  }

  /// A line or an arc of some cycles, from where the robot is or from elsewhere.
  void newPath() {
    from_ = random_.chance(0.7) ? now_ : pose(800);
    const double reach = 60 * model_.dt * random_.uniform(3, 60);
    for (Vec<6>* p : {&over_, &to_}) {
      *p = from_ + 0.4 * random_.vector<6>(-1, 1);
      p->head<3>() += reach * random_.vector<3>(-1, 1);
    }
    if (random_.chance(0.05)) to_ = from_;
    if (random_.chance(0.05)) over_ = random_.chance(0.5) ? from_ : to_;
    to_ = strange(to_, 0.01);
  }

  int runFlat(Run run, double* out, double* now, zel_ftc_error* err) {
    double *const from = from_.data(), *const over = over_.data(), *const to = to_.data();
    if (run == approachRun) return zel_ftc_runApproach(out, now, err);
    if (run == assemblyRun) return zel_ftc_runAssembly(out, now, err);
    if (run == lineRun) return zel_ftc_runTrackingMotionL(out, from, to, now, err);
    return zel_ftc_runTrackingMotionC(out, from, over, to, now, err);
  }
  bool runTool(Run run, zel_pose& out, double* now, zel_error& err) {
    double *const from = from_.data(), *const over = over_.data(), *const to = to_.data();
    double* const ft = zel_raw_ft;
    sensor().getFTSensorData(ft, zel_info_);
    if (run == approachRun) return tool().runApproach(out, now, err, ft, zel_info_);
    if (run == assemblyRun) return tool().runAssembly(out, now, err, ft, zel_info_);
    if (run == lineRun) return tool().runTrackingMotionL(out, from, to, now, err, ft, zel_info_);
    return tool().runTrackingMotionC(out, from, over, to, now, err, ft, zel_info_);
  }
  static std::string textOf(Run run, int code) {
#define ZEL_TEXT(name, value, text) {value, text},
    static const std::map<int, std::string> texts = {ZEL_RUN_RESULTS(ZEL_TEXT)};
#undef ZEL_TEXT
    return code == 80000 && run >= lineRun ? "Runing." : texts.at(std::min(code, 80002));
  }

  void cycle(Run run, const Vec<6>& pose) {
    if (run >= lineRun && !model_.inTracking) newPath();
    model_.time = stagedTime;
    const Sensor& sensor = model_.sensor;
    const bool read = model_.sensor.read();
    const Vec<6>* const via = run == arcRun ? &over_ : nullptr;
    int code = -1;
    if (read && run <= assemblyRun) code = model_.runContact(run == approachRun, pose);
    if (read && run >= lineRun) code = model_.runTracking(from_, via, to_, pose);
    delivered_ = code == 80000;
    delivery_ = model_.delivered();

    Vec<6> given = pose, separate = Vec<6>::Constant(untouched), ft = separate;
    if (read && random_.chance(0.2)) {
      // The tool itself: it hands out a text as well, and no pose when it fails.
      zel_pose out;
      std::copy_n(separate.data(), 6, out);
      zel_error err = {-7, -7, -7, ""};
      std::fill(std::begin(err.err_msg), std::end(err.err_msg) - 1, '?');
      ZEL_SAME(runTool(run, out, given.data(), err), delivered_);
      same("pose of the tool", out, delivered_ ? delivery_ : separate);
      ZEL_SAME(err.code, code);
      if (textOf(run, code) != err.err_msg) same(err.err_msg, 0, 1);
      const bool taken = code == 10002 || code == 11000 || code == 11005 || code == 11006;
      ZEL_SAME(err.sensor_code, taken || code >= 80000 ? sensor.code : -7);
      ZEL_SAME(err.sensor_ipoc, taken || code >= 80000 ? sensor.count : -7);
    } else {
      double* const out = random_.chance(0.5) ? given.data() : separate.data();  // in place or not
      const Vec<6> kept = read || out == given.data() ? pose : separate;
      zel_ftc_error err = {-1, -7, -7};
      ZEL_SAME(runFlat(run, out, given.data(), &err), delivered_);
      same("pose", out, delivered_ ? delivery_ : kept);
      ZEL_SAME(err.ftc_code, code);
      ZEL_SAME(err.ft_code, sensor.code);
      ZEL_SAME(err.ft_ipoc, sensor.count);
    }
    const Vec<6> expected = model_.hasLoad ? model_.wrench : ft;
    ZEL_SAME(zel_ftc_getRCS_FT_Data(ft.data()), model_.hasLoad);
    same("zel_ftc_getRCS_FT_Data", ft.data(), expected);

    if (read) met_.insert({run, std::min(code, 80002)});
  }

  // ---- comparison ----

  void same(const char* name, double actual, double expected, int element = 0) {
    if (sameBits(actual, expected) || !difference_.empty()) return;
    std::ostringstream line;
    line << std::setprecision(17) << name << " (" << element << ") is " << actual << " instead of "
         << expected;
    difference_ = line.str();
  }
  template <int N>
  void same(const char* name, const double* actual, const Vec<N>& expected) {
    for (int i = 0; i < N; ++i) same(name, actual[i], expected[i], i);
  }

  Random random_;
  bool onGrid_;
  Met& met_;
  Tool model_;
  std::string difference_;

  Run preferred_ = approachRun;
  Vec<6> basePose_, now_, delivery_, wrench_, from_, over_, to_;
  bool delivered_ = false;
  int stallFor_ = 0;
};

#undef ZEL_SAME

}  // namespace reference

#endif
