#include "matrix/loadmodel.h"

#include <algorithm>
#include <cmath>

#include "matrix/inverse.h"
#include "matrix/rigidtransform.h"

namespace zel {

double LoadFit::weight() const {
  return std::sqrt(force[0] * force[0] + force[1] * force[1] + force[2] * force[2]);
}

LoadFit fitLoad(const double (&ft)[loadSamples][6], const double (&pose)[loadSamples][6],
                std::size_t n, MomentModel model) {
  const double sign = model == MomentModel::armCrossForce ? -1.0 : 1.0;  // l x F = -F x l
  const std::size_t samples = std::min(n, loadSamples);
  double momentRows[3 * loadSamples][6] = {}, moments[3 * loadSamples];
  double forceRows[3 * loadSamples][6] = {}, forces[3 * loadSamples];

  for (std::size_t k = 0; k < samples; ++k) {
    const double F[3] = {sign * ft[k][0], sign * ft[k][1], sign * ft[k][2]};
    double skew[3][3];
    crossProductMatrix(F, skew);
    const RigidTransform T_base_sensor = transformFromPose(pose[k]);
    for (std::size_t i = 0; i < 3; ++i) {
      const std::size_t row = 3 * k + i;
      moments[row] = ft[k][3 + i];
      forces[row] = ft[k][i];
      for (std::size_t j = 0; j < 3; ++j) {
        momentRows[row][j] = skew[i][j];
        forceRows[row][j] = T_base_sensor.row[j][i];
      }
      momentRows[row][3 + i] = 1.0;
      forceRows[row][3 + i] = 1.0;
    }
  }

  LoadFit fit;
  solveNormalEquations(momentRows, moments, 3 * samples, fit.arm);
  solveNormalEquations(forceRows, forces, 3 * samples, fit.force);
  return fit;
}

}  // namespace zel
