// For the tests of driver and simulator: packets of the network sensor as literal bytes or built
// from their definition, without the code under test; the driver's settings.
#ifndef ZEL_FTC_TESTS_FT_SENSOR_PACKETS_H
#define ZEL_FTC_TESTS_FT_SENSOR_PACKETS_H

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <boost/algorithm/hex.hpp>
#include <boost/crc.hpp>
#include <chrono>
#include <string>

#include "ft/ZelForceSensorEtherNetUDP.h"

namespace testing_ft {

using Sensor = SensorEtherNet_UDP;
using Six = std::array<double, 6>;
using Datagram = std::string;

/// "F6 6F" to two bytes.
inline Datagram fromHex(std::string text) {
  std::erase(text, ' ');
  return boost::algorithm::unhex(text);
}

inline const std::uint8_t* raw(const Datagram& bytes) {
  return reinterpret_cast<const std::uint8_t*>(bytes.data());
}

/// A packet around the N bytes of `body`.
inline Datagram packetAround(const Datagram& body) {
  boost::crc_ccitt_type crc;
  crc.process_bytes(body.data(), body.size());
  const char sum[] = {static_cast<char>(crc.checksum()), static_cast<char>(crc.checksum() >> 8)};
  return "\xF6\x6F" + Datagram(1, static_cast<char>(body.size())) + body + Datagram(sum, 2) +
         "\x6F\xF6";
}

/// A command, or the reply that repeats its code: code and payload in hexadecimal.
inline Datagram command(const std::string& text) {
  return packetAround(fromHex("00 00 " + text));
}

/// A data frame: six channels in thousandths.
inline Datagram frameOf(const std::array<std::int32_t, 6>& channels, int status = 0, int code = 2) {
  const char head[] = {0, static_cast<char>(status), static_cast<char>(code)};
  return packetAround(Datagram(head, 3) + Datagram(reinterpret_cast<const char*>(&channels), 24));
}

inline const Datagram startCommand = fromHex("F6 6F 03 00 00 02 DE EC 6F F6");
inline const Datagram stopCommand = fromHex("F6 6F 03 00 00 03 FF FC 6F F6");
inline const Datagram captureCommand = fromHex("F6 6F 03 00 00 04 18 8C 6F F6");
inline const Datagram zeroCommand = fromHex("F6 6F 03 00 00 0B F7 7D 6F F6");
inline const Datagram identityQuery = fromHex("F6 6F 03 00 00 10 AD DE 6F F6");
/// 2024-11-30, model 2 (150, 150, 200 N; 4, 4, 4 N m), range 9, id 0x1234.
inline const Datagram identityAnswer =
    fromHex("F6 6F 0A 00 00 10 18 0B 1E 02 09 34 12 D0 F8 6F F6");

struct Setting {
  const char* sent;  ///< command and payload
  bool (*call)(Sensor&);
  bool codeChecked = true;  ///< an answer with another command's code is a failure
  int waits = 400;          ///< for an answer that does not come, ms
  ZelInfoCode failure = COMM_CMDRETURN_ERROR;
};

// Truncated toward zero; beyond 32 bits the low ones are kept.
inline Six transform = {100.25, -200.5, 300.1259, -0.0011, 0.0009, 4294968.296};
inline Six thresholds = {150, -150.5, 200.0019, 4, -4294968.296, 3.9999};
inline std::uint8_t axes[6];

inline const Setting settings[] = {
    {"0B", [](Sensor& s) { return s.zeroFTSensor(); }, true, 200},
    {"18 03", [](Sensor& s) { return s.setFTSensorLowPassFilter(3); }},
    {"13 9A 87 01 00 CC F0 FC FF 5D 94 04 00 FF FF FF FF 00 00 00 00 E8 03 00 00",
     [](Sensor& s) { return s.setFTSensorToolTransform(transform.data()); }},
    {"24 F0 49 02 00 1C B4 FD FF 41 0D 03 00 A0 0F 00 00 18 FC FF FF 9F 0F 00 00",
     [](Sensor& s) { return s.setFTSensorAlarmThresholdValue(thresholds.data()); }},
    {"37 01", [](Sensor& s) { return s.setFTSensorIIRFilter(true); }, false},
    {"32 01", [](Sensor& s) { return s.setFTSensorFIRFilter(true); }, false},
    {"20 09", [](Sensor& s) { return s.setFTSensorMedianFilter(9); }, false},
    {"31 10", [](Sensor& s) { return s.setFTSensorSmoothAverFilter(16); }},
    {"19 C0 A8 01 4D", [](Sensor& s) { return s.setFTSensorNetIP("192.168.1.77"); }},
    {"1A FF FF FE 00", [](Sensor& s) { return s.setFTSensorNetMask("255.255.254.0"); }},
    {"1B 0A 00 00 02", [](Sensor& s) { return s.setFTSensorNetGateway("10.0.0.2"); }},
    {"1C 12 C0", [](Sensor& s) { return s.setFTSensorNetPortNumber(0xC012); }},
    {"28", [](Sensor& s) { return s.setFTSensorAlarmSignal(); }, true, 600},
    {"25 01", [](Sensor& s) { return s.setFTSensorAlarm(true); }, false},
    {"27 01", [](Sensor& s) { return s.setFTSensorAlarmNormalOpen(true); }, false},
    {"26", [](Sensor& s) { return s.getFTSensorAlarmAxis(axes); }, true, 400, COMM_PORT_ERROR},
    {"09", [](Sensor& s) { return s.saveFTSensorUserSetting(); }, true, 8000},
    {"27 00", [](Sensor& s) { return s.setFTSensorAlarmNormalOpen(false); }, false},
    {"23", [](Sensor& s) { return s.clearFTSensorAlarmSignal(); }, true, 600},
};

/// Waits for a condition that another thread brings about; false when it has not after 10 s.
template <typename Condition>
bool eventually(Condition condition) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!condition() && std::chrono::steady_clock::now() < deadline) usleep(200);
  return condition();
}

constexpr Six untouched = {-99, -98, -97, -96, -95, -94};

/// What the driver hands out now.
struct Reading {
  explicit Reading(Sensor& sensor) { normal = sensor.getFTSensorData(value.data(), info); }
  Six value = untouched;
  zel_ft_info_t info = {};
  bool normal = false;
};

}  // namespace testing_ft

#endif
