// The subcommands of zelftc, one module each. Each gives options and description to its app and
// returns what it does.
#ifndef ZEL_FTC_TOOLS_ZELFTC_SUBCOMMANDS_H
#define ZEL_FTC_TOOLS_ZELFTC_SUBCOMMANDS_H

#include "tools/command_line.h"

namespace zel::cli {

Body addAlarm(CLI::App& app);
Body addCheck(CLI::App& app);
Body addCodes(CLI::App& app);
Body addDemo(CLI::App& app);
Body addFilter(CLI::App& app);
Body addIdentify(CLI::App& app);
Body addNet(CLI::App& app);
Body addPlot(CLI::App& app);
Body addProbe(CLI::App& app);
Body addWatch(CLI::App& app);
Body addZero(CLI::App& app);

}  // namespace zel::cli

#endif
