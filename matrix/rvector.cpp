#include "matrix/rvector.h"

#include <cassert>
#include <cmath>
#include <cstdint>
#include <limits>
#include <type_traits>

#include "matrix/rigidtransform.h"
#include "matrix/rmatrix.h"

static_assert(std::is_trivially_copyable_v<RVector>);

namespace {

constexpr double pi = 3.141592653589793;
constexpr double twoPi = 6.283185307179586;

std::size_t bounded(std::size_t n) {
  assert(n <= RVector::capacity && "vector size above seven");
  return n <= RVector::capacity ? n : RVector::capacity;
}

/// The result of `while (x >= pi) x -= 2 pi`, without walking through every step of a large x.
///
/// Within one binade all values are multiples of the same unit u, and x - 2 pi rounds to x minus
/// the same multiple of u each time (in the one binade where 2 pi lies exactly between two
/// multiples, ties to even make the step constant from the second one on). So two steps tell how
/// far each of the following ones goes, and as many as stay within the binade are taken at once,
/// exactly.
double wrapBelowPi(double x) {
  while (x >= pi) {
    const double next = x - twoPi;
    if (next == x) return x;  // infinite, or so large that a turn is below half a unit
    const double afterNext = next - twoPi;

    int exponent = 0;
    int exponentAfter = 0;
    const double fraction = std::frexp(next, &exponent);
    std::frexp(afterNext, &exponentAfter);
    x = next;
    constexpr int smallestWorthSkipping = 8;
    if (exponent < smallestWorthSkipping || exponent != exponentAfter || next == afterNext)
      continue;

    constexpr int digits = std::numeric_limits<double>::digits;
    const auto units = static_cast<std::int64_t>(std::ldexp(fraction, digits));
    const auto step = static_cast<std::int64_t>(std::ldexp(next - afterNext, digits - exponent));
    constexpr std::int64_t lowest = std::int64_t{1} << (digits - 1);
    // The last step within the binade is left to the loop: its result may round on the finer grid
    // below.
    const std::int64_t skipped = (units - lowest) / step - 1;
    if (skipped > 0) {
      x = std::ldexp(static_cast<double>(units - skipped * step), exponent - digits);
    }
  }
  return x;
}

}  // namespace

RVector::RVector() : size(0), value{}, IsAmpty(true) {}

RVector::RVector(std::size_t n) : size(bounded(n)), value{}, IsAmpty(false) {}

RVector::RVector(const double* data, std::size_t n) : RVector(n) {
  for (std::size_t i = 0; i < size; ++i) value[i] = data[i];
}

double RVector::norm(const RVector& d) {
  return std::sqrt(dotRVector(d, d));
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

RMatrix RVector::Skew(const RVector& v) {
  const double x = v.value[0], y = v.value[1], z = v.value[2];
  RMatrix S(3, 3);
  S.value[0][1] = -z;
  S.value[0][2] = y;
  S.value[1][0] = z;
  S.value[1][2] = -x;
  S.value[2][0] = -y;
  S.value[2][1] = x;
  return S;
}

RVector RVector::slice(const RVector& d, std::size_t start, std::size_t end) {
  RVector result(end);
  for (std::size_t i = start; i < result.size; ++i) {
    result.value[i - start] = i > d.size ? d.value[i - d.size] : d.value[i];
  }
  return result;
}

RVector RVector::cross3(const RVector& a, const RVector& b) {
  RVector c(3);
  c.value[0] = a.value[1] * b.value[2] - a.value[2] * b.value[1];
  c.value[1] = -(a.value[0] * b.value[2] - a.value[2] * b.value[0]);
  c.value[2] = a.value[0] * b.value[1] - a.value[1] * b.value[0];
  return c;
}

RVector RVector::catRVector(const RVector& a, const RVector& b) {
  RVector result(a.size + b.size);
  for (std::size_t i = 0; i < result.size; ++i) {
    result.value[i] = i < a.size ? a.value[i] : b.value[i - a.size];
  }
  return result;
}

void RVector::processAngle(RVector& v) {
  for (std::size_t i = 0; i < v.size; ++i) {
    double& x = v.value[i];
    x = wrapBelowPi(x);
    // Adding a turn while x < -pi mirrors subtracting one, except that the interval is half-open
    // (exactly -pi stays) and that whole turns end at 0.0, never at -0.0.
    if (x < -pi) {
      x = 0.0 - wrapBelowPi(-x);
      if (x == pi) x = -pi;
    }
  }
}

RVector RVector::diagRVector(const RMatrix& M) {
  RVector d(M.iRow);
  for (std::size_t i = 0; i < d.size; ++i) d.value[i] = M.value[i][i];
  return d;
}

double RVector::dotRVector(const RVector& a, const RVector& b) {
  double sum = 0.0;
  for (std::size_t i = 0; i < a.size; ++i) sum += a.value[i] * b.value[i];
  return sum;
}

RVector RVector::sqrtRVector(const RVector& v) {
  RVector r(v.size);
  for (std::size_t i = 0; i < r.size; ++i) r.value[i] = std::sqrt(v.value[i]);
  return r;
}

RVector RVector::TR2RPY(RMatrix T) {
  RVector angles(3);
  zel::anglesFromRotation(T.value, angles.value);
  return angles;
}

RVector RVector::TR2Pos(const RMatrix& T, ZelAngletype) {
  RVector pose(6);
  const RVector angles = TR2RPY(T);
  for (int i = 0; i < 3; ++i) {
    pose.value[i] = T.value[i][3];
    pose.value[3 + i] = angles.value[i];
  }
  return pose;
}

bool RVector::Ori2Quaternion(RMatrix R, RVector& q) {
  return zel::quaternionFromRotation(R.value, q.value, q.size);
}

RVector operator+(const RVector& a, const RVector& b) {
  RVector r(a.size);
  for (std::size_t i = 0; i < a.size; ++i) r.value[i] = b.value[i] + a.value[i];
  return r;
}

RVector operator-(const RVector& a, const RVector& b) {
  RVector r(a.size);
  for (std::size_t i = 0; i < a.size; ++i) r.value[i] = a.value[i] - b.value[i];
  return r;
}

RVector operator-(const RVector& a) {
  RVector r(a.size);
  for (std::size_t i = 0; i < a.size; ++i) r.value[i] = -a.value[i];
  return r;
}

RVector operator*(const RVector& a, double s) {
  RVector r(a.size);
  for (std::size_t i = 0; i < a.size; ++i) r.value[i] = a.value[i] * s;
  return r;
}

RVector operator*(double s, RVector& a) {
  return a * s;
}

RVector operator/(const RVector& a, double s) {
  RVector r(a.size);
  for (std::size_t i = 0; i < a.size; ++i) r.value[i] = a.value[i] / s;
  return r;
}

RVector operator/(double s, const RVector& a) {
  RVector r(a.size);
  for (std::size_t i = 0; i < a.size; ++i) r.value[i] = s / a.value[i];
  return r;
}

double _sqrt(double x) {
  return x > 0.0 ? 0.0 : std::sqrt(x);
}
