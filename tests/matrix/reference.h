// What the tests of the mathematics compare with: full matrix products written out naively, bitwise
// comparison, and reproducible random families.
#ifndef ZEL_FTC_TESTS_MATRIX_REFERENCE_H
#define ZEL_FTC_TESTS_MATRIX_REFERENCE_H

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <iomanip>
#include <random>

namespace reference {

constexpr double pi = 3.141592653589793;
constexpr double epsilon = 2.220446049250313e-16;

/// Equal to the last bit; not-a-number equals not-a-number.
inline bool sameBits(double a, double b) {
  if (std::isnan(a) || std::isnan(b)) return std::isnan(a) && std::isnan(b);
  return std::memcmp(&a, &b, sizeof a) == 0;
}

/// sameBits for n elements; a failure names the first difference in a form to paste into a test.
inline testing::AssertionResult sameBits(const double* actual, const double* expected,
                                         std::size_t n) {
  for (std::size_t i = 0; i < n; ++i) {
    if (sameBits(actual[i], expected[i])) continue;
    return testing::AssertionFailure()
           << std::hexfloat << "element " << i << " is " << actual[i] << " (" << std::defaultfloat
           << std::setprecision(17) << actual[i] << "), expected " << std::hexfloat << expected[i];
  }
  return testing::AssertionSuccess();
}

/// The same family in every run; --gtest_random_seed=N gives another one.
inline std::mt19937_64 randomFamily() {
  return std::mt19937_64(20240607u + static_cast<unsigned>(GTEST_FLAG_GET(random_seed)));
}

inline double uniform(std::mt19937_64& random, double low, double high) {
  return std::uniform_real_distribution<double>(low, high)(random);
}

/// A 4 x 4 or, with `n` = 3 in the product, a 3 x 3 matrix.
using Matrix4 = std::array<std::array<double, 4>, 4>;
using Pose = std::array<double, 6>;

inline Matrix4 identity() {
  return {{{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}}};
}

inline Matrix4 product(const Matrix4& A, const Matrix4& B, int n = 4) {
  Matrix4 C = identity();
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j < n; ++j) {
      double sum = 0.0;
      for (int k = 0; k < n; ++k) sum += A[i][k] * B[k][j];
      C[i][j] = sum;
    }
  }
  return C;
}

inline Matrix4 rotation(double a, double b, double c) {
  Matrix4 Z = identity(), Y = identity(), X = identity();
  Z[0] = {std::cos(a), -std::sin(a), 0, 0};
  Z[1] = {std::sin(a), std::cos(a), 0, 0};
  Y[0] = {std::cos(b), 0, std::sin(b), 0};
  Y[2] = {-std::sin(b), 0, std::cos(b), 0};
  X[1] = {0, std::cos(c), -std::sin(c), 0};
  X[2] = {0, std::sin(c), std::cos(c), 0};
  return product(product(Z, Y, 3), X, 3);
}

inline Matrix4 transform(const Pose& pose) {
  Matrix4 T = rotation(pose[3], pose[4], pose[5]);
  for (int i = 0; i < 3; ++i) T[i][3] = pose[i];
  return T;
}

inline Matrix4 inverse(const Matrix4& T) {
  Matrix4 inv = identity();
  for (int i = 0; i < 3; ++i) {
    double q = 0.0;
    for (int k = 0; k < 3; ++k) {
      inv[i][k] = T[k][i];
      q += T[k][i] * T[k][3];
    }
    inv[i][3] = -q;
  }
  return inv;
}

inline std::array<double, 3> angles(const Matrix4& T) {
  if (std::fabs(T[0][0]) < 1e-16 && std::fabs(T[1][0]) < 1e-16) {
    return {0.0, std::atan2(-T[2][0], T[0][0]), std::atan2(-T[1][2], T[1][1])};
  }
  const double a = std::atan2(T[1][0], T[0][0]);
  const double s = std::sin(a), k = std::cos(a);
  return {a, std::atan2(-T[2][0], T[0][0] * k + T[1][0] * s),
          std::atan2(T[0][2] * s - T[1][2] * k, T[1][1] * k - T[0][1] * s)};
}

inline Pose pose(const Matrix4& T) {
  const std::array<double, 3> a = angles(T);
  return {T[0][3], T[1][3], T[2][3], a[0], a[1], a[2]};
}

}  // namespace reference

#endif
