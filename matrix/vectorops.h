// Operations of RVector by reference. Internal: not installed.
#ifndef ZEL_FTC_MATRIX_VECTOROPS_H
#define ZEL_FTC_MATRIX_VECTOROPS_H

#include <cmath>
#include <cstddef>

#include "matrix/bounded.h"
#include "matrix/rvector.h"

namespace zel {

inline std::size_t sizeOf(const RVector& v) {
  return bounded<RVector::capacity>(v.size);
}

/// op(a[i]) for every element of a.
template <typename Op>
RVector elementwise(const RVector& a, Op op) {
  RVector r(a.size);
  for (std::size_t i = 0; i < r.size; ++i) r.value[i] = op(a.value[i]);
  return r;
}

/// Sum of a[i] b[i] over the size of a.
inline double dot(const RVector& a, const RVector& b) {
  double sum = 0.0;
  for (std::size_t i = 0; i < sizeOf(a); ++i) sum += a.value[i] * b.value[i];
  return sum;
}

inline double norm(const RVector& v) {
  return std::sqrt(dot(v, v));
}

inline RVector cross(const RVector& a, const RVector& b) {
  RVector c(3);
  c.value[0] = a.value[1] * b.value[2] - a.value[2] * b.value[1];
  c.value[1] = -(a.value[0] * b.value[2] - a.value[2] * b.value[0]);
  c.value[2] = a.value[0] * b.value[1] - a.value[1] * b.value[0];
  return c;
}

/// The elements of a followed by those of b.
inline RVector joined(const RVector& a, const RVector& b) {
  const std::size_t n = sizeOf(a);
  RVector result(n + sizeOf(b));
  for (std::size_t i = 0; i < result.size; ++i) {
    result.value[i] = i < n ? a.value[i] : b.value[i - n];
  }
  return result;
}

}  // namespace zel

#endif
