#include "diag/reasons.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "diag/codes.h"
#include "diag/library.h"
#include "diag/linkmonitor.h"
#include "diag/text.h"
#include "ft/ZelForceSensorEtherNetUDP.h"
#include "ft/ZelForceSensorExternal.h"
#include "ft/sensor_protocol.h"
#include "matrix/length3.h"
#include "matrix/loadmodel.h"
#include "robot/limits.h"
#include "zel_ftc_workers.h"

namespace zel::diag {

namespace {

/// One per process, like the rest of the library's state.
zel_ftc_reason last = because(ZEL_REASON_NONE);

// ---- runs -------------------------------------------------------------------------------------

void state(zel_ftc_reason& reason, const char* argument, double value, Must must,
           const char* unit) {
  reason.argument = argument;
  reason.value = value;
  reason.relation = must.relation;
  reason.limit = must.limit;
  reason.upper_limit = must.upper;
  reason.unit = unit;
}

/// The first axis beyond its limit, compared as the tool does.
void stateExceeded(zel_ftc_reason& reason, const RVector& wrench, const double* limits) {
  for (int i = 0; i < 6; ++i) {
    const double magnitude = std::fabs(wrench.value[i]);
    if (!(magnitude > limits[i])) continue;
    return state(reason, axisNames[i], magnitude, {ZEL_MUST_BE_AT_MOST, limits[i]}, unitOfAxis(i));
  }
}

/// Metres shown as millimetres; the conversion must not make a value that is above its limit equal
/// to it.
void stateExceededPath(zel_ftc_reason& reason, double path, double limit) {
  const double shownLimit = 1000.0 * limit;
  const double shown =
      std::max(1000.0 * path, std::nextafter(shownLimit, std::numeric_limits<double>::infinity()));
  state(reason, "the way from the start pose", shown, {ZEL_MUST_BE_AT_MOST, shownLimit}, "mm");
}

const char* configuredInstead(const ZelFTCTool& tool) {
  if (tool.isSetApproach) return "the approach mode is configured, not this one";
  if (tool.isSetAssembly) return "the assembly mode is configured, not this one";
  if (tool.isSetTrackingMotion) return "the tracking mode is configured, not this one";
  return "no mode is configured";
}

void stateBreak(zel_ftc_reason& reason, const ZelFTCTool& tool) {
  static constexpr const char* changes[6] = {
      "8 times the change of Fx", "8 times the change of Fy", "8 times the change of Fz",
      "8 times the change of Mx", "8 times the change of My", "8 times the change of Mz"};
  reason.bits = static_cast<std::uint32_t>(reason.code - ZEL_RUN_BREAK);
  for (int i = 0; i < 6; ++i) {
    if ((reason.bits & static_cast<std::uint32_t>(breakBits[i])) == 0) continue;
    const double range = std::fabs(tool.trackingMotionConfig.breakConditionRange[i]);
    return state(reason, changes[i], tool.ft_diff_2.value[i], {ZEL_MUST_BE_AT_MOST, range},
                 unitOfAxis(i));
  }
}

// ---- sensor -----------------------------------------------------------------------------------

void write(char (&detail)[32], std::string_view what) {
  Text(detail, sizeof detail) << what;
}

zel_ftc_reason linkFailed(const LinkFault& fault) {
  static constexpr const char* answers[] = {"",
                                            "did not come",
                                            "came in part only",
                                            "is no packet of the protocol",
                                            "has a wrong checksum",
                                            "belongs to another command"};
  zel_ftc_reason reason = because(fault.kind, answers[static_cast<int>(fault.answer)]);
  reason.system_error = fault.error;
  if (fault.kind == ZEL_REASON_PORT_TAKEN) reason.value = protocol::localPort;
  if (const protocol::Command* const command = protocol::findCommand(fault.command)) {
    write(reason.detail, command->name);
    reason.value = fault.waited;
    reason.unit = "ms";
  }
  return reason;
}

// ---- sentences --------------------------------------------------------------------------------

void writeMust(Text& text, const zel_ftc_reason& reason, int digits) {
  const auto amount = [&](double value) -> Text& { return text.number(value, digits); };
  text << "must ";
  switch (reason.relation) {
    case ZEL_MUST_BE_AT_MOST:
      text << "be at most ";
      amount(reason.limit);
      break;
    case ZEL_MUST_BE_AT_LEAST:
      if (reason.limit == 0.0) {
        text << "not be negative";
        return;
      }
      text << "be at least ";
      amount(reason.limit);
      break;
    case ZEL_MUST_BE_FROM_TO:
      text << "be from ";
      amount(reason.limit) << " to ";
      amount(reason.upper_limit);
      break;
    case ZEL_MUST_BE_BETWEEN:
      text << "be above ";
      amount(reason.limit) << " and below ";
      amount(reason.upper_limit);
      break;
    case ZEL_MUST_BE_ONE_OF:
      text << "be ";
      amount(reason.limit) << " or ";
      amount(reason.upper_limit);
      break;
    default:
      text << "be finite";
      return;
  }
  if (*reason.unit != '\0') text << " " << reason.unit;
}

void writeMissing(Text& text, const zel_ftc_reason& reason) {
  const std::uint32_t settings =
      reason.bits & ~static_cast<std::uint32_t>(ZEL_MISSING_NORMAL_SENSOR);
  if (reason.bits != settings) {
    text << "the sensor status is ";
    text.number(reason.value, 17) << " instead of 10000" << (settings != 0 ? "; " : "");
  }
  if (settings != 0) writeMissingSettings(text, settings);
}

/// Letters of a sentence: a argument, v value, m what it must be, c code, t text of the sensor
/// status, s sentence of the run result, d detail, e error of the system, b what is missing, x
/// tripped axes.
void writeSentence(Text& text, const char* sentence, const zel_ftc_reason& reason) {
  const int digits = std::max(digitsToTellApart(reason.value, reason.limit),
                              digitsToTellApart(reason.value, reason.upper_limit));
  compose(text, sentence, [&](char letter) {
    switch (letter) {
      case 'a':
        text << reason.argument;
        if (reason.element >= 0) text << "[" << reason.element << "]";
        break;
      case 'v':
        text.number(reason.value, digits);
        if (*reason.unit != '\0') text << " " << reason.unit;
        break;
      case 'm':
        writeMust(text, reason, digits);
        break;
      case 'c':
        text << reason.code;
        break;
      case 't': {
        zel_ftc_code_info info;
        if (zel_ftc_explainCode(ZEL_CODES_SENSOR, reason.code, &info)) text << info.text;
        break;
      }
      case 's':
        if (const CodeRow* row = findCode(ZEL_CODES_RUN, reason.code)) {
          writeSentence(text, row->sentence, reason);
        }
        break;
      case 'd':
        text << reason.detail;
        break;
      case 'e': {
        const char* const description = strerrordesc_np(reason.system_error);
        text << (description != nullptr ? description : "unknown error");
        break;
      }
      case 'b':
        writeMissing(text, reason);
        break;
      default: {  // 'x'
        char axes[24];
        writeAxes(reason.bits, axes);
        text << axes;
        break;
      }
    }
  });
}

bool isAboutRun(const zel_ftc_reason& reason) {
  return reason.kind == ZEL_REASON_RUN_FAILED || reason.kind == ZEL_REASON_RUN_ENDED;
}

/// What an end of a run stands for.
const char* endOf(const ZelFTCTool& tool, ZelRunKind run) {
  if (run == ZEL_LINE_RUN || run == ZEL_ARC_RUN) return "the path is done";
  const double* const F = tool.rcs_ft_data.value;
  if (std::any_of(F, F + 6, [](double value) { return std::isnan(value); })) {
    return "a force that is not a number counts as settled";
  }
  if (run == ZEL_APPROACH_RUN && tool.ApproachMode == 0) {
    return "every monitored force is within its range, without contact";
  }
  return "the force has settled and the minimum path is covered";
}

}  // namespace

std::uint32_t missingSettings(const ZelFTCTool& tool) {
  std::uint32_t bits = 0;
  if (!tool.isSetLoadData) bits |= ZEL_MISSING_LOAD;
  if (!tool.isSetCorrectionLimit) bits |= ZEL_MISSING_CORRECTION_LIMIT;
  if (!tool.isSetMonitoringFunctions) bits |= ZEL_MISSING_MONITORING;
  if (!tool.isSetCorrectionMonitoring) bits |= ZEL_MISSING_CORRECTION_MONITORING;
  return bits;
}

void writeMissingSettings(Text& text, std::uint32_t bits) {
  static constexpr struct {
    ZelMissing bit;
    const char* what;
  } settings[] = {{ZEL_MISSING_LOAD, "the load data"},
                  {ZEL_MISSING_CORRECTION_LIMIT, "the correction limit"},
                  {ZEL_MISSING_MONITORING, "the monitoring functions"},
                  {ZEL_MISSING_CORRECTION_MONITORING, "the correction monitoring"}};
  const char* separator = "";
  for (const auto& [bit, what] : settings) {
    if ((bits & bit) == 0) continue;
    text << separator << what;
    separator = ", ";
  }
  text << " not set";
}

zel_ftc_reason because(ZelReasonKind kind, const char* argument) {
  zel_ftc_reason reason = {};
  reason.kind = kind;
  reason.function = "";
  reason.argument = argument;
  reason.element = -1;
  reason.unit = "";
  return reason;
}

zel_ftc_reason unfit(const char* argument, double value, Must must, const char* unit) {
  zel_ftc_reason reason =
      because(std::isfinite(value) ? ZEL_REASON_OUT_OF_RANGE : ZEL_REASON_NOT_FINITE);
  state(reason, argument, value, must, unit);
  return reason;
}

zel_ftc_reason sensorRefused(const char* ip) {
  const LinkFault& fault = linkMonitor.fault();
  if (!zel_is_external && fault.kind != ZEL_REASON_NONE) return linkFailed(fault);

  const bool connected = zel_is_external ? static_cast<SensorExternal&>(sensor()).bConnect
                                         : static_cast<SensorEtherNet_UDP&>(sensor()).bConnect;
  if (connected) {
    zel_ftc_reason reason = because(ZEL_REASON_SENSOR_NOT_NORMAL);
    reason.code = zel_info_.code;
    return reason;
  }
  const int status = zel_is_external ? 0 : static_cast<SensorEtherNet_UDP&>(sensor()).CODE.load();
  zel_ftc_worker_fault worker;
  if (status == COMM_IP_ERROR && ip != nullptr) {
    zel_ftc_reason reason = because(ZEL_REASON_BAD_ADDRESS, "ip");
    write(reason.detail, ip);
    return reason;
  }
  if (status == COMM_THREAD_OPEN_ERROR && zel_ftc_getWorkerFault(&worker) == 1) {
    zel_ftc_reason reason = because(ZEL_REASON_NO_THREAD);
    write(reason.detail, worker.worker == ZEL_WORKER_RECEIVE ? "receive" : "unpack");
    reason.system_error = worker.error;
    return reason;
  }
  return because(ZEL_REASON_NOT_CONNECTED);
}

zel_ftc_reason runEnded(const ZelFTCTool& tool, ZelRunKind run, std::int32_t code) {
  zel_ftc_reason reason =
      because(code >= ZEL_RUN_END ? ZEL_REASON_RUN_ENDED : ZEL_REASON_RUN_FAILED);
  reason.code = code;
  switch (code) {
    case ZEL_RUN_BASICS_NOT_SET:
      reason.bits = missingSettings(tool);
      if (zel_info_.code != FT_N0RMAL) reason.bits |= ZEL_MISSING_NORMAL_SENSOR;
      reason.value = zel_info_.code;
      break;
    case ZEL_RUN_CONTACT_NOT_SET:
    case ZEL_RUN_TRACKING_NOT_SET:
      reason.argument = configuredInstead(tool);
      break;
    case ZEL_RUN_MESSY_MOVE:
      reason.argument =
          run == ZEL_LINE_RUN ? "an arc run has not ended" : "a line run has not ended";
      break;
    case ZEL_RUN_SENSOR_TIMEOUT:
      state(reason, "cycles without a new sample", limits::historyLength,
            {ZEL_MUST_BE_AT_MOST, limits::historyLength - 1}, "");
      break;
    case ZEL_RUN_SENSOR_OVERLOAD:
      stateExceeded(reason, tool.ft_data_raw, tool.FTconfig.MaxLoad);
      break;
    case ZEL_RUN_OVER_MONITORING:
      stateExceeded(reason, tool.rcs_ft_data, tool.monitoringFunctions.MaxPermissibleLoad);
      break;
    case ZEL_RUN_OVER_CORRECTION: {
      const double* const offset = tool.ftc_path_offset.value;
      const double path = length3(offset);
      const double angle = length3(offset + 3);
      const auto& [pathLimit, angleLimit] = tool.correctionMonitoring;
      if (path > pathLimit) {
        stateExceededPath(reason, path, pathLimit);
      } else {
        state(reason, "the angle from the start pose", angle, {ZEL_MUST_BE_AT_MOST, angleLimit},
              "rad");
      }
      break;
    }
    case ZEL_RUN_TIMEOUT:
      state(reason, "the time since the start", zel_end_timer_clock(MILLISEC, tool.time_start),
            {ZEL_MUST_BE_AT_MOST, static_cast<double>(tool.approachConfig.timeOut)}, "ms");
      break;
    case ZEL_RUN_END:
      reason.argument = endOf(tool, run);
      break;
    default:
      stateBreak(reason, tool);
      break;
  }
  return reason;
}

zel_ftc_reason listFull() {
  zel_ftc_reason reason = because(ZEL_REASON_LIST_FULL);
  state(reason, "the recorded samples", limits::calibrationSamples + 1,
        {ZEL_MUST_BE_AT_MOST, limits::calibrationSamples}, "");
  return reason;
}

zel_ftc_reason calibrationFailed(const ZelFTCTool& tool) {
  const auto& data = tool.gravityCalibrationData;
  if (data.size == 0) return because(ZEL_REASON_NOTHING_RECORDED);
  // The tool has dropped the implausible centre of mass: identify it once more.
  const LoadFit fit = fitLoad(data.FTData, data.PoseData, data.size, MomentModel::forceCrossArm);
  const int axis = fit.arm[0] > limits::largestArm ? 0 : 1;
  zel_ftc_reason reason = because(ZEL_REASON_IMPLAUSIBLE_LOAD);
  state(reason, axis == 0 ? "lx" : "ly", 1000.0 * fit.arm[axis],
        {ZEL_MUST_BE_AT_MOST, 1000.0 * limits::largestArm}, "mm");
  return reason;
}

zel_ftc_reason sampleUsed() {
  zel_ftc_reason reason = because(ZEL_REASON_SAMPLE_USED);
  reason.value = zel_info_.IPOC;
  return reason;
}

int refuse(const char* function, int result, const zel_ftc_reason& reason) {
  const std::uint64_t number = last.number + 1;
  last = reason;
  last.number = number;
  last.function = function;
  last.result = result;
  return result;
}

}  // namespace zel::diag

using zel::diag::Text;

int zel_ftc_lastReason(zel_ftc_reason* reason) {
  if (reason == nullptr || zel::diag::last.number == 0) return 0;
  *reason = zel::diag::last;
  return 1;
}

size_t zel_ftc_reasonText(const zel_ftc_reason* reason, char* text, size_t capacity) {
  const zel_ftc_reason& r = reason != nullptr ? *reason : zel::diag::last;
  Text out(text, capacity);
  if (r.kind == ZEL_REASON_NONE) {
    out << "nothing has been refused";
  } else if (const auto* row = zel::diag::findCode(ZEL_CODES_REASON, r.kind)) {
    out << r.function << (zel::diag::isAboutRun(r) ? " " : ": ");
    zel::diag::writeSentence(out, row->sentence, r);
  }
  return out.length();
}

size_t zel_ftc_reasonRemedy(const zel_ftc_reason* reason, char* text, size_t capacity) {
  const zel_ftc_reason& r = reason != nullptr ? *reason : zel::diag::last;
  Text out(text, capacity);
  // What is refused for another code is mended as that code says.
  const ZelCodeSpace space = zel::diag::isAboutRun(r)                 ? ZEL_CODES_RUN
                             : r.kind == ZEL_REASON_SENSOR_NOT_NORMAL ? ZEL_CODES_SENSOR
                                                                      : ZEL_CODES_REASON;
  if (const auto* row = zel::diag::findCode(space, space == ZEL_CODES_REASON ? r.kind : r.code)) {
    out << row->remedy;
  }
  return out.length();
}
