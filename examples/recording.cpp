#include "examples/recording.h"

#include <fmt/format.h>

// The reader needs no thread of its own for files of this size.
#define CSV_IO_NO_THREAD
#include <libfccp/csv.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <stdexcept>
#include <tuple>

namespace example {
namespace {

constexpr std::array<const char*, 12> columns = {"x",  "y",  "z",  "a",  "b",  "c",
                                                 "fx", "fy", "fz", "mx", "my", "mz"};

/// The reader's own conversion takes an empty cell for 0 and rounds; this one does neither.
double number(const char* text, const std::string& path, unsigned line, const char* column) {
  const char* const end = text + std::strlen(text);
  const char* const begin = *text == '+' ? text + 1 : text;
  double value = 0.0;
  const auto [stop, error] = std::from_chars(begin, end, value);
  if (error != std::errc() || stop != end || !std::isfinite(value)) {
    throw std::runtime_error(fmt::format("{}, line {}, column {}: \"{}\" is not a finite number",
                                         path, line, column, text));
  }
  return value;
}

}  // namespace

std::vector<Sample> readRecording(const std::string& path) {
  io::CSVReader<12> reader(path);
  std::apply([&](auto... names) { reader.read_header(io::ignore_extra_column, names...); },
             columns);

  std::vector<Sample> samples;
  std::array<const char*, 12> cells = {};
  while (std::apply([&](auto&... cell) { return reader.read_row(cell...); }, cells)) {
    Sample sample;
    for (std::size_t i = 0; i < 12; ++i) {
      const double value = number(cells[i], path, reader.get_file_line(), columns[i]);
      (i < 6 ? sample.pose[i] : sample.reading[i - 6]) = value;
    }
    samples.push_back(sample);
  }
  if (samples.empty()) throw std::runtime_error(path + ": no lines after the header");
  return samples;
}

bool RecordingLink::feed() {
  if (now_ >= samples_.size()) return false;
  Wrench reading = samples_[now_].reading;
  return zel_ftc_obtainFTSensorData(reading.data()) == 1;
}

Pose RecordingLink::pose() {
  return samples_[std::min(now_, samples_.size() - 1)].pose;
}

}  // namespace example
