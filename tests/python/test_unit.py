# The package against simulated units: its sweeps equal tarnctl's to the last digit, streams and
# arrays halt cleanly, and a bad argument raises instead of ending the interpreter.
import math
import subprocess
import sys

import numpy as np
import pytest

import tarn

PLANS = [("--start 1000 --stop 2200 --points 61", dict(start_mhz=1000, stop_mhz=2200, points=61)),
         ("--start 2500 --stop 900 --points 17", dict(start_mhz=2500, stop_mhz=900, points=17)),
         ("--freqs 1600,1450,1750.5", dict(frequencies_mhz=[1600, 1450, 1750.5]))]


def data_lines(path):
    return [line for line in open(path) if not line.startswith("!")]


@pytest.mark.parametrize("options,settings", PLANS)
def test_two_port_sweep_equals_tarnctl(units, tarnctl, tmp_path, options, settings):
    with tarn.Unit(units[0]) as unit:  # closed before tarnctl binds the same local port
        unit.configure(paths="all", **settings)
        sweep = unit.sweep()
        sweep.write_touchstone(tmp_path / "api.s2p")
    for name, command in (("c", [tarnctl]), ("cli", [sys.executable, "-m", "tarn"])):
        for suffix in ("s2p", "csv"):
            subprocess.run([*command, "sweep", "--address", units[0], *options.split(), "-o",
                            str(tmp_path / f"{name}.{suffix}")], check=True, capture_output=True,
                           timeout=30)
    reference = data_lines(tmp_path / "c.s2p")
    assert data_lines(tmp_path / "api.s2p") == reference == data_lines(tmp_path / "cli.s2p")
    assert data_lines(tmp_path / "cli.csv") == data_lines(tmp_path / "c.csv")
    # Read back independently of both writers: 17 digits hold every double exactly.
    table = np.loadtxt(tmp_path / "c.csv", delimiter=",", skiprows=1, ndmin=2)
    order = np.argsort(sweep.freq_mhz)
    assert np.array_equal(sweep.freq_hz[order] / 1e6, table[:, 0])
    for column, name in enumerate(["S11", "S21", "S12", "S22"]):
        assert np.array_equal(sweep[name].real[order], table[:, 1 + 2 * column]), name
        assert np.array_equal(sweep[name].imag[order], table[:, 2 + 2 * column]), name
    assert sweep[(0, 1)].shape == (2, len(order)) and sweep[(0, 1)].dtype == np.complex128


def test_stream_halts_on_break_and_the_unit_sweeps_again(units):
    with tarn.Unit(units[0]) as unit:
        unit.configure(start_mhz=1000, stop_mhz=2000, points=21, paths=["S21"])
        frames = []
        for sweep in unit.stream(count=1000):
            frames.append(sweep.info[(0, 1)]["frame_number"])
            if len(frames) == 4:
                break
        assert frames == sorted(frames) and len(set(frames)) == 4
        assert unit.state == tarn.constant("TASK_STOPPED")
        assert list(unit.stream(count=3)) and unit.sweep().freq_mhz.size == 21
        assert len(list(unit.stream(seconds=0.2))) > 0


def test_unit_array_streams_frames_of_every_unit(units):
    with tarn.UnitArray(units) as array:
        array.configure(start_mhz=1400, stop_mhz=1800, points=11, paths=["S21", "S11"])
        frames = list(array.stream(count=3))
        assert [len(frame) for frame in frames] == [len(units)] * 3
        assert all(np.array_equal(f[0]["S21"], f[1]["S21"]) for f in frames)
        assert [u.state for u in array] == [tarn.constant("TASK_STOPPED")] * len(units)


def test_progress_reaches_100_and_can_cancel(units):
    seen = []
    with tarn.Unit(units[0], progress=seen.append):
        pass
    assert seen == sorted(seen) and seen[-1] == 100
    with pytest.raises(tarn.TarnError) as cancelled:
        tarn.Unit(units[0], progress=lambda percent: percent < 50)
    assert cancelled.value.code == tarn.constant("ERR_INTERRUPTED")

    def broken(percent):
        raise RuntimeError("from the callback")
    with pytest.raises(RuntimeError, match="from the callback"):
        tarn.Unit(units[0], progress=broken)


BAD_UNITS = [dict(address="192.168.1.300"), dict(address=None), dict(port=80),
             dict(port=1024.5), dict(timeout_ms=-1), dict(progress=5)]
BAD_SETTINGS = [dict(hop="5k"), dict(hop=14), dict(hop=-1), dict(stop_mhz=9000),
                dict(start_mhz=math.nan), dict(points=-1), dict(points=2**40), dict(points=1),
                dict(paths=["S99"]), dict(paths=[(0, 8)]), dict(paths=["S21", "0:1"]),
                dict(gain_db=4), dict(gain_db=48), dict(receivers=[4]), dict(receivers=[]),
                dict(frequencies_mhz=[1000, math.inf]), dict(frequencies_mhz=[]),
                dict(frequencies_mhz=[1000], start_mhz=900)]


@pytest.mark.parametrize("arguments", BAD_UNITS)
def test_bad_unit_arguments_raise_value_error(units, arguments):
    with pytest.raises(ValueError):
        tarn.Unit(**{"address": units[0], **arguments})


def test_bad_settings_raise_and_the_unit_still_works(units):
    with tarn.Unit(units[0]) as unit:
        unit.configure(start_mhz=1000, stop_mhz=2000, points=11)
        for arguments in BAD_SETTINGS:
            with pytest.raises(ValueError):
                unit.configure(**arguments)
        # Refused by the driver itself: a frequency between synthesiser steps is fine, a
        # path the S-parameter board cannot switch is not.
        with pytest.raises(tarn.TarnError):
            unit.configure(paths=["0:3"])
        unit.configure(frequencies_mhz=[1500.0001, 1600], paths=["S21"])
        assert unit.sweep().freq_mhz.size == 2
    with pytest.raises(ValueError, match="closed"):
        unit.sweep()


def test_silent_unit_raises_tarn_error_with_its_text(units):
    with pytest.raises(tarn.TarnError) as silent:
        tarn.Unit("192.168.1.15", timeout_ms=20)
    assert silent.value.code == tarn.constant("ERR_NO_RESPONSE")
    assert silent.value.name == "ERR_NO_RESPONSE" and silent.value.hint in str(silent.value)
