"""The two shared libraries, loaded once, with every function's argument and result types.

libtarndll is the driver (a fixed interface); libtarnvna is its companion (result texts,
Touchstone and CSV). TARN_LIBRARY_PATH, a colon-separated list of folders, overrides where they
are looked for; otherwise a build tree beside this package, then the folder of an installed
package, then the system's loader path.
"""

import ctypes
import functools
import os
from ctypes import (CFUNCTYPE, POINTER, Structure, c_bool, c_char_p, c_double, c_int, c_ubyte,
                    c_uint, c_ushort, c_void_p)

_DLL_NAMES = ("libtarndll.so.2", "libtarndll.so")
_VNA_NAMES = ("libtarnvna.so.2", "libtarnvna.so.1", "libtarnvna.so")


def _folders():
    override = os.environ.get("TARN_LIBRARY_PATH")
    if override:
        return [f for f in override.split(":") if f]
    here = os.path.dirname(os.path.abspath(__file__))
    source = os.path.dirname(os.path.dirname(here))  # python/tarn -> the source tree
    build = os.path.join(source, "build")
    # Installed as <prefix>/lib/python3/dist-packages/tarn: the libraries are in <prefix>/lib.
    installed = os.path.dirname(os.path.dirname(os.path.dirname(here)))
    return [build, os.path.join(build, "vna"), installed]


def _load(names, what):
    tried = []
    override = bool(os.environ.get("TARN_LIBRARY_PATH"))
    for folder in _folders():
        for name in names:
            path = os.path.join(folder, name)
            if os.path.exists(path):
                return ctypes.CDLL(path, use_errno=True)
            tried.append(path)
    if not override:
        for name in names:
            try:
                return ctypes.CDLL(name, use_errno=True)
            except OSError:
                tried.append(name)
    raise ImportError(f"cannot find {what} (tried {', '.join(tried)}): build the project or set "
                      "TARN_LIBRARY_PATH to the folders holding libtarndll and libtarnvna")


dll = _load(_DLL_NAMES, "libtarndll")
vna = _load(_VNA_NAMES, "libtarnvna")


class HardwareDetails(Structure):
    _fields_ = [("minimumFrequency", c_int), ("maximumFrequency", c_int),
                ("maximumNumberOfPoints", c_int), ("promKey29", c_int),
                ("bandBoundaries", c_int * 8), ("numberOfBandBoundaries", c_int),
                ("switchBoardType", c_int), ("hasShaftEncoder", c_bool),
                ("hasSerialPort", c_bool), ("hasSwitchboardAttenuator", c_bool),
                ("hasMultipleReceivers", c_bool), ("hasFeature7", c_bool),
                ("hasFeature6", c_bool)]


class SweepRecord(Structure):
    _fields_ = [("real", POINTER(POINTER(c_double))), ("imag", POINTER(POINTER(c_double))),
                ("shaftEncoder1", c_uint), ("shaftEncoder2", c_uint),
                ("serialByteCount", c_uint), ("serialData", POINTER(c_ubyte)),
                ("sweepTimer", c_uint), ("reserved", c_uint), ("timestamp", c_double),
                ("tagB", c_int), ("packetCounter", c_int), ("frameNumber", c_int)]


class Network(Structure):
    _fields_ = [("ports", c_uint), ("points", c_uint), ("freq_mhz", POINTER(c_double)),
                ("re", POINTER(c_double)), ("im", POINTER(c_double))]


class Table(Structure):
    _fields_ = [("columns", c_uint), ("points", c_uint), ("freq_mhz", POINTER(c_double)),
                ("names", POINTER(c_char_p)), ("re", POINTER(c_double)),
                ("im", POINTER(c_double))]


PROGRESS = CFUNCTYPE(c_bool, c_int, c_void_p)
task_p = c_void_p
_int_p, _bool_p, _double_p = POINTER(c_int), POINTER(c_bool), POINTER(c_double)
_tasks_p = POINTER(c_void_p)

# name: (restype, argtypes). Functions returning an Err_Code go through check() at the call.
_DLL_FUNCTIONS = {
    "versionString": (c_char_p, []),
    "createTask": (task_p, []),
    "createSharedTask": (task_p, [task_p]),
    "deleteTask": (None, [task_p]),
    "initialize": (c_int, [task_p, PROGRESS, c_void_p]),
    "start": (c_int, [task_p]),
    "stop": (c_int, [task_p]),
    "setIPAddress": (c_int, [task_p, c_char_p]),
    "setIPPort": (c_int, [task_p, c_int]),
    "setTimeout": (c_int, [task_p, c_uint]),
    "getState": (c_int, [task_p]),
    "getTimeout": (c_uint, [task_p]),
    "getIPAddress": (c_char_p, [task_p]),
    "getIPPort": (c_int, [task_p]),
    "utilPingUnit": (c_int, [task_p, c_int]),
    "utilEnterLowPowerState": (c_int, [task_p]),
    "getHardwareDetails": (HardwareDetails, [task_p]),
    "setHopRate": (c_int, [task_p, c_int]),
    "getHopRate": (c_int, [task_p]),
    "setFrequencies": (c_int, [task_p, _double_p, c_uint]),
    "getNumberOfFrequencies": (c_int, [task_p]),
    "getFrequencies": (c_int, [task_p, _double_p, c_int]),
    "utilNearestLegalFreq": (c_int, [task_p, _double_p]),
    "utilFixLinearSweepLimits": (c_int, [task_p, _double_p, _double_p, c_uint]),
    "utilGenerateLinearSweep": (c_int, [task_p, c_double, c_double, c_uint]),
    "getPreciseTimePerFrame": (c_double, [task_p]),
    "addExclusionBand": (c_int, [task_p, c_double, c_double]),
    "clearExclusionBands": (c_int, [task_p]),
    "getExclusionBandCount": (c_int, [task_p, _int_p]),
    "getExclusionBand": (c_int, [task_p, c_int, _double_p, _double_p]),
    "setMeasurementType": (c_int, [task_p, c_int]),
    "getMeasurementType": (c_int, [task_p]),
    "setSyncPulseMode": (c_int, [task_p, c_int]),
    "getSyncPulseMode": (c_int, [task_p, _int_p]),
    "addPathToMeasure": (c_int, [task_p, c_int, c_int]),
    "getPathAtIndex": (c_int, [task_p, c_int, _int_p, _int_p]),
    "getMeasuredPathCount": (c_int, [task_p, _int_p]),
    "clearMeasuredPaths": (c_int, [task_p]),
    "measure": (c_int, [task_p]),
    "beginAsync": (c_int, [task_p]),
    "haltAsync": (c_int, [task_p]),
    "interruptMeasurement": (c_int, [task_p]),
    "extractSweepData": (c_int, [task_p, POINTER(SweepRecord), c_int, c_int]),
    "setShaftEncoderFeature": (c_int, [task_p, c_bool]),
    "isShaftEncoderPresent": (c_int, [task_p, _bool_p]),
    "setSerialPortFeature": (c_int, [task_p, c_bool, c_uint]),
    "isSerialPortPresent": (c_int, [task_p, _bool_p]),
    "setSendSweepTimer": (c_int, [task_p, c_bool]),
    "getSendSweepTimer": (c_int, [task_p, _bool_p]),
    "setResetFrameCounterOnStart": (c_int, [task_p, c_bool]),
    "getResetFrameCounterOnStart": (c_int, [task_p, _bool_p]),
    "setEnabledReceivers": (c_int, [task_p, c_ubyte]),
    "getEnabledReceivers": (c_int, [task_p, POINTER(c_ubyte)]),
    "getnumberOfEnabledReceivers": (c_int, [task_p, _int_p]),
    "setIfGain": (c_int, [task_p, c_int]),
    "setReceiver12dBPad": (c_int, [task_p, c_bool]),
    "getReceiver12dBPad": (c_int, [task_p, _bool_p]),
    "configureTddSettings": (c_int, [task_p, c_bool] + [c_ubyte] * 6 + [c_ushort] + [c_uint] * 6),
    "validateArrayTasks": (c_int, [_tasks_p, c_uint]),
    "broadcastBeginCommand": (c_int, [_tasks_p, c_uint]),
    # The C++-only overloads, under their exported (mangled) names.
    "_Z14getFrequenciesP6task_t": (_double_p, [task_p]),
    "_Z20getSerialPortFeatureP6task_tPbPj": (c_int, [task_p, _bool_p, POINTER(c_uint)]),
    "_Z9getIfGainP6task_tPiPb": (c_int, [task_p, _int_p, _bool_p]),
}

_VNA_FUNCTIONS = {
    "tarnvna_error_name": (c_char_p, [c_int]),
    "tarnvna_error_text": (c_char_p, [c_int]),
    "tarnvna_error_hint": (c_char_p, [c_int]),
    "tarnvna_touchstone_write": (c_int, [c_char_p, POINTER(Network), c_char_p]),
    "tarnvna_touchstone_read": (c_int, [c_char_p, POINTER(Network)]),
    "tarnvna_network_free": (None, [POINTER(Network)]),
    "tarnvna_csv_write": (c_int, [c_char_p, POINTER(Table)]),
    "tarnvna_csv_read": (c_int, [c_char_p, POINTER(Table)]),
    "tarnvna_table_free": (None, [POINTER(Table)]),
}


def _declare(library, table):
    for name, (restype, argtypes) in table.items():
        function = getattr(library, name)
        function.restype = restype
        function.argtypes = argtypes


_declare(dll, _DLL_FUNCTIONS)
_declare(vna, _VNA_FUNCTIONS)

# What this package calls, for the check that each has its types declared.
BOUND = {"libtarndll": (dll, tuple(_DLL_FUNCTIONS)), "libtarnvna": (vna, tuple(_VNA_FUNCTIONS))}


@functools.lru_cache(maxsize=None)
def constant(name):
    """An enumerator's value as the driver exports it (every enumerator is a global int)."""
    return c_int.in_dll(dll, name).value


def _text(raw):
    return raw.decode("utf-8", "replace") if raw else ""


class TarnError(Exception):
    """A call failed: `code` is the driver's result, `name`/`text`/`hint` say what it means."""

    def __init__(self, code, what=""):
        self.code = code
        self.name = _text(vna.tarnvna_error_name(code))
        self.text = _text(vna.tarnvna_error_text(code))
        self.hint = _text(vna.tarnvna_error_hint(code))
        self.what = what
        message = f"{what}: {self.text}" if what else self.text
        if self.hint:
            message += f"; {self.hint}"
        super().__init__(f"{message} ({self.name})")


def check(code, what=""):
    """The one error hook: every Err_Code result passes here."""
    if code != 0:
        raise TarnError(code, what)
    return code


ERR_OK = 0
version = _text(dll.versionString())
