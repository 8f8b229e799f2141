// One control cycle through the flat interface (feed a reading, run) beside the same cycle written
// with Eigen, and the transform operations of both.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <random>

#include "eigen_cycle.h"
#include "matrix/rigidtransform.h"
#include "matrix/rmatrix.h"
#include "zel_ftc_lib.h"

namespace {

using Six = std::array<double, 6>;

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

Six maxLoad = {600, 600, 800, 15, 15, 15};
Six permitted = {200, 200, 200, 10, 10, 10};
Six flange_sensor = {1, -2, 40, 0.5, 0.02, -0.01};
Six sensor_tool = {3, 4, 120, -0.5, 0.01, 0.03};
Six gain = {1, 1, 2, 5, 5, 5};
Six band = {0.001, 0.001, 0.001, 0.001, 0.001, 0.001};
constexpr double weight = 12.0, centre[3] = {2, -1, 45};

void require(bool ok) {
  if (!ok) std::abort();
}

void openInContact(ZelRcs rcs) {
  double upper[3] = {50, 50, 50}, lower[3] = {-50, -50, -50};
  zel_ftc_close();
  require(zel_ftc_open(true) == 1 && zel_ftc_initialFTSensor(0, nullptr) == 1);
  require(zel_ftc_setTimeStep(4) == 1);
  require(zel_ftc_setSensorConfig(maxLoad.data(), flange_sensor.data(), sensor_tool.data()) == 1);
  require(zel_ftc_setLoadData(weight, centre[0], centre[1], centre[2]) == 1);
  require(zel_ftc_setCorrectionLimit(upper, lower, 1) == 1);
  require(zel_ftc_setMonitoringFunctions(permitted.data()) == 1);
  require(zel_ftc_setCorrectionMonitoring(1000, 10) == 1);
  // The configuration prints its values; keep them out of the table.
  std::fflush(stdout);
  const int terminal = dup(1), nowhere = open("/dev/null", O_WRONLY);
  dup2(nowhere, 1);
  require(zel_ftc_configApproachMode(rcs, FT_FZ, -10, gain.data(), 5, 1, 1, band.data(),
                                     1000000000) == 1);
  std::fflush(stdout);
  dup2(terminal, 1);
  close(terminal);
  close(nowhere);
}

void flatApproachCycle(benchmark::State& state) {
  openInContact(static_cast<ZelRcs>(state.range(0)));
  std::size_t i = 0;
  Six out{};
  zel_ftc_error err{};
  for (auto _ : state) {
    Six pose = workload.pose[i % Workload::size], wrench = workload.wrench[i % Workload::size];
    ++i;
    zel_ftc_obtainFTSensorData(wrench.data());
    benchmark::DoNotOptimize(zel_ftc_runApproach(out.data(), pose.data(), &err));
    benchmark::DoNotOptimize(out);
  }
  require(err.ftc_code == ZEL_RUN_RUNNING);
  zel_ftc_close();
}

eigen_cycle::Vector6 vector(const Six& v) {
  return eigen_cycle::Vector6(v.data());
}

eigen_cycle::Vector6 metres(const Six& pose) {
  eigen_cycle::Vector6 v = vector(pose);
  v.head<3>() *= 0.001;
  return v;
}

void eigenApproachCycle(benchmark::State& state, bool sharesCurrentPose) {
  eigen_cycle::Approach::Config c;
  c.rcs = static_cast<ZelCartesianCoordinate>(state.range(0));
  c.direction = FZ;
  c.expected.setZero();
  c.expected[FZ] = -10;
  c.period = 0.004;
  c.gain = vector(gain) * 0.001 * c.period;
  c.band = vector(band);
  c.permitted = vector(permitted);
  c.maxLoad = vector(maxLoad);
  c.speed = 0.005;
  c.touchForce = c.touchTorque = 1;
  c.timeOut = 1e9;
  c.minPath = 0;
  c.weight = weight;
  c.centre = Eigen::Vector3d(centre) * 0.001;
  c.upper.setConstant(0.05);
  c.lower.setConstant(-0.05);
  c.pathLimit = 1;
  c.angleLimit = 10;
  c.deadForce = 0.25;
  c.deadTorque = 0.0025;
  c.flange_sensor = metres(flange_sensor);
  c.sensor_tool = metres(sensor_tool);
  c.sharesCurrentPose = sharesCurrentPose;
  eigen_cycle::Approach approach(c);

  std::size_t i = 0;
  Six out{};
  zel_ftc_error err{};
  for (auto _ : state) {
    Six pose = workload.pose[i % Workload::size], wrench = workload.wrench[i % Workload::size];
    ++i;
    approach.feed(wrench.data());
    benchmark::DoNotOptimize(approach.cycle(out.data(), pose.data(), &err));
    benchmark::DoNotOptimize(out);
  }
  require(err.ftc_code == ZEL_RUN_RUNNING);
}

BENCHMARK(flatApproachCycle)->ArgName("rcs")->Arg(WORLD)->Arg(TOOL)->Arg(SENSOR);
BENCHMARK_CAPTURE(eigenApproachCycle, stepByStep, false)
    ->ArgName("rcs")
    ->Arg(WORLD)
    ->Arg(TOOL)
    ->Arg(SENSOR);
BENCHMARK_CAPTURE(eigenApproachCycle, poseShared, true)
    ->ArgName("rcs")
    ->Arg(WORLD)
    ->Arg(TOOL)
    ->Arg(SENSOR);

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
  overPoses(state, [](const Six& p) { return RMatrix::Pos2TR(RVector(p.data(), 6), ZYX); });
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
  const RMatrix A = RMatrix::Pos2TR(RVector(workload.pose[0].data(), 6), ZYX);
  RMatrix B = RMatrix::Pos2TR(RVector(workload.pose[1].data(), 6), ZYX);
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
