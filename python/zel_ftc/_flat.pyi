from typing import Any, ClassVar, List, Optional, Tuple

from typing import overload
import enum
import numpy
import numpy.typing
COMM_CLOSE: ZelInfoCode
COMM_CMDRETURN_ERROR: ZelInfoCode
COMM_INIT: ZelInfoCode
COMM_IP_ERROR: ZelInfoCode
COMM_N0RMAL: ZelInfoCode
COMM_PORT_ERROR: ZelInfoCode
COMM_THREAD_OPEN_ERROR: ZelInfoCode
COMM_TIMEOUT_ERROR: ZelInfoCode
ETHERNET_NO_SENSOR_ERROR: ZelInfoCode
FT_ADC_GAIN_ERROR: ZelInfoCode
FT_ADC_NUM_ERROR: ZelInfoCode
FT_ATTITUDE_SENSOR_DATA_ERROR: ZelInfoCode
FT_ATTITUDE_SENSOR_INIT_ERROR: ZelInfoCode
FT_DATA_ERROR: ZelInfoCode
FT_FX: ZelDirection
FT_FY: ZelDirection
FT_FZ: ZelDirection
FT_GET_MATRIX_ERROR: ZelInfoCode
FT_MX: ZelDirection
FT_MY: ZelDirection
FT_MZ: ZelDirection
FT_N0RMAL: ZelInfoCode
FT_NO_CROSSTALK_MATRIX_ERROR: ZelInfoCode
FT_NO_REFERENCE_VOLTAGE_ERROR: ZelInfoCode
FT_NULL_MATRIX_ERROR: ZelInfoCode
FT_OVERLOAD_ERROR: ZelInfoCode
FT_SET_DAC_ERROR: ZelInfoCode
FT_TEMP_COF_ERROR: ZelInfoCode
FT_ZERO_RESET_ERROR: ZelInfoCode
RCS_BASE: ZelRcs
RCS_SENSOR: ZelRcs
RCS_TOOL: ZelRcs
RCS_WORLD: ZelRcs
ZEL_ANY_CORE: int
ZEL_APPROACH_RUN: ZelRunKind
ZEL_ARC_RUN: ZelRunKind
ZEL_ASSEMBLY_RUN: ZelRunKind
ZEL_BREAK_FX: ZelBreakBit
ZEL_BREAK_FY: ZelBreakBit
ZEL_BREAK_FZ: ZelBreakBit
ZEL_BREAK_MX: ZelBreakBit
ZEL_BREAK_MY: ZelBreakBit
ZEL_BREAK_MZ: ZelBreakBit
ZEL_CHECK_ASSEMBLY: ZelCheck
ZEL_CHECK_BOX: ZelCheck
ZEL_CHECK_BREAK_RANGE: ZelCheck
ZEL_CHECK_BREAK_TEST: ZelCheck
ZEL_CHECK_CORRECTION: ZelCheck
ZEL_CHECK_DEAD_BAND: ZelCheck
ZEL_CHECK_FINITE: ZelCheck
ZEL_CHECK_FRAME: ZelCheck
ZEL_CHECK_GAINS: ZelCheck
ZEL_CHECK_GUARD: ZelCheck
ZEL_CHECK_LOAD: ZelCheck
ZEL_CHECK_MINIMUM_PATH: ZelCheck
ZEL_CHECK_MONITORING: ZelCheck
ZEL_CHECK_MOUNTING: ZelCheck
ZEL_CHECK_PATH: ZelCheck
ZEL_CHECK_PERIOD: ZelCheck
ZEL_CHECK_PERMITTED_LOAD: ZelCheck
ZEL_CHECK_PHASE: ZelCheck
ZEL_CHECK_SENSOR: ZelCheck
ZEL_CHECK_SETTINGS: ZelCheck
ZEL_CHECK_SET_FORCE: ZelCheck
ZEL_CHECK_SPEED: ZelCheck
ZEL_CHECK_STABILITY: ZelCheck
ZEL_CHECK_STALL: ZelCheck
ZEL_CHECK_STEPS: ZelCheck
ZEL_CHECK_SWITCHING: ZelCheck
ZEL_CHECK_TIME_OUT: ZelCheck
ZEL_CHECK_TURN: ZelCheck
ZEL_CHECK_UNITS: ZelCheck
ZEL_CHECK_ZERO: ZelCheck
ZEL_CODES_REASON: ZelCodeSpace
ZEL_CODES_RUN: ZelCodeSpace
ZEL_CODES_SENSOR: ZelCodeSpace
ZEL_FINDING_ERROR: ZelSeverity
ZEL_FINDING_NOTE: ZelSeverity
ZEL_FINDING_NOT_CHECKED: ZelSeverity
ZEL_FINDING_RIGHT: ZelSeverity
ZEL_FINDING_WARNING: ZelSeverity
ZEL_GUARD_HOLD: ZelGuardAction
ZEL_GUARD_OFF: ZelGuardAction
ZEL_GUARD_WARN: ZelGuardAction
ZEL_LIMIT_DISTANCE: ZelGuardLimit
ZEL_LIMIT_FORCE: ZelGuardLimit
ZEL_LIMIT_FORCE_CHANGE: ZelGuardLimit
ZEL_LIMIT_OFF_AXIS: ZelGuardLimit
ZEL_LIMIT_PATH: ZelGuardLimit
ZEL_LIMIT_POSE: ZelGuardLimit
ZEL_LIMIT_READING: ZelGuardLimit
ZEL_LIMIT_ROTATION: ZelGuardLimit
ZEL_LIMIT_RUN_TIME: ZelGuardLimit
ZEL_LIMIT_SAMPLE_AGE: ZelGuardLimit
ZEL_LIMIT_STEP: ZelGuardLimit
ZEL_LIMIT_TORQUE: ZelGuardLimit
ZEL_LIMIT_TORQUE_CHANGE: ZelGuardLimit
ZEL_LIMIT_TURN: ZelGuardLimit
ZEL_LINE_RUN: ZelRunKind
ZEL_MIN_PATH: ZelMinValueName
ZEL_MIN_PATH_FORCE: ZelMinValueName
ZEL_MISSING_CORRECTION_LIMIT: ZelMissing
ZEL_MISSING_CORRECTION_MONITORING: ZelMissing
ZEL_MISSING_LOAD: ZelMissing
ZEL_MISSING_MONITORING: ZelMissing
ZEL_MISSING_NORMAL_SENSOR: ZelMissing
ZEL_MUST_BE_AT_LEAST: ZelRelation
ZEL_MUST_BE_AT_MOST: ZelRelation
ZEL_MUST_BE_BETWEEN: ZelRelation
ZEL_MUST_BE_FROM_TO: ZelRelation
ZEL_MUST_BE_ONE_OF: ZelRelation
ZEL_MUST_NONE: ZelRelation
ZEL_NO_RUN: ZelRunKind
ZEL_REASON_ALREADY_OPEN: ZelReasonKind
ZEL_REASON_BAD_ADDRESS: ZelReasonKind
ZEL_REASON_BAD_ANSWER: ZelReasonKind
ZEL_REASON_HANDED_IN: ZelReasonKind
ZEL_REASON_IMPLAUSIBLE_LOAD: ZelReasonKind
ZEL_REASON_INTERNAL: ZelReasonKind
ZEL_REASON_LIST_FULL: ZelReasonKind
ZEL_REASON_NONE: ZelReasonKind
ZEL_REASON_NOTHING_RECORDED: ZelReasonKind
ZEL_REASON_NOT_CONNECTED: ZelReasonKind
ZEL_REASON_NOT_FINITE: ZelReasonKind
ZEL_REASON_NOT_OPEN: ZelReasonKind
ZEL_REASON_NO_ANSWER: ZelReasonKind
ZEL_REASON_NO_SOCKET: ZelReasonKind
ZEL_REASON_NO_THREAD: ZelReasonKind
ZEL_REASON_NULL_POINTER: ZelReasonKind
ZEL_REASON_OUT_OF_MEMORY: ZelReasonKind
ZEL_REASON_OUT_OF_RANGE: ZelReasonKind
ZEL_REASON_PORT_TAKEN: ZelReasonKind
ZEL_REASON_RUN_ENDED: ZelReasonKind
ZEL_REASON_RUN_FAILED: ZelReasonKind
ZEL_REASON_SAMPLE_USED: ZelReasonKind
ZEL_REASON_SENSOR_NOT_NORMAL: ZelReasonKind
ZEL_REASON_WRONG_ORDER: ZelReasonKind
ZEL_RUN_BASICS_NOT_SET: ZelRunCode
ZEL_RUN_BREAK: ZelRunCode
ZEL_RUN_CONTACT_NOT_SET: ZelRunCode
ZEL_RUN_END: ZelRunCode
ZEL_RUN_MESSY_MOVE: ZelRunCode
ZEL_RUN_OVER_CORRECTION: ZelRunCode
ZEL_RUN_OVER_MONITORING: ZelRunCode
ZEL_RUN_RUNNING: ZelRunCode
ZEL_RUN_SENSOR_OVERLOAD: ZelRunCode
ZEL_RUN_SENSOR_TIMEOUT: ZelRunCode
ZEL_RUN_TIMEOUT: ZelRunCode
ZEL_RUN_TRACKING_NOT_SET: ZelRunCode
ZEL_SCHED_FIFO: ZelWorkerPolicy
ZEL_SCHED_OTHER: ZelWorkerPolicy
ZEL_SCHED_RR: ZelWorkerPolicy
ZEL_WHY_ASSEMBLY_HOLDS: ZelWhyKind
ZEL_WHY_BALANCED: ZelWhyKind
ZEL_WHY_BLIND_FRAME: ZelWhyKind
ZEL_WHY_BOX: ZelWhyKind
ZEL_WHY_GUARD_HOLDS: ZelWhyKind
ZEL_WHY_MINIMUM_PATH: ZelWhyKind
ZEL_WHY_NOT_A_NUMBER: ZelWhyKind
ZEL_WHY_NOT_RUNNING: ZelWhyKind
ZEL_WHY_NO_GAIN: ZelWhyKind
ZEL_WHY_NO_READING: ZelWhyKind
ZEL_WHY_NO_SPEED: ZelWhyKind
ZEL_WHY_ON_THE_PATH: ZelWhyKind
ZEL_WHY_OUT_OF_BAND: ZelWhyKind
ZEL_WHY_PATH_WITHOUT_END: ZelWhyKind
ZEL_WHY_SEARCHING: ZelWhyKind
ZEL_WHY_SETTLING: ZelWhyKind
ZEL_WHY_STALLED: ZelWhyKind
ZEL_WHY_START_FOLLOWS: ZelWhyKind
ZEL_WORKER_CORE: ZelWorkerStep
ZEL_WORKER_RECEIVE: ZelWorker
ZEL_WORKER_SCHEDULING: ZelWorkerStep
ZEL_WORKER_THREAD: ZelWorkerStep
ZEL_WORKER_UNPACK: ZelWorker

class ZelBreakBit(enum.IntEnum):
    ZEL_BREAK_FX: int
    ZEL_BREAK_FY: int
    ZEL_BREAK_FZ: int
    ZEL_BREAK_MX: int
    ZEL_BREAK_MY: int
    ZEL_BREAK_MZ: int

class ZelCheck(enum.IntEnum):
    ZEL_CHECK_ASSEMBLY: int
    ZEL_CHECK_BOX: int
    ZEL_CHECK_BREAK_RANGE: int
    ZEL_CHECK_BREAK_TEST: int
    ZEL_CHECK_CORRECTION: int
    ZEL_CHECK_DEAD_BAND: int
    ZEL_CHECK_FINITE: int
    ZEL_CHECK_FRAME: int
    ZEL_CHECK_GAINS: int
    ZEL_CHECK_GUARD: int
    ZEL_CHECK_LOAD: int
    ZEL_CHECK_MINIMUM_PATH: int
    ZEL_CHECK_MONITORING: int
    ZEL_CHECK_MOUNTING: int
    ZEL_CHECK_PATH: int
    ZEL_CHECK_PERIOD: int
    ZEL_CHECK_PERMITTED_LOAD: int
    ZEL_CHECK_PHASE: int
    ZEL_CHECK_SENSOR: int
    ZEL_CHECK_SETTINGS: int
    ZEL_CHECK_SET_FORCE: int
    ZEL_CHECK_SPEED: int
    ZEL_CHECK_STABILITY: int
    ZEL_CHECK_STALL: int
    ZEL_CHECK_STEPS: int
    ZEL_CHECK_SWITCHING: int
    ZEL_CHECK_TIME_OUT: int
    ZEL_CHECK_TURN: int
    ZEL_CHECK_UNITS: int
    ZEL_CHECK_ZERO: int

class ZelCodeSpace(enum.IntEnum):
    ZEL_CODES_REASON: int
    ZEL_CODES_RUN: int
    ZEL_CODES_SENSOR: int

class ZelDirection(enum.IntEnum):
    FT_FX: int
    FT_FY: int
    FT_FZ: int
    FT_MX: int
    FT_MY: int
    FT_MZ: int

class ZelGuardAction(enum.IntEnum):
    ZEL_GUARD_HOLD: int
    ZEL_GUARD_OFF: int
    ZEL_GUARD_WARN: int

class ZelGuardLimit(enum.IntEnum):
    ZEL_LIMIT_DISTANCE: int
    ZEL_LIMIT_FORCE: int
    ZEL_LIMIT_FORCE_CHANGE: int
    ZEL_LIMIT_OFF_AXIS: int
    ZEL_LIMIT_PATH: int
    ZEL_LIMIT_POSE: int
    ZEL_LIMIT_READING: int
    ZEL_LIMIT_ROTATION: int
    ZEL_LIMIT_RUN_TIME: int
    ZEL_LIMIT_SAMPLE_AGE: int
    ZEL_LIMIT_STEP: int
    ZEL_LIMIT_TORQUE: int
    ZEL_LIMIT_TORQUE_CHANGE: int
    ZEL_LIMIT_TURN: int

class ZelInfoCode(enum.IntEnum):
    COMM_CLOSE: int
    COMM_CMDRETURN_ERROR: int
    COMM_INIT: int
    COMM_IP_ERROR: int
    COMM_N0RMAL: int
    COMM_PORT_ERROR: int
    COMM_THREAD_OPEN_ERROR: int
    COMM_TIMEOUT_ERROR: int
    ETHERNET_NO_SENSOR_ERROR: int
    FT_ADC_GAIN_ERROR: int
    FT_ADC_NUM_ERROR: int
    FT_ATTITUDE_SENSOR_DATA_ERROR: int
    FT_ATTITUDE_SENSOR_INIT_ERROR: int
    FT_DATA_ERROR: int
    FT_GET_MATRIX_ERROR: int
    FT_N0RMAL: int
    FT_NO_CROSSTALK_MATRIX_ERROR: int
    FT_NO_REFERENCE_VOLTAGE_ERROR: int
    FT_NULL_MATRIX_ERROR: int
    FT_OVERLOAD_ERROR: int
    FT_SET_DAC_ERROR: int
    FT_TEMP_COF_ERROR: int
    FT_ZERO_RESET_ERROR: int

class ZelMinValueName(enum.IntEnum):
    ZEL_MIN_PATH: int
    ZEL_MIN_PATH_FORCE: int

class ZelMissing(enum.IntEnum):
    ZEL_MISSING_CORRECTION_LIMIT: int
    ZEL_MISSING_CORRECTION_MONITORING: int
    ZEL_MISSING_LOAD: int
    ZEL_MISSING_MONITORING: int
    ZEL_MISSING_NORMAL_SENSOR: int

class ZelRcs(enum.IntEnum):
    RCS_BASE: int
    RCS_SENSOR: int
    RCS_TOOL: int
    RCS_WORLD: int

class ZelReasonKind(enum.IntEnum):
    ZEL_REASON_ALREADY_OPEN: int
    ZEL_REASON_BAD_ADDRESS: int
    ZEL_REASON_BAD_ANSWER: int
    ZEL_REASON_HANDED_IN: int
    ZEL_REASON_IMPLAUSIBLE_LOAD: int
    ZEL_REASON_INTERNAL: int
    ZEL_REASON_LIST_FULL: int
    ZEL_REASON_NONE: int
    ZEL_REASON_NOTHING_RECORDED: int
    ZEL_REASON_NOT_CONNECTED: int
    ZEL_REASON_NOT_FINITE: int
    ZEL_REASON_NOT_OPEN: int
    ZEL_REASON_NO_ANSWER: int
    ZEL_REASON_NO_SOCKET: int
    ZEL_REASON_NO_THREAD: int
    ZEL_REASON_NULL_POINTER: int
    ZEL_REASON_OUT_OF_MEMORY: int
    ZEL_REASON_OUT_OF_RANGE: int
    ZEL_REASON_PORT_TAKEN: int
    ZEL_REASON_RUN_ENDED: int
    ZEL_REASON_RUN_FAILED: int
    ZEL_REASON_SAMPLE_USED: int
    ZEL_REASON_SENSOR_NOT_NORMAL: int
    ZEL_REASON_WRONG_ORDER: int

class ZelRelation(enum.IntEnum):
    ZEL_MUST_BE_AT_LEAST: int
    ZEL_MUST_BE_AT_MOST: int
    ZEL_MUST_BE_BETWEEN: int
    ZEL_MUST_BE_FROM_TO: int
    ZEL_MUST_BE_ONE_OF: int
    ZEL_MUST_NONE: int

class ZelRunCode(enum.IntEnum):
    ZEL_RUN_BASICS_NOT_SET: int
    ZEL_RUN_BREAK: int
    ZEL_RUN_CONTACT_NOT_SET: int
    ZEL_RUN_END: int
    ZEL_RUN_MESSY_MOVE: int
    ZEL_RUN_OVER_CORRECTION: int
    ZEL_RUN_OVER_MONITORING: int
    ZEL_RUN_RUNNING: int
    ZEL_RUN_SENSOR_OVERLOAD: int
    ZEL_RUN_SENSOR_TIMEOUT: int
    ZEL_RUN_TIMEOUT: int
    ZEL_RUN_TRACKING_NOT_SET: int

class ZelRunKind(enum.IntEnum):
    ZEL_APPROACH_RUN: int
    ZEL_ARC_RUN: int
    ZEL_ASSEMBLY_RUN: int
    ZEL_LINE_RUN: int
    ZEL_NO_RUN: int

class ZelSeverity(enum.IntEnum):
    ZEL_FINDING_ERROR: int
    ZEL_FINDING_NOTE: int
    ZEL_FINDING_NOT_CHECKED: int
    ZEL_FINDING_RIGHT: int
    ZEL_FINDING_WARNING: int

class ZelWhyKind(enum.IntEnum):
    ZEL_WHY_ASSEMBLY_HOLDS: int
    ZEL_WHY_BALANCED: int
    ZEL_WHY_BLIND_FRAME: int
    ZEL_WHY_BOX: int
    ZEL_WHY_GUARD_HOLDS: int
    ZEL_WHY_MINIMUM_PATH: int
    ZEL_WHY_NOT_A_NUMBER: int
    ZEL_WHY_NOT_RUNNING: int
    ZEL_WHY_NO_GAIN: int
    ZEL_WHY_NO_READING: int
    ZEL_WHY_NO_SPEED: int
    ZEL_WHY_ON_THE_PATH: int
    ZEL_WHY_OUT_OF_BAND: int
    ZEL_WHY_PATH_WITHOUT_END: int
    ZEL_WHY_SEARCHING: int
    ZEL_WHY_SETTLING: int
    ZEL_WHY_STALLED: int
    ZEL_WHY_START_FOLLOWS: int

class ZelWorker(enum.IntEnum):
    ZEL_WORKER_RECEIVE: int
    ZEL_WORKER_UNPACK: int

class ZelWorkerPolicy(enum.IntEnum):
    ZEL_SCHED_FIFO: int
    ZEL_SCHED_OTHER: int
    ZEL_SCHED_RR: int

class ZelWorkerStep(enum.IntEnum):
    ZEL_WORKER_CORE: int
    ZEL_WORKER_SCHEDULING: int
    ZEL_WORKER_THREAD: int

class ldd_tool:
    def __init__(self) -> None: ...
    def clear(self) -> None: ...
    @overload
    def expressForceInFrame(self, ft_sensor: numpy.typing.ArrayLike, input_rpp: robot_pose_para) -> numpy.typing.NDArray[numpy.float64]: ...
    @overload
    def expressForceInFrame(self, ft_tool: numpy.typing.ArrayLike, pos_offset2tool: numpy.typing.ArrayLike) -> numpy.typing.NDArray[numpy.float64]: ...
    def getG2Sensor(self, input_rpp: robot_pose_para) -> numpy.typing.NDArray[numpy.float64]: ...
    def getLoadPara(self) -> load_para: ...
    def gravityCalibration(self) -> None: ...
    def recordCalibrationLoadData(self, ft_sensor_raw: numpy.typing.ArrayLike, input_rpp: robot_pose_para) -> None: ...
    def sensorReset(self, input_rpp: robot_pose_para, ft_sensor_raw: numpy.typing.ArrayLike) -> numpy.typing.NDArray[numpy.float64]: ...
    def setLoadPara(self, para: load_para) -> None: ...
    def zeroGravTrafo(self, input_rpp: robot_pose_para, ft_sensor_raw: numpy.typing.ArrayLike, ldd_ft_zero: numpy.typing.ArrayLike) -> numpy.typing.NDArray[numpy.float64]: ...
    @property
    def FTData(self) -> numpy.typing.NDArray[numpy.float64]: ...
    @property
    def PoseData(self) -> numpy.typing.NDArray[numpy.float64]: ...
    @property
    def size(self) -> int: ...

class load_para:
    g: float
    lx: float
    ly: float
    lz: float
    def __init__(self, g: float = ..., lx: float = ..., ly: float = ..., lz: float = ...) -> None: ...

class robot_pose_para:
    def __init__(self, pose_base2tcp: numpy.typing.ArrayLike, pose_flange2tool: numpy.typing.ArrayLike, pose_flange2ft_tool: numpy.typing.ArrayLike) -> None: ...
    @property
    def pose_base2tcp(self) -> numpy.typing.NDArray[numpy.float64]: ...
    @property
    def pose_flange2ft_tool(self) -> numpy.typing.NDArray[numpy.float64]: ...
    @property
    def pose_flange2tool(self) -> numpy.typing.NDArray[numpy.float64]: ...

class zel_ft_info:
    def __init__(self, *args: object, **kwargs: object) -> None: ...
    @property
    def IPOC(self) -> int: ...
    @property
    def code(self) -> ZelInfoCode: ...
    @property
    def code_info(self) -> str: ...

class zel_ftc_code_info:
    def __init__(self, *args: object, **kwargs: object) -> None: ...
    @property
    def axes(self) -> str: ...
    @property
    def cause(self) -> str: ...
    @property
    def code(self) -> int: ...
    @property
    def name(self) -> str: ...
    @property
    def remedy(self) -> str: ...
    @property
    def text(self) -> str: ...

class zel_ftc_cycle_view:
    def __init__(self, *args: object, **kwargs: object) -> None: ...
    @property
    def angle(self) -> float: ...
    @property
    def angle_limit(self) -> float: ...
    @property
    def box_high(self) -> List[bool]: ...
    @property
    def box_low(self) -> List[bool]: ...
    @property
    def code(self) -> int: ...
    @property
    def cycles(self) -> int: ...
    @property
    def elapsed(self) -> float: ...
    @property
    def force_error(self) -> numpy.typing.NDArray[numpy.float64]: ...
    @property
    def frame(self) -> ZelRcs: ...
    @property
    def guarded(self) -> bool: ...
    @property
    def has_minimum_path_group(self) -> bool: ...
    @property
    def in_contact(self) -> bool: ...
    @property
    def minimum_path(self) -> float: ...
    @property
    def minimum_path_covered(self) -> bool: ...
    @property
    def minimum_path_group(self) -> numpy.typing.NDArray[numpy.float64]: ...
    @property
    def not_ending(self) -> List[zel_ftc_why]: ...
    @property
    def not_moving(self) -> List[zel_ftc_why]: ...
    @property
    def path(self) -> float: ...
    @property
    def path_limit(self) -> float: ...
    @property
    def path_step(self) -> float: ...
    @property
    def path_steps(self) -> float: ...
    @property
    def phase(self) -> int: ...
    @property
    def run(self) -> ZelRunKind: ...
    @property
    def running(self) -> bool: ...
    @property
    def settled(self) -> int: ...
    @property
    def stalled(self) -> int: ...
    @property
    def step(self) -> numpy.typing.NDArray[numpy.float64]: ...
    @property
    def time_out(self) -> float: ...
    @property
    def unguarded_limits(self) -> int: ...
    @property
    def wrench(self) -> numpy.typing.NDArray[numpy.float64]: ...

class zel_ftc_finding:
    def __init__(self, *args: object, **kwargs: object) -> None: ...
    @property
    def axis(self) -> int: ...
    @property
    def check(self) -> ZelCheck: ...
    @property
    def fault(self) -> int: ...
    @property
    def limit(self) -> float: ...
    @property
    def name(self) -> str: ...
    @property
    def remedy(self) -> str: ...
    @property
    def section(self) -> str: ...
    @property
    def severity(self) -> ZelSeverity: ...
    @property
    def text(self) -> str: ...
    @property
    def value(self) -> float: ...
    @property
    def what(self) -> str: ...

class zel_ftc_frame:
    def __init__(self, *args: object, **kwargs: object) -> None: ...
    @property
    def counter(self) -> int: ...
    @property
    def number(self) -> int: ...
    @property
    def status(self) -> int: ...
    @property
    def time(self) -> float: ...
    @property
    def value(self) -> numpy.typing.NDArray[numpy.float64]: ...

class zel_ftc_guard_limit:
    def __init__(self, *args: object, **kwargs: object) -> None: ...
    @property
    def action(self) -> ZelGuardAction: ...
    @property
    def limit(self) -> float: ...
    @property
    def name(self) -> str: ...
    @property
    def unit(self) -> str: ...
    @property
    def what(self) -> str: ...

class zel_ftc_guard_verdict:
    def __init__(self, *args: object, **kwargs: object) -> None: ...
    @property
    def action(self) -> ZelGuardAction: ...
    @property
    def duration(self) -> float: ...
    @property
    def event(self) -> int: ...
    @property
    def first(self) -> bool: ...
    @property
    def limit(self) -> float: ...
    @property
    def text(self) -> str: ...
    @property
    def value(self) -> float: ...
    @property
    def which(self) -> ZelGuardLimit: ...

class zel_ftc_link_health:
    def __init__(self, *args: object, **kwargs: object) -> None: ...
    @property
    def age(self) -> float: ...
    @property
    def bad_status_frames(self) -> int: ...
    @property
    def bytes(self) -> int: ...
    @property
    def cut_datagrams(self) -> int: ...
    @property
    def datagrams(self) -> int: ...
    @property
    def dropped_datagrams(self) -> int: ...
    @property
    def exchanges(self) -> int: ...
    @property
    def failed_exchanges(self) -> int: ...
    @property
    def foreign_datagrams(self) -> int: ...
    @property
    def frames_beyond_range(self) -> int: ...
    @property
    def good_frames(self) -> int: ...
    @property
    def last_bad_status(self) -> int: ...
    @property
    def longest_gap(self) -> float: ...
    @property
    def rate(self) -> float: ...
    @property
    def skipped_bytes(self) -> int: ...
    @property
    def wrong_checksums(self) -> int: ...

class zel_ftc_plan:
    delay: float
    end: numpy.typing.NDArray[numpy.float64]
    run: ZelRunKind
    start: numpy.typing.NDArray[numpy.float64]
    stiffness: float
    travel: float
    via: numpy.typing.NDArray[numpy.float64]
    def __init__(self) -> None: ...

class zel_ftc_reason:
    def __init__(self, *args: object, **kwargs: object) -> None: ...
    @property
    def argument(self) -> str: ...
    @property
    def bits(self) -> int: ...
    @property
    def code(self) -> int: ...
    @property
    def detail(self) -> str: ...
    @property
    def element(self) -> int: ...
    @property
    def function(self) -> str: ...
    @property
    def kind(self) -> ZelReasonKind: ...
    @property
    def limit(self) -> float: ...
    @property
    def number(self) -> int: ...
    @property
    def relation(self) -> ZelRelation: ...
    @property
    def remedy(self) -> str: ...
    @property
    def result(self) -> int: ...
    @property
    def system_error(self) -> int: ...
    @property
    def text(self) -> str: ...
    @property
    def unit(self) -> str: ...
    @property
    def upper_limit(self) -> float: ...
    @property
    def value(self) -> float: ...

class zel_ftc_why:
    def __init__(self, *args: object, **kwargs: object) -> None: ...
    @property
    def axis(self) -> int: ...
    @property
    def code(self) -> int: ...
    @property
    def kind(self) -> ZelWhyKind: ...
    @property
    def limit(self) -> float: ...
    @property
    def text(self) -> str: ...
    @property
    def value(self) -> float: ...

class zel_ftc_worker:
    core: int
    policy: ZelWorkerPolicy
    priority: int
    def __init__(self) -> None: ...

class zel_ftc_worker_fault:
    def __init__(self, *args: object, **kwargs: object) -> None: ...
    @property
    def asked(self) -> zel_ftc_worker: ...
    @property
    def error(self) -> int: ...
    @property
    def step(self) -> ZelWorkerStep: ...
    @property
    def worker(self) -> ZelWorker: ...

class zel_ftc_workers:
    receive: zel_ftc_worker
    unpack: zel_ftc_worker
    unpack_waits: bool
    def __init__(self, *args: object, **kwargs: object) -> None: ...

def _info() -> zel_ft_info: ...
def _is_external() -> bool: ...
def _raw_ft() -> numpy.typing.NDArray[numpy.float64]: ...
def zel_ftc_Release() -> None: ...
def zel_ftc_checkConfiguration(plan: Optional[zel_ftc_plan] = ...) -> List[zel_ftc_finding]: ...
def zel_ftc_clear() -> None: ...
def zel_ftc_close() -> None: ...
def zel_ftc_configApproachMode(rcs: ZelRcs, mainDirection: ZelDirection, setExpectFT: float, setKR: numpy.typing.ArrayLike, translationalMotion: float, switchingForce: float, switchingTorque: float, breakConditionRange: numpy.typing.ArrayLike, timeOut: int) -> None: ...
def zel_ftc_configAssemblyMode(rcs: ZelRcs, mainDirection: ZelDirection, setExpectFT: float, setKR: numpy.typing.ArrayLike, translationalMotion: float, switchingForce: float, switchingTorque: float, breakConditionRange: numpy.typing.ArrayLike, timeOut: int, pathOut: float, minPath: float, minPathForce: float) -> None: ...
def zel_ftc_configTrackingMotionMode(rcs: ZelRcs, mainDirection: ZelDirection, expectFT: numpy.typing.ArrayLike, kr: numpy.typing.ArrayLike, breakConditionRange: numpy.typing.ArrayLike, desiredSpeed: float) -> None: ...
def zel_ftc_cycleView() -> zel_ftc_cycle_view: ...
def zel_ftc_explainCode(space: ZelCodeSpace, code: int) -> Optional[zel_ftc_code_info]: ...
def zel_ftc_findingName(finding: zel_ftc_finding) -> str: ...
def zel_ftc_findingRemedy(finding: Optional[zel_ftc_finding] = ...) -> str: ...
def zel_ftc_findingSection(finding: zel_ftc_finding) -> str: ...
def zel_ftc_findingText(finding: Optional[zel_ftc_finding] = ...) -> str: ...
def zel_ftc_getFTSensorRange() -> numpy.typing.NDArray[numpy.float64]: ...
def zel_ftc_getGuardLimit(which: ZelGuardLimit) -> Optional[zel_ftc_guard_limit]: ...
def zel_ftc_getLoadData() -> Tuple[float,float,float,float]: ...
def zel_ftc_getRCS_FT_Data() -> numpy.typing.NDArray[numpy.float64]: ...
def zel_ftc_getSensorData(robot_pos: numpy.typing.ArrayLike, rcs: ZelRcs) -> numpy.typing.NDArray[numpy.float64]: ...
def zel_ftc_getTimeStep() -> float: ...
def zel_ftc_getWorkerFault() -> Optional[zel_ftc_worker_fault]: ...
def zel_ftc_getWorkerFaultText() -> str: ...
def zel_ftc_getWorkers() -> zel_ftc_workers: ...
def zel_ftc_get_GraData(robot_pos: numpy.typing.ArrayLike) -> numpy.typing.NDArray[numpy.float64]: ...
def zel_ftc_gravityCalibration() -> None: ...
def zel_ftc_guard(pose: numpy.typing.ArrayLike, robot_pos_now: numpy.typing.ArrayLike) -> Tuple[numpy.typing.NDArray[numpy.float64],bool,zel_ftc_guard_verdict]: ...
def zel_ftc_guardText(verdict: Optional[zel_ftc_guard_verdict] = ...) -> str: ...
def zel_ftc_initCalibrationLoadData() -> None: ...
def zel_ftc_initialFTSensor(host: int, ip: Optional[str]) -> None: ...
def zel_ftc_keepFrames(on: bool) -> bool: ...
def zel_ftc_lastReason() -> Optional[zel_ftc_reason]: ...
def zel_ftc_linkHealth() -> Optional[zel_ftc_link_health]: ...
def zel_ftc_listCodes(space: ZelCodeSpace) -> List[zel_ftc_code_info]: ...
def zel_ftc_lowPassFilterFTSensor(range: int) -> None: ...
def zel_ftc_medianFilterDepthFTSensor(range: int) -> None: ...
def zel_ftc_nextFrame() -> Optional[zel_ftc_frame]: ...
def zel_ftc_obtainFTSensorData(m_ftData: Optional[numpy.typing.ArrayLike] = ...) -> numpy.typing.NDArray[numpy.float64]: ...
def zel_ftc_open(isExternal: bool) -> None: ...
def zel_ftc_reasonRemedy(reason: Optional[zel_ftc_reason] = ...) -> str: ...
def zel_ftc_reasonText(reason: Optional[zel_ftc_reason] = ...) -> str: ...
def zel_ftc_recordCalibrationLoadData(ft: numpy.typing.ArrayLike, robot_pos: numpy.typing.ArrayLike) -> None: ...
def zel_ftc_resetGuard() -> None: ...
def zel_ftc_runApproach(robot_pos_now: numpy.typing.ArrayLike) -> Tuple[numpy.typing.NDArray[numpy.float64],int]: ...
def zel_ftc_runAssembly(robot_pos_now: numpy.typing.ArrayLike) -> Tuple[numpy.typing.NDArray[numpy.float64],int]: ...
def zel_ftc_runTrackingMotionC(robot_pos_start: numpy.typing.ArrayLike, robot_pos_transition: numpy.typing.ArrayLike, robot_pos_end: numpy.typing.ArrayLike, robot_pos_now: numpy.typing.ArrayLike) -> Tuple[numpy.typing.NDArray[numpy.float64],int]: ...
def zel_ftc_runTrackingMotionL(robot_pos_start: numpy.typing.ArrayLike, robot_pos_end: numpy.typing.ArrayLike, robot_pos_now: numpy.typing.ArrayLike) -> Tuple[numpy.typing.NDArray[numpy.float64],int]: ...
def zel_ftc_sensorReset(robot_pos: numpy.typing.ArrayLike) -> None: ...
def zel_ftc_setCorrectionLimit(max: numpy.typing.ArrayLike, min: numpy.typing.ArrayLike, ang: float) -> None: ...
def zel_ftc_setCorrectionMonitoring(path: float, angle: float) -> None: ...
def zel_ftc_setGuardLimit(which: ZelGuardLimit, limit: float, action: ZelGuardAction) -> None: ...
def zel_ftc_setLoadData(g: float, lx: float, ly: float, lz: float) -> None: ...
def zel_ftc_setMonitoringFunctions(_monitoringFunctions: numpy.typing.ArrayLike) -> None: ...
def zel_ftc_setSensorConfig(maxLoad: numpy.typing.ArrayLike, sensor_offset: numpy.typing.ArrayLike, tool_offect_sensor: numpy.typing.ArrayLike) -> None: ...
def zel_ftc_setSensorNoiseThreshold(f_min: float, m_min: float) -> None: ...
def zel_ftc_setTimeStep(msTime: float) -> None: ...
def zel_ftc_setWorkers(workers: zel_ftc_workers) -> None: ...
def zel_ftc_stop() -> None: ...
def zel_ftc_uninitialFTSensor() -> None: ...
def zel_ftc_whyText(why: Optional[zel_ftc_why] = ...) -> str: ...
def zel_ftc_zeroFTSensor() -> None: ...
def zel_pose2offset(p1: numpy.typing.ArrayLike, p2: numpy.typing.ArrayLike) -> numpy.typing.NDArray[numpy.float64]: ...
def zel_quaternion2rpy(pose_qua: numpy.typing.ArrayLike) -> numpy.typing.NDArray[numpy.float64]: ...
def zel_rpy2quaternion(pose: numpy.typing.ArrayLike) -> numpy.typing.NDArray[numpy.float64]: ...
def zel_set_minValue(value: float, value_name: int) -> None: ...
def zel_set_minValue_every(value_group: numpy.typing.ArrayLike, value_name: int) -> None: ...
