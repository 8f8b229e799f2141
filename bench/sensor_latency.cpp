// How soon a datagram of the network sensor is a reading that the caller sees.
//
// A sender on 127.0.0.1 stamps each frame just before it sends it; the caller polls for the newest
// reading and takes the time when a frame shows. The driver is measured in turn with the least that
// could be done: one thread that blocks in recvfrom, checks, decodes and publishes each datagram.
// Both are polled by the same loop, in slices of one second, so that what else the machine does
// hits both. Then the driver alone, at rising rates, until frames are missed.
//
// The caller's loop and the unpack thread spin, on a core each; sender and receiver need one now
// and then. An unpack thread that gets clearly less than 100 % of the processor was pushed aside by
// other programs: such figures say more about the machine than about the driver.
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

namespace {

namespace protocol = zel::protocol;
using Clock = std::chrono::steady_clock;

constexpr std::uint16_t driverPort = 52000;
constexpr std::size_t framePacket = protocol::shortestPacket + protocol::channelBytes;
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

/// Lets a thread run on the cores from `first` to `last` only. New threads inherit it.
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
      std::uint8_t channels[protocol::channelBytes] = {};
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

double report(const char* name, Latencies& latencies) {
  std::sort(latencies.us.begin(), latencies.us.end());
  const double median = quantile(latencies.us, 0.5);
  fmt::print("{:<22} p50 {:7.1f} us  p99 {:7.1f} us  max {:8.1f} us  frames sent {}, seen {}\n",
             name, median, quantile(latencies.us, 0.99), quantile(latencies.us, 1), latencies.sent,
             latencies.us.size());
  return median;
}

double processorSeconds(std::thread& thread) {
  clockid_t clock;
  timespec time = {};
  if (pthread_getcpuclockid(thread.native_handle(), &clock) == 0) clock_gettime(clock, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

/// Frames counted by the driver at a rate, in percent of those sent.
double arriving(Sender& sender, SensorEtherNet_UDP& sensor, double rate, double duration) {
  sensor.clearIPOC();
  const int sent = sender.stream(driverPort, rate, duration);
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  return 100.0 * sensor.IPOC / sent;
}

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
  SensorEtherNet_UDP sensor;
  if (!sensor.initialFTSensor(sender.port(), "127.0.0.1")) {
    zel_ft_info_t info = {};
    sensor.getInfo(info);
    fmt::print(stderr, "the driver did not start: {}\n", info.code_info);
    return 1;
  }

  // A core each for the two threads that spin; the others go where there is room.
  const unsigned cores = std::thread::hardware_concurrency();
  if (cores > 1) {
    keepOn(sensor.hThrdUnpack->native_handle(), cores - 1, cores - 1);
    keepOn(pthread_self(), 0, 0);
  }
  fmt::print("{} s at 1 kHz each, in turns of one second, {} cores\n", duration, cores);
  Latencies ofDriver, ofBareLoop, ofBareAlone;
  double receiving = 0, unpacking = 0;
  for (int slice = 0; slice < duration; ++slice) {
    const double receivedBefore = processorSeconds(*sensor.hThrd);
    const double unpackedBefore = processorSeconds(*sensor.hThrdUnpack);
    measure(
        sender, driverPort, 1000, 1,
        [&] {
          double value[6];
          sensor.getRawData(value);
          return value[0];
        },
        ofDriver);
    receiving += processorSeconds(*sensor.hThrd) - receivedBefore;
    unpacking += processorSeconds(*sensor.hThrdUnpack) - unpackedBefore;
    measure(
        sender, bare.port(), 1000, 1, [&] { return bare.first(); }, ofBareLoop);
  }
  // The same without the driver's spinning thread beside it.
  const std::vector<double> rates = {1000, 2000, 4000, 8000, 12000, 16000, 24000, 32000};
  std::vector<double> arrived;
  for (double rate : rates) arrived.push_back(arriving(sender, sensor, rate, 1));
  sensor.uninitialFTSensor();
  for (int slice = 0; slice < duration; ++slice) {
    measure(
        sender, bare.port(), 1000, 1, [&] { return bare.first(); }, ofBareAlone);
  }

  const double driver = report("driver", ofDriver);
  const double beside = report("bare loop beside it", ofBareLoop);
  const double alone = report("bare loop alone", ofBareAlone);
  fmt::print("driver p50 / bare loop p50: {:.2f} (beside), {:.2f} (alone)\n", driver / beside,
             driver / alone);
  fmt::print("processor time while streaming: receive thread {:.1f} %, unpack thread {:.1f} %\n",
             100 * receiving / duration, 100 * unpacking / duration);
  fmt::print("frames that arrive, one second each:");
  for (std::size_t i = 0; i < rates.size(); ++i) {
    fmt::print("  {:g} kHz {:.2f} %", rates[i] / 1000, arrived[i]);
  }
  fmt::print("\n");
  return 0;
}
