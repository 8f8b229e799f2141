#include "diag/codes.h"

#include <string_view>

#include "diag/text.h"
#include "ft/sensor_status.h"

namespace zel::diag {

const char* const axisNames[6] = {"Fx", "Fy", "Fz", "Mx", "My", "Mz"};
const char* const poseNames[6] = {"x", "y", "z", "a (about Z)", "b (about Y)", "c (about X)"};
const int breakBits[6] = {ZEL_BREAK_FX, ZEL_BREAK_FY, ZEL_BREAK_FZ,
                          ZEL_BREAK_MX, ZEL_BREAK_MY, ZEL_BREAK_MZ};

namespace {

constexpr int allBreakBits =
    ZEL_BREAK_FX | ZEL_BREAK_FY | ZEL_BREAK_FZ | ZEL_BREAK_MX | ZEL_BREAK_MY | ZEL_BREAK_MZ;
constexpr const char* manufacturer = "contact the manufacturer";
constexpr const char* never = "never set by this library";

#define ZEL_ROW(space, name) space, name, #name

// docs/codes.md tells the same; a test compares the two.
const CodeRow rows[] = {
    // Run results, in the order of the tests.
    {ZEL_ROW(ZEL_CODES_RUN, ZEL_RUN_BASICS_NOT_SET),
     "load data, correction limit, monitoring functions or correction monitoring has not been set; "
     "or the sensor status is not 10000 (external sensor: initialised, but no reading handed in "
     "yet)",
     "make the missing setting; look at ft_code; hand in a reading before the run", "%b"},
    {ZEL_ROW(ZEL_CODES_RUN, ZEL_RUN_CONTACT_NOT_SET),
     "the mode was not configured, or another mode was configured after it, or zel_ftc_clear was "
     "called",
     "configure the mode last", "%a"},
    {ZEL_ROW(ZEL_CODES_RUN, ZEL_RUN_TRACKING_NOT_SET),
     "the mode was not configured, or another mode was configured after it, or zel_ftc_clear was "
     "called",
     "configure the tracking mode last", "%a"},
    {ZEL_ROW(ZEL_CODES_RUN, ZEL_RUN_MESSY_MOVE),
     "a run of the other kind (line or arc) had not ended",
     "call again: this very failure has ended the old run, the next call starts the new one. "
     "zel_ftc_clear does it as well, but the mode must then be configured again",
     "%a"},
    {ZEL_ROW(ZEL_CODES_RUN, ZEL_RUN_SENSOR_TIMEOUT),
     "20 calls in a row without a new sample, however fast they follow each other (the first cycle "
     "of a run does not count); assembly: only while the sample counter stands at 0",
     "leave missed calls out instead of making them in a burst; external: hand in a reading every "
     "cycle, do not read with zel_ftc_getSensorData in between; network: sensor, cable, load of "
     "the machine. The run goes on where it was once samples come again: zel_ftc_clear if it must "
     "not",
     "%a are %v, %m"},
    {ZEL_ROW(ZEL_CODES_RUN, ZEL_RUN_SENSOR_OVERLOAD),
     "a raw component is above the permitted load of zel_ftc_setSensorConfig; or that was never "
     "called (permitted load zero: any reading but exactly zero)",
     "take the load off; set the sensor configuration", "the raw %a is %v, %m"},
    {ZEL_ROW(ZEL_CODES_RUN, ZEL_RUN_OVER_MONITORING),
     "a compensated component is above zel_ftc_setMonitoringFunctions",
     "collision, or a limit too low, or load data, zero or mounting wrong: compare "
     "zel_ftc_getSensorData in free air with zero",
     "the compensated %a is %v, %m"},
    {ZEL_ROW(ZEL_CODES_RUN, ZEL_RUN_OVER_CORRECTION),
     "the robot is farther from the start pose of the run than zel_ftc_setCorrectionMonitoring "
     "allows (mm or rad). Assembly: only in its first cycle after an approach that had not ended; "
     "otherwise its start pose follows the robot",
     "no contact found: check the start pose and the sign of the set force; rotated mounting in "
     "RCS_TOOL keeps turning; raise the limit",
     "%a is %v, %m"},
    {ZEL_ROW(ZEL_CODES_RUN, ZEL_RUN_TIMEOUT),
     "more wall-clock time since the start of the run than the time-out of the approach mode. "
     "Assembly: only in its first cycle after an approach that had not ended",
     "not settled: break range below the noise, gain too low or too high; clock stepped",
     "%a is %v, %m"},
    {ZEL_ROW(ZEL_CODES_RUN, ZEL_RUN_RUNNING), "a normal cycle; the only one with return value 1",
     "command out_pos; not that of an assembly run", ""},
    {ZEL_ROW(ZEL_CODES_RUN, ZEL_RUN_END),
     "approach and assembly: force settled for 20 cycles and minimum path covered. Line and arc: "
     "end of the path",
     "a normal end", "%a"},
    {ZEL_ROW(ZEL_CODES_RUN, ZEL_RUN_BREAK), "sudden force change beyond breakConditionRange",
     "a normal end as far as the library goes: look at the tripped axes",
     "sudden change of %x: %a is %v, %m"},

    // Sensor and link status.
    {ZEL_ROW(ZEL_CODES_SENSOR, FT_N0RMAL),
     "external: a reading was handed in. Wire: status 0, all values in range", "", ""},
    {ZEL_ROW(ZEL_CODES_SENSOR, ETHERNET_NO_SENSOR_ERROR), never, "wiring of the sensor", ""},
    {ZEL_ROW(ZEL_CODES_SENSOR, FT_GET_MATRIX_ERROR), never, manufacturer, ""},
    {ZEL_ROW(ZEL_CODES_SENSOR, FT_TEMP_COF_ERROR), never, manufacturer, ""},
    {ZEL_ROW(ZEL_CODES_SENSOR, FT_ADC_GAIN_ERROR), never, manufacturer, ""},
    {ZEL_ROW(ZEL_CODES_SENSOR, FT_ADC_NUM_ERROR), never, manufacturer, ""},
    {ZEL_ROW(ZEL_CODES_SENSOR, FT_ZERO_RESET_ERROR), never, manufacturer, ""},
    {ZEL_ROW(ZEL_CODES_SENSOR, FT_SET_DAC_ERROR), never, manufacturer, ""},
    {ZEL_ROW(ZEL_CODES_SENSOR, FT_NULL_MATRIX_ERROR), never, manufacturer, ""},
    {ZEL_ROW(ZEL_CODES_SENSOR, FT_DATA_ERROR), "wire: status 255",
     "stop; the reading is not to be trusted", ""},
    {ZEL_ROW(ZEL_CODES_SENSOR, FT_ATTITUDE_SENSOR_INIT_ERROR), never, "", ""},
    {ZEL_ROW(ZEL_CODES_SENSOR, FT_ATTITUDE_SENSOR_DATA_ERROR), never, "", ""},
    {ZEL_ROW(ZEL_CODES_SENSOR, FT_OVERLOAD_ERROR),
     "wire: status 254, or a value beyond the range of the sensor's model",
     "take the load off; the status returns to 10000 with the next normal frame", ""},
    {ZEL_ROW(ZEL_CODES_SENSOR, FT_NO_REFERENCE_VOLTAGE_ERROR), never, manufacturer, ""},
    {ZEL_ROW(ZEL_CODES_SENSOR, FT_NO_CROSSTALK_MATRIX_ERROR), never, manufacturer, ""},
    {ZEL_ROW(ZEL_CODES_SENSOR, COMM_N0RMAL), never, "", ""},
    {ZEL_ROW(ZEL_CODES_SENSOR, COMM_CLOSE), never, "", ""},
    {ZEL_ROW(ZEL_CODES_SENSOR, COMM_INIT),
     "initialising, until the first reading or frame; also initialising again",
     "hand in a reading; wait for a frame", ""},
    {ZEL_ROW(ZEL_CODES_SENSOR, COMM_IP_ERROR), "network: address null or not four dotted numbers",
     "correct the address", ""},
    {ZEL_ROW(ZEL_CODES_SENSOR, COMM_PORT_ERROR),
     "network: local port 52000 is taken; no socket to be had (then \"1: error_code=\" is printed "
     "as well); no answer to the identity query (after 1.5 s, on a busy machine up to 5 s); no "
     "answer to the alarm axis query",
     "end the other process; free file descriptors; sensor on, address and port right, same "
     "network. Initialising can be tried again at once",
     ""},
    {ZEL_ROW(ZEL_CODES_SENSOR, COMM_TIMEOUT_ERROR),
     "never set by this library (a silent sensor shows as 10001 of the runs)", "", ""},
    {ZEL_ROW(ZEL_CODES_SENSOR, COMM_CMDRETURN_ERROR),
     "network: a command was not answered, or answered wrongly",
     "repeat the command; the status returns to 10000 with the next normal frame", ""},
    {ZEL_ROW(ZEL_CODES_SENSOR, COMM_THREAD_OPEN_ERROR),
     "network: the system refused a thread, or the core or priority that zel_ftc_setWorkers asked "
     "for",
     "zel_ftc_getWorkerFaultText tells which and what it needs", ""},

    // Kinds of refusal.
    {ZEL_ROW(ZEL_CODES_REASON, ZEL_REASON_NONE), "nothing has been refused", "", ""},
    {ZEL_ROW(ZEL_CODES_REASON, ZEL_REASON_NOT_OPEN),
     "zel_ftc_open has not been called, or zel_ftc_close has", "call zel_ftc_open first",
     "the library is not open"},
    {ZEL_ROW(ZEL_CODES_REASON, ZEL_REASON_ALREADY_OPEN), "zel_ftc_open was called twice",
     "call zel_ftc_close first when the kind of sensor shall change",
     "the library is open already, with the %d sensor"},
    {ZEL_ROW(ZEL_CODES_REASON, ZEL_REASON_OUT_OF_MEMORY), "the system gave no memory",
     "limits of the process", "out of memory"},
    {ZEL_ROW(ZEL_CODES_REASON, ZEL_REASON_NULL_POINTER), "an array or record is missing",
     "hand in what the header names: an array of six doubles (or three), a record, a text",
     "%a is a null pointer"},
    {ZEL_ROW(ZEL_CODES_REASON, ZEL_REASON_OUT_OF_RANGE),
     "a value is outside of what the function accepts", "correct the value", "%a is %v, %m"},
    {ZEL_ROW(ZEL_CODES_REASON, ZEL_REASON_NOT_FINITE), "a value is not a number or infinite",
     "find out where it comes from: 0/0, an unset variable, a failed conversion", "%a is %v, %m"},
    {ZEL_ROW(ZEL_CODES_REASON, ZEL_REASON_WRONG_ORDER), "something else has to be done first",
     "call what is named, then this again", "%a"},
    {ZEL_ROW(ZEL_CODES_REASON, ZEL_REASON_SAMPLE_USED),
     "no new sample since the last run, zero or zel_ftc_getSensorData",
     "external sensor: hand in a reading right before; network: the sensor must stream at 100 Hz "
     "or faster",
     "sample %v has been used before and no new one has come"},
    {ZEL_ROW(ZEL_CODES_REASON, ZEL_REASON_NOTHING_RECORDED),
     "no calibration sample is recorded, and no load was set before",
     "record three to ten poses first", "no sample is recorded and no load is set"},
    {ZEL_ROW(ZEL_CODES_REASON, ZEL_REASON_LIST_FULL), "ten samples are recorded",
     "identify, or start over with zel_ftc_initCalibrationLoadData", "%a would be %v, %m"},
    {ZEL_ROW(ZEL_CODES_REASON, ZEL_REASON_IMPLAUSIBLE_LOAD),
     "the identified centre of mass lies too far out; no load counts as set any more",
     "record poses with clearly different orientations, sensor readings in sensor axes, N and N m",
     "the identified %a is %v, %m"},
    {ZEL_ROW(ZEL_CODES_REASON, ZEL_REASON_NOT_CONNECTED),
     "the sensor is not initialised, or initialising has failed",
     "call zel_ftc_initialFTSensor and look at its result", "the sensor is not initialised"},
    {ZEL_ROW(ZEL_CODES_REASON, ZEL_REASON_BAD_ADDRESS), "the address is not four dotted numbers",
     "hand in an address like 192.168.1.20", "%a \"%d\" is not four dotted numbers"},
    {ZEL_ROW(ZEL_CODES_REASON, ZEL_REASON_PORT_TAKEN),
     "another program, or another sensor of this one, holds the local port",
     "end the other program", "the local UDP port %v cannot be had: %e"},
    {ZEL_ROW(ZEL_CODES_REASON, ZEL_REASON_NO_SOCKET), "the system gave no socket",
     "free file descriptors, limits of the process", "no UDP socket is to be had: %e"},
    {ZEL_ROW(ZEL_CODES_REASON, ZEL_REASON_NO_THREAD),
     "the system refused a worker thread, its core, policy or priority",
     "limits and rights of the process; see zel_ftc_getWorkerFaultText",
     "the %d thread cannot be had: %e"},
    {ZEL_ROW(ZEL_CODES_REASON, ZEL_REASON_NO_ANSWER), "the sensor did not answer a command in time",
     "sensor on, address and port right, same network, cable", "no answer to %d within %v"},
    {ZEL_ROW(ZEL_CODES_REASON, ZEL_REASON_BAD_ANSWER),
     "the answer of the sensor was not a good one",
     "repeat; if it stays, look at the network and at the device behind the address",
     "the answer to %d %a"},
    {ZEL_ROW(ZEL_CODES_REASON, ZEL_REASON_SENSOR_NOT_NORMAL), "the sensor status is not 10000",
     "see the sensor status", "the sensor status is %c: %t"},
    {ZEL_ROW(ZEL_CODES_REASON, ZEL_REASON_RUN_FAILED), "a run ended with a failure",
     "see the run result", "ended with %c: %s"},
    {ZEL_ROW(ZEL_CODES_REASON, ZEL_REASON_RUN_ENDED), "a run came to its normal end",
     "nothing: the run is over", "ended with %c: %s"},
    {ZEL_ROW(ZEL_CODES_REASON, ZEL_REASON_HANDED_IN), "the caller handed in false",
     "nothing: the result is the caller's own", "isok is false"},
    {ZEL_ROW(ZEL_CODES_REASON, ZEL_REASON_INTERNAL), "an unexpected exception was caught",
     "report it", "an unexpected exception was caught"},
};

#undef ZEL_ROW

const char* systemText(const CodeRow& row) {
  if (row.space == ZEL_CODES_SENSOR) {
    // Every text is a literal: terminated.
    return statusText(static_cast<ZelInfoCode>(row.code), SensorKind::network).data();
  }
  if (row.space != ZEL_CODES_RUN) return "";
  switch (row.code) {
#define ZEL_RUN_TEXT(name, value, text) \
  case value:                           \
    return text;
    ZEL_RUN_RESULTS(ZEL_RUN_TEXT)
#undef ZEL_RUN_TEXT
    default:
      return "";
  }
}

void fill(zel_ftc_code_info& info, const CodeRow& row, std::int32_t code) {
  info = {code, row.name, systemText(row), row.cause, row.remedy, {}};
  if (row.space == ZEL_CODES_RUN && isBreakCode(code)) {
    writeAxes(static_cast<std::uint32_t>(code - ZEL_RUN_BREAK), info.axes);
  }
}

}  // namespace

bool isBreakCode(std::int32_t code) {
  const std::int32_t bits = code - ZEL_RUN_BREAK;
  return bits >= 0 && (bits & ~allBreakBits) == 0;
}

const CodeRow* findCode(ZelCodeSpace space, std::int32_t code) {
  if (space == ZEL_CODES_RUN && isBreakCode(code)) code = ZEL_RUN_BREAK;
  for (const CodeRow& row : rows) {
    if (row.space == space && row.code == code) return &row;
  }
  return nullptr;
}

void writeAxes(std::uint32_t bits, char (&axes)[24]) {
  Text text(axes, sizeof axes);
  const char* separator = "";
  for (int i = 0; i < 6; ++i) {
    if ((bits & static_cast<std::uint32_t>(breakBits[i])) == 0) continue;
    text << separator << axisNames[i];
    separator = ", ";
  }
}

const char* unitOfAxis(int axis) {
  return axis < 3 ? "N" : "N m";
}

}  // namespace zel::diag

using zel::diag::CodeRow;

int zel_ftc_explainCode(ZelCodeSpace space, int32_t code, zel_ftc_code_info* info) {
  const CodeRow* const row = zel::diag::findCode(space, code);
  if (info == nullptr || row == nullptr) return 0;
  zel::diag::fill(*info, *row, code);
  return 1;
}

int zel_ftc_listCodes(ZelCodeSpace space, int32_t index, zel_ftc_code_info* info) {
  if (info == nullptr || index < 0) return 0;
  for (const CodeRow& row : zel::diag::rows) {
    if (row.space != space || index-- > 0) continue;
    zel::diag::fill(*info, row, row.code);
    return 1;
  }
  return 0;
}
