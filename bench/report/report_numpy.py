"""Reads a recording and takes the Allan deviation of its six axes with numpy, for bench_report.

    report_numpy.py FILE    -> "READ_SECONDS ALLAN_SECONDS DEVIATION", the last one of the first axis at one sample
"""

import sys
import time

import numpy as np


def averagings(longest):
    """10 in a decade, as the program has them."""
    values = np.unique(np.round(10.0 ** (np.arange(0, 10 * np.log10(longest) + 1) / 10.0)).astype(int))
    return values[values <= longest]


def overlapping_allan(rate):
    phase = np.concatenate(([0.0], np.cumsum(rate - rate.mean())))
    deviations = []
    for m in averagings(len(rate) // 3):
        differences = phase[2 * m:] - 2.0 * phase[m:-m] + phase[:-2 * m]
        deviations.append(np.sqrt(np.mean(differences ** 2) / 2.0) / m)
    return deviations


def main():
    start = time.perf_counter()
    table = np.loadtxt(sys.argv[1], delimiter=",", skiprows=1, usecols=range(8))
    read = time.perf_counter()
    curves = [overlapping_allan(table[:, column]) for column in range(2, 8)]
    print(read - start, time.perf_counter() - read, repr(float(curves[0][0])))


if __name__ == "__main__":
    main()
