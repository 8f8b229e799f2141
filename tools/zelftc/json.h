// What the subcommands share about JSON.
#ifndef ZEL_FTC_TOOLS_ZELFTC_JSON_H
#define ZEL_FTC_TOOLS_ZELFTC_JSON_H

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

namespace zel::cli {

/// In the order in which it is filled. What is not a number becomes null.
using Json = nlohmann::ordered_json;

inline void addJsonFlag(CLI::App& app, bool& json) {
  app.add_flag("--json", json, "JSON instead of text, for scripts");
}

/// Bytes that are no UTF-8 (a file name may have them) are replaced.
inline std::string dumped(const Json& json, int indent = -1) {
  return json.dump(indent, ' ', false, Json::error_handler_t::replace);
}

inline void print(const Json& json) {
  fmt::print("{}\n", dumped(json, 2));
}

}  // namespace zel::cli

#endif
