// Why this is correct for one writer and one reader without a lock
//
// All agreement runs through DataCount: the count in the low bits, and above it two markers that
// tell that one side is inside an operation which needs DataEnd for itself.
//
//   Writer, append len bytes                     Reader, discard n bytes, n < count
//   W1  CAS   c -> c | writing                   R1  DataStart += n
//       only when c has no marker and            R2  fetch_sub n
//       c + len <= BufferLen
//   W2  copy bytes to DataEnd.., move DataEnd    Reader, discard everything
//   W3  fetch_add len - writing                  C1  CAS c -> resetting, c without marker;
//                                                    if that fails: R1, R2 with n = c, done
//                                                C2  DataStart = 0, DataEnd = 0
//                                                C3  store 0
//
// Who writes what. DataStart: the reader alone. DataEnd: the writer between W1 and W3, the reader
// between C1 and C3. W1 demands a count without `resetting` and C1 one without `writing`, so the
// two stretches exclude each other. The reader never waits: where it cannot reset it discards by
// advancing. The writer waits for at most C2 and C3.
//
// Pairs of steps.
//
// W1..W3 with R1, R2: W1 fixed the room [DataEnd, DataEnd + len) as free. Until W3 only the reader
// changes the count, and only downwards: the held bytes shrink from the front and stay apart from
// that room. The low bits never run below 0 (n <= count) nor into the markers (count + len <=
// BufferLen < resetting), so W3 and R2 may come in either order.
//
// W1..W3 with C1: C1 compares with the exact count it saw. The writer never publishes the same
// count again (len > 0 and nobody else adds), so a C1 that succeeds drops exactly the bytes that
// were seen; a write published or begun since makes it fail, and R1, R2 leave that write alone.
//
// W1 with C2, C3: the writer sees `resetting` and looks again; when W1 succeeds, C3 is over and
// DataEnd, read only after W1, is 0.
//
// ReadBuffer with W2: the reader copies only bytes counted in a DataCount it has read; W2 writes
// only bytes outside any such count until the reader itself has discarded them.
//
// Memory order. W3 releases the bytes and DataEnd; the reader's load and C1 acquire them (R2 and W1
// are read-modify-writes and keep the release sequence of W3 alive). R2 and C3 release the reader's
// finished copies and its write of DataEnd; W1 acquires them before any byte is overwritten. Hence
// neither the storage nor the order of the two writers of DataEnd is left to chance. DataStart and
// DataEnd themselves need no order of their own: relaxed.
#include "tool/ringbuffermanager.h"

#include <immintrin.h>

#include <chrono>
#include <cstring>
#include <new>
#include <thread>

namespace {

constexpr std::int32_t writing = 1 << 30;
constexpr std::int32_t resetting = 1 << 29;
constexpr std::int32_t countMask = resetting - 1;
constexpr std::int32_t largestCapacity = countMask;

std::uint8_t* allocate(int size) {
  if (size < 0 || size > largestCapacity) throw std::bad_array_new_length();
  return new std::uint8_t[static_cast<std::size_t>(size)];
}

/// The reader is a few instructions from done, unless it was preempted there.
void waitForReset(int round) {
  constexpr int spins = 100;
  if (round < spins) {
    _mm_pause();
  } else {
    std::this_thread::sleep_for(std::chrono::microseconds(1));
  }
}

}  // namespace

RingBufferManager::RingBufferManager() : RingBufferManager(4096) {}

RingBufferManager::RingBufferManager(int size) : Buffer(allocate(size)), BufferLen(size) {}

RingBufferManager::~RingBufferManager() {
  delete[] Buffer;
}

std::int32_t RingBufferManager::GetDataCount() {
  return DataCount.load(std::memory_order_acquire) & countMask;
}

std::int32_t RingBufferManager::GetReserveCount() {
  return BufferLen - GetDataCount();
}

void RingBufferManager::Clear() {
  discardAll(DataCount.load(std::memory_order_acquire));
}

void RingBufferManager::Clear(int n) {
  if (n < 0) return;
  const std::int32_t seen = DataCount.load(std::memory_order_acquire);
  if (n < (seen & countMask)) {
    advanceStart(n);
  } else {
    discardAll(seen);
  }
}

/// Discards the bytes counted in `seen`, a value of DataCount.
void RingBufferManager::discardAll(std::int32_t seen) {
  std::int32_t unmarked = seen & countMask;
  const std::int32_t count = unmarked;
  if (DataCount.compare_exchange_strong(unmarked, resetting, std::memory_order_acquire,
                                        std::memory_order_relaxed)) {
    DataStart.store(0, std::memory_order_relaxed);
    DataEnd.store(0, std::memory_order_relaxed);
    DataCount.store(0, std::memory_order_release);
  } else {
    advanceStart(count);
  }
}

void RingBufferManager::advanceStart(std::int32_t n) {
  std::int32_t start = DataStart.load(std::memory_order_relaxed) + n;
  if (start >= BufferLen) start -= BufferLen;
  DataStart.store(start, std::memory_order_relaxed);
  DataCount.fetch_sub(n, std::memory_order_release);
}

void RingBufferManager::WriteBuffer(const std::uint8_t* data, std::int32_t len) {
  if (data == nullptr || len <= 0) return;
  std::int32_t count = DataCount.load(std::memory_order_relaxed);
  for (int round = 0;; ++round) {
    if (count & resetting) {
      waitForReset(round);
      count = DataCount.load(std::memory_order_relaxed);
    } else if (BufferLen - count < len) {
      return;
    } else if (DataCount.compare_exchange_weak(count, count | writing, std::memory_order_acquire,
                                               std::memory_order_relaxed)) {
      break;
    }
  }

  const std::int32_t end = DataEnd.load(std::memory_order_relaxed);
  const std::int32_t over = end + len - BufferLen;
  if (over >= 0) {
    std::memcpy(Buffer + end, data, static_cast<std::size_t>(len - over));
    std::memcpy(Buffer, data + (len - over), static_cast<std::size_t>(over));
    DataEnd.store(over, std::memory_order_relaxed);
  } else {
    std::memcpy(Buffer + end, data, static_cast<std::size_t>(len));
    DataEnd.store(end + len, std::memory_order_relaxed);
  }
  DataCount.fetch_add(len - writing, std::memory_order_release);
}

void RingBufferManager::ReadBuffer(std::uint8_t* out, std::int32_t len) {
  if (out == nullptr || len <= 0 || len > GetDataCount()) return;
  const std::int32_t start = DataStart.load(std::memory_order_relaxed);
  const std::int32_t over = start + len - BufferLen;
  if (over >= 0) {
    std::memcpy(out, Buffer + start, static_cast<std::size_t>(len - over));
    std::memcpy(out + (len - over), Buffer, static_cast<std::size_t>(over));
  } else {
    std::memcpy(out, Buffer + start, static_cast<std::size_t>(len));
  }
}
