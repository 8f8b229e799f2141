// Replay: the approach controller fed from a recording instead of a robot. It shows when contact
// would have been found and how the run would have ended, so that force, gains, switching values
// and break ranges can be tuned on own logs. The corrected poses lead nowhere: the recorded robot
// goes on as it did.
//
// The recording is a CSV file, one line per control period, with a header line and the columns
//   x, y, z      flange position in the base, mm
//   a, b, c      flange orientation, angles about Z, Y, X, rad
//   fx, fy, fz   raw force, sensor frame, N
//   mx, my, mz   raw torque, sensor frame, N m
// in any order; further columns are ignored. The other examples write such files.
#include <fmt/format.h>

#include "examples/common.h"
#include "examples/recording.h"
#include "examples/report.h"
#include "tools/command_line.h"

int main(int argc, char** argv) {
  std::string file, out = "out";
  bool all = false;
  example::Setup setup;
  example::ApproachMode mode;
  setup.permissible = {200, 200, 200, 20, 20, 20};
  setup.maxPath = 1000;
  setup.maxAngle = 7;

  CLI::App app{
      "Feeds the approach controller from a recording.\n"
      "CSV with a header line; columns x,y,z [mm], a,b,c [rad, about Z, Y, X], fx,fy,fz [N],\n"
      "mx,my,mz [N m] in any order, others ignored; one line per period."};
  app.option_defaults()->always_capture_default();
  app.add_option("recording", file, "CSV file")->required();
  app.add_option("--out", out, "Folder of CSV and picture");
  app.add_flag("--all", all, "Starts a new run after each end, up to the end of the recording");
  example::addSettingsOption(app, [&](const example::SettingsFile& settings) {
    const example::Settings all = settings.over({.setup = setup, .approach = mode});
    setup = all.setup;
    mode = all.approach;
  });
  example::addOptions(app, setup);
  example::addOptions(app, mode);

  return zel::cli::run(app, argc, argv, [&] {
    const std::vector<example::Sample> samples = example::readRecording(file);
    example::Records records(out, "replay");
    example::Log& log = records.log;
    example::RecordingLink robot(samples);
    const example::Library library;
    example::configure(setup);
    example::zero(robot);  // with the first line: it has to be free of contact

    example::CycleLimits limits(ZEL_APPROACH_RUN, setup.period);
    limits.longest = 1e6;
    limits.progress = 5.0;
    example::Outcome last;
    int runs = 0;
    for (std::size_t begin = 0; begin == 0 || all; begin = log.size()) {
      const example::Outcome outcome = example::approach(robot, mode, limits, log);
      if (log.size() == begin) break;
      last = outcome;
      const example::Log part(log.begin() + static_cast<std::ptrdiff_t>(begin), log.end());
      fmt::print("run {} from {:.3f} s to {:.3f} s\n", ++runs, part.front().time, part.back().time);
      example::print(example::summarise(part, mode), mode, outcome);
      robot.follow({});
    }

    const example::ApproachSummary first = example::summarise(log, mode);
    const auto held = example::forceStatistics(log, "approach", mode.direction);
    fmt::print("held force over all cycles: {:.2f} to {:.2f}, mean {:.2f}\n", held.least,
               held.greatest, held.mean);
    records.finish("Replay of " + file, mode, true);
    fmt::print("replay: {} cycles, runs: {}, first contact {}, last code {}\n", log.size(), runs,
               first.contact ? fmt::format("{:.2f} s", first.contactTime) : "none", last.brief());
    return first.contact ? zel::cli::done : zel::cli::notAsWanted;
  });
}
