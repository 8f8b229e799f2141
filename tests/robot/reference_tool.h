// A second implementation of the tool's control cycle, for comparison bit by bit.
//
// Plain and slow: full 4 x 4 and 6 x 6 products from elementary rotations, everything computed anew
// in every cycle. It shares the public records and enumerations
// with the library, and no mathematics and no code. Time never passes here: a comparison that
// involves the time-out is made elsewhere.
#ifndef ZEL_FTC_TESTS_ROBOT_REFERENCE_TOOL_H
#define ZEL_FTC_TESTS_ROBOT_REFERENCE_TOOL_H

#include <algorithm>
#include <array>
#include <cmath>
#include <string>

#include "tests/matrix/reference.h"
#include "zel_ftc_types.h"

namespace reference {

inline Vec3 cross(const Vec3& a, const Vec3& b) {
  return {a[1] * b[2] - a[2] * b[1], -(a[0] * b[2] - a[2] * b[0]), a[0] * b[1] - a[1] * b[0]};
}
inline double dot(const Vec3& a, const Vec3& b) {
  return 0.0 + a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}
inline Vec3 minus(const Vec3& a, const Vec3& b) {
  return {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
}
inline double length(const Vec3& a) {
  return std::sqrt(dot(a, a));
}
inline double size(double x) {
  return x > 0 ? x : -x;
}

/// Inverse by sweeping the diagonal, without pivoting.
inline Matrix<3, 3> sweptInverse(Matrix<3, 3> M) {
  for (int k = 0; k < 3; ++k) {
    const double p = 1.0 / M[k][k];
    M[k][k] = p;
    for (int j = 0; j < 3; ++j) {
      if (j != k) M[k][j] = -p * M[k][j];
    }
    for (int i = 0; i < 3; ++i) {
      if (i != k) M[i][k] = M[i][k] * p;
    }
    for (int i = 0; i < 3; ++i) {
      for (int j = 0; j < 3; ++j) {
        if (i != k && j != k) M[i][j] = M[i][j] + M[i][k] * M[k][j] / p;
      }
    }
  }
  return M;
}

// ---- the tool
// -------------------------------------------------------------------------------------

/// Tracking differentiator.
struct Follower {
  double u = 0, x = 0, rate = 0;

  void step(double target, double r, double t) {
    const double d = r * t, d0 = t * d;
    const double y = (x - target) + t * rate;
    const double a0 = std::sqrt(d * d + 8 * r * std::fabs(y));
    double a;
    if (std::fabs(y) > d0) {
      a = rate + (a0 - d) / 2 * (y / std::fabs(y));
    } else {
      a = rate + y / t;
    }
    if (std::fabs(a) > d) {
      u = -r * a / std::fabs(a);
    } else {
      u = -r * a / d;
    }
    x = x + rate * t;
    rate = rate + u * t;
  }
};

struct Mode {
  int frame = 0, direction = 0;
  Vec6 expected{}, gain{}, band{};
  double speed = 0, touchForce = 0, touchTorque = 0;
};

struct Outcome {
  bool running = false;
  int code = 0;
  std::string text;
  bool readingTaken = false;  ///< sensor_code and sensor_ipoc were written
  Vec6 pose{};                ///< valid while running
};

struct Tool {
  // settings
  double dt = 0.008, deadForce = 0.25, deadTorque = 0.0025;
  Vec6 maxLoad{}, flange_sensor{}, sensor_tool{};
  double G = 0;
  Vec3 arm{};
  Mode approach, assembly, tracking;
  Vec3 boxMax{}, boxMin{}, minPathGroup{};
  double minPath = 0;
  bool useGroup = false;
  Vec6 permissible{};
  double pathLimit = 0, angleLimit = 0;
  bool hasLoad = false, hasLimit = false, hasMonitoring = false, hasCorrection = false;
  bool hasApproach = false, hasAssembly = false, hasTracking = false;

  // state
  bool inApproach = false, inAssembly = false, inTracking = false;
  int phase = 0, lastIpoc = 0;
  ZelMoveType move = MOVEJ;
  std::array<int, 20> stalled{}, settled{};
  Vec6 start{}, now{}, end{}, via{}, corrected{}, offset{}, startFromNow{};
  Vec6 reading{}, zero{}, gravity{}, toolWrench{}, baseWrench{}, wrench{};
  Vec6 last1{}, last2{}, last3{}, last4{}, jump{}, error{};
  double biasX = 0, biasY = 0;
  Follower leadForce, leadGain, leadReserve;
  Vec7 lineStep{}, arcStepBefore{}, arcStepAfter{}, nominal{};
  double lineSteps = 0, lineNow = 0, arcSteps = 0, arcVia = 0, arcNow = 0;
  double radius = 0, sweep = 0, viaAngle = 0;
  Vec3 centre{};
  Matrix<4, 4> circle{};

  // ---- settings: mm and ms in, m and s kept ----

  static Vec6 internal(const double* p) {
    return {0.001 * p[0], 0.001 * p[1], 0.001 * p[2], p[3], p[4], p[5]};
  }

  void contactMode(Mode& m, int frame, int direction, double expected, const double* gain,
                   double speed, double force, double torque, const double* band) {
    m = {};
    m.frame = frame;
    m.direction = direction;
    m.expected[direction] = expected;
    for (int i = 0; i < 6; ++i) {
      m.gain[i] = gain[i] * 0.001 * dt;
      m.band[i] = band[i];
    }
    m.speed = speed * 0.001;
    m.touchForce = force;
    m.touchTorque = torque;
    hasApproach = &m == &approach;
    hasAssembly = &m == &assembly;
    hasTracking = false;
    if (hasApproach) phase = 0;
  }

  void trackingMode(int frame, int direction, const double* expected, const double* gain,
                    const double* band, double speed) {
    tracking.frame = frame;
    tracking.direction = direction;
    tracking.speed = speed * 0.001;
    for (int i = 0; i < 6; ++i) {
      tracking.expected[i] = expected[i];
      tracking.gain[i] = gain[i] * 0.001 * dt;
      tracking.band[i] = band[i];
    }
    hasTracking = true;
    hasApproach = hasAssembly = false;
  }

  void clear() {
    hasApproach = hasTracking = inApproach = inTracking = false;
    settled.fill(0);
  }

  // ---- measurement ----

  Vec6 gravityAt(const Vec6& flange) const {
    const Matrix<4, 4> T = times(transformOf(flange), transformOf(flange_sensor));
    const double gx = T[2][0], gy = T[2][1], gz = T[2][2];
    return {G * gx,
            G * gy,
            G * gz,
            (gz * arm[1] - arm[2] * gy) * G,
            (gx * arm[2] - arm[0] * gz) * G,
            (gy * arm[0] - arm[1] * gx) * G};
  }

  Vec6 compensated() const {
    Vec6 w;
    for (int i = 0; i < 6; ++i) w[i] = (reading[i] + gravity[i]) - zero[i];
    return w;
  }

  Vec6 inToolFrame(const Vec6& w) const {
    const Matrix<4, 4> T = inverse(transformOf(sensor_tool));
    const Matrix<3, 3> R = rotationOf(T);
    const Vec3 p = originOf(T);
    const Matrix<3, 3> P = {{{0, -p[2], p[1]}, {p[2], 0, -p[0]}, {-p[1], p[0], 0}}};
    const Matrix<3, 3> N = times<3, 3, 3>(P, R);
    Matrix<6, 6> X{};
    Matrix<6, 1> f{};
    for (int i = 0; i < 3; ++i) {
      for (int j = 0; j < 3; ++j) {
        X[i][j] = R[i][j];
        X[i + 3][j] = N[i][j];
        X[i + 3][j + 3] = R[i][j];
      }
    }
    for (int i = 0; i < 6; ++i) f[i][0] = w[i];
    const Matrix<6, 1> r = times<6, 6, 1>(X, f);
    return {r[0][0], r[1][0], r[2][0], r[3][0], r[4][0], r[5][0]};
  }

  void measure(int frame) {
    gravity = gravityAt(now);
    const Vec6 w = compensated();
    toolWrench = inToolFrame(w);
    wrench = frame == WORLD || frame == BASE ? baseWrench : frame == TOOL ? toolWrench : w;
    for (int i = 0; i < 6; ++i) {
      const double dead = i < 3 ? deadForce : deadTorque;
      if (dead > std::fabs(wrench[i])) wrench[i] = 0.0;
    }
  }

  bool zeroAt(const double* pose, const double* ft, int ipoc) {
    if (ipoc == lastIpoc) return false;
    take(ft, ipoc);
    now = internal(pose);
    zero = gravityAt(now);
    for (int i = 0; i < 6; ++i) zero[i] = zero[i] + reading[i];
    return true;
  }

  bool read(const double* pose, const double* ft, int code, int ipoc, int frame) {
    if (code != FT_N0RMAL || !hasLoad) return false;
    now = internal(pose);
    take(ft, ipoc);
    measure(frame);
    return true;
  }

  Vec6 readWithoutGravity(const double* pose, const double* ft) {
    now = internal(pose);
    gravity = gravityAt(now);
    for (int i = 0; i < 6; ++i) reading[i] = ft[i];
    return compensated();
  }

  void take(const double* ft, int ipoc) {
    lastIpoc = ipoc;
    for (int i = 0; i < 6; ++i) reading[i] = ft[i];
  }

  // ---- tests ----

  static bool push(std::array<int, 20>& marks, bool mark) {
    int sum = 0;
    for (int i = 0; i < 19; ++i) marks[i] = marks[i + 1];
    marks[19] = mark ? 1 : 0;
    for (int m : marks) sum += m;
    return sum == 20;
  }

  static bool beyond(const Vec6& w, const Vec6& limit) {
    for (int i = 0; i < 6; ++i) {
      if (size(w[i]) > limit[i]) return true;
    }
    return false;
  }

  bool touches(const Mode& m) const {
    const double f = length({wrench[0], wrench[1], wrench[2]});
    const double t = length({wrench[3], wrench[4], wrench[5]});
    return t > m.touchTorque || f > m.touchForce;
  }

  bool correctedTooFar() {
    startFromNow = poseOf(times(inverse(transformOf(now)), transformOf(start)));
    const Vec6& o = startFromNow;
    return length({o[0], o[1], o[2]}) > pathLimit || length({o[3], o[4], o[5]}) > angleLimit;
  }

  bool settledLongEnough() {
    bool ok = true;
    for (int i = 0; i < 6; ++i) {
      error[i] = size(approach.expected[i] + wrench[i]);
      if (approach.band[i] == 0.0) continue;
      if (error[i] > approach.band[i]) ok = false;
    }
    return push(settled, ok);
  }

  bool minimumPathCovered() {
    startFromNow = poseOf(times(inverse(transformOf(now)), transformOf(start)));
    const Vec6& o = startFromNow;
    if (!useGroup) return length({o[0], o[1], o[2]}) > minPath;
    for (int i = 0; i < 3; ++i) {
      if (!(size(o[i]) > minPathGroup[i])) return false;
    }
    return true;
  }

  int trippedAxes() {
    static constexpr int weight[6] = {64, 32, 8, 4, 2, 1};
    int code = 0;
    for (int i = 0; i < 6; ++i) {
      jump[i] = 0.0;
      const double change = (last3[i] - last4[i]) + ((wrench[i] - last1[i]) +
                                                     (last1[i] - last2[i]) + (last2[i] - last3[i]));
      const double j = 8.0 * size(change);
      const double r = tracking.band[i], e = approach.expected[i] + wrench[i];
      if ((r > 0 && e > r && j > size(r)) || (r < 0 && r > e && j > size(r))) {
        jump[i] = j;
        code += weight[i];
      }
    }
    return code;
  }

  // ---- controller ----

  void proportional(const Mode& m) {
    offset[0] = (wrench[0] + m.expected[0]) * m.gain[0];
    offset[1] = (wrench[1] + m.expected[1]) * m.gain[1];
    offset[2] = (wrench[2] + m.expected[2]) * m.gain[2];
    offset[5] = (wrench[3] + m.expected[3]) * m.gain[3];
    offset[4] = (wrench[4] + m.expected[4]) * m.gain[4];
    offset[3] = (wrench[5] + m.expected[5]) * m.gain[5];
  }

  void stepTowards(const Mode& m) {
    static constexpr int written[6] = {0, 1, 2, 5, 4, 3};
    offset.fill(0.0);
    const double E = m.expected[m.direction];
    offset[written[m.direction]] = size(E) / E * m.speed * dt;
  }

  void leadIn(const Mode& m) {
    static constexpr int used[6] = {0, 1, 2, 5, 4, 3};
    static constexpr int written[6] = {0, 1, 2, 3, 4, 5};
    const int k = used[m.direction];
    leadForce.step(m.expected[k], 200.0, dt);
    leadGain.step(m.gain[k], 200.0, dt);
    offset[written[m.direction]] = (wrench[k] + leadForce.x) * leadGain.x;
  }

  void changePhase(int to) {
    phase = to;
    settled.fill(0);
  }

  void control() {
    if (inApproach) {
      if (phase == 0) {
        stepTowards(approach);
        if (touches(approach)) changePhase(1);
        if (approach.speed == 0.0) changePhase(1);
      } else if (phase == 1) {
        proportional(approach);
        leadIn(approach);
      } else if (phase == 2) {
        proportional(approach);
        offset[0] += approach.gain[0] * biasX;
        offset[1] += approach.gain[1] * biasY;
        const double z = startFromNow[2];
        if (z > 0 ? z > 0.003 : z < -0.003) changePhase(3);
      } else if (phase == 3) {
        proportional(approach);
      }
    } else if (inTracking) {
      proportional(tracking);
    } else if (inAssembly) {
      if (touches(assembly)) {
        proportional(assembly);
        leadIn(assembly);
      } else {
        stepTowards(assembly);
      }
    }
    last4 = last3;
    last3 = last2;
    last2 = last1;
    last1 = wrench;
  }

  // ---- correction ----

  Vec3 onCircle(double angle) const {
    const Matrix<4, 1> c = times<4, 4, 1>(
        circle, {{{radius * std::cos(angle)}, {radius * std::sin(angle)}, {0.0}, {1.0}}});
    return {c[0][0], c[1][0], c[2][0]};
  }

  void correctApproach(int frame) {
    const Matrix<4, 4> Te = transformOf(now), To = transformOf(offset);
    const Matrix<4, 4> Tf = transformOf(flange_sensor);
    Matrix<4, 4> T;
    if (frame == WORLD || frame == BASE) {
      T = times(To, Te);
    } else if (frame == TOOL) {
      T = times(times(times(Te, rotationOnly(flange_sensor)), rotationOnly(sensor_tool)), To);
    } else {
      T = times(times(times(Te, inverse(Tf)), Tf), To);
    }
    corrected = poseOf(T);
    for (int i = 0; i < 3; ++i) {
      if (boxMin[i] + start[i] > corrected[i]) corrected[i] = boxMin[i] + start[i];
      if (corrected[i] > boxMax[i] + start[i]) corrected[i] = boxMax[i] + start[i];
    }
  }

  void correctTracking(int frame) {
    const Matrix<4, 4> To = transformOf(offset), Tf = transformOf(flange_sensor);
    const Vec4 q = quaternionOf(transformOf(now));
    Vec7 next{};
    if (move == MOVEL) {
      for (int i = 0; i < 3; ++i) next[i] = now[i] + lineStep[i];
      for (int j = 0; j < 4; ++j) next[3 + j] = lineStep[3 + j] + q[j];
      for (int i = 0; i < 7; ++i) nominal[i] = nominal[i] + lineStep[i];
      lineNow += 1.0;
    } else {
      const Vec3 c1 = onCircle(arcNow * sweep / arcSteps);
      const Vec3 c0 = onCircle((arcNow - 1.0) * sweep / arcSteps);
      for (int i = 0; i < 3; ++i) {
        next[i] = (c1[i] + now[i]) - c0[i];
        nominal[i] = (c1[i] + nominal[i]) - c0[i];
      }
      const Vec7& turn = arcVia > arcNow ? arcStepBefore : arcStepAfter;
      for (int j = 0; j < 4; ++j) {
        next[3 + j] = turn[3 + j] + q[j];
        nominal[3 + j] = nominal[3 + j] + turn[3 + j];
      }
      arcNow += 1.0;
    }
    const Matrix<4, 4> Tn = transformOfQuaternion(next);
    Matrix<4, 4> T;
    if (frame == WORLD || frame == BASE) {
      T = times(To, Tn);
    } else if (frame == TOOL) {
      T = times(Tn, To);
    } else {
      T = times(times(times(Tn, inverse(Tf)), Tf), To);
    }
    corrected = poseOf(T);
  }

  // ---- paths ----

  void prepareLine() {
    const Vec4 qa = quaternionOf(transformOf(start)), qb = quaternionOf(transformOf(end));
    Vec7 d;
    for (int i = 0; i < 3; ++i) d[i] = end[i] - start[i];
    for (int j = 0; j < 4; ++j) d[3 + j] = qb[j] - qa[j];
    lineSteps = (length({d[0], d[1], d[2]}) / tracking.speed) / dt;
    for (int i = 0; i < 7; ++i) lineStep[i] = d[i] / lineSteps;
    lineNow = 1.0;
  }

  void prepareArc() {
    const auto position = [](const Vec6& p) { return Vec3{p[0], p[1], p[2]}; };
    const Vec3 P1 = position(start), P2 = position(via), P3 = position(end);
    const Vec3 n = cross(minus(P1, P3), minus(P2, P3));
    const Matrix<3, 3> A = {n, minus(P2, P1), minus(P3, P2)};
    const Matrix<3, 1> b = {
        {{dot(n, P3)}, {(dot(P2, P2) - dot(P1, P1)) / 2}, {(dot(P3, P3) - dot(P2, P2)) / 2}}};
    const Matrix<3, 3> At = transposed<3, 3>(A);
    const Matrix<3, 1> c =
        times<3, 3, 1>(times<3, 3, 3>(sweptInverse(times<3, 3, 3>(At, A)), At), b);
    centre = {c[0][0], c[1][0], c[2][0]};
    const Vec3 spoke = minus(P1, centre);
    radius = length(spoke);
    const double nn = length(n);
    const Vec3 x = {spoke[0] / radius, spoke[1] / radius, spoke[2] / radius};
    const Vec3 z = {n[0] / nn, n[1] / nn, n[2] / nn};
    const Vec3 y = cross(z, x);
    circle = transformOf({{{x[0], y[0], z[0]}, {x[1], y[1], z[1]}, {x[2], y[2], z[2]}}}, centre);

    const auto angleOf = [&](const Vec3& P) {
      const Matrix<4, 1> p = times<4, 4, 1>(inverse(circle), {{{P[0]}, {P[1]}, {P[2]}, {1.0}}});
      double angle = std::atan2(p[1][0], p[0][0]);
      if (angle < 0) angle = angle + 2 * 3.141592653589793;
      return angle;
    };
    viaAngle = angleOf(P2);
    const double endAngle = angleOf(P3);
    sweep = endAngle > viaAngle ? endAngle : -(6.283185307179586 - endAngle);
    arcVia = size(radius * viaAngle) / tracking.speed / dt;
    arcSteps = size(radius * sweep) / tracking.speed / dt;
    arcNow = 1.0;
    const Vec4 qa = quaternionOf(transformOf(start)), qb = quaternionOf(transformOf(via)),
               qc = quaternionOf(transformOf(end));
    for (int j = 0; j < 4; ++j) {
      arcStepAfter[3 + j] = (qc[j] - qb[j]) / (arcSteps - arcVia);
      arcStepBefore[3 + j] = (qb[j] - qa[j]) / arcVia;
    }
  }

  void preparePath() {
    const Vec4 q = quaternionOf(transformOf(start));
    nominal = {start[0], start[1], start[2], q[0], q[1], q[2], q[3]};
  }

  // ---- runs ----

  static Outcome ended(bool& flag, int code, const char* text, bool readingTaken) {
    flag = false;
    return {false, code, text, readingTaken, {}};
  }

  Outcome delivered(const char* text) const {
    const Vec6& c = corrected;
    return {
        true, 80000, text, true, {1000.0 * c[0], 1000.0 * c[1], 1000.0 * c[2], c[3], c[4], c[5]}};
  }

  bool basicsMissing(int code) const {
    return code != FT_N0RMAL || !hasLoad || !hasLimit || !hasMonitoring || !hasCorrection;
  }

  static constexpr const char* basicsText = "The basic parameters of force control are not set!!!";
  static constexpr const char* stallText = "Sensor timed out!!!";
  static constexpr const char* overloadText = "Sensor overload!!!";
  static constexpr const char* monitoringText = "Exceed the monitoring force value!!!";
  static constexpr const char* correctionText = "Exceeding the total correction value!!!";

  void startContact(const double* pose) {
    start = internal(pose);
    leadForce = {};
    leadGain = {};
    lastIpoc = 0;
  }

  Outcome runApproach(const double* pose, const double* ft, int code, int ipoc) {
    return runContact(true, pose, ft, code, ipoc);
  }

  Outcome runAssembly(const double* pose, const double* ft, int code, int ipoc) {
    return runContact(false, pose, ft, code, ipoc);
  }

  Outcome runContact(bool isApproach, const double* pose, const double* ft, int code, int ipoc) {
    bool& flag = isApproach ? inApproach : inAssembly;
    if (basicsMissing(code)) return ended(flag, 11002, basicsText, false);
    if (!(isApproach ? hasApproach : hasAssembly)) {
      return ended(flag, 11004, "The contact mode parameter is not set!!!", false);
    }
    if (!inApproach) startContact(pose);
    inApproach = isApproach;
    if (!isApproach) inAssembly = true;
    inTracking = false;
    now = internal(pose);
    if (push(stalled, lastIpoc == ipoc)) return ended(inAssembly, 10001, stallText, false);
    take(ft, ipoc);
    if (beyond(reading, maxLoad)) return ended(flag, 10002, overloadText, true);
    measure(approach.frame);  // of the approach, in both
    if (beyond(wrench, permissible)) return ended(flag, 11000, monitoringText, true);
    control();
    if (isApproach) correctApproach(approach.frame);
    if (correctedTooFar()) return ended(flag, 11005, correctionText, true);
    if (settledLongEnough() && minimumPathCovered()) return ended(flag, 80001, "End.", true);
    return delivered("Running.");
  }

  /// via is null for a line.
  Outcome runTracking(const double* from, const double* over, const double* to, const double* pose,
                      const double* ft, int code, int ipoc) {
    if (basicsMissing(code)) return ended(inTracking, 11002, basicsText, false);
    if (!hasTracking) {
      return ended(inTracking, 11001, "Correction mode parameters are not set!!", false);
    }
    const ZelMoveType wanted = over == nullptr ? MOVEL : MOVEC;
    if (!inTracking) {
      move = wanted;
      start = internal(from);
      end = internal(to);
      if (wanted == MOVEL) {
        prepareLine();
        leadReserve = {};
        leadReserve.x = tracking.expected[2];
      } else {
        via = internal(over);
        prepareArc();
      }
      preparePath();
      lastIpoc = 0;
    }
    inApproach = false;
    inTracking = true;
    if (move != wanted) {
      return ended(inTracking, 11003, "The movement instruction is messy, please call clear()!!",
                   false);
    }
    now = internal(pose);
    if (push(stalled, lastIpoc == ipoc)) return ended(inAssembly, 10001, stallText, false);
    take(ft, ipoc);
    if (beyond(reading, maxLoad)) return ended(inTracking, 10002, overloadText, true);
    measure(tracking.frame);
    if (beyond(wrench, permissible)) return ended(inTracking, 11000, monitoringText, true);
    control();
    correctTracking(tracking.frame);
    if (const int axes = trippedAxes()) return ended(inTracking, 80002 + axes, "End.", true);
    const bool over_ = wanted == MOVEL ? lineNow > 1.0 + lineSteps : arcNow > 1.0 + arcSteps;
    if (over_) return ended(inTracking, 80001, "End.", true);
    return delivered("Runing.");
  }
};

}  // namespace reference

#endif
