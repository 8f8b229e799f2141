// check: a settings file against the check of the configuration, before anything moves.
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "examples/common.h"
#include "tool/plaintext.h"
#include "tools/zelftc/json.h"
#include "tools/zelftc/subcommands.h"
#include "zel_ftc_check.h"

namespace zel::cli {
namespace {

struct Options {
  std::string file;
  bool strict = false;
  bool all = false;
  bool json = false;
};

/// Standard output belongs to the report: what the library prints goes to standard error meanwhile.
class OutputAside {
 public:
  OutputAside() {
    std::fflush(stdout);
    output_ = dup(STDOUT_FILENO);
    dup2(STDERR_FILENO, STDOUT_FILENO);
  }
  ~OutputAside() {
    std::fflush(stdout);
    dup2(output_, STDOUT_FILENO);
    close(output_);
  }
  OutputAside(const OutputAside&) = delete;
  OutputAside& operator=(const OutputAside&) = delete;

 private:
  int output_;
};

/// An error that the check of the library cannot see.
struct Error {
  const char* name;
  std::string text;
};

/// Makes the calls whose values the file says, and no other: what it leaves out is for the check to
/// tell. A call of which only a part is said is not made either: nothing stands in for the rest.
/// Returns what is missing and what the library refused.
std::vector<Error> applied(const example::SettingsFile& file, const example::Settings& all) {
  using namespace example;
  std::vector<Error> errors;
  const auto make = [&](const std::vector<std::string>& names, auto configure, const auto& values) {
    const std::vector<std::string> missing = file.missing(names);
    if (missing.size() == names.size()) return;
    for (const std::string& name : missing) errors.push_back({"MISSING", name + " is missing"});
    if (!missing.empty()) return;
    try {
      configure(values);
    } catch (const std::runtime_error& error) {
      errors.push_back({"REFUSED", error.what()});
    }
  };
  const Setup& setup = all.setup;
  make(
      {"period"}, [](const Setup& s) { require(zel_ftc_setTimeStep(s.period)); }, setup);
  make({"sensor-rating", "flange-sensor", "sensor-tool"}, configureSensor, setup);
  make({"load", "load-centre"}, configureLoad, setup);
  make({"box-max", "box-min"}, configureBox, setup);
  make({"permissible"}, configureMonitoring, setup);
  make({"max-path", "max-angle"}, configureCorrection, setup);
  make({"dead-band-force", "dead-band-torque"}, configureDeadBand, setup);
  make({"minimum-path"}, configureMinimumPath, setup);
  configureGuard(setup);

  const std::vector<std::string> approach = {
      "frame",           "direction",        "force",       "gains",   "speed",
      "switching-force", "switching-torque", "break-range", "time-out"};
  const std::vector<std::string> tracking = {"path-frame", "path-force", "path-gains",
                                             "path-break-range", "path-speed"};
  const bool onPath = all.plan.run == ZEL_LINE_RUN || all.plan.run == ZEL_ARC_RUN;
  if (all.plan.run == ZEL_ASSEMBLY_RUN) {
    make(approach, configureAssembly, all.approach);
  } else {
    make(approach, configureApproach, all.approach);
  }
  // The break test of a path compares with the force of the approach before it.
  if (onPath) make(tracking, configureTracking, all.tracking);
  return errors;
}

/// The findings, the gravest first. Of sensor and zero reference a file says nothing.
std::vector<zel_ftc_finding> findingsOf(const zel_ftc_plan& plan) {
  std::vector<zel_ftc_finding> findings(ZEL_FINDINGS_ENOUGH);
  findings.resize(zel_ftc_checkConfiguration(&plan, findings.data(), ZEL_FINDINGS_ENOUGH));
  const auto notChecked = [&](ZelCheck check, const char* why) {
    std::replace_if(
        findings.begin(), findings.end(), [check](const auto& f) { return f.check == check; },
        zel_ftc_finding{check, ZEL_FINDING_NOT_CHECKED, -1, -1, why, 0.0, 0.0});
  };
  notChecked(ZEL_CHECK_SENSOR, "there is no sensor here");
  notChecked(ZEL_CHECK_ZERO, "no zero reference is taken here");
  std::stable_sort(findings.begin(), findings.end(),
                   [](const auto& a, const auto& b) { return a.severity > b.severity; });
  return findings;
}

constexpr std::array<const char*, 5> severities = {"right", "not checked", "note", "warning",
                                                   "error"};

Exit check(const Options& options) {
  const example::SettingsFile file(options.file);
  const example::Settings settings = file.over({});
  const example::Library library;
  std::vector<Error> errors;
  {
    const OutputAside aside;
    errors = applied(file, settings);
  }
  std::vector<zel_ftc_finding> findings = findingsOf(settings.plan);

  std::array<int, severities.size()> counts = {};
  counts[ZEL_FINDING_ERROR] = static_cast<int>(errors.size());
  Json list = Json::array();
  for (const zel_ftc_finding& f : findings) ++counts[f.severity];
  const auto shown = [&](const zel_ftc_finding& f) {
    return options.all || f.severity >= ZEL_FINDING_NOTE;
  };
  findings.erase(
      std::remove_if(findings.begin(), findings.end(), [&](const auto& f) { return !shown(f); }),
      findings.end());

  for (const auto& [name, text] : errors) {
    if (!options.json) fmt::print("error    {}\n", wrapped(text, 9));
    list.push_back({{"severity", "error"}, {"name", name}, {"text", text}});
  }
  for (const zel_ftc_finding& f : findings) {
    const std::string text = composed(zel_ftc_findingText, &f);
    const std::string remedy = composed(zel_ftc_findingRemedy, &f);
    const std::string section = zel_ftc_findingSection(&f);
    list.push_back({{"severity", severities[f.severity]},
                    {"name", zel_ftc_findingName(&f)},
                    {"text", text},
                    {"remedy", remedy},
                    {"section", section}});
    if (options.json) continue;
    // The text of what was not checked says so itself.
    const bool itself = f.severity == ZEL_FINDING_NOT_CHECKED;
    fmt::print("{:8} {}\n", itself ? "-" : severities[f.severity], wrapped(text, 9));
    if (!remedy.empty()) fmt::print("         {}\n", wrapped("do: " + remedy, 9));
    if (!section.empty()) {
      fmt::print("         {}\n",
                 wrapped(fmt::format("see docs/behaviour.md, \"{}\"", section), 9));
    }
  }
  const bool good =
      counts[ZEL_FINDING_ERROR] == 0 && (!options.strict || counts[ZEL_FINDING_WARNING] == 0);
  if (options.json) {
    print(Json{{"good", good}, {"findings", list}});
  } else {
    const std::string closing = fmt::format(
        "{}: {} errors, {} warnings, {} notes; {} right, {} not checked{}",
        good ? "good" : "not good", counts[ZEL_FINDING_ERROR], counts[ZEL_FINDING_WARNING],
        counts[ZEL_FINDING_NOTE], counts[ZEL_FINDING_RIGHT], counts[ZEL_FINDING_NOT_CHECKED],
        options.all ? "" : " (--all shows these)");
    fmt::print("{}\n", wrapped(closing, 0));
  }
  return good ? done : notAsWanted;
}

}  // namespace

Body addCheck(CLI::App& app) {
  app.description(
      "Checks a settings file before anything moves: makes the calls that it stands for, without a "
      "sensor, and reports what is wrong with them, the gravest first, and what to do about it. "
      "Exit code 1 with an error. examples/settings.toml is such a file, with every name; the "
      "examples take it with --config.");
  addExample(app, "examples/settings.toml --all");
  const auto options = std::make_shared<Options>();
  app.add_option("FILE", options->file, "the settings")->required();
  app.add_flag("--strict", options->strict, "exit code 1 with a warning, too");
  app.add_flag("--all", options->all, "what is right and what could not be checked, too");
  addJsonFlag(app, options->json);
  return [options] { return check(*options); };
}

}  // namespace zel::cli
