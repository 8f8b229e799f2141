// What the identification promises about its numbers: agreement with ldd_tool, honest deviations,
// what the poses cannot tell, which pose comes next.
#include "analysis/identification.h"

#include <gmock/gmock.h>

#include <limits>
#include <numbers>
#include <sstream>

#include "matrix/ldd_tool.h"
#include "tests/analysis/recorded_set.h"

namespace {

using namespace zel::test;
using testing::HasSubstr;
using zel::analysis::Angles;
using zel::analysis::Estimate;
using zel::analysis::identify;
using zel::analysis::Mistake;
using zel::analysis::Report;
using zel::analysis::Solution;
using zel::analysis::Verdict;

RecordedSet recorded(std::uint64_t seed, std::size_t poses) {
  RecordedSet set(seed);
  while (set.R.size() < poses) set.R.push_back(set.anyTurn());
  set.R.resize(poses);
  set.record();
  return set;
}

const zel::analysis::Finding* find(const Report& report, Mistake what) {
  for (const auto& finding : report.findings) {
    if (finding.what == what) return &finding;
  }
  return nullptr;
}

TEST(Identification, AgreesWithLddToolWhereTheModelIsTheSame) {
  for (std::uint64_t seed = 1; seed <= 50; ++seed) {
    RecordedSet set = recorded(seed, 4 + seed % 7);
    // Any offset of the sensor from the flange: stated there and here.
    const Angles mounting = {0.3, -0.5, 0.7};
    ldd_tool tool;
    for (std::size_t k = 0; k < set.R.size(); ++k) {
      const Matrix3d R_base_flange =
          set.R[k] * matrixOf(zel::analysis::Orientation(mounting)).transpose();
      set.poses[k].orientation = anglesOf(R_base_flange);
      const auto [a, b, c] = anglesOf(R_base_flange);
      const robot_pose_para_t poses = {
          {0, 0, 0, a, b, c}, {}, {0, 0, 0, mounting.a, mounting.b, mounting.c}};
      tool.recordCalibrationLoadData(set.poses[k].wrench.data(), poses);
    }
    tool.gravityCalibration();
    const Solution answer = identify(set.poses, {.mounting = mounting}).recorded;
    load_para_t load;
    tool.getLoadPara(&load);
    EXPECT_NEAR(answer.weight.value, load.g, 1e-9 * load.g) << "seed " << seed;
    EXPECT_NEAR(answer.centre_on_measured_forces[0], 1000 * load.lx, 1e-5) << "seed " << seed;
    EXPECT_NEAR(answer.centre_on_measured_forces[1], 1000 * load.ly, 1e-5) << "seed " << seed;
    EXPECT_NEAR(answer.centre_on_measured_forces[2], 1000 * load.lz, 1e-5) << "seed " << seed;
  }
}

// Errors over deviations have the mean square 1, up to the few degrees of freedom behind a
// deviation; the centre on fitted gravity is the better one.
TEST(Identification, DeviationsAreThoseOfTheErrors) {
  constexpr int sets = 300;
  double squares[10] = {}, better = 0.0, worse = 0.0;
  for (int seed = 1; seed <= sets; ++seed) {
    RecordedSet set(static_cast<std::uint64_t>(seed));
    set.cell.force_noise = 0.5;
    set.cell.torque_noise = 0.01;
    set.R.resize(6 + seed % 3, set.anyTurn());
    set.record();
    const Solution answer = identify(set.poses).recorded;
    const auto count = [&](int i, const Estimate& estimate, double truth) {
      squares[i] += std::pow((estimate.value - truth) / estimate.deviation, 2) / sets;
    };
    count(0, answer.weight, set.cell.load.weight);
    for (int i = 0; i < 3; ++i) {
      count(1 + i, answer.centre[i], set.cell.load.centre[i]);
      count(4 + i, answer.force_offset[i], set.cell.offset[i]);
      count(7 + i, answer.torque_offset[i], set.cell.offset[3 + i]);
      better += std::pow(answer.centre[i].value - set.cell.load.centre[i], 2);
      worse += std::pow(answer.centre_on_measured_forces[i] - set.cell.load.centre[i], 2);
    }
  }
  for (int i = 0; i < 10; ++i) {
    EXPECT_GT(squares[i], 0.8) << "quantity " << i;
    EXPECT_LT(squares[i], 1.5) << "quantity " << i;
  }
  EXPECT_LT(better, 0.5 * worse);
}

TEST(Identification, WithoutWhatWentWrongTheAnswerIsRight) {
  for (std::uint64_t seed = 1; seed <= 20; ++seed) {
    RecordedSet set = recorded(seed, 14);
    set.add(4, {5, -8, 3}, {0.6, 0.5, 0.1});
    const auto settled = [](double t) { return std::min(t / 0.5, 1.0) - 1.0; };
    set.drift(settled);
    const Report report = identify(set.poses);
    ASSERT_TRUE(report.corrected && report.load_data);
    const auto honest = [&](const Estimate& estimate, double truth) {
      EXPECT_NEAR(estimate.value, truth, 5 * estimate.deviation) << "seed " << seed;
    };
    honest(report.corrected->weight, set.cell.load.weight);
    EXPECT_EQ((*report.load_data)[0], report.corrected->weight.value);
    for (int i = 0; i < 3; ++i) {
      honest(report.corrected->centre[i], set.cell.load.centre[i]);
      honest(report.corrected->force_offset[i], set.cell.offset[i]);
      EXPECT_EQ((*report.load_data)[1 + i], report.corrected->centre[i].value);
    }
    ASSERT_NE(find(report, Mistake::drift), nullptr) << "seed " << seed;
    EXPECT_THAT(find(report, Mistake::drift)->text, HasSubstr("steady from pose 8 on"));
    EXPECT_EQ(report.worst[0], 4u);
    EXPECT_TRUE(report.residuals[4].left_out);
    EXPECT_NEAR(Vector3d::Map(report.residuals[4].force.data()).norm(), 9.9, 1.0);
  }
}

}  // namespace
