// codes: what a number means, what causes it, what to do.
#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tool/plaintext.h"
#include "tools/zelftc/json.h"
#include "tools/zelftc/subcommands.h"
#include "zel_ftc_diag.h"

namespace zel::cli {
namespace {

constexpr struct Space {
  ZelCodeSpace space;
  const char* name;
  const char* heading;
} spaces[] = {
    {ZEL_CODES_RUN, "run result", "Run results: ftc_code of the error record"},
    {ZEL_CODES_SENSOR, "sensor status", "Sensor status: ft_code of the error record, zel_info_"},
    {ZEL_CODES_REASON, "reason", "Reasons of a refusal: zel_ftc_lastReason"},
};

struct Options {
  std::optional<int> number;
  std::string search;
  bool json = false;
};

struct Found {
  const Space* space;
  zel_ftc_code_info info;
};

std::vector<Found> all() {
  std::vector<Found> found;
  for (const Space& space : spaces) {
    zel_ftc_code_info info;
    for (int i = 0; zel_ftc_listCodes(space.space, i, &info) == 1; ++i) {
      found.push_back({&space, info});
    }
  }
  return found;
}

/// A number may stand in several spaces: each is told.
std::vector<Found> numbered(int number) {
  std::vector<Found> found;
  for (const Space& space : spaces) {
    zel_ftc_code_info info;
    if (zel_ftc_explainCode(space.space, number, &info) == 1) found.push_back({&space, info});
  }
  return found;
}

std::string lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

std::vector<Found> containing(const std::string& text) {
  std::vector<Found> found = all();
  const auto lacks = [&](const Found& f) {
    const zel_ftc_code_info& i = f.info;
    const std::string entry =
        fmt::format("{} {}\n{}\n{}\n{}", i.code, i.name, i.text, i.cause, i.remedy);
    return lower(entry).find(lower(text)) == std::string::npos;
  };
  found.erase(std::remove_if(found.begin(), found.end(), lacks), found.end());
  return found;
}

void printEntry(const Found& found) {
  const zel_ftc_code_info& info = found.info;
  fmt::print("{} {}  {}\n", found.space->name, info.code, info.name);
  const auto line = [](const char* label, const std::string& text) {
    if (!text.empty()) fmt::print("  {:8}{}\n", label, wrapped(text, 10));
  };
  line("text", info.text);
  line("axes", info.axes);
  line("cause", info.cause);
  line("remedy", info.remedy);
}

void printList(const std::vector<Found>& found) {
  const Space* space = nullptr;
  for (const Found& f : found) {
    if (f.space != space) fmt::print("{}{}\n", space == nullptr ? "" : "\n", f.space->heading);
    space = f.space;
    fmt::print("{:>7}  {}\n", f.info.code, f.info.name);
  }
}

Json jsonOf(const std::vector<Found>& found) {
  Json list = Json::array();
  for (const auto& [space, info] : found) {
    list.push_back({{"space", space->name},
                    {"code", info.code},
                    {"name", info.name},
                    {"text", info.text},
                    {"axes", info.axes},
                    {"cause", info.cause},
                    {"remedy", info.remedy}});
  }
  return list;
}

Exit codes(const Options& options) {
  const bool list = !options.number && options.search.empty();
  const std::vector<Found> found = options.number ? numbered(*options.number)
                                   : list         ? all()
                                                  : containing(options.search);
  if (options.json) {
    print(jsonOf(found));
  } else if (list) {
    printList(found);
  } else if (found.empty()) {
    fmt::print("no code {}; \"zelftc codes\" lists all\n",
               options.number ? fmt::format("has the number {}", *options.number)
                              : fmt::format("tells of \"{}\"", options.search));
  } else {
    std::for_each(found.begin(), found.end(), printEntry);
  }
  return found.empty() ? notAsWanted : done;
}

}  // namespace

Body addCodes(CLI::App& app) {
  app.description(
      "Explains a number that the library gave: run results, sensor status, reasons of a refusal. "
      "A number that means several things shows them all. Without a number: the list.");
  addExample(app, "11000");
  addExample(app, "--search overload --json");
  const auto options = std::make_shared<Options>();
  auto* const number = app.add_option("NUMBER", options->number, "the code, for example 80010");
  app.add_option("--search", options->search, "the codes whose name or text contains this")
      ->excludes(number);
  addJsonFlag(app, options->json);
  return [options] { return codes(*options); };
}

}  // namespace zel::cli
