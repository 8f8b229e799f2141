// Hand-over of the newest value from one thread to another without waiting.
#ifndef ZEL_FTC_TOOL_NEWESTFRAME_H
#define ZEL_FTC_TOOL_NEWESTFRAME_H

#include <atomic>
#include <cstdint>

namespace zel {

/// One thread publishes frames, one other thread takes the newest. Neither ever waits: each side
/// owns one of three slots and trades it for the third with a single atomic exchange, so a thread
/// that is preempted in the middle of a write or a read holds up nobody. A frame is always seen
/// whole; frames that nobody took in time are overwritten.
///
/// Real-time safe, no allocation. F is default-constructible and copyable.
template <typename F>
class NewestFrame {
 public:
  NewestFrame() = default;
  NewestFrame(const NewestFrame&) = delete;
  NewestFrame& operator=(const NewestFrame&) = delete;

  /// Publishing thread.
  void publish(const F& frame) {
    slots[back.value].value = frame;
    // Release: the frame is complete before its slot is offered. Acquire: the reader has finished
    // with the slot that comes back.
    const auto mine = static_cast<std::uint8_t>(back.value | fresh);
    back.value = offered.value.exchange(mine, std::memory_order_acq_rel) & indexMask;
  }

  /// Taking thread: the frame published last, or F{} before the first. The reference is good until
  /// the next call.
  const F& newest() {
    if (offered.value.load(std::memory_order_relaxed) & fresh) {
      front.value = offered.value.exchange(front.value, std::memory_order_acq_rel) & indexMask;
    }
    return slots[front.value].value;
  }

  /// Back to the state before the first frame. Only while no other thread uses the object.
  void reset() {
    for (auto& slot : slots) slot.value = F{};
    offered.value.store(1, std::memory_order_relaxed);
    back.value = 0;
    front.value = 2;
  }

 private:
  static constexpr std::uint8_t fresh = 4;  ///< the offered slot has not been taken yet
  static constexpr std::uint8_t indexMask = 3;

  /// Keeps what follows off the value's cache line: writing one side does not disturb the other.
  template <typename T>
  struct Apart {
    T value;
    char gap[64];
  };

  Apart<F> slots[3] = {};
  Apart<std::atomic<std::uint8_t>> offered = {{1}, {}};  ///< slot of neither side, and `fresh`
  Apart<std::uint8_t> back = {0, {}};                    ///< publishing thread's slot
  Apart<std::uint8_t> front = {2, {}};                   ///< taking thread's slot
};

}  // namespace zel

#endif
