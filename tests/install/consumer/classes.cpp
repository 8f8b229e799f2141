// Every installed header together, a class of the library and a flat function.
#include <cmath>
#include <cstdio>

#include "every_header.h"

int main() {
  double pose[6] = {1, 2, 3, 0, 0, 0.5}, quaternion[7] = {};
  const double length = RVector::norm(RVector(pose, 3));
  const bool right = zel_rpy2quaternion(quaternion, pose) == 1 && length == std::sqrt(14.0);
  std::printf("classes: %s\n", right ? "right" : "wrong");
  return right ? 0 : 1;
}
