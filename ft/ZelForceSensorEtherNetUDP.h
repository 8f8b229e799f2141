// The network sensor: a six-axis force/torque sensor driven over UDP.
#ifndef ZEL_FTC_FT_ZELFORCESENSORETHERNETUDP_H
#define ZEL_FTC_FT_ZELFORCESENSORETHERNETUDP_H

#include <netinet/in.h>

#include <atomic>
#include <cstdint>
#include <thread>

#include "ft/ZelForceSensorBase.h"
#include "tool/newestframe.h"
#include "tool/ringbuffermanager.h"
#include "zel_clock.h"

namespace zel {

/// A streamed reading: six values that arrived together, what the sensor said about them, and the
/// frame's count.
struct SensorFrame {
  double value[6] = {};          ///< N, N m
  ZelInfoCode code = COMM_INIT;  ///< status of this very frame; before the first: none came yet
  std::int32_t ipoc = 0;         ///< IPOC with this frame
  std::uint64_t number = 0;      ///< of the frames of this object, from 1 on; 0: no frame
};

namespace protocol {
struct Command;
}  // namespace protocol
namespace diag {
enum class Answer;
}  // namespace diag

}  // namespace zel

/// The sensor on the network.
///
/// Three threads: the caller's (every operation of the interface, one thread at a time), the
/// receive thread (run: datagrams into R_FIFO) and the unpack thread (unpack: packets out of R_FIFO
/// into rawData). initialFTSensor starts the two, uninitialFTSensor ends them. The unpack thread
/// spins while the sensor is up, so that a frame is published the moment it is complete: give it a
/// processor core of its own, or let it wait. Where and how the two run is chosen with
/// zel_ftc_workers.h, not taken over from the caller. The local UDP port is 52000, cannot be
/// chosen, and is shared with nobody.
///
///   state                bConnect  bSensorRun  bSampleMode  readings come from
///   closed               false     false       false        -
///   streaming            true      true        true         the newest streamed frame
///   connected, polled    true      true        false        one request per getFTSensorData
///
/// While streaming, getFTSensorData is real-time safe: it takes the newest whole frame and never
/// waits for a thread nor wakes one. Everything else exchanges datagrams and sleeps. Settings pause
/// the stream (50 ms), exchange, and start it again (50 ms); they return false, nothing sent, while
/// not connected. A failed exchange sets CODE to COMM_CMDRETURN_ERROR unless stated otherwise.
///
/// The fields are open for diagnostics; change them through the operations.
class ZEL_FTC_API SensorEtherNet_UDP : public ZelSensor {
 public:
  // Written by the receive thread, read by the unpack thread or, while not streaming, the caller's.
  RingBufferManager R_FIFO{512};

  // Caller's thread. The atomic flags are polled by the two threads.
  bool bConnect = false;
  std::atomic<bool> bSensorRun{false};   ///< the thread bodies go on
  DeviceModelInfo dev_info = {};         ///< from the identity query
  std::atomic<bool> bSampleMode{false};  ///< streaming: the unpack thread consumes R_FIFO

  // Written by the unpack thread with each frame (the reading first, its count last), by the
  // caller's otherwise.
  zel::NewestFrame<zel::SensorFrame> rawData;  ///< taken by the caller's thread only
  std::atomic<double> ft_range[6] = {};        ///< overload limits; 0 before the identity query
  std::atomic<int> IPOC{0};                    ///< frames counted (wraps after 100000)
  std::atomic<ZelInfoCode> CODE{ZelInfoCode{}};
  std::atomic<zel_clock> time_start{zel_clock{}};  ///< when the newest streamed frame came
  std::atomic<bool> SET_CMD_ZERO{false};  ///< a zero-reset frame came in the stream; stays set

  // Constant while the threads run.
  int sock_Client = -1;
  sockaddr_in addr_sensor = {};
  std::thread* hThrd = nullptr;        ///< receive thread
  std::thread* hThrdUnpack = nullptr;  ///< unpack thread

  // Packet framing, see ft/sensor_protocol.h of the sources.
  static constexpr std::uint8_t PACKET_HEAD1 = 0xF6;
  static constexpr std::uint8_t PACKET_HEAD2 = 0x6F;
  static constexpr std::uint8_t PACKET_TAIL1 = 0x6F;
  static constexpr std::uint8_t PACKET_TAIL2 = 0xF6;
  static constexpr int VALID_DATA_COMMAND_BYTE_OFFSET = 2;  ///< in the N bytes of a packet

  // Command codes. Part of the protocol: never renumber.
  static constexpr std::uint8_t COMMAND_READ_DEVICE_ID = 1;
  static constexpr std::uint8_t COMMAND_CONTINUE_CAPTURE = 2;
  static constexpr std::uint8_t COMMAND_STOP_CAPTURE = 3;
  static constexpr std::uint8_t COMMAND_SINGAL_CAPTURE = 4;
  static constexpr std::uint8_t COMMAND_SET_SAMPLE_RATE = 5;
  static constexpr std::uint8_t COMMAND_SET_BAUD_RATE = 6;
  static constexpr std::uint8_t COMMAND_RESTORE_USER_PROFILE = 7;
  static constexpr std::uint8_t COMMAND_RESTORE_FACTORY_PROFILE = 8;
  static constexpr std::uint8_t COMMAND_SAVE_TO_PROFILE = 9;
  static constexpr std::uint8_t COMMAND_GET_FW_INFO = 10;
  static constexpr std::uint8_t COMMAND_ZERO_RESET = 11;
  static constexpr std::uint8_t COMMAND_WAVE_FILTERING = 12;
  static constexpr std::uint8_t COMMAND_CAL_FORCE = 15;
  static constexpr std::uint8_t COMMAND_GET_DEVICE_INFO = 16;
  static constexpr std::uint8_t COMMAND_ENABLE_KALMAN_FILTER = 17;
  static constexpr std::uint8_t COMMAND_SET_KALMAN_FILTER_PARA = 18;
  static constexpr std::uint8_t COMMAND_TOOL_TRANSFORM = 19;
  static constexpr std::uint8_t COMMAND_PROBE_SENSOR = 21;
  static constexpr std::uint8_t COMMAND_ACTIVE_SENSOR_2 = 22;
  static constexpr std::uint8_t COMMAND_GET_STATE_CODE = 23;
  static constexpr std::uint8_t COMMAND_SET_FILTER_RANG = 24;
  static constexpr std::uint8_t COMMAND_SET_NET_IP = 25;
  static constexpr std::uint8_t COMMAND_SET_NET_MASK = 26;
  static constexpr std::uint8_t COMMAND_SET_NET_GATEWAY = 27;
  static constexpr std::uint8_t COMMAND_SET_NET_PORT_NUMBER = 28;
  static constexpr std::uint8_t COMMAND_GET_SENSOR_ERR_CODE = 29;
  static constexpr std::uint8_t COMMAND_CHANGE_PARSE_MODE = 30;
  static constexpr std::uint8_t COMMAND_SET_DEBUG_MODE = 31;
  static constexpr std::uint8_t COMMAND_SET_MEDIAN_FILTER_PARA = 32;
  static constexpr std::uint8_t COMMAND_OUTPUT_ACC_GYRO_DATA = 33;
  static constexpr std::uint8_t COMMAND_CLEAR_ALARM_SIGNAL = 35;
  static constexpr std::uint8_t COMMAND_SET_ALARM_THRESHOLD_VALUE = 36;
  static constexpr std::uint8_t COMMAND_ENABLE_ALARM_OUTPUT = 37;
  static constexpr std::uint8_t COMMAND_GET_ALARM_AXIS = 38;
  static constexpr std::uint8_t COMMAND_SET_ALARM_NORMAL_OPEN = 39;
  static constexpr std::uint8_t COMMAND_SET_ALARM_SIGNAL = 40;
  static constexpr std::uint8_t COMMAND_SET_SMOOTH_AVER_FILTER_PARA = 49;
  static constexpr std::uint8_t COMMAND_ENABLE_FIR_FILTER = 50;
  static constexpr std::uint8_t COMMAND_ENABLE_IIR_FILTER = 55;
  static constexpr std::uint8_t COMMAND_SET_AVERGE_NUM = 207;
  static constexpr std::uint8_t COMMAND_SET_ADC_GAIN = 209;
  static constexpr std::uint8_t COMMAND_GET_ADC_GAIN = 210;

  SensorEtherNet_UDP();
  ~SensorEtherNet_UDP();
  SensorEtherNet_UDP(const SensorEtherNet_UDP&) = delete;
  SensorEtherNet_UDP& operator=(const SensorEtherNet_UDP&) = delete;

  // ---- Sensor interface -----------------------------------------------------------------------

  /// Opens the link, asks for the identity, starts streaming. About half a second; a sensor that
  /// streams still (its last host has gone without a word) is told to stop and asked once more.
  ///
  /// False with the reason in CODE, everything taken down again: COMM_IP_ERROR (null or not four
  /// dotted numbers; no socket was opened), COMM_PORT_ERROR (no socket to be had, local port taken,
  /// or no answer to the identity query), COMM_THREAD_OPEN_ERROR (see zel_ftc_getWorkerFault). It
  /// can be tried again at once. When already connected: true, CODE is COMM_INIT until the next
  /// frame.
  bool initialFTSensor(int port, const char* ip) override;
  /// Stops the stream, ends both threads, closes the socket. Good in every state, any number of
  /// times; always true. Up to 0.35 s.
  bool uninitialFTSensor() override;
  /// True when the reading is normal. Otherwise it is handed out all the same while streaming, and
  /// info tells what is wrong: values, status and counter are those of one frame, but for a status
  /// that an operation of the caller has set since (COMM_INIT, COMM_CMDRETURN_ERROR). The age of a
  /// reading is not checked: a sensor that has fallen silent leaves its last one in place, and
  /// info.IPOC stands still.
  bool getFTSensorData(double* out, zel_ft_info_t& info) override;
  void getFTSensorRange(double* out) override;
  void getFTSensorInfo(zel_ft_info_t&) override;
  /// False unless connected and not streaming.
  bool setFTSensorStartSample() override;
  /// False unless connected and streaming.
  bool setFTSensorStopSample() override;
  bool zeroFTSensor() override;
  bool saveFTSensorUserSetting() override;
  bool setFTSensorLowPassFilter(std::uint8_t setting) override;
  bool setFTSensorToolTransform(double* transform) override;
  bool setFTSensorIIRFilter(bool enable) override;
  bool setFTSensorFIRFilter(bool enable) override;
  bool setFTSensorMedianFilter(std::uint8_t depth) override;
  bool setFTSensorSmoothAverFilter(std::uint8_t depth) override;
  /// The result is that of the switch; whether the parameters were taken does not count.
  bool setFTSensorKalmanFilter(bool enable, KalmanFilterPara first,
                               KalmanFilterPara second) override;
  bool setFTSensorNetIP(const char* address) override;
  bool setFTSensorNetMask(const char* mask) override;
  bool setFTSensorNetGateway(const char* address) override;
  bool setFTSensorNetPortNumber(std::uint16_t port) override;
  bool setFTSensorAlarmSignal() override;
  bool clearFTSensorAlarmSignal() override;
  bool setFTSensorAlarm(bool enable) override;
  bool getFTSensorAlarmAxis(std::uint8_t* out) override;
  bool setFTSensorAlarmNormalOpen(bool normallyOpen) override;
  bool setFTSensorAlarmThresholdValue(double* thresholds) override;

  // ---- Link and threads -----------------------------------------------------------------------

  /// Socket, local port and threads. False when one cannot be had or a link is open already; what
  /// was opened stays open until uninitialFTSensor.
  bool initSensorEtherNet_UDPIF(std::uint16_t port, const char* ip);
  /// Binary mode, stream off, identity. The stop command is sent only when the identity query has
  /// failed while data frames come in; then the query is repeated once.
  bool connect();
  void run();     ///< body of the receive thread
  void unpack();  ///< body of the unpack thread

  // Caller's thread. What they set goes with the readings until a frame comes in after it.
  void clearIPOC();
  void countIPOC();
  void setCODE(ZelInfoCode code);
  void getInfo(zel_ft_info_t& info);  ///< the present counter and status
  /// Copies the newest streamed reading, connected or not. True when it is normal, as for
  /// getFTSensorData; never before the first frame.
  bool getRawData(double* out);
  /// "buff: ", the bytes as decimal numbers, newline, to standard output.
  void PrintBuffer(const std::uint8_t* buf, int len);

  // ---- Protocol: caller's thread, while not streaming ------------------------------------------

  std::uint16_t crc16Cal(const std::uint8_t* data, int len);
  /// Writes a command packet of args_len + 10 bytes and returns its length; 0, nothing written, for
  /// a payload below 0 or above 252 bytes or a null pointer.
  int createCmdPack(std::uint8_t cmd, const std::uint8_t* args, int args_len, std::uint8_t* ret);
  /// Whether the CRC of a packet holds. Head and tail are not looked at.
  bool verifyPacket(const std::uint8_t* packet);
  /// One datagram to the sensor; what the send returned, -1 without a link.
  int sendToSensor(const std::uint8_t* buf, int len);
  /// Waits for len bytes in R_FIFO and takes them. Returns the number taken, 0 when they did not
  /// come in time. One unit of timeout is two waits of 1 ms.
  int readFromSensor(std::uint8_t* data, int len, int timeout);
  /// Sends a command and waits for the answer, whose N bytes go into ret (255 bytes). True at once
  /// when timeout_ms is 0 or ret null. The stream must be off: an answer is expected next.
  bool simpleCommunication(int cmd, std::uint8_t* ret, int timeout_ms);
  /// The same with a payload. Waits 100 units longer for the head of the answer, and also when ret
  /// is null.
  bool simpleCommunication2(int cmd, const std::uint8_t* args, int arg_len, std::uint8_t* ret,
                            int timeout_ms);
  /// Dotted IPv4 text to a 32-bit value, first number in the lowest byte. Not validated: a number
  /// above 255 spills into the next byte. 0 for null.
  unsigned long inet_addr_(const char* text);

  void changeToBinaryMode();
  /// Also loads ft_range. CODE is COMM_PORT_ERROR on failure.
  bool getDevModelInfo(DeviceModelInfo& info);
  /// Asks for one reading, straight into out.
  bool singleCapture(double* out);
  /// Always true; nothing is sent when streaming already (when not streaming, for stopSample).
  bool startSample();
  bool stopSample();
  /// Takes over the N bytes of a streamed packet. Unpack thread.
  void updatData(const std::uint8_t* data, int len);

  bool zeroReset();
  bool saveUserSetting();
  bool setLowPassFilter(std::uint8_t setting);
  /// Six values, sent in thousandths. False, nothing sent, when one is not finite.
  bool setToolTransform(const double* transform);
  bool setEnableIIRFilter(bool enable);
  bool setEnableFIRFilter(bool enable);
  bool setMedianFilterDepth(std::uint8_t depth);
  bool setSmoothAverFilterDepth(std::uint8_t depth);
  bool setKalmanFilterPara(KalmanFilterPara first, KalmanFilterPara second);
  bool setEnableKalmanFilter(bool enable);
  /// Addresses that are not four dotted numbers are not sent: CODE is COMM_IP_ERROR.
  bool setNetIP(const char* address);
  bool setNetMask(const char* mask);
  bool setNetGateway(const char* address);
  bool setNetPortNumber(std::uint16_t port);
  bool setAlarmSignal();
  bool clearAlarmSignal();
  bool setEnableAlarm(bool enable);
  /// Six bytes. CODE is COMM_PORT_ERROR on failure.
  bool getAlarmAxis(std::uint8_t* out);
  bool setEnableAlarmNormalOpen(bool normallyOpen);
  /// As setToolTransform.
  bool setAlarmThresholdValue(const double* thresholds);

 private:
  struct Reply;

  ZEL_FTC_HIDDEN bool takeLocalPort();
  ZEL_FTC_HIDDEN bool startWorkers();
  ZEL_FTC_HIDDEN void work(void (SensorEtherNet_UDP::*body)());
  ZEL_FTC_HIDDEN void callUnpackThread();
  ZEL_FTC_HIDDEN void setStreaming(bool on);
  ZEL_FTC_HIDDEN bool framesComeIn();

  ZEL_FTC_HIDDEN bool claimQueue();
  ZEL_FTC_HIDDEN bool claimQueue(int patience);
  ZEL_FTC_HIDDEN void releaseQueue();
  ZEL_FTC_HIDDEN void emptyQueue();
  ZEL_FTC_HIDDEN bool unpackStep();
  ZEL_FTC_HIDDEN int takePacket(std::uint8_t* packet);

  ZEL_FTC_HIDDEN bool post(int cmd, const std::uint8_t* args, int arg_len);
  ZEL_FTC_HIDDEN bool exchange(int cmd, const std::uint8_t* args, int arg_len, std::uint8_t* ret,
                               int headWait, int bodyWait);
  ZEL_FTC_HIDDEN zel::diag::Answer readReply(std::uint8_t* ret, int headWait, int bodyWait);
  ZEL_FTC_HIDDEN bool command(const zel::protocol::Command& row, const std::uint8_t* payload,
                              Reply& reply);
  ZEL_FTC_HIDDEN bool command(const zel::protocol::Command& row,
                              const std::uint8_t* payload = nullptr);
  ZEL_FTC_HIDDEN bool switchCommand(const zel::protocol::Command& row, bool on);
  ZEL_FTC_HIDDEN bool sixValueCommand(const zel::protocol::Command& row, const double* values);
  ZEL_FTC_HIDDEN bool addressCommand(const zel::protocol::Command& row, const char* text);
  template <typename Operation>
  bool whilePaused(Operation operation);

  ZEL_FTC_HIDDEN bool isBeyondRange(const double* values);
  ZEL_FTC_HIDDEN ZelInfoCode told(std::uint8_t status, const double* checked);
  ZEL_FTC_HIDDEN const zel::SensorFrame& newestFrame();
  ZEL_FTC_HIDDEN ZelInfoCode takeReading(double* out);

  /// R_FIFO has one reader at a time: the unpack thread for each packet, or an exchange of the
  /// caller's thread from emptying the queue to the end of the answer.
  std::atomic<bool> queueClaimed{false};

  std::atomic<int> workersPlaced{0};  ///< 1: the threads may begin
  std::atomic<int> unpackCalls{0};    ///< moves when there is something for the unpack thread
  bool unpackWaits = false;           ///< for such a call, instead of spinning; constant

  std::uint64_t framesTaken = 0;  ///< unpack thread
  /// Caller's thread: what goes with a reading of the newest frame. The frame's own counter and
  /// status, until an operation of the caller sets others.
  struct {
    std::uint64_t frame;
    std::int32_t ipoc;
    ZelInfoCode code;
  } shown = {0, 0, COMM_INIT};
};

#endif
