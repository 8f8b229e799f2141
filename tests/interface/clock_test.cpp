#include <gtest/gtest.h>

#include <chrono>

#include "zel_clock.h"

namespace {

using namespace std::chrono_literals;
using std::chrono::duration_cast;

static_assert(zel_clock::period::den == 1000000000, "nanoseconds");

/// The result for a start that lies `time` in the past lies between what the standard's truncating
/// conversion makes of the times just before and just after the call, however long that took.
template <typename Unit>
void expectWholeUnits(ZEL_TimerUint unit, std::chrono::nanoseconds time) {
  const zel_clock before = zel_start_timer_clock();
  const zel_clock start = before - time;
  const double elapsed = zel_end_timer_clock(unit, start);
  const zel_clock after = zel_start_timer_clock();
  EXPECT_GE(elapsed, static_cast<double>(duration_cast<Unit>(before - start).count()));
  EXPECT_LE(elapsed, static_cast<double>(duration_cast<Unit>(after - start).count()));
  EXPECT_EQ(elapsed, static_cast<double>(static_cast<long long>(elapsed))) << "a whole number";
}

TEST(Clock, ElapsedTimeIsTruncatedTowardZero) {
  for (const std::chrono::nanoseconds time :
       {0ns, 900ns, 1900us + 0ns, 900ms + 0ns, 40s + 999ms + 0ns, 1h + 1ns}) {
    for (const std::chrono::nanoseconds signedTime : {time, -time}) {
      expectWholeUnits<std::chrono::seconds>(SEC, signedTime);
      expectWholeUnits<std::chrono::milliseconds>(MILLISEC, signedTime);
      expectWholeUnits<std::chrono::microseconds>(MICROSEC, signedTime);
    }
  }
}

TEST(Clock, UnknownUnitGivesMinusOne) {
  const zel_clock start = zel_start_timer_clock() - 40s;
  EXPECT_EQ(zel_end_timer_clock(static_cast<ZEL_TimerUint>(3), start), -1.0);
  EXPECT_EQ(zel_end_timer_clock(static_cast<ZEL_TimerUint>(-1), start), -1.0);
}

}  // namespace
