#include "tool/ringbuffermanager.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <deque>
#include <new>
#include <numeric>
#include <random>
#include <thread>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes counting(int length, int first) {
  Bytes bytes(static_cast<std::size_t>(length));
  std::iota(bytes.begin(), bytes.end(), static_cast<std::uint8_t>(first));
  return bytes;
}

void write(RingBufferManager& ring, const Bytes& bytes) {
  ring.WriteBuffer(bytes.data(), static_cast<std::int32_t>(bytes.size()));
}

Bytes front(RingBufferManager& ring, int length) {
  Bytes bytes(static_cast<std::size_t>(length), 0xEE);
  ring.ReadBuffer(bytes.data(), length);
  return bytes;
}

void expectFields(RingBufferManager& ring, int count, int start, int end) {
  EXPECT_EQ(ring.DataCount, count);
  EXPECT_EQ(ring.DataStart, start);
  EXPECT_EQ(ring.DataEnd, end);
  EXPECT_EQ(ring.GetDataCount(), count);
  EXPECT_EQ(ring.GetReserveCount(), ring.BufferLen - count);
}

TEST(RingBuffer, FieldsAfterEachOperation) {
  RingBufferManager ring(10);
  expectFields(ring, 0, 0, 0);
  write(ring, counting(7, 1));
  expectFields(ring, 7, 0, 7);
  ring.Clear(4);
  expectFields(ring, 3, 4, 7);
  write(ring, counting(3, 8));  // ends exactly at the end of storage
  expectFields(ring, 6, 4, 0);
  write(ring, counting(4, 11));  // exactly the free space
  expectFields(ring, 10, 4, 4);
  EXPECT_EQ(front(ring, 10), counting(10, 5));
  write(ring, {99});  // dropped
  expectFields(ring, 10, 4, 4);
  ring.Clear(6);  // the front wraps to the start of storage
  expectFields(ring, 4, 0, 4);
  EXPECT_EQ(front(ring, 4), counting(4, 11));
  ring.Clear(3);
  expectFields(ring, 1, 3, 4);
  for (int discarded : {1, 2, 1000}) {  // everything: positions return to 0
    ring.Clear(discarded);
    expectFields(ring, 0, 0, 0);
    write(ring, counting(1, 0));
  }
  ring.Clear();
  expectFields(ring, 0, 0, 0);
}

TEST(RingBuffer, RefusesNegativeLengthsNullPointersAndMoreThanHeld) {
  RingBufferManager ring(8);
  write(ring, counting(3, 0));
  std::uint8_t byte = 0xEE;
  ring.WriteBuffer(&byte, -1);
  ring.WriteBuffer(nullptr, 2);
  ring.ReadBuffer(&byte, -1);
  ring.ReadBuffer(nullptr, 2);
  ring.Clear(-1);
  EXPECT_EQ(byte, 0xEE);
  EXPECT_EQ(front(ring, 4), Bytes(4, 0xEE)) << "more than held: output untouched";
  expectFields(ring, 3, 0, 3);
  EXPECT_THROW(RingBufferManager(-1), std::bad_array_new_length);
  EXPECT_EQ(RingBufferManager().GetReserveCount(), 4096);
}

TEST(RingBuffer, MatchesADequeUnderRandomOperations) {
  std::mt19937 random(7);
  RingBufferManager ring(61);
  std::deque<std::uint8_t> model;
  std::uint8_t next = 0;
  for (int round = 0; round < 20000; ++round) {
    const int length = static_cast<int>(random() % 40);
    if (random() % 2 == 0) {
      const Bytes block = counting(length, next);
      write(ring, block);
      if (model.size() + block.size() <= 61) {
        model.insert(model.end(), block.begin(), block.end());
        next = static_cast<std::uint8_t>(next + length);
      }
    } else {
      ring.Clear(length);
      model.erase(model.begin(),
                  model.begin() + std::min<std::ptrdiff_t>(length, std::ptrdiff_t(model.size())));
    }
    const int held = static_cast<int>(model.size());
    ASSERT_EQ(front(ring, held), Bytes(model.begin(), model.end())) << "round " << round;
    ASSERT_EQ(ring.DataEnd, (ring.DataStart + held) % 61) << "round " << round;
  }
}

// Blocks of a length, a sequence number and bytes that follow from both. A block is written whole
// or not at all and the reader discards whole blocks or everything it saw, so the front is always
// the start of a block, and the numbers only ever rise.
Bytes block(std::uint32_t sequence, int length) {
  Bytes bytes(static_cast<std::size_t>(length));
  bytes[0] = static_cast<std::uint8_t>(length);
  for (std::size_t i = 0; i < 4; ++i) bytes[1 + i] = static_cast<std::uint8_t>(sequence >> (8 * i));
  for (std::size_t i = 5; i < bytes.size(); ++i) {
    bytes[i] = static_cast<std::uint8_t>(sequence * 31 + i * 7);
  }
  return bytes;
}

TEST(RingBuffer, OneWriterAndOneReaderSeeWholeBlocksInOrder) {
  constexpr std::uint32_t blocks = 200000;
  RingBufferManager ring(64);  // small: full, empty and wrapped all the time
  std::atomic<bool> done{false};

  std::thread writer([&] {
    std::mt19937 random(1);
    for (std::uint32_t sequence = 1; sequence <= blocks; ++sequence) {
      const Bytes bytes = block(sequence, 5 + static_cast<int>(random() % 36));
      while (ring.GetReserveCount() < static_cast<std::int32_t>(bytes.size())) {
        std::this_thread::yield();
      }
      write(ring, bytes);
    }
    done = true;
  });

  std::mt19937 random(2);
  std::uint32_t last = 0;
  bool skipped = true;
  int faults = 0;
  while (faults == 0) {
    const bool over = done;
    const std::int32_t held = ring.GetDataCount();
    if (held == 0) {
      if (over) break;
      std::this_thread::yield();
      continue;
    }
    std::uint8_t head[5] = {};
    ring.ReadBuffer(head, 5);
    const std::uint32_t sequence =
        head[1] | head[2] << 8 | head[3] << 16 | static_cast<std::uint32_t>(head[4]) << 24;
    if (head[0] < 5 || head[0] > held || sequence <= last || (!skipped && sequence != last + 1) ||
        front(ring, head[0]) != block(sequence, head[0])) {
      ++faults;
      ADD_FAILURE() << "after block " << last << ": number " << sequence << ", length "
                    << int{head[0]} << ", held " << held;
    }
    last = sequence;
    skipped = random() % 4 == 0;
    ring.Clear(skipped ? ring.BufferLen : head[0]);
  }
  while (!done) ring.Clear();
  writer.join();
  ring.Clear();
  expectFields(ring, 0, 0, 0);
}

}  // namespace
