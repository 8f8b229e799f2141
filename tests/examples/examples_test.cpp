// What the examples share: recordings, figures, and the approach controller on cell and recording.
#include <gmock/gmock.h>

#include <cmath>
#include <filesystem>
#include <fstream>

#include "examples/common.h"
#include "examples/recording.h"
#include "examples/report.h"

namespace {

using example::Log;
using testing::HasSubstr;

constexpr double pi = 3.14159265358979323846;

/// A folder of its own that goes away with the test.
class Folder {
 public:
  Folder() : path_(std::filesystem::temp_directory_path() / "zel_examples_test.XXXXXX") {
    std::string name = path_.string();
    path_ = mkdtemp(name.data());
  }
  ~Folder() { std::filesystem::remove_all(path_); }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  std::string path() const { return path_.string(); }
  std::string write(const std::string& text) const {
    const std::string file = (path_ / "recording.csv").string();
    std::ofstream(file, std::ios::binary) << text;
    return file;
  }

 private:
  std::filesystem::path path_;
};

TEST(Recording, TakesColumnsInAnyOrderAndIgnoresOthers) {
  const Folder folder;
  const auto samples =
      example::readRecording(folder.write("mz,t,x,y,z,a,b,c,fx,fy,fz,mx,my\r\n"
                                          "-6.5e-1,0.1,1.25,+2,3,0.1,0.2,0.3,1,2,3,4,5\r\n"));
  ASSERT_EQ(samples.size(), 1u);
  EXPECT_EQ(samples[0].pose, (example::Pose{1.25, 2, 3, 0.1, 0.2, 0.3}));
  EXPECT_EQ(samples[0].reading, (example::Wrench{1, 2, 3, 4, 5, -0.65}));
}

TEST(Recording, RefusesWrongNumbersWithLineAndColumn) {
  const Folder folder;
  const std::string file = folder.write(
      "x,y,z,a,b,c,fx,fy,fz,mx,my,mz\n"
      "1,2,3,4,5,6,7,8,9,10,11,12\n"
      "1,2,3,4,5,6,7x,8,9,10,11,12\n");
  EXPECT_THAT(
      [&] { example::readRecording(file); },
      testing::ThrowsMessage<std::runtime_error>(HasSubstr("line 3, column \"fx\": \"7x\"")));
}

TEST(Path, DeviationIsMeasuredToTheSide) {
  // The tool looks down; the path lies in the x-y plane, whatever the force control does along z.
  const example::Pose start = {100, 50, 20, 0, 0, pi};
  const example::Pose end = example::moved(start, 40, 0, 0);
  const example::Side line = example::besideLine(start, end);
  EXPECT_NEAR(std::fabs(line(example::moved(start, 10, 0.5, -3))), 0.5, 1e-9);
  EXPECT_NEAR(example::besideEnd(example::moved(start, 37, 0, 9), end), 3.0, 1e-9);

  // Circle of radius 5 about (105, 50).
  const example::Side arc =
      example::besideArc(start, example::moved(start, 5, 5, 0), example::moved(start, 10, 0, 0));
  EXPECT_NEAR(arc(example::moved(start, 5 + 3 * 1.1, 4 * 1.1, -7)), 0.5, 1e-9);
  EXPECT_NEAR(arc(example::moved(start, 5 + 4 * 0.9, -3 * 0.9, 7)), -0.5, 1e-9);
}

TEST(Approach, RecordingOfASimulatedApproachReplaysToTheSameEnd) {
  const Folder folder;
  example::Options options;
  options.out = folder.path();
  const auto config = example::demoCell(options);
  const auto setup = example::setupOf(config, options);
  const auto mode = example::approachMode(options);
  const example::CycleLimits limits{.period = options.period};

  Log simulated;
  {
    zel::sim::Cell cell(config);
    example::CellLink robot(cell, options);
    const example::Library library;
    example::configure(setup);
    example::zero(robot);
    EXPECT_TRUE(example::approach(robot, mode, limits, simulated).ended());
    EXPECT_NEAR(cell.contact()[FZ], -10.0, 0.3) << "the force that the cell really exerts";
  }
  const auto summary = example::summarise(simulated, mode);
  EXPECT_NEAR(summary.contactTime, 2.5, 0.05) << "50 mm at 20 mm/s";

  // The zero reference was taken with a reading that the log does not hold: noise apart, the
  // replay sees the same forces.
  const auto samples =
      example::readRecording(example::writeCsv(folder.path(), "simulated", simulated));
  ASSERT_EQ(samples.size(), simulated.size());
  EXPECT_EQ(samples.back().pose, simulated.back().pose);
  EXPECT_EQ(samples.back().reading, simulated.back().raw);
  example::RecordingLink robot(samples);
  const example::Library library;
  example::configure(setup);
  example::zero(robot);
  Log replayed;
  EXPECT_TRUE(example::approach(robot, mode, limits, replayed).ended());
  EXPECT_NEAR(example::summarise(replayed, mode).contactTime, summary.contactTime, 0.008);
  for (std::size_t i = 0; i < replayed.size(); ++i) {
    EXPECT_NEAR(replayed[i].control[FZ], simulated[i].control[FZ], 0.5) << "cycle " << i;
  }
}

}  // namespace
