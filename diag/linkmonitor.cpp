#include "diag/linkmonitor.h"

#include <algorithm>

#include "diag/library.h"
#include "ft/ZelForceSensorEtherNetUDP.h"
#include "ft/sensor_protocol.h"

namespace zel::diag {

LinkMonitor linkMonitor;

namespace {

using Milliseconds = std::chrono::duration<double, std::milli>;
constexpr std::chrono::seconds second(1);

}  // namespace

void LinkMonitor::reset() {
  datagrams_ = {};
  newestDatagrams_.reset();
  frames_ = {};
  newestFrames_.reset();
  kept_.reset();
  stretchBegins_ = true;
  exchanges_ = failedExchanges_ = 0;
}

void LinkMonitor::datagram(std::uint64_t sent, std::uint64_t received, bool fromTheSensor,
                           bool fits) {
  ++datagrams_.datagrams;
  datagrams_.bytes += received;
  if (received < sent) ++datagrams_.cut;
  if (!fromTheSensor) ++datagrams_.foreign;
  if (!fits) ++datagrams_.dropped;
  newestDatagrams_.publish(datagrams_);
}

void LinkMonitor::frame(int status, bool beyondRange, const SensorFrame& frame) {
  const Clock::time_point now = Clock::now();
  FrameCounts& f = frames_;
  ++f.good;
  if (beyondRange) ++f.beyondRange;
  if (status != protocol::statusNormal) {
    ++f.badStatus;
    f.lastBadStatus = status;
  }
  const bool first = stretchBegins_.exchange(false);
  if (!first) f.longestGap = std::max(f.longestGap, now - f.newest);
  f.newest = now;
  if (first || now - f.secondBegan >= second) {
    const double length = std::chrono::duration<double>(now - f.secondBegan).count();
    f.rate = first ? 0.0 : static_cast<double>(f.good - f.goodBefore) / length;
    f.secondBegan = now;
    f.goodBefore = f.good;
  }
  if (!keepsFrames_) return;
  zel_ftc_frame kept = {f.good,
                        std::chrono::duration<double>(now.time_since_epoch()).count(),
                        frame.ipoc,
                        frame.code,
                        {}};
  std::copy_n(frame.value, 6, kept.value);
  kept_.push(kept);
}

void LinkMonitor::keepFrames(bool on) {
  keepsFrames_ = on;
  kept_.consume_all([](const zel_ftc_frame&) {});
}

void LinkMonitor::exchange(std::uint8_t command, Answer answer, int waited) {
  ++exchanges_;
  if (answer == Answer::good) return;
  ++failedExchanges_;
  const ZelReasonKind kind = answer == Answer::none ? ZEL_REASON_NO_ANSWER : ZEL_REASON_BAD_ANSWER;
  fault_ = {kind, command, answer, waited, 0};
}

void LinkMonitor::answeredOtherCommand(std::uint8_t command) {
  ++failedExchanges_;
  fault_ = {ZEL_REASON_BAD_ANSWER, command, Answer::otherCommand, 0, 0};
}

zel_ftc_link_health LinkMonitor::snapshot() {
  const FrameCounts& f = newestFrames_.newest();
  const DatagramCounts& d = newestDatagrams_.newest();
  const Clock::duration age = Clock::now() - f.newest;

  zel_ftc_link_health health;
  health.datagrams = d.datagrams;
  health.bytes = d.bytes;
  health.foreign_datagrams = d.foreign;
  health.dropped_datagrams = d.dropped;
  health.cut_datagrams = d.cut;
  health.good_frames = f.good;
  health.wrong_checksums = f.wrongChecksums;
  health.skipped_bytes = f.skipped;
  health.frames_beyond_range = f.beyondRange;
  health.bad_status_frames = f.badStatus;
  health.last_bad_status = f.lastBadStatus;
  health.exchanges = exchanges_;
  health.failed_exchanges = failedExchanges_;
  health.rate = age < second ? f.rate : 0.0;
  health.longest_gap = Milliseconds(f.longestGap).count();
  health.age = f.good > 0 ? Milliseconds(age).count() : -1.0;
  return health;
}

}  // namespace zel::diag

int zel_ftc_linkHealth(zel_ftc_link_health* health) {
  if (!zel::isOpen()) return -1;
  if (health == nullptr || zel_is_external) return 0;
  *health = zel::diag::linkMonitor.snapshot();
  return 1;
}

int zel_ftc_keepFrames(bool on) {
  if (!zel::isOpen()) return -1;
  if (zel_is_external) return 0;
  zel::diag::linkMonitor.keepFrames(on);
  return 1;
}

int zel_ftc_nextFrame(zel_ftc_frame* frame) {
  if (!zel::isOpen()) return -1;
  return frame != nullptr && zel::diag::linkMonitor.nextFrame(*frame) ? 1 : 0;
}
