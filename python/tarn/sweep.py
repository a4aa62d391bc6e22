"""One sweep's results: frequencies, complex samples per path and receiver, S-parameters."""

import re

import numpy as np

from . import files

_S_NAME = re.compile(r"^[Ss]([1-8])([1-8])$")


def s_name(path):
    """"S21" for the path from front-panel port 0 to port 1 (file ports count from 1)."""
    tx, rx = path
    return f"S{rx + 1}{tx + 1}"


def parse_path(item):
    """(transmit port, receive port) of a path given as a pair, "S21" or "0:1"."""
    if isinstance(item, str):
        match = _S_NAME.match(item)
        if match:
            return int(match.group(2)) - 1, int(match.group(1)) - 1
        tx, colon, rx = item.partition(":")
        if not colon or not tx.strip().isdigit() or not rx.strip().isdigit():
            raise ValueError(f'path "{item}" is not Sij (such as S21), TX:RX ports (such as '
                             '0:1) or a pair of ports')
        item = (int(tx), int(rx))
    try:
        tx, rx = item
    except (TypeError, ValueError):
        raise ValueError(f"path {item!r} is not a (transmit, receive) pair of ports") from None
    for port in (tx, rx):
        if isinstance(port, bool) or not isinstance(port, (int, np.integer)) or \
                not 0 <= port <= 7:
            raise ValueError(f"path {item!r}: ports are whole numbers 0 to 7")
    return int(tx), int(rx)


def _divide(num, den):
    """num / den rounded as the C tools' complex division rounds it (Smith's method, dividing
    by the denominator last), so that files written here equal theirs to the last digit."""
    a, b, c, d = num.real, num.imag, den.real, den.imag
    wide = np.abs(c) >= np.abs(d)
    with np.errstate(divide="ignore", invalid="ignore"):
        ratio = np.where(wide, d / c, c / d)
        denom = np.where(wide, d * ratio + c, c * ratio + d)
        x = np.where(wide, b * ratio + a, a * ratio + b) / denom
        y = np.where(wide, b - a * ratio, b * ratio - a) / denom
    out = np.empty(num.shape, dtype=np.complex128)
    out.real, out.imag = x + 0.0, y + 0.0  # no negative zeros either
    return out


class Sweep:
    """Results of one sweep.

    freq_mhz, freq_hz: the frequencies the unit synthesised, in the order swept.
    receivers: the enabled receivers, ascending.
    paths: the measured (transmit port, receive port) pairs, in the order swept.
    sweep[(tx, rx)]: complex samples of that path, shape (receivers, points).
    sweep["S21"]: the S-parameter, receiver 0 / receiver 1 of its path.
    info[(tx, rx)]: the path's timestamp (s), sweep timer, packet counter, frame number.
    """

    def __init__(self, freq_mhz, receivers, data, info):
        self.freq_mhz = freq_mhz
        self.receivers = tuple(receivers)
        self.paths = list(data)
        self.data = data
        self.info = info

    @property
    def freq_hz(self):
        return self.freq_mhz * 1e6

    def __getitem__(self, key):
        if isinstance(key, str) and _S_NAME.match(key):
            return self.s_parameter(parse_path(key))
        return self.data[parse_path(key)]

    def s_parameter(self, path):
        """Receiver 0 over receiver 1 (the reference) of one path."""
        path = parse_path(path)
        if path not in self.data:
            raise KeyError(f"{s_name(path)} (path {path[0]}:{path[1]}) was not measured")
        if 0 not in self.receivers or 1 not in self.receivers:
            raise ValueError("S-parameters need receivers 0 and 1 enabled")
        samples = self.data[path]
        wave = samples[self.receivers.index(0)]
        incident = samples[self.receivers.index(1)]
        silent = np.flatnonzero(incident == 0)
        if silent.size:
            raise ValueError(f"the reference receiver saw no signal at "
                             f"{self.freq_mhz[silent[0]]:.6f} MHz on path {path[0]}:{path[1]}: "
                             "check the unit's source")
        return _divide(wave, incident)

    def s_matrix(self, ports=None):
        """S[point, i, j] over ports 0..ports-1 (default: every port measured); every path
        among them must have been measured."""
        if ports is None:
            ports = max(max(p) for p in self.paths) + 1
        matrix = np.zeros((self.freq_mhz.size, ports, ports), dtype=np.complex128)
        for tx in range(ports):
            for rx in range(ports):
                if (tx, rx) not in self.data:
                    raise ValueError(f"a {ports}-port matrix needs every path among ports 0 to "
                                     f"{ports - 1} ({s_name((tx, rx))} is missing)")
                matrix[:, rx, tx] = self.s_parameter((tx, rx))
        return matrix

    def write_touchstone(self, path, comment=None):
        """Writes the S-parameters as Touchstone; the port count comes from the name (.s2p)."""
        match = re.search(r"\.[sS](\d)[pP]$", str(path))
        if not match:
            raise ValueError(f'"{path}" is not a Touchstone name such as dut.s2p')
        files.write_touchstone(path, self.freq_mhz, self.s_matrix(int(match.group(1))), comment)

    def columns(self, ratios=None):
        """{name: values}: S-parameters ("S21") when receivers 0 and 1 are enabled (or
        ratios=True), else every receiver of every path ("T0R1_rx0")."""
        if ratios is None:
            ratios = 0 in self.receivers and 1 in self.receivers
        if ratios:
            return {s_name(p): self.s_parameter(p) for p in self.paths}
        return {f"T{tx}R{rx}_rx{r}": self.data[(tx, rx)][i]
                for tx, rx in self.paths for i, r in enumerate(self.receivers)}

    def write_csv(self, path, ratios=None):
        files.write_csv(path, self.freq_mhz, self.columns(ratios))

    def to_network(self, ports=None, name=None):
        """The S-parameters as a scikit-rf Network (needs scikit-rf installed)."""
        try:
            import skrf
        except ImportError:
            raise ImportError("to_network needs scikit-rf (pip install scikit-rf)") from None
        order = np.argsort(self.freq_mhz)
        frequency = skrf.Frequency.from_f(self.freq_hz[order], unit="hz")
        return skrf.Network(frequency=frequency, s=self.s_matrix(ports)[order], z0=50,
                            name=name)
