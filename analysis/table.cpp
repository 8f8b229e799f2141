// The report as text.
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <string_view>

#include "analysis/identification.h"
#include "tool/plaintext.h"

namespace zel::analysis {

namespace {

constexpr std::size_t mostRowsOfPoses = 40;

/// Every line but the first is indented.
std::string paragraph(const std::string& text) {
  return wrapped(text, 2, 0) + "\n";
}

struct Quantity {
  const char* name;
  const char* unit;
  int digits;
  const Estimate& (*of)(const Solution&);
};

constexpr Quantity quantities[] = {
    {"weight", "N", 3, [](const Solution& s) -> const Estimate& { return s.weight; }},
    {"centre of mass lx", "mm", 2,
     [](const Solution& s) -> const Estimate& { return s.centre[0]; }},
    {"centre of mass ly", "mm", 2,
     [](const Solution& s) -> const Estimate& { return s.centre[1]; }},
    {"centre of mass lz", "mm", 2,
     [](const Solution& s) -> const Estimate& { return s.centre[2]; }},
    {"force offset x", "N", 3,
     [](const Solution& s) -> const Estimate& { return s.force_offset[0]; }},
    {"force offset y", "N", 3,
     [](const Solution& s) -> const Estimate& { return s.force_offset[1]; }},
    {"force offset z", "N", 3,
     [](const Solution& s) -> const Estimate& { return s.force_offset[2]; }},
    {"torque offset x", "N m", 4,
     [](const Solution& s) -> const Estimate& { return s.torque_offset[0]; }},
    {"torque offset y", "N m", 4,
     [](const Solution& s) -> const Estimate& { return s.torque_offset[1]; }},
    {"torque offset z", "N m", 4,
     [](const Solution& s) -> const Estimate& { return s.torque_offset[2]; }},
};

std::string textOf(const Estimate& estimate, int digits) {
  if (!estimate.determined()) return "cannot be told";
  return fmt::format("{:.{}f} +- {:.{}f}", estimate.value, digits, estimate.deviation, digits);
}

std::string textOf(const Vector& v, int digits) {
  return fmt::format("{:.{}f}, {:.{}f}, {:.{}f}", v[0], digits, v[1], digits, v[2], digits);
}

std::string textOf(const Accuracy& a) {
  const auto told = [](double x) { return std::isfinite(x) ? fmt::format("{:.2g}", x) : "?"; };
  return fmt::format("weight {} N, centre {}, {}, {} mm", told(a.weight), told(a.centre[0]),
                     told(a.centre[1]), told(a.centre[2]));
}

std::string numbers(const Report& report) {
  std::string out;
  const auto line = [&](const char* name, const char* unit, auto&& of) {
    out += fmt::format("{:<18} {:>4} {:>26}", name, unit, of(report.answer()));
    if (report.corrected) out += fmt::format(" {:>26}", of(report.recorded));
    out += '\n';
  };
  line("", "", [&](const Solution& s) {
    return &s == &report.recorded ? "as recorded" : "without what was found";
  });
  for (const Quantity& q : quantities) {
    line(q.name, q.unit, [&](const Solution& s) { return textOf(q.of(s), q.digits); });
  }
  line("rms residual", "", [](const Solution& s) {
    return fmt::format("{:.3f} N, {:.4f} N m", s.force_rms, s.torque_rms);
  });
  out +=
      paragraph(fmt::format("The centre by regression on the measured forces, as ldd_tool does "
                            "it: {} mm. Noise of the forces pulls it off.",
                            textOf(report.answer().centre_on_measured_forces, 2)));
  return out;
}

std::string findings(const Report& report) {
  std::string out;
  for (const Finding& finding : report.findings) {
    constexpr double tiny = 1e-12;
    std::string sure;
    if (finding.chance > 0.0) {
      sure = fmt::format(" (chance of a false alarm {}{:.0e})",
                         finding.chance < tiny ? "below " : "", std::max(finding.chance, tiny));
    }
    out += paragraph(fmt::format("- {}{}.", finding.text, sure));
    out += "  " + wrapped("What to do: " + finding.advice + ".", 2) + "\n";
  }
  return out.empty() ? out : fmt::format("\nFound:\n{}", out);
}

std::string residuals(const Report& report, std::span<const StaticPose> poses) {
  std::vector<std::size_t> shown(report.residuals.size());
  for (std::size_t k = 0; k < shown.size(); ++k) shown[k] = k;
  const bool all = shown.size() <= mostRowsOfPoses;
  std::string out = fmt::format("\n{:<20} {:>10} {:>12} {:>12}\n", all ? "pose" : "worst poses",
                                "force, N", "torque, N m", "deviations");
  for (const std::size_t k : all ? shown : report.worst) {
    const PoseResidual& r = report.residuals[k];
    const auto length = [](const Vector& v) { return std::hypot(v[0], v[1], v[2]); };
    const auto place = std::find(report.worst.begin(), report.worst.end(), k);
    out +=
        fmt::format("{:<20.20} {:>10.3f} {:>12.4f} {:>12.1f}{}{}\n", poses[k].name, length(r.force),
                    length(r.torque), r.size, place == report.worst.begin() ? "  worst" : "",
                    r.left_out ? "  left out" : "");
  }
  return out;
}

std::string orientations(const Report& report) {
  std::string out = fmt::format("\nCondition of the equations: {:.1f} (forces), {:.1f} (torques)\n",
                                report.condition_force, report.condition_torque);
  if (!report.undetermined.empty()) {
    out += paragraph(fmt::format("Cannot be told from these poses: {}: {}",
                                 fmt::join(report.undetermined, ", "), report.undetermined_why));
  }
  if (!report.next) return out;
  const NextPose& next = *report.next;
  constexpr double degree = std::numbers::pi / 180.0;
  out += paragraph(fmt::format(
      "Best next pose: a {:.0f}, b {:.0f}, c {:.0f} deg (gravity along {} of the sensor). Standard "
      "deviations expected: {} now, {} with it.",
      next.angles.a / degree, next.angles.b / degree, next.angles.c / degree,
      textOf(next.gravity, 2), textOf(next.before), textOf(next.after)));
  const std::string goal =
      fmt::format("{:.2g} N and {:.2g} mm", report.goal.weight, report.goal.centre);
  if (!report.poses_missing) {
    out += paragraph("Thirty more poses would not reach " + goal + ": lower the noise.");
  } else if (*report.poses_missing > 0) {
    out += paragraph(
        fmt::format("Well-chosen poses still missing for {}: {}.", goal, *report.poses_missing));
  } else {
    out += paragraph(fmt::format("There are enough poses for {}{}.", goal,
                                 report.load_data ? "" : ", once what is wrong is put right"));
  }
  return out;
}

}  // namespace

std::string table(const Report& report, std::span<const StaticPose> poses) {
  if (poses.size() != report.residuals.size()) {
    throw std::invalid_argument(fmt::format("poses: the {} of the report wanted, not {}",
                                            report.residuals.size(), poses.size()));
  }
  std::string out =
      paragraph(fmt::format("Verdict: {}. {}.", nameOf(report.verdict), report.reason)) + "\n";
  out += numbers(report) + findings(report) + residuals(report, poses) + orientations(report);
  if (report.load_data) {
    const auto& [g, lx, ly, lz] = *report.load_data;
    out += fmt::format("\nzel_ftc_setLoadData({:.3f}, {:.2f}, {:.2f}, {:.2f});\n", g, lx, ly, lz);
  }
  return out;
}

}  // namespace zel::analysis
