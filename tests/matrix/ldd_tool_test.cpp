// Loads that are known, identified and compensated from what an ideal sensor reads; vectors and
// arrays alike.
#include "matrix/ldd_tool.h"

#include <gtest/gtest.h>

#include "tests/matrix/reference.h"

namespace {

using namespace reference;
using reference::nan;

struct Sample {
  robot_pose_para_t arrays;
  robot_pose_rvector_para_t vectors;
  Matrix4 T_base_ft;
  Vec<6> tcp, reading;
};

/// A load, an offset of the sensor and a mounting; what the sensor reads at poses of the robot.
struct Scene {
  explicit Scene(Random& random) {
    load = {20, random.vector<3>(-0.2, 0.2)};
    const Vec<6> offset = random.vector<6>(-2, 2);
    for (Sample& s : samples) {
      s.tcp = random.vector<6>(-3, 3);
      std::copy_n(s.tcp.data(), 6, s.arrays.pose_base2tcp);
      std::copy_n(tool.data(), 6, s.arrays.pose_flange2tool);
      std::copy_n(ft.data(), 6, s.arrays.pose_flange2ft_tool);
      s.vectors.pose_base2tcp = RVector(s.arrays.pose_base2tcp, 6);
      s.vectors.pose_flange2tool = RVector(s.arrays.pose_flange2tool, 6);
      s.vectors.pose_flange2ft_tool = RVector(s.arrays.pose_flange2ft_tool, 6);
      s.T_base_ft = times(times(transformOf(s.tcp), inverse(transformOf(tool))), transformOf(ft));
      s.reading = offset - load.gravityAt(s.T_base_ft);
    }
  }
  const Vec<6> tool{0.3, -0.2, 0.5, 1.1, -0.7, 0.4}, ft{-0.1, 0.4, 0.2, -0.5, 0.9, 2.1};
  Load load;
  std::array<Sample, 11> samples;
};

// Normal equations square the condition of the system: about 1e6 epsilon.
TEST(LddTool, IdentifiesAnyLoadWithAnyOffset) {
  Random random;
  for (int trial = 0; trial < 100; ++trial) {
    Scene scene(random);
    ldd_tool tool;
    load_para found;
    for (int n = 0; n < 11; ++n) {
      Sample& s = scene.samples[n];
      RVector reading(s.reading.data(), 6);
      if (n == 10) reading.value[2] = nan;
      n % 2 == 0 ? tool.recordCalibrationLoadData(reading, s.vectors)
                 : tool.recordCalibrationLoadData(s.reading.data(), s.arrays);
      ASSERT_EQ(tool.size, std::min(n + 1, 10)) << "the eleventh is dropped";
      tool.gravityCalibration();
      tool.getLoadPara(&found);
      if (n < 5) continue;
      const double arm[] = {found.lx, found.ly, found.lz};
      ASSERT_NEAR(found.g, 20, 1e-8);
      for (int i = 0; i < 3; ++i) ASSERT_NEAR(arm[i], scene.load.arm[i], 1e-8);
    }
    tool.clear();
    tool.getLoadPara(&found);
    ASSERT_TRUE(tool.IsAmpty && tool.size == 0 && found.g == 0 && tool.PoseData[9][5] == 0);
    tool.setLoadPara({5, 0.1, 0.2, 0.3});
    tool.gravityCalibration();
    tool.getLoadPara(&found);
    ASSERT_EQ(found.lz, 0.3) << "nothing to identify from: the load stays";
    tool.size = 1000;  // a caller's slip in a public field
    tool.gravityCalibration();
    tool.recordCalibrationLoadData(scene.samples[0].reading.data(), scene.samples[0].arrays);
    tool.getLoadPara(nullptr);
  }
}

TEST(LddTool, CompensatesAndTurnsWrenches) {
  Random random;
  Scene scene(random);
  ldd_tool tool;
  const Load& load = scene.load;
  tool.setLoadPara({load.G, load.arm[0], load.arm[1], load.arm[2]});
  for (Sample& s : scene.samples) {
    const Vec<6> gravity = load.gravityAt(s.T_base_ft);
    Vec<6> raw = random.vector<6>(-9, 9), zero = random.vector<6>(-9, 9), out;
    RVector raw_v(raw.data(), 6), zero_v(zero.data(), 6), out_v;
    const auto expect = [&](const Vec<6>& expected) {
      EXPECT_TRUE(out.isApprox(expected, 1e-14)) << out << "\ninstead of\n" << expected;
      EXPECT_TRUE(sameBits(elementsOf(out_v), out)) << "vectors as arrays";
    };
    tool.getG2Sensor(out.data(), s.arrays);
    tool.getG2Sensor(out_v, s.vectors);
    expect(gravity);
    tool.sensorReset(out.data(), s.arrays, raw.data());
    tool.sensorReset(out_v, s.vectors, raw_v);
    expect(gravity + raw);
    tool.zeroGravTrafo(out.data(), s.arrays, raw.data(), zero.data());
    tool.zeroGravTrafo(out_v, s.vectors, raw_v, zero_v);
    expect(raw + gravity - zero);
    // Without a lever arm: into the tool's axes, and by the angles of an offset.
    const auto turned = [&](const Matrix<3, 3>& R) {
      return Vec<6>((Vec<6>() << R * raw.head<3>(), R * raw.tail<3>()).finished());
    };
    tool.expressForceInFrame(out.data(), raw.data(), s.arrays);
    tool.expressForceInFrame(out_v, raw_v, s.vectors);
    expect(turned(rotationOf(inverse(transformOf(scene.tool)) * transformOf(scene.ft))));
    tool.expressForceInFrame(out.data(), raw.data(), s.arrays.pose_base2tcp);
    tool.expressForceInFrame(raw_v, raw_v, s.vectors.pose_base2tcp);
    out_v = raw_v;  // in place
    expect(turned(rotationOf(transformOf(s.tcp))));
  }
}

}  // namespace
