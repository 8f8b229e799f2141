// Arc: as the line, but along an arc from the start through a via point to the end. Here a half
// circle; the via point lies half-way, to the side. The three points must not lie on a line.
#include "examples/common.h"
#include "examples/report.h"

int main(int argc, char** argv) {
  example::Options options;
  double radius = 30.0;
  CLI::App app{"A simulated robot follows an arc along a surface under a steady force."};
  example::addOptions(app, options);
  app.add_option("--arc-radius", radius, "Of the half circle in the base x-y plane, mm")
      ->check(CLI::Range(1.0, 100.0));

  return example::runMain(app, argc, argv, [&] {
    // Open, configure, zero, approach.
    example::Session session(options);

    const example::Pose start = session.robot.pose();
    const example::Pose via = example::moved(start, radius, radius, 0);
    const example::Pose end = example::moved(start, 2 * radius, 0, 0);
    const int code = example::followArc(session.robot, start, via, end, options, session.log);

    return example::finishTracking(
        "arc", session, example::arcDeviation(session.log, start, via, end), code, options);
  });
}
