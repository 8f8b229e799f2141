// One control cycle through the flat interface (feed a reading, run), approach, line and arc,
// beside the same cycle written with Eigen, and the transform operations of both.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <random>
#include <string>

#include "eigen_cycle.h"
#include "ft/ZelForceSensorEtherNetUDP.h"
#include "matrix/rigidtransform.h"
#include "matrix/rmatrix.h"
#include "support.h"
#include "zel_ftc_guard.h"
#include "zel_ftc_lib.h"

namespace {

using bench::require;
using bench::Six;

/// Poses and readings that differ from cycle to cycle, around a working point, in contact.
struct Workload {
  static constexpr std::size_t size = 1024;
  std::array<Six, size> pose, wrench;

  Workload() {
    std::mt19937_64 random(20240521);
    std::uniform_real_distribution<double> u(-1.0, 1.0);
    for (std::size_t i = 0; i < size; ++i) {
      pose[i] = {450 + u(random),        -120 + u(random),        300 + u(random),
                 0.4 + 0.01 * u(random), -0.3 + 0.01 * u(random), 2.9 + 0.01 * u(random)};
      wrench[i] = {3 * u(random),   3 * u(random),   12 + u(random),
                   0.2 * u(random), 0.2 * u(random), 0.2 * u(random)};
    }
  }
};

const Workload workload;

// ---- cycles ------------------------------------------------------------------------------------

Six maxLoad = {600, 600, 800, 15, 15, 15};
Six permitted = {200, 200, 200, 10, 10, 10};
Six flange_sensor = {1, -2, 40, 0.5, 0.02, -0.01};
Six sensor_tool = {3, 4, 120, -0.5, 0.01, 0.03};
Six expected = {0, 0, -10, 0, 0, 0};
Six gain = {1, 1, 2, 5, 5, 5};
Six settledBand = {0.001, 0.001, 0.001, 0.001, 0.001, 0.001};
Six breakBand = {50, 50, 50, 50, 50, 50};
constexpr double weight = 12.0, centre[3] = {2, -1, 45};
constexpr double period = 4, approachSpeed = 5;

// 100 m at 0.01 mm/s: no measurement lives to see the end.
constexpr double pathSpeed = 0.01;
Six pathStart = {0, 0, 0, 0.4, -0.3, 2.9};
Six pathVia = {50e3, 50e3, 0, 0.5, -0.3, 2.8};
Six pathEnd = {100e3, 0, 0, 0.6, -0.2, 2.9};

void openConfigured() {
  double upper[3] = {50, 50, 50}, lower[3] = {-50, -50, -50};
  zel_ftc_close();
  const bool ok =
      zel_ftc_open(true) == 1 && zel_ftc_initialFTSensor(0, nullptr) == 1 &&
      zel_ftc_setTimeStep(period) == 1 &&
      zel_ftc_setSensorConfig(maxLoad.data(), flange_sensor.data(), sensor_tool.data()) == 1 &&
      zel_ftc_setLoadData(weight, centre[0], centre[1], centre[2]) == 1 &&
      zel_ftc_setCorrectionLimit(upper, lower, 1) == 1 &&
      zel_ftc_setMonitoringFunctions(permitted.data()) == 1 &&
      zel_ftc_setCorrectionMonitoring(1000, 10) == 1;
  require(ok, "a setting was refused");
}

eigen_cycle::Vector6 vector(const Six& v) {
  return eigen_cycle::Vector6(v.data());
}

eigen_cycle::Vector6 metres(const Six& pose) {
  eigen_cycle::Vector6 v = vector(pose);
  v.head<3>() *= 0.001;
  return v;
}

eigen_cycle::Config eigenConfig(ZelCartesianCoordinate rcs, bool sharesCurrentPose) {
  eigen_cycle::Config c;
  c.rcs = rcs;
  c.expected = vector(expected);
  c.period = 0.001 * period;
  c.gain = vector(gain) * 0.001 * c.period;
  c.permitted = vector(permitted);
  c.maxLoad = vector(maxLoad);
  c.weight = weight;
  c.centre = Eigen::Vector3d(centre) * 0.001;
  c.deadForce = 0.25;
  c.deadTorque = 0.0025;
  c.flange_sensor = metres(flange_sensor);
  c.sensor_tool = metres(sensor_tool);
  c.sharesCurrentPose = sharesCurrentPose;
  return c;
}

/// Each mode: its configuration and its cycle through the flat interface, and the same in Eigen.
struct Approach {
  static void configure(ZelRcs rcs) {
    const bench::Quiet quiet;
    require(zel_ftc_configApproachMode(rcs, FT_FZ, expected[2], gain.data(), approachSpeed, 1, 1,
                                       settledBand.data(), 1000000000) == 1,
            "the mode was refused");
  }
  static int run(Six& out, Six& pose, zel_ftc_error& err) {
    return zel_ftc_runApproach(out.data(), pose.data(), &err);
  }
  static eigen_cycle::Approach inEigen(eigen_cycle::Config c) {
    c.band = vector(settledBand);
    eigen_cycle::ApproachConfig a;
    a.direction = FZ;
    a.speed = 0.001 * approachSpeed;
    a.touchForce = a.touchTorque = 1;
    a.timeOut = 1e9;
    a.minPath = 0;
    a.upper.setConstant(0.05);
    a.lower.setConstant(-0.05);
    a.pathLimit = 1;
    a.angleLimit = 10;
    return {c, a};
  }
};

struct Tracking {
  static void configure(ZelRcs rcs) {
    require(zel_ftc_configTrackingMotionMode(rcs, FT_FZ, expected.data(), gain.data(),
                                             breakBand.data(), pathSpeed) == 1,
            "the mode was refused");
  }
  template <typename Path>
  static eigen_cycle::Tracking<Path> follow(eigen_cycle::Config c, const Path& path) {
    c.band = vector(breakBand);
    return {c, path, metres(pathStart)};
  }
};

struct Line : Tracking {
  static int run(Six& out, Six& pose, zel_ftc_error& err) {
    return zel_ftc_runTrackingMotionL(out.data(), pathStart.data(), pathEnd.data(), pose.data(),
                                      &err);
  }
  static auto inEigen(const eigen_cycle::Config& c) {
    return follow(
        c, eigen_cycle::Line(metres(pathStart), metres(pathEnd), 0.001 * pathSpeed, c.period));
  }
};

struct Arc : Tracking {
  static int run(Six& out, Six& pose, zel_ftc_error& err) {
    return zel_ftc_runTrackingMotionC(out.data(), pathStart.data(), pathVia.data(), pathEnd.data(),
                                      pose.data(), &err);
  }
  static auto inEigen(const eigen_cycle::Config& c) {
    return follow(c, eigen_cycle::Arc(metres(pathStart), metres(pathVia), metres(pathEnd),
                                      0.001 * pathSpeed, c.period));
  }
};

/// Measures `cycle(wrench, pose, out, err)` over the workload.
template <typename Cycle>
void overCycles(benchmark::State& state, Cycle cycle) {
  std::size_t i = 0;
  Six out{};
  zel_ftc_error err{};
  for (auto _ : state) {
    Six pose = workload.pose[i % Workload::size], wrench = workload.wrench[i % Workload::size];
    ++i;
    benchmark::DoNotOptimize(cycle(wrench, pose, out, err));
    benchmark::DoNotOptimize(out);
  }
  require(err.ftc_code == ZEL_RUN_RUNNING, "the run has ended");
}

template <typename Mode>
void flatCycle(benchmark::State& state) {
  openConfigured();
  Mode::configure(static_cast<ZelRcs>(state.range(0)));
  overCycles(state, [](Six& wrench, Six& pose, Six& out, zel_ftc_error& err) {
    zel_ftc_obtainFTSensorData(wrench.data());
    return Mode::run(out, pose, err);
  });
  zel_ftc_close();
}

/// The same with the guard behind it, every limit on.
template <typename Mode>
void guardedCycle(benchmark::State& state) {
  openConfigured();
  Mode::configure(static_cast<ZelRcs>(state.range(0)));
  for (int limit = 0; limit < ZEL_GUARD_LIMIT_COUNT; ++limit) {
    require(zel_ftc_setGuardLimit(static_cast<ZelGuardLimit>(limit), 1e9, ZEL_GUARD_HOLD) == 1,
            "a limit was refused");
  }
  zel_ftc_guard_verdict verdict{};
  overCycles(state, [&](Six& wrench, Six& pose, Six& out, zel_ftc_error& err) {
    zel_ftc_obtainFTSensorData(wrench.data());
    Mode::run(out, pose, err);
    return zel_ftc_guard(out.data(), pose.data(), &verdict);
  });
  require(verdict.event == 0, "the guard has tripped");
  zel_ftc_close();
}

/// Both cycles command the same poses: otherwise their times are not to be compared.
template <typename Mode, typename EigenCycle>
void requireAgreement(int rcs, EigenCycle cycle) {
  openConfigured();
  Mode::configure(static_cast<ZelRcs>(rcs));
  for (std::size_t i = 0; i < Workload::size; ++i) {
    Six pose = workload.pose[i], wrench = workload.wrench[i], flat{}, eigen{};
    zel_ftc_error err{};
    zel_ftc_obtainFTSensorData(wrench.data());
    cycle.feed(wrench.data());
    require(Mode::run(flat, pose, err) == 1 && cycle.cycle(eigen.data(), pose.data(), &err) == 1,
            "the run has ended");
    for (std::size_t k = 0; k < 6; ++k) {
      require(std::fabs(flat[k] - eigen[k]) < 1e-9, "the Eigen cycle commands another pose");
    }
  }
  zel_ftc_close();
}

template <typename Mode>
void eigenCycle(benchmark::State& state, bool sharesCurrentPose) {
  const int rcs = static_cast<int>(state.range(0));
  auto cycle =
      Mode::inEigen(eigenConfig(static_cast<ZelCartesianCoordinate>(rcs), sharesCurrentPose));
  requireAgreement<Mode>(rcs, cycle);
  overCycles(state, [&](Six& wrench, Six& pose, Six& out, zel_ftc_error& err) {
    cycle.feed(wrench.data());
    return cycle.cycle(out.data(), pose.data(), &err);
  });
}

template <typename Mode>
bool registerCycles(const std::string& mode) {
  using benchmark::RegisterBenchmark;
  const auto inFrames = [](benchmark::internal::Benchmark* b) {
    b->ArgName("rcs")->Arg(WORLD)->Arg(TOOL)->Arg(SENSOR);
  };
  inFrames(RegisterBenchmark(("flat" + mode + "Cycle").c_str(), flatCycle<Mode>));
  inFrames(RegisterBenchmark(("guarded" + mode + "Cycle").c_str(), guardedCycle<Mode>));
  const std::string eigen = "eigen" + mode + "Cycle/";
  inFrames(RegisterBenchmark((eigen + "stepByStep").c_str(), eigenCycle<Mode>, false));
  inFrames(RegisterBenchmark((eigen + "poseShared").c_str(), eigenCycle<Mode>, true));
  return true;
}
[[maybe_unused]] const bool registered = registerCycles<Approach>("Approach") &&
                                         registerCycles<Line>("Line") && registerCycles<Arc>("Arc");

// ---- frames of the network sensor ---------------------------------------------------------------

/// What the unpack thread does with a data frame: decode, judge, count, hand over.
void networkFrame(benchmark::State& state) {
  SensorEtherNet_UDP sensor;
  std::uint8_t body[27] = {0, 0, SensorEtherNet_UDP::COMMAND_CONTINUE_CAPTURE, 1, 2};
  for (auto _ : state) sensor.updatData(body, sizeof body);
}
BENCHMARK(networkFrame);

// ---- transform operations ----------------------------------------------------------------------

template <typename Operation>
void overPoses(benchmark::State& state, Operation operation) {
  std::size_t i = 0;
  for (auto _ : state) {
    auto result = operation(workload.pose[i++ % Workload::size]);
    benchmark::DoNotOptimize(result);
  }
}

void zelPoseToTransform(benchmark::State& state) {
  overPoses(state, [](const Six& p) { return zel::transformFromPose(p.data()); });
}
void matrixPoseToTransform(benchmark::State& state) {
  overPoses(state, [](Six p) { return RMatrix::Pos2TR(RVector(p.data(), 6), ZYX); });
}
void eigenPoseToTransform(benchmark::State& state) {
  overPoses(state, [](const Six& p) { return eigen_cycle::transformOf(vector(p)); });
}
BENCHMARK(zelPoseToTransform);
BENCHMARK(matrixPoseToTransform);
BENCHMARK(eigenPoseToTransform);

void zelProduct(benchmark::State& state) {
  const auto A = zel::transformFromPose(workload.pose[0].data());
  auto B = zel::transformFromPose(workload.pose[1].data());
  for (auto _ : state) {
    benchmark::DoNotOptimize(B);
    benchmark::DoNotOptimize(B = zel::inverse(A) * B);
  }
}
void matrixProduct(benchmark::State& state) {
  Six a = workload.pose[0], b = workload.pose[1];
  const RMatrix A = RMatrix::Pos2TR(RVector(a.data(), 6), ZYX);
  RMatrix B = RMatrix::Pos2TR(RVector(b.data(), 6), ZYX);
  for (auto _ : state) {
    benchmark::DoNotOptimize(B);
    B = RMatrix::TrInv(A) * B;
    benchmark::DoNotOptimize(B);
  }
}
void eigenProduct(benchmark::State& state) {
  const auto A = eigen_cycle::transformOf(vector(workload.pose[0]));
  auto B = eigen_cycle::transformOf(vector(workload.pose[1]));
  for (auto _ : state) {
    benchmark::DoNotOptimize(B);
    B = A.inverse() * B;
    benchmark::DoNotOptimize(B);
  }
}
BENCHMARK(zelProduct);
BENCHMARK(matrixProduct);
BENCHMARK(eigenProduct);

void zelTransformToPose(benchmark::State& state) {
  const auto T = zel::transformFromPose(workload.pose[0].data());
  Six pose{};
  for (auto _ : state) {
    zel::poseFromTransform(T, pose.data());
    benchmark::DoNotOptimize(pose);
  }
}
void eigenTransformToPose(benchmark::State& state) {
  const auto T = eigen_cycle::transformOf(vector(workload.pose[0]));
  for (auto _ : state) benchmark::DoNotOptimize(eigen_cycle::poseOf(T));
}
BENCHMARK(zelTransformToPose);
BENCHMARK(eigenTransformToPose);

}  // namespace
