// The enumerations of the flat headers, as classes of Python's enum.IntEnum, and their members as
// names of the module.
#include <pybind11/stl.h>

#include <cstdint>
#include <utility>
#include <vector>

#include "python/convert.h"

namespace zel::python {
namespace {

using Members = std::vector<std::pair<const char*, int>>;

void add(py::module_& module, const char* name, const char* doc, const Members& members) {
  const py::object type = py::module_::import("enum").attr("IntEnum")(
      name, members, py::arg("module") = module.attr("__name__"));
  type.doc() = doc;
  module.attr(name) = type;
  for (const auto& [key, value] : members) module.attr(key) = type.attr(key);
}

/// The codes that the library explains.
Members codes(ZelCodeSpace space) {
  Members members;
  zel_ftc_code_info info;
  for (std::int32_t i = 0; zel_ftc_listCodes(space, i, &info) == 1; ++i) {
    members.emplace_back(info.name, info.code);
  }
  return members;
}

}  // namespace

py::object member(const char* enumeration, int value) {
  const py::object type = py::module_::import("zel_ftc._flat").attr(enumeration);
  try {
    return type(value);
  } catch (const py::error_already_set&) {
    return py::int_(value);
  }
}

bool isNumber(py::handle source, int& value) {
  py::detail::make_caster<int> number;
  if (!PyLong_Check(source.ptr()) || !number.load(source, false)) return false;
  value = number;
  return true;
}

#define M(name) \
  { #name, name }

void addEnumerations(py::module_& module) {
  add(module, "ZelRcs", "The frame in which a mode works.",
      {M(RCS_WORLD), M(RCS_BASE), M(RCS_TOOL), M(RCS_SENSOR)});
  add(module, "ZelDirection", "The main axis of a mode; also the index into a wrench.",
      {M(FT_FX), M(FT_FY), M(FT_FZ), M(FT_MX), M(FT_MY), M(FT_MZ)});
  add(module, "ZelMinValueName", "value_name of zel_set_minValue.",
      {M(ZEL_MIN_PATH), M(ZEL_MIN_PATH_FORCE)});
  add(module, "ZelRunCode",
      "Results of a run. Codes from ZEL_RUN_END on are a normal end; ZEL_RUN_BREAK comes with the "
      "bits of the tripped axes (ZelBreakBit) added.",
      codes(ZEL_CODES_RUN));
  add(module, "ZelBreakBit", "Bits added to ZEL_RUN_BREAK, one per tripped axis.",
      {M(ZEL_BREAK_FX), M(ZEL_BREAK_FY), M(ZEL_BREAK_FZ), M(ZEL_BREAK_MX), M(ZEL_BREAK_MY),
       M(ZEL_BREAK_MZ)});
  add(module, "ZelInfoCode", "Status of the sensor and of its link.", codes(ZEL_CODES_SENSOR));

  add(module, "ZelReasonKind", "Why something was refused.", codes(ZEL_CODES_REASON));
  add(module, "ZelRelation", "What a value had to be, compared with limit and upper_limit.",
      {M(ZEL_MUST_NONE), M(ZEL_MUST_BE_AT_MOST), M(ZEL_MUST_BE_AT_LEAST), M(ZEL_MUST_BE_FROM_TO),
       M(ZEL_MUST_BE_BETWEEN), M(ZEL_MUST_BE_ONE_OF)});
  add(module, "ZelMissing", "Bits of zel_ftc_reason.bits for run result 11002: what is missing.",
      {M(ZEL_MISSING_NORMAL_SENSOR), M(ZEL_MISSING_LOAD), M(ZEL_MISSING_CORRECTION_LIMIT),
       M(ZEL_MISSING_MONITORING), M(ZEL_MISSING_CORRECTION_MONITORING)});
  add(module, "ZelCodeSpace", "The three sets of codes.",
      {M(ZEL_CODES_RUN), M(ZEL_CODES_SENSOR), M(ZEL_CODES_REASON)});
  add(module, "ZelRunKind", "The runs.",
      {M(ZEL_NO_RUN), M(ZEL_APPROACH_RUN), M(ZEL_ASSEMBLY_RUN), M(ZEL_LINE_RUN), M(ZEL_ARC_RUN)});
  add(module, "ZelWhyKind", "Why a run does not end, or the robot does not move.",
      {M(ZEL_WHY_NOT_RUNNING), M(ZEL_WHY_SEARCHING), M(ZEL_WHY_BLIND_FRAME), M(ZEL_WHY_OUT_OF_BAND),
       M(ZEL_WHY_SETTLING), M(ZEL_WHY_MINIMUM_PATH), M(ZEL_WHY_START_FOLLOWS),
       M(ZEL_WHY_ON_THE_PATH), M(ZEL_WHY_PATH_WITHOUT_END), M(ZEL_WHY_STALLED),
       M(ZEL_WHY_ASSEMBLY_HOLDS), M(ZEL_WHY_NO_GAIN), M(ZEL_WHY_BALANCED), M(ZEL_WHY_NO_SPEED),
       M(ZEL_WHY_BOX), M(ZEL_WHY_NOT_A_NUMBER), M(ZEL_WHY_GUARD_HOLDS), M(ZEL_WHY_NO_READING)});

  add(module, "ZelSeverity", "How grave a finding of the configuration check is.",
      {M(ZEL_FINDING_RIGHT), M(ZEL_FINDING_NOT_CHECKED), M(ZEL_FINDING_NOTE),
       M(ZEL_FINDING_WARNING), M(ZEL_FINDING_ERROR)});
  add(module, "ZelCheck", "What the configuration check looks at.",
      {M(ZEL_CHECK_SETTINGS),     M(ZEL_CHECK_SENSOR),
       M(ZEL_CHECK_FINITE),       M(ZEL_CHECK_PERMITTED_LOAD),
       M(ZEL_CHECK_LOAD),         M(ZEL_CHECK_ZERO),
       M(ZEL_CHECK_UNITS),        M(ZEL_CHECK_PERIOD),
       M(ZEL_CHECK_FRAME),        M(ZEL_CHECK_MOUNTING),
       M(ZEL_CHECK_SET_FORCE),    M(ZEL_CHECK_GAINS),
       M(ZEL_CHECK_STABILITY),    M(ZEL_CHECK_SPEED),
       M(ZEL_CHECK_MONITORING),   M(ZEL_CHECK_SWITCHING),
       M(ZEL_CHECK_BREAK_RANGE),  M(ZEL_CHECK_DEAD_BAND),
       M(ZEL_CHECK_BOX),          M(ZEL_CHECK_CORRECTION),
       M(ZEL_CHECK_MINIMUM_PATH), M(ZEL_CHECK_TIME_OUT),
       M(ZEL_CHECK_ASSEMBLY),     M(ZEL_CHECK_PHASE),
       M(ZEL_CHECK_PATH),         M(ZEL_CHECK_TURN),
       M(ZEL_CHECK_STEPS),        M(ZEL_CHECK_BREAK_TEST),
       M(ZEL_CHECK_STALL),        M(ZEL_CHECK_GUARD)});

#define ZEL_PYTHON_LIMIT(name, unit, what) M(name),
  add(module, "ZelGuardLimit", "What the guard limits.", {ZEL_GUARD_LIMITS(ZEL_PYTHON_LIMIT)});
#undef ZEL_PYTHON_LIMIT
  add(module, "ZelGuardAction", "What happens when a limit of the guard is exceeded.",
      {M(ZEL_GUARD_OFF), M(ZEL_GUARD_WARN), M(ZEL_GUARD_HOLD)});

  add(module, "ZelWorker", "The threads of the network sensor.",
      {M(ZEL_WORKER_RECEIVE), M(ZEL_WORKER_UNPACK)});
  add(module, "ZelWorkerPolicy", "Scheduling policies of the system.",
      {M(ZEL_SCHED_OTHER), M(ZEL_SCHED_FIFO), M(ZEL_SCHED_RR)});
  add(module, "ZelWorkerStep", "What a thread of the sensor could not have.",
      {M(ZEL_WORKER_THREAD), M(ZEL_WORKER_CORE), M(ZEL_WORKER_SCHEDULING)});
  module.attr("ZEL_ANY_CORE") = ZEL_ANY_CORE;
}

#undef M

}  // namespace zel::python
