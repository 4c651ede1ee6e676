#!/usr/bin/python3
"""Prints transform_reference.h: rotations worked out with numpy by other formulas than the library's.

Matrices come from the matrix exponential of the axis' cross product matrix (a plain power series),
quaternions from the eigenvectors of the 4 x 4 matrix that the rotation matrix gives (the largest
eigenvalue's), products from matrix products, inverses from numpy.linalg.inv. All in double; angles
and axes are rounded to float first, as they reach the library.

    /usr/bin/python3 transform_reference.py > transform_reference.h
"""
import numpy as np

f32 = lambda v: np.asarray(v, dtype=np.float32).astype(np.float64)


def cross_matrix(a):
    return np.array([[0, -a[2], a[1]], [a[2], 0, -a[0]], [-a[1], a[0], 0]])


def exponential(m):
    # exp(m) = exp(m / 1024) ^ 1024, so that the series converges fast
    small, total, term = m / 1024, np.eye(3), np.eye(3)
    for k in range(1, 20):
        term = term @ small / k
        total = total + term
    return np.linalg.matrix_power(total, 1024)


def rotation(angle, axis):
    axis = f32(axis)
    return exponential(cross_matrix(axis / np.linalg.norm(axis)) * f32(angle))


def quaternion(r):
    k = np.array([
        [r[0, 0] - r[1, 1] - r[2, 2], 0, 0, 0],
        [r[0, 1] + r[1, 0], r[1, 1] - r[0, 0] - r[2, 2], 0, 0],
        [r[0, 2] + r[2, 0], r[1, 2] + r[2, 1], r[2, 2] - r[0, 0] - r[1, 1], 0],
        [r[2, 1] - r[1, 2], r[0, 2] - r[2, 0], r[1, 0] - r[0, 1], r[0, 0] + r[1, 1] + r[2, 2]],
    ]) / 3
    values, vectors = np.linalg.eigh(k)
    q = vectors[:, np.argmax(values)]  # x, y, z, w
    return q if q[3] >= 0 else -q


def numbers(values):
    # Rounding leaves zeros with a random last digit and sign.
    return ", ".join(repr(round(float(v), 9) + 0.0) for v in np.ravel(values))


rotations = [
    (0.0, (1, 0, 0)), (0.5, (1, 0, 0)), (-0.5, (0, 1, 0)), (1.2, (0, 0, 1)),
    (np.pi / 2, (0, 1, 0)), (2.8, (1, 2, 3)), (-2.8, (3, -2, 1)), (3.1, (-1, 1, 0.2)),
    (7.0, (0.2, -0.4, 0.9)), (1e-4, (1, 1, 1)),
]
print("// Made by transform_reference.py with numpy %s; do not edit." % np.__version__)
print("#pragma once\n")
print("// clang-format off")
print("struct RotationCase { double angle, axis[3], matrix[9], quaternion[4], turned[3]; };")
print("/// turned: (1, -2, 3) turned by the rotation.")
print("const RotationCase rotations[] = {")
for angle, axis in rotations:
    r = rotation(angle, axis)
    print("    {%s, {%s}, {%s}, {%s}, {%s}}," % (
        numbers(angle), numbers(axis), numbers(r), numbers(quaternion(r)),
        numbers(r @ np.array([1, -2, 3]))))
print("};\n")

print("struct ProductCase { double angleA, axisA[3], angleB, axisB[3], quaternion[4]; };")
print("const ProductCase products[] = {")
for (a, u), (b, v) in [((0.5, (1, 0, 0)), (1.2, (0, 0, 1))), ((1.2, (0, 0, 1)), (0.5, (1, 0, 0))),
                       ((2.8, (1, 2, 3)), (-2.0, (3, -2, 1)))]:
    q = quaternion(rotation(a, u) @ rotation(b, v))
    print("    {%s, {%s}, %s, {%s}, {%s}}," % (numbers(a), numbers(u), numbers(b), numbers(v),
                                               numbers(q)))
print("};\n")

m = f32([[2, -1, 0.5, 3], [0.25, 4, -2, 1], [1, 0.5, 5, -3], [0.1, 0.2, -0.3, 1]])
n = f32([[1, 2, 3, 4], [-1, 0.5, 2, -3], [0, 1, -2, 0.25], [2, -1, 1, 3]])
print("const double matrixM[16] = {%s};" % numbers(m))
print("const double matrixN[16] = {%s};" % numbers(n))
print("const double matrixProduct[16] = {%s};" % numbers(m @ n))
print("const double matrixInverse[16] = {%s};\n" % numbers(np.linalg.inv(m)))

print("/// Angles X, Y, Z in radians with the matrix Rz(Z) Ry(Y) Rx(X).")
print("struct EulerCase { double angles[3], matrix[9]; };")
print("const EulerCase eulers[] = {")
eulers = [(0, 0, 0), (0.4, 0, 0), (0, -0.7, 0), (0, 0, 2.5), (0.3, 0.6, -1.1), (-2.9, 1.3, 3.0),
          (3.0, -1.4, -3.0), (1.0, 1.5, 0.5), (-1.5, -1.55, 2.0)]
for x, y, z in eulers:
    r = rotation(z, (0, 0, 1)) @ rotation(y, (0, 1, 0)) @ rotation(x, (1, 0, 0))
    print("    {{%s}, {%s}}," % (numbers(f32((x, y, z))), numbers(r)))
print("};")
print("/// The same at Y = +-pi/2, where only X - Z (Y > 0) or X + Z (Y < 0) shows: X, Y, Z as made.")
print("const EulerCase locked[] = {")
for x, y, z in [(0.5, np.pi / 2, 0.2), (-1.0, -np.pi / 2, 0.3), (2.5, np.pi / 2, -0.4),
                (0.0, -np.pi / 2, 0.0)]:
    r = rotation(z, (0, 0, 1)) @ rotation(y, (0, 1, 0)) @ rotation(x, (1, 0, 0))
    print("    {{%s}, {%s}}," % (numbers((x, y, z)), numbers(r)))
print("};")
print("// clang-format on")
