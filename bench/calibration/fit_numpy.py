"""Times numpy's solution of the ellipsoid fit, for bench_fit.

Reads commands from standard input and answers each with one line:

    load FILE   float64 of all x, all y and all z        -> "ok COUNT"
    fit         one fit of the samples loaded            -> "NANOSECONDS CENTER_X SCALE_X"
    about       -> versions of Python and numpy, and the BLAS in use
"""

import sys
import time

import numpy as np


def fit(x, y, z):
    """What the program's fit does, in numpy's own way: from three vectors to centre and gains."""
    design = np.empty((len(x), 6))
    np.multiply(x, x, out=design[:, 0])
    np.multiply(y, y, out=design[:, 1])
    np.multiply(z, z, out=design[:, 2])
    np.add(x, x, out=design[:, 3])
    np.add(y, y, out=design[:, 4])
    np.add(z, z, out=design[:, 5])
    quadric = np.linalg.solve(design.T @ design, design.sum(axis=0))
    square, linear = quadric[:3], quadric[3:]
    center = -linear / square
    radii = np.sqrt((1.0 + np.sum(linear * linear / square)) / square)
    return center, 1.0 / radii


def blas():
    with open("/proc/self/maps", encoding="utf-8") as maps:
        names = {line.split("/")[-1].strip() for line in maps if "blas" in line.lower()}
    return ", ".join(sorted(names)) or "none found"


def main():
    x = y = z = None
    for line in sys.stdin:
        command, _, argument = line.strip().partition(" ")
        if command == "load":
            x, y, z = (axis.copy() for axis in np.fromfile(argument, dtype="<f8").reshape(3, -1))
            print("ok", len(x), flush=True)
        elif command == "fit":
            start = time.perf_counter_ns()
            center, scale = fit(x, y, z)
            spent = time.perf_counter_ns() - start
            print(spent, repr(center[0]), repr(scale[0]), flush=True)
        elif command == "about":
            print(f"Python {sys.version.split()[0]}, numpy {np.__version__}, BLAS {blas()}", flush=True)
        else:
            sys.exit(f"fit_numpy.py: {line!r}")


if __name__ == "__main__":
    main()
