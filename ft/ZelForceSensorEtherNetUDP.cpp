// The network sensor: link, threads, readings, and the settings of the sensor interface.
#include "ft/ZelForceSensorEtherNetUDP.h"

#include <immintrin.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <boost/bind/bind.hpp>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <system_error>
#include <thread>

#include "diag/linkmonitor.h"
#include "ft/sensor_protocol.h"
#include "ft/sensor_status.h"
#include "ft/sensor_workers.h"

using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::this_thread::sleep_for;
using zel::diag::linkMonitor;

namespace {

int openSocket() {
  return socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
}

void allowSharing(int descriptor, int allowed) {
  setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &allowed, sizeof allowed);
}

bool bindLocalPort(int descriptor) {
  sockaddr_in local = {};
  local.sin_family = AF_INET;
  local.sin_port = htons(zel::protocol::localPort);
  local.sin_addr.s_addr = htonl(INADDR_ANY);
  if (bind(descriptor, reinterpret_cast<const sockaddr*>(&local), sizeof local) == 0) return true;
  if (descriptor != -1) linkMonitor.noPort(ZEL_REASON_PORT_TAKEN, errno);
  return false;
}

bool isSame(const sockaddr_in& a, const sockaddr_in& b) {
  return a.sin_addr.s_addr == b.sin_addr.s_addr && a.sin_port == b.sin_port;
}

void endThread(std::thread*& thread) {
  if (thread == nullptr) return;
  sleep_for(microseconds(100));
  try {
    thread->join();
    delete thread;
  } catch (const std::system_error&) {
    // The object stays: taking it away unjoined would end the process.
  }
  thread = nullptr;
}

}  // namespace

SensorEtherNet_UDP::SensorEtherNet_UDP() = default;

SensorEtherNet_UDP::~SensorEtherNet_UDP() {
  SensorEtherNet_UDP::uninitialFTSensor();
}

// ---- link -------------------------------------------------------------------------------------

bool SensorEtherNet_UDP::initialFTSensor(int port, const char* ip) {
  setCODE(COMM_INIT);
  if (bConnect) return true;
  if (sock_Client != -1) uninitialFTSensor();  // a link that was opened without this operation
  clearIPOC();
  rawData.reset();
  linkMonitor.reset();
  if (initSensorEtherNet_UDPIF(static_cast<std::uint16_t>(port), ip) && connect()) {
    bConnect = true;
    clearIPOC();
    startSample();
    return true;
  }
  uninitialFTSensor();
  return false;
}

bool SensorEtherNet_UDP::initSensorEtherNet_UDPIF(std::uint16_t port, const char* ip) {
  if (!zel::protocol::isFourDottedNumbers(ip)) {
    setCODE(COMM_IP_ERROR);
    return false;
  }
  if (sock_Client != -1 || !takeLocalPort()) {  // taken by this very sensor, or by another program
    setCODE(COMM_PORT_ERROR);
    return false;
  }
  addr_sensor = {};
  addr_sensor.sin_family = AF_INET;
  addr_sensor.sin_port = htons(port);
  addr_sensor.sin_addr.s_addr = static_cast<in_addr_t>(inet_addr_(ip));
  if (!startWorkers()) {
    setCODE(COMM_THREAD_OPEN_ERROR);
    return false;
  }
  return true;
}

/// Binds sock_Client to the local port, which from then on belongs to this sensor alone.
bool SensorEtherNet_UDP::takeLocalPort() {
  sock_Client = openSocket();
  const int probe = openSocket();
  if (sock_Client == -1 || probe == -1) {
    linkMonitor.noPort(ZEL_REASON_NO_SOCKET, errno);
    std::printf("1: error_code=\n");
  }
  // A socket with the sharing option is let in beside others that have it; one without is refused
  // wherever anybody is. So the probe asks, and holds the port until sock_Client is there: of two
  // programs that start at once only one gets it. Then nobody else is let in any more.
  bool taken = sock_Client != -1 && bindLocalPort(probe);
  allowSharing(probe, 1);
  allowSharing(sock_Client, 1);
  taken = taken && bindLocalPort(sock_Client);
  allowSharing(sock_Client, 0);
  if (probe != -1) close(probe);
  return taken;
}

/// Both threads wait until both have their place, so that none runs where it should not.
bool SensorEtherNet_UDP::startWorkers() {
  using Sensor = SensorEtherNet_UDP;
  // Shut-down wakes the receive thread; the time-out ends it even where that wake-up is missing.
  const timeval wakeUp = {0, 100000};
  setsockopt(sock_Client, SOL_SOCKET, SO_RCVTIMEO, &wakeUp, sizeof wakeUp);
  unpackWaits = zel::workerSetting.unpack_waits;
  bSensorRun = true;
  workersPlaced = 0;
  const auto receive = [this] {
    return new std::thread(boost::bind(&Sensor::work, this, &Sensor::run));
  };
  const auto unpack = [this] {
    return new std::thread(boost::bind(&Sensor::work, this, &Sensor::unpack));
  };
  const bool started = zel::startWorker(hThrd, ZEL_WORKER_RECEIVE, receive) &&
                       zel::startWorker(hThrdUnpack, ZEL_WORKER_UNPACK, unpack);
  if (!started) bSensorRun = false;
  workersPlaced = 1;
  workersPlaced.notify_all();
  return started;
}

bool SensorEtherNet_UDP::connect() {
  changeToBinaryMode();
  stopSample();
  sleep_for(milliseconds(200));
  if (getDevModelInfo(dev_info)) return true;
  if (!framesComeIn()) return false;
  // The sensor streams still, for a host that has gone without stopping it: what came first was
  // taken for the answer.
  post(COMMAND_STOP_CAPTURE, nullptr, 0);
  // Frames that are under way, or wait in the socket, come first. 50 ms without one end them.
  constexpr int patience = 20;
  for (int i = 0; i < patience; ++i) {
    emptyQueue();
    sleep_for(milliseconds(50));
    if (R_FIFO.GetDataCount() == 0) break;
  }
  setCODE(COMM_INIT);
  return getDevModelInfo(dev_info);
}

/// Whether a streamed frame arrives within 100 ms.
bool SensorEtherNet_UDP::framesComeIn() {
  if (!claimQueue(1)) return false;
  bool frame = false;
  for (int waits = 0; !frame && waits < 100;) {
    std::uint8_t packet[zel::protocol::largestPacket];
    const int n = takePacket(packet);
    constexpr auto commandAt = zel::protocol::bodyOffset + zel::protocol::commandOffset;
    frame = n > int{zel::protocol::commandOffset} && packet[commandAt] == COMMAND_CONTINUE_CAPTURE;
    if (n < 0) {
      sleep_for(milliseconds(1));
      ++waits;
    }
  }
  releaseQueue();
  return frame;
}

bool SensorEtherNet_UDP::uninitialFTSensor() {
  if (bConnect) {
    stopSample();
    sleep_for(milliseconds(100));
  }
  bSensorRun = false;
  setStreaming(false);
  // Closing a socket does not wake a thread that is blocked in it, shutting it down does: Linux
  // does so for a socket without a peer as well, although it reports ENOTCONN.
  if (sock_Client != -1) shutdown(sock_Client, SHUT_RDWR);
  endThread(hThrd);
  endThread(hThrdUnpack);
  sleep_for(milliseconds(100));
  if (sock_Client != -1) close(sock_Client);
  sock_Client = -1;
  bConnect = false;
  return true;
}

// ---- threads ----------------------------------------------------------------------------------

/// Body of both threads.
void SensorEtherNet_UDP::work(void (SensorEtherNet_UDP::*body)()) {
  workersPlaced.wait(0);
  (this->*body)();
}

void SensorEtherNet_UDP::run() {
  std::uint8_t datagram[128];
  while (bSensorRun) {
    sockaddr_in from;
    socklen_t size = sizeof from;
    const ssize_t sent = recvfrom(sock_Client, datagram, sizeof datagram, MSG_TRUNC,
                                  reinterpret_cast<sockaddr*>(&from), &size);
    if (sent > 0) {
      const auto length = static_cast<std::int32_t>(std::min<ssize_t>(sent, sizeof datagram));
      const bool fits = R_FIFO.GetReserveCount() >= length;
      linkMonitor.datagram(static_cast<std::uint64_t>(sent), static_cast<std::uint64_t>(length),
                           isSame(from, addr_sensor), fits);
      if (fits) R_FIFO.WriteBuffer(datagram, length);
      callUnpackThread();
    }
    sleep_for(microseconds(1));
  }
}

void SensorEtherNet_UDP::unpack() {
  while (bSensorRun) {
    // A call from here on is heard, also one that comes before the wait begins.
    const int calls = unpackCalls;
    while (unpackStep()) {
    }
    if (!unpackWaits) {
      _mm_pause();
    } else if (bSensorRun) {
      unpackCalls.wait(calls);
    }
  }
}

/// Lets the unpack thread look again, for what has been changed before: bytes, streaming, run.
void SensorEtherNet_UDP::callUnpackThread() {
  if (!unpackWaits) return;
  ++unpackCalls;
  unpackCalls.notify_one();
}

void SensorEtherNet_UDP::setStreaming(bool on) {
  if (on) linkMonitor.streamBegins();
  bSampleMode = on;
  callUnpackThread();
}

/// One packet or one piece of garbage. False when there is nothing to do now.
bool SensorEtherNet_UDP::unpackStep() {
  if (R_FIFO.GetDataCount() <= 2 || !bSampleMode || !bSensorRun) return false;
  if (!claimQueue()) return false;
  std::uint8_t packet[zel::protocol::largestPacket];
  // An exchange may have emptied the queue, and the stream may have been stopped, meanwhile.
  const int n = bSampleMode ? takePacket(packet) : -1;
  if (n > 0) updatData(packet + zel::protocol::bodyOffset, n);
  if (n >= 0) linkMonitor.publishFrames();
  releaseQueue();
  return n >= 0;
}

/// Takes a packet out of the queue, which the caller has claimed: its N, the length of its body.
/// 0: dropped something that is no packet, or none with a right CRC. -1: no whole packet is there.
int SensorEtherNet_UDP::takePacket(std::uint8_t* packet) {
  const std::int32_t held = R_FIFO.GetDataCount();
  if (held <= 2) return -1;
  R_FIFO.ReadBuffer(packet, zel::protocol::bodyOffset);
  const auto skip = [&](int bytes) {
    R_FIFO.Clear(bytes);
    linkMonitor.skipped(bytes);
  };
  if (packet[0] != PACKET_HEAD1) {
    skip(1);
  } else if (packet[1] == PACKET_HEAD2) {
    const int n = packet[2];
    const int length = n + int{zel::protocol::overhead};
    if (held < length) return -1;
    R_FIFO.ReadBuffer(packet, length);
    R_FIFO.Clear(length);
    if (verifyPacket(packet)) return n;
    linkMonitor.wrongChecksum();
  } else if (packet[1] != PACKET_HEAD1) {
    skip(2);
  } else {
    skip(1);  // the second F6 may start a packet
  }
  return 0;
}

// ---- readings ---------------------------------------------------------------------------------

const zel::SensorFrame& SensorEtherNet_UDP::newestFrame() {
  const zel::SensorFrame& frame = rawData.newest();
  if (frame.number != shown.frame) shown = {frame.number, frame.ipoc, frame.code};
  return frame;
}

void SensorEtherNet_UDP::clearIPOC() {
  IPOC = 0;
  newestFrame();
  shown.ipoc = 0;
}

void SensorEtherNet_UDP::countIPOC() {
  const int count = zel::nextPacketCount(IPOC);
  IPOC = count;
  newestFrame();
  shown.ipoc = count;
}

void SensorEtherNet_UDP::setCODE(ZelInfoCode code) {
  CODE = code;
  newestFrame();
  shown.code = code;
}

/// Copies the newest reading and returns the status to show with it. An operation of the caller can
/// make it a bad one, never a normal one.
ZelInfoCode SensorEtherNet_UDP::takeReading(double* out) {
  const zel::SensorFrame& frame = newestFrame();
  std::copy_n(frame.value, 6, out);
  return shown.code == FT_N0RMAL ? frame.code : shown.code;
}

bool SensorEtherNet_UDP::getRawData(double* out) {
  return out != nullptr && takeReading(out) == FT_N0RMAL;
}

void SensorEtherNet_UDP::getInfo(zel_ft_info_t& info) {
  zel::fillStatus(info, IPOC, CODE, zel::SensorKind::network);
}

bool SensorEtherNet_UDP::getFTSensorData(double* out, zel_ft_info_t& info) {
  if (bConnect && bSampleMode && out != nullptr) {
    const ZelInfoCode code = takeReading(out);
    zel::fillStatus(info, shown.ipoc, code, zel::SensorKind::network);
    return code == FT_N0RMAL;
  }
  const bool result = bConnect && singleCapture(out);
  getInfo(info);
  return result;
}

void SensorEtherNet_UDP::getFTSensorRange(double* out) {
  if (out != nullptr) std::copy_n(zel::rangeOfModel(dev_info.model), 6, out);
}

void SensorEtherNet_UDP::getFTSensorInfo(zel_ft_info_t&) {}

void SensorEtherNet_UDP::PrintBuffer(const std::uint8_t* buf, int len) {
  std::printf("buff: ");
  for (int i = 0; buf != nullptr && i < len; ++i) std::printf("%i ", buf[i]);
  std::printf("\n");
}

// ---- settings ---------------------------------------------------------------------------------

/// Runs a protocol operation with the stream off, and streams again afterwards if it did before.
template <typename Operation>
bool SensorEtherNet_UDP::whilePaused(Operation operation) {
  if (!bConnect) return false;
  if (!bSampleMode) return operation();
  stopSample();
  const bool result = operation();
  startSample();
  return result;
}

bool SensorEtherNet_UDP::setFTSensorStartSample() {
  return bConnect && !bSampleMode && startSample();
}

bool SensorEtherNet_UDP::setFTSensorStopSample() {
  return bConnect && bSampleMode && stopSample();
}

bool SensorEtherNet_UDP::zeroFTSensor() {
  return whilePaused([&] { return zeroReset(); });
}

bool SensorEtherNet_UDP::saveFTSensorUserSetting() {
  return whilePaused([&] { return saveUserSetting(); });
}

bool SensorEtherNet_UDP::setFTSensorLowPassFilter(std::uint8_t setting) {
  return whilePaused([&] { return setLowPassFilter(setting); });
}

bool SensorEtherNet_UDP::setFTSensorToolTransform(double* transform) {
  return transform != nullptr && whilePaused([&] { return setToolTransform(transform); });
}

bool SensorEtherNet_UDP::setFTSensorIIRFilter(bool enable) {
  return whilePaused([&] { return setEnableIIRFilter(enable); });
}

bool SensorEtherNet_UDP::setFTSensorFIRFilter(bool enable) {
  return whilePaused([&] { return setEnableFIRFilter(enable); });
}

bool SensorEtherNet_UDP::setFTSensorMedianFilter(std::uint8_t depth) {
  return whilePaused([&] { return setMedianFilterDepth(depth); });
}

bool SensorEtherNet_UDP::setFTSensorSmoothAverFilter(std::uint8_t depth) {
  return whilePaused([&] { return setSmoothAverFilterDepth(depth); });
}

bool SensorEtherNet_UDP::setFTSensorKalmanFilter(bool enable, KalmanFilterPara first,
                                                 KalmanFilterPara second) {
  return whilePaused([&] {
    setKalmanFilterPara(first, second);
    return setEnableKalmanFilter(enable);
  });
}

bool SensorEtherNet_UDP::setFTSensorNetIP(const char* address) {
  return address != nullptr && whilePaused([&] { return setNetIP(address); });
}

bool SensorEtherNet_UDP::setFTSensorNetMask(const char* mask) {
  return mask != nullptr && whilePaused([&] { return setNetMask(mask); });
}

bool SensorEtherNet_UDP::setFTSensorNetGateway(const char* address) {
  return address != nullptr && whilePaused([&] { return setNetGateway(address); });
}

bool SensorEtherNet_UDP::setFTSensorNetPortNumber(std::uint16_t port) {
  return whilePaused([&] { return setNetPortNumber(port); });
}

bool SensorEtherNet_UDP::setFTSensorAlarmSignal() {
  return whilePaused([&] { return setAlarmSignal(); });
}

bool SensorEtherNet_UDP::clearFTSensorAlarmSignal() {
  return whilePaused([&] { return clearAlarmSignal(); });
}

bool SensorEtherNet_UDP::setFTSensorAlarm(bool enable) {
  return whilePaused([&] { return setEnableAlarm(enable); });
}

bool SensorEtherNet_UDP::getFTSensorAlarmAxis(std::uint8_t* out) {
  return out != nullptr && whilePaused([&] { return getAlarmAxis(out); });
}

bool SensorEtherNet_UDP::setFTSensorAlarmNormalOpen(bool normallyOpen) {
  return whilePaused([&] { return setEnableAlarmNormalOpen(normallyOpen); });
}

bool SensorEtherNet_UDP::setFTSensorAlarmThresholdValue(double* thresholds) {
  return thresholds != nullptr && whilePaused([&] { return setAlarmThresholdValue(thresholds); });
}
