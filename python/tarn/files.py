"""Touchstone and CSV files, written and read by libtarnvna (frequencies MHz here, Hz in the
Touchstone file itself)."""

import ctypes
import os

import numpy as np

from . import _lib


def _doubles(array):
    return array.ctypes.data_as(ctypes.POINTER(ctypes.c_double))


def _path_bytes(path):
    path = os.fspath(path)
    if not isinstance(path, str) or not path:
        raise ValueError("give a file name")
    return path.encode()


def _frequencies(freq_mhz):
    freq = np.ascontiguousarray(freq_mhz, dtype=np.float64)
    if freq.ndim != 1 or freq.size == 0:
        raise ValueError("frequencies must be a non-empty list")
    if not np.all(np.isfinite(freq)) or np.any(freq <= 0):
        raise ValueError("frequencies must be positive and finite (MHz)")
    return freq


def _check_written(code, path):
    if code == _lib.ERR_OK:
        return
    what = f"cannot write {os.fspath(path)}"
    if code == _lib.constant("ERR_BYTES"):
        error = ctypes.get_errno()
        raise OSError(error or None, f"{what}: check that the folder exists and is writable")
    raise _lib.TarnError(code, what)


def write_touchstone(path, freq_mhz, s, comment=None):
    """Writes S-parameters s[point, i, j] (wave leaving port i+1 per wave entering port j+1) as
    Touchstone 1.1, "# Hz S RI R 50"; points are sorted by frequency."""
    freq = _frequencies(freq_mhz)
    s = np.asarray(s, dtype=np.complex128)
    if s.ndim != 3 or s.shape[0] != freq.size or s.shape[1] != s.shape[2]:
        raise ValueError("S-parameters must have the shape (points, ports, ports)")
    if not 1 <= s.shape[1] <= 99:
        raise ValueError("a Touchstone file holds 1 to 99 ports")
    if not np.all(np.isfinite(s)):
        raise ValueError("S-parameters must be finite")
    if np.unique(freq).size != freq.size:
        raise ValueError("two points fall on one frequency")
    re = np.ascontiguousarray(s.real)
    im = np.ascontiguousarray(s.imag)
    network = _lib.Network(s.shape[1], freq.size, _doubles(freq), _doubles(re), _doubles(im))
    text = comment.encode() if comment else None
    _check_written(_lib.vna.tarnvna_touchstone_write(_path_bytes(path), network, text), path)


def write_csv(path, freq_mhz, columns):
    """Writes named complex columns ({name: values}) as CSV "freq_mhz,NAME_re,NAME_im,..."."""
    freq = _frequencies(freq_mhz)
    if not columns:
        raise ValueError("give at least one column")
    names = list(columns)
    for name in names:
        if not isinstance(name, str) or not name or any(c in name for c in ",\"\r\n"):
            raise ValueError(f"column name {name!r} must be non-empty text without commas, "
                             "quotes or line breaks")
    values = np.stack([np.asarray(columns[n], dtype=np.complex128) for n in names], axis=1)
    if values.shape != (freq.size, len(names)):
        raise ValueError("every column needs one value per frequency")
    if np.unique(freq).size != freq.size:
        raise ValueError("two points fall on one frequency")
    re = np.ascontiguousarray(values.real)
    im = np.ascontiguousarray(values.imag)
    encoded = [n.encode() for n in names]
    name_array = (ctypes.c_char_p * len(encoded))(*encoded)
    table = _lib.Table(len(names), freq.size, _doubles(freq), name_array, _doubles(re),
                       _doubles(im))
    _check_written(_lib.vna.tarnvna_csv_write(_path_bytes(path), table), path)


def _copy(pointer, count):
    return np.ctypeslib.as_array(pointer, shape=(count,)).copy() if count else np.empty(0)


def _read(reader, path, result, what):
    """Fills `result` through the library's reader; OSError when the file cannot be read."""
    code = reader(_path_bytes(path), ctypes.byref(result))
    if code == _lib.constant("ERR_BYTES"):
        raise OSError(f"cannot read {os.fspath(path)}")
    _lib.check(code, f"{os.fspath(path)} is not {what}")
    return result


def read_touchstone(path):
    """(frequencies in MHz, S[point, i, j]) of a Touchstone 1.x file; the name gives the port
    count (".s2p")."""
    network = _read(_lib.vna.tarnvna_touchstone_read, path, _lib.Network(),
                    "a Touchstone file this package reads")
    try:
        n, points = network.ports, network.points
        freq = _copy(network.freq_mhz, points)
        s = (_copy(network.re, points * n * n) + 1j * _copy(network.im, points * n * n))
        return freq, s.reshape(points, n, n)
    finally:
        _lib.vna.tarnvna_network_free(ctypes.byref(network))


def read_csv(path):
    """(frequencies in MHz, {name: complex values}) of a CSV file as write_csv writes it."""
    table = _read(_lib.vna.tarnvna_csv_read, path, _lib.Table(), "a sweep CSV file")
    try:
        count, points = table.columns, table.points
        freq = _copy(table.freq_mhz, points)
        values = (_copy(table.re, points * count) + 1j * _copy(table.im, points * count))
        values = values.reshape(points, count)
        names = [table.names[c].decode() for c in range(count)]
        return freq, {name: values[:, c] for c, name in enumerate(names)}
    finally:
        _lib.vna.tarnvna_table_free(ctypes.byref(table))
