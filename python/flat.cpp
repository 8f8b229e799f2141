// The flat interface: zel_ftc_lib.h.
#include <pybind11/stl.h>

#include <limits>
#include <optional>
#include <string>
#include <tuple>
#include <utility>

#include "python/convert.h"
#include "zel_ftc_lib.h"

namespace zel::python {
namespace {

using py::arg;

/// An argument that is an array of N numbers.
template <std::size_t N>
struct Numbers {
  using Type = const ArrayLike&;
  static std::array<double, N> convert(const ArrayLike& source, const char* name) {
    return numbers<N>(source, name);
  }
};

/// Any other one.
template <typename T>
struct Plain {
  using Type = T;
  static T convert(T value, const char*) { return value; }
};

double* handOver(std::array<double, 3>& values) {
  return values.data();
}
double* handOver(std::array<double, 6>& values) {
  return values.data();
}
template <typename T>
T handOver(T value) {
  return value;
}

/// While a call sleeps or talks to the sensor other threads of Python run.
enum class Call { quick, blocking };

/// A function that gives no result: everything but 1 raises.
template <auto function, Call call, typename... Arguments, typename... Names>
void add(py::module_& module, const char* name, const char* doc, Names... names) {
  module.def(
      name,
      [names...](typename Arguments::Type... values) {
        auto converted = std::make_tuple(Arguments::convert(values, names)...);
        const auto result = [&] {
          std::optional<py::gil_scoped_release> others;
          if (call == Call::blocking) others.emplace();
          return std::apply([](auto&... value) { return function(handOver(value)...); }, converted);
        };
        require(result());
      },
      arg(names)..., doc);
}

/// The results of a function that fills arrays of six.
template <typename Function>
Array six(Function function) {
  std::array<double, 6> values = {};
  require(function(values.data()));
  return Array(values);
}

/// One cycle of a run. A normal end is a result, a failure raises.
template <typename Run, typename... Poses>
std::pair<Array, int> cycle(Run run, Poses... poses) {
  std::array<double, 6> out = {};
  zel_ftc_error error = {};
  const int result = run(out.data(), poses.data()..., &error);
  if (result != 0 || error.ftc_code < ZEL_RUN_END) require(result);
  return {Array(out), error.ftc_code};
}

int initialise(unsigned short host, const std::optional<std::string>& ip) {
  return zel_ftc_initialFTSensor(host, ip ? ip->c_str() : nullptr);
}

void addSensor(py::module_& m) {
  using Text = Plain<std::optional<std::string>>;
  add<zel_ftc_open, Call::blocking, Plain<bool>>(
      m, "zel_ftc_open",
      "Creates the tool and the sensor: fed by the caller (isExternal) or on the network.",
      "isExternal");
  add<zel_ftc_close, Call::blocking>(m, "zel_ftc_close",
                                     "Stops the sensor, releases everything. Never refuses.");
  add<initialise, Call::blocking, Plain<unsigned short>, Text>(
      m, "zel_ftc_initialFTSensor",
      "Brings the sensor up: port and dotted address of a network sensor, 0 and None for an\n"
      "external one. A network sensor takes local UDP port 52000 and two threads until\n"
      "zel_ftc_uninitialFTSensor; one of them spins (zel_ftc_setWorkers lets it wait). A sensor\n"
      "that is up already stays the one that it is.",
      "host", "ip");
  add<zel_ftc_uninitialFTSensor, Call::blocking>(m, "zel_ftc_uninitialFTSensor",
                                                 "Takes the sensor down.");
  m.def(
      "zel_ftc_obtainFTSensorData",
      [](const std::optional<ArrayLike>& m_ftData) {
        std::array<double, 6> values = {};
        if (m_ftData) values = numbers<6>(*m_ftData, "m_ftData");
        if (zel_is_external && m_zelftsensorclass != nullptr && !m_ftData) {
          throw py::type_error("m_ftData: an external sensor wants the six values of this cycle");
        }
        require(zel_ftc_obtainFTSensorData(values.data()));
        return Array(values);
      },
      arg("m_ftData") = py::none(),
      "External sensor: hands in the six raw values of this cycle, before any run function.\n"
      "Network sensor: gives the newest reading; raises when it is not a normal one.");
  m.def(
      "zel_ftc_getFTSensorRange",
      [] {
        std::array<double, 6> range;
        range.fill(std::numeric_limits<double>::quiet_NaN());
        require(zel_ftc_getFTSensorRange(range.data()));
        return Array(range);
      },
      "Nominal range per axis, N and N m; not a number where the sensor has none to tell.");
  add<zel_ftc_zeroFTSensor, Call::blocking>(m, "zel_ftc_zeroFTSensor", "The sensor's own zero.");
  add<zel_ftc_lowPassFilterFTSensor, Call::blocking, Plain<int>>(
      m, "zel_ftc_lowPassFilterFTSensor", "Low-pass filter of the sensor; low 8 bits.", "range");
  add<zel_ftc_medianFilterDepthFTSensor, Call::blocking, Plain<int>>(
      m, "zel_ftc_medianFilterDepthFTSensor", "Median filter of the sensor; low 8 bits.", "range");

  record<zel_ft_info>(m, "zel_ft_info", "Status of the sensor, refreshed by every read.")
      .def_property_readonly(
          "code", [](const zel_ft_info& info) -> ZelInfoCode { return info.code; },
          "FT_N0RMAL is normal; the number 0 before the first read.")
      .def_property_readonly(
          "IPOC", [](const zel_ft_info& info) -> int { return info.IPOC; },
          "Running sample counter of the reading.")
      .def_property_readonly(
          "code_info", [](const zel_ft_info& info) { return std::string(info.code_info); },
          "Its text.");

  // Variables in C, looked up by the package.
  m.def("_is_external", [] { return zel_is_external; });
  m.def("_raw_ft", [] { return Array(6, zel_raw_ft); });
  m.def("_info", [] { return zel_info_; });
}

void addConfiguration(py::module_& m) {
  using Number = Plain<double>;
  using Six = Numbers<6>;
  using Three = Numbers<3>;
  constexpr Call quick = Call::quick;

  add<zel_ftc_setTimeStep, quick, Number>(m, "zel_ftc_setTimeStep",
                                          "Control period, 4..100 ms. Gains are scaled with it "
                                          "when a mode is configured: set it first.",
                                          "msTime");
  m.def(
      "zel_ftc_getTimeStep",
      [] {
        double period = 0.0;
        require(zel_ftc_getTimeStep(&period));
        return period;
      },
      "Control period, ms.");
  add<zel_ftc_setSensorConfig, quick, Six, Six, Six>(
      m, "zel_ftc_setSensorConfig",
      "Permitted load per axis, the sensor's pose on the flange, the tool's pose on the sensor.",
      "maxLoad", "sensor_offset", "tool_offect_sensor");
  add<zel_ftc_setLoadData, quick, Number, Number, Number, Number>(
      m, "zel_ftc_setLoadData",
      "Weight of the load (N) and its centre of mass in the sensor frame (mm).", "g", "lx", "ly",
      "lz");
  m.def(
      "zel_ftc_getLoadData",
      [] {
        double g = 0.0, x = 0.0, y = 0.0, z = 0.0;
        require(zel_ftc_getLoadData(&g, &x, &y, &z));
        return std::make_tuple(g, x, y, z);
      },
      "(g, lx, ly, lz): N and mm. Prints a line.");
  add<zel_ftc_setCorrectionLimit, quick, Three, Three, Number>(
      m, "zel_ftc_setCorrectionLimit",
      "Box around the start pose that an approach may command: three upper and three lower bounds "
      "(mm).\nang (rad) is stored and not used.",
      "max", "min", "ang");
  add<zel_ftc_setMonitoringFunctions, quick, Six>(
      m, "zel_ftc_setMonitoringFunctions",
      "Largest compensated wrench per axis in the mode's frame; beyond it a run ends with 11000.",
      "_monitoringFunctions");
  add<zel_ftc_setCorrectionMonitoring, quick, Number, Number>(
      m, "zel_ftc_setCorrectionMonitoring",
      "Farthest from the start pose of an approach, mm and rad; beyond it 11005.", "path", "angle");
  add<zel_ftc_setSensorNoiseThreshold, quick, Number, Number>(
      m, "zel_ftc_setSensorNoiseThreshold",
      "Dead band of the compensated wrench: 0 < f_min < 100 N, 0 < m_min < 10 N m. A value that "
      "passes\nis stored even when the other is refused.",
      "f_min", "m_min");
  add<zel_set_minValue, quick, Number, Plain<int>>(
      m, "zel_set_minValue",
      "Path that must be covered before a contact may end a run: ZEL_MIN_PATH in mm.", "value",
      "value_name");
  add<zel_set_minValue_every, quick, Three, Plain<int>>(
      m, "zel_set_minValue_every", "The same, one value (mm) per axis; value_name is ignored.",
      "value_group", "value_name");

  using Rcs = Plain<ZelRcs>;
  using Direction = Plain<ZelDirection>;
  using Time = Plain<unsigned long>;
  add<zel_ftc_configApproachMode, quick, Rcs, Direction, Number, Six, Number, Number, Number, Six,
      Time>(
      m, "zel_ftc_configApproachMode",
      "Approach: search along the main axis until contact, then press with setExpectFT.\n"
      "setKR: gain per axis, mm/s per N (rad/s * 1000 per N m). translationalMotion: mm/s.\n"
      "breakConditionRange: band of the control error per axis, 0 = not monitored. timeOut: ms.\n"
      "Makes the other modes unusable. Prints a line.",
      "rcs", "mainDirection", "setExpectFT", "setKR", "translationalMotion", "switchingForce",
      "switchingTorque", "breakConditionRange", "timeOut");
  add<zel_ftc_configAssemblyMode, quick, Rcs, Direction, Number, Six, Number, Number, Number, Six,
      Time, Number, Number, Number>(
      m, "zel_ftc_configAssemblyMode",
      "Assembly: arguments as for the approach. The run watches and does not move the robot.",
      "rcs", "mainDirection", "setExpectFT", "setKR", "translationalMotion", "switchingForce",
      "switchingTorque", "breakConditionRange", "timeOut", "pathOut", "minPath", "minPathForce");
  add<zel_ftc_configTrackingMotionMode, quick, Rcs, Direction, Six, Six, Six, Number>(
      m, "zel_ftc_configTrackingMotionMode",
      "Tracking: a line or an arc with a steady force. desiredSpeed: mm/s. breakConditionRange:\n"
      "signed limit of F + E (E of the approach mode) per axis, on a sudden change; 0 = not "
      "monitored.",
      "rcs", "mainDirection", "expectFT", "kr", "breakConditionRange", "desiredSpeed");

  add<zel_ftc_recordCalibrationLoadData, quick, Six, Six>(
      m, "zel_ftc_recordCalibrationLoadData",
      "Records one static sample (raw wrench, flange pose); the eleventh is refused.", "ft",
      "robot_pos");
  add<zel_ftc_initCalibrationLoadData, quick>(m, "zel_ftc_initCalibrationLoadData",
                                              "Forgets the samples recorded.");
  add<zel_ftc_gravityCalibration, quick>(m, "zel_ftc_gravityCalibration",
                                         "Identifies the load from the samples recorded.");
}

void addCycle(py::module_& m) {
  add<zel_ftc_sensorReset, Call::blocking, Numbers<6>>(
      m, "zel_ftc_sensorReset",
      "Takes the zero reference at this pose, robot at rest and without contact. Sleeps 10 ms.",
      "robot_pos");
  m.def(
      "zel_ftc_getSensorData",
      [](const ArrayLike& robot_pos, ZelRcs rcs) {
        auto pose = numbers<6>(robot_pos, "robot_pos");
        return six([&](double* ft) { return zel_ftc_getSensorData(ft, pose.data(), rcs); });
      },
      arg("robot_pos"), arg("rcs"),
      "Compensated wrench of a fresh reading in the given frame, dead band applied.");
  m.def(
      "zel_ftc_getRCS_FT_Data", [] { return six(zel_ftc_getRCS_FT_Data); },
      "The wrench that the last cycle worked with.");
  m.def(
      "zel_ftc_get_GraData",
      [](const ArrayLike& robot_pos) {
        auto pose = numbers<6>(robot_pos, "robot_pos");
        return six([&](double* ft) { return zel_ftc_get_GraData(ft, pose.data()); });
      },
      arg("robot_pos"), "Compensated wrench in the sensor frame, without dead band.");

  using ContactRun = int (*)(double*, double*, zel_ftc_error*);
  for (const auto& [name, run] : std::initializer_list<std::pair<const char*, ContactRun>>{
           {"zel_ftc_runApproach", zel_ftc_runApproach},
           {"zel_ftc_runAssembly", zel_ftc_runAssembly}}) {
    m.def(
        name,
        [run = run](const ArrayLike& robot_pos_now) {
          return cycle(run, numbers<6>(robot_pos_now, "robot_pos_now"));
        },
        arg("robot_pos_now"),
        run == &zel_ftc_runAssembly
            ? "One cycle: (pose, code). An assembly corrects nothing: the pose is left from an\n"
              "earlier run, or six zeros, not to be commanded. Otherwise as zel_ftc_runApproach."
            : "One cycle: (pose to command, code). ZEL_RUN_RUNNING goes on, ZEL_RUN_END and above\n"
              "is a normal end; a failure raises zel_ftc.Error and the robot stays where it is.");
  }
  m.def(
      "zel_ftc_runTrackingMotionL",
      [](const ArrayLike& start, const ArrayLike& end, const ArrayLike& now) {
        return cycle(zel_ftc_runTrackingMotionL, numbers<6>(start, "robot_pos_start"),
                     numbers<6>(end, "robot_pos_end"), numbers<6>(now, "robot_pos_now"));
      },
      arg("robot_pos_start"), arg("robot_pos_end"), arg("robot_pos_now"),
      "One cycle along a line: as zel_ftc_runApproach.");
  m.def(
      "zel_ftc_runTrackingMotionC",
      [](const ArrayLike& start, const ArrayLike& via, const ArrayLike& end, const ArrayLike& now) {
        return cycle(zel_ftc_runTrackingMotionC, numbers<6>(start, "robot_pos_start"),
                     numbers<6>(via, "robot_pos_transition"), numbers<6>(end, "robot_pos_end"),
                     numbers<6>(now, "robot_pos_now"));
      },
      arg("robot_pos_start"), arg("robot_pos_transition"), arg("robot_pos_end"),
      arg("robot_pos_now"), "One cycle along an arc: as zel_ftc_runApproach.");
  add<zel_ftc_clear, Call::quick>(m, "zel_ftc_clear",
                                  "Ends a run; clears the approach and tracking configurations.");
  add<zel_ftc_stop, Call::quick>(m, "zel_ftc_stop", "Accepted, without effect.");
  add<zel_ftc_Release, Call::quick>(m, "zel_ftc_Release", "Accepted, without effect.");
}

void addPoses(py::module_& m) {
  m.def(
      "zel_rpy2quaternion",
      [](const ArrayLike& pose) {
        auto in = numbers<6>(pose, "pose");
        std::array<double, 7> out = {};
        zel_rpy2quaternion(out.data(), in.data());
        return Array(out);
      },
      arg("pose"), "Pose to seven values x, y, z, w, qx, qy, qz. Needs no open library.");
  m.def(
      "zel_quaternion2rpy",
      [](const ArrayLike& pose_qua) {
        auto in = numbers<7>(pose_qua, "pose_qua");
        std::array<double, 6> out = {};
        zel_quaternion2rpy(out.data(), in.data());
        return Array(out);
      },
      arg("pose_qua"), "Seven values to a pose. The quaternion is not normalised.");
  m.def(
      "zel_pose2offset",
      [](const ArrayLike& p1, const ArrayLike& p2) {
        auto frame = numbers<6>(p1, "p1");
        auto pose = numbers<6>(p2, "p2");
        std::array<double, 6> out = {};
        zel_pose2offset(out.data(), frame.data(), pose.data());
        return Array(out);
      },
      arg("p1"), arg("p2"), "The pose p2 expressed in the frame p1.");
}

}  // namespace

void addInterface(py::module_& module) {
  addSensor(module);
  addConfiguration(module);
  addCycle(module);
  addPoses(module);
}

}  // namespace zel::python

PYBIND11_MODULE(_flat, module) {
  module.doc() = "The flat interface: use it as zel_ftc.";
  zel::python::addEnumerations(module);
  zel::python::addDiagnosis(module);
  zel::python::addInterface(module);
  zel::python::addLoadTool(module);
}
