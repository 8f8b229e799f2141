// The simulated cell.
#include <string>

#include "python/convert.h"
#include "sim/cell.h"

namespace zel::python {
namespace {

using py::arg;
using sim::Cell;
using sim::CellConfig;
using sim::Load;
using sim::Surface;

/// A value made of its fields by name; a name that is none raises AttributeError.
template <typename T>
auto byName() {
  return py::init([](const py::kwargs& fields) {
    const py::object value = py::cast(T{});
    for (const auto& [name, field] : fields) py::setattr(value, name, field);
    return value.cast<T>();
  });
}

/// A field that is an array.
template <typename T, std::size_t N>
void addArray(py::class_<T>& type, const char* name, std::array<double, N> T::*field,
              const char* doc) {
  type.def_property(
      name, [field](const T& value) { return Array(value.*field); },
      [field, name](T& value, const ArrayLike& source) { value.*field = numbers<N>(source, name); },
      doc);
}

}  // namespace

PYBIND11_MODULE(sim, module) {
  module.doc() =
      "The simulated cell: a robot that follows commanded poses, a load on a six-axis sensor, and\n"
      "an elastic surface to touch. Poses are x, y, z in mm and angles about Z, Y, X in rad;\n"
      "wrenches N and N m.";

  auto surface = record<Surface>(module, "Surface", "An elastic surface; fills all behind it.");
  surface.def(byName<Surface>())
      .def_readwrite("stiffness", &Surface::stiffness, "N/mm")
      .def_readwrite("damping", &Surface::damping, "N s/mm, acts only while pressed in.")
      .def_readwrite("friction", &Surface::friction, "Coulomb coefficient.")
      .def_readwrite("radius", &Surface::radius, "mm; 0 flat, positive dome, negative hollow.");
  addArray(surface, "pose", &Surface::pose, "In the base; its z axis is the outward normal.");

  auto load = record<Load>(module, "Load", "What hangs on the sensor.");
  load.def(byName<Load>()).def_readwrite("weight", &Load::weight, "N");
  addArray(load, "centre", &Load::centre, "Centre of mass in the sensor frame, mm.");

  auto config = record<CellConfig>(module, "CellConfig", "What a cell is made of.");
  config.def(byName<CellConfig>())
      .def_readwrite("lag", &CellConfig::lag, "Time constant of the robot, s; 0 = none.")
      .def_readwrite("load", &CellConfig::load, "What hangs on the sensor.")
      .def_readwrite("force_noise", &CellConfig::force_noise, "Standard deviation, N.")
      .def_readwrite("torque_noise", &CellConfig::torque_noise, "Standard deviation, N m.")
      .def_readwrite("quantise", &CellConfig::quantise, "Round the reading to mN and mN m.")
      .def_readwrite("seed", &CellConfig::seed, "Of the noise.")
      .def_readwrite("surface", &CellConfig::surface, "What there is to touch.");
  addArray(config, "start", &CellConfig::start, "Flange pose at the start, in the base.");
  addArray(config, "flange_sensor", &CellConfig::flange_sensor, "Sensor frame on the flange.");
  addArray(config, "sensor_tool", &CellConfig::sensor_tool, "Tool frame on the sensor.");
  addArray(config, "offset", &CellConfig::offset, "Constant sensor offset, sensor frame.");

  py::class_<Cell>(module, "Cell",
                   "Deterministic for a given configuration and sequence of calls. ValueError for\n"
                   "values that are not finite and for negative magnitudes.")
      .def(py::init<const CellConfig&>(), arg("config"))
      .def(
          "command",
          [](Cell& cell, const ArrayLike& base_flange) {
            cell.command(numbers<6>(base_flange, "base_flange"));
          },
          arg("base_flange"), "The flange pose to follow from now on.")
      .def("advance", &Cell::advance, arg("seconds"), "Lets time pass.")
      .def(
          "flange", [](const Cell& cell) { return Array(cell.flange()); },
          "Where the flange is now, in the base.")
      .def(
          "reading", [](Cell& cell) { return Array(cell.reading()); },
          "What the sensor transmits now: contact, weight, offset, noise; sensor frame.")
      .def(
          "contact", [](const Cell& cell) { return Array(cell.contact()); },
          "The contact wrench alone, noise-free, in the sensor frame.")
      .def("penetration", &Cell::penetration, "How far the tip is pressed in, mm.");
}

}  // namespace zel::python
