// Reproducible random inputs for the tests of the tool.
#ifndef ZEL_FTC_TESTS_ROBOT_RANDOM_INPUTS_H
#define ZEL_FTC_TESTS_ROBOT_RANDOM_INPUTS_H

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <random>

namespace zel::test {

using Six = std::array<double, 6>;

/// An environment variable as a number: ZEL_TEST_SEED and ZEL_TEST_COUNT rerun or extend a family
/// of random cases.
inline std::uint64_t fromEnvironment(const char* name, std::uint64_t otherwise) {
  const char* text = std::getenv(name);
  return text == nullptr ? otherwise : std::strtoull(text, nullptr, 10);
}

/// The same sequence on every platform: no distribution of the standard library is involved.
class Random {
 public:
  explicit Random(std::uint64_t seed) : engine_(seed) {}

  double uniform(double low, double high) {
    constexpr double scale = 1.0 / 9007199254740992.0;  // 2^-53
    return low + (high - low) * (static_cast<double>(engine_() >> 11) * scale);
  }
  bool chance(double probability) { return uniform(0, 1) < probability; }
  int below(int n) { return static_cast<int>(engine_() % static_cast<std::uint64_t>(n)); }
  double sign() { return chance(0.5) ? 1.0 : -1.0; }
  /// Every order of magnitude between low and high is equally likely.
  double magnitude(double low, double high) {
    return std::exp(uniform(std::log(low), std::log(high)));
  }

  /// Flange pose in mm and rad; now and then near the singular attitude, now and then all zero.
  Six pose(double reach = 800) {
    if (chance(0.03)) return {};
    constexpr double pi = 3.141592653589793;
    Six p = {uniform(-reach, reach), uniform(-reach, reach), uniform(-reach, reach),
             uniform(-pi, pi),       uniform(-pi, pi),       uniform(-pi, pi)};
    if (chance(0.1)) p[4] = sign() * pi / 2;
    return p;
  }

  Six wrench(double force, double torque) {
    return {uniform(-force, force),   uniform(-force, force),   uniform(-force, force),
            uniform(-torque, torque), uniform(-torque, torque), uniform(-torque, torque)};
  }

  /// Three doubles, e.g. limits.
  std::array<double, 3> triple(double low, double high) {
    return {uniform(low, high), uniform(low, high), uniform(low, high)};
  }

  double strangeNumber() {
    constexpr double inf = std::numeric_limits<double>::infinity();
    constexpr double strange[] = {
        inf,    -inf, std::numeric_limits<double>::quiet_NaN(), 1e300, -1e300,
        1e-310, -0.0, std::numeric_limits<double>::max()};
    return strange[below(8)];
  }

 private:
  std::mt19937_64 engine_;
};

}  // namespace zel::test

#endif
