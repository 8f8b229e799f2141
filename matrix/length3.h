// Euclidean length of three consecutive values. Internal: not installed.
#ifndef ZEL_FTC_MATRIX_LENGTH3_H
#define ZEL_FTC_MATRIX_LENGTH3_H

#include <cmath>

namespace zel {

/// Squares summed in index order, one square root.
inline double length3(const double* v) {
  return std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
}

}  // namespace zel

#endif
