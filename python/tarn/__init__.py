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

import importlib

# Imported on first use, so that `python3 -m tarn --help` and its one-line errors work even
# where numpy or the libraries are missing.
_EXPORTS = {
    "._lib": ("TarnError", "constant", "version"),
    ".files": ("read_csv", "read_touchstone", "write_csv", "write_touchstone"),
    ".sweep": ("Sweep", "parse_path", "s_name"),
    ".unit": ("HOP_NAMES", "Details", "Stream", "Unit", "UnitArray"),
}
_MODULE_OF = {name: module for module, names in _EXPORTS.items() for name in names}
__all__ = sorted(_MODULE_OF)


def __getattr__(name):
    if name not in _MODULE_OF:
        raise AttributeError(f"module 'tarn' has no attribute {name!r}")
    return getattr(importlib.import_module(_MODULE_OF[name], __name__), name)
