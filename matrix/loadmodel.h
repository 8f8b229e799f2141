// The mathematics of a load on a force/torque sensor: its gravity wrench, and the least-squares fit
// of its weight and centre of mass. Shared by ldd_tool and the tool's own calibration. Internal:
// not installed.
#ifndef ZEL_FTC_MATRIX_LOADMODEL_H
#define ZEL_FTC_MATRIX_LOADMODEL_H

#include <cstddef>

namespace zel {

/// Gravity wrench of a load in the sensor frame, in the convention of the whole library: the sensor
/// reads minus this wrench from the load's weight, so adding it removes gravity.
///
/// `up` is the base z axis in sensor coordinates (row 2 of the rotation of T_base_sensor), `G` the
/// weight in N, (lx, ly, lz) the centre of mass in the sensor frame. wrench = (G up, l x (G up)).
/// Real-time safe.
inline void gravityWrench(const double* up, double G, double lx, double ly, double lz,
                          double* wrench) {
  for (int i = 0; i < 3; ++i) wrench[i] = G * up[i];
  wrench[3] = (up[2] * ly - lz * up[1]) * G;
  wrench[4] = (up[0] * lz - lx * up[2]) * G;
  wrench[5] = (up[1] * lx - ly * up[0]) * G;
}

/// Order of the factors in the moment model M = l x F + M0 or M = F x l + M0. The second one
/// mirrors the centre of mass that it identifies.
enum class MomentModel { armCrossForce, forceCrossArm };

struct LoadFit {
  double arm[6];    ///< centre of mass (lx, ly, lz), torque offset (M0)
  double force[6];  ///< gravity force in the base frame, force offset (F0)

  /// Magnitude of the gravity force.
  double weight() const;
};

/// Most samples that are recorded for an identification.
constexpr std::size_t loadSamples = 10;

/// Fits M = moment(l, F) + M0 and F = R' G + F0 to n samples (more than loadSamples count as that
/// many) by normal equations. `ft` are raw wrenches, `pose` the poses of the sensor in the base
/// (x, y, z, angles about Z, Y, X). Needs three clearly different orientations: the sweep inverse
/// has no singularity test, so that fewer give results that are not numbers or mean nothing.
LoadFit fitLoad(const double (&ft)[loadSamples][6], const double (&pose)[loadSamples][6],
                std::size_t n, MomentModel model);

}  // namespace zel

#endif
