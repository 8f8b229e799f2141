// Identification of a load from recorded poses.
#include <pybind11/stl.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "analysis/identification.h"
#include "python/convert.h"

namespace zel::python {
namespace {

using py::arg;
using namespace zel::analysis;

/// A field that is an array.
template <typename T, std::size_t N>
auto field(std::array<double, N> T::*values) {
  return [values](const T& value) { return Array(value.*values); };
}

/// Three numbers, each with its deviation.
auto three(std::array<Estimate, 3> Solution::*values) {
  return [values](const Solution& solution) {
    return std::vector<Estimate>((solution.*values).begin(), (solution.*values).end());
  };
}

/// Nine numbers, row by row.
Array matrixOf(const Rotation& rotation) {
  return Array({3, 3}, rotation.front().data());
}

Rotation rotationFrom(const ArrayLike& source) {
  const auto array = py::array::ensure(source);
  if (!array || array.size() != 9) throw py::value_error("rotation: 3 by 3 numbers wanted");
  const auto rows = py::tuple(array.attr("reshape")(-1));
  const auto nine = numbers<9>(rows, "rotation");
  return {{{nine[0], nine[1], nine[2]}, {nine[3], nine[4], nine[5]}, {nine[6], nine[7], nine[8]}}};
}

Angles anglesFrom(const ArrayLike& source, const char* name) {
  const auto [a, b, c] = numbers<3>(source, name);
  return {a, b, c};
}

Orientation orientationFrom(const std::optional<ArrayLike>& angles,
                            const std::optional<ArrayLike>& quaternion,
                            const std::optional<ArrayLike>& rotation) {
  if (angles.has_value() + quaternion.has_value() + rotation.has_value() != 1) {
    throw py::type_error("one of angles, quaternion, rotation wanted: as it was recorded");
  }
  if (angles) return anglesFrom(*angles, "angles");
  if (rotation) return rotationFrom(*rotation);
  const auto [w, x, y, z] = numbers<4>(*quaternion, "quaternion");
  return Quaternion{w, x, y, z};
}

StaticPose poseFrom(const ArrayLike& wrench, const std::optional<ArrayLike>& angles,
                    const std::optional<ArrayLike>& quaternion,
                    const std::optional<ArrayLike>& rotation,
                    const std::optional<ArrayLike>& position, std::optional<double> time,
                    std::string name) {
  StaticPose pose;
  pose.wrench = numbers<6>(wrench, "wrench");
  pose.orientation = orientationFrom(angles, quaternion, rotation);
  if (position) pose.position = numbers<3>(*position, "position");
  pose.time = time;
  pose.name = std::move(name);
  return pose;
}

/// What has no name gets its number.
std::vector<StaticPose> named(std::vector<StaticPose> poses) {
  for (std::size_t i = 0; i < poses.size(); ++i) {
    if (poses[i].name.empty()) poses[i].name = std::to_string(i + 1);
  }
  return poses;
}

Report identifyFrom(std::vector<StaticPose> poses, const ArrayLike& mounting,
                    const std::optional<ArrayLike>& range,
                    const std::optional<std::pair<double, double>>& goal) {
  Options options;
  options.mounting = anglesFrom(mounting, "mounting");
  if (range) options.range = numbers<6>(*range, "range");
  if (goal) options.goal = Goal{goal->first, goal->second};
  return identify(named(std::move(poses)), options);
}

void addSolution(py::module_& module) {
  record<Estimate>(module, "Estimate", "A number with its standard deviation.")
      .def_readonly("value", &Estimate::value, "Not a number where the poses cannot tell it.")
      .def_readonly("deviation", &Estimate::deviation, "Standard deviation.")
      .def_property_readonly("determined", &Estimate::determined, "The poses can tell it.");
  record<Solution>(module, "Solution", "One answer and how well it fits.")
      .def_readonly("weight", &Solution::weight, "N")
      .def_property_readonly("centre", three(&Solution::centre),
                             "Centre of mass in the sensor frame, mm.")
      .def_property_readonly("force_offset", three(&Solution::force_offset), "N")
      .def_property_readonly("torque_offset", three(&Solution::torque_offset), "N m")
      .def_property_readonly("centre_on_measured_forces",
                             field(&Solution::centre_on_measured_forces),
                             "As ldd_tool does it, mm.")
      .def_property_readonly("gravity", field(&Solution::gravity), "Its direction, base axes.")
      .def_readonly("tilt", &Solution::tilt, "Between it and straight down, rad.")
      .def_readonly("force_rms", &Solution::force_rms, "Residual of one component, N.")
      .def_readonly("torque_rms", &Solution::torque_rms, "N m")
      .def_readonly("force_noise", &Solution::force_noise, "Noise of one component, N.")
      .def_readonly("torque_noise", &Solution::torque_noise, "N m")
      .def_readonly("freedom", &Solution::freedom, "Degrees of freedom of the forces.");
}

void addFindings(py::module_& module) {
  record<Finding>(module, "Finding", "What is wrong with a recording.")
      .def_property_readonly(
          "what", [](const Finding& finding) { return nameOf(finding.what); },
          "\"drift\", \"contact\", ...: never renamed.")
      .def_readonly("text", &Finding::text, "What, where and how much, one sentence.")
      .def_readonly("advice", &Finding::advice, "What to do about it.")
      .def_readonly("chance", &Finding::chance, "That a good recording looks like this.")
      .def_property_readonly(
          "leaves", [](const Finding& finding) { return nameOf(finding.leaves); },
          "The best verdict that is possible with it.")
      .def_readonly("poses", &Finding::poses, "Indices of the poses it names.");
  record<PoseResidual>(module, "PoseResidual", "Reading minus model at one pose.")
      .def_property_readonly("force", field(&PoseResidual::force), "N")
      .def_property_readonly("torque", field(&PoseResidual::torque), "N m")
      .def_readonly("size", &PoseResidual::size, "In standard deviations.")
      .def_readonly("left_out", &PoseResidual::left_out, "Takes no part in the answer.");
  record<Accuracy>(module, "Accuracy", "Standard deviations; infinite: cannot be told.")
      .def_readonly("weight", &Accuracy::weight, "N")
      .def_property_readonly("centre", field(&Accuracy::centre), "mm");
  record<NextPose>(module, "NextPose", "The orientation that would improve the answer most.")
      .def_property_readonly(
          "angles",
          [](const NextPose& next) {
            return Array(std::array{next.angles.a, next.angles.b, next.angles.c});
          },
          "About Z, Y, X in rad, of the recorded frame in the base.")
      .def_property_readonly("gravity", field(&NextPose::gravity), "In sensor axes there.")
      .def_readonly("before", &NextPose::before, "Accuracy without it.")
      .def_readonly("after", &NextPose::after, "Accuracy with it.");
}

void addReport(py::module_& module) {
  record<Report>(module, "Report", "The answer, and how far to trust it.")
      .def_property_readonly(
          "verdict", [](const Report& report) { return nameOf(report.verdict); },
          "\"good\", \"usable\" or \"do not use\".")
      .def_readonly("reason", &Report::reason, "Of the verdict, one sentence.")
      .def_readonly("recorded", &Report::recorded, "The recording taken at its word.")
      .def_readonly("corrected", &Report::corrected, "The answer without what was found, or None.")
      .def_property_readonly("answer", &Report::answer, "The better of the two.")
      .def_property_readonly(
          "load_data",
          [](const Report& report) {
            return report.load_data ? std::optional(Array(*report.load_data)) : std::nullopt;
          },
          "g, lx, ly, lz for zel_ftc_setLoadData (N, mm). None when they must not be used.")
      .def_readonly("findings", &Report::findings, "What is wrong with the recording.")
      .def_readonly("residuals", &Report::residuals, "Of the answer, one per pose.")
      .def_readonly("worst", &Report::worst, "Indices of up to three poses, the worst first.")
      .def_readonly("condition_force", &Report::condition_force, "Of the equations, 1 is best.")
      .def_readonly("condition_torque", &Report::condition_torque, "The same for the torques.")
      .def_readonly("undetermined", &Report::undetermined, "What these poses cannot tell.")
      .def_readonly("undetermined_why", &Report::undetermined_why, "One clause.")
      .def_readonly("next", &Report::next, "The orientation to add next, or None.")
      .def_property_readonly(
          "goal", [](const Report& r) { return std::pair(r.goal.weight, r.goal.centre); },
          "Deviations wanted, N and mm, or the limits of a good answer.")
      .def_readonly("goal_reached", &Report::goal_reached)
      .def_readonly("poses_missing", &Report::poses_missing,
                    "Poses still needed when chosen well; None when thirty are not enough.");
}

}  // namespace

PYBIND11_MODULE(analysis, module) {
  module.doc() =
      "Identification of the load on a force/torque sensor from static poses, any number of them:\n"
      "a verdict with its reason, the answer with standard deviations, what is wrong with the\n"
      "recording, and which orientation to add next. docs/identification.md explains it.";
  addSolution(module);
  addFindings(module);
  addReport(module);

  record<StaticPose>(module, "StaticPose", "One standstill of the robot and what the sensor read.")
      .def(py::init(&poseFrom), arg("wrench"), arg("angles") = py::none(),
           arg("quaternion") = py::none(), arg("rotation") = py::none(),
           arg("position") = py::none(), arg("time") = py::none(), arg("name") = "",
           "wrench: raw, sensor axes, N and N m. One orientation in the robot base, as it was\n"
           "recorded: angles about Z, Y, X (rad), quaternion (w, x, y, z) or rotation (3 by 3).\n"
           "position (mm) and time (s) may be left out.")
      .def_readonly("name", &StaticPose::name, "For messages; empty: its number.")
      .def_property_readonly(
          "rotation", [](const StaticPose& p) { return matrixOf(rotationOf(p.orientation)); },
          "R_base_sensor, or of the flange where that was recorded.")
      .def_property_readonly("wrench", field(&StaticPose::wrench), "N and N m")
      .def_readonly("time", &StaticPose::time, "s")
      .def_readonly("rows", &StaticPose::rows, "Readings behind the mean.");

  module.def("readPoses", &readPoses, arg("path"),
             "Reads poses from a CSV file; units stand in the column names (qw..qz, a_deg.., "
             "x_mm.., fx..mz,\ntime_s, pose). RuntimeError names file, line and column of what is "
             "wrong.",
             py::call_guard<py::gil_scoped_release>());
  module.def("identify", &identifyFrom, arg("poses"), arg("mounting") = py::make_tuple(0, 0, 0),
             arg("range") = py::none(), arg("goal") = py::none(),
             "Identifies the load. mounting: angles of the sensor on the frame whose orientation\n"
             "was recorded. range: largest magnitude that the sensor gives per channel. goal:\n"
             "wanted standard deviations of weight (N) and of each coordinate of the centre (mm).\n"
             "ValueError for numbers that are not finite or huge, for a range or goal that is not\n"
             "above 0, and when there is no pose.");
  module.def(
      "table",
      [](const Report& report, std::vector<StaticPose> poses) {
        return table(report, named(std::move(poses)));
      },
      arg("report"), arg("poses"),
      "The report on these poses as text, at most 80 columns wide. ValueError when they are\n"
      "not as many as the report has.");
}

}  // namespace zel::python
