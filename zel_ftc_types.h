/* Public records, enumerations and codes of the force-control library.
 *
 * Valid C11 and C++11. Values leave the process and are stored by controllers: never renumber.
 *
 * Units everywhere in the interface: positions in millimetres, angles in radians, forces in
 * newtons, torques in newton-metres, times in milliseconds.
 */
#ifndef ZEL_FTC_TYPES_H
#define ZEL_FTC_TYPES_H

#include <stdbool.h>
#include <stdint.h>

/* Marks what the shared library exports; everything else stays hidden. */
#define ZEL_FTC_API __attribute__((visibility("default")))

/* Takes a private member of an exported class out again. */
#define ZEL_FTC_HIDDEN __attribute__((visibility("hidden")))

/* In C++ every enumeration has 32-bit signed storage, so that an out-of-range number that a caller
 * hands in is a value the library can refuse. C enumerations have the same size and representation.
 */
#ifdef __cplusplus
#define ZEL_ENUM_BASE : int32_t
#else
#define ZEL_ENUM_BASE
#endif

/* A pose: x, y, z in mm, then the rotation about Z, about Y and about X in rad. */
typedef double zel_pose[6];

/* A wrench: Fx, Fy, Fz in N, Mx, My, Mz in N m (the order of ZelMainDirection). */
typedef double zel_ft[6];

/* The frame in which a force-control mode works. */
typedef enum ZelCartesianCoordinate ZEL_ENUM_BASE {
  WORLD = 0,
  BASE = 1,
  TOOL = 2,
  SENSOR = 3
} ZelCartesianCoordinate;

/* The same choice at the flat interface. Values outside 0..3 are refused. */
typedef enum ZEL_ENUM_BASE { RCS_WORLD = 0, RCS_BASE = 1, RCS_TOOL = 2, RCS_SENSOR = 3 } ZelRcs;

/* The axis along which a mode's main force acts; also the index into a zel_ft. */
typedef enum ZelMainDirection ZEL_ENUM_BASE {
  FX = 0,
  FY = 1,
  FZ = 2,
  MX = 3,
  MY = 4,
  MZ = 5
} ZelMainDirection;

/* The same choice at the flat interface. Values outside 0..5 are refused. */
typedef enum ZEL_ENUM_BASE {
  FT_FX = 0,
  FT_FY = 1,
  FT_FZ = 2,
  FT_MX = 3,
  FT_MY = 4,
  FT_MZ = 5
} ZelDirection;

/* Orientation convention argument of the pose conversions. Both values mean Z-Y-X. */
typedef enum ZelAngletype ZEL_ENUM_BASE { ZYX = 0, XYZ = 1 } ZelAngletype;

/* Whether a vector is taken from a column or from a row of a matrix. */
typedef enum ZelArraytype ZEL_ENUM_BASE { COLUMN = 0, ROW = 1 } ZelArraytype;

/* Unit of an elapsed time. */
typedef enum ZEL_TimerUint ZEL_ENUM_BASE { SEC = 0, MILLISEC = 1, MICROSEC = 2 } ZEL_TimerUint;

/* Kind of motion of a tracking run. The runs produce MOVEL and MOVEC only. */
typedef enum ZelMoveType ZEL_ENUM_BASE { MOVEJ = 0, MOVEL = 1, MOVEC = 2, MOVEP = 3 } ZelMoveType;

/* Status of the force/torque sensor and of its link. The two normal codes carry a digit zero in
 * their names. Sensor codes and run result codes are separate numbering spaces that overlap: read a
 * number by the field that holds it. */
typedef enum ZelInfoCode ZEL_ENUM_BASE {
  FT_N0RMAL = 10000,
  ETHERNET_NO_SENSOR_ERROR = 11000,
  FT_GET_MATRIX_ERROR = 11001,
  FT_TEMP_COF_ERROR = 11002,
  FT_ADC_GAIN_ERROR = 11003,
  FT_ADC_NUM_ERROR = 11004,
  FT_ZERO_RESET_ERROR = 11005,
  FT_SET_DAC_ERROR = 11006,
  FT_NULL_MATRIX_ERROR = 11007,
  FT_DATA_ERROR = 11008,
  FT_ATTITUDE_SENSOR_INIT_ERROR = 11009,
  FT_ATTITUDE_SENSOR_DATA_ERROR = 11010,
  FT_OVERLOAD_ERROR = 11011,
  FT_NO_REFERENCE_VOLTAGE_ERROR = 11012,
  FT_NO_CROSSTALK_MATRIX_ERROR = 11013,
  COMM_N0RMAL = 20000,
  COMM_CLOSE = 20001,
  COMM_INIT = 20002,
  COMM_IP_ERROR = 21000,
  COMM_PORT_ERROR = 21001,
  COMM_TIMEOUT_ERROR = 21002,
  COMM_CMDRETURN_ERROR = 21003,
  COMM_THREAD_OPEN_ERROR = 21004
} ZelInfoCode;

/* Status of the sensor, filled on every read.
 * code_info is NUL-terminated text; it keeps its content for a code without a text. */
typedef struct zel_ft_info_t {
  volatile ZelInfoCode code;
  volatile int32_t IPOC; /* running sample counter of the reading */
  char code_info[256];
} zel_ft_info_t, zel_ft_info;

/* Result of one cycle of a run, filled by the tool. */
typedef struct zel_error_t {
  int32_t code;        /* run result code, see ZEL_RUN_RESULTS */
  int32_t sensor_code; /* ZelInfoCode seen in this cycle */
  int32_t sensor_ipoc; /* sensor sample counter seen in this cycle */
  char err_msg[256];   /* NUL-terminated text of code */
} zel_error_t, zel_error;

/* Result of one cycle of a run at the flat interface. */
typedef struct zel_ftc_error_t {
  int32_t ftc_code; /* run result code; keeps its value in a cycle whose sensor read failed */
  int32_t ft_code;  /* ZelInfoCode of this cycle */
  int32_t ft_ipoc;  /* sensor sample counter of this cycle */
} zel_ftc_error_t, zel_ftc_error;

/* Every result code of a run: name, value, text.
 * A run returns true (1) with ZEL_RUN_RUNNING alone. Codes from ZEL_RUN_END on are a normal end:
 * a caller tells an end from a failure by the code, not by the return value. A tracking run that a
 * sudden force change ends adds the bits of the tripped axes (ZelBreakBit) to ZEL_RUN_BREAK.
 * Tracking runs write the text of ZEL_RUN_RUNNING as "Runing.". */
#define ZEL_RUN_RESULTS(X)                                                                 \
  X(ZEL_RUN_SENSOR_TIMEOUT, 10001, "Sensor timed out!!!")                                  \
  X(ZEL_RUN_SENSOR_OVERLOAD, 10002, "Sensor overload!!!")                                  \
  X(ZEL_RUN_OVER_MONITORING, 11000, "Exceed the monitoring force value!!!")                \
  X(ZEL_RUN_TRACKING_NOT_SET, 11001, "Correction mode parameters are not set!!")           \
  X(ZEL_RUN_BASICS_NOT_SET, 11002, "The basic parameters of force control are not set!!!") \
  X(ZEL_RUN_MESSY_MOVE, 11003, "The movement instruction is messy, please call clear()!!") \
  X(ZEL_RUN_CONTACT_NOT_SET, 11004, "The contact mode parameter is not set!!!")            \
  X(ZEL_RUN_OVER_CORRECTION, 11005, "Exceeding the total correction value!!!")             \
  X(ZEL_RUN_TIMEOUT, 11006, "Contact mode timeout!!!")                                     \
  X(ZEL_RUN_RUNNING, 80000, "Running.")                                                    \
  X(ZEL_RUN_END, 80001, "End.")                                                            \
  X(ZEL_RUN_BREAK, 80002, "End.")

typedef enum ZelRunCode ZEL_ENUM_BASE {
#define ZEL_RUN_ENUMERATOR(name, value, text) name = value,
  ZEL_RUN_RESULTS(ZEL_RUN_ENUMERATOR)
#undef ZEL_RUN_ENUMERATOR
} ZelRunCode;

/* Bits added to ZEL_RUN_BREAK, one per tripped axis. 16 is never used. */
typedef enum ZelBreakBit ZEL_ENUM_BASE {
  ZEL_BREAK_FX = 64,
  ZEL_BREAK_FY = 32,
  ZEL_BREAK_FZ = 8,
  ZEL_BREAK_MX = 4,
  ZEL_BREAK_MY = 2,
  ZEL_BREAK_MZ = 1
} ZelBreakBit;

/* value_name of zel_set_minValue. */
typedef enum ZelMinValueName ZEL_ENUM_BASE {
  ZEL_MIN_PATH = 5001,      /* minimum path, mm */
  ZEL_MIN_PATH_FORCE = 5002 /* minimum path force, N */
} ZelMinValueName;

#endif
