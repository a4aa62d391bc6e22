# Bindings, files, the plot and the command line: every call is typed as its header declares,
# the plot shows what the file holds, and mistakes end in one line.
import ctypes
import os
import re
import struct
import subprocess
import sys

import numpy as np
import pytest

import tarn
from tarn import _lib

SOURCE = os.path.join(os.path.dirname(__file__), "..", "..")


def prototypes(header, macro):
    """{name: parameter counts} of the functions a public header declares."""
    text = re.sub(r"/\*.*?\*/", "", open(os.path.join(SOURCE, header)).read(), flags=re.S)
    text = re.sub(r"TARN_ENUM\((\w+)\)", r"\1", text)
    found = {}
    for name, params in re.findall(macro + r"\b[^;{]*?\b(\w+)\s*\(([^()]*)\)\s*;", text):
        found.setdefault(name, set()).add(0 if params.strip() in ("", "void") else
                                          params.count(",") + 1)
    return found


def exported_functions():
    names = {line.strip() for line in open(os.path.join(SOURCE, "cmake", "tarndll.symbols"))
             if line.strip() and not line.startswith("#")}
    # The enumerators and the version text are data, not functions.
    return {n for n in names if n != "version" and not re.fullmatch(r"[A-Z][A-Z0-9_]*", n)}


def test_every_function_called_is_bound_with_the_headers_arity():
    package = os.path.dirname(tarn.__file__)
    source = "".join(open(os.path.join(package, name)).read() for name in os.listdir(package)
                     if name.endswith(".py"))
    called = set(re.findall(r"\b(?:dll|vna)\.(\w+)\(", source))
    headers = {"libtarndll": prototypes("include/tarndll.h", "TARN_API"),
               "libtarnvna": prototypes("vna/include/tarnvna.h", "TARNVNA_API")}
    bound = set()
    for library, (handle, names) in _lib.BOUND.items():
        bound |= set(names)
        for name in names:
            function = getattr(handle, name)
            assert function.argtypes is not None, name
            if not name.startswith("_Z"):  # the C++ overloads: the header names them plainly
                assert len(function.argtypes) in headers[library][name], name
    assert called and called <= bound
    assert set(_lib.BOUND["libtarndll"][1]) == exported_functions()
    assert _lib.dll.deleteTask.restype is None
    assert _lib.dll.getHardwareDetails.restype is _lib.HardwareDetails
    with pytest.raises(ctypes.ArgumentError):
        _lib.dll.setIPPort(None, "1024")


def write_example(path):
    freq = np.linspace(1000, 2000, 41)
    s = np.zeros((41, 2, 2), dtype=complex)
    s[:, 1, 0] = s[:, 0, 1] = np.exp(-((freq - 1500) / 150) ** 2 + 1j * freq / 300)
    s[:, 0, 0] = 0.5 * np.exp(-1j * freq / 500)
    s[:, 1, 1] = 0.3
    tarn.write_touchstone(path, freq, s, "example\nsecond line")
    return freq, s


def parse_touchstone(path):
    rows = [list(map(float, line.split())) for line in open(path) if line[0] not in "!#"]
    table = np.array(rows)
    s = (table[:, 1::2] + 1j * table[:, 2::2]).reshape(-1, 2, 2).transpose(0, 2, 1)
    return table[:, 0] / 1e6, s  # two-port order S11 S21 S12 S22


def test_plot_shows_the_simulated_filter(units, tmp_path):
    path = tmp_path / "dut.s2p"
    with tarn.Unit(units[0]) as unit:
        unit.configure(start_mhz=1000, stop_mhz=2200, points=121)
        unit.sweep().write_touchstone(path)
    done = subprocess.run([sys.executable, "-m", "tarn", "plot", str(path)],
                          capture_output=True, text=True, timeout=60)
    assert done.returncode == 0, done.stderr
    png = (tmp_path / "dut.png").read_bytes()
    width, height = struct.unpack(">II", png[16:24])
    assert png[:8] == b"\x89PNG\r\n\x1a\n" and 800 <= width <= 2000 and 500 <= height <= 1500
    assert len(png) > 20000

    freq, s = parse_touchstone(path)
    from tarn.plot import figure
    magnitude, phase, smith = figure(path).axes
    np.seterr(divide="ignore")  # an exact zero is -inf dB in the plot as here
    for axes, expected in ((magnitude, lambda v: 20 * np.log10(np.abs(v))),
                           (phase, lambda v: np.degrees(np.angle(v)))):
        lines = {line.get_label(): line for line in axes.get_lines()}
        assert sorted(lines) == ["S11", "S12", "S21", "S22"]
        for name, line in lines.items():
            values = s[:, int(name[1]) - 1, int(name[2]) - 1]
            assert np.allclose(line.get_xdata(), freq), name
            assert np.allclose(line.get_ydata(), expected(values)), name
    traces = {line.get_label(): line for line in smith.get_lines() if line.get_label()[0] == "S"}
    assert sorted(traces) == ["S11", "S22"]
    assert np.allclose(traces["S11"].get_xdata() + 1j * traces["S11"].get_ydata(), s[:, 0, 0])
    # The pass band: near 0 dB around 1600 MHz, far below at the sweep's ends.
    s21_db = {line.get_label(): line for line in magnitude.get_lines()}["S21"].get_ydata()
    assert 1500 < freq[np.argmax(s21_db)] < 1700 and s21_db.max() > -1
    assert s21_db[0] < -20 and s21_db[-1] < -20


def test_files_round_trip_and_refuse_bad_input(tmp_path):
    freq, s = write_example(tmp_path / "a.s2p")
    back_freq, back = tarn.read_touchstone(tmp_path / "a.s2p")
    assert np.allclose(back_freq, freq) and np.array_equal(back, s)
    tarn.write_csv(tmp_path / "a.csv", freq, {"S21": s[:, 1, 0], "S11": s[:, 0, 0]})
    _, columns = tarn.read_csv(tmp_path / "a.csv")
    assert list(columns) == ["S21", "S11"] and np.array_equal(columns["S21"], s[:, 1, 0])
    for call in (lambda: tarn.write_touchstone(tmp_path / "b.s2p", freq, s[:5]),
                 lambda: tarn.write_touchstone(tmp_path / "b.s2p", -freq, s),
                 lambda: tarn.write_csv(tmp_path / "b.csv", freq, {"a,b": s[:, 0, 0]})):
        with pytest.raises(ValueError):
            call()
    with pytest.raises(OSError):
        tarn.write_touchstone(tmp_path / "missing" / "b.s2p", freq, s)
    with pytest.raises((OSError, tarn.TarnError)):
        tarn.read_touchstone(tmp_path / "a.csv")


@pytest.mark.parametrize("arguments,code", [
    (["sweep", "--hop", "5k"], 2), (["sweep", "--points", "x"], 2), (["sweep", "--bogus"], 2),
    (["sweep", "--port", "80"], 2), (["sweep", "-o", "x.txt"], 2), (["plot", "no.txt"], 2),
    (["plot", "missing.s2p"], 3)])
def test_command_line_mistakes_end_in_one_line(arguments, code):
    done = subprocess.run([sys.executable, "-m", "tarn", *arguments], capture_output=True,
                          text=True, timeout=60)
    assert done.returncode == code and done.stderr.count("\n") == 1, done.stderr
    assert done.stderr.startswith("tarn: ") and done.stdout == ""
