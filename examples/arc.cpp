// Arc: as the line, but along an arc from the start through a via point to the end. Here a half
// circle; the via point lies half-way, to the side. The three points must not lie on a line.
#include "examples/common.h"
#include "examples/report.h"
#include "tools/command_line.h"

int main(int argc, char** argv) {
  example::Options options;
  double radius = 30.0;
  CLI::App app{"A simulated robot follows an arc along a surface under a steady force."};
  example::addRobotOptions(app, options);
  example::addContactOptions(app, options);
  example::addPathOptions(app, options);
  example::addRealtimeOption(app, options);
  app.add_option("--arc-radius", radius, "Of the half circle in the base x-y plane, mm")
      ->check(zel::cli::within(1, 100));

  return zel::cli::run(app, argc, argv, [&] {
    // Open, configure, zero, approach.
    example::Session session("arc", options);
    const example::Outcome contact = session.approach();
    if (!contact.ended()) return session.finishWithoutContact(contact);

    const example::Pose start = session.robot.pose();
    const example::Pose via = example::moved(start, radius, radius, 0);
    const example::Pose end = example::moved(start, 2 * radius, 0, 0);
    const example::Outcome outcome =
        example::followArc(session.robot, start, via, end, options, session.records.log);
    return session.finishTracking(end, outcome);
  });
}
