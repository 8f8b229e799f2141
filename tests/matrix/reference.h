// What the tests compare with: the mathematics written out naively, with full products and nothing
// kept, bitwise comparison, and reproducible random numbers. Eigen holds the numbers; every sum is
// made here, for its order is part of the result.
#ifndef ZEL_FTC_TESTS_MATRIX_REFERENCE_H
#define ZEL_FTC_TESTS_MATRIX_REFERENCE_H

#define EIGEN_INITIALIZE_MATRICES_BY_ZERO
#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <bit>
#include <limits>
#include <random>

#include "matrix/rvector.h"

namespace reference {

constexpr double pi = 3.141592653589793;
constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

template <int N>
using Vec = Eigen::Matrix<double, N, 1>;
template <int R, int C>
using Matrix = Eigen::Matrix<double, R, C>;
using Matrix4 = Matrix<4, 4>;

/// Equal to the last bit; not-a-number equals not-a-number.
inline bool sameBits(double a, double b) {
  return (std::isnan(a) && std::isnan(b)) ||
         std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
}
inline bool sameBits(const Eigen::MatrixXd& a, const Eigen::MatrixXd& b) {
  return a.rows() == b.rows() && a.cols() == b.cols() &&
         a.binaryExpr(b, [](double x, double y) { return sameBits(x, y); }).all();
}

/// The elements of a vector; the whole storage of a matrix, whatever its size; its logical block.
inline Eigen::VectorXd elementsOf(const RVector& v) {
  return Eigen::Map<const Eigen::VectorXd>(v.value, static_cast<Eigen::Index>(v.size));
}
auto storageOf(const auto& A) {
  constexpr int n = std::extent_v<decltype(A.value)>;
  return Eigen::Map<Eigen::Matrix<double, n, n, Eigen::RowMajor>>(const_cast<double*>(A.value[0]));
}
Eigen::MatrixXd blockOf(const auto& A) {
  return storageOf(A).topLeftCorner(A.iRow, A.iCol);
}

/// The same numbers in every run; --gtest_random_seed=N gives others.
class Random {
 public:
  explicit Random(unsigned family = 0)
      : engine_(20240607u + family + 1000003u * GTEST_FLAG_GET(random_seed)) {}

  double uniform(double low, double high) {
    return std::uniform_real_distribution<double>(low, high)(engine_);
  }
  bool chance(double probability) { return uniform(0, 1) < probability; }
  int below(int n) { return static_cast<int>(engine_() % static_cast<unsigned>(n)); }
  double oneOf(std::initializer_list<double> values) {
    return values.begin()[below(static_cast<int>(values.size()))];
  }
  template <int N>
  Vec<N> vector(double low, double high) {
    return Vec<N>::NullaryExpr([&] { return uniform(low, high); });
  }

 private:
  std::mt19937_64 engine_;
};

// ---- sums start at 0.0 and run in index order ----

double dot(const auto& a, const auto& b) {
  double sum = 0.0;
  for (int i = 0; i < a.size(); ++i) sum += a[i] * b[i];
  return sum;
}
double length(const auto& a) {
  return std::sqrt(dot(a, a));
}
template <int R, int K, int C>
Matrix<R, C> times(const Matrix<R, K>& A, const Matrix<K, C>& B) {
  return Matrix<R, C>::NullaryExpr([&](auto i, auto j) { return dot(A.row(i), B.col(j)); });
}
inline Vec<3> cross(const Vec<3>& a, const Vec<3>& b) {
  return {a[1] * b[2] - a[2] * b[1], -(a[0] * b[2] - a[2] * b[0]), a[0] * b[1] - a[1] * b[0]};
}

/// Inverse by sweeping the diagonal, without pivoting.
inline Matrix<3, 3> sweptInverse(Matrix<3, 3> M) {
  for (int k = 0; k < 3; ++k) {
    const double p = 1.0 / M(k, k);
    const Vec<3> row = -p * M.row(k).transpose(), column = M.col(k) * p;
    M += column * row.transpose() / p;
    M.row(k) = row.transpose();
    M.col(k) = column;
    M(k, k) = p;
  }
  return M;
}

// ---- transforms ----

inline Matrix4 transformOf(const Matrix<3, 3>& R, const Vec<3>& p) {
  Matrix4 T = Matrix4::Identity();
  T.topLeftCorner<3, 3>() = R;
  T.topRightCorner<3, 1>() = p;
  return T;
}
inline Matrix<3, 3> rotationOf(const Matrix4& T) {
  return T.topLeftCorner<3, 3>();
}

/// Pose x, y, z, angles about Z, Y, X.
inline Matrix4 transformOf(const Vec<6>& pose) {
  const double a = pose[3], b = pose[4], c = pose[5];
  const Matrix<3, 3> Z{{std::cos(a), -std::sin(a), 0}, {std::sin(a), std::cos(a), 0}, {0, 0, 1}};
  const Matrix<3, 3> Y{{std::cos(b), 0, std::sin(b)}, {0, 1, 0}, {-std::sin(b), 0, std::cos(b)}};
  const Matrix<3, 3> X{{1, 0, 0}, {0, std::cos(c), -std::sin(c)}, {0, std::sin(c), std::cos(c)}};
  return transformOf(times(times(Z, Y), X), pose.head<3>());
}
inline Matrix4 rotationOnly(const Vec<6>& pose) {
  return transformOf(Vec<6>{0, 0, 0, pose[3], pose[4], pose[5]});
}

inline Matrix4 inverse(const Matrix4& T) {
  const Matrix<3, 3> Rt = rotationOf(T).transpose();
  const Vec<3> p = T.topRightCorner<3, 1>();
  return transformOf(Rt, -times(Rt, p));
}

inline Vec<6> poseOf(const Matrix4& T) {
  double a = 0.0, b = std::atan2(-T(2, 0), T(0, 0)), c = std::atan2(-T(1, 2), T(1, 1));
  if (!(std::fabs(T(0, 0)) < 1e-16 && std::fabs(T(1, 0)) < 1e-16)) {
    a = std::atan2(T(1, 0), T(0, 0));
    const double s = std::sin(a), k = std::cos(a);
    b = std::atan2(-T(2, 0), T(0, 0) * k + T(1, 0) * s);
    c = std::atan2(T(0, 2) * s - T(1, 2) * k, T(1, 1) * k - T(0, 1) * s);
  }
  return {T(0, 3), T(1, 3), T(2, 3), a, b, c};
}

/// Scalar first; the largest component positive. Without a largest one (not-a-number) unsigned and
/// not normalised.
inline Vec<4> quaternionOf(const Matrix4& T) {
  const double d0 = T(0, 0), d1 = T(1, 1), d2 = T(2, 2);
  Vec<4> q{d0 + d1 + d2 + 1, d0 - d1 - d2 + 1, d1 - d0 - d2 + 1, -d0 - d1 + d2 + 1};
  for (double& x : q) x = std::sqrt(x / 4 < 0 ? 0.0 : x / 4);
  // Sign of component j relative to the largest one, i: between the scalar and k it is the
  // antisymmetric part about axis k, between two axes the symmetric part.
  const double x = T(2, 1) - T(1, 2), y = T(0, 2) - T(2, 0), z = T(1, 0) - T(0, 1);
  const double xy = T(1, 0) + T(0, 1), xz = T(2, 0) + T(0, 2), yz = T(2, 1) + T(1, 2);
  const Matrix4 relative{{0, x, y, z}, {x, 0, xy, xz}, {y, xy, 0, yz}, {z, xz, yz, 0}};
  for (int i = 0; i < 4; ++i) {
    if (!(q.array() <= q[i]).all()) continue;
    for (int j = 0; j < 4; ++j) q[j] *= j == i || relative(i, j) >= 0 ? 1.0 : -1.0;
    return q / length(q);
  }
  return q;
}

/// Position and quaternion; the quaternion is taken as it is.
inline Matrix4 transformOfQuaternion(const Vec<7>& p) {
  const double w = p[3], x = p[4], y = p[5], z = p[6];
  return Matrix4{{2 * (w * w + x * x) - 1, 2 * (x * y - w * z), 2 * (x * z + w * y), p[0]},
                 {2 * (x * y + w * z), 2 * (w * w + y * y) - 1, 2 * (y * z - w * x), p[1]},
                 {2 * (x * z - w * y), 2 * (y * z + w * x), 2 * (w * w + z * z) - 1, p[2]},
                 {0, 0, 0, 1}};
}

struct Load {
  double G = 0;  ///< weight
  Vec<3> arm;    ///< centre of mass in the sensor frame

  /// Gravity wrench with the sensor at this pose in the base; a sensor reads minus it.
  Vec<6> gravityAt(const Matrix4& T_base_sensor) const {
    const Vec<3> up = rotationOf(T_base_sensor).row(2);
    const double x = up[2] * arm[1] - arm[2] * up[1], y = up[0] * arm[2] - arm[0] * up[2],
                 z = up[1] * arm[0] - arm[1] * up[0];
    return {G * up[0], G * up[1], G * up[2], x * G, y * G, z * G};
  }
};

}  // namespace reference

#endif
