"""Force/torque sensing and force control for industrial robots.

The flat interface of the library with its names of C, numbers as numpy arrays:

    Arrays go in as anything that numpy can read; a wrong shape or type raises ValueError or
    TypeError with the name of the argument. Results come back as new arrays. A call that is refused
    raises Error, whose `reason` has the parts; zel_ftc_setWorkers and zel_ftc_setGuardLimit, of
    which C keeps no reason, raise ValueError. The runs return (pose to command, code), also at a
    normal end; that of zel_ftc_runAssembly is not to be commanded. Where a function has nothing to
    tell it returns None.

Poses are x, y, z in mm, then the angles about Z, Y, X in rad; wrenches Fx, Fy, Fz in N, Mx, My, Mz
in N m; times ms. Everything from one thread. zel_raw_ft, zel_info_ and zel_is_external show the
present value: use them as zel_ftc.zel_info_.

The functions: help(zel_ftc.zel_ftc_runApproach) and the like. Where to begin:

    zel_ftc_open, zel_ftc_initialFTSensor, zel_ftc_setTimeStep, zel_ftc_setSensorConfig,
    zel_ftc_setLoadData, zel_ftc_setCorrectionLimit, zel_ftc_setMonitoringFunctions,
    zel_ftc_setCorrectionMonitoring, zel_ftc_sensorReset        before the first run
    zel_ftc_configApproachMode, ...AssemblyMode, ...TrackingMotionMode     the mode
    zel_ftc_obtainFTSensorData, then zel_ftc_runApproach, ...Assembly, ...TrackingMotionL, ...C
                                                                once per control period
    zel_ftc_lastReason, zel_ftc_explainCode, zel_ftc_cycleView, zel_ftc_linkHealth     why
    zel_ftc_checkConfiguration, zel_ftc_guard                   before and while it moves

zel_ftc.sim is a cell to experiment on, zel_ftc.analysis identifies loads, readRecording reads what
the programs record, ldd_tool is the load identification of the library.

The control cycle in Python is for experiments, not for robots: it takes about five times as long as
in C, and the interpreter may pause in it at any time (docs/guide.md has figures).
"""
from __future__ import annotations

import typing

from . import _flat
from ._flat import *
from .error import Error as Error
from .recording import POSE as POSE, WRENCH as WRENCH
from .recording import columns as columns, readRecording as readRecording

if typing.TYPE_CHECKING:
    import numpy

    zel_is_external: bool
    zel_raw_ft: numpy.typing.NDArray[numpy.float64]
    zel_info_: _flat.zel_ft_info
else:  # for a star and for help()
    __all__ = [name for name in dir(_flat) if not name.startswith("_")]
    __all__ += ["Error", "POSE", "WRENCH", "columns", "readRecording"]


def __getattr__(name: str) -> typing.Any:
    """The variables of the library, as they stand now."""
    if name == "zel_is_external":
        return _flat._is_external()
    if name == "zel_raw_ft":
        return _flat._raw_ft()
    if name == "zel_info_":
        return _flat._info()
    raise AttributeError(f"module {__name__} has no attribute {name}")
