// The library against a second, naive one; see the head of session.h.
#include <gtest/gtest.h>

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
  for (const auto& [ns, unit, expected] :
       std::initializer_list<std::array<std::int64_t, 3>>{{1999999999, SEC, 1},
                                                          {-1999999999, SEC, -1},
                                                          {1900000, MILLISEC, 1},
                                                          {2999, MICROSEC, 2},
                                                          {5000000000, 3, -1},
                                                          {5000000000, -1, -1}}) {
    stagedTime += ns;
    EXPECT_EQ(zel_end_timer_clock(static_cast<ZEL_TimerUint>(unit), start), expected);
    stagedTime -= ns;
  }
}

}  // namespace
