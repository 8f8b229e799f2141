#include "sim/recording.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>
#include <cstring>
#include <stdexcept>

#define CSV_IO_NO_THREAD
#include <libfccp/csv.h>

namespace zel::sim {

namespace {

constexpr const char* columns[6] = {"fx", "fy", "fz", "mx", "my", "mz"};

double number(const char* text, const std::string& path, unsigned line, const char* column) {
  const char* const last = text + std::strlen(text);
  const char* const first = *text == '+' ? text + 1 : text;
  double value = 0.0;
  const auto [end, error] = std::from_chars(first, last, value);
  if (error == std::errc() && end == last && std::isfinite(value)) return value;
  throw std::runtime_error(fmt::format("{}, line {}, column \"{}\": \"{}\" is not a finite number",
                                       path, line, column, text));
}

}  // namespace

Recording Recording::load(const std::string& path) try {
  io::CSVReader<6, io::trim_chars<' ', '\t'>, io::no_quote_escape<','>, io::throw_on_overflow,
                io::empty_line_comment>
      csv(path);
  csv.read_header(io::ignore_no_column, columns[0], columns[1], columns[2], columns[3], columns[4],
                  columns[5]);
  Recording recording;
  char* text[6];
  while (csv.read_row(text[0], text[1], text[2], text[3], text[4], text[5])) {
    Wrench& sample = recording.samples_.emplace_back();
    for (std::size_t i = 0; i < 6; ++i) {
      sample[i] = number(text[i], path, csv.get_file_line(), columns[i]);
    }
  }
  if (recording.samples_.empty()) throw std::runtime_error(path + ": no sample after the header");
  return recording;
} catch (const io::error::base& error) {
  throw std::runtime_error(error.what());
}

std::optional<Wrench> Recording::at(double seconds, double rate, End end) const {
  // A sample time that falls on a row in exact arithmetic must not land just before it.
  constexpr double rounding = 1e-6;
  const double row = std::floor(seconds * rate + rounding);
  const auto count = static_cast<double>(samples_.size());
  if (row >= count && end == End::stop) return std::nullopt;
  return samples_[static_cast<std::size_t>(std::fmod(row, count))];
}

}  // namespace zel::sim
