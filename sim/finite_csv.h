// Tables of finite numbers from CSV files, for every recording that simulator and examples read.
#ifndef ZEL_FTC_SIM_FINITE_CSV_H
#define ZEL_FTC_SIM_FINITE_CSV_H

#include <fmt/format.h>

#include <array>
#include <cmath>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#define CSV_IO_NO_THREAD
#include <libfccp/csv.h>

#include "tool/plaintext.h"

namespace zel::sim {

/// The most rows of a file; what is more is a mistake, and would fill the memory.
constexpr std::size_t mostRows = 4'000'000;

enum class OtherColumns { refused, ignored };

/// The columns named in the header line, in the order of `columns`; one array per row, empty lines
/// skipped. Throws std::runtime_error that names the file, the line and the column of what is
/// wrong: a missing or repeated column, another column where those are refused, a row that is too
/// short or too long, a value that is not a finite number, no row at all.
template <std::size_t N>
std::vector<std::array<double, N>> readFiniteCsv(const std::string& path,
                                                 const std::array<const char*, N>& columns,
                                                 OtherColumns others) try {
  io::CSVReader<N, io::trim_chars<' ', '\t'>, io::no_quote_escape<','>, io::throw_on_overflow,
                io::empty_line_comment>
      csv(path);
  const auto policy =
      others == OtherColumns::ignored ? io::ignore_extra_column : io::ignore_no_column;
  std::apply([&](auto... names) { csv.read_header(policy, names...); }, columns);

  std::vector<std::array<double, N>> rows;
  std::array<const char*, N> cells = {};
  while (std::apply([&](auto&... cell) { return csv.read_row(cell...); }, cells)) {
    if (rows.size() == mostRows) {
      throw std::runtime_error(fmt::format("{}: more than {} rows", path, mostRows));
    }
    auto& row = rows.emplace_back();
    for (std::size_t i = 0; i < N; ++i) {
      // The CSV reader's own conversion takes an empty cell for 0 and rounds; this one does
      // neither.
      if (!readNumber(cells[i], row[i]) || !std::isfinite(row[i])) {
        throw std::runtime_error(
            fmt::format("{}, line {}, column \"{}\": \"{}\" is not a finite number", path,
                        csv.get_file_line(), columns[i], cells[i]));
      }
    }
  }
  if (rows.empty()) throw std::runtime_error(path + ": no sample after the header");
  return rows;
} catch (const io::error::base& error) {
  throw std::runtime_error(error.what());
}

}  // namespace zel::sim

#endif
