#!/usr/bin/env python3
"""Makes the mesh of the small model, src/gpu/Tiv3D_N.cpp. Run without arguments after a change; a
file name as argument writes there.

Metres; x along the bar, y up, the lenses look along -z. The view paints without a depth test, table
after table, so black lies over every piece of aluminium that it overlaps on the screen. Aluminium is
therefore seen where it stands out beyond the black body: the cap at the end, which black covers at
the back only, and the strip around the rim. Lenses and rings come last and always show.

Rows and counts that others rely on are checked before anything is written.
"""

import math
import os
import sys

# --- the body's numbers -----------------------------------------------------------------------

RIM = 0.0133  # where the aluminium ends, above and below
BODY_Y = 0.0125  # half height of the black body
BODY_RIGHT = 0.092368
BODY_LEFT = -0.030863  # of the flange at the back
CORNER = 0.0046
SHORT_LEFT = -0.0272  # of the body in front of the flange, just inside the cap
SHORT_CORNER = 0.0005
FRONT, BACK = -0.018, 0.0065
STRIP = 0.000564  # half width of the rim strip
BAND = 0.00225  # half width of the band on top
LENSES = (0.070993, 0.007996)  # x of the centres
LENS_SIDES = 20
RING_RADIUS, RING_INNER, LENS_RADIUS = 0.009596, 0.0075, 0.00687
CORNER_POINTS = 8

PINNED = {
    1: (0.0308, 0.0133, 0.000001),
    2: (0.058785, 0.0133, -0.00225),
    3: (0.058785, 0.0133, 0.002251),
    8: (0.002815, 0.0133, -0.00225),
    501: (0.061866, 0.002963, -0.018),
    1015: (-0.029024, 0.010412, 0.0065),
}

TABLES = {  # triangles, lowest and highest vertex
    "alluminiumTriangles": (35, 1, 34),
    "alluminiumTriangles2": (52, 35, 87),
    "alluminiumTriangles3": (38, 14, 121),
    "darkTriangles": (1142, 122, 845),
    "darkTriangles2": (126, 780, 1015),
    "greyTriangles": (20, 846, 866),
    "greyTriangles2": (20, 947, 967),
    "yellowTriangles": (80, 867, 946),
}

vertices = {}  # number -> (x, y, z)
triangles = {name: [] for name in TABLES}


def put(number, point):
    assert number not in vertices, number
    vertices[number] = PINNED.get(number, tuple(round(c, 6) for c in point))
    return number


def put_all(first, points):
    return [put(first + i, p) for i, p in enumerate(points)]


def add(table, *numbers):
    triangles[table].append(numbers)


def strip(table, a, b, closed=True):
    """Two triangles a side between two rows of equal length."""
    n = len(a)
    for i in range(n if closed else n - 1):
        k = (i + 1) % n
        add(table, a[i], a[k], b[k])
        add(table, a[i], b[k], b[i])


def fan(table, centre, ring):
    for i, n in enumerate(ring):
        add(table, centre, n, ring[(i + 1) % len(ring)])


def outline(inset, short):
    """The body seen from the front, counter-clockwise from the right: four corner arcs.

    The end inside the cap takes no part in the inset: nobody sees its edge.
    """
    points = []
    for quarter in range(4):
        r = CORNER - inset
        cx = BODY_RIGHT - CORNER
        if quarter in (1, 2):
            r = SHORT_CORNER if short else r
            cx = SHORT_LEFT + r if short else BODY_LEFT + CORNER
        cy = (BODY_Y - inset - r) * (1 if quarter < 2 else -1)
        for k in range(CORNER_POINTS):
            a = math.radians(90 * (quarter + k / (CORNER_POINTS - 1)))
            points.append((cx + r * math.cos(a), cy + r * math.sin(a)))
    return points


def circle(cx, radius, z, first_angle, sides=LENS_SIDES):
    return [
        (
            cx + radius * math.cos(math.radians(first_angle + 360 * k / sides)),
            radius * math.sin(math.radians(first_angle + 360 * k / sides)),
            z,
        )
        for k in range(sides)
    ]


# --- triangulation of the front, a convex outline with two holes ------------------------------


def cross(o, a, b):
    return (a[0] - o[0]) * (b[1] - o[1]) - (a[1] - o[1]) * (b[0] - o[0])


def with_hole(ring, hole):
    """Joins a hole to the ring by the shortest bridge that crosses neither."""
    at = lambda n: vertices[n][:2]
    edges = list(zip(ring, ring[1:] + ring[:1])) + list(zip(hole, hole[1:] + hole[:1]))

    def free(p, q):
        for a, b in edges:
            if p in (a, b) or q in (a, b):
                continue
            if (
                cross(at(p), at(q), at(a)) * cross(at(p), at(q), at(b)) < 0
                and cross(at(a), at(b), at(p)) * cross(at(a), at(b), at(q)) < 0
            ):
                return False
        return True

    _, i, k = min(
        (math.dist(at(p), at(q)), i, k)
        for i, p in enumerate(ring)
        for k, q in enumerate(hole)
        if free(p, q)
    )
    return ring[: i + 1] + hole[k:] + hole[: k + 1] + ring[i:]


def clip_ears(table, ring, flip):
    """Cuts off the ear whose smallest angle is largest until a triangle is left."""
    at = lambda n: vertices[n][:2]

    def angle(o, a, b):
        return abs(math.atan2(cross(o, a, b), (a[0]-o[0])*(b[0]-o[0]) + (a[1]-o[1])*(b[1]-o[1])))

    ring = list(ring)
    while len(ring) >= 3:
        best = None
        for i in range(len(ring)):
            n = (ring[i - 1], ring[i], ring[(i + 1) % len(ring)])
            a, b, c = map(at, n)
            if len(set(n)) < 3 or cross(a, b, c) <= 1e-12:
                continue
            inside = (
                m not in n
                and cross(a, b, at(m)) >= 0
                and cross(b, c, at(m)) >= 0
                and cross(c, a, at(m)) >= 0
                for m in ring
            )
            if any(inside):
                continue
            quality = min(angle(a, b, c), angle(b, c, a), angle(c, a, b))
            if best is None or quality > best[0]:
                best = (quality, i, n)
        assert best, "no ear left"
        _, i, (p, q, r) = best
        add(table, *((p, r, q) if flip else (p, q, r)))
        del ring[i]
        if len(ring) == 2:
            break


# --- aluminium --------------------------------------------------------------------------------


def make_band():
    """On top of the body: a plate with rounded, blunt ends. Returns its two end pairs."""
    t = "alluminiumTriangles"
    left, right = 0.002815, 0.058785
    # Seven points a corner, from the straight side to the blunt end.
    low = math.asin(STRIP / BAND)
    angles = [math.pi / 2 + (low - math.pi / 2) * k / 6 for k in range(7)]
    reach = lambda end: end / math.cos(low)

    def arc(centre, end, side):
        return [
            (centre + reach(end - centre) * math.cos(a), RIM, side * BAND * math.sin(a))
            for a in angles
        ]

    corner = {
        "left-": arc(left, 0.000152, -1),
        "left+": arc(left, 0.000152, 1),
        "right-": arc(right, 0.061449, -1),
        "right+": arc(right, 0.061449, 1),
    }
    middle = put(1, PINNED[1])
    first = {
        "right-": put(2, PINNED[2]),
        "right+": put(3, PINNED[3]),
        "left+": put(4, (left, RIM, 0.002251)),
        "left-": put(8, PINNED[8]),
    }
    centre_left = put(5, (left, RIM, 0))
    centre_right = put(6, (right, RIM, 0))
    front = put(7, (0.0308, RIM, -BAND))
    back = put_all(9, [(0.021472, RIM, 0.002251), (0.040128, RIM, 0.002251)])
    rows = {}
    number = iter([11, 12, 13] + list(range(16, 33)))
    pairs = {"left-": 14, "left+": 15, "right-": 33, "right+": 34}
    for name, points in corner.items():
        rest = [put(next(number), p) for p in points[1:-1]]
        rows[name] = [first[name]] + rest + [put(pairs[name], points[-1])]
    # Seen from above (y up, z towards the viewer), counter-clockwise.
    left_row = rows["left-"] + rows["left+"][::-1]
    right_row = rows["right+"] + rows["right-"][::-1]
    for centre, row in ((centre_left, left_row), (centre_right, right_row)):
        for a, b in zip(row, row[1:]):
            add(t, centre, a, b)
    fan(t, middle, [first["left-"], centre_left, first["left+"], back[0], back[1],
                    first["right+"], centre_right, first["right-"], front])
    rim = left_row + back + right_row + [front]
    return rim, (14, 15), (33, 34)


def make_cap():
    """The end at -x: a bevelled box, open towards the body. Returns its pairs above and below."""
    t = "alluminiumTriangles2"

    def section(y, front, back, r, pair):
        """17 points in the plane of y and z; the strip's pairs above and below are among them."""
        points = []
        for sy, sz in ((1, 1), (1, -1), (-1, -1), (-1, 1)):
            cy = sy * (y - r)
            cz = (back - r) if sz > 0 else (front + r)
            arc = [(cy + sy * r * math.cos(a), cz + sz * r * math.sin(a))
                   for a in (0, math.pi / 4, math.pi / 2)]
            above = (sy, sz) in ((1, -1), (-1, 1))
            if above:  # begins with the pair in the middle of the flat side
                points += [(sy * y, -sz * pair), (sy * y, sz * pair)] + arc
                if sy > 0:
                    points.append((0.0, front))
            else:
                points += arc[::-1]
        return points

    outer = section(0.0110, -0.0174, 0.0050, 0.0025, STRIP)
    inner = section(RIM, -0.0188, 0.0060, 0.0030, STRIP)
    assert len(outer) == 17
    face = outer[:]
    # One point more on the straight side at the back.
    wrap = max(range(17), key=lambda i: abs(face[i][0] - face[(i + 1) % 17][0])
               if face[i][1] > 0.004 and face[(i + 1) % 17][1] > 0.004 else -1)
    face.insert(wrap + 1, (0.0, 0.0050))
    centre = put(35, (-0.031809, 0.0, -0.006))
    ring = put_all(36, [(-0.031809, y, z) for y, z in face])
    a = put_all(54, [(-0.031809, y, z) for y, z in outer])
    is_pair = lambda y, z: abs(abs(y) - RIM) < 1e-9 and abs(abs(z) - STRIP) < 1e-9
    b = put_all(71, [(-0.026847 if is_pair(y, z) else -0.026809, y, z) for y, z in inner])
    fan(t, centre, ring)
    strip(t, b, a)
    pair = lambda sign: sorted((n for n in b if is_pair(*vertices[n][1:])
                                and vertices[n][1] * sign > 0), key=lambda n: vertices[n][2])
    return pair(1), pair(-1)


def make_strip(cap_top, cap_bottom, band_left, band_right):
    """Around the rim: a lip that rises from the black body to the rim."""
    t = "alluminiumTriangles3"
    sunk = RIM - BODY_Y + 0.0003
    r = CORNER + RIM - BODY_Y
    right = 0.093353

    def pair(number, x, y, nx, ny):
        """At the rim's point (x, y) with outward normal (nx, ny)."""
        return [put(number, (x - sunk * nx, y - sunk * ny, -STRIP)), put(number + 1, (x, y, STRIP))]

    rows = [list(cap_top), pair(88, -0.0134, RIM, 0, 1), list(band_left)]
    path = [((0.0745, RIM), (0, 1))]
    for sign, angles in ((1, range(90, -1, -15)), (-1, range(0, -91, -15))):
        for d in angles:
            n = (math.cos(math.radians(d)), math.sin(math.radians(d)))
            path.append(((right - r + r * n[0], sign * (RIM - r) + r * n[1]), n))
    path.append(((0.03, -RIM), (0, -1)))
    rest = [list(band_right)]
    for i, ((x, y), (nx, ny)) in enumerate(path):
        rest.append(pair(90 + 2 * i, x, y, nx, ny))
    rest.append(list(cap_bottom))
    for chain in (rows, rest):
        for (a0, a1), (b0, b1) in zip(chain, chain[1:]):
            add(t, a0, a1, b1)
            add(t, a0, b1, b0)


# --- black body, lenses -----------------------------------------------------------------------


def make_body(band_rim):
    t = "darkTriangles"
    # From the front to the back: rounded front edge, side, flange over the cap, small rounding.
    rings = [(FRONT, 0.0018, True)]
    for d in (30, 60, 90):
        a = math.radians(d)
        rings.append((FRONT + 0.0018 * (1 - math.cos(a)), 0.0018 * (1 - math.sin(a)), True))
    rings += [(0.0053, 0, True), (0.0057, 0, False), (0.0063, 0.0002, False)]
    at = lambda z, inset, short: [(x, y, z) for x, y in outline(inset, short)]
    shell = [put_all(122 + 32 * i, at(*ring)) for i, ring in enumerate(rings)]
    back = put_all(780, at(BACK, 0.0006, False))
    front = put_all(812, at(*rings[0]))  # a row of its own, for the hard edge
    shell.append(back)
    for a, b in zip(shell, shell[1:]):
        strip(t, a, b)

    # Under the band: a wall that carries it.
    low = put_all(346, [(vertices[n][0], BODY_Y - 0.0003, vertices[n][2]) for n in band_rim])
    high = put_all(377, [vertices[n] for n in band_rim])
    strip(t, low, high)

    # Below: the tripod's boss. Left: the connector, level with the cap's face.
    ring = [(math.radians(20 * k)) for k in range(18)]
    boss = lambda y: [(0.030753 + 0.005 * math.cos(a), y, -0.006 + 0.005 * math.sin(a)) for a in ring]
    top = put_all(408, boss(-BODY_Y + 0.0003))
    bottom = put_all(426, boss(-0.013333))
    strip(t, top, bottom)
    fan(t, put(844, (0.030753, -0.013333, -0.006)), bottom)
    port = [(y, -0.006 + z) for y, z in ((0.004, -0.0008), (0.004, 0.0008), (0.0033, 0.0015),
            (-0.0033, 0.0015), (-0.004, 0.0008), (-0.004, -0.0008), (-0.0033, -0.0015),
            (0.0033, -0.0015))]
    inside = put_all(444, [(-0.027, y, z) for y, z in port])
    outside = put_all(452, [(-0.031847, y, z) for y, z in port])
    strip(t, outside, inside)
    fan(t, put(845, (-0.031847, 0.0, -0.006)), outside[::-1])

    # The barrels, from the ring's inner edge over the rim down to the lens.
    first_angle = 144  # brings the pinned vertex to its place
    profile = [(RING_INNER, -0.0195), (0.0075, -0.0222), (0.0074, -0.0228), (0.00725, -0.022997),
               (0.0071, -0.0228), (0.0070, -0.0222), (LENS_RADIUS, -0.0215)]
    ring_at = lambda lens, r, z: circle(LENSES[lens], r, z, first_angle)
    base = [None, put_all(460, ring_at(1, RING_RADIUS, FRONT))]
    barrel = [[], [put_all(480, ring_at(1, *profile[0]))]]
    base[0] = put_all(500, ring_at(0, RING_RADIUS, FRONT))
    barrel[0] = [put_all(520 + 20 * i, ring_at(0, *p)) for i, p in enumerate(profile)]
    barrel[1] += [put_all(660 + 20 * i, ring_at(1, *p)) for i, p in enumerate(profile[1:])]
    for rows in barrel:
        for a, b in zip(rows, rows[1:]):
            strip(t, b, a)

    # The front with its two holes; seen from -z it runs the other way around.
    ring = front
    for hole in base:
        ring = with_hole(ring, hole[::-1])
    clip_ears(t, ring, flip=True)

    for table, centre_number, lens in (("greyTriangles", 846, 0), ("greyTriangles2", 947, 1)):
        centre = put(centre_number, (LENSES[lens], 0, profile[-1][1]))
        edge = put_all(centre_number + 1, ring_at(lens, *profile[-1]))
        fan(table, centre, edge[::-1])
    for lens, number in ((0, 867), (1, 907)):
        outer = put_all(number, [vertices[n] for n in base[lens]])
        inner = put_all(number + 20, [vertices[n] for n in barrel[lens][0]])
        strip("yellowTriangles", inner, outer)
    return back


def make_back(ring):
    t = "darkTriangles2"
    groove = outline(0.0006 + 0.000267, False)
    order = list(range(32))
    pinned = 8 + 4  # of the upper left corner
    numbers = {}
    number = 968
    for i in order:
        if i == pinned:
            numbers[i] = put(1015, PINNED[1015])
        else:
            numbers[i] = put(number, (*groove[i], BACK))
            number += 1
    inset = [numbers[i] for i in order]
    spine = put_all(number, [(-0.0235 + 0.1085 * k / 15, 0.0, BACK) for k in range(16)])
    strip(t, ring, inset)
    corner = [inset[8 * i : 8 * i + 8] for i in range(4)]
    for apex, row in ((spine[-1], corner[3] + corner[0]), (spine[0], corner[1] + corner[2])):
        for a, b in zip(row, row[1:]):
            add(t, apex, a, b)
    half = len(spine) // 2
    for right, left, up in ((corner[0][-1], corner[1][0], True), (corner[3][0], corner[2][-1], False)):
        faces = [(right if i >= half else left, spine[i - 1], spine[i]) if up
                 else (right if i >= half else left, spine[i], spine[i - 1])
                 for i in range(1, len(spine))]
        faces.append((left, spine[half - 1], right) if up else (left, right, spine[half - 1]))
        for f in faces:
            add(t, *f)


# --- checks, output ---------------------------------------------------------------------------


def area(t):
    a, b, c = (vertices[n] for n in t)
    u = [b[i] - a[i] for i in range(3)]
    v = [c[i] - a[i] for i in range(3)]
    n = (u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2], u[0] * v[1] - u[1] * v[0])
    return math.sqrt(sum(x * x for x in n)) / 2


def check():
    assert sorted(vertices) == list(range(1, 1016)), "vertex numbers have gaps"
    for number, row in PINNED.items():
        assert vertices[number] == row, number
    used = set()
    for name, (count, low, high) in TABLES.items():
        rows = triangles[name]
        numbers = {n for t in rows for n in t}
        used |= numbers
        assert len(rows) == count, (name, len(rows))
        assert (min(numbers), max(numbers)) == (low, high), (name, min(numbers), max(numbers))
        for t in rows:
            assert area(t) > 1e-10, (name, t, area(t))
    assert used == set(vertices), "unused vertices"


def literal(value):
    text = f"{value:.6f}".rstrip("0")
    return (text + "0" if text.endswith(".") else text) + "F"


def table(kind, name, rows):
    lines = [f"const {kind} {name}[{len(rows)} * 3] = {{"]
    line = "   "
    for row in rows:
        item = " " + ", ".join(row) + ","
        if len(line) + len(item) > 100:
            lines.append(line)
            line = "   "
        line += item
    return "\n".join(lines + [line, "};", ""])


def main():
    band_rim, band_left, band_right = make_band()
    cap_top, cap_bottom = make_cap()
    make_strip(cap_top, cap_bottom, band_left, band_right)
    make_back(make_body(band_rim))
    check()
    parts = ["// Generated by tools/tiv_n_mesh.py; change it there.",
             '#include "gpu/Tiv3D.h"', "", "// clang-format off", "namespace TIV_N_obj {", "",
             table("float", "vertices",
                   [[literal(c + 0.0) for c in vertices[n]] for n in sorted(vertices)])]
    for name in TABLES:
        parts.append(table("int", name, [[str(n) for n in t] for t in triangles[name]]))
    for name, rgb in (("ALLUMINIUM_COLOR", "0.79F, 0.82F, 0.93F"), ("DARK_COLOR", "0.0F, 0.0F, 0.0F"),
                      ("YELLOW_COLOR", "1.0F, 1.0F, 0.0F"), ("LENS_COLOR", "0.22F, 0.22F, 0.22F")):
        parts.append(f"const om::Vector3<float> {name}{{{rgb}}};")
    parts += ["", "} // namespace TIV_N_obj", "// clang-format on", ""]
    target = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "Tiv3D_N.cpp")
    if len(sys.argv) > 1:
        target = sys.argv[1]
    with open(target, "w", encoding="ascii") as out:
        out.write("\n".join(parts).replace("-0.0F", "0.0F"))
    for name, rows in triangles.items():
        points = [vertices[n] for t in rows for n in t]
        print(f"{name:22}", *(f"{a} {min(p[i] for p in points):+.6f} {max(p[i] for p in points):+.6f}"
                              for i, a in enumerate("xyz")))


if __name__ == "__main__":
    main()
