"""Plots of a Touchstone file: log magnitude and phase of every S-parameter, and a Smith chart
of the reflections (S11, S22, ...)."""

import numpy as np

from .files import read_touchstone


def _smith_grid(axes):
    t = np.linspace(0, 2 * np.pi, 361)
    style = {"color": "0.82", "linewidth": 0.6}
    axes.plot(np.cos(t), np.sin(t), color="0.4", linewidth=1.0)
    axes.plot([-1, 1], [0, 0], **style)
    for r in (0.2, 0.5, 1.0, 2.0, 5.0):  # constant-resistance circles
        axes.plot(r / (1 + r) + np.cos(t) / (1 + r), np.sin(t) / (1 + r), **style)
    for x in (0.2, 0.5, 1.0, 2.0, 5.0):  # constant-reactance arcs, inside the unit circle
        for sign in (1, -1):
            z = 1j * sign * x + np.concatenate([np.linspace(0, 10, 300), [1e3]])
            gamma = (z - 1) / (z + 1)
            axes.plot(gamma.real, gamma.imag, **style)
    axes.set_xlim(-1.05, 1.05)
    axes.set_ylim(-1.05, 1.05)
    axes.set_aspect("equal")
    axes.set_xticks([])
    axes.set_yticks([])


def figure(path):
    """The matplotlib Figure of a Touchstone file; each trace is labelled with its name."""
    import matplotlib
    matplotlib.use("Agg")
    from matplotlib.figure import Figure

    freq_mhz, s = read_touchstone(path)
    ports = s.shape[1]
    fig = Figure(figsize=(12, 7), dpi=100, layout="constrained")
    grid = fig.add_gridspec(2, 2, width_ratios=(3, 2))
    magnitude = fig.add_subplot(grid[0, 0])
    phase = fig.add_subplot(grid[1, 0], sharex=magnitude)
    smith = fig.add_subplot(grid[:, 1])
    _smith_grid(smith)
    for i in range(ports):
        for j in range(ports):
            name = f"S{i + 1}{j + 1}"
            values = s[:, i, j]
            # Reciprocal and symmetric devices overlay traces: the later ones dashed.
            solid = i > j or i == j == 0
            style = {"label": name, "linestyle": "-" if solid else "--"}
            with np.errstate(divide="ignore"):
                magnitude.plot(freq_mhz, 20 * np.log10(np.abs(values)), **style)
            phase.plot(freq_mhz, np.degrees(np.angle(values)), **style)
            if i == j:
                smith.plot(values.real, values.imag, **style)
    magnitude.set_ylabel("magnitude (dB)")
    phase.set_ylabel("phase (degrees)")
    phase.set_xlabel("frequency (MHz)")
    phase.set_ylim(-185, 185)
    for axes in (magnitude, phase):
        axes.grid(True, linewidth=0.4)
        axes.legend(loc="best", fontsize="small", ncol=max(1, ports // 2))
    smith.set_title("reflections")
    smith.legend(loc="upper right", fontsize="small")
    fig.suptitle(str(path))
    return fig


def write_png(path, output):
    figure(path).savefig(output, format="png")
