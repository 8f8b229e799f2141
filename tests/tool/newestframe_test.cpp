#include "tool/newestframe.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace {

struct Frame {
  long values[8] = {};
};

TEST(NewestFrame, TheNewestWinsAndStaysUntilTheNext) {
  zel::NewestFrame<int> exchange;
  EXPECT_EQ(exchange.newest(), 0);
  for (int i = 1; i <= 5; ++i) exchange.publish(i);
  EXPECT_EQ(exchange.newest(), 5);
  EXPECT_EQ(exchange.newest(), 5);
  exchange.publish(6);
  EXPECT_EQ(exchange.newest(), 6);
  exchange.publish(7);
  exchange.reset();
  EXPECT_EQ(exchange.newest(), 0);
}

TEST(NewestFrame, FramesAreWholeAndNeverGoBack) {
  constexpr long frames = 500000;
  zel::NewestFrame<Frame> exchange;
  std::thread publisher([&] {
    Frame frame;
    for (long i = 1; i <= frames; ++i) {
      for (long& value : frame.values) value = i;
      exchange.publish(frame);
    }
  });
  long last = 0;
  int faults = 0;
  while (last < frames && faults == 0) {
    const Frame& frame = exchange.newest();
    const long first = frame.values[0];
    for (long value : frame.values) faults += value != first;
    faults += first < last;
    last = first;
  }
  publisher.join();
  EXPECT_EQ(faults, 0) << "after frame " << last;
}

}  // namespace
