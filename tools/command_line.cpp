#include "tools/command_line.h"

#include <fmt/format.h>

#include <atomic>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tool/plaintext.h"

namespace zel::cli {
namespace {

std::atomic<bool> interrupted = false;
static_assert(std::atomic<bool>::is_always_lock_free);  // a signal handler may set it

/// `what` completes the sentence "... is not".
CLI::Validator number(const std::string& what, std::function<bool(double)> passes) {
  return CLI::Validator(
      [what, passes = std::move(passes)](const std::string& text) {
        char* end = nullptr;
        const double value = std::strtod(text.c_str(), &end);
        const bool parsed = !text.empty() && *end == '\0' && std::isfinite(value);
        return parsed && passes(value) ? "" : fmt::format("\"{}\" is not {}", text, what);
      },
      "");
}

/// Help of 80 columns: CLI11 itself writes a description as one line.
class Columns80 : public CLI::Formatter {
 public:
  std::string make_option_desc(const CLI::Option* option) const override {
    return wrapped(CLI::Formatter::make_option_desc(option), 0, 0, 80 - get_column_width());
  }
};

}  // namespace

CLI::Validator finite() {
  return number("a finite number", [](double) { return true; });
}

CLI::Validator positive() {
  return number("a number above 0", [](double value) { return value > 0.0; });
}

CLI::Validator notNegative() {
  return number("a number of 0 or above", [](double value) { return value >= 0.0; });
}

CLI::Validator within(double least, double greatest) {
  return number(fmt::format("a number from {} to {}", least, greatest),
                [=](double value) { return value >= least && value <= greatest; })
      .description(fmt::format("{}..{}", least, greatest));
}

std::vector<int> endSignals() {
  std::vector<int> signals = {SIGINT, SIGTERM};
  struct sigaction hangUp = {};
  sigaction(SIGHUP, nullptr, &hangUp);
  if (hangUp.sa_handler != SIG_IGN) signals.push_back(SIGHUP);
  return signals;
}

bool interruptionAsked() {
  return interrupted;
}

void stopIfInterrupted() {
  if (interrupted) throw Interrupted();
}

void addExample(CLI::App& app, const std::string& arguments) {
  app.footer(fmt::format("{}Example: {} {}\n", app.get_footer(), app.get_name(), arguments));
}

int run(const std::string& name, Body (*add)(CLI::App& app), int argc, char** argv) {
  CLI::App app("", name);
  const Body body = add(app);
  return run(app, argc, argv, body);
}

int run(CLI::App& app, int argc, char** argv, const Body& body) {
  if (app.get_name().empty()) app.name(std::filesystem::path(argv[0]).filename().string());
  app.formatter(std::make_shared<Columns80>());
  app.description(wrapped(app.get_description(), 0));
  app.footer(
      app.get_footer() +
      wrapped("Exit codes: 0 all went as it should; 1 the answer is no, a run did not end as "
              "wanted or was interrupted; 2 wrong usage, or files, ports or sensor are not "
              "to be had.",
              0));
  std::setvbuf(stdout, nullptr, _IOLBF, 0);  // progress is seen in a pipe as well
  struct sigaction once = {};
  once.sa_handler = [](int) { interrupted = true; };
  for (const int signal : endSignals()) {
    // A closed terminal sends SIGHUP twice, through the shell and through the kernel.
    once.sa_flags = signal == SIGHUP ? 0 : static_cast<int>(SA_RESETHAND);
    sigaction(signal, &once, nullptr);
  }

  const auto fail = [&app](const std::exception& error, Exit code) {
    std::fflush(stdout);
    // Not fmt::print, which throws where the terminal is gone.
    std::fputs(fmt::format("{}: {}\n", app.get_name(), error.what()).c_str(), stderr);
    return code;
  };
  try {
    app.parse(argc, argv);
    return body();
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? done : notPossible;
  } catch (const Interrupted& error) {
    return fail(error, notAsWanted);
  } catch (const std::exception& error) {
    return fail(error, notPossible);
  }
}

}  // namespace zel::cli
