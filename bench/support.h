// Shared by the benchmarks of bench_cycle.
#ifndef ZEL_FTC_BENCH_SUPPORT_H
#define ZEL_FTC_BENCH_SUPPORT_H

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>

namespace bench {

using Six = std::array<double, 6>;

/// A benchmark that measures something else than it says must not print a figure.
inline void require(bool ok, const char* what) {
  if (ok) return;
  std::fprintf(stderr, "not what was to be measured: %s\n", what);
  std::abort();
}

/// Keeps what the library prints out of the table.
class Quiet {
 public:
  Quiet() {
    std::fflush(stdout);
    const int nowhere = open("/dev/null", O_WRONLY);
    dup2(nowhere, 1);
    close(nowhere);
  }
  ~Quiet() {
    std::fflush(stdout);
    dup2(terminal_, 1);
    close(terminal_);
  }
  Quiet(const Quiet&) = delete;
  Quiet& operator=(const Quiet&) = delete;

 private:
  int terminal_ = dup(1);
};

}  // namespace bench

#endif
