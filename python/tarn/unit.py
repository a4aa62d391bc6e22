"""A TARN unit (one driver task) and arrays of units sharing one endpoint.

Arguments are checked here before they reach the driver: it lets a C++ exception escape for a
hop rate or sync-pulse mode outside its enumeration and for a frequency in a band the unit's
control register cannot select, and such an exception would end the interpreter.
"""

import ctypes
import ipaddress
import math
import os
import time
import weakref

import numpy as np

from . import _lib
from ._lib import check, constant, dll
from .calibration import Calibration
from .sweep import Sweep, parse_path

# --hop names, fastest first; the index is the Hop_Rate value.
HOP_NAMES = ("90k", "45k", "30k", "15k", "7k", "3k", "2k", "1k", "550", "312", "156", "78", "39",
             "20")
SWITCH_BOARDS = {0: "none", 1: "simple-4port", 2: "tdd-4port", 3: "simple-8port", 4: "s-param"}
# The unit's control register selects bands 0 to 3 only.
_SELECTABLE_BANDS = 4


def _whole(value, name, low, high):
    if isinstance(value, bool) or not isinstance(value, (int, np.integer)):
        raise ValueError(f"{name} must be a whole number, not {value!r}")
    if not low <= value <= high:
        raise ValueError(f"{name} {value} is out of range: use {low} to {high}")
    return int(value)


def _mhz(value, name):
    try:
        mhz = float(value)
    except (TypeError, ValueError):
        raise ValueError(f"{name} must be a number of MHz, not {value!r}") from None
    if not math.isfinite(mhz) or mhz <= 0:
        raise ValueError(f"{name} {value!r} MHz must be positive and finite")
    return mhz


def hop_rate(hop):
    """Hop_Rate value of a name ("15k") or a value 0..13."""
    if isinstance(hop, str):
        if hop not in HOP_NAMES:
            raise ValueError(f'hop rate "{hop}" is not one of {", ".join(HOP_NAMES)}')
        return HOP_NAMES.index(hop)
    return _whole(hop, "hop rate", 0, len(HOP_NAMES) - 1)


class Details:
    """What the unit's PROM declares (frequencies MHz)."""

    def __init__(self, raw):
        self.min_mhz = raw.minimumFrequency
        self.max_mhz = raw.maximumFrequency
        self.max_points = raw.maximumNumberOfPoints
        self.band_edges_mhz = tuple(raw.bandBoundaries)  # lower edges of bands 0..7
        self.switch_board = raw.switchBoardType
        self.switch_board_name = SWITCH_BOARDS.get(raw.switchBoardType, "unknown")
        self.has_shaft_encoder = raw.hasShaftEncoder
        self.has_serial_port = raw.hasSerialPort
        self.has_attenuator = raw.hasSwitchboardAttenuator
        self.has_multiple_receivers = raw.hasMultipleReceivers

    def band_of(self, mhz):
        """The band serving a frequency, -1 when none does."""
        upper = self.max_mhz
        for band, lower in enumerate(self.band_edges_mhz):
            if lower <= mhz < upper or (band == 0 and mhz == upper):
                return band
            upper = lower
        return -1

    def __repr__(self):
        return (f"Details({self.min_mhz}-{self.max_mhz} MHz, at most {self.max_points} points, "
                f"switch board {self.switch_board_name})")


class _Progress:
    """Adapts a Python callback to the driver's: an exception cancels the transfer and is raised
    again once the driver has returned."""

    def __init__(self, callback):
        self.callback = callback
        self.error = None
        self.c_function = _lib.PROGRESS(self._call)

    def _call(self, percent, _user):
        try:
            return self.callback(percent) is not False
        except BaseException as error:  # KeyboardInterrupt too: cancel, then raise it
            self.error = error
            return False


class _Closing:
    """Closed at the end of a `with` block, and when collected without close()."""

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()

    def __del__(self):
        self.close()


class Unit(_Closing):
    """One unit. Use it in a `with` block (or call close()): the unit is halted and the
    driver's task released at the end.

        with tarn.Unit("192.168.1.10") as unit:
            unit.configure(start_mhz=1000, stop_mhz=2000, points=201, paths=["S11", "S21"])
            sweep = unit.sweep()

    progress(percent) is called while the unit's PROM is read; returning False cancels.
    calibration: None (raw data), "unit" (the table stored in the unit's PROM, read first), a
    calibration CSV's name or a Calibration; sweep() then corrects unless told corrected=False.
    """

    def __init__(self, address="192.168.1.10", port=1024, timeout_ms=100, progress=None,
                 calibration=None, _share=None):
        address, port, timeout_ms = Unit.check_address(address, port, timeout_ms)
        if progress is not None and not callable(progress):
            raise ValueError("progress must be a function of the percentage, or None")
        self.calibration = self._calibration(calibration, address, port, timeout_ms, progress)
        self._task = dll.createSharedTask(_share._task) if _share else dll.createTask()
        if not self._task:
            raise MemoryError("the driver could not create a task")
        self.address, self.port = address, port
        self._stream_ref = None
        self._paths = []
        self._receivers = (0,)
        try:
            check(dll.setIPAddress(self._task, address.encode()), "address")
            check(dll.setIPPort(self._task, port), "port")
            check(dll.setTimeout(self._task, timeout_ms), "time-out")
            adapter = _Progress(progress) if progress else None
            code = dll.initialize(self._task, adapter.c_function if adapter else _lib.PROGRESS(),
                                  None)
            if adapter and adapter.error is not None:
                raise adapter.error
            check(code, f"cannot initialise the unit at {address}:{port}")
            self.details = Details(dll.getHardwareDetails(self._task))
        except BaseException:
            self.close()
            raise

    @staticmethod
    def check_address(address, port, timeout_ms):
        """(address, port, time-out) checked as the driver needs them."""
        try:
            ipaddress.IPv4Address(address)
        except (ipaddress.AddressValueError, ValueError, TypeError):
            raise ValueError(f"bad address {address!r}: give the unit's IPv4 address, such as "
                             "192.168.1.10") from None
        return address, _whole(port, "port", 1024, 1279), _whole(timeout_ms, "time-out", 1,
                                                                  600000)

    @staticmethod
    def _calibration(given, address, port, timeout_ms, progress):
        if given is None or isinstance(given, Calibration):
            return given
        if isinstance(given, str) and given == "unit":
            return Calibration.from_unit(address, port, timeout_ms, progress)
        if isinstance(given, (str, bytes, os.PathLike)):
            return Calibration.from_file(given)
        raise ValueError('calibration is None, "unit", a calibration file or a Calibration')

    def __repr__(self):
        return f"Unit({self.address}:{self.port}, {self.details!r})"

    @property
    def _stream(self):
        # Held weakly: a loop left with break drops the last reference, and the stream halts
        # the unit at once instead of whenever the garbage collector breaks a cycle.
        return self._stream_ref() if self._stream_ref else None

    @_stream.setter
    def _stream(self, stream):
        self._stream_ref = weakref.ref(stream) if stream is not None else None

    def close(self):
        """Halts the unit if it is sweeping and releases the task; safe to call twice."""
        if getattr(self, "_task", None) is None:
            return
        if self._stream is not None:
            self._stream.close()
        self._halt()
        dll.deleteTask(self._task)
        self._task = None

    def _handle(self):
        if self._task is None:
            raise ValueError("the unit is closed")
        return self._task

    def _halt(self):
        # stop() leaves the task stopped even when the unit's answer to the halt is lost.
        if dll.getState(self._task) == constant("TASK_RUNNING"):
            dll.haltAsync(self._task)
        if dll.getState(self._task) >= constant("TASK_STARTED"):
            dll.stop(self._task)

    @property
    def state(self):
        return dll.getState(self._handle())

    def configure(self, start_mhz=None, stop_mhz=None, points=201, frequencies_mhz=None,
                  paths=None, hop="15k", gain_db=None, receivers=None):
        """Sets the sweep: `points` from start_mhz to stop_mhz (downwards when start > stop;
        default the unit's whole range) or a list frequencies_mhz; paths as (tx, rx) port pairs,
        "S21" names, "0:1" texts or "all" (every path among ports 0 and 1, the default where
        the unit has a switch board); hop rate name ("15k"); IF gain in dB (0, 3, ... 45);
        receivers 0..3 (default 0 and 1 where the unit has them)."""
        task = self._handle()
        d = self.details
        rate = hop_rate(hop)
        gain = None
        if gain_db is not None:
            gain = _whole(gain_db, "gain", 0, 45)
            if gain % 3:
                raise ValueError(f"gain {gain} dB is not a multiple of 3: use 0, 3, ... 45")
        if receivers is None:
            receivers = (0, 1) if d.has_multiple_receivers else (0,)
        receivers = tuple(sorted({_whole(r, "receiver", 0, 3) for r in receivers}))
        if not receivers:
            raise ValueError("enable at least one receiver")
        if receivers != (0,) and not d.has_multiple_receivers:
            raise ValueError("the unit has one receiver: use receivers=(0,)")
        if frequencies_mhz is not None:
            if start_mhz is not None or stop_mhz is not None:
                raise ValueError("give either frequencies_mhz or start_mhz/stop_mhz, not both")
            freqs = np.array([_mhz(f, "frequency") for f in np.ravel(frequencies_mhz)])
            if not 1 <= freqs.size <= d.max_points:
                raise ValueError(f"{freqs.size} frequencies: the unit measures 1 to "
                                 f"{d.max_points}")
            plan = freqs
        else:
            start = _mhz(d.min_mhz if start_mhz is None else start_mhz, "start")
            stop = _mhz(d.max_mhz if stop_mhz is None else stop_mhz, "stop")
            if start == stop:
                raise ValueError("start and stop are equal: give two different frequencies")
            points = _whole(points, "points", 2, max(2, d.max_points))
            plan = np.array([start, stop])
        for mhz in plan:
            if not d.min_mhz <= mhz <= d.max_mhz:
                raise ValueError(f"{mhz:g} MHz is out of range: the unit's range is "
                                 f"{d.min_mhz}-{d.max_mhz} MHz")
        path_list = self._path_list(paths)

        self._stop_for_settings()
        # Until every setting is in, sweep() must not start a half-configured task.
        self._paths = []
        check(dll.setHopRate(task, rate), "hop rate")
        if frequencies_mhz is not None:
            check(dll.setFrequencies(task, np.ascontiguousarray(plan).ctypes.data_as(
                ctypes.POINTER(ctypes.c_double)), plan.size), "frequencies")
        else:
            check(dll.utilGenerateLinearSweep(task, plan[0], plan[1], points), "frequencies")
        self._check_bands()
        if gain is not None:
            check(dll.setIfGain(task, gain // 3), "gain")
        check(dll.setEnabledReceivers(task, sum(1 << r for r in receivers)), "receivers")
        check(dll.clearMeasuredPaths(task), "paths")
        for tx, rx in path_list:
            check(dll.addPathToMeasure(task, constant(f"TARN_TX_PATH_{tx}"),
                                       constant(f"TARN_RX_PATH_{rx}")), f"path {tx}:{rx}")
        self._paths, self._receivers = path_list, receivers

    def _path_list(self, paths):
        if paths is None:
            paths = ["0:1"] if self.details.switch_board == 0 else ["all"]
        if isinstance(paths, (str, tuple)):
            paths = [paths]
        result = []
        for item in paths:
            expanded = [(t, r) for t in (0, 1) for r in (0, 1)] if item == "all" else \
                [parse_path(item)]
            for path in expanded:
                if path in result:
                    raise ValueError(f"path {path[0]}:{path[1]} is given twice: give each once")
                result.append(path)
        if not result:
            raise ValueError("give at least one path")
        return result

    def _check_bands(self):
        for mhz in self.frequencies_mhz():
            band = self.details.band_of(mhz)
            if band >= _SELECTABLE_BANDS:
                raise ValueError(f"{mhz:g} MHz lies in band {band} of the unit, which its "
                                 "control register cannot select")

    def frequencies_mhz(self):
        """The frequencies the unit synthesises (each setting snapped to a synthesiser step)."""
        task = self._handle()
        count = dll.getNumberOfFrequencies(task)
        out = np.zeros(count)
        if count:
            check(dll.getFrequencies(task, out.ctypes.data_as(ctypes.POINTER(ctypes.c_double)),
                                     count), "frequencies")
        return out

    def _stop_for_settings(self):
        if self._stream is not None:
            self._stream.close()
        self._halt()

    def _start(self, program_type):
        task = self._handle()
        if not self._paths:
            raise ValueError("configure() the sweep first")
        kind = constant(program_type)
        if dll.getState(task) >= constant("TASK_STARTED") and \
                dll.getMeasurementType(task) == kind:
            return
        self._halt()
        check(dll.setMeasurementType(task, kind), "measurement type")
        code = dll.start(task)
        check(code, "cannot start the sweep")

    def sweep(self, corrected=None):
        """Measures once and returns the Sweep: corrected with the unit's calibration when it
        has one (corrected=True insists on one, False gives the raw ratios)."""
        if corrected not in (None, True, False):
            raise ValueError("corrected is None, True or False")
        if corrected and self.calibration is None:
            raise ValueError("no calibration to correct with: open the Unit with calibration="
                             '"unit" or a calibration file')
        if self._stream is not None:
            raise ValueError("the unit is streaming: close the stream first")
        self._start("PROG_SYNC")
        check(dll.measure(self._handle()), "sweep failed")
        sweep = self._collect()
        if corrected or (corrected is None and self.calibration is not None and
                         set(self._paths) in ({(0, 0)}, {(0, 0), (0, 1), (1, 0), (1, 1)})):
            sweep = sweep.corrected(self.calibration)
        return sweep

    def _collect(self):
        task = self._handle()
        freq = self.frequencies_mhz()
        data, info = {}, {}
        for tx, rx in self._paths:
            samples = np.zeros((len(self._receivers), freq.size), dtype=np.complex128)
            re = np.zeros((len(self._receivers), freq.size))
            im = np.zeros_like(re)
            row = ctypes.POINTER(ctypes.c_double) * len(self._receivers)
            record = _lib.SweepRecord()
            record.real = row(*(r.ctypes.data_as(ctypes.POINTER(ctypes.c_double)) for r in re))
            record.imag = row(*(r.ctypes.data_as(ctypes.POINTER(ctypes.c_double)) for r in im))
            check(dll.extractSweepData(task, ctypes.byref(record),
                                       constant(f"TARN_TX_PATH_{tx}"),
                                       constant(f"TARN_RX_PATH_{rx}")),
                  f"reading path {tx}:{rx}")
            samples.real, samples.imag = re, im
            data[(tx, rx)] = samples
            info[(tx, rx)] = {"timestamp": record.timestamp, "sweep_timer": record.sweepTimer,
                              "packet_counter": record.packetCounter,
                              "frame_number": record.frameNumber}
        return Sweep(freq, self._receivers, data, info)

    def stream(self, count=None, seconds=None):
        """Free-running sweeps as an iterator of Sweep, until `count` sweeps or `seconds` have
        passed (or the loop ends: break, an exception or close() halt the unit). A failed sweep
        raises TarnError; iterating again goes on with the next whole sweep."""
        return Stream([self], count, seconds)

    def interrupt(self):
        """From another thread: ends a sweep() that is waiting for the unit."""
        if self._task is not None:
            dll.interruptMeasurement(self._task)


class Stream(_Closing):
    """Free-running sweeps of one unit or of an array; see Unit.stream()."""

    def __init__(self, units, count, seconds, broadcast=False):
        if count is not None:
            count = _whole(count, "count", 1, 1 << 62)
        if seconds is not None:
            seconds = float(seconds)
            if not 0 < seconds < math.inf:
                raise ValueError("seconds must be positive and finite")
        self._units, self._count, self._done = units, count, 0
        self._deadline = None if seconds is None else time.monotonic() + seconds
        for unit in units:
            if unit._stream is not None:
                raise ValueError("the unit is already streaming")
        try:
            for unit in units:
                unit._start("PROG_ASYNC")
                unit._stream = self
            if broadcast:
                tasks = (ctypes.c_void_p * len(units))(*(u._task for u in units))
                check(dll.validateArrayTasks(tasks, len(units)), "the units' sweeps differ")
                check(dll.broadcastBeginCommand(tasks, len(units)), "cannot begin the array")
            else:
                check(dll.beginAsync(units[0]._handle()), "cannot begin streaming")
        except BaseException:
            self.close()
            raise
        self._open = True

    def __iter__(self):
        return self

    def __next__(self):
        if not getattr(self, "_open", False):
            raise StopIteration
        if (self._count is not None and self._done >= self._count) or \
                (self._deadline is not None and time.monotonic() >= self._deadline):
            self.close()
            raise StopIteration
        sweeps = []
        for unit in self._units:
            check(dll.measure(unit._handle()), f"sweep of {unit.address} failed")
            sweeps.append(unit._collect())
        self._done += 1
        return sweeps if len(self._units) > 1 else sweeps[0]

    def close(self):
        """Halts the free-running sweeps; safe to call twice."""
        self._open = False
        for unit in getattr(self, "_units", ()):
            if unit._stream is self or unit._stream is None:
                unit._stream = None
                if unit._task is not None:
                    unit._halt()


class UnitArray:
    """Units that share one endpoint and begin their free-running sweeps together (one
    broadcast to 192.168.1.255 port 1024: the units listen on port 1024)."""

    def __init__(self, addresses, port=1024, timeout_ms=100, progress=None):
        addresses = list(addresses)
        if not addresses:
            raise ValueError("give at least one unit address")
        self.units = []
        try:
            for address in addresses:
                share = self.units[0] if self.units else None
                self.units.append(Unit(address, port, timeout_ms, progress, _share=share))
        except BaseException:
            self.close()
            raise

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()

    def __len__(self):
        return len(self.units)

    def __getitem__(self, index):
        return self.units[index]

    def configure(self, **settings):
        """Applies the same sweep settings to every unit (see Unit.configure)."""
        for unit in self.units:
            unit.configure(**settings)

    def sweep(self):
        """One sweep of each unit in turn; a list of Sweep."""
        return [unit.sweep() for unit in self.units]

    def stream(self, count=None, seconds=None):
        """Free-running sweeps of all units, begun at one moment; yields a list of Sweep (one
        per unit) per frame."""
        return Stream(self.units, count, seconds, broadcast=True)

    def close(self):
        # The first unit's endpoint lives until the last task is released, in any order.
        for unit in reversed(self.units):
            unit.close()
