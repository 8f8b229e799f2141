#include "matrix/rvector.h"

#include <algorithm>
#include <cmath>
#include <type_traits>

#include "matrix/matrixops.h"
#include "matrix/rigidtransform.h"
#include "matrix/rmatrix.h"
#include "matrix/vectorops.h"

static_assert(std::is_trivially_copyable_v<RVector>);

namespace {

constexpr double pi = 3.141592653589793;
constexpr double twoPi = 6.283185307179586;

double wrapped(double x) {
  constexpr double manyTurns = 0x1p30;
  if (const double magnitude = std::fabs(x); magnitude >= manyTurns) {
    if (magnitude - twoPi == magnitude) return x;
    x = std::fmod(x, twoPi);
  }
  while (x >= pi) x -= twoPi;
  while (x < -pi) x += twoPi;
  return x;
}

}  // namespace

RVector::RVector() : size(0), value{}, IsAmpty(true) {}

RVector::RVector(std::size_t n) : size(zel::bounded<capacity>(n)), value{}, IsAmpty(false) {}

RVector::RVector(double* data, std::size_t n) : RVector(n) {
  std::copy_n(data, size, value);
}

double RVector::norm(RVector d) {
  return zel::norm(d);
}

RVector RVector::setSize(std::size_t n) {
  return RVector(n);
}

RVector RVector::vex3(RMatrix R) {
  RVector v(3);
  v.value[0] = R.value[2][1];
  v.value[1] = R.value[0][2];
  v.value[2] = R.value[1][0];
  return v;
}

RMatrix RVector::Skew(RVector v) {
  RMatrix S(3, 3);
  zel::crossProductMatrix(v.value, S.value);
  return S;
}

RVector RVector::slice(RVector d, std::size_t start, std::size_t end) {
  RVector result(end);
  for (std::size_t i = start; i < result.size; ++i) {
    result.value[i - start] = i > d.size ? d.value[i - d.size] : d.value[i];
  }
  return result;
}

RVector RVector::cross3(RVector a, RVector b) {
  return zel::cross(a, b);
}

RVector RVector::catRVector(RVector& a, RVector b) {
  return zel::joined(a, b);
}

void RVector::processAngle(RVector& v) {
  for (std::size_t i = 0; i < zel::sizeOf(v); ++i) v.value[i] = wrapped(v.value[i]);
}

RVector RVector::diagRVector(RMatrix& M) {
  RVector d(zel::rows(M));
  for (std::size_t i = 0; i < d.size; ++i) d.value[i] = M.value[i][i];
  return d;
}

double RVector::dotRVector(RVector& a, RVector& b) {
  return zel::dot(a, b);
}

RVector RVector::sqrtRVector(RVector v) {
  return zel::elementwise(v, [](double x) { return std::sqrt(x); });
}

RVector RVector::TR2RPY(RMatrix T) {
  RVector angles(3);
  zel::anglesFromRotation(T.value, angles.value);
  return angles;
}

RVector RVector::TR2Pos(RMatrix& T, ZelAngletype) {
  RVector pose(6);
  const RVector angles = TR2RPY(T);
  for (int i = 0; i < 3; ++i) {
    pose.value[i] = T.value[i][3];
    pose.value[3 + i] = angles.value[i];
  }
  return pose;
}

bool RVector::Ori2Quaternion(RMatrix R, RVector& q) {
  return zel::quaternionFromRotation(R.value, q.value, zel::sizeOf(q));
}

RVector operator+(const RVector& a, const RVector& b) {
  RVector r(a.size);
  for (std::size_t i = 0; i < r.size; ++i) r.value[i] = b.value[i] + a.value[i];
  return r;
}

RVector operator-(const RVector& a, const RVector& b) {
  RVector r(a.size);
  for (std::size_t i = 0; i < r.size; ++i) r.value[i] = a.value[i] - b.value[i];
  return r;
}

RVector operator-(const RVector& a) {
  return zel::elementwise(a, [](double x) { return -x; });
}

RVector operator*(const RVector& a, double s) {
  return zel::elementwise(a, [s](double x) { return x * s; });
}

RVector operator*(double s, RVector& a) {
  return a * s;
}

RVector operator/(const RVector& a, double s) {
  return zel::elementwise(a, [s](double x) { return x / s; });
}

RVector operator/(double s, const RVector& a) {
  return zel::elementwise(a, [s](double x) { return s / x; });
}

double _sqrt(double x) {
  return x > 0.0 ? 0.0 : std::sqrt(x);
}
