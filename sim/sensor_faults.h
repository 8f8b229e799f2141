// What can go wrong between a network sensor and its driver, injected into the packets of the
// sensor simulator, reproducibly.
#ifndef ZEL_FTC_SIM_SENSOR_FAULTS_H
#define ZEL_FTC_SIM_SENSOR_FAULTS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "ft/sensor_protocol.h"

namespace zel::sim {

using Bytes = std::vector<std::uint8_t>;

/// Which packets a fault strikes: each with a probability, or every n-th, or both.
struct Occurrence {
  double probability = 0.0;  ///< 0..1
  std::uint32_t every = 0;   ///< 1 = all packets, n = every n-th; 0 = off
};

/// Reads "0.05" (a probability from 0 to 1) or "1/20" (every 20th packet). Throws
/// std::invalid_argument for anything else.
Occurrence parseOccurrence(const std::string& text);

enum class Fault : std::size_t {
  loss,         ///< the packet is not sent
  duplication,  ///< sent twice
  reordering,   ///< sent after its successor
  corruption,   ///< one byte changed, anywhere in the packet or at `corrupt_at`
  wrong_crc,    ///< both CRC bytes inverted
  truncation,   ///< cut to a random length
  merging,      ///< sent in one datagram with its successors, `merged_packets` in all
  splitting,    ///< sent as two datagrams, cut at a random place
  garbage,      ///< a datagram of 1 to 64 random bytes goes ahead
  status        ///< the status byte of a data frame is `status_byte`
};
constexpr std::size_t faultKinds = 10;

struct SensorFaults {
  std::array<Occurrence, faultKinds> when{};
  Occurrence& operator[](Fault fault) { return when[static_cast<std::size_t>(fault)]; }

  std::optional<std::size_t> corrupt_at{};  ///< offset of the corrupted byte in the packet
  std::size_t merged_packets = 2;           ///< packets per merged datagram, 2 or more
  std::uint8_t status_byte = protocol::statusDataError;  ///< or overload, or anything
  double delay = 0.0;                                    ///< of every packet, s
  double jitter = 0.0;  ///< added to the delay, uniform from 0 to this, s; overtaking is possible
  double answer_delay = 0.0;  ///< from a command to its answer, s; frames do not wait for it

  bool silent = false;  ///< takes commands, but sends nothing
  /// Neither hears nor sends. On its return the sensor has lost the stream and all that was not
  /// saved, as after a power cut, unless `survives` is set by then (a pulled cable).
  bool dead = false;
  bool survives = false;

  bool replies = false;    ///< faults strike the replies to commands too, not just streamed frames
  std::uint64_t seed = 1;  ///< of every random choice

  /// Throws std::invalid_argument that names the field and its value when one is out of range.
  void check() const;
};

/// Sends packets through the faults. The same seed and packets give the same datagrams.
class FaultInjector {
 public:
  struct Datagram {
    Bytes bytes;
    double delay;  ///< s after the packet was due
  };

  /// New faults: n-th packets are counted anew, the random numbers start at the seed, a packet held
  /// back is forgotten.
  void set(const SensorFaults& faults);
  const SensorFaults& faults() const { return faults_; }

  /// Appends to `out` what leaves the sensor now for this packet, a complete one.
  void pass(Bytes packet, std::vector<Datagram>& out);
  /// Forgets packets held back for reordering and merging.
  void drop();
  /// How often each fault has struck since construction, in the order of Fault.
  const std::array<std::uint64_t, faultKinds>& strikes() const { return strikes_; }

 private:
  /// Whether the fault hits this packet; a fault that is not possible now passes it over.
  bool strikes(Fault fault, bool possible = true);
  double uniform();
  std::size_t pick(std::size_t first, std::size_t last);
  void send(const Bytes& bytes, std::vector<Datagram>& out);
  void emit(const Bytes& bytes, std::vector<Datagram>& out);

  SensorFaults faults_;
  std::mt19937_64 random_{1};
  std::array<std::uint64_t, faultKinds> seen_{};
  std::array<std::uint64_t, faultKinds> strikes_{};
  Bytes merged_;
  std::size_t merged_count_ = 0;
  std::optional<Bytes> held_;
};

}  // namespace zel::sim

#endif
