#include "analysis/poses.h"

#include <fmt/format.h>

#include <algorithm>
#include <boost/locale/utf.hpp>
#include <cmath>
#include <fstream>
#include <numbers>
#include <stdexcept>
#include <string_view>

#include "matrix/rigidtransform.h"
#include "tool/plaintext.h"

#define CSV_IO_NO_THREAD
#include <libfccp/csv.h>

namespace zel::analysis {

Rotation rotationOf(const Orientation& orientation) {
  Rotation R;
  if (const auto* q = std::get_if<Quaternion>(&orientation)) {
    const double components[4] = {q->w, q->x, q->y, q->z};
    rotationFromQuaternion(components, R);
  } else if (const auto* angles = std::get_if<Angles>(&orientation)) {
    rotationFromAngles(angles->a, angles->b, angles->c, R);
  } else {
    R = std::get<Rotation>(orientation);
  }
  return R;
}

bool PoseCollector::continues(const StaticPose& row) const {
  if (poses_.empty()) return false;
  const StaticPose& last = poses_.back();
  if (labelled_ || !row.name.empty()) return labelled_ && row.name == last.name;
  return rotationOf(row.orientation) == rotationOf(last.orientation) &&
         row.position == last.position;
}

void PoseCollector::add(const StaticPose& row) {
  if (!continues(row)) {
    labelled_ = !row.name.empty();
    StaticPose& pose = poses_.emplace_back(row);
    if (!labelled_) pose.name = std::to_string(poses_.size());
    pose.rows = 1;
    return;
  }
  StaticPose& pose = poses_.back();
  const auto n = static_cast<double>(++pose.rows);
  for (std::size_t i = 0; i < 6; ++i) pose.wrench[i] += (row.wrench[i] - pose.wrench[i]) / n;
}

namespace {

constexpr double degree = std::numbers::pi / 180.0;

/// What a column says; one unit of the file is `scale` units inside.
enum class Quantity { quaternion, angles, position, wrench, time, label, leftOver };

struct Column {
  const char* name;
  Quantity quantity;
  std::size_t component;
  double scale;
  const char* group;  ///< columns of a group come together
};

constexpr Column knownColumns[] = {
    {"qw", Quantity::quaternion, 0, 1.0, "qw, qx, qy, qz"},
    {"qx", Quantity::quaternion, 1, 1.0, "qw, qx, qy, qz"},
    {"qy", Quantity::quaternion, 2, 1.0, "qw, qx, qy, qz"},
    {"qz", Quantity::quaternion, 3, 1.0, "qw, qx, qy, qz"},
    {"a_deg", Quantity::angles, 0, degree, "a_deg, b_deg, c_deg"},
    {"b_deg", Quantity::angles, 1, degree, "a_deg, b_deg, c_deg"},
    {"c_deg", Quantity::angles, 2, degree, "a_deg, b_deg, c_deg"},
    {"a_rad", Quantity::angles, 0, 1.0, "a_rad, b_rad, c_rad"},
    {"b_rad", Quantity::angles, 1, 1.0, "a_rad, b_rad, c_rad"},
    {"c_rad", Quantity::angles, 2, 1.0, "a_rad, b_rad, c_rad"},
    {"x_mm", Quantity::position, 0, 1.0, "x_mm, y_mm, z_mm"},
    {"y_mm", Quantity::position, 1, 1.0, "x_mm, y_mm, z_mm"},
    {"z_mm", Quantity::position, 2, 1.0, "x_mm, y_mm, z_mm"},
    {"x_m", Quantity::position, 0, 1000.0, "x_m, y_m, z_m"},
    {"y_m", Quantity::position, 1, 1000.0, "x_m, y_m, z_m"},
    {"z_m", Quantity::position, 2, 1000.0, "x_m, y_m, z_m"},
    {"fx", Quantity::wrench, 0, 1.0, "fx, fy, fz, mx, my, mz"},
    {"fy", Quantity::wrench, 1, 1.0, "fx, fy, fz, mx, my, mz"},
    {"fz", Quantity::wrench, 2, 1.0, "fx, fy, fz, mx, my, mz"},
    {"mx", Quantity::wrench, 3, 1.0, "fx, fy, fz, mx, my, mz"},
    {"my", Quantity::wrench, 4, 1.0, "fx, fy, fz, mx, my, mz"},
    {"mz", Quantity::wrench, 5, 1.0, "fx, fy, fz, mx, my, mz"},
    {"time_s", Quantity::time, 0, 1.0, "time_s"},
    {"pose", Quantity::label, 0, 1.0, "pose"},
    {"lfx", Quantity::leftOver, 0, 1.0, "lfx, lfy, lfz, lmx, lmy, lmz"},
    {"lfy", Quantity::leftOver, 1, 1.0, "lfx, lfy, lfz, lmx, lmy, lmz"},
    {"lfz", Quantity::leftOver, 2, 1.0, "lfx, lfy, lfz, lmx, lmy, lmz"},
    {"lmx", Quantity::leftOver, 3, 1.0, "lfx, lfy, lfz, lmx, lmy, lmz"},
    {"lmy", Quantity::leftOver, 4, 1.0, "lfx, lfy, lfz, lmx, lmy, lmz"},
    {"lmz", Quantity::leftOver, 5, 1.0, "lfx, lfy, lfz, lmx, lmy, lmz"},
};

class PoseFile {
 public:
  explicit PoseFile(const std::string& path) : path_(path), lines_(opened(path)) {
    const char* const header = lines_.next_line();
    if (header == nullptr) throw std::runtime_error(path_ + " is empty: a header line is missing");
    requireUtf8(header);
    readHeader(header);
  }

  std::vector<StaticPose> read() {
    PoseCollector collector;
    std::size_t rows = 0;
    while (const char* const line = lines_.next_line()) {
      if (trimmed(line).empty()) continue;
      requireUtf8(line);
      if (++rows > mostRows) fail(fmt::format("more than {} rows", mostRows));
      collector.add(readRow(line));
      if (collector.poses().size() > mostPoses) {
        fail(fmt::format(
            "more than {} poses: one line per reading at rest, or a column \"pose\" that says "
            "which lines belong together",
            mostPoses));
      }
    }
    if (rows == 0) throw std::runtime_error(path_ + " has no reading after the header");
    return collector.poses();
  }

 private:
  static const std::string& opened(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    char start[4] = {1, 1, 1, 1};
    if (!file.read(start, sizeof start) && !file.eof()) {
      throw std::runtime_error(path + " cannot be read");
    }
    const std::string_view text(start, sizeof start);
    if (text.starts_with("\xff\xfe") || text.starts_with("\xfe\xff") ||
        text.find('\0') != text.npos) {
      throw std::runtime_error(path + ", line 1: this is UTF-16 text, save it as UTF-8");
    }
    return path;
  }

  static std::string_view trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(" \t");
    if (first == text.npos) return {};
    return text.substr(first, text.find_last_not_of(" \t") + 1 - first);
  }

  static std::vector<std::string_view> cellsOf(std::string_view line) {
    std::vector<std::string_view> cells;
    for (std::size_t end = 0; end != line.npos; line.remove_prefix(end + 1)) {
      end = line.find(',');
      cells.push_back(trimmed(line.substr(0, end)));
      if (end == line.npos) break;
    }
    return cells;
  }

  [[noreturn]] void fail(const std::string& what) const {
    throw std::runtime_error(fmt::format("{}, line {}: {}", path_, lines_.get_file_line(), what));
  }
  [[noreturn]] void fail(const Column& column, const std::string& what) const {
    fail(fmt::format("column \"{}\": {}", column.name, what));
  }

  /// Names of poses and columns go on into messages, tables and JSON.
  void requireUtf8(std::string_view line) const {
    const char* next = line.data();
    while (next != line.data() + line.size()) {
      using namespace boost::locale::utf;
      if (!is_valid_codepoint(utf_traits<char>::decode(next, line.data() + line.size()))) {
        fail("this is not UTF-8 text, save it as UTF-8");
      }
    }
  }

  bool has(Quantity quantity) const {
    return std::any_of(columns_.begin(), columns_.end(),
                       [&](const Column* column) { return column->quantity == quantity; });
  }

  void readHeader(std::string_view line) {
    for (const std::string_view name : cellsOf(line)) {
      const auto* const column = std::find_if(std::begin(knownColumns), std::end(knownColumns),
                                              [&](const Column& c) { return c.name == name; });
      if (column == std::end(knownColumns)) {
        fail(
            fmt::format("column \"{}\" is not known; columns are qw, qx, qy, qz or a_deg, b_deg, "
                        "c_deg or a_rad, b_rad, c_rad, then x_mm, y_mm, z_mm or x_m, y_m, z_m, "
                        "fx, fy, fz, mx, my, mz, time_s, pose",
                        name));
      }
      for (const Column* other : columns_) {
        if (other == column) fail(*column, "stands there twice");
        if (other->quantity == column->quantity && other->group != column->group) {
          fail(*column, fmt::format("says in another unit what \"{}\" says", other->name));
        }
      }
      columns_.push_back(column);
    }
    for (const Column& needed : knownColumns) {
      const bool group_begun = std::any_of(columns_.begin(), columns_.end(), [&](const Column* c) {
        return std::string_view(c->group) == needed.group;
      });
      const bool present = std::find(columns_.begin(), columns_.end(), &needed) != columns_.end();
      if (!present && (group_begun || needed.quantity == Quantity::wrench)) {
        fail(needed, fmt::format("is missing; {} come together", needed.group));
      }
    }
    if (has(Quantity::quaternion) == has(Quantity::angles)) {
      fail(
          "the orientation has to be in exactly one of qw, qx, qy, qz; a_deg, b_deg, c_deg; "
          "a_rad, b_rad, c_rad");
    }
  }

  double numberIn(std::string_view cell, const Column& column) const {
    double value = 0.0;
    if (!readNumber(cell, value) || !(std::fabs(value) <= largestNumber)) {
      fail(column, fmt::format("\"{}\" is not a finite number, or a huge one", cell));
    }
    return value;
  }

  StaticPose readRow(std::string_view line) const {
    const std::vector<std::string_view> cells = cellsOf(line);
    if (cells.size() != columns_.size()) {
      fail(fmt::format("{} cells, but {} columns", cells.size(), columns_.size()));
    }
    StaticPose row;
    row.line = lines_.get_file_line();
    std::array<double, 4> orientation = {};
    Vector position = {};
    for (std::size_t i = 0; i < cells.size(); ++i) {
      const Column& column = *columns_[i];
      if (column.quantity == Quantity::label) {
        row.name = cells[i];
        continue;
      }
      const double value = column.scale * numberIn(cells[i], column);
      switch (column.quantity) {
        case Quantity::angles:
          // Half a degree more than a turn leaves room for rounding; 90 under a_rad is refused.
          if (std::fabs(value) > 360.5 * degree) {
            fail(column, fmt::format("{} is more than one turn; degrees belong into a_deg, b_deg, "
                                     "c_deg, radians into a_rad, b_rad, c_rad",
                                     cells[i]));
          }
          [[fallthrough]];
        case Quantity::quaternion:
          orientation[column.component] = value;
          break;
        case Quantity::position:
          position[column.component] = value;
          break;
        case Quantity::wrench:
          row.wrench[column.component] = value;
          break;
        case Quantity::time:
          row.time = value;
          break;
        case Quantity::label:
        case Quantity::leftOver:
          break;
      }
    }
    const auto [q0, q1, q2, q3] = orientation;
    if (has(Quantity::angles)) {
      row.orientation = Angles{q0, q1, q2};
    } else {
      const double length = std::sqrt(q0 * q0 + q1 * q1 + q2 * q2 + q3 * q3);
      if (!(std::fabs(length - 1.0) <= 1e-3)) {
        fail(fmt::format("columns \"qw\" to \"qz\": the quaternion has the length {:.4g}, not 1",
                         length));
      }
      row.orientation = Quaternion{q0 / length, q1 / length, q2 / length, q3 / length};
    }
    if (has(Quantity::position)) row.position = position;
    return row;
  }

  std::string path_;
  io::LineReader lines_;
  std::vector<const Column*> columns_;
};

}  // namespace

std::vector<StaticPose> readPoses(const std::string& path) try {
  return PoseFile(path).read();
} catch (const io::error::base& error) {
  throw std::runtime_error(error.what());
}

}  // namespace zel::analysis
