// Why, what every code means, the link, the cycle seen from inside; the check, the guard, the
// workers: zel_ftc_diag.h, zel_ftc_check.h, zel_ftc_guard.h, zel_ftc_workers.h.
#include <pybind11/stl.h>

#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <vector>

#include "python/convert.h"

namespace zel::python {
namespace {

using py::arg;

/// A field that is an array of numbers.
template <typename Record, std::size_t N>
auto field(double (Record::*values)[N]) {
  return [values](const Record& record) { return Array(N, record.*values); };
}

/// One that is an array of truth values.
template <typename Record, std::size_t N>
auto field(bool (Record::*values)[N]) {
  return [values](const Record& record) {
    return std::vector<bool>(record.*values, record.*values + N);
  };
}

/// A text that the library composes: a property of the record, and the function as in C.
template <auto compose, typename Record>
void addText(py::module_& module, py::class_<Record>& type, const char* property,
             const char* function, const char* argument, const char* doc) {
  type.def_property_readonly(
      property, [](const Record& record) { return zel::composed<Record>(compose, &record); }, doc);
  module.def(
      function,
      [](const std::optional<Record>& given) {
        return zel::composed<Record>(compose, given ? &*given : nullptr);
      },
      arg(argument) = py::none(), doc);
}

/// The record that a function fills; None when there is nothing to tell.
template <typename Record, typename Fill>
std::optional<Record> filled(const char* function, Fill fill) {
  Record value = {};
  if (!done(fill(&value), function)) return std::nullopt;
  return value;
}

void addReasons(py::module_& module) {
  using Reason = zel_ftc_reason;
  auto reason = record<Reason>(module, "zel_ftc_reason", "Why a call was refused.");
  reason.def_readonly("number", &Reason::number, "Of this refusal, counted from 1.")
      .def_readonly("kind", &Reason::kind, "What kind of refusal.")
      .def_readonly("result", &Reason::result, "What the function returned in C, 0 or -1.")
      .def_readonly("function", &Reason::function, "Its name.")
      .def_readonly("argument", &Reason::argument, "Which argument, axis or quantity.")
      .def_readonly("element", &Reason::element, "Which element of an array, -1 where none.")
      .def_readonly("relation", &Reason::relation, "Of value and limit.")
      .def_readonly("value", &Reason::value, "The value met.")
      .def_readonly("limit", &Reason::limit, "What the value is compared with.")
      .def_readonly("upper_limit", &Reason::upper_limit, "The other end of a range.")
      .def_readonly("unit", &Reason::unit, "Of value and limits.")
      .def_readonly("code", &Reason::code, "Run result or sensor status.")
      .def_readonly("bits", &Reason::bits,
                    "ZelMissing with 11002, ZelBreakBit with 80002 and above.")
      .def_readonly("system_error", &Reason::system_error, "errno.")
      .def_property_readonly(
          "detail", [](const Reason& r) { return std::string(r.detail); },
          "Text that is cut to 31 bytes.");
  module.def(
      "zel_ftc_lastReason", [] { return filled<Reason>("zel_ftc_lastReason", zel_ftc_lastReason); },
      "The last refusal. None when nothing has been refused yet.");
  addText<zel_ftc_reasonText>(module, reason, "text", "zel_ftc_reasonText", "reason",
                              "The sentence with amounts. None stands for the last refusal.");
  addText<zel_ftc_reasonRemedy>(module, reason, "remedy", "zel_ftc_reasonRemedy", "reason",
                                "What to do about it. None stands for the last refusal.");
}

void addCodes(py::module_& module) {
  using Info = zel_ftc_code_info;
  record<Info>(module, "zel_ftc_code_info", "A code explained.")
      .def_readonly("code", &Info::code, "The number.")
      .def_readonly("name", &Info::name, "Of the enumerator.")
      .def_readonly("text", &Info::text, "The system's own; empty for reasons.")
      .def_readonly("cause", &Info::cause, "Empty where there is none to tell.")
      .def_readonly("remedy", &Info::remedy, "Empty where there is nothing to do.")
      .def_property_readonly(
          "axes", [](const Info& info) { return std::string(info.axes); },
          "The tripped axes of a break code.");
  module.def(
      "zel_ftc_explainCode",
      [](ZelCodeSpace space, int code) {
        return filled<Info>("zel_ftc_explainCode",
                            [=](Info* info) { return zel_ftc_explainCode(space, code, info); });
      },
      arg("space"), arg("code"), "What a code means. None for one that does not exist.");
  module.def(
      "zel_ftc_listCodes",
      [](ZelCodeSpace space) {
        std::vector<Info> codes;
        Info info;
        while (zel_ftc_listCodes(space, static_cast<int>(codes.size()), &info) == 1) {
          codes.push_back(info);
        }
        return codes;
      },
      arg("space"), "All codes of a space; of the break codes 80002 alone.");
}

void addLinkHealth(py::module_& module) {
  using Health = zel_ftc_link_health;
  record<Health>(module, "zel_ftc_link_health",
                 "The sensor's link, counted since the last zel_ftc_initialFTSensor.")
      .def_readonly("datagrams", &Health::datagrams, "Received, from any address.")
      .def_readonly("bytes", &Health::bytes, "In them.")
      .def_readonly("foreign_datagrams", &Health::foreign_datagrams,
                    "From another address than the sensor's.")
      .def_readonly("dropped_datagrams", &Health::dropped_datagrams,
                    "Lost because the queue was full.")
      .def_readonly("cut_datagrams", &Health::cut_datagrams, "Longer than 128 bytes.")
      .def_readonly("good_frames", &Health::good_frames, "Readings published.")
      .def_readonly("wrong_checksums", &Health::wrong_checksums, "Packets dropped for it.")
      .def_readonly("skipped_bytes", &Health::skipped_bytes, "Dropped to find the next packet.")
      .def_readonly("frames_beyond_range", &Health::frames_beyond_range,
                    "Good frames with a value above the range.")
      .def_readonly("bad_status_frames", &Health::bad_status_frames,
                    "Good frames whose status byte was not 0.")
      .def_readonly("last_bad_status", &Health::last_bad_status,
                    "The last such byte, 0 before the first.")
      .def_readonly("exchanges", &Health::exchanges, "Commands whose answer was awaited.")
      .def_readonly("failed_exchanges", &Health::failed_exchanges,
                    "Of these without a good answer.")
      .def_readonly("rate", &Health::rate, "Good frames per second.")
      .def_readonly("longest_gap", &Health::longest_gap, "Between two good frames, ms.")
      .def_readonly("age", &Health::age, "Of the newest good frame, ms; -1 before the first.");
  module.def(
      "zel_ftc_linkHealth", [] { return filled<Health>("zel_ftc_linkHealth", zel_ftc_linkHealth); },
      "A snapshot of the sensor's link. None for an external sensor, which has no link.");

  using Frame = zel_ftc_frame;
  record<Frame>(module, "zel_ftc_frame", "A frame of the network sensor as it came.")
      .def_readonly("number", &Frame::number,
                    "Of the good frames since the sensor was initialised.")
      .def_readonly("time", &Frame::time, "When the library had it, s of CLOCK_MONOTONIC.")
      .def_readonly("counter", &Frame::counter, "The sensor's counter with this frame.")
      .def_readonly("status", &Frame::status, "The sensor's status with this frame.")
      .def_property_readonly("value", field(&Frame::value), "N, N m.");
  module.def(
      "zel_ftc_keepFrames",
      [](bool on) { return done(zel_ftc_keepFrames(on), "zel_ftc_keepFrames"); }, arg("on"),
      "Whether every frame is kept, up to 1024, from now on. False for an external sensor.");
  module.def(
      "zel_ftc_nextFrame", [] { return filled<Frame>("zel_ftc_nextFrame", zel_ftc_nextFrame); },
      "The oldest frame that waits, or None.");
}

void addCycleView(py::module_& module) {
  using Why = zel_ftc_why;
  auto why = record<Why>(module, "zel_ftc_why", "One answer: why a run does not end or move.");
  why.def_readonly("kind", &Why::kind, "Which answer.")
      .def_readonly("axis", &Why::axis, "0..5 in the order of a wrench or of a pose, -1: none.")
      .def_readonly("value", &Why::value, "What is met, by kind.")
      .def_readonly("limit", &Why::limit, "What it is compared with.")
      .def_readonly("code", &Why::code, "The last result of a run that is over.");
  addText<zel_ftc_whyText>(module, why, "text", "zel_ftc_whyText", "why", "The sentence.");

  using View = zel_ftc_cycle_view;
  const auto answers = [](const Why* first, int count) {
    return std::vector<Why>(first, first + count);
  };
  record<View>(module, "zel_ftc_cycle_view", "How things stood at the end of the last cycle.")
      .def_readonly("run", &View::run, "The run whose function was called last.")
      .def_readonly("running", &View::running, "It is in progress.")
      .def_readonly("code", &View::code, "The last result; 0 before the first.")
      .def_readonly("cycles", &View::cycles, "Of this run, counted from 1.")
      .def_readonly("frame", &View::frame, "In which it measures.")
      .def_readonly("phase", &View::phase, "Of an approach, 0 towards contact, 1 in contact.")
      .def_readonly("in_contact", &View::in_contact,
                    "The switching values are exceeded, or were in an approach.")
      .def_property_readonly("wrench", field(&View::wrench), "Compensated, N and N m.")
      .def_property_readonly("force_error", field(&View::force_error), "F + E.")
      .def_property_readonly("step", field(&View::step), "Of this cycle, mm and rad in pose order.")
      .def_readonly("settled", &View::settled, "Cycles in a row within every band; 20 end a run.")
      .def_readonly("stalled", &View::stalled, "Cycles in a row without a new sample; 20 fail.")
      .def_readonly("path", &View::path, "From the start pose, mm.")
      .def_readonly("path_limit", &View::path_limit, "mm")
      .def_readonly("angle", &View::angle, "From the start pose, rad.")
      .def_readonly("angle_limit", &View::angle_limit, "rad")
      .def_readonly("minimum_path", &View::minimum_path, "mm")
      .def_readonly("has_minimum_path_group", &View::has_minimum_path_group,
                    "One value per axis is set.")
      .def_property_readonly("minimum_path_group", field(&View::minimum_path_group), "mm per axis.")
      .def_readonly("minimum_path_covered", &View::minimum_path_covered,
                    "A contact may end the run.")
      .def_property_readonly("box_high", field(&View::box_high), "The pose stands at this bound.")
      .def_property_readonly("box_low", field(&View::box_low), "The pose stands at this bound.")
      .def_readonly("path_step", &View::path_step, "Of a line or an arc, out of path_steps.")
      .def_readonly("path_steps", &View::path_steps, "How many steps the path has.")
      .def_readonly("elapsed", &View::elapsed, "Since the start of the run, ms.")
      .def_readonly("time_out", &View::time_out, "ms; 0: none.")
      .def_readonly("guarded", &View::guarded, "The guard is armed.")
      .def_readonly("unguarded_limits", &View::unguarded_limits, "How many limits are off.")
      .def_property_readonly(
          "not_ending", [=](const View& v) { return answers(v.not_ending, v.not_ending_count); },
          "Why the run does not end, all that hold now.")
      .def_property_readonly(
          "not_moving", [=](const View& v) { return answers(v.not_moving, v.not_moving_count); },
          "Why the robot does not move along its main axis.");
  module.def(
      "zel_ftc_cycleView",
      [] { return filled<View>("zel_ftc_cycleView", zel_ftc_cycleView).value(); },
      "A view into the control cycle.");
}

void addCheck(py::module_& module) {
  using Plan = zel_ftc_plan;
  const auto pose = [](double(Plan::*values)[6], const char* name) {
    return [=](Plan& plan, const ArrayLike& source) {
      const auto six = numbers<6>(source, name);
      std::copy(six.begin(), six.end(), plan.*values);
    };
  };
  record<Plan>(module, "zel_ftc_plan",
               "What the library cannot know of a cell. Not-a-number: not known; of a pose, its "
               "first element. Starts with nothing known.")
      .def(py::init([] {
        Plan plan;
        zel_ftc_emptyPlan(&plan);
        return plan;
      }))
      .def_readwrite("run", &Plan::run, "The run to check for; ZEL_NO_RUN: of the last mode.")
      .def_readwrite("stiffness", &Plan::stiffness, "Of the contact, N/mm.")
      .def_readwrite("delay", &Plan::delay, "Of robot and sensor together, ms.")
      .def_readwrite("travel", &Plan::travel, "Of an approach until it touches, mm.")
      .def_property("start", field(&Plan::start), pose(&Plan::start, "start"),
                    "Start pose of any run.")
      .def_property("via", field(&Plan::via), pose(&Plan::via, "via"), "Of an arc.")
      .def_property("end", field(&Plan::end), pose(&Plan::end, "end"), "Of a line or an arc.");

  using Finding = zel_ftc_finding;
  auto finding = record<Finding>(module, "zel_ftc_finding", "One finding of the check.");
  finding.def_readonly("check", &Finding::check, "What was looked at.")
      .def_readonly("severity", &Finding::severity, "How grave it is.")
      .def_readonly("fault", &Finding::fault, "Number of the fault; -1 for right, not checked.")
      .def_readonly("axis", &Finding::axis, "0..5, -1 where none.")
      .def_readonly("what", &Finding::what, "Which value, where the fault does not say.")
      .def_readonly("value", &Finding::value, "What was met.")
      .def_readonly("limit", &Finding::limit, "What it is compared with.");
  addText<zel_ftc_findingText>(module, finding, "text", "zel_ftc_findingText", "finding",
                               "The sentence with amounts.");
  addText<zel_ftc_findingRemedy>(module, finding, "remedy", "zel_ftc_findingRemedy", "finding",
                                 "What to do about it; empty where nothing.");
  finding.def_property_readonly("name", zel_ftc_findingName, "Of the fault or the check.")
      .def_property_readonly("section", zel_ftc_findingSection, "Heading in docs/behaviour.md.");
  module.def("zel_ftc_findingName", zel_ftc_findingName, arg("finding"),
             "The name of the fault, or of the check where there is none.");
  module.def("zel_ftc_findingSection", zel_ftc_findingSection, arg("finding"),
             "The heading in docs/behaviour.md that tells more; empty where there is none.");
  module.def(
      "zel_ftc_checkConfiguration",
      [](const std::optional<Plan>& given) {
        const Plan* const plan = given ? &*given : nullptr;
        std::vector<Finding> findings(ZEL_FINDINGS_ENOUGH);
        const int count =
            zel_ftc_checkConfiguration(plan, findings.data(), static_cast<int>(findings.size()));
        done(count, "zel_ftc_checkConfiguration");
        findings.resize(static_cast<std::size_t>(count));
        return findings;
      },
      arg("plan") = py::none(),
      "Checks what has been configured, right before the first cycle of a run: a list of findings, "
      "what is right and what could not be checked among them.");
}

void addGuard(py::module_& module) {
  using Limit = zel_ftc_guard_limit;
  record<Limit>(module, "zel_ftc_guard_limit", "One limit of the guard.")
      .def_readonly("name", &Limit::name, "Of the enumerator.")
      .def_readonly("unit", &Limit::unit, "Of the limit.")
      .def_readonly("what", &Limit::what, "What is judged.")
      .def_readonly("limit", &Limit::limit, "The largest value that passes.")
      .def_readonly("action", &Limit::action, "What happens beyond it.");
  module.def(
      "zel_ftc_setGuardLimit",
      [](ZelGuardLimit which, double limit, ZelGuardAction action) {
        if (done(zel_ftc_setGuardLimit(which, limit, action), "zel_ftc_setGuardLimit")) return;
        throw py::value_error(
            "zel_ftc_setGuardLimit: which and action must exist, limit be finite and not negative");
      },
      arg("which"), arg("limit"), arg("action"),
      "Sets a limit. ValueError for one that does not exist, is not finite or is negative.");
  module.def(
      "zel_ftc_getGuardLimit",
      [](ZelGuardLimit which) {
        return filled<Limit>("zel_ftc_getGuardLimit",
                             [=](Limit* limit) { return zel_ftc_getGuardLimit(which, limit); });
      },
      arg("which"), "A limit as it is set. None for one that does not exist.");

  using Verdict = zel_ftc_guard_verdict;
  auto verdict = record<Verdict>(module, "zel_ftc_guard_verdict", "What the guard says.");
  verdict.def_readonly("action", &Verdict::action, "ZEL_GUARD_OFF when nothing is exceeded.")
      .def_readonly("which", &Verdict::which, "The limit exceeded.")
      .def_readonly("first", &Verdict::first, "The first verdict of this event, to be reported.")
      .def_readonly("event", &Verdict::event, "Counted from 1 since open; 0: none yet.")
      .def_readonly("value", &Verdict::value, "When the event began.")
      .def_readonly("limit", &Verdict::limit, "When the event began.")
      .def_readonly("duration", &Verdict::duration, "Of the event so far, ms.");
  addText<zel_ftc_guardText>(module, verdict, "text", "zel_ftc_guardText", "verdict",
                             "The sentence.");
  module.def(
      "zel_ftc_guard",
      [](const ArrayLike& pose, const ArrayLike& robot_pos_now) {
        auto out = numbers<6>(pose, "pose");
        const auto now = numbers<6>(robot_pos_now, "robot_pos_now");
        Verdict judged = {};
        const bool passed = done(zel_ftc_guard(out.data(), now.data(), &judged), "zel_ftc_guard");
        return std::make_tuple(Array(out), passed, judged);
      },
      arg("pose"), arg("robot_pos_now"),
      "Judges the pose about to be commanded, after this period's run function: (pose to command, "
      "whether it passed, verdict). A pose that did not pass has been replaced by the one to hold; "
      "when there is none that is finite, it is unchanged: do not move.");
  module.def(
      "zel_ftc_resetGuard", [] { done(zel_ftc_resetGuard(), "zel_ftc_resetGuard"); },
      "Ends every event of the guard.");
}

void addWorkers(py::module_& module) {
  using Worker = zel_ftc_worker;
  record<Worker>(module, "zel_ftc_worker", "Where and how one thread runs.")
      .def(py::init<>())
      .def_readwrite("core", &Worker::core, "0..1023, or ZEL_ANY_CORE.")
      .def_readwrite("policy", &Worker::policy, "How it is scheduled.")
      .def_readwrite("priority", &Worker::priority, "1..99 in real time, else 0.");
  using Workers = zel_ftc_workers;
  record<Workers>(module, "zel_ftc_workers", "The network sensor's two threads.")
      .def_readwrite("receive", &Workers::receive, "Takes datagrams from the socket.")
      .def_readwrite("unpack", &Workers::unpack, "Makes readings of them.")
      .def_readwrite("unpack_waits", &Workers::unpack_waits, "Otherwise it spins.");
  module.def(
      "zel_ftc_getWorkers",
      [] { return filled<Workers>("zel_ftc_getWorkers", zel_ftc_getWorkers).value(); },
      "The present setting.");
  module.def(
      "zel_ftc_setWorkers",
      [](const Workers& workers) {
        if (done(zel_ftc_setWorkers(&workers), "zel_ftc_setWorkers")) return;
        throw py::value_error(
            "zel_ftc_setWorkers: a value is out of range, or the unpack thread would spin in real "
            "time on the core of the receive thread");
      },
      arg("workers"),
      "How the next zel_ftc_initialFTSensor runs its threads: begin with zel_ftc_getWorkers.\n"
      "ValueError, nothing changed, for values that do not exist.");
  using Fault = zel_ftc_worker_fault;
  record<Fault>(module, "zel_ftc_worker_fault", "What a thread of the sensor could not have.")
      .def_readonly("step", &Fault::step, "What could not be had.")
      .def_readonly("worker", &Fault::worker, "Which thread.")
      .def_readonly("asked", &Fault::asked, "The setting of that thread.")
      .def_readonly("error", &Fault::error, "errno.");
  module.def(
      "zel_ftc_getWorkerFault",
      [] { return filled<Fault>("zel_ftc_getWorkerFault", zel_ftc_getWorkerFault); },
      "Why the threads of the last start could not be had. None when they could.");
  module.def(
      "zel_ftc_getWorkerFaultText",
      [] {
        std::array<char, 256> text = {};
        zel_ftc_getWorkerFaultText(text.data(), text.size());
        return std::string(text.data());
      },
      "The same as a sentence; empty when they could.");
}

}  // namespace

void addDiagnosis(py::module_& module) {
  addReasons(module);
  addCodes(module);
  addLinkHealth(module);
  addCycleView(module);
  addCheck(module);
  addGuard(module);
  addWorkers(module);
}

}  // namespace zel::python
