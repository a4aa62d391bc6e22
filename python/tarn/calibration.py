"""The unit's 12-term error model (forward and reverse directivity, source match, reflection
tracking, isolation, load match, transmission tracking), applied by libtarnvna.

    cal = tarn.Calibration.from_unit("192.168.1.10")   # the table stored in the unit's PROM
    with tarn.Unit("192.168.1.10", calibration=cal) as unit:
        unit.configure(start_mhz=1000, stop_mhz=2000, paths="all")
        sweep = unit.sweep()                           # corrected, as a calibration is given
"""

import ctypes
import os

import numpy as np

from . import _lib
from ._lib import check, constant, vna

TERMS = ("EDF", "ESF", "ERF", "EXF", "ELF", "ETF", "EDR", "ESR", "ERR", "EXR", "ELR", "ETR")


def _copy(pointer, count):
    return np.ctypeslib.as_array(pointer, shape=(count,)).copy()


def _doubles(array):
    return array.ctypes.data_as(ctypes.POINTER(ctypes.c_double))


class Calibration:
    """freq_mhz (ascending) and terms[point, term] (complex, in the order of TERMS); `source`
    says where the table came from, for the files' comments."""

    def __init__(self, freq_mhz, terms, source="a calibration table"):
        self.freq_mhz = np.ascontiguousarray(freq_mhz, dtype=np.float64)
        self.terms = np.ascontiguousarray(terms, dtype=np.complex128)
        if self.freq_mhz.ndim != 1 or self.terms.shape != (self.freq_mhz.size, len(TERMS)):
            raise ValueError("a calibration has twelve complex terms per frequency")
        if self.freq_mhz.size == 0 or np.any(np.diff(self.freq_mhz) <= 0):
            raise ValueError("a calibration's frequencies must ascend")
        self.source = source

    @classmethod
    def _take(cls, table, source):
        try:
            points = table.points
            count = points * len(TERMS)
            terms = _copy(table.re, count) + 1j * _copy(table.im, count)
            return cls(_copy(table.freq_mhz, points), terms.reshape(points, len(TERMS)), source)
        finally:
            vna.tarnvna_cal_free(ctypes.byref(table))

    @classmethod
    def from_file(cls, path):
        """Reads a calibration CSV ("Freq,EDFi,EDFq,...")."""
        table = _lib.CalTable()
        check(vna.tarnvna_cal_read(os.fspath(path).encode(), ctypes.byref(table)),
              f"cannot read the calibration {os.fspath(path)}")
        return cls._take(table, f"the 12-term calibration in {os.fspath(path)}")

    @classmethod
    def from_unit(cls, address, port=1024, timeout_ms=100, progress=None):
        """Reads the table stored in the unit's PROM. Call it before a Unit opens the same
        port (both bind it); progress(percent) as for Unit."""
        from .unit import Unit, _Progress  # the unit's own argument checks and progress adapter
        address, port, timeout_ms = Unit.check_address(address, port, timeout_ms)
        adapter = _Progress(progress) if progress else None
        unit, prom = ctypes.c_void_p(), ctypes.c_void_p()
        check(vna.tarnvna_unit_open(address.encode(), port, timeout_ms, ctypes.byref(unit)),
              f"cannot reach the unit at {address}:{port}")
        try:
            code = vna.tarnvna_unit_read_prom(unit, adapter.c_function if adapter else
                                              _lib.PROGRESS(), None, ctypes.byref(prom))
            if adapter and adapter.error is not None:
                raise adapter.error
            check(code, "cannot read the unit's PROM")
        finally:
            vna.tarnvna_unit_close(unit)
        try:
            table = _lib.CalTable()
            check(vna.tarnvna_prom_cal(prom, ctypes.byref(table)),
                  "the unit carries no calibration")
        finally:
            vna.tarnvna_prom_free(prom)
        return cls._take(table, "the unit's stored 12-term calibration")

    def _table(self):
        re, im = np.ascontiguousarray(self.terms.real), np.ascontiguousarray(self.terms.imag)
        table = _lib.CalTable(self.freq_mhz.size, _doubles(self.freq_mhz), _doubles(re),
                              _doubles(im))
        return table, (re, im)  # the arrays must outlive the call

    def save(self, path):
        """Writes the calibration CSV (an existing file is kept when writing fails)."""
        table, keep = self._table()
        check(vna.tarnvna_cal_write(os.fspath(path).encode(), ctypes.byref(table)),
              f"cannot write {os.fspath(path)}")
        del keep

    def correct(self, freq_mhz, s, extrapolate=False):
        """Corrects raw ratios s[point, out, in] of ports 0 and 1 (two-port, all four) or S11
        alone (shape (points, 1, 1)); the terms are interpolated linearly in real and imaginary
        parts. Frequencies outside the table raise TarnError unless extrapolate=True holds the
        end values."""
        freq = np.ascontiguousarray(freq_mhz, dtype=np.float64)
        s = np.asarray(s, dtype=np.complex128)
        if s.ndim != 3 or s.shape[1] != s.shape[2] or s.shape[1] not in (1, 2) or \
                s.shape[0] != freq.size:
            raise ValueError("correction takes S[point, out, in] of one or two ports")
        re, im = np.ascontiguousarray(s.real), np.ascontiguousarray(s.imag)
        raw = _lib.Network(s.shape[1], freq.size, _doubles(freq), _doubles(re), _doubles(im))
        table, keep = self._table()
        corrected = _lib.Network()
        flags = 1 if extrapolate else 0  # TARNVNA_CAL_EXTRAPOLATE
        code = vna.tarnvna_cal_apply(ctypes.byref(table), flags, ctypes.byref(raw),
                                     ctypes.byref(corrected))
        del keep
        if code == constant("ERR_FREQ_OUT_OF_BOUNDS"):
            raise _lib.TarnError(code, f"the sweep reaches beyond the calibration "
                                       f"({self.freq_mhz[0]:g} to {self.freq_mhz[-1]:g} MHz)")
        check(code, "cannot correct the sweep")
        try:
            count = s.size
            values = _copy(corrected.re, count) + 1j * _copy(corrected.im, count)
        finally:
            vna.tarnvna_network_free(ctypes.byref(corrected))
        return values.reshape(s.shape)

    def describe(self, ports):
        """The line the files' comments carry, in the words tarnctl uses."""
        return (f"Corrected with {self.source} ({self.freq_mhz.size} points, "
                f"{self.freq_mhz[0]:.3f}-{self.freq_mhz[-1]:.3f} MHz), "
                f"{'full two-port' if ports == 2 else 'one-port (S11)'} error correction, "
                "terms interpolated linearly in real and imaginary parts")
