#include "tool/newestframe.h"

#include <gtest/gtest.h>

#include <array>
#include <thread>

namespace {

TEST(NewestFrame, TheNewestWinsAndStaysUntilTheNext) {
  zel::NewestFrame<int> exchange;
  for (int i = 1; i <= 5; ++i) exchange.publish(i);
  EXPECT_EQ(exchange.newest(), 5);
  EXPECT_EQ(exchange.newest(), 5);
  exchange.publish(6);
  exchange.reset();
  EXPECT_EQ(exchange.newest(), 0);
}

TEST(NewestFrame, FramesAreWholeAndNeverGoBack) {
  constexpr long frames = 500000;
  zel::NewestFrame<std::array<long, 8>> exchange;
  std::thread publisher([&] {
    for (long i = 1; i <= frames; ++i) exchange.publish({i, i, i, i, i, i, i, i});
  });
  long last = 0;
  int faults = 0;
  while (last < frames && faults == 0) {
    const auto& frame = exchange.newest();
    const long first = frame[0];
    for (long value : frame) faults += value != first;
    faults += first < last;
    last = first;
  }
  publisher.join();
  EXPECT_EQ(faults, 0) << "after frame " << last;
}

}  // namespace
