#include "control/MBK_Fhan.h"

#include <cmath>

MBK_Fhan::MBK_Fhan() {
  clear(*this);
}

double MBK_Fhan::fhan(double v1, double fr, double v2, double r, double t) {
  const double d = r * t;
  const double d0 = t * d;
  const double y = (v1 - fr) + t * v2;
  const double a0 = std::sqrt(d * d + 8.0 * r * std::fabs(y));
  const double a = std::fabs(y) > d0 ? v2 + (a0 - d) / 2.0 * (y / std::fabs(y)) : v2 + y / t;
  return std::fabs(a) > d ? -r * a / std::fabs(a) : -r * a / d;
}

void MBK_Fhan::run(MBK_Fhan& A, double fr, double r, double t) {
  A.f0 = fhan(A.v1, fr, A.v2, r, t);
  A.v1 = A.v1 + A.v2 * t;
  A.v2 = A.v2 + A.f0 * t;
}

void MBK_Fhan::clear(MBK_Fhan& A) {
  A.f0 = 0.0;
  A.v1 = 0.0;
  A.v2 = 0.0;
  A.IsAmpty = true;
}
