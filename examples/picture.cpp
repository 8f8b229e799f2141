// The sheets that the examples draw: figures of the log become gnuplot variables, the rest of each
// script is the same every time.
#include "examples/picture.h"

#include <fmt/format.h>
#include <fmt/ostream.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <utility>

#include "tools/command_line.h"

extern char** environ;

namespace example {
namespace {

constexpr const char* axes[6] = {"Fx", "Fy", "Fz", "Mx", "My", "Mz"};
constexpr const char* columns[6] = {"cfx", "cfy", "cfz", "cmx", "cmy", "cmz"};

/// Panels one below the other; a call of the macro `panel` goes on to the next one.
constexpr const char* style = R"(
set datafile separator ','
set grid lc rgb '#dddddd' lt 1 lw 0.5
set border lc rgb '#555555'
set key at screen 0.815, graph 1 left top Left reverse samplen 2
set style line 1 lw 1.7 lc rgb '#1f5fa8'
set style line 2 lw 1.5 lc rgb '#c8501e'
set style line 3 lw 1.5 lc rgb '#2e8b57'
set style line 4 lw 1.4 dt 2 lc rgb 'black'
set style line 5 lw 1.2 lc rgb '#9a9a9a'
set style line 6 lw 1.0 dt 3 lc rgb '#7a3db8'
set style line 7 lw 5.0 lc rgb '#f0c8a8'
set style line 8 lc rgb '#ff000000'  # not to be seen: the least range of a panel
total = 50 + 300 * rows
set terminal pngcairo size 1150, total font 'sans,11' noenhanced
set output exists("unfinished") ? unfinished : png
set multiplot title heading font ',14'
set lmargin at screen 0.08
set rmargin at screen 0.80
set xlabel 'time [s]' offset 0, 0.5
row = 0
panel = "row = row + 1; \
  set tmargin at screen 1 - (300.0 * row - 240) / total; \
  set bmargin at screen 1 - (300.0 * row - 25) / total"
)";

constexpr const char* forceSheet = R"(
held = sprintf('held force -%s [%s]', axis, unit)
step = sprintf('commanded step [%s]', speed)
whole = "set xrange [0 : end]; set offsets 0, 0, graph 0.08, graph 0.05"
least = unit eq 'N' ? 1 : 0.05

eval(panel); eval(whole); eval(runs)
set ylabel held
plot csv using (column('t')):(-column(force)) with lines ls 1 title 'held', \
     csv using (column('t')):(column('wanted')) with lines ls 4 title 'wanted by the mode', \
     least with lines ls 8 notitle
if (recorded) {
  eval(panel); eval(runs)
  set ylabel step
  plot csv using (column('t')):(column('driven')) with lines ls 5 title 'recorded robot', \
       csv using (column('t')):(column('step')) with lines ls 2 title 'commanded'
}
eval(noruns)
if (contact) {
  to = approach_end - contact_time < 2 ? approach_end + 0.06 : contact_time + 2
  from = contact_time - 0.3 * (to - contact_time)
  set xrange [from : to]
  in_contact = "set arrow 1 from contact_time, graph 0 to contact_time, graph 1 nohead ls 4; \
    set object 2 rect from phase_time, graph 0 to approach_end, graph 1 \
      fc rgb '#f2f5f9' fs solid noborder behind; \
    set label 4 'phase 0: towards contact' at phase_time, graph 1.06 right offset -0.8, 0; \
    set label 5 'phase 1: in contact' at phase_time, graph 1.06 left offset 0.8, 0"

  eval(panel); eval(in_contact)
  set ylabel held
  set object 3 rect from from, band_low to to, band_high fc rgb '#cfe8d6' fs solid noborder behind
  set label 1 sprintf('contact %.3f s', contact_time) at contact_time, graph 0.93 right offset -0.8, 0
  if (impact) {
    set label 2 sprintf('impact %.1f %s', peak, unit) at peak_time, peak left offset 1, 0.4 \
      point pt 6 ps 1.6 lc rgb '#c8501e'
    set label 3 sprintf('down to %.1f %s', drop, unit) at drop_time, drop left offset 1, -0.9 \
      point pt 6 ps 1.6 lc rgb '#c8501e'
  }
  plot switching with lines ls 6 title 'contact test', \
       csv using (column('t')):(-column(force)) with linespoints ls 1 pt 7 ps 0.3 title 'held', \
       csv using (column('t')):(column('wanted')) with lines ls 4 title 'set point', \
       NaN with boxes fc rgb '#cfe8d6' fs solid title 'settled band'

  eval(panel)
  unset object 3; unset label 1; unset label 2; unset label 3
  set ylabel step
  plot csv using (column('t')):(column('driven')) with fsteps ls 5 title 'driven', \
       csv using (column('t')):(column('step')) with steps ls 2 title 'commanded'
  unset arrow 1; unset object 2; unset label 4; unset label 5
}
if (path) {
  eval(panel); eval(paths)
  set xrange [path_start : path_end]
  set ylabel 'to the side of the path [mm]'
  plot 0 with lines ls 4 title 'planned', \
       csv using (column('t')):(column('side')) with lines ls 1 title 'driven', \
       0.01 with lines ls 8 notitle, -0.01 with lines ls 8 notitle

  eval(panel); eval(noruns)
  set size ratio -1
  set autoscale x
  set yrange [* < -12 : 12 < *]
  set offsets graph 0.05, graph 0.05, graph 0.1, graph 0.1
  set xlabel 'x [mm]'
  on_path(value) = column('side') == column('side') ? value : NaN
  set label 1 'from above, from the start' at graph 0, graph 1.1
  set rmargin at screen 0.42
  set ylabel 'y [mm]'
  plot csv using (column('px') - x0):(column('py') - y0) with lines ls 7 title 'planned', \
       csv using (on_path(column('ax') - x0)):(column('ay') - y0) with lines ls 1 title 'driven'
  set label 1 'from the side, from the start of the path'
  set lmargin at screen 0.48
  set rmargin at screen 0.80
  set ylabel 'z [mm]'
  plot csv using (column('px') - x0):(column('pz') - path_z) with lines ls 7 notitle, \
       csv using (on_path(column('ax') - x0)):(column('az') - path_z) with lines ls 1 notitle
}
unset multiplot
)";

constexpr const char* axesSheet = R"(
set xrange [0 : end]
set offsets 0, 0, graph 0.08, graph 0.05
axes = 'Fx Fy Fz Mx My Mz'
columns = 'cfx cfy cfz cmx cmy cmz'
do for [k = 0 : 1] {
  eval(panel); eval(runs)
  set ylabel sprintf('compensated [%s]', k ? 'N m' : 'N')
  least = k ? 0.01 : 0.3
  is_main(i) = word(columns, 3 * k + i) eq force
  plot for [i = 1 : 3] csv \
    using (column('t')):(is_main(i) ? NaN : column(word(columns, 3 * k + i))) with lines ls i \
    title (is_main(i) ? '' : word(axes, 3 * k + i)), \
    least with lines ls 8 notitle, -least with lines ls 8 notitle
}
eval(panel); eval(runs)
set ylabel 'flange from the start [mm]'
plot csv using (column('t')):(column('ax') - x0) with lines ls 1 title 'x', \
     csv using (column('t')):(column('ay') - y0) with lines ls 2 title 'y', \
     csv using (column('t')):(column('az') - z0) with lines ls 3 title 'z'
unset multiplot
)";

constexpr const char* readingsSheet = R"(
set xrange [0 : end]
set offsets 0, 0, graph 0.08, graph 0.05
do for [k = 0 : 1] {
  eval(panel)
  set ylabel sprintf('reading [%s]', k ? 'N m' : 'N')
  columns = k ? 'mx my mz' : 'fx fy fz'
  axes = k ? 'Mx My Mz' : 'Fx Fy Fz'
  plot for [i = 1 : 3] csv using (column('t')):(column(word(columns, i))) with lines ls i \
    title word(axes, i)
}
unset multiplot
)";

constexpr const char* leftOverSheet = R"(
set xlabel 'pose'
set xrange [0.5 : poses + 0.5]
if (poses < 25) { set xtics 1 }
set offsets 0, 0, graph 0.08, graph 0.08
do for [kind in 'raw force torque'] {
  columns = kind eq 'raw' ? 'fx fy fz' : kind eq 'force' ? 'lfx lfy lfz' : 'lmx lmy lmz'
  axes = kind eq 'torque' ? 'Mx My Mz' : 'Fx Fy Fz'
  limit = kind eq 'raw' ? NaN : kind eq 'force' ? force_limit : torque_limit
  eval(panel)
  set ylabel kind eq 'raw' ? 'reading [N]' : kind eq 'force' ? 'left over [N]' : 'left over [N m]'
  plot for [i = 1 : 3] csv using (column('pose') + 0.15 * (i - 2)):(column(word(columns, i))) \
         with impulses ls i lw 7 title word(axes, i), \
       limit with lines ls 4 title (limit == limit ? 'limit' : ''), -limit with lines ls 4 notitle
}
unset multiplot
)";

std::string quoted(const std::string& text) {
  std::string result = "'";
  for (const char c : text) result += c == '\'' ? "''" : std::string(1, c);
  return result + "'";
}

/// gnuplot does not say when the disk was full.
bool isWholePng(const std::string& path) {
  constexpr std::string_view trailer = "IEND\xAE\x42\x60\x82";
  std::string last(trailer.size(), '\0');
  std::ifstream file(path, std::ios::binary);
  file.seekg(-static_cast<std::streamoff>(last.size()), std::ios::end);
  return file.read(last.data(), static_cast<std::streamsize>(last.size())) && last == trailer;
}

/// Lets the script draw into `picture` instead of the file that it names. What is missing; "" when
/// it has been drawn.
std::string runGnuplot(const std::string& script, const std::string& picture) {
  std::string arguments[] = {"gnuplot", "-e", "unfinished = " + quoted(picture), script};
  char* argv[] = {arguments[0].data(), arguments[1].data(), arguments[2].data(),
                  arguments[3].data(), nullptr};
  // A group of its own: Ctrl-C ends this process, which ends gnuplot.
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
  pid_t child = 0;
  const int spawned = posix_spawnp(&child, argv[0], nullptr, &attributes, argv, environ);
  posix_spawnattr_destroy(&attributes);
  if (spawned != 0) return "gnuplot is missing; install gnuplot-nox";
  int status = 0;
  while (waitpid(child, &status, 0) == -1 && errno == EINTR) {
    if (zel::cli::interruptionAsked()) kill(child, SIGTERM);
  }
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) return "gnuplot refused " + script;
  return isWholePng(picture) ? "" : picture + " could not be written to its end";
}

/// The chosen runs of a log as gnuplot commands: every second one shaded, those that are long
/// enough with their name and code above the panel. And the commands that take this away.
std::pair<std::string, std::string> runCommands(const Log& log,
                                                const std::function<bool(const Cycle&)>& chosen) {
  std::string shown, hidden;
  int n = 100;
  for (auto first = log.begin(), last = first; first != log.end(); first = last) {
    last = std::find_if(first, log.end(), [&](const Cycle& c) { return c.run != first->run; });
    ++n;
    if (!chosen(*first)) continue;
    const Cycle& final = last[-1];
    const double share = (final.time - first->time) / std::max(log.back().time, 0.001);
    if (n % 2 == 0) {
      shown += fmt::format(
          "set object {} rect from {}, graph 0 to {}, graph 1 fc rgb '#f2f5f9' fs solid noborder "
          "behind; ",
          n, first->time, final.time);
      hidden += fmt::format("unset object {}; ", n);
    }
    if (share < 0.05) continue;
    const bool withCode = share > 0.15 && final.code != ZEL_RUN_RUNNING;
    shown += fmt::format("set label {} '{}{}' at {}, graph 1.06 center; ", n, first->run,
                         withCode ? fmt::format(" {}", final.code) : "",
                         0.5 * (first->time + final.time));
    hidden += fmt::format("unset label {}; ", n);
  }
  return {shown, hidden};
}

const Cycle* firstOf(const Log& log, const std::function<bool(const Cycle&)>& is) {
  const auto found = std::find_if(log.begin(), log.end(), is);
  return found == log.end() ? nullptr : &*found;
}

}  // namespace

Sheet::Sheet(const std::string& folder, const std::string& name, const std::string& title,
             const std::string& csv, int rows)
    : base_((std::filesystem::path(folder) / name).string()) {
  set("png", base_ + ".png");
  set("csv", csv);
  set("heading", title);
  set("rows", rows);
}

void Sheet::set(const std::string& variable, double value) {
  script_ += std::isfinite(value) ? fmt::format("{} = {}\n", variable, value)
                                  : fmt::format("{} = NaN\n", variable);
}

void Sheet::set(const std::string& variable, const std::string& text) {
  script_ += fmt::format("{} = {}\n", variable, quoted(text));
}

bool Sheet::draw(const std::string& panels) {
  zel::cli::KeptFile script(base_ + ".gp");
  script.stream() << script_ << style << panels;
  script.keep();
  const std::string picture = base_ + ".png", unfinished = picture + ".part";
  std::string missing = runGnuplot(script.path(), unfinished);
  if (missing.empty() && std::rename(unfinished.c_str(), picture.c_str()) != 0) {
    missing = picture + " cannot be written";
  }
  if (missing.empty()) {
    fmt::print("picture {}\n", picture);
  } else {
    std::remove(unfinished.c_str());
    if (!zel::cli::interruptionAsked()) fmt::print(stderr, "no picture: {}\n", missing);
  }
  zel::cli::stopIfInterrupted();
  return missing.empty();
}

bool drawLog(const std::string& folder, const std::string& name, const std::string& title,
             const std::string& csv, const Log& log, const ApproachMode& mode, bool recorded) {
  const int axis = mode.direction;
  const bool isForce = axis < FT_MX;
  const ApproachSummary summary = summarise(log, mode);
  const Cycle* const inContact = firstOf(log, [](const Cycle& c) { return c.phase > 0; });
  const auto onPath = [](const Cycle& c) { return std::isfinite(c.side); };
  const Cycle* const path = firstOf(log, onPath);
  const auto [runs, noRuns] = runCommands(log, [](const Cycle&) { return true; });
  const bool contact = summary.contact && inContact != nullptr;
  const auto setCommon = [&, &runs = runs](Sheet& sheet) {
    sheet.set("end", std::max(log.back().time, 0.001));
    sheet.set("runs", runs);
    sheet.set("force", columns[axis]);
    for (int i = 0; i < 3; ++i) sheet.set(std::string(1, "xyz"[i]) + "0", log.front().actual[i]);
  };

  Sheet force(folder, name, title, csv,
              1 + (recorded ? 1 : 0) + (contact ? 2 : 0) + (path != nullptr ? 2 : 0));
  setCommon(force);
  force.set("noruns", noRuns);
  force.set("axis", axes[axis]);
  force.set("unit", isForce ? "N" : "N m");
  force.set("speed", isForce ? "mm/s" : "rad/s");
  force.set("recorded", recorded);
  force.set("contact", contact);
  if (contact) {
    const auto end =
        std::find_if(log.begin() + static_cast<std::ptrdiff_t>(*summary.contact), log.end(),
                     [](const Cycle& c) { return c.code != ZEL_RUN_RUNNING; });
    const double range = mode.breakRange[axis];
    force.set("contact_time", summary.contactTime);
    force.set("phase_time", inContact->time);
    force.set("approach_end", (end == log.end() ? log.back() : *end).time);
    force.set("band_low", mode.force - range);
    force.set("band_high", mode.force + range);
    force.set("switching",
              std::copysign(isForce ? mode.switchingForce : mode.switchingTorque, mode.force));
    force.set("impact", summary.peak.has_value());
    if (summary.peak) {
      force.set("peak_time", summary.peak->time);
      force.set("peak", heldForce(*summary.peak, axis));
      force.set("drop_time", summary.drop->time);
      force.set("drop", heldForce(*summary.drop, axis));
    }
  }
  force.set("path", path != nullptr);
  if (path != nullptr) {
    force.set("path_start", path->time);
    force.set("path_z", path->pose[2]);
    force.set("paths", runCommands(log, onPath).first);
    force.set("path_end", std::find_if(log.rbegin(), log.rend(), onPath)->time);
  }
  if (!force.draw(forceSheet)) return false;

  Sheet others(folder, name + "_axes", title + ": the other axes", csv, 3);
  setCommon(others);
  return others.draw(axesSheet);
}

bool drawLeftOver(const std::string& folder, const std::string& name, const std::string& title,
                  const std::string& csv, std::size_t poses, double forceLimit,
                  double torqueLimit) {
  Sheet sheet(folder, name, title, csv, 3);
  sheet.set("poses", static_cast<double>(poses));
  sheet.set("force_limit", forceLimit);
  sheet.set("torque_limit", torqueLimit);
  return sheet.draw(leftOverSheet);
}

bool drawReadings(const std::string& folder, const std::string& name, const std::string& title,
                  const std::string& csv, double seconds) {
  Sheet sheet(folder, name, title, csv, 2);
  sheet.set("end", std::max(seconds, 0.001));
  return sheet.draw(readingsSheet);
}

}  // namespace example
