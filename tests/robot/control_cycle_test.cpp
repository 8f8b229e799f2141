// The library against a second, naive one; see the head of session.h.
#include <gtest/gtest.h>

#include <utility>

#include "session.h"

namespace {

TEST(ControlCycle, EqualsTheNaiveLibraryBitByBit) {
  reference::Met met;
  testing::internal::CaptureStdout();  // some functions print a line
  std::string difference;
  unsigned n = 0;
  for (; n < 4000 && difference.empty(); ++n) difference = reference::Session(n, met).play(300);
  testing::internal::GetCapturedStdout();
  ASSERT_EQ(difference, "") << "session " << n - 1;
  EXPECT_EQ(met.size(), 4 * 9u) << "nine results of each of four runs";
}

TEST(Clock, ElapsedTimeIsTruncatedTowardZero) {
  const zel_clock start = zel_start_timer_clock();
  const auto elapsed = [&](std::int64_t ns, int unit) {
    const std::int64_t now = std::exchange(stagedTime, stagedTime + ns);
    const double result = zel_end_timer_clock(static_cast<ZEL_TimerUint>(unit), start);
    stagedTime = now;
    return result;
  };
  EXPECT_EQ(elapsed(1999999999, SEC), 1);
  EXPECT_EQ(elapsed(-1999999999, SEC), -1);
  EXPECT_EQ(elapsed(1900000, MILLISEC), 1);
  EXPECT_EQ(elapsed(2999, MICROSEC), 2);
  for (int unknown : {3, -1}) EXPECT_EQ(elapsed(5000000000, unknown), -1);
}

}  // namespace
