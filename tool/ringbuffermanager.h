// Fixed-capacity byte queue between the sensor's receive thread and its unpack thread.
#ifndef ZEL_FTC_TOOL_RINGBUFFERMANAGER_H
#define ZEL_FTC_TOOL_RINGBUFFERMANAGER_H

#include <atomic>
#include <cstdint>

#include "zel_ftc_types.h"

/// Circular byte queue for one writing thread (WriteBuffer) and one reading thread (ReadBuffer and
/// both Clear). The counts may be asked from either.
///
/// Looking and consuming are separate steps: ReadBuffer copies the oldest bytes and leaves them,
/// Clear(n) drops them; so a reader sees from a packet's head how long it is before it takes it.
/// The reading thread never waits. No operation allocates or reports failure. Negative lengths and
/// null pointers are refused: nothing happens.
///
/// The fields are open for diagnostics. While an operation of another thread is under way,
/// DataCount carries a marker above the count: ask GetDataCount.
class ZEL_FTC_API RingBufferManager {
 public:
  std::uint8_t* Buffer;                    ///< BufferLen bytes, owned
  std::int32_t BufferLen;                  ///< capacity
  std::atomic<std::int32_t> DataCount{0};  ///< bytes held
  std::atomic<std::int32_t> DataStart{0};  ///< index of the oldest byte
  std::atomic<std::int32_t> DataEnd{0};    ///< index where the next write begins

  /// Capacity of 4096 bytes.
  RingBufferManager();
  /// Throws std::bad_array_new_length for a size below 0 or above 536870911.
  explicit RingBufferManager(int size);
  ~RingBufferManager();
  RingBufferManager(const RingBufferManager&) = delete;
  RingBufferManager& operator=(const RingBufferManager&) = delete;

  std::int32_t GetDataCount();
  /// Free space in bytes.
  std::int32_t GetReserveCount();

  /// Discards everything held. Positions return to 0 (not when a write of the other thread is under
  /// way: its bytes stay, at the position it has chosen).
  void Clear();
  /// Discards the n oldest bytes; n of at least the count is Clear().
  void Clear(int n);
  /// Appends all of the block, or nothing when it does not fit.
  void WriteBuffer(const std::uint8_t* data, std::int32_t len);
  /// Copies the len oldest bytes, or nothing when fewer are held.
  void ReadBuffer(std::uint8_t* out, std::int32_t len);

 private:
  ZEL_FTC_HIDDEN void discardAll(std::int32_t seen);
  ZEL_FTC_HIDDEN void advanceStart(std::int32_t n);
};

#endif
