// Assembly: pushing a part home. The assembly run watches; it does not move the robot.
//
// What to know before calling it:
//  - The pose that it returns is the corrected pose left from the run before, here the last one of
//    the approach. A robot that follows it stays where the approach ended. The push itself is the
//    caller's motion.
//  - It ends by the expected force and the break ranges of the approach mode, not by its own. So
//    the approach mode is configured once more with the force of the seated part, and the assembly
//    mode after it (configuring one mode makes the other unusable).
//  - Its start pose follows the robot in every cycle, so that the path covered is always 0: with
//    the minimum path at its usual 0 or above, the run never ends by itself. A minimum path below
//    0 lets it end. For the same reason its time-out and the limit of the total correction never
//    act: the caller has to watch both.
#include <fmt/format.h>

#include "examples/common.h"
#include "examples/report.h"
#include "tools/command_line.h"

int main(int argc, char** argv) {
  example::Options options;
  double seated = 20.0, push = 1.0, hold = 0.5;
  CLI::App app{"A simulated robot pushes a part home until it is seated."};
  example::addRobotOptions(app, options);
  example::addContactOptions(app, options);
  example::addRealtimeOption(app, options);
  app.add_option("--seated-force", seated, "N")->check(zel::cli::within(1, 50));
  app.add_option("--push-speed", push, "mm/s")->check(zel::cli::within(0.01, 10));

  return zel::cli::run(app, argc, argv, [&] {
    // Open, configure, zero, approach.
    example::Session session("assembly", options);
    example::Log& log = session.records.log;
    const example::Outcome contact = session.approach();
    if (!contact.ended()) return session.finishWithoutContact(contact);

    example::ApproachMode mode = session.mode;
    mode.force = seated;
    mode.breakRange[mode.direction] = 1.0;
    example::configureAssembly(mode);
    example::require(zel_set_minValue(-1.0, ZEL_MIN_PATH));

    // Following the returned pose: nothing moves, the force stays.
    const example::Pose before = session.robot.pose();
    const example::Outcome held = example::hold(session.robot, hold, options, log);
    fmt::print("held for {} s: moved by {:.3f} mm, {}\n", hold, session.robot.pose()[2] - before[2],
               held.text());

    // Pushing: the caller moves on down, the run says when the part is seated.
    const example::Outcome outcome =
        held.by == example::Outcome::By::time
            ? example::pushHome(session.robot, push, mode, options, log)
            : held;
    fmt::print("result  {}\n", outcome.text());
    session.records.finish("Approach, hold, push home", session.mode);
    if (!outcome.ended()) {
      fmt::print("assembly: failed, {}\n", outcome.text());
      return zel::cli::notAsWanted;
    }
    fmt::print("assembly: end {}, seated at {:.0f} N\n", outcome.code,
               example::heldForce(log.back(), mode.direction));
    return zel::cli::done;
  });
}
