#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "sim/recording.h"

namespace zel::sim::test {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Optional;

class SensorRecording : public ::testing::Test {
 protected:
  ~SensorRecording() override { std::filesystem::remove(path_); }

  Recording load(const std::string& text) {
    std::ofstream(path_, std::ios::binary) << text;
    return Recording::load(path_);
  }
  std::string refusal(const std::string& text) {
    try {
      load(text);
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    return "accepted";
  }

  const std::string path_ = std::filesystem::temp_directory_path() /
                            ("sensor_recording_" + std::to_string(::getpid()) + ".csv");
};

TEST_F(SensorRecording, HoldsEachSampleForItsTime) {
  const Recording recording =
      load("mz,fx,fy,fz,mx,my\r\n-0.3,1,2.5e1,3,0.1,+0.2\r\n\r\n6, 1 ,2,3,4,5\r\n7,8,9,10,11,12");
  EXPECT_EQ(3u, recording.size());
  const auto at = [&](double seconds) {
    return recording.at(seconds, 1000.0, Recording::End::stop);
  };
  EXPECT_THAT(at(0.0), Optional(ElementsAre(1, 25, 3, 0.1, 0.2, -0.3)));
  EXPECT_THAT(at(0.00099), Optional(ElementsAre(1, 25, 3, 0.1, 0.2, -0.3)));
  EXPECT_THAT(at(0.001), Optional(ElementsAre(1, 2, 3, 4, 5, 6)));
  EXPECT_THAT(at(0.002), Optional(ElementsAre(8, 9, 10, 11, 12, 7)));
  EXPECT_EQ(std::nullopt, at(0.003));
  EXPECT_THAT(recording.at(0.003, 1000.0, Recording::End::loop),
              Optional(ElementsAre(1, 25, 3, 0.1, 0.2, -0.3)));
  EXPECT_THAT(recording.at(0.005, 1000.0, Recording::End::loop),
              Optional(ElementsAre(8, 9, 10, 11, 12, 7)));
}

// n / rate * rate is not always n in floating point.
TEST_F(SensorRecording, PlaysRowByRowWhenTheRatesAgree) {
  std::string text = "fx,fy,fz,mx,my,mz\n";
  constexpr int rows = 5000;
  for (int i = 0; i < rows; ++i) text += std::to_string(i) + ",0,0,0,0,0\n";
  const Recording recording = load(text);
  for (const double rate : {3.0, 49.0, 333.3, 1000.0, 4000.0}) {
    for (int i = 0; i < rows; ++i) {
      ASSERT_EQ(i, recording.at(i / rate, rate, Recording::End::stop)->at(0)) << rate;
    }
  }
}

TEST_F(SensorRecording, RefusesWhatItCannotPlay) {
  const std::string header = "fx,fy,fz,mx,my,mz\n";
  EXPECT_THAT(refusal("fx,fy,fz,mx,my\n1,2,3,4,5\n"), HasSubstr("Missing column \"mz\""));
  EXPECT_THAT(refusal("t,fx,fy,fz,mx,my,mz\n0,1,2,3,4,5,6\n"), HasSubstr("Extra column \"t\""));
  EXPECT_THAT(refusal(""), HasSubstr("Header missing"));
  EXPECT_THAT(refusal(header), HasSubstr("no sample after the header"));
  EXPECT_THAT(refusal(header + "1,2,3,4,5,6\n1,2,3,4,5\n"), HasSubstr("Too few columns in line 3"));
  for (const std::string value : {"", "abc", "1.5x", "0x10", "nan", "inf", "1e999", "--1", "1 2"}) {
    EXPECT_THAT(refusal(header + "1,2,3,4,5,6\n1,2,3,4," + value + ",6\n"),
                AllOf(HasSubstr(path_ + ", line 3, column \"my\""),
                      HasSubstr("\"" + value + "\" is not a finite number")));
  }
  EXPECT_THROW(Recording::load("/nonexistent/recording.csv"), std::runtime_error);
}

}  // namespace
}  // namespace zel::sim::test
