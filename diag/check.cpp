// The check of the configuration: which checks there are, and what is made of their findings.
#include "diag/check.h"

#include <cmath>
#include <iterator>

#include "diag/codes.h"
#include "diag/library.h"
#include "diag/reasons.h"
#include "diag/text.h"

namespace zel::diag {

namespace {

constexpr unsigned approach = 1, assembly = 2, path = 4;
constexpr unsigned contact = approach | assembly;
constexpr unsigned every = contact | path;

struct CheckRow {
  const char* name;
  const char* right;
  unsigned runs;   ///< that it applies to
  bool needsMode;  ///< says nothing while the mode of the run is not configured
  CheckFunction check;
};

// In the order of ZelCheck.
constexpr CheckRow checks[] = {
    {"SETTINGS", "every setting of the run is made", every, false, checkSettings},
    {"SENSOR", "the sensor is initialised", every, false, checkSensor},
    {"FINITE", "every configured number is finite", every, false, checkFinite},
    {"PERMITTED_LOAD", "the permitted load is set on every axis", every, false, checkPermittedLoad},
    {"LOAD", "the load is plausible", every, false, checkLoad},
    {"ZERO", "the zero reference is younger than load and mounting", every, false, checkZero},
    {"UNITS", "the lengths look like millimetres", every, false, checkUnits},
    {"PERIOD", "the gains belong to the period", approach | path, true, checkPeriod},
    {"FRAME", "the frame sees forces", every, true, checkFrame},
    {"MOUNTING", "forces and motion have the same axes", approach | path, true, checkMounting},
    {"SET_FORCE", "the set force has a direction", every, true, checkSetForce},
    {"GAINS", "every set force has a gain of the right sign", approach | path, true, checkGains},
    {"STABILITY", "the gain suits stiffness and delay", approach | path, true, checkStability},
    {"SPEED", "the search goes towards the surface, not too fast", approach, true, checkSpeed},
    {"MONITORING", "the monitoring limits leave room for the set force", every, true,
     checkMonitoring},
    {"SWITCHING", "the switching values lie below the set force", approach, true, checkSwitching},
    {"BREAK_RANGE", "the run waits for its force", contact, true, checkBreakRange},
    {"DEAD_BAND", "the noise threshold is small enough", every, true, checkDeadBand},
    {"BOX", "the correction box contains the motion", approach, true, checkBox},
    {"CORRECTION", "the limit of the total correction leaves room", approach, true,
     checkCorrection},
    {"MINIMUM_PATH", "the minimum path can be covered", contact, true, checkMinimumPath},
    {"TIME_OUT", "the time-out leaves time", approach, true, checkTimeOut},
    {"ASSEMBLY", "the assembly run has its approach record", assembly, false, checkAssembly},
    {"PHASE", "the approach starts with a search", approach, true, checkPhase},
    {"PATH", "the points of the path differ", path, true, checkPath},
    {"TURN", "the tool turns little, the short way", path, true, checkTurn},
    {"STEPS", "the path has a sensible number of steps", path, true, checkSteps},
    {"BREAK_TEST", "the break test is at rest at the set force", path, true, checkBreakTest},
    {"STALL", "a stalled sensor is noticed within a short way", approach | path, true, checkStall},
    {"GUARD", "the guard is armed", every, false, checkGuard},
};
static_assert(std::size(checks) == ZEL_CHECK_COUNT);

struct FaultRow {
  const char* name;
  ZelSeverity severity;
  const char* section;
  const char* sentence;
  const char* remedy;
};
constexpr FaultRow faults[] = {
#define ZEL_FAULT_ROW(name, severity, section, sentence, remedy) \
  {#name, ZEL_FINDING_##severity, section, sentence, remedy},
    ZEL_FAULTS(ZEL_FAULT_ROW)
#undef ZEL_FAULT_ROW
};

/// The caller's list: what does not fit is counted only.
class List final : public Findings {
 public:
  List(zel_ftc_finding* findings, std::int32_t capacity)
      : findings_(findings), capacity_(findings == nullptr ? 0 : capacity) {}

  void run(ZelCheck check, const Facts& facts, bool modeIsConfigured) {
    check_ = check;
    const std::int32_t before = count_;
    const CheckRow& row = checks[check];
    if (row.needsMode && !modeIsConfigured) {
      notChecked("the mode of the run is not configured");
    } else {
      row.check(facts, *this);
    }
    if (count_ == before) add({check, ZEL_FINDING_RIGHT, -1, -1, row.right, 0.0, 0.0});
  }

  void fault(Fault fault, std::int32_t axis, double value, double limit,
             const char* what) override {
    const auto number = static_cast<std::int32_t>(fault);
    add({check_, faults[number].severity, number, axis, what, value, limit});
  }
  void notChecked(const char* missing) override {
    add({check_, ZEL_FINDING_NOT_CHECKED, -1, -1, missing, 0.0, 0.0});
  }

  std::int32_t count() const { return count_; }

 private:
  void add(const zel_ftc_finding& finding) {
    if (count_ < capacity_) findings_[count_] = finding;
    ++count_;
  }

  zel_ftc_finding* findings_;
  std::int32_t capacity_;
  std::int32_t count_ = 0;
  ZelCheck check_ = ZEL_CHECK_SETTINGS;
};

ZelRunKind runOf(const ZelFTCTool& tool, const zel_ftc_plan& plan) {
  if (plan.run >= ZEL_APPROACH_RUN && plan.run <= ZEL_ARC_RUN) return plan.run;
  if (tool.isSetAssembly) return ZEL_ASSEMBLY_RUN;
  if (tool.isSetTrackingMotion) return std::isfinite(plan.via[0]) ? ZEL_ARC_RUN : ZEL_LINE_RUN;
  return ZEL_APPROACH_RUN;
}

unsigned bitOf(ZelRunKind run) {
  return run == ZEL_APPROACH_RUN ? approach : run == ZEL_ASSEMBLY_RUN ? assembly : path;
}

/// Whether the records that the checks of this run look at have been filled.
bool modeIsConfigured(const ZelFTCTool& tool, ZelRunKind run) {
  if (run == ZEL_APPROACH_RUN) return tool.isSetApproach;
  if (run == ZEL_ASSEMBLY_RUN) return tool.isSetAssembly && history.approach.order > 0;
  return tool.isSetTrackingMotion;
}

bool isFault(const zel_ftc_finding& finding) {
  return finding.fault >= 0 && finding.fault < static_cast<std::int32_t>(std::size(faults));
}

void write(Text& text, const zel_ftc_finding& finding) {
  if (finding.severity == ZEL_FINDING_NOT_CHECKED) text << "not checked: ";
  if (!isFault(finding)) {
    text << finding.what;
    return;
  }
  const int digits = digitsToTellApart(finding.value, finding.limit);
  const bool hasAxis = finding.axis >= 0 && finding.axis < 6;
  compose(text, faults[finding.fault].sentence, [&](char letter) {
    switch (letter) {
      case 'v':
        text.number(finding.value, digits);
        break;
      case 'l':
        text.number(finding.limit, digits);
        break;
      case 'f':
        text << (hasAxis ? axisNames[finding.axis] : "");
        break;
      case 'p':
        text << (hasAxis ? poseNames[finding.axis] : "");
        break;
      case 'u':
        text << (hasAxis ? unitOfAxis(finding.axis) : "");
        break;
      case 'w':
        text << finding.what;
        break;
      default:  // 'm'
        writeMissingSettings(text, static_cast<std::uint32_t>(finding.value));
        break;
    }
  });
}

}  // namespace

}  // namespace zel::diag

using zel::diag::Text;

void zel_ftc_emptyPlan(zel_ftc_plan* plan) {
  if (plan == nullptr) return;
  const double unknown = std::nan("");
  plan->run = ZEL_NO_RUN;
  plan->stiffness = plan->delay = plan->travel = unknown;
  std::fill_n(plan->start, 6, unknown);
  std::fill_n(plan->via, 6, unknown);
  std::fill_n(plan->end, 6, unknown);
}

int32_t zel_ftc_checkConfiguration(const zel_ftc_plan* plan, zel_ftc_finding* findings,
                                   int32_t capacity) {
  if (!zel::isOpen()) return -1;
  zel_ftc_plan nothing;
  zel_ftc_emptyPlan(&nothing);
  const ZelFTCTool& tool = zel::concreteTool();
  const zel_ftc_plan& known = plan != nullptr ? *plan : nothing;
  const zel::diag::Facts facts = {tool, known, zel::diag::runOf(tool, known)};
  const bool configured = zel::diag::modeIsConfigured(tool, facts.run);

  zel::diag::List list(findings, capacity);
  for (std::int32_t i = 0; i < ZEL_CHECK_COUNT; ++i) {
    if ((zel::diag::checks[i].runs & zel::diag::bitOf(facts.run)) == 0) continue;
    list.run(static_cast<ZelCheck>(i), facts, configured);
  }
  return list.count();
}

size_t zel_ftc_findingText(const zel_ftc_finding* finding, char* text, size_t capacity) {
  Text out(text, capacity);
  if (finding != nullptr && finding->what != nullptr) zel::diag::write(out, *finding);
  return out.length();
}

size_t zel_ftc_findingRemedy(const zel_ftc_finding* finding, char* text, size_t capacity) {
  Text out(text, capacity);
  if (finding != nullptr && zel::diag::isFault(*finding)) {
    out << zel::diag::faults[finding->fault].remedy;
  }
  return out.length();
}

const char* zel_ftc_findingSection(const zel_ftc_finding* finding) {
  if (finding == nullptr || !zel::diag::isFault(*finding)) return "";
  return zel::diag::faults[finding->fault].section;
}

const char* zel_ftc_findingName(const zel_ftc_finding* finding) {
  if (finding == nullptr || finding->check < 0 || finding->check >= ZEL_CHECK_COUNT) return "";
  return zel::diag::isFault(*finding) ? zel::diag::faults[finding->fault].name
                                      : zel::diag::checks[finding->check].name;
}
