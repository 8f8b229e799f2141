// Reading poses from CSV files, and taking rows of a pose together.
#include "analysis/poses.h"

#include <gmock/gmock.h>

#include <fstream>

namespace {

using namespace testing;
using namespace zel::analysis;

std::string path() {
  return TempDir() + UnitTest::GetInstance()->current_test_info()->name() + ".csv";
}

std::vector<StaticPose> read(const std::string& text) {
  std::ofstream(path(), std::ios::binary) << text;
  return readPoses(path());
}

const std::string wrench = "fx,fy,fz,mx,my,mz\n";

/// Columns of R: where z, then x, then y of a base end up after turns of 90 degrees about Z and X.
const Rotation turned = {{{0, 0, 1}, {1, 0, 0}, {0, 1, 0}}};

TEST(PoseFiles, EveryFormOfOrientationAndUnitMeansTheSamePose) {
  const std::string files[] = {
      "qw,qx,qy,qz,x_mm,y_mm,z_mm," + wrench + "0.5,0.5,0.5,0.5,400,-30,1.5,1,2,3,4,5,6\n",
      "a_deg,b_deg,c_deg,x_m,y_m,z_m," + wrench + "90,0,90,0.4,-0.03,0.0015,1,2,3,4,5,6",
      "\xef\xbb\xbfmz,my,mx,fz,fy,fx,z_m,x_m,y_m, a_rad ,c_rad,b_rad\r\n"
      "\r\n6,5,4,3,+2,1,1.5e-3, .4\t,-0.03,1.5707963267948966,1.5707963267948966,0\r\n",
  };
  for (const std::string& file : files) {
    const std::vector<StaticPose> poses = read(file);
    const Rotation R = rotationOf(poses[0].orientation);
    for (int i = 0; i < 3; ++i) EXPECT_THAT(R[i], Pointwise(DoubleNear(1e-15), turned[i])) << file;
    EXPECT_THAT(*poses[0].position, Pointwise(DoubleNear(1e-12), Vector{400, -30, 1.5}));
    EXPECT_THAT(poses[0].wrench, ElementsAre(1, 2, 3, 4, 5, 6));
  }
}

TEST(PoseFiles, RowsOfAPoseAreTakenTogether) {
  const auto plain = read("a_deg,b_deg,c_deg,time_s," + wrench +
                          "0,0,10,7,1,0,0,0,0,0\n0,0,10,8,4,0,0,0,0,-3\n"
                          "0,0,20,9,5,0,0,0,0,0\n0,0,10,10,6,0,0,0,0,0\n");
  ASSERT_TRUE(plain.size() == 3 && plain[0].rows == 2 && plain[1].time == 9 && plain[2].line == 5);
  EXPECT_THAT(plain[0].wrench, ElementsAre(2.5, 0, 0, 0, 0, -1.5));
  const auto labelled = read("pose,a_deg,b_deg,c_deg," + wrench +
                             "up,0,0,10,1,0,0,0,0,0\nup,0,0,10.001,3,0,0,0,0,0\n"
                             "down,0,0,10.001,5,0,0,0,0,0\n");
  EXPECT_TRUE(labelled.size() == 2 && labelled[0].wrench[0] == 2 && labelled[1].name == "down");
}

TEST(PoseFiles, WhatIsWrongIsNamedWithFileLineAndColumn) {
  const std::string header = "a_deg,b_deg,c_deg," + wrench;
  const std::string rows = header + "0,0,0,1,2,3,4,5,6\n";
  std::vector<std::pair<std::string, std::string>> cases = {
      {"", " is empty: a header line is missing"},
      {std::string("a\0_\0d\0", 6), ", line 1: this is UTF-16 text, save it as UTF-8"},
      {"pose," + header + "M\xE4rz,0,0,0,1,2,3,4,5,6\n", ", line 2: this is not UTF-8 text"},
      {"x," + rows, ", line 1: column \"x\" is not known"},
      {"fx," + rows, ", line 1: column \"fx\": stands there twice"},
      {"a_deg,b_deg," + wrench, ", line 1: column \"c_deg\": is missing; a_deg, b_deg, c_deg come"},
      {"a_rad," + rows, ", line 1: column \"a_deg\": says in another unit what \"a_rad\" says"},
      {wrench, ", line 1: the orientation has to be in exactly one of qw, qx, qy, qz;"},
      {rows + "0,0,0,1,2,3,4,5\n", ", line 3: 8 cells, but 9 columns"},
      {rows + "\n0,0,0,1,2,x3,4,5,6\n", ", line 4: column \"fz\": \"x3\" is not a finite number"},
      {header + "0,0,0,1,2,3,inf,5,6\n", ", line 2: column \"mx\": \"inf\" is not a finite number"},
      {"a_rad,b_rad,c_rad," + wrench + "0,90,0,1,2,3,4,5,6\n",
       ", line 2: column \"b_rad\": 90 is more than one turn; degrees belong into a_deg"},
      {"qw,qx,qy,qz," + wrench + "1,0,0.1,0,1,2,3,4,5,6\n",
       ", line 2: columns \"qw\" to \"qz\": the quaternion has the length 1.005, not 1"},
  };
  std::string many = header;
  for (int k = 0; k <= 1000; ++k) many += std::to_string(0.01 * k) + ",0,0,1,2,3,4,5,6\n";
  cases.emplace_back(many, ", line 1002: more than 1000 poses: one line per");
  for (const auto& [file, what] : cases) {
    EXPECT_THAT([&text = file] { read(text); },
                ThrowsMessage<std::runtime_error>(StartsWith(path() + what)));
  }
  EXPECT_THAT([] { readPoses(TempDir()); },
              ThrowsMessage<std::runtime_error>(TempDir() + " cannot be read"));
}

}  // namespace
