// The view into the control cycle: read off the tool's state, which it does not change.
#include <algorithm>
#include <cmath>
#include <iterator>

#include "diag/codes.h"
#include "diag/guard.h"
#include "diag/history.h"
#include "diag/library.h"
#include "diag/text.h"
#include "matrix/length3.h"
#include "matrix/rigidtransform.h"
#include "robot/limits.h"
#include "zel_ftc_guard.h"

namespace zel::diag {

namespace {

/// How many marks in a row are set, the newest last.
std::int32_t lastMarked(const int (&marks)[limits::historyLength]) {
  const auto newest = std::rbegin(marks);
  return static_cast<std::int32_t>(std::find(newest, std::rend(marks), 0) - newest);
}

/// The answers to one question; what does not fit is left out.
class Answers {
 public:
  Answers(zel_ftc_why* list, std::int32_t& count) : list_(list), count_(count) {}

  void add(ZelWhyKind kind, std::int32_t axis = -1, double value = 0.0, double limit = 0.0,
           std::int32_t code = 0) {
    if (count_ < ZEL_WHY_CAPACITY) list_[count_++] = {kind, axis, value, limit, code};
  }

 private:
  zel_ftc_why* list_;
  std::int32_t& count_;
};

bool isContactRun(ZelRunKind run) {
  return run == ZEL_APPROACH_RUN || run == ZEL_ASSEMBLY_RUN;
}

/// What the controller works with in this run: set point, gains, main direction.
struct Law {
  ZelRcs frame;
  const double* expected;
  const double* gains;
  int direction;
};

Law lawOf(const ZelFTCTool& tool, ZelRunKind run) {
  // An assembly run measures in the frame of the approach.
  const auto frame = [](ZelCartesianCoordinate rcs) { return static_cast<ZelRcs>(rcs); };
  if (!isContactRun(run)) {
    const auto& c = tool.trackingMotionConfig;
    return {frame(c.rcs), c.setExpectFT, c.setKR, c.mainDirection};
  }
  const ZelFTCTool::ZelFtcApproachConfig& c =
      run == ZEL_ASSEMBLY_RUN ? tool.assemblyConfig : tool.approachConfig;
  return {frame(tool.approachConfig.rcs), c.setExpectFT, c.setKR, c.mainDirection};
}

void viewTravel(zel_ftc_cycle_view& view, const ZelFTCTool& tool) {
  const RigidTransform T_now_start =
      inverse(transformFromPose(tool.PosNow.value)) * transformFromPose(tool.PosStart.value);
  double offset[6];
  poseFromTransform(T_now_start, offset);
  view.path = 1000.0 * length3(offset);
  view.angle = length3(offset + 3);

  const auto& limit = tool.correctionLimit;
  view.minimum_path = 1000.0 * limit.minPath;
  view.has_minimum_path_group = limit.set_group;
  view.minimum_path_covered = limit.set_group || length3(offset) > limit.minPath;
  for (int i = 0; i < 3; ++i) {
    view.minimum_path_group[i] = 1000.0 * limit.minpath_group[i];
    if (limit.set_group && !(std::fabs(offset[i]) > limit.minpath_group[i])) {
      view.minimum_path_covered = false;
    }
  }
  if (!isContactRun(view.run)) return;
  view.path_limit = 1000.0 * tool.correctionMonitoring.path;
  view.angle_limit = tool.correctionMonitoring.angle;
}

void viewContactRun(zel_ftc_cycle_view& view, const ZelFTCTool& tool) {
  view.settled = lastMarked(tool.isApproachTouchOK);
  view.time_out = static_cast<double>(tool.approachConfig.timeOut);
  if (view.run == ZEL_ASSEMBLY_RUN) {
    const auto& c = tool.assemblyConfig;
    view.in_contact =
        length3(view.wrench) > c.switchingForce || length3(view.wrench + 3) > c.switchingTorque;
    return;
  }
  view.phase = tool.ApproachMode;
  view.in_contact = tool.ApproachMode > 0;
  for (int i = 0; i < 3; ++i) {
    const auto& limit = tool.correctionLimit;
    view.box_low[i] = tool.PosFTC.value[i] == limit.min[i] + tool.PosStart.value[i];
    view.box_high[i] = tool.PosFTC.value[i] == limit.max[i] + tool.PosStart.value[i];
  }
}

void viewPathRun(zel_ftc_cycle_view& view, const ZelFTCTool& tool) {
  const bool isLine = view.run == ZEL_LINE_RUN;
  view.path_step = (isLine ? tool.moveLData.stepNow : tool.moveCData.stepNow) - 1.0;
  view.path_steps = isLine ? tool.moveLData.stepMax : tool.moveCData.stepMax;
  view.in_contact = std::any_of(view.wrench, view.wrench + 6, [](double f) { return f != 0.0; });
}

void answerWhyUnread(Answers& answers) {
  if (history.unread != 0) answers.add(ZEL_WHY_NO_READING, -1, 0.0, 0.0, history.unread);
}

void answerWhyNotEnding(Answers& answers, const zel_ftc_cycle_view& view, const ZelFTCTool& tool) {
  if (!view.running) answers.add(ZEL_WHY_NOT_RUNNING, -1, 0.0, 0.0, view.code);
  answerWhyUnread(answers);
  if (view.stalled > 0) answers.add(ZEL_WHY_STALLED, -1, view.stalled, limits::historyLength);
  if (!isContactRun(view.run)) {
    if (std::isfinite(view.path_steps)) {
      answers.add(ZEL_WHY_ON_THE_PATH, -1, view.path_step, view.path_steps);
    } else {
      answers.add(ZEL_WHY_PATH_WITHOUT_END, -1, view.path_steps);
    }
    return;
  }

  if (view.frame == RCS_WORLD || view.frame == RCS_BASE) answers.add(ZEL_WHY_BLIND_FRAME);
  if (view.run == ZEL_APPROACH_RUN && view.phase == 0) {
    const auto& c = tool.approachConfig;
    answers.add(ZEL_WHY_SEARCHING, FX, length3(view.wrench), c.switchingForce);
    answers.add(ZEL_WHY_SEARCHING, MX, length3(view.wrench + 3), c.switchingTorque);
  }
  bool inBand = true;
  for (int i = 0; i < 6; ++i) {
    const double range = tool.approachConfig.breakConditionRange[i];
    const double error = std::fabs(tool.approachConfig.setExpectFT[i] + view.wrench[i]);
    if (range == 0.0 || !(error > range)) continue;
    answers.add(ZEL_WHY_OUT_OF_BAND, i, error, range);
    inBand = false;
  }
  if (inBand && view.settled < limits::historyLength) {
    answers.add(ZEL_WHY_SETTLING, -1, view.settled, limits::historyLength);
  }
  if (!view.minimum_path_covered) {
    answers.add(ZEL_WHY_MINIMUM_PATH, -1, view.path, view.minimum_path);
    if (view.run == ZEL_ASSEMBLY_RUN) answers.add(ZEL_WHY_START_FOLLOWS);
  }
}

void answerWhyNotMoving(Answers& answers, const zel_ftc_cycle_view& view, const ZelFTCTool& tool,
                        const Law& law) {
  if (!view.running) answers.add(ZEL_WHY_NOT_RUNNING, -1, 0.0, 0.0, view.code);
  answerWhyUnread(answers);
  if (guardHolds()) answers.add(ZEL_WHY_GUARD_HOLDS);
  if (view.run == ZEL_ASSEMBLY_RUN) return answers.add(ZEL_WHY_ASSEMBLY_HOLDS);

  const bool searching = view.run == ZEL_APPROACH_RUN && view.phase == 0;
  const double speed = view.run == ZEL_APPROACH_RUN ? tool.approachConfig.translationalMotion
                                                    : tool.trackingMotionConfig.setDesiredSpeed;
  if (speed == 0.0 && (searching || !isContactRun(view.run))) answers.add(ZEL_WHY_NO_SPEED);
  if (!searching) {
    const int d = law.direction;
    if (law.gains[d] == 0.0) {
      answers.add(ZEL_WHY_NO_GAIN, d);
    } else if (std::fabs(view.step[d]) < (d < MX ? 1e-3 : 1e-5)) {
      answers.add(ZEL_WHY_BALANCED, d, view.force_error[d]);
    }
  }
  for (int i = 0; i < 3; ++i) {
    if (view.box_low[i]) answers.add(ZEL_WHY_BOX, i, 1000.0 * tool.correctionLimit.min[i]);
    if (view.box_high[i]) answers.add(ZEL_WHY_BOX, i, 1000.0 * tool.correctionLimit.max[i]);
  }
  for (int i = 0; i < 6; ++i) {
    if (!std::isfinite(tool.PosFTC.value[i])) answers.add(ZEL_WHY_NOT_A_NUMBER, i);
  }
}

void fill(zel_ftc_cycle_view& view, const ZelFTCTool& tool) {
  view = {};
  view.run = history.run;
  view.running = history.running;
  view.code = history.code;
  view.cycles = history.cycles;
  view.unguarded_limits = guardLimitsOff();
  view.guarded = view.unguarded_limits < ZEL_GUARD_LIMIT_COUNT;
  Answers notEnding(view.not_ending, view.not_ending_count);
  Answers notMoving(view.not_moving, view.not_moving_count);
  if (view.run == ZEL_NO_RUN) {
    for (Answers* const answers : {&notEnding, &notMoving}) {
      answers->add(ZEL_WHY_NOT_RUNNING);
      answerWhyUnread(*answers);
    }
    return;
  }

  const Law law = lawOf(tool, view.run);
  view.frame = law.frame;
  std::copy_n(tool.rcs_ft_data.value, 6, view.wrench);
  for (int i = 0; i < 6; ++i) {
    view.force_error[i] = view.wrench[i] + law.expected[i];
    view.step[i] = (i < 3 ? 1000.0 : 1.0) * tool.ftc_offset.value[i];
  }
  view.stalled = lastMarked(tool.isFTTimeOut);
  view.elapsed = zel_end_timer_clock(MILLISEC, tool.time_start);
  viewTravel(view, tool);
  if (isContactRun(view.run)) {
    viewContactRun(view, tool);
  } else {
    viewPathRun(view, tool);
  }
  answerWhyNotEnding(notEnding, view, tool);
  answerWhyNotMoving(notMoving, view, tool, law);
}

/// Sentences of the answers, in the order of ZelWhyKind. Letters: f axis of a wrench, p of a pose,
/// v value, l limit, u unit of the axis of a wrench, c code.
constexpr const char* whySentences[] = {
    "no run is in progress, the last result is %c",
    "still searching: %v %u, contact is more than %l %u",
    "the frame of the mode sees no force",
    "%f: |F + E| is %v %u, must be at most %l %u",
    "in the band for %v of %l cycles",
    "%v mm from the start, must be more than the minimum path of %l mm",
    "the start pose of an assembly run follows the robot: its path is always 0",
    "step %v of %l of the path",
    "the path has %v steps: it is never at its end",
    "no new sample for %v of %l cycles",
    "an assembly run corrects no pose",
    "the gain of %f is 0",
    "%f: F + E is %v %u, the step asked for is below 1 um or 10 urad",
    "the speed is 0",
    "%p stands at the side of the correction box, %v mm from the start",
    "%p is not a number",
    "the guard holds the pose",
    "the sensor cannot be read, its status is %c",
};
static_assert(std::size(whySentences) == ZEL_WHY_KINDS);

void writeWhy(Text& text, const zel_ftc_why& why) {
  const int digits = digitsToTellApart(why.value, why.limit);
  const bool hasAxis = why.axis >= 0 && why.axis < 6;
  compose(text, whySentences[why.kind], [&](char letter) {
    switch (letter) {
      case 'f':
        text << (hasAxis ? axisNames[why.axis] : "");
        break;
      case 'p':
        text << (hasAxis ? poseNames[why.axis] : "");
        break;
      case 'v':
        text.number(why.value, digits);
        break;
      case 'l':
        text.number(why.limit, digits);
        break;
      case 'u':
        text << (hasAxis ? unitOfAxis(why.axis) : "");
        break;
      default:  // 'c'
        text << why.code;
        break;
    }
  });
}

}  // namespace

}  // namespace zel::diag

int zel_ftc_cycleView(zel_ftc_cycle_view* view) {
  if (!zel::isOpen()) return -1;
  if (view == nullptr) return 0;
  zel::diag::fill(*view, zel::concreteTool());
  return 1;
}

size_t zel_ftc_whyText(const zel_ftc_why* why, char* text, size_t capacity) {
  zel::diag::Text out(text, capacity);
  if (why != nullptr && why->kind >= 0 && why->kind < ZEL_WHY_KINDS) {
    zel::diag::writeWhy(out, *why);
  }
  return out.length();
}
