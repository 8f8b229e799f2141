"""What a control cycle costs in Python: a reading handed in, an approach in contact, one wrench.

Compare with the same in C++: bench_cycle. Usage: bench/cycle.py, with the module in PYTHONPATH.
"""
import time

import numpy as np

from zel_ftc import *

START = np.array([400, 0, 300, 0, 0, np.pi])
READING = np.array([0, 0, -5.0, 0, 0, 0])
CYCLES = 20_000

zel_ftc_open(True)
zel_ftc_initialFTSensor(0, None)
zel_ftc_setTimeStep(4)
zel_ftc_setSensorConfig([200, 200, 200, 10, 10, 10], np.zeros(6), np.zeros(6))
zel_ftc_setLoadData(0, 0, 0, 0)
zel_ftc_setCorrectionLimit([1e6] * 3, [-1e6] * 3, 1e6)
zel_ftc_setMonitoringFunctions([60, 60, 60, 6, 6, 6])
zel_ftc_setCorrectionMonitoring(1e6, 1e6)
zel_ftc_obtainFTSensorData(np.zeros(6))
zel_ftc_sensorReset(START)
zel_ftc_configApproachMode(RCS_TOOL, FT_FZ, 10, [0, 0, 3, 0, 0, 0], 20, 2, 1,
                           [0, 0, 0.3, 0, 0, 0], 600_000)

times = np.empty(CYCLES)
pose = START
for i in range(CYCLES):
    begin = time.perf_counter_ns()
    zel_ftc_obtainFTSensorData(READING)
    pose, code = zel_ftc_runApproach(pose)
    wrench = zel_ftc_getRCS_FT_Data()
    times[i] = 0.001 * (time.perf_counter_ns() - begin)
zel_ftc_close()
low, high = np.percentile(times, [50, 99.9])
print(f"cycle in Python: median {low:.1f} us, 99.9 % {high:.1f} us, longest {times.max():.1f} us")
