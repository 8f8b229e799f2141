// watch: six axes live in the terminal, and a row for every frame in a file.
#include <fmt/format.h>
#include <fmt/ostream.h>
#include <fmt/ranges.h>
#include <pthread.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <atomic>
#include <boost/lockfree/spsc_queue.hpp>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "tool/plaintext.h"
#include "tools/kept_file.h"
#include "tools/zelftc/sensor.h"
#include "tools/zelftc/subcommands.h"

namespace zel::cli {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

/// Of the sensor at the end, ms: longer than this it has stopped.
constexpr double silence = 1000.0;

struct Options {
  SensorOptions sensor;
  std::string csv;
  double seconds = 0.0;
  bool json = false;
};

/// What the display shows.
struct Glance {
  Reading reading;
  zel_ftc_link_health health;
};

/// The thread that reads the sensor: as the library asks, one for everything, and no file or
/// terminal ever keeps it waiting longer than the library keeps frames.
class Poller {
 public:
  Poller(const Sensor& sensor, bool realtime)
      : sensor_(sensor), realtime_(realtime), thread_([this] { run(); }) {}
  ~Poller() { stop(); }
  Poller(const Poller&) = delete;
  Poller& operator=(const Poller&) = delete;

  void stop() {
    stopped_ = true;
    if (thread_.joinable()) thread_.join();
  }

  bool next(zel_ftc_frame& frame) { return frames_.pop(frame); }
  /// True when there is a newer glance.
  bool look(Glance& glance) {
    bool any = false;
    while (glances_.pop(glance)) any = true;
    return any;
  }

 private:
  void run() {
    prctl(PR_SET_TIMERSLACK, 1UL);
    const sched_param below = {.sched_priority = 10};  // the library's threads go first
    if (realtime_) pthread_setschedparam(pthread_self(), SCHED_FIFO, &below);
    auto glanceDue = Clock::now();
    while (!stopped_) {
      takeFrames();
      const auto now = Clock::now();
      if (now >= glanceDue) {
        glances_.push({sensor_.read(), sensor_.health()});
        glanceDue = now + milliseconds(100);
      }
      std::this_thread::sleep_for(milliseconds(1));
    }
    takeFrames();
    glances_.push({sensor_.read(), sensor_.health()});
  }

  void takeFrames() {
    for (zel_ftc_frame frame; zel_ftc_nextFrame(&frame) == 1;) frames_.push(frame);
  }

  const Sensor& sensor_;
  const bool realtime_;
  std::atomic<bool> stopped_ = false;
  boost::lockfree::spsc_queue<zel_ftc_frame, boost::lockfree::capacity<1 << 16>> frames_;
  boost::lockfree::spsc_queue<Glance, boost::lockfree::capacity<16>> glances_;
  std::thread thread_;
};

/// One row per frame. Their numbers tell which are missing.
class FrameFile {
 public:
  explicit FrameFile(const std::string& path) : file_(path) {
    file_.stream() << "t,counter,status,fx,fy,fz,mx,my,mz\n";
  }

  void write(const zel_ftc_frame& f) {
    if (rows_ == 0) {
      last_ = f.number - 1;
      start_ = f.time;
    }
    missed_ += f.number - last_ - 1;
    last_ = f.number;
    ++rows_;
    fmt::print(file_.stream(), "{:.6f},{},{},{}\n", f.time - start_, f.counter, f.status,
               fmt::join(f.value, ","));
  }

  /// Ends at once when the disk is full, not hours later.
  void check() { file_.check(); }
  void keep() { file_.keep(); }
  const std::string& path() const { return file_.path(); }
  std::uint64_t rows() const { return rows_; }
  std::uint64_t missed() const { return missed_; }

 private:
  KeptFile file_;
  double start_ = 0.0;
  std::uint64_t last_ = 0, rows_ = 0, missed_ = 0;
};

/// A bar from the middle: "      |###      ". A value beyond the range ends in '!'.
std::string bar(double value, double range) {
  constexpr int half = 20;
  std::string text(2 * half + 1, ' ');
  text[half] = '|';
  if (!(range > 0.0) || !std::isfinite(value)) return text;
  const double share = value / range;
  const int length = static_cast<int>(std::lround(half * std::min(std::fabs(share), 1.0)));
  const int step = share < 0.0 ? -1 : 1;
  for (int i = 1; i <= length; ++i) text[half + i * step] = '#';
  if (std::fabs(share) > 1.0) text[half + half * step] = '!';
  return text;
}

class Display {
 public:
  Display(const Options& options, const Sensor& sensor)
      : options_(options),
        range_(sensor.range()),
        heading_(fmt::format("{}:{}, {}", options.sensor.address, options.sensor.port,
                             identityText(sensor.device().dev_info))),
        live_(!options.json && isatty(STDOUT_FILENO) == 1) {
    if (!options.json && !live_) {
      fmt::print("{}\n{:>8} {:>8} {:>8} {:>8} {:>8} {:>8} {:>8} {:>8} {:>6}\n", heading_, "s",
                 "Fx N", "Fy N", "Fz N", "Mx N m", "My N m", "Mz N m", "Hz", "status");
    }
  }

  /// Ten times a second on a terminal, where lines are drawn over; else once a second, and at the
  /// end.
  void show(double time, const Glance& glance, const FrameFile* file, bool last) {
    if (!live_ && !last && time < due_) return;
    due_ = time + 1.0;
    const Six& v = glance.reading.value;
    const zel_ftc_link_health& health = glance.health;
    if (options_.json) {
      Json line = {{"t", time}, {"reading", jsonOf(glance.reading)}, {"link", jsonOf(health)}};
      if (file != nullptr) {
        line["csv"] = {{"path", file->path()}, {"rows", file->rows()}, {"missed", file->missed()}};
      }
      put(dumped(line) + "\n");
    } else if (live_) {
      draw(v, glance, file);
    } else {
      put(fmt::format("{:8.1f} {:8.2f} {:8.2f} {:8.2f} {:8.3f} {:8.3f} {:8.3f} {:8.1f} {:>6}\n",
                      time, v[0], v[1], v[2], v[3], v[4], v[5], health.rate,
                      static_cast<int>(glance.reading.status.code)));
    }
  }

 private:
  /// A closed pipe leaves its mark in the stream and ends the loop.
  static void put(const std::string& text) { std::fputs(text.c_str(), stdout); }

  void draw(const Six& value, const Glance& glance, const FrameFile* file) {
    const zel_ftc_link_health& health = glance.health;
    std::vector<std::string> lines = {heading_};
    for (int i = 0; i < 6; ++i) {
      lines.push_back(fmt::format("{} {:>9.3f} {:3} [{}] {:>5g}", axisNames[i], value[i], unitOf(i),
                                  bar(value[i], range_[i]), range_[i]));
    }
    lines.push_back(fmt::format("{:.1f} Hz, {:.1f} ms old, longest gap {:.1f} ms, {} packets lost",
                                health.rate, health.age, health.longest_gap,
                                health.dropped_datagrams + health.wrong_checksums));
    lines.push_back(statusText(glance.reading.status));
    lines.push_back(file == nullptr ? "Ctrl-C ends"
                                    : fmt::format("{} rows, {} missed; Ctrl-C ends and keeps {}",
                                                  file->rows(), file->missed(), file->path()));
    std::string text = drawn_ ? fmt::format("\x1b[{}A", lines.size()) : "";
    for (const std::string& line : lines) text += line.substr(0, 79) + "\x1b[K\n";
    drawn_ = true;
    put(text);
  }

  const Options& options_;
  Six range_;
  std::string heading_;
  bool live_;
  bool drawn_ = false;
  double due_ = 0.0;
};

Exit watch(const Options& options) {
  std::optional<FrameFile> file;
  if (!options.csv.empty()) file.emplace(options.csv);
  const Sensor sensor(options.sensor);
  Display display(options, sensor);
  if (file) example::require(zel_ftc_keepFrames(true));
  Poller poller(sensor, options.sensor.realtime);
  const auto takeFrames = [&] {
    for (zel_ftc_frame frame; poller.next(frame);) {
      if (file) file->write(frame);
    }
    if (file) file->check();
  };
  const auto start = Clock::now();
  const auto elapsed = [&] { return std::chrono::duration<double>(Clock::now() - start).count(); };
  Glance glance = {};
  const auto show = [&](bool last) {
    if (poller.look(glance) || last) display.show(elapsed(), glance, file ? &*file : nullptr, last);
  };
  const auto goesOn = [&] {
    return !interruptionAsked() && std::ferror(stdout) == 0 &&
           (options.seconds <= 0.0 || elapsed() < options.seconds);
  };
  while (goesOn()) {
    std::this_thread::sleep_for(milliseconds(20));
    takeFrames();
    show(false);
  }
  poller.stop();
  takeFrames();
  if (file) file->keep();
  show(true);
  if (std::ferror(stdout) != 0) throw std::runtime_error("nobody reads the output any more");
  if (file && !options.json) {
    fmt::print("csv {}: {} rows, {} frames missed, longest gap {:.1f} ms\n", file->path(),
               file->rows(), file->missed(), glance.health.longest_gap);
  }
  if (options.seconds > 0.0) stopIfInterrupted();
  if (glance.health.good_frames == 0) {
    fmt::print(stderr, "no frame has come: look at \"zelftc probe\"\n");
    return notAsWanted;
  }
  if (glance.health.age > silence) {
    fmt::print(stderr, "the sensor has been silent for the last {:.1f} s\n",
               glance.health.age / 1000.0);
    return notAsWanted;
  }
  return file && file->missed() > 0 ? notAsWanted : done;
}

}  // namespace

Body addWatch(CLI::App& app) {
  app.description(
      "Shows the six axes live: bars against the range, rate, age, status. In a pipe one line per "
      "second. Runs until Ctrl-C, which is its normal end without --seconds.");
  app.footer(
      wrapped(
          "The recording has a row per frame: t [s, when it came, from the first on], counter "
          "(of the frames; 0 follows 100000), status, fx, fy, fz [N], mx, my, mz [N m]. It is "
          "written as FILE.part and gets its name at the end; when that cannot be, on a full disk "
          "for example, FILE.part stays. Frames that this machine missed are counted; the exit "
          "code is then 1, as it is when the sensor is silent at the end. Frames lost on their way "
          "show as gaps only: they carry no number.",
          0) +
      "\n");
  addExample(app, "--csv run.csv --seconds 60");
  const auto options = std::make_shared<Options>();
  addSensorOptions(app, options->sensor);
  app.add_option("--csv", options->csv, "record every frame")->type_name("FILE");
  app.add_flag(
      "--realtime", options->sensor.realtime,
      "read under SCHED_FIFO, so that a busy machine misses no frame; needs the right to it "
      "(root, CAP_SYS_NICE)");
  app.add_option("--seconds", options->seconds, "end after this time")->check(positive());
  app.add_flag("--json", options->json, "one JSON object per second, one a line");
  return [options] { return watch(*options); };
}

}  // namespace zel::cli
