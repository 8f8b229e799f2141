#include "sim/robot_link.h"

#include <fmt/format.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstring>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <system_error>

namespace zel::sim {

namespace {

/// Request and reply have the same layout; `number` is the time to pass or the penetration.
struct Message {
  std::uint32_t sequence;
  Pose pose;
  double number;
};

constexpr std::uint8_t magic[4] = {'Z', 'R', 'L', '1'};
constexpr std::size_t messageSize = 64;
using Datagram = std::array<std::uint8_t, messageSize + 1>;  // one more, to tell longer ones

void put(std::uint8_t* bytes, std::uint64_t value, int count) {
  for (int i = 0; i < count; ++i) bytes[i] = static_cast<std::uint8_t>(value >> (8 * i));
}

std::uint64_t get(const std::uint8_t* bytes, int count) {
  std::uint64_t value = 0;
  for (int i = 0; i < count; ++i) value |= static_cast<std::uint64_t>(bytes[i]) << (8 * i);
  return value;
}

Datagram encode(const Message& message) {
  Datagram bytes{};
  std::copy(std::begin(magic), std::end(magic), bytes.begin());
  put(bytes.data() + 4, message.sequence, 4);
  for (std::size_t i = 0; i < 6; ++i) {
    put(bytes.data() + 8 + 8 * i, std::bit_cast<std::uint64_t>(message.pose[i]), 8);
  }
  put(bytes.data() + 56, std::bit_cast<std::uint64_t>(message.number), 8);
  return bytes;
}

std::optional<Message> decode(const Datagram& bytes, ssize_t length) {
  if (length != messageSize || !std::equal(std::begin(magic), std::end(magic), bytes.begin())) {
    return std::nullopt;
  }
  Message message{};
  message.sequence = static_cast<std::uint32_t>(get(bytes.data() + 4, 4));
  for (std::size_t i = 0; i < 6; ++i) {
    message.pose[i] = std::bit_cast<double>(get(bytes.data() + 8 + 8 * i, 8));
  }
  message.number = std::bit_cast<double>(get(bytes.data() + 56, 8));
  return message;
}

bool isValidRequest(const Pose& pose, double seconds) {
  return std::all_of(pose.begin(), pose.end(), [](double value) { return std::isfinite(value); }) &&
         seconds >= 0.0 && seconds <= longestStep;
}

RobotState stateOf(const Cell& cell) {
  return {cell.flange(), cell.penetration()};
}

}  // namespace

RobotState SharedCell::move(const Pose& base_flange, double seconds) {
  const std::lock_guard lock(mutex_);
  cell_.command(base_flange);
  cell_.advance(seconds);
  return stateOf(cell_);
}

RobotState SharedCell::state() const {
  const std::lock_guard lock(mutex_);
  return stateOf(cell_);
}

Wrench SharedCell::reading() {
  const std::lock_guard lock(mutex_);
  return cell_.reading();
}

RobotLinkServer::RobotLinkServer(SharedCell& cell, std::uint16_t port)
    : cell_(cell), socket_(bindLoopback(port)), thread_([this] { run(); }) {}

RobotLinkServer::~RobotLinkServer() {
  wake_.signal();
  thread_.join();
}

void RobotLinkServer::run() {
  pollfd events[] = {{socket_.get(), POLLIN, 0}, {wake_.fd(), POLLIN, 0}};
  for (;;) {
    if (::poll(events, std::size(events), -1) < 0) continue;
    if (events[1].revents != 0) return;
    Datagram bytes;
    sockaddr_in from{};
    socklen_t size = sizeof from;
    auto* const address = reinterpret_cast<sockaddr*>(&from);
    const ssize_t length = ::recvfrom(socket_.get(), bytes.data(), bytes.size(), 0, address, &size);
    const std::optional<Message> request = decode(bytes, length);
    if (!request || !isValidRequest(request->pose, request->number)) continue;
    const RobotState state = cell_.move(request->pose, request->number);
    const Datagram reply = encode({request->sequence, state.flange, state.penetration});
    ::sendto(socket_.get(), reply.data(), messageSize, MSG_NOSIGNAL, address, size);
  }
}

RobotLinkClient::RobotLinkClient(std::uint16_t port, double timeout)
    : port_(port), timeout_(timeout), socket_(connectLoopback(port)) {}

RobotState RobotLinkClient::exchange(const Pose& base_flange, double seconds) {
  if (!isValidRequest(base_flange, seconds)) {
    throw std::invalid_argument(fmt::format(
        "robot link: the pose must be finite and the time {} s in 0..{} s", seconds, longestStep));
  }
  const auto fail = [this](const std::string& why) {
    throw std::runtime_error(fmt::format("robot link to 127.0.0.1:{}: {}", port_, why));
  };
  const auto failFromSystem = [&fail] {
    fail(errno == ECONNREFUSED ? "nothing listens there" : std::generic_category().message(errno));
  };

  using Clock = std::chrono::steady_clock;
  const auto deadline = Clock::now() + std::chrono::duration<double>(timeout_);
  const Datagram request = encode({++sequence_, base_flange, seconds});
  if (::send(socket_.get(), request.data(), messageSize, MSG_NOSIGNAL) < 0) failFromSystem();
  for (;;) {
    const std::chrono::duration<double, std::milli> left = deadline - Clock::now();
    pollfd event{socket_.get(), POLLIN, 0};
    const int ready = ::poll(&event, 1, std::max(0, static_cast<int>(std::ceil(left.count()))));
    if (ready == 0) fail(fmt::format("no reply within {} s", timeout_));
    if (ready < 0) continue;
    Datagram bytes;
    const ssize_t length = ::recv(socket_.get(), bytes.data(), bytes.size(), 0);
    if (length < 0 && errno != EAGAIN) failFromSystem();
    const std::optional<Message> reply = decode(bytes, length);
    if (reply && reply->sequence == sequence_) return {reply->pose, reply->number};
  }
}

}  // namespace zel::sim
