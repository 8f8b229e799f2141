// plot: pictures of any recording.
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>

#include "examples/picture.h"
#include "examples/report.h"
#include "sim/finite_csv.h"
#include "tools/zelftc/subcommands.h"

namespace zel::cli {
namespace {

struct Options {
  std::string file, out = ".";
  example::ApproachMode mode;
};

/// The header line, as far as it is one.
std::string headerOf(const std::string& path) {
  std::string line(65536, '\0');
  if (std::filesystem::is_directory(path)) throw std::runtime_error(path + ": is a folder");
  std::ifstream file(path);
  if (!file) throw std::runtime_error(path + ": cannot be read");
  file.getline(line.data(), static_cast<std::streamsize>(line.size()));
  line.resize(line.find('\0'));
  if (line.empty()) throw std::runtime_error(path + ": is empty");
  return "," + line + ",";
}

bool draw(const Options& options) {
  const std::string header = headerOf(options.file);
  const std::string name = std::filesystem::path(options.file).stem().string();
  const std::string& csv = options.file;
  const auto has = [&](const char* column) { return header.find(column) != std::string::npos; };
  using sim::OtherColumns, sim::readFiniteCsv;
  if (has(",run,")) {
    return example::drawLog(options.out, name, name, csv, example::readLog(csv), options.mode,
                            false);
  }
  if (has(",lfx,")) {
    const auto rows =
        readFiniteCsv<10>(csv, {"pose", "fx", "fy", "fz", "lfx", "lfy", "lfz", "lmx", "lmy", "lmz"},
                          OtherColumns::ignored);
    return example::drawLeftOver(options.out, name, "Readings, and what is left of them", csv,
                                 rows.size());
  }
  const auto rows =
      readFiniteCsv<7>(csv, {"t", "fx", "fy", "fz", "mx", "my", "mz"}, OtherColumns::ignored);
  return example::drawReadings(options.out, name, name, csv, rows.back()[0]);
}

}  // namespace

Body addPlot(CLI::App& app) {
  app.description(
      "Draws the pictures of a recording: of the examples and of \"zelftc demo\" (force, contact, "
      "path and the other axes), of \"zelftc watch\" (the readings), of an identification (what is "
      "left of the readings). The columns tell which. Needs gnuplot.");
  addExample(app, "out/shift.csv --out pictures");
  const auto options = std::make_shared<Options>();
  app.add_option("FILE", options->file, "CSV file")->required();
  app.add_option("--out", options->out, "folder of the pictures and their scripts")
      ->capture_default_str();
  example::addSettingsOption(app, [options](const example::SettingsFile& settings) {
    options->mode = settings.over({.approach = options->mode}).approach;
  });
  const auto mode = "The mode of the run that was recorded";
  app.option_defaults()->group(mode);
  example::addOptions(app, options->mode);
  return [options] { return draw(*options) ? done : notPossible; };
}

}  // namespace zel::cli
