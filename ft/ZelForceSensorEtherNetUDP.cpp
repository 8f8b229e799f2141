// The network sensor: link, threads, readings, and the settings of the sensor interface.
#include "ft/ZelForceSensorEtherNetUDP.h"

#include <immintrin.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <boost/bind/bind.hpp>
#include <chrono>
#include <cstdio>
#include <thread>

#include "ft/sensor_protocol.h"

using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::this_thread::sleep_for;

namespace {

constexpr std::uint16_t localPort = 52000;

void endThread(std::thread*& thread) {
  if (thread == nullptr) return;
  sleep_for(microseconds(100));
  thread->join();
  delete thread;
  thread = nullptr;
}

}  // namespace

// ---- link -------------------------------------------------------------------------------------

bool SensorEtherNet_UDP::initialFTSensor(int port, const char* ip) {
  setCODE(COMM_INIT);
  if (bConnect) return true;
  if (sock_Client != -1) uninitialFTSensor();  // a link that was opened without this operation
  clearIPOC();
  rawData.reset();
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
  if (!isFourDottedNumbers(ip)) {
    setCODE(COMM_IP_ERROR);
    return false;
  }
  if (sock_Client != -1) {
    setCODE(COMM_PORT_ERROR);  // taken by this very sensor
    return false;
  }
  sock_Client = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (sock_Client == -1) {
    std::printf("1: error_code=\n");
    return false;
  }
  const int reuse = 1;
  setsockopt(sock_Client, SOL_SOCKET, SO_REUSEADDR, &reuse, sizeof reuse);
  // Shut-down wakes the receive thread; the time-out ends it even where that wake-up is missing.
  const timeval wakeUp = {0, 100000};
  setsockopt(sock_Client, SOL_SOCKET, SO_RCVTIMEO, &wakeUp, sizeof wakeUp);

  sockaddr_in local = {};
  local.sin_family = AF_INET;
  local.sin_port = htons(localPort);
  local.sin_addr.s_addr = htonl(INADDR_ANY);
  if (bind(sock_Client, reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0) {
    setCODE(COMM_PORT_ERROR);
    return false;
  }
  addr_sensor = {};
  addr_sensor.sin_family = AF_INET;
  addr_sensor.sin_port = htons(port);
  addr_sensor.sin_addr.s_addr = static_cast<in_addr_t>(inet_addr_(ip));

  bSensorRun = true;
  try {
    hThrd = new std::thread(boost::bind(&SensorEtherNet_UDP::run, this));
    hThrdUnpack = new std::thread(boost::bind(&SensorEtherNet_UDP::unpack, this));
  } catch (...) {
    setCODE(COMM_THREAD_OPEN_ERROR);
    return false;
  }
  return true;
}

bool SensorEtherNet_UDP::connect() {
  changeToBinaryMode();
  stopSample();
  sleep_for(milliseconds(200));
  return getDevModelInfo(dev_info);
}

bool SensorEtherNet_UDP::uninitialFTSensor() {
  if (bConnect) {
    stopSample();
    sleep_for(milliseconds(100));
  }
  bSampleMode = false;
  bSensorRun = false;
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

void SensorEtherNet_UDP::run() {
  std::uint8_t datagram[128];
  while (bSensorRun) {
    const ssize_t received = recvfrom(sock_Client, datagram, sizeof datagram, 0, nullptr, nullptr);
    if (received > 0) R_FIFO.WriteBuffer(datagram, static_cast<std::int32_t>(received));
    sleep_for(microseconds(1));
  }
}

void SensorEtherNet_UDP::unpack() {
  while (bSensorRun) {
    while (unpackStep()) {
    }
    _mm_pause();
  }
}

/// One packet or one piece of garbage. False when there is nothing to do now.
bool SensorEtherNet_UDP::unpackStep() {
  if (R_FIFO.GetDataCount() <= 2 || !bSampleMode || !bSensorRun) return false;
  if (!claimQueue()) return false;
  // An exchange may have emptied the queue, and the stream may have been stopped, meanwhile.
  const bool more = bSampleMode && takePacket();
  releaseQueue();
  return more;
}

bool SensorEtherNet_UDP::takePacket() {
  const std::int32_t held = R_FIFO.GetDataCount();
  if (held <= 2) return false;
  std::uint8_t packet[zel::protocol::largestPacket];
  R_FIFO.ReadBuffer(packet, zel::protocol::bodyOffset);
  if (packet[0] != PACKET_HEAD1) {
    R_FIFO.Clear(1);
  } else if (packet[1] == PACKET_HEAD2) {
    const int n = packet[2];
    const int length = n + int{zel::protocol::overhead};
    if (held < length) return false;
    R_FIFO.ReadBuffer(packet, length);
    R_FIFO.Clear(length);
    if (verifyPacket(packet)) updatData(packet + zel::protocol::bodyOffset, n);
  } else if (packet[1] != PACKET_HEAD1) {
    R_FIFO.Clear(2);
  } else {
    R_FIFO.Clear(1);  // the second F6 may start a packet
  }
  return true;
}

// ---- readings ---------------------------------------------------------------------------------

/// Copies the newest reading and returns the status to show with it: normal only when both CODE and
/// the reading's own status are. The two may belong to neighbouring frames.
ZelInfoCode SensorEtherNet_UDP::takeReading(double* out) {
  const zel::SensorFrame& frame = rawData.newest();
  std::copy_n(frame.value, 6, out);
  const ZelInfoCode current = CODE;
  return current == FT_N0RMAL ? frame.code : current;
}

bool SensorEtherNet_UDP::getRawData(double* out) {
  return out != nullptr && takeReading(out) == FT_N0RMAL;
}

void SensorEtherNet_UDP::getInfo(zel_ft_info_t& info) {
  zel::fillStatus(info, IPOC, CODE, zel::SensorKind::network);
}

bool SensorEtherNet_UDP::getFTSensorData(double* out, zel_ft_info_t& info) {
  if (bConnect && bSampleMode && out != nullptr) {
    const ZelInfoCode shown = takeReading(out);
    zel::fillStatus(info, IPOC, shown, zel::SensorKind::network);
    return shown == FT_N0RMAL;
  }
  const bool result = bConnect && singleCapture(out);
  getInfo(info);
  return result;
}

void SensorEtherNet_UDP::getFTSensorRange(double* out) {
  if (out != nullptr) std::copy_n(zel::rangeOfModel(dev_info.model), 6, out);
}

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
