// Load identification from ten poses beside the same normal equations in Eigen.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "eigen_cycle.h"
#include "matrix/ldd_tool.h"
#include "support.h"
#include "zel_ftc_lib.h"

namespace {

using bench::require;
using bench::Six;
using Eigen::Dynamic;
using Eigen::Vector3d;
using eigen_cycle::Vector6;

const double weight = 25.0;
const Vector3d centre(0.010, -0.020, 0.060);
constexpr int samples = 10;

/// Readings of a known load with an offset, the robot standing still at ten orientations. The
/// sensor sits in the flange.
struct Recording {
  std::array<Six, samples> pose, wrench;

  Recording() {
    std::mt19937_64 random(20240521);
    std::uniform_real_distribution<double> u(-1.0, 1.0);
    for (std::size_t i = 0; i < samples; ++i) {
      pose[i] = {0.4 + 0.1 * u(random), 0.1 * u(random), 0.3 + 0.1 * u(random),
                 3.0 * u(random),       1.5 * u(random), 3.0 * u(random)};
      const auto T = eigen_cycle::transformOf(Vector6(pose[i].data()));
      const Vector3d force = -weight * T.linear().row(2).transpose();
      Eigen::Map<Vector6>(wrench[i].data()) << force + Vector3d(1, -2, 3),
          centre.cross(force) + Vector3d(0.1, -0.2, 0.3);
    }
  }
};

const Recording recording;

struct Load {
  double weight;
  Vector3d centre;
};

void requireLoad(const Load& load, double sign, const char* what) {
  require(std::fabs(load.weight - weight) < 1e-9 && (load.centre - sign * centre).norm() < 1e-9,
          what);
}

void lddToolIdentification(benchmark::State& state) {
  ldd_tool tool;
  for (std::size_t i = 0; i < samples; ++i) {
    Six wrench = recording.wrench[i];
    robot_pose_para_t poses = {};
    std::copy_n(recording.pose[i].data(), 6, poses.pose_base2tcp);
    tool.recordCalibrationLoadData(wrench.data(), poses);
  }
  for (auto _ : state) {
    tool.gravityCalibration();
    benchmark::DoNotOptimize(tool._load_para);
  }
  const load_para& p = tool._load_para;
  requireLoad({p.g, {p.lx, p.ly, p.lz}}, 1, "ldd_tool finds another load");
}
BENCHMARK(lddToolIdentification)->Unit(benchmark::kMicrosecond);

void flatIdentification(benchmark::State& state) {
  Six maxLoad = {600, 600, 800, 15, 15, 15}, none = {};
  zel_ftc_close();
  require(zel_ftc_open(true) == 1 &&
              zel_ftc_setSensorConfig(maxLoad.data(), none.data(), none.data()) == 1,
          "a setting was refused");
  for (std::size_t i = 0; i < samples; ++i) {
    Six pose = recording.pose[i], wrench = recording.wrench[i];
    for (std::size_t k = 0; k < 3; ++k) pose[k] *= 1000;
    require(zel_ftc_recordCalibrationLoadData(wrench.data(), pose.data()) == 1,
            "a sample was refused");
  }
  for (auto _ : state) benchmark::DoNotOptimize(zel_ftc_gravityCalibration());

  double g = 0, lx = 0, ly = 0, lz = 0;
  {
    const bench::Quiet quiet;
    require(zel_ftc_getLoadData(&g, &lx, &ly, &lz) == 1, "no load identified");
  }
  zel_ftc_close();
  // The tool's moment model has the factors the other way round: the centre comes out mirrored.
  requireLoad({g, Vector3d(lx, ly, lz) / 1000}, -1, "the flat interface finds another load");
}
BENCHMARK(flatIdentification)->Unit(benchmark::kMicrosecond);

template <typename Tall, typename Column>
Vector6 solveNormalEquations(const Tall& A, const Column& b) {
  const eigen_cycle::Matrix6 AtA = A.transpose() * A;
  return AtA.inverse() * (A.transpose() * b);
}

template <typename Tall, typename Column>
Load identify(const Recording& r) {
  Tall momentRows(3 * samples, 6), forceRows(3 * samples, 6);
  Column moments(3 * samples), forces(3 * samples);
  for (int k = 0; k < samples; ++k) {
    const auto i = static_cast<std::size_t>(k);
    const Eigen::Map<const Vector6> wrench(r.wrench[i].data());
    const Vector3d F = wrench.head<3>();
    moments.template segment<3>(3 * k) = wrench.tail<3>();
    forces.template segment<3>(3 * k) = F;
    momentRows.template block<3, 3>(3 * k, 0) << 0, F.z(), -F.y(),  //
        -F.z(), 0, F.x(),                                           //
        F.y(), -F.x(), 0;
    forceRows.template block<3, 3>(3 * k, 0) =
        eigen_cycle::transformOf(Vector6(r.pose[i].data())).linear().transpose();
    momentRows.template block<3, 3>(3 * k, 3).setIdentity();
    forceRows.template block<3, 3>(3 * k, 3).setIdentity();
  }
  return {solveNormalEquations(forceRows, forces).template head<3>().norm(),
          solveNormalEquations(momentRows, moments).template head<3>()};
}

template <typename Tall, typename Column>
void eigenIdentification(benchmark::State& state) {
  Load load{};
  for (auto _ : state) benchmark::DoNotOptimize(load = identify<Tall, Column>(recording));
  requireLoad(load, 1, "the Eigen version finds another load");
}
/// Room for ten poses without the heap, as in the library.
void eigenInlineIdentification(benchmark::State& state) {
  constexpr int rows = 3 * samples;
  eigenIdentification<Eigen::Matrix<double, Dynamic, 6, 0, rows, 6>,
                      Eigen::Matrix<double, Dynamic, 1, 0, rows, 1>>(state);
}
void eigenDynamicIdentification(benchmark::State& state) {
  eigenIdentification<Eigen::MatrixXd, Eigen::VectorXd>(state);
}
BENCHMARK(eigenInlineIdentification)->Unit(benchmark::kMicrosecond);
BENCHMARK(eigenDynamicIdentification)->Unit(benchmark::kMicrosecond);

}  // namespace
