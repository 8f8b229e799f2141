// Line: after an approach, the tool follows a straight line along the surface and holds the force.
//
// The path stays as programmed; the force control lays a correction over it. Try --tilt 8 or
// --radius 300: on a slope the force settles beside the wanted one by slope * speed / gain, because
// the controller is proportional and has to keep moving along the force axis.
#include "examples/common.h"
#include "examples/report.h"
#include "tools/command_line.h"

int main(int argc, char** argv) {
  example::Options options;
  double length = 80.0;
  CLI::App app{"A simulated robot follows a line along a surface under a steady force."};
  example::addRobotOptions(app, options);
  example::addContactOptions(app, options);
  example::addPathOptions(app, options);
  example::addRealtimeOption(app, options);
  app.add_option("--length", length, "Of the line along the base x axis, mm")
      ->check(zel::cli::within(1, 200));

  return zel::cli::run(app, argc, argv, [&] {
    // Open, configure, zero, approach.
    example::Session session("line", options);
    const example::Outcome contact = session.approach();
    if (!contact.ended()) return session.finishWithoutContact(contact);

    // The line starts where the approach ended. Start and end are read in the first cycle of the
    // run only; the duration follows from length and speed. A tracking run has neither a time-out
    // nor a limit of the total correction: the caller has to watch both.
    const example::Pose start = session.robot.pose();
    const example::Pose end = example::moved(start, length, 0, 0);
    const example::Outcome outcome =
        example::followLine(session.robot, start, end, options, session.records.log);
    return session.finishTracking(end, outcome);
  });
}
