// The simulated cell: a robot that follows commanded poses, a tool load on a six-axis sensor, and
// an elastic environment to touch.
#ifndef ZEL_FTC_SIM_CELL_H
#define ZEL_FTC_SIM_CELL_H

#include <array>
#include <cstdint>
#include <memory>

namespace zel::sim {

/// x, y, z in mm, angles about Z, Y, X in rad (R = RotZ * RotY * RotX).
using Pose = std::array<double, 6>;
/// Fx, Fy, Fz in N, Mx, My, Mz in N m.
using Wrench = std::array<double, 6>;

/// An elastic surface that fills everything behind it. `pose` in the robot base: its z axis is the
/// outward normal at the origin. A radius of curvature of 0 means flat; positive radii give a
/// surface that falls away from the origin like a sphere, negative ones a hollow (radius in mm).
struct Surface {
  Pose pose = {};
  double stiffness = 10.0;  ///< N/mm
  double damping = 0.0;     ///< N s/mm, acts only while pressed in, never pulls
  /// Coulomb coefficient against the tangential motion of the tool tip. Below 0.05 mm/s friction
  /// fades in proportion to the speed.
  double friction = 0.0;
  double radius = 0.0;  ///< mm
};

struct Load {
  double weight = 0.0;                ///< N
  std::array<double, 3> centre = {};  ///< centre of mass in the sensor frame, mm
};

struct CellConfig {
  Pose start = {};          ///< flange pose at the start, in the base
  double lag = 0.0;         ///< time constant of the robot's first-order lag, s; 0 = no lag
  Pose flange_sensor = {};  ///< sensor frame on the flange
  Pose sensor_tool = {};    ///< tool frame on the sensor; its origin is the tip that touches
  Load load;
  Wrench offset = {};         ///< constant sensor offset, sensor frame
  double force_noise = 0.0;   ///< standard deviation, N
  double torque_noise = 0.0;  ///< standard deviation, N m
  bool quantise = true;       ///< round the reading to mN and mN m, as the sensor transmits it
  std::uint64_t seed = 1;
  Surface surface;
};

/// Deterministic for a given configuration and sequence of calls. One thread. Throws
/// std::invalid_argument for values that are not finite and for negative magnitudes.
class Cell {
 public:
  explicit Cell(const CellConfig& config);
  ~Cell();
  Cell(Cell&&) noexcept;
  Cell& operator=(Cell&&) noexcept;

  /// The flange pose to follow from now on.
  void command(const Pose& base_flange);
  /// Lets time pass: the robot moves towards the commanded pose, its orientation along the shortest
  /// turn. The speed of this step counts for damping and friction until the next one.
  void advance(double seconds);
  /// Where the flange is now, in the base.
  Pose flange() const;
  /// What the sensor transmits now, sensor frame: the contact wrench on the tool, the weight of the
  /// load (it pulls at the centre of mass, along the base -z axis), offset, noise, quantisation.
  Wrench reading();
  /// The contact wrench alone, noise-free, in the sensor frame.
  Wrench contact() const;
  /// How far the tool tip is pressed into the surface, mm; 0 while it is not touched.
  double penetration() const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace zel::sim

#endif
