// Counts what happens on the link of the network sensor, and keeps why it last failed. Internal:
// not installed.
#ifndef ZEL_FTC_DIAG_LINKMONITOR_H
#define ZEL_FTC_DIAG_LINKMONITOR_H

#include <atomic>
#include <boost/lockfree/spsc_queue.hpp>
#include <chrono>
#include <cstdint>

#include "tool/newestframe.h"
#include "zel_ftc_diag.h"

namespace zel {
struct SensorFrame;
}

namespace zel::diag {

/// How a command was answered.
enum class Answer { good, none, cut, noPacket, wrongChecksum, otherCommand };

/// Why an operation of the network sensor failed; of the last one, ZEL_REASON_NONE when it did not.
struct LinkFault {
  ZelReasonKind kind = ZEL_REASON_NONE;
  std::uint8_t command = 0;      ///< of the exchange that failed
  Answer answer = Answer::good;  ///< to it
  int waited = 0;                ///< for it, ms
  int error = 0;                 ///< the system's error number
};

/// Each thread counts for itself and publishes its counts as a whole; nobody waits for anybody.
///
/// Consistent because of the order: a frame is counted after its datagram was counted and queued,
/// and a reader takes the counts of the frames first. So it never sees a frame without its
/// datagram, however the threads are scheduled.
class LinkMonitor {
 public:
  /// Before the threads run.
  void reset();

  /// Receive thread, before the datagram is queued.
  void datagram(std::uint64_t sent, std::uint64_t received, bool fromTheSensor, bool fits);

  /// Unpack thread.
  void skipped(int bytes) { frames_.skipped += static_cast<std::uint64_t>(bytes); }
  void wrongChecksum() { ++frames_.wrongChecksums; }
  /// A good one, with its status byte.
  void frame(int status, bool beyondRange, const SensorFrame& frame);
  /// Makes what was counted visible.
  void publishFrames() { newestFrames_.publish(frames_); }

  /// Caller's thread.
  /// A stretch of streaming begins: the pause before it is no gap.
  void streamBegins() { stretchBegins_ = true; }
  void exchange(std::uint8_t command, Answer answer, int waited);
  /// An answer that was good but for its command byte.
  void answeredOtherCommand(std::uint8_t command);
  void noPort(ZelReasonKind kind, int error) { fault_ = {kind, 0, Answer::good, 0, error}; }
  void forgetFault() { fault_.kind = ZEL_REASON_NONE; }
  const LinkFault& fault() const { return fault_; }
  zel_ftc_link_health snapshot();
  void keepFrames(bool on);
  bool nextFrame(zel_ftc_frame& frame) { return keepsFrames_ && kept_.pop(frame); }

 private:
  using Clock = std::chrono::steady_clock;

  struct DatagramCounts {
    std::uint64_t datagrams = 0, bytes = 0, foreign = 0, dropped = 0, cut = 0;
  };
  struct FrameCounts {
    std::uint64_t good = 0, wrongChecksums = 0, skipped = 0, beyondRange = 0, badStatus = 0;
    std::int32_t lastBadStatus = 0;
    Clock::time_point newest = {};  ///< when the newest good frame came
    Clock::duration longestGap = {};
    Clock::time_point secondBegan = {};  ///< of the second that is being counted
    std::uint64_t goodBefore = 0;        ///< good frames at its beginning
    double rate = 0.0;                   ///< in the second before it
  };

  DatagramCounts datagrams_;  // receive thread
  NewestFrame<DatagramCounts> newestDatagrams_;
  FrameCounts frames_;  // unpack thread
  NewestFrame<FrameCounts> newestFrames_;
  /// Said by the caller's thread, heard by the unpack thread.
  std::atomic<bool> stretchBegins_{true};
  std::atomic<bool> keepsFrames_{false};  // likewise
  boost::lockfree::spsc_queue<zel_ftc_frame, boost::lockfree::capacity<ZEL_KEPT_FRAMES>> kept_;
  std::uint64_t exchanges_ = 0, failedExchanges_ = 0;  // caller's thread
  LinkFault fault_;                                    // likewise
};

/// Of the network sensor that is up: only one can hold the local port.
extern LinkMonitor linkMonitor;

}  // namespace zel::diag

#endif
