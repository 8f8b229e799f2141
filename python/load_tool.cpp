// ldd_tool: load identification and gravity compensation on its own.
#include <algorithm>

#include "matrix/ldd_tool.h"
#include "python/convert.h"

namespace zel::python {
namespace {

using py::arg;
using Poses = robot_pose_para;

void put(double (&pose)[6], const ArrayLike& source, const char* name) {
  const auto six = numbers<6>(source, name);
  std::copy(six.begin(), six.end(), pose);
}

/// What a function of the tool writes into an array of six.
template <typename Function>
Array six(Function function) {
  std::array<double, 6> values = {};
  function(values.data());
  return Array(values);
}

/// The rows of the samples recorded so far.
Array rows(const double (&data)[ldd_tool::capacity][6], std::size_t size) {
  return Array({size, std::size_t{6}}, &data[0][0]);
}

}  // namespace

void addLoadTool(py::module_& module) {
  record<load_para>(module, "load_para", "The load on a sensor.")
      .def(py::init([](double g, double lx, double ly, double lz) {
             return load_para{g, lx, ly, lz};
           }),
           arg("g") = 0.0, arg("lx") = 0.0, arg("ly") = 0.0, arg("lz") = 0.0)
      .def_readwrite("g", &load_para::g, "Weight, N.")
      .def_readwrite("lx", &load_para::lx, "Centre of mass in the sensor frame, m.")
      .def_readwrite("ly", &load_para::ly, "m")
      .def_readwrite("lz", &load_para::lz, "m");

  const auto pose = [](double(Poses::*member)[6]) {
    return [member](const Poses& poses) { return Array(6, poses.*member); };
  };
  record<Poses>(module, "robot_pose_para",
                "The poses of one moment: tool centre point in the base, tool and sensor on the "
                "flange.")
      .def(py::init([](const ArrayLike& tcp, const ArrayLike& tool, const ArrayLike& sensor) {
             Poses poses;
             put(poses.pose_base2tcp, tcp, "pose_base2tcp");
             put(poses.pose_flange2tool, tool, "pose_flange2tool");
             put(poses.pose_flange2ft_tool, sensor, "pose_flange2ft_tool");
             return poses;
           }),
           arg("pose_base2tcp"), arg("pose_flange2tool"), arg("pose_flange2ft_tool"))
      .def_property_readonly("pose_base2tcp", pose(&Poses::pose_base2tcp),
                             "Tool centre point in the base.")
      .def_property_readonly("pose_flange2tool", pose(&Poses::pose_flange2tool),
                             "Tool on the flange.")
      .def_property_readonly("pose_flange2ft_tool", pose(&Poses::pose_flange2ft_tool),
                             "Sensor on the flange.");

  py::class_<ldd_tool>(
      module, "ldd_tool",
      "Identifies the load on a sensor from up to ten static poses, and removes its gravity and\n"
      "the sensor's offset from raw readings. Lengths of the load are metres: times 1000 for\n"
      "zel_ftc_setLoadData. zel_ftc.analysis takes any number of poses and says how sure it is.")
      .def(py::init<>())
      .def_readonly("size", &ldd_tool::size, "Recorded samples, 0..10.")
      .def_property_readonly(
          "FTData", [](const ldd_tool& tool) { return rows(tool.FTData, tool.size); },
          "Raw wrench of each sample.")
      .def_property_readonly(
          "PoseData", [](const ldd_tool& tool) { return rows(tool.PoseData, tool.size); },
          "Pose of the sensor in the base at each sample.")
      .def("clear", &ldd_tool::clear, "No samples, no load.")
      .def(
          "recordCalibrationLoadData",
          [](ldd_tool& tool, const ArrayLike& ft_sensor_raw, const Poses& input_rpp) {
            auto raw = numbers<6>(ft_sensor_raw, "ft_sensor_raw");
            tool.recordCalibrationLoadData(raw.data(), input_rpp);
          },
          arg("ft_sensor_raw"), arg("input_rpp"),
          "Stores one static sample. From the eleventh on samples are dropped: see size.")
      .def("gravityCalibration", &ldd_tool::gravityCalibration,
           "Identifies the load from all samples. Fewer than three clearly different orientations\n"
           "give a load that is not a number or means nothing.")
      .def(
          "getLoadPara",
          [](ldd_tool& tool) {
            load_para para;
            tool.getLoadPara(&para);
            return para;
          },
          "The load.")
      .def("setLoadPara", &ldd_tool::setLoadPara, arg("para"), "Restores a known load.")
      .def(
          "getG2Sensor",
          [](ldd_tool& tool, const Poses& input_rpp) {
            return six([&](double* out) { tool.getG2Sensor(out, input_rpp); });
          },
          arg("input_rpp"), "Gravity wrench of the load at these poses.")
      .def(
          "sensorReset",
          [](ldd_tool& tool, const Poses& input_rpp, const ArrayLike& ft_sensor_raw) {
            auto raw = numbers<6>(ft_sensor_raw, "ft_sensor_raw");
            return six([&](double* out) { tool.sensorReset(out, input_rpp, raw.data()); });
          },
          arg("input_rpp"), arg("ft_sensor_raw"),
          "The sensor's offset, from a reading at rest and without contact.")
      .def(
          "zeroGravTrafo",
          [](ldd_tool& tool, const Poses& input_rpp, const ArrayLike& ft_sensor_raw,
             const ArrayLike& ldd_ft_zero) {
            auto raw = numbers<6>(ft_sensor_raw, "ft_sensor_raw");
            auto zero = numbers<6>(ldd_ft_zero, "ldd_ft_zero");
            return six(
                [&](double* out) { tool.zeroGravTrafo(out, input_rpp, raw.data(), zero.data()); });
          },
          arg("input_rpp"), arg("ft_sensor_raw"), arg("ldd_ft_zero"), "The external wrench alone.")
      .def(
          "expressForceInFrame",
          [](ldd_tool& tool, const ArrayLike& ft_sensor, const Poses& input_rpp) {
            auto in = numbers<6>(ft_sensor, "ft_sensor");
            return six([&](double* out) { tool.expressForceInFrame(out, in.data(), input_rpp); });
          },
          arg("ft_sensor"), arg("input_rpp"),
          "A wrench in sensor axes expressed in tool axes; no lever arm is added.")
      .def(
          "expressForceInFrame",
          [](ldd_tool& tool, const ArrayLike& ft_tool, const ArrayLike& pos_offset2tool) {
            auto in = numbers<6>(ft_tool, "ft_tool");
            auto offset = numbers<6>(pos_offset2tool, "pos_offset2tool");
            return six(
                [&](double* out) { tool.expressForceInFrame(out, in.data(), offset.data()); });
          },
          arg("ft_tool"), arg("pos_offset2tool"),
          "A wrench in tool axes rotated by the angles of an offset pose; no lever arm.");
}

}  // namespace zel::python
