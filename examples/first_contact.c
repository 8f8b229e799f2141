/* First contact: every call of an approach, in order. Plain C, and no hardware: the surroundings
 * are a spring, one line. Put your sensor in its place, send `pose` to your robot and wait for the
 * next period, and this is a controller.
 *
 * Exit codes: 0 in contact, 1 the run stopped otherwise, 2 a call before it was refused. */
#include <math.h>
#include <stdio.h>
#include <string.h>

#include "zel_ftc_diag.h"
#include "zel_ftc_lib.h"

/* The last refusal: which function, which value, which limit, and what to do about it. */
static int refused(void) {
  char text[300];
  zel_ftc_reasonText(NULL, text, sizeof text);
  puts(text);
  zel_ftc_reasonRemedy(NULL, text, sizeof text);
  puts(text);
  return 2;
}

#define MUST(call) \
  if ((call) != 1) return refused()

static int all_finite(const double v[6]) {
  return isfinite(v[0]) && isfinite(v[1]) && isfinite(v[2]) && isfinite(v[3]) && isfinite(v[4]) &&
         isfinite(v[5]);
}

/* One control period: the sensor's six values and the set pose in, the next set pose out. NULL
 * while the run goes on, else what stopped it; err has the codes. */
static const char* approach_cycle(double reading[6], double pose[6], zel_ftc_error* err) {
  double next[6];
  /* No limit of the library stops what is not a number: check what goes in and what comes out. */
  if (!all_finite(reading) || !all_finite(pose)) return "a reading or pose that is not finite";
  if (zel_ftc_obtainFTSensorData(reading) != 1) return "no reading";
  memcpy(next, pose, sizeof next); /* a failed sensor read leaves next as it is */
  int result = zel_ftc_runApproach(next, pose, err);
  if (err->ft_code != FT_N0RMAL) return "the sensor"; /* look at it first: ft_code tells */
  if (result != 1) return "the run";                  /* ended or failed: ftc_code tells */
  if (!all_finite(next)) return "a corrected pose that is not finite";
  memcpy(pose, next, sizeof next); /* command this pose to the robot */
  return NULL;
}

int main(void) {
  double pose[6] = {400, 0, 300, 0, 0, 3.14159265358979}; /* flange, mm and rad: looks down */
  double rating[6] = {200, 200, 200, 10, 10, 10};         /* of the sensor, N and N m */
  double flange_sensor[6] = {0, 0, 30, 0, 0, 0};          /* mounting, mm and rad */
  double sensor_tool[6] = {0, 0, 120, 0, 0, 0};
  double box_max[3] = {220, 220, 220}, box_min[3] = {-220, -220, -220}; /* mm around the start */
  double permissible[6] = {60, 60, 60, 6, 6, 6};                        /* beyond it: 11000 */
  double gains[6] = {0, 0, 3, 0, 0, 0};     /* mm/s per N; 0 holds the axis stiff */
  double settled[6] = {0, 0, 0.3, 0, 0, 0}; /* the run ends when |F + E| stays within, N */
  double reading[6] = {0, 0, 0, 0, 0, 0};
  zel_ftc_error err = {0, 0, 0};
  const char* stopped = NULL;

  MUST(zel_ftc_open(true));               /* readings are handed in by this program */
  MUST(zel_ftc_initialFTSensor(0, NULL)); /* a network sensor: its port and address */
  MUST(zel_ftc_setTimeStep(4.0));         /* ms; before the mode, whose gains it scales */
  MUST(zel_ftc_setSensorConfig(rating, flange_sensor, sensor_tool));
  MUST(zel_ftc_setLoadData(0, 0, 0, 0)); /* N, mm: the spring weighs nothing */
  MUST(zel_ftc_setCorrectionLimit(box_max, box_min, 0.5));
  MUST(zel_ftc_setMonitoringFunctions(permissible));
  MUST(zel_ftc_setCorrectionMonitoring(200, 0.5)); /* mm, rad from the start: 11005 */
  MUST(zel_ftc_obtainFTSensorData(reading));       /* the zero wants a fresh reading, at rest */
  MUST(zel_ftc_sensorReset(pose));
  /* E = +10 N along the tool's z axis: search at 20 mm/s, contact above 2 N or 1 N m, 10 s. The
   * library prints these values in one line. */
  MUST(zel_ftc_configApproachMode(RCS_TOOL, FT_FZ, 10, gains, 20, 2, 1, settled, 10000));

  while (stopped == NULL) {
    reading[2] = 10 * fmin(0, pose[2] - 270); /* 10 N/mm below z = 270 mm push against the tool */
    stopped = approach_cycle(reading, pose, &err);
    /* here: send `pose` to the robot, wait for the next period */
  }
  if (err.ftc_code != ZEL_RUN_END) refused();
  zel_ftc_close();
  printf("first_contact: stopped by %s, sensor %d, run %d, z %.2f mm, Fz %.2f N\n", stopped,
         err.ft_code, err.ftc_code, pose[2], reading[2]);
  return err.ft_code == FT_N0RMAL && err.ftc_code == ZEL_RUN_END ? 0 : 1;
}
