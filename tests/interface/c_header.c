/* A controller written in C: one life of the library. Ends with the line that failed. */
#include "zel_ftc_lib.h"

#define REQUIRE(condition) \
  if (!(condition)) return __LINE__

_Static_assert(sizeof(ZelInfoCode) == 4, "enumerations have 32 bits");
_Static_assert(sizeof(zel_ft_info) == 4 + 4 + 256, "layout of the status record");
_Static_assert(sizeof(zel_error) == 3 * 4 + 256, "layout of the run record");
_Static_assert(sizeof(zel_ftc_error) == 3 * 4, "layout of the flat run record");

int main(void) {
  zel_pose pose = {1, 2, 3, 0, 0, 0};
  double quaternion[7], period = 0;

  REQUIRE(zel_ftc_open(true) == 1 && zel_is_external && m_zelftcclass && m_zelftsensorclass);
  REQUIRE(zel_ftc_getTimeStep(&period) == 1 && period == 8);
  REQUIRE(zel_ftc_close() == 1 && zel_ftc_getTimeStep(&period) == -1);
  REQUIRE(zel_rpy2quaternion(quaternion, pose) == 1 && quaternion[3] == 1);
  return 0;
}
