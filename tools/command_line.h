// What every program here does alike: options whose numbers are checked, help of 80 columns, exit
// codes, an orderly end on SIGINT, SIGTERM and SIGHUP.
#ifndef ZEL_FTC_TOOLS_COMMAND_LINE_H
#define ZEL_FTC_TOOLS_COMMAND_LINE_H

#include <CLI/CLI.hpp>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace zel::cli {

/// Exit codes of every program.
enum Exit {
  done = 0,         ///< all went as it should
  notAsWanted = 1,  ///< a run did not end as wanted, or was interrupted
  notPossible = 2   ///< wrong usage, or the surroundings do not allow it (files, ports, sensor)
};

/// UDP port of a sensor, real or simulated, where nothing else is said.
constexpr unsigned short defaultSensorPort = 49152;

/// Checks for number options. What does not pass is refused with a sentence that says which numbers
/// do; not-a-number and infinity never pass. Lists are checked element by element.
CLI::Validator finite();
CLI::Validator positive();
CLI::Validator notNegative();
CLI::Validator within(double least, double greatest);

/// The signals that end a program in order: SIGINT, SIGTERM, and SIGHUP, which a terminal or ssh
/// sends when it closes, unless nohup has it ignored.
std::vector<int> endSignals();

/// What unwinds a program that got one of them.
struct Interrupted : std::runtime_error {
  Interrupted() : std::runtime_error("interrupted") {}
};

/// Throws Interrupted when one of these signals has come since run() began. Loops that take time
/// call it, so that destructors stop sensors, end processes and keep files. A second SIGINT or
/// SIGTERM ends the program at once.
void stopIfInterrupted();
/// The same as a question, for a program that an interruption ends in order.
bool interruptionAsked();

/// What a program does once its command line has been read.
using Body = std::function<Exit()>;

/// Parses the command line and runs the body, whose result is the exit code. An error becomes one
/// line on standard error and notPossible, an interruption notAsWanted. Adds the exit codes to the
/// help.
int run(CLI::App& app, int argc, char** argv, const Body& body);

/// The same for a program that stands in a function, so that it can have several names: `add` gives
/// options and description to the app, and returns the body. The app lives as long as the body.
int run(const std::string& name, Body (*add)(CLI::App& app), int argc, char** argv);

/// Shows how the program is called: its name and these arguments, below the options in the help.
void addExample(CLI::App& app, const std::string& arguments);

}  // namespace zel::cli

#endif
