"""Fits an axis-aligned ellipsoid with numpy, independently of the program's own fit.

    fit_reference.py FILE

FILE holds little-endian float64: the target radius, then all x, all y and all z. Prints one line of
JSON: center, radii and scale, three numbers each. The model is a x^2 + b y^2 + c z^2 + 2d x + 2e y +
2f z = 1, solved for the least squares of its residual.
"""

import json
import sys

import numpy as np


def fit(x, y, z, target_radius):
    design = np.column_stack((x * x, y * y, z * z, 2.0 * x, 2.0 * y, 2.0 * z))
    quadric = np.linalg.solve(design.T @ design, design.T @ np.ones(len(x)))
    square, linear = quadric[:3], quadric[3:]
    # Completing the square: sum q (r + l/q)^2 = 1 + sum l^2/q.
    center = -linear / square
    radii = np.sqrt((1.0 + np.sum(linear * linear / square)) / square)
    return center, radii, target_radius / radii


def main():
    values = np.fromfile(sys.argv[1], dtype="<f8")
    count = (len(values) - 1) // 3
    if count < 6 or len(values) != 1 + 3 * count:
        sys.exit(f"{sys.argv[1]}: {len(values)} values are no target radius with samples")
    x, y, z = values[1:].reshape(3, count)
    center, radii, scale = fit(x, y, z, values[0])
    print(json.dumps({"center": center.tolist(), "radii": radii.tolist(), "scale": scale.tolist()}))


if __name__ == "__main__":
    main()
