#include "sim/sensor_faults.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <utility>

#include "ft/sensor_protocol.h"

namespace zel::sim {

namespace {

using protocol::bodyOffset;
using protocol::trailer;
constexpr std::size_t commandAt = bodyOffset + protocol::commandOffset;

template <typename Number>
bool parseWhole(const char* first, const char* last, Number& value) {
  const auto [end, error] = std::from_chars(first, last, value);
  return error == std::errc() && end == last;
}

void rewriteStatus(Bytes& packet, std::uint8_t status) {
  const std::uint8_t command = packet[commandAt];
  const Bytes payload(packet.begin() + bodyOffset + protocol::payloadOffset,
                      packet.end() - trailer);
  protocol::writePacket(packet.data(), status, command, payload.data(), payload.size());
}

}  // namespace

Occurrence parseOccurrence(const std::string& text) {
  const char* const first = text.data();
  const char* const last = first + text.size();
  Occurrence when;
  if (text.starts_with("1/")) {
    if (parseWhole(first + 2, last, when.every) && when.every > 0) return when;
  } else if (parseWhole(first, last, when.probability) && when.probability >= 0.0 &&
             when.probability <= 1.0) {
    return when;
  }
  throw std::invalid_argument(fmt::format(
      "\"{}\" is neither a probability from 0 to 1 (0.05) nor one packet in n (1/20)", text));
}

void SensorFaults::check() const {
  for (const Occurrence& occurrence : when) {
    if (!(occurrence.probability >= 0.0 && occurrence.probability <= 1.0)) {
      throw std::invalid_argument(
          fmt::format("fault probability {} is not in 0..1", occurrence.probability));
    }
  }
  const auto checkTime = [](const char* name, double seconds) {
    if (!(seconds >= 0.0 && seconds <= 60.0)) {
      throw std::invalid_argument(fmt::format("{} {} s is not in 0..60 s", name, seconds));
    }
  };
  checkTime("delay", delay);
  checkTime("jitter", jitter);
  checkTime("answer delay", answer_delay);
  if (merged_packets < 2 || merged_packets > 100) {
    throw std::invalid_argument(fmt::format("merged packets {} are not in 2..100", merged_packets));
  }
}

void FaultInjector::set(const SensorFaults& faults) {
  faults_ = faults;
  random_.seed(faults.seed);
  seen_ = {};
  drop();
}

void FaultInjector::drop() {
  merged_.clear();
  merged_count_ = 0;
  held_.reset();
}

double FaultInjector::uniform() {
  return static_cast<double>(random_() >> 11) * 0x1p-53;
}

std::size_t FaultInjector::pick(std::size_t first, std::size_t last) {
  return first + random_() % (last - first + 1);
}

bool FaultInjector::strikes(Fault fault, bool possible) {
  const auto kind = static_cast<std::size_t>(fault);
  const Occurrence& when = faults_.when[kind];
  ++seen_[kind];
  const bool counted = when.every > 0 && seen_[kind] % when.every == 0;
  const bool drawn = when.probability > 0.0 && uniform() < when.probability;
  const bool hit = possible && (counted || drawn);
  if (hit) ++strikes_[kind];
  return hit;
}

void FaultInjector::pass(Bytes packet, std::vector<Datagram>& out) {
  const bool isFrame = protocol::isDataFrame(packet[commandAt]);
  if (isFrame && strikes(Fault::status)) rewriteStatus(packet, faults_.status_byte);
  if (strikes(Fault::loss)) return;

  const std::size_t length = packet.size();
  if (strikes(Fault::wrong_crc)) {
    packet[length - trailer] ^= 0xFF;
    packet[length - trailer + 1] ^= 0xFF;
  }
  if (strikes(Fault::corruption)) {
    const std::size_t at = faults_.corrupt_at.value_or(pick(0, length - 1));
    if (at < length) packet[at] ^= static_cast<std::uint8_t>(pick(1, 255));
  }
  if (strikes(Fault::truncation)) packet.resize(pick(1, length - 1));

  if (strikes(Fault::garbage)) {
    Bytes garbage(pick(1, 64));
    for (std::uint8_t& byte : garbage) byte = static_cast<std::uint8_t>(random_());
    send(garbage, out);
  }

  if (strikes(Fault::merging, merged_count_ == 0) || merged_count_ > 0) {
    merged_.insert(merged_.end(), packet.begin(), packet.end());
    if (++merged_count_ < faults_.merged_packets) return;
    packet = std::exchange(merged_, {});
    merged_count_ = 0;
  }

  if (strikes(Fault::reordering, !held_)) {
    held_ = std::move(packet);
    return;
  }
  emit(packet, out);
  if (held_) emit(*std::exchange(held_, std::nullopt), out);
}

void FaultInjector::emit(const Bytes& bytes, std::vector<Datagram>& out) {
  const int copies = strikes(Fault::duplication) ? 2 : 1;
  const bool split = bytes.size() > 1 && strikes(Fault::splitting);
  const auto cut = split ? static_cast<std::ptrdiff_t>(pick(1, bytes.size() - 1)) : 0;
  for (int copy = 0; copy < copies; ++copy) {
    if (split) {
      send(Bytes(bytes.begin(), bytes.begin() + cut), out);
      send(Bytes(bytes.begin() + cut, bytes.end()), out);
    } else {
      send(bytes, out);
    }
  }
}

void FaultInjector::send(const Bytes& bytes, std::vector<Datagram>& out) {
  const double jitter = faults_.jitter > 0.0 ? faults_.jitter * uniform() : 0.0;
  out.push_back({bytes, faults_.delay + jitter});
}

}  // namespace zel::sim
