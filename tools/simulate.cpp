#include "tools/simulate.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <pthread.h>
#include <sys/prctl.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "sim/recording.h"
#include "sim/robot_link.h"
#include "sim/sensor_simulator.h"

namespace zel::cli {
namespace {

using namespace zel::sim;

/// When the sensor falls silent or dies, s after the start.
struct Outage {
  double start = 0.0;
  double length = 0.0;  ///< 0 = never
};

struct Options {
  SensorSimulatorConfig sensor;
  std::array<double, 6> wrench{};
  std::string recording;
  double recording_rate = 0.0;
  std::string recording_end = "loop";
  bool cell = false;
  CellConfig cell_config;
  double lag_ms = 0.0;
  int link_port = -1;
  double delay_ms = 0.0;
  double jitter_ms = 0.0;
  double answer_delay_ms = 0.0;
  int corrupt_at = -1;
  Outage silence;
  Outage death;
  double seconds = 0.0;
  bool quiet = false;
  bool with_parent = false;
};

constexpr struct {
  Fault fault;
  const char* option;
  const char* effect;
} faultOptions[faultKinds] = {
    {Fault::loss, "loss", "is lost"},
    {Fault::duplication, "duplicate", "arrives twice"},
    {Fault::reordering, "reorder", "arrives after its successor"},
    {Fault::corruption, "corrupt", "has one wrong byte, see --corrupt-at"},
    {Fault::wrong_crc, "wrong-crc", "has both CRC bytes inverted"},
    {Fault::truncation, "truncate", "is cut short at a random place"},
    {Fault::merging, "merge", "shares a datagram with its successors, see --merged"},
    {Fault::splitting, "split", "comes in two datagrams"},
    {Fault::garbage, "garbage", "comes after a datagram of 1 to 64 random bytes"},
    {Fault::status, "status", "has the status of --status-byte"},
};

/// A byte is shown as a number.
CLI::Option* showDefault(CLI::Option* option, std::uint64_t value) {
  return option->default_str(std::to_string(value));
}

void addSensorOptions(CLI::App& app, Options& options) {
  auto& [port, rate, identity, source, binary_answer, faults, log] = options.sensor;
  port = defaultSensorPort;
  app.add_option("-p,--port", port, "UDP port on 127.0.0.1; 0 = any free one, printed when ready")
      ->capture_default_str();
  app.add_option("-r,--rate", rate, "frames per second of the stream, Hz")
      ->check(within(1, 4000))
      ->capture_default_str();
  app.add_option("--binary-answer", binary_answer,
                 "datagram that answers \"<BINARY>\"; default none");
  app.add_option("--seconds", options.seconds, "end after this time, s; default: run until SIGINT")
      ->check(positive());
  app.add_flag("-q,--quiet", options.quiet, "do not log the commands received");
  app.add_flag("--with-parent", options.with_parent,
               "end when the process ends that started the simulator");

  const auto addIdentity = [&app](const char* name, auto& value, const char* what) {
    showDefault(app.add_option(name, value, what), value)->group("Identity");
  };
  addIdentity("--model", identity.model,
              "model number, 0..255; 1, 2, 3, 5 select a measuring range, others that of 1");
  addIdentity("--range", identity.range, "range number, 0..255");
  addIdentity("--id", identity.id, "serial number, 0..65535");
  addIdentity("--year", identity.year, "year of calibration, 0..255");
  addIdentity("--month", identity.month, "month of calibration, 0..255");
  addIdentity("--date", identity.date, "day of calibration, 0..255");
}

void addSourceOptions(CLI::App& app, Options& options) {
  const char* const group = "Wrench source (one of)";
  auto* const wrench =
      app.add_option("--wrench", options.wrench, "a constant wrench, N and N m; default zero")
          ->delimiter(',')
          ->type_name("FX,FY,FZ,MX,MY,MZ")
          ->check(finite())
          ->group(group);
  auto* const recording =
      app.add_option("--recording", options.recording,
                     "a CSV file with the columns fx,fy,fz (N), mx,my,mz (N m), in any order")
          ->group(group);
  auto* const cell =
      app.add_flag("--cell", options.cell, "the simulated cell: robot, tool load, elastic surface")
          ->group(group);
  wrench->excludes(recording, cell);
  recording->excludes(cell);

  app.add_option("--recording-rate", options.recording_rate,
                 "samples per second of the recording, Hz; default: the rate of the stream")
      ->check(positive())
      ->needs(recording)
      ->group("Recording");
  app.add_option("--recording-end", options.recording_end,
                 "after the last sample: loop, or stop (the simulator ends)")
      ->check(CLI::IsMember({"loop", "stop"}))
      ->needs(recording)
      ->capture_default_str()
      ->group("Recording");
}

void addCellOptions(CLI::App& app, Options& options) {
  CellConfig& config = options.cell_config;
  CLI::Option* const cell = app.get_option("--cell");
  const auto add = [&](const char* name, auto& value, const char* what) {
    return app.add_option(name, value, what)->needs(cell)->group("Simulated cell");
  };
  const auto addNumber = [&](const char* name, auto& value, const char* what) {
    return add(name, value, what)->capture_default_str();
  };
  const auto addMagnitude = [&](const char* name, double& value, const char* what) {
    addNumber(name, value, what)->check(notNegative());
  };
  const auto addList = [&](const char* name, auto& values, const char* elements, const char* what) {
    add(name, values, what)->delimiter(',')->type_name(elements)->check(finite());
  };
  const auto addPose = [&](const char* name, Pose& pose, const char* what) {
    addList(name, pose, "X,Y,Z,A,B,C", what);
  };
  add("--robot-link", options.link_port,
      "UDP port on 127.0.0.1 through which a controller moves the robot and lets time pass, one "
      "datagram of 64 bytes each way per cycle (layout: the guide); 0 = any free one; default: the "
      "robot rests")
      ->check(CLI::Range(0, 65535));
  addPose("--start", config.start, "flange at the start, in the base, mm and rad");
  addMagnitude("--lag", options.lag_ms, "time constant with which the robot follows, ms");
  addPose("--flange-sensor", config.flange_sensor, "sensor on the flange, mm and rad");
  addPose("--sensor-tool", config.sensor_tool,
          "tool on the sensor, mm and rad; its origin is the tip that touches");
  addPose("--surface", config.surface.pose,
          "surface in the base, mm and rad; z is its outward normal");
  addMagnitude("--stiffness", config.surface.stiffness, "of the surface, N/mm");
  addMagnitude("--damping", config.surface.damping, "of the surface, N s/mm");
  addMagnitude("--friction", config.surface.friction, "Coulomb coefficient of the surface");
  addNumber("--radius", config.surface.radius,
            "of curvature of the surface, mm; 0 = flat, negative = hollow")
      ->check(finite());
  addMagnitude("--load", config.load.weight, "weight of the tool, N");
  addList("--load-centre", config.load.centre, "X,Y,Z", "centre of mass in the sensor frame, mm");
  addList("--offset", config.offset, "FX,FY,FZ,MX,MY,MZ",
          "constant error of the sensor, N and N m");
  addMagnitude("--force-noise", config.force_noise, "standard deviation, N");
  addMagnitude("--torque-noise", config.torque_noise, "standard deviation, N m");
  addNumber("--noise-seed", config.seed, "of the noise")->check(notNegative());
}

void addFaultOptions(CLI::App& app, Options& options) {
  SensorFaults& faults = options.sensor.faults;
  const char* const group =
      "Faults (WHEN: a probability such as 0.05, or one packet in n such as 1/20)";
  for (const auto& [fault, option, effect] : faultOptions) {
    Occurrence& when = faults[fault];
    app.add_option_function<std::string>(
           fmt::format("--{}", option),
           [&when, option = option](const std::string& text) {
             try {
               when = parseOccurrence(text);
             } catch (const std::invalid_argument& error) {
               throw CLI::ValidationError(fmt::format("--{}", option), error.what());
             }
           },
           fmt::format("a packet {}", effect))
        ->type_name("WHEN")
        ->group(group);
  }
  const auto add = [&](const char* name, auto& value, const char* what) {
    return app.add_option(name, value, what)->capture_default_str()->group(group);
  };
  showDefault(add("--status-byte", faults.status_byte,
                  "status of the data frames chosen by --status, of all without it: 0 normal, "
                  "254 overload, 255 data error"),
              faults.status_byte);
  app.add_option("--corrupt-at", options.corrupt_at,
                 "offset in the packet of the byte that --corrupt changes; default: random")
      ->check(CLI::Range(0, 261))
      ->group(group);
  add("--merged", faults.merged_packets, "packets per datagram of --merge, 2..100");
  add("--delay", options.delay_ms, "of every packet, ms")->check(within(0, 60000));
  add("--jitter", options.jitter_ms, "added to the delay, from 0 to this at random, ms")
      ->check(within(0, 60000));
  add("--answer-delay", options.answer_delay_ms, "from a command to its answer, ms")
      ->check(within(0, 60000));
  app.add_flag("--faults-on-replies", faults.replies,
               "faults strike the replies to commands too, not just streamed frames")
      ->group(group);
  add("--seed", faults.seed, "of the random choices")->check(notNegative());

  const auto addOutage = [&](const std::string& name, Outage& outage, const std::string& what) {
    auto* const length = app.add_option(fmt::format("--{}-for", name), outage.length,
                                        fmt::format("for this long, s, {}", what))
                             ->check(positive())
                             ->group(group);
    app.add_option(fmt::format("--{}-after", name), outage.start,
                   "when that begins, s after the start; default at once")
        ->check(notNegative())
        ->needs(length)
        ->group(group);
  };
  addOutage("silent", options.silence, "take commands, but send nothing");
  addOutage("dead", options.death,
            "neither hear nor send; then return without the stream and what was not saved");
  app.add_flag("--survive", faults.survives,
               "after --dead-for the sensor has forgotten nothing, as after a pulled cable")
      ->group(group);
}

void printSummary(const SensorSimulator& simulator, double seconds) {
  const SensorStatistics statistics = simulator.statistics();
  fmt::print("{:.1f} s: {} commands, {} datagrams ignored\n", seconds, statistics.commands,
             statistics.ignored);
  fmt::print("{} frames, {} times skipped, mean lateness {:.0f} us, worst {:.0f} us\n",
             statistics.frames, statistics.skipped, statistics.mean_lateness * 1e6,
             statistics.worst_lateness * 1e6);
  fmt::print("{} datagrams sent ({} bytes), {} suppressed, {} failed\n", statistics.datagrams,
             statistics.bytes, statistics.suppressed, statistics.send_errors);
  for (const auto& [fault, option, effect] : faultOptions) {
    const std::uint64_t strikes = statistics.faults[static_cast<std::size_t>(fault)];
    if (strikes > 0) fmt::print("fault {}: {} times\n", option, strikes);
  }
}

/// Runs until a signal, the end of the time or of the recording; begins and ends the outages.
class Session {
 public:
  Session(SensorSimulator& simulator, const Options& options, const sigset_t& endSignals)
      : simulator_(simulator), options_(options), end_signals_(endSignals) {}

  void run() {
    SensorFaults faults = options_.sensor.faults;
    while (!simulator_.ended() && (options_.seconds <= 0.0 || elapsed() < options_.seconds)) {
      const bool silent = within(options_.silence);
      const bool dead = within(options_.death);
      if (silent != faults.silent || dead != faults.dead) {
        faults.silent = silent;
        faults.dead = dead;
        simulator_.setFaults(faults);
        fmt::print("{:9.3f} s  {}\n", elapsed(), dead ? "dead" : silent ? "silent" : "back");
        std::fflush(stdout);
      }
      const timespec step{0, 5'000'000};
      if (sigtimedwait(&end_signals_, nullptr, &step) > 0) return;
    }
  }

  double elapsed() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
  }

 private:
  bool within(const Outage& outage) const {
    const double time = elapsed() - outage.start;
    return time >= 0.0 && time < outage.length;
  }

  SensorSimulator& simulator_;
  const Options& options_;
  const sigset_t& end_signals_;
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

/// Blocks the end signals in this thread and those it starts: only sigtimedwait gets them.
sigset_t blockEndSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : endSignals()) sigaddset(&signals, signal);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  return signals;
}

void simulate(Options options) {
  if (options.with_parent) prctl(PR_SET_PDEATHSIG, SIGTERM);
  const sigset_t endSignals = blockEndSignals();
  stopIfInterrupted();  // by a signal that came before
  std::optional<SharedCell> cell;
  std::optional<RobotLinkServer> link;
  std::string source = fmt::format("constant wrench {}", fmt::join(options.wrench, ","));
  if (options.cell) {
    options.cell_config.lag = options.lag_ms / 1000.0;
    cell.emplace(options.cell_config);
    options.sensor.source = [&cell](double) { return cell->reading(); };
    source = "simulated cell";
    if (options.link_port >= 0) {
      link.emplace(*cell, static_cast<std::uint16_t>(options.link_port));
      source += fmt::format(", robot link on 127.0.0.1:{}", link->port());
    }
  } else if (!options.recording.empty()) {
    const double rate = options.recording_rate > 0.0 ? options.recording_rate : options.sensor.rate;
    const auto end = options.recording_end == "loop" ? Recording::End::loop : Recording::End::stop;
    const auto recording = std::make_shared<Recording>(Recording::load(options.recording));
    options.sensor.source = [recording, rate, end](double seconds) {
      return recording->at(seconds, rate, end);
    };
    source = fmt::format("{}, {} samples", options.recording, recording->size());
  } else {
    options.sensor.source = [wrench = options.wrench](double) { return wrench; };
  }

  if (!options.quiet) {
    const auto start = std::chrono::steady_clock::now();
    options.sensor.log = [start](const SensorCommand& command) {
      const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
      fmt::print("{:9.3f} s  {}\n", time.count(), command.text);
      std::fflush(stdout);
    };
  }
  SensorSimulator simulator(options.sensor);
  simulator.start();
  fmt::print("listening on 127.0.0.1:{}, model {}, {} Hz, {}\n", simulator.port(),
             options.sensor.identity.model, options.sensor.rate, source);
  std::fflush(stdout);

  Session session(simulator, options, endSignals);
  session.run();
  const double seconds = session.elapsed();
  simulator.stop();
  printSummary(simulator, seconds);
}

}  // namespace

Body addSimulator(CLI::App& app) {
  app.description(
      "A six-axis force/torque sensor without hardware: answers the sensor's UDP protocol on "
      "127.0.0.1 and streams data frames. Prints one line when it listens, then each command it "
      "receives, and a summary when it ends (SIGINT, SIGTERM, SIGHUP, --seconds).");
  addExample(app, "--wrench 0,0,-10,0,0,0 --loss 0.01");
  app.set_config("--config", "", "read options from a file, one name=value a line");
  const auto options = std::make_shared<Options>();
  addSensorOptions(app, *options);
  addSourceOptions(app, *options);
  addCellOptions(app, *options);
  addFaultOptions(app, *options);

  return [&app, options] {
    SensorFaults& faults = options->sensor.faults;
    faults.delay = options->delay_ms / 1000.0;
    faults.jitter = options->jitter_ms / 1000.0;
    faults.answer_delay = options->answer_delay_ms / 1000.0;
    if (options->corrupt_at >= 0) faults.corrupt_at = options->corrupt_at;
    if (app.count("--status-byte") > 0 && app.count("--status") == 0) {
      faults[Fault::status].every = 1;
    }
    simulate(*options);
    return done;
  };
}

}  // namespace zel::cli
