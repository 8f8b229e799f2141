/* The control cycle of a controller written in C: configured before, called once per period. */
#include <string.h>

#include "zel_ftc_lib.h"

/* Hands in the sensor's six values and the set pose; the set pose moves on while the run goes on.
 * Returns the run result code, or the sensor's status when there was no normal reading. */
int approach_cycle(double reading[6], double pose[6]) {
  zel_ftc_error err = {0, 0, 0};
  double corrected[6];
  if (zel_ftc_obtainFTSensorData(reading) != 1) return 0;
  memcpy(corrected, pose, sizeof corrected);
  zel_ftc_runApproach(corrected, pose, &err);
  if (err.ft_code != FT_N0RMAL) return err.ft_code;
  memcpy(pose, corrected, sizeof corrected); /* command this pose to the robot */
  return err.ftc_code;                       /* 80000 running, 80001 in contact, else see codes */
}
