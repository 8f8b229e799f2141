// What the library's sensors share: range tables, status texts, packet counting. Internal: not
// installed.
#ifndef ZEL_FTC_FT_SENSOR_STATUS_H
#define ZEL_FTC_FT_SENSOR_STATUS_H

#include <cstdint>
#include <string_view>

#include "zel_ftc_types.h"

namespace zel {

/// Nominal measuring ranges of a model per axis: Fx, Fy, Fz in N, Mx, My, Mz in N m; those of
/// model 1 for a model that is not known.
const double* rangeOfModel(std::uint8_t model);

/// Which sensor class speaks: the text of ETHERNET_NO_SENSOR_ERROR names it.
enum class SensorKind { network, external };

/// Text of a status code, empty for a code without one.
std::string_view statusText(ZelInfoCode code, SensorKind kind);

/// Fills the record: counter, code and its text. A code without a text leaves code_info as it is.
void fillStatus(zel_ft_info_t& info, std::int32_t ipoc, ZelInfoCode code, SensorKind kind);

/// The packet counter after one more packet: 1, 2, ..., 100000, 0, 1, ...
inline std::int32_t nextPacketCount(std::int32_t ipoc) {
  constexpr std::int32_t last = 100000;
  return ipoc + 1 > last ? 0 : ipoc + 1;
}

}  // namespace zel

#endif
