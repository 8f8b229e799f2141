// Approach: the tool moves down until it touches a surface and presses with a steady force. The
// run ends with 80001 when the force has stayed within the break range for 20 cycles.
#include <fmt/format.h>

#include "examples/common.h"
#include "examples/report.h"
#include "tools/command_line.h"

int main(int argc, char** argv) {
  example::Options options;
  CLI::App app{"A simulated robot approaches a surface until contact."};
  example::addRobotOptions(app, options);
  example::addContactOptions(app, options);
  example::addRealtimeOption(app, options);

  return zel::cli::run(app, argc, argv, [&] {
    example::Records records(options.out, "approach");
    const zel::sim::CellConfig config = example::demoCell(options);
    zel::sim::Cell cell(config);
    example::CellLink robot(cell, options);

    // Open and initialise; period, mounting, load and limits; the zero reference at rest.
    const example::Library library;
    example::configure(example::setupOf(config, options));
    example::zero(robot);

    // The mode, then one call of zel_ftc_runApproach per period until it ends.
    const example::ApproachMode mode = example::approachMode(options);
    const example::Outcome outcome = example::approach(
        robot, mode, example::CycleLimits(ZEL_APPROACH_RUN, options), records.log);

    const example::ApproachSummary summary = example::summarise(records.log, mode);
    example::print(summary, mode, outcome);
    records.finish("Approach", mode);

    if (!outcome.ended() || !summary.contact) {
      fmt::print("approach: failed{} {}\n", outcome.by == example::Outcome::By::run ? "" : ",",
                 outcome.brief());
      return zel::cli::notAsWanted;
    }
    fmt::print("approach: end {}, contact {:.2f} s, force {:.1f} N\n", outcome.code,
               summary.contactTime, summary.settledForce);
    return zel::cli::done;
  });
}
