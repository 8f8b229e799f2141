"""The approach in Python: a simulated robot moves down until it touches, then presses with 10 N."""
import sys

import matplotlib.pyplot as plt
import numpy as np

from zel_ftc import *
from zel_ftc.sim import Cell, CellConfig, Load, Surface

start = np.array([400, 0, 300, 0, 0, np.pi])  # flange, mm and rad: looks down
sensor, tool = [0, 0, 30, 0, 0, 0], [0, 0, 120, 0, 0, 0]  # on the flange, on the sensor
load, surface = Load(weight=12, centre=[2, -3, 45]), Surface(pose=[400, 0, 100, 0, 0, 0])
cell = Cell(CellConfig(start=start, flange_sensor=sensor, sensor_tool=tool, lag=0.01, load=load,
                       force_noise=0.03, surface=surface))

zel_ftc_open(True)  # readings are handed in
zel_ftc_initialFTSensor(0, None)
zel_ftc_setTimeStep(4)  # ms
zel_ftc_setSensorConfig([200, 200, 200, 10, 10, 10], sensor, tool)
zel_ftc_setLoadData(12, 2, -3, 45)  # N and mm
zel_ftc_setCorrectionLimit([220] * 3, [-220] * 3, 0.5)
zel_ftc_setMonitoringFunctions([60, 60, 60, 6, 6, 6])
zel_ftc_setCorrectionMonitoring(200, 0.5)
zel_ftc_obtainFTSensorData(cell.reading())
zel_ftc_sensorReset(start)  # the zero reference
zel_ftc_configApproachMode(RCS_TOOL, FT_FZ, 10, [0, 0, 3, 0, 0, 0], 20, 2, 1,
                           [0, 0, 0.3, 0, 0, 0], 60000)

pose, code, force = start, int(ZEL_RUN_RUNNING), []
while code == ZEL_RUN_RUNNING:  # one turn per control period
    reading = cell.reading()
    zel_ftc_obtainFTSensorData(reading)
    pose, code = zel_ftc_runApproach(pose)
    if not np.isfinite([*reading, *pose]).all():
        raise SystemExit("a reading or pose that is not finite")
    force.append(-zel_ftc_getRCS_FT_Data()[2])
    cell.command(pose)
    cell.advance(0.004)
zel_ftc_close()

plt.plot(0.004 * np.arange(len(force)), force)
plt.xlabel("s")
plt.ylabel("contact force, N")
plt.savefig(sys.argv[1]) if len(sys.argv) > 1 else plt.show()
print(f"approach: end {code}, {len(force)} cycles, force {force[-1]:.1f} N")
