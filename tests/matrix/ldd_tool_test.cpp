#include "matrix/ldd_tool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <vector>

#include "tests/matrix/reference.h"

namespace {

using reference::Matrix4;
using reference::pi;
using reference::Pose;
using reference::sameBits;
using Wrench = std::array<double, 6>;

struct Load {
  double weight;
  std::array<double, 3> centre;
};

Pose randomPose(std::mt19937_64& random) {
  Pose pose;
  for (int i = 0; i < 3; ++i) pose[i] = reference::uniform(random, -1.0, 1.0);
  for (int i = 3; i < 6; ++i) pose[i] = reference::uniform(random, -3.0, 3.0);
  return pose;
}

robot_pose_para_t arrays(const Pose& tcp, const Pose& tool, const Pose& ft) {
  robot_pose_para_t poses;
  std::copy(tcp.begin(), tcp.end(), poses.pose_base2tcp);
  std::copy(tool.begin(), tool.end(), poses.pose_flange2tool);
  std::copy(ft.begin(), ft.end(), poses.pose_flange2ft_tool);
  return poses;
}

robot_pose_rvector_para_t vectors(robot_pose_para_t poses) {
  robot_pose_rvector_para_t v;
  v.pose_base2tcp = RVector(poses.pose_base2tcp, 6);
  v.pose_flange2tool = RVector(poses.pose_flange2tool, 6);
  v.pose_flange2ft_tool = RVector(poses.pose_flange2ft_tool, 6);
  return v;
}

Matrix4 transform(const double* pose) {
  return reference::transformOf(Pose{pose[0], pose[1], pose[2], pose[3], pose[4], pose[5]});
}

Matrix4 sensorInBase(const robot_pose_para_t& poses) {
  return reference::times(reference::times(transform(poses.pose_base2tcp),
                                           reference::inverse(transform(poses.pose_flange2tool))),
                          transform(poses.pose_flange2ft_tool));
}

/// What the weight does to the sensor: the force points down, the torque is centre x force.
Wrench weightOnSensor(const Load& load, const Matrix4& T_base_ft) {
  Wrench w{};
  for (int i = 0; i < 3; ++i) w[i] = -load.weight * T_base_ft[2][i];
  const auto& c = load.centre;
  w[3] = c[1] * w[2] - c[2] * w[1];
  w[4] = c[2] * w[0] - c[0] * w[2];
  w[5] = c[0] * w[1] - c[1] * w[0];
  return w;
}

Wrench operator+(const Wrench& a, const Wrench& b) {
  Wrench sum;
  for (int i = 0; i < 6; ++i) sum[i] = a[i] + b[i];
  return sum;
}

/// A mounting and poses at which the sensor sees clearly different directions of gravity: a random
/// attitude, turned by thirds and quarters about x and y.
std::vector<robot_pose_para_t> spreadPoses(std::mt19937_64& random, std::size_t n) {
  const Pose tool = randomPose(random), ft = randomPose(random);
  const Matrix4 T_ft_tool = reference::times(reference::inverse(reference::transformOf(ft)),
                                             reference::transformOf(tool));
  std::vector<robot_pose_para_t> poses;
  for (std::size_t k = 0; k < n; ++k) {
    const double wobble = reference::uniform(random, -0.2, 0.2);
    const Pose sensor = {0.5,
                         -0.2,
                         0.3 + wobble,
                         reference::uniform(random, -3, 3),
                         (k % 3 == 1 ? 1.2 : -0.4) + wobble,
                         (k % 4) * pi / 2 - wobble};
    const Matrix4 T_base_tcp = reference::times(reference::transformOf(sensor), T_ft_tool);
    poses.push_back(arrays(reference::poseOf(T_base_tcp), tool, ft));
  }
  return poses;
}

struct Scene {
  Load load;
  Wrench offset;
  std::vector<robot_pose_para_t> poses;
  std::vector<Wrench> readings;

  Scene(std::mt19937_64& random, std::size_t n) : poses(spreadPoses(random, n)) {
    load.weight = reference::uniform(random, 2.0, 60.0);
    for (double& c : load.centre) c = reference::uniform(random, -0.2, 0.2);
    for (int i = 0; i < 6; ++i) offset[i] = reference::uniform(random, -20, 20) * (i < 3 ? 1 : 0.1);
    for (const auto& p : poses) readings.push_back(weightOnSensor(load, sensorInBase(p)) + offset);
  }

  ldd_tool identified() {
    ldd_tool tool;
    for (std::size_t k = 0; k < poses.size(); ++k) {
      tool.recordCalibrationLoadData(readings[k].data(), poses[k]);
    }
    tool.gravityCalibration();
    return tool;
  }
};

load_para loadOf(ldd_tool tool) {
  load_para para;
  tool.getLoadPara(&para);
  return para;
}

TEST(LddTool, RecoversAnyLoadWithAnyOffset) {
  std::mt19937_64 random = reference::randomFamily();
  for (int trial = 0; trial < 300; ++trial) {
    Scene scene(random, 3 + trial % 8);
    const load_para found = loadOf(scene.identified());
    // Normal equations square the condition of the system: with offsets of ten times a small weight
    // about 1e6 epsilon.
    ASSERT_NEAR(found.g, scene.load.weight, 1e-9 * scene.load.weight);
    ASSERT_NEAR(found.lx, scene.load.centre[0], 1e-8);
    ASSERT_NEAR(found.ly, scene.load.centre[1], 1e-8);
    ASSERT_NEAR(found.lz, scene.load.centre[2], 1e-8);
  }
}

TEST(LddTool, NoiseMovesTheResultByAboutItsSize) {
  std::mt19937_64 random = reference::randomFamily();
  constexpr double forceNoise = 0.05, torqueNoise = 0.004;
  std::normal_distribution<double> normal;
  for (int trial = 0; trial < 100; ++trial) {
    Scene scene(random, 10);
    scene.load.weight = 20.0;
    for (std::size_t k = 0; k < 10; ++k) {
      scene.readings[k] = weightOnSensor(scene.load, sensorInBase(scene.poses[k])) + scene.offset;
      for (int i = 0; i < 6; ++i) {
        scene.readings[k][i] += normal(random) * (i < 3 ? forceNoise : torqueNoise);
      }
    }
    const load_para found = loadOf(scene.identified());
    // Six standard deviations of one reading; the arm is a torque over the weight.
    ASSERT_NEAR(found.g, 20.0, 6 * forceNoise);
    const double arm = 6 * (torqueNoise + 0.35 * forceNoise) / 20.0;
    ASSERT_NEAR(found.lx, scene.load.centre[0], arm);
    ASSERT_NEAR(found.ly, scene.load.centre[1], arm);
    ASSERT_NEAR(found.lz, scene.load.centre[2], arm);
  }
}

TEST(LddTool, CompensationLeavesTheContactWrenchAlone) {
  std::mt19937_64 random = reference::randomFamily();
  Scene scene(random, 6);
  ldd_tool tool = scene.identified();
  Wrench zero, seen;
  tool.sensorReset(zero.data(), scene.poses[0], scene.readings[0].data());
  tool.zeroGravTrafo(seen.data(), scene.poses[0], scene.readings[0].data(), zero.data());
  EXPECT_THAT(seen, testing::Each(0.0)) << "at the reference pose";

  Wrench contact = {3, -4, 12, 0.5, -0.25, 0.125};
  for (std::size_t k = 0; k < scene.poses.size(); ++k) {
    Wrench reading = scene.readings[k] + contact;
    tool.zeroGravTrafo(seen.data(), scene.poses[k], reading.data(), zero.data());
    for (int i = 0; i < 6; ++i) EXPECT_NEAR(seen[i], contact[i], 1e-7);
  }
}

TEST(LddTool, WithoutALoadOnlyTheOffsetIsSubtracted) {
  std::mt19937_64 random = reference::randomFamily();
  ldd_tool tool;
  const auto poses = arrays(randomPose(random), randomPose(random), randomPose(random));
  Wrench raw = {1, 2, 3, 4, 5, 6}, zero = {6, 5, 4, 3, 2, 1};
  Wrench out;
  tool.zeroGravTrafo(out.data(), poses, raw.data(), zero.data());
  EXPECT_THAT(out, testing::ElementsAre(-5, -3, -1, 1, 3, 5));
}

TEST(LddTool, EleventhSampleIsDropped) {
  std::mt19937_64 random = reference::randomFamily();
  Scene scene(random, 10);
  ldd_tool tool = scene.identified();
  const ldd_tool before = tool;
  Wrench other = {9, 9, 9, 9, 9, 9};
  tool.recordCalibrationLoadData(other.data(), scene.poses[3]);
  tool.recordCalibrationLoadData(RVector(other.data(), 6), vectors(scene.poses[3]));
  EXPECT_EQ(tool.size, 10u);
  EXPECT_TRUE(sameBits(tool.FTData[0], before.FTData[0], 60));
  EXPECT_TRUE(sameBits(tool.PoseData[0], before.PoseData[0], 60));
  for (std::size_t k = 0; k < 10; ++k) {
    EXPECT_TRUE(sameBits(tool.FTData[k], scene.readings[k].data(), 6));
    EXPECT_TRUE(
        sameBits(tool.PoseData[k], reference::poseOf(sensorInBase(scene.poses[k])).data(), 6));
  }
}

TEST(LddTool, LifeFromEmptyToIdentifiedAndBack) {
  std::mt19937_64 random = reference::randomFamily();
  Scene scene(random, 4);
  ldd_tool tool = scene.identified();
  tool.setLoadPara({5.0, 0.1, 0.2, 0.3});
  EXPECT_EQ(loadOf(tool).lz, 0.3);
  tool.gravityCalibration();
  EXPECT_NEAR(loadOf(tool).g, scene.load.weight, 1e-6) << "identified again: the samples stay";
  tool.getLoadPara(nullptr);

  tool.clear();
  EXPECT_TRUE(tool.IsAmpty);
  EXPECT_EQ(loadOf(tool).g, 0.0);
  EXPECT_EQ(tool.PoseData[3][5], 0.0);
  tool.setLoadPara({5.0, 0.1, 0.2, 0.3});
  tool.gravityCalibration();
  EXPECT_EQ(loadOf(tool).g, 5.0) << "nothing to identify from: the load stays";
}

TEST(LddTool, DegenerateSamplesEndWithoutHarm) {
  std::mt19937_64 random = reference::randomFamily();
  Scene scene(random, 1);
  ldd_tool tool = scene.identified();  // one orientation: singular
  EXPECT_EQ(tool.size, 1u);
  Wrench notANumber;
  notANumber.fill(std::numeric_limits<double>::quiet_NaN());
  tool.recordCalibrationLoadData(notANumber.data(), scene.poses[0]);
  tool.gravityCalibration();
  EXPECT_TRUE(std::isnan(loadOf(tool).g));

  tool.size = 1000;  // a caller's slip in a public field
  tool.recordCalibrationLoadData(notANumber.data(), scene.poses[0]);
  tool.gravityCalibration();
  EXPECT_EQ(tool.size, 1000u);
}

// The lever arm between sensor and tool plays no part; an offset turns from the tool's axes on.
TEST(LddTool, WrenchesAreTurnedWithoutALeverArm) {
  std::mt19937_64 random = reference::randomFamily();
  ldd_tool tool;
  Wrench wrench = {1, 2, 3, 4, 5, 6};
  for (int trial = 0; trial < 200; ++trial) {
    auto p = arrays(randomPose(random), randomPose(random), randomPose(random));
    const Matrix4 R_ft_tool = reference::times(reference::inverse(transform(p.pose_flange2ft_tool)),
                                               transform(p.pose_flange2tool));
    const Matrix4 R_offset = transform(p.pose_base2tcp);
    Wrench inTool, offset;
    tool.expressForceInFrame(inTool.data(), wrench.data(), p);
    tool.expressForceInFrame(offset.data(), wrench.data(), p.pose_base2tcp);
    for (int i = 0; i < 6; ++i) {
      double component = 0.0, turned = 0.0;
      for (int k = 0; k < 3; ++k) {
        component += R_ft_tool[k][i % 3] * wrench[i / 3 * 3 + k];
        turned += R_offset[i % 3][k] * wrench[i / 3 * 3 + k];
      }
      ASSERT_NEAR(inTool[i], component, 1e-13);
      ASSERT_NEAR(offset[i], turned, 1e-13);
    }
  }
}

TEST(LddTool, VectorsAndArraysGiveTheSameBits) {
  std::mt19937_64 random = reference::randomFamily();
  Scene scene(random, 7);
  ldd_tool fromArrays = scene.identified();
  ldd_tool fromVectors;
  for (std::size_t k = 0; k < 7; ++k) {
    fromVectors.recordCalibrationLoadData(RVector(scene.readings[k].data(), 6),
                                          vectors(scene.poses[k]));
  }
  fromVectors.gravityCalibration();
  EXPECT_EQ(fromVectors.size, 7u);
  EXPECT_TRUE(sameBits(fromVectors.PoseData[0], fromArrays.PoseData[0], 60));
  EXPECT_TRUE(sameBits(&fromVectors._load_para.g, &fromArrays._load_para.g, 4));

  robot_pose_para_t& poses = scene.poses[2];
  const robot_pose_rvector_para_t poses_v = vectors(poses);
  Wrench raw = {1, -2, 3, 0.4, 0.5, -0.6}, zero = {0.1, 0.2, 0.3, 0.4, 0.5, 0.6};
  const RVector raw_v(raw.data(), 6), zero_v(zero.data(), 6);
  Wrench out;
  RVector out_v;  // takes its size from the result
  const auto same = [&] { return out_v.size == 6 && sameBits(out_v.value, out.data(), 6); };
  fromArrays.getG2Sensor(out.data(), poses);
  fromArrays.getG2Sensor(out_v, poses_v);
  EXPECT_TRUE(same());
  fromArrays.sensorReset(out.data(), poses, raw.data());
  fromArrays.sensorReset(out_v, poses_v, raw_v);
  EXPECT_TRUE(same());
  fromArrays.zeroGravTrafo(out.data(), poses, raw.data(), zero.data());
  fromArrays.zeroGravTrafo(out_v, poses_v, raw_v, zero_v);
  EXPECT_TRUE(same());
  fromArrays.expressForceInFrame(out.data(), raw.data(), poses);
  fromArrays.expressForceInFrame(out_v, raw_v, poses_v);
  EXPECT_TRUE(same());
  fromArrays.expressForceInFrame(out.data(), raw.data(), poses.pose_base2tcp);
  fromArrays.expressForceInFrame(out_v, raw_v, poses_v.pose_base2tcp);
  EXPECT_TRUE(same());

  out_v = raw_v;
  fromArrays.expressForceInFrame(out_v, out_v, poses_v.pose_base2tcp);
  EXPECT_TRUE(same()) << "in place";
}

}  // namespace
