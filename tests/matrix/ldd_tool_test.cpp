// Loads that are known, identified and compensated from what an ideal sensor reads: with ldd_tool,
// vectors and arrays alike, and with the flat functions.
#include "matrix/ldd_tool.h"

#include <gtest/gtest.h>

#include "tests/matrix/reference.h"
#include "zel_ftc_lib.h"

namespace {

using namespace reference;

const Vec<6> tool{0.3, -0.2, 0.5, 1.1, -0.7, 0.4}, ft{-0.1, 0.4, 0.2, -0.5, 0.9, 2.1};

struct Poses {
  explicit Poses(const Vec<6>& tcp)
      : flange(poseOf(times(transformOf(tcp), inverse(transformOf(tool))))),
        T_base_ft(times(transformOf(flange), transformOf(ft))) {
    std::copy_n(tcp.data(), 6, arrays.pose_base2tcp);
    std::copy_n(tool.data(), 6, arrays.pose_flange2tool);
    std::copy_n(ft.data(), 6, arrays.pose_flange2ft_tool);
    vectors.pose_base2tcp = RVector(arrays.pose_base2tcp, 6);
    vectors.pose_flange2tool = RVector(arrays.pose_flange2tool, 6);
    vectors.pose_flange2ft_tool = RVector(arrays.pose_flange2ft_tool, 6);
  }
  Vec<6> flange;
  Matrix4 T_base_ft;
  robot_pose_para_t arrays;
  robot_pose_rvector_para_t vectors;
};

// Normal equations square the condition of the system: about 1e6 epsilon.
TEST(Identification, FindsAnyLoadWithAnyOffset) {
  Random random;
  Vec<6> mounting = ft, out;
  load_para found;
  zel_ftc_open(true);
  zel_ftc_setSensorConfig(mounting.data(), mounting.data(), mounting.data());
  EXPECT_EQ(zel_ftc_gravityCalibration(), 0) << "no samples";
  for (int trial = 0; trial < 100; ++trial) {
    const Load load{20, random.vector<3>(-0.8, 0.8)};
    const Vec<6> offset = random.vector<6>(-2, 2);
    ldd_tool identifier;
    for (std::size_t n = 0; n < 11; ++n) {
      Poses poses(random.vector<6>(-3, 3));
      Vec<6> reading = n < 10 ? Vec<6>(offset - load.gravityAt(poses.T_base_ft)) : offset;
      RVector reading_v(reading.data(), 6);
      ASSERT_EQ(zel_ftc_recordCalibrationLoadData(reading.data(), poses.flange.data()), n < 10);
      n % 3 ? identifier.recordCalibrationLoadData(reading_v, poses.vectors)
            : identifier.recordCalibrationLoadData(reading.data(), poses.arrays);
      ASSERT_EQ(identifier.size, std::min<std::size_t>(n + 1, 10)) << "the eleventh is dropped";
      identifier.gravityCalibration();
      identifier.getLoadPara(&found);
      const Vec<4> actual{found.g, found.lx, found.ly, found.lz};
      ASSERT_TRUE(n < 2 || actual.isApprox((Vec<4>() << load.G, load.arm).finished(), 1e-6));
    }
    // The tool's own identification mirrors the centre of mass, and gives it up when that is far
    // out in x or y, on the positive side.
    const bool plausible = load.arm[0] > -0.5 && load.arm[1] > -0.5;
    const Load kept{20, plausible ? Vec<3>(-load.arm) : Vec<3>()};
    Poses any(random.vector<6>(-3, 3));
    EXPECT_EQ(zel_ftc_gravityCalibration(), plausible);
    EXPECT_EQ(zel_ftc_initCalibrationLoadData(), 1);
    EXPECT_EQ(zel_ftc_gravityCalibration(), plausible) << "no samples: nothing changes";
    zel_ftc_get_GraData(out.data(), any.flange.data());
    EXPECT_TRUE(out.isApprox(kept.gravityAt(any.T_base_ft), 1e-9)) << out;

    identifier.clear();
    identifier.getLoadPara(&found);
    ASSERT_TRUE(identifier.IsAmpty && found.g == 0 && identifier.PoseData[9][5] == 0);
    identifier.setLoadPara({5, 0.1, 0.2, 0.3});
    identifier.gravityCalibration();
    identifier.getLoadPara(&found);
    ASSERT_EQ(found.lz, 0.3) << "nothing to identify from: the load stays";
    identifier.size = 1000;  // a caller's slip in a public field
    identifier.gravityCalibration();
    identifier.getLoadPara(nullptr);
  }
  zel_ftc_close();
}

TEST(LddTool, CompensatesAndTurnsWrenches) {
  Random random;
  const Load load{20, {0.1, -0.2, 0.3}};
  ldd_tool compensator;
  compensator.setLoadPara({20, 0.1, -0.2, 0.3});
  for (int trial = 0; trial < 20; ++trial) {
    const Vec<6> tcp = random.vector<6>(-3, 3);
    Poses poses(tcp);
    const Vec<6> gravity = load.gravityAt(poses.T_base_ft);
    Vec<6> raw = random.vector<6>(-9, 9), zero = random.vector<6>(-9, 9), out;
    RVector raw_v(raw.data(), 6), zero_v(zero.data(), 6), out_v;
    const auto expect = [&](const Vec<6>& expected) {
      EXPECT_TRUE(out.isApprox(expected, 1e-14)) << out << "\ninstead of\n" << expected;
      EXPECT_TRUE(sameBits(elementsOf(out_v), out)) << "vectors as arrays";
    };
    compensator.getG2Sensor(out.data(), poses.arrays);
    compensator.getG2Sensor(out_v, poses.vectors);
    expect(gravity);
    compensator.sensorReset(out.data(), poses.arrays, raw.data());
    compensator.sensorReset(out_v, poses.vectors, raw_v);
    expect(gravity + raw);
    compensator.zeroGravTrafo(out.data(), poses.arrays, raw.data(), zero.data());
    compensator.zeroGravTrafo(out_v, poses.vectors, raw_v, zero_v);
    expect(raw + gravity - zero);
    // Without a lever arm: into the tool's axes, and by the angles of an offset.
    const auto turned = [&](const Matrix4& T) {
      return (Vec<6>() << rotationOf(T) * raw.head<3>(), rotationOf(T) * raw.tail<3>()).finished();
    };
    compensator.expressForceInFrame(out.data(), raw.data(), poses.arrays);
    compensator.expressForceInFrame(out_v, raw_v, poses.vectors);
    expect(turned(inverse(transformOf(tool)) * transformOf(ft)));
    compensator.expressForceInFrame(out.data(), raw.data(), poses.arrays.pose_base2tcp);
    out_v = raw_v;
    compensator.expressForceInFrame(out_v, out_v, poses.vectors.pose_base2tcp);  // in place
    expect(turned(transformOf(tcp)));
  }
}

}  // namespace
