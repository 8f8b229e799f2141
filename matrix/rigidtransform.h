// Rigid transforms in the compact form that the control cycle works on, and the two extractions
// (angles, quaternion) that every matrix type shares.
//
// Each operation gives, bit for bit, rows 0..2 of the corresponding RMatrix operation: products of
// homogeneous matrices summed from 0.0 in index order, which is never -0.0 (hence the `+ 0.0` where
// a first term stands alone). What a known last row (0, 0, 0, 1) or a known zero makes redundant is
// left out, unless a value that is not finite would show the difference.
#ifndef ZEL_FTC_MATRIX_RIGIDTRANSFORM_H
#define ZEL_FTC_MATRIX_RIGIDTRANSFORM_H

#include <cmath>
#include <cstddef>
#include <cstring>

namespace zel {

/// Pose of a frame b in a frame a: rows 0..2 of the homogeneous matrix. Columns 0..2 are the axes
/// of b in a, column 3 the origin of b in a.
struct alignas(16) RigidTransform {
  double row[3][4];
};

constexpr RigidTransform identity = {{{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}}};

/// Two doubles that are worked on side by side, each exactly as on its own. Rows are written and
/// read by pairs, always the same ones: a processor waits for what it reads in other pieces than it
/// has just written, and which pieces a compiler chooses by itself is luck.
using Pair = double __attribute__((vector_size(16)));

inline Pair load(const double* two) {
  Pair pair;
  std::memcpy(&pair, two, sizeof pair);
  return pair;
}

inline void store(double* two, Pair pair) {
  std::memcpy(two, &pair, sizeof pair);
}

/// RotZ(a) * RotY(b) * RotX(c), multiplied left to right.
template <typename Rows>
inline void rotationFromAngles(double a, double b, double c, Rows& R) {
  const double sz = std::sin(a), cz = std::cos(a);
  const double sy = std::sin(b), cy = std::cos(b);
  const double sx = std::sin(c), cx = std::cos(c);

  // RotZ * RotY
  const double m00 = cz * cy + 0.0, m01 = -sz + 0.0, m02 = cz * sy + 0.0;
  const double m10 = sz * cy + 0.0, m11 = cz, m12 = sz * sy + 0.0;
  const double m20 = -sy + 0.0;

  R[0][0] = m00;
  R[0][1] = (m01 * cx + m02 * sx) + 0.0;
  R[0][2] = (m01 * -sx + m02 * cx) + 0.0;
  R[1][0] = m10;
  R[1][1] = (m11 * cx + m12 * sx) + 0.0;
  R[1][2] = (m11 * -sx + m12 * cx) + 0.0;
  R[2][0] = m20;
  R[2][1] = cy * sx + 0.0;
  R[2][2] = cy * cx + 0.0;
}

/// Transform of a pose x, y, z, angles about Z, Y, X.
inline RigidTransform transformFromPose(const double* pose) {
  double R[3][3];
  rotationFromAngles(pose[3], pose[4], pose[5], R);
  RigidTransform T;
  for (int i = 0; i < 3; ++i) {
    store(T.row[i], Pair{R[i][0], R[i][1]});
    store(T.row[i] + 2, Pair{R[i][2], pose[i]});
  }
  return T;
}

/// One row of a product of transforms: `a` is the row of the left factor. The last row of B takes
/// part: a translation in `a` that is not finite makes the whole row NaN.
inline void rowOfProduct(const double* a, const RigidTransform& B, double* row) {
  constexpr Pair zero = {0.0, 0.0};
  constexpr Pair lastRow[2] = {{0.0, 0.0}, {0.0, 1.0}};
  for (int j = 0; j < 2; ++j) {
    store(row + 2 * j, zero + a[0] * load(B.row[0] + 2 * j) + a[1] * load(B.row[1] + 2 * j) +
                           a[2] * load(B.row[2] + 2 * j) + a[3] * lastRow[j]);
  }
}

/// T_a_c = T_a_b * T_b_c.
inline RigidTransform operator*(const RigidTransform& A, const RigidTransform& B) {
  RigidTransform C;
  for (int i = 0; i < 3; ++i) rowOfProduct(A.row[i], B, C.row[i]);
  return C;
}

/// T_b_a from T_a_b: R' and -(R' p).
inline RigidTransform inverse(const RigidTransform& T) {
  const auto& t = T.row;
  RigidTransform inv;
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) inv.row[i][j] = t[j][i];
    inv.row[i][3] = -(0.0 + t[0][i] * t[0][3] + t[1][i] * t[1][3] + t[2][i] * t[2][3]);
  }
  return inv;
}

/// The rotation of T alone.
inline RigidTransform rotationOf(const RigidTransform& T) {
  RigidTransform R = T;
  for (auto& row : R.row) row[3] = 0.0;
  return R;
}

/// Angles (about Z, Y, X) of the rotation block of T, anything indexed T[i][j]; each as atan2 gives
/// it. Singular where the first column has no part in the x-y plane (Y angle +-90 degrees): the Z
/// angle is chosen as 0 there.
template <typename Rows>
inline void anglesFromRotation(const Rows& T, double* angles) {
  if (std::fabs(T[0][0]) < 1e-16 && std::fabs(T[1][0]) < 1e-16) {
    angles[0] = 0.0;
    angles[1] = std::atan2(-T[2][0], T[0][0]);
    angles[2] = std::atan2(-T[1][2], T[1][1]);
    return;
  }
  const double a = std::atan2(T[1][0], T[0][0]);
  const double s = std::sin(a), k = std::cos(a);
  angles[0] = a;
  angles[1] = std::atan2(-T[2][0], T[0][0] * k + T[1][0] * s);
  angles[2] = std::atan2(T[0][2] * s - T[1][2] * k, T[1][1] * k - T[0][1] * s);
}

/// Pose x, y, z, angles of a transform.
inline void poseFromTransform(const RigidTransform& T, double* pose) {
  for (int i = 0; i < 3; ++i) pose[i] = T.row[i][3];
  anglesFromRotation(T.row, pose + 3);
}

/// Rotation block from a quaternion (w, x, y, z), written into anything indexed R[i][j]. A
/// quaternion that is not of unit length gives a matrix that is not orthogonal.
template <typename Rows>
inline void rotationFromQuaternion(const double* q, Rows& R) {
  const double w = q[0], x = q[1], y = q[2], z = q[3];
  R[0][0] = 2.0 * (w * w + x * x) - 1.0;
  R[0][1] = 2.0 * (x * y - w * z);
  R[0][2] = 2.0 * (x * z + w * y);
  R[1][0] = 2.0 * (x * y + w * z);
  R[1][1] = 2.0 * (w * w + y * y) - 1.0;
  R[1][2] = 2.0 * (y * z - w * x);
  R[2][0] = 2.0 * (x * z - w * y);
  R[2][1] = 2.0 * (y * z + w * x);
  R[2][2] = 2.0 * (w * w + z * z) - 1.0;
}

/// Transform of a position and a quaternion: x, y, z, w, qx, qy, qz.
inline RigidTransform transformFromQuaternion(const double* pose) {
  RigidTransform T;
  rotationFromQuaternion(pose + 3, T.row);
  for (int i = 0; i < 3; ++i) T.row[i][3] = pose[i];
  return T;
}

/// Unit quaternion (w, x, y, z) of the rotation block of R, anything indexed R[i][j]; the largest
/// component is positive, ties go to the earlier one (Shepperd, "Quaternion from rotation matrix").
/// `size` elements of q take part in the square roots and in the normalisation (4 for a
/// quaternion). False where no component is the largest (NaN): q then holds the unsigned square
/// roots.
template <typename Rows>
inline bool quaternionFromRotation(const Rows& R, double* q, std::size_t size) {
  const auto sign = [](double u) { return u >= 0.0 ? 1.0 : -1.0; };

  q[0] = (R[0][0] + R[1][1] + R[2][2] + 1.0) / 4.0;
  q[1] = (R[0][0] - R[1][1] - R[2][2] + 1.0) / 4.0;
  q[2] = (R[1][1] - R[0][0] - R[2][2] + 1.0) / 4.0;
  q[3] = (-R[0][0] - R[1][1] + R[2][2] + 1.0) / 4.0;
  for (int i = 0; i < 4; ++i) {
    if (q[i] < 0.0) q[i] = 0.0;
  }
  for (std::size_t i = 0; i < size; ++i) q[i] = std::sqrt(q[i]);

  if (q[0] >= q[1] && q[0] >= q[2] && q[0] >= q[3]) {
    q[1] *= sign(R[2][1] - R[1][2]);
    q[2] *= sign(R[0][2] - R[2][0]);
    q[3] *= sign(R[1][0] - R[0][1]);
  } else if (q[1] >= q[0] && q[1] >= q[2] && q[1] >= q[3]) {
    q[0] *= sign(R[2][1] - R[1][2]);
    q[2] *= sign(R[1][0] + R[0][1]);
    q[3] *= sign(R[2][0] + R[0][2]);
  } else if (q[2] >= q[0] && q[2] >= q[1] && q[2] >= q[3]) {
    q[0] *= sign(R[0][2] - R[2][0]);
    q[1] *= sign(R[1][0] + R[0][1]);
    q[3] *= sign(R[2][1] + R[1][2]);
  } else if (q[3] >= q[0] && q[3] >= q[1] && q[3] >= q[2]) {
    q[0] *= sign(R[1][0] - R[0][1]);
    q[1] *= sign(R[2][0] + R[0][2]);
    q[2] *= sign(R[2][1] + R[1][2]);
  } else {
    return false;
  }

  double squares = 0.0;
  for (std::size_t i = 0; i < size; ++i) squares += q[i] * q[i];
  const double norm = std::sqrt(squares);
  for (std::size_t i = 0; i < size; ++i) q[i] = q[i] / norm;
  return true;
}

/// Cross-product matrix of v = (x, y, z), written into anything indexed S[i][j]: S w = v x w.
template <typename Rows>
inline void crossProductMatrix(const double* v, Rows& S) {
  const double x = v[0], y = v[1], z = v[2];
  S[0][0] = S[1][1] = S[2][2] = 0.0;
  S[0][1] = -z;
  S[0][2] = y;
  S[1][0] = z;
  S[1][2] = -x;
  S[2][0] = -y;
  S[2][1] = x;
}

}  // namespace zel

#endif
