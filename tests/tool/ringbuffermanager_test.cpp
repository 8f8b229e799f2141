#include "tool/ringbuffermanager.h"

#include <gtest/gtest.h>

#include <random>
#include <thread>

namespace {

std::uint8_t* raw(void* bytes) {
  return static_cast<std::uint8_t*>(bytes);
}

TEST(RingBuffer, IsAStringOfBytesInAFixedStorage) {
  EXPECT_EQ(RingBufferManager().GetReserveCount(), 4096);
  EXPECT_THROW(RingBufferManager(-1), std::bad_array_new_length);
  constexpr int capacity = 13;
  RingBufferManager ring(capacity);
  std::string model;
  std::mt19937 random(7);
  for (int round = 0, start = 0; round < 20000; ++round) {
    const int held = static_cast<int>(model.size()), length = static_cast<int>(random() % 16) - 1;
    const auto taken = static_cast<std::size_t>(std::max(length, 0));
    std::string block = "abcdefghijklmnopqrstuvwxyz", front(15, '?');
    std::shuffle(block.begin(), block.end(), random);
    if (random() % 2 == 0) {
      ring.WriteBuffer(raw(block.data()), length);
      ring.WriteBuffer(nullptr, 1);
      if (held + length <= capacity) model += block.substr(0, taken);
    } else {
      length == 14 ? ring.Clear() : ring.Clear(length);
      model.erase(0, taken);
      start = model.empty() ? 0 : (start + static_cast<int>(taken)) % capacity;
    }
    ring.ReadBuffer(raw(front.data()), length);
    ring.ReadBuffer(nullptr, 1);
    const std::string read = taken <= model.size() ? model.substr(0, taken) : "";
    ASSERT_EQ(front, read + std::string(15 - read.size(), '?')) << "round " << round;
    ASSERT_EQ(ring.DataCount, static_cast<int>(model.size()));
    ASSERT_EQ(ring.DataStart, start);
    ASSERT_EQ(ring.DataEnd, (start + ring.DataCount) % capacity);
  }
}

// A stream of numbers, written in blocks: none is torn or comes twice, and only Clear() loses some.
TEST(RingBuffer, OneWriterAndOneReaderNeedNoLock) {
  RingBufferManager ring(61);  // small: full, empty and wrapped all the time
  std::atomic<bool> done{false};
  std::thread writer([&] {
    int block[9];
    for (int sent = 0; sent < 1000000;) {
      const int count = 1 + sent % 9;
      for (int i = 0; i < count; ++i) block[i] = ++sent;
      while (ring.GetReserveCount() < 4 * count) std::this_thread::yield();
      ring.WriteBuffer(raw(block), 4 * count);
    }
    done = true;
  });
  bool lost = false;
  for (int last = 0, over = 0; !HasFailure() && (!over || ring.GetDataCount() > 0); over = done) {
    int block[16];
    const int count = std::min(ring.GetDataCount() / 4, 1 + last % 16);
    ring.ReadBuffer(raw(block), 4 * count);
    if (count == 0) std::this_thread::yield();
    for (int i = 0; i < count; last = block[i++], lost = false) {
      EXPECT_TRUE(lost ? block[i] > last : block[i] == last + 1) << block[i] << " after " << last;
    }
    lost = last % 4 == 0;
    lost ? ring.Clear() : ring.Clear(4 * count);
  }
  while (!done) ring.Clear();
  writer.join();
}

}  // namespace
