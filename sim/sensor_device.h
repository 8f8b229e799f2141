// What a six-axis network sensor does with the packets it receives, without any network.
#ifndef ZEL_FTC_SIM_SENSOR_DEVICE_H
#define ZEL_FTC_SIM_SENSOR_DEVICE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "ft/ZelForceSensorBase.h"
#include "sim/cell.h"
#include "sim/sensor_faults.h"

namespace zel::sim {

/// The physical wrench on the sensor as the driver's caller sees it (N, N m), as a function of the
/// sensor's own time in seconds: n samples taken at the sampling rate are n / rate. Nothing when
/// there is no more to measure.
using WrenchSource = std::function<std::optional<Wrench>(double seconds)>;

/// What the commands of the driver can set. Values of six are in the unit the driver was given.
struct SensorSettings {
  std::uint8_t low_pass = 0;
  std::uint8_t median_depth = 0;
  std::uint8_t smooth_depth = 0;
  bool fir = false;
  bool iir = false;
  bool kalman = false;
  std::array<KalmanFilterPara, 2> kalman_para{};
  std::array<double, 6> tool_transform{};
  std::array<std::uint8_t, 4> net_ip{127, 0, 0, 1};
  std::array<std::uint8_t, 4> net_mask{255, 0, 0, 0};
  std::array<std::uint8_t, 4> net_gateway{127, 0, 0, 1};
  std::uint16_t net_port = 0;
  bool alarm = false;
  bool alarm_normally_open = false;
  std::array<double, 6> alarm_threshold{};  ///< compared with the absolute value of the reading
  Wrench zero{};                            ///< subtracted from the physical wrench
};

/// A command as it was received, for logs and tests.
struct SensorCommand {
  std::uint8_t code = 0;
  Bytes payload;
  bool accepted = false;  ///< false: ignored, no answer
  std::string text;       ///< name, code and decoded arguments, or why it was ignored
};

/// A sensor of a given model. Filters, tool transform and network settings are kept, but change
/// nothing; the zero, the alarm and saving act.
///
/// A data frame has status 254 while the physical wrench exceeds the range of the model, 255 when
/// the source yields a value that is not finite. The alarm, once enabled, is raised by each axis
/// whose reading exceeds its threshold (initially the range of the model) and stays until cleared.
class SensorDevice {
 public:
  /// `rate` in samples per second; the rate of the stream.
  SensorDevice(const ZelSensor::DeviceModelInfo& identity, WrenchSource source, double rate);

  /// Takes one datagram and returns the packet to answer with, empty when none is due.
  Bytes execute(const std::uint8_t* datagram, std::size_t length, SensorCommand& received);
  /// The next streamed frame; empty and the end of streaming when the source has ended.
  Bytes nextFrame();
  /// A power cut: streaming off, alarm cleared, the settings are those last saved.
  void restart();

  bool streaming() const { return streaming_; }
  /// The source has ended.
  bool ended() const { return ended_; }
  bool alarmRaised() const { return alarm_raised_; }
  const SensorSettings& settings() const { return settings_; }

 private:
  struct Answer {
    bool accepted = true;
    bool reply = true;
    std::uint8_t status = 0;
    Bytes payload{};
    std::string arguments{};
  };
  struct Reading {
    std::uint8_t status;
    std::array<std::int32_t, 6> channels;  ///< as transmitted: mN, and minus mN m
  };
  struct Rule;
  static const Rule rules[];

  std::optional<Reading> measure();
  std::optional<Reading> sample();

  Answer startStreaming(const std::uint8_t*);
  Answer stopStreaming(const std::uint8_t*);
  Answer singleCapture(const std::uint8_t*);
  Answer save(const std::uint8_t*);
  Answer zeroReset(const std::uint8_t*);
  Answer identify(const std::uint8_t*);
  Answer setKalmanPara(const std::uint8_t* payload);
  Answer setNetPort(const std::uint8_t* payload);
  Answer clearAlarm(const std::uint8_t*);
  Answer raiseAlarm(const std::uint8_t*);
  Answer alarmAxis(const std::uint8_t*);
  template <std::uint8_t SensorSettings::*member>
  Answer setByte(const std::uint8_t* payload);
  template <bool SensorSettings::*member>
  Answer setSwitch(const std::uint8_t* payload);
  template <std::array<std::uint8_t, 4> SensorSettings::*member>
  Answer setAddress(const std::uint8_t* payload);
  template <std::array<double, 6> SensorSettings::*member>
  Answer setSix(const std::uint8_t* payload);

  ZelSensor::DeviceModelInfo identity_;
  WrenchSource source_;
  double rate_;
  std::uint64_t samples_ = 0;
  bool streaming_ = false;
  bool ended_ = false;
  bool alarm_raised_ = false;
  std::array<std::uint8_t, 6> alarm_axis_{};
  SensorSettings settings_;
  SensorSettings saved_;
};

}  // namespace zel::sim

#endif
