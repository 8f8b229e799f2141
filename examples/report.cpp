#include "examples/report.h"

#include <fmt/format.h>
#include <fmt/ostream.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <numeric>
#include <set>
#include <stdexcept>
#include <tuple>
#include <utility>

#include "examples/picture.h"
#include "sim/finite_csv.h"
#include "tool/plaintext.h"

namespace example {
namespace {

const char* unitOf(int axis) {
  return axis < FT_MX ? "N" : "N m";
}

double length(const double* v) {
  return std::hypot(v[0], v[1], v[2]);
}

constexpr std::array columns = {"run",  "t",      "x",    "y",      "z",     "a",   "b",   "c",
                                "fx",   "fy",     "fz",   "mx",     "my",    "mz",  "cfx", "cfy",
                                "cfz",  "cmx",    "cmy",  "cmz",    "ax",    "ay",  "az",  "ox",
                                "oy",   "oz",     "oa",   "ob",     "oc",    "px",  "py",  "pz",
                                "side", "wanted", "step", "driven", "phase", "code"};

/// The numbers of a cycle, in the order of the columns from x to driven.
template <typename AnyCycle>
auto numbersOf(AnyCycle& c) {
  std::array<decltype(c.pose.data()), columns.size() - 4> all = {};
  auto next = all.begin();
  const auto add = [&next](auto& list, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) *next++ = &list[i];
  };
  add(c.pose, 6);
  add(c.raw, 6);
  add(c.control, 6);
  add(c.actual, 3);
  add(c.commanded, 6);
  add(c.planned, 3);
  for (auto* const value : {&c.side, &c.wanted, &c.step, &c.driven}) *next++ = value;
  return all;
}

void write(std::ostream& csv, const Log& log) {
  fmt::print(csv, "{}\n", fmt::join(columns, ","));
  for (const Cycle& c : log) {
    std::string numbers;
    for (const double* const value : numbersOf(c)) {
      numbers += std::isfinite(*value) ? fmt::format("{},", *value) : "nan,";
    }
    fmt::print(csv, "{},{:.3f},{}{},{}\n", c.run, c.time, numbers,
               c.phase < 0 ? "" : std::to_string(c.phase), c.code);
  }
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

Statistics forceStatistics(const Log& log, const std::string& run, int axis) {
  std::vector<double> forces;
  for (const Cycle& cycle : log) {
    if (cycle.run == run) forces.push_back(heldForce(cycle, axis));
  }
  return statisticsOf(forces);
}

ApproachSummary summarise(const Log& log, const ApproachMode& mode) {
  ApproachSummary summary;
  const auto inContact = [&](const Cycle& cycle) {
    return length(cycle.control.data()) > mode.switchingForce ||
           length(cycle.control.data() + 3) > mode.switchingTorque;
  };
  const auto first = std::find_if(log.begin(), log.end(), inContact);
  if (first == log.end()) return summary;
  summary.contact = first - log.begin();
  summary.contactTime = first->time;

  const double sign = mode.force < 0.0 ? -1.0 : 1.0;
  const auto held = [&](const Cycle& cycle) { return sign * heldForce(cycle, mode.direction); };
  for (auto cycle = first; cycle != log.end(); ++cycle) {
    summary.overshoot = std::max(summary.overshoot, held(*cycle) - sign * mode.force);
  }
  const Log last(log.end() - std::min<std::ptrdiff_t>(20, log.end() - first), log.end());
  summary.settledForce = forceStatistics(last, last.front().run, mode.direction).mean;

  // The force rises to the peak of the impact, falls, and rises again with the set point.
  const double noise = std::max(mode.breakRange[mode.direction], 0.02 * std::fabs(mode.force));
  auto peak = first, cycle = first;
  for (; cycle != log.end() && held(*cycle) >= held(*peak) - noise; ++cycle) {
    if (held(*cycle) > held(*peak)) peak = cycle;
  }
  if (cycle == log.end()) return summary;
  auto drop = cycle;
  for (; cycle != log.end() && held(*cycle) <= held(*drop) + noise; ++cycle) {
    if (held(*cycle) < held(*drop)) drop = cycle;
  }
  summary.peak = *peak;
  summary.drop = *drop;
  return summary;
}

void print(const ApproachSummary& summary, const ApproachMode& mode, const Outcome& outcome) {
  const char* unit = unitOf(mode.direction);
  if (summary.contact) {
    fmt::print("contact       {:8.3f} s\n", summary.contactTime);
    if (summary.peak) {
      fmt::print("impact        {:8.2f} {}, then down to {:.2f} {}\n",
                 heldForce(*summary.peak, mode.direction), unit,
                 heldForce(*summary.drop, mode.direction), unit);
    }
    fmt::print("{} {:8.2f} {} of {:.2f}\n", outcome.ended() ? "settled force" : "last force   ",
               summary.settledForce, unit, mode.force);
    fmt::print("overshoot     {:8.2f} {}\n", summary.overshoot, unit);
  } else {
    fmt::print("contact       none\n");
  }
  fmt::print("result        {}\n", outcome.text());
}

void printTracking(const std::string& run, const Log& log, int axis, const Pose& end,
                   const Outcome& outcome) {
  const Statistics force = forceStatistics(log, run, axis);
  std::vector<double> sides;
  for (const Cycle& cycle : log) {
    if (cycle.run == run) sides.push_back(cycle.side);
  }
  const Statistics side = statisticsOf(sides);
  fmt::print("force   mean {:.2f} N, standard deviation {:.2f} N, {:.2f} to {:.2f} N\n", force.mean,
             force.deviation, force.least, force.greatest);
  fmt::print("path    {:.3f} to {:.3f} mm to the side, {:.3f} mm from the end point at the end\n",
             side.least, side.greatest, besideEnd(log.back().actual, end));
  fmt::print("result  {}\n", outcome.text());
}

std::string writeCsv(const std::string& folder, const std::string& name, const Log& log) {
  zel::cli::KeptFile csv((std::filesystem::path(folder) / (name + ".csv")).string());
  write(csv.stream(), log);
  csv.keep();
  return csv.path();
}

Log readLog(const std::string& path) try {
  io::CSVReader<columns.size(), io::trim_chars<' ', '\t'>, io::no_quote_escape<','>,
                io::throw_on_overflow, io::empty_line_comment>
      csv(path);
  std::apply([&](auto... names) { csv.read_header(io::ignore_no_column, names...); }, columns);
  static std::set<std::string> runs;  // a cycle points at the name of its run
  Log log;
  std::array<const char*, columns.size()> cells = {};
  while (std::apply([&](auto&... cell) { return csv.read_row(cell...); }, cells)) {
    constexpr std::size_t longest = 1'000'000;
    if (log.size() == longest) {
      throw std::runtime_error(fmt::format("{}: more than {} rows", path, longest));
    }
    Cycle& cycle = log.emplace_back();
    cycle.run = runs.insert(cells.front()).first->c_str();
    double phase = -1.0, code = 0.0;
    const auto read = [&](std::size_t i, double& value) {
      if (zel::readNumber(cells[i], value)) return;
      throw std::runtime_error(fmt::format("{}, line {}, column \"{}\": \"{}\" is not a number",
                                           path, csv.get_file_line(), columns[i], cells[i]));
    };
    read(1, cycle.time);
    const auto numbers = numbersOf(cycle);
    for (std::size_t i = 0; i < numbers.size(); ++i) read(i + 2, *numbers[i]);
    if (*cells[columns.size() - 2] != '\0') read(columns.size() - 2, phase);
    read(columns.size() - 1, code);
    cycle.phase = static_cast<int>(phase);
    cycle.code = static_cast<int>(code);
  }
  if (log.empty()) throw std::runtime_error(path + ": no cycle after the header");
  return log;
} catch (const io::error::base& error) {
  throw std::runtime_error(error.what());
}

Records::Records(std::string folder, std::string name)
    : folder_(std::move(folder)),
      name_(std::move(name)),
      csv_((std::filesystem::path(folder_) / (name_ + ".csv")).string()) {}

Records::~Records() {
  if (log.empty() || !open_) return;
  try {
    keepCsv();
  } catch (const std::exception& error) {
    std::fputs(fmt::format("{}\n", error.what()).c_str(), stderr);  // throws nothing
  }
}

void Records::keepCsv() {
  open_ = false;
  write(csv_.stream(), log);
  csv_.keep();
  fmt::print("csv {}\n", csv_.path());
}

void Records::finish(const std::string& title, const ApproachMode& mode, bool recorded) {
  keepCsv();
  if (log.size() < 2) return;  // nothing to draw a line between
  drawLog(folder_, name_, title, csv_.path(), log, mode, recorded);
}

Session::Session(const std::string& sessionName, const Options& sessionOptions)
    : name(sessionName),
      options(sessionOptions),
      records(options.out, name),
      config(demoCell(options)),
      cell(config),
      robot(cell, options),
      mode(approachMode(options)) {
  configure(setupOf(config, options));
  zero(robot);
}

Outcome Session::approach() {
  Outcome outcome =
      example::approach(robot, mode, CycleLimits(ZEL_APPROACH_RUN, options), records.log);
  print(summarise(records.log, mode), mode, outcome);
  return outcome;
}

zel::cli::Exit Session::finishTracking(const Pose& end, const Outcome& outcome) {
  printTracking(name, records.log, mode.direction, end, outcome);
  records.finish("Approach, then " + name + " under force", mode);
  if (!outcome.ended()) {
    fmt::print("{}: failed, {}\n", name, outcome.text());
    return zel::cli::notAsWanted;
  }
  const Statistics force = forceStatistics(records.log, name, mode.direction);
  fmt::print("{}: end {}, force {:.1f} N +- {:.1f} N\n", name, outcome.code, force.mean,
             force.deviation);
  return zel::cli::done;
}

zel::cli::Exit Session::finishWithoutContact(const Outcome& outcome) {
  records.finish("Approach", mode);
  fmt::print("{}: failed, approach {}\n", name, outcome.text());
  return zel::cli::notAsWanted;
}

}  // namespace example
