"""TARN RF vector measurement units from Python: sweeps as numpy arrays, Touchstone and CSV.

    import tarn
    with tarn.Unit("192.168.1.10", progress=print) as unit:
        unit.configure(start_mhz=1000, stop_mhz=2000, points=201, paths="all")
        sweep = unit.sweep()
    s21 = sweep["S21"]                  # complex numpy array, one value per point
    sweep.write_touchstone("dut.s2p")   # frequencies in Hz in the file

Frequencies are MHz in every argument; a Sweep has both freq_mhz and freq_hz. A failed call
raises TarnError (code, name, text, hint); a bad argument raises ValueError before anything
reaches the driver.
"""

from ._lib import TarnError, constant, version
from .files import read_csv, read_touchstone, write_csv, write_touchstone
from .sweep import Sweep, parse_path, s_name
from .unit import HOP_NAMES, Details, Stream, Unit, UnitArray

__all__ = ["TarnError", "constant", "version", "read_csv", "read_touchstone", "write_csv",
           "write_touchstone", "Sweep", "parse_path", "s_name", "HOP_NAMES", "Details", "Stream",
           "Unit", "UnitArray"]
