#include "matrix/loadmodel.h"

#include <cmath>

#include "matrix/rigidtransform.h"
#include "matrix/rmatrix30.h"

namespace zel {

namespace {

/// x = inv(A' A) * A' * b, six unknowns.
void solveNormalEquations(const RMatrix30& A, const RMatrix30& b, double* x) {
  const RMatrix30 At = RMatrix30::RTranspose(A);
  RMatrix30 inverse(6, 6);
  RMatrix30::RMatrix30Inv2(At * A, inverse);
  const RMatrix30 solution = inverse * At * b;
  for (std::size_t i = 0; i < 6; ++i) x[i] = solution.value[i][0];
}

}  // namespace

double LoadFit::weight() const {
  return std::sqrt(force[0] * force[0] + force[1] * force[1] + force[2] * force[2]);
}

LoadFit fitLoad(const double (*ft)[6], const double (*pose)[6], std::size_t n, MomentModel model) {
  const double sign = model == MomentModel::armCrossForce ? 1.0 : -1.0;
  RMatrix30 momentRows(3 * n, 6), moments(3 * n, 1);
  RMatrix30 forceRows(3 * n, 6), forces(3 * n, 1);

  for (std::size_t k = 0; k < n; ++k) {
    const double Fx = sign * ft[k][0], Fy = sign * ft[k][1], Fz = sign * ft[k][2];
    const double skew[3][3] = {{0.0, Fz, -Fy}, {-Fz, 0.0, Fx}, {Fy, -Fx, 0.0}};
    const RigidTransform T_base_sensor = transformFromPose(pose[k]);
    for (std::size_t i = 0; i < 3; ++i) {
      const std::size_t row = 3 * k + i;
      moments.value[row][0] = ft[k][3 + i];
      forces.value[row][0] = ft[k][i];
      for (std::size_t j = 0; j < 3; ++j) {
        momentRows.value[row][j] = skew[i][j];
        forceRows.value[row][j] = T_base_sensor.row[j][i];
      }
      momentRows.value[row][3 + i] = 1.0;
      forceRows.value[row][3 + i] = 1.0;
    }
  }

  LoadFit fit;
  solveNormalEquations(momentRows, moments, fit.arm);
  solveNormalEquations(forceRows, forces, fit.force);
  return fit;
}

}  // namespace zel
