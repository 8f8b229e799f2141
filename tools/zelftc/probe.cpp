// probe: who the sensor is and how its link does.
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "tool/plaintext.h"
#include "tools/zelftc/sensor.h"
#include "tools/zelftc/subcommands.h"

namespace zel::cli {
namespace {

struct Options {
  SensorOptions sensor;
  double seconds = 2.5;
  double longest_gap = 80.0;
  double least_rate = 0.0;
  bool json = false;
};

/// What the stream brought in the seconds since `start`. The commands of the start stay, and so
/// does the longest gap, which belongs to one stretch of streaming.
zel_ftc_link_health since(const zel_ftc_link_health& start, zel_ftc_link_health now,
                          double seconds) {
  for (const auto count :
       {&zel_ftc_link_health::datagrams, &zel_ftc_link_health::bytes,
        &zel_ftc_link_health::foreign_datagrams, &zel_ftc_link_health::dropped_datagrams,
        &zel_ftc_link_health::cut_datagrams, &zel_ftc_link_health::good_frames,
        &zel_ftc_link_health::wrong_checksums, &zel_ftc_link_health::skipped_bytes,
        &zel_ftc_link_health::frames_beyond_range, &zel_ftc_link_health::bad_status_frames}) {
    now.*count -= start.*count;
  }
  // The library's own rate takes a full second.
  if (now.rate == 0.0 && now.age < 1000.0) {
    now.rate = static_cast<double>(now.good_frames) / seconds;
  }
  return now;
}

/// The health between two datagrams, so that no frame is left to be unpacked of those counted: 50
/// tries for a sensor whose datagrams follow each other closely.
zel_ftc_link_health atRest(const Sensor& sensor) {
  zel_ftc_link_health before = sensor.health();
  for (int tries = 50; tries > 0; --tries) {
    std::this_thread::sleep_for(std::chrono::microseconds(300));
    const zel_ftc_link_health now = sensor.health();
    if (now.datagrams == before.datagrams) return now;
    before = now;
  }
  return before;
}

/// What a controller would suffer from. Empty for a healthy link.
std::vector<std::string> complaints(const Options& options, const Reading& reading,
                                    const zel_ftc_link_health& health) {
  std::vector<std::string> list;
  const auto complain = [&list](bool when, const std::string& text) {
    if (when) list.push_back(text);
  };
  const auto lost = [&](std::uint64_t count, const char* what) {
    complain(count > 0, fmt::format("{} {}", count, what));
  };
  complain(health.good_frames == 0,
           "no frame has come: the sensor answers, but its stream does not arrive (firewall?)");
  complain(health.good_frames > 0 && reading.status.code != FT_N0RMAL,
           fmt::format("sensor status {}: {}", statusText(reading.status),
                       remedyOf(reading.status.code)));
  complain(
      health.good_frames > 0 && health.rate < options.least_rate,
      fmt::format("{:.1f} frames per second, at least {} wanted", health.rate, options.least_rate));
  complain(health.longest_gap > options.longest_gap,
           fmt::format("a gap of {:.1f} ms, at most {} ms wanted", health.longest_gap,
                       options.longest_gap));
  complain(
      health.age > options.longest_gap,
      fmt::format("silent for {:.0f} ms, at most {} ms wanted", health.age, options.longest_gap));
  lost(health.dropped_datagrams, "datagrams dropped: this machine was too busy to take them");
  lost(health.cut_datagrams, "datagrams longer than the library takes: their end is lost");
  lost(health.wrong_checksums, "packets with a wrong checksum: cable, switch");
  lost(health.skipped_bytes, "bytes that belong to no packet");
  lost(health.foreign_datagrams, "datagrams from another address: who else sends to port 52000?");
  lost(health.bad_status_frames, "frames whose status was not normal");
  lost(health.frames_beyond_range, "frames with a value beyond the range");
  return list;
}

Exit probe(const Options& options) {
  const Sensor sensor(options.sensor);
  // Where another program was killed, the sensor streams on: what came of that during the start,
  // and what was dropped, says nothing of the link.
  const zel_ftc_link_health start = atRest(sensor);
  Sensor::wait(options.seconds);
  const auto identity = sensor.device().dev_info;
  const Six range = sensor.range();
  const Reading reading = sensor.read();
  const zel_ftc_link_health health = since(start, sensor.health(), options.seconds);
  const std::vector<std::string> bad = complaints(options, reading, health);

  if (options.json) {
    print(Json{{"healthy", bad.empty()},
               {"complaints", bad},
               {"identity", jsonOf(identity)},
               {"range", range},
               {"reading", jsonOf(reading)},
               {"link", jsonOf(health)}});
    return bad.empty() ? done : notAsWanted;
  }
  const auto row = [](const char* label, const std::string& text) {
    fmt::print("{:9}{}\n", label, wrapped(text, 9));
  };
  row("sensor", fmt::format("{}:{}, {}", options.sensor.address, options.sensor.port,
                            identityText(identity)));
  row("range", fmt::format("{} N, {} N m", fmt::join(range.begin(), range.begin() + 3, " "),
                           fmt::join(range.begin() + 3, range.end(), " ")));
  row("reading", fmt::format("{:.3f} N, {:.3f} N m",
                             fmt::join(reading.value.begin(), reading.value.begin() + 3, " "),
                             fmt::join(reading.value.begin() + 3, reading.value.end(), " ")));
  row("status", statusText(reading.status));
  row("link",
      fmt::format("{:.1f} frames per second, longest gap {:.1f} ms, the newest is {:.1f} ms "
                  "old",
                  health.rate, health.longest_gap, health.age));
  row("counts", fmt::format("{} frames in {} datagrams; {} dropped, {} wrong checksums, {} stray "
                            "bytes, {} of {} commands unanswered",
                            health.good_frames, health.datagrams, health.dropped_datagrams,
                            health.wrong_checksums, health.skipped_bytes, health.failed_exchanges,
                            health.exchanges));
  for (const std::string& complaint : bad) row("bad", complaint);
  fmt::print("{}\n", bad.empty() ? "healthy" : "not healthy");
  return bad.empty() ? done : notAsWanted;
}

}  // namespace

Body addProbe(CLI::App& app) {
  app.description(
      "Asks a sensor who it is, listens to its stream for a while and says how the link does: "
      "identity, range, status, rate, gaps, losses. Changes nothing.");
  addExample(app, "--address 192.168.0.100 --port 49152");
  const auto options = std::make_shared<Options>();
  addSensorOptions(app, options->sensor);
  app.add_option("--seconds", options->seconds,
                 "how long to listen; the rate of less than two is rough")
      ->check(within(0.1, 3600))
      ->capture_default_str();
  app.add_option("--longest-gap", options->longest_gap,
                 "between two frames of a healthy link, ms; 80 end a run of 4 ms cycles")
      ->check(positive())
      ->capture_default_str();
  app.add_option("--least-rate", options->least_rate, "of a healthy link, Hz")
      ->check(notNegative())
      ->capture_default_str();
  addJsonFlag(app, options->json);
  return [options] { return probe(*options); };
}

}  // namespace zel::cli
