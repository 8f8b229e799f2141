// How soon a datagram of the network sensor is a reading that the caller sees, and what that costs.
//
// A sender on 127.0.0.1 stamps each frame just before it sends it; the caller polls for the newest
// reading and takes the time when a frame shows. The driver is measured both ways, with an unpack
// thread that spins and with one that waits (zel_ftc_workers.h), in turn with the least that could
// be done: one thread that blocks in recvfrom, checks, decodes and publishes each datagram. The one
// that waits is measured in real time as well, where there is the right to it. All are polled by
// the same loop, in slices of one second, so that what else the machine does hits all.
// Then the driver alone, at rising rates, until frames are missed.
//
// The caller's loop and an unpack thread that spins take a core each; sender and receiver need one
// now and then. A spinning unpack thread that gets clearly less than 100 % of the processor was
// pushed aside by other programs: such figures say more about the machine than about the driver.
#include <arpa/inet.h>
#include <fmt/core.h>
#include <pthread.h>
#include <sched.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <thread>
#include <vector>

#include "ft/ZelForceSensorEtherNetUDP.h"
#include "ft/sensor_protocol.h"
#include "tool/newestframe.h"
#include "zel_ftc_workers.h"

namespace {

namespace protocol = zel::protocol;
using Clock = std::chrono::steady_clock;

constexpr std::size_t framePacket = protocol::shortestPacket + protocol::sixValues;
constexpr int numbers = 100000;  ///< frames are numbered in channel 0, in thousandths

double seconds(Clock::duration d) {
  return std::chrono::duration<double>(d).count();
}

sockaddr_in loopback(std::uint16_t port) {
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

int boundSocket(std::uint16_t& port) {
  const int descriptor = socket(AF_INET, SOCK_DGRAM, 0);
  sockaddr_in address = loopback(port);
  socklen_t size = sizeof address;
  if (descriptor == -1 || bind(descriptor, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
      getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
    fmt::print(stderr, "no socket to be had\n");
    std::exit(1);
  }
  port = ntohs(address.sin_port);
  return descriptor;
}

/// Lets a thread run on the cores from `first` to `last` only. Threads of this program inherit it,
/// those of the driver do not.
void keepOn(pthread_t thread, unsigned first, unsigned last) {
  cpu_set_t cores;
  CPU_ZERO(&cores);
  for (unsigned core = first; core <= last; ++core) CPU_SET(core, &cores);
  pthread_setaffinity_np(thread, sizeof cores, &cores);
}

/// The other end: answers the identity query and sends numbered frames at a rate.
class Sender {
 public:
  Sender() : descriptor(boundSocket(port_)), answers([this] { answer(); }) {}
  ~Sender() {
    stop = true;
    shutdown(descriptor, SHUT_RDWR);
    answers.join();
    close(descriptor);
  }

  std::uint16_t port() const { return port_; }
  Clock::time_point sent(int number) const { return stamps[static_cast<std::size_t>(number)]; }

  /// Sends frames to a port for a time; numbers go on where the last call ended. Returns how many.
  int stream(std::uint16_t to, double rate, double duration) {
    const sockaddr_in peer = loopback(to);
    const int count = static_cast<int>(rate * duration);
    const auto start = Clock::now();
    for (int i = 1; i <= count; ++i) {
      const auto due = start + std::chrono::nanoseconds(static_cast<std::int64_t>(i * 1e9 / rate));
      if (rate <= 2000) {
        std::this_thread::sleep_until(due);
      } else {
        while (Clock::now() < due) std::this_thread::yield();
      }
      number = number % (numbers - 1) + 1;
      std::uint8_t channels[protocol::sixValues] = {};
      protocol::writeInt32(channels, number);
      std::uint8_t packet[framePacket];
      const auto length = protocol::writePacket(
          packet, 0, SensorEtherNet_UDP::COMMAND_CONTINUE_CAPTURE, channels, sizeof channels);
      stamps[static_cast<std::size_t>(number)] = Clock::now();
      sendto(descriptor, packet, length, 0, reinterpret_cast<const sockaddr*>(&peer), sizeof peer);
    }
    return count;
  }

 private:
  void answer() {
    while (!stop) {
      std::uint8_t command[512];
      sockaddr_in peer = {};
      socklen_t size = sizeof peer;
      const ssize_t length = recvfrom(descriptor, command, sizeof command, 0,
                                      reinterpret_cast<sockaddr*>(&peer), &size);
      constexpr std::uint8_t query = SensorEtherNet_UDP::COMMAND_GET_DEVICE_INFO;
      constexpr auto commandAt = protocol::bodyOffset + protocol::commandOffset;
      if (length < ssize_t{protocol::shortestPacket} || command[commandAt] != query) continue;
      const std::uint8_t identity[7] = {24, 1, 1, 3, 0, 1, 0};
      std::uint8_t packet[protocol::shortestPacket + sizeof identity];
      protocol::writePacket(packet, 0, query, identity, sizeof identity);
      sendto(descriptor, packet, sizeof packet, 0, reinterpret_cast<sockaddr*>(&peer), size);
    }
  }

  std::uint16_t port_ = 0;
  int descriptor;
  int number = 0;
  std::vector<std::atomic<Clock::time_point>> stamps{numbers};
  std::atomic<bool> stop{false};
  std::thread answers;
};

/// The least that could be done.
class BareLoop {
 public:
  BareLoop() : descriptor(boundSocket(port_)), thread([this] { run(); }) {}
  ~BareLoop() {
    stop = true;
    shutdown(descriptor, SHUT_RDWR);
    thread.join();
    close(descriptor);
  }
  std::uint16_t port() const { return port_; }
  double first() { return exchange.newest().value[0]; }

 private:
  void run() {
    while (!stop) {
      std::uint8_t packet[protocol::largestPacket];
      const ssize_t length = recvfrom(descriptor, packet, sizeof packet, 0, nullptr, nullptr);
      if (length != ssize_t{framePacket} || !protocol::crcMatches(packet)) continue;
      const std::uint8_t* const channels = packet + protocol::bodyOffset + protocol::payloadOffset;
      zel::SensorFrame frame;
      for (int i = 0; i < 6; ++i) {
        frame.value[i] = static_cast<float>(protocol::readInt32(channels + 4 * i)) / 1000.0F;
      }
      exchange.publish(frame);
    }
  }

  std::uint16_t port_ = 0;
  int descriptor;
  std::atomic<bool> stop{false};
  zel::NewestFrame<zel::SensorFrame> exchange;
  std::thread thread;
};

struct Latencies {
  std::vector<double> us;
  int sent = 0;
};

/// Streams one slice while the calling thread polls `first`, the first channel of the newest frame.
template <typename First>
void measure(Sender& sender, std::uint16_t port, double rate, double duration, First first,
             Latencies& latencies) {
  std::atomic<bool> done{false};
  std::thread sending([&] {
    keepOn(pthread_self(), 0, std::thread::hardware_concurrency() - 1);
    latencies.sent += sender.stream(port, rate, duration);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    done = true;
  });
  double last = first();
  while (!done) {
    const double now = first();
    if (now == last) continue;
    const auto seen = Clock::now();
    last = now;
    const auto stamp = sender.sent(static_cast<int>(std::lround(now * 1000)));
    latencies.us.push_back(seconds(seen - stamp) * 1e6);
  }
  sending.join();
}

double quantile(std::vector<double>& sorted, double q) {
  if (sorted.empty()) return 0;
  return sorted[static_cast<std::size_t>(q * static_cast<double>(sorted.size() - 1))];
}

void report(const char* name, Latencies& latencies) {
  std::sort(latencies.us.begin(), latencies.us.end());
  fmt::print("{:<22} p50 {:7.1f} us  p99 {:7.1f} us  max {:8.1f} us  frames sent {}, seen {}\n",
             name, quantile(latencies.us, 0.5), quantile(latencies.us, 0.99),
             quantile(latencies.us, 1), latencies.sent, latencies.us.size());
}

double processorSeconds(std::thread& thread) {
  clockid_t clock;
  timespec time = {};
  if (pthread_getcpuclockid(thread.native_handle(), &clock) == 0) clock_gettime(clock, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

/// One way to run the driver's worker threads, and what they were seen to do.
struct Way {
  const char* name;
  bool waits;
  int priority;  ///< in real time; 0: time sharing
  Latencies latencies = {};
  double receiving = 0;  ///< processor time of that thread while measured, s
  double unpacking = 0;
};

/// The driver, streaming from a sender in one of its ways, the unpack thread on the last core.
class Driver {
 public:
  Driver(const Sender& sender, const Way& way) {
    zel_ftc_workers workers;
    zel_ftc_getWorkers(&workers);
    workers.receive.policy = way.priority > 0 ? ZEL_SCHED_FIFO : ZEL_SCHED_OTHER;
    workers.receive.priority = way.priority;
    workers.unpack = workers.receive;
    workers.unpack.core = static_cast<std::int32_t>(std::thread::hardware_concurrency()) - 1;
    workers.unpack_waits = way.waits;
    zel_ftc_setWorkers(&workers);
    if (sensor.initialFTSensor(sender.port(), "127.0.0.1")) return;
    zel_ft_info_t info = {};
    sensor.getInfo(info);
    zel_ftc_getWorkerFaultText(info.code_info, sizeof info.code_info);
    fmt::print("{:<22} left out: {}\n", way.name, info.code_info);
  }

  bool streams() const { return sensor.bConnect; }

  double first() {
    double value[6];
    sensor.getRawData(value);
    return value[0];
  }

  double received() { return processorSeconds(*sensor.hThrd); }
  double unpacked() { return processorSeconds(*sensor.hThrdUnpack); }

  /// Frames counted by the driver at a rate, in percent of those sent.
  double arriving(Sender& sender, double rate) {
    sensor.clearIPOC();
    const int sent = sender.stream(protocol::localPort, rate, 1);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    return 100.0 * sensor.IPOC / sent;
  }

 private:
  SensorEtherNet_UDP sensor;
};

}  // namespace

int main(int argc, char** argv) {
  int duration = 10;
  CLI::App app("Time from a sensor datagram to the reading that the caller sees");
  app.add_option("--seconds", duration, "time per measurement; 10 or more for figures to quote")
      ->check(CLI::Range(1, 3600))
      ->capture_default_str();
  CLI11_PARSE(app, argc, argv);

  Sender sender;
  BareLoop bare;
  const unsigned cores = std::thread::hardware_concurrency();
  if (cores > 1) keepOn(pthread_self(), 0, 0);
  fmt::print("{} s at 1 kHz each, in turns of one second, {} cores\n", duration, cores);

  std::vector<Way> ways = {{"driver, spinning", false, 0},
                           {"driver, waiting", true, 0},
                           {"waiting, SCHED_FIFO", true, 40}};
  std::erase_if(ways, [&sender](const Way& way) { return !Driver(sender, way).streams(); });
  Latencies ofBareLoop;
  for (int slice = 0; slice < duration; ++slice) {
    for (Way& way : ways) {
      Driver driver(sender, way);
      const double received = driver.received(), unpacked = driver.unpacked();
      measure(
          sender, protocol::localPort, 1000, 1, [&] { return driver.first(); }, way.latencies);
      way.receiving += driver.received() - received;
      way.unpacking += driver.unpacked() - unpacked;
    }
    measure(
        sender, bare.port(), 1000, 1, [&] { return bare.first(); }, ofBareLoop);
  }

  for (Way& way : ways) report(way.name, way.latencies);
  report("bare loop", ofBareLoop);
  for (const Way& way : ways) {
    fmt::print("{:<22} processor time: receive thread {:.1f} %, unpack thread {:.1f} %\n", way.name,
               100 * way.receiving / duration, 100 * way.unpacking / duration);
  }
  for (const Way& way : ways) {
    Driver driver(sender, way);
    fmt::print("{:<22} frames that arrive:", way.name);
    for (double rate : {1000, 2000, 4000, 8000, 12000, 16000, 24000, 32000}) {
      fmt::print("  {:g} kHz {:.2f} %", rate / 1000, driver.arriving(sender, rate));
    }
    fmt::print("\n");
  }
  return 0;
}
