#include "sim/sensor_simulator.h"

#include <fmt/format.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/timerfd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>

#include "ft/sensor_protocol.h"
#include "sim/loopback_socket.h"

namespace zel::sim {

namespace {

using Nanoseconds = std::int64_t;

constexpr Nanoseconds second = 1'000'000'000;
constexpr Nanoseconds catchUp = second / 100;  ///< a stream that is later than this skips frames
constexpr std::size_t keptCommands = 10'000;
constexpr int datagramsPerTurn = 64;  ///< a flood of commands must not starve the stream

Nanoseconds toNanoseconds(double seconds) {
  return static_cast<Nanoseconds>(std::llround(seconds * 1e9));
}

Nanoseconds now() {
  const auto time = std::chrono::steady_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::nanoseconds>(time).count();
}

SensorSimulatorConfig checked(SensorSimulatorConfig config) {
  if (!(config.rate >= 1.0 && config.rate <= 4000.0)) {
    throw std::invalid_argument(fmt::format("frame rate {} Hz is not in 1..4000 Hz", config.rate));
  }
  config.faults.check();
  if (!config.source) config.source = [](double) { return Wrench{}; };
  return config;
}

}  // namespace

/// The event loop: one thread that sleeps until a command, a frame time or the time of a delayed
/// datagram comes. Frame times come from an absolute timer: no drift, and none of the slack of a
/// plain sleep.
class SensorSimulator::Loop {
 public:
  explicit Loop(SensorSimulatorConfig config)
      : config_(checked(std::move(config))),
        device_(config_.identity, config_.source, config_.rate),
        timer_(::timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC)) {
    if (timer_.get() < 0) {
      throw std::system_error(errno, std::generic_category(), "cannot create a timer");
    }
    injector_.set(config_.faults);
  }
  ~Loop() { stop(); }

  void start() {
    if (thread_.joinable()) return;
    {
      const std::lock_guard lock(mutex_);
      socket_ = bindLoopback(config_.port);
      port_ = localPort(socket_);
      ending_ = false;
      wake_.clear();
      if (device_.streaming()) beginStream();
    }
    thread_ = std::thread([this] { run(); });
  }

  void stop() {
    if (!thread_.joinable()) return;
    {
      const std::lock_guard lock(mutex_);
      ending_ = true;
    }
    wake_.signal();
    thread_.join();
    const std::lock_guard lock(mutex_);
    delayed_.clear();
    injector_.drop();
    socket_ = Fd();
  }

  void setFaults(const SensorFaults& faults) {
    faults.check();
    {
      const std::lock_guard lock(mutex_);
      const bool returns = injector_.faults().dead && !faults.dead;
      injector_.set(faults);
      if (faults.dead) delayed_.clear();
      if (returns) {
        while (::recv(socket_.get(), nullptr, 0, 0) >= 0) continue;  // unheard
        if (!faults.survives) device_.restart();
      }
    }
    wake_.signal();
  }

  /// The result of `read(*this)` between two events.
  template <typename Read>
  auto locked(Read read) {
    const std::lock_guard lock(mutex_);
    return read(*this);
  }

  SensorStatistics statistics() const {
    SensorStatistics result = statistics_;
    result.faults = injector_.strikes();
    if (result.frames > 0) result.mean_lateness /= static_cast<double>(result.frames);
    return result;
  }

  std::uint16_t port() const { return port_; }
  const SensorDevice& device() const { return device_; }
  const std::deque<SensorCommand>& commands() const { return commands_; }

 private:
  struct Delayed {
    Bytes bytes;
    sockaddr_in to;
  };

  void run() {
    pollfd events[] = {
        {socket_.get(), POLLIN, 0}, {timer_.get(), POLLIN, 0}, {wake_.fd(), POLLIN, 0}};
    for (;;) {
      if (::poll(events, std::size(events), -1) < 0) continue;
      std::vector<SensorCommand> received;
      {
        const std::lock_guard lock(mutex_);
        if (ending_) return;
        if (events[2].revents != 0) wake_.clear();
        if (events[0].revents != 0) receive(received);
        sendDue();
        armTimer();
      }
      if (config_.log) std::for_each(received.begin(), received.end(), config_.log);
    }
  }

  void receive(std::vector<SensorCommand>& received) {
    for (int i = 0; i < datagramsPerTurn; ++i) {
      std::array<std::uint8_t, 512> datagram;  // longer than any command
      sockaddr_in from{};
      socklen_t size = sizeof from;
      const ssize_t length = ::recvfrom(socket_.get(), datagram.data(), datagram.size(), 0,
                                        reinterpret_cast<sockaddr*>(&from), &size);
      if (length < 0) return;
      if (injector_.faults().dead) continue;
      received.push_back(handle(datagram.data(), static_cast<std::size_t>(length), from));
    }
  }

  SensorCommand handle(const std::uint8_t* datagram, std::size_t length, const sockaddr_in& from) {
    SensorCommand command;
    const bool wasStreaming = device_.streaming();
    Bytes reply;
    if (std::equal(datagram, datagram + length, protocol::binaryRequest.begin(),
                   protocol::binaryRequest.end())) {
      command.accepted = true;
      command.text = protocol::binaryRequest;
      reply.assign(config_.binary_answer.begin(), config_.binary_answer.end());
    } else {
      reply = device_.execute(datagram, length, command);
    }
    ++(command.accepted ? statistics_.commands : statistics_.ignored);
    if (commands_.size() == keptCommands) commands_.pop_front();
    commands_.push_back(command);

    if (command.accepted && command.code == SensorEtherNet_UDP::COMMAND_CONTINUE_CAPTURE) {
      listener_ = from;
      if (!wasStreaming) beginStream();
    }
    if (wasStreaming && !device_.streaming()) injector_.drop();
    if (!reply.empty()) {
      const bool isPacket = command.code != 0;
      transmit(std::move(reply), from, isPacket && injector_.faults().replies,
               injector_.faults().answer_delay);
    }
    return command;
  }

  void beginStream() {
    stream_start_ = now();
    stream_ticks_ = 0;
  }

  Nanoseconds nextFrameTime() const {
    return stream_start_ + toNanoseconds(static_cast<double>(stream_ticks_ + 1) / config_.rate);
  }

  /// Whether frames are due at their times.
  bool ticking() const { return device_.streaming() && !injector_.faults().dead; }

  void sendDue() {
    const Nanoseconds time = now();
    if (ticking() && time - nextFrameTime() > catchUp) {
      const auto missed = static_cast<std::uint64_t>(static_cast<double>(time - nextFrameTime()) *
                                                     config_.rate / 1e9);
      statistics_.skipped += missed;
      stream_ticks_ += missed;
    }
    while (ticking() && nextFrameTime() <= time) {
      const double lateness = static_cast<double>(time - nextFrameTime()) / 1e9;
      Bytes frame = device_.nextFrame();
      ++stream_ticks_;
      if (frame.empty()) break;
      ++statistics_.frames;
      statistics_.mean_lateness += lateness;
      statistics_.worst_lateness = std::max(statistics_.worst_lateness, lateness);
      transmit(std::move(frame), listener_, true);
    }
    while (!delayed_.empty() && delayed_.begin()->first <= time) {
      const Delayed& due = delayed_.begin()->second;
      send(due.bytes, due.to);
      delayed_.erase(delayed_.begin());
    }
  }

  /// Sends after `delay` s, and those of the faults.
  void transmit(Bytes packet, const sockaddr_in& to, bool faulty, double delay = 0.0) {
    outgoing_.clear();
    if (faulty) {
      injector_.pass(std::move(packet), outgoing_);
    } else {
      outgoing_.push_back({std::move(packet), 0.0});
    }
    for (FaultInjector::Datagram& datagram : outgoing_) {
      const Nanoseconds wait = toNanoseconds(datagram.delay + delay);
      if (wait > 0) {
        delayed_.emplace(now() + wait, Delayed{std::move(datagram.bytes), to});
      } else {
        send(datagram.bytes, to);
      }
    }
  }

  void send(const Bytes& bytes, const sockaddr_in& to) {
    if (injector_.faults().silent) {
      ++statistics_.suppressed;
      return;
    }
    const ssize_t sent = ::sendto(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL,
                                  reinterpret_cast<const sockaddr*>(&to), sizeof to);
    if (sent < 0) {
      ++statistics_.send_errors;
    } else {
      ++statistics_.datagrams;
      statistics_.bytes += bytes.size();
    }
  }

  void armTimer() {
    std::optional<Nanoseconds> next;
    if (ticking()) next = nextFrameTime();
    if (!delayed_.empty()) next = std::min(next.value_or(INT64_MAX), delayed_.begin()->first);
    itimerspec setting{};  // zero: no alarm
    if (next) setting.it_value = {*next / second, *next % second};
    ::timerfd_settime(timer_.get(), TFD_TIMER_ABSTIME, &setting, nullptr);
  }

  const SensorSimulatorConfig config_;
  WakeEvent wake_;

  std::mutex mutex_;  // guards all below but the thread
  SensorDevice device_;
  FaultInjector injector_;
  SensorStatistics statistics_;  // mean_lateness: the sum
  std::deque<SensorCommand> commands_;
  std::multimap<Nanoseconds, Delayed> delayed_;
  std::vector<FaultInjector::Datagram> outgoing_;
  sockaddr_in listener_{};
  Nanoseconds stream_start_ = 0;
  std::uint64_t stream_ticks_ = 0;
  Fd timer_;
  Fd socket_;
  std::uint16_t port_ = 0;
  bool ending_ = false;

  std::thread thread_;
};

SensorSimulator::SensorSimulator(SensorSimulatorConfig config)
    : loop_(std::make_unique<Loop>(std::move(config))) {}

SensorSimulator::~SensorSimulator() = default;

void SensorSimulator::start() {
  loop_->start();
}

void SensorSimulator::stop() {
  loop_->stop();
}

void SensorSimulator::setFaults(const SensorFaults& faults) {
  loop_->setFaults(faults);
}

std::uint16_t SensorSimulator::port() const {
  return loop_->locked([](const Loop& loop) { return loop.port(); });
}

SensorStatistics SensorSimulator::statistics() const {
  return loop_->locked([](const Loop& loop) { return loop.statistics(); });
}

SensorSettings SensorSimulator::settings() const {
  return loop_->locked([](const Loop& loop) { return loop.device().settings(); });
}

bool SensorSimulator::streaming() const {
  return loop_->locked([](const Loop& loop) { return loop.device().streaming(); });
}

bool SensorSimulator::alarmRaised() const {
  return loop_->locked([](const Loop& loop) { return loop.device().alarmRaised(); });
}

bool SensorSimulator::ended() const {
  return loop_->locked([](const Loop& loop) { return loop.device().ended(); });
}

std::vector<SensorCommand> SensorSimulator::commands() const {
  return loop_->locked([](const Loop& loop) {
    return std::vector<SensorCommand>(loop.commands().begin(), loop.commands().end());
  });
}

}  // namespace zel::sim
