#include "examples/report.h"

#include <fmt/format.h>
#include <fmt/os.h>
#include <spawn.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <numeric>

extern char** environ;

namespace example {
namespace {

using Vector = std::array<double, 3>;
constexpr std::array<const char*, 6> axisName = {"Fx", "Fy", "Fz", "Mx", "My", "Mz"};

const char* unitOf(int axis) {
  return axis < FT_MX ? "N" : "N m";
}

Vector operator-(const Vector& a, const Vector& b) {
  return {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
}
double dot(const Vector& a, const Vector& b) {
  return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}
double length(const Vector& a) {
  return std::sqrt(dot(a, a));
}
Vector position(const Pose& pose) {
  return {pose[0], pose[1], pose[2]};
}
Vector unit(const Vector& a) {
  const double n = length(a);
  return {a[0] / n, a[1] / n, a[2] / n};
}
Vector cross(const Vector& a, const Vector& b) {
  return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}
/// The part of v across the direction n.
Vector across(const Vector& v, const Vector& n) {
  const double along = dot(v, n);
  return {v[0] - along * n[0], v[1] - along * n[1], v[2] - along * n[2]};
}

/// Deviation of the actual positions of a run; `side` measures one position.
template <typename Side>
PathDeviation deviation(const Log& log, const std::string& run, const Pose& end, Side side) {
  PathDeviation result;
  std::vector<double> sides;
  for (const Cycle& cycle : log) {
    if (cycle.run != run) continue;
    sides.push_back(side(position(cycle.actual)));
    result.endPoint = length(across(position(cycle.actual) - position(end), zAxis(end)));
  }
  result.side = statisticsOf(sides);
  return result;
}

std::string quoted(const std::string& text) {
  std::string result = "'";
  for (const char c : text) result += c == '\'' ? "''" : std::string(1, c);
  return result + "'";
}

bool runGnuplot(const std::string& script) {
  std::string program = "gnuplot", argument = script;
  char* argv[] = {program.data(), argument.data(), nullptr};
  pid_t child = 0;
  if (posix_spawnp(&child, program.c_str(), nullptr, nullptr, argv, environ) != 0) return false;
  int status = 0;
  return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

std::string pathIn(const std::string& folder, const std::string& file) {
  std::filesystem::create_directories(folder);
  return (std::filesystem::path(folder) / file).string();
}

}  // namespace

Statistics statisticsOf(const std::vector<double>& values) {
  Statistics s;
  s.count = values.size();
  if (values.empty()) return s;
  s.mean = std::accumulate(values.begin(), values.end(), 0.0) / static_cast<double>(s.count);
  double squares = 0.0;
  for (const double v : values) squares += (v - s.mean) * (v - s.mean);
  s.deviation = s.count > 1 ? std::sqrt(squares / static_cast<double>(s.count - 1)) : 0.0;
  const auto [least, greatest] = std::minmax_element(values.begin(), values.end());
  s.least = *least;
  s.greatest = *greatest;
  return s;
}

Statistics forceStatistics(const Log& log, const std::string& run, int axis, double settling) {
  std::vector<double> forces;
  std::optional<double> begin;
  for (const Cycle& cycle : log) {
    if (cycle.run != run) continue;
    if (!begin) begin = cycle.time;
    if (cycle.time - *begin >= settling) forces.push_back(heldForce(cycle, axis));
  }
  return statisticsOf(forces);
}

ApproachSummary summarise(const Log& log, const ApproachMode& mode) {
  ApproachSummary summary;
  const auto inContact = [&](const Cycle& cycle) {
    const Wrench& w = cycle.control;
    return length({w[0], w[1], w[2]}) > mode.switchingForce ||
           length({w[3], w[4], w[5]}) > mode.switchingTorque;
  };
  const auto first = std::find_if(log.begin(), log.end(), inContact);
  if (first == log.end()) return summary;
  summary.contact = first - log.begin();
  summary.contactTime = first->time;

  const double sign = mode.force < 0.0 ? -1.0 : 1.0;
  for (auto cycle = first; cycle != log.end(); ++cycle) {
    const double beyond = sign * (heldForce(*cycle, mode.direction) - mode.force);
    summary.overshoot = std::max(summary.overshoot, beyond);
  }
  const Log last(log.end() - std::min<std::ptrdiff_t>(20, log.end() - first), log.end());
  summary.settledForce = forceStatistics(last, last.front().run, mode.direction).mean;
  return summary;
}

void print(const ApproachSummary& summary, const ApproachMode& mode, int code) {
  const char* unit = unitOf(mode.direction);
  if (summary.contact) {
    fmt::print("contact       {:8.3f} s\n", summary.contactTime);
    fmt::print("{} {:8.2f} {} of {:.2f}\n", code == ZEL_RUN_END ? "settled force" : "last force   ",
               summary.settledForce, unit, mode.force);
    fmt::print("overshoot     {:8.2f} {}\n", summary.overshoot, unit);
  } else {
    fmt::print("contact       none\n");
  }
  fmt::print("result code   {:8d} {}\n", code, codeText(code));
}

std::string codeText(int code) {
  switch (code) {
#define EXAMPLE_CODE_TEXT(name, value, text) \
  case value:                                \
    return text;
    ZEL_RUN_RESULTS(EXAMPLE_CODE_TEXT)
#undef EXAMPLE_CODE_TEXT
    default:
      return code > ZEL_RUN_BREAK ? fmt::format("End. (axis bits {})", code - ZEL_RUN_BREAK) : "";
  }
}

PathDeviation lineDeviation(const Log& log, const Pose& start, const Pose& end) {
  const Vector along = unit(position(end) - position(start));
  const Vector sideways = unit(cross(along, zAxis(start)));
  return deviation(log, "line", end,
                   [&](const Vector& p) { return dot(p - position(start), sideways); });
}

PathDeviation arcDeviation(const Log& log, const Pose& start, const Pose& via, const Pose& end) {
  // Circumscribed circle: c = a + ((|v|^2 w - |w|^2 v) x (v x w)) / (2 |v x w|^2) with v and w the
  // chords from a.
  const Vector a = position(start), v = position(via) - a, w = position(end) - a;
  const Vector n = cross(v, w);
  const double vv = dot(v, v), ww = dot(w, w);
  const Vector chord = {vv * w[0] - ww * v[0], vv * w[1] - ww * v[1], vv * w[2] - ww * v[2]};
  const Vector spoke = cross(chord, n);
  const double scale = 1.0 / (2.0 * dot(n, n));
  const Vector toCentre = {-scale * spoke[0], -scale * spoke[1], -scale * spoke[2]};
  const Vector centre = a - toCentre;
  return deviation(log, "arc", end, [&, normal = unit(n)](const Vector& p) {
    return length(across(p - centre, normal)) - length(toCentre);
  });
}

std::string writeCsv(const std::string& folder, const std::string& name, const Log& log) {
  const std::string path = pathIn(folder, name + ".csv");
  auto file = fmt::output_file(path);
  file.print("run,t,x,y,z,a,b,c,fx,fy,fz,mx,my,mz,cfx,cfy,cfz,cmx,cmy,cmz,ax,ay,az,code\n");
  for (const Cycle& c : log) {
    file.print("{},{:.3f},{},{},{},{},{},{},{}\n", c.run, c.time, fmt::join(c.pose, ","),
               fmt::join(c.raw, ","), fmt::join(c.control, ","), c.actual[0], c.actual[1],
               c.actual[2], c.code);
  }
  return path;
}

std::vector<Mark> marksOf(const Log& log, const ApproachMode& mode) {
  std::vector<Mark> marks;
  const ApproachSummary summary = summarise(log, mode);
  if (summary.contact) {
    marks.push_back({summary.contactTime, fmt::format("contact {:.2f} s", summary.contactTime)});
  }
  for (const Cycle& cycle : log) {
    if (cycle.code != ZEL_RUN_RUNNING) {
      marks.push_back({cycle.time, fmt::format("{} {}", cycle.run, cycle.code)});
    }
  }
  return marks;
}

void record(const std::string& folder, const std::string& name, const Log& log,
            const Picture& picture) {
  const std::string csv = writeCsv(folder, name, log);
  const std::string png = pathIn(folder, name + ".png");
  const std::string script = pathIn(folder, name + ".gp");
  const int rows = picture.pathFromAbove ? 3 : 2;
  const char* unit = unitOf(picture.axis);
  const Pose& start = log.front().pose;
  {
    auto gp = fmt::output_file(script);
    gp.print("set terminal pngcairo size 1000,{} font 'sans,11'\nset output {}\n", 350 * rows,
             quoted(png));
    gp.print("set datafile separator ','\nset grid\nset key outside right top\n");
    gp.print("set offsets 0, 0, graph 0.3, graph 0.05\n");
    gp.print("set multiplot layout {},1 title {} noenhanced\n", rows, quoted(picture.title));
    gp.print("set lmargin 10\nset rmargin 22\nset xlabel 'time [s]'\n");
    double height = 0.95;
    const double middle = 0.5 * log.back().time;
    for (const auto& [time, text] : picture.marks) {
      gp.print("set arrow from first {0},graph 0 to first {0},graph 1 nohead dt 2 lc 'gray30'\n",
               time);
      if (height < 0.5) continue;  // many marks: the later ones go without a label
      const bool left = time > middle;
      gp.print("set label {} at first {},graph {:.2f} {} offset {},0 tc 'gray30' noenhanced\n",
               quoted(text), time, height, left ? "right" : "left", left ? -0.5 : 0.5);
      height -= 0.07;
    }
    gp.print("set ylabel 'held force -{} [{}]'\n", axisName[picture.axis], unit);
    gp.print("plot {} using (column('t')):(-column('c{}')) with lines lw 1.5 title 'held', ",
             quoted(csv), std::array{"fx", "fy", "fz", "mx", "my", "mz"}[picture.axis]);
    gp.print("{} with lines dt 2 lc 'black' title 'wanted'\n", picture.wanted);

    gp.print("unset label\nset ylabel 'flange from the start [mm]'\nplot ");
    for (int i = 0; i < 3; ++i) {
      const char axis[] = {static_cast<char>('x' + i), '\0'};
      gp.print("{} using (column('t')):(column('a{}')-({})) with lines lw 1.5 title '{}'{}",
               quoted(csv), axis, start[i], axis, i < 2 ? ", " : "\n");
    }
    if (picture.pathFromAbove) {
      gp.print("unset arrow\nset xlabel 'x [mm]'\nset ylabel 'y [mm]'\nset size ratio -1\n");
      gp.print("plot {} using (column('ax')):(column('ay')) with lines lw 1.5 title 'path'\n",
               quoted(csv));
    }
    gp.print("unset multiplot\n");
  }
  if (!runGnuplot(script)) {
    fmt::print(stderr, "No picture: gnuplot is missing or refused {}\n", script);
    return;
  }
  fmt::print("csv {}\npicture {}\n", csv, png);
}

void printTracking(const std::string& run, const Log& log, int axis, const PathDeviation& path,
                   int code) {
  const Statistics force = forceStatistics(log, run, axis);
  fmt::print("force  mean {:.2f} N, standard deviation {:.2f} N, {:.2f} to {:.2f} N\n", force.mean,
             force.deviation, force.least, force.greatest);
  fmt::print("path   {:.3f} to {:.3f} mm to the side, {:.3f} mm from the end point at the end\n",
             path.side.least, path.side.greatest, path.endPoint);
  fmt::print("result code {} {}\n", code, codeText(code));
}

int finishTracking(const std::string& run, const Session& session, const PathDeviation& path,
                   int code, const Options& options) {
  const int axis = session.mode.direction;
  const Statistics force = forceStatistics(session.log, run, axis);
  printTracking(run, session.log, axis, path, code);
  record(options.out, run, session.log,
         {.title = "Approach, then " + run + " under force",
          .axis = axis,
          .wanted = session.mode.force,
          .marks = marksOf(session.log, session.mode),
          .pathFromAbove = run == "arc"});
  const bool ended = code == ZEL_RUN_END;
  fmt::print("{}: {} {}, force {:.1f} N +- {:.1f} N\n", run, ended ? "end" : "failed", code,
             force.mean, force.deviation);
  return ended ? 0 : 1;
}

}  // namespace example
