// identify: the load on the sensor, and how far the answer can be trusted.
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "analysis/identification.h"
#include "examples/picture.h"
#include "tools/kept_file.h"
#include "tools/zelftc/json.h"
#include "tools/zelftc/subcommands.h"

namespace zel::cli {
namespace {

using namespace zel::analysis;

struct Options {
  std::vector<std::string> files;
  std::vector<double> accuracy, mounting, range;
  std::string picture;
  bool json = false;
};

/// The poses of all files, one after the other. Those of several files carry the file's name.
std::vector<StaticPose> posesOf(const std::vector<std::string>& files) {
  std::vector<StaticPose> all;
  for (const std::string& file : files) {
    stopIfInterrupted();
    for (StaticPose& pose : readPoses(file)) {
      if (files.size() > 1) {
        pose.name = std::filesystem::path(file).stem().string() + ":" + pose.name;
      }
      all.push_back(std::move(pose));
    }
  }
  return all;
}

analysis::Options analysisOptions(const Options& options) {
  analysis::Options result;
  if (!options.mounting.empty()) {
    result.mounting = {options.mounting[0], options.mounting[1], options.mounting[2]};
  }
  if (!options.range.empty()) {
    Wrench range = {};
    std::copy(options.range.begin(), options.range.end(), range.begin());
    result.range = range;
  }
  if (!options.accuracy.empty()) result.goal = Goal{options.accuracy[0], options.accuracy[1]};
  return result;
}

Json jsonOf(const Estimate& estimate) {
  return {{"value", estimate.value}, {"deviation", estimate.deviation}};
}

Json jsonOf(const std::array<Estimate, 3>& estimates) {
  return {jsonOf(estimates[0]), jsonOf(estimates[1]), jsonOf(estimates[2])};
}

Json jsonOf(const Solution& s) {
  return {{"weight", jsonOf(s.weight)},
          {"centre", jsonOf(s.centre)},
          {"force_offset", jsonOf(s.force_offset)},
          {"torque_offset", jsonOf(s.torque_offset)},
          {"centre_on_measured_forces", s.centre_on_measured_forces},
          {"gravity", s.gravity},
          {"tilt", jsonOf(s.tilt)},
          {"force_rms", s.force_rms},
          {"torque_rms", s.torque_rms},
          {"force_noise", s.force_noise},
          {"torque_noise", s.torque_noise},
          {"freedom", s.freedom}};
}

Json jsonOf(const Accuracy& accuracy) {
  return {{"weight", accuracy.weight}, {"centre", accuracy.centre}};
}

Json namesOf(const std::vector<std::size_t>& indices, const std::vector<StaticPose>& poses) {
  Json names = Json::array();
  for (const std::size_t i : indices) names.push_back(poses[i].name);
  return names;
}

Json jsonOf(const Report& report, const std::vector<StaticPose>& poses) {
  Json json = {{"verdict", nameOf(report.verdict)},
               {"reason", report.reason},
               {"load_data", nullptr},
               {"answer", jsonOf(report.answer())},
               {"recorded", jsonOf(report.recorded)}};
  if (report.load_data) json["load_data"] = *report.load_data;
  Json& findings = json["findings"] = Json::array();
  for (const Finding& f : report.findings) {
    findings.push_back({{"what", nameOf(f.what)},
                        {"text", f.text},
                        {"advice", f.advice},
                        {"chance", f.chance},
                        {"poses", namesOf(f.poses, poses)}});
  }
  Json& residuals = json["poses"] = Json::array();
  for (std::size_t i = 0; i < poses.size(); ++i) {
    const PoseResidual& r = report.residuals[i];
    residuals.push_back({{"name", poses[i].name},
                         {"force", r.force},
                         {"torque", r.torque},
                         {"deviations", r.size},
                         {"left_out", r.left_out}});
  }
  json["worst"] = namesOf(report.worst, poses);
  json["condition"] = {{"force", report.condition_force}, {"torque", report.condition_torque}};
  json["undetermined"] = report.undetermined;
  json["undetermined_why"] = report.undetermined_why;
  json["next"] = nullptr;
  if (report.next) {
    const NextPose& next = *report.next;
    json["next"] = {{"angles", {next.angles.a, next.angles.b, next.angles.c}},
                    {"gravity", next.gravity},
                    {"before", jsonOf(next.before)},
                    {"after", jsonOf(next.after)}};
  }
  json["goal"] = {{"weight", report.goal.weight}, {"centre", report.goal.centre}};
  json["goal_reached"] = report.goal_reached;
  json["poses_missing"] = nullptr;
  if (report.poses_missing) json["poses_missing"] = *report.poses_missing;
  return json;
}

std::filesystem::path figuresOf(std::filesystem::path picture) {
  return picture.replace_extension(".csv");
}

/// Readings and residuals beside the picture, so that it can be drawn again.
bool draw(const std::string& picture, const Report& report, const std::vector<StaticPose>& poses) {
  const std::filesystem::path path(picture);
  const std::string name = path.stem().string(), folder = path.parent_path().string();
  KeptFile csv(figuresOf(path).string());
  csv.stream() << "pose,fx,fy,fz,mx,my,mz,lfx,lfy,lfz,lmx,lmy,lmz\n";
  for (std::size_t i = 0; i < poses.size(); ++i) {
    const PoseResidual& r = report.residuals[i];
    csv.stream() << fmt::format("{},{},{},{}\n", i + 1, fmt::join(poses[i].wrench, ","),
                                fmt::join(r.force, ","), fmt::join(r.torque, ","));
  }
  csv.keep();
  return example::drawLeftOver(
      folder, name,
      fmt::format("Identification: {}. Readings and residuals", nameOf(report.verdict)), csv.path(),
      poses.size());
}

/// The figures beside a picture have its name; they must not take the place of a recording.
void refuseToOverwrite(const Options& options) {
  if (options.picture.empty()) return;
  const std::filesystem::path figures = figuresOf(options.picture);
  for (const std::string& file : options.files) {
    std::error_code unknown;
    if (std::filesystem::equivalent(file, figures, unknown)) {
      throw std::runtime_error(
          fmt::format("--picture: its figures would take the place of {}", file));
    }
  }
}

Exit identifyLoad(const Options& options) {
  refuseToOverwrite(options);
  const std::vector<StaticPose> poses = posesOf(options.files);
  const Report report = identify(poses, analysisOptions(options));
  if (options.json) {
    print(jsonOf(report, poses));
  } else {
    fmt::print("{}", table(report, poses));
  }
  if (!options.picture.empty() && !draw(options.picture, report, poses)) return notPossible;
  return report.verdict == Verdict::do_not_use ? notAsWanted : done;
}

}  // namespace

Body addIdentify(CLI::App& app) {
  app.description(
      "Identifies weight and centre of mass of what hangs on the sensor from readings at rest in "
      "three or more poses, and says first whether the answer may be used. Exit code 1 for \"do "
      "not "
      "use\".");
  app.footer(
      "Columns, in any order, units in their names; one row per reading:\n"
      "  qw,qx,qy,qz or a_deg,b_deg,c_deg or a_rad,b_rad,c_rad  orientation in the base\n"
      "  fx,fy,fz,mx,my,mz            raw reading, N and N m\n"
      "  x_mm,y_mm,z_mm or x_m,y_m,z_m, time_s, pose (a label)  may be left out\n");
  addExample(app, "poses.csv --mounting 0.785,0,0 --accuracy 0.05,0.5");
  const auto options = std::make_shared<Options>();
  app.add_option("FILE", options->files, "CSV files; their poses are taken together")->required();
  const auto list = [&](const char* name, std::vector<double>& values, int count, const char* type,
                        const char* what) {
    return app.add_option(name, values, what)->expected(count)->delimiter(',')->type_name(type);
  };
  list("--accuracy", options->accuracy, 2, "WEIGHT,CENTRE",
       "standard deviations wanted, N and mm: says how many poses are still missing")
      ->check(positive());
  list("--mounting", options->mounting, 3, "A,B,C",
       "angles of the sensor on the frame that was recorded, about Z, Y, X, rad; default 0")
      ->check(finite());
  list("--range", options->range, 6, "FX,FY,FZ,MX,MY,MZ",
       "of the sensor, N and N m; readings there count as saturated")
      ->check(positive());
  app.add_option("--picture", options->picture,
                 "draw readings and residuals; the figures stand beside it as FILE.csv")
      ->type_name("FILE.png");
  addJsonFlag(app, options->json);
  return [options] { return identifyLoad(*options); };
}

}  // namespace zel::cli
