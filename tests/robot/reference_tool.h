// A second library, for comparison bit by bit. Written from the interface's contract, not from the
// library's code: plain and slow, every transform multiplied out anew in every cycle. With the
// library it shares the public enumerations, and no mathematics and no code.
//
// What no result shows is not here.
#ifndef ZEL_FTC_TESTS_ROBOT_REFERENCE_TOOL_H
#define ZEL_FTC_TESTS_ROBOT_REFERENCE_TOOL_H

#include "tests/matrix/reference.h"
#include "zel_ftc_types.h"

namespace reference {

/// Tracking differentiator.
struct Follower {
  double u = 0, x = 0, rate = 0;

  void step(double target, double r, double t) {
    const double d = r * t, d0 = t * d, y = (x - target) + t * rate;
    const double a0 = std::sqrt(d * d + 8 * r * std::fabs(y));
    const double a = std::fabs(y) > d0 ? rate + (a0 - d) / 2 * (y / std::fabs(y)) : rate + y / t;
    u = std::fabs(a) > d ? -r * a / std::fabs(a) : -r * a / d;
    x = x + rate * t;
    rate = rate + u * t;
  }
};

struct Mode {
  int frame = 0, direction = 0;
  Vec<6> expected, gain, band;
  double speed = 0, touchForce = 0, touchTorque = 0, timeOut = 0;
};

/// The external sensor, and what the library has read from it last.
struct Sensor {
  bool connected = false;
  int code = 0, count = 0;
  Vec<6> fed, raw;

  bool feed(const Vec<6>& wrench) {
    if (!connected) return false;
    fed = wrench;
    code = FT_N0RMAL;
    if (++count > 100000) count = 0;
    return true;
  }
  bool read() {
    if (connected) raw = fed;
    return connected;
  }
};

struct Tool {
  Sensor sensor;
  std::int64_t time = 0, startTime = 0;  ///< ns

  // settings
  double dt = 0.008;
  Vec<6> dead{0.25, 0.25, 0.25, 0.0025, 0.0025, 0.0025};
  Vec<6> maxLoad, permissible, flange_sensor, sensor_tool;
  Load load;
  Mode approach, assembly, tracking;
  Vec<3> boxMax, boxMin, minPathGroup;
  double minPath = 0, pathLimit = 0, angleLimit = 0;
  bool useGroup = false;
  bool hasLoad = false, hasLimit = false, hasMonitoring = false, hasCorrection = false;
  const Mode* usable = nullptr;  ///< the one configured last

  // state
  bool inApproach = false, inAssembly = false, inTracking = false;
  int phase = 0, lastCount = 0, stalled = 0, settled = 0;
  ZelMoveType move = MOVEJ;
  Vec<6> start, now, corrected, offset, startFromNow, zero, baseWrench, wrench;
  Matrix<6, 4> last;  ///< wrenches of the last cycles, newest first
  double biasX = 0, biasY = 0;
  Follower leadForce, leadGain;
  Vec<7> lineStep;
  Vec<4> turnBefore, turnAfter;
  double lineSteps = 0, lineNow = 0, arcSteps = 0, arcVia = 0, arcNow = 0;
  double radius = 0, sweep = 0;
  Matrix4 circle;

  // mm and ms in, m and s kept
  static Vec<6> internal(Vec<6> pose) {
    pose.head<3>() *= 0.001;
    return pose;
  }

  bool configure(Mode& mode, const Mode& given) {
    const int f = given.frame, d = given.direction;
    if (f < 0 || f > 3 || d < 0 || d > 5) return false;
    mode = given;
    mode.speed = given.speed * 0.001;
    mode.gain = given.gain * 0.001 * dt;
    usable = &mode;
    if (usable == &approach) phase = 0;
    return true;
  }

  // ---- measurement ----

  Vec<6> gravityNow() const {
    return load.gravityAt(times(transformOf(now), transformOf(flange_sensor)));
  }
  Vec<6> compensated() const { return (sensor.raw + gravityNow()) - zero; }

  Vec<6> inToolFrame(const Vec<6>& w) const {
    const Matrix4 T = inverse(transformOf(sensor_tool));
    const Matrix<3, 3> R = rotationOf(T);
    const Vec<3> p = T.topRightCorner<3, 1>();
    const Matrix<3, 3> P{{0, -p[2], p[1]}, {p[2], 0, -p[0]}, {-p[1], p[0], 0}};
    Matrix<6, 6> X;
    X << R, Matrix<3, 3>::Zero(), times(P, R), R;
    return times(X, w);
  }

  void measure(int frame) {
    const Vec<6> w = compensated();
    wrench = sensor.raw;
    if (frame == WORLD || frame == BASE) wrench = baseWrench;
    if (frame == TOOL) wrench = inToolFrame(w);
    if (frame == SENSOR) wrench = w;
    wrench = (dead.array() > wrench.array().abs()).select(0.0, wrench);
  }

  bool setZero(const Vec<6>& pose) {
    if (!sensor.read() || sensor.count == lastCount) return false;
    lastCount = sensor.count;
    now = internal(pose);
    zero = gravityNow() + sensor.raw;
    return true;
  }

  bool readWrench(const Vec<6>& pose, int frame) {
    if (!sensor.read() || sensor.code != FT_N0RMAL || !hasLoad) return false;
    lastCount = sensor.count;
    now = internal(pose);
    measure(frame);
    return true;
  }

  Vec<6> readWithoutGravity(const Vec<6>& pose) {
    sensor.read();
    now = internal(pose);
    return compensated();
  }

  // ---- tests ----

  static bool beyond(const Vec<6>& w, const Vec<6>& limit) {
    return (w.array().abs() > limit.array()).any();
  }

  bool touches(const Mode& m) const {
    return length(wrench.tail<3>()) > m.touchTorque || length(wrench.head<3>()) > m.touchForce;
  }

  bool correctedTooFar() {
    startFromNow = poseOf(times(inverse(transformOf(now)), transformOf(start)));
    return length(startFromNow.head<3>()) > pathLimit ||
           length(startFromNow.tail<3>()) > angleLimit;
  }

  bool settledLongEnough() {
    const Vec<6>& band = approach.band;
    const Vec<6> error = (approach.expected + wrench).cwiseAbs();
    const bool ok = (band.array() == 0.0 || !(error.array() > band.array())).all();
    settled = ok ? settled + 1 : 0;
    return settled >= 20;
  }

  bool minimumPathCovered() const {
    const Vec<3> o = startFromNow.head<3>();
    return useGroup ? (o.array().abs() > minPathGroup.array()).all() : length(o) > minPath;
  }

  int trippedAxes() const {
    using Array = Eigen::Array<double, 6, 1>;
    Matrix<6, 4> steps;
    steps << wrench - last.col(0), last.leftCols<3>() - last.rightCols<3>();
    const Array change = steps.col(3) + ((steps.col(0) + steps.col(1)) + steps.col(2));
    const Array j = 8.0 * change.abs(), r = tracking.band, e = approach.expected + wrench;
    const auto trips = ((r > 0 && e > r) || (r < 0 && r > e)) && j > r.abs();
    return trips.select(Eigen::Array<int, 6, 1>{64, 32, 8, 4, 2, 1}, 0).sum();
  }

  // ---- controller: torques about x and z are crossed ----

  static constexpr int crossed[6] = {0, 1, 2, 5, 4, 3};

  void proportional(const Mode& m) {
    for (int k = 0; k < 6; ++k) offset[crossed[k]] = (wrench[k] + m.expected[k]) * m.gain[k];
  }

  void stepTowards(const Mode& m) {
    offset.setZero();
    const double E = m.expected[m.direction], sense = (E > 0 ? E : -E) / E;
    offset[crossed[m.direction]] = sense * m.speed * dt;
  }

  void leadIn(const Mode& m) {
    const int k = crossed[m.direction];
    leadForce.step(m.expected[k], 200.0, dt);
    leadGain.step(m.gain[k], 200.0, dt);
    offset[m.direction] = (wrench[k] + leadForce.x) * leadGain.x;
  }

  void changePhase(int to) {
    phase = to;
    settled = 0;
  }

  void control() {
    if (inApproach && phase == 0) {
      stepTowards(approach);
      if (touches(approach) || approach.speed == 0.0) changePhase(1);
    } else if (inApproach) {
      if (phase < 4) proportional(approach);
      if (phase == 1) leadIn(approach);
      if (phase == 2) {
        offset[0] += approach.gain[0] * biasX;
        offset[1] += approach.gain[1] * biasY;
        if (std::fabs(startFromNow[2]) > 0.003) changePhase(3);
      }
    } else if (inTracking) {
      proportional(tracking);
    } else if (inAssembly && touches(assembly)) {
      proportional(assembly);
      leadIn(assembly);
    } else if (inAssembly) {
      stepTowards(assembly);
    }
    last.rightCols<3>() = last.leftCols<3>().eval();
    last.col(0) = wrench;
  }

  // ---- correction ----

  Vec<3> onCircle(double angle) const {
    const Vec<4> p{radius * std::cos(angle), radius * std::sin(angle), 0.0, 1.0};
    return times(circle, p).head<3>();
  }

  /// The pose of this cycle, on a tracking run moved on by one step of its path.
  Matrix4 expectedPose() {
    if (inApproach) return transformOf(now);
    Vec<7> next;
    const Vec<4> q = quaternionOf(transformOf(now));
    if (move == MOVEL) {
      next << now.head<3>() + lineStep.head<3>(), lineStep.tail<4>() + q;
      lineNow += 1.0;
    } else if (move == MOVEC) {
      const Vec<3> to = onCircle(arcNow * sweep / arcSteps);
      const Vec<3> from = onCircle((arcNow - 1.0) * sweep / arcSteps);
      const Vec<4> turn = arcVia > arcNow ? turnBefore : turnAfter;
      next << (to + now.head<3>()) - from, turn + q;
      arcNow += 1.0;
    }
    return transformOfQuaternion(next);
  }

  void correct(int frame) {
    const Matrix4 T = expectedPose(), To = transformOf(offset), Tf = transformOf(flange_sensor);
    Matrix4 moving = T;
    if (frame == SENSOR) moving = times(times(T, inverse(Tf)), Tf);
    if (frame == TOOL && inApproach) {
      moving = times(times(T, rotationOnly(flange_sensor)), rotationOnly(sensor_tool));
    }
    corrected = poseOf(frame == WORLD || frame == BASE ? times(To, T) : times(moving, To));
    for (int i = 0; i < 3 && inApproach; ++i) {
      if (boxMin[i] + start[i] > corrected[i]) corrected[i] = boxMin[i] + start[i];
      if (corrected[i] > boxMax[i] + start[i]) corrected[i] = boxMax[i] + start[i];
    }
  }

  // ---- paths ----

  void prepareLine(const Vec<6>& end) {
    const Vec<4> qa = quaternionOf(transformOf(start)), qb = quaternionOf(transformOf(end));
    lineStep << end.head<3>() - start.head<3>(), qb - qa;
    lineSteps = (length(lineStep.head<3>()) / tracking.speed) / dt;
    lineStep /= lineSteps;
    lineNow = 1.0;
  }

  void prepareArc(const Vec<6>& via, const Vec<6>& end) {
    const Vec<3> P1 = start.head<3>(), P2 = via.head<3>(), P3 = end.head<3>();
    const Vec<3> n = cross(P1 - P3, P2 - P3);
    Matrix<3, 3> A, axes;
    A << n.transpose(), (P2 - P1).transpose(), (P3 - P2).transpose();
    const Vec<3> b{dot(n, P3), (dot(P2, P2) - dot(P1, P1)) / 2, (dot(P3, P3) - dot(P2, P2)) / 2};
    const Matrix<3, 3> At = A.transpose();
    const Vec<3> centre = times(times(sweptInverse(times(At, A)), At), b);
    radius = length(P1 - centre);
    const Vec<3> x = (P1 - centre) / radius, z = n / length(n);
    axes << x, cross(z, x), z;
    circle = transformOf(axes, centre);

    const auto angleOf = [&](const Vec<3>& P) {
      const Vec<4> p = times(inverse(circle), Vec<4>{P[0], P[1], P[2], 1.0});
      const double angle = std::atan2(p[1], p[0]);
      return angle < 0 ? angle + 2 * pi : angle;
    };
    const double viaAngle = angleOf(P2), endAngle = angleOf(P3);
    sweep = endAngle > viaAngle ? endAngle : -(6.283185307179586 - endAngle);
    arcVia = std::fabs(radius * viaAngle) / tracking.speed / dt;
    arcSteps = std::fabs(radius * sweep) / tracking.speed / dt;
    arcNow = 1.0;
    const Vec<4> qa = quaternionOf(transformOf(start)), qb = quaternionOf(transformOf(via));
    turnAfter = (quaternionOf(transformOf(end)) - qb) / (arcSteps - arcVia);
    turnBefore = (qb - qa) / arcVia;
  }

  // ---- runs: one cycle, its result code ----

  static int ended(bool& flag, int code) {
    flag = false;
    return code;
  }

  bool basicsMissing() const {
    return sensor.code != FT_N0RMAL || !hasLoad || !hasLimit || !hasMonitoring || !hasCorrection;
  }

  /// What the runs share, from the current pose to the corrected one; 80000 when nothing is wrong.
  int cycle(bool& flag, const Vec<6>& pose, int measuredIn, int correctedIn) {
    now = internal(pose);
    stalled = lastCount == sensor.count ? stalled + 1 : 0;
    if (stalled >= 20) return ended(inAssembly, 10001);
    lastCount = sensor.count;
    if (beyond(sensor.raw, maxLoad)) return ended(flag, 10002);
    measure(measuredIn);
    if (beyond(wrench, permissible)) return ended(flag, 11000);
    control();
    if (inApproach || inTracking) correct(correctedIn);
    return 80000;
  }

  int runContact(bool isApproach, const Vec<6>& pose) {
    bool& flag = isApproach ? inApproach : inAssembly;
    const Mode& mode = isApproach ? approach : assembly;
    if (basicsMissing()) return ended(flag, 11002);
    if (usable != &mode) return ended(flag, 11004);
    if (!inApproach) {
      startTime = time;
      start = internal(pose);
      leadForce = leadGain = {};
      lastCount = 0;
    }
    inApproach = inTracking = false;
    flag = true;
    const int code = cycle(flag, pose, approach.frame, mode.frame);
    if (code != 80000) return code;
    if (correctedTooFar()) return ended(flag, 11005);
    const double ms = static_cast<double>((time - startTime) / 1000000);
    if (ms > approach.timeOut) return ended(flag, 11006);
    return settledLongEnough() && minimumPathCovered() ? ended(flag, 80001) : 80000;
  }

  /// via is null for a line.
  int runTracking(const Vec<6>& from, const Vec<6>* via, const Vec<6>& to, const Vec<6>& pose) {
    if (basicsMissing()) return ended(inTracking, 11002);
    if (usable != &tracking) return ended(inTracking, 11001);
    if (!inTracking) {
      move = via == nullptr ? MOVEL : MOVEC;
      startTime = time;
      start = internal(from);
      via == nullptr ? prepareLine(internal(to)) : prepareArc(internal(*via), internal(to));
      lastCount = 0;
    }
    inApproach = false;
    inTracking = true;
    if (move == (via == nullptr ? MOVEC : MOVEL)) return ended(inTracking, 11003);
    const int code = cycle(inTracking, pose, tracking.frame, tracking.frame);
    if (code != 80000) return code;
    if (const int axes = trippedAxes()) return ended(inTracking, 80002 + axes);
    if (move == MOVEL && lineNow > 1.0 + lineSteps) return ended(inTracking, 80001);
    if (move == MOVEC && arcNow > 1.0 + arcSteps) return ended(inTracking, 80001);
    return 80000;
  }

  /// What a run that goes on delivers.
  Vec<6> delivered() const {
    Vec<6> pose = corrected;
    pose.head<3>() *= 1000.0;
    return pose;
  }
};

}  // namespace reference

#endif
