"""The Python module: what it adds to the library, and that it leaves nothing out."""
import pathlib
import pickle
import re
import sys
import threading

import numpy as np
import pytest

import zel_ftc
from zel_ftc import *
from zel_ftc import analysis, sim

ROOT = pathlib.Path(__file__).parents[2]
START = np.array([400, 0, 300, 0, 0, np.pi])
SENSOR = [0, 0, 30, 0, 0, 0]


@pytest.fixture
def library():
    """Open, configured but for the mode, zero taken."""
    zel_ftc_open(True)
    zel_ftc_initialFTSensor(0, None)
    zel_ftc_setTimeStep(4)
    zel_ftc_setSensorConfig([200, 200, 200, 10, 10, 10], SENSOR, [0, 0, 120, 0, 0, 0])
    zel_ftc_setLoadData(12, 2, -3, 45)
    zel_ftc_setCorrectionLimit([220] * 3, [-220] * 3, 0.5)
    zel_ftc_setMonitoringFunctions([60, 60, 60, 6, 6, 6])
    zel_ftc_setCorrectionMonitoring(200, 0.5)
    zel_ftc_obtainFTSensorData(np.zeros(6))
    zel_ftc_sensorReset(START)
    yield
    zel_ftc_close()


def approach(force=10, gain=3):
    zel_ftc_configApproachMode(RCS_TOOL, FT_FZ, force, [0, 0, gain, 0, 0, 0], 20, 2, 1,
                               [0, 0, 0.3, 0, 0, 0], 10000)


def refused(call, *arguments):
    with pytest.raises(Error) as refusal:
        call(*arguments)
    assert str(refusal.value) == f"{refusal.value.reason.text}: {refusal.value.reason.remedy}"
    copy = pickle.loads(pickle.dumps(refusal.value))
    assert (str(copy), copy.reason.kind) == (str(refusal.value), refusal.value.reason.kind)
    return refusal.value.reason


def test_every_flat_function_is_there_and_says_what_it_does():
    declared = set()
    for header in ("lib", "diag", "check", "guard", "workers"):
        text = (ROOT / f"zel_ftc_{header}.h").read_text()
        declared |= set(re.findall(r"^ZEL_FTC_API [\w ]+[ *](zel_\w+)\(", text, re.M))
    assert len(declared) > 60
    declared -= {"zel_ftc_issetok", "zel_ftc_emptyPlan"}  # C++ alone; what a new plan is
    assert all(getattr(zel_ftc, name).__doc__.split("\n\n")[1] for name in declared)


def test_refusals_carry_the_reason(library):
    reason = refused(zel_ftc_setTimeStep, 3.99)
    assert (reason.function, reason.kind, reason.argument, reason.value, reason.limit) == (
        "zel_ftc_setTimeStep", ZEL_REASON_OUT_OF_RANGE, "msTime", 3.99, 4)
    assert refused(zel_ftc_runApproach, START).code == ZEL_RUN_CONTACT_NOT_SET
    zel_ftc_close()
    zel_ftc_open(False)
    assert refused(zel_ftc_initialFTSensor, 1, "1" + "\u00e4" * 20).detail == "1" + "\u00e4" * 15
    zel_ftc_close()
    assert refused(zel_ftc_setTimeStep, 4).kind == ZEL_REASON_NOT_OPEN
    assert refused(zel_ftc_cycleView).function == "zel_ftc_cycleView"
    assert zel_ftc_lastReason().function == "zel_ftc_setTimeStep"  # a look changes nothing


@pytest.mark.parametrize("bad, error, text", [
    ([1, 2], ValueError, "robot_pos_now: shape (6,) wanted, not (2,)"),
    (np.ones((6, 1)), ValueError, "not (6, 1)"),
    (["1"] * 6, TypeError, "6 real numbers wanted, not <U1"),
    ([1j] * 6, TypeError, "complex128"),
    ([True] * 6, TypeError, "bool"),
    (None, TypeError, "object"),
    ([1, [2]], TypeError, "robot_pos_now: 6 numbers wanted"),
])
def test_arrays_are_checked_before_anything_happens(library, bad, error, text):
    approach()
    with pytest.raises(error, match=re.escape(text)):
        zel_ftc_runApproach(bad)
    with pytest.raises(TypeError):
        zel_ftc_obtainFTSensorData()
    assert zel_ftc_cycleView().run == ZEL_NO_RUN


def test_arrays_of_any_layout_and_number_type():
    pose = np.arange(12)[::-2]  # whole numbers, backwards
    for layout in (pose, pose.astype(np.float32), list(pose), tuple(pose), pose.astype(float)):
        quaternion = zel_rpy2quaternion(layout)
        assert quaternion.shape == (7,) and quaternion.dtype == np.float64
        np.testing.assert_array_equal(quaternion, zel_rpy2quaternion(pose.astype(float).copy()))


def test_run_view_check_and_guard(library):
    approach(gain=100)
    plan = zel_ftc_plan()
    plan.stiffness, plan.start = 10, START
    wrong = [f for f in zel_ftc_checkConfiguration(plan) if f.severity == ZEL_FINDING_ERROR]
    assert ZEL_CHECK_STABILITY in [f.check for f in wrong]
    assert all(f.text and f.remedy for f in wrong)

    zel_ftc_setGuardLimit(ZEL_LIMIT_STEP, 0.05, ZEL_GUARD_HOLD)
    with pytest.raises(ValueError):
        zel_ftc_setGuardLimit(ZEL_LIMIT_STEP, np.nan, ZEL_GUARD_HOLD)
    zel_ftc_obtainFTSensorData([0, 0, -0.5, 0, 0, 0])
    before = START.copy()
    pose, code = zel_ftc_runApproach(START)
    assert (code, pose[2]) == (ZEL_RUN_RUNNING, pytest.approx(300 - 20 * 0.004))
    np.testing.assert_array_equal(START, before)
    view = zel_ftc_cycleView()
    assert view.running and view.wrench[2] == -0.5 and view.not_ending[0].kind == ZEL_WHY_SEARCHING
    held, passed, verdict = zel_ftc_guard(pose, START)
    assert not passed and verdict.which == ZEL_LIMIT_STEP
    assert "must be at most 0.05 mm" in verdict.text
    np.testing.assert_array_equal(held, START)
    assert zel_ftc.zel_raw_ft[2] == -0.5 and zel_ftc.zel_info_.code == FT_N0RMAL

    zel_ftc_obtainFTSensorData([0, 0, -70, 0, 0, 0])
    reason = refused(zel_ftc_runApproach, pose)
    assert (reason.code, reason.value, reason.limit) == (ZEL_RUN_OVER_MONITORING, 70, 60)


def test_other_threads_run_while_the_sensor_is_awaited():
    zel_ftc_open(False)
    ready, go, ran = threading.Event(), threading.Event(), threading.Event()
    other = threading.Thread(target=lambda: (ready.set(), go.wait(), ran.set()))
    interval = sys.getswitchinterval()
    sys.setswitchinterval(1000)  # nobody gets the interpreter unless it is given away
    other.start()
    ready.wait()
    go.set()
    reason = refused(zel_ftc_initialFTSensor, 9, "127.0.0.1")
    assert ran.is_set() and reason.kind == ZEL_REASON_NO_ANSWER
    sys.setswitchinterval(interval)
    zel_ftc_close()


def test_a_load_identified_on_the_cell():
    tool, poses, swapped = ldd_tool(), [], []
    config = sim.CellConfig(load=sim.Load(weight=12, centre=[2, -3, 45]), flange_sensor=SENSOR,
                            offset=[3, -5, 12, 0, 0, 0], force_noise=0.03, torque_noise=0.001)
    for a, b, c in np.random.default_rng(1).uniform(-3, 3, (10, 3)):
        config.start = [400, 0, 300, a, b, c]
        reading = sim.Cell(config).reading()
        tool.recordCalibrationLoadData(reading, robot_pose_para(config.start, np.zeros(6), SENSOR))
        poses.append(analysis.StaticPose(reading, angles=[a, b, c]))
        in_base = poses[-1].rotation @ reading.reshape(2, 3).T
        swapped.append(analysis.StaticPose(in_base.T.ravel(), rotation=poses[-1].rotation))
    tool.gravityCalibration()
    report = analysis.identify(poses, range=[200] * 6, goal=(0.1, 1))
    load = tool.getLoadPara()
    assert report.verdict == "good" and report.answer.weight.value == pytest.approx(load.g)
    np.testing.assert_allclose(report.load_data, [12, 2, -3, 45], atol=0.3)
    np.testing.assert_allclose(1000 * np.array([load.lx, load.ly, load.lz]),
                               report.answer.centre_on_measured_forces)
    assert [f.what for f in analysis.identify(swapped).findings] == ["readings_in_base_axes"]
    assert "\n10 " in analysis.table(report, poses)
    with pytest.raises(ValueError, match="the 10 of the report wanted, not 9"):
        analysis.table(report, poses[1:])
    for unusable in ({"range": [-200] * 6}, {"goal": (np.nan, 1)}, {"mounting": [np.inf, 0, 0]}):
        with pytest.raises(ValueError, match=next(iter(unusable))):
            analysis.identify(poses, **unusable)
    np.testing.assert_allclose(tool.FTData[3], poses[3].wrench)


def test_recordings(tmp_path):
    file = tmp_path / "run.csv"
    for text, wrong in [("", "line 1"), ("a,a\n1,2\n", "line 1"), ("a,b\n1\n", "line 2: 1 cells"),
                        ("a,b\n1,2\n\n3,x\n", 'line 4, column "b": "x" is not a number')]:
        file.write_text(text)
        with pytest.raises(ValueError, match=re.escape(f"{file}, {wrong}")):
            readRecording(file)
    file.write_text("run,t,fx,fy,fz,mx,my,mz\nline,0,1,2,3,4,5,6\napproach,1,1,2,,4,5,-6e1\n")
    recording = readRecording(file)
    assert recording[recording["run"] == "approach"]["t"] == [1]
    np.testing.assert_array_equal(columns(recording, WRENCH)[1], [1, 2, np.nan, 4, 5, -60])


def test_documentation_shows_the_example():
    example = (ROOT / "examples/approach.py").read_text()
    shown = [block for page in ("README.md", "docs/guide.md")
             for block in re.findall(r"```python\n(.*?)```", (ROOT / page).read_text(), re.S)]
    assert shown and all(block in example for block in shown)
