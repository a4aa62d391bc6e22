"""The command line: `sweep` (the options and output of tarnctl sweep) and `plot`."""

import argparse
import datetime
import math
import os
import re
import sys
import tempfile
import time

EXIT_OK, EXIT_UNIT, EXIT_USAGE, EXIT_FILE, EXIT_CANCELLED = 0, 1, 2, 3, 4

EPILOG = """exit codes:
  0  success
  1  the unit did not answer or refused, or the operation failed
  2  bad command line (nothing was sent to the unit)
  3  a file could not be read or written
  4  interrupted

Frequencies are MHz. Ports are the unit's front-panel numbers (0..7); in Sij names and in
Touchstone files port k is front-panel port k-1."""


class Failure(Exception):
    def __init__(self, code, message):
        super().__init__(message)
        self.code = code


def usage(message):
    raise Failure(EXIT_USAGE, message)


class _Parser(argparse.ArgumentParser):
    def error(self, message):
        usage(f"{message}; see {self.prog} --help")


def _number(text, name):
    try:
        value = float(text)
    except ValueError:
        usage(f'{name} "{text}" is not a number')
    if not math.isfinite(value):
        usage(f'{name} "{text}" is not a number')
    return value


def _integer(text, name, low, high):
    if not re.fullmatch(r"[+-]?\d+", text):
        usage(f'{name} "{text}" is not a whole number')
    value = int(text)
    if not low <= value <= high:
        usage(f"{name} {text} is out of range: use {low} to {high}")
    return value


def _touchstone_ports(path):
    match = re.search(r"\.s(\d)p$", path.lower())
    return int(match.group(1)) if match else 0


def _plan(o):
    """The sweep settings of the command line, checked before anything is sent."""
    from .sweep import parse_path
    from .unit import HOP_NAMES

    plan = {"hop": o.hop}
    if o.hop not in HOP_NAMES:
        usage(f'hop rate "{o.hop}" is not one of {", ".join(HOP_NAMES)}')
    if o.freqs is not None:
        if o.start is not None or o.stop is not None:
            usage("give either --freqs or --start/--stop, not both")
        freqs = [_number(item, "frequency") for item in o.freqs.split(",")]
        if len(set(freqs)) != len(freqs):
            usage("--freqs names a frequency twice: give each once")
        plan["frequencies_mhz"] = freqs
    else:
        if o.start is not None:
            plan["start_mhz"] = _number(o.start, "--start")
        if o.stop is not None:
            plan["stop_mhz"] = _number(o.stop, "--stop")
        plan["points"] = _integer(o.points, "--points", 2, 1 << 30)
    if o.gain is not None:
        db = _integer(o.gain, "--gain", 0, 45)
        if db % 3:
            usage(f"--gain {o.gain} dB is not a multiple of 3: use 0, 3, ... 45")
        plan["gain_db"] = db
    if o.receivers is not None:
        plan["receivers"] = [_integer(r, "receiver", 0, 3) for r in o.receivers.split(",")]
    output = o.output or ""
    ports = _touchstone_ports(output)
    if output and not ports and not output.lower().endswith(".csv"):
        usage(f'output "{output}" is neither .sNp (Touchstone) nor .csv')
    count = ports or 2
    paths = []
    for item in (o.paths or "all").split(","):
        try:
            paths += [(t, r) for t in range(count) for r in range(count)] if item == "all" \
                else [parse_path(item)]
        except ValueError as error:
            usage(str(error))
    if len(set(paths)) != len(paths):
        usage("a path is given twice: give each path once")
    plan["paths"] = paths
    return plan, ports


def _connect(o):
    import tarn

    def show(percent):
        if sys.stderr.isatty():
            filled = percent * 40 // 100
            sys.stderr.write(f"\rreading the unit's description [{'#' * filled}"
                             f"{'.' * (40 - filled)}] {percent:3d}%")
            if percent == 100:
                sys.stderr.write("\n")
    return tarn.Unit(o.address, o.port, o.timeout, progress=show)


def _numbered(path, index, count):
    if count <= 1:
        return path
    stem, dot, suffix = path.rpartition(".")
    if not dot or "/" in suffix:
        return f"{path}_{index + 1:03d}"
    return f"{stem}_{index + 1:03d}.{suffix}"


def _write(sweep_like, output, ports, columns, comment):
    from . import files
    if ports:
        sweep_like.write_touchstone(output, ports, comment)
    elif output:
        files.write_csv(output, sweep_like.freq_mhz, columns)
    else:  # the library writes whole files only; standard output gets a copy
        with tempfile.TemporaryDirectory() as folder:
            scratch = os.path.join(folder, "sweep.csv")
            files.write_csv(scratch, sweep_like.freq_mhz, columns)
            with open(scratch, "rb") as text:
                sys.stdout.flush()
                sys.stdout.buffer.write(text.read())
                sys.stdout.flush()


class _Averaged:
    """Columns summed over sweeps, written like a Sweep."""

    def __init__(self, freq_mhz, columns):
        self.freq_mhz, self.columns = freq_mhz, columns

    def write_touchstone(self, output, ports, comment):
        import numpy as np
        from . import files
        s = np.zeros((self.freq_mhz.size, ports, ports), dtype=np.complex128)
        for name, values in self.columns.items():
            i, j = int(name[1]) - 1, int(name[2]) - 1
            if i < ports and j < ports:
                s[:, i, j] = values
        files.write_touchstone(output, self.freq_mhz, s, comment)


def run_sweep(o):
    import numpy as np
    import tarn

    plan, ports = _plan(o)
    count = _integer(o.count, "--count", 1, 100000)
    average = _integer(o.average, "--average", 1, 10000)
    if count > 1 and not o.output:
        usage("--count above 1 needs --output: each sweep goes to its own numbered file")
    summary = sys.stdout if o.output else sys.stderr
    with _connect(o) as unit:
        receivers = plan.get("receivers", (0, 1) if unit.details.has_multiple_receivers else (0,))
        ratios = 0 in receivers and 1 in receivers
        if ports and not ratios:
            usage("Touchstone needs S-parameters, measured with receivers 0 and 1: use "
                  "--receivers 0,1 or write .csv")
        try:
            unit.configure(**plan)
        except ValueError as error:
            usage(str(error))
        settings = (f"hop {o.hop}" + (f", gain {plan['gain_db']} dB" if "gain_db" in plan else "")
                    + f", receivers mask 0x{sum(1 << r for r in set(receivers)):x}"
                    + f", paths {o.paths or 'all'}")
        if "frequencies_mhz" in plan:
            settings += f", {len(plan['frequencies_mhz'])} listed frequencies"
        else:
            start = plan.get("start_mhz", unit.details.min_mhz)
            stop = plan.get("stop_mhz", unit.details.max_mhz)
            settings += f", {plan['points']} points {start:g} to {stop:g} MHz"
        stamp = datetime.datetime.now(datetime.timezone.utc).strftime("%Y-%m-%d %H:%M:%S UTC")
        comment = (f"Measured by tarn sweep from unit {o.address}:{o.port} ({tarn.version})\n"
                   f"{settings}\nS-parameters are receiver 0 / receiver 1 of each path; port k "
                   f"of this file is front-panel port k-1\n{stamp}")
        for index in range(count):
            began = time.monotonic()
            total = None
            for _ in range(average):
                sweep = unit.sweep()
                columns = sweep.columns(ratios)
                total = columns if total is None else \
                    {name: total[name] + values for name, values in columns.items()}
            ms = (time.monotonic() - began) * 1000
            total = {name: values / average for name, values in total.items()}
            freq = sweep.freq_mhz
            path = _numbered(o.output or "", index, count)
            _write(_Averaged(freq, total), path, ports, total, comment)
            print(f"tarn: {freq.size} points {freq[0]:.3f}-{freq[-1]:.3f} MHz, "
                  f"{len(sweep.paths)} paths, {average} sweep{'' if average == 1 else 's'} in "
                  f"{ms:.1f} ms", file=summary)
            for tx, rx in sweep.paths if ratios else ():
                if tx != rx:
                    name = f"S{rx + 1}{tx + 1}"
                    peak = int(np.argmax(np.abs(total[name])))
                    print(f"tarn: {name} peaks at "
                          f"{20 * np.log10(abs(total[name][peak]) + 1e-300):.2f} dB at "
                          f"{freq[peak]:.3f} MHz", file=summary)
                    break
            if path:
                print(f"tarn: wrote {path}", file=summary)
    return EXIT_OK


def run_plot(o):
    from .plot import write_png
    output = o.output or re.sub(r"\.[sS]\d[pP]$", "", o.file) + ".png"
    if not _touchstone_ports(o.file):
        usage(f'"{o.file}" is not a Touchstone file name such as dut.s2p')
    if not os.path.isfile(o.file):
        raise Failure(EXIT_FILE, f"cannot read {o.file}: no such file")
    write_png(o.file, output)
    print(f"tarn: wrote {output}")
    return EXIT_OK


def parser():
    top = _Parser(prog="python3 -m tarn", epilog=EPILOG,
                  formatter_class=argparse.RawDescriptionHelpFormatter,
                  description="Sweep a TARN unit into Touchstone or CSV, or plot a Touchstone "
                              "file.")
    commands = top.add_subparsers(dest="command", metavar="COMMAND", parser_class=_Parser)
    sweep = commands.add_parser(
        "sweep", help="measure and write Touchstone (.sNp) or CSV (default: CSV on standard "
                      "output)", epilog=EPILOG, formatter_class=argparse.RawDescriptionHelpFormatter)
    sweep.add_argument("-a", "--address", default="192.168.1.10",
                       help="the unit's IPv4 address (default 192.168.1.10)")
    sweep.add_argument("-p", "--port", default="1024",
                       help="the unit's UDP port, 1024..1279 (default 1024)")
    sweep.add_argument("--timeout", default="100", help="reply time-out in ms (default 100)")
    sweep.add_argument("--start", help="first frequency, MHz (default: the unit's minimum)")
    sweep.add_argument("--stop", help="last frequency, MHz (default: the unit's maximum); below "
                                      "--start sweeps downwards")
    sweep.add_argument("--points", default="201", help="points of the linear sweep (default 201)")
    sweep.add_argument("--freqs", help="comma-separated frequency list, MHz, instead")
    sweep.add_argument("--hop", default="15k", help="point rate: 90k, 45k, 30k, 15k, 7k, 3k, 2k, "
                                                    "1k, 550, 312, 156, 78, 39, 20 (default 15k)")
    sweep.add_argument("--gain", help="receiver IF gain, dB: 0, 3, ... 45")
    sweep.add_argument("--receivers", help="receivers, comma-separated 0..3 (default 0,1 where "
                                           "the unit has them: S = receiver 0 / receiver 1)")
    sweep.add_argument("--paths", help="paths: all, Sij names (S21) or TX:RX port pairs (0:1), "
                                       "comma-separated (default all of ports 0 and 1, or every "
                                       "port of an .sNp output)")
    sweep.add_argument("-o", "--output", help="output file, .sNp or .csv")
    sweep.add_argument("--count", default="1", help="sweeps to write, each to a numbered file")
    sweep.add_argument("--average", default="1", help="sweeps averaged into each written one")
    plot = commands.add_parser("plot", help="log magnitude and phase of every S-parameter and a "
                                            "Smith chart of the reflections, as PNG")
    plot.add_argument("file", metavar="FILE.sNp", help="Touchstone file")
    plot.add_argument("-o", "--output", help="PNG file (default: FILE with .png)")
    return top


def main(argv=None):
    top = parser()
    o = None
    try:
        o = top.parse_args(argv)
        if o.command is None:
            top.print_help(sys.stderr)
            return EXIT_USAGE
        if o.command == "sweep":
            o.port = _integer(o.port, "--port", 1024, 1279)
            o.timeout = _integer(o.timeout, "--timeout", 1, 60000)
            return run_sweep(o)
        return run_plot(o)
    except Failure as failure:
        print(f"tarn: {failure}", file=sys.stderr)
        return failure.code
    except KeyboardInterrupt:
        print("tarn: interrupted", file=sys.stderr)
        return EXIT_CANCELLED
    except ImportError as error:
        if error.name in ("numpy", "matplotlib"):
            error = (f"{error.name} is missing for {sys.executable}: install python3-"
                     f"{error.name} (scripts/setup does)")
        print(f"tarn: {error}", file=sys.stderr)
        return EXIT_UNIT
    except OSError as error:
        print(f"tarn: {error.strerror or error}", file=sys.stderr)
        return EXIT_FILE
    except Exception as error:  # TarnError and ValueError: one line, as tarnctl
        return _report(error, o)


def _report(error, o):
    from ._lib import TarnError, constant
    if isinstance(error, TarnError):
        where = f"{o.address}:{o.port}" if getattr(o, "address", None) else ""
        if error.code == constant("ERR_NO_RESPONSE") and where:
            message = (f"no answer from {where}: check the address, the port, the unit's power "
                       "and the cable")
        elif error.code == constant("ERR_SOCKET") and where:
            message = (f"cannot use local UDP port {o.port}: another program may hold it, or the "
                       "receive buffer cannot grow to 4 MiB (run scripts/setup as root: it raises "
                       "net.core.rmem_max)")
        else:
            message = str(error)
        print(f"tarn: {message}", file=sys.stderr)
        return EXIT_CANCELLED if error.code == constant("ERR_INTERRUPTED") else EXIT_UNIT
    if isinstance(error, ValueError):
        print(f"tarn: {error}", file=sys.stderr)
        return EXIT_USAGE
    raise error
