// What the tests of the mathematics compare with: transforms as full 4 x 4 products written out
// naively, bitwise comparison, and reproducible random families.
#ifndef ZEL_FTC_TESTS_MATRIX_REFERENCE_H
#define ZEL_FTC_TESTS_MATRIX_REFERENCE_H

#include <gtest/gtest.h>

#include <algorithm>
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

template <int R, int C>
using Matrix = std::array<std::array<double, C>, R>;
using Vec3 = std::array<double, 3>;
using Vec4 = std::array<double, 4>;
using Vec6 = std::array<double, 6>;
using Pose = Vec6;
using Matrix4 = Matrix<4, 4>;
using Vec7 = std::array<double, 7>;

template <int R, int K, int C>
Matrix<R, C> times(const Matrix<R, K>& A, const Matrix<K, C>& B) {
  Matrix<R, C> P{};
  for (int i = 0; i < R; ++i) {
    for (int j = 0; j < C; ++j) {
      for (int k = 0; k < K; ++k) P[i][j] = P[i][j] + A[i][k] * B[k][j];
    }
  }
  return P;
}

template <int R, int C>
Matrix<C, R> transposed(const Matrix<R, C>& A) {
  Matrix<C, R> T{};
  for (int i = 0; i < R; ++i) {
    for (int j = 0; j < C; ++j) T[j][i] = A[i][j];
  }
  return T;
}

inline Matrix<4, 4> transformOf(const Matrix<3, 3>& R, const Vec3& p) {
  Matrix<4, 4> T{};
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) T[i][j] = R[i][j];
    T[i][3] = p[i];
  }
  T[3][3] = 1.0;
  return T;
}

inline Matrix<3, 3> rotationOf(const Matrix<4, 4>& T) {
  Matrix<3, 3> R{};
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) R[i][j] = T[i][j];
  }
  return R;
}

inline Vec3 originOf(const Matrix<4, 4>& T) {
  return {T[0][3], T[1][3], T[2][3]};
}

/// Pose x, y, z, angles about Z, Y, X.
inline Matrix<4, 4> transformOf(const Vec6& pose) {
  const double a = pose[3], b = pose[4], c = pose[5];
  const Matrix<3, 3> Z = {
      {{std::cos(a), -std::sin(a), 0}, {std::sin(a), std::cos(a), 0}, {0, 0, 1}}};
  const Matrix<3, 3> Y = {
      {{std::cos(b), 0, std::sin(b)}, {0, 1, 0}, {-std::sin(b), 0, std::cos(b)}}};
  const Matrix<3, 3> X = {
      {{1, 0, 0}, {0, std::cos(c), -std::sin(c)}, {0, std::sin(c), std::cos(c)}}};
  return transformOf(times<3, 3, 3>(times<3, 3, 3>(Z, Y), X), {pose[0], pose[1], pose[2]});
}

inline Matrix<4, 4> rotationOnly(const Vec6& pose) {
  return transformOf(Vec6{0, 0, 0, pose[3], pose[4], pose[5]});
}

inline Matrix<4, 4> inverse(const Matrix<4, 4>& T) {
  const Matrix<3, 3> Rt = transposed<3, 3>(rotationOf(T));
  const Vec3 p = originOf(T);
  const Matrix<3, 1> q = times<3, 3, 1>(Rt, {{{p[0]}, {p[1]}, {p[2]}}});
  return transformOf(Rt, {-q[0][0], -q[1][0], -q[2][0]});
}

inline Matrix<4, 4> times(const Matrix<4, 4>& A, const Matrix<4, 4>& B) {
  return times<4, 4, 4>(A, B);
}

inline Vec6 poseOf(const Matrix<4, 4>& T) {
  double a, b, c;
  if (std::fabs(T[0][0]) < 1e-16 && std::fabs(T[1][0]) < 1e-16) {
    a = 0.0;
    b = std::atan2(-T[2][0], T[0][0]);
    c = std::atan2(-T[1][2], T[1][1]);
  } else {
    a = std::atan2(T[1][0], T[0][0]);
    const double s = std::sin(a), k = std::cos(a);
    b = std::atan2(-T[2][0], T[0][0] * k + T[1][0] * s);
    c = std::atan2(T[0][2] * s - T[1][2] * k, T[1][1] * k - T[0][1] * s);
  }
  return {T[0][3], T[1][3], T[2][3], a, b, c};
}

/// Scalar first; the largest component positive.
inline Vec4 quaternionOf(const Matrix<4, 4>& T) {
  Vec4 q = {(T[0][0] + T[1][1] + T[2][2] + 1) / 4, (T[0][0] - T[1][1] - T[2][2] + 1) / 4,
            (T[1][1] - T[0][0] - T[2][2] + 1) / 4, (-T[0][0] - T[1][1] + T[2][2] + 1) / 4};
  for (double& x : q) x = std::sqrt(x < 0 ? 0.0 : x);

  int largest = -1;
  for (int i = 3; i >= 0; --i) {
    if (q[i] >= q[0] && q[i] >= q[1] && q[i] >= q[2] && q[i] >= q[3]) largest = i;
  }
  if (largest < 0) return q;
  // Sign of component j relative to the largest one, i: between the scalar and k it is the
  // antisymmetric part about axis k, between two axes the symmetric part.
  const auto signOf = [&](int i, int j) {
    const int low = std::min(i, j), high = std::max(i, j);
    double u = 0.0;
    if (low == 0 && high == 1) u = T[2][1] - T[1][2];
    if (low == 0 && high == 2) u = T[0][2] - T[2][0];
    if (low == 0 && high == 3) u = T[1][0] - T[0][1];
    if (low == 1 && high == 2) u = T[1][0] + T[0][1];
    if (low == 1 && high == 3) u = T[2][0] + T[0][2];
    if (low == 2 && high == 3) u = T[2][1] + T[1][2];
    return u >= 0 ? 1.0 : -1.0;
  };
  for (int j = 0; j < 4; ++j) {
    if (j != largest) q[j] = q[j] * signOf(largest, j);
  }
  double squares = 0.0;
  for (double x : q) squares = squares + x * x;
  const double norm = std::sqrt(squares);
  for (double& x : q) x = x / norm;
  return q;
}

/// Position and quaternion; the quaternion is taken as it is.
inline Matrix<4, 4> transformOfQuaternion(const Vec7& p) {
  const double w = p[3], x = p[4], y = p[5], z = p[6];
  const Matrix<3, 3> R = {{{2 * (w * w + x * x) - 1, 2 * (x * y - w * z), 2 * (x * z + w * y)},
                           {2 * (x * y + w * z), 2 * (w * w + y * y) - 1, 2 * (y * z - w * x)},
                           {2 * (x * z - w * y), 2 * (y * z + w * x), 2 * (w * w + z * z) - 1}}};
  return transformOf(R, {p[0], p[1], p[2]});
}

}  // namespace reference

#endif
