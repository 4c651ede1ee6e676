#!/usr/bin/env python3
"""Where the 3D view's viewer stands after each kind of input, computed in double precision from the
definitions, with rotation matrices in place of the program's quaternions. Writes viewer_numbers.h, or
the file that is named. Needs python3-numpy.
"""

import os
import sys

import numpy as np

FIRST_POSITION = np.array([-0.0542544, -0.109509, -0.270714])
FIRST_QUATERNION = (-0.23252, 0.170843, 0.0401341, 0.956623)  # x y z w
OFFSET = np.array([0.0, 0.0, 1.0])
NEAR, FAR = 0.05, 300.0


def from_quaternion(x, y, z, w):
    """As a homogeneous quaternion: its length does not matter."""
    m = np.array([
        [w*w + x*x - y*y - z*z, 2*(x*y - w*z), 2*(x*z + w*y)],
        [2*(x*y + w*z), w*w - x*x + y*y - z*z, 2*(y*z - w*x)],
        [2*(x*z - w*y), 2*(y*z + w*x), w*w - x*x - y*y + z*z],
    ])
    return m / (x*x + y*y + z*z + w*w)


def about(axis, angle):
    """Rodrigues' formula."""
    axis = np.asarray(axis, float) / np.linalg.norm(axis)
    k = np.array([[0, -axis[2], axis[1]], [axis[2], 0, -axis[0]], [-axis[1], axis[0], 0]])
    return np.eye(3) + np.sin(angle) * k + (1 - np.cos(angle)) * k @ k


class Viewer:
    def __init__(self):
        self.reset()

    def reset(self):
        self.position = FIRST_POSITION.copy()
        self.attitude = from_quaternion(*FIRST_QUATERNION)
        self.vertical = np.array([0.0, 1.0, 0.0])

    forward = property(lambda self: self.attitude @ [0, 0, 1])
    up = property(lambda self: self.attitude @ [0, 1, 0])
    right = property(lambda self: self.attitude @ [-1, 0, 0])

    def orbit(self, dx, dy):
        """One move of the mouse, left button held, pixels."""
        self.attitude = about(self.right, dy / 5.0 * 0.015) @ self.attitude
        self.attitude = about(-self.vertical, dx / 5.0 * 0.015) @ self.attitude

    def shift(self, x, y):
        self.position = self.position + self.up * y * 0.1
        self.position = self.position + self.right * x * 0.1

    def pan(self, dx, dy):
        """One move of the mouse, right button held, pixels."""
        self.shift(dx / 50.0, dy / 50.0)

    def wheel(self, delta):
        self.position = self.position - self.forward * int(delta / 8) * 0.01

    def paint(self):
        if self.vertical @ self.up < 0:
            self.vertical = -self.vertical

    def view_projection(self):
        self.paint()
        pose = np.eye(4)
        pose[:3, :3] = self.attitude
        pose[:3, 3] = self.attitude @ OFFSET + self.position
        projection = np.zeros((4, 4))
        projection[0, 0] = projection[1, 1] = 1 / np.tan(np.radians(90) / 2)
        projection[2, 2] = -FAR / (FAR - NEAR)
        projection[2, 3] = -FAR * NEAR / (FAR - NEAR)
        projection[3, 2] = -1
        return projection @ np.linalg.inv(pose)


CASES = [  # name, inputs: (operation, arguments...)
    ("first viewpoint", []),
    ("orbit 100 px to the right", [("orbit", 100, 0)]),
    ("orbit 100 px to the left", [("orbit", -100, 0)]),
    ("orbit 100 px downward", [("orbit", 0, 100)]),
    ("orbit 100 px upward", [("orbit", 0, -100)]),
    ("orbit in three moves", [("orbit", 60, 10), ("orbit", 30, -50), ("orbit", 10, 7)]),
    ("orbit over the top", [("orbit", 0, 400), ("paint",), ("orbit", 100, 0), ("orbit", 0, 400),
                            ("paint",), ("orbit", 100, 0)]),
    ("pan 100 px to the right", [("pan", 100, 0)]),
    ("pan 100 px downward", [("pan", 0, 100)]),
    ("pan in two moves", [("pan", -35, 60), ("pan", 5, -170)]),
    ("wheel 120", [("wheel", 120)]),
    ("wheel -120", [("wheel", -120)]),
    ("wheel 7", [("wheel", 7)]),
    ("wheel -7", [("wheel", -7)]),
    ("wheel 8", [("wheel", 8)]),
    ("wheel -15", [("wheel", -15)]),
    ("key Left", [("key", "Left")]),
    ("key Right", [("key", "Right")]),
    ("key Up", [("key", "Up")]),
    ("key Down", [("key", "Down")]),
    ("orbit, pan, wheel", [("orbit", 40, -25), ("pan", 80, 45), ("wheel", 360)]),
    ("R after all of them", [("orbit", 40, -25), ("pan", 80, 45), ("wheel", 360), ("key", "Down"),
                             ("key", "R")]),
]
KEYS = {"Left": (-0.1, 0), "Right": (0.1, 0), "Up": (0, -0.1), "Down": (0, 0.1)}


def run(inputs):
    viewer = Viewer()
    for name, *arguments in inputs:
        if name == "key":
            if arguments[0] == "R":
                viewer.reset()
            else:
                viewer.shift(*KEYS[arguments[0]])
        else:
            getattr(viewer, name)(*arguments)
    return viewer


def row(name, inputs):
    viewer = run(inputs)
    matrix = viewer.view_projection()
    steps = []
    for operation, *arguments in inputs:
        if operation == "key":
            steps.append("{Input::Key, Qt::Key_%s, 0}" % arguments[0])
        else:
            a, b = (list(arguments) + [0, 0])[:2]
            steps.append("{Input::%s, %d, %d}" % (operation.capitalize(), a, b))
    numbers = ", ".join(f"{v + 0.0:.9f}" for v in matrix.flatten())
    return '    {"%s",\n     {%s},\n     {%s}},\n' % (name, ", ".join(steps), numbers)


def main():
    beside = os.path.join(os.path.dirname(os.path.abspath(__file__)), "viewer_numbers.h")
    target = sys.argv[1] if sys.argv[1:] else beside
    with open(target, "w", encoding="ascii") as out:
        out.write("""/// @file
/// Generated by viewer_numbers.py: the view-projection matrix, row by row, after each list of
/// inputs.
#pragma once

#include <QtCore/qnamespace.h>

#include <vector>

struct Input
{
    enum Kind { Orbit, Pan, Wheel, Key, Paint };
    Kind kind;
    int a; // pixels to the right, wheel delta, or Qt::Key
    int b; // pixels downward
};

struct ViewerCase
{
    const char* name;
    std::vector<Input> inputs;
    double matrix[16];
};

// clang-format off
inline const ViewerCase viewerCases[] = {
""")
        for case in CASES:
            out.write(row(*case))
        out.write("};\n// clang-format on\n")


if __name__ == "__main__":
    main()
